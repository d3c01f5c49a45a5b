// ZLock: recursive mutex that knows its owner, and the guard that holds it for a scope.
// Subsystem: concurrency, layer 2. Test: tests/ZLock_test.cpp
#ifndef Z_ZLOCK_H
#define Z_ZLOCK_H

#include <pthread.h>

#include <atomic>

#include "ZObject.h"

// What can be held by one thread at a time, or by several where the class says so.
class Z_API ZLockInterface_5_1 {
public:
    // Both return 0 and throw when they fail.
    virtual int lock() = 0;
    virtual int unlock() = 0;

    // May throw: some locks report in their destructor that they are still held.
    virtual ~ZLockInterface_5_1() noexcept(false);
};

// Base of the locks that one thread at a time holds; adds nothing.
class Z_API ZAbstractLock_5_1 : public ZLockInterface_5_1 {};

// Excludes the other threads of this process. The owner may enter again any number of times, which
// costs no system call, and leaves as often as it entered. The ways that succeed stand in the
// class: a lock costs little more than its mutex.
class Z_API ZLock_5_1 : public ZAbstractLock_5_1, public ZObject_5_1 {
public:
    // Throws ZCreateResourceException_5_1 (code 3, rc of pthread_mutex_init).
    ZLock_5_1();

    // A distinct, free lock: nothing of the source is copied.
    ZLock_5_1(ZLock_5_1 const& other);

    // Does nothing.
    ZLock_5_1& operator=(ZLock_5_1 const& other);

    // Destroying a held lock is written through the message service (code 4), not prevented.
    ~ZLock_5_1() noexcept override;

    // Waits until the lock is free or the caller's. Throws ZLockResourceException_5_1 (code 5, rc
    // of pthread_mutex_lock; EAGAIN when entered 2^31 - 1 times already).
    int lock() override {
        pthread_t const self = callingThread();
        if (owner_->load(std::memory_order_relaxed) == self) {
            if (count_ == mostEntries) refuseEntry();
            ++count_;
            return 0;
        }
        if (int const rc = pthread_mutex_lock(mutex_)) lockFailed(rc);
        owner_->store(self, std::memory_order_relaxed);
        count_ = 1;
        return 0;
    }

    // Throws ZUnlockResourceException_5_1 (code 6): rc 0 when the caller is not the owner, else rc
    // of pthread_mutex_unlock, the lock then still being the caller's.
    int unlock() override {
        pthread_t const self = callingThread();
        if (owner_->load(std::memory_order_relaxed) != self || count_ <= 0) refuseExit();
        if (--count_ > 0) return 0;
        owner_->store(nobody, std::memory_order_relaxed);
        if (int const rc = pthread_mutex_unlock(mutex_)) unlockFailed(self, rc);
        return 0;
    }

private:
    // Sets the lock free for a wait, checks who holds it.
    friend class ZCondition_5_1;

    static constexpr int mostEntries = 0x7fffffff;
    static constexpr pthread_t nobody = static_cast<pthread_t>(-1);

    // pthread_self() without the call where the thread pointer is the answer.
    static pthread_t callingThread() {
#if defined(__GLIBC__) && (defined(__x86_64__) || defined(__i386__))
        return reinterpret_cast<pthread_t>(__builtin_thread_pointer());
#else
        return pthread_self();
#endif
    }

    [[noreturn]] static void refuseEntry();
    [[noreturn]] static void refuseExit();
    [[noreturn]] static void lockFailed(int rc);
    [[noreturn]] void unlockFailed(pthread_t self, int rc);

    // Around a wait: the lock reads as free and gets its depth back.
    int giveUpForWait();
    void takeBackAfterWait(int depth);
    bool heldByCaller() const;

    pthread_mutex_t* mutex_;

    // Every thread may look whether it is the owner itself; only the owner writes. All bits set
    // means no owner. Mutex and owner lie in one heap block.
    std::atomic<pthread_t>* owner_;

    // Touched by the owner only.
    int count_;
};

// Holds a lock as long as it lives:
//     ZResourceLock_5_1 hold(lock_);
// It cannot be left early. A failing unlock in the destructor is written through the message
// service.
class Z_API ZResourceLock_5_1 : public ZObject_5_1 {
public:
    // Whatever lock() throws passes through.
    explicit ZResourceLock_5_1(ZLock_5_1& lock) : lock_(lock) { lock_.lock(); }
    ZResourceLock_5_1(ZResourceLock_5_1 const&) = delete;
    ZResourceLock_5_1& operator=(ZResourceLock_5_1 const&) = delete;
    ~ZResourceLock_5_1() noexcept override {
        try {
            lock_.unlock();
        } catch (...) {
            // Only a cancellation would pass, and nothing here can be cancelled.
            // cppcheck-suppress throwInNoexceptFunction
            reportCurrentException();
        }
    }

private:
    static void reportCurrentException();

    ZLock_5_1& lock_;
};

#endif
