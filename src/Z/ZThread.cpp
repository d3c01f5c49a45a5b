// ZThread: threads as objects, sleepers that work when woken, and the pool that bounds them.
// Subsystem: concurrency, layer 4. Test: tests/ZThread_test.cpp
//
// 1. start() touches nothing of the object once pthread_create has succeeded, for the thread may
//    have deleted it: what both write lies in a cell that lives until the last of them is done.
// 2. A sleeper's thread does not leave its loop before the start() that made it has returned its
//    lock, and a caller who gives the lock of a condition back touches nothing of the sleeper
//    afterwards.
// 3. Locks are taken in this order: wake condition, pool. The start condition's is a leaf.
#include "ZThread.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <type_traits>

#include "ZException.h"
#include "zraise.h"
#include "zreport.h"

namespace {

constexpr char const* unit = "src/Z/ZThread";
constexpr int attributesFailed = 15;
constexpr int detachFailed = 16;
constexpr int createFailed = 17;
constexpr int attributesDestroyFailed = 18;
constexpr int joinFailed = 20;
constexpr int keyFailed = 29;
constexpr int storeFailed = 30;

class Attributes {
public:
    Attributes() {
        z_5_1::check<ZThreadException_5_1>(unit, attributesFailed, pthread_attr_init(&attributes_));
    }
    Attributes(Attributes const&) = delete;
    Attributes& operator=(Attributes const&) = delete;
    ~Attributes() {
        int const rc = pthread_attr_destroy(&attributes_);
        if (rc == 0) return;
        // Only a cancellation would pass, and nothing here can be cancelled.
        // cppcheck-suppress throwInNoexceptFunction
        z_5_1::quietly(unit, [rc] { z_5_1::reportNumber(unit, attributesDestroyFailed, rc); });
    }
    void setDetached(bool detached) {
        int const state = detached ? PTHREAD_CREATE_DETACHED : PTHREAD_CREATE_JOINABLE;
        z_5_1::check<ZThreadException_5_1>(unit, detachFailed,
                                           pthread_attr_setdetachstate(&attributes_, state));
    }
    pthread_attr_t const* get() const { return &attributes_; }

private:
    pthread_attr_t attributes_;
};

}  // namespace

// ---- how a thread ends ----

// The last of a thread. The object may be gone as soon as its exit() or the pool has been told.
struct ZThread_5_1::Farewell {
    explicit Farewell(ZThread_5_1& thread)
        : thread_(thread),
          pool_(thread.pool_),
          deletes_(thread.detached_ != 0 && thread.deleteOnExit_ != 0) {}
    Farewell(Farewell const&) = delete;
    Farewell& operator=(Farewell const&) = delete;
    ~Farewell() {
        z_5_1::NotCancelled const whole;
        // Only a cancellation would pass, and it is held off.
        // cppcheck-suppress throwInNoexceptFunction
        if (pool_) z_5_1::quietly(unit, [this] { pool_->threadDeathNotification(thread_); });
        // cppcheck-suppress throwInNoexceptFunction
        if (deletes_) z_5_1::quietly(unit, [this] { delete &thread_; });
    }

    ZThread_5_1& thread_;
    ZThreadPool_5_1* const pool_;
    bool const deletes_;
};

struct ZThread_5_1::Exit {
    explicit Exit(Farewell const& farewell) : farewell_(farewell) {}
    Exit(Exit const&) = delete;
    Exit& operator=(Exit const&) = delete;

    // An exit() that calls pthread_exit passes.
    ~Exit() noexcept(false) {
        z_5_1::NotCancelled const whole;
        z_5_1::quietly(unit, [this] {
            if (farewell_.pool_) farewell_.pool_->forgetIdle(farewell_.thread_);
        });
        z_5_1::quietly(unit, [this] { farewell_.thread_.exit(); });
    }

    Farewell const& farewell_;
};

void* ZThread_5_1::entry(void* object) {
    auto& thread = *static_cast<ZThread_5_1*>(object);
    thread.threadId_->id = pthread_self();
    // Both run on return, exception, pthread_exit and cancellation alike, in this order from below.
    Farewell const farewell(thread);
    Exit const exit(farewell);
    z_5_1::quietly(unit, [&thread] { thread.run(); });
    return nullptr;
}

// ---- ZThread_5_1 ----

ZThread_5_1::ZThread_5_1(unsigned int id)
    : threadId_(std::make_shared<Cell>(id)), detached_(0), deleteOnExit_(0), pool_(nullptr) {}

ZThread_5_1::ZThread_5_1(int detached, int deleteOnExit)
    : threadId_(std::make_shared<Cell>(0)),
      detached_(detached),
      deleteOnExit_(deleteOnExit),
      pool_(nullptr) {}

ZThread_5_1::~ZThread_5_1() {}

unsigned long ZThread_5_1::hash() const {
    return getPThreadID();
}

int ZThread_5_1::compare(ZObject_5_1 const& other) const {
    pthread_t const mine = getPThreadID();
    pthread_t const others = static_cast<ZThread_5_1 const&>(other).getPThreadID();
    return (mine > others) - (mine < others);
}

ZObject_5_1* ZThread_5_1::clone() const {
    z_5_1::raise(unit, ZNotClonableException_5_1());
}

void ZThread_5_1::start() {
    Attributes attributes;
    attributes.setDetached(detached_ != 0);
    bool const joinable = detached_ == 0;
    std::shared_ptr<Cell> const cell(threadId_);
    pool_ = cell->starter;
    pthread_t id = 0;
    pthread_t former = cell->id;
    z_5_1::check<ZThreadException_5_1>(unit, createFailed,
                                       pthread_create(&id, attributes.get(), entry, this));
    // From here on the object may be gone, or have another thread.
    cell->starter = nullptr;
    cell->id.compare_exchange_strong(former, id);
    if (joinable) cell->joinable = true;
}

void ZThread_5_1::waitForExit() {
    if (detached_) return;
    pthread_t const id = getPThreadID();
    if (pthread_equal(id, pthread_self())) {
        z_5_1::raise(unit, ZThreadException_5_1(joinFailed, EDEADLK));
    }
    // Of several calls one joins. It gives the thread back when it fails or is cancelled.
    struct Claim {
        std::atomic<bool>& joinable;
        bool given = joinable.exchange(false);
        ~Claim() {
            if (given) joinable = true;
        }
    } claim{threadId_->joinable};
    int const rc = claim.given ? pthread_join(id, nullptr) : ESRCH;
    z_5_1::check<ZThreadException_5_1>(unit, joinFailed, rc);
    claim.given = false;
}

void ZThread_5_1::exit() {}

pthread_t ZThread_5_1::getPThreadID() const {
    return threadId_->id;
}

void ZThread_5_1::createThreadKey(unsigned int& key) {
    static_assert(std::is_same_v<pthread_key_t, unsigned int>);
    z_5_1::check<ZThreadException_5_1>(
        unit, keyFailed, pthread_key_create(&key, [](void* object) {
            z_5_1::NotCancelled const whole;
            z_5_1::quietly(unit, [object] { delete static_cast<ZObject_5_1*>(object); });
        }));
}

ZObject_5_1* ZThread_5_1::getThreadObject(unsigned int& key) {
    return static_cast<ZObject_5_1*>(pthread_getspecific(key));
}

void ZThread_5_1::setThreadObject(unsigned int& key, ZObject_5_1* object) {
    void* const stored = object;
    z_5_1::check<ZThreadException_5_1>(unit, storeFailed, pthread_setspecific(key, stored));
}

// ---- ZSleeperThread_5_1 ----

namespace {

// Work that is wanted again while it is being done stays pending.
enum Work : int { none, wanted, underWay };

}  // namespace

// A call of start(), with the lock of the start condition held.
struct ZSleeperThread_5_1::Starting {
    explicit Starting(ZSleeperThread_5_1& sleeper) : sleeper_(sleeper) { ++sleeper_.starting_; }
    Starting(Starting const&) = delete;
    Starting& operator=(Starting const&) = delete;
    ~Starting() {
        --sleeper_.starting_;
        // Only a cancellation would pass, and nothing here can be cancelled.
        // cppcheck-suppress throwInNoexceptFunction
        z_5_1::quietly(unit, [this] { sleeper_.startCondition_.broadcast(); });
    }

    ZSleeperThread_5_1& sleeper_;
};

// The end of the loop, however it is left. Lets start() go first, even where the thread has failed
// before it could say that it runs.
struct ZSleeperThread_5_1::Leaving {
    explicit Leaving(ZSleeperThread_5_1& sleeper) : sleeper_(sleeper) {}
    Leaving(Leaving const&) = delete;
    Leaving& operator=(Leaving const&) = delete;
    ~Leaving() {
        z_5_1::NotCancelled const whole;
        // Only a cancellation would pass, and it is held off.
        // cppcheck-suppress throwInNoexceptFunction
        z_5_1::quietly(unit, [this] {
            ZCondition_5_1& condition = sleeper_.startCondition_;
            ZResourceLock_5_1 const hold(*condition.getResource());
            sleeper_.running_ = 1;
            condition.broadcast();
            while (sleeper_.starting_) condition.wait();
            sleeper_.running_ = 0;
            condition.broadcast();
        });
    }

    ZSleeperThread_5_1& sleeper_;
};

ZSleeperThread_5_1::ZSleeperThread_5_1() : ZSleeperThread_5_1(0, 0, 0) {}

ZSleeperThread_5_1::ZSleeperThread_5_1(int detached, int deleteOnExit)
    : ZSleeperThread_5_1(detached, deleteOnExit, 0) {}

ZSleeperThread_5_1::ZSleeperThread_5_1(unsigned long interval)
    : ZSleeperThread_5_1(0, 0, interval) {}

ZSleeperThread_5_1::ZSleeperThread_5_1(int detached, int deleteOnExit, unsigned long interval)
    : ZThread_5_1(detached, deleteOnExit),
      exitRequested_(0),
      workPending_(none),
      running_(0),
      interval_(interval),
      starting_(0) {}

ZSleeperThread_5_1::ZSleeperThread_5_1(ZLock_5_1& lock)
    : ZThread_5_1(0, 0),
      exitRequested_(0),
      workPending_(none),
      running_(0),
      interval_(0),
      startCondition_(lock),
      wakeCondition_(lock),
      starting_(0) {}

ZSleeperThread_5_1::~ZSleeperThread_5_1() {}

void ZSleeperThread_5_1::start() {
    if (!deleteOnExit_ && !hasThreadToJoin()) forgetFormerExit();
    ZResourceLock_5_1 const hold(*startCondition_.getResource());
    Starting const starting(*this);
    ZThread_5_1::start();
    while (!running_) startCondition_.wait();
}

// A request to exit is for the thread that runs when it is made: it is kept until that one has left
// its loop. A thread that was joined has.
void ZSleeperThread_5_1::forgetFormerExit() {
    {
        ZResourceLock_5_1 const hold(*wakeCondition_.getResource());
        if (!exitRequested_) return;
    }
    {
        ZResourceLock_5_1 const hold(*startCondition_.getResource());
        if (running_ && pthread_equal(getPThreadID(), pthread_self())) {
            z_5_1::raise(unit, ZThreadException_5_1(joinFailed, EDEADLK));
        }
        while (running_) startCondition_.wait();
    }
    ZResourceLock_5_1 const hold(*wakeCondition_.getResource());
    exitRequested_ = 0;
}

void ZSleeperThread_5_1::run() {
    Leaving const leaving(*this);
    ZResourceLock_5_1 const hold(*wakeCondition_.getResource());
    {
        ZResourceLock_5_1 const entering(*startCondition_.getResource());
        running_ = 1;
        startCondition_.signal();
    }
    while (!exitRequested_) {
        if (workPending_ == none) {
            sleep();
            continue;
        }
        workPending_ = underWay;
        doWork();
        if (workPending_ != underWay) continue;
        workPending_ = none;
        if (!pool_ || exitRequested_) continue;
        int accepted = 0;
        pool_->threadDoneNotification(*this, accepted);
        if (!accepted) exitRequested_ = 1;
    }
}

void ZSleeperThread_5_1::sleep() {
    if (interval_ == 0) {
        wakeCondition_.wait();
        return;
    }
    constexpr unsigned long most = std::numeric_limits<long>::max();
    int timedOut = 0;
    wakeCondition_.wait(static_cast<long>(std::min(interval_, most)), timedOut);
    if (timedOut) workPending_ = wanted;
}

void ZSleeperThread_5_1::wakeUp() {
    ZResourceLock_5_1 const hold(*wakeCondition_.getResource());
    workPending_ = wanted;
    wakeCondition_.signal();
}

void ZSleeperThread_5_1::waitForExit() {
    bool const joins = detached_ == 0;
    {
        ZResourceLock_5_1 const hold(*wakeCondition_.getResource());
        exitRequested_ = 1;
        wakeCondition_.signal();
    }
    // A detached object may be gone.
    if (joins) ZThread_5_1::waitForExit();
}
