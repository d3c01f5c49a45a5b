// ZList: growable list of object pointers, and the cursor that walks it.
// Subsystem: collections, layer 2. Test: tests/ZList_test.cpp
#ifndef Z_ZLIST_H
#define Z_ZLIST_H

#include "ZIterator.h"
#include "ZObject.h"
#include "ZSortCompare.h"

class ZListIterator_5_1;

// What any list offers; ZArrayList_5_1 below says what each operation does.
class Z_API ZList_5_1 {
public:
    virtual int isEmpty() const = 0;  // 1 when there is no element, else 0
    // By the comparison, ascending or descending.
    virtual void sort(ZSortCompare_5_1 const& compare,
                      ZSortCompare_5_1::sortorder const& order) = 0;
    virtual unsigned int size() const = 0;                      // elements, nulls among them
    virtual int ownsMembers() const = 0;                        // whether it clones and deletes
    virtual int contains(ZObject_5_1 const* object) const = 0;  // 1 when indexOf() finds it, else 0
    virtual void add(ZObject_5_1 const* object) = 0;            // at the end; a clone when owning
    virtual void add(unsigned int index, ZObject_5_1 const* object) = 0;  // before that element
    virtual void addList(ZList_5_1 const& other) = 0;                     // all of its elements
    // As add(), with the object itself, which an owning list takes over.
    virtual void addNoCopy(ZObject_5_1 const* object) = 0;
    virtual void addNoCopy(unsigned int index, ZObject_5_1 const* object) = 0;
    virtual void remove(ZObject_5_1 const* object) = 0;      // the first equal element
    virtual void remove(unsigned int index) = 0;             // the one at that position
    virtual void remove(ZListIterator_5_1& iterator) = 0;    // the one that it gave last
    virtual void removeAll() = 0;                            // deletes them when owning
    virtual ZObject_5_1* get(unsigned int index) const = 0;  // null out of range
    virtual void set(unsigned int index, ZObject_5_1 const* object) = 0;  // in place of the former
    // First or last position of an element that `object` equals; -1 when there is none.
    virtual int indexOf(ZObject_5_1 const* object) const = 0;
    virtual int lastIndexOf(ZObject_5_1 const* object) const = 0;
    // Adds the elements from..to, both included, to the target.
    virtual void subList(ZList_5_1& target, unsigned int from, unsigned int to) const = 0;
    virtual void swap(unsigned int left, unsigned int right) = 0;  // exchanges two elements

    // The iterator's own indexOf() and backUp().
    virtual int indexOf(ZListIterator_5_1& iterator);
    virtual void backUp(ZListIterator_5_1& iterator);

protected:
    ZList_5_1() = default;
    ZList_5_1(ZList_5_1 const&) = default;
    ZList_5_1& operator=(ZList_5_1 const&) = default;
    ~ZList_5_1() = default;
};

// isEmpty() and sort() in terms of size(), get() and swap().
class Z_API ZAbstractList_5_1 : public ZObject_5_1, public ZList_5_1 {
public:
    int isEmpty() const override;

    // Quicksort, not stable. Null elements may end anywhere. A list whose get() throws beyond the
    // end cannot be sorted by it: one index past the last element is asked for.
    void sort(ZSortCompare_5_1 const& compare, ZSortCompare_5_1::sortorder const& order) override;

protected:
    // Sorts the positions low to high, both included; get() gives null and swap() does nothing
    // where a position lies beyond the end.
    void quickSort(ZSortCompare_5_1 const& compare, ZSortCompare_5_1::sortorder const& order,
                   unsigned int low, unsigned int high);
};

// The elements lie in one array that grows by half when full and never shrinks. An owning list
// stores clones of what it is given (a null when there is nothing to clone) and deletes them when
// they are removed or replaced and when it dies itself; any other stores the caller's pointers and
// deletes nothing. An index out of range is never an error: get gives null, the rest do nothing.
// Allocation failures pass through and leave the list as it was. No locking: callers serialise.
// The short operations stand in the class, so that calls on a list whose class the compiler knows
// cost what those of std::vector do.
class Z_API ZArrayList_5_1 : public ZAbstractList_5_1 {
public:
    // Empty; a capacity of 0 is raised to 1.
    explicit ZArrayList_5_1(unsigned int initialCapacity = 10, int ownsMembers = 0);

    // Capacity, ownership and elements of the source; clones when owning.
    ZArrayList_5_1(ZArrayList_5_1 const& other);

    // Replaces the elements by the source's (cloned when this list owns); keeps its own flag.
    ZArrayList_5_1& operator=(ZArrayList_5_1 const& other);

    ~ZArrayList_5_1() override;

    ZObject_5_1* clone() const override;

    void sort(ZSortCompare_5_1 const& compare, ZSortCompare_5_1::sortorder const& order) override;
    unsigned int size() const override { return size_; }
    int ownsMembers() const override { return ownsMembers_; }

    // indexOf() found it: 1, else 0.
    int contains(ZObject_5_1 const* object) const override;

    // Appends, or inserts before the element at `index` (size() appends; beyond it nothing is
    // stored). An owning list stores a clone.
    void add(ZObject_5_1 const* object) override {
        if (ownsMembers_) {
            addClone(size(), object);
        } else {
            addNoCopy(size(), object);
        }
    }
    void add(unsigned int index, ZObject_5_1 const* object) override;

    // Appends every element of the other list. A list added to itself is doubled.
    void addList(ZList_5_1 const& other) override;

    // As add, but stores the pointer itself, which an owning list takes over when it stores it.
    void addNoCopy(ZObject_5_1 const* object) override;
    void addNoCopy(unsigned int index, ZObject_5_1 const* object) override {
        if (index == size_ && size_ < capacity_) {
            elements_[size_++] = const_cast<ZObject_5_1*>(object);
        } else {
            insert(index, object);
        }
    }

    // Removes the first equal element, the element at an index, or the one that the iterator gave
    // last; in the last case the iterator goes on with the element behind it.
    void remove(ZObject_5_1 const* object) override;
    void remove(unsigned int index) override;
    void remove(ZListIterator_5_1& iterator) override;

    // Keeps the capacity.
    void removeAll() override;

    // Still owned by the list if it owns; null beyond the end.
    ZObject_5_1* get(unsigned int index) const override {
        return index < size_ ? elements_[index] : nullptr;
    }

    // Replaces an element (by a clone when owning, which then deletes the old one).
    void set(unsigned int index, ZObject_5_1 const* object) override;

    // First or last position for which object->equals(element) holds; null elements are passed
    // over. -1 when there is none and for a null object.
    int indexOf(ZObject_5_1 const* object) const override;
    int lastIndexOf(ZObject_5_1 const* object) const override;

    // Adds the elements from..to, both included, to the target. Nothing when from > to or to is
    // out of range.
    void subList(ZList_5_1& target, unsigned int from, unsigned int to) const override;

    // Exchanges two elements.
    void swap(unsigned int left, unsigned int right) override;

    // Slots allocated: never below size() and at least 1.
    virtual unsigned int capacity() const;

    // Random order from rand(), which is seeded with the time in seconds at every call: within
    // one second lists of equal length are shuffled alike.
    virtual void shuffle();

    int indexOf(ZListIterator_5_1& iterator) override;

protected:
    // Slots 0..size_-1 are the elements in order, null allowed. The array is malloc's.
    unsigned int capacity_;
    ZObject_5_1** elements_;
    unsigned int size_;
    int ownsMembers_;

private:
    void addClone(unsigned int index, ZObject_5_1 const* object);
    void insert(unsigned int index, ZObject_5_1 const* object);
    void grow();
};

// Walks a list by position. Changing the list meanwhile, other than through list.remove(iterator),
// shifts the elements under the iterator: it may skip or repeat some, but never reads beyond the
// end. The list must outlive its iterators.
class Z_API ZListIterator_5_1 : public ZAbstractIterator_5_1 {
public:
    // Stands before the first element.
    explicit ZListIterator_5_1(ZList_5_1 const& list);

    // The copy walks the same list from the same position.
    ZListIterator_5_1(ZListIterator_5_1 const& other);

    // Takes over the position only: this iterator stays with its own list.
    ZListIterator_5_1& operator=(ZListIterator_5_1 const& other);

    ~ZListIterator_5_1() noexcept override;

    ZObject_5_1* clone() const override;

    int hasMore() override;
    ZObject_5_1* getNext() override;
    void reset() override;

    // One step back. At the beginning the position wraps to beyond any end: hasMore() is then 0
    // and getNext() null until reset().
    virtual void backUp();

    // Index of the element given last; -1 at the beginning.
    virtual int indexOf();

private:
    unsigned int position_;
    ZList_5_1 const* list_;
};

#endif
