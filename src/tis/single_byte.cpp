// single_byte: codesets of 256 characters, converted by tables alone.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#include "single_byte.h"

#include <cstdlib>

#include "latin1.h"
#include "vector.h"

namespace tis {

namespace {

constexpr Page makeAsciiPage() {
    Page page = {};
    for (unsigned b = 0; b < 128; ++b) page.codes[b] = static_cast<Byte>(b);
    return page;
}

// Stores four bytes and moves on by those that count.
inline void append(Packed form, Byte*& out) {
    std::memcpy(out, &form, sizeof form);
    out += form >> 24 & 3;
}

// Without branches on the text, which in most texts would be guesses.
inline bool appendWord(Codeset const& cs, Word word, Byte*& out) {
    Byte* at = out;
    Packed seen = 0;
    auto const next = [&] {
        Packed const form = cs.packed[word & 0xFF];
        seen |= form;
        append(form, at);
        word >>= 8;
    };
    next(), next(), next(), next(), next(), next(), next(), next();
    out = at;
    return (seen & noForm) == 0;
}

bool appendExactly(Packed form, Target& to) {
    unsigned const length = form >> 24 & 3;
    if ((form & noForm) != 0 || to.left() < length) return false;
    to.at[0] = static_cast<Byte>(form);
    if (length > 1) to.at[1] = static_cast<Byte>(form >> 8);
    if (length > 2) to.at[2] = static_cast<Byte>(form >> 16);
    to.at += length;
    return true;
}

// One character; those of two bytes, which most codesets need alone, first.
inline bool convertOne(Codeset const& cs, Source& from, Target& to) {
    if (to.at == to.end) return false;
    CodePoint cp;
    int length = 2;
    unsigned const lead = *from.at;
    if (lead - 0xC2u < 0x1Eu && from.left() >= 2 && isContinuation(from.at[1])) {
        cp = (lead & 0x1F) << 6 | (from.at[1] & 0x3Fu);
    } else {
        length = decodeUtf8(from.at, from.left(), cp);
        if (length < 0) return false;
    }
    Byte const code = singleByteOf(cs, cp);
    if (code == 0 && cp != 0) return false;
    *to.at++ = code;
    from.at += length;
    return true;
}

bool hasVectorForm(Codeset const& cs, Source text) {
    return cs.latin1 && text.left() >= vectorWidth && haveVectors();
}

Page* pageFor(Codeset& cs, CodePoint cp) {
    Page const*& slot = cs.pages[cp >> 8];
    if (slot == &emptyPage) {
        void* memory = std::calloc(1, sizeof(Page));
        if (memory == nullptr) return nullptr;
        slot = static_cast<Page const*>(memory);
    }
    return const_cast<Page*>(slot);  // made here, not yet published
}

}  // namespace

Page const emptyPage = {};
Page const asciiPage = makeAsciiPage();

bool fillSingleByteTables(Codeset& cs) {
    for (Page const*& page : cs.pages) page = &emptyPage;
    cs.latin1 = true;
    for (unsigned b = 0; b < 256; ++b) {
        Cell const cell = cs.first[b];
        cs.latin1 = cs.latin1 && cell == b;
        cs.packed[b] = noForm;
        if (b != 0 && !isCharacter(cell)) continue;
        Packed form = 0;
        encodeUtf8(cell, reinterpret_cast<Byte*>(&form));
        cs.packed[b] = form | utf8Length(cell) << 24;
        Page* const page = pageFor(cs, cell);
        if (page == nullptr) return false;
        Byte& code = page->codes[cell & 0xFF];
        if (code == 0) code = static_cast<Byte>(b);
    }
    return true;
}

void dropSingleByteTables(Codeset& cs) {
    for (Page const*& page : cs.pages) {
        if (page != &emptyPage && page != &asciiPage) std::free(const_cast<Page*>(page));
        page = &emptyPage;
    }
}

Byte* singleByteToUtf8(Codeset const& cs, Source from, Target to) {
    constexpr std::size_t step = sizeof(Word);
    constexpr std::size_t mostWritten = 3 * step + 1;
    if (hasVectorForm(cs, from)) return latin1ToUtf8(from, to);
    while (from.left() >= step && to.left() >= mostWritten) {
        Word const word = loadWord(from.at);
        if (cs.asciiIdentity && (word & highBits) == 0) {
            std::memcpy(to.at, &word, step);
            to.at += step;
        } else if (!appendWord(cs, word, to.at)) {
            return nullptr;
        }
        from.at += step;
    }
    for (; from.at != from.end && to.left() >= sizeof(Packed); ++from.at) {
        Packed const form = cs.packed[*from.at];
        if (form == noForm) return nullptr;
        append(form, to.at);
    }
    for (; from.at != from.end; ++from.at) {
        if (!appendExactly(cs.packed[*from.at], to)) return nullptr;
    }
    return to.at;
}

Byte* singleByteFromUtf8(Codeset const& cs, Source from, Target to) {
    constexpr std::size_t step = sizeof(Word);
    if (hasVectorForm(cs, from)) return latin1FromUtf8(from, to);
    while (cs.asciiIdentity && from.left() >= step && to.left() >= step) {
        Word const word = loadWord(from.at);
        Word const high = word & highBits;
        if (high == 0) {
            copyAscii(from, to);
            continue;
        }
        std::memcpy(to.at, &word, step);
        from.at += __builtin_ctzll(high) / 8;
        to.at += __builtin_ctzll(high) / 8;
        if (!convertOne(cs, from, to)) return nullptr;
    }
    while (from.at != from.end) {
        if (!convertOne(cs, from, to)) return nullptr;
    }
    return to.at;
}

}  // namespace tis
