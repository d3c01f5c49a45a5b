// utf8: strict UTF-8, one character at a time and in bulk.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#ifndef TIS_UTF8_H
#define TIS_UTF8_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tis {

using Byte = unsigned char;
using CodePoint = std::uint32_t;

// What is still to be read, and what room is left.
struct Source {
    Byte const* at;
    Byte const* end;
    std::size_t left() const { return static_cast<std::size_t>(end - at); }
};
struct Target {
    Byte* at;
    Byte* end;
    std::size_t left() const { return static_cast<std::size_t>(end - at); }
};

using Word = std::uint64_t;
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the first byte is a word's lowest");
constexpr Word highBits = 0x8080808080808080u;

inline Word loadWord(Byte const* p) {
    Word word;
    std::memcpy(&word, p, sizeof word);
    return word;
}

inline bool isSurrogate(CodePoint cp) {
    return (cp & 0xFFFFF800u) == 0xD800u;
}

inline bool isContinuation(Byte b) {
    return (b & 0xC0u) == 0x80u;
}

// The length of the character at p, of which `left` >= 1 bytes may be read; -1 if there is none.
// A byte is read only after the one before it fits, so reading ends at a terminator.
inline int decodeUtf8(Byte const* p, std::size_t left, CodePoint& cp) {
    Byte const lead = *p;
    if (lead < 0x80) {
        cp = lead;
        return 1;
    }
    if (lead < 0xC2 || left < 2 || !isContinuation(p[1])) return -1;
    if (lead < 0xE0) {
        cp = (lead & 0x1Fu) << 6 | (p[1] & 0x3Fu);
        return 2;
    }
    if (left < 3 || !isContinuation(p[2])) return -1;
    if (lead < 0xF0) {
        cp = (lead & 0x0Fu) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu);
        return cp < 0x800 || isSurrogate(cp) ? -1 : 3;
    }
    if (lead > 0xF4 || left < 4 || !isContinuation(p[3])) return -1;
    cp = (lead & 0x07u) << 18 | (p[1] & 0x3Fu) << 12 | (p[2] & 0x3Fu) << 6 | (p[3] & 0x3Fu);
    return cp < 0x10000 || cp > 0x10FFFF ? -1 : 4;
}

inline unsigned utf8Length(CodePoint cp) {
    return cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4;
}

// Writes utf8Length(cp) bytes.
inline void encodeUtf8(CodePoint cp, Byte* out) {
    if (cp < 0x80) {
        out[0] = static_cast<Byte>(cp);
    } else if (cp < 0x800) {
        out[0] = static_cast<Byte>(0xC0 | cp >> 6);
        out[1] = static_cast<Byte>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out[0] = static_cast<Byte>(0xE0 | cp >> 12);
        out[1] = static_cast<Byte>(0x80 | (cp >> 6 & 0x3F));
        out[2] = static_cast<Byte>(0x80 | (cp & 0x3F));
    } else {
        out[0] = static_cast<Byte>(0xF0 | cp >> 18);
        out[1] = static_cast<Byte>(0x80 | (cp >> 12 & 0x3F));
        out[2] = static_cast<Byte>(0x80 | (cp >> 6 & 0x3F));
        out[3] = static_cast<Byte>(0x80 | (cp & 0x3F));
    }
}

// False when there is no room.
inline bool putUtf8(Target& to, CodePoint cp) {
    unsigned const length = utf8Length(cp);
    if (to.left() < length) return false;
    encodeUtf8(cp, to.at);
    to.at += length;
    return true;
}

// Copies bytes below 0x80 up to the first other one, the end of the source or of the room.
inline void copyAscii(Source& from, Target& to) {
    constexpr std::size_t step = sizeof(Word);
    while (from.left() >= 2 * step && to.left() >= 2 * step) {
        Word const first = loadWord(from.at);
        Word const second = loadWord(from.at + step);
        if (((first | second) & highBits) != 0) break;
        std::memcpy(to.at, &first, step);
        std::memcpy(to.at + step, &second, step);
        from.at += 2 * step;
        to.at += 2 * step;
    }
    while (from.left() >= step && to.left() >= step) {
        Word const word = loadWord(from.at);
        std::memcpy(to.at, &word, step);
        Word const high = word & highBits;
        int const length = high == 0 ? static_cast<int>(step) : __builtin_ctzll(high) / 8;
        from.at += length;
        to.at += length;
        if (high != 0) return;
    }
    while (from.at != from.end && to.at != to.end && *from.at < 0x80) *to.at++ = *from.at++;
}

// Checks, as strictly as decodeUtf8, and copies to where there is room; false for invalid text. The
// form by vectors (vector.h) needs a text of at least one vector's width.
bool copyUtf8(Source from, Byte* to);
bool copyUtf8ByVector(Source from, Byte* to);

}  // namespace tis

#endif
