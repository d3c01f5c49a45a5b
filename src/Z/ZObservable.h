// ZObservable: subjects that announce their changes to registered observers.
// Subsystem: model, layer 3. Test: tests/ZObservable_test.cpp
#ifndef Z_ZOBSERVABLE_H
#define Z_ZOBSERVABLE_H

#include <atomic>

#include "ZList.h"
#include "ZLock.h"
#include "ZObject.h"

class ZObservableInterface_5_1;

// What is announced. Subclasses add the data of their announcement.
class Z_API ZObservedParm_5_1 : public ZObject_5_1 {
public:
    ~ZObservedParm_5_1() noexcept override;
};

// What is told of changes. Not deleted through this interface.
class Z_API ZObserverInterface_5_1 {
public:
    // Called on the announcing thread, once per announcement, with the subject's observers locked.
    virtual void observableChanged(ZObservableInterface_5_1* subject,
                                   ZObservedParm_5_1 const& announcement) = 0;

protected:
    ZObserverInterface_5_1() = default;
    ZObserverInterface_5_1(ZObserverInterface_5_1 const&) = default;
    ZObserverInterface_5_1& operator=(ZObserverInterface_5_1 const&) = default;
    ~ZObserverInterface_5_1() = default;
};

// What tells of its changes; ZAbstractObservable_5_1 below says what each operation does.
class Z_API ZObservableInterface_5_1 {
public:
    virtual void addObserver(ZObserverInterface_5_1* observer) = 0;     // which stays the caller's
    virtual void deleteObserver(ZObserverInterface_5_1* observer) = 0;  // is told no more
    virtual void deleteObservers() = 0;                                 // forgets them all
    virtual int countObservers() = 0;                                   // those registered now
    virtual void notifyObservers(ZObservedParm_5_1 const& announcement) = 0;  // calls each once

protected:
    ZObservableInterface_5_1() = default;
    ZObservableInterface_5_1(ZObservableInterface_5_1 const&) = default;
    ZObservableInterface_5_1& operator=(ZObservableInterface_5_1 const&) = default;
    ~ZObservableInterface_5_1() = default;
};

// Holds one observer's address, so that a list can find it. Equal and ordered by that address.
class Z_API Voyeur_5_1 : public ZObject_5_1 {
public:
    // The observer stays the caller's.
    explicit Voyeur_5_1(ZObserverInterface_5_1* observer);
    Voyeur_5_1(Voyeur_5_1 const& other);
    Voyeur_5_1& operator=(Voyeur_5_1 const& other);
    ~Voyeur_5_1() noexcept override;

    // The observer's address.
    unsigned long hash() const override;

    // `other` must be a Voyeur_5_1.
    int compare(ZObject_5_1 const& other) const override;

    ZObject_5_1* clone() const override;

    // Not the caller's to delete.
    ZObserverInterface_5_1* observer() const { return observer_; }

private:
    ZObserverInterface_5_1* observer_;
};

// Base of subjects. Observers are kept by address and never owned: an observer must be deleted from
// its subjects before it dies. All operations may be called from any thread. The recursive lock is
// held through a whole notification, so a callback may call back into the subject, while other
// threads wait; an observer that waits for another thread which uses the subject deadlocks.
class Z_API ZAbstractObservable_5_1 : public ZObservableInterface_5_1 {
public:
    // At most once: adding a registered observer changes nothing. A null is counted and can be
    // deleted, and is passed over when the others are called.
    void addObserver(ZObserverInterface_5_1* observer) override;

    // An unknown observer is ignored.
    void deleteObserver(ZObserverInterface_5_1* observer) override;

    void deleteObservers() override;
    int countObservers() override;

    // Calls the observers in the order of registration. The number of calls is settled at the
    // start: an observer added by a callback waits for the next announcement, and one deleted
    // moves the later ones down by one. What a callback throws ends the pass and reaches the
    // caller.
    void notifyObservers(ZObservedParm_5_1 const& announcement) override;

    // Whether anybody is registered, without waiting for the lock.
    int hasObservers() const { return count_.load(std::memory_order_acquire) != 0; }

protected:
    // Without observers.
    ZAbstractObservable_5_1();

    // The same observers, a lock of its own.
    ZAbstractObservable_5_1(ZAbstractObservable_5_1 const& other);
    ZAbstractObservable_5_1& operator=(ZAbstractObservable_5_1 const& other);

    ~ZAbstractObservable_5_1() noexcept;

private:
    ZArrayList_5_1 observersCopy() const;

    ZArrayList_5_1 observers_;
    mutable ZLock_5_1 lock_;
    std::atomic<unsigned int> count_{0};  // of observers_, written under the lock
};

#endif
