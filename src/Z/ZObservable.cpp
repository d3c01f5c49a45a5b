// ZObservable: subjects that announce their changes to registered observers.
// Subsystem: model, layer 3. Test: tests/ZObservable_test.cpp
#include "ZObservable.h"

#include <cstdint>
#include <type_traits>

static_assert(std::is_convertible<ZObservedParm_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<Voyeur_5_1*, ZObject_5_1*>::value,
              "one way up to the root");

namespace {

std::uintptr_t addressOf(ZObserverInterface_5_1* observer) {
    return reinterpret_cast<std::uintptr_t>(observer);
}

}  // namespace

ZObservedParm_5_1::~ZObservedParm_5_1() noexcept {}

Voyeur_5_1::Voyeur_5_1(ZObserverInterface_5_1* observer) : observer_(observer) {}

Voyeur_5_1::Voyeur_5_1(Voyeur_5_1 const& other) = default;

Voyeur_5_1& Voyeur_5_1::operator=(Voyeur_5_1 const& other) = default;

Voyeur_5_1::~Voyeur_5_1() noexcept {}

unsigned long Voyeur_5_1::hash() const {
    return addressOf(observer_);
}

int Voyeur_5_1::compare(ZObject_5_1 const& other) const {
    std::uintptr_t const mine = addressOf(observer_);
    std::uintptr_t const others = addressOf(static_cast<Voyeur_5_1 const&>(other).observer_);
    return mine < others ? -1 : mine > others;
}

ZObject_5_1* Voyeur_5_1::clone() const {
    return new Voyeur_5_1(*this);
}

ZAbstractObservable_5_1::ZAbstractObservable_5_1() : observers_(2, 1) {}

ZAbstractObservable_5_1::ZAbstractObservable_5_1(ZAbstractObservable_5_1 const& other)
    : observers_(other.observersCopy()), count_(observers_.size()) {}

ZAbstractObservable_5_1& ZAbstractObservable_5_1::operator=(ZAbstractObservable_5_1 const& other) {
    if (this == &other) return *this;
    // One lock at a time: two subjects may be assigned to each other.
    ZArrayList_5_1 const observers = other.observersCopy();
    ZResourceLock_5_1 const hold(lock_);
    observers_ = observers;
    count_ = observers_.size();
    return *this;
}

ZAbstractObservable_5_1::~ZAbstractObservable_5_1() noexcept {}

ZArrayList_5_1 ZAbstractObservable_5_1::observersCopy() const {
    ZResourceLock_5_1 const hold(lock_);
    return observers_;
}

void ZAbstractObservable_5_1::addObserver(ZObserverInterface_5_1* observer) {
    Voyeur_5_1 const voyeur(observer);
    ZResourceLock_5_1 const hold(lock_);
    if (!observers_.contains(&voyeur)) observers_.add(&voyeur);
    count_ = observers_.size();
}

void ZAbstractObservable_5_1::deleteObserver(ZObserverInterface_5_1* observer) {
    Voyeur_5_1 const voyeur(observer);
    ZResourceLock_5_1 const hold(lock_);
    observers_.remove(&voyeur);
    count_ = observers_.size();
}

void ZAbstractObservable_5_1::deleteObservers() {
    ZResourceLock_5_1 const hold(lock_);
    observers_.removeAll();
    count_ = 0;
}

int ZAbstractObservable_5_1::countObservers() {
    ZResourceLock_5_1 const hold(lock_);
    return static_cast<int>(observers_.size());
}

void ZAbstractObservable_5_1::notifyObservers(ZObservedParm_5_1 const& announcement) {
    if (!hasObservers()) return;
    ZResourceLock_5_1 const hold(lock_);
    unsigned int const count = observers_.size();
    for (unsigned int i = 0; i < count; ++i) {
        auto const* const voyeur = static_cast<Voyeur_5_1*>(observers_.get(i));
        // The callback may delete the holder, but not what was read from it.
        ZObserverInterface_5_1* const observer = voyeur ? voyeur->observer() : nullptr;
        if (observer) observer->observableChanged(this, announcement);
    }
}
