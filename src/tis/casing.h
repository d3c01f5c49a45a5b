// casing: Unicode's character classes and simple case mappings.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#ifndef TIS_CASING_H
#define TIS_CASING_H

#include "utf8.h"

// The case rules of a language.
struct tis_loc {
    bool turkic;  // I goes with dotless i, dotted I with i
};

namespace tis {

enum class CharClass { alnum, alpha, digit, lower, space, upper };

bool isInClass(CodePoint cp, CharClass wanted);

// Values above U+10FFFF are their own lower and upper case.
CodePoint lowerOf(CodePoint cp);
CodePoint upperOf(CodePoint cp);

// Equal for characters that differ in case only.
CodePoint fold(CodePoint cp, bool turkic);

}  // namespace tis

#endif
