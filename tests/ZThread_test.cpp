// ZThread_test: how threads start and end, sleepers, the pool, and storms of all of them.
// Subsystem: concurrency, layer 4. Test: tests/ZThread_test.cpp
#include <Z/ZException.h>
#include <Z/ZThread.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>

#include "FailingCalls.h"
#include "ZTest.h"

namespace {

using Body = std::function<void()>;
std::atomic<int> live{0}, ended{0};

void until(std::function<bool()> const& holds) {
    for (int left = 1000000; !holds(); --left) {  // some minutes
        if (left == 0) ADD_FAILURE() << "never came", std::abort();
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
}

struct Counted {
    Counted() { ++live; }
    ~Counted() { --live; }
};

struct Task : ZThread_5_1 {
    Task(int detached, int deletes, Body body)
        : ZThread_5_1(detached, deletes), run_(std::move(body)) {}
    void run() override { run_(); }
    void exit() override {
        std::shared_ptr<void> const last(&ended, [](auto) { ++ended; });
        exit_();
    }

    Counted counted_;
    Body run_, exit_ = [] {};
};

struct Sleeper : ZSleeperThread_5_1 {
    using ZSleeperThread_5_1::ZSleeperThread_5_1;
    void doWork() override {
        work_();
        ++works_;
    }
    void exit() override { ++ended; }

    Counted counted_;
    Body work_ = [] {};
    std::atomic<unsigned int> works_{0};
};

void expectRefused(ZThread_5_1& thread, int rc,
                   void (ZThread_5_1::*call)() = &ZThread_5_1::waitForExit) {
    ztest::expectRefused<ZThreadException_5_1>([&] { (thread.*call)(); }, 20, rc);
}

TEST(ZThread, IsJoinedOnceForEachStart) {
    struct Odd : ZThread_5_1 {
        using ZThread_5_1::ZThread_5_1;
        void run() override {
            inside = getPThreadID() == pthread_self();
            expectRefused(*this, EDEADLK);
        }
        bool inside = false;
    } odd(77), other(0, 0);
    EXPECT_TRUE(odd.getPThreadID() == 77 && odd.hash() == 77 && odd > other && other < odd);
    EXPECT_EQ(odd.compare(odd) + 2 * odd.compare(other) + 4 * other.compare(odd), -2);
    EXPECT_THROW(odd.clone(), ZNotClonableException_5_1);
    expectRefused(odd, ESRCH);
    for (Odd* thread : {&odd, &other, &odd}) {
        thread->inside = false;
        thread->start();
        thread->waitForExit();
        EXPECT_TRUE(thread->inside);
        expectRefused(*thread, ESRCH);
    }
    std::atomic<bool> go{false};
    Task detached(1, 0, [&] { until([&] { return go.load(); }); });
    ended = 0;
    detached.start();
    detached.waitForExit();
    EXPECT_TRUE(ended == 0 && detached.getPThreadID() != 0) << "nothing was waited for";
    go = true;
    until([] { return ended == 1; });
}

TEST(ZThread, EndsInOrderHoweverItEnds) {
    std::atomic<pthread_t> asleep{0};
    auto const throwOne = [] { pthread_testcancel(), throw 1; };
    ZCondition_5_1 never;
    auto const sleepOn = [&] {
        ZResourceLock_5_1 const hold(*never.getResource());
        for (asleep = pthread_self();;) never.wait();
    };
    struct {
        char const* name;
        Body run, exit;
        char const* report;
    } const rows[] = {
        {"returns", [] {}, [] {}, ""},
        {"throws ours", [] { ZOutOfMemoryException_5_1().throwException("here", 1); }, [] {},
         "Memory"},
        {"throws another", throwOne, [] {}, "Error: 19\n File: \"src/Z/ZThread\""},
        {"ends itself", [] { pthread_exit(nullptr); }, throwOne, "Error: 19"},
        {"is cancelled", sleepOn, [] {}, ""},
        {"is cancelled, throws", sleepOn, throwOne, "Error: 19"},
        {"cancels itself", [] { pthread_cancel(pthread_self()); }, throwOne, "Error: 19"},
    };
    for (auto const& row : rows) {
        asleep = 0, ended = 0;
        ZThreadPool_5_1 pool(1, 0);
        std::string const report = ztest::reported([&] {
            auto* const task = new Task(1, 1, row.run);
            std::atomic<bool> counted{false};
            task->exit_ = [&, task] {
                counted = live == 1 && pthread_equal(task->getPThreadID(), pthread_self());
                row.exit();
            };
            pool.start(*task);
            if (std::string(row.name).rfind("is cancelled", 0) == 0) {
                until([&] { return asleep != 0; });
                pthread_cancel(asleep);
            }
            pool.waitForExit();
            EXPECT_TRUE(ended == 1 && counted) << row.name;
            until([] { return live == 0; });
        });
        bool const right = *row.report ? report.find(row.report) != report.npos : report.empty();
        EXPECT_TRUE(right) << row.name << ": " << report;
    }
}

TEST(ZThread, KeepsAnObjectForEachThread) {
    struct Item : ZObject_5_1 {
        Counted counted_;
    } replaced;
    unsigned int key = 0;
    ZThread_5_1::createThreadKey(key);
    auto const use = [&] {
        EXPECT_EQ(ZThread_5_1::getThreadObject(key), nullptr);
        for (Item* item : {&replaced, static_cast<Item*>(nullptr), &replaced, new Item}) {
            ZThread_5_1::setThreadObject(key, item);
            EXPECT_EQ(ZThread_5_1::getThreadObject(key), item);
        }
    };
    Task task(0, 0, use);
    task.start();
    task.waitForExit();
    EXPECT_EQ(live, 2) << "the task and the replaced item are left";

    std::vector<unsigned int> keys{key};
    auto const takeAll = [&] {
        for (;; keys.push_back(key)) ZThread_5_1::createThreadKey(key);
    };
    ztest::expectRefused<ZThreadException_5_1>(takeAll, 29, EAGAIN);
    for (unsigned int each : keys) pthread_key_delete(each);
    auto const useGone = [&] { ZThread_5_1::setThreadObject(key, &replaced); };
    ztest::expectRefused<ZThreadException_5_1>(useGone, 30, EINVAL);
}

TEST(ZSleeperThread, LosesNoWakeUp) {
    ZLock_5_1 lock;
    Sleeper plain, shared(lock), detached(1, 0);
    for (Sleeper* sleeper : {&plain, &shared, &detached}) {
        ended = 0;
        sleeper->wakeUp();
        sleeper->work_ = [&, left = 1]() mutable {
            if (left-- > 0) sleeper->wakeUp();
        };
        if (sleeper != &detached) expectRefused(*sleeper, ESRCH);
        sleeper->start();
        until([&] { return sleeper->works_ == 2; });
        sleeper->waitForExit();
        until([] { return ended == 1; });
        sleeper->wakeUp();
        sleeper->work_ = [] { throw 1; };
        std::string const report = ztest::reported([&] {
            sleeper->start();
            until([] { return ended == 2; });
        });
        EXPECT_EQ(report.rfind("Error: 19\n", 0), 0u) << report;
        sleeper->waitForExit();
        sleeper->work_ = [&] {
            if (sleeper != &detached) return expectRefused(*sleeper, EDEADLK);
            sleeper->waitForExit();
            expectRefused(*sleeper, EDEADLK, &ZThread_5_1::start);
        };
        sleeper->start();
        until([] { return ended == 3; });
        EXPECT_EQ(sleeper->works_, 3u) << "the failed work was still to be done";
        if (sleeper != &detached) sleeper->ZThread_5_1::waitForExit();
    }
}

TEST(ZThreadPool, BoundsWhatRuns) {
    ZThreadPool_5_1 pool(2, 4), none(0, 0);
    std::atomic<int> running{0}, begun{0}, allowed{0};
    auto const body = [&] {
        EXPECT_LE(++running, 4);
        int const mine = ++begun;
        until([&] { return mine <= allowed; });
        --running;
    };
    for (int i = 0; i < 4; ++i) pool.start(*new Task(1, 1, body));
    {
        Task fifth(1, 0, body);
        auto const startFifth = [&] { pool.start(fifth); };
        Task cancelled(0, 0, startFifth), blocked(0, 0, startFifth);
        EXPECT_THROW(none.start(fifth), ZInvalidParameterException_5_1);
        EXPECT_THROW(none.clone(), ZNotClonableException_5_1);
        cancelled.start(), blocked.start();
        until([&] { return begun == 4; });
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        pthread_cancel(cancelled.getPThreadID());
        cancelled.waitForExit();
        EXPECT_EQ(begun, 4);
        allowed = 1;
        blocked.waitForExit();
        until([&] { return begun == 5; });
        allowed = 5;
        pool.waitForExit();
        EXPECT_EQ(running, 0);
    }
    until([] { return live == 0; });
}

TEST(ZThreadPool, KeepsSomeIdle) {
    ZThreadPool_5_1 pool(4, 2);
    std::atomic<int> done{0};
    ZThread_5_1 *first = nullptr, *second = nullptr, *third = nullptr;
    for (int i = 0; i < 4; ++i) {
        auto* const sleeper = new Sleeper(1, 1);
        sleeper->work_ = [&] { ++done; };
        sleeper->wakeUp();
        pool.start(*sleeper);
    }
    until([&] { return done == 4 && live == 2; });
    EXPECT_TRUE(pool.getAvailableIdleThread(first) && pool.getAvailableIdleThread(second));
    EXPECT_TRUE(second != first && !pool.getAvailableIdleThread(third));
    for (ZThread_5_1* thread : {first, second}) static_cast<Sleeper*>(thread)->wakeUp();
    pool.waitForExit();
    until([&] { return live == 0; });
    EXPECT_EQ(done, 6);
}

TEST(ZThreadPool, TellsTheIdleToExit) {
    ZThreadPool_5_1 pool(1, 1);
    ZThread_5_1* out = nullptr;
    using Clock = std::chrono::system_clock;
    auto const second = [] { return Clock::to_time_t(Clock::now()); };
    Sleeper joined, cancelled(1, 0), never(ULONG_MAX);
    never.start();
    auto* const often = new Sleeper(1, 1, 1);
    std::atomic<bool> worked{false};
    often->work_ = [&, before = second()] { worked = second() > before; };
    ended = 0;
    for (Sleeper* sleeper : {&joined, &cancelled, often}) {
        if (sleeper != often) sleeper->wakeUp();
        pool.start(*sleeper);  // where the former one is idle and in the way
    }
    until([&] { return worked.load(); });
    pool.waitForExit();
    expectRefused(joined, ESRCH);
    pool.start(cancelled);
    cancelled.wakeUp();
    until([&] { return pool.getAvailableIdleThread(out) == &cancelled; });
    int kept = 0, stillKept = 0;
    pool.threadDoneNotification(cancelled, kept);
    pool.threadDoneNotification(cancelled, stillKept);
    EXPECT_TRUE(kept && stillKept);
    pthread_cancel(cancelled.getPThreadID());
    until([] { return ended == 4; });
    EXPECT_EQ(pool.getAvailableIdleThread(out), nullptr);
    Task offering(1, 0, [&] {
        for (; kept; pool.getAvailableIdleThread(out)) pool.threadDoneNotification(cancelled, kept);
    });
    pool.start(offering);
    pool.waitForExit();  // nothing is kept from now on
    never.waitForExit();
    EXPECT_EQ(joined.works_ + cancelled.works_ + 10 * never.works_, 3u);
}

#if Z_CALLS_CAN_FAIL
TEST(ZThread, PassesOnWhatTheSystemRefuses) {
    ztest::Failing const rows[] = {
        {"pthread_attr_init", 15, 0},      {"pthread_attr_setdetachstate", 16, 0},
        {"pthread_create", 17, 0},         {"pthread_attr_destroy", 0, 18},
        {"pthread_mutex_init", 3, 0},      {"pthread_cond_init", 7, 0},
        {"pthread_cond_broadcast", 10, 0}, {"pthread_mutex_unlock", 6, 0},
        {"pthread_cond_destroy", 0, 8},    {"pthread_mutex_destroy", 0, 4},
    };
    for (auto const& row : rows) {
        Task task(0, 0, [] {});
        ztest::expectFailure<ZThreadException_5_1>(row, "src/Z/ZThread", [&] {
            ZThreadPool_5_1 pool(1, 1);
            pool.threadDeathNotification(task);
            task.start(), task.waitForExit();
        });
    }
    ZThreadPool_5_1 pool(1, 0);
    Task task(0, 0, [] {});
    ztest::failingCall = "pthread_create";
    std::string const report = ztest::reported([&] { pool.start(task); });
    EXPECT_NE(report.find("ZThreadException\n File: \"src/Z/ZThread\""), report.npos) << report;
    ztest::failingCall = "";
    pool.start(task), pool.waitForExit(), task.waitForExit();
}
#endif

TEST(ZThreadPool, SurvivesAStorm) {
    struct Pool : ZThreadPool_5_1 {
        Pool() : ZThreadPool_5_1(4, 4) {}
        ZThread_5_1* createThread() override {
            auto* const sleeper = new Sleeper(1, 1);
            sleeper->work_ = [this] { ++done; };
            start(*sleeper);
            return sleeper;
        }
        std::atomic<unsigned> done{0};
    } pool;
    ZThreadPool_5_1 other(3, 3);
    Sleeper joined, joinedOften(1), detached(1, 0), often(1, 0, 1);
    unsigned const each = ztest::stressed(2500);
    std::vector<std::thread> starters;
    for (Sleeper* own : {&joined, &joinedOften, &detached, &often}) {
        starters.emplace_back([&pool, &other, each, own] {
            for (unsigned i = 0; i < each; ++i) {
                if (i % 8 == 0) {
                    for (auto* s : {new Sleeper(1, 1), own}) s->wakeUp(), other.start(*s);
                    try {
                        own->waitForExit();
                    } catch (ZThreadException_5_1& e) {
                        EXPECT_EQ(e.rc(), ESRCH) << "only the pool may have been faster";
                    }
                }
                ZThread_5_1* worker = nullptr;
                i % 4 ? pool.start(*new Task(1, 1, [&pool] { ++pool.done; }))
                      : static_cast<Sleeper*>(pool.getAvailableIdleThread(worker))->wakeUp();
            }
        });
    }
    for (unsigned i = 0; i < 20; ++i, pool.waitForExit()) {
        until([&] { return pool.done >= i * each / 5; });
    }
    for (std::thread& starter : starters) starter.join();
    pool.waitForExit(), other.waitForExit();
    EXPECT_EQ(pool.done, 4 * each);
    until([] { return live == 4; });
}

TEST(ZSleeperThread, SurvivesAStorm) {
    ZLock_5_1 lock;
    Sleeper joinable, shared(lock), detached(1, 0);
    for (Sleeper* sleeper : {&joinable, &shared, &detached}) {
        ended = 0;
        std::atomic<unsigned> asked{0}, seen{0};
        sleeper->work_ = [&] { seen = asked.load(); };
        unsigned const each = ztest::stressed(20000), lives = ztest::stressed(1000);
        sleeper->start();
        auto const wake = [&] {
            for (unsigned i = 0; i < each; ++i) ++asked, sleeper->wakeUp();
        };
        std::thread other(wake);
        wake(), other.join();
        until([&] { return seen == 2 * each; });
        sleeper->waitForExit();
        EXPECT_TRUE(sleeper->works_ >= 1 && sleeper->works_ <= 2 * each) << sleeper->works_;
        until([] { return ended == 1; });
        for (unsigned i = 0; i < lives; ++i) {
            sleeper->start();
            unsigned int const before = sleeper->works_;
            sleeper->wakeUp();
            if (i % 2) until([&] { return sleeper->works_ > before; });
            sleeper->waitForExit();
        }
        until([lives] { return ended == static_cast<int>(lives) + 1; });
    }
}

}  // namespace
