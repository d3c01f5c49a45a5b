// load_locks: locks between threads and between processes.
//
// What a lock protects is a counter that is no atomic: two threads at once lose a count, which the
// figures tell, and the thread sanitizer sees them without that.
#include <Z/ZCondition.h>
#include <Z/ZException.h>
#include <Z/ZFileLock.h>
#include <Z/ZReadWriteLock.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <memory>
#include <string>
#include <thread>

#include "load.h"

namespace {

using namespace load;

// A thread that may be cancelled.
class Cancellable {
public:
    std::function<void()> body;

    void start() {
        ended_ = false;
        auto const run = [](void* self) -> void* {
            auto& me = *static_cast<Cancellable*>(self);
            std::shared_ptr<void> const last(nullptr, [&](void*) { me.ended_ = true; });
            me.body();
            return nullptr;
        };
        LOAD_CHECK(pthread_create(&thread_, nullptr, run, this) == 0, "no thread");
    }
    void cancel() const { pthread_cancel(thread_); }
    bool hasEnded() const { return ended_; }
    bool wasCancelled() const {
        void* result;
        pthread_join(thread_, &result);
        return result == PTHREAD_CANCELED;
    }

private:
    pthread_t thread_ = {};
    std::atomic<bool> ended_{false};
};

template <class Call>
void expectRefused(char const* what, unsigned long code, Call const& call) {
    try {
        call();
    } catch (ZResourceException_5_1& e) {
        LOAD_CHECK(e.code() == code && e.rc() == 0, "%s: code %lu, rc %d", what, e.code(), e.rc());
        return;
    }
    fail("%s was not refused", what);
}

// ---- ZLock, and waits that give it up from any depth ----

enum : unsigned { holds, waits, cancelledWaits };

struct Deep {
    ZLock_5_1 lock;
    ZCondition_5_1 changed{lock};
    std::uint64_t counter = 0;

    void increment() {
        ++counter;
        count(holds);
    }
    void enter(unsigned depth, bool waiting) {
        ZResourceLock_5_1 const hold(lock);
        increment();
        if (depth > 1) {
            enter(depth - 1, waiting);
        } else if (waiting) {
            changed.wait();
        }
        if (waiting) increment();  // held again as deep as before
    }
};

void recursiveLock() {
    Deep deep;
    std::thread counting([&] {
        inThreads(16, [&](unsigned i) {
            for (Random random = seeded(i); !over();) {
                deep.enter(1 + random() / 7 % 8, false);
                if (random() / 7 % 64 == 0) pause(random, 100);
            }
        });
    });
    Random random = seeded(99);
    Cancellable waiting[5];
    for (unsigned i = 0; i < 5; ++i) {
        waiting[i].body = [&deep, i] { deep.enter(i + 1, true); };
    }
    while (!over()) {
        for (auto& each : waiting) each.start();
        pause(random, 500);
        for (auto const& each : waiting) {
            if (random() / 7 % 2) each.cancel();
        }
        for (auto const& each : waiting) {
            until([&] {
                random() / 7 % 2 ? deep.changed.signal() : deep.changed.broadcast();
                return each.hasEnded();
            });
            count(each.wasCancelled() ? cancelledWaits : waits);
        }
    }
    counting.join();
    LOAD_CHECK(deep.counter == figure(holds), "%llu counted, not %llu",
               static_cast<unsigned long long>(deep.counter),
               static_cast<unsigned long long>(figure(holds)));
    expectRefused("unlock() of a free lock", 6, [&] { deep.lock.unlock(); });
    inThreads(1, [&](unsigned) { deep.enter(3, false); });
}

// ---- read-write lock ----

enum : unsigned { reads, protects, writes, misuses, cancelledTakes };

class ReadWrite {
public:
    ZReadWriteLock_5_1 lock;

    // One hold of kind reads, protects or writes. Nothing here orders the threads but the lock.
    void hold(unsigned kind, Random& random) {
        lock.lock(static_cast<ZReadWriteLock_5_1::zlockstate>(kind + 1));
        int const others = inside_[kind].fetch_add(1, std::memory_order_relaxed);
        LOAD_CHECK(kind == reads || others == 0, "two that %s",
                   kind == writes ? "write" : "protect");
        excluded(kind);
        if (kind == writes) ++counter_;
        std::uint64_t const before = counter_;
        if (random() / 7 % 4 == 0) misuse(kind);
        if (random() / 7 % 4 == 0) std::this_thread::yield();
        LOAD_CHECK(counter_ == before, "the counter changed under a hold");
        excluded(kind);
        inside_[kind].fetch_sub(1, std::memory_order_relaxed);
        lock.unlock();
        count(kind);
    }
    // Tries what another thread may not do while a writer asks for it.
    void intrude() {
        if (asked_ != 1) return pause(intruder_, 50);
        expectRefused("unlock() of another's write hold", 6, [&] { lock.unlock(); });
        expectRefused("promotion of another's write hold", 5,
                      [&] { lock.promoteReadToWriteLock(); });
        asked_ = 0;
    }
    std::uint64_t counter() const { return counter_; }

private:
    void excluded(unsigned kind) const {
        auto const are = [this](unsigned k) { return inside_[k].load(std::memory_order_relaxed); };
        LOAD_CHECK(kind == writes ? are(reads) + are(protects) == 0 : are(writes) == 0,
                   "a writer with others");
    }
    void misuse(unsigned kind) {
        expectRefused("promotion without protect", 5,
                      [&] { kind == protects ? lock.writeLock() : lock.promoteReadToWriteLock(); });
        count(misuses);
        if (kind == reads) return;
        expectRefused("a second hold to read", 5, [&] { lock.readLock(); });
        expectRefused("a second hold to protect", 5, [&] { lock.readWithIntentToWriteLock(); });
        if (kind == protects) return;
        expectRefused("a second hold to write", 5, [&] { lock.writeLock(); });
        asked_ = 1;
        until([&] { return asked_ == 0; });
    }

    std::atomic<int> inside_[3] = {};
    std::atomic<int> asked_{0};
    std::uint64_t counter_ = 0;
    Random intruder_ = seeded(7);
};

void cancelTakes(ZReadWriteLock_5_1& lock, Random& random) {
    Cancellable taking;
    taking.body = [&] {
        ZStackReadWriteLock_5_1 hold(lock, 1);
        switch (random() / 7 % 3) {
            case 0:
                return void(hold.readLock());
            case 1:
                return void(hold.readWithIntentToWriteLock());
            default:
                return void(hold.writeLock());
        }
    };
    for (unsigned n = 0; n < 20; ++n) {
        taking.start();
        usleep(50);
        taking.cancel();
        if (taking.wasCancelled()) count(cancelledTakes);
    }
}

// In short rounds: a wake-up that was lost is made good by those that follow, but for the last.
void readWriteLock() {
    ReadWrite guarded;
    for (unsigned round = 0; !over(); ++round) {
        std::atomic<unsigned> left{12};
        inThreads(14, [&](unsigned i) {
            Random random = seeded(round * 16 + i);
            if (i == 13) return cancelTakes(guarded.lock, random);
            if (i == 12) {
                while (left > 0) guarded.intrude();
                return;
            }
            for (unsigned n = 0; n < 30; ++n) {
                guarded.hold(i < 8 ? reads : i < 10 ? protects : writes, random);
                pause(random, i < 8 ? 100 : 0);  // or the readers keep the writers out
            }
            --left;
        });
    }
    ZReadWriteLock_5_1& lock = guarded.lock;
    LOAD_CHECK(lock.haveLock(lock.unset) && lock.getReaderCount() == 0, "the lock is not free");
    LOAD_CHECK(guarded.counter() == figure(writes), "a write was lost");
    LOAD_CHECK(lock.writeLock() + lock.unlock() == 0, "the lock cannot be taken");
}

// ---- lock files ----

using Lock = ZUnixProcessReadWriteFileLock_5_1;

enum : unsigned { cycles, updates, notices };

std::uint32_t numberIn(int file) {
    std::uint32_t number = 0;
    LOAD_CHECK(pread(file, &number, sizeof number, 0) >= 0, "a number cannot be read");
    return number;
}

int openNumber(char const* name) {
    int const file = open(path(name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    LOAD_CHECK(file != -1, "%s cannot be opened", name);
    return file;
}

void writeNumber(int file, std::uint32_t number) {
    LOAD_CHECK(pwrite(file, &number, sizeof number, 0) == sizeof number, "a number is not written");
}

// Each update adds one to a counter and is released as one, so the lock's number is the counter. A
// process keeps what it saw last, which its observer renews: so it is right under every hold.
class Counted : public ZObserverInterface_5_1 {
public:
    Counted() {
        lock_.addObserver(this);
        lock_.readLock();
        seen_ = numberIn(file_);
        lock_.unlock();
    }
    void observableChanged(ZObservableInterface_5_1*, ZObservedParm_5_1 const& notice) override {
        auto const& update = static_cast<ZSequenceUpdate_5_1 const&>(notice);
        LOAD_CHECK(lock_.haveLock(Lock::write), "a notice without a write hold");
        LOAD_CHECK(update.getLastSequence() == seen_, "notice of a change since %lu, not %u",
                   update.getLastSequence(), seen_);
        std::uint32_t const stored = numberIn(file_);
        LOAD_CHECK(update.getSequence() == stored && stored != seen_,
                   "notice of %lu, the counter being %u and %u before", update.getSequence(),
                   stored, seen_);
        seen_ = stored;
        count(notices);
    }
    void cycle(Random& random) {
        auto const state = static_cast<Lock::zlockstate>(1 + random() / 7 % 3);
        ZStackReadWriteLock_5_1 hold(lock_, 0);
        lock_.lock(state);
        count(cycles);
        check();
        bool const update = state != Lock::read && random() / 7 % 4 != 0;
        hold.setUpdate(update);  // a notice may have cleared it
        if (update) {
            writeNumber(file_, ++seen_);
            count(updates);
        } else {
            std::this_thread::yield();
            check();
        }
    }

private:
    void check() const {
        std::uint32_t const stored = numberIn(file_);
        LOAD_CHECK(stored == seen_, "the counter is %u, the process was told %u", stored, seen_);
        LOAD_CHECK(stored == lock_.getSequence(), "the counter is %u, the lock's number %lu",
                   stored, lock_.getSequence());
    }

    Lock lock_{"counter", path(".").c_str()};
    int const file_ = openNumber("counter");
    std::uint32_t seen_ = 0;
};

void countInTwoThreads(unsigned number) {
    Counted counted;
    inThreads(2, [&](unsigned i) {
        Random random = seeded(number * 2 + i);
        while (cyclesAsked() ? figure(cycles) < cyclesAsked() : !over()) counted.cycle(random);
    });
}

void lockFileCounter() {
    for (unsigned i = 0; i < 8; ++i) startProcess(i);
    joinProcesses();
    std::uint32_t const counter = numberIn(openNumber("counter"));
    std::uint32_t const number = numberIn(openNumber("._zplcounter"));
    LOAD_CHECK(counter == figure(updates), "%u counted, not %llu", counter,
               static_cast<unsigned long long>(figure(updates)));
    LOAD_CHECK(number == counter, "the lock's number is %u, not %u", number, counter);
}

// ---- killed holders, signals ----

enum : unsigned { fileHolds, kills, interrupts };
enum : unsigned { holder, counted };  // words

// The holder's mark stays while others cannot have the lock. The counter is ahead of its copy by
// one at the most: where a holder was killed between the two.
void holdOnce(Lock& lock, int file, std::uint32_t me, Random& random) {
    bool const writing = lock.haveLock(Lock::write);
    if (writing) word(holder) = me;
    std::uint32_t const mark = word(holder), found = numberIn(file);
    LOAD_CHECK(found - word(counted) <= 1, "the counter is %u after %u", found,
               word(counted).load());
    if (writing) {
        word(counted) = found;
        writeNumber(file, found + 1);
        word(counted) = found + 1;
    }
    pause(random, 200);
    LOAD_CHECK(word(holder) == mark, "two holders, %u and %u", mark, word(holder).load());
    LOAD_CHECK(numberIn(file) == found + writing, "another one counted under a hold");
    count(fileHolds);
}

void holdUntilKilled(unsigned number) {
    Lock lock("killed", path(".").c_str());
    int const file = openNumber("counter");
    for (Random random = seeded(number);;) {
        lock.lock(random() / 7 % 2 ? Lock::write : Lock::read);
        holdOnce(lock, file, number, random);
        lock.unlock();
    }
}

// Two threads of this process want the lock too, and get signals while they wait for it.
void holdUnderSignals() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    Lock lock("killed", path(".").c_str());
    int const file = openNumber("counter");
    std::atomic<pthread_t> targets[2] = {};
    std::atomic<bool> last{false};
    inThreads(3, [&](unsigned i) {
        Random random = seeded(i + 77);
        if (i == 2) {
            until([&] { return targets[0] && targets[1]; });
            for (; !over(); pause(random, 1000)) pthread_kill(targets[random() / 7 % 2], SIGUSR1);
            last = true;
            return;
        }
        for (targets[i] = pthread_self(); !last;) {
            try {
                lock.lock(random() / 7 % 2 ? Lock::write : Lock::read);
                holdOnce(lock, file, 1000 + i, random);
            } catch (ZLockResourceException_5_1& e) {
                LOAD_CHECK(e.code() == 33 && e.rc() == EINTR, "code %lu, rc %d", e.code(), e.rc());
                count(interrupts);
            }
            lock.unlock();
        }
    });
}

void killedHolders() {
    constexpr unsigned others = 3;
    pid_t processes[others];
    unsigned number = 0;
    for (pid_t& each : processes) each = startProcess(++number);
    std::thread signalled(holdUnderSignals);
    for (Random random = seeded(5); !over();) {
        pause(random, 10000);
        pid_t& victim = processes[random() / 7 % others];
        killProcess(victim);
        count(kills);
        std::uint64_t const before = figure(fileHolds);
        until([&] { return figure(fileHolds) >= before + 5; });
        victim = startProcess(++number);
    }
    signalled.join();
    for (pid_t each : processes) killProcess(each);
}

}  // namespace

std::vector<Scenario> load::lockScenarios() {
    return {
        {"recursive-lock", recursiveLock, nullptr, {"holds", "waits", "waits cancelled"}},
        {"read-write-lock",
         readWriteLock,
         nullptr,
         {"reads", "protects", "writes", "misuses refused", "takes cancelled"}},
        {"lock-file-counter", lockFileCounter, countInTwoThreads, {"holds", "updates", "notices"}},
        {"killed-holders",
         killedHolders,
         holdUntilKilled,
         {"holds", "holders killed", "waits interrupted"}},
    };
}
