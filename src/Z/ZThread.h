// ZThread: threads as objects, sleepers that work when woken, and the pool that bounds them.
// Subsystem: concurrency, layer 4. Test: tests/ZThread_test.cpp
#ifndef Z_ZTHREAD_H
#define Z_ZTHREAD_H

#include <pthread.h>

#include "ZCondition.h"
#include "ZLock.h"
#include "ZMap.h"
#include "ZObject.h"

class ZThreadPool_5_1;

// A thread whose body is run(). Nothing that run() throws leaves the thread: it is written through
// the message service (an exception of this library as such, anything else as code 19). Then, and
// when run() returns, calls pthread_exit or is cancelled, exit() is called, the pool hears of the
// end, and a detached thread with deleteOnExit deletes its object. Cancellation is not reported.
//
// Who deletes: the caller, after waitForExit() has joined a thread that is not detached, and once
// nobody uses it a detached one (its exit() is the last that touches it when it is in no pool).
// With deleteOnExit (which counts for detached threads alone) the object lies on the heap and is
// the caller's no more from start() on. A subclass must not start itself in its constructor.
//
// An object without deleteOnExit may be started again when its thread has ended, a joinable one
// when it was joined. After a fork the child has no thread but the one that forked: there, no
// object of another thread may be started, joined or deleted.
class Z_API ZThread_5_1 : public ZObject_5_1 {
public:
    // Keeps `id` as the identifier until it is started. Neither detached nor deleteOnExit.
    explicit ZThread_5_1(unsigned int id);

    // Identifier 0 until it is started.
    ZThread_5_1(int detached, int deleteOnExit);
    ZThread_5_1(ZThread_5_1 const&) = delete;
    ZThread_5_1& operator=(ZThread_5_1 const&) = delete;

    // Does not wait for the thread.
    ~ZThread_5_1() override;

    // By the identifier: -1, 0 or 1. `other` must be a ZThread_5_1.
    unsigned long hash() const override;
    int compare(ZObject_5_1 const& other) const override;

    // Throws ZNotClonableException_5_1 (code 14).
    ZObject_5_1* clone() const override;

    // Throws ZThreadException_5_1, no thread having been made: code 15, 16 or 17 with the rc of
    // pthread_attr_init, pthread_attr_setdetachstate or pthread_create. A failing
    // pthread_attr_destroy is only written (code 18).
    virtual void start();

    // Returns at once for a detached thread, else joins. Throws ZThreadException_5_1 (code 20, rc
    // of pthread_join): ESRCH when there is no thread to be joined, because it was never started or
    // being joined or joined already, EDEADLK when the thread waits for itself. A cancelled wait
    // can be repeated.
    virtual void waitForExit();

    // The body, called on the new thread.
    virtual void run() = 0;

    // Called by the thread when it ends, however it does, with cancellation held off. What it
    // throws is written. Must not call pthread_exit: where the thread ends by that already, or is
    // cancelled, the process would abort. Does nothing here.
    virtual void exit();

    // Right in run() from its first line on, and after start().
    pthread_t getPThreadID() const;

    // A place that holds one object for each thread and deletes it when the thread ends (the main
    // thread excepted, when it returns from main). Throws ZThreadException_5_1 (code 29, rc).
    static void createThreadKey(unsigned int& key);

    // The calling thread's object, still the place's; null when there is none.
    static ZObject_5_1* getThreadObject(unsigned int& key);

    // The place takes the object over; the former one is the caller's again, not deleted. Null
    // empties the place. Throws ZThreadException_5_1 (code 30, rc), the object then being the
    // caller's.
    static void setThreadObject(unsigned int& key, ZObject_5_1* object);

private:
    friend class ZSleeperThread_5_1;
    friend class ZThreadPool_5_1;

    // A call of a pool's start() by the calling thread, for one thread.
    struct Starter {
        ZThread_5_1& thread;
        ZThreadPool_5_1& pool;
        bool threadMade;
    };
    struct Cell;
    struct Farewell;
    struct Exit;

    static void* entry(void* object);
    int create(pthread_attr_t const* attributes, ZThreadPool_5_1* pool);
    static Starter*& innermostStarter();
    bool hasThreadToJoin() const;

    Cell* const threadId_;
    int const detached_;
    int const deleteOnExit_;

    // Of the latest start: the pool that made it, or null.
    ZThreadPool_5_1* pool_;
};

// Does a unit of work each time it is woken, or its interval has passed, until it is told to exit.
// doWork() is called with the lock of the wake condition held: a wakeUp() meanwhile waits, and the
// work is done once more; several wake-ups before it begins count as one, none is lost. One that
// comes before start(), or while the sleeper is stopped, is served by the next thread.
//
// After waitForExit() an object without deleteOnExit may be started again, detached or not; start()
// then waits until the former thread has left its loop. That call is needed also where the thread
// has ended on its own: the new one of a joinable object would end at once, being told to exit
// still, or the object has two threads, of which waitForExit() joins one.
class Z_API ZSleeperThread_5_1 : public ZThread_5_1 {
public:
    // The interval is in seconds of the wall clock, counted from the last whole second when the
    // thread goes to sleep; 0 means none. Exceptions of ZLock_5_1 and ZCondition_5_1.
    ZSleeperThread_5_1();
    ZSleeperThread_5_1(int detached, int deleteOnExit);
    explicit ZSleeperThread_5_1(unsigned long interval);
    ZSleeperThread_5_1(int detached, int deleteOnExit, unsigned long interval);

    // Both conditions use the caller's lock, which must outlive the object. Waiting for the exit
    // with that lock held deadlocks.
    explicit ZSleeperThread_5_1(ZLock_5_1& lock);

    ~ZSleeperThread_5_1() override;

    // Returns when the new thread is inside its loop. Throws as ZThread_5_1::start() does, and code
    // 20 with EDEADLK when a detached thread that was told to exit starts itself.
    void start() override;

    // Tells the thread to exit and joins it unless it is detached; work under way is finished
    // first. A work that is pending stays so. Throws as ZThread_5_1::waitForExit().
    void waitForExit() override;

    // After each work a thread of a pool offers itself to threadDoneNotification() and ends when
    // it is not accepted. What doWork() throws ends the thread too, the work still being pending.
    void run() override;

    // One unit of work, called on the thread with the lock of the wake condition held.
    virtual void doWork() = 0;

    // Waits while a work is being done by another thread.
    void wakeUp();

private:
    struct Starting;
    struct Leaving;

    void forgetFormerExit();
    void sleep();

    int exitRequested_;  // these two are guarded by the lock of wakeCondition_
    int workPending_;
    int running_;  // by that of startCondition_
    unsigned long const interval_;
    ZCondition_5_1 startCondition_;
    ZCondition_5_1 wakeCondition_;
};

// Runs at most so many threads at a time, and keeps some sleepers that have done their work for
// more. All operations may be called from any thread. Waits for a place or for an end are
// cancellation points; the start and the exit of a thread are done whole.
//
// The pool owns no thread. Its threads should be detached: one that is joined by the pool cannot be
// joined by the caller. Where createThread() makes and starts objects of a sleeper class Worker
// that has a field for its job, they are given one like this:
//     ZThread_5_1* thread = nullptr;
//     auto* worker = static_cast<Worker*>(pool.getAvailableIdleThread(thread));
//     worker->job = job;
//     worker->wakeUp();
// A thread taken from the pool must be woken, or it is never done. It must have no interval: one
// that wakes by itself after it was taken is offered again.
//
// Destroyed when waitForExit() has returned and nobody calls it any more. Failures of the mutex or
// the condition throw ZThreadException_5_1 (code 5, 6 or 10 with rc of pthread_mutex_lock,
// pthread_mutex_unlock or pthread_cond_broadcast); failing waits are written (code 9) and repeated.
class Z_API ZThreadPool_5_1 : public ZObject_5_1 {
public:
    // The larger number is that of threads at a time, the smaller that of idle ones kept. Throws
    // ZThreadException_5_1 (code 3 or 7, rc of pthread_mutex_init or pthread_cond_init).
    ZThreadPool_5_1(unsigned int a, unsigned int b);
    ZThreadPool_5_1(ZThreadPool_5_1 const&) = delete;
    ZThreadPool_5_1& operator=(ZThreadPool_5_1 const&) = delete;

    // Failures of pthread_cond_destroy (code 8) and pthread_mutex_destroy (code 4) are written.
    ~ZThreadPool_5_1() override;

    // Throws ZNotClonableException_5_1 (code 14).
    ZObject_5_1* clone() const override;

    // A new worker where no idle one is there. Called without the mutex, so that it may start the
    // thread in this pool. Returns null here.
    virtual ZThread_5_1* createThread();

    // Waits until fewer than the bound are running, then starts the thread. What t.start() throws
    // is written and not passed on. Where all that run are idle, so that none would ever end, the
    // pool chooses to tell one of them to exit, but never the caller. Throws
    // ZInvalidParameterException_5_1 (code 22) when the bound is 0.
    void start(ZThread_5_1& t);

    // A thread of the pool has ended: called by the thread itself. The object is not touched.
    void threadDeathNotification(ZThread_5_1& t);

    // A thread has done its work: accepted becomes 1 when it is kept as idle, else 0. What is idle
    // already is accepted again.
    void threadDoneNotification(ZThread_5_1& t, int& accepted);

    // An idle thread, which is no longer idle then, else what createThread() gives; also in `out`.
    ZThread_5_1* getAvailableIdleThread(ZThread_5_1*& out);

    // Ends the idle threads and waits until none of the pool is running; meanwhile no thread is
    // kept as idle. Not to be called by one of them. What waitForExit() of a thread throws is
    // written.
    void waitForExit();

private:
    friend class ZThread_5_1;
    friend class ZSleeperThread_5_1;

    class Hold;
    struct Place;
    struct Dismissal;
    struct Closing;

    void waitLocked();
    void wakeAllLocked();
    bool isDismissedLocked(ZThread_5_1 const& t) const;
    ZThread_5_1* takeIdleLocked(bool notCaller);
    void dismissIdleLocked(Hold& hold);
    void forgetIdle(ZThread_5_1& t);

    ZHashMap_5_1 idle_;
    unsigned int active_;
    pthread_mutex_t* mutex_;
    pthread_cond_t* cond_;
    unsigned int const maxThreads_;
    unsigned int const maxIdle_;
    unsigned int idleCount_;
    unsigned int closing_;   // calls of waitForExit()
    Dismissal* dismissals_;  // under way, as a list
};

#endif
