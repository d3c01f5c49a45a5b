// ZAbstractMutableString: the string that owns and edits its text; short texts stay off the heap.
// Subsystem: strings, layer 1. Test: tests/ZAbstractMutableString_test.cpp
//
// Up to 95 bytes live inside the object, longer texts in a block from malloc.
//
// 1. buffer_ is inline_ or a heap block, and buffer_[length_] is NUL.
// 2. capacity_ is what callers see and what growth starts from; its steps are fixed. It is raised
//    before memory is asked for and stays raised when that fails. What may really be filled is
//    room(): 95 in the inline store, else limit in Heap, never more than capacity_. The block
//    itself may be larger, so that appending byte by byte seldom moves it.
// 3. Only bump() and the constructors of long texts raise the capacity; the block shrinks by init()
// and prepend() alone.
// 4. While a heap block is used, the inline store holds its Heap record.
// 5. The last byte of the inline store is 0 only if the text holds no NUL. A text of 95 bytes in
//    the store needs that byte for its terminator: then, and once it is cut, nothing is known.
//    Copies, which stop at the first NUL, look for one only where there may be one.
// 6. An argument may point into the string's own text: the result is as if it had been copied
//    before.
//
// tests/ZAbstractMutableString_test.cpp: Capacity proves 2 to 4, EmbeddedNul 5, OwnText 6.
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

    // What the base class says, without asking for the characters by virtual calls.

    unsigned long hash() const override { return hashOf(buffer_); }
    unsigned int indexOf(int c, unsigned int from = 0) const override {
        unsigned int const at = from < length_ ? from : length_;
        void const* match = mayHoldNul() ? std::strchr(buffer_ + at, c)
                                         : std::memchr(buffer_ + at, c, length_ - at + 1);
        return offsetOf(static_cast<char const*>(match));
    }
    unsigned int indexOf(char const* text, unsigned int from = 0) const override;
    int isEmpty() const override { return length_ == 0; }
    operator char const*() const override { return buffer_; }
    char const* data() const override { return buffer_; }
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
    ZAbstractMutableString_5_1& init();

    // Empties the text and keeps the memory.
    ZAbstractMutableString_5_1& clear() {
        finish(0);
        return *this;
    }

    // bump(bytes, 1); returns the capacity.
    unsigned int setCapacity(unsigned int bytes);

    // Bytes of text, at least 95. It stays raised when the memory for it was not to be had.
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

    // printf's rules, any length; widths and precisions count bytes. Null gives the empty text.
    ZAbstractMutableString_5_1& format(char const* format, ...);

    // A 0 is appended like any other byte.
    ZAbstractMutableString_5_1& append(char c) {
        unsigned int const length = length_;
        if (__builtin_expect(length >= room() || c == '\0', 0)) return append(&c, 1);
        buffer_[length] = c;
        buffer_[length + 1] = '\0';
        length_ = length + 1;
        return *this;
    }
    // Null: nothing. The second form takes exactly `bytes` bytes.
    ZAbstractMutableString_5_1& append(char const* text) {
        return text != nullptr ? appendText(text, std::strlen(text)) : *this;
    }
    ZAbstractMutableString_5_1& append(char const* text, unsigned int bytes);

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
    // The empty text; a copy of `text`, where null gives the empty one.
    ZAbstractMutableString_5_1() { startEmpty(); }
    ZAbstractMutableString_5_1(char const* text) {
        startEmpty();
        if (text != nullptr) startWith(text);
    }
    // Exactly `bytes` bytes, reserved with bump(bytes + 1, 0); null gives the empty text.
    ZAbstractMutableString_5_1(char const* text, unsigned int bytes);
    // One byte; a number in decimal.
    ZAbstractMutableString_5_1(char c);
    ZAbstractMutableString_5_1(int number);
    ZAbstractMutableString_5_1(unsigned int number);
    ZAbstractMutableString_5_1(long number);
    ZAbstractMutableString_5_1(unsigned long number);
    // The text up to its first NUL.
    ZAbstractMutableString_5_1(ZAbstractMutableString_5_1 const& other)
        : ZAbstractString_5_1(other) {
        startEmpty();
        if (__builtin_expect(other.isShort(), 1)) {
            copyStore(other);
        } else {
            startWith(other.buffer_, other.textLength());
        }
    }
    // Only for a view of the same codeset.
    ZAbstractMutableString_5_1(ZAbstractConstString_5_1 const& view) {
        startEmpty();
        startWith(view.ZAbstractConstString_5_1::getChars(),
                  view.ZAbstractConstString_5_1::getLength());
    }

    // The characters and their number, without a virtual call.
    char* buffer() { return buffer_; }
    char const* buffer() const { return buffer_; }
    unsigned int length() const { return length_; }

    // Bytes from `from`, which is not past the end, to the first NUL there.
    unsigned int textLength(unsigned int from = 0) const {
        unsigned int const rest = length_ - from;
        return mayHoldNul() ? static_cast<unsigned int>(strnlen(buffer_ + from, rest)) : rest;
    }

    // To be called after NULs may have come into the text.
    void noteNul() {
        if (length_ != defaultLength || buffer_ != inline_) inline_[markAt] = 1;
    }

    // Copies the text of a string of the same class.
    void copyText(ZAbstractMutableString_5_1 const& other) {
        if (__builtin_expect(other.isShort() && buffer_ == inline_ && this != &other, 1)) {
            inline_[markAt] = 0;
            copyStore(other);
        } else if (this != &other) {
            assignText(other.buffer_, other.textLength());
        }
    }

    // Replaces the text by `bytes` bytes without a NUL, which may lie inside it.
    ZAbstractMutableString_5_1& assignText(char const* text, std::size_t bytes);
    // Appends `bytes` bytes without a NUL.
    ZAbstractMutableString_5_1& appendText(char const* text, std::size_t bytes);

    // Empties this string, then converts.
    void assignConverted(ZAbstractString_5_1 const& other);

    // Every byte that is marked becomes `to`, or goes when `to` is 0.
    void replaceBytes(bool const (&marked)[256], char to);

    // Every character whose being in `set` is `members` becomes `replacement`.
    void replaceCharacters(char const* set, bool members, char const* replacement);

private:
    static constexpr unsigned int defaultLength = 95;
    static constexpr unsigned int markAt = defaultLength;

    // What the inline store holds while the text is in a heap block.
    struct Heap {
        unsigned int limit;  // bytes of text that may be filled
        unsigned int block;  // bytes of text that the block has room for
    };

    void startEmpty() {
        buffer_ = inline_;
        length_ = 0;
        capacity_ = defaultLength;
        inline_[0] = '\0';
        inline_[markAt] = 0;
    }
    // Short literals become a few moves in place.
    void startWith(char const* text) {
        if (__builtin_constant_p(__builtin_strlen(text)) &&
            __builtin_strlen(text) < defaultLength) {
            length_ = static_cast<unsigned int>(__builtin_strlen(text));
            std::memcpy(inline_, text, __builtin_strlen(text) + 1);
        } else {
            startWith(text, std::strlen(text));
        }
    }
    void startWith(char const* text, std::size_t bytes);
    template <class Number>
    void startWithNumber(Number number);
    void startOnHeap(char const* text, std::size_t bytes);

    // In the inline store and known to hold no NUL.
    bool isShort() const { return buffer_ == inline_ && !mayHoldNul(); }

    // From inline store to inline store, in moves of fixed sizes.
    void copyStore(ZAbstractMutableString_5_1 const& other) {
        length_ = other.length_;
        if (length_ < 16) {
            std::memcpy(inline_, other.inline_, 16);
        } else if (length_ < 32) {
            std::memcpy(inline_, other.inline_, 32);
        } else if (length_ < 64) {
            std::memcpy(inline_, other.inline_, 64);
        } else {
            std::memcpy(inline_, other.inline_, sizeof inline_);
        }
    }

    bool mayHoldNul() const { return inline_[markAt] != 0 || length_ == defaultLength; }

    // Ends a new text, in which there is no NUL.
    void finish(unsigned int length) {
        inline_[markAt] = 0;
        buffer_[length] = '\0';
        length_ = length;
    }
    // Ends a changed text, in which there may be as many NULs as before.
    void setEnd(unsigned int length) {
        if (length_ == defaultLength) inline_[markAt] = 1;
        buffer_[length] = '\0';
        length_ = length;
    }
    unsigned int room() const { return buffer_ == inline_ ? defaultLength : heap().limit; }
    Heap heap() const {
        Heap heap;
        std::memcpy(&heap, inline_, sizeof heap);
        return heap;
    }
    void setHeap(unsigned int limit, unsigned int block) {
        Heap const heap{limit, block};
        std::memcpy(inline_, &heap, sizeof heap);
    }
    unsigned int offsetOf(char const* match) const {
        return match != nullptr ? static_cast<unsigned int>(match - buffer_) : 0xFFFFFFFFu;
    }
    bool ownsChars(char const* text) const;
    bool stripsBytewise() const;
    void makeRoom(unsigned long long bytes);
    void reallocate(bool exact);

    char* buffer_;
    unsigned int length_;
    unsigned int capacity_;
    char inline_[defaultLength + 1];
};

Z_COMPARE_TEXT(ZAbstractMutableString_5_1)

#endif
