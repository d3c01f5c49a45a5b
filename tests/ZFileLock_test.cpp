// ZFileLock_test: the lock file to the byte, its regions, other processes, failures, cancellation.
// Subsystem: concurrency, layer 6. Test: tests/ZFileLock_test.cpp
#include <Z/ZException.h>
#include <Z/ZFileLock.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <atomic>
#include <csignal>

#include "FailingAllocations.h"
#include "ZTest.h"

namespace {

using ztest::expectRefused;

struct Lock : ZUnixProcessReadWriteFileLock_5_1 {
    using ZUnixProcessReadWriteFileLock_5_1::setLockState;
    using ZUnixProcessReadWriteFileLock_5_1::ZUnixProcessReadWriteFileLock_5_1;
    void readSequenceNumber(unsigned long* number) override {
        if (goodReads-- == 0) throw 1;
        ZUnixProcessReadWriteFileLock_5_1::readSequenceNumber(number);
    }
    static inline std::atomic<int> goodReads{-1};
};

struct ZFileLock : testing::Test {
    ztest::Folder folder{"/dev/shm"};
    std::string const file = folder / "._zplx";
    Lock lock{"x", folder.path().c_str()};
    // The test looks at the file through this one. Closing it would drop the lock's record locks.
    int probe = -1;
    pid_t holder = 0;

    ~ZFileLock() noexcept override {}

    FILE* worker(std::string const& work, char const* mode, bool other = true) const {
        char const* const program = other ? std::getenv("Z_OTHER_WORKER") : nullptr;
        std::string const command = program ? program : Z_LOCK_WORKER;
        return popen(("exec " + command + " " + folder.path() + " " + work).c_str(), mode);
    }
    // The locks on data and gate, of this process or another: r, w, or - for none.
    std::string regions() {
        if (probe == -1) probe = open(file.c_str(), O_RDWR | O_CLOEXEC);
        std::string found;
        if (probe == -1) return found;
        for (off_t at : {0, 4}) {
            struct flock range = {};
            range.l_type = F_WRLCK, range.l_start = at, range.l_len = 4;
            fcntl(probe, F_OFD_GETLK, &range);
            found += range.l_type == F_UNLCK ? '-' : range.l_type == F_RDLCK ? 'r' : 'w';
            holder = range.l_type == F_UNLCK ? holder : range.l_pid;
        }
        return found;
    }
    void until(char const* expected) {
        while (regions() != expected) usleep(1000);
    }
    FILE* held(int state, char const* expected) {
        FILE* const process = worker("hold " + std::to_string(state), "we");
        until(expected);
        return process;
    }
    // Another process changes the data.
    void changed() { pclose(worker("hold 3 </dev/null", "we")); }

    void expectFile(std::int32_t sequence, std::int32_t pid) {
        regions();
        std::int32_t found[3];
        EXPECT_EQ(pread(probe, found, 9, 0), 8);
        EXPECT_TRUE(found[0] == sequence && found[1] == pid) << found[0] << ' ' << found[1];
    }
};

void expectState(std::function<void()> const& run, std::string const& state) {
    auto const e = ztest::caught<ZInvalidResourceStateException_5_1>(run);
    EXPECT_TRUE(e.code() == 32 && e.value() == state) << e.value();
}

TEST_F(ZFileLock, LaysItsFileOutToTheByte) {
    mode_t const mask = umask(0);
    lock.lock(), umask(mask);
    struct stat status;
    EXPECT_TRUE(stat(file.c_str(), &status) == 0 && status.st_mode == (S_IFREG | 02600));
    int const flags = fcntl(lock.getFileHandle(), F_GETFL);
    EXPECT_TRUE((flags & O_SYNC) == O_SYNC && (flags & O_ACCMODE) == O_RDWR);
    EXPECT_EQ(fcntl(lock.getFileHandle(), F_GETFD), FD_CLOEXEC);
    expectFile(0, getpid());
    EXPECT_EQ(regions(), "ww");
    lock.unlock();
    lock.writeLock(), lock.setUpdate(0), lock.unlock();
    lock.readLock();
    EXPECT_EQ(regions(), "r-");
    lock.unlock(1);
    expectFile(1, getpid());
    FILE* const other = held(1, "r-");
    expectFile(1, holder);
    pclose(other);
    EXPECT_EQ(pwrite(probe, "\xFE\xFF\xFF\xFF", 4, 0), 4);
    lock.lock(), lock.unlock();
    expectFile(0, getpid());
    unlink(file.c_str()), probe = -1;
    lock.lock(), lock.unlock();
    expectFile(1, getpid());
    EXPECT_EQ(regions(), "--");
}

TEST_F(ZFileLock, NamesItsFile) {
    std::filesystem::current_path(folder.path());
    Lock named("a"), copy(named), random;
    EXPECT_STREQ(named.getLockFileName(), "./._zpla");
    EXPECT_EQ(random.getLockFileName(), ZLCString_5_1("._zpl") + random.getLockName());
    EXPECT_EQ(lock.getLockFileName().getChars(), file);
    named.setLockDirName(nullptr);
    EXPECT_STREQ(named.getLockFileName(), "._zpla");
    copy.createLockFile(), copy = named;
    std::unique_ptr<ZObject_5_1> const clone(copy.clone());
    EXPECT_TRUE(named.equals(*clone) && clone->hash() == named.hash() && copy.getFileHandle() < 0);
    ZLCString_5_1 fresh("b");
    copy.lock(), copy.setLockName(fresh);
    EXPECT_STREQ(copy.getLockFileName(), "._zpla") << "until the folder is set";
    copy.createLockFile(), copy.setLockDirName(".");
    EXPECT_STREQ(copy.getLockFileName(), "./._zplb");
    ZStubProcessReadWriteLock_5_1 const stub("b");
    EXPECT_TRUE(copy.getFileHandle() < 0 && copy.compare(stub) > 0 && stub.compare(copy) < 0);

    ztest::write("plain", "");
    ASSERT_EQ(mkdir("closed", 0500), 0);
    named.readLock(), named.setLockDirName(nullptr);
    for (char const* bad : {"plain", "closed", "missing", ""}) {
        EXPECT_THROW(named.setLockDirName(bad), ZInvalidParameterException_5_1) << bad;
        EXPECT_THROW(Lock("a", bad), ZInvalidParameterException_5_1) << bad;
    }
    expectState([&] { named.setLockDirName("."); }, "read");
    expectState([&] { named = copy; }, "read");
    named.unlock();
    std::filesystem::current_path("/");
}

TEST_F(ZFileLock, SharesOneHoldAmongReaders) {
    lock.lock(), lock.unlock();
    FILE* const reader = held(1, "r-");
    lock.readLock();
    int const handle = lock.getFileHandle();
    std::thread([&] { lock.readLock(); }).join();
    EXPECT_TRUE(lock.getFileHandle() == handle && lock.getReaderCount() == 2);
    lock.unlock();
    EXPECT_TRUE(lock.haveLock(Lock::read) && regions() == "r-") << "the other one's hold";
    FILE* const writer = held(3, "rw");
    lock.unlock();
    usleep(20000);
    EXPECT_EQ(regions(), "rw") << "there is a reader still, and the writer has the gate";
    pclose(reader), until("ww"), pclose(writer);
}

TEST_F(ZFileLock, TellsObserversBeforeTheDataIsRead) {
    struct : ZObserverInterface_5_1 {
        void observableChanged(ZObservableInterface_5_1*,
                               ZObservedParm_5_1 const& notice) override {
            auto const& update = static_cast<ZSequenceUpdate_5_1 const&>(notice);
            seen += std::to_string(update.getSequence() * 10 + update.getLastSequence()) + " ";
            if (fails) throw 1;
        }
        std::string seen;
        bool fails = false;
    } observer;
    changed();
    lock.addObserver(&observer);
    lock.readLock();
    EXPECT_EQ(observer.seen, "") << "the first hold takes the number for seen";
    EXPECT_TRUE(lock.haveLock(Lock::read));
    lock.unlock();
    for (auto state : {Lock::read, Lock::protect, Lock::write}) {
        changed(), lock.lock(state);
        EXPECT_TRUE(lock.haveLock(Lock::write) && lock.getUpdate() == (state == Lock::write));
        lock.unlock();
    }
    lock.lock(Lock::protect), lock.unlock(), lock.readLock(), lock.unlock();
    EXPECT_EQ(observer.seen, "21 32 43 ") << "its own changes are no news";
    changed(), observer.fails = true;
    EXPECT_THROW(lock.readLock(), int);
    EXPECT_TRUE(lock.haveLock(Lock::write) && lock.unlock() == 0) << "the hold stays";
    lock.deleteObserver(&observer), changed(), lock.readLock();
    EXPECT_TRUE(lock.haveLock(Lock::read)) << "nobody to tell";
    lock.unlock();
    EXPECT_EQ(observer.seen, "21 32 43 76 ");
}

TEST_F(ZFileLock, RefusesWithItsCodesAndRecovers) {
    unsigned long number = 0;
    for (unsigned size = 1; size < 4; ++size) {
        ztest::write(file, std::string(size, 'x'));
        expectRefused<ZReadResourceException_5_1>([&] { lock.readLock(); }, 35, -1);
        errno = EIO;
        auto const again = [&] { lock.readSequenceNumber(&number); };
        expectRefused<ZReadResourceException_5_1>(again, 35, -1);
        EXPECT_TRUE(std::filesystem::file_size(file) == size && regions() == "-w");
        EXPECT_TRUE(lock.unlock() == 0 && regions() == "--");
    }
    EXPECT_THROW(lock.readSequenceNumber(nullptr), ZInvalidParameterException_5_1);
    unlink(file.c_str()), probe = -1;
    ASSERT_EQ(symlink("target", file.c_str()), 0);
    expectRefused<ZLockResourceException_5_1>([&] { lock.lock(); }, 33, EBADF);
    EXPECT_EQ(lock.unlock(), 0);
    expectRefused<ZUnlockResourceException_5_1>([&] { lock.unlockFileRange(0, 4); }, 34, EBADF);
    unlink(file.c_str());

    expectState([&] { lock.incSequence(); }, "unset");
    expectState([&] { lock.lockFileRange(static_cast<Lock::zlockstate>(4), 0, 4); }, "");
    lock.setLockState(Lock::read), expectState([&] { lock.lock(); }, "read");
    lock.setLockState(Lock::unset);
    expectRefused<ZUnlockResourceException_5_1>([&] { lock.unlock(); }, 6, 0);
    expectState([&] { Lock("y", folder.path().c_str()).readLock(); }, "read");
    lock.lock();
    auto const misuse = [&] {
        expectRefused<ZUnlockResourceException_5_1>([&] { lock.unlock(); }, 6, 0);
        expectRefused<ZUnlockResourceException_5_1>([&] { lock.lock(Lock::unset); }, 6, 0);
    };
    std::thread(misuse).join();
    EXPECT_EQ(regions(), "ww") << "nothing was taken away";
    close(lock.getFileHandle());
    expectRefused<ZUnlockResourceException_5_1>([&] { lock.unlock(0); }, 34, EBADF);
    EXPECT_TRUE(lock.haveLock(Lock::write));
    lock.closeLockFile(), lock.unlock(0), lock.lock(), lock.unlock();
    EXPECT_EQ(lock.getSequence(), 1u);
    EXPECT_THROW((lock.goodReads = 1, lock.lock()), int);
    EXPECT_TRUE(lock.haveLock(Lock::write) && !lock.getUpdate() && lock.unlock() == 0);
    EXPECT_THROW((lock.goodReads = 0, lock.readLock()), int);
    std::thread([&] { lock.readLock(), lock.setLastSequence(7); }).join();
    EXPECT_TRUE(lock.unlock() == 0 && lock.getLastSequence() == 7) << "that one has seen nothing";
    lock.unlock();
    rlimit limit;
    getrlimit(RLIMIT_FSIZE, &limit);
    rlimit const none = {0, limit.rlim_max};
    signal(SIGXFSZ, SIG_IGN), setrlimit(RLIMIT_FSIZE, &none);
    expectRefused<ZWriteResourceException_5_1>([&] { lock.lock(); }, 33, EFBIG);
    EXPECT_TRUE(lock.haveLock(Lock::unset) && lock.getSequence() == 0 && lock.unlock() == 0);
    setrlimit(RLIMIT_FSIZE, &limit), lock.lock(), setrlimit(RLIMIT_FSIZE, &none);
    expectRefused<ZWriteResourceException_5_1>([&] { lock.unlock(); }, 33, EFBIG);
    EXPECT_TRUE(lock.haveLock(Lock::write) && lock.getSequence() == 0) << "the hold stays";
    setrlimit(RLIMIT_FSIZE, &limit), lock.setUpdate(0), lock.unlock();
    expectFile(1, getpid());
    EXPECT_EQ(regions(), "--");
}

TEST_F(ZFileLock, SurvivesKilledHoldersSignalsAndCancellation) {
    FILE *const killed = held(3, "ww"), *next = worker("hold 3", "we");
    pid_t const victim = holder;
    ASSERT_TRUE(victim > 0 && victim != getpid()) << victim;
    kill(victim, SIGKILL), pclose(killed);
    while (holder == victim) until("ww");

    struct : ZObserverInterface_5_1 {
        void observableChanged(ZObservableInterface_5_1*, ZObservedParm_5_1 const&) override {
            try {
                for (;; std::this_thread::yield()) pthread_testcancel();
            } catch (...) {
                throw;  // after that it counts as an exception
            }
        }
    } observer;
    auto const cancelled = [&](char const* others, std::function<void()> const& body) {
        std::thread thread(body);
        while (lock.getFileHandle() == -1) usleep(1000);
        usleep(10000);
        pthread_cancel(thread.native_handle()), thread.join();
        EXPECT_TRUE(lock.haveLock(Lock::unset) && lock.getFileHandle() == -1);
        EXPECT_TRUE(lock.getReaderCount() == 0 && regions() == others) << regions();
    };
    // Nothing may catch a cancellation while an exception is handled.
    auto const write = [&] {
        try {
            throw 1;
        } catch (int) {
            lock.lock();
        }
    };
    auto const read = [&] {
        ZStackReadWriteLock_5_1 hold(lock, 1);
        hold.readLock();
    };
    cancelled("ww", write), cancelled("ww", read);
    pclose(next), next = held(1, "r-");
    cancelled("r-", write);
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    std::atomic<bool> ended{false};
    std::thread signalling([&, waiter = pthread_self()] {
        for (; !ended; usleep(1000)) pthread_kill(waiter, SIGUSR1);
    });
    expectRefused<ZLockResourceException_5_1>([&] { lock.lock(); }, 33, EINTR);
    ended = true, signalling.join();
    EXPECT_TRUE(regions() == "r-" && lock.unlock() == 0) << "others pass the gate";
    pclose(next);
    lock.lock(), lock.unlock(), lock.addObserver(&observer), changed();
    cancelled("--", read);
    lock.deleteObservers();
    EXPECT_EQ(lock.lock() + lock.unlock(), 0);
}

TEST_F(ZFileLock, KeepsTheProtocolWithoutAFile) {
    ZStubProcessReadWriteFileLock_5_1 stub("x", folder.path().c_str());
    stub.lock(), stub.unlock(), stub.readLock();
    unsigned long number = 7;
    stub.readSequenceNumber(&number), stub.readSequenceNumber(nullptr);
    EXPECT_TRUE(number == 1 && stub.getSequence() == 1 && stub.haveLock(stub.read));
    stub.unlock();
    std::unique_ptr<ZObject_5_1> const clone(stub.clone());
    auto& copy = static_cast<ZStubProcessReadWriteFileLock_5_1&>(*clone);
    copy.lock(), copy.unlock();
    EXPECT_EQ(copy.getSequence(), 2u);
    EXPECT_NE(access(file.c_str(), F_OK), 0);
}

TEST_F(ZFileLock, CountsExactlyOverProcessesAndThreads) {
    FILE* workers[4];
    for (int i = 0; i < 4; ++i) {
        workers[i] = worker("count 4 " + std::to_string(ztest::stressed(300)), "re", i % 2);
    }
    std::uint32_t updates = 0, all = 0, counter[2] = {0, 1};
    for (FILE* process : workers) {
        EXPECT_TRUE(fscanf(process, "%u", &updates) == 1 && pclose(process) == 0);
        all += updates;
    }
    std::ifstream(folder / "counter").read(reinterpret_cast<char*>(&counter[0]), 4);
    std::ifstream(file).read(reinterpret_cast<char*>(&counter[1]), 4);
    EXPECT_TRUE(counter[0] == all && counter[1] == all && all > 0) << counter[0] << ' ' << all;
}

#ifdef Z_MEMORY_CAN_FAIL
TEST_F(ZFileLock, NeverHasAPartOfAName) {
    Lock named(std::string(99, 'n').c_str());
    std::string const before = named.getLockFileName().getChars();
    auto const isKept = [&] {
        EXPECT_EQ(named.getLockFileName().getChars() + std::string(named.getLockDirName()),
                  before + ".");
    };
    std::string const name(200, 'n'), dir = folder / (std::string(200, '/')).c_str();
    EXPECT_GT(ztest::failEach([&] { named.setLockDirName(dir.c_str()); }, isKept), 0);
    named.setLockDirName(".");
    EXPECT_GT(ztest::failEach([&] { named.setLockFileName(name.c_str()); }, isKept), 0);
}
#endif

}  // namespace
