// ZArray: array of object pointers whose length is fixed and whose slots may be empty.
// Subsystem: collections, layer 2. Test: tests/ZArray_test.cpp
#ifndef Z_ZARRAY_H
#define Z_ZARRAY_H

#include "ZObject.h"

// What a fixed array of objects offers. An index at or beyond size() is an error here (a list
// forgives it).
class Z_API ZArrayInterface_5_1 {
public:
    virtual unsigned int size() const = 0;  // slots, the empty ones among them
    virtual int ownsMembers() const = 0;    // whether it clones and deletes its objects
    virtual int contains(ZObject_5_1 const* object) const = 0;  // 1 when indexOf() finds it, else 0
    virtual void remove(unsigned int index) = 0;                // empties a slot
    virtual void removeAll() = 0;                               // empties all slots
    virtual ZObject_5_1* get(unsigned int index) const = 0;     // null when the slot is empty
    // Puts an object, or a clone when owning, in the place of the one before; null empties the
    // slot.
    virtual void set(unsigned int index, ZObject_5_1 const* object) = 0;
    // The same with the object itself, which an owning array takes over.
    virtual void setNoCopy(unsigned int index, ZObject_5_1 const* object) = 0;
    // First or last slot with an object that `object` equals; -1 when there is none.
    virtual int indexOf(ZObject_5_1 const* object) const = 0;
    virtual int lastIndexOf(ZObject_5_1 const* object) const = 0;
    virtual void swap(unsigned int left, unsigned int right) = 0;  // exchanges two slots

protected:
    ZArrayInterface_5_1() = default;
    ZArrayInterface_5_1(ZArrayInterface_5_1 const&) = default;
    ZArrayInterface_5_1& operator=(ZArrayInterface_5_1 const&) = default;
    ~ZArrayInterface_5_1() = default;
};

// Arrays as objects; adds nothing.
class Z_API ZAbstractArray_5_1 : public ZObject_5_1, public ZArrayInterface_5_1 {};

// An owning array stores clones of what it is given and deletes them when they are replaced or
// removed and when it dies itself; any other stores the caller's pointers and deletes nothing.
// get, set, setNoCopy, remove and swap throw ZInvalidParameterException_5_1 (code 22) for an index
// at or beyond size(). Allocation failures pass through. No locking: callers serialise.
class Z_API ZArray_5_1 : public ZAbstractArray_5_1 {
public:
    // All slots empty; a size of 0 is raised to 1.
    explicit ZArray_5_1(unsigned int size, int ownsMembers = 0);

    // Size and ownership of the source; clones of its objects when owning, else the same pointers.
    ZArray_5_1(ZArray_5_1 const& other);

    // Takes on the source's size and objects (cloned when this array owns), keeps its own
    // ownership flag, and deletes what it owned before.
    ZArray_5_1& operator=(ZArray_5_1 const& other);

    ~ZArray_5_1() override;

    unsigned int size() const override;
    int ownsMembers() const override;

    // indexOf() found it: 1, else 0.
    int contains(ZObject_5_1 const* object) const override;

    // Empties a slot, or all; the size stays. Owned occupants are deleted.
    void remove(unsigned int index) override;
    void removeAll() override;

    // The occupant, still owned by the array if it owns; null when the slot is empty.
    ZObject_5_1* get(unsigned int index) const override;

    // Stores the object (a clone when owning; null empties the slot) and deletes the previous
    // occupant when owning.
    void set(unsigned int index, ZObject_5_1 const* object) override;

    // Stores the pointer itself, which an owning array takes over. Storing the occupant again
    // changes nothing.
    void setNoCopy(unsigned int index, ZObject_5_1 const* object) override;

    // First or last slot for which object->equals(occupant) holds; empty slots are passed over.
    // -1 when there is none and for a null object.
    int indexOf(ZObject_5_1 const* object) const override;
    int lastIndexOf(ZObject_5_1 const* object) const override;

    // Exchanges two slots.
    void swap(unsigned int left, unsigned int right) override;

private:
    // Reads its buckets without checks.
    friend class ZHashMap_5_1;

    void checkIndex(unsigned int index) const;

    ZObject_5_1** elements_;
    int ownsMembers_;
    unsigned int size_;
};

#endif
