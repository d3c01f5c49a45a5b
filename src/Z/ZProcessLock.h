// ZProcessLock: read-write locks whose holds span processes, and the notice that data has changed.
// Subsystem: concurrency, layer 5. Test: tests/ZProcessLock_test.cpp
//
// A process lock has a name, by which processes mean the same lock, and a sequence number, which
// goes up with each release of a write hold. A process that takes a hold and finds another number
// than it saw last knows that the data behind the lock was changed; its observers are told.
//
// Here is what all process locks share. ZFileLock.h adds the part between processes; the stub lock
// has none.
#ifndef Z_ZPROCESSLOCK_H
#define Z_ZPROCESSLOCK_H

#include <atomic>
#include <cstdint>

#include "ZLCString.h"
#include "ZObject.h"
#include "ZObservable.h"
#include "ZReadWriteLock.h"

// What observers of a process lock receive: the number now current and the one that this process
// saw last.
class Z_API ZSequenceUpdate_5_1 : public ZObservedParm_5_1 {
public:
    // Both numbers are ZAbstractProcessReadWriteLock_5_1::invalidSequence.
    ZSequenceUpdate_5_1();

    // The low 32 bits of each.
    ZSequenceUpdate_5_1(unsigned long sequence, unsigned long lastSequence);
    ~ZSequenceUpdate_5_1() noexcept override;

    unsigned long getSequence() const { return sequence_; }          // the number now current
    unsigned long getLastSequence() const { return lastSequence_; }  // the one seen last

    // 31 times the current number, plus the last one.
    unsigned long hash() const override;

    // The difference of the numbers, of the last ones when those are the same, in 32 bits that
    // wrap: 0 comes after 0xFFFFFFFE. `other` must be a ZSequenceUpdate_5_1.
    int compare(ZObject_5_1 const& other) const override;

    ZObject_5_1* clone() const override;

    // Whether both numbers are the same, and the reverse.
    int operator==(ZSequenceUpdate_5_1 const& other) const;
    int operator!=(ZSequenceUpdate_5_1 const& other) const {
        return ZObject_5_1::operator!=(other);
    }

private:
    std::uint32_t sequence_;
    std::uint32_t lastSequence_;
};

// What holds mean, between the threads of a process: those of ZReadWriteLock_5_1, with its codes 5
// and 6 for misuse. There is no protect: who asks for it gets write, and promotion does nothing.
// unlock() by a thread that holds nothing throws code 6 before anything is changed, unless others
// read.
//
// The lock state is the object's hold between processes. haveLock(), ownWriteLock(), getLockState()
// describe the object, not the calling thread. This class leaves the state unset; its subclasses
// set it.
class Z_API ZAbstractProcessReadWriteLock_5_1 : public ZAbstractReadWriteLock_5_1 {
public:
    // A sequence number that is never current.
    static constexpr unsigned long invalidSequence = 0xFFFFFFFF;

    // A new name: six letters and digits drawn at random that name no file in the current folder;
    // where the system gives no random numbers, the process id and "_".
    ZAbstractProcessReadWriteLock_5_1();

    // Null counts as the empty name.
    explicit ZAbstractProcessReadWriteLock_5_1(char const* name);

    // Name, sequence numbers, update flag and observers of the source; a free lock. The source's
    // name must not be changed meanwhile.
    ZAbstractProcessReadWriteLock_5_1(ZAbstractProcessReadWriteLock_5_1 const& other);

    // Name, sequence numbers and update flag; holds and observers stay.
    ZAbstractProcessReadWriteLock_5_1& operator=(ZAbstractProcessReadWriteLock_5_1 const& other);

    // Throws ZInvalidResourceStateException_5_1 (code 32, the state's name) when the lock state is
    // not unset; while another exception is on its way it is written instead. A cancellation is
    // not seen: a held lock must not be a local of a thread that may be cancelled.
    ~ZAbstractProcessReadWriteLock_5_1() noexcept(false) override;

    // Those of the name, so locks with the same name are equal. Those that hash by something else,
    // as lock files do, come after. Objects of other classes are ordered by address.
    unsigned long hash() const override;
    int compare(ZObject_5_1 const& other) const override;

    // Throws ZAbstractNotImplementedException_5_1 (code 31) in this class.
    ZObject_5_1* clone() const override;

    // writeLock().
    int lock() override;

    // Waits for the threads of this process. A write hold sets the update flag, a read hold and a
    // release clear it.
    int lock(zlockstate state) override;

    // Whether the last number seen is the current one.
    int isCurrent() const override;

    // unlock(getUpdate()): a write hold's release counts as a change of the data unless
    // setUpdate(0) was called under it.
    int unlock() override;

    // sync(update), then the release. What sync() throws leaves the hold as it was: do not try
    // again with `update`, the number could be wrong, but call setUpdate(0) and unlock(). The
    // change is then not announced.
    int unlock(int update) override;

    int haveLock(zlockstate state) const override;
    int ownWriteLock() const override;
    int getUpdate() const override;

    // While a thread has a write hold the flag is its own: calls by other threads do nothing.
    void setUpdate(int update) override;

    // lock(read), lock(write), lock(protect), and nothing.
    int readLock() override;
    int writeLock() override;
    int readWithIntentToWriteLock() override;
    int promoteReadToWriteLock() override;

    virtual zlockstate getLockState() const;           // the object's hold between processes
    virtual ZLCString_5_1 const& getLockName() const;  // by which processes mean the same lock

    // Works on a held lock alone, which it releases first. Without a hold the old name stays.
    virtual void setLockName(ZLCString_5_1& name);

    // Threads of this process that hold the lock to read.
    virtual int getReaderCount();

    // The current number: 32 bits, 0 at first.
    virtual unsigned long getSequence() const;

    // The next number becomes the current one; 0 follows 0xFFFFFFFE.
    virtual void incSequence();

    // The number that this process saw last: invalidSequence until the first release or, in lock
    // files, the first hold.
    virtual unsigned long getLastSequence() const;
    virtual void setLastSequence(unsigned long sequence);

    // The current number has been seen.
    virtual void setLastSequence();

    // Before a release: the next number, if the state is write and `update` is not 0; then, if the
    // state is not unset, this process counts as up to date.
    virtual void sync(int update);

    // For callers that hold the lock; a lock file's to write (its lock() makes the call itself), as
    // a reader would lose the hold on the file. Unless the lock is current or nobody observes it:
    // makes the caller's hold between threads a write hold, then calls the observers with a
    // ZSequenceUpdate_5_1. What an observer throws passes to the caller, who keeps the hold.
    void notifyLockObservers();

protected:
    // Whether the number is one of the four states.
    static bool isState(zlockstate state) { return state >= unset && state <= write; }

    // What getLockState() and getSequence() give; of a number, the low 32 bits.
    void setLockState(zlockstate state) { lockState_ = state; }
    void setSequence(unsigned long sequence) { sequence_ = static_cast<std::uint32_t>(sequence); }

    // Throws code 6 when no thread holds the lock, or another one to write.
    void refuseWithoutHold() const;

    // Throws code 32 with the name of `state`.
    [[noreturn]] void refuseState(char const* unit, zlockstate state,
                                  int line = __builtin_LINE()) const;

private:
    std::atomic<zlockstate> lockState_;
    ZLCString_5_1 lockName_;
    std::atomic<std::uint32_t> sequence_;
    std::atomic<std::uint32_t> lastSequence_;
    std::uint32_t reserved_;  // copied, read nowhere
    ZReadWriteLock_5_1 threadLock_;
    std::atomic<std::uint32_t> update_;  // the flag, and a count of write holds above it
};

// For the threads of one process alone, where a process lock is asked for. Its state is the one
// asked for last, so protect is told apart from write, though it excludes readers all the same;
// releasing it counts as no change.
class Z_API ZStubProcessReadWriteLock_5_1 : public ZAbstractProcessReadWriteLock_5_1 {
public:
    // As their base.
    ZStubProcessReadWriteLock_5_1();
    explicit ZStubProcessReadWriteLock_5_1(char const* name);
    ZStubProcessReadWriteLock_5_1(ZStubProcessReadWriteLock_5_1 const& other);
    ZStubProcessReadWriteLock_5_1& operator=(ZStubProcessReadWriteLock_5_1 const& other);
    ~ZStubProcessReadWriteLock_5_1() noexcept(false) override;

    ZObject_5_1* clone() const override;
    int lock() override;
    int lock(zlockstate state) override;
};

#endif
