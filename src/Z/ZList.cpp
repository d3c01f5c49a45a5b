// ZList: growable list of object pointers, and the cursor that walks it.
// Subsystem: collections, layer 2. Test: tests/ZList_test.cpp
//
// Sorting is one quicksort, written once over an `Access` (how elements are reached) and an `Order`
// (how two are compared). What comparisons are made, and in which order, is the same whichever is
// used, and callers' comparison objects see it:
// 1. The upper bound is size(), one past the last element. The position behind the end reads as
//    null, which the scans pass over, and a swap that involves it does nothing.
// 2. The pivot is the middle element, or where that is null the nearest one behind it, else before
//    it. It is fetched once per partition.
// 3. A scan passes over nulls and never leaves its range, so a comparison that contradicts itself
//    gives an arbitrary order but ends.
// 4. The smaller part is sorted by recursion, the larger one by the loop: the depth stays below
//    the number of bits of an index.
#include "ZList.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "ZException.h"
#include "zmembers.h"
#include "zraise.h"

static_assert(std::is_convertible<ZArrayList_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZListIterator_5_1*, ZObject_5_1*>::value,
              "one way up to the root");

#ifdef __ILP32__
static_assert(sizeof(ZArrayList_5_1) == 24, "the record is fixed on 32 bits");
static_assert(sizeof(ZListIterator_5_1) == 16, "the record is fixed on 32 bits");
#endif

namespace {

constexpr char const* unit = "src/Z/ZList";

struct FreeSlots {
    void operator()(ZObject_5_1** slots) const { std::free(slots); }
};
using Slots = std::unique_ptr<ZObject_5_1*[], FreeSlots>;

// Large arrays grow by moving pages, not elements: what operator new cannot do.
ZObject_5_1** resizedSlots(ZObject_5_1** slots, unsigned int capacity) {
    void* const resized = reallocarray(slots, capacity, sizeof(void*));
    if (!resized) throw std::bad_alloc();
    return static_cast<ZObject_5_1**>(resized);
}

// Any list, through its own virtual operations.
struct VirtualAccess {
    ZList_5_1& list;

    ZObject_5_1* get(std::int64_t i) const { return list.get(static_cast<unsigned int>(i)); }
    void swap(std::int64_t i, std::int64_t j) const {
        list.swap(static_cast<unsigned int>(i), static_cast<unsigned int>(j));
    }
};

// An array list whose get() and swap() are not overridden. Array and size are read anew each time:
// a comparison object may change the list while it is sorted.
struct SlotAccess {
    ZObject_5_1** const& elements;
    unsigned int const& size;

    ZObject_5_1* get(std::int64_t i) const { return i < size ? elements[i] : nullptr; }
    void swap(std::int64_t i, std::int64_t j) const {
        if (i < size && j < size) std::swap(elements[i], elements[j]);
    }
};

struct ObjectOrder {
    int operator()(ZObject_5_1 const* left, ZObject_5_1 const* right) const {
        return left->compare(*right);
    }
};

struct CallersOrder {
    ZSortCompare_5_1 const& compare;

    int operator()(ZObject_5_1 const* left, ZObject_5_1 const* right) const {
        return compare.sortCompare(left, right);
    }
};

template <class Access>
ZObject_5_1* choosePivot(Access list, std::int64_t low, std::int64_t high) {
    std::int64_t const middle = (low + high) / 2;
    for (std::int64_t i = middle; i <= high; ++i) {
        if (ZObject_5_1* const element = list.get(i)) return element;
    }
    for (std::int64_t i = middle; i-- > low;) {
        if (ZObject_5_1* const element = list.get(i)) return element;
    }
    return nullptr;
}

// Whether a scan from below (or from above) ends at `element`.
template <bool ascending, bool fromBelow, class Order>
bool stopsScan(Order order, ZObject_5_1 const* element, ZObject_5_1 const* pivot) {
    if (!element) return false;
    int const sign = order(element, pivot);
    return fromBelow == ascending ? sign >= 0 : sign <= 0;
}

// Leaves the borders of the two parts, low..j and i..high.
template <bool ascending, class Access, class Order>
void partition(Access list, Order order, ZObject_5_1 const* pivot, std::int64_t& i,
               std::int64_t& j) {
    std::int64_t const low = i;
    std::int64_t const high = j;
    while (i <= j) {
        while (i < high && !stopsScan<ascending, true>(order, list.get(i), pivot)) ++i;
        while (j > low && !stopsScan<ascending, false>(order, list.get(j), pivot)) --j;
        if (i > j) break;
        list.swap(i, j);
        ++i;
        --j;
    }
}

template <bool ascending, class Access, class Order>
void sortRange(Access list, Order order, std::int64_t low, std::int64_t high) {
    while (low < high) {
        ZObject_5_1* const pivot = choosePivot(list, low, high);
        if (!pivot) return;
        std::int64_t i = low;
        std::int64_t j = high;
        partition<ascending>(list, order, pivot, i, j);
        if (j - low < high - i) {
            sortRange<ascending>(list, order, low, j);
            low = i;
        } else {
            sortRange<ascending>(list, order, i, high);
            high = j;
        }
    }
}

template <class Access, class Order>
void sortRange(ZSortCompare_5_1::sortorder direction, Access list, Order order, unsigned int low,
               unsigned int high) {
    if (direction == ZSortCompare_5_1::ascending) {
        sortRange<true>(list, order, low, high);
    } else {
        sortRange<false>(list, order, low, high);
    }
}

}  // namespace

int ZList_5_1::indexOf(ZListIterator_5_1& iterator) {
    return iterator.indexOf();
}

void ZList_5_1::backUp(ZListIterator_5_1& iterator) {
    iterator.backUp();
}

int ZAbstractList_5_1::isEmpty() const {
    return size() == 0;
}

void ZAbstractList_5_1::sort(ZSortCompare_5_1 const& compare,
                             ZSortCompare_5_1::sortorder const& order) {
    quickSort(compare, order, 0, size());
}

void ZAbstractList_5_1::quickSort(ZSortCompare_5_1 const& compare,
                                  ZSortCompare_5_1::sortorder const& order, unsigned int low,
                                  unsigned int high) {
    sortRange(order, VirtualAccess{*this}, CallersOrder{compare}, low, high);
}

ZArrayList_5_1::ZArrayList_5_1(unsigned int initialCapacity, int ownsMembers)
    : capacity_(initialCapacity ? initialCapacity : 1),
      elements_(resizedSlots(nullptr, capacity_)),
      size_(0),
      ownsMembers_(ownsMembers) {}

// The delegation completes the object, so a clone() that throws runs the destructor.
ZArrayList_5_1::ZArrayList_5_1(ZArrayList_5_1 const& other)
    : ZArrayList_5_1(other.capacity_, other.ownsMembers_) {
    ZArrayList_5_1::addList(other);
}

// cppcheck-suppress operatorEqVarError ; the ownership stays
ZArrayList_5_1& ZArrayList_5_1::operator=(ZArrayList_5_1 const& other) {
    if (this == &other) return *this;
    // The new elements first: without memory for them the list keeps its own.
    ZArrayList_5_1 fresh(capacity_, ownsMembers_);
    fresh.addList(other);
    std::swap(elements_, fresh.elements_);
    std::swap(capacity_, fresh.capacity_);
    std::swap(size_, fresh.size_);
    return *this;
}

ZArrayList_5_1::~ZArrayList_5_1() {
    Slots const slots(elements_);
    if (ownsMembers_) z_5_1::deleteAll(elements_, size_);
}

ZObject_5_1* ZArrayList_5_1::clone() const {
    return new ZArrayList_5_1(*this);
}

void ZArrayList_5_1::sort(ZSortCompare_5_1 const& compare,
                          ZSortCompare_5_1::sortorder const& order) {
    // A subclass may have its own get() or swap().
    if (typeid(*this) != typeid(ZArrayList_5_1)) {
        ZAbstractList_5_1::sort(compare, order);
        return;
    }
    SlotAccess const slots{elements_, size_};
    if (typeid(compare) == typeid(ZDefaultSortCompare_5_1)) {
        sortRange(order, slots, ObjectOrder(), 0, size_);
    } else {
        sortRange(order, slots, CallersOrder{compare}, 0, size_);
    }
}

int ZArrayList_5_1::contains(ZObject_5_1 const* object) const {
    return indexOf(object) >= 0;
}

void ZArrayList_5_1::add(unsigned int index, ZObject_5_1 const* object) {
    if (ownsMembers_) {
        addClone(index, object);
    } else {
        addNoCopy(index, object);
    }
}

void ZArrayList_5_1::addClone(unsigned int index, ZObject_5_1 const* object) {
    z_5_1::Clone copy(z_5_1::cloneOf(object));
    if (index > size()) return;
    addNoCopy(index, copy.get());
    static_cast<void>(copy.release());
}

void ZArrayList_5_1::addList(ZList_5_1 const& other) {
    bool const toItself = &other == static_cast<ZList_5_1 const*>(this);
    unsigned int const before = size_;
    try {
        for (unsigned int i = 0; i < (toItself ? before : other.size()); ++i) add(other.get(i));
    } catch (...) {
        while (size_ > before) ZArrayList_5_1::remove(size_ - 1);
        throw;
    }
}

void ZArrayList_5_1::addNoCopy(ZObject_5_1 const* object) {
    addNoCopy(size_, object);
}

void ZArrayList_5_1::insert(unsigned int index, ZObject_5_1 const* object) {
    if (index > size_) return;
    if (size_ == capacity_) grow();
    ZObject_5_1** const end = elements_ + size_;
    std::copy_backward(elements_ + index, end, end + 1);
    elements_[index] = const_cast<ZObject_5_1*>(object);
    ++size_;
}

void ZArrayList_5_1::remove(ZObject_5_1 const* object) {
    int const index = indexOf(object);
    if (index >= 0) remove(static_cast<unsigned int>(index));
}

void ZArrayList_5_1::remove(unsigned int index) {
    if (index >= size_) return;
    ZObject_5_1* const removed = elements_[index];
    std::copy(elements_ + index + 1, elements_ + size_, elements_ + index);
    --size_;
    if (ownsMembers_) delete removed;
}

void ZArrayList_5_1::remove(ZListIterator_5_1& iterator) {
    remove(static_cast<unsigned int>(indexOf(iterator)));
    backUp(iterator);
}

void ZArrayList_5_1::removeAll() {
    unsigned int const removed = std::exchange(size_, 0);
    if (ownsMembers_) z_5_1::deleteAll(elements_, removed);
}

void ZArrayList_5_1::set(unsigned int index, ZObject_5_1 const* object) {
    if (index >= size_) return;
    ZObject_5_1* const fresh =
        ownsMembers_ ? z_5_1::cloneOf(object) : const_cast<ZObject_5_1*>(object);
    ZObject_5_1* const old = std::exchange(elements_[index], fresh);
    if (ownsMembers_) delete old;
}

int ZArrayList_5_1::indexOf(ZObject_5_1 const* object) const {
    if (!object) return -1;
    for (unsigned int i = 0; i < size_; ++i) {
        if (elements_[i] && object->equals(*elements_[i])) return static_cast<int>(i);
    }
    return -1;
}

int ZArrayList_5_1::lastIndexOf(ZObject_5_1 const* object) const {
    if (!object) return -1;
    for (unsigned int i = size_; i-- > 0;) {
        if (elements_[i] && object->equals(*elements_[i])) return static_cast<int>(i);
    }
    return -1;
}

void ZArrayList_5_1::subList(ZList_5_1& target, unsigned int from, unsigned int to) const {
    if (from > to || to >= size_) return;
    // The last round is the one before `to` is passed, which may be the greatest number.
    for (unsigned int k = from; k != to; ++k) target.add(get(k));
    target.add(get(to));
}

void ZArrayList_5_1::swap(unsigned int left, unsigned int right) {
    if (left < size_ && right < size_) std::swap(elements_[left], elements_[right]);
}

unsigned int ZArrayList_5_1::capacity() const {
    return capacity_;
}

// rand() and its seed are what callers know: equal lists shuffle alike within a second.
// NOLINTBEGIN(cert-msc30-c,cert-msc32-c,cert-msc50-cpp,cert-msc51-cpp)
void ZArrayList_5_1::shuffle() {
    std::srand(static_cast<unsigned int>(std::time(nullptr)));
    for (unsigned int k = size(); k-- > 1;) {
        swap(k, static_cast<unsigned int>(std::rand()) % (k + 1));
    }
}
// NOLINTEND(cert-msc30-c,cert-msc32-c,cert-msc50-cpp,cert-msc51-cpp)

int ZArrayList_5_1::indexOf(ZListIterator_5_1& iterator) {
    return ZList_5_1::indexOf(iterator);
}

void ZArrayList_5_1::grow() {
    constexpr unsigned int most = std::numeric_limits<unsigned int>::max();
    if (size_ == most) z_5_1::raise(unit, ZOutOfMemoryException_5_1());
    unsigned int const step = size_ < 2 ? 1 : size_ / 2;
    unsigned int const capacity = step > most - size_ ? most : size_ + step;
    elements_ = resizedSlots(elements_, capacity);
    capacity_ = capacity;
}

ZListIterator_5_1::ZListIterator_5_1(ZList_5_1 const& list) : position_(0), list_(&list) {}

ZListIterator_5_1::ZListIterator_5_1(ZListIterator_5_1 const& other) = default;

// cppcheck-suppress operatorEqVarError ; the list stays
ZListIterator_5_1& ZListIterator_5_1::operator=(ZListIterator_5_1 const& other) {
    if (this != &other) position_ = other.position_;
    return *this;
}

ZListIterator_5_1::~ZListIterator_5_1() noexcept {}

ZObject_5_1* ZListIterator_5_1::clone() const {
    return new ZListIterator_5_1(*this);
}

int ZListIterator_5_1::hasMore() {
    return position_ < list_->size();
}

ZObject_5_1* ZListIterator_5_1::getNext() {
    if (position_ >= list_->size()) return nullptr;
    ZObject_5_1* const element = list_->get(position_);
    ++position_;
    return element;
}

void ZListIterator_5_1::reset() {
    position_ = 0;
}

void ZListIterator_5_1::backUp() {
    --position_;
}

int ZListIterator_5_1::indexOf() {
    return static_cast<int>(position_ - 1);
}
