// ZPropHandles: what callers in C hold: open stanza files and iterators, told from foreign memory.
// Subsystem: properties, layer 7. Test: tests/zproperties_c_test.cpp
//
// Two marks in every handle say that it is one. A closed handle no longer bears them, and its
// memory is kept and stays readable: it is not used again before 256 more of its size were closed.
//
// 1. Handles lie at multiples of 32 bytes, which is all that is looked at of other pointers.
// 2. The marks, and the kind, lie in the first 32 bytes: whoever may read there may read them all.
// 3. Handles and iterators bear their marks at different places: neither passes for the other.
#ifndef Z_ZPROPHANDLES_H
#define Z_ZPROPHANDLES_H

#include <cstddef>
#include <cstdint>

#include "ZStanzaFileProperties.h"

// For functions that examine what may be no object at all, or the memory of one that is gone.
#define Z_READS_ANYTHING __attribute__((no_sanitize("address", "thread", "undefined")))

namespace z_5_1 {

// Memory of handles. Throws ZOutOfMemoryException_5_1.
void* takeHandleMemory(std::size_t size);
// The destructors have cleared the marks.
void keepHandleMemory(void* memory, std::size_t size);

constexpr std::uint32_t firstMark = 0xbeeff00d;
constexpr std::uint32_t lastMark = 0xd00ffeeb;

constexpr std::size_t handleAlignment = 32;

inline bool maybeHandle(void const* pointer) {
    return pointer && reinterpret_cast<std::uintptr_t>(pointer) % handleAlignment == 0;
}

}  // namespace z_5_1

// The fields are volatile: stores of zeros at the end of a life must not be taken for useless.
struct ZPROP_handle {
    explicit ZPROP_handle(int mode)
        : first_(z_5_1::firstMark), mode_(mode), last_(z_5_1::lastMark) {}
    ZPROP_handle(ZPROP_handle const&) = delete;
    ZPROP_handle& operator=(ZPROP_handle const&) = delete;
    virtual ~ZPROP_handle() noexcept(false);

    // Whatever the pointer points to.
    Z_READS_ANYTHING static bool isValid(ZPROP_handle const* handle) {
        return z_5_1::maybeHandle(handle) && handle->first_ == z_5_1::firstMark &&
               handle->last_ == z_5_1::lastMark;
    }

    // NOLINTNEXTLINE(cert-dcl54-cpp) ; the sized form belongs to it
    static void* operator new(std::size_t size) { return z_5_1::takeHandleMemory(size); }
    static void operator delete(void* memory, std::size_t size) {
        z_5_1::keepHandleMemory(memory, size);
    }

private:
    std::uint32_t volatile first_;
    int volatile mode_;  // a ZPROPOpenMode, for callers alone
    std::uint32_t volatile last_;
};

struct ZPROP_stz_handle : ZPROP_handle {
    explicit ZPROP_stz_handle(int mode) : ZPROP_handle(mode), properties(1) {}

    ZStanzaFileProperties_5_1 properties;
};

struct ZPROP_iter_handle {
    enum Kind : int { overKeys = 1, overValues = 2 };

    explicit ZPROP_iter_handle(Kind kind)
        : kind_(kind), first_(z_5_1::firstMark), last_(z_5_1::lastMark) {}
    ZPROP_iter_handle(ZPROP_iter_handle const&) = delete;
    ZPROP_iter_handle& operator=(ZPROP_iter_handle const&) = delete;
    virtual ~ZPROP_iter_handle() noexcept(false);

    Z_READS_ANYTHING static bool isValid(ZPROP_iter_handle const* iterator) {
        return z_5_1::maybeHandle(iterator) && iterator->first_ == z_5_1::firstMark &&
               iterator->last_ == z_5_1::lastMark &&
               (iterator->kind_ == overKeys || iterator->kind_ == overValues);
    }
    Kind kind() const { return kind_; }

    // NOLINTNEXTLINE(cert-dcl54-cpp) ; the sized form belongs to it
    static void* operator new(std::size_t size) { return z_5_1::takeHandleMemory(size); }
    static void operator delete(void* memory, std::size_t size) {
        z_5_1::keepHandleMemory(memory, size);
    }

private:
    Kind volatile kind_;
    std::uint32_t volatile first_;
    std::uint32_t volatile last_;
};

struct ZPROP_stz_iter_handle : ZPROP_iter_handle {
    ZPROP_stz_iter_handle(ZStanzaFileProperties_5_1& properties, char const* stanza)
        : ZPROP_iter_handle(overKeys), keys(properties, stanza) {}

    ZStanzaIterator_5_1 keys;
};

struct ZPROP_stzvalue_iter_handle : ZPROP_iter_handle {
    ZPROP_stzvalue_iter_handle(ZStanzaFileProperties_5_1& properties, char const* stanza,
                               char const* keyName)
        : ZPROP_iter_handle(overValues),
          values(properties, stanza, keyName, ZPropLCString, ZStanzaValueIterator_5_1::ANY),
          key(keyName) {}

    ZStanzaValueIterator_5_1 values;
    ZLCString_5_1 current;
    ZLCString_5_1 key;
};

#endif
