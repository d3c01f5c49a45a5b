// ZObject: the root of every value class: hash, order, copy and equality through one interface.
// Subsystem: model, layer 0. Test: tests/ZObject_test.cpp
#ifndef Z_ZOBJECT_H
#define Z_ZOBJECT_H

#include <cstddef>

#include "zexport.h"

// Any class derived from this one can be kept in the collections, which hold ZObject_5_1 pointers.
// The defaults identify an object by its address; value classes override them. No data members.
// Calling the const members from several threads is safe while nobody changes the object.
class Z_API ZObject_5_1 {
public:
    // May throw: some locks report in their destructor that they are still held.
    virtual ~ZObject_5_1() noexcept(false) {}

    // The object's own address; equal objects of an overriding class must hash alike.
    virtual unsigned long hash() const;

    // Only the sign counts: 0 for the very same object, else the order of the addresses.
    virtual int compare(ZObject_5_1 const& other) const;

    // A copy that the caller owns and deletes; null when the class cannot be copied. Classes that
    // must never be copied throw ZNotClonableException_5_1 (code 14).
    virtual ZObject_5_1* clone() const;

    // 1 exactly when the virtual compare() gives 0, else 0.
    virtual int equals(ZObject_5_1 const& other) const;

    // The sign of the virtual compare(), each 0 or 1.
    int operator==(ZObject_5_1 const& other) const;
    int operator!=(ZObject_5_1 const& other) const;
    int operator<(ZObject_5_1 const& other) const;
    int operator>(ZObject_5_1 const& other) const;
    int operator<=(ZObject_5_1 const& other) const;
    int operator>=(ZObject_5_1 const& other) const;

    // Memory comes from the global operator new and is never null: std::bad_alloc passes through,
    // and where a replaced global allocator returns null, ZOutOfMemoryException_5_1 (code 1) is
    // thrown instead.
    static void* operator new(std::size_t size);
    static void* operator new[](std::size_t size);
    static void operator delete(void* memory);
    static void operator delete[](void* memory);

    // The forms that build an object in the caller's memory stay usable.
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void* operator new[](std::size_t, void* place) noexcept { return place; }
    static void operator delete(void*, void*) noexcept {}
    static void operator delete[](void*, void*) noexcept {}
};

#endif
