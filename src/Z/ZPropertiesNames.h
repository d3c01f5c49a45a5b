// ZPropertiesNames: which names and texts a configuration file can hold and give back.
// Subsystem: properties, layer 4. Test: tests/ZProperties_test.cpp
//
// Internal. Each check throws ZInvalidParameterException_5_1 for `unit` at the caller's line.
#ifndef Z_ZPROPERTIESNAMES_H
#define Z_ZPROPERTIESNAMES_H

#include <cstring>

#include "ZException.h"
#include "zraise.h"

namespace z_5_1 {

inline void requireThat(bool holds, char const* unit, int line) {
    if (__builtin_expect(!holds, 0)) raise(unit, ZInvalidParameterException_5_1(), line);
}

// For every question and change.
inline void requireName(char const* unit, char const* name, int line = __builtin_LINE()) {
    requireThat(name && *name, unit, line);
}

// For what may enter the file: no line end, no "]" in a stanza; no line end, no "=", no outer white
// space, no "#" or "[" at the beginning of a key.
inline void requireNewStanza(char const* unit, char const* stanza, int line = __builtin_LINE()) {
    while (*stanza && *stanza != '\n' && *stanza != ']') ++stanza;
    requireThat(!*stanza, unit, line);
}

inline void requireNewNames(char const* unit, char const* stanza, char const* key,
                            int line = __builtin_LINE()) {
    requireNewStanza(unit, stanza, line);
    auto isSpace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    requireThat(*key != '#' && *key != '[' && !isSpace(*key), unit, line);
    char const* end = key;
    while (*end && *end != '\n' && *end != '=') ++end;
    requireThat(!*end && !isSpace(end[-1]), unit, line);
}

// For comments and plain values; null is no text.
inline void requireOneLine(char const* unit, char const* text, int line = __builtin_LINE()) {
    requireThat(!text || !std::strchr(text, '\n'), unit, line);
}

}  // namespace z_5_1

#endif
