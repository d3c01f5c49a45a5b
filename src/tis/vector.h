// vector: what the conversions of sixteen bytes at a time share.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
//
// They need SSSE3: haveVectors() tells whether this processor has it. Without it, and for what is
// less than a vector, the same work is done byte by byte elsewhere.
#ifndef TIS_VECTOR_H
#define TIS_VECTOR_H

#include "utf8.h"

namespace tis {

constexpr std::size_t vectorWidth = 16;

}  // namespace tis

#if defined(__x86_64__) || defined(__i386__)

#include <tmmintrin.h>

#define TIS_VECTORS 1
#define TIS_VECTOR __attribute__((target("ssse3")))

namespace tis {

TIS_VECTOR inline __m128i load(Byte const* p) {
    return _mm_loadu_si128(reinterpret_cast<__m128i const*>(p));
}

TIS_VECTOR inline void store(Byte* p, __m128i block) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), block);
}

// Loaded at n: moves the bytes from n on to the front and puts NUL behind them.
alignas(vectorWidth) inline constexpr Byte shifts[2 * vectorWidth] = {
    0,   1,   2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,  15,
    128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128};

// A block's last `count` bytes, and NUL behind them.
TIS_VECTOR inline __m128i toFront(__m128i block, std::size_t count) {
    return _mm_shuffle_epi8(block, load(shifts + vectorWidth - count));
}

// What is left of a text, at most a vector's width, and NUL behind it. Reads the bytes before it.
TIS_VECTOR inline __m128i loadLast(Source text) {
    return toFront(load(text.end - vectorWidth), text.left());
}

TIS_VECTOR inline __m128i all(unsigned byte) {
    return _mm_set1_epi8(static_cast<char>(byte));
}

// The highest bit of each byte, that of the first one lowest.
TIS_VECTOR inline unsigned highBitsOf(__m128i block) {
    return static_cast<unsigned>(_mm_movemask_epi8(block));
}

}  // namespace tis

#endif

namespace tis {

inline bool haveVectors() {
#ifdef TIS_VECTORS
    return __builtin_cpu_supports("ssse3") != 0;
#else
    return false;
#endif
}

}  // namespace tis

#endif
