// latin1: the codeset whose bytes are the first 256 code points, by vectors.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#ifndef TIS_LATIN1_H
#define TIS_LATIN1_H

#include "utf8.h"

namespace tis {

// For texts of at least one vector's width (vector.h); the end of what is written, or null when the
// text cannot be converted completely.
Byte* latin1ToUtf8(Source from, Target to);
Byte* latin1FromUtf8(Source from, Target to);

}  // namespace tis

#endif
