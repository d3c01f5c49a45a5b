// ZThread: threads as objects, sleepers that work when woken, and the pool that bounds them.
// Subsystem: concurrency, layer 4. Test: tests/ZThread_test.cpp
//
// 1. start() makes the thread and notes it under the mutex of the cell, which the thread takes
//    first. Then start() touches nothing of the object, for the thread may have deleted it.
// 2. A sleeper's thread does not leave its loop before the start() that made it has returned its
//    lock, and a caller who gives the lock of a condition back touches nothing of the sleeper
//    afterwards.
// 3. Locks are taken in this order: start condition, cell; wake condition, pool; wake condition,
//    start condition.
#include "ZThread.h"

#include <atomic>
#include <cerrno>
#include <limits>
#include <mutex>
#include <type_traits>
#include <utility>

#include "ZException.h"
#include "zraise.h"
#include "zreport.h"

#ifdef __ILP32__
static_assert(sizeof(ZThread_5_1) == 20 &&
                  sizeof(ZSleeperThread_5_1) == 20 + 16 + 2 * sizeof(ZCondition_5_1),
              "the record is fixed on 32 bits");
#endif

namespace {

constexpr char const* unit = "src/Z/ZThread";
constexpr int attributesFailed = 15;
constexpr int detachFailed = 16;
constexpr int createFailed = 17;
constexpr int attributesDestroyFailed = 18;
constexpr int joinFailed = 20;
constexpr int keyFailed = 29;
constexpr int storeFailed = 30;

using Guard = std::lock_guard<std::mutex>;

// The object of the calling thread. An identifier alone does not tell: it may have been an ended
// thread's.
thread_local ZThread_5_1 const* current = nullptr;

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

struct ZThread_5_1::Cell {
    explicit Cell(pthread_t thread) : id(thread) {}

    std::mutex mutex;  // guards the next two, but the identifier is read without
    std::atomic<pthread_t> id;
    bool joinable = false;
    int starting = 0;  // calls of a sleeper's start() that its thread must not end before;
                       // guarded by the lock of its start condition
};

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
        current = nullptr;
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

    // An exit() that calls pthread_exit passes where run() has returned. While the thread unwinds
    // already, that aborts the process.
    ~Exit() noexcept(false) {
        z_5_1::NotCancelled const whole;
        // A sleeper has done this on leaving its loop.
        z_5_1::quietly(unit, [this] {
            if (farewell_.pool_) farewell_.pool_->forgetIdle(farewell_.thread_);
        });
        z_5_1::quietly(unit, [this] { farewell_.thread_.exit(); });
    }

    Farewell const& farewell_;
};

void* ZThread_5_1::entry(void* object) {
    auto& thread = *static_cast<ZThread_5_1*>(object);
    { Guard const noted(thread.threadId_->mutex); }
    current = &thread;
    // These two act when they are destroyed, Exit before Farewell, however run() is left.
    Farewell const farewell(thread);
    Exit const exit(farewell);
    z_5_1::quietly(unit, [&thread] { thread.run(); });
    return nullptr;
}

// ---- ZThread_5_1 ----

ZThread_5_1::ZThread_5_1(unsigned int id)
    : threadId_(new Cell(id)), detached_(0), deleteOnExit_(0), pool_(nullptr) {}

ZThread_5_1::ZThread_5_1(int detached, int deleteOnExit)
    : threadId_(new Cell(0)), detached_(detached), deleteOnExit_(deleteOnExit), pool_(nullptr) {}

ZThread_5_1::~ZThread_5_1() {
    delete threadId_;
}

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
    Starter* starter = innermostStarter();
    if (starter && (&starter->thread != this || starter->threadMade)) starter = nullptr;
    int const rc = create(attributes.get(), starter ? &starter->pool : nullptr);
    // From here on the object may be gone, or have another thread.
    z_5_1::check<ZThreadException_5_1>(unit, createFailed, rc);
    if (starter) starter->threadMade = true;
}

int ZThread_5_1::create(pthread_attr_t const* attributes, ZThreadPool_5_1* pool) {
    Guard const hold(threadId_->mutex);
    ZThreadPool_5_1* const former = pool_;
    pool_ = pool;
    pthread_t id = 0;
    int const rc = pthread_create(&id, attributes, entry, this);
    if (rc == 0) {
        threadId_->id = id;
        threadId_->joinable = detached_ == 0;
    } else {
        pool_ = former;
    }
    return rc;
}

ZThread_5_1::Starter*& ZThread_5_1::innermostStarter() {
    thread_local Starter* innermost = nullptr;
    return innermost;
}

bool ZThread_5_1::hasThreadToJoin() const {
    Guard const hold(threadId_->mutex);
    return threadId_->joinable;
}

void ZThread_5_1::waitForExit() {
    if (detached_) return;
    if (current == this && pthread_equal(getPThreadID(), pthread_self())) {
        z_5_1::raise(unit, ZThreadException_5_1(joinFailed, EDEADLK));
    }
    // Of several calls one joins. It gives the thread back when it fails or is cancelled.
    struct Claim {
        Cell& cell;
        pthread_t id = 0;
        bool given = false;
        explicit Claim(Cell& from) : cell(from) {
            Guard const hold(cell.mutex);
            std::swap(given, cell.joinable);
            id = cell.id;
        }
        ~Claim() {
            if (!given) return;
            Guard const hold(cell.mutex);
            cell.joinable = true;
        }
    } claim(*threadId_);
    int const rc = claim.given ? pthread_join(claim.id, nullptr) : ESRCH;
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
    explicit Starting(ZSleeperThread_5_1& sleeper) : sleeper_(sleeper) {
        ++sleeper_.threadId_->starting;
    }
    Starting(Starting const&) = delete;
    Starting& operator=(Starting const&) = delete;
    ~Starting() {
        --sleeper_.threadId_->starting;
        // Only a cancellation would pass, and nothing here can be cancelled.
        // cppcheck-suppress throwInNoexceptFunction
        z_5_1::quietly(unit, [this] { sleeper_.startCondition_.broadcast(); });
    }

    ZSleeperThread_5_1& sleeper_;
};

// The end of the loop, however it is left. Lets start() go first, even where the thread has failed
// before it could say that it runs. When running_ is 0 again the object may be given another
// thread, so it is out of the idle set by then.
struct ZSleeperThread_5_1::Leaving {
    explicit Leaving(ZSleeperThread_5_1& sleeper) : sleeper_(sleeper), pool_(sleeper.pool_) {}
    Leaving(Leaving const&) = delete;
    Leaving& operator=(Leaving const&) = delete;
    ~Leaving() {
        z_5_1::NotCancelled const whole;
        // Only a cancellation would pass, and it is held off.
        // cppcheck-suppress throwInNoexceptFunction
        if (pool_) z_5_1::quietly(unit, [this] { pool_->forgetIdle(sleeper_); });
        // cppcheck-suppress throwInNoexceptFunction
        z_5_1::quietly(unit, [this] {
            ZCondition_5_1& condition = sleeper_.startCondition_;
            ZResourceLock_5_1 const hold(*condition.getResource());
            sleeper_.running_ = 1;
            condition.broadcast();
            while (sleeper_.threadId_->starting) condition.wait();
            sleeper_.running_ = 0;
            condition.broadcast();
        });
    }

    ZSleeperThread_5_1& sleeper_;
    ZThreadPool_5_1* const pool_;
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
      interval_(interval) {}

ZSleeperThread_5_1::ZSleeperThread_5_1(ZLock_5_1& lock)
    : ZThread_5_1(0, 0),
      exitRequested_(0),
      workPending_(none),
      running_(0),
      interval_(0),
      startCondition_(lock),
      wakeCondition_(lock) {}

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
        sleep();
        if (exitRequested_) break;
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

// Until there is work or the request to exit. A wait that returns for nothing does not lengthen the
// interval.
void ZSleeperThread_5_1::sleep() {
    timespec end = {0, 0};  // no limit
    if (interval_ != 0) {
        clock_gettime(CLOCK_REALTIME, &end);
        end.tv_nsec = 0;
        if (__builtin_add_overflow(end.tv_sec, interval_, &end.tv_sec)) {
            end.tv_sec = std::numeric_limits<time_t>::max();
        }
    }
    while (workPending_ == none && !exitRequested_) {
        int timedOut = 0;
        wakeCondition_.wait(end, timedOut);
        if (timedOut) workPending_ = wanted;
    }
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
