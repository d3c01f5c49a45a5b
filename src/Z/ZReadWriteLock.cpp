// ZReadWriteLock: locks for many readers or one writer, and the guard that releases one.
// Subsystem: concurrency, layer 4. Test: tests/ZReadWriteLock_test.cpp
//
// State, number of readers, and whether anybody waits are one word, so everybody comes and leaves
// with atomic steps. The condition's lock is for those who wait.
//
// 1. In states unset and write there is no reader; in read at least one; in protect any number.
// 2. The step to protect or write sets the claim bit, and the thread that made it stores itself as
//    the owner and clears the bit. So a thread that finds such a state without the bit, and then
//    itself as the owner, holds that. Until then the lock counts as what it was.
// 3. A wait goes: under the lock, find the word in the way and the waiting bit set in it, sleep.
//    Whoever leaves afterwards sees the bit, takes the lock (so the sleeper sleeps by then), leaves
//    it, and wakes all. The bit is cleared by the last who waits, under the lock.
// 4. A wait changes nothing but the count and the bit, so a cancelled one leaves nothing behind.
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

// The word: two bits for the state, one for the waiting, one for the claim, the rest for the
// readers.
constexpr std::uint32_t stateBits = 3;
constexpr std::uint32_t waitingBit = 4;
constexpr std::uint32_t claimBit = 8;
constexpr std::uint32_t oneReader = 16;
constexpr std::uint32_t mostReaders = std::numeric_limits<std::uint32_t>::max() / oneReader;

ZReadWriteLockInterface_5_1::zlockstate stateIn(std::uint32_t word) {
    return static_cast<ZReadWriteLockInterface_5_1::zlockstate>(word & stateBits);
}

std::uint32_t readersIn(std::uint32_t word) {
    return word / oneReader;
}

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

ZReadWriteLock_5_1::ZReadWriteLock_5_1() : word_(0), reserved_(0), owner_(nobody), waiters_(0) {}

// The condition belongs to the one lock.
ZReadWriteLock_5_1::ZReadWriteLock_5_1(ZReadWriteLock_5_1 const& other)
    : ZAbstractReadWriteLock_5_1(other), word_(0), reserved_(0), owner_(nobody), waiters_(0) {}

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
    Word const word = word_.load(std::memory_order_acquire);
    zlockstate const before = readersIn(word) > 0 ? read : unset;
    return ((word & claimBit) ? before : stateIn(word)) == state;
}

int ZReadWriteLock_5_1::ownWriteLock() const {
    return pthread_equal(pthread_self(), owner_.load(std::memory_order_relaxed));
}

int ZReadWriteLock_5_1::getReaderCount() {
    return static_cast<int>(readersIn(word_.load(std::memory_order_acquire)));
}

bool ZReadWriteLock_5_1::ownedIn(Word word) const {
    return stateIn(word) >= protect && !(word & claimBit) && ownWriteLock();
}

ZReadWriteLock_5_1::Word ZReadWriteLock_5_1::refuseOwner() const {
    Word const word = word_.load(std::memory_order_acquire);
    if (ownedIn(word)) refuse();
    return word;
}

int ZReadWriteLock_5_1::readLock() {
    Word word = refuseOwner();
    if (takeShared(word)) return 0;
    ZResourceLock_5_1 const hold(*condition_.getResource());
    for (word = word_; !takeShared(word); word = word_) sleep(word);
    return 0;
}

// False, with the word that was in the way, while somebody writes.
bool ZReadWriteLock_5_1::takeShared(Word& word) {
    while (stateIn(word) != write) {
        if (readersIn(word) == mostReaders) refuse(EAGAIN);
        Word const next = (word + oneReader) | (stateIn(word) == unset ? Word{read} : 0);
        if (word_.compare_exchange_weak(word, next, std::memory_order_acq_rel)) return true;
    }
    return false;
}

// Waits for a state of `most` at the most, and makes `wanted` of it.
void ZReadWriteLock_5_1::takeAsOwner(zlockstate wanted, zlockstate most) {
    Word word = refuseOwner();
    if (claim(word, wanted, most)) return;
    ZResourceLock_5_1 const hold(*condition_.getResource());
    for (word = word_; !claim(word, wanted, most); word = word_) sleep(word);
}

// False, with the word that was in the way, while the state is more than `most`.
bool ZReadWriteLock_5_1::claim(Word& word, zlockstate wanted, zlockstate most) {
    while (stateIn(word) <= most) {
        Word const next = (word & ~stateBits) | Word(wanted) | claimBit;
        if (!word_.compare_exchange_weak(word, next, std::memory_order_acq_rel)) continue;
        owner_.store(pthread_self(), std::memory_order_relaxed);
        word_.fetch_and(~claimBit, std::memory_order_release);
        return true;
    }
    return false;
}

int ZReadWriteLock_5_1::readWithIntentToWriteLock() {
    takeAsOwner(protect, read);
    return 0;
}

int ZReadWriteLock_5_1::writeLock() {
    takeAsOwner(write, unset);
    return 0;
}

int ZReadWriteLock_5_1::promoteReadToWriteLock() {
    Word const found = word_;
    if (stateIn(found) != protect || !ownedIn(found)) refuse();
    ZResourceLock_5_1 const hold(*condition_.getResource());
    // Until the lock is free; but only this thread's unlock() would free it.
    for (;;) sleep(word_);
}

int ZReadWriteLock_5_1::unlock() {
    Word word = word_.load(std::memory_order_acquire), next;
    do {
        if (ownedIn(word)) {
            next = (word & ~stateBits) | (readersIn(word) > 0 ? read : unset);
        } else {
            // A hold of protect or write is another's: the caller is a reader, if there is one.
            if (readersIn(word) == 0) refuseUnlock();
            next = word - oneReader;
            if (stateIn(word) == read && readersIn(next) == 0) next &= ~stateBits;
        }
    } while (!word_.compare_exchange_weak(word, next, std::memory_order_acq_rel));
    if ((next & waitingBit) && stateIn(next) != protect) wake();
    return 0;
}

int ZReadWriteLock_5_1::unlock(int) {
    return unlock();
}

// The word was in the caller's way. Under the lock; may return early.
void ZReadWriteLock_5_1::sleep(Word word) {
    struct Waiter {
        ZReadWriteLock_5_1& lock;
        ~Waiter() {
            if (--lock.waiters_ == 0) lock.word_ &= ~waitingBit;
        }
    };
    ++waiters_;
    Waiter const counted{*this};
    if ((word & waitingBit) || word_.compare_exchange_strong(word, word | waitingBit)) {
        condition_.wait();
    }
}

void ZReadWriteLock_5_1::wake() {
    { ZResourceLock_5_1 const hold(*condition_.getResource()); }
    condition_.broadcast();
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
