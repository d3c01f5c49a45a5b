// ZThreadPool: the pool's bookkeeping: places for running threads, and the idle ones kept for more.
// Subsystem: concurrency, layer 4. Test: tests/ZThread_test.cpp
//
// 1. The mutex is never held while a thread is started, told to exit or made: each of these may
//    wait for a thread that needs the mutex.
// 2. A place is taken before the thread exists and given back by the thread itself, or by start()
//    when no thread has come to be, also where an overridden start() of the thread makes none.
// 3. A detached thread in the idle set, or being told to exit, cannot delete itself: what ends
//    leaves the set first, and its death notice waits until it is told. A joinable one does not
//    delete itself, and its death notice must not wait for its own join.
#include <algorithm>
#include <memory>

#include "ZException.h"
#include "ZList.h"
#include "ZThread.h"
#include "zraise.h"
#include "zreport.h"

#ifdef __ILP32__
// The two last are this pool's own.
static_assert(sizeof(ZThreadPool_5_1) == 4 + sizeof(ZHashMap_5_1) + 6 * 4 + 2 * 4,
              "the record is fixed on 32 bits");
#endif

namespace {

constexpr char const* unit = "src/Z/ZThreadPool";
constexpr int mutexInitFailed = 3;
constexpr int mutexDestroyFailed = 4;
constexpr int lockFailed = 5;
constexpr int unlockFailed = 6;
constexpr int condInitFailed = 7;
constexpr int condDestroyFailed = 8;
constexpr int waitFailed = 9;
constexpr int signalFailed = 10;

// A bound that stands for "as many as you like" must not become that many buckets.
constexpr unsigned int mostBuckets = 4096;

}  // namespace

class ZThreadPool_5_1::Hold {
public:
    explicit Hold(pthread_mutex_t* mutex) : mutex_(mutex) { take(); }
    Hold(Hold const&) = delete;
    Hold& operator=(Hold const&) = delete;
    ~Hold() {
        // Only a cancellation would pass, and nothing here can be cancelled.
        // cppcheck-suppress throwInNoexceptFunction
        if (held_) z_5_1::quietly(unit, [this] { release(); });
    }
    void take() {
        if (held_) return;
        z_5_1::check<ZThreadException_5_1>(unit, lockFailed, pthread_mutex_lock(mutex_));
        held_ = true;
    }
    void release() {
        z_5_1::check<ZThreadException_5_1>(unit, unlockFailed, pthread_mutex_unlock(mutex_));
        held_ = false;
    }

private:
    pthread_mutex_t* const mutex_;
    bool held_ = false;
};

// A place taken for a thread about to start. Given back when t.start() has made no thread, however
// it ended; a thread gives it back itself.
struct ZThreadPool_5_1::Place {
    Place(ZThreadPool_5_1& pool, Hold& hold, ZThread_5_1& thread)
        : hold_(hold), starter_{thread, pool, false}, outer_(ZThread_5_1::innermostStarter()) {
        ++pool.active_;
        ZThread_5_1::innermostStarter() = &starter_;
    }
    Place(Place const&) = delete;
    Place& operator=(Place const&) = delete;
    ~Place() {
        ZThread_5_1::innermostStarter() = outer_;
        if (starter_.threadMade) return;
        // Only a cancellation would pass, and nothing here can be cancelled.
        // cppcheck-suppress throwInNoexceptFunction
        z_5_1::quietly(unit, [this] {
            hold_.take();
            --starter_.pool.active_;
            starter_.pool.wakeAllLocked();
        });
    }

    Hold& hold_;
    ZThread_5_1::Starter starter_;
    ZThread_5_1::Starter* const outer_;
};

// A thread out of the idle set that is told to exit, with the mutex free meanwhile. Several may be
// under way.
struct ZThreadPool_5_1::Dismissal {
    Dismissal(ZThreadPool_5_1& pool, Hold& hold, ZThread_5_1* thread)
        : pool_(pool), hold_(hold), thread_(thread), next_(pool.dismissals_) {
        pool_.dismissals_ = this;
    }
    Dismissal(Dismissal const&) = delete;
    Dismissal& operator=(Dismissal const&) = delete;
    ~Dismissal() {
        // Only a cancellation would pass, and nothing here can be cancelled.
        // cppcheck-suppress throwInNoexceptFunction
        z_5_1::quietly(unit, [this] {
            hold_.take();
            Dismissal** at = &pool_.dismissals_;
            while (*at != this) at = &(*at)->next_;
            *at = next_;
            pool_.wakeAllLocked();
        });
    }

    ZThreadPool_5_1& pool_;
    Hold& hold_;
    ZThread_5_1* const thread_;
    Dismissal* next_;
};

// While one lives, no thread is taken as idle.
struct ZThreadPool_5_1::Closing {
    explicit Closing(ZThreadPool_5_1& pool) : pool_(pool) { ++pool_.closing_; }
    Closing(Closing const&) = delete;
    Closing& operator=(Closing const&) = delete;
    ~Closing() { --pool_.closing_; }

    ZThreadPool_5_1& pool_;
};

ZThreadPool_5_1::ZThreadPool_5_1(unsigned int a, unsigned int b)
    : idle_(std::min(std::max(a, b), mostBuckets)),
      active_(0),
      maxThreads_(std::max(a, b)),
      maxIdle_(std::min(a, b)),
      idleCount_(0),
      closing_(0),
      dismissals_(nullptr) {
    auto mutex = std::make_unique<pthread_mutex_t>();
    auto cond = std::make_unique<pthread_cond_t>();
    z_5_1::check<ZThreadException_5_1>(unit, mutexInitFailed,
                                       pthread_mutex_init(mutex.get(), nullptr));
    if (int const rc = pthread_cond_init(cond.get(), nullptr)) {
        pthread_mutex_destroy(mutex.get());
        z_5_1::raise(unit, ZThreadException_5_1(condInitFailed, rc));
    }
    mutex_ = mutex.release();
    cond_ = cond.release();
}

ZThreadPool_5_1::~ZThreadPool_5_1() {
    auto const report = [](int code, int rc) {
        if (rc != 0) z_5_1::quietly(unit, [=] { z_5_1::reportNumber(unit, code, rc); });
    };
    report(condDestroyFailed, pthread_cond_destroy(cond_));
    report(mutexDestroyFailed, pthread_mutex_destroy(mutex_));
    delete cond_;
    delete mutex_;
}

ZObject_5_1* ZThreadPool_5_1::clone() const {
    z_5_1::raise(unit, ZNotClonableException_5_1());
}

ZThread_5_1* ZThreadPool_5_1::createThread() {
    return nullptr;
}

void ZThreadPool_5_1::start(ZThread_5_1& t) {
    if (maxThreads_ == 0) z_5_1::raise(unit, ZInvalidParameterException_5_1());
    Hold hold(mutex_);
    while (active_ >= maxThreads_) {
        if (idleCount_ >= active_) {
            dismissIdleLocked(hold);
        } else {
            waitLocked();
        }
    }
    Place const place(*this, hold, t);
    hold.release();
    z_5_1::NotCancelled const whole;
    z_5_1::quietly(unit, [&t] { t.start(); });
}

void ZThreadPool_5_1::threadDeathNotification(ZThread_5_1& t) {
    Hold hold(mutex_);
    while (isDismissedLocked(t) && t.detached_ != 0) waitLocked();
    if (active_ > 0) --active_;
    // One condition serves starts, ends and dismissals.
    int const rc = pthread_cond_broadcast(cond_);
    // Whoever waited for the end may destroy the pool now.
    hold.release();
    z_5_1::check<ZThreadException_5_1>(unit, signalFailed, rc);
}

void ZThreadPool_5_1::threadDoneNotification(ZThread_5_1& t, int& accepted) {
    accepted = 0;
    if (maxIdle_ == 0) return;
    Hold hold(mutex_);
    ZObject_5_1 const* const known = idle_.getEntry(&t);
    if (closing_ > 0 || isDismissedLocked(t) || (known ? known != &t : idleCount_ >= maxIdle_)) {
        // It ends, and leaves the idle set on its way if it is there.
    } else {
        if (!known) {
            idle_.putEntry(&t);
            ++idleCount_;
        }
        accepted = 1;
        if (idleCount_ >= active_) wakeAllLocked();
    }
    hold.release();
}

ZThread_5_1* ZThreadPool_5_1::getAvailableIdleThread(ZThread_5_1*& out) {
    out = nullptr;
    if (maxIdle_ != 0) {
        Hold hold(mutex_);
        out = takeIdleLocked(false);
        hold.release();
    }
    if (!out) out = createThread();
    return out;
}

void ZThreadPool_5_1::waitForExit() {
    Hold hold(mutex_);
    {
        Closing const closing(*this);
        while (active_ > 0 || idleCount_ > 0) {
            if (idleCount_ > 0) {
                dismissIdleLocked(hold);
            } else {
                waitLocked();
            }
        }
    }
    hold.release();
}

// ---- with the mutex held ----

void ZThreadPool_5_1::waitLocked() {
    int const rc = pthread_cond_wait(cond_, mutex_);
    if (rc != 0) z_5_1::quietly(unit, [rc] { z_5_1::reportNumber(unit, waitFailed, rc); });
}

void ZThreadPool_5_1::wakeAllLocked() {
    int const rc = pthread_cond_broadcast(cond_);
    if (rc != 0) z_5_1::quietly(unit, [rc] { z_5_1::reportNumber(unit, signalFailed, rc); });
}

bool ZThreadPool_5_1::isDismissedLocked(ZThread_5_1 const& t) const {
    for (Dismissal const* each = dismissals_; each; each = each->next_) {
        if (each->thread_ == &t) return true;
    }
    return false;
}

// Null where there is none.
ZThread_5_1* ZThreadPool_5_1::takeIdleLocked(bool notCaller) {
    ZArrayList_5_1 threads(idleCount_);
    idle_.list(threads);
    for (unsigned int i = 0; i < idleCount_; ++i) {
        auto* const thread = static_cast<ZThread_5_1*>(threads.get(i));
        if (notCaller && pthread_equal(thread->getPThreadID(), pthread_self())) continue;
        idle_.removeEntry(thread);
        --idleCount_;
        return thread;
    }
    return nullptr;
}

// A sleeper with an interval may be at work while it is in the set, and call this: it would wait
// for its own end.
void ZThreadPool_5_1::dismissIdleLocked(Hold& hold) {
    ZThread_5_1* const thread = takeIdleLocked(true);
    if (!thread) return waitLocked();
    Dismissal const dismissal(*this, hold, thread);
    hold.release();
    z_5_1::NotCancelled const whole;
    z_5_1::quietly(unit, [thread] { thread->waitForExit(); });
}

// By the thread itself, before its exit(): later the object may be gone. Where the object has
// another thread by now, the entry is not the caller's.
void ZThreadPool_5_1::forgetIdle(ZThread_5_1& t) {
    if (maxIdle_ == 0) return;
    Hold hold(mutex_);
    bool const own = pthread_equal(t.getPThreadID(), pthread_self()) != 0;
    if (own && idle_.getEntry(&t) == &t) {
        idle_.removeEntry(&t);
        --idleCount_;
    }
    hold.release();
}
