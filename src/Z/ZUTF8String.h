// ZUTF8String: text in UTF-8, the interchange form; owned, or only viewed.
// Subsystem: strings, layer 1. Test: tests/ZUTF8String_test.cpp
#ifndef Z_ZUTF8STRING_H
#define Z_ZUTF8STRING_H

#include "ZAbstractMutableString.h"

class ZLCString_5_1;
class ZLCConstString_5_1;

// Views UTF-8 text that somebody else owns; see ZAbstractConstString_5_1.
class Z_API ZUTF8ConstString_5_1 : public ZAbstractConstString_5_1 {
public:
    // Views the empty text, or the characters; null stands for the empty text.
    ZUTF8ConstString_5_1() {}
    ZUTF8ConstString_5_1(char const* chars) : ZAbstractConstString_5_1(chars) {}
    ZUTF8ConstString_5_1(ZUTF8ConstString_5_1 const& other) = default;
    ~ZUTF8ConstString_5_1() noexcept override {}

    // A view of the same characters, the caller's.
    ZObject_5_1* clone() const override;

    void* getCodesetHandle() const override;

    // Views other characters from now on; null stands for the empty text.
    ZUTF8ConstString_5_1& operator=(char const* chars) {
        ZAbstractConstString_5_1::operator=(chars);
        return *this;
    }
    ZUTF8ConstString_5_1& operator=(ZUTF8ConstString_5_1 const& other) = default;

    // Byte equality.
    using ZAbstractConstString_5_1::operator==;
    using ZAbstractConstString_5_1::operator!=;
    int operator==(ZUTF8ConstString_5_1 const& other) const {
        return ZAbstractConstString_5_1::equals(other);
    }
    int operator!=(ZUTF8ConstString_5_1 const& other) const { return !(*this == other); }
};

// Owned UTF-8 text. Text of local strings is converted on the way in; what is invalid in the local
// codeset leaves this string empty and throws nothing. So may text that grows more than threefold,
// which is possible in TSCII, where a byte can stand for several characters. char const* arguments
// are taken as being UTF-8 already. Collation is that of the process's locale over the bytes.
class Z_API ZUTF8String_5_1 : public ZAbstractMutableString_5_1 {
public:
    // The empty text, or the text of `other` up to its first NUL, converted if need be.
    ZUTF8String_5_1() {}
    ZUTF8String_5_1(ZUTF8String_5_1 const& other) : ZAbstractMutableString_5_1(other) {}
    ZUTF8String_5_1(ZUTF8ConstString_5_1 const& other) : ZAbstractMutableString_5_1(other) {}
    ZUTF8String_5_1(ZLCString_5_1 const& other);
    ZUTF8String_5_1(ZLCConstString_5_1 const& other);
    // Null gives the empty text.
    ZUTF8String_5_1(char const* text) : ZAbstractMutableString_5_1(text) {}
    // Exactly `bytes` bytes.
    ZUTF8String_5_1(char const* text, unsigned int bytes)
        : ZAbstractMutableString_5_1(text, bytes) {}
    // One byte; a number in decimal.
    ZUTF8String_5_1(char c) : ZAbstractMutableString_5_1(c) {}
    ZUTF8String_5_1(int number) : ZAbstractMutableString_5_1(number) {}
    ZUTF8String_5_1(unsigned int number) : ZAbstractMutableString_5_1(number) {}
    ZUTF8String_5_1(long number) : ZAbstractMutableString_5_1(number) {}
    ZUTF8String_5_1(unsigned long number) : ZAbstractMutableString_5_1(number) {}
    ~ZUTF8String_5_1() noexcept override {}

    // A copy, the caller's.
    ZObject_5_1* clone() const override;

    void* getCodesetHandle() const override;

    // Only members of `set` below 0x80 are looked for: UTF-8 has no other bytes that are
    // characters.
    ZAbstractMutableString_5_1& replaceAll(char const* set, char to) override;
    // Overwrites every byte `from` with `to`; a `to` of 0 is stored like any other and the length
    // stays. Throws ZInvalidParameterException_5_1 (code 22) when `from` is not ASCII.
    ZAbstractMutableString_5_1& replace(char from, char to) override;

    ZAbstractMutableString_5_1& replace(char const* from, char const* to) override;
    ZAbstractMutableString_5_1& replaceAll(char const* set, char const* replacement) override;
    ZAbstractMutableString_5_1& replaceOther(char const* set, char const* replacement) override;

    // The text of `other` up to its first NUL, converted if need be; characters, where null gives
    // the empty text; one byte; a number in decimal.
    using ZAbstractMutableString_5_1::operator=;
    ZUTF8String_5_1& operator=(ZUTF8String_5_1 const& other) {
        copyText(other);
        return *this;
    }
    ZUTF8String_5_1& operator=(ZUTF8ConstString_5_1 const& other);
    ZUTF8String_5_1& operator=(ZLCString_5_1 const& other);
    ZUTF8String_5_1& operator=(ZLCConstString_5_1 const& other);
    ZUTF8String_5_1& operator=(char const* text);
    ZUTF8String_5_1& operator=(char c);
    ZUTF8String_5_1& operator=(int number);
    ZUTF8String_5_1& operator=(unsigned int number);
    ZUTF8String_5_1& operator=(long number);
    ZUTF8String_5_1& operator=(unsigned long number);

    // A new text: this one and the other, each up to its first NUL. Null adds nothing.
    ZUTF8String_5_1 operator+(ZUTF8String_5_1 const& other) const;
    ZUTF8String_5_1 operator+(ZUTF8ConstString_5_1 const& other) const;
    ZUTF8String_5_1 operator+(char const* text) const;

    // Append the other text up to its first NUL (null: nothing), or one byte, which may be 0.
    using ZAbstractMutableString_5_1::operator+=;
    ZUTF8String_5_1& operator+=(ZUTF8String_5_1 const& other) {
        appendText(other.buffer(), other.textLength());
        return *this;
    }
    ZUTF8String_5_1& operator+=(ZUTF8ConstString_5_1 const& other) {
        append(other.getChars());
        return *this;
    }
    ZUTF8String_5_1& operator+=(char const* text) {
        append(text);
        return *this;
    }
    ZUTF8String_5_1& operator+=(char c) {
        append(c);
        return *this;
    }

    // Byte equality.
    using ZAbstractMutableString_5_1::operator==;
    using ZAbstractMutableString_5_1::operator!=;
    int operator==(ZUTF8String_5_1 const& other) const {
        return length() == other.length() && std::memcmp(buffer(), other.buffer(), length()) == 0;
    }
    int operator!=(ZUTF8String_5_1 const& other) const { return !(*this == other); }
    int operator==(ZUTF8ConstString_5_1 const& other) const {
        return ZAbstractMutableString_5_1::equals(other);
    }
    int operator!=(ZUTF8ConstString_5_1 const& other) const { return !(*this == other); }

    // Collation order.
    using ZAbstractMutableString_5_1::compare;
    int compare(ZUTF8String_5_1 const& other) const;
    int compare(ZUTF8ConstString_5_1 const& other) const;
    // The same, case ignored.
    using ZAbstractMutableString_5_1::compareignorecase;
    int compareignorecase(ZUTF8String_5_1 const& other) const;
    int compareignorecase(ZUTF8ConstString_5_1 const& other) const;

    // The `count` bytes from `start`, or as many as there are; without a count, the rest.
    ZUTF8String_5_1 subString(unsigned int start, unsigned int count) const;
    ZUTF8String_5_1 subString(unsigned int start) const;
};

Z_COMPARE_TEXT(ZUTF8ConstString_5_1)
Z_COMPARE_TEXT(ZUTF8String_5_1)
Z_COMPARE_VIEW(ZUTF8ConstString_5_1, ZUTF8String_5_1)

#endif
