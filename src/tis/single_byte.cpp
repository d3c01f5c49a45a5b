// single_byte: codesets of 256 characters, converted by tables alone.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#include "single_byte.h"

#include <cstdlib>

namespace tis {

namespace {

constexpr Page makeAsciiPage() {
    Page page = {};
    for (unsigned b = 0; b < 128; ++b) page.codes[b] = static_cast<Byte>(b);
    return page;
}

// Appends without looking at the room: a packed form is stored as its four bytes, the length last.
inline void append(Packed const& packed, Byte*& out) {
    std::memcpy(out, &packed, sizeof packed);
    out += packed.length;
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
    for (unsigned b = 0; b < 256; ++b) {
        Cell const cell = cs.first[b];
        cs.packed[b] = {};
        if (b != 0 && !isCharacter(cell)) continue;
        encodeUtf8(cell, cs.packed[b].bytes);
        cs.packed[b].length = static_cast<Byte>(utf8Length(cell));
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

bool singleByteToUtf8(Codeset const& cs, Source from, Target& to) {
    constexpr std::size_t step = sizeof(Word);
    constexpr std::size_t mostWritten = 3 * step + 1;
    while (from.left() >= step && to.left() >= mostWritten) {
        Word const word = loadWord(from.at);
        if (cs.asciiIdentity && (word & highBits) == 0) {
            std::memcpy(to.at, &word, step);
            to.at += step;
        } else {
            // No branch on the bytes, which in most texts mix unpredictably.
            unsigned failed = 0;
            for (std::size_t i = 0; i < step; ++i) {
                Packed const& packed = cs.packed[from.at[i]];
                failed |= packed.length == 0;
                append(packed, to.at);
            }
            if (failed != 0) return false;
        }
        from.at += step;
    }
    for (; from.at != from.end; ++from.at) {
        Packed const& packed = cs.packed[*from.at];
        if (packed.length == 0 || to.left() < packed.length) return false;
        std::memcpy(to.at, packed.bytes, packed.length);
        to.at += packed.length;
    }
    return true;
}

bool singleByteFromUtf8(Codeset const& cs, Source from, Target& to) {
    while (from.at != from.end) {
        if (cs.asciiIdentity && *from.at < 0x80) {
            copyAscii(from, to);
            if (from.at == from.end) return true;
        }
        CodePoint cp;
        int const length = decodeUtf8(from.at, from.left(), cp);
        if (length < 0 || to.at == to.end) return false;
        Byte const code = singleByteOf(cs, cp);
        if (code == 0 && cp != 0) return false;
        *to.at++ = code;
        from.at += length;
    }
    return true;
}

}  // namespace tis
