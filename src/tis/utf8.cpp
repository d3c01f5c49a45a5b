// utf8: strict UTF-8, one character at a time and in bulk.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#include "utf8.h"

namespace tis {

namespace {

Byte const* skipAscii(Byte const* p, Byte const* end) {
    constexpr std::ptrdiff_t step = 4 * sizeof(Word);
    for (; end - p >= step; p += step) {
        if ((loadWord(p) | loadWord(p + 8) | loadWord(p + 16) | loadWord(p + 24)) & highBits) break;
    }
    while (end - p >= 8 && (loadWord(p) & highBits) == 0) p += 8;
    while (p != end && *p < 0x80) ++p;
    return p;
}

}  // namespace

Byte const* validUtf8(Byte const* p, Byte const* end) {
    for (;;) {
        p = skipAscii(p, end);
        while (p != end && *p >= 0x80) {
            CodePoint cp;
            int const length = decodeUtf8(p, static_cast<std::size_t>(end - p), cp);
            if (length < 0) return p;
            p += length;
        }
        if (p == end) return end;
    }
}

bool copyUtf8(Source from, Target& to) {
    if (to.left() < from.left() || validUtf8(from.at, from.end) != from.end) return false;
    std::memcpy(to.at, from.at, from.left());
    to.at += from.left();
    return true;
}

}  // namespace tis
