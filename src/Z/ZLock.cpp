// ZLock: recursive mutex that knows its owner, and the guard that holds it for a scope.
// Subsystem: concurrency, layer 2. Test: tests/ZLock_test.cpp
//
// 1. The owner cell holds a thread exactly while that thread holds the mutex (a wait on a condition
//    excepted, which empties it before the mutex is given up).
// 2. Only a thread itself ever writes its own identifier there, and it clears it before it leaves.
//    So a thread that reads its own identifier is the owner, whatever the others do meanwhile, and
//    relaxed atomic access is enough.
// 3. The count is read and written by the owner alone.
#include "ZLock.h"

#include <cerrno>
#include <cstddef>
#include <memory>
#include <type_traits>

#include "ZException.h"
#include "zraise.h"
#include "zreport.h"

static_assert(std::is_convertible<ZLock_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZResourceLock_5_1*, ZObject_5_1*>::value,
              "one way up to the root");

#ifdef __ILP32__
static_assert(sizeof(ZLock_5_1) == 20, "the record is fixed on 32 bits");
#endif

namespace {

constexpr char const* unit = "src/Z/ZLock";
constexpr int createFailed = 3;
constexpr int destroyFailed = 4;
constexpr int lockCode = 5;
constexpr int unlockCode = 6;

// The mutex comes first: its address is the block's.
struct Cells {
    explicit Cells(pthread_t nobody) : owner(nobody) {}
    pthread_mutex_t mutex;
    std::atomic<pthread_t> owner;
};
static_assert(offsetof(Cells, mutex) == 0, "the block is found again by its mutex");

Cells* cellsOf(pthread_mutex_t* mutex) {
    return reinterpret_cast<Cells*>(mutex);
}

}  // namespace

ZLockInterface_5_1::~ZLockInterface_5_1() noexcept(false) {}

ZLock_5_1::ZLock_5_1() : count_(0) {
    auto cells = std::make_unique<Cells>(nobody);
    z_5_1::check<ZCreateResourceException_5_1>(unit, createFailed,
                                               pthread_mutex_init(&cells->mutex, nullptr));
    owner_ = &cells->owner;
    mutex_ = &cells.release()->mutex;
}

ZLock_5_1::ZLock_5_1(ZLock_5_1 const&) : ZLock_5_1() {}

// There is nothing to assign.
// cppcheck-suppress operatorEqVarError
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment,cert-oop54-cpp)
ZLock_5_1& ZLock_5_1::operator=(ZLock_5_1 const&) {
    return *this;
}

ZLock_5_1::~ZLock_5_1() noexcept {
    int const rc = pthread_mutex_destroy(mutex_);
    // Only a cancellation would pass, and nothing here can be cancelled.
    // cppcheck-suppress throwInNoexceptFunction
    if (rc != 0) z_5_1::quietly(unit, [rc] { z_5_1::reportNumber(unit, destroyFailed, rc); });
    delete cellsOf(mutex_);
}

void ZLock_5_1::refuseEntry() {
    z_5_1::raise(unit, ZLockResourceException_5_1(lockCode, EAGAIN));
}

void ZLock_5_1::lockFailed(int rc) {
    z_5_1::raise(unit, ZLockResourceException_5_1(lockCode, rc));
}

void ZLock_5_1::refuseExit() {
    z_5_1::raise(unit, ZUnlockResourceException_5_1(unlockCode, 0));
}

// The mutex was not released: the lock stays the caller's.
void ZLock_5_1::unlockFailed(pthread_t self, int rc) {
    owner_->store(self, std::memory_order_relaxed);
    count_ = 1;
    z_5_1::raise(unit, ZUnlockResourceException_5_1(unlockCode, rc));
}

int ZLock_5_1::giveUpForWait() {
    int const depth = count_;
    count_ = 0;
    owner_->store(nobody, std::memory_order_relaxed);
    return depth;
}

void ZLock_5_1::takeBackAfterWait(int depth) {
    owner_->store(pthread_self(), std::memory_order_relaxed);
    count_ = depth;
}

bool ZLock_5_1::heldByCaller() const {
    return pthread_equal(owner_->load(std::memory_order_relaxed), pthread_self()) && count_ > 0;
}

// To be called in a handler.
void ZResourceLock_5_1::reportCurrentException() {
    // cppcheck-suppress rethrowNoCurrentException
    z_5_1::quietly(unit, [] { throw; });
}
