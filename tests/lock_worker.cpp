// lock_worker: the other processes of ZFileLock_test, of either word size.
//     lock_worker FOLDER hold STATE            lets go at the end of its input
//     lock_worker FOLDER count THREADS ROUNDS  counts in FOLDER/counter, says how often
#include <Z/ZException.h>
#include <Z/ZFileLock.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using Lock = ZUnixProcessReadWriteFileLock_5_1;

void expect(bool holds, char const* what) {
    if (holds) return;
    std::fprintf(stderr, "lock_worker: wrong %s\n", what);
    _exit(1);
}

// The counter is what the lock protects. Each update counts one and is released as an update, so
// the lock's sequence number is the counter. What this process last saw of it is kept, renewed by
// the observer, and so must be right whenever somebody has a hold.
struct Counting : ZObserverInterface_5_1 {
    Lock& lock;
    int const file;
    std::atomic<std::uint32_t> seen{0}, updates{0};

    Counting(Lock& l, std::string const& name)
        : lock(l), file(open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
        lock.addObserver(this);
        lock.readLock();
        seen = stored();
        lock.unlock();
    }
    void observableChanged(ZObservableInterface_5_1*, ZObservedParm_5_1 const& notice) override {
        auto const& update = static_cast<ZSequenceUpdate_5_1 const&>(notice);
        expect(update.getLastSequence() == seen && lock.haveLock(Lock::write), "notice");
        seen = stored();
        expect(update.getSequence() == seen, "number in the notice");
        expect(update.getSequence() != update.getLastSequence(), "notice of nothing new");
    }
    std::uint32_t stored() const {
        std::uint32_t number = 0;
        expect(pread(file, &number, sizeof number, 0) >= 0, "read");
        return number;
    }
    void check() const {
        std::uint32_t const number = stored();
        expect(number == seen, "memory of the counter");
        expect(number == lock.getSequence(), "sequence number");
    }
    void run(unsigned seed, int rounds) {
        std::minstd_rand random(seed);
        for (; rounds > 0; --rounds) {
            auto const state = static_cast<Lock::zlockstate>(random() % 3 + 1);
            ZStackReadWriteLock_5_1 hold(lock, static_cast<int>(random() % 2));
            lock.lock(state);
            check();
            if (state == Lock::read || random() % 4 == 0) {
                hold.setUpdate(0), std::this_thread::yield(), check();
                continue;
            }
            if (state == Lock::protect) hold.setUpdate(1);  // a notice may have cleared it
            std::uint32_t const next = ++seen;
            expect(pwrite(file, &next, sizeof next, 0) == sizeof next, "write");
            ++updates;
        }
    }
};

}  // namespace

int main(int argc, char** argv) try {
    if (argc < 4) return 2;
    Lock lock("x", argv[1]);
    int const number = std::atoi(argv[3]);
    if (argc == 4) {
        lock.lock(static_cast<Lock::zlockstate>(number));
        while (std::getchar() != EOF) continue;
        return lock.unlock();
    }
    Counting counting(lock, argv[1] + std::string("/counter"));
    std::vector<std::thread> threads;
    for (int i = 0; i < number; ++i) {
        auto const seed = static_cast<unsigned>(getpid() * 16 + i);
        threads.emplace_back([&, seed] { counting.run(seed, std::atoi(argv[4])); });
    }
    for (std::thread& thread : threads) thread.join();
    std::printf("%u\n", counting.updates.load());
    return 0;
} catch (ZException_5_1& e) {
    e.dumpException();
    return 3;
}
