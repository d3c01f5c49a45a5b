// ZProcessLock: read-write locks whose holds span processes, and the notice that data has changed.
// Subsystem: concurrency, layer 5. Test: tests/ZProcessLock_test.cpp
//
// 1. The lock state is written only by a thread that has the thread lock, and before it gives that
//    up: a release that cleared it afterwards could undo what the next holder has set.
// 2. The same holds for the update flag while there is a write hold. Others may set it when there
//    is none; each write hold counts one above the flag, so that a thread which looked before the
//    hold was taken cannot set it afterwards.
#include "ZProcessLock.h"

#include <sys/random.h>
#include <unistd.h>

#include <exception>
#include <type_traits>

#include "ZException.h"
#include "zraise.h"
#include "zreport.h"

static_assert(std::is_convertible_v<ZStubProcessReadWriteLock_5_1*, ZObject_5_1*>,
              "one way up to the root");

#ifdef __ILP32__
static_assert(sizeof(ZSequenceUpdate_5_1) == 12, "the record is fixed on 32 bits");
static_assert(sizeof(ZAbstractProcessReadWriteLock_5_1) == sizeof(ZAbstractReadWriteLock_5_1) +
                                                               sizeof(ZLCString_5_1) +
                                                               sizeof(ZReadWriteLock_5_1) + 20,
              "the record is fixed on 32 bits");
static_assert(sizeof(ZStubProcessReadWriteLock_5_1) == sizeof(ZAbstractProcessReadWriteLock_5_1),
              "the record is fixed on 32 bits");
#endif

namespace {

constexpr char const* unit = "src/Z/ZProcessLock";
constexpr int unlockFailed = 6;

constexpr std::uint32_t updateFlag = 1;

constexpr char nameLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

// Six letters at random into `name`; false when the system gives none.
bool drawName(char (&name)[7]) {
    constexpr unsigned int letters = sizeof(nameLetters) - 1;
    for (int i = 0; i < 6;) {
        unsigned char byte;
        if (getrandom(&byte, 1, 0) != 1) return false;
        // Above the last multiple the first letters would come more often.
        if (byte < 256 / letters * letters) name[i++] = nameLetters[byte % letters];
    }
    return true;
}

ZLCString_5_1 newName() {
    z_5_1::NotCancelled const whole;
    char name[7] = "";
    for (int tries = 0; tries < 1000 && drawName(name); ++tries) {
        if (access(name, F_OK) != 0) return name;
    }
    return ZLCString_5_1(getpid()) + "_";
}

}  // namespace

// ---- the notice ----

ZSequenceUpdate_5_1::ZSequenceUpdate_5_1()
    : ZSequenceUpdate_5_1(ZAbstractProcessReadWriteLock_5_1::invalidSequence,
                          ZAbstractProcessReadWriteLock_5_1::invalidSequence) {}

ZSequenceUpdate_5_1::ZSequenceUpdate_5_1(unsigned long sequence, unsigned long lastSequence)
    : sequence_(static_cast<std::uint32_t>(sequence)),
      lastSequence_(static_cast<std::uint32_t>(lastSequence)) {}

ZSequenceUpdate_5_1::~ZSequenceUpdate_5_1() noexcept {}

unsigned long ZSequenceUpdate_5_1::hash() const {
    return sequence_ * 31 + lastSequence_;
}

int ZSequenceUpdate_5_1::compare(ZObject_5_1 const& other) const {
    auto const& theirs = static_cast<ZSequenceUpdate_5_1 const&>(other);
    std::uint32_t const difference = sequence_ != theirs.sequence_
                                         ? sequence_ - theirs.sequence_
                                         : lastSequence_ - theirs.lastSequence_;
    return static_cast<int>(difference);
}

ZObject_5_1* ZSequenceUpdate_5_1::clone() const {
    return new ZSequenceUpdate_5_1(*this);
}

int ZSequenceUpdate_5_1::operator==(ZSequenceUpdate_5_1 const& other) const {
    return sequence_ == other.sequence_ && lastSequence_ == other.lastSequence_;
}

// ---- what all process locks share ----

ZAbstractProcessReadWriteLock_5_1::ZAbstractProcessReadWriteLock_5_1()
    : ZAbstractProcessReadWriteLock_5_1(newName().getChars()) {}

ZAbstractProcessReadWriteLock_5_1::ZAbstractProcessReadWriteLock_5_1(char const* name)
    : lockState_(unset),
      lockName_(name),
      sequence_(0),
      lastSequence_(static_cast<std::uint32_t>(invalidSequence)),
      reserved_(0),
      update_(updateFlag) {}

ZAbstractProcessReadWriteLock_5_1::ZAbstractProcessReadWriteLock_5_1(
    ZAbstractProcessReadWriteLock_5_1 const& other)
    : ZAbstractReadWriteLock_5_1(other),
      lockState_(unset),
      lockName_(other.lockName_),
      sequence_(other.sequence_.load()),
      lastSequence_(other.lastSequence_.load()),
      reserved_(other.reserved_),
      update_(other.update_ & updateFlag) {}

ZAbstractProcessReadWriteLock_5_1& ZAbstractProcessReadWriteLock_5_1::operator=(
    ZAbstractProcessReadWriteLock_5_1 const& other) {
    if (this == &other) return *this;
    lockName_ = other.lockName_;
    sequence_ = other.sequence_.load();
    lastSequence_ = other.lastSequence_.load();
    reserved_ = other.reserved_;
    setUpdate(other.getUpdate());
    return *this;
}

ZAbstractProcessReadWriteLock_5_1::~ZAbstractProcessReadWriteLock_5_1() noexcept(false) {
    zlockstate const state = lockState_;
    if (state == unset) return;
    if (std::uncaught_exceptions() > 0) {
        z_5_1::quietly(unit, [this, state] { refuseState(unit, state); });
    } else {
        refuseState(unit, state);
    }
}

unsigned long ZAbstractProcessReadWriteLock_5_1::hash() const {
    return lockName_.hash();
}

int ZAbstractProcessReadWriteLock_5_1::compare(ZObject_5_1 const& other) const {
    auto const* const lock = dynamic_cast<ZAbstractProcessReadWriteLock_5_1 const*>(&other);
    if (!lock) return ZAbstractReadWriteLock_5_1::compare(other);
    // Equal locks have equal hashes: one that is known by its name and one that is not are ordered
    // by that.
    bool const named = hash() == lockName_.hash(),
               alsoNamed = lock->hash() == lock->lockName_.hash();
    if (named != alsoNamed) return named ? -1 : 1;
    return lockName_.compare(lock->lockName_);
}

ZObject_5_1* ZAbstractProcessReadWriteLock_5_1::clone() const {
    z_5_1::raise(unit,
                 ZAbstractNotImplementedException_5_1("ZAbstractProcessReadWriteLock::clone"));
}

int ZAbstractProcessReadWriteLock_5_1::lock() {
    return writeLock();
}

int ZAbstractProcessReadWriteLock_5_1::lock(zlockstate state) {
    if (!isState(state)) return 0;
    if (state == unset) {
        refuseWithoutHold();
        setUpdate(0);
        return threadLock_.lock(unset);
    }
    zlockstate const mode = state == protect ? write : state;
    threadLock_.lock(mode);
    if (mode == write) update_ += updateFlag + 1;
    setUpdate(mode == write);
    return 0;
}

void ZAbstractProcessReadWriteLock_5_1::refuseWithoutHold() const {
    if (threadLock_.haveLock(read)) return;
    if (threadLock_.haveLock(write) && threadLock_.ownWriteLock()) return;
    z_5_1::raise(unit, ZUnlockResourceException_5_1(unlockFailed, 0));
}

void ZAbstractProcessReadWriteLock_5_1::refuseState(char const* where, zlockstate state,
                                                    int line) const {
    // Not the virtual one: the destructor comes here.
    char const* const name = ZAbstractReadWriteLock_5_1::getLockStateName(state);
    z_5_1::raise(where, ZInvalidResourceStateException_5_1(name), line);
}

int ZAbstractProcessReadWriteLock_5_1::isCurrent() const {
    return getLastSequence() == getSequence();
}

int ZAbstractProcessReadWriteLock_5_1::unlock() {
    return unlock(getUpdate());
}

int ZAbstractProcessReadWriteLock_5_1::unlock(int update) {
    refuseWithoutHold();
    sync(update);
    return lock(unset);
}

int ZAbstractProcessReadWriteLock_5_1::haveLock(zlockstate state) const {
    return lockState_ == state;
}

int ZAbstractProcessReadWriteLock_5_1::ownWriteLock() const {
    return lockState_ == write;
}

int ZAbstractProcessReadWriteLock_5_1::getUpdate() const {
    return static_cast<int>(update_ & updateFlag);
}

void ZAbstractProcessReadWriteLock_5_1::setUpdate(int update) {
    std::uint32_t found = update_;
    do {
        if (threadLock_.haveLock(write) && !threadLock_.ownWriteLock()) return;
    } while (!update_.compare_exchange_weak(found, (found & ~updateFlag) | (update != 0)));
}

int ZAbstractProcessReadWriteLock_5_1::readLock() {
    return lock(read);
}

int ZAbstractProcessReadWriteLock_5_1::writeLock() {
    return lock(write);
}

int ZAbstractProcessReadWriteLock_5_1::readWithIntentToWriteLock() {
    return lock(protect);
}

int ZAbstractProcessReadWriteLock_5_1::promoteReadToWriteLock() {
    return 0;
}

ZReadWriteLockInterface_5_1::zlockstate ZAbstractProcessReadWriteLock_5_1::getLockState() const {
    return lockState_;
}

ZLCString_5_1 const& ZAbstractProcessReadWriteLock_5_1::getLockName() const {
    return lockName_;
}

void ZAbstractProcessReadWriteLock_5_1::setLockName(ZLCString_5_1& name) {
    if (name == lockName_ || getLockState() == unset) return;
    unlock();
    lockName_ = name;
}

int ZAbstractProcessReadWriteLock_5_1::getReaderCount() {
    return threadLock_.getReaderCount();
}

unsigned long ZAbstractProcessReadWriteLock_5_1::getSequence() const {
    return sequence_;
}

void ZAbstractProcessReadWriteLock_5_1::incSequence() {
    unsigned long const next = static_cast<std::uint32_t>(getSequence() + 1);
    setSequence(next == invalidSequence ? 0 : next);
}

unsigned long ZAbstractProcessReadWriteLock_5_1::getLastSequence() const {
    return lastSequence_;
}

void ZAbstractProcessReadWriteLock_5_1::setLastSequence(unsigned long sequence) {
    lastSequence_ = static_cast<std::uint32_t>(sequence);
}

void ZAbstractProcessReadWriteLock_5_1::setLastSequence() {
    setLastSequence(getSequence());
}

void ZAbstractProcessReadWriteLock_5_1::sync(int update) {
    if (haveLock(write) && update) incSequence();
    if (!haveLock(unset)) setLastSequence();
}

void ZAbstractProcessReadWriteLock_5_1::notifyLockObservers() {
    if (isCurrent() || countObservers() == 0) return;
    // The owner stays the owner after its release.
    if (!threadLock_.haveLock(write) || !threadLock_.ownWriteLock()) {
        threadLock_.lock(unset);
        threadLock_.lock(write);
        update_ += updateFlag + 1;
    }
    // Another thread may have had them called meanwhile.
    if (!isCurrent()) notifyObservers(ZSequenceUpdate_5_1(getSequence(), getLastSequence()));
}

// ---- the stub ----

ZStubProcessReadWriteLock_5_1::ZStubProcessReadWriteLock_5_1() = default;

ZStubProcessReadWriteLock_5_1::ZStubProcessReadWriteLock_5_1(char const* name)
    : ZAbstractProcessReadWriteLock_5_1(name) {}

ZStubProcessReadWriteLock_5_1::ZStubProcessReadWriteLock_5_1(
    ZStubProcessReadWriteLock_5_1 const& other) = default;

ZStubProcessReadWriteLock_5_1& ZStubProcessReadWriteLock_5_1::operator=(
    ZStubProcessReadWriteLock_5_1 const& other) = default;

ZStubProcessReadWriteLock_5_1::~ZStubProcessReadWriteLock_5_1() noexcept(false) {}

ZObject_5_1* ZStubProcessReadWriteLock_5_1::clone() const {
    return new ZStubProcessReadWriteLock_5_1(*this);
}

int ZStubProcessReadWriteLock_5_1::lock() {
    return writeLock();
}

int ZStubProcessReadWriteLock_5_1::lock(zlockstate state) {
    if (!isState(state)) return 0;
    if (state == unset) {
        refuseWithoutHold();
        setLockState(unset);
        return ZAbstractProcessReadWriteLock_5_1::lock(unset);
    }
    ZAbstractProcessReadWriteLock_5_1::lock(state);
    setLockState(state);
    return 0;
}
