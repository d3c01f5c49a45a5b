// ZAbstractMutableString: the string that owns and edits its text; short texts stay off the heap.
// Subsystem: strings, layer 1. Test: tests/ZAbstractMutableString_test.cpp
//
// Up to 95 bytes live inside the object, longer texts in a block from malloc.
//
// 1. buffer_ is inline_ or a heap block, and buffer_[length_] is NUL.
// 2. capacity_ is what callers see and what growth starts from. It is raised before memory is asked
//    for and stays raised when that fails. What really fits is room(): 95 in the inline store; for
//    a heap block its size, kept in the first bytes of the inline store, which is free then.
// 3. Nothing but bump() makes the string larger, and nothing shrinks the block but init() and
//    prepend().
// 4. An argument may point into the string's own text: the result is as if it had been copied
//    before.
//
// tests/ZAbstractMutableString_test.cpp: Capacity proves 2 and 3, OwnText proves 4.
#ifndef Z_ZABSTRACTMUTABLESTRING_H
#define Z_ZABSTRACTMUTABLESTRING_H

#include <cstdlib>
#include <cstring>
#include <iosfwd>

#include "ZAbstractString.h"

class ZStringIterator_5_1;

// Null char const* arguments are ignored or stand for the empty text, as each operation says.
// Everything that makes the text longer throws ZOutOfMemoryException_5_1 (code 1) when memory runs
// out or a length would pass 32 bits. A text may hold NULs when it is given with its length or byte
// by byte; what copies a text by its characters stops at the first one.
class Z_API ZAbstractMutableString_5_1 : public ZAbstractString_5_1 {
public:
    ~ZAbstractMutableString_5_1() noexcept override {
        if (buffer_ != inline_) std::free(buffer_);
    }

    char const* getChars() const override { return buffer_; }
    unsigned int getLength() const override { return length_; }

    // Copies the text of a string of the same codeset handle, converts that of any other. Setting a
    // string to itself does nothing.
    ZAbstractMutableString_5_1& setChars(ZAbstractString_5_1 const& other) override;

    // Every byte that is a member of `set`, as a character of its own there, becomes `to`, or goes
    // when `to` is 0. Null: nothing.
    virtual ZAbstractMutableString_5_1& replaceAll(char const* set, char to);

    // Every character `from` becomes `to`, or goes when `to` is 0. `from` 0: nothing.
    virtual ZAbstractMutableString_5_1& replace(char from, char to);

    // Every occurrence of the text `from`, left to right, becomes `to`; null `to` deletes it. A
    // null or empty `from`: nothing. What was put in is not searched again.
    virtual ZAbstractMutableString_5_1& replace(char const* from, char const* to);

    // Every character that is (replaceOther: is not) in `set` becomes the text `replacement`, null
    // deletes it. Null `set`: nothing. ZTISMBLenException_5_1 (code 46) for a character of `set`
    // (replaceOther: of the text) that is invalid in the codeset.
    virtual ZAbstractMutableString_5_1& replaceAll(char const* set, char const* replacement) = 0;
    virtual ZAbstractMutableString_5_1& replaceOther(char const* set, char const* replacement) = 0;

    // White space (isspace) at the ends. In single-byte codesets and UTF-8 stripTrailing() alone
    // never looks at the first byte: three blanks leave one. Elsewhere only characters of one byte
    // are white space.
    virtual ZAbstractMutableString_5_1& stripLeading();
    virtual ZAbstractMutableString_5_1& stripTrailing();

    // Puts the text of `other`, which has the other one of the two codesets, in place of this one.
    // Nothing for an empty `other`; a text that cannot be converted leaves this one empty. Reserves
    // 3 * n + 1 (to UTF-8) or 2 * n + 1 bytes.
    virtual ZAbstractMutableString_5_1& convertFromCodeSet(ZAbstractString_5_1 const& other);

    // Back to an empty text in the inline store.
    void init();

    // Empties the text and keeps the memory.
    ZAbstractMutableString_5_1& clear() {
        setEnd(0);
        return *this;
    }

    // bump(bytes, 1); returns the capacity.
    unsigned int setCapacity(unsigned int bytes);
    unsigned int getCapacity() const { return capacity_; }

    // The capacity of the inline store.
    static constexpr unsigned int getDefaultLength() { return defaultLength; }

    // Makes the capacity at least `required` bytes: nothing up to 95; above, the larger of it and
    // the present capacity, plus, unless `exact`, a fifth of `required` and one half, rounded up.
    // So each call that is not exact raises a capacity above 95. Returns the buffer, which has
    // one byte more than the capacity and is the string's.
    char* bump(unsigned int required, int exact);

    // Null gives the empty text.
    ZAbstractMutableString_5_1& setChars(char const* text);

    // printf's rules in this string's codeset, any length. Null gives the empty text.
    ZAbstractMutableString_5_1& format(char const* format, ...);

    // A 0 is appended like any other byte.
    ZAbstractMutableString_5_1& append(char c) {
        unsigned int const length = length_;
        if (__builtin_expect(length >= room(), 0)) return appendText(&c, 1);
        buffer_[length] = c;
        buffer_[length + 1] = '\0';
        length_ = length + 1;
        return *this;
    }
    // Null: nothing. The second form takes exactly `bytes` bytes.
    ZAbstractMutableString_5_1& append(char const* text) {
        return text != nullptr ? appendText(text, std::strlen(text)) : *this;
    }
    ZAbstractMutableString_5_1& append(char const* text, unsigned int bytes) {
        return text != nullptr ? appendText(text, bytes) : *this;
    }

    // At or past the end it appends; null: nothing. Reserves by bump(length + strlen + 1, 0) even
    // when there is room. The length becomes that of the text up to its first NUL.
    ZAbstractMutableString_5_1& insert(unsigned int position, char const* text);

    // Null: nothing. Starts over in the inline store, so the capacity may fall.
    ZAbstractMutableString_5_1& prepend(char const* text);

    // `count` 0 cuts the text at `position`. A range that is not wholly inside changes nothing.
    ZAbstractMutableString_5_1& remove(unsigned int position, unsigned int count);

    // Cuts the text to `length` bytes when it is not shorter.
    ZAbstractMutableString_5_1& trunc(unsigned int length);

    // Simple case mapping in this string's codeset; the length never changes.
    ZAbstractMutableString_5_1& upper();
    ZAbstractMutableString_5_1& lower();

    // `set` walks the members of a set, and every character of this string that is one of them
    // becomes `replacement`. The iterator is walked from its beginning.
    ZAbstractMutableString_5_1& replaceAllOf(ZStringIterator_5_1& set, char const* replacement);

    // `text` walks this string; every character that is not in `set` becomes `replacement`.
    ZAbstractMutableString_5_1& replaceNoneOf(ZStringIterator_5_1& text, char const* set,
                                              char const* replacement);

    // stripLeading(), then stripTrailing().
    ZAbstractMutableString_5_1& stripWhiteSpace();

    // The bytes up to the end of the input or the first CR or LF, which is read and dropped; so CR
    // LF gives an empty line after its line. `flag` not 0 turns the stream's skipws on for good;
    // no byte is skipped either way.
    std::istream& readLine(std::istream& in, int flag = 0);

    // As setChars() of a string; a number as "%d", "%u", "%ld", "%lu"; one byte; characters, where
    // null gives the empty text and this string's own buffer changes nothing.
    ZAbstractMutableString_5_1& operator=(ZAbstractMutableString_5_1 const& other);
    ZAbstractMutableString_5_1& operator=(char c);
    ZAbstractMutableString_5_1& operator=(int number);
    ZAbstractMutableString_5_1& operator=(unsigned int number);
    ZAbstractMutableString_5_1& operator=(long number);
    ZAbstractMutableString_5_1& operator=(unsigned long number);
    ZAbstractMutableString_5_1& operator=(char const* text);

    // append(); a string of another codeset is not converted.
    ZAbstractMutableString_5_1& operator+=(ZAbstractString_5_1 const& other) {
        return append(other.getChars());
    }
    ZAbstractMutableString_5_1& operator+=(char const* text) { return append(text); }
    ZAbstractMutableString_5_1& operator+=(char c) { return append(c); }

    // Byte equality; null is unequal to every text.
    int operator==(char const* text) const { return equals(text); }
    int operator!=(char const* text) const { return !equals(text); }

protected:
    ZAbstractMutableString_5_1() { startEmpty(); }
    ZAbstractMutableString_5_1(char const* text) {
        startEmpty();
        if (text != nullptr) startWith(text, std::strlen(text));
    }
    // Exactly `bytes` bytes, reserved with bump(bytes + 1, 0); null gives the empty text.
    ZAbstractMutableString_5_1(char const* text, unsigned int bytes);
    ZAbstractMutableString_5_1(char c);
    ZAbstractMutableString_5_1(int number);
    ZAbstractMutableString_5_1(unsigned int number);
    ZAbstractMutableString_5_1(long number);
    ZAbstractMutableString_5_1(unsigned long number);
    ZAbstractMutableString_5_1(ZAbstractMutableString_5_1 const& other)
        : ZAbstractString_5_1(other) {
        startEmpty();
        startWith(other.buffer_, other.textLength());
    }
    // Only for a view of the same codeset.
    ZAbstractMutableString_5_1(ZAbstractConstString_5_1 const& view) {
        startEmpty();
        startWith(view.ZAbstractConstString_5_1::getChars(),
                  view.ZAbstractConstString_5_1::getLength());
    }

    char* buffer() { return buffer_; }
    char const* buffer() const { return buffer_; }
    unsigned int length() const { return length_; }

    // Bytes before the first NUL.
    unsigned int textLength() const { return static_cast<unsigned int>(strnlen(buffer_, length_)); }

    // Replaces the text by `bytes` bytes, which may lie inside it.
    ZAbstractMutableString_5_1& assignText(char const* text, std::size_t bytes);
    ZAbstractMutableString_5_1& appendText(char const* text, std::size_t bytes);

    // Empties this string, then converts.
    void assignConverted(ZAbstractString_5_1 const& other);

    // Every byte that is marked becomes `to`, or goes when `to` is 0.
    void replaceBytes(bool const (&marked)[256], char to);

    // Every character whose being in `set` is `members` becomes `replacement`.
    void replaceCharacters(char const* set, bool members, char const* replacement);

private:
    static constexpr unsigned int defaultLength = 95;

    void startEmpty() {
        buffer_ = inline_;
        length_ = 0;
        capacity_ = defaultLength;
        inline_[0] = '\0';
    }
    void startWith(char const* text, std::size_t bytes) {
        if (__builtin_expect(bytes > defaultLength, 0)) {
            startOnHeap(text, bytes);
            return;
        }
        std::memcpy(inline_, text, bytes);
        setEnd(static_cast<unsigned int>(bytes));
    }
    void startOnHeap(char const* text, std::size_t bytes);

    void setEnd(unsigned int length) {
        buffer_[length] = '\0';
        length_ = length;
    }
    unsigned int room() const {
        if (buffer_ == inline_) return defaultLength;
        unsigned int bytes;
        std::memcpy(&bytes, inline_, sizeof bytes);
        return bytes;
    }
    bool ownsChars(char const* text) const;
    bool stripsBytewise() const;
    void makeRoom(unsigned long long bytes);
    void reallocate();

    char* buffer_;
    unsigned int length_;
    unsigned int capacity_;
    char inline_[defaultLength + 1];
};

#endif
