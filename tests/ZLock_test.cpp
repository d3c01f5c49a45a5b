// ZLock_test: recursion, exclusion, misuse and failing calls.
// Subsystem: concurrency, layer 2. Test: tests/ZLock_test.cpp
#include <Z/ZException.h>
#include <Z/ZLock.h>

#include <thread>
#include <vector>

#include "FailingCalls.h"
#include "ZTest.h"

namespace {

static_assert(std::is_convertible_v<ZLock_5_1*, ZObject_5_1*>);
static_assert(std::is_convertible_v<ZResourceLock_5_1*, ZObject_5_1*>);

void expectRefused(ZLock_5_1& lock, int rc = 0) {
    ztest::expectThrow<ZUnlockResourceException_5_1>([&] { lock.unlock(); },
                                                     [rc](auto& e) {
                                                         EXPECT_EQ(e.code(), 6u);
                                                         EXPECT_EQ(e.rc(), rc);
                                                         EXPECT_STREQ(e.who(), "src/Z/ZLock");
                                                     });
}

void elsewhere(std::function<void()> const& body) {
    std::thread(body).join();
}

TEST(ZLock, IsLeftAsOftenAsItWasEntered) {
    ZLock_5_1 lock;
    expectRefused(lock);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(lock.lock(), 0);
    elsewhere([&] { expectRefused(lock); });
    ZLock_5_1 copy(lock), assigned;
    assigned = lock;
    elsewhere(
        [&] { EXPECT_EQ(copy.lock() + copy.unlock() + assigned.lock() + assigned.unlock(), 0); });
    for (int i = 0; i < 3; ++i) EXPECT_EQ(lock.unlock(), 0);
    expectRefused(lock);
    {
        ZResourceLock_5_1 const hold(lock), again(lock);
        elsewhere([&] { expectRefused(lock); });
    }
    elsewhere([&] { EXPECT_EQ(lock.lock() + lock.unlock(), 0); });
}

TEST(ZLock, ExcludesOtherThreads) {
    ZLock_5_1 lock;
    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                ZResourceLock_5_1 const hold(lock), again(lock);
                ++counter;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter, 80000);
    expectRefused(lock);
}

TEST(ZResourceLock, ReportsInsteadOfThrowingFromItsDestructor) {
    ZLock_5_1 lock;
    std::string const report = ztest::reported([&] {
        ZResourceLock_5_1 const hold(lock);
        lock.unlock();
    });
    EXPECT_NE(report.find("pthread_mutex_unlock().  rc = 0."), std::string::npos) << report;
    struct Odd : ZLock_5_1 {
        int unlock() override {
            ZLock_5_1::unlock();
            throw 1;
        }
    } odd;
    EXPECT_NE(ztest::reported([&] { ZResourceLock_5_1 const hold(odd); }).find("Error: 19\n"),
              std::string::npos);
}

#if Z_CALLS_CAN_FAIL
TEST(ZLock, PassesOnWhatTheSystemRefuses) {
    ztest::failingCall = "pthread_mutex_init";
    ztest::expectThrow<ZCreateResourceException_5_1>([] { ZLock_5_1 lock; },
                                                     [](auto& e) {
                                                         EXPECT_EQ(e.code(), 3u);
                                                         EXPECT_EQ(e.rc(), ztest::failure);
                                                     });
    ztest::failingCall = "";
    ZLock_5_1 lock;
    lock.lock();
    ztest::failingCall = "pthread_mutex_unlock";
    expectRefused(lock, ztest::failure);
    ztest::failingCall = "";
    EXPECT_EQ(lock.unlock(), 0) << "it was still the caller's";

    std::string const report = ztest::reported([] {
        auto held = std::make_unique<ZLock_5_1>();
        held->lock();
    });
    EXPECT_EQ(report.rfind("Error: 4\n File: \"src/Z/ZLock\"", 0), 0u) << report;
    EXPECT_NE(report.find("Additional Information:\n16\n"), std::string::npos) << report;
}
#endif

}  // namespace
