// ZReadWriteLock: locks for many readers or one writer, and the guard that releases one.
// Subsystem: concurrency, layer 4. Test: tests/ZReadWriteLock_test.cpp
#ifndef Z_ZREADWRITELOCK_H
#define Z_ZREADWRITELOCK_H

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "ZCondition.h"
#include "ZLock.h"
#include "ZObject.h"
#include "ZObservable.h"

// What any read-write lock offers. The operations that take or leave a lock return 0 and throw when
// they fail.
class Z_API ZReadWriteLockInterface_5_1 : public ZLockInterface_5_1 {
public:
    // What a lock is in, and what it is asked for.
    enum zlockstate : int {
        unset = 0,    // nobody holds the lock
        read = 1,     // one or more readers
        protect = 2,  // one thread reads and means to write; readers may be present
        write = 3,    // one writer, no readers
    };

    int lock() override = 0;
    int unlock() override = 0;
    virtual int lock(zlockstate state) = 0;       // takes this state, or releases for unset
    virtual int readLock() = 0;                   // lock(read)
    virtual int writeLock() = 0;                  // lock(write)
    virtual int readWithIntentToWriteLock() = 0;  // lock(protect)
    virtual int promoteReadToWriteLock() = 0;     // from protect, the caller's, to write
};

// What the locks for threads and those for processes have in common. All operations may be called
// from any thread, but for those that rename or assign a lock or handle its file. A lock is
// destroyed when no call on it is under way. A thread that is cancelled while it waits in one of
// the operations holds nothing of what it asked for, and the lock serves the others. After fork()
// the locks that the parent had are not usable in the child.
class Z_API ZAbstractReadWriteLock_5_1 : public ZObject_5_1,
                                         public ZReadWriteLockInterface_5_1,
                                         public ZAbstractObservable_5_1 {
public:
    ~ZAbstractReadWriteLock_5_1() noexcept(false) override;

    // lock(write).
    int lock() override;

    // unset releases, the other states take; any other value does nothing and returns 0.
    int lock(zlockstate state) override = 0;

    // "unset", "read", "protect" or "write"; null for any other value.
    virtual char const* getLockStateName(zlockstate state) const;

    // 1: whether the protected data is what this process saw last. Locks for processes tell.
    virtual int isCurrent() const;

    // unlock(getUpdate()).
    int unlock() override;

    // Releases; `update` matters to locks for processes alone.
    virtual int unlock(int update) = 0;

    virtual int haveLock(zlockstate state) const = 0;  // whether the lock is in this state
    virtual int ownWriteLock() const = 0;              // whether write is the caller's

    // 0, and nothing: locks for processes have the flag.
    virtual int getUpdate() const;
    virtual void setUpdate(int update);

protected:
    // Without observers.
    ZAbstractReadWriteLock_5_1();

    // The same observers.
    ZAbstractReadWriteLock_5_1(ZAbstractReadWriteLock_5_1 const& other);
    ZAbstractReadWriteLock_5_1& operator=(ZAbstractReadWriteLock_5_1 const& other) = delete;
};

// For the threads of one process. What a call does, by the state that it finds:
//
//                               unset     read      protect           write
//   readLock                    read      joins     joins             waits
//   readWithIntentToWriteLock   protect   protect   waits             waits
//   writeLock                   write     waits     waits             waits
//   promoteReadToWriteLock      code 5    code 5    never returns     code 5
//   unlock, the owner           -         -         read, or unset    unset
//                                                   without readers
//   unlock, another thread      code 6    leaves    leaves as a       code 6
//                                                   reader; code 6
//                                                   without readers
//
// The owner is the thread that holds protect or write. It gets code 5 at once for any call that
// takes a hold; but for its promotion of protect, which waits until the thread is cancelled, since
// the state leaves protect only through the owner's own unlock(). A promotion by another thread
// gets code 5. Code 5 is ZLockResourceException_5_1, code 6 ZUnlockResourceException_5_1, rc 0
// both; nothing has changed then. 2^28 - 1 read holds are the most: EAGAIN (code 5) for one more.
//
// Not recursive: a reader that asks for write waits for itself for ever. There is no time limit and
// no order among the waiting: a steady stream of readers keeps a writer waiting. Holds are counted,
// not listed, so unlock() by a thread without a hold, while others read, takes one of theirs.
class Z_API ZReadWriteLock_5_1 : public ZAbstractReadWriteLock_5_1 {
public:
    // Free. Throws as ZCondition_5_1 and ZLock_5_1.
    ZReadWriteLock_5_1();

    // A free lock with the same observers.
    ZReadWriteLock_5_1(ZReadWriteLock_5_1 const& other);
    ZReadWriteLock_5_1& operator=(ZReadWriteLock_5_1 const& other) = delete;
    ~ZReadWriteLock_5_1() noexcept override;

    ZObject_5_1* clone() const override;

    using ZAbstractReadWriteLock_5_1::lock;
    int lock(zlockstate state) override;
    int unlock() override;

    // unlock(); the argument is ignored.
    int unlock(int update) override;

    // Whether the lock is in this state, whoever holds it. Does not wait.
    int haveLock(zlockstate state) const override;

    // Whether the caller is the last thread that took protect or write: true after its unlock(),
    // too, until another one has taken it.
    int ownWriteLock() const override;

    int readLock() override;
    int writeLock() override;
    int readWithIntentToWriteLock() override;
    int promoteReadToWriteLock() override;

    // Read holds that are granted now; the owner is not counted.
    virtual int getReaderCount();

private:
    using Word = std::uint32_t;

    bool ownedIn(Word word) const;
    Word refuseOwner() const;
    bool takeShared(Word& word);
    void takeAsOwner(zlockstate wanted, zlockstate most);
    bool claim(Word& word, zlockstate wanted, zlockstate most);
    void sleep(Word word);
    void wake();

    std::atomic<Word> word_;                  // readers, state, whether anybody waits
    [[maybe_unused]] std::int32_t reserved_;  // keeps the record's size
    std::atomic<pthread_t> owner_;            // all bits set before the first
    std::int32_t waiters_;
    ZCondition_5_1 condition_;
};

// Releases a lock at the end of a scope:
//     ZStackReadWriteLock_5_1 hold(lock, 1);
//     hold.readLock();
// Exactly one hold is taken, right after the construction, and left to the destructor. Of one
// thread.
class Z_API ZStackReadWriteLock_5_1 : public ZObject_5_1 {
public:
    // Calls lock.setUpdate(update) and takes nothing. The locks for processes set their flag anew
    // when a hold is taken, so this value lasts only until then: to release a write hold without an
    // update, call setUpdate(0) while holding it.
    ZStackReadWriteLock_5_1(ZAbstractReadWriteLock_5_1& lock, int update);
    ZStackReadWriteLock_5_1(ZStackReadWriteLock_5_1 const&) = delete;
    ZStackReadWriteLock_5_1& operator=(ZStackReadWriteLock_5_1 const&) = delete;

    // Calls lock.unlock(), also after a failed attempt to take it, and throws what that throws;
    // code 6 when nothing was held. While an exception passes through the scope the failure is
    // written instead. Does nothing when the thread was cancelled waiting in one of the three below
    // that take a hold.
    //
    // So where the thread may be cancelled, take the hold through the guard: of one cancelled in
    // the lock's own call the guard knows nothing, and releases. A cancellation on its way cannot
    // be told from the end of the scope, and an exception then ends the process: where a release
    // can fail (lock files), disable cancellation from the take to the end of the scope.
    ~ZStackReadWriteLock_5_1() noexcept(false) override;

    // Those of the lock.
    int readLock();
    int writeLock();
    int readWithIntentToWriteLock();
    int promoteReadToWriteLock();
    int unlock(int update);
    int getUpdate() const;
    void setUpdate(int update);

    // The lock given to the constructor.
    ZAbstractReadWriteLock_5_1& getReadWriteLock() const;

private:
    ZAbstractReadWriteLock_5_1& lock_;
};

#endif
