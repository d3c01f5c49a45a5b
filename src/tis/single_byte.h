// single_byte: codesets of 256 characters, converted by tables alone.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#ifndef TIS_SINGLE_BYTE_H
#define TIS_SINGLE_BYTE_H

#include "codeset.h"

namespace tis {

// Fills `packed` and `pages` from `first`; false when memory is out.
bool fillSingleByteTables(Codeset& cs);
// Frees what fillSingleByteTables made, for a codeset that is not published.
void dropSingleByteTables(Codeset& cs);

// The end of what is written, or null when the text cannot be converted completely.
Byte* singleByteToUtf8(Codeset const& cs, Source from, Target to);
Byte* singleByteFromUtf8(Codeset const& cs, Source from, Target to);

// The byte of a code point; 0 when there is none, and for U+0000.
inline Byte singleByteOf(Codeset const& cs, CodePoint cp) {
    return cp < 0x10000 ? cs.pages[cp >> 8]->codes[cp & 0xFF] : Byte{0};
}

}  // namespace tis

#endif
