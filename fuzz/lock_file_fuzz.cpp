// Lock files of any content: taking, sharing and releasing holds, the sequence number, observers.
//
// Oracle: the protocol for one thread as a few numbers and the bytes of the file. After each
// operation every accessor is compared, after the last one also the whole file and the record
// locks, which are seen through a descriptor of its own, as another process would see them. Locks
// without a file, copies and the ways to make a lock have a model each.
// Operations that would wait for the thread's own hold are left out; everything else must return.
// At the end as many descriptors are open as before.
//
// Input: the size of the file and its content, up to 12 bytes; then operations of two bytes.
#include <Z/ZException.h>
#include <Z/ZFileLock.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "fuzz.h"

using State = ZReadWriteLockInterface_5_1::zlockstate;
using Lock = ZUnixProcessReadWriteFileLock_5_1;

namespace {

constexpr State unset = Lock::unset;
constexpr State read = Lock::read;
constexpr State write = Lock::write;
constexpr std::uint32_t invalid = 0xFFFFFFFF;

std::string const& fileName() {
    static std::string const name = fuzz::folder() + "/._zplname";
    return name;
}

// Another process, as far as the system can tell. Closing the descriptor would drop the record
// locks of this process, so it is never closed during a hold.
class Peer {
public:
    ~Peer() { leave(); }
    void leave() {
        if (fd_ != -1) close(fd_);
        fd_ = -1;
    }
    void rewrite(std::string const& content) {
        enter(O_CREAT);
        FUZZ_CHECK(ftruncate(fd_, 0) == 0);
        FUZZ_CHECK(pwrite(fd_, content.data(), content.size(), 0) ==
                   static_cast<ssize_t>(content.size()));
    }
    std::string content() {
        enter(0);
        char block[8192];
        ssize_t const got = pread(fd_, block, sizeof block, 0);
        FUZZ_CHECK(got >= 0);
        return {block, static_cast<std::size_t>(got)};
    }
    mode_t mode() {
        enter(0);
        struct stat status;
        FUZZ_CHECK(fstat(fd_, &status) == 0);
        return status.st_mode & 07777;
    }
    // F_UNLCK, F_RDLCK or F_WRLCK.
    int heldAt(off_t start) {
        enter(0);
        struct flock range = {};
        range.l_type = F_WRLCK;
        range.l_start = start;
        range.l_len = 4;
        FUZZ_CHECK(fcntl(fd_, F_OFD_GETLK, &range) == 0);
        return range.l_type;
    }

private:
    void enter(int flags) {
        if (fd_ == -1) fd_ = open(fileName().c_str(), O_RDWR | O_CLOEXEC | flags, 0600);
        FUZZ_CHECK(fd_ != -1);
    }
    int fd_ = -1;
};

struct Observer : ZObserverInterface_5_1 {
    int calls = 0;
    bool throws = false;
    ZSequenceUpdate_5_1 last;
    void observableChanged(ZObservableInterface_5_1*, ZObservedParm_5_1 const& parm) override {
        ++calls;
        last = static_cast<ZSequenceUpdate_5_1 const&>(parm);
        if (throws) throw calls;
    }
};

// "" or the code and what comes with it.
template <class Call>
std::string outcome(Call const& call) {
    try {
        call();
        return "";
    } catch (ZInvalidResourceStateException_5_1& e) {
        return std::to_string(e.code()) + " " + e.value();
    } catch (ZResourceException_5_1& e) {
        return std::to_string(e.code()) + " " + std::to_string(e.rc());
    } catch (ZException_5_1& e) {
        return std::to_string(e.code());
    } catch (int) {
        return "observer";
    }
}

class Case {
public:
    explicit Case(std::string const& content) : file_(content) {
        peer_.rewrite(content);
        lock_ = std::make_unique<Lock>("name", fuzz::folder().c_str());
    }

    void run(unsigned what, unsigned value) {
        if (what >= 240) return runMore(what, value);
        switch (what % 12) {
            case 0:
            case 1:
                return take(read, value);
            case 2:
                return take(value % 2 ? write : Lock::protect, value);
            case 3:
            case 4:
                return release(value);
            case 5:
                return changeFile(value);
            case 6:
                return observe(value);
            case 7:
                return number(value);
            case 8:
                return bytes(value);
            case 9:
                return names(value);
            case 10:
                lock_->setUpdate(value % 2);
                update_ = value % 2 == 1;
                return;
            default:
                copy();
        }
    }

    void check() {
        FUZZ_CHECK(lock_->getLockState() == state_);
        for (State s : {unset, read, Lock::protect, write}) {
            FUZZ_CHECK(lock_->haveLock(s) == (s == state_));
        }
        FUZZ_CHECK(lock_->ownWriteLock() == (state_ == write));
        FUZZ_CHECK((lock_->getUpdate() != 0) == update_);
        FUZZ_CHECK(lock_->getReaderCount() == readers_);
        FUZZ_CHECK(lock_->getSequence() == sequence_ && lock_->getLastSequence() == last_);
        FUZZ_CHECK(lock_->isCurrent() == (sequence_ == last_));
        FUZZ_CHECK((lock_->getFileHandle() != -1) == open_);
        FUZZ_CHECK(lock_->getLockFileName() == fileName().c_str());
        FUZZ_CHECK(observer_.calls == calls_);
    }

    void checkFile() {
        if (!file_) return;
        FUZZ_CHECK(peer_.content() == *file_);
        int const data = state_ == write ? F_WRLCK : state_ == read ? F_RDLCK : F_UNLCK;
        FUZZ_CHECK(peer_.heldAt(0) == data);
        FUZZ_CHECK(peer_.heldAt(4) == (open_ && gate_ ? F_WRLCK : F_UNLCK));
    }

    // Destroying a held lock is an error, and gives up everything all the same.
    void end() {
        std::string const expected = state_ == unset ? "" : "32 " + name(state_);
        lock_->deleteObservers();
        FUZZ_CHECK(outcome([&] { delete lock_.release(); }) == expected);
        if (file_) FUZZ_CHECK(peer_.heldAt(0) == F_UNLCK && peer_.heldAt(4) == F_UNLCK);
    }

private:
    static std::string name(State state) {
        return state == unset ? "unset" : state == read ? "read" : "write";
    }
    bool holdsThread() const { return readers_ > 0 || writer_; }

    std::uint32_t stored() const {
        std::uint32_t number = 0;
        if (file_ && file_->size() >= 4) std::memcpy(&number, file_->data(), 4);
        return number;
    }
    void put(std::size_t at, void const* from, std::size_t length) {
        if (length == 0) return;
        if (file_->size() < at + length) file_->resize(at + length);
        std::memcpy(&(*file_)[at], from, length);
    }

    // The hold on the file; what is thrown.
    std::string takeFile(State mode) {
        if (state_ != unset) return "";
        bool const isNew = !file_;
        if (isNew) file_ = "";
        open_ = true;
        failed_ = !file_->empty() && file_->size() < 4;
        gate_ = failed_ || mode == write;
        if (failed_) return "35 -1";
        std::int32_t const pid = getpid();
        put(4, &pid, 4);
        state_ = mode;
        sequence_ = stored();
        update_ = mode == write;
        if (isNew) newFile_ = true;
        return "";
    }

    void take(State asked, unsigned value) {
        State const mode = asked == read ? read : write;
        std::string expected;
        if (writer_) {
            expected = "5 0";
        } else {
            std::uint32_t const next = state_ == unset ? stored() : sequence_;
            bool const whole = state_ != unset || !file_ || file_->empty() || file_->size() >= 4;
            bool const news = whole && last_ != invalid && next != last_ && observing_;
            if (readers_ > 0 && (mode == write || news)) return;  // would wait for this thread
            readers_ += mode == read;
            writer_ = mode == write;
            update_ = mode == write;
            expected = takeFile(mode);
            if (expected.empty()) {
                if (last_ == invalid) last_ = sequence_;
                if (news) expected = tell(asked);
            }
        }
        bool const plain = value % 4 < 2;
        std::string const got = outcome([&] {
            if (!plain) {
                lock_->lock(asked);
            } else if (asked == read) {
                lock_->readLock();
            } else if (asked == write) {
                lock_->writeLock();
            } else {
                lock_->readWithIntentToWriteLock();
            }
        });
        FUZZ_CHECK(got == expected);
        if (newFile_) FUZZ_CHECK(peer_.mode() == 02600);
        newFile_ = false;
        if (observer_.calls == calls_ && calls_ > 0) {
            FUZZ_CHECK(observer_.last == announced_);
        }
    }

    // A reader becomes a writer whose release counts as no change.
    std::string tell(State asked) {
        readers_ = 0;
        writer_ = true;
        state_ = write;
        gate_ = true;
        update_ = asked == write;
        ++calls_;
        announced_ = ZSequenceUpdate_5_1(sequence_, last_);
        return observer_.throws ? "observer" : "";
    }

    void release(unsigned value) {
        std::string const expected = holdsThread() ? "" : "6 0";
        int const update = value / 4 % 2;
        switch (value % 4) {
            case 0:
                if (holdsThread()) giveUp();
                FUZZ_CHECK(outcome([&] { lock_->lock(unset); }) == expected);
                break;
            case 1:
                if (holdsThread()) sync(update == 1), giveUp();
                FUZZ_CHECK(outcome([&] { lock_->unlock(update); }) == expected);
                break;
            default:
                if (holdsThread()) sync(update_), giveUp();
                FUZZ_CHECK(outcome([&] { lock_->unlock(); }) == expected);
        }
    }

    void sync(bool update) {
        if (failed_ || state_ == unset) return;
        if (state_ == write && update) advance();
        last_ = sequence_;
    }

    // The last thread leaves the file.
    void giveUp() {
        if (state_ == write || readers_ <= 1) {
            state_ = unset;
            open_ = false;
        }
        failed_ = false;
        update_ = false;
        if (writer_) {
            writer_ = false;
        } else {
            --readers_;
        }
    }

    void advance() {
        ++sequence_;
        if (sequence_ == invalid) sequence_ = 0;
        put(0, &sequence_, 4);
    }

    // Another process writes the file or removes it, whether it may or not.
    void changeFile(unsigned value) {
        if (value % 8 == 7 && !open_) {
            peer_.leave();
            unlink(fileName().c_str());
            file_.reset();
            return;
        }
        std::uint32_t const numbers[] = {0,       1,           2, sequence_, sequence_ + 1,
                                         invalid, invalid - 1, 7};
        std::string content(reinterpret_cast<char const*>(&numbers[value % 8]), 4);
        content += "peer and more";
        content.resize(value / 8 % 16 == 0 ? 5000 : value / 8 % 16);
        file_ = content;
        peer_.rewrite(content);
    }

    void observe(unsigned value) {
        observer_.throws = value % 4 == 3;
        observing_ = value % 2 == 1;
        if (observing_) {
            lock_->addObserver(&observer_);
        } else {
            lock_->deleteObserver(&observer_);
        }
    }

    void number(unsigned value) {
        switch (value % 4) {
            case 0: {
                std::string const expected = state_ == write ? "" : "32 " + name(state_);
                if (state_ == write) advance();
                FUZZ_CHECK(outcome([&] { lock_->incSequence(); }) == expected);
                break;
            }
            case 1:
                lock_->setLastSequence(value % 3 ? value : invalid);
                last_ = value % 3 ? value : invalid;
                break;
            case 2:
                lock_->setLastSequence();
                last_ = sequence_;
                break;
            default:
                FUZZ_CHECK(lock_->lock(static_cast<State>(value + 1)) == 0);  // no state at all
                FUZZ_CHECK(lock_->promoteReadToWriteLock() == 0);
        }
    }

    // The file's numbers and bytes, of which only an open file has any.
    void bytes(unsigned value) {
        unsigned const offset = value / 4 % 16;
        unsigned const length = value / 4 % 9;
        char block[16] = "0123456789abcde";
        std::string const noFile = " " + std::to_string(EBADF);
        if (value % 4 == 0) {
            std::string expected = open_ ? "" : "35" + noFile;
            bool const all = open_ && length > 0 && offset + length <= file_->size();
            if (open_ && !all && !file_->empty()) expected = "35 -1";
            FUZZ_CHECK(outcome([&] { lock_->readBytes(block, offset, length); }) == expected);
            if (all) FUZZ_CHECK(std::memcmp(block, file_->data() + offset, length) == 0);
            return;
        }
        if (!open_) sequence_ = 0;
        std::string const expected = open_ ? "" : "33" + noFile;
        if (value % 4 == 1) {
            if (open_) put(offset, block, length);
            FUZZ_CHECK(outcome([&] { lock_->writeBytes(block, offset, length); }) == expected);
        } else if (value % 4 == 2) {
            std::int32_t const pid = getpid();
            if (open_) put(4, &pid, 4);
            FUZZ_CHECK(outcome([&] { lock_->writePid(); }) == expected);
        } else {
            std::uint32_t const next = invalid - value;
            if (open_) put(0, &next, 4);
            FUZZ_CHECK(outcome([&] { lock_->writeSequenceNumber(next); }) == expected);
        }
    }

    void names(unsigned value) {
        std::string const held = state_ == unset ? "" : "32 " + name(state_);
        std::string const folder = fuzz::folder();
        switch (value % 4) {
            case 0:
                FUZZ_CHECK(outcome([&] { lock_->setLockDirName(fileName().c_str()); }) == "22");
                break;
            case 1:
                FUZZ_CHECK(outcome([&] { lock_->setLockDirName(folder.c_str()); }).empty());
                break;
            case 2:
                if (lock_->getLockName() != "name") break;
                FUZZ_CHECK(outcome([&] { lock_->setLockDirName("/"); }) == held);
                if (state_ == unset) open_ = false;
                FUZZ_CHECK(outcome([&] { lock_->setLockDirName(folder.c_str()); }).empty());
                break;
            default: {
                // Renames only what is held, and releases it; the file's name stays.
                ZLCString_5_1 other(lock_->getLockName() == "name" ? "other" : "name");
                ZLCString_5_1 const expected(state_ == unset ? lock_->getLockName() : other);
                if (state_ != unset) sync(update_), giveUp();
                lock_->setLockName(other);
                FUZZ_CHECK(lock_->getLockName() == expected);
            }
        }
        FUZZ_CHECK(lock_->getLockDirName() == folder.c_str());
    }

    // A copy is free and closes nothing of the original.
    void copy() {
        std::unique_ptr<ZObject_5_1> const object(lock_->clone());
        auto& other = static_cast<Lock&>(*object);
        FUZZ_CHECK(other.equals(*lock_) && other.hash() == lock_->hash());
        FUZZ_CHECK(other.getLockState() == unset && other.getFileHandle() == -1);
        FUZZ_CHECK(other.getSequence() == sequence_ && other.getLastSequence() == last_);
        other.deleteObservers();
    }

    void runMore(unsigned what, unsigned value) {
        switch (what % 8) {
            case 0:
            case 1:
                return range(value);
            case 2:
                return storedNumber(value);
            case 3:
                return fileNames(value);
            case 4:
            case 5:
                return assign(value);
            case 6:
                return makers(value);
            default:
                withoutFile(value);
        }
    }

    // Record locks of the caller's own, behind those of the protocol. They open the file.
    void range(unsigned value) {
        unsigned const start = 100 + 4 * (value / 8 % 8);
        State const asked = std::array{unset, read, Lock::protect, write}[value % 4];
        int const type = asked == unset ? F_UNLCK : asked == read ? F_RDLCK : F_WRLCK;
        bool const isNew = !file_;
        if (!open_) gate_ = false;
        open_ = true;
        if (isNew) file_ = "";
        FUZZ_CHECK(lock_->lockFileRange(asked, start, 4) == 0);
        if (isNew) FUZZ_CHECK(peer_.mode() == 02600);
        FUZZ_CHECK(peer_.heldAt(start) == type);
        FUZZ_CHECK(peer_.heldAt(start - 4) == F_UNLCK && peer_.heldAt(start + 4) == F_UNLCK);
        FUZZ_CHECK(lock_->unlockFileRange(start, value & 4 ? 3 : 4) == 0);
        FUZZ_CHECK(peer_.heldAt(start) == (value & 4 ? type : F_UNLCK));
        FUZZ_CHECK(lock_->lockFileRange(unset, start, 4) == 0 && peer_.heldAt(start) == F_UNLCK);
    }

    void storedNumber(unsigned value) {
        unsigned long number = value;
        std::string expected = "35 " + std::to_string(EBADF);
        if (open_) expected = file_->empty() || file_->size() >= 4 ? "" : "35 -1";
        FUZZ_CHECK(outcome([&] { lock_->readSequenceNumber(&number); }) == expected);
        FUZZ_CHECK(number == (expected.empty() ? stored() : value));
        FUZZ_CHECK(outcome([&] { lock_->readSequenceNumber(nullptr); }) == "22");
    }

    // The new name is that of the next hold: only a free lock closes its file.
    void fileNames(unsigned value) {
        std::string const name = std::string(value % 4, 'x');
        Lock const before(*lock_);
        lock_->setLockFileName(value % 4 ? name.c_str() : nullptr);
        FUZZ_CHECK(lock_->getLockFileName() == (fuzz::folder() + "/._zpl" + name).c_str());
        FUZZ_CHECK(lock_->hash() == lock_->getLockFileName().hash() && !lock_->equals(before));
        if (state_ == unset) open_ = false;
        FUZZ_CHECK((lock_->getFileHandle() != -1) == open_);
        lock_->setLockFileName("name");
        FUZZ_CHECK(lock_->equals(before) && lock_->hash() == before.hash());
        const_cast<Lock&>(before).deleteObservers();
    }

    // Name and numbers of another lock of the same file; refused while held.
    void assign(unsigned value) {
        Lock other("name", fuzz::folder().c_str());
        other.setLastSequence(value);
        other.setUpdate(value % 2);
        FUZZ_CHECK(outcome([&] { *lock_ = *lock_.get(); }).empty());
        std::string const expected = state_ == unset ? "" : "32 " + name(state_);
        FUZZ_CHECK(outcome([&] { *lock_ = other; }) == expected);
        if (state_ == unset) {
            open_ = false;
            sequence_ = 0;
            last_ = value;
            update_ = value % 2;
            FUZZ_CHECK(lock_->getLockName() == "name");
        }
        Lock back("back");
        back = *lock_;
        FUZZ_CHECK(back.equals(*lock_) && back.getLockName() == lock_->getLockName());
        FUZZ_CHECK(back.getLockDirName() == lock_->getLockDirName());
        FUZZ_CHECK(back.getLockState() == unset && back.getFileHandle() == -1);
        FUZZ_CHECK(back.getSequence() == sequence_ && back.getLastSequence() == last_);
        FUZZ_CHECK((back.getUpdate() != 0) == update_ && back.countObservers() == 0);
    }

    template <class Made>
    static void expectNames(Made const& made, std::string const& name, std::string const& dir) {
        FUZZ_CHECK(made.getLockName() == name.c_str() && made.getLockDirName() == dir.c_str());
        FUZZ_CHECK(made.getLockFileName() ==
                   (dir + (dir.empty() ? "" : "/") + "._zpl" + name).c_str());
        FUZZ_CHECK(made.getLockState() == unset && made.getSequence() == 0);
        FUZZ_CHECK(made.getLastSequence() == invalid);
    }
    template <class Made>
    static void make(std::string const& text) {
        char const* const given = text.empty() ? nullptr : text.c_str();
        Made const named(given), unnamed;
        expectNames(named, text, ".");
        expectNames(Made(given, nullptr), text, "");
        expectNames(Made(given, fuzz::folder().c_str()), text, fuzz::folder());
        std::string const own = unnamed.getLockName().getChars();
        FUZZ_CHECK(own.size() == 6 && std::all_of(own.begin(), own.end(), [](char c) {
                       return std::isalnum(static_cast<unsigned char>(c));
                   }));
        expectNames(unnamed, own, "");
        FUZZ_CHECK(outcome([&] { Made refused(given, fileName().c_str()); }) == "22");
    }
    static void makers(unsigned value) {
        std::string const text(value % 5, static_cast<char>('a' + value / 5 % 26));
        make<Lock>(text);
        make<ZStubProcessReadWriteFileLock_5_1>(text);
        ZStubProcessReadWriteLock_5_1 const stub(text.empty() ? nullptr : text.c_str());
        FUZZ_CHECK(stub.getLockName() == text.c_str());
    }

    // The same protocol with a stored number instead of a file, which is never made.
    static void withoutFile(unsigned value) {
        using Stub = ZStubProcessReadWriteFileLock_5_1;
        Stub lock("stub", fuzz::folder().c_str());
        State const mode = value % 2 ? write : read;
        auto const first = static_cast<std::uint32_t>(value < 4 ? invalid - value : value);
        lock.writeSequenceNumber(first | 1ul << 32);
        FUZZ_CHECK(lock.lock(mode) == 0 && lock.getLockState() == mode && lock.isCurrent());
        FUZZ_CHECK(lock.getReaderCount() == (mode == read) && lock.getSequence() == first);
        std::unique_ptr<ZObject_5_1> const clone(lock.clone());
        auto& other = static_cast<Stub&>(*clone);
        FUZZ_CHECK(other.equals(lock) && other.getLockState() == unset);
        FUZZ_CHECK(outcome([&] { lock = other; }) == "32 " + name(mode));
        FUZZ_CHECK(outcome([&] { lock.incSequence(); }) == (mode == write ? "" : "32 read"));
        FUZZ_CHECK(lock.unlock(value / 2 % 2) == 0 && lock.getLockState() == unset);
        std::uint32_t last = first;
        for (int i = mode == write ? 1 + static_cast<int>(value / 2 % 2) : 0; i > 0; --i) {
            if (++last == invalid) last = 0;
        }
        unsigned long number = 0, former = 0;
        lock.readSequenceNumber(&number);
        other.readSequenceNumber(&former);
        lock.readSequenceNumber(nullptr);
        FUZZ_CHECK(number == last && lock.getLastSequence() == last && former == first);
        other = lock;
        other.readSequenceNumber(&former);
        FUZZ_CHECK(former == last && other.getSequence() == last);
        char block[4] = "abc";
        lock.writeBytes(block, 0, 4);
        lock.readBytes(block, value, 4);
        FUZZ_CHECK(!lock.lockFile(write) && !lock.lockFileRange(write, 0, 4));
        FUZZ_CHECK(!lock.unlockFileRange(0, 4) && !lock.unlockFile());
        FUZZ_CHECK(std::strcmp(block, "abc") == 0 && lock.getLockState() == unset);
        FUZZ_CHECK(access(lock.getLockFileName(), F_OK) != 0 && errno == ENOENT);
        betweenThreads(value);
    }

    // Its state is the one asked for.
    static void betweenThreads(unsigned value) {
        State const asked = std::array{read, Lock::protect, write, write}[value % 4];
        ZStubProcessReadWriteLock_5_1 lock("stub"), other;
        FUZZ_CHECK((value & 4       ? lock.lock(asked)
                    : value % 4 < 3 ? lock.lock(asked)
                                    : lock.lock()) == 0);
        for (State s : {unset, read, Lock::protect, write}) {
            FUZZ_CHECK(lock.haveLock(s) == (s == asked));
        }
        std::unique_ptr<ZObject_5_1> const clone(lock.clone());
        FUZZ_CHECK(static_cast<ZStubProcessReadWriteLock_5_1&>(*clone).getLockState() == unset);
        FUZZ_CHECK(lock.unlock() == 0 && lock.getLockState() == unset);
        FUZZ_CHECK(lock.getSequence() == (asked == write) && lock.isCurrent());
        other = lock;
        FUZZ_CHECK(other.equals(lock) && other.equals(*clone));
        FUZZ_CHECK(other.getSequence() == lock.getSequence());
        FUZZ_CHECK(outcome([&] { lock.unlock(); }) == "6 0");
    }

    Peer peer_;
    Observer observer_;
    std::unique_ptr<Lock> lock_;
    std::optional<std::string> file_;  // none: there is no file
    State state_ = unset;
    int readers_ = 0;
    bool writer_ = false;
    bool open_ = false;
    bool gate_ = false;    // the bytes of the pid are held while the file is open
    bool failed_ = false;  // the thread's hold is all that the last take has left
    bool update_ = true;
    bool observing_ = false;
    bool newFile_ = false;
    std::uint32_t sequence_ = 0;
    std::uint32_t last_ = invalid;
    int calls_ = 0;
    ZSequenceUpdate_5_1 announced_;
};

int lowestFree() {
    int const fd = fcntl(0, F_DUPFD_CLOEXEC, 0);
    FUZZ_CHECK(fd != -1 && close(fd) == 0);
    return fd;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 1 || size > 200) return 0;
    static mode_t const mask = umask(0);
    static_cast<void>(mask);
    int const before = lowestFree();
    {
        std::size_t const length = std::min<std::size_t>(data[0] % 13, size - 1);
        Case test(std::string(reinterpret_cast<char const*>(data) + 1, length));
        data += 1 + length;
        for (size -= 1 + length; size >= 2; data += 2, size -= 2) {
            test.run(data[0], data[1]);
            test.check();
        }
        test.checkFile();
        test.end();
    }
    FUZZ_CHECK(lowestFree() == before);
    return 0;
}
