// thread_bench: starting threads, waking sleepers, and giving work to a pool of two.
#include <Z/ZThread.h>
#include <glib.h>
#include <sched.h>
#include <semaphore.h>

#include <atomic>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <thread>

#include "bench.h"

namespace {

using bench::add;
using benchmark::State;

constexpr int width = 2;

std::atomic<int> left{0};  // of a round's tasks

class Finished {
public:
    Finished() { sem_init(&semaphore_, 0, 0); }
    Finished(Finished const&) = delete;
    Finished& operator=(Finished const&) = delete;
    ~Finished() { sem_destroy(&semaphore_); }
    void post() { sem_post(&semaphore_); }
    void wait() {
        while (sem_wait(&semaphore_) != 0) {
        }
    }

private:
    sem_t semaphore_;
} finished;

// What every thread and every task does.
void work() {
    if (--left == 0) finished.post();
}

// ---- a thread for one task ----

struct ZTask : ZThread_5_1 {
    ZTask() : ZThread_5_1(0, 0) {}
    void run() override { work(); }
    void join() { waitForExit(); }
};

struct StdTask {
    void start() { thread = std::thread(work); }
    void join() { thread.join(); }
    std::thread thread;
};

struct GTask {
    void start() {
        auto const body = [](gpointer) -> gpointer { return work(), nullptr; };
        thread = g_thread_new(nullptr, body, nullptr);
    }
    void join() { g_thread_join(thread); }
    GThread* thread = nullptr;
};

// The peers know neither clean-up nor exceptions that end a thread without ending the process.
template <class Task>
void startAndJoin(State& state) {
    for (auto _ : state) {
        left = 2;
        Task task;
        task.start();
        task.join();
    }
}

// ---- a detached thread for one task, with and without a pool ----

struct ZShort : ZThread_5_1 {
    ZShort() : ZThread_5_1(1, 1) {}
    void run() override { work(); }
};

struct ShortInPool {
    void start() { pool.start(*new ZShort); }
    ~ShortInPool() { pool.waitForExit(); }
    ZThreadPool_5_1 pool{width, width};
};

struct ShortZ {
    void start() { (new ZShort)->start(); }
};

// Knows neither of the bound nor of the end of its threads.
struct ShortStd {
    void start() { std::thread(work).detach(); }
};

// Until the task is done; the thread may still be about to end when the next is started.
template <class Starter>
void startShort(State& state) {
    Starter starter;
    for (auto _ : state) {
        left = 1;
        starter.start();
        finished.wait();
    }
}

// ---- a thread that sleeps until it has work ----

struct ZSleeper {
    ZSleeper() { worker.start(); }
    ~ZSleeper() { worker.waitForExit(); }
    ZSleeper(ZSleeper const&) = delete;
    ZSleeper& operator=(ZSleeper const&) = delete;
    void wakeUp() { worker.wakeUp(); }

    struct Worker : ZSleeperThread_5_1 {
        void doWork() override { work(); }
    } worker;
};

// The same loop over a condition: the work is done with its lock held here too. `Turn` has lock(),
// unlock(), wait() and signal().
template <class Turn>
class ConditionSleeper {
public:
    ConditionSleeper() : thread_([this] { loop(); }) {}
    ~ConditionSleeper() {
        change(ending_);
        thread_.join();
    }
    ConditionSleeper(ConditionSleeper const&) = delete;
    ConditionSleeper& operator=(ConditionSleeper const&) = delete;
    void wakeUp() { change(pending_); }

private:
    void change(bool& what) {
        turn_.lock();
        what = true;
        turn_.signal();
        turn_.unlock();
    }
    void loop() {
        turn_.lock();
        while (!ending_) {
            if (pending_) {
                pending_ = false;
                work();
            } else {
                turn_.wait();
            }
        }
        turn_.unlock();
    }

    Turn turn_;
    bool pending_ = false, ending_ = false;
    std::thread thread_;
};

struct ZConditionTurn {
    void lock() { condition.getResource()->lock(); }
    void unlock() { condition.getResource()->unlock(); }
    void wait() { condition.wait(); }
    void signal() { condition.signal(); }
    ZCondition_5_1 condition;
};

struct PthreadConditionTurn {
    void lock() { pthread_mutex_lock(&mutex); }
    void unlock() { pthread_mutex_unlock(&mutex); }
    void wait() { pthread_cond_wait(&condition, &mutex); }
    void signal() { pthread_cond_signal(&condition); }
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
};

// From the wake-up until the waiting thread knows that the work is done.
template <class Sleeper>
void wakeUp(State& state) {
    Sleeper sleeper;
    for (auto _ : state) {
        left = 1;
        sleeper.wakeUp();
        finished.wait();
    }
}

// ---- a pool ----

// Has no queue: a task goes to a sleeper that is idle, and whoever finds none tries again.
class ZPool {
public:
    ZPool() {
        left = 2 * width;
        for (int i = 0; i < width; ++i) {
            auto* const worker = new Worker(1, 1);
            pool_.start(*worker);
            worker->wakeUp();
        }
    }
    ~ZPool() { pool_.waitForExit(); }
    ZPool(ZPool const&) = delete;
    ZPool& operator=(ZPool const&) = delete;
    void submit() {
        ZThread_5_1* thread = nullptr;
        while (!pool_.getAvailableIdleThread(thread)) sched_yield();
        static_cast<Worker*>(thread)->wakeUp();
    }

private:
    struct Worker : ZSleeperThread_5_1 {
        using ZSleeperThread_5_1::ZSleeperThread_5_1;
        void doWork() override { work(); }
    };

    ZThreadPool_5_1 pool_{width, width};
};

// These two queue what no thread is free for, so that many tasks cost few wake-ups; they do not
// hand out the thread that will work.
class AsioPool {
public:
    ~AsioPool() { pool_.join(); }
    void submit() { boost::asio::post(pool_, work); }

private:
    boost::asio::thread_pool pool_{width};
};

class GPool {
public:
    GPool() {
        auto const task = [](gpointer, gpointer) { work(); };
        pool_ = g_thread_pool_new(task, nullptr, width, TRUE, nullptr);
    }
    ~GPool() { g_thread_pool_free(pool_, FALSE, TRUE); }
    GPool(GPool const&) = delete;
    GPool& operator=(GPool const&) = delete;
    void submit() { g_thread_pool_push(pool_, this, nullptr); }

private:
    GThreadPool* pool_;
};

// Gives `tasks` to the pool and waits until all are done.
template <class Pool, int tasks>
void submit(State& state) {
    Pool pool;
    while (left > width) sched_yield();
    for (auto _ : state) {
        left = tasks;
        for (int i = 0; i < tasks; ++i) pool.submit();
        finished.wait();
    }
    bench::countEach(state, "ns/task", tasks);
}

template <class Pool>
void addPool(char const* who) {
    add("pool/submit_and_wait", who, "1_task", submit<Pool, 1>)->UseRealTime();
    add("pool/submit_and_wait", who, "1000_tasks", submit<Pool, 1000>)->UseRealTime();
}

}  // namespace

namespace bench {

void addThreads() {
    add("thread/start_and_join", "Z", "1_thread", startAndJoin<ZTask>)->UseRealTime();
    add("thread/start_and_join", "std", "1_thread", startAndJoin<StdTask>)->UseRealTime();
    add("thread/start_and_join", "GThread", "1_thread", startAndJoin<GTask>)->UseRealTime();
    add("pool/start_short_thread", "Z", "1_thread", startShort<ShortInPool>)->UseRealTime();
    add("pool/start_short_thread", "Z_bare", "1_thread", startShort<ShortZ>)->UseRealTime();
    add("pool/start_short_thread", "std_bare", "1_thread", startShort<ShortStd>)->UseRealTime();
    add("sleeper/wake_up", "Z", "1_task", wakeUp<ZSleeper>)->UseRealTime();
    add("sleeper/wake_up", "Z_condition", "1_task", wakeUp<ConditionSleeper<ZConditionTurn>>)
        ->UseRealTime();
    add("sleeper/wake_up", "pthread", "1_task", wakeUp<ConditionSleeper<PthreadConditionTurn>>)
        ->UseRealTime();
    addPool<ZPool>("Z");
    addPool<AsioPool>("Asio");
    addPool<GPool>("GThreadPool");
}

}  // namespace bench
