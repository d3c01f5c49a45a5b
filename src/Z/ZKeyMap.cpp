// ZKeyMap: keys with values, found by the keys' hash and equality.
// Subsystem: collections, layer 3. Test: tests/ZKeyMap_test.cpp
//
// The number of buckets never changes, so with many keys a bucket gets long. ZHashKeyMap_5_1 puts
// KeyBuckets into its inner ZHashMap_5_1 and searches them itself, by a hash computed once. What it
// finds is what a search from the front by hash and equality would find:
// 1. Entries lie in the order of first insertion. A replaced pair keeps its place.
// 2. Up to `scanned` entries the bucket looks at the hashes that the entries remember. With more it
//    keeps these hashes in an array beside the entries and scans that; with more than
//    `unindexed` it also keeps an open-addressed table of positions.
// 3. The table is probed linearly and a place is reused only when the table is made anew, so
//    entries of equal hash are met in their order.
// 4. In an indexed bucket a removed entry leaves a hole, a null that listing and counting pass
//    over. When half of the places are holes, the entries close up and the index is made anew: the
//    cost of a removal does not depend on the number of keys.
// 5. An entry never hashes again once stored: a key that its owner changes is found by its old
//    hash only.
#include "ZKeyMap.h"

#include <algorithm>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "zmembers.h"

static_assert(std::is_convertible<ZKeyEntry_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZHashKeyMap_5_1*, ZObject_5_1*>::value,
              "one way up to the root");

#ifdef __ILP32__
static_assert(sizeof(ZKeyEntry_5_1) == 20, "the record is fixed on 32 bits");
static_assert(sizeof(ZHashKeyMap_5_1) == 44, "the record is fixed on 32 bits");
#endif

namespace {

constexpr unsigned int scanned = 8;
constexpr unsigned int unindexed = 64;
constexpr std::uint32_t nowhere = 0xFFFFFFFFu;

std::uint32_t hashOf(ZObject_5_1 const* key) {
    return key ? static_cast<std::uint32_t>(key->hash()) : 0;
}

bool sameKey(ZObject_5_1 const* asked, ZObject_5_1 const* stored) {
    return asked && stored ? asked->equals(*stored) : asked == stored;
}

// Finds positions by hash: the hashes in order and, when they are many, the table over them.
class HashIndex {
public:
    // The first position of that hash which `accepts`; nowhere when there is none.
    template <class Accepts>
    std::uint32_t find(std::uint32_t hash, Accepts const& accepts) const {
        if (table_.empty()) return scan(hash, accepts);
        for (std::uint32_t place = home(hash);; place = next(place)) {
            std::uint32_t const position = table_[place];
            if (position == nowhere) return nowhere;
            if (hashes_[position] == hash && accepts(position)) return position;
        }
    }

    void reserve(std::size_t count) { hashes_.reserve(count); }

    // Makes room for one more hash, so that append() cannot fail.
    void reserveOne() {
        if (hashes_.size() == hashes_.capacity()) hashes_.reserve(hashes_.size() * 2);
        // At most three quarters of the places are taken.
        if (hashes_.size() >= unindexed && hashes_.size() >= table_.size() / 4 * 3) makeTable();
    }

    void append(std::uint32_t hash) {
        hashes_.push_back(hash);
        if (!table_.empty()) enter(static_cast<std::uint32_t>(hashes_.size() - 1));
    }

    // Moves the later positions down by one. Only without a table.
    void erase(std::uint32_t position) { hashes_.erase(hashes_.begin() + position); }

    // Keeps the positions that `keeps`, in order, and makes the table anew; allocates nothing.
    template <class Keeps>
    void closeUp(Keeps const& keeps) {
        std::uint32_t kept = 0;
        for (std::uint32_t position = 0; position < hashes_.size(); ++position) {
            if (keeps(position)) hashes_[kept++] = hashes_[position];
        }
        hashes_.resize(kept);
        if (kept <= unindexed) {
            std::vector<std::uint32_t>().swap(table_);
            return;
        }
        // The table shrinks with what it holds, or clearing it would cost what it once held.
        std::uint32_t const bits = std::min(bitsFor(kept), 32 - shift_);
        table_.resize(std::size_t{1} << bits);
        shift_ = 32 - bits;
        std::fill(table_.begin(), table_.end(), nowhere);
        enterAll();
    }

    bool hasTable() const { return !table_.empty(); }

private:
    template <class Accepts>
    std::uint32_t scan(std::uint32_t hash, Accepts const& accepts) const {
        for (std::uint32_t position = 0; position < hashes_.size(); ++position) {
            if (hashes_[position] == hash && accepts(position)) return position;
        }
        return nowhere;
    }

    // All hashes of a bucket are equal modulo the number of buckets; the multiplication spreads
    // them.
    std::uint32_t home(std::uint32_t hash) const { return (hash * 2654435769u) >> shift_; }
    std::uint32_t next(std::uint32_t place) const {
        return (place + 1) & static_cast<std::uint32_t>(table_.size() - 1);
    }

    static std::uint32_t bitsFor(std::size_t hashes) {
        std::uint32_t bits = 7;
        while ((std::size_t{1} << bits) <= hashes * 2) ++bits;
        return bits;
    }

    void makeTable() {
        std::uint32_t const bits = bitsFor(hashes_.size());
        std::vector<std::uint32_t>(std::size_t{1} << bits, nowhere).swap(table_);
        shift_ = 32 - bits;
        enterAll();
    }

    void enterAll() {
        for (std::uint32_t position = 0; position < hashes_.size(); ++position) enter(position);
    }

    void enter(std::uint32_t position) {
        std::uint32_t place = home(hashes_[position]);
        while (table_[place] != nowhere) place = next(place);
        table_[place] = position;
    }

    std::vector<std::uint32_t> hashes_;
    std::vector<std::uint32_t> table_;  // empty, or a power of two
    std::uint32_t shift_ = 0;
};

}  // namespace

// Owns its entries. The members that a ZHashMap_5_1 calls on its buckets (size, list, removeAll,
// clone) pass over the holes.
class z_5_1::KeyBucket : public ZArrayMap_5_1 {
public:
    // Three places fill the smallest heap block.
    explicit KeyBucket(unsigned int capacity = 3) : ZArrayMap_5_1(capacity, 1) {}

    // The delegation completes the object, so a clone() that throws runs the destructor.
    KeyBucket(KeyBucket const& other) : KeyBucket(other.size()) {
        for (unsigned int i = 0; i < other.size_; ++i) {
            if (other.entry(i)) append(std::make_unique<ZKeyEntry_5_1>(*other.entry(i)));
        }
    }
    KeyBucket& operator=(KeyBucket const&) = delete;

    ZObject_5_1* clone() const override { return new KeyBucket(*this); }
    unsigned int size() const override { return size_ - holes_; }

    void removeAll() override {
        index_.reset();
        holes_ = 0;
        ZArrayMap_5_1::removeAll();
    }

    void list(ZList_5_1& target) const override {
        for (unsigned int i = 0; i < size_; ++i) {
            if (elements_[i]) target.add(elements_[i]);
        }
    }

    // Null in a hole.
    ZKeyEntry_5_1* entry(std::uint32_t position) const {
        return static_cast<ZKeyEntry_5_1*>(elements_[position]);
    }

    // Position of the key, whose hash the caller knows; nowhere when it is absent.
    std::uint32_t find(std::uint32_t hash, ZObject_5_1 const* key) const {
        auto const isKey = [&](std::uint32_t position) {
            return entry(position) && sameKey(key, entry(position)->key_);
        };
        if (index_) return index_->find(hash, isKey);
        for (std::uint32_t i = 0; i < size_; ++i) {
            if (entry(i)->hash_ == hash && isKey(i)) return i;
        }
        return nowhere;
    }

    // The entry knows its hash already.
    void append(std::unique_ptr<ZKeyEntry_5_1> fresh) {
        if (!index_ && size_ == scanned) makeIndex();
        if (index_) index_->reserveOne();
        addNoCopy(size_, fresh.get());
        if (index_) index_->append(fresh->hash_);
        static_cast<void>(fresh.release());
    }

    void erase(std::uint32_t position) {
        if (!index_ || !index_->hasTable()) {
            if (index_) index_->erase(position);
            remove(position);
            return;
        }
        ZObject_5_1* const removed = std::exchange(elements_[position], nullptr);
        if (++holes_ * 2 >= size_) closeUp();
        delete removed;
    }

private:
    void makeIndex() {
        auto index = std::make_unique<HashIndex>();
        index->reserve(std::size_t{size_} * 2);
        for (std::uint32_t i = 0; i < size_; ++i) index->append(entry(i)->hash_);
        index_ = std::move(index);
    }

    void closeUp() {
        index_->closeUp([this](std::uint32_t position) { return elements_[position] != nullptr; });
        ZObject_5_1** const end = elements_ + size_;
        size_ = static_cast<unsigned int>(std::remove(elements_, end, nullptr) - elements_);
        holes_ = 0;
    }

    std::unique_ptr<HashIndex> index_;
    unsigned int holes_ = 0;
};

using z_5_1::KeyBucket;

int ZAbstractKeyMap_5_1::isEmpty() const {
    return size() == 0;
}

ZKeyEntry_5_1::ZKeyEntry_5_1(ZObject_5_1* key, ZObject_5_1* value, int ownsMembers)
    : key_(key), value_(value), ownsMembers_(ownsMembers), hash_(0) {
    if (!ownsMembers) return;
    z_5_1::Clone keyCopy(z_5_1::cloneOf(key));
    value_ = z_5_1::cloneOf(value);
    key_ = keyCopy.release();
}

ZKeyEntry_5_1::ZKeyEntry_5_1(ZKeyEntry_5_1 const& other)
    : ZKeyEntry_5_1(other.key_, other.value_, other.ownsMembers_) {
    hash_ = other.hash_.load(std::memory_order_relaxed);
}

ZKeyEntry_5_1::~ZKeyEntry_5_1() {
    ZObject_5_1* const members[] = {key_, value_};
    if (ownsMembers_) z_5_1::deleteAll(members, 2);
}

unsigned long ZKeyEntry_5_1::hash() const {
    unsigned long const whole = key_ ? key_->hash() : 0;
    hash_ = static_cast<std::uint32_t>(whole);
    return whole;
}

int ZKeyEntry_5_1::compare(ZObject_5_1 const& other) const {
    ZObject_5_1 const* const key = static_cast<ZKeyEntry_5_1 const&>(other).key_;
    if (key_ && key) return key_->compare(*key);
    return static_cast<int>(key_ != nullptr) - static_cast<int>(key != nullptr);
}

ZObject_5_1* ZKeyEntry_5_1::clone() const {
    return new ZKeyEntry_5_1(*this);
}

int ZKeyEntry_5_1::equals(ZObject_5_1 const& other) const {
    auto const& entry = static_cast<ZKeyEntry_5_1 const&>(other);
    return hash_ == entry.hash_ && sameKey(key_, entry.key_);
}

// Where a key lies, or would lie.
struct ZHashKeyMap_5_1::Place {
    Place(ZHashMap_5_1 const& entries, ZObject_5_1 const* key)
        : hash(hashOf(key)),
          slot(entries.slotOf(hash)),
          bucket(static_cast<KeyBucket*>(entries.bucketAt(slot))),
          position(bucket ? bucket->find(hash, key) : nowhere) {}

    ZKeyEntry_5_1* entry() const { return position == nowhere ? nullptr : bucket->entry(position); }

    std::uint32_t hash;
    unsigned int slot;
    KeyBucket* bucket;  // null: not made yet
    std::uint32_t position;
};

ZHashKeyMap_5_1::ZHashKeyMap_5_1(unsigned int capacity, int ownsMembers)
    : entries_(capacity, 1), ownsMembers_(ownsMembers) {}

ZHashKeyMap_5_1::ZHashKeyMap_5_1(ZHashKeyMap_5_1 const& other) = default;

ZHashKeyMap_5_1& ZHashKeyMap_5_1::operator=(ZHashKeyMap_5_1 const& other) {
    if (this == &other) return *this;
    // First, so that the map never deletes pairs of another owner when a clone fails half way.
    ownsMembers_ = other.ownsMembers_;
    entries_ = other.entries_;
    return *this;
}

ZHashKeyMap_5_1::~ZHashKeyMap_5_1() {}

ZObject_5_1* ZHashKeyMap_5_1::clone() const {
    return new ZHashKeyMap_5_1(*this);
}

unsigned int ZHashKeyMap_5_1::size() const {
    return entries_.size();
}

int ZHashKeyMap_5_1::contains(ZObject_5_1 const* key) const {
    return Place(entries_, key).entry() != nullptr;
}

ZObject_5_1* ZHashKeyMap_5_1::getEntry(ZObject_5_1 const* key) const {
    ZKeyEntry_5_1 const* const entry = Place(entries_, key).entry();
    return entry ? entry->value_ : nullptr;
}

void ZHashKeyMap_5_1::putEntry(ZObject_5_1 const* key, ZObject_5_1 const* value) {
    if (!ownsMembers_) {
        store(const_cast<ZObject_5_1*>(key), const_cast<ZObject_5_1*>(value));
        return;
    }
    z_5_1::Clone keyCopy(z_5_1::cloneOf(key));
    z_5_1::Clone valueCopy(z_5_1::cloneOf(value));
    Pair const replaced = store(keyCopy.get(), valueCopy.get());
    static_cast<void>(keyCopy.release());
    static_cast<void>(valueCopy.release());
    z_5_1::deleteAll(replaced.data(), replaced.size());
}

void ZHashKeyMap_5_1::putEntryNoCopy(ZObject_5_1* key, ZObject_5_1* value) {
    Pair replaced = store(key, value);
    if (!ownsMembers_) return;
    // Putting in what is stored already deletes nothing.
    std::replace(replaced.begin(), replaced.end(), key, static_cast<ZObject_5_1*>(nullptr));
    std::replace(replaced.begin(), replaced.end(), value, static_cast<ZObject_5_1*>(nullptr));
    z_5_1::deleteAll(replaced.data(), replaced.size());
}

// Changes nothing when it throws. Gives what the pair replaces, nulls when the key is new.
ZHashKeyMap_5_1::Pair ZHashKeyMap_5_1::store(ZObject_5_1* key, ZObject_5_1* value) {
    Place const place(entries_, key);
    if (ZKeyEntry_5_1* const entry = place.entry()) {
        return {std::exchange(entry->key_, key), std::exchange(entry->value_, value)};
    }
    auto fresh = std::make_unique<ZKeyEntry_5_1>(key, value, 0);
    fresh->hash_ = place.hash;
    ZKeyEntry_5_1* const stored = fresh.get();
    KeyBucket* bucket = place.bucket;
    if (!bucket) entries_.buckets_.setNoCopy(place.slot, bucket = new KeyBucket);
    bucket->append(std::move(fresh));
    stored->ownsMembers_ = ownsMembers_;
    return {};
}

void ZHashKeyMap_5_1::putAll(ZKeyMap_5_1 const& other) {
    ZArrayList_5_1 keys(10, 0);
    other.listKeys(keys);
    for (unsigned int i = 0; i < keys.size(); ++i)
        putEntry(keys.get(i), other.getEntry(keys.get(i)));
}

void ZHashKeyMap_5_1::removeEntry(ZObject_5_1 const* key) {
    Place const place(entries_, key);
    if (place.entry()) place.bucket->erase(place.position);
}

void ZHashKeyMap_5_1::removeAll() {
    entries_.removeAll();
}

void ZHashKeyMap_5_1::listKeys(ZList_5_1& target) const {
    ZArrayList_5_1 entries(10, 0);
    entries_.list(entries);
    for (unsigned int i = 0; i < entries.size(); ++i) {
        target.add(static_cast<ZKeyEntry_5_1*>(entries.get(i))->key_);
    }
}

void ZHashKeyMap_5_1::listObjects(ZList_5_1& target) const {
    ZArrayList_5_1 entries(10, 0);
    entries_.list(entries);
    for (unsigned int i = 0; i < entries.size(); ++i) {
        target.add(static_cast<ZKeyEntry_5_1*>(entries.get(i))->value_);
    }
}
