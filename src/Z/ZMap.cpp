// ZMap: sets of entries found by their own hash and equality, and the iterators over them.
// Subsystem: collections, layer 3. Test: tests/ZMap_test.cpp
#include "ZMap.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <type_traits>

static_assert(std::is_convertible<ZArrayMap_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZHashMap_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZMapIterator_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZArrayMapIterator_5_1*, ZObject_5_1*>::value,
              "one way up to the root");

#ifdef __ILP32__
static_assert(sizeof(ZArrayMap_5_1) == 28, "the record is fixed on 32 bits");
static_assert(sizeof(ZHashMap_5_1) == 32, "the record is fixed on 32 bits");
static_assert(sizeof(ZMapIterator_5_1) == 16, "the record is fixed on 32 bits");
#endif

int ZAbstractMap_5_1::isEmpty() const {
    return size() == 0;
}

ZArrayMap_5_1::ZArrayMap_5_1(unsigned int initialCapacity, int ownsMembers)
    : ZArrayList_5_1(initialCapacity, ownsMembers) {}

ZArrayMap_5_1::ZArrayMap_5_1(ZArrayMap_5_1 const& other) = default;

ZArrayMap_5_1& ZArrayMap_5_1::operator=(ZArrayMap_5_1 const& other) = default;

ZArrayMap_5_1::~ZArrayMap_5_1() {}

ZObject_5_1* ZArrayMap_5_1::clone() const {
    return new ZArrayMap_5_1(*this);
}

unsigned int ZArrayMap_5_1::size() const {
    return ZArrayList_5_1::size();
}

int ZArrayMap_5_1::isEmpty() const {
    return size() == 0;
}

int ZArrayMap_5_1::contains(ZObject_5_1 const* entry) const {
    return getIndex(entry) >= 0;
}

ZObject_5_1* ZArrayMap_5_1::getEntry(ZObject_5_1 const* entry) const {
    int const index = getIndex(entry);
    return index < 0 ? nullptr : get(static_cast<unsigned int>(index));
}

void ZArrayMap_5_1::putEntry(ZObject_5_1* entry) {
    int const index = getIndex(entry);
    if (index < 0) {
        add(entry);
    } else {
        set(static_cast<unsigned int>(index), entry);
    }
}

void ZArrayMap_5_1::putAll(ZMap_5_1& other) {
    other.list(*this);
}

void ZArrayMap_5_1::removeEntry(ZObject_5_1* entry) {
    int const index = getIndex(entry);
    if (index >= 0) remove(static_cast<unsigned int>(index));
}

void ZArrayMap_5_1::removeAll() {
    ZArrayList_5_1::removeAll();
}

void ZArrayMap_5_1::list(ZList_5_1& target) const {
    target.addList(*this);
}

int ZArrayMap_5_1::getIndex(ZObject_5_1 const* entry) const {
    return ZArrayList_5_1::indexOf(entry);
}

// Beyond what an index can count the number stays at its greatest, and making the array fails.
unsigned int ZHashMap_5_1::bucketCount(unsigned int capacity) {
    std::uint64_t const wanted = std::uint64_t{std::max(capacity, 2u)} * 3 / 2;
    constexpr std::uint64_t most = std::numeric_limits<unsigned int>::max();
    return static_cast<unsigned int>(std::min(wanted, most));
}

ZHashMap_5_1::ZHashMap_5_1(unsigned int capacity, int ownsMembers)
    : buckets_(bucketCount(capacity), 1), ownsMembers_(ownsMembers) {}

ZHashMap_5_1::ZHashMap_5_1(ZHashMap_5_1 const& other) = default;

ZHashMap_5_1& ZHashMap_5_1::operator=(ZHashMap_5_1 const& other) = default;

ZHashMap_5_1::~ZHashMap_5_1() {}

ZObject_5_1* ZHashMap_5_1::clone() const {
    return new ZHashMap_5_1(*this);
}

unsigned int ZHashMap_5_1::size() const {
    unsigned int entries = 0;
    for (unsigned int slot = 0; slot < buckets_.size(); ++slot) {
        if (ZArrayMap_5_1 const* const bucket = bucketAt(slot)) entries += bucket->size();
    }
    return entries;
}

int ZHashMap_5_1::contains(ZObject_5_1 const* entry) const {
    return getEntry(entry) != nullptr;
}

ZObject_5_1* ZHashMap_5_1::getEntry(ZObject_5_1 const* entry) const {
    ZArrayMap_5_1 const* const bucket = entry ? bucketAt(slotOf(entry->hash())) : nullptr;
    return bucket ? bucket->getEntry(entry) : nullptr;
}

void ZHashMap_5_1::putEntry(ZObject_5_1* entry) {
    if (!entry) return;
    unsigned int const slot = slotOf(entry->hash());
    if (!bucketAt(slot)) buckets_.setNoCopy(slot, new ZArrayMap_5_1(5, ownsMembers_));
    bucketAt(slot)->putEntry(entry);
}

void ZHashMap_5_1::putAll(ZMap_5_1& other) {
    ZArrayList_5_1 entries(10, 0);
    other.list(entries);
    for (unsigned int i = 0; i < entries.size(); ++i) putEntry(entries.get(i));
}

void ZHashMap_5_1::removeEntry(ZObject_5_1* entry) {
    ZArrayMap_5_1* const bucket = entry ? bucketAt(slotOf(entry->hash())) : nullptr;
    if (bucket) bucket->removeEntry(entry);
}

void ZHashMap_5_1::removeAll() {
    for (unsigned int slot = 0; slot < buckets_.size(); ++slot) {
        if (ZArrayMap_5_1* const bucket = bucketAt(slot)) bucket->removeAll();
    }
}

void ZHashMap_5_1::list(ZList_5_1& target) const {
    for (unsigned int slot = 0; slot < buckets_.size(); ++slot) {
        if (ZArrayMap_5_1 const* const bucket = bucketAt(slot)) bucket->list(target);
    }
}

namespace {

ZListIterator_5_1* cursorOver(ZArrayList_5_1* snapshot) {
    return new ZListIterator_5_1(*snapshot);
}

}  // namespace

ZMapIterator_5_1::ZMapIterator_5_1(ZMap_5_1 const& map) {
    auto snapshot = std::make_unique<ZArrayList_5_1>(map.size(), 0);
    map.list(*snapshot);
    cursor_ = cursorOver(snapshot.get());
    snapshot_ = snapshot.release();
}

ZMapIterator_5_1::ZMapIterator_5_1(ZMapIterator_5_1 const& other) : ZAbstractIterator_5_1(other) {
    auto snapshot = std::make_unique<ZArrayList_5_1>(*other.snapshot_);
    cursor_ = cursorOver(snapshot.get());
    snapshot_ = snapshot.release();
    *cursor_ = *other.cursor_;
}

ZMapIterator_5_1& ZMapIterator_5_1::operator=(ZMapIterator_5_1 const& other) {
    if (this == &other) return *this;
    *snapshot_ = *other.snapshot_;
    *cursor_ = *other.cursor_;
    return *this;
}

ZMapIterator_5_1::~ZMapIterator_5_1() noexcept {
    delete cursor_;
    delete snapshot_;
}

ZObject_5_1* ZMapIterator_5_1::clone() const {
    return new ZMapIterator_5_1(*this);
}

int ZMapIterator_5_1::hasMore() {
    return cursor_->hasMore();
}

ZObject_5_1* ZMapIterator_5_1::getNext() {
    return cursor_->getNext();
}

void ZMapIterator_5_1::reset() {
    cursor_->reset();
}

ZArrayMapIterator_5_1::ZArrayMapIterator_5_1(ZArrayMap_5_1& map) : ZListIterator_5_1(map) {}

ZArrayMapIterator_5_1::ZArrayMapIterator_5_1(ZArrayMapIterator_5_1 const& other) = default;

ZArrayMapIterator_5_1& ZArrayMapIterator_5_1::operator=(ZArrayMapIterator_5_1 const& other) =
    default;

ZArrayMapIterator_5_1::~ZArrayMapIterator_5_1() noexcept {}

ZObject_5_1* ZArrayMapIterator_5_1::clone() const {
    return new ZArrayMapIterator_5_1(*this);
}
