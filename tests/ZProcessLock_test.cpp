// ZProcessLock_test: names, sequence numbers, observers and misuse of process locks without files.
// Subsystem: concurrency, layer 5. Test: tests/ZProcessLock_test.cpp
#include <Z/ZException.h>
#include <Z/ZProcessLock.h>

#include <atomic>

#include "ZTest.h"

namespace {

struct Lock : ZStubProcessReadWriteLock_5_1 {
    using ZStubProcessReadWriteLock_5_1::setSequence;
    using ZStubProcessReadWriteLock_5_1::ZStubProcessReadWriteLock_5_1;
};

// "write 5/4 u1": the state, the sequence number and the last one, the update flag.
std::string text(ZAbstractProcessReadWriteLock_5_1 const& lock) {
    bool const none = lock.getLastSequence() == lock.invalidSequence;
    return lock.getLockStateName(lock.getLockState()) + (" " + std::to_string(lock.getSequence())) +
           "/" + (none ? "-" : std::to_string(lock.getLastSequence())) + " u" +
           std::to_string(lock.getUpdate());
}

TEST(ZProcessLock, CountsTheReleasesOfWriters) {
    Lock lock("name");
    EXPECT_TRUE(text(lock) == "unset 0/- u1" && !lock.isCurrent() && lock.lock() == 0);
    EXPECT_EQ(text(lock), "write 0/- u1");
    EXPECT_TRUE(lock.ownWriteLock() && lock.haveLock(Lock::write));
    EXPECT_EQ(lock.unlock(), 0);
    EXPECT_TRUE(text(lock) == "unset 1/1 u0" && lock.isCurrent()) << text(lock);
    lock.writeLock(), lock.setUpdate(0), lock.unlock();
    lock.writeLock(), lock.unlock(0);
    lock.readLock(), std::thread([&] { lock.readLock(); }).join(), lock.setLastSequence(7);
    EXPECT_EQ(text(lock) + " " + std::to_string(lock.getReaderCount()), "read 1/7 u0 2");
    EXPECT_EQ(lock.unlock(1) + lock.lock(Lock::unset), 0);
    EXPECT_EQ(text(lock), "unset 1/1 u0") << "who has read is up to date and has changed nothing";
    EXPECT_EQ(lock.readWithIntentToWriteLock() + lock.promoteReadToWriteLock(), 0);
    EXPECT_EQ(text(lock), "protect 1/1 u1");
    std::atomic<bool> reads{false};
    std::thread reader([&] { lock.readLock(), reads = true, lock.unlock(); });
    usleep(10000);
    EXPECT_FALSE(reads) << "protect is a write hold between the threads";
    EXPECT_EQ(lock.unlock(), 0);
    reader.join();
    for (int other : {4, -1}) EXPECT_EQ(lock.lock(static_cast<Lock::zlockstate>(other)), 0);
    EXPECT_EQ(text(lock), "unset 1/1 u0");
    lock.setSequence(0xFFFFFFFE), lock.lock(), lock.unlock();
    EXPECT_EQ(text(lock), "unset 0/0 u0") << "the invalid number is passed over";
}

TEST(ZProcessLock, IsTheSameByName) {
    ztest::Folder const folder;
    std::filesystem::current_path(folder.path());
    char const letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    Lock const random, other;
    std::string const name = random.getLockName().getChars();
    EXPECT_TRUE(random != other && name.size() == 6 &&
                name.find_first_not_of(letters) == std::string::npos)
        << name;
    Lock lock("b"), equal("b"), greater("c"), nameless(nullptr);
    EXPECT_TRUE(lock.equals(equal) && lock.hash() == equal.hash() && lock.compare(greater) < 0);
    EXPECT_FALSE(lock.equals(lock.getLockName()) || nameless.getLockName().getLength());
    ZLCString_5_1 fresh("fresh");
    lock.setLockName(fresh);
    EXPECT_TRUE(lock.getLockName() == "b") << "without a hold it keeps its name";
    lock.lock(), lock.setLockName(fresh);
    EXPECT_TRUE(lock.getLockName() == "fresh");
    EXPECT_EQ(text(lock), "unset 1/1 u0") << "the hold was given up";
    lock.lock();
    std::unique_ptr<ZObject_5_1> const clone(lock.clone());
    equal = lock;
    for (ZObject_5_1* copy : {clone.get(), static_cast<ZObject_5_1*>(&equal)}) {
        auto& held = static_cast<ZStubProcessReadWriteLock_5_1&>(*copy);
        EXPECT_EQ(text(held), "unset 1/1 u1");
        EXPECT_EQ(held.compare(lock) + held.lock() + held.unlock(), 0);
    }
    lock.unlock();
    ZAbstractProcessReadWriteLock_5_1 base("x");
    auto const e = ztest::caught<ZAbstractNotImplementedException_5_1>([&] { base.clone(); });
    EXPECT_STREQ(e.value(), "ZAbstractProcessReadWriteLock::clone");
    EXPECT_EQ(base.lock() + base.getLockState() + base.unlock(), 0) << "states are for subclasses";
    std::filesystem::current_path("/");
}

TEST(ZProcessLock, RefusesMisuseAndKeepsTheHolds) {
    Lock lock("x");
    std::function<void()> const calls[] = {[&] { lock.unlock(); }, [&] { lock.unlock(1); },
                                           [&] { lock.lock(Lock::unset); }};
    auto const refused = [&](char const* before) {
        for (auto const& call : calls) {
            EXPECT_EQ(ztest::caught<ZUnlockResourceException_5_1>(call).code(), 6u);
        }
        EXPECT_EQ(text(lock), before);
    };
    refused("unset 0/- u1");
    lock.lock();
    std::thread(refused, "write 0/- u1").join();
    EXPECT_THROW(lock.readLock(), ZLockResourceException_5_1);
    lock.unlock();
    for (auto state : {Lock::read, Lock::protect, Lock::write}) {
        auto const destroyHeld = [&] { Lock("y").lock(state); };
        auto const e = ztest::caught<ZInvalidResourceStateException_5_1>(destroyHeld);
        EXPECT_EQ(e.code(), 32u);
        EXPECT_STREQ(e.value(), lock.getLockStateName(state));
    }
    std::string const report = ztest::reported(
        [] { EXPECT_THROW((Lock("y").lock(), throw 1), int) << "an exception on its way passes"; });
    EXPECT_NE(report.find("The current lock state is write."), std::string::npos) << report;
}

TEST(ZProcessLock, TellsObserversWhatIsNew) {
    struct : ZObserverInterface_5_1 {
        void observableChanged(ZObservableInterface_5_1*,
                               ZObservedParm_5_1 const& notice) override {
            auto const& update = static_cast<ZSequenceUpdate_5_1 const&>(notice);
            all.push_back(update.getSequence()), all.push_back(update.getLastSequence());
        }
        std::vector<unsigned long> all;
    } observer;
    Lock lock("x");
    lock.lock(), lock.unlock();  // the last owner, which does not make its read hold one to write
    lock.setSequence(5), lock.setLastSequence(3);
    lock.readLock(), lock.notifyLockObservers();
    lock.addObserver(&observer);
    lock.notifyLockObservers();
    EXPECT_EQ(observer.all, (std::vector<unsigned long>{5, 3}));
    std::atomic<bool> reads{false};
    std::thread reader([&] { lock.readLock(), reads = true, lock.unlock(); });
    usleep(10000);
    EXPECT_FALSE(reads) << "the reader became a writer";
    lock.unlock(), reader.join();
    lock.lock(), lock.notifyLockObservers(), lock.unlock();
    EXPECT_EQ(observer.all.size(), 2u) << "it was up to date";

    ZSequenceUpdate_5_1 const none, old(5, 3), wrapped(2, 4), last(0xFFFFFFFE, 1);
    EXPECT_TRUE(none.getSequence() == lock.invalidSequence &&
                none == ZSequenceUpdate_5_1(-1ul, -1ul));
    EXPECT_EQ(old.compare(ZSequenceUpdate_5_1(5, 1)), 2);
    EXPECT_EQ(wrapped.compare(last), 4);
    std::unique_ptr<ZObject_5_1> const clone(old.clone());
    EXPECT_TRUE(old.equals(*clone) && old.hash() == clone->hash() && !(old == wrapped));
}

}  // namespace
