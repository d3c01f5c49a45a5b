// ZLCString: text in the local codeset, the one of the process's locale; owned, or only viewed.
// Subsystem: strings, layer 1. Test: tests/ZLCString_test.cpp
#include "ZLCString.h"

#include "ZUTF8String.h"

ZObject_5_1* ZLCConstString_5_1::clone() const {
    return new ZLCConstString_5_1(*this);
}

void* ZLCConstString_5_1::getCodesetHandle() const {
    return lcs_handle_.load(std::memory_order_acquire);
}

ZLCString_5_1::ZLCString_5_1(ZUTF8String_5_1 const& other) {
    convertFromCodeSet(other);
}

ZLCString_5_1::ZLCString_5_1(ZUTF8ConstString_5_1 const& other) {
    convertFromCodeSet(other);
}

ZObject_5_1* ZLCString_5_1::clone() const {
    return new ZLCString_5_1(*this);
}

void* ZLCString_5_1::getCodesetHandle() const {
    return lcs_handle_.load(std::memory_order_acquire);
}

// ---- replacing ----

ZAbstractMutableString_5_1& ZLCString_5_1::replaceAll(char const* set, char const* replacement) {
    replaceCharacters(set, true, replacement);
    return *this;
}

ZAbstractMutableString_5_1& ZLCString_5_1::replaceOther(char const* set, char const* replacement) {
    replaceCharacters(set, false, replacement);
    return *this;
}

// ---- assigning ----

ZLCString_5_1& ZLCString_5_1::operator=(ZLCConstString_5_1 const& other) {
    assignText(other.getChars(), other.getLength());
    return *this;
}

ZLCString_5_1& ZLCString_5_1::operator=(ZUTF8String_5_1 const& other) {
    assignConverted(other);
    return *this;
}

ZLCString_5_1& ZLCString_5_1::operator=(ZUTF8ConstString_5_1 const& other) {
    assignConverted(other);
    return *this;
}

ZLCString_5_1& ZLCString_5_1::operator=(char const* text) {
    ZAbstractMutableString_5_1::operator=(text);
    return *this;
}

ZLCString_5_1& ZLCString_5_1::operator=(char c) {
    ZAbstractMutableString_5_1::operator=(c);
    return *this;
}

ZLCString_5_1& ZLCString_5_1::operator=(int number) {
    ZAbstractMutableString_5_1::operator=(number);
    return *this;
}

ZLCString_5_1& ZLCString_5_1::operator=(unsigned int number) {
    ZAbstractMutableString_5_1::operator=(number);
    return *this;
}

ZLCString_5_1& ZLCString_5_1::operator=(long number) {
    ZAbstractMutableString_5_1::operator=(number);
    return *this;
}

ZLCString_5_1& ZLCString_5_1::operator=(unsigned long number) {
    ZAbstractMutableString_5_1::operator=(number);
    return *this;
}

// ---- new strings ----

ZLCString_5_1 ZLCString_5_1::operator+(ZLCString_5_1 const& other) const {
    ZLCString_5_1 sum(*this);
    sum += other;
    return sum;
}

ZLCString_5_1 ZLCString_5_1::operator+(ZLCConstString_5_1 const& other) const {
    ZLCString_5_1 sum(*this);
    sum += other;
    return sum;
}

ZLCString_5_1 ZLCString_5_1::operator+(char const* text) const {
    ZLCString_5_1 sum(*this);
    sum += text;
    return sum;
}

// The capacity is that of the whole rest, though only `count` bytes of it are copied.
ZLCString_5_1 ZLCString_5_1::subString(unsigned int start, unsigned int count) const {
    ZLCString_5_1 part;
    if (start >= length()) return part;
    unsigned int const rest = textLength(start);
    part.bump(rest, 0);
    part.appendText(buffer() + start, count < rest ? count : rest);
    return part;
}

ZLCString_5_1 ZLCString_5_1::subString(unsigned int start) const {
    return subString(start, length());
}

// ---- comparing ----

int ZLCString_5_1::compare(ZLCString_5_1 const& other) const {
    return compare(other.buffer());
}

int ZLCString_5_1::compare(ZLCConstString_5_1 const& other) const {
    return compare(other.getChars());
}

int ZLCString_5_1::compareignorecase(ZLCString_5_1 const& other) const {
    return compareignorecase(other.buffer());
}

int ZLCString_5_1::compareignorecase(ZLCConstString_5_1 const& other) const {
    return compareignorecase(other.getChars());
}
