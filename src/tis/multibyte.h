// multibyte: codesets with characters of one to four bytes.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#ifndef TIS_MULTIBYTE_H
#define TIS_MULTIBYTE_H

#include "codeset.h"

namespace tis {

// The length of the character that begins with a lead byte at p, or -1.
int decodeLong(Codeset const& cs, Byte const* p, std::size_t left, CodePoint& cp);

int encodeMultibyte(Codeset const& cs, CodePoint cp, Byte* out);

// The end of what is written, or null when the text cannot be converted completely.
Byte* multibyteToUtf8(Codeset const& cs, Source from, Target to);
Byte* multibyteFromUtf8(Codeset const& cs, Source from, Target to);

}  // namespace tis

#endif
