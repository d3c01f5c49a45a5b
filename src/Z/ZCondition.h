// ZCondition: condition variable bound to a ZLock, and the variant that waits for a flag.
// Subsystem: concurrency, layer 2. Test: tests/ZCondition_test.cpp
#ifndef Z_ZCONDITION_H
#define Z_ZCONDITION_H

#include <pthread.h>
#include <time.h>

#include "ZLock.h"
#include "ZObject.h"

// What any condition offers; ZCondition_5_1 below says what each operation does.
class Z_API ZConditionInterface_5_1 {
public:
    virtual int wait() = 0;                                  // until woken
    virtual int wait(long seconds, int& timedOut) = 0;       // at most so long
    virtual int wait(timespec& absTime, int& timedOut) = 0;  // at most until a wall-clock time
    virtual int signal() = 0;                                // wakes one waiter
    virtual int broadcast() = 0;                             // wakes all waiters
    virtual void waitTimedOut() = 0;                         // called when a timed wait has expired

protected:
    ZConditionInterface_5_1() = default;
    ZConditionInterface_5_1(ZConditionInterface_5_1 const&) = default;
    ZConditionInterface_5_1& operator=(ZConditionInterface_5_1 const&) = default;
    ~ZConditionInterface_5_1() = default;
};

// A condition is locked and unlocked as the lock that it is bound to.
class Z_API ZAbstractCondition_5_1 : public ZObject_5_1,
                                     public ZConditionInterface_5_1,
                                     public ZLockInterface_5_1 {
public:
    ~ZAbstractCondition_5_1() noexcept override;
};

// The caller of a wait must hold the lock; it is free, whatever its depth, while the thread sleeps,
// and held as deep as before when wait returns, throws, or the sleeping thread is cancelled.
// A wait may also return without a signal: test what is waited for in a loop.
// signal() and broadcast() may be called with or without the lock.
class Z_API ZCondition_5_1 : public ZAbstractCondition_5_1 {
public:
    // With a lock of its own, or with the caller's, which several conditions may share and which
    // must outlive them. Throws ZConditionException_5_1 (code 7, rc of pthread_cond_init).
    ZCondition_5_1();
    explicit ZCondition_5_1(ZLock_5_1& lock);
    ZCondition_5_1(ZCondition_5_1 const&) = delete;
    ZCondition_5_1& operator=(ZCondition_5_1 const&) = delete;

    // A failing pthread_cond_destroy is written through the message service (code 8).
    ~ZCondition_5_1() noexcept override;

    // All three return 0. They throw ZLockResourceException_5_1 (code 5, rc 0) when the caller does
    // not hold the lock, and write and throw ZConditionException_5_1 (code 9, rc) when the wait
    // fails. The first and the second call the third.
    int wait() override;

    // For whole seconds of the wall clock, counted from the current whole second: 0 expires at
    // once.
    int wait(long seconds, int& timedOut) override;

    // Until a wall-clock time; both parts 0 mean no limit. timedOut becomes 1 when the time
    // expired, after waitTimedOut() was called, else 0.
    int wait(timespec& absTime, int& timedOut) override;

    // Wake one waiter, or all. Return 0; a failure is written and thrown as
    // ZConditionException_5_1 (code 10 or 27, rc).
    int signal() override;
    int broadcast() override;

    // Those of the lock.
    int lock() override;
    int unlock() override;

    // The lock that it is bound to, not the caller's to delete.
    virtual ZLock_5_1* getResource() const;

    // Called, with the lock held, when a timed wait has expired. Does nothing here.
    void waitTimedOut() override;

    // Throws ZLockResourceException_5_1 (code 5, rc 0) unless the caller holds the lock.
    virtual void validateLock();

private:
    ZCondition_5_1(ZLock_5_1* lock, int ownsLock);

    int sleepUntil(timespec const& absTime);

    ZLock_5_1* lock_;
    int ownsLock_;
    [[maybe_unused]] int reserved_;  // always 0
    pthread_cond_t* cond_;
};

// Waits until a flag is set. The three operations on the flag need the lock held by the caller and
// throw as validateLock() does. The flag stays set until initCondition().
class Z_API ZBooleanCondition_5_1 : public ZCondition_5_1 {
public:
    // The flag is 0.
    ZBooleanCondition_5_1();
    explicit ZBooleanCondition_5_1(ZLock_5_1& lock);
    ~ZBooleanCondition_5_1() noexcept override;

    // Return the flag, at once when it is set already; timedOut is then left as it was. An expired
    // wait sets the flag as well: timedOut tells the cases apart.
    int wait() override;
    int wait(long seconds, int& timedOut) override;
    int wait(timespec& absTime, int& timedOut) override;

    // Sets the flag through setCondition(1), which ends the wait.
    void waitTimedOut() override;

    virtual void initCondition();  // the flag becomes 0
    virtual int testCondition();   // the flag

    // Returns 1. Wakes nobody: signal or broadcast afterwards.
    virtual int setCondition(int value);

private:
    int flag_;
};

#endif
