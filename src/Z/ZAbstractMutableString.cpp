// ZAbstractMutableString: the string that owns and edits its text; short texts stay off the heap.
// Subsystem: strings, layer 1. Test: tests/ZAbstractMutableString_test.cpp
#include "ZAbstractMutableString.h"

#include <tis/tis.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <istream>
#include <memory>

#include "ZException.h"
#include "zfind.h"
#include "zraise.h"
#include "ztisutil.h"

namespace {

constexpr char const* unit = "src/Z/ZAbstractMutableString";
constexpr int outOfMemoryLine = 418;

[[noreturn]] void raiseOutOfMemory() {
    z_5_1::raiseAt(unit, outOfMemoryLine, ZOutOfMemoryException_5_1());
}

struct Free {
    void operator()(char* block) const { std::free(block); }
};
using Block = std::unique_ptr<char, Free>;

Block allocate(std::size_t bytes) {
    // 0 is 4 GiB on machines of 32 bits.
    Block block(bytes == 0 ? nullptr : static_cast<char*>(std::malloc(bytes)));
    if (block == nullptr) raiseOutOfMemory();
    return block;
}

// The block, or a new one for null, with room for `bytes` bytes and a terminator; null without
// memory, and then the old block is as it was.
char* resize(char* block, unsigned int bytes) {
    std::size_t const size = static_cast<std::size_t>(bytes) + 1;
    return size == 0 ? nullptr : static_cast<char*>(std::realloc(block, size));
}

// The sizes a caller asks for, in 64 bits, as the 32 that a string counts in.
unsigned int checked(unsigned long long bytes) {
    if (bytes > UINT_MAX) raiseOutOfMemory();
    return static_cast<unsigned int>(bytes);
}

// A fifth of what is required and one half, rounded up.
unsigned long long headroom(unsigned long long required) {
    return (2 * required + 5) / 10 + 1;
}

bool liesIn(char const* p, char const* begin, std::size_t bytes) {
    return reinterpret_cast<std::uintptr_t>(p) - reinterpret_cast<std::uintptr_t>(begin) <= bytes;
}

// An argument that stays as it was while the string it may lie in changes: a copy in that case.
class Argument {
public:
    Argument(ZAbstractString_5_1 const& string, char const* text, std::size_t bytes) : text_(text) {
        if (!liesIn(text, string.getChars(), string.getLength())) return;
        copy_ = allocate(bytes + 1);
        std::memcpy(copy_.get(), text, bytes);
        copy_.get()[bytes] = '\0';
        text_ = copy_.get();
    }
    char const* text() const { return text_; }

private:
    char const* text_;
    Block copy_;
};

template <std::size_t piece>
void copyEnds(char* to, char const* from, std::size_t bytes) {
    char first[piece];
    char last[piece];
    std::memcpy(first, from, piece);
    std::memcpy(last, from + bytes - piece, piece);
    std::memcpy(to, first, piece);
    std::memcpy(to + bytes - piece, last, piece);
}

// Up to 32 bytes in two overlapping pieces, which costs less than a call.
void copyShort(char* to, char const* from, std::size_t bytes) {
    if (bytes > 32) {
        std::memcpy(to, from, bytes);
    } else if (bytes >= 16) {
        copyEnds<16>(to, from, bytes);
    } else if (bytes >= 8) {
        copyEnds<8>(to, from, bytes);
    } else if (bytes >= 4) {
        copyEnds<4>(to, from, bytes);
    } else {
        for (std::size_t i = 0; i < bytes; ++i) to[i] = from[i];
    }
}

// A number as printf's "%d", "%u", "%ld" or "%lu" would write it.
class Decimal {
public:
    template <class Number>
    // cppcheck-suppress uninitMemberVar ; to_chars fills it as far as bytes() tells
    explicit Decimal(Number number)
        : end_(std::to_chars(text_, text_ + sizeof text_, number).ptr) {}
    char const* text() const { return text_; }
    unsigned int bytes() const { return static_cast<unsigned int>(end_ - text_); }

private:
    char text_[24];
    char* end_;
};

bool isSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

int remaining(char const* p, char const* end) {
    return end - p > INT_MAX ? INT_MAX : static_cast<int>(end - p);
}

// Bytes of the character at `p`; one that begins none counts as a character of one byte.
std::size_t characterBytes(void* handle, char const* p, char const* end) {
    int const bytes = zmblen_5_1(handle, p, remaining(p, end));
    return bytes > 0 ? static_cast<std::size_t>(bytes) : 1;
}

// The same, but invalid bytes are an error.
std::size_t validBytes(void* handle, char const* p, char const* end) {
    int const bytes = zmblen_5_1(handle, p, remaining(p, end));
    if (bytes == -1) z_5_1::raise(unit, ZTISMBLenException_5_1());
    return bytes > 0 ? static_cast<std::size_t>(bytes) : 1;
}

// The characters of a text. Those of one byte are looked up in a table, the others in the text.
class CharacterSet {
public:
    CharacterSet(void* handle, char const* text) : handle_(handle), text_(text) {}

    // `strict` throws ZTISMBLenException_5_1 at a byte that begins no character.
    void read(bool strict) {
        for (char const *p = text_, *end = p + std::strlen(p); p != end;) {
            std::size_t const bytes =
                strict ? validBytes(handle_, p, end) : characterBytes(handle_, p, end);
            if (bytes == 1) single_[static_cast<unsigned char>(*p)] = true;
            p += bytes;
        }
    }
    // The characters of one byte; so are bytes that begin none.
    bool const (&single() const)[256] { return single_; }
    bool holds(char const* character, std::size_t bytes) const {
        if (bytes == 1) return single_[static_cast<unsigned char>(*character)];
        char terminated[8] = {};
        std::memcpy(terminated, character, std::min(bytes, sizeof terminated - 1));
        return zstrstr_5_1(handle_, text_, terminated) != nullptr;
    }

private:
    void* handle_;
    char const* text_;
    bool single_[256] = {};
};

}  // namespace

ZAbstractMutableString_5_1::ZAbstractMutableString_5_1(char const* text, unsigned int bytes) {
    startEmpty();
    if (text == nullptr) return;
    bump(checked(bytes + 1ULL), 0);
    std::memcpy(buffer_, text, bytes);
    setEnd(bytes);
    noteNul();
}

ZAbstractMutableString_5_1::ZAbstractMutableString_5_1(char c) {
    startEmpty();
    append(&c, 1);
}

ZAbstractMutableString_5_1::ZAbstractMutableString_5_1(int number) {
    startEmpty();
    startWithNumber(number);
}

ZAbstractMutableString_5_1::ZAbstractMutableString_5_1(unsigned int number) {
    startEmpty();
    startWithNumber(number);
}

ZAbstractMutableString_5_1::ZAbstractMutableString_5_1(long number) {
    startEmpty();
    startWithNumber(number);
}

ZAbstractMutableString_5_1::ZAbstractMutableString_5_1(unsigned long number) {
    startEmpty();
    startWithNumber(number);
}

// ---- memory ----

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::init() {
    if (buffer_ != inline_) std::free(buffer_);
    startEmpty();
    return *this;
}

unsigned int ZAbstractMutableString_5_1::setCapacity(unsigned int bytes) {
    bump(bytes, 1);
    return capacity_;
}

char* ZAbstractMutableString_5_1::bump(unsigned int required, int exact) {
    unsigned long long capacity = std::max(capacity_, required);
    if (capacity <= defaultLength) return buffer_;
    if (!exact) capacity += headroom(required);
    if (capacity > room()) {
        capacity_ = checked(capacity);
        reallocate(exact != 0);
    }
    return buffer_;
}

// Makes `bytes` fit, which they do not. Where only memory was missing the last time, the capacity
// already covers them.
void ZAbstractMutableString_5_1::makeRoom(unsigned long long bytes) {
    unsigned int const required = checked(bytes);
    if (required > capacity_) {
        bump(required, 0);
    } else {
        reallocate(true);
    }
}

// Lets capacity_ bytes be filled. A block that grows, other than to an exact size, will grow again:
// it gets half of its size more at least, where there is memory for that.
void ZAbstractMutableString_5_1::reallocate(bool exact) {
    bool const wasInline = buffer_ == inline_;
    unsigned int block = wasInline ? 0 : heap().block;
    if (capacity_ > block) {
        unsigned long long const grown = exact ? 0 : block + block / 2ULL;
        block = static_cast<unsigned int>(
            std::min<unsigned long long>(std::max<unsigned long long>(capacity_, grown), UINT_MAX));
        char* const old = wasInline ? nullptr : buffer_;
        char* memory = resize(old, block);
        if (memory == nullptr && block > capacity_) memory = resize(old, block = capacity_);
        if (memory == nullptr) raiseOutOfMemory();
        if (wasInline) {
            std::memcpy(memory, inline_, sizeof inline_);
            if (length_ == defaultLength) inline_[markAt] = 1;
        }
        buffer_ = memory;
    }
    setHeap(capacity_, block);
}

template <class Number>
void ZAbstractMutableString_5_1::startWithNumber(Number number) {
    char const* const end = std::to_chars(inline_, inline_ + defaultLength, number).ptr;
    finish(static_cast<unsigned int>(end - inline_));
}

void ZAbstractMutableString_5_1::startWith(char const* text, std::size_t bytes) {
    if (__builtin_expect(bytes > defaultLength, 0)) {
        startOnHeap(text, bytes);
        return;
    }
    copyShort(inline_, text, bytes);
    finish(static_cast<unsigned int>(bytes));
}

// As makeRoom() and a copy, for an empty string in the inline store.
void ZAbstractMutableString_5_1::startOnHeap(char const* text, std::size_t bytes) {
    unsigned long long const capacity = bytes + headroom(bytes);
    capacity_ = checked(capacity);
    std::size_t const blockBytes = static_cast<std::size_t>(capacity) + 1;
    char* memory = blockBytes == 0 ? nullptr : static_cast<char*>(std::malloc(blockBytes));
    if (memory == nullptr) raiseOutOfMemory();
    buffer_ = memory;
    setHeap(capacity_, capacity_);
    std::memcpy(memory, text, bytes);
    memory[bytes] = '\0';
    length_ = static_cast<unsigned int>(bytes);
}

bool ZAbstractMutableString_5_1::ownsChars(char const* text) const {
    return liesIn(text, buffer_, length_);
}

// ---- whole texts ----

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::assignText(char const* text,
                                                                   std::size_t bytes) {
    if (ownsChars(text)) {
        std::memmove(buffer_, text, bytes);
    } else {
        if (bytes > room()) makeRoom(bytes);
        std::memcpy(buffer_, text, bytes);
    }
    finish(static_cast<unsigned int>(bytes));
    return *this;
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::appendText(char const* text,
                                                                   std::size_t bytes) {
    unsigned long long const total = static_cast<unsigned long long>(length_) + bytes;
    if (total > room()) {
        bool const own = ownsChars(text);
        std::size_t const at = own ? static_cast<std::size_t>(text - buffer_) : 0;
        makeRoom(total);
        if (own) text = buffer_ + at;
    }
    std::memmove(buffer_ + length_, text, bytes);
    setEnd(static_cast<unsigned int>(total));
    return *this;
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::append(char const* text,
                                                               unsigned int bytes) {
    if (text == nullptr) return *this;
    appendText(text, bytes);
    noteNul();
    return *this;
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::setChars(char const* text) {
    return text != nullptr ? assignText(text, std::strlen(text)) : clear();
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::setChars(ZAbstractString_5_1 const& other) {
    if (&other == this) return *this;
    if (other.getCodesetHandle() != getCodesetHandle()) {
        assignConverted(other);
        return *this;
    }
    return assignText(other.getChars(), strnlen(other.getChars(), other.getLength()));
}

void ZAbstractMutableString_5_1::assignConverted(ZAbstractString_5_1 const& other) {
    if (other.isEmpty() || !ownsChars(other.getChars())) clear();
    convertFromCodeSet(other);
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::convertFromCodeSet(
    ZAbstractString_5_1 const& other) {
    unsigned int const bytes = other.getLength();
    if (bytes == 0) return *this;
    Argument const source(*this, other.getChars(), bytes);
    bool const toUTF8 = getCodesetHandle() == utf8_handle_.load(std::memory_order_acquire);
    setCapacity(checked((toUTF8 ? 3ULL : 2ULL) * bytes + 1));
    int result = 0;
    if (lcs_handle_.load(std::memory_order_acquire) != nullptr) {
        int const space = remaining(buffer_, buffer_ + capacity_);
        auto const convert = toUTF8 ? zlcs_to_utf8_5_1 : zlcs_from_utf8_5_1;
        result = convert(source.text(), static_cast<int>(bytes), buffer_, space);
    }
    setEnd(result > 0 ? static_cast<unsigned int>(result) : 0);
    noteNul();
    return *this;
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::operator=(
    ZAbstractMutableString_5_1 const& other) {
    return setChars(other);
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::operator=(char c) {
    return clear().append(&c, 1);
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::operator=(int number) {
    Decimal const decimal(number);
    return assignText(decimal.text(), decimal.bytes());
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::operator=(unsigned int number) {
    Decimal const decimal(number);
    return assignText(decimal.text(), decimal.bytes());
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::operator=(long number) {
    Decimal const decimal(number);
    return assignText(decimal.text(), decimal.bytes());
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::operator=(unsigned long number) {
    Decimal const decimal(number);
    return assignText(decimal.text(), decimal.bytes());
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::operator=(char const* text) {
    return text == buffer_ ? *this : setChars(text);
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::format(char const* format, ...) {
    if (format == nullptr) return clear();
    tis_cs const* handle = static_cast<tis_cs const*>(getCodesetHandle());
    char shortText[512];
    va_list args;
    va_start(args, format);
    int const bytes = tis_vsnprintf(handle, shortText, sizeof shortText, format, args);
    va_end(args);
    if (bytes < 0) return clear();
    if (bytes == INT_MAX) raiseOutOfMemory();
    if (static_cast<std::size_t>(bytes) < sizeof shortText) return setChars(shortText);
    // Not into the buffer: the arguments may lie there.
    Block const longText = allocate(static_cast<std::size_t>(bytes) + 1);
    va_start(args, format);
    tis_vsnprintf(handle, longText.get(), bytes + 1, format, args);
    va_end(args);
    return setChars(longText.get());
}

std::istream& ZAbstractMutableString_5_1::readLine(std::istream& in, int flag) {
    clear();
    std::ios_base::fmtflags const before = in.flags();
    if (flag != 0) in.setf(std::ios_base::skipws);
    while (in.peek() != std::istream::traits_type::eof()) {
        char const c = static_cast<char>(in.get());
        if (c == '\n' || c == '\r') break;
        append(c);
    }
    in.setf(before);
    return in;
}

// ---- edits ----

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::insert(unsigned int position,
                                                               char const* text) {
    if (text == nullptr) return *this;
    if (position >= length_) return append(text);
    std::size_t const bytes = std::strlen(text);
    Argument const added(*this, text, bytes);
    unsigned long long const total = static_cast<unsigned long long>(length_) + bytes;
    bump(checked(total + 1), 0);
    std::memmove(buffer_ + position + bytes, buffer_ + position, length_ - position + 1);
    std::memcpy(buffer_ + position, added.text(), bytes);
    finish(static_cast<unsigned int>(strnlen(buffer_, static_cast<std::size_t>(total))));
    return *this;
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::prepend(char const* text) {
    if (text == nullptr) return *this;
    char kept[sizeof inline_];
    std::memcpy(kept, inline_, sizeof inline_);
    bool const wasInline = buffer_ == inline_;
    char* const old = wasInline ? kept : buffer_;
    unsigned int const oldLength = length_;
    unsigned int const oldCapacity = capacity_;
    if (ownsChars(text)) text = old + (text - buffer_);
    startEmpty();
    try {
        append(text).append(old);
    } catch (...) {
        init();
        std::memcpy(inline_, kept, sizeof inline_);
        buffer_ = wasInline ? inline_ : old;
        length_ = oldLength;
        capacity_ = oldCapacity;
        throw;
    }
    if (!wasInline) std::free(old);
    return *this;
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::remove(unsigned int position,
                                                               unsigned int count) {
    if (count == 0) return trunc(position);
    unsigned long long const end = static_cast<unsigned long long>(position) + count;
    if (end > length_) return *this;
    std::memmove(buffer_ + position, buffer_ + end, static_cast<std::size_t>(length_ - end) + 1);
    setEnd(length_ - count);
    return *this;
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::trunc(unsigned int length) {
    if (length <= length_) setEnd(length);
    return *this;
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::upper() {
    zstrupper_5_1(getCodesetHandle(), buffer_);
    return *this;
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::lower() {
    zstrlower_5_1(getCodesetHandle(), buffer_);
    return *this;
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::replace(char from, char to) {
    if (from == '\0') return *this;
    void* const handle = getCodesetHandle();
    char* out = zstrchr_5_1(handle, buffer_, from);
    if (out == nullptr) return *this;
    char const* const end = buffer_ + length_;
    for (char const* match = out; match != nullptr;) {
        if (to != '\0') *out++ = to;
        char const* const rest = match + 1;
        match = zstrchr_5_1(handle, rest, from);
        std::size_t const between = static_cast<std::size_t>((match ? match : end) - rest);
        std::memmove(out, rest, between);
        out += between;
    }
    setEnd(static_cast<unsigned int>(out - buffer_));
    return *this;
}

unsigned int ZAbstractMutableString_5_1::indexOf(char const* text, unsigned int from) const {
    if (text == nullptr) return 0xFFFFFFFFu;
    unsigned int const at = from < length_ ? from : length_;
    return offsetOf(z_5_1::find(buffer_ + at, textLength(at), text, std::strlen(text)));
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::replace(char const* from, char const* to) {
    if (from == nullptr || *from == '\0') return *this;
    std::size_t const fromBytes = std::strlen(from);
    std::size_t const toBytes = to != nullptr ? std::strlen(to) : 0;
    void* const handle = getCodesetHandle();
    bool const bytewise = handle == utf8_handle_.load(std::memory_order_acquire);
    char const* const end = buffer_ + textLength();
    auto const find = [&](char const* p) -> char const* {
        if (!bytewise) return zstrstr_5_1(handle, p, from);
        return z_5_1::find(p, static_cast<std::size_t>(end - p), from, fromBytes);
    };
    unsigned long long matches = 0;
    for (char const* p = find(buffer_); p != nullptr; p = find(p + fromBytes)) ++matches;
    if (matches == 0) return *this;

    unsigned long long const kept =
        static_cast<unsigned long long>(end - buffer_) - matches * fromBytes;
    unsigned int const total = checked(kept + matches * toBytes);
    Block const scratch = allocate(static_cast<std::size_t>(total) + 1);
    char* out = scratch.get();
    for (char const* p = buffer_; p != nullptr;) {
        char const* const match = find(p);
        out = std::copy(p, match ? match : end, out);
        if (match != nullptr) out = std::copy_n(to, toBytes, out);
        p = match ? match + fromBytes : nullptr;
    }
    return assignText(scratch.get(), total);
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::replaceAll(char const* set, char to) {
    if (set == nullptr) return *this;
    CharacterSet characters(getCodesetHandle(), set);
    characters.read(false);
    replaceBytes(characters.single(), to);
    return *this;
}

void ZAbstractMutableString_5_1::replaceBytes(bool const (&marked)[256], char to) {
    char* out = buffer_;
    for (char const *p = buffer_, *end = buffer_ + length_; p != end; ++p) {
        if (!marked[static_cast<unsigned char>(*p)]) {
            *out++ = *p;
        } else if (to != '\0') {
            *out++ = to;
        }
    }
    setEnd(static_cast<unsigned int>(out - buffer_));
}

void ZAbstractMutableString_5_1::replaceCharacters(char const* set, bool members,
                                                   char const* replacement) {
    if (set == nullptr) return;
    void* const handle = getCodesetHandle();
    CharacterSet characters(handle, set);
    characters.read(members);
    std::size_t const added = replacement != nullptr ? std::strlen(replacement) : 0;
    char const* const end = buffer_ + textLength();
    auto const forEachPiece = [&](auto take) {
        for (char const* p = buffer_; p != end;) {
            std::size_t const bytes =
                members ? characterBytes(handle, p, end) : validBytes(handle, p, end);
            bool const kept = characters.holds(p, bytes) != members;
            take(kept ? p : replacement, kept ? bytes : added);
            p += bytes;
        }
    };
    unsigned long long total = 0;
    forEachPiece([&](char const*, std::size_t bytes) { total += bytes; });
    Block const scratch = allocate(static_cast<std::size_t>(checked(total)) + 1);
    char* out = scratch.get();
    forEachPiece([&](char const* p, std::size_t bytes) { out = std::copy_n(p, bytes, out); });
    assignText(scratch.get(), static_cast<std::size_t>(total));
}

// ---- white space at the ends ----

// Where a byte that is white space cannot be a part of another character.
bool ZAbstractMutableString_5_1::stripsBytewise() const {
    return getCodesetHandle() == utf8_handle_.load(std::memory_order_acquire) ||
           isSingleByteLocal();
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::stripLeading() {
    char const* p = buffer_;
    char const* const end = buffer_ + length_;
    if (stripsBytewise()) {
        while (p != end && isSpace(*p)) ++p;
    } else {
        void* const handle = getCodesetHandle();
        while (p != end && isSpace(*p) && characterBytes(handle, p, end) == 1) ++p;
    }
    return p == buffer_ ? *this : setChars(p);
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::stripTrailing() {
    if (length_ == 0) return *this;
    if (stripsBytewise()) {
        unsigned int last = length_ - 1;
        while (last > 0 && isSpace(buffer_[last])) --last;
        return trunc(last + 1);
    }
    void* const handle = getCodesetHandle();
    char const* const end = buffer_ + length_;
    char const* blanks = end;  // where the run of white space that lasts to here began
    for (char const* p = buffer_; p != end;) {
        std::size_t const bytes = characterBytes(handle, p, end);
        char const* const next = p + bytes;
        if (bytes != 1 || !isSpace(*p)) {
            blanks = end;
        } else if (blanks == end) {
            blanks = p;
        }
        p = next;
    }
    return trunc(static_cast<unsigned int>(blanks - buffer_));
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::stripWhiteSpace() {
    stripLeading();
    return stripTrailing();
}

#if defined(__i386__)
static_assert(sizeof(ZAbstractMutableString_5_1) == 112, "layout of the strings");
#endif
