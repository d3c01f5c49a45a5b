// Scenarios of the campaign `allocations`: locks, threads, observers, the platform.
#include <Z/Z.h>
#include <Z/zhex_dump.h>

#include <atomic>
#include <cstdio>

#include "Allocations.h"

namespace faults {

namespace {

struct Observer : ZObserverInterface_5_1 {
    void observableChanged(ZObservableInterface_5_1*, ZObservedParm_5_1 const&) override { ++told; }
    int told = 0;
};

struct Nothing {};

// ---- locks ----

void lockAndWait() {
    ZLock_5_1 lock;
    ZLock_5_1 const copy(lock);
    ZBooleanCondition_5_1 own, flag(lock);
    ZResourceLock_5_1 const hold(lock);
    int timedOut = 0;
    flag.wait(0l, timedOut);
    flag.broadcast();
}

void readAndWrite() {
    ZReadWriteLock_5_1 lock;
    std::unique_ptr<ZObject_5_1> const copy(lock.clone());
    ZStackReadWriteLock_5_1 hold(lock, 1);
    hold.readLock();
    lock.unlock();
    hold.writeLock();
}

void lockStub() {
    ZStubProcessReadWriteLock_5_1 drawn, lock(text);
    std::unique_ptr<ZObject_5_1> const copy(lock.clone());
    lock = drawn;
    lock.writeLock();
    lock.unlock();
    delete ZSequenceUpdate_5_1(1, 2).clone();
    // Under a hold the name is taken, and the hold goes.
    ZLCString_5_1 name(text);
    lock.readLock();
    lock.setLockName(name);
}

struct Held {
    ZUnixProcessReadWriteFileLock_5_1 lock{longText.substr(0, 120).c_str()};
    Observer observer;
    ZLCString_5_1 name{longText.substr(0, 200).c_str()};

    void hold() {
        lock.addObserver(&observer);
        lock.writeLock();
        lock.unlock();
        lock.readLock();
        lock.unlock();
    }
    std::string shown() const {
        return lock.getLockFileName().getChars() + std::to_string(lock.getLockState()) +
               std::to_string(lock.getFileHandle()) + lock.getLockDirName().getChars();
    }
};

void addLocks(std::vector<Scenario>& all) {
    Uses<Nothing> const uses{all};
    uses("lock, condition", {Z_DO(lockAndWait())});
    uses("read-write lock", {Z_DO(readAndWrite())});
    uses("process lock", {Z_DO(lockStub())});
    using Lock = ZUnixProcessReadWriteFileLock_5_1;
    Uses<Held>{all, [](Held& x) { return x.shown(); }}(
        "lock file", {Z_DO(x.hold()), Z_DO(x.lock.setLockFileName(text)),
                      Z_DO(delete x.lock.clone()), Z_DO(x.lock = Lock(text, "/tmp")),
                      Z_DO(x.lock.setLockDirName(("/tmp" + std::string(120, '/')).c_str()))});
}

// ---- threads ----

struct Thread : ZThread_5_1 {
    explicit Thread(int detached = 0) : ZThread_5_1(detached, 0) {}
    void run() override { ++runs; }
    void runOnce() {
        start();
        waitForExit();
    }
    std::atomic<int> runs{0};
};

struct Sleeper : ZSleeperThread_5_1 {
    Sleeper() : ZSleeperThread_5_1(0, 0) {}
    void doWork() override { ++works; }
    void workOnce() {
        works = 0;
        start();
        wakeUp();
        waitForExit();
    }
    std::atomic<int> works{0};
};

struct Pool : ZThreadPool_5_1 {
    Pool() : ZThreadPool_5_1(2, 1) {}
    ~Pool() override { waitForExit(); }
    Thread threads[3] = {Thread(1), Thread(1), Thread(1)};

    void runAll() {
        for (Thread& thread : threads) {
            thread.runs = 0;
            start(thread);
        }
        waitForExit();
    }
    std::string shown() const {
        return std::to_string(threads[0].runs + threads[1].runs + threads[2].runs);
    }
};

// A place for the thread's object beyond those that lie in the thread itself.
struct Place {
    Place() {
        while (key < 40) ZThread_5_1::createThreadKey(key);
    }
    ~Place() { clear(); }
    static void clear() {
        delete ZThread_5_1::getThreadObject(key);
        ZThread_5_1::setThreadObject(key, nullptr);
    }
    static void fill() {
        clear();
        auto object = std::make_unique<ZLCString_5_1>(text);
        ZThread_5_1::setThreadObject(key, object.get());
        static_cast<void>(object.release());
    }
    static inline unsigned int key = 0;
};

void addRuns(std::vector<Scenario>& all) {
    constexpr int notCreated = 17, notPlaced = 30;
    Uses<Thread>{all, [](Thread& x) { return std::to_string(x.runs); }}(
        "thread", {Z_DO(x.runOnce())}, {notCreated});
    Uses<Sleeper>{all}("sleeper", {Z_DO(x.workOnce())}, {notCreated});
    Uses<Nothing>{all}("sleeper", { Z_DO(Sleeper sleeper; sleeper.wakeUp()) });
    Uses<Place>{all}("thread object", {Z_DO(x.fill())}, {notPlaced});
    // A thread that could not be started is reported, and never runs.
    Uses<Pool>{all, [](Pool& x) { return x.shown(); }}("pool", {Z_DO(x.runAll())}, {},
                                                       Left::anything)
        .keptByLibrary = 3;
    Uses<Nothing>{all}("pool", {Z_DO(ZThreadPool_5_1 const pool(2, 1))});
}

// ---- observers, the platform ----

struct Subject final : ZAbstractObservable_5_1 {
    Subject() {
        for (int n = 0; n < 10; ++n) addObserver(&observers[n]);
    }
    void assign() {
        struct Other : ZAbstractObservable_5_1 {
            explicit Other(Subject const& subject) : ZAbstractObservable_5_1(subject) {}
        } const copy(*this);
        ZAbstractObservable_5_1::operator=(copy);
    }
    std::string shown() {
        for (Observer& observer : observers) observer.told = 0;
        notifyObservers(ZObservedParm_5_1());
        std::string all;
        for (Observer const& observer : observers) all += observer.told ? "x" : "-";
        return all + std::to_string(countObservers());
    }
    Observer observers[20];
};

void useLibrary() {
    ZSharedLibrary_5_1 library("libBrokenLocale.so.1");
    library.loadLibrary();
    struct Unload {
        void* handle;
        ~Unload() { zdlclose_5_1(handle, nullptr); }
    } const unload{library.getHandle()};
    std::unique_ptr<ZObject_5_1> const copy(library.clone());
    library.resolveSymbol("__ctype_get_mb_cur_max");
    library.resolveSymbol("none");
}

int mapFile() {
    put("mapped", "content");
    ZLCString_5_1 const name(("." + std::string(120, '/') + "mapped").c_str());
    ZUnixFileMap_5_1 map(name, ZAbstractFileMap_5_1::readOnly, 0);
    ZUnixFileMap_5_1 const copy(map);
    int error = 0;
    return map.mapfile(&error, 0) ? 0 : -error;
}

void addPlatform(std::vector<Scenario>& all) {
    Uses<Subject>{all, [](Subject& x) { return x.shown(); }}(
        "observers",
        {Z_DO(x.addObserver(&x.observers[12])), Z_DO(x.deleteObserver(&x.observers[2])),
         Z_DO(x.notifyObservers(ZObservedParm_5_1())), Z_DO(x.assign())});
    Uses<Nothing> const uses{all};
    constexpr int notLoaded = 51, notResolved = 52;
    uses("shared library", {Z_DO(useLibrary())}, {notLoaded, notResolved}).endsScattered = true;
    // Where the name cannot be found, that is reported and it is empty.
    uses("host name", {Z_DO(ZLocalHostName_5_1::getLocalHostName())}).keptByLibrary = 2;
    unsigned char static const bytes[100] = {1, 2, 3};
    uses("hex dump, file map",
         {Z_CODE(zhex_dump_5_1(stdout, sizeof bytes, bytes, text)), Z_CODE(mapFile())}, {-1});
}

}  // namespace

void addThreads(std::vector<Scenario>& all) {
    addLocks(all);
    addRuns(all);
    addPlatform(all);
}

}  // namespace faults
