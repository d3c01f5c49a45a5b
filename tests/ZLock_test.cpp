// ZLock_test: recursion, exclusion, misuse and failing calls.
// Subsystem: concurrency, layer 2. Test: tests/ZLock_test.cpp
#include <Z/ZException.h>
#include <Z/ZLock.h>

#include "FailingCalls.h"
#include "ZTest.h"

namespace {

void expectRefused(ZLock_5_1& lock, int rc = 0) {
    ztest::expectRefused<ZUnlockResourceException_5_1>([&] { lock.unlock(); }, 6, rc);
}

TEST(ZLock, IsLeftAsOftenAsItWasEntered) {
    ZLock_5_1 lock;
    expectRefused(lock);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(lock.lock(), 0);
    ZLock_5_1 copy(lock), assigned;
    assigned = lock;
    expectRefused(copy);
    std::thread([&] {
        expectRefused(lock);
        EXPECT_EQ(copy.lock() + copy.unlock() + assigned.lock() + assigned.unlock(), 0);
    }).join();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(lock.unlock(), 0);
    expectRefused(lock);

    unsigned const rounds = ztest::stressed(20000);
    unsigned counter = 0;
    ztest::inThreads(16, [&](int) {
        for (unsigned i = 0; i < rounds; ++i) {
            ZResourceLock_5_1 const hold(lock);
            for (unsigned depth = i % 8; depth > 0; --depth) lock.lock();
            ++counter;
            for (unsigned depth = i % 8; depth > 0; --depth) lock.unlock();
        }
    });
    EXPECT_EQ(counter, 16 * rounds);
    expectRefused(lock);
}

TEST(ZResourceLock, ReportsInsteadOfThrowingFromItsDestructor) {
    struct Odd : ZLock_5_1 {
        int unlock() override {
            ZLock_5_1::unlock();
            throw 1;
        }
    } odd;
    ZLock_5_1 lock;
    std::string const report = ztest::reported([&] {
        ZResourceLock_5_1 const hold(lock), strange(odd);
        lock.unlock();
    });
    EXPECT_EQ(report.rfind("Error: 19\n", 0), 0u) << report;
    EXPECT_NE(report.find("pthread_mutex_unlock().  rc = 0."), std::string::npos) << report;
}

#if Z_CALLS_CAN_FAIL
TEST(ZLock, PassesOnWhatTheSystemRefuses) {
    ztest::failingCall = "pthread_mutex_init";
    auto const make = [] { ZLock_5_1 lock; };
    ztest::expectRefused<ZCreateResourceException_5_1>(make, 3, ztest::failure);
    ztest::failingCall = "pthread_mutex_unlock";
    std::string const report = ztest::reported([] {
        ZLock_5_1 held;
        held.lock();
        expectRefused(held, ztest::failure);
        ztest::failingCall = "";
        EXPECT_EQ(held.unlock() + held.lock(), 0) << "it was still the caller's";
    });
    EXPECT_EQ(report.rfind("Error: 4\n File: \"src/Z/ZLock\"", 0), 0u) << report;
    EXPECT_NE(report.find("Additional Information:\n16\n"), std::string::npos) << report;
}
#endif

}  // namespace
