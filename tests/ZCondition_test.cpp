// ZCondition_test: waits with and without limit, the depth of the lock, the flag, cancellation.
// Subsystem: concurrency, layer 2. Test: tests/ZCondition_test.cpp
#include <Z/ZCondition.h>
#include <Z/ZException.h>

#include <atomic>
#include <climits>
#include <thread>

#include "FailingCalls.h"
#include "ZTest.h"

namespace {

static_assert(std::is_convertible_v<ZBooleanCondition_5_1*, ZObject_5_1*>);

// Waits until the thread at the other end sleeps in the condition, or is about to with the lock.
void whenWaiting(ZCondition_5_1& condition, std::atomic<bool>& entered) {
    while (!entered) std::this_thread::yield();
    condition.lock(), condition.unlock();
}

TEST(ZCondition, RefusesWhoDoesNotHoldTheLock) {
    ZBooleanCondition_5_1 condition;
    int timedOut = 7;
    timespec soon = {1, 0};
    std::function<void()> const calls[] = {[&] { condition.wait(); },
                                           [&] { condition.wait(0, timedOut); },
                                           [&] { condition.wait(soon, timedOut); },
                                           [&] { condition.validateLock(); },
                                           [&] { condition.initCondition(); },
                                           [&] { condition.testCondition(); },
                                           [&] { condition.setCondition(1); }};
    for (auto const& call : calls) {
        ztest::expectThrow<ZLockResourceException_5_1>(call, [](auto& e) {
            EXPECT_EQ(e.code(), 5u);
            EXPECT_EQ(e.rc(), 0);
        });
    }
    EXPECT_EQ(timedOut, 7);
    EXPECT_THROW(condition.unlock(), ZUnlockResourceException_5_1);
    EXPECT_EQ(condition.signal() + condition.broadcast(), 0) << "these need no lock";
}

TEST(ZCondition, FreesTheLockWhileItSleepsAndRestoresItsDepth) {
    ZLock_5_1 lock;
    auto shared = std::make_unique<ZCondition_5_1>(lock);
    EXPECT_EQ(shared->getResource(), &lock);
    for (long seconds : {0L, 30L, LONG_MAX}) {
        std::atomic<bool> entered{false};
        bool ready = false;
        int timedOut = 1;
        std::thread waiter([&] {
            ZResourceLock_5_1 const hold(lock), deeper(lock);
            entered = true;
            while (!ready) seconds ? shared->wait(seconds, timedOut) : shared->wait();
            EXPECT_NO_THROW(shared->validateLock());
        });
        whenWaiting(*shared, entered);
        {
            ZResourceLock_5_1 const hold(lock);
            ready = true;
        }
        seconds ? shared->signal() : shared->broadcast();
        waiter.join();
        EXPECT_TRUE(ready && (seconds == 0 || timedOut == 0));
        EXPECT_THROW(lock.unlock(), ZUnlockResourceException_5_1) << "left twice by the waiter";
    }
    shared.reset();
    EXPECT_EQ(lock.lock() + lock.unlock(), 0) << "the caller's lock outlives the condition";
}

TEST(ZCondition, ExpiresAtOnceForTimesThatHavePassed) {
    struct Counting : ZCondition_5_1 {
        void waitTimedOut() override { validateLock(), ++expired; }
        int expired = 0;
    } condition;
    condition.lock();
    timespec past = {1, 0};
    for (long seconds : {0L, -5L, LONG_MIN, -static_cast<long>(time(nullptr))}) {
        int timedOut = 0;
        EXPECT_EQ(condition.wait(seconds, timedOut), 0);
        EXPECT_EQ(timedOut, 1);
    }
    int timedOut = 0;
    condition.wait(past, timedOut);
    EXPECT_EQ(condition.expired, 5);

    timespec invalid = {1, 2000000000};
    std::string const report = ztest::reported([&] {
        ztest::expectThrow<ZConditionException_5_1>([&] { condition.wait(invalid, timedOut); },
                                                    [](auto& e) {
                                                        EXPECT_EQ(e.code(), 9u);
                                                        EXPECT_EQ(e.rc(), EINVAL);
                                                    });
    });
    EXPECT_EQ(report.rfind("Error: 9\n File: \"src/Z/ZCondition\"", 0), 0u) << report;
    EXPECT_EQ(timedOut, 0);
    EXPECT_EQ(condition.unlock(), 0) << "held again after the failure";
}

TEST(ZBooleanCondition, WaitsForTheFlag) {
    ZBooleanCondition_5_1 condition;
    condition.lock();
    int timedOut = 0;
    EXPECT_EQ(condition.wait(0, timedOut), 1);
    EXPECT_EQ(timedOut, 1) << "expired, the flag is set all the same";
    timedOut = 5;
    EXPECT_EQ(condition.wait() + condition.wait(100, timedOut), 2) << "it is set: nothing sleeps";
    EXPECT_EQ(timedOut, 5);
    EXPECT_EQ(condition.setCondition(3), 1);
    EXPECT_EQ(condition.testCondition(), 3);
    condition.initCondition();
    std::thread setter([&] {
        for (int flag : {0, 4}) {
            ZResourceLock_5_1 const hold(*condition.getResource());
            condition.setCondition(flag);
            condition.signal();
        }
    });
    EXPECT_EQ(condition.wait(100, timedOut), 4);
    EXPECT_EQ(timedOut, 0);
    setter.join();
    condition.unlock();
}

TEST(ZCondition, ACancelledWaitLeavesTheLockInOrder) {
    static ZCondition_5_1 condition;
    static std::atomic<bool> entered{false};
    std::string const report = ztest::reported([] {
        pthread_t waiter;
        pthread_create(
            &waiter, nullptr,
            [](void*) -> void* {
                ZResourceLock_5_1 const hold(*condition.getResource()),
                    deeper(*condition.getResource());
                entered = true;
                for (;;) condition.wait();
            },
            nullptr);
        whenWaiting(condition, entered);
        pthread_cancel(waiter);
        void* result = nullptr;
        pthread_join(waiter, &result);
        EXPECT_EQ(result, PTHREAD_CANCELED);
    });
    EXPECT_EQ(report, "") << "both holders could leave";
    EXPECT_EQ(condition.lock() + condition.unlock(), 0);
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
                if (row.code == 10) condition.signal();
                if (row.code == 27) condition.broadcast();
            } catch (ZConditionException_5_1& e) {
                thrown = e.code() == row.code && e.rc() == ztest::failure;
            }
            ztest::failingCall = "";
        });
        EXPECT_EQ(thrown, row.throws) << row.call;
        EXPECT_EQ(report.rfind("Error: " + std::to_string(row.code) + "\n", 0) == 0, row.reports)
            << report;
        EXPECT_EQ(report.find("Information:\n95\n") != std::string::npos, row.reports) << report;
    }
}
#endif

}  // namespace
