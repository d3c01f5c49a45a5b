// concurrency_bench: locks, conditions and lock files against those of the C++ library, of POSIX
// threads, of GLib, and against system calls written by hand.
#include <Z/ZCondition.h>
#include <Z/ZFileLock.h>
#include <Z/ZLock.h>
#include <Z/ZReadWriteLock.h>
#include <fcntl.h>
#include <glib.h>
#include <pthread.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "bench.h"

namespace bench {

void addThreads();  // thread_bench.cpp

}  // namespace bench

namespace {

using bench::add;
using benchmark::State;

class PthreadMutex {
public:
    PthreadMutex() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&mutex_, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    PthreadMutex(PthreadMutex const&) = delete;
    PthreadMutex& operator=(PthreadMutex const&) = delete;
    ~PthreadMutex() { pthread_mutex_destroy(&mutex_); }
    int lock() { return pthread_mutex_lock(&mutex_); }
    int unlock() { return pthread_mutex_unlock(&mutex_); }

private:
    pthread_mutex_t mutex_;
};

class GLibMutex {
public:
    GLibMutex() { g_rec_mutex_init(&mutex_); }
    GLibMutex(GLibMutex const&) = delete;
    GLibMutex& operator=(GLibMutex const&) = delete;
    ~GLibMutex() { g_rec_mutex_clear(&mutex_); }
    void lock() { g_rec_mutex_lock(&mutex_); }
    void unlock() { g_rec_mutex_unlock(&mutex_); }

private:
    GRecMutex mutex_;
};

// Made at first use and shared by the threads of a benchmark.
template <class Lock>
Lock& sharedLock() {
    static Lock lock;
    return lock;
}

template <class Lock>
void enter(State& state) {
    Lock& lock = sharedLock<Lock>();
    benchmark::DoNotOptimize(&lock);
    for (auto _ : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
}

// By a thread that holds the lock already.
template <class Lock>
void reenter(State& state) {
    Lock& lock = sharedLock<Lock>();
    benchmark::DoNotOptimize(&lock);
    lock.lock();
    for (auto _ : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
    lock.unlock();
}

// The scope guards of both sides.
template <class Lock, class Guard>
void guard(State& state) {
    Lock& lock = sharedLock<Lock>();
    benchmark::DoNotOptimize(&lock);
    for (auto _ : state) {
        Guard hold(lock);
        benchmark::ClobberMemory();
    }
}

template <class Lock, class Guard>
void addLock(char const* who) {
    add("lock/enter", who, "1_thread", enter<Lock>);
    add("lock/enter", who, "2_threads", enter<Lock>)->Threads(2)->UseRealTime();
    add("lock/reenter", who, "1_thread", reenter<Lock>);
    add("lock/guard", who, "1_thread", guard<Lock, Guard>);
}

// ---- many readers or one writer ----

// The peers know neither protect nor who holds them, and std and pthread may be misused freely.
struct StdShared {
    void read() { lock.lock_shared(); }
    void unread() { lock.unlock_shared(); }
    void write() { lock.lock(); }
    void unwrite() { lock.unlock(); }
    std::shared_mutex lock;
};

struct PthreadShared {
    void read() { pthread_rwlock_rdlock(&lock); }
    void unread() { pthread_rwlock_unlock(&lock); }
    void write() { pthread_rwlock_wrlock(&lock); }
    void unwrite() { pthread_rwlock_unlock(&lock); }
    pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
};

struct GLibShared {
    GLibShared() { g_rw_lock_init(&lock); }
    void read() { g_rw_lock_reader_lock(&lock); }
    void unread() { g_rw_lock_reader_unlock(&lock); }
    void write() { g_rw_lock_writer_lock(&lock); }
    void unwrite() { g_rw_lock_writer_unlock(&lock); }
    GRWLock lock;
};

struct ZShared {
    void read() { lock.readLock(); }
    void unread() { lock.unlock(); }
    void write() { lock.writeLock(); }
    void unwrite() { lock.unlock(); }
    ZReadWriteLock_5_1 lock;
};

template <class Lock>
void readHold(State& state) {
    Lock& lock = sharedLock<Lock>();
    benchmark::DoNotOptimize(&lock);
    for (auto _ : state) {
        lock.read();
        benchmark::ClobberMemory();
        lock.unread();
    }
}

template <class Lock>
void writeHold(State& state) {
    Lock& lock = sharedLock<Lock>();
    benchmark::DoNotOptimize(&lock);
    for (auto _ : state) {
        lock.write();
        benchmark::ClobberMemory();
        lock.unwrite();
    }
}

template <class Lock>
void addShared(char const* who) {
    add("rwlock/read", who, "1_thread", readHold<Lock>);
    add("rwlock/read", who, "2_threads", readHold<Lock>)->Threads(2)->UseRealTime();
    add("rwlock/write", who, "1_thread", writeHold<Lock>);
    add("rwlock/write", who, "2_threads", writeHold<Lock>)->Threads(2)->UseRealTime();
}

// ---- two threads that wake each other in turn ----

// The mutexes of the peers are not recursive, and their conditions do not ask who holds them.
struct StdTurn {
    void take(int self) {
        std::unique_lock<std::mutex> hold(mutex);
        while (turn != self) condition.wait(hold);
        turn = 1 - self;
        condition.notify_one();
    }
    std::mutex mutex;
    std::condition_variable condition;
    int turn = 0;
};

struct PthreadTurn {
    void take(int self) {
        pthread_mutex_lock(&mutex);
        while (turn != self) pthread_cond_wait(&condition, &mutex);
        turn = 1 - self;
        pthread_cond_signal(&condition);
        pthread_mutex_unlock(&mutex);
    }
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    int turn = 0;
};

struct GLibTurn {
    GLibTurn() { g_mutex_init(&mutex), g_cond_init(&condition); }
    void take(int self) {
        g_mutex_lock(&mutex);
        while (turn != self) g_cond_wait(&condition, &mutex);
        turn = 1 - self;
        g_cond_signal(&condition);
        g_mutex_unlock(&mutex);
    }
    GMutex mutex;
    GCond condition;
    int turn = 0;
};

struct ZTurn {
    void take(int self) {
        ZResourceLock_5_1 const hold(*condition.getResource());
        while (turn != self) condition.wait();
        turn = 1 - self;
        condition.signal();
    }
    ZCondition_5_1 condition;
    int turn = 0;
};

template <class Turn>
void pingPong(State& state) {
    Turn& turn = sharedLock<Turn>();
    for (auto _ : state) turn.take(state.thread_index());
}

template <class Turn>
void addTurn(char const* who) {
    add("condition/ping_pong", who, "2_threads", pingPong<Turn>)->Threads(2)->UseRealTime();
}

// ---- lock files, on a file system in memory: on a disk the synchronous writes cost all ----

// /tmp where there is no such file system.
std::string const folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";

void hold(int file, short type, off_t start, off_t length) {
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = start;
    range.l_len = length;
    if (fcntl(file, F_SETLKW, &range) != 0) std::abort();
}

std::string const byHand = folder + "/z_bench.lock";

int opened(int flags) {
    int const file = open(byHand.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | flags, S_IRUSR | S_IWUSR);
    if (file == -1) std::abort();
    return file;
}

// Opens the file, passes the gate, writes the pid, reads the number and, for a write hold, writes
// the next: two regions and three transfers.
template <ZReadWriteLockInterface_5_1::zlockstate mode>
void fileByZ(State& state) {
    ZUnixProcessReadWriteFileLock_5_1 lock("z_bench", folder.c_str());
    for (auto _ : state) {
        lock.lock(mode);
        lock.unlock();
    }
    unlink(lock.getLockFileName());
}

// A record lock on a file that stays open: no threads, no number, no pid, no queue for writers.
template <short type>
void fileByFcntl(State& state) {
    int const file = opened(0);
    for (auto _ : state) {
        hold(file, type, 0, 4);
        hold(file, F_UNLCK, 0, 4);
    }
    close(file);
    unlink(byHand.c_str());
}

// What Z does to the file, call by call: a new descriptor, the gate, the number, the pid, the data
// region and the number again; a reader leaves the gate at once, a writer at the end, after it
// wrote the next number.
template <short type>
void fileBySameCalls(State& state) {
    std::uint32_t number = 0;
    for (auto _ : state) {
        int const file = opened(O_SYNC | O_NOFOLLOW);
        hold(file, F_WRLCK, 4, 4);
        benchmark::DoNotOptimize(pread(file, &number, sizeof number, 0));
        pid_t const pid = getpid();
        benchmark::DoNotOptimize(pwrite(file, &pid, sizeof pid, 4));
        hold(file, type, 0, 4);
        if (type == F_RDLCK) hold(file, F_UNLCK, 4, 4);
        benchmark::DoNotOptimize(pread(file, &number, sizeof number, 0));
        if (type == F_WRLCK) {
            ++number;
            benchmark::DoNotOptimize(pwrite(file, &number, sizeof number, 0));
        }
        hold(file, F_UNLCK, 0, 4);
        if (type == F_WRLCK) hold(file, F_UNLCK, 4, 4);
        close(file);
    }
    unlink(byHand.c_str());
}

// One region and one transfer: a writer writes its number, a reader reads it.
template <short type>
void fileByHand(State& state) {
    std::uint32_t number = 0;
    for (auto _ : state) {
        int const file = opened(O_SYNC);
        hold(file, type, 0, 4);
        ssize_t const done = type == F_WRLCK ? pwrite(file, &number, sizeof number, 0)
                                             : pread(file, &number, sizeof number, 0);
        benchmark::DoNotOptimize(done);
        ++number;
        hold(file, F_UNLCK, 0, 4);
        close(file);
    }
    unlink(byHand.c_str());
}

void addFiles() {
    using Lock = ZReadWriteLockInterface_5_1;
    add("lockfile/read", "Z", "hold", fileByZ<Lock::read>);
    add("lockfile/read", "same_calls", "hold", fileBySameCalls<F_RDLCK>);
    add("lockfile/read", "fcntl_on_open_file", "hold", fileByFcntl<F_RDLCK>);
    add("lockfile/read", "open_lock_read_close", "hold", fileByHand<F_RDLCK>);
    add("lockfile/write", "Z", "hold", fileByZ<Lock::write>);
    add("lockfile/write", "same_calls", "hold", fileBySameCalls<F_WRLCK>);
    add("lockfile/write", "fcntl_on_open_file", "hold", fileByFcntl<F_WRLCK>);
    add("lockfile/write", "open_lock_write_close", "hold", fileByHand<F_WRLCK>);
}

}  // namespace

int main(int argc, char** argv) {
    bench::prepare();
    addLock<ZLock_5_1, ZResourceLock_5_1>("Z");
    addLock<std::recursive_mutex, std::lock_guard<std::recursive_mutex>>("std");
    addLock<PthreadMutex, std::lock_guard<PthreadMutex>>("pthread");
    addLock<GLibMutex, std::lock_guard<GLibMutex>>("GLib");
    addShared<ZShared>("Z");
    addShared<StdShared>("std");
    addShared<PthreadShared>("pthread");
    addShared<GLibShared>("GLib");
    addTurn<ZTurn>("Z");
    addTurn<StdTurn>("std");
    addTurn<PthreadTurn>("pthread");
    addTurn<GLibTurn>("GLib");
    addFiles();
    bench::addThreads();
    return bench::run(argc, argv);
}
