// ZObservable_test: registration, order, and callbacks that change the subject or throw.
// Subsystem: model, layer 3. Test: tests/ZObservable_test.cpp
#include <Z/ZObservable.h>

#include <atomic>
#include <stdexcept>

#include "ZTest.h"

namespace {

struct Subject : ZAbstractObservable_5_1 {};

struct Observer : ZObserverInterface_5_1 {
    void observableChanged(ZObservableInterface_5_1* subject,
                           ZObservedParm_5_1 const& announcement) override {
        calls += name;
        last = {subject, &announcement};
        if (then) then();
    }
    inline static std::string calls;
    inline static std::pair<ZObservableInterface_5_1*, ZObservedParm_5_1 const*> last;
    char name = '?';
    std::function<void()> then;
};

struct ZObservable : testing::Test {
    ZObservable() {
        for (int i = 0; i < 4; ++i) all[i].name = static_cast<char>('a' + i);
        for (int i = 0; i < 3; ++i) subject.addObserver(&all[i]);
    }
    std::string notified() {
        Observer::calls.clear();
        subject.notifyObservers(announcement);
        return Observer::calls;
    }
    ZObservedParm_5_1 announcement;
    Observer all[4];
    Observer &a = all[0], &b = all[1], &d = all[3];
    Subject subject;
};

TEST_F(ZObservable, CallsEachOnceInOrderOfRegistration) {
    subject.addObserver(&a);
    EXPECT_EQ(notified(), "abc");
    EXPECT_TRUE(Observer::last.first == &subject && Observer::last.second == &announcement);
    subject.deleteObserver(&d), subject.addObserver(nullptr), subject.addObserver(&d);
    EXPECT_EQ(subject.countObservers(), 5) << "a null counts";
    EXPECT_EQ(notified(), "abcd") << "and is passed over";
    subject.deleteObserver(nullptr), subject.deleteObserver(&b);
    EXPECT_EQ(notified(), "acd");
    Subject copy(subject), assigned;
    assigned = copy;
    subject.deleteObservers();
    EXPECT_EQ(notified(), "");
    EXPECT_EQ(copy.countObservers() + assigned.countObservers(), 6);
    Voyeur_5_1 const low(&a), high(&b);
    EXPECT_EQ(low.compare(high) - high.compare(low), -2);
    EXPECT_TRUE(low.equals(Voyeur_5_1(&a)) && low.hash() + sizeof(Observer) == high.hash());
}

TEST_F(ZObservable, CallbacksMayChangeTheSubjectOrThrow) {
    b.then = [this] { subject.addObserver(&d); };
    EXPECT_EQ(notified(), "abc") << "the number of calls is settled at the start";
    b.then = [this] { subject.deleteObserver(&b); };
    EXPECT_EQ(notified(), "abd") << "the later ones move down";
    d.then = [] { throw std::runtime_error("no"); };
    EXPECT_THROW(notified(), std::runtime_error);
    EXPECT_EQ(Observer::calls, "acd");
    std::thread([this] { EXPECT_EQ(subject.countObservers(), 3) << "the lock is free"; }).join();
    a.then = [this] { subject.deleteObservers(); };
    EXPECT_EQ(notified(), "a");
}

TEST_F(ZObservable, ServesSeveralThreads) {
    struct Counting : ZObserverInterface_5_1 {
        void observableChanged(ZObservableInterface_5_1*, ZObservedParm_5_1 const&) override {
            EXPECT_TRUE(registered);
            ++calls;
        }
        std::atomic<bool> registered{true};
        std::atomic<unsigned> calls{0};
    } staying[2], passing[4];
    for (Counting& observer : staying) subject.addObserver(&observer);
    unsigned const rounds = ztest::stressed(20000);
    subject.deleteObserver(&a), subject.deleteObserver(&b);
    ztest::inThreads(8, [&](int thread) {
        for (unsigned i = 0; i < rounds; ++i) {
            if (thread >= 4) {
                subject.notifyObservers(announcement);
                continue;
            }
            passing[thread].registered = true, subject.addObserver(&passing[thread]);
            subject.deleteObserver(&passing[thread]), passing[thread].registered = false;
        }
    });
    for (Counting& observer : staying) EXPECT_EQ(observer.calls, 4 * rounds);
    EXPECT_EQ(subject.countObservers(), 3);
}

}  // namespace
