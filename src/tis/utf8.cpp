// utf8: strict UTF-8, one character at a time and in bulk.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#include "utf8.h"

#include "vector.h"

namespace tis {

namespace {

bool isValidUtf8(Source text) {
    while (text.at != text.end) {
        CodePoint cp;
        int const length = decodeUtf8(text.at, text.left(), cp);
        if (length < 0) return false;
        text.at += length;
    }
    return true;
}

bool copyByCharacter(Source from, Byte* to) {
    Target out = {to, to + from.left()};
    copyAscii(from, out);
    if (!isValidUtf8(from)) return false;
    if (from.at != from.end) std::memcpy(out.at, from.at, from.left());
    return true;
}

}  // namespace

bool copyUtf8(Source from, Byte* to) {
    bool const byVector = from.left() >= vectorWidth && haveVectors();
    return byVector ? copyUtf8ByVector(from, to) : copyByCharacter(from, to);
}

}  // namespace tis
