// ZReadWriteLock: locks for many readers or one writer, and the guard that releases one.
// Subsystem: concurrency, layer 4. Test: tests/ZReadWriteLock_test.cpp
//
// 1. All fields are written under the condition's lock. State and owner may be read without it.
// 2. In states unset and write there is no reader; in read at least one; in protect any number.
// 3. A thread that reads its own identifier in the owner field, and protect or write in the state
//    under the lock, holds that.
// 4. Whoever waits is counted, and tests again what it waits for after each broadcast. A wait
//    changes nothing but the count, so a cancelled one leaves nothing behind.
#include "ZReadWriteLock.h"

#include <cerrno>
#include <exception>
#include <limits>
#include <type_traits>

#include "ZException.h"
#include "zraise.h"
#include "zreport.h"

static_assert(std::is_convertible_v<ZReadWriteLock_5_1*, ZObject_5_1*>, "one way up to the root");

#ifdef __ILP32__
static_assert(sizeof(ZReadWriteLock_5_1) ==
                  sizeof(ZAbstractReadWriteLock_5_1) + 16 + sizeof(ZCondition_5_1),
              "the record is fixed on 32 bits");
static_assert(sizeof(ZStackReadWriteLock_5_1) == 8, "the record is fixed on 32 bits");
#endif

namespace {

constexpr char const* unit = "src/Z/ZReadWriteLock";
constexpr int lockFailed = 5;
constexpr int unlockFailed = 6;

constexpr pthread_t nobody = static_cast<pthread_t>(-1);

[[noreturn]] void refuse(int rc = 0, int line = __builtin_LINE()) {
    z_5_1::raise(unit, ZLockResourceException_5_1(lockFailed, rc), line);
}

[[noreturn]] void refuseUnlock(int line = __builtin_LINE()) {
    z_5_1::raise(unit, ZUnlockResourceException_5_1(unlockFailed, 0), line);
}

}  // namespace

ZAbstractReadWriteLock_5_1::ZAbstractReadWriteLock_5_1() = default;

ZAbstractReadWriteLock_5_1::ZAbstractReadWriteLock_5_1(ZAbstractReadWriteLock_5_1 const& other)
    : ZObject_5_1(other), ZReadWriteLockInterface_5_1(other), ZAbstractObservable_5_1(other) {}

ZAbstractReadWriteLock_5_1::~ZAbstractReadWriteLock_5_1() noexcept(false) {}

int ZAbstractReadWriteLock_5_1::lock() {
    return lock(write);
}

char const* ZAbstractReadWriteLock_5_1::getLockStateName(zlockstate state) const {
    switch (state) {
        case unset:
            return "unset";
        case read:
            return "read";
        case protect:
            return "protect";
        case write:
            return "write";
    }
    return nullptr;
}

int ZAbstractReadWriteLock_5_1::isCurrent() const {
    return 1;
}

int ZAbstractReadWriteLock_5_1::unlock() {
    return unlock(getUpdate());
}

int ZAbstractReadWriteLock_5_1::getUpdate() const {
    return 0;
}

void ZAbstractReadWriteLock_5_1::setUpdate(int) {}

ZReadWriteLock_5_1::ZReadWriteLock_5_1()
    : readers_(0), state_(unset), owner_(nobody), waiters_(0) {}

// The condition belongs to the one lock.
ZReadWriteLock_5_1::ZReadWriteLock_5_1(ZReadWriteLock_5_1 const& other)
    : ZAbstractReadWriteLock_5_1(other), readers_(0), state_(unset), owner_(nobody), waiters_(0) {}

ZReadWriteLock_5_1::~ZReadWriteLock_5_1() noexcept {}

ZObject_5_1* ZReadWriteLock_5_1::clone() const {
    return new ZReadWriteLock_5_1(*this);
}

int ZReadWriteLock_5_1::lock(zlockstate state) {
    switch (state) {
        case unset:
            return unlock();
        case read:
            return readLock();
        case protect:
            return readWithIntentToWriteLock();
        case write:
            return writeLock();
    }
    return 0;
}

int ZReadWriteLock_5_1::haveLock(zlockstate state) const {
    return this->state() == state;
}

int ZReadWriteLock_5_1::ownWriteLock() const {
    return pthread_equal(pthread_self(), owner_.load(std::memory_order_relaxed));
}

bool ZReadWriteLock_5_1::ownsNow() const {
    return (state() == protect || state() == write) && ownWriteLock();
}

void ZReadWriteLock_5_1::refuseOwner() const {
    if (ownsNow()) refuse();
}

void ZReadWriteLock_5_1::sleep() {
    struct Waiter {
        std::int32_t& count;
        explicit Waiter(std::int32_t& waiters) : count(waiters) { ++count; }
        ~Waiter() { --count; }
    } const counted(waiters_);
    condition_.wait();
}

void ZReadWriteLock_5_1::becomeOwner(zlockstate state) {
    owner_.store(pthread_self(), std::memory_order_relaxed);
    setState(state);
}

int ZReadWriteLock_5_1::readLock() {
    ZResourceLock_5_1 const hold(*condition_.getResource());
    refuseOwner();
    while (state() == write) sleep();
    if (readers_ == std::numeric_limits<std::int32_t>::max()) refuse(EAGAIN);
    ++readers_;
    if (state() == unset) setState(read);
    return 0;
}

int ZReadWriteLock_5_1::readWithIntentToWriteLock() {
    ZResourceLock_5_1 const hold(*condition_.getResource());
    refuseOwner();
    while (state() == protect || state() == write) sleep();
    becomeOwner(protect);
    return 0;
}

int ZReadWriteLock_5_1::promoteReadToWriteLock() {
    ZResourceLock_5_1 const hold(*condition_.getResource());
    if (state() != protect || !ownWriteLock()) refuse();
    // Until the lock is free; but only this thread's unlock() would free it.
    for (;;) sleep();
}

int ZReadWriteLock_5_1::writeLock() {
    ZResourceLock_5_1 const hold(*condition_.getResource());
    refuseOwner();
    while (state() != unset) sleep();
    becomeOwner(write);
    return 0;
}

int ZReadWriteLock_5_1::unlock() {
    bool wake;
    {
        ZResourceLock_5_1 const hold(*condition_.getResource());
        leaveLocked();
        wake = waiters_ > 0 && state() != protect;
    }
    // The woken find the lock free and need not queue for it.
    if (wake) condition_.broadcast();
    return 0;
}

void ZReadWriteLock_5_1::leaveLocked() {
    if (ownsNow()) {
        setState(readers_ > 0 ? read : unset);
        return;
    }
    // By the state a hold of protect or write is another's: the caller is a reader, if there is
    // one.
    if (readers_ == 0) refuseUnlock();
    if (--readers_ == 0 && state() == read) setState(unset);
}

int ZReadWriteLock_5_1::unlock(int) {
    return unlock();
}

int ZReadWriteLock_5_1::getReaderCount() {
    ZResourceLock_5_1 const hold(*condition_.getResource());
    return readers_;
}

// ---- the guard ----

namespace {

// The guard in whose call this thread was cancelled; that happens to a thread once at most.
thread_local ZStackReadWriteLock_5_1 const* cancelledIn = nullptr;

}  // namespace

ZStackReadWriteLock_5_1::ZStackReadWriteLock_5_1(ZAbstractReadWriteLock_5_1& lock, int update)
    : lock_(lock) {
    lock_.setUpdate(update);
}

ZStackReadWriteLock_5_1::~ZStackReadWriteLock_5_1() noexcept(false) {
    if (cancelledIn == this) {
        cancelledIn = nullptr;
        return;
    }
    if (std::uncaught_exceptions() > 0) {
        z_5_1::quietly(unit, [this] { lock_.unlock(); });
    } else {
        lock_.unlock();
    }
}

int ZStackReadWriteLock_5_1::readLock() {
    return z_5_1::onCancel([this] { return lock_.readLock(); }, [this] { cancelledIn = this; });
}

int ZStackReadWriteLock_5_1::writeLock() {
    return z_5_1::onCancel([this] { return lock_.writeLock(); }, [this] { cancelledIn = this; });
}

int ZStackReadWriteLock_5_1::readWithIntentToWriteLock() {
    return z_5_1::onCancel([this] { return lock_.readWithIntentToWriteLock(); },
                           [this] { cancelledIn = this; });
}

// A hold that was to be promoted is still there when the thread is cancelled.
int ZStackReadWriteLock_5_1::promoteReadToWriteLock() {
    return lock_.promoteReadToWriteLock();
}

int ZStackReadWriteLock_5_1::unlock(int update) {
    return lock_.unlock(update);
}

int ZStackReadWriteLock_5_1::getUpdate() const {
    return lock_.getUpdate();
}

void ZStackReadWriteLock_5_1::setUpdate(int update) {
    lock_.setUpdate(update);
}

ZAbstractReadWriteLock_5_1& ZStackReadWriteLock_5_1::getReadWriteLock() const {
    return lock_;
}
