// concurrency_bench: the recursive lock against those of the C++ library and of POSIX threads.
#include <Z/ZLock.h>
#include <pthread.h>

#include <mutex>

#include "bench.h"

namespace {

using bench::add;
using benchmark::State;

class PthreadMutex {
public:
    PthreadMutex() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&mutex_, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    PthreadMutex(PthreadMutex const&) = delete;
    PthreadMutex& operator=(PthreadMutex const&) = delete;
    ~PthreadMutex() { pthread_mutex_destroy(&mutex_); }
    int lock() { return pthread_mutex_lock(&mutex_); }
    int unlock() { return pthread_mutex_unlock(&mutex_); }

private:
    pthread_mutex_t mutex_;
};

// Made at first use and shared by the threads of a benchmark.
template <class Lock>
Lock& sharedLock() {
    static Lock lock;
    return lock;
}

template <class Lock>
void enter(State& state) {
    Lock& lock = sharedLock<Lock>();
    benchmark::DoNotOptimize(&lock);
    for (auto _ : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
}

// By a thread that holds the lock already.
template <class Lock>
void reenter(State& state) {
    Lock& lock = sharedLock<Lock>();
    benchmark::DoNotOptimize(&lock);
    lock.lock();
    for (auto _ : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
    lock.unlock();
}

// The scope guards of both sides.
template <class Lock, class Guard>
void guard(State& state) {
    Lock& lock = sharedLock<Lock>();
    benchmark::DoNotOptimize(&lock);
    for (auto _ : state) {
        Guard hold(lock);
        benchmark::ClobberMemory();
    }
}

template <class Lock, class Guard>
void addLock(char const* who) {
    add("lock/enter", who, "1_thread", enter<Lock>);
    add("lock/enter", who, "2_threads", enter<Lock>)->Threads(2)->UseRealTime();
    add("lock/reenter", who, "1_thread", reenter<Lock>);
    add("lock/guard", who, "1_thread", guard<Lock, Guard>);
}

}  // namespace

int main(int argc, char** argv) {
    bench::prepare();
    addLock<ZLock_5_1, ZResourceLock_5_1>("Z");
    addLock<std::recursive_mutex, std::lock_guard<std::recursive_mutex>>("std");
    addLock<PthreadMutex, std::lock_guard<PthreadMutex>>("pthread");
    return bench::run(argc, argv);
}
