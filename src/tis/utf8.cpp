// utf8: strict UTF-8, one character at a time and in bulk.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#include "utf8.h"

namespace tis {

namespace {

constexpr std::size_t worthVectors = 16;

bool isValidUtf8ByCharacter(Byte const* p, Byte const* end) {
    while (p != end) {
        CodePoint cp;
        int const length = decodeUtf8(p, static_cast<std::size_t>(end - p), cp);
        if (length < 0) return false;
        p += length;
    }
    return true;
}

}  // namespace

bool isValidUtf8(Byte const* p, std::size_t count) {
    if (count >= worthVectors && haveVectorCheck()) return isValidUtf8ByVector(p, count);
    return isValidUtf8ByCharacter(p, p + count);
}

bool copyUtf8(Source from, Target& to) {
    if (to.left() < from.left()) return false;
    Target out = to;
    copyAscii(from, out);
    if (!isValidUtf8(from.at, from.left())) return false;
    if (from.at != from.end) std::memcpy(out.at, from.at, from.left());
    to.at = out.at + from.left();
    return true;
}

}  // namespace tis
