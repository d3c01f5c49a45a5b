// ZAbstractString: what every string can be asked, and the view of characters it does not own.
// Subsystem: strings, layer 1. Test: tests/ZAbstractString_test.cpp
//
// A string is a row of bytes in a known codeset, ended by a NUL. ZAbstractString_5_1 holds the
// reading operations, written once in terms of getChars(), getLength() and getCodesetHandle().
// Positions and lengths are bytes; -1 results are 0xFFFFFFFF. Texts are compared byte by byte by
// equals() and ==, and by the collation of the current locale by compare() and < > <= >=.
#ifndef Z_ZABSTRACTSTRING_H
#define Z_ZABSTRACTSTRING_H

#include <atomic>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "ZObject.h"
#include "zexport.h"

// Const members are safe from several threads while nobody writes. Null char const* arguments
// never fault; each operation says what they mean. Of a text with a NUL inside, the searches see
// the part before it.
class Z_API ZAbstractString_5_1 : public ZObject_5_1 {
public:
    ~ZAbstractString_5_1() noexcept override {}

    // 5381, then h = (h * 33) ^ byte for each byte up to the terminator, in 32 bits.
    unsigned long hash() const override;

    // Collation order. Throws ZUnsupportedException_5_1 (code 48) when `other` is no string or has
    // another codeset handle.
    int compare(ZObject_5_1 const& other) const override;

    // 1 when both are strings of equal length and bytes, whatever their codesets; else 0.
    int equals(ZObject_5_1 const& other) const override;

    // strcoll with the bytes of `text`; null counts as the empty text.
    virtual int compare(char const* text) const;

    // The same under simple case folding in this string's codeset and the process's language.
    virtual int compareignorecase(char const* text) const;

    // The NUL-terminated characters, never null; they stay this string's.
    virtual char const* getChars() const = 0;

    // Takes over the text of `other`; how, the two kinds of strings say below.
    virtual ZAbstractString_5_1& setChars(ZAbstractString_5_1 const& other) = 0;

    // Bytes without the terminator.
    virtual unsigned int getLength() const = 0;

    // Bytes of the leading part that is valid in this string's codeset, not characters.
    virtual unsigned int getCharCount() const;

    // Whether the byte `c` occurs; 0, the terminator, always does.
    virtual int contains(int c) const;
    // Whether `text` occurs; 0 for null.
    virtual int contains(char const* text) const;

    // Offset of the first match at or after `from` (cut to the length); -1 when there is none and
    // for null. The empty text matches at once.
    virtual unsigned int indexOf(int c, unsigned int from = 0) const;
    virtual unsigned int indexOf(char const* text, unsigned int from = 0) const;

    // The last match, with one old habit that callers rely on. In a single-byte locale a local
    // string compares one byte only (the first one of `text`), from the terminator down to index 1,
    // and gives the NEGATED offset of the match, else -1. All other strings give the offset of
    // the last of the matches that follow one another from the front, else -1; the empty text and
    // the byte 0 match at the length. Null gives the length. The form for a byte throws
    // ZTISMBLenException_5_1 (code 46) at a character that is invalid in the codeset.
    virtual unsigned int lastIndexOf(int c) const;
    virtual unsigned int lastIndexOf(char const* text) const;

    // Null begins and ends every text. The empty text begins every text that is not empty, and
    // ends none.
    virtual int beginsWith(char const* text) const;
    virtual int endsWith(char const* text) const;

    // Byte equality up to the first NUL; 0 for null.
    virtual int equals(char const* text) const;

    // Whether the length is 0.
    virtual int isEmpty() const;

    // Both the same as getChars().
    virtual operator char const*() const;
    virtual char const* data() const;

    // The codeset this string's bytes are in, as the z* functions of ztisutil.h take it. Null when
    // the text services could not be started.
    virtual void* getCodesetHandle() const = 0;

    // As the forms for characters.
    int beginsWith(ZAbstractString_5_1 const& text) const;
    int endsWith(ZAbstractString_5_1 const& text) const;

    // Case ignored; 0 when either text is empty, for the end also when `text` is the longer one.
    int beginsWithCaseIgnored(ZAbstractString_5_1 const& text) const;
    int endsWithCaseIgnored(ZAbstractString_5_1 const& text) const;

    // The order of compare(). Comparing with bare characters would compare addresses, so it does
    // not compile.
    using ZObject_5_1::operator<;
    using ZObject_5_1::operator>;
    using ZObject_5_1::operator<=;
    using ZObject_5_1::operator>=;
    int operator<(char const*) const = delete;
    int operator>(char const*) const = delete;
    int operator<=(char const*) const = delete;
    int operator>=(char const*) const = delete;

    // There are no characters at this level: this copies nothing.
    ZAbstractString_5_1& operator=(ZAbstractString_5_1 const&) { return *this; }

protected:
    // The first string of the process starts the text services. While that has not succeeded every
    // further one asks again, and each question reports the failure.
    ZAbstractString_5_1() { needHandles(); }
    ZAbstractString_5_1(ZAbstractString_5_1 const&) : ZObject_5_1() { needHandles(); }

    // The process's codesets. lcs_handle_ is stored first: who sees utf8_handle_ sees both.
    static std::atomic<void*> utf8_handle_;
    static std::atomic<void*> lcs_handle_;

    // hash() of the characters up to their NUL.
    static unsigned long hashOf(char const* chars) {
        std::uint32_t h = 5381;
        for (; *chars != '\0'; ++chars) h = (h * 33) ^ static_cast<unsigned char>(*chars);
        return h;
    }

    // Local text in a locale without multibyte characters.
    bool isSingleByteLocal() const;

private:
    static void needHandles() {
        if (__builtin_expect(utf8_handle_.load(std::memory_order_acquire) == nullptr, 0)) {
            fetchHandles();
        }
    }
    static void fetchHandles();
};

// A view of characters somebody else owns. They must outlive the view, and must not change while
// it looks at them: the length is counted once, when first asked for, and kept until the view is
// pointed elsewhere.
class Z_API ZAbstractConstString_5_1 : public ZAbstractString_5_1 {
public:
    // Views the empty text; the characters, where null stands for the empty text; what `other`
    // views.
    ZAbstractConstString_5_1() : chars_(zemptyString), length_(0) {}
    ZAbstractConstString_5_1(char const* chars)
        : chars_(chars != nullptr ? chars : zemptyString), length_(0) {}
    ZAbstractConstString_5_1(ZAbstractConstString_5_1 const& other)
        : ZAbstractString_5_1(other),
          chars_(other.chars_),
          length_(other.length_.load(std::memory_order_relaxed)) {}
    ~ZAbstractConstString_5_1() noexcept override {}

    // Views other characters from now on; null stands for the empty text.
    ZAbstractConstString_5_1& operator=(char const* chars) {
        chars_ = chars != nullptr ? chars : zemptyString;
        length_.store(0, std::memory_order_relaxed);
        return *this;
    }
    // Views what `other` views.
    ZAbstractConstString_5_1& operator=(ZAbstractConstString_5_1 const& other) {
        chars_ = other.chars_;
        length_.store(other.length_.load(std::memory_order_relaxed), std::memory_order_relaxed);
        return *this;
    }

    char const* getChars() const override { return chars_; }
    unsigned int getLength() const override {
        unsigned int known = length_.load(std::memory_order_relaxed);
        return known != 0 ? known : countLength();
    }

    // Views the text of `other` when it has the same codeset handle; else changes nothing.
    ZAbstractConstString_5_1& setChars(ZAbstractString_5_1 const& other) override;

    // Byte equality; null is unequal to every text.
    int operator==(char const* text) const { return equals(text); }
    int operator!=(char const* text) const { return !equals(text); }

protected:
    // What views of no characters point to.
    static char const zemptyString[1];

private:
    unsigned int countLength() const;

    char const* chars_;
    mutable std::atomic<unsigned int> length_;  // 0: not counted yet
};

// From C++20 on, == and != are also tried with their operands exchanged, and the members of two
// strings would stand against each other. These match every pair exactly and do what the left one's
// member does, as in C++17; with characters on the left, where C++17 compares addresses, they
// compare the text. Each class of strings says below itself that it takes part.
#if defined(__cpp_impl_three_way_comparison) && defined(__cpp_concepts)
namespace z_5_1 {
template <class T>
concept String = std::is_convertible_v<T const*, ZAbstractString_5_1 const*>;
}

template <z_5_1::String A, z_5_1::String B>
requires requires(A const& a, B const& b) {
    a.operator==(b);
}
bool operator==(A const& a, B const& b) {
    return a.operator==(b) != 0;
}
template <z_5_1::String A, z_5_1::String B>
requires requires(A const& a, B const& b) {
    a.operator!=(b);
}
bool operator!=(A const& a, B const& b) {
    return a.operator!=(b) != 0;
}

// What an exchanged member matches as well as the templates do needs functions of its own.
#define Z_COMPARE_TEXT(String) \
    inline bool operator==(char const* text, String const& string) { \
        return string == text; \
    } \
    inline bool operator!=(char const* text, String const& string) { \
        return string != text; \
    }
#define Z_COMPARE_VIEW(View, String) \
    inline bool operator==(View const& view, String const& string) { \
        return view == string.getChars(); \
    } \
    inline bool operator!=(View const& view, String const& string) { \
        return view != string.getChars(); \
    }
#else
#define Z_COMPARE_TEXT(String)
#define Z_COMPARE_VIEW(View, String)
#endif

Z_COMPARE_TEXT(ZAbstractConstString_5_1)

#endif
