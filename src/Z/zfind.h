// zfind: where a text stands in a block of bytes.
// Subsystem: strings, layer 1. Test: tests/ZAbstractString_test.cpp
#ifndef Z_ZFIND_H
#define Z_ZFIND_H

#include <cstddef>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace z_5_1 {

// The first place in the `length` bytes at `bytes` where the `count` bytes of `text` stand, null
// when there is none.
inline char const* find(char const* bytes, std::size_t length, char const* text,
                        std::size_t count) {
    if (count == 0) return bytes;
    if (count > length) return nullptr;
    // The way below takes up to `count` steps for each place.
    if (count > 256) return static_cast<char const*>(memmem(bytes, length, text, count));
    char const* const last = bytes + (length - count);  // where it could begin
    char const* p = bytes;
#if defined(__SSE2__)
    // Sixteen places at once, told by the first and the last byte.
    __m128i const first = _mm_set1_epi8(text[0]);
    __m128i const final = _mm_set1_epi8(text[count - 1]);
    for (; last - p >= 15; p += 16) {
        __m128i const starts = _mm_loadu_si128(reinterpret_cast<__m128i const*>(p));
        __m128i const ends = _mm_loadu_si128(reinterpret_cast<__m128i const*>(p + count - 1));
        __m128i const both =
            _mm_and_si128(_mm_cmpeq_epi8(starts, first), _mm_cmpeq_epi8(ends, final));
        auto places = static_cast<unsigned int>(_mm_movemask_epi8(both));
        for (; places != 0; places &= places - 1) {
            char const* const place = p + __builtin_ctz(places);
            if (std::memcmp(place, text, count) == 0) return place;
        }
    }
#endif
    for (; p <= last; ++p) {
        p = static_cast<char const*>(
            std::memchr(p, text[0], static_cast<std::size_t>(last - p) + 1));
        if (p == nullptr || std::memcmp(p, text, count) == 0) return p;
    }
    return nullptr;
}

}  // namespace z_5_1

#endif
