// ZKeyMap: keys with values, found by the keys' hash and equality.
// Subsystem: collections, layer 3. Test: tests/ZKeyMap_test.cpp
#ifndef Z_ZKEYMAP_H
#define Z_ZKEYMAP_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ZList.h"
#include "ZMap.h"
#include "ZObject.h"

// What any key map offers. An absent key is never an error: lookups give null or 0, removals do
// nothing. The key asked about is the receiver of equals(). A null key is a key like any other.
// Allocation failures pass through. No locking: callers serialise.
class Z_API ZKeyMap_5_1 {
public:
    virtual unsigned int size() const = 0;                   // pairs
    virtual int isEmpty() const = 0;                         // 1 when there is no pair, else 0
    virtual int contains(ZObject_5_1 const* key) const = 0;  // 1 when the key is there, else 0

    // The stored value, still the map's. Null for an absent key and for a stored null alike:
    // contains() tells them apart.
    virtual ZObject_5_1* getEntry(ZObject_5_1 const* key) const = 0;

    // Stores the pair; a key already present has key and value replaced and keeps its place.
    virtual void putEntry(ZObject_5_1 const* key, ZObject_5_1 const* value) = 0;

    // Puts every pair of the other map.
    virtual void putAll(ZKeyMap_5_1 const& other) = 0;

    // Remove a key with its value, or all; an owning map deletes them.
    virtual void removeEntry(ZObject_5_1 const* key) = 0;
    virtual void removeAll() = 0;

    // Appends all keys, or all values, to the target, which clones them if it owns; both in the
    // same order.
    virtual void listKeys(ZList_5_1& target) const = 0;
    virtual void listObjects(ZList_5_1& target) const = 0;

protected:
    ZKeyMap_5_1() = default;
    ZKeyMap_5_1(ZKeyMap_5_1 const&) = default;
    ZKeyMap_5_1& operator=(ZKeyMap_5_1 const&) = default;
    ~ZKeyMap_5_1() = default;
};

// isEmpty() in terms of size().
class Z_API ZAbstractKeyMap_5_1 : public ZObject_5_1, public ZKeyMap_5_1 {
public:
    int isEmpty() const override;
};

// One pair as an entry of a ZMap_5_1. It compares and hashes as its key does.
class Z_API ZKeyEntry_5_1 : public ZObject_5_1 {
public:
    // An owning entry keeps and deletes clones of both; any other keeps the pointers.
    ZKeyEntry_5_1(ZObject_5_1* key, ZObject_5_1* value, int ownsMembers);

    // Same ownership and remembered hash; key and value cloned when owning.
    ZKeyEntry_5_1(ZKeyEntry_5_1 const& other);
    ZKeyEntry_5_1& operator=(ZKeyEntry_5_1 const&) = delete;

    ~ZKeyEntry_5_1() override;

    // The key's hash; its low 32 bits are remembered for equals(). 0 for a null key.
    unsigned long hash() const override;

    // `other` must be a ZKeyEntry_5_1.
    int compare(ZObject_5_1 const& other) const override;

    ZObject_5_1* clone() const override;

    // `other` must be a ZKeyEntry_5_1. 0 when the hashes remembered by the last hash() calls (0
    // before any) differ, else what the keys say.
    int equals(ZObject_5_1 const& other) const override;

    // Still the entry's where it owns them.
    ZObject_5_1* getKey() const { return key_; }
    ZObject_5_1* getValue() const { return value_; }

private:
    ZObject_5_1* key_;
    ZObject_5_1* value_;
    int ownsMembers_;
    mutable std::atomic<std::uint32_t> hash_;  // written by hash() of any thread
};

// Buckets as in ZHashMap_5_1: their number is (max(capacity, 2) * 3) / 2, keys and values are
// listed bucket by bucket, within one in the order of first insertion. The buckets settle that
// order alone: a lookup costs the same however many keys share one. An owning map keeps and deletes
// clones of keys and values; any other keeps the pointers.
class Z_API ZHashKeyMap_5_1 : public ZAbstractKeyMap_5_1 {
public:
    // Empty. The capacity settles the number of buckets.
    explicit ZHashKeyMap_5_1(unsigned int capacity = 10, int ownsMembers = 0);

    // Clones of keys and values when the source owns, else the same pointers. Assignment takes
    // over ownership and bucket count as well.
    ZHashKeyMap_5_1(ZHashKeyMap_5_1 const& other);
    ZHashKeyMap_5_1& operator=(ZHashKeyMap_5_1 const& other);

    ~ZHashKeyMap_5_1() override;

    ZObject_5_1* clone() const override;

    unsigned int size() const override;
    int contains(ZObject_5_1 const* key) const override;
    ZObject_5_1* getEntry(ZObject_5_1 const* key) const override;
    void putEntry(ZObject_5_1 const* key, ZObject_5_1 const* value) override;
    void putAll(ZKeyMap_5_1 const& other) override;
    void removeEntry(ZObject_5_1 const* key) override;
    void removeAll() override;
    void listKeys(ZList_5_1& target) const override;
    void listObjects(ZList_5_1& target) const override;

    // putEntry() without the copies: the map stores the two pointers, and an owning map deletes
    // them as it would its own clones. When memory runs out they are still the caller's.
    void putEntryNoCopy(ZObject_5_1* key, ZObject_5_1* value);

private:
    struct Pair {
        ZObject_5_1* key;
        ZObject_5_1* value;
        std::uint32_t hash;
        bool removed;
    };
    struct Place {
        ZObject_5_1* key;
        std::uint32_t hash;
        std::uint32_t number;  // of the pair, counted from 1; 0: free
    };
    using Members = std::array<ZObject_5_1*, 2>;

    Place const* find(ZObject_5_1 const* key, std::uint32_t hash) const;
    Pair& pairAt(Place const& place) { return pairs_[place.number - 1]; }
    Pair const& pairAt(Place const& place) const { return pairs_[place.number - 1]; }
    Members store(ZObject_5_1* key, ZObject_5_1* value);
    void append(Pair const& pair);
    void copyPairs(ZHashKeyMap_5_1 const& other);
    void deletePairs();
    void list(ZObject_5_1* Pair::*member, ZList_5_1& target) const;

    std::size_t home(std::uint32_t hash) const;
    std::size_t next(std::size_t place) const;
    void enter(std::size_t position);
    void leave(Place& left);
    void remake(std::size_t places);

    std::vector<Pair> pairs_;    // in the order of first insertion
    std::vector<Place> places_;  // none before the first pair
    unsigned int holes_;
    unsigned int buckets_;
    int ownsMembers_;
};

#endif
