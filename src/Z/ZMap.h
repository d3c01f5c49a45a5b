// ZMap: sets of entries found by their own hash and equality, and the iterators over them.
// Subsystem: collections, layer 3. Test: tests/ZMap_test.cpp
#ifndef Z_ZMAP_H
#define Z_ZMAP_H

#include <cstdint>

#include "ZArray.h"
#include "ZIterator.h"
#include "ZList.h"
#include "ZObject.h"

// What any entry map offers. Entries that are equal replace each other; the entry asked about is
// always the receiver of equals(). An absent entry is never an error: lookups give null or 0,
// removals do nothing. Allocation failures pass through. No locking: callers serialise.
class Z_API ZMap_5_1 {
public:
    virtual unsigned int size() const = 0;  // entries
    virtual int isEmpty() const = 0;        // 1 when there is none, else 0
    virtual int contains(
        ZObject_5_1 const* entry) const = 0;  // 1 when an equal one is there, else 0

    // The stored entry that equals the given one, still the map's; null when absent.
    virtual ZObject_5_1* getEntry(ZObject_5_1 const* entry) const = 0;

    // Stores the entry (a clone in an owning map), in the place of an equal one if there is one.
    virtual void putEntry(ZObject_5_1* entry) = 0;

    // Stores every entry of the other map.
    virtual void putAll(ZMap_5_1& other) = 0;

    // Remove the entry that equals the given one, or all; an owning map deletes them.
    virtual void removeEntry(ZObject_5_1* entry) = 0;
    virtual void removeAll() = 0;

    // Appends every entry to the target, which clones them if it owns.
    virtual void list(ZList_5_1& target) const = 0;

protected:
    ZMap_5_1() = default;
    ZMap_5_1(ZMap_5_1 const&) = default;
    ZMap_5_1& operator=(ZMap_5_1 const&) = default;
    ~ZMap_5_1() = default;
};

// isEmpty() in terms of size().
class Z_API ZAbstractMap_5_1 : public ZObject_5_1, public ZMap_5_1 {
public:
    int isEmpty() const override;
};

// A list used as a map, by linear search. Entries keep the order of their first insertion.
class Z_API ZArrayMap_5_1 : public ZArrayList_5_1, public ZMap_5_1 {
public:
    // As ZArrayList_5_1, also where it is copied and assigned.
    explicit ZArrayMap_5_1(unsigned int initialCapacity = 10, int ownsMembers = 0);
    ZArrayMap_5_1(ZArrayMap_5_1 const& other);
    ZArrayMap_5_1& operator=(ZArrayMap_5_1 const& other);
    ~ZArrayMap_5_1() override;

    ZObject_5_1* clone() const override;

    unsigned int size() const override;
    int isEmpty() const override;
    int contains(ZObject_5_1 const* entry) const override;
    ZObject_5_1* getEntry(ZObject_5_1 const* entry) const override;
    void putEntry(ZObject_5_1* entry) override;

    // Appends every entry of the other map without looking for equal ones, so duplicates stay.
    void putAll(ZMap_5_1& other) override;

    void removeEntry(ZObject_5_1* entry) override;
    void removeAll() override;
    void list(ZList_5_1& target) const override;

    // Position of the first entry that equals the given one, or -1.
    virtual int getIndex(ZObject_5_1 const* entry) const;
};

// A fixed number of buckets: (max(capacity, 2) * 3) / 2, for the life of the map but for
// assignment. An entry lies in bucket (32-bit hash) modulo that number. Entries are listed bucket
// by bucket, within one in the order of first insertion. A null entry is never stored.
class Z_API ZHashMap_5_1 : public ZAbstractMap_5_1 {
public:
    // Empty. The capacity settles the number of buckets.
    explicit ZHashMap_5_1(unsigned int capacity = 10, int ownsMembers = 0);

    // Clones every bucket: the entries too when owning, else they are shared. Assignment takes
    // over bucket count and ownership as well.
    ZHashMap_5_1(ZHashMap_5_1 const& other);
    ZHashMap_5_1& operator=(ZHashMap_5_1 const& other);

    ~ZHashMap_5_1() override;

    ZObject_5_1* clone() const override;

    // Counted at every call.
    unsigned int size() const override;

    int contains(ZObject_5_1 const* entry) const override;
    ZObject_5_1* getEntry(ZObject_5_1 const* entry) const override;
    void putEntry(ZObject_5_1* entry) override;

    // Puts the other map's entries one by one: equal ones replace.
    void putAll(ZMap_5_1& other) override;

    void removeEntry(ZObject_5_1* entry) override;
    void removeAll() override;
    void list(ZList_5_1& target) const override;

private:
    unsigned int slotOf(unsigned long hash) const {
        return static_cast<std::uint32_t>(hash) % buckets_.size_;
    }
    // Lists its pairs as if it kept them in as many buckets.
    friend class ZHashKeyMap_5_1;
    static unsigned int bucketCount(unsigned int capacity);

    ZArrayMap_5_1* bucketAt(unsigned int slot) const {
        return static_cast<ZArrayMap_5_1*>(buckets_.elements_[slot]);
    }

    ZArray_5_1 buckets_;
    int ownsMembers_;
};

// Walks a snapshot taken at construction: later changes of the map do not show, and an entry that
// the map deletes meanwhile is given out as a dangling pointer.
class Z_API ZMapIterator_5_1 : public ZAbstractIterator_5_1 {
public:
    // Stands before the first entry, in the order of the map's list().
    explicit ZMapIterator_5_1(ZMap_5_1 const& map);

    // The copy has a snapshot of its own and stands at the same entry.
    ZMapIterator_5_1(ZMapIterator_5_1 const& other);
    ZMapIterator_5_1& operator=(ZMapIterator_5_1 const& other);

    ~ZMapIterator_5_1() noexcept override;

    ZObject_5_1* clone() const override;

    int hasMore() override;
    ZObject_5_1* getNext() override;
    void reset() override;

private:
    ZArrayList_5_1* snapshot_;
    ZListIterator_5_1* cursor_;
};

// Walks an array map itself, without a snapshot.
class Z_API ZArrayMapIterator_5_1 : public ZListIterator_5_1 {
public:
    // As ZListIterator_5_1, also where it is copied and assigned.
    explicit ZArrayMapIterator_5_1(ZArrayMap_5_1& map);
    ZArrayMapIterator_5_1(ZArrayMapIterator_5_1 const& other);
    ZArrayMapIterator_5_1& operator=(ZArrayMapIterator_5_1 const& other);
    ~ZArrayMapIterator_5_1() noexcept override;

    ZObject_5_1* clone() const override;
};

#endif
