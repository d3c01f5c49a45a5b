// ZKeyMap: keys with values, found by the keys' hash and equality.
// Subsystem: collections, layer 3. Test: tests/ZKeyMap_test.cpp
//
// The number of buckets never changes, so with many keys a bucket gets long. A ZHashKeyMap_5_1
// therefore keeps no buckets, but all its pairs in one array, and finds them by an open-addressed
// table of places; buckets are counted out when it is listed. What it finds is what a search of a
// bucket from the front by hash and equality would find:
// 1. Pairs lie in the order of first insertion. A replaced pair keeps its position.
// 2. The places are probed linearly and one is reused only where nothing lies behind it, or when
// all
//    are made anew, so pairs of equal hash are met in their order. At most half of the places are
//    taken. A place holds what a search compares, so that the pair is read beside the key, not
//    before it.
// 3. A removed pair leaves a hole, which keeps its place while others lie behind it. When half of
//    the pairs are holes and these are not few, the pairs close up and the places are made anew:
//    the cost of a removal does not depend on the number of keys.
// 4. A key never hashes again once stored: one that its owner changes is found by its old hash
//    only.
#include "ZKeyMap.h"

#include <algorithm>
#include <exception>
#include <numeric>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "ZException.h"
#include "ZLCString.h"
#include "ZMap.h"
#include "zmembers.h"
#include "zraise.h"

static_assert(std::is_convertible<ZKeyEntry_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZHashKeyMap_5_1*, ZObject_5_1*>::value,
              "one way up to the root");

#ifdef __ILP32__
static_assert(sizeof(ZKeyEntry_5_1) == 20, "the record is fixed on 32 bits");
static_assert(sizeof(ZHashKeyMap_5_1) == 44, "the record is fixed on 32 bits");
#endif

namespace {

constexpr char const* unit = "src/Z/ZKeyMap";
constexpr std::size_t fewestPlaces = 8;
constexpr std::uint32_t gone = 0xFFFFFFFFu;  // the number of a removed pair

// Places for as many pairs as the capacity says, but a number that stands for "as many as you like"
// must not become that many places.
std::size_t foreseen(unsigned int buckets) {
    return std::size_t{std::min(buckets, 1u << 20)} * 4 / 3;
}

std::uint32_t hashOf(ZObject_5_1 const* key) {
    return key ? static_cast<std::uint32_t>(key->hash()) : 0;
}

// The library's own strings, as most keys are: null for any other object.
ZLCString_5_1 const* asOwnText(ZObject_5_1 const* key) {
    return &typeid(*key) == &typeid(ZLCString_5_1) ? static_cast<ZLCString_5_1 const*>(key)
                                                   : nullptr;
}

// What asked->equals(*stored) says. Two strings are compared without the calls that this makes.
bool sameKey(ZObject_5_1 const* asked, ZObject_5_1 const* stored) {
    if (!asked || !stored) return asked == stored;
    ZLCString_5_1 const* const left = asOwnText(asked);
    ZLCString_5_1 const* const right = left ? asOwnText(stored) : nullptr;
    return right ? *left == *right : asked->equals(*stored);
}

}  // namespace

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

ZHashKeyMap_5_1::ZHashKeyMap_5_1(unsigned int capacity, int ownsMembers)
    : holes_(0), buckets_(ZHashMap_5_1::bucketCount(capacity)), ownsMembers_(ownsMembers) {}

// The delegation completes the object, so a clone() that throws runs the destructor.
ZHashKeyMap_5_1::ZHashKeyMap_5_1(ZHashKeyMap_5_1 const& other)
    : ZHashKeyMap_5_1(0, other.ownsMembers_) {
    copyPairs(other);
}

ZHashKeyMap_5_1& ZHashKeyMap_5_1::operator=(ZHashKeyMap_5_1 const& other) {
    if (this == &other) return *this;
    // The new pairs first: without memory for them the map keeps its own.
    ZHashKeyMap_5_1 fresh(other);
    pairs_.swap(fresh.pairs_);
    places_.swap(fresh.places_);
    std::swap(holes_, fresh.holes_);
    std::swap(buckets_, fresh.buckets_);
    std::swap(ownsMembers_, fresh.ownsMembers_);
    return *this;
}

ZHashKeyMap_5_1::~ZHashKeyMap_5_1() {
    deletePairs();
}

ZObject_5_1* ZHashKeyMap_5_1::clone() const {
    return new ZHashKeyMap_5_1(*this);
}

unsigned int ZHashKeyMap_5_1::size() const {
    return static_cast<unsigned int>(pairs_.size()) - holes_;
}

int ZHashKeyMap_5_1::contains(ZObject_5_1 const* key) const {
    return find(key, hashOf(key)) != nullptr;
}

ZObject_5_1* ZHashKeyMap_5_1::getEntry(ZObject_5_1 const* key) const {
    Place const* const place = find(key, hashOf(key));
    return place ? pairAt(*place).value : nullptr;
}

void ZHashKeyMap_5_1::putEntry(ZObject_5_1 const* key, ZObject_5_1 const* value) {
    if (!ownsMembers_) {
        store(const_cast<ZObject_5_1*>(key), const_cast<ZObject_5_1*>(value));
        return;
    }
    z_5_1::Clone keyCopy(z_5_1::cloneOf(key));
    z_5_1::Clone valueCopy(z_5_1::cloneOf(value));
    Members const replaced = store(keyCopy.get(), valueCopy.get());
    static_cast<void>(keyCopy.release());
    static_cast<void>(valueCopy.release());
    z_5_1::deleteAll(replaced.data(), replaced.size());
}

void ZHashKeyMap_5_1::putEntryNoCopy(ZObject_5_1* key, ZObject_5_1* value) {
    Members replaced = store(key, value);
    if (!ownsMembers_) return;
    // Putting in what is stored already deletes nothing.
    std::replace(replaced.begin(), replaced.end(), key, static_cast<ZObject_5_1*>(nullptr));
    std::replace(replaced.begin(), replaced.end(), value, static_cast<ZObject_5_1*>(nullptr));
    z_5_1::deleteAll(replaced.data(), replaced.size());
}

void ZHashKeyMap_5_1::putAll(ZKeyMap_5_1 const& other) {
    ZArrayList_5_1 keys(10, 0);
    other.listKeys(keys);
    for (unsigned int i = 0; i < keys.size(); ++i)
        putEntry(keys.get(i), other.getEntry(keys.get(i)));
}

void ZHashKeyMap_5_1::removeEntry(ZObject_5_1 const* key) {
    auto* const place = const_cast<Place*>(find(key, hashOf(key)));
    if (!place) return;
    Pair& pair = pairAt(*place);
    Members const removed = {pair.key, pair.value};
    pair = {nullptr, nullptr, pair.hash, true};
    leave(*place);
    ++holes_;
    if (holes_ >= pairs_.size() / 2 && holes_ >= places_.size() / 8) {
        remake(std::min(places_.size(), std::size_t{size()} * 4));
    }
    if (ownsMembers_) z_5_1::deleteAll(removed.data(), removed.size());
}

void ZHashKeyMap_5_1::removeAll() {
    deletePairs();
}

void ZHashKeyMap_5_1::listKeys(ZList_5_1& target) const {
    list(&Pair::key, target);
}

void ZHashKeyMap_5_1::listObjects(ZList_5_1& target) const {
    list(&Pair::value, target);
}

// ---- the pairs ----

// The place of the key, whose hash the caller knows; null when it is absent.
ZHashKeyMap_5_1::Place const* ZHashKeyMap_5_1::find(ZObject_5_1 const* key,
                                                    std::uint32_t hash) const {
    if (places_.empty()) return nullptr;
    for (std::size_t i = home(hash);; i = next(i)) {
        Place const& place = places_[i];
        if (place.number == 0) return nullptr;
        if (place.hash == hash && place.number != gone && sameKey(key, place.key)) return &place;
    }
}

// Changes nothing when it throws. Gives what the pair replaces, nulls when the key is new.
ZHashKeyMap_5_1::Members ZHashKeyMap_5_1::store(ZObject_5_1* key, ZObject_5_1* value) {
    std::uint32_t const hash = hashOf(key);
    if (auto* const place = const_cast<Place*>(find(key, hash))) {
        Pair& pair = pairAt(*place);
        place->key = key;
        return {std::exchange(pair.key, key), std::exchange(pair.value, value)};
    }
    if (places_.empty()) {
        remake(foreseen(buckets_));
    } else if (pairs_.size() >= places_.size() / 2) {
        remake(std::size_t{size()} * 4);
    }
    append({key, value, hash, false});
    return {};
}

// remake() has made room.
void ZHashKeyMap_5_1::append(Pair const& pair) {
    pairs_.push_back(pair);
    enter(pairs_.size() - 1);
}

// Into an empty map.
void ZHashKeyMap_5_1::copyPairs(ZHashKeyMap_5_1 const& other) {
    buckets_ = other.buckets_;
    if (other.size() == 0) return;
    remake(std::max(std::size_t{other.size()} * 2, foreseen(buckets_)));
    for (Pair const& pair : other.pairs_) {
        if (pair.removed) continue;
        if (ownsMembers_) {
            z_5_1::Clone key(z_5_1::cloneOf(pair.key));
            append({key.get(), z_5_1::cloneOf(pair.value), pair.hash, false});
            static_cast<void>(key.release());
        } else {
            append(pair);
        }
    }
}

// Of several exceptions the first passes on, when all are deleted.
void ZHashKeyMap_5_1::deletePairs() {
    std::vector<Pair> deleted;
    deleted.swap(pairs_);
    places_.clear();
    holes_ = 0;
    if (!ownsMembers_) return;
    std::exception_ptr first;
    for (Pair const& pair : deleted) {
        ZObject_5_1* const members[] = {pair.key, pair.value};
        try {
            z_5_1::deleteAll(members, 2);
        }
        Z_CATCH_ALL {
            if (!first) first = std::current_exception();
        }
    }
    if (first) std::rethrow_exception(first);
}

// By bucket, those that share one in their order: counted out, or sorted where most are empty.
void ZHashKeyMap_5_1::list(ZObject_5_1* Pair::*member, ZList_5_1& target) const {
    std::vector<ZObject_5_1*> sorted;
    sorted.reserve(size());
    if (buckets_ / 4 > pairs_.size()) {
        std::vector<std::pair<std::uint32_t, ZObject_5_1*>> numbered;
        numbered.reserve(size());
        for (Pair const& pair : pairs_) {
            if (!pair.removed) numbered.emplace_back(pair.hash % buckets_, pair.*member);
        }
        std::stable_sort(numbered.begin(), numbered.end(), [](auto const& left, auto const& right) {
            return left.first < right.first;
        });
        for (auto const& entry : numbered) sorted.push_back(entry.second);
    } else {
        std::vector<unsigned int> starts(std::size_t{buckets_} + 1);
        for (Pair const& pair : pairs_) {
            if (!pair.removed) ++starts[std::size_t{pair.hash % buckets_} + 1];
        }
        std::partial_sum(starts.begin(), starts.end(), starts.begin());
        sorted.resize(size());
        for (Pair const& pair : pairs_) {
            if (!pair.removed) sorted[starts[pair.hash % buckets_]++] = pair.*member;
        }
    }
    for (ZObject_5_1 const* object : sorted) target.add(object);
}

// ---- their places ----

// The multiplication spreads hashes that differ little.
inline std::size_t ZHashKeyMap_5_1::home(std::uint32_t hash) const {
    std::uint32_t const spread = hash * 2654435769u;
    return static_cast<std::size_t>(std::uint64_t{spread} * places_.size() >> 32);
}

inline std::size_t ZHashKeyMap_5_1::next(std::size_t place) const {
    return place + 1 == places_.size() ? 0 : place + 1;
}

inline void ZHashKeyMap_5_1::enter(std::size_t position) {
    Pair const& pair = pairs_[position];
    std::size_t place = home(pair.hash);
    while (places_[place].number != 0) place = next(place);
    places_[place] = {pair.key, pair.hash, static_cast<std::uint32_t>(position + 1)};
}

// At the end of a run of places nothing is searched behind this one, nor behind gone ones before
// it.
void ZHashKeyMap_5_1::leave(Place& left) {
    left.number = gone;
    auto place = static_cast<std::size_t>(&left - places_.data());
    if (places_[next(place)].number != 0) return;
    for (; places_[place].number == gone; place = (place == 0 ? places_.size() : place) - 1) {
        places_[place].number = 0;
    }
}

// So many places, or the fewest there may be, with room for half as many pairs. Changes
// nothing when it throws, which it does not where they become no more.
void ZHashKeyMap_5_1::remake(std::size_t places) {
    places = std::max(places, fewestPlaces);
    if (places > std::min<std::size_t>(places_.max_size(), gone)) {
        z_5_1::raise(unit, ZOutOfMemoryException_5_1());
    }
    pairs_.reserve(places / 2);
    places_.reserve(places);
    auto const isRemoved = [](Pair const& pair) { return pair.removed; };
    pairs_.erase(std::remove_if(pairs_.begin(), pairs_.end(), isRemoved), pairs_.end());
    holes_ = 0;
    places_.assign(places, Place{});
    for (std::size_t position = 0; position < pairs_.size(); ++position) enter(position);
}
