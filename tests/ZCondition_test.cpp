// ZCondition_test: waits with and without limit, the depth of the lock, the flag, cancellation.
// Subsystem: concurrency, layer 2. Test: tests/ZCondition_test.cpp
#include <Z/ZCondition.h>
#include <Z/ZException.h>

#include <atomic>
#include <climits>
#include <random>

#include "FailingCalls.h"
#include "Stress.h"
#include "ZTest.h"

namespace {

// Returns once the thread that has `entered` with the lock sleeps in the condition.
void whenAsleep(ZCondition_5_1& condition, std::atomic<bool>& entered) {
    while (!entered) std::this_thread::yield();
    condition.lock(), condition.unlock();
}

TEST(ZCondition, RefusesWhoDoesNotHoldTheLock) {
    ZBooleanCondition_5_1 c;
    ZCondition_5_1 plain;
    int timedOut = 7;
    std::function<void()> const calls[] = {[&] { plain.wait(); },      [&] { c.wait(0, timedOut); },
                                           [&] { c.validateLock(); },  [&] { c.initCondition(); },
                                           [&] { c.testCondition(); }, [&] { c.setCondition(1); }};
    for (auto const& call : calls) {
        auto const e = ztest::caught<ZLockResourceException_5_1>(call);
        EXPECT_TRUE(e.code() == 5 && e.rc() == 0);
    }
    EXPECT_EQ(timedOut, 7);
    EXPECT_THROW(c.unlock(), ZUnlockResourceException_5_1);
    EXPECT_EQ(c.signal() + c.broadcast(), 0) << "these need no lock";
}

TEST(ZCondition, FreesTheLockWhileItSleepsAndRestoresItsDepth) {
    ZLock_5_1 lock;
    for (long seconds : {0L, 30L, LONG_MAX}) {
        ZCondition_5_1 condition(lock);
        std::atomic<bool> entered{false};
        bool ready = false;
        int timedOut = 0;
        std::thread waiter([&] {
            ZResourceLock_5_1 const hold(lock), deeper(lock);
            entered = true;
            while (!ready) seconds ? condition.wait(seconds, timedOut) : condition.wait();
            EXPECT_EQ(lock.unlock() + lock.unlock() + lock.lock() + lock.lock(), 0);
        });
        whenAsleep(condition, entered);
        condition.getResource()->lock();
        ready = true;
        lock.unlock();
        seconds ? condition.signal() : condition.broadcast();
        waiter.join();
        EXPECT_EQ(timedOut, 0);
    }
    EXPECT_EQ(lock.lock() + lock.unlock(), 0) << "the caller's lock outlives its conditions";
}

TEST(ZCondition, ExpiresAtOnceForTimesThatHavePassed) {
    struct Counting : ZCondition_5_1 {
        void waitTimedOut() override { validateLock(), ++expired; }
        int expired = 0;
    } condition;
    condition.lock();
    int timedOut = 0;
    for (long seconds : {0L, -5L, LONG_MIN, -static_cast<long>(time(nullptr))}) {
        EXPECT_TRUE(condition.wait(seconds, timedOut) == 0 && timedOut == 1) << seconds;
    }
    EXPECT_EQ(condition.expired, 4);
    timespec invalid = {1, 2000000000};
    std::string const report = ztest::reported([&] {
        auto const wait = [&] { condition.wait(invalid, timedOut); };
        auto const e = ztest::caught<ZConditionException_5_1>(wait);
        EXPECT_TRUE(e.code() == 9 && e.rc() == EINVAL);
    });
    EXPECT_EQ(report.rfind("Error: 9\n File: \"src/Z/ZCondition\"", 0), 0u) << report;
    EXPECT_EQ(condition.unlock(), 0) << "held again after the failure";
}

TEST(ZBooleanCondition, WaitsForTheFlag) {
    ZBooleanCondition_5_1 condition;
    int timedOut = 0;
    condition.lock();
    EXPECT_EQ(condition.wait(0, timedOut), 1);
    EXPECT_EQ(timedOut, 1) << "expired, the flag is set all the same";
    timedOut = 5;
    EXPECT_EQ(condition.wait() + condition.wait(100, timedOut), 2) << "it is set: nothing sleeps";
    EXPECT_EQ(timedOut, 5);
    condition.initCondition();
    std::thread setter([&] {
        for (int flag : {0, 4}) {
            ZResourceLock_5_1 const hold(*condition.getResource());
            EXPECT_EQ(condition.setCondition(flag), 1);
            condition.signal();
        }
    });
    EXPECT_EQ(condition.wait(100, timedOut), 4);
    EXPECT_EQ(timedOut, 0);
    setter.join();
    condition.unlock();
}

// Holds the lock `depth` times while it waits.
void waitAt(ZCondition_5_1& condition, bool const& ready, int depth) {
    ZResourceLock_5_1 const hold(*condition.getResource());
    if (depth > 1) return waitAt(condition, ready, depth - 1);
    while (!ready) condition.wait();
}

TEST(ZCondition, ACancelledWaitLeavesTheLockInOrder) {
    struct Waiter {
        ZCondition_5_1& condition;
        bool const& ready;
        int depth;
        bool cancelled;
        pthread_t thread;
    };
    auto const body = [](void* p) -> void* {
        auto const& w = *static_cast<Waiter*>(p);
        return waitAt(w.condition, w.ready, w.depth), nullptr;
    };
    std::minstd_rand random;
    std::string const report = ztest::reported([&] {
        for (unsigned rounds = ztest::stressed(100); rounds > 0; --rounds) {
            ZCondition_5_1 condition;
            bool ready = false;
            std::vector<Waiter> waiters;
            for (int depth = 1; depth <= 5; ++depth) {
                waiters.push_back({condition, ready, depth, random() % 2 == 0, {}});
            }
            for (Waiter& w : waiters) pthread_create(&w.thread, nullptr, body, &w);
            if (random() % 2) std::this_thread::yield();
            for (Waiter& w : waiters) w.cancelled ? pthread_cancel(w.thread) : 0;
            condition.lock(), ready = true, condition.unlock(), condition.broadcast();
            for (Waiter& w : waiters) pthread_join(w.thread, nullptr);
            EXPECT_EQ(condition.lock() + condition.unlock(), 0);
        }
    });
    EXPECT_EQ(report, "") << "all holders could leave";
}

#if Z_CALLS_CAN_FAIL
TEST(ZCondition, ReportsAndThrowsWhatTheSystemRefuses) {
    struct {
        char const* call;
        unsigned int code;
        bool reports, throws;
    } const rows[] = {{"pthread_cond_init", 7, false, true},
                      {"pthread_cond_signal", 10, true, true},
                      {"pthread_cond_broadcast", 27, true, true},
                      {"pthread_cond_destroy", 8, true, false}};
    for (auto const& row : rows) {
        ztest::failingCall = row.call;
        bool thrown = false;
        std::string const report = ztest::reported([&] {
            try {
                ZCondition_5_1 condition;
                row.code == 10 ? condition.signal() : condition.broadcast();
            } catch (ZConditionException_5_1& e) {
                thrown = e.code() == row.code && e.rc() == ztest::failure;
            }
            ztest::failingCall = "";
        });
        std::string const start = "Error: " + std::to_string(row.code) + "\n";
        EXPECT_EQ(thrown, row.throws) << row.call;
        EXPECT_EQ(report.rfind(start, 0) == 0, row.reports) << report;
        EXPECT_EQ(report.find("Information:\n95\n") != std::string::npos, row.reports) << report;
    }
}
#endif

}  // namespace
