// ZFileLock: read-write locks between the processes of a machine, through a small lock file.
// Subsystem: concurrency, layer 6. Test: tests/ZFileLock_test.cpp
//
// A record lock belongs to a process and a file, not to a thread or a descriptor, and any close of
// the file drops all of them. So the threads of a process are ordered by the thread lock first (in
// ZProcessLock), and the process then has one hold on the file for all its readers, or for its one
// writer. The file has two regions. The data region is held for as long as the hold lasts, shared
// or exclusive. The gate region is held exclusively by whoever is about to take the data region, so
// that readers that come later queue behind a waiting writer instead of passing it; readers leave
// the gate at once, a writer keeps it.
//
// A take: 1 thread lock; 2 under fileLock_, unless the process has a read hold already: open, gate,
// size check, pid, data, and for readers the gate left; 3 the sequence number read. A release: 1
// the number advanced, by a writer with the update flag; 2 under fileLock_, by a writer or the last
// reader: data left, gate left, close; 3 thread lock.
//
//  1. The lock state says what hold the process has on the file. Both change under fileLock_.
//  2. Who has or wants the file's hold has the thread lock. So while the state is write there is
//     one thread, and while it is read all others are readers, counted before they come for the
//     file: a reader that leaves and counts no other is the last.
//  3. The thread lock is never waited for under fileLock_. The wait for other processes is under
//     fileLock_: it stops only readers that want the same, and those that give up a failed take.
//  4. The file is open only while the process has or wants a hold. So no close can drop the hold of
//     another thread.
//  5. The number in the file changes only under both regions, held exclusively. It cannot change
//     while anybody reads.
//  6. A thread that is cancelled in the wait for other processes, or in an observer, ends with
//     nothing held. All other work on the file cannot be cancelled.
//  7. A killed process leaves no hold: the system drops its record locks. The pid stays,
//     for people.
//
// Nothing is kept between holds but the two numbers: each hold opens the file anew, so a file that
// was removed is made again. tests/ZFileLock_test.cpp and tests/lock_worker.cpp test what can be
// seen of these.
#include "ZFileLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <type_traits>

#include "ZException.h"
#include "zraise.h"
#include "zreport.h"

static_assert(std::is_convertible_v<ZUnixProcessReadWriteFileLock_5_1*, ZObject_5_1*>,
              "one way up to the root");

#ifdef __ILP32__
static_assert(sizeof(ZAbstractProcessReadWriteFileLock_5_1) ==
                  sizeof(ZAbstractProcessReadWriteLock_5_1) + 2 * sizeof(ZLCString_5_1) +
                      sizeof(ZLock_5_1),
              "the record is fixed on 32 bits");
static_assert(sizeof(ZUnixProcessReadWriteFileLock_5_1) ==
                      sizeof(ZAbstractProcessReadWriteFileLock_5_1) + 4 &&
                  sizeof(ZStubProcessReadWriteFileLock_5_1) ==
                      sizeof(ZAbstractProcessReadWriteFileLock_5_1) + 4,
              "the record is fixed on 32 bits");
#endif

namespace {

constexpr char const* unit = "src/Z/ZFileLock";
constexpr int lockFailed = 33;
constexpr int unlockFailed = 34;
constexpr int readFailed = 35;
constexpr int writeFailed = 33;  // the text of a failed take

constexpr char const filePrefix[] = "._zpl";
constexpr mode_t fileMode = 02600;

// The file's fields, which are its regions as well.
constexpr unsigned int sequenceAt = 0;  // std::uint32_t; the data region
constexpr unsigned int pidAt = 4;       // std::int32_t; the gate region
constexpr unsigned int fieldSize = 4;

// The lock of which this thread has the hold between threads alone, since it could not take the
// file. Of several, the last.
thread_local ZAbstractProcessReadWriteFileLock_5_1 const* failedTake = nullptr;

}  // namespace

// ---- the protocol ----

ZAbstractProcessReadWriteFileLock_5_1::ZAbstractProcessReadWriteFileLock_5_1() {
    nameFile(ZAbstractProcessReadWriteLock_5_1::getLockName());
}

ZAbstractProcessReadWriteFileLock_5_1::ZAbstractProcessReadWriteFileLock_5_1(char const* name)
    : ZAbstractProcessReadWriteLock_5_1(name), lockDirName_(".") {
    nameFile(name);
}

ZAbstractProcessReadWriteFileLock_5_1::ZAbstractProcessReadWriteFileLock_5_1(char const* name,
                                                                             char const* dir)
    : ZAbstractProcessReadWriteLock_5_1(name) {
    changeFolder(dir);
    nameFile(name);
}

ZAbstractProcessReadWriteFileLock_5_1::ZAbstractProcessReadWriteFileLock_5_1(
    ZAbstractProcessReadWriteFileLock_5_1 const& other) = default;

ZAbstractProcessReadWriteFileLock_5_1& ZAbstractProcessReadWriteFileLock_5_1::operator=(
    ZAbstractProcessReadWriteFileLock_5_1 const& other) {
    if (this == &other) return *this;
    if (getLockState() != unset) refuseState(unit, getLockState());
    // The room first: a lock never gets one part of its name without the others.
    lockDirName_.setCapacity(other.lockDirName_.getLength());
    lockFileName_.setCapacity(other.lockFileName_.getLength());
    ZAbstractProcessReadWriteLock_5_1::operator=(other);
    lockDirName_ = other.lockDirName_;
    lockFileName_ = other.lockFileName_;
    return *this;
}

ZAbstractProcessReadWriteFileLock_5_1::~ZAbstractProcessReadWriteFileLock_5_1() noexcept(false) {}

unsigned long ZAbstractProcessReadWriteFileLock_5_1::hash() const {
    return lockFileName_.hash();
}

int ZAbstractProcessReadWriteFileLock_5_1::compare(ZObject_5_1 const& other) const {
    auto const* const lock = dynamic_cast<ZAbstractProcessReadWriteFileLock_5_1 const*>(&other);
    return lock ? lockFileName_.compare(lock->lockFileName_)
                : ZAbstractProcessReadWriteLock_5_1::compare(other);
}

int ZAbstractProcessReadWriteFileLock_5_1::lock() {
    return lock(write);
}

int ZAbstractProcessReadWriteFileLock_5_1::lock(zlockstate state) {
    dolock(state);
    if (state == unset || !isState(state)) return 0;
    if (getLastSequence() == invalidSequence) setLastSequence();
    if (isCurrent() || countObservers() == 0) return 0;
    if (state != write) {
        dolock(unset);
        dolock(write);
        setUpdate(0);
    }
    auto const notify = [this] {
        notifyLockObservers();
        return 0;
    };
    return z_5_1::onCancel(notify, [this] { z_5_1::quietly(unit, [this] { dolock(unset); }); });
}

int ZAbstractProcessReadWriteFileLock_5_1::dolock(zlockstate state) {
    if (!isState(state)) return 0;
    if (state == unset) {
        refuseWithoutHold();
        ZResourceLock_5_1 const hold(fileLock_);
        if (getLockState() == write || getReaderCount() <= 1) {
            unlockFile();
            setLockState(unset);
        }
        if (failedTake == this) failedTake = nullptr;
        return ZAbstractProcessReadWriteLock_5_1::lock(unset);
    }
    zlockstate const mode = state == protect ? write : state;
    ZAbstractProcessReadWriteLock_5_1::lock(mode);
    zlockstate const found = getLockState();
    if (mode == write && found != unset) {
        ZAbstractProcessReadWriteLock_5_1::lock(unset);
        refuseState(unit, found);
    }
    auto const take = [this, mode] {
        takeFile(mode);
        return 0;
    };
    return z_5_1::onCancel(take, [this] { z_5_1::quietly(unit, [this] { dolock(unset); }); });
}

void ZAbstractProcessReadWriteFileLock_5_1::takeFile(zlockstate state) {
    failedTake = this;
    ZResourceLock_5_1 const hold(fileLock_);
    if (getLockState() == unset) {  // else readers share
        lockFile(state);
        setLockState(state);
        // A release after a failed read must not count on from a former number.
        setUpdate(0);
        unsigned long stored = 0;
        readSequenceNumber(&stored);
        setSequence(stored);
        setUpdate(state == write);
    }
    failedTake = nullptr;
}

// A failed take is given up while a reader that came later has the file, but has not yet looked
// whether its number is new.
void ZAbstractProcessReadWriteFileLock_5_1::sync(int update) {
    if (failedTake != this) ZAbstractProcessReadWriteLock_5_1::sync(update);
}

void ZAbstractProcessReadWriteFileLock_5_1::incSequence() {
    if (getLockState() != write) refuseState(unit, getLockState());
    unsigned long next = getSequence() + 1;
    if (next == invalidSequence) ++next;
    next = static_cast<std::uint32_t>(next);
    writeSequenceNumber(next);
    setSequence(next);
}

int ZAbstractProcessReadWriteFileLock_5_1::lockFile(zlockstate state) {
    lockFileRange(write, pidAt, fieldSize);
    // The pid would make a file that was cut within the number look whole.
    unsigned long whole;
    readSequenceNumber(&whole);
    writePid();
    // However the wait for the data ends, unless with success, others pass the gate.
    struct LeaveGate {
        ZAbstractProcessReadWriteFileLock_5_1& lock;
        bool kept = false;
        ~LeaveGate() {
            if (!kept) z_5_1::quietly(unit, [this] { lock.unlockFileRange(pidAt, fieldSize); });
        }
    } gate{*this};
    lockFileRange(state, sequenceAt, fieldSize);
    gate.kept = true;
    if (state == read) unlockFileRange(pidAt, fieldSize);
    return 0;
}

int ZAbstractProcessReadWriteFileLock_5_1::unlockFile() {
    unlockFileRange(sequenceAt, fieldSize);
    if (getLockState() == write) unlockFileRange(pidAt, fieldSize);
    return 0;
}

void ZAbstractProcessReadWriteFileLock_5_1::readSequenceNumber(unsigned long* sequence) {
    if (!sequence) z_5_1::raise(unit, ZInvalidParameterException_5_1());
    std::uint32_t number = 0;
    readBytes(&number, sequenceAt, sizeof number);
    *sequence = number;
}

void ZAbstractProcessReadWriteFileLock_5_1::writeSequenceNumber(unsigned long sequence) {
    auto number = static_cast<std::uint32_t>(sequence);
    writeBytes(&number, sequenceAt, sizeof number);
}

void ZAbstractProcessReadWriteFileLock_5_1::writePid() {
    auto pid = static_cast<std::int32_t>(getpid());
    writeBytes(&pid, pidAt, sizeof pid);
}

// ---- the file's name ----

ZLCString_5_1 const& ZAbstractProcessReadWriteFileLock_5_1::getLockDirName() const {
    return lockDirName_;
}

void ZAbstractProcessReadWriteFileLock_5_1::setLockDirName(char const* dir) {
    ZLCString_5_1 const former(lockDirName_);
    if (!changeFolder(dir)) return;
    try {
        setLockFileName(getLockName());
    } catch (...) {
        lockDirName_ = former;  // which needs no memory: it was there before
        throw;
    }
}

bool ZAbstractProcessReadWriteFileLock_5_1::changeFolder(char const* dir) {
    constexpr mode_t needed = S_IWUSR | S_IXUSR;
    struct stat status;
    if (dir && (stat(dir, &status) != 0 || !S_ISDIR(status.st_mode) ||
                (status.st_mode & needed) != needed)) {
        z_5_1::raise(unit, ZInvalidParameterException_5_1());
    }
    ZLCString_5_1 const folder(dir);
    if (folder == lockDirName_) return false;
    // Not the virtual one: a constructor comes here.
    zlockstate const state = ZAbstractProcessReadWriteLock_5_1::getLockState();
    if (state != unset) refuseState(unit, state);
    lockDirName_ = folder;
    return true;
}

ZLCString_5_1 const& ZAbstractProcessReadWriteFileLock_5_1::getLockFileName() const {
    return lockFileName_;
}

void ZAbstractProcessReadWriteFileLock_5_1::setLockFileName(char const* name) {
    nameFile(name);
}

void ZAbstractProcessReadWriteFileLock_5_1::nameFile(char const* name) {
    // Made aside: a name cut short would be that of another lock.
    ZLCString_5_1 fileName(lockDirName_);
    if (lockDirName_.getLength() != 0) fileName += "/";
    fileName += filePrefix;
    fileName += name;
    lockFileName_ = fileName;
}

// ---- on a file ----

ZUnixProcessReadWriteFileLock_5_1::ZUnixProcessReadWriteFileLock_5_1() : fileHandle_(-1) {}

ZUnixProcessReadWriteFileLock_5_1::ZUnixProcessReadWriteFileLock_5_1(char const* name)
    : ZAbstractProcessReadWriteFileLock_5_1(name), fileHandle_(-1) {}

ZUnixProcessReadWriteFileLock_5_1::ZUnixProcessReadWriteFileLock_5_1(char const* name,
                                                                     char const* dir)
    : ZAbstractProcessReadWriteFileLock_5_1(name, dir), fileHandle_(-1) {}

ZUnixProcessReadWriteFileLock_5_1::ZUnixProcessReadWriteFileLock_5_1(
    ZUnixProcessReadWriteFileLock_5_1 const& other)
    : ZAbstractProcessReadWriteFileLock_5_1(other), fileHandle_(-1) {}

// Nothing is held, and an open file is that of the former name.
ZUnixProcessReadWriteFileLock_5_1& ZUnixProcessReadWriteFileLock_5_1::operator=(
    ZUnixProcessReadWriteFileLock_5_1 const& other) {
    if (this == &other) return *this;
    ZAbstractProcessReadWriteFileLock_5_1::operator=(other);
    closeLockFile();
    return *this;
}

ZUnixProcessReadWriteFileLock_5_1::~ZUnixProcessReadWriteFileLock_5_1() noexcept(false) {
    closeLockFile();
}

ZObject_5_1* ZUnixProcessReadWriteFileLock_5_1::clone() const {
    return new ZUnixProcessReadWriteFileLock_5_1(*this);
}

int ZUnixProcessReadWriteFileLock_5_1::lockFileRange(zlockstate state, unsigned int start,
                                                     unsigned int length) {
    errno = 0;
    if (fileHandle_ == -1) createLockFile();
    struct flock range = {};
    range.l_whence = SEEK_SET;
    range.l_start = start;
    range.l_len = length;
    switch (state) {
        case unset:
            range.l_type = F_UNLCK;
            break;
        case read:
            range.l_type = F_RDLCK;
            break;
        case protect:
        case write:
            range.l_type = F_WRLCK;
            break;
        default:
            refuseState(unit, state);
    }
    if (state == unset) {
        z_5_1::NotCancelled const whole;
        if (fcntl(fileHandle_, F_SETLKW, &range) == 0) return 0;
        z_5_1::raise(unit, ZUnlockResourceException_5_1(unlockFailed, errno));
    }
    // The one wait that may be cancelled.
    if (fcntl(fileHandle_, F_SETLKW, &range) == 0) return 0;
    z_5_1::raise(unit, ZLockResourceException_5_1(lockFailed, errno));
}

void ZUnixProcessReadWriteFileLock_5_1::setLockFileName(char const* name) {
    ZAbstractProcessReadWriteFileLock_5_1::setLockFileName(name);
    if (getLockState() == unset) closeLockFile();
}

int ZUnixProcessReadWriteFileLock_5_1::unlockFileRange(unsigned int start, unsigned int length) {
    return lockFileRange(unset, start, length);
}

int ZUnixProcessReadWriteFileLock_5_1::unlockFile() {
    // A take whose open failed has nothing to leave but the hold between threads.
    if (fileHandle_ == -1 && getLockState() == unset) return 0;
    ZAbstractProcessReadWriteFileLock_5_1::unlockFile();
    closeLockFile();
    return 0;
}

void ZUnixProcessReadWriteFileLock_5_1::createLockFile() {
    if (fileHandle_ != -1) return;
    z_5_1::NotCancelled const whole;
    fileHandle_ =
        open(getLockFileName(), O_RDWR | O_CREAT | O_SYNC | O_CLOEXEC | O_NOFOLLOW, fileMode);
}

void ZUnixProcessReadWriteFileLock_5_1::closeLockFile() noexcept {
    z_5_1::NotCancelled const whole;
    int const open = fileHandle_.exchange(-1);
    if (open != -1) close(open);
}

void ZUnixProcessReadWriteFileLock_5_1::readBytes(void* buffer, unsigned int offset,
                                                  unsigned int length) {
    z_5_1::NotCancelled const whole;
    errno = 0;
    ssize_t const got = pread(fileHandle_, buffer, length, offset);
    if (got > 0 && static_cast<std::size_t>(got) == length) return;
    int rc = errno;
    if (rc == 0) {
        struct stat status;
        if (stat(getLockFileName(), &status) != 0) {
            rc = errno;
        } else {
            if (status.st_size == 0) return;
            rc = -1;
        }
    }
    z_5_1::raise(unit, ZReadResourceException_5_1(readFailed, rc));
}

void ZUnixProcessReadWriteFileLock_5_1::writeBytes(void* buffer, unsigned int offset,
                                                   unsigned int length) {
    z_5_1::NotCancelled const whole;
    errno = 0;
    ssize_t const written = pwrite(fileHandle_, buffer, length, offset);
    if (written >= 0 && static_cast<std::size_t>(written) == length) return;
    int const rc = errno;
    setSequence(0);
    z_5_1::raise(unit, ZWriteResourceException_5_1(writeFailed, rc));
}

// ---- without a file ----

ZStubProcessReadWriteFileLock_5_1::ZStubProcessReadWriteFileLock_5_1() : storedSequence_(0) {}

ZStubProcessReadWriteFileLock_5_1::ZStubProcessReadWriteFileLock_5_1(char const* name)
    : ZAbstractProcessReadWriteFileLock_5_1(name), storedSequence_(0) {}

ZStubProcessReadWriteFileLock_5_1::ZStubProcessReadWriteFileLock_5_1(char const* name,
                                                                     char const* dir)
    : ZAbstractProcessReadWriteFileLock_5_1(name, dir), storedSequence_(0) {}

ZStubProcessReadWriteFileLock_5_1::ZStubProcessReadWriteFileLock_5_1(
    ZStubProcessReadWriteFileLock_5_1 const& other)
    : ZAbstractProcessReadWriteFileLock_5_1(other), storedSequence_(other.storedSequence_.load()) {}

ZStubProcessReadWriteFileLock_5_1& ZStubProcessReadWriteFileLock_5_1::operator=(
    ZStubProcessReadWriteFileLock_5_1 const& other) {
    ZAbstractProcessReadWriteFileLock_5_1::operator=(other);
    storedSequence_ = other.storedSequence_.load();
    return *this;
}

ZStubProcessReadWriteFileLock_5_1::~ZStubProcessReadWriteFileLock_5_1() noexcept(false) {}

ZObject_5_1* ZStubProcessReadWriteFileLock_5_1::clone() const {
    return new ZStubProcessReadWriteFileLock_5_1(*this);
}

int ZStubProcessReadWriteFileLock_5_1::lockFile(zlockstate) {
    return 0;
}

int ZStubProcessReadWriteFileLock_5_1::unlockFile() {
    return 0;
}

int ZStubProcessReadWriteFileLock_5_1::lockFileRange(zlockstate, unsigned int, unsigned int) {
    return 0;
}

int ZStubProcessReadWriteFileLock_5_1::unlockFileRange(unsigned int, unsigned int) {
    return 0;
}

void ZStubProcessReadWriteFileLock_5_1::readSequenceNumber(unsigned long* sequence) {
    if (sequence) *sequence = storedSequence_;
}

void ZStubProcessReadWriteFileLock_5_1::writeSequenceNumber(unsigned long sequence) {
    storedSequence_ = static_cast<std::uint32_t>(sequence);
}

void ZStubProcessReadWriteFileLock_5_1::writeBytes(void*, unsigned int, unsigned int) {}

void ZStubProcessReadWriteFileLock_5_1::readBytes(void*, unsigned int, unsigned int) {}
