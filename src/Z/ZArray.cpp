// ZArray: array of object pointers whose length is fixed and whose slots may be empty.
// Subsystem: collections, layer 2. Test: tests/ZArray_test.cpp
#include "ZArray.h"

#include <memory>
#include <type_traits>
#include <utility>

#include "ZException.h"
#include "zmembers.h"
#include "zraise.h"

static_assert(std::is_convertible<ZArray_5_1*, ZObject_5_1*>::value, "one way up to the root");

#ifdef __ILP32__
static_assert(sizeof(ZArray_5_1) == 20, "the record is fixed on 32 bits");
#endif

namespace {

constexpr char const* unit = "src/Z/ZArray";

using Slots = std::unique_ptr<ZObject_5_1*[]>;

Slots emptySlots(unsigned int size) {
    return Slots(new ZObject_5_1*[size]());
}

}  // namespace

ZArray_5_1::ZArray_5_1(unsigned int size, int ownsMembers)
    : elements_(emptySlots(size ? size : 1).release()),
      ownsMembers_(ownsMembers),
      size_(size ? size : 1) {}

// The delegation completes the object, so a clone() that throws runs the destructor.
ZArray_5_1::ZArray_5_1(ZArray_5_1 const& other) : ZArray_5_1(other.size_, other.ownsMembers_) {
    for (unsigned int i = 0; i < size_; ++i) ZArray_5_1::set(i, other.get(i));
}

ZArray_5_1& ZArray_5_1::operator=(ZArray_5_1 const& other) {
    if (this == &other) return *this;
    // The new objects first: without memory for them the array keeps its own.
    ZArray_5_1 fresh(other.size_, ownsMembers_);
    for (unsigned int i = 0; i < other.size_; ++i) fresh.set(i, other.get(i));
    std::swap(elements_, fresh.elements_);
    std::swap(size_, fresh.size_);
    return *this;
}

ZArray_5_1::~ZArray_5_1() {
    Slots const slots(elements_);
    if (ownsMembers_) z_5_1::deleteAll(elements_, size_);
}

unsigned int ZArray_5_1::size() const {
    return size_;
}

int ZArray_5_1::ownsMembers() const {
    return ownsMembers_;
}

int ZArray_5_1::contains(ZObject_5_1 const* object) const {
    return indexOf(object) >= 0;
}

void ZArray_5_1::remove(unsigned int index) {
    checkIndex(index);
    ZObject_5_1* const occupant = std::exchange(elements_[index], nullptr);
    if (ownsMembers_) delete occupant;
}

void ZArray_5_1::removeAll() {
    for (unsigned int i = 0; i < size_; ++i) remove(i);
}

ZObject_5_1* ZArray_5_1::get(unsigned int index) const {
    checkIndex(index);
    return elements_[index];
}

void ZArray_5_1::set(unsigned int index, ZObject_5_1 const* object) {
    if (!ownsMembers_) {
        setNoCopy(index, object);
        return;
    }
    checkIndex(index);
    z_5_1::Clone copy(z_5_1::cloneOf(object));
    setNoCopy(index, copy.release());
}

void ZArray_5_1::setNoCopy(unsigned int index, ZObject_5_1 const* object) {
    checkIndex(index);
    if (elements_[index] == object) return;
    ZObject_5_1* const occupant = std::exchange(elements_[index], const_cast<ZObject_5_1*>(object));
    if (ownsMembers_) delete occupant;
}

int ZArray_5_1::indexOf(ZObject_5_1 const* object) const {
    if (!object) return -1;
    for (unsigned int i = 0; i < size_; ++i) {
        if (elements_[i] && object->equals(*elements_[i])) return static_cast<int>(i);
    }
    return -1;
}

int ZArray_5_1::lastIndexOf(ZObject_5_1 const* object) const {
    if (!object) return -1;
    for (unsigned int i = size_; i-- > 0;) {
        if (elements_[i] && object->equals(*elements_[i])) return static_cast<int>(i);
    }
    return -1;
}

void ZArray_5_1::swap(unsigned int left, unsigned int right) {
    checkIndex(left);
    checkIndex(right);
    std::swap(elements_[left], elements_[right]);
}

void ZArray_5_1::checkIndex(unsigned int index) const {
    if (index >= size_) z_5_1::raise(unit, ZInvalidParameterException_5_1());
}
