// ZUTF8String: text in UTF-8, the interchange form; owned, or only viewed.
// Subsystem: strings, layer 1. Test: tests/ZUTF8String_test.cpp
#include "ZUTF8String.h"

#include <cstring>

#include "ZException.h"
#include "ZLCString.h"
#include "zraise.h"

namespace {

constexpr char const* unit = "src/Z/ZUTF8String";
constexpr int notAsciiLine = 298;

bool isAscii(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

}  // namespace

ZObject_5_1* ZUTF8ConstString_5_1::clone() const {
    return new ZUTF8ConstString_5_1(*this);
}

void* ZUTF8ConstString_5_1::getCodesetHandle() const {
    return utf8_handle_.load(std::memory_order_acquire);
}

ZUTF8String_5_1::ZUTF8String_5_1(ZLCString_5_1 const& other) {
    convertFromCodeSet(other);
}

ZUTF8String_5_1::ZUTF8String_5_1(ZLCConstString_5_1 const& other) {
    convertFromCodeSet(other);
}

ZObject_5_1* ZUTF8String_5_1::clone() const {
    return new ZUTF8String_5_1(*this);
}

void* ZUTF8String_5_1::getCodesetHandle() const {
    return utf8_handle_.load(std::memory_order_acquire);
}

// ---- replacing ----

ZAbstractMutableString_5_1& ZUTF8String_5_1::replaceAll(char const* set, char to) {
    if (set == nullptr) return *this;
    bool marked[256] = {};
    for (; *set != '\0'; ++set) {
        if (isAscii(*set)) marked[static_cast<unsigned char>(*set)] = true;
    }
    replaceBytes(marked, to);
    return *this;
}

// No byte of a longer character is ASCII, so bytes are as good as characters here.
ZAbstractMutableString_5_1& ZUTF8String_5_1::replace(char from, char to) {
    if (!isAscii(from)) z_5_1::raiseAt(unit, notAsciiLine, ZInvalidParameterException_5_1());
    if (from == '\0' || from == to) return *this;
    char* p = buffer();
    for (char* const end = p + length(); p != end; ++p) {
        if (*p == from) *p = to;
    }
    if (to == '\0') noteNul();
    return *this;
}

ZAbstractMutableString_5_1& ZUTF8String_5_1::replace(char const* from, char const* to) {
    return ZAbstractMutableString_5_1::replace(from, to);
}

ZAbstractMutableString_5_1& ZUTF8String_5_1::replaceAll(char const* set, char const* replacement) {
    replaceCharacters(set, true, replacement);
    return *this;
}

ZAbstractMutableString_5_1& ZUTF8String_5_1::replaceOther(char const* set,
                                                          char const* replacement) {
    replaceCharacters(set, false, replacement);
    return *this;
}

// ---- assigning ----

ZUTF8String_5_1& ZUTF8String_5_1::operator=(ZUTF8ConstString_5_1 const& other) {
    assignText(other.getChars(), other.getLength());
    return *this;
}

ZUTF8String_5_1& ZUTF8String_5_1::operator=(ZLCString_5_1 const& other) {
    assignConverted(other);
    return *this;
}

ZUTF8String_5_1& ZUTF8String_5_1::operator=(ZLCConstString_5_1 const& other) {
    assignConverted(other);
    return *this;
}

ZUTF8String_5_1& ZUTF8String_5_1::operator=(char const* text) {
    ZAbstractMutableString_5_1::operator=(text);
    return *this;
}

ZUTF8String_5_1& ZUTF8String_5_1::operator=(char c) {
    ZAbstractMutableString_5_1::operator=(c);
    return *this;
}

ZUTF8String_5_1& ZUTF8String_5_1::operator=(int number) {
    ZAbstractMutableString_5_1::operator=(number);
    return *this;
}

ZUTF8String_5_1& ZUTF8String_5_1::operator=(unsigned int number) {
    ZAbstractMutableString_5_1::operator=(number);
    return *this;
}

ZUTF8String_5_1& ZUTF8String_5_1::operator=(long number) {
    ZAbstractMutableString_5_1::operator=(number);
    return *this;
}

ZUTF8String_5_1& ZUTF8String_5_1::operator=(unsigned long number) {
    ZAbstractMutableString_5_1::operator=(number);
    return *this;
}

// ---- new strings ----

ZUTF8String_5_1 ZUTF8String_5_1::operator+(ZUTF8String_5_1 const& other) const {
    ZUTF8String_5_1 sum(*this);
    sum += other;
    return sum;
}

ZUTF8String_5_1 ZUTF8String_5_1::operator+(ZUTF8ConstString_5_1 const& other) const {
    ZUTF8String_5_1 sum(*this);
    sum += other;
    return sum;
}

ZUTF8String_5_1 ZUTF8String_5_1::operator+(char const* text) const {
    ZUTF8String_5_1 sum(*this);
    sum += text;
    return sum;
}

// The capacity is that of the whole rest, though only `count` bytes of it are copied.
ZUTF8String_5_1 ZUTF8String_5_1::subString(unsigned int start, unsigned int count) const {
    ZUTF8String_5_1 part;
    if (start >= length()) return part;
    unsigned int const rest = textLength(start);
    part.bump(rest, 0);
    part.appendText(buffer() + start, count < rest ? count : rest);
    return part;
}

ZUTF8String_5_1 ZUTF8String_5_1::subString(unsigned int start) const {
    return subString(start, length());
}

// ---- comparing ----

int ZUTF8String_5_1::compare(ZUTF8String_5_1 const& other) const {
    return compare(other.buffer());
}

int ZUTF8String_5_1::compare(ZUTF8ConstString_5_1 const& other) const {
    return compare(other.getChars());
}

int ZUTF8String_5_1::compareignorecase(ZUTF8String_5_1 const& other) const {
    return compareignorecase(other.buffer());
}

int ZUTF8String_5_1::compareignorecase(ZUTF8ConstString_5_1 const& other) const {
    return compareignorecase(other.getChars());
}
