// ZObject: the root of every value class: hash, order, copy and equality through one interface.
// Subsystem: model, layer 0. Test: tests/ZObject_test.cpp
#include "ZObject.h"

#include <cstdint>
#include <new>

#include "ZException.h"
#include "zraise.h"

namespace {

constexpr char const* unit = "src/Z/ZObject";

// Logs name these two places; they stay what they are when the file changes.
constexpr int newLine = 63;
constexpr int newArrayLine = 73;

// The compiler may take a global operator new for one that never returns null and drop the test;
// reading the pointer back through a volatile keeps it.
void* allocated(void* fresh, int line) {
    void* volatile memory = fresh;
    if (!memory) z_5_1::raiseAt(unit, line, ZOutOfMemoryException_5_1());
    return memory;
}

std::uintptr_t addressOf(ZObject_5_1 const* object) {
    return reinterpret_cast<std::uintptr_t>(object);
}

}  // namespace

unsigned long ZObject_5_1::hash() const {
    return addressOf(this);
}

int ZObject_5_1::compare(ZObject_5_1 const& other) const {
    if (this == &other) return 0;
    return addressOf(this) < addressOf(&other) ? -1 : 1;
}

ZObject_5_1* ZObject_5_1::clone() const {
    return nullptr;
}

int ZObject_5_1::equals(ZObject_5_1 const& other) const {
    return compare(other) == 0;
}

int ZObject_5_1::operator==(ZObject_5_1 const& other) const {
    return compare(other) == 0;
}

int ZObject_5_1::operator!=(ZObject_5_1 const& other) const {
    return compare(other) != 0;
}

int ZObject_5_1::operator<(ZObject_5_1 const& other) const {
    return compare(other) < 0;
}

int ZObject_5_1::operator>(ZObject_5_1 const& other) const {
    return compare(other) > 0;
}

int ZObject_5_1::operator<=(ZObject_5_1 const& other) const {
    return compare(other) < 1;
}

int ZObject_5_1::operator>=(ZObject_5_1 const& other) const {
    return compare(other) >= 0;
}

void* ZObject_5_1::operator new(std::size_t size) {
    return allocated(::operator new(size), newLine);
}

void* ZObject_5_1::operator new[](std::size_t size) {
    return allocated(::operator new[](size), newArrayLine);
}

void ZObject_5_1::operator delete(void* memory) {
    ::operator delete(memory);
}

void ZObject_5_1::operator delete[](void* memory) {
    ::operator delete[](memory);
}
