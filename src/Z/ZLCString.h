// ZLCString: text in the local codeset, the one of the process's locale; owned, or only viewed.
// Subsystem: strings, layer 1. Test: tests/ZLCString_test.cpp
#ifndef Z_ZLCSTRING_H
#define Z_ZLCSTRING_H

#include "ZAbstractMutableString.h"

class ZUTF8String_5_1;
class ZUTF8ConstString_5_1;

// Views text of the local codeset that somebody else owns; see ZAbstractConstString_5_1.
class Z_API ZLCConstString_5_1 : public ZAbstractConstString_5_1 {
public:
    // Views the empty text, or the characters; null stands for the empty text.
    ZLCConstString_5_1() {}
    ZLCConstString_5_1(char const* chars) : ZAbstractConstString_5_1(chars) {}
    ZLCConstString_5_1(ZLCConstString_5_1 const& other) = default;
    ~ZLCConstString_5_1() noexcept override {}

    // A view of the same characters, the caller's.
    ZObject_5_1* clone() const override;

    void* getCodesetHandle() const override;

    // Views other characters from now on; null stands for the empty text.
    ZLCConstString_5_1& operator=(char const* chars) {
        ZAbstractConstString_5_1::operator=(chars);
        return *this;
    }
    ZLCConstString_5_1& operator=(ZLCConstString_5_1 const& other) = default;

    // Byte equality.
    using ZAbstractConstString_5_1::operator==;
    using ZAbstractConstString_5_1::operator!=;
    int operator==(ZLCConstString_5_1 const& other) const {
        return ZAbstractConstString_5_1::equals(other);
    }
    int operator!=(ZLCConstString_5_1 const& other) const { return !(*this == other); }
};

// Owned text of the local codeset. Text of UTF-8 strings is converted on the way in; what the local
// codeset cannot represent, or is invalid, leaves this string empty and throws nothing.
// char const* arguments are taken as being in the local codeset already.
class Z_API ZLCString_5_1 : public ZAbstractMutableString_5_1 {
public:
    // The empty text, or the text of `other` up to its first NUL, converted if need be.
    ZLCString_5_1() {}
    ZLCString_5_1(ZLCString_5_1 const& other) : ZAbstractMutableString_5_1(other) {}
    ZLCString_5_1(ZLCConstString_5_1 const& other) : ZAbstractMutableString_5_1(other) {}
    ZLCString_5_1(ZUTF8String_5_1 const& other);
    ZLCString_5_1(ZUTF8ConstString_5_1 const& other);
    // Null gives the empty text.
    ZLCString_5_1(char const* text) : ZAbstractMutableString_5_1(text) {}
    // Exactly `bytes` bytes.
    ZLCString_5_1(char const* text, unsigned int bytes) : ZAbstractMutableString_5_1(text, bytes) {}
    // One byte; a number in decimal.
    ZLCString_5_1(char c) : ZAbstractMutableString_5_1(c) {}
    ZLCString_5_1(int number) : ZAbstractMutableString_5_1(number) {}
    ZLCString_5_1(unsigned int number) : ZAbstractMutableString_5_1(number) {}
    ZLCString_5_1(long number) : ZAbstractMutableString_5_1(number) {}
    ZLCString_5_1(unsigned long number) : ZAbstractMutableString_5_1(number) {}
    ~ZLCString_5_1() noexcept override {}

    // A copy, the caller's.
    ZObject_5_1* clone() const override;

    void* getCodesetHandle() const override;

    using ZAbstractMutableString_5_1::replaceAll;
    ZAbstractMutableString_5_1& replaceAll(char const* set, char const* replacement) override;
    ZAbstractMutableString_5_1& replaceOther(char const* set, char const* replacement) override;

    // The text of `other` up to its first NUL, converted if need be; characters, where null gives
    // the empty text; one byte; a number in decimal.
    using ZAbstractMutableString_5_1::operator=;
    ZLCString_5_1& operator=(ZLCString_5_1 const& other) {
        copyText(other);
        return *this;
    }
    ZLCString_5_1& operator=(ZLCConstString_5_1 const& other);
    ZLCString_5_1& operator=(ZUTF8String_5_1 const& other);
    ZLCString_5_1& operator=(ZUTF8ConstString_5_1 const& other);
    ZLCString_5_1& operator=(char const* text);
    ZLCString_5_1& operator=(char c);
    ZLCString_5_1& operator=(int number);
    ZLCString_5_1& operator=(unsigned int number);
    ZLCString_5_1& operator=(long number);
    ZLCString_5_1& operator=(unsigned long number);

    // A new text: this one and the other, each up to its first NUL. Null adds nothing.
    ZLCString_5_1 operator+(ZLCString_5_1 const& other) const;
    ZLCString_5_1 operator+(ZLCConstString_5_1 const& other) const;
    ZLCString_5_1 operator+(char const* text) const;

    // Append the other text up to its first NUL (null: nothing), or one byte, which may be 0.
    using ZAbstractMutableString_5_1::operator+=;
    ZLCString_5_1& operator+=(ZLCString_5_1 const& other) {
        appendText(other.buffer(), other.textLength());
        return *this;
    }
    ZLCString_5_1& operator+=(ZLCConstString_5_1 const& other) {
        append(other.getChars());
        return *this;
    }
    ZLCString_5_1& operator+=(char const* text) {
        append(text);
        return *this;
    }
    ZLCString_5_1& operator+=(char c) {
        append(c);
        return *this;
    }

    // Byte equality.
    using ZAbstractMutableString_5_1::operator==;
    using ZAbstractMutableString_5_1::operator!=;
    int operator==(ZLCString_5_1 const& other) const {
        return length() == other.length() && std::memcmp(buffer(), other.buffer(), length()) == 0;
    }
    int operator!=(ZLCString_5_1 const& other) const { return !(*this == other); }
    int operator==(ZLCConstString_5_1 const& other) const {
        return ZAbstractMutableString_5_1::equals(other);
    }
    int operator!=(ZLCConstString_5_1 const& other) const { return !(*this == other); }

    // Collation order.
    using ZAbstractMutableString_5_1::compare;
    int compare(ZLCString_5_1 const& other) const;
    int compare(ZLCConstString_5_1 const& other) const;
    // The same, case ignored.
    using ZAbstractMutableString_5_1::compareignorecase;
    int compareignorecase(ZLCString_5_1 const& other) const;
    int compareignorecase(ZLCConstString_5_1 const& other) const;

    // The `count` bytes from `start`, or as many as there are; without a count, the rest.
    ZLCString_5_1 subString(unsigned int start, unsigned int count) const;
    ZLCString_5_1 subString(unsigned int start) const;
};

Z_COMPARE_TEXT(ZLCConstString_5_1)
Z_COMPARE_TEXT(ZLCString_5_1)
Z_COMPARE_VIEW(ZLCConstString_5_1, ZLCString_5_1)

#endif
