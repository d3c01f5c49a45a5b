// ZCondition: condition variable bound to a ZLock, and the variant that waits for a flag.
// Subsystem: concurrency, layer 2. Test: tests/ZCondition_test.cpp
#include "ZCondition.h"

#include <cerrno>
#include <limits>
#include <memory>
#include <type_traits>

#include "ZException.h"
#include "zraise.h"
#include "zreport.h"

static_assert(std::is_convertible<ZCondition_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZBooleanCondition_5_1*, ZObject_5_1*>::value,
              "one way up to the root");

namespace {

constexpr char const* unit = "src/Z/ZCondition";
constexpr int notHeld = 5;
constexpr int initFailed = 7;
constexpr int destroyFailed = 8;
constexpr int waitFailed = 9;
constexpr int signalFailed = 10;
constexpr int broadcastFailed = 27;

// The current whole second plus `seconds`, held within what a time can say. Never the zero time,
// which would mean no limit.
timespec secondsFromNow(long seconds) {
    timespec time;
    clock_gettime(CLOCK_REALTIME, &time);
    time.tv_nsec = 0;
    time_t sum;
    if (__builtin_add_overflow(time.tv_sec, seconds, &sum)) {
        sum = seconds > 0 ? std::numeric_limits<time_t>::max() : std::numeric_limits<time_t>::min();
    }
    time.tv_sec = sum;
    if (sum == 0) time.tv_nsec = 1;
    return time;
}

}  // namespace

ZAbstractCondition_5_1::~ZAbstractCondition_5_1() noexcept {}

ZCondition_5_1::ZCondition_5_1(ZLock_5_1* lock, int ownsLock)
    : lock_(lock), ownsLock_(ownsLock), reserved_(0) {
    std::unique_ptr<ZLock_5_1> own(ownsLock ? lock : nullptr);
    auto cond = std::make_unique<pthread_cond_t>();
    z_5_1::check<ZConditionException_5_1>(unit, initFailed, pthread_cond_init(cond.get(), nullptr));
    cond_ = cond.release();
    static_cast<void>(own.release());
}

ZCondition_5_1::ZCondition_5_1() : ZCondition_5_1(new ZLock_5_1, 1) {}

ZCondition_5_1::ZCondition_5_1(ZLock_5_1& lock) : ZCondition_5_1(&lock, 0) {}

ZCondition_5_1::~ZCondition_5_1() noexcept {
    int const rc = pthread_cond_destroy(cond_);
    // Only a cancellation would pass, and nothing here can be cancelled.
    // cppcheck-suppress throwInNoexceptFunction
    if (rc != 0) z_5_1::quietly(unit, [rc] { z_5_1::reportNumber(unit, destroyFailed, rc); });
    delete cond_;
    if (ownsLock_) delete lock_;
}

int ZCondition_5_1::wait() {
    timespec noLimit = {0, 0};
    int ignored = 0;
    return wait(noLimit, ignored);
}

int ZCondition_5_1::wait(long seconds, int& timedOut) {
    timespec absTime = secondsFromNow(seconds);
    return wait(absTime, timedOut);
}

int ZCondition_5_1::wait(timespec& absTime, int& timedOut) {
    validateLock();
    timedOut = 0;
    int rc = sleepUntil(absTime);
    if (rc == ETIMEDOUT) {
        rc = 0;
        waitTimedOut();
        timedOut = 1;
    }
    z_5_1::checkAndReport<ZConditionException_5_1>(unit, waitFailed, rc);
    return 0;
}

int ZCondition_5_1::sleepUntil(timespec const& absTime) {
    // A cancelled wait unwinds from inside the call, with the mutex taken again.
    struct FreeLock {
        ZLock_5_1& lock;
        int const depth = lock.giveUpForWait();
        ~FreeLock() { lock.takeBackAfterWait(depth); }
    } const free{*lock_};
    if (absTime.tv_sec == 0 && absTime.tv_nsec == 0) return pthread_cond_wait(cond_, lock_->mutex_);
    return pthread_cond_timedwait(cond_, lock_->mutex_, &absTime);
}

int ZCondition_5_1::signal() {
    z_5_1::checkAndReport<ZConditionException_5_1>(unit, signalFailed, pthread_cond_signal(cond_));
    return 0;
}

int ZCondition_5_1::broadcast() {
    z_5_1::checkAndReport<ZConditionException_5_1>(unit, broadcastFailed,
                                                   pthread_cond_broadcast(cond_));
    return 0;
}

int ZCondition_5_1::lock() {
    return lock_->lock();
}

int ZCondition_5_1::unlock() {
    return lock_->unlock();
}

ZLock_5_1* ZCondition_5_1::getResource() const {
    return lock_;
}

void ZCondition_5_1::waitTimedOut() {}

void ZCondition_5_1::validateLock() {
    if (!lock_->heldByCaller()) z_5_1::raise(unit, ZLockResourceException_5_1(notHeld, 0));
}

ZBooleanCondition_5_1::ZBooleanCondition_5_1() : flag_(0) {}

ZBooleanCondition_5_1::ZBooleanCondition_5_1(ZLock_5_1& lock) : ZCondition_5_1(lock), flag_(0) {}

ZBooleanCondition_5_1::~ZBooleanCondition_5_1() noexcept {}

int ZBooleanCondition_5_1::wait() {
    return ZCondition_5_1::wait();
}

int ZBooleanCondition_5_1::wait(long seconds, int& timedOut) {
    return ZCondition_5_1::wait(seconds, timedOut);
}

int ZBooleanCondition_5_1::wait(timespec& absTime, int& timedOut) {
    while (!testCondition()) ZCondition_5_1::wait(absTime, timedOut);
    return flag_;
}

void ZBooleanCondition_5_1::waitTimedOut() {
    setCondition(1);
}

void ZBooleanCondition_5_1::initCondition() {
    validateLock();
    flag_ = 0;
}

int ZBooleanCondition_5_1::testCondition() {
    validateLock();
    return flag_;
}

int ZBooleanCondition_5_1::setCondition(int value) {
    validateLock();
    flag_ = value;
    return 1;
}
