// codeset: what is known about a codeset, and the decoding and encoding of one character.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
//
// Idea. The C library's converter knows every codeset but is slow for single characters and costs
// microseconds to open. So it is asked once: about all single bytes when the first handle of a
// codeset is made, about all pairs of bytes when the first pair is met, about all codes when the
// first character is encoded. After that one- and two-byte characters come from tables; the
// converter itself is used for characters of three and four bytes and for composing codesets.
//
// Invariants
// 1. A Codeset is complete before it is published and is never freed. Only its lazy tables are
//    added later, each published once with release and read with acquire.
// 2. In every codeset NUL, digits and ASCII letters are one byte and themselves, bytes below 0x80
//    begin no longer character and, in multibyte codesets, each is a character; and NUL occurs
//    inside none: a walk stops at the terminator.
// 3. asciiIdentity is set only when the converter mapped each byte below 0x80 to itself, held none
//    of them back and the codeset is not composing. Fast paths for ASCII ask it first: the yen sign
//    of some Japanese codesets is the byte 0x5C.
// 4. A composing codeset (a byte that gives several code points, or is held back to see whether the
//    next one combines with it) is converted by the converter alone, from its start, with a flush
//    at the end.
//
// Not here: shift states. Codesets that have them are refused.
#ifndef TIS_CODESET_H
#define TIS_CODESET_H

#include <atomic>

#include "utf8.h"

namespace tis {

// A cell of a decoding table: a code point of the BMP, or one of these (surrogates are no code
// points of any text). cellNone in the cell of byte 0 is U+0000.
using Cell = std::uint16_t;
constexpr Cell cellNone = 0;          // no character
constexpr Cell cellLead = 0xD800;     // the beginning of a longer character
constexpr Cell cellAstral = 0xD801;   // one code point outside the BMP
constexpr Cell cellSeveral = 0xD802;  // several code points

inline bool isCharacter(Cell cell) {
    return cell != cellNone && !isSurrogate(cell);
}

// "Code points" of units that have none of their own, in their order above all others.
constexpr CodePoint severalBase = 0x01000000;  // | the bytes
constexpr CodePoint strayBase = 0x02000000;    // | the byte

enum class Kind : std::uint8_t { utf8, singleByte, multiByte };

constexpr unsigned maxCharacter = 4;  // bytes of the longest character

struct PairTable {
    bool composing;
    Cell cells[0x10000];  // [first byte << 8 | second byte]
};

// A byte's form in UTF-8: from the lowest byte up its bytes, and their number in the highest; or
// noForm.
using Packed = std::uint32_t;
constexpr Packed noForm = 0x80000000u;

// One page of the way from the BMP to a single-byte codeset; 0 for "not there".
struct Page {
    Byte codes[256];
};
extern Page const emptyPage;
extern Page const asciiPage;  // bytes below 0x80 are themselves

struct Codeset {
    static constexpr unsigned maxName = 63;

    // Plain bytes: ASCII converts, the rest does not.
    constexpr explicit Codeset(Kind k) : kind(k) {
        for (Packed& form : packed) form = noForm;
        for (unsigned b = 0; b < 128; ++b) {
            first[b] = static_cast<Cell>(b);
            packed[b] = b | 1u << 24;
        }
        for (Page const*& page : pages) page = &emptyPage;
        pages[0] = &asciiPage;
    }

    Kind kind;
    bool asciiIdentity = true;
    bool composing = false;
    bool latin1 = false;  // each byte is the code point of its value
    char name[maxName + 1] = {};
    Cell first[256] = {};
    // Of single-byte codesets that do not compose:
    Packed packed[256] = {};      // by byte
    Page const* pages[256] = {};  // by the high byte of a code point; never null
    // Of multibyte codesets, made when first needed; null until then and when memory is out:
    mutable std::atomic<PairTable const*> pairs{nullptr};
    mutable std::atomic<std::uint16_t const*> codes{nullptr};  // by code point; 0: not in the table
    // An open converter. While there is one the C library keeps the codeset's module, instead of
    // unloading and loading it as threads come and go.
    void* keeper = nullptr;
    Codeset const* next = nullptr;
};

// The inner codeset of a handle; plain bytes for null.
Codeset const* findCodeset(char const* name);
extern Codeset const plainBytes;

// The length of the character at p, of which `left` >= 1 bytes may be read, or -1. A byte of a
// single-byte codeset that does not convert has length 1 and a stray's code point.
int decodeSlowly(Codeset const& cs, Byte const* p, std::size_t left, CodePoint& cp);

inline int decode(Codeset const& cs, Byte const* p, std::size_t left, CodePoint& cp) {
    if (*p < 0x80 && cs.asciiIdentity) {
        cp = *p;
        return 1;
    }
    return cs.kind == Kind::utf8 ? decodeUtf8(p, left, cp) : decodeSlowly(cs, p, left, cp);
}

// The length of the unit at p: a character or a stray byte. Never 0 or less.
inline unsigned unitAt(Codeset const& cs, Byte const* p, std::size_t left, CodePoint& cp) {
    int const length = decode(cs, p, left, cp);
    if (length > 0) return static_cast<unsigned>(length);
    cp = strayBase | *p;
    return 1;
}

// Writes the character's bytes to `out` (8 bytes of room) and returns their number, or -1.
int encode(Codeset const& cs, CodePoint cp, Byte* out);

// Conversions of whole texts, not for Kind::utf8; the end of what is written, or null when they
// cannot be done completely.
Byte* toUtf8(Codeset const& cs, Source from, Target to);
Byte* fromUtf8(Codeset const& cs, Source from, Target to);

}  // namespace tis

#endif
