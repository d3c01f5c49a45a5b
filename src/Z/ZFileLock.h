// ZFileLock: read-write locks between the processes of a machine, through a small lock file.
// Subsystem: concurrency, layer 6. Test: tests/ZFileLock_test.cpp
//
// The file is named by the lock's folder and name; docs/lock-file-format.md shows its 8 bytes.
// POSIX record locks (fcntl) on them are the hold between processes, and the first four keep the
// sequence number. 32-bit and 64-bit processes share a file.
//
// One lock object for each lock file and process. The system keeps record locks by process and
// file: two objects of one process on the same file share one another's record locks, and the one
// that closes first drops those of both. After fork() the child has none of the record locks, and
// no use of the parent's objects.
//
// Waiting in the system (F_SETLKW) has no time limit. A signal whose handler was installed without
// SA_RESTART ends it with ZLockResourceException_5_1, code 33, rc EINTR. The system finds deadlocks
// by process, not by thread: a lock may be refused with rc EDEADLK although its holder goes on.
// After these, and after any other exception of a take but code 5 and code 32, the thread has its
// hold between threads still: unlock() gives that up, after which it can try again.
#ifndef Z_ZFILELOCK_H
#define Z_ZFILELOCK_H

#include <atomic>
#include <cstdint>

#include "ZLCString.h"
#include "ZLock.h"
#include "ZProcessLock.h"

// The protocol: what is locked in which order, how the threads of a process share one hold, and
// when the sequence number is read and written. Subclasses say what locking and reading a range
// means.
class Z_API ZAbstractProcessReadWriteFileLock_5_1 : public ZAbstractProcessReadWriteLock_5_1 {
public:
    // A new name; the file is in the current folder.
    ZAbstractProcessReadWriteFileLock_5_1();

    // In the folder ".". A null name is the empty one, here and below: "./._zpl".
    explicit ZAbstractProcessReadWriteFileLock_5_1(char const* name);

    // In the folder `dir`; throws as setLockDirName().
    ZAbstractProcessReadWriteFileLock_5_1(char const* name, char const* dir);

    // A free lock on the same file.
    ZAbstractProcessReadWriteFileLock_5_1(ZAbstractProcessReadWriteFileLock_5_1 const& other);

    // Throws ZInvalidResourceStateException_5_1 (code 32, the state's name) while this one is held.
    ZAbstractProcessReadWriteFileLock_5_1& operator=(
        ZAbstractProcessReadWriteFileLock_5_1 const& other);
    ~ZAbstractProcessReadWriteFileLock_5_1() noexcept(false) override;

    // Those of the file's name, folder included.
    unsigned long hash() const override;
    int compare(ZObject_5_1 const& other) const override;

    // lock(write).
    int lock() override;

    // Takes: dolock(state). The first hold of the object takes the number in the file for seen.
    // When the number is not the one seen last, and the lock has observers, they are called before
    // the caller gets at the data, and the caller then holds write, whatever was asked for: a
    // reader (or who asked for protect) drops its hold, takes write, and its update flag is
    // cleared, so the release counts as no change. What an observer throws reaches the caller, who
    // keeps the hold; the release counts as having seen the change, so the observer is not called
    // again for it: reload without it, or call setLastSequence() with the former number after the
    // release. Releases: dolock(unset).
    int lock(zlockstate state) override;

    // sequence + 1, or + 2 to pass over invalidSequence, into the file and the object. Throws
    // ZInvalidResourceStateException_5_1 (code 32, the state's name) unless the state is write.
    // When the file cannot be written the object's number is 0: do not try again, call setUpdate(0)
    // and unlock(). The change is then not announced.
    void incSequence() override;

    // As every process lock; nothing for a thread whose take has failed, which has seen nothing.
    void sync(int update) override;

    // "." or the folder given, "" for the current one of a lock without a name given.
    virtual ZLCString_5_1 const& getLockDirName() const;

    // A folder whose owner may write and search it, else ZInvalidParameterException_5_1; null is
    // the empty name, for the current folder. Throws ZInvalidResourceStateException_5_1 (code 32,
    // the state's name) while the lock is held, unless it has this folder already.
    virtual void setLockDirName(char const* dir);

    // The folder, "/" unless it is empty, "._zpl", and the name given to setLockFileName() last:
    // the lock's own when it was made or its folder was changed.
    virtual ZLCString_5_1 const& getLockFileName() const;

    // The record locks of a hold, with the pid written and the file checked; without the thread's
    // part. Throws ZReadResourceException_5_1 (code 35, rc -1) for a file of 1 to 3 bytes.
    virtual int lockFile(zlockstate state);

    // Gives these record locks up. Returns 0.
    virtual int unlockFile();

    // One hold in its two parts. For unset: code 6 for a caller without a hold. Else throws
    // ZInvalidResourceStateException_5_1 (code 32, the state's name) when write is asked for and
    // the object has a hold on the file although no thread does. protect is taken as write.
    virtual int dolock(zlockstate state);

    // `name` in place of the lock's name in the file's name.
    virtual void setLockFileName(char const* name);

    // Takes or leaves `length` bytes from `start`, against other processes. Return 0.
    virtual int lockFileRange(zlockstate state, unsigned int start, unsigned int length) = 0;
    virtual int unlockFileRange(unsigned int start, unsigned int length) = 0;

    // 0 for an empty file. A null pointer is ZInvalidParameterException_5_1.
    virtual void readSequenceNumber(unsigned long* sequence);

    // Store the low 32 bits of the number, and this process's id. Throw as writeBytes().
    virtual void writeSequenceNumber(unsigned long sequence);
    virtual void writePid();

    // Store or fetch `length` bytes of the file from `offset`.
    virtual void writeBytes(void* buffer, unsigned int offset, unsigned int length) = 0;
    virtual void readBytes(void* buffer, unsigned int offset, unsigned int length) = 0;

private:
    void nameFile(char const* name);
    bool changeFolder(char const* dir);
    void takeFile(zlockstate state);

    ZLCString_5_1 lockDirName_;
    ZLCString_5_1 lockFileName_;
    ZLock_5_1 fileLock_;  // the lock state and the file's hold, between threads
};

// On a real file, which is open for as long as a hold lasts.
class Z_API ZUnixProcessReadWriteFileLock_5_1 : public ZAbstractProcessReadWriteFileLock_5_1 {
public:
    // As their base; no file is made or opened before the first hold.
    ZUnixProcessReadWriteFileLock_5_1();
    explicit ZUnixProcessReadWriteFileLock_5_1(char const* name);
    ZUnixProcessReadWriteFileLock_5_1(char const* name, char const* dir);
    ZUnixProcessReadWriteFileLock_5_1(ZUnixProcessReadWriteFileLock_5_1 const& other);

    // As its base. A file left open without a hold is closed.
    ZUnixProcessReadWriteFileLock_5_1& operator=(ZUnixProcessReadWriteFileLock_5_1 const& other);

    // Closes the file; then as every process lock, code 32 when it is held.
    ~ZUnixProcessReadWriteFileLock_5_1() noexcept(false) override;

    ZObject_5_1* clone() const override;

    // A file left open without a hold is closed: the next hold opens the one of the new name.
    void setLockFileName(char const* name) override;

    // Also closes the file. Does nothing when there is neither a hold nor an open file.
    int unlockFile() override;

    // Opens the file when it is not, and waits for the record lock: shared for read, exclusive for
    // protect and write; unset unlocks. Throws ZLockResourceException_5_1 (code 33, errno) or
    // ZUnlockResourceException_5_1 (code 34, errno); EBADF when the file cannot be opened. Another
    // state is ZInvalidResourceStateException_5_1 (code 32).
    int lockFileRange(zlockstate state, unsigned int start, unsigned int length) override;
    int unlockFileRange(unsigned int start, unsigned int length) override;

    // All of it or ZWriteResourceException_5_1 (code 33, errno, 0 for a part); the object's
    // sequence number is 0 then.
    void writeBytes(void* buffer, unsigned int offset, unsigned int length) override;

    // All of it, or nothing from an empty file, or ZReadResourceException_5_1 (code 35): errno, or
    // -1 when the file is too short.
    void readBytes(void* buffer, unsigned int offset, unsigned int length) override;

    // -1 while no file is open.
    int getFileHandle() const { return fileHandle_; }

    // Opens the file, and makes it when it is missing; a symbolic link is not followed. What fails
    // here is told by the next operation on the file.
    void createLockFile();

    // Drops the record locks that this process has on the file. Does nothing when none is open.
    void closeLockFile() noexcept;

private:
    std::atomic<int> fileHandle_;
};

// The same protocol without a file, for one process. What would work on a file returns 0 or does
// nothing.
class Z_API ZStubProcessReadWriteFileLock_5_1 : public ZAbstractProcessReadWriteFileLock_5_1 {
public:
    // As their base. A copy starts from the number stored so far.
    ZStubProcessReadWriteFileLock_5_1();
    explicit ZStubProcessReadWriteFileLock_5_1(char const* name);
    ZStubProcessReadWriteFileLock_5_1(char const* name, char const* dir);
    ZStubProcessReadWriteFileLock_5_1(ZStubProcessReadWriteFileLock_5_1 const& other);
    ZStubProcessReadWriteFileLock_5_1& operator=(ZStubProcessReadWriteFileLock_5_1 const& other);
    ~ZStubProcessReadWriteFileLock_5_1() noexcept(false) override;

    ZObject_5_1* clone() const override;
    int lockFile(zlockstate state) override;
    int unlockFile() override;
    int lockFileRange(zlockstate state, unsigned int start, unsigned int length) override;
    int unlockFileRange(unsigned int start, unsigned int length) override;

    // The stored number; null is passed over.
    void readSequenceNumber(unsigned long* sequence) override;
    void writeSequenceNumber(unsigned long sequence) override;  // keeps the low 32 bits

    // Do nothing: what readBytes() was given stays as it was.
    void writeBytes(void* buffer, unsigned int offset, unsigned int length) override;
    void readBytes(void* buffer, unsigned int offset, unsigned int length) override;

private:
    std::atomic<std::uint32_t> storedSequence_;
};

#endif
