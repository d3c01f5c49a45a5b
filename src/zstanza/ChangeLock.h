// ChangeLock: lets one zstanza at a time change a file, and how long the others wait for it.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
//
// A change is load, edit and store. The library locks the file for one load or one store only, so
// two changes could both load before either stores, and the first one's work would be lost. Every
// zstanza therefore holds a flock() on the file itself for the whole change. The database of
// obfuscated values is read and written under it as well.
//
//  1. flock() and the library's fcntl() record locks do not see each other on local file systems.
//     Over NFS a flock() is itself a record lock; changes may report a busy file there.
//  2. Closing any descriptor of a file drops the process's record locks on it. The descriptor here
//     is opened before the library opens the file, and closed after the last store.
//  3. A file that was replaced or removed between open and flock is not the file any more: the lock
//     counts only if path and descriptor still name the same inode. The same is asked before the
//     store, and a change to a replaced file starts over. A small gap between this test and the
//     store stays: a file put in place within it gets the text of the change.
//  4. A file made for a change that then fails is removed again, under the lock; who waits for it
//     meets rule 3.
//
// It leaves nothing behind, and it does not hold back other programs between load and store.
#ifndef ZSTANZA_CHANGELOCK_H
#define ZSTANZA_CHANGELOCK_H

#include <chrono>
#include <string>

namespace zstanza {

// The time that one command spends on waiting for busy files, in all.
class Patience {
public:
    explicit Patience(unsigned seconds);
    // Sleeps a little; returns false at once when the time is up.
    bool pause();
    unsigned seconds() const { return seconds_; }

private:
    unsigned seconds_;
    std::chrono::steady_clock::time_point end_;
    std::chrono::milliseconds nap_{1};
};

class ChangeLock {
public:
    // Throws Failure when the file cannot be opened for writing, is no regular file, is missing
    // (unless `create` allows to make it), or stays locked for longer than `patience`.
    ChangeLock(std::string const& file, bool create, Patience& patience);
    ChangeLock(ChangeLock const&) = delete;
    ChangeLock& operator=(ChangeLock const&) = delete;
    ~ChangeLock();

    // Does the path still name the file that is locked?
    bool isStillTheFile() const;
    // The change is stored: a file that was made for it stays.
    void keep() { made_ = false; }

private:
    void open(bool create);
    void close();

    std::string file_;
    int descriptor_ = -1;
    bool made_ = false;
};

}  // namespace zstanza

#endif
