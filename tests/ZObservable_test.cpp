// ZObservable_test: registration, order, and callbacks that change the subject or throw.
// Subsystem: model, layer 3. Test: tests/ZObservable_test.cpp
#include <Z/ZObservable.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

struct Subject : ZAbstractObservable_5_1 {};

std::string calls;

struct Observer : ZObserverInterface_5_1 {
    explicit Observer(char name) : name_(name) {}
    void observableChanged(ZObservableInterface_5_1* subject,
                           ZObservedParm_5_1 const& announcement) override {
        calls += name_;
        subject_ = subject;
        announcement_ = &announcement;
        if (then_) then_();
    }
    char name_;
    ZObservableInterface_5_1* subject_ = nullptr;
    ZObservedParm_5_1 const* announcement_ = nullptr;
    std::function<void()> then_;
};

struct Case : testing::Test {
    Case() {
        for (Observer* observer : {&a, &b, &c}) subject.addObserver(observer);
    }
    std::string notified() {
        calls.clear();
        subject.notifyObservers(announcement);
        return calls;
    }
    ZObservedParm_5_1 announcement;
    Observer a{'a'}, b{'b'}, c{'c'}, d{'d'};
    Subject subject;
};

using ZObservable = Case;

TEST_F(ZObservable, CallsEachOnceInOrderOfRegistration) {
    subject.addObserver(&a);
    EXPECT_EQ(subject.countObservers(), 3);
    EXPECT_EQ(notified(), "abc");
    EXPECT_EQ(c.subject_, &subject);
    EXPECT_EQ(c.announcement_, &announcement);
    subject.deleteObserver(&d);
    subject.addObserver(nullptr);
    subject.addObserver(&d);
    EXPECT_EQ(subject.countObservers(), 5) << "a null counts";
    EXPECT_EQ(notified(), "abcd") << "and is passed over";
    subject.deleteObserver(nullptr);
    subject.deleteObserver(&b);
    EXPECT_EQ(notified(), "acd");
    Subject copy(subject), assigned;
    assigned = copy;
    subject.deleteObservers();
    EXPECT_EQ(notified(), "");
    EXPECT_EQ(copy.countObservers() + assigned.countObservers(), 6);
}

TEST_F(ZObservable, CallbacksMayChangeTheSubject) {
    b.then_ = [this] { subject.addObserver(&d); };
    EXPECT_EQ(notified(), "abc") << "the number of calls is settled at the start";
    b.then_ = [this] { subject.deleteObserver(&b); };
    EXPECT_EQ(notified(), "abd") << "the later ones move down";
    a.then_ = [this] { subject.deleteObservers(); };
    EXPECT_EQ(notified(), "a");
}

TEST_F(ZObservable, AnExceptionEndsThePassAndFreesTheLock) {
    b.then_ = [] { throw std::runtime_error("no"); };
    EXPECT_THROW(notified(), std::runtime_error);
    EXPECT_EQ(calls, "ab");
    std::thread([this] { EXPECT_EQ(subject.countObservers(), 3); }).join();
}

TEST(Voyeur, IsTheAddressItHolds) {
    Observer pair[2] = {Observer('a'), Observer('b')};
    Voyeur_5_1 const low(&pair[0]), high(&pair[1]), none(nullptr);
    EXPECT_EQ(low.compare(high), -1);
    EXPECT_EQ(high.compare(low), 1);
    EXPECT_EQ(none.compare(low), -1);
    EXPECT_EQ(low.equals(Voyeur_5_1(low)), 1);
    EXPECT_EQ(low.hash(),
              reinterpret_cast<unsigned long>(static_cast<ZObserverInterface_5_1*>(&pair[0])));
}

TEST(ZObservable2, ServesSeveralThreads) {
    struct Counter : ZObserverInterface_5_1 {
        void observableChanged(ZObservableInterface_5_1*, ZObservedParm_5_1 const&) override {
            ++count_;
        }
        int count_ = 0;
    } counter;
    Subject subject;
    subject.addObserver(&counter);
    auto const work = [&] {
        Observer other('o');
        for (int i = 0; i < 1000; ++i) {
            subject.notifyObservers(ZObservedParm_5_1());
            subject.addObserver(nullptr);
            subject.deleteObserver(nullptr);
        }
    };
    std::thread first(work), second(work);
    first.join(), second.join();
    EXPECT_EQ(counter.count_, 2000);
}

}  // namespace
