// ZReadWriteLock_test: every call in every state, wake-ups, cancelled waits, the guard, a stress.
// Subsystem: concurrency, layer 4. Test: tests/ZReadWriteLock_test.cpp
#include <Z/ZException.h>
#include <Z/ZReadWriteLock.h>

#include <atomic>
#include <random>

#include "ZTest.h"

namespace {

using Lock = ZReadWriteLock_5_1;

// r(ead), p(rotect), w(rite), m (promote), u(nlock), one after the other.
void call(Lock& lock, std::string const& letters) {
    for (char c : letters) {
        int const rc = c == 'r'   ? lock.readLock()
                       : c == 'p' ? lock.readWithIntentToWriteLock()
                       : c == 'w' ? lock.writeLock()
                       : c == 'm' ? lock.promoteReadToWriteLock()
                                  : lock.unlock();
        EXPECT_EQ(rc, 0);
    }
}

std::string stateOf(Lock& lock) {
    for (auto state : {Lock::unset, Lock::read, Lock::protect, Lock::write}) {
        if (!lock.haveLock(state)) continue;
        return lock.getLockStateName(state) + std::to_string(lock.getReaderCount());
    }
    return "?";
}

// What comes of the calls on a thread of their own, which is cancelled if it does not come back.
// `patience` in milliseconds: little where it will not come back, much on a busy machine.
std::string outcome(Lock& lock, std::string const& letters, int patience = 20000) {
    std::string result = "waits";
    std::atomic<bool> ended{false};
    std::thread caller([&] {
        try {
            call(lock, letters), result = stateOf(lock);
        } catch (ZResourceException_5_1& e) {
            EXPECT_EQ(e.rc(), 0);
            result = dynamic_cast<ZLockResourceException_5_1*>(&e) ? "lock" : "unlock";
            result += std::to_string(e.code());
        }
        ended = true;
    });
    for (int ms = 0; ms < patience && !ended; ++ms) usleep(1000);
    pthread_cancel(caller.native_handle()), caller.join();
    return result;
}

TEST(ZReadWriteLock, DoesInEachStateWhatItsTableSays) {
    struct {
        std::string others, own, state;  // the calls before, of another thread and of this one
        char const* next[5];             // what comes of r, p, w, m, u
    } const rows[] = {
        {"", "", "unset0", {"read1", "protect0", "write0", "lock5", "unlock6"}},
        {"r", "", "read1", {"read2", "protect1", "waits", "lock5", "unset0"}},
        {"rr", "", "read2", {"read3", "protect2", "waits", "lock5", "read1"}},
        {"p", "", "protect0", {"protect1", "waits", "waits", "lock5", "unlock6"}},
        {"rp", "", "protect1", {"protect2", "waits", "waits", "lock5", "protect0"}},
        {"w", "", "write0", {"waits", "waits", "waits", "lock5", "unlock6"}},
        {"", "r", "read1", {"read2", "protect1", "waits", "lock5", "unset0"}},
        {"", "p", "protect0", {"lock5", "lock5", "lock5", "waits", "unset0"}},
        {"r", "p", "protect1", {"lock5", "lock5", "lock5", "waits", "read1"}},
        {"", "rp", "protect1", {"lock5", "lock5", "lock5", "waits", "read1"}},
        {"", "w", "write0", {"lock5", "lock5", "lock5", "lock5", "unset0"}},
        {"", "wu", "unset0", {"read1", "protect0", "write0", "lock5", "unlock6"}},
    };
    for (auto const& row : rows) {
        for (int i = 0; i < 5; ++i) {
            Lock lock;
            call(lock, row.others);
            std::string const calls = row.own + std::string(1, "rpwmu"[i]), end = row.next[i];
            bool const waits = end == "waits";
            EXPECT_EQ(outcome(lock, calls, waits ? 30 : 20000), end) << row.others << '/' << calls;
            bool const same = waits || end == "lock5" || end == "unlock6";
            EXPECT_EQ(stateOf(lock), same ? row.state : end) << row.others << '/' << calls;
            if (!waits || row.own == "p" || row.own == "rp") continue;
            call(lock, std::string(row.others.size() + row.own.size(), 'u'));
            EXPECT_EQ(outcome(lock, "w"), "write0") << row.others << '/' << calls << ", freed";
        }
    }
}

TEST(ZReadWriteLock, TakesStatesAsNumbersAndCopiesToAFreeLock) {
    Lock lock;
    lock.addObserver(nullptr);
    for (int s : {3, 0, 7, -1, 2, 0, 1, 1, 0}) {
        EXPECT_EQ(lock.lock(static_cast<Lock::zlockstate>(s)), 0);
    }
    EXPECT_EQ(stateOf(lock), "read1");
    EXPECT_TRUE(lock.ownWriteLock()) << "it was the last owner";
    EXPECT_EQ(lock.getLockStateName(static_cast<Lock::zlockstate>(4)), nullptr);
    std::unique_ptr<ZObject_5_1> const clone(lock.clone());
    auto& copy = static_cast<Lock&>(*clone);
    EXPECT_FALSE(copy.ownWriteLock());
    EXPECT_EQ(stateOf(copy) + std::to_string(copy.countObservers()), "unset01");
    EXPECT_EQ(copy.lock() + copy.getUpdate() + copy.unlock(1) + lock.unlock(0), 0);
    EXPECT_EQ(stateOf(copy) + stateOf(lock), "unset0unset0");
}

TEST(ZReadWriteLock, WakesWhoWaits) {
    struct {
        char const *held, *waiting, *released, *state;
    } const rows[] = {{"rr", "w", "uu", "write0"},
                      {"rp", "w", "uu", "write0"},
                      {"rp", "p", "u", "protect1"},
                      {"w", "r", "u", "read1"}};
    for (auto const& row : rows) {
        Lock lock;
        call(lock, row.held);
        std::atomic<int> steps{0};
        std::thread waiter([&] { ++steps, call(lock, row.waiting), ++steps; });
        while (steps == 0) usleep(1000);
        usleep(10000);
        EXPECT_EQ(steps, 1);
        call(lock, row.released), waiter.join();
        EXPECT_EQ(stateOf(lock), row.state);
    }
}

TEST(ZStackReadWriteLock, ReleasesWhatWasTakenThroughIt) {
    Lock lock;
    {
        ZStackReadWriteLock_5_1 hold(lock, 1);
        EXPECT_EQ(hold.readLock() + hold.unlock(1) + hold.readWithIntentToWriteLock(), 0);
        EXPECT_EQ(stateOf(static_cast<Lock&>(hold.getReadWriteLock())), "protect0");
    }
    EXPECT_EQ(stateOf(lock), "unset0");
    EXPECT_THROW(ZStackReadWriteLock_5_1(lock, 1), ZUnlockResourceException_5_1);
    std::string const report = ztest::reported([&] {
        EXPECT_THROW((ZStackReadWriteLock_5_1(lock, 1), throw 1), int) << "that one passes";
    });
    EXPECT_NE(report.find("Error: 6\n"), std::string::npos) << report;

    for (bool promoting : {false, true}) {
        if (!promoting) call(lock, "r");
        std::thread waiter([&] {
            ZStackReadWriteLock_5_1 hold(lock, 1);
            if (!promoting) return hold.writeLock();
            return hold.readWithIntentToWriteLock(), hold.promoteReadToWriteLock();
        });
        usleep(10000);
        pthread_cancel(waiter.native_handle()), waiter.join();
        EXPECT_EQ(stateOf(lock), promoting ? "unset0" : "read1") << "what it had, and no more";
        if (!promoting) call(lock, "u");
    }
}

TEST(ZReadWriteLock, KeepsWritersFromReadersAndProtectorsFromEachOther) {
    Lock lock;
    std::atomic<int> inside[3] = {{0}, {0}, {0}};  // readers, protectors, writers
    std::atomic<unsigned> written{0};
    unsigned counter = 0;
    auto const work = [&](int kind, unsigned seed) {
        std::minstd_rand random(seed);
        for (unsigned i = ztest::stressed(1500); i > 0; --i) {
            call(lock, std::string(1, "rpw"[kind]));
            int const now = ++inside[kind];
            EXPECT_TRUE(kind == 0 || now == 1);
            EXPECT_EQ(kind == 2 ? inside[0] + inside[1] : inside[2] + 0, 0);
            if (kind == 2) ++counter, ++written;
            if (random() % 4 == 0) std::this_thread::yield();
            std::string const misuse = kind == 0 ? "m" : kind == 1 ? "rpw" : "rpwm";
            for (char c : random() % 8 ? "" : misuse) {
                EXPECT_THROW(call(lock, std::string(1, c)), ZLockResourceException_5_1);
            }
            EXPECT_EQ(counter, written);
            --inside[kind], call(lock, "u");
        }
    };
    ztest::inThreads(13, [&](int t) {
        if (t < 12) return work(t < 8 ? 0 : t < 10 ? 1 : 2, static_cast<unsigned>(t));
        for (unsigned i = ztest::stressed(100); i > 0; --i) {
            std::thread cancelled([&] {
                ZStackReadWriteLock_5_1 hold(lock, 1);
                i & 4 ? hold.readLock() : hold.writeLock();
            });
            usleep(i % 4 * 50), pthread_cancel(cancelled.native_handle()), cancelled.join();
        }
    });
    EXPECT_EQ(stateOf(lock), "unset0");
    EXPECT_EQ(outcome(lock, "w"), "write0");
}

}  // namespace
