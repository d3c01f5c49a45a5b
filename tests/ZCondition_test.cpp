// ZCondition_test: waits with and without limit, the depth of the lock, the flag, cancellation.
// Subsystem: concurrency, layer 2. Test: tests/ZCondition_test.cpp
#include <Z/ZCondition.h>
#include <Z/ZException.h>

#include <atomic>
#include <climits>
#include <random>

#include "FailingCalls.h"
#include "ZTest.h"

namespace {

TEST(ZCondition, RefusesWhoDoesNotHoldTheLock) {
    ZBooleanCondition_5_1 c;
    ZCondition_5_1 plain;
    int timedOut = 7;
    std::function<void()> const calls[] = {[&] { plain.wait(); },      [&] { c.wait(0, timedOut); },
                                           [&] { c.validateLock(); },  [&] { c.initCondition(); },
                                           [&] { c.testCondition(); }, [&] { c.setCondition(1); }};
    for (auto const& call : calls) ztest::expectRefused<ZLockResourceException_5_1>(call, 5, 0);
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
        while (!entered) std::this_thread::yield();
        condition.getResource()->lock();  // which the waiter frees when it sleeps
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
        ztest::expectRefused<ZConditionException_5_1>(wait, 9, EINVAL);
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
    std::minstd_rand random;
    std::string const report = ztest::reported([&] {
        for (unsigned rounds = ztest::stressed(100); rounds > 0; --rounds) {
            ZCondition_5_1 condition;
            bool ready = false;
            std::vector<std::thread> waiters;
            for (int depth = 1; depth <= 5; ++depth) {
                waiters.emplace_back([&, depth] { waitAt(condition, ready, depth); });
            }
            if (random() % 2) std::this_thread::yield();
            for (auto& w : waiters) random() % 2 ? pthread_cancel(w.native_handle()) : 0;
            condition.lock(), ready = true, condition.unlock(), condition.broadcast();
            for (std::thread& w : waiters) w.join();
            EXPECT_EQ(condition.lock() + condition.unlock(), 0);
        }
    });
    EXPECT_EQ(report, "") << "all holders could leave";
}

#if Z_CALLS_CAN_FAIL
TEST(ZCondition, ReportsAndThrowsWhatTheSystemRefuses) {
    ztest::Failing const rows[] = {{"pthread_cond_init", 7, 0},
                                   {"pthread_cond_signal", 10, 10},
                                   {"pthread_cond_broadcast", 27, 27},
                                   {"pthread_cond_destroy", 0, 8}};
    for (auto const& row : rows) {
        ztest::expectFailure<ZConditionException_5_1>(row, "src/Z/ZCondition\"", [&] {
            ZCondition_5_1 condition;
            row.thrown == 10 ? condition.signal() : condition.broadcast();
        });
    }
}
#endif

}  // namespace
