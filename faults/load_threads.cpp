// load_threads: observers, sleepers and pools from many threads at once.
#include <Z/ZObservable.h>
#include <Z/ZThread.h>

#include <algorithm>
#include <memory>
#include <thread>

#include "load.h"

namespace {

using namespace load;

// ---- observers ----

enum : unsigned { notices, calls, registrations };

constexpr unsigned notifiers = 8;

struct Notice : ZObservedParm_5_1 {
    Notice(unsigned t, std::uint64_t n) : thread(t), number(n) {}
    unsigned thread;
    std::uint64_t number;
};

struct Subject : ZAbstractObservable_5_1 {};

// Registered all the time: each notice of each thread once, and in order.
struct Staying : ZObserverInterface_5_1 {
    std::uint64_t last[notifiers] = {};

    void observableChanged(ZObservableInterface_5_1*, ZObservedParm_5_1 const& parm) override {
        auto const& notice = static_cast<Notice const&>(parm);
        LOAD_CHECK(notice.number == ++last[notice.thread], "a notice lost or told twice");
        count(calls);
    }
};

// Registered now and then by its thread, which counts those of its own notices that come.
struct Passing : ZObserverInterface_5_1 {
    unsigned thread = 0;
    unsigned own = 0;
    bool isRegistered = false;  // no atomic: calls come between addObserver and deleteObserver

    void observableChanged(ZObservableInterface_5_1*, ZObservedParm_5_1 const& parm) override {
        LOAD_CHECK(isRegistered, "a call after deleteObserver() returned");
        if (static_cast<Notice const&>(parm).thread == thread) ++own;
        count(calls);
    }
};

// Those that add and delete one another, and themselves, while they are called. The model is the
// subject's list: guarded by its lock, which is held through every pass.
class Crowd {
public:
    Subject subject;

    Crowd() {
        for (unsigned i = 0; i < size; ++i) members_[i].crowd = this, members_[i].number = i;
        subject.addObserver(&members_[0]);
        model_.push_back(0);
    }

private:
    static constexpr unsigned size = 8;

    struct Member : ZObserverInterface_5_1 {
        Crowd* crowd = nullptr;
        unsigned number = 0;
        void observableChanged(ZObservableInterface_5_1*, ZObservedParm_5_1 const&) override {
            crowd->called(number);
        }
    };

    // The first member stays, so its call begins a pass. A pass makes as many calls as there were
    // observers at its start, or fewer when the list became shorter.
    void called(unsigned number) {
        if (number == 0) {
            LOAD_CHECK(at_ >= std::min(most_, model_.size()), "a pass ended before its last call");
            at_ = 0, most_ = model_.size();
        }
        LOAD_CHECK(at_ < most_ && at_ < model_.size() && model_[at_] == number,
                   "observer %u was called out of turn", number);
        ++at_;
        count(calls);
        unsigned const other = 1 + static_cast<unsigned>(random_() / 7 % (size - 1));
        auto const found = std::find(model_.begin(), model_.end(), other);
        if (random_() / 7 % 2) {
            subject.addObserver(&members_[other]);
            if (found == model_.end()) model_.push_back(other);
        } else {
            subject.deleteObserver(&members_[other]);
            if (found != model_.end()) model_.erase(found);
        }
        count(registrations);
    }

    Member members_[size];
    std::vector<unsigned> model_;
    std::size_t at_ = 0, most_ = 0;
    Random random_ = seeded(3);
};

void observers() {
    Subject subject;
    Staying staying[2];
    Passing passing[notifiers];
    Crowd crowd;
    for (Staying& each : staying) subject.addObserver(&each);
    std::uint64_t told[notifiers] = {};
    inThreads(notifiers, [&](unsigned i) {
        Random random = seeded(i);
        Passing& mine = passing[i];
        mine.thread = i;
        while (!over()) {
            mine.isRegistered = true;
            mine.own = 0;
            subject.addObserver(&mine);
            unsigned const some = static_cast<unsigned>(random() / 7 % 4);
            for (unsigned n = 0; n < some; ++n) {
                subject.notifyObservers(Notice(i, ++told[i]));
                crowd.subject.notifyObservers(Notice(i, 0));
                count(notices, 2);
            }
            subject.deleteObserver(&mine);
            mine.isRegistered = false;
            count(registrations);
            LOAD_CHECK(mine.own == some, "%u notices told of %u", mine.own, some);
        }
    });
    for (Staying const& each : staying) {
        LOAD_CHECK(std::equal(told, told + notifiers, each.last), "the last notice was not told");
    }
    LOAD_CHECK(subject.countObservers() == 2, "%d observers are left", subject.countObservers());
}

// ---- pool ----

enum : unsigned { started, workersWoken, ends };
enum : unsigned { alive, running };  // words

constexpr unsigned bound = 8, kept = 4;
constexpr std::uint32_t living = 0x11fe11fe;

// What a thread of the pool has on it: gone once, and not used then.
class Tag {
public:
    Tag() { ++word(alive); }
    ~Tag() {
        check();
        mark_ = 0;
        --word(alive);
    }
    void check() const { LOAD_CHECK(mark_ == living, "a thread's object was used after its end"); }

private:
    std::uint32_t volatile mark_ = living;
};

struct Short : ZThread_5_1 {
    Short() : ZThread_5_1(1, 1) {}
    void run() override {
        LOAD_CHECK(++word(running) <= bound, "more than %u threads at a time", bound);
        tag.check();
        count(ends);
        --word(running);
    }
    void exit() override { tag.check(); }
    Tag tag;
};

struct Worker : ZSleeperThread_5_1 {
    Worker() : ZSleeperThread_5_1(1, 1) {}
    void doWork() override {
        tag.check();
        count(ends);
    }
    void exit() override { tag.check(); }
    Tag tag;
};

struct Pool : ZThreadPool_5_1 {
    Pool() : ZThreadPool_5_1(bound, kept) {}
    ZThread_5_1* createThread() override {
        auto* const worker = new Worker;
        start(*worker);
        return worker;
    }
};

// Rounds of ten thousand, each with a pool of its own.
void pool() {
    constexpr unsigned starters = 4, each = 2500, all = starters * each;
    do {
        auto const threads = std::make_unique<Pool>();
        std::atomic<unsigned> left{starters};
        std::uint64_t const before = figure(ends);
        inThreads(starters + 2, [&](unsigned i) {
            if (i >= starters) {
                while (left > 0) threads->waitForExit();
                return;
            }
            for (unsigned n = 0; n < each; ++n) {
                if (n % 8 == i) {
                    ZThread_5_1* idle = nullptr;
                    static_cast<Worker*>(threads->getAvailableIdleThread(idle))->wakeUp();
                    count(workersWoken);
                } else {
                    threads->start(*new Short);
                    count(started);
                }
            }
            --left;
        });
        threads->waitForExit();
        LOAD_CHECK(figure(ends) - before == all, "%llu of %u threads did their work",
                   static_cast<unsigned long long>(figure(ends) - before), all);
        until([] { return word(alive) == 0; });
    } while (!over());
}

// ---- sleepers ----

enum : unsigned { wakeUps, works, starts };

struct Sleeper : ZSleeperThread_5_1 {
    using ZSleeperThread_5_1::ZSleeperThread_5_1;
    void doWork() override {
        seen = asked.load();
        ++done;
        count(works);
    }
    void exit() override { ++ended; }
    void wake() {
        ++asked;
        wakeUp();
        count(wakeUps);
    }
    void begin() {
        start();
        count(starts);
    }
    std::atomic<std::uint64_t> asked{0}, seen{0}, done{0}, ended{0};
};

// Several threads wake it, while it is also stopped and started: it has worked after the last one.
void storm(Sleeper& sleeper, Random& random) {
    std::uint64_t const lives = 1 + random() / 7 % 20, askedBefore = sleeper.asked;
    std::uint64_t const doneBefore = sleeper.done, endedBefore = sleeper.ended;
    inThreads(4, [&](unsigned i) {
        if (i == 0) {
            for (std::uint64_t life = 1; life < lives; ++life) {
                sleeper.begin();
                std::this_thread::yield();
                sleeper.waitForExit();
            }
            sleeper.begin();
            return;
        }
        for (unsigned n = 0; n < 300 * i; ++n) sleeper.wake();
    });
    until([&] { return sleeper.seen == sleeper.asked; });
    sleeper.waitForExit();
    until([&] { return sleeper.ended == endedBefore + lives; });
    std::uint64_t const wakes = sleeper.asked - askedBefore, did = sleeper.done - doneBefore;
    LOAD_CHECK(did >= 1 && did <= wakes, "%llu works for %llu wake-ups",
               static_cast<unsigned long long>(did), static_cast<unsigned long long>(wakes));
}

void sleepers() {
    ZLock_5_1 lock;
    Sleeper joinable, shared(lock), detached(1, 0);
    Sleeper* const all[] = {&joinable, &shared, &detached};
    inThreads(3, [&](unsigned i) {
        for (Random random = seeded(i); !over();) storm(*all[i], random);
    });
}

}  // namespace

std::vector<Scenario> load::threadScenarios() {
    return {
        {"observers", observers, nullptr, {"notices", "calls", "changes of the lists"}},
        {"pool", pool, nullptr, {"threads started", "workers woken", "works done"}},
        {"sleepers", sleepers, nullptr, {"wake-ups", "works done", "starts"}},
    };
}
