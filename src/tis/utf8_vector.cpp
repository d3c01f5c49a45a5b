// utf8_vector: checks and copies UTF-8 sixteen bytes at a time.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
//
// Every error of UTF-8 but one shows in a byte and the high half of the next. Three tables of 16
// entries, looked up by the two halves of the first and the high half of the second byte, each give
// the set of errors that their half allows; an error is real when all three name it. "Two
// continuations" is no error where a lead of three or four bytes stands two or three bytes before,
// and is one of its own where such a lead lacks them: the remaining rule.
// (Keiser and Lemire, "Validating UTF-8 in less than one instruction per byte".)
//
// The last block is read and written together with bytes before it, which are then shifted out of
// the check.
#include "vector.h"

#ifdef TIS_VECTORS

namespace tis {

namespace {

constexpr std::size_t width = vectorWidth;

enum Error : unsigned {
    tooShort = 1 << 0,      // a lead, then no continuation
    tooLong = 1 << 1,       // ASCII, then a continuation
    overlong3 = 1 << 2,     // E0 80 to E0 9F
    tooLarge = 1 << 3,      // F4 90 and above
    surrogate = 1 << 4,     // ED A0 and above
    overlong2 = 1 << 5,     // C0, C1
    tooLarge1000 = 1 << 6,  // F5 80 and above
    overlong4 = 1 << 6,     // F0 80 to F0 8F
    twoContinuations = 1 << 7,
    carry = tooShort | tooLong | twoContinuations,
    large = carry | tooLarge | tooLarge1000,
    anyContinuation = tooLong | overlong2 | twoContinuations,
};

// clang-format off
alignas(width) constexpr Byte firstHigh[width] = {
    tooLong, tooLong, tooLong, tooLong, tooLong, tooLong, tooLong, tooLong,
    twoContinuations, twoContinuations, twoContinuations, twoContinuations,
    tooShort | overlong2, tooShort, tooShort | overlong3 | surrogate,
    tooShort | tooLarge | tooLarge1000 | overlong4};
alignas(width) constexpr Byte firstLow[width] = {
    carry | overlong3 | overlong2 | overlong4, carry | overlong2, carry, carry, carry | tooLarge,
    large, large, large, large, large, large, large, large, large | surrogate, large, large};
alignas(width) constexpr Byte secondHigh[width] = {
    tooShort, tooShort, tooShort, tooShort, tooShort, tooShort, tooShort, tooShort,
    anyContinuation | overlong3 | tooLarge1000 | overlong4, anyContinuation | overlong3 | tooLarge,
    anyContinuation | surrogate | tooLarge, anyContinuation | surrogate | tooLarge,
    tooShort, tooShort, tooShort, tooShort};
// The greatest last bytes of a block whose characters end in it.
alignas(width) constexpr Byte complete[width] = {
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 0xEF, 0xDF, 0xBF};
// clang-format on

TIS_VECTOR inline __m128i lookUp(Byte const* table, __m128i halves) {
    return _mm_shuffle_epi8(_mm_load_si128(reinterpret_cast<__m128i const*>(table)), halves);
}

class Checker {
public:
    TIS_VECTOR void add(__m128i block) {
        if (highBitsOf(block) == 0) {
            errors_ = _mm_or_si128(errors_, open_);
            open_ = _mm_setzero_si128();
        } else {
            errors_ = _mm_or_si128(errors_, errorsOf(block));
            open_ = _mm_subs_epu8(block, load(complete));
        }
        before_ = block;
    }

    TIS_VECTOR bool isValid() const {
        __m128i const found = _mm_or_si128(errors_, open_);
        return highBitsOf(_mm_cmpeq_epi8(found, _mm_setzero_si128())) == 0xFFFF;
    }

private:
    TIS_VECTOR __m128i errorsOf(__m128i block) const {
        __m128i const low = all(0x0F);
        __m128i const one = _mm_alignr_epi8(block, before_, 15);  // the byte before each byte
        __m128i const two = _mm_alignr_epi8(block, before_, 14);
        __m128i const three = _mm_alignr_epi8(block, before_, 13);
        __m128i const pairs = _mm_and_si128(
            _mm_and_si128(lookUp(firstHigh, _mm_and_si128(_mm_srli_epi16(one, 4), low)),
                          lookUp(firstLow, _mm_and_si128(one, low))),
            lookUp(secondHigh, _mm_and_si128(_mm_srli_epi16(block, 4), low)));
        __m128i const third = _mm_subs_epu8(two, all(0xE0 - 0x80));
        __m128i const fourth = _mm_subs_epu8(three, all(0xF0 - 0x80));
        __m128i const wanted = _mm_and_si128(_mm_or_si128(third, fourth), all(0x80));
        return _mm_xor_si128(wanted, pairs);
    }

    __m128i before_ = {};
    __m128i open_ = {};  // not zero: the last block ends within a character
    __m128i errors_ = {};
};

}  // namespace

TIS_VECTOR bool copyUtf8ByVector(Source from, Byte* to) {
    Checker checker;
    for (; from.left() > 2 * width; from.at += width, to += width) {
        __m128i const block = load(from.at);
        store(to, block);
        checker.add(block);
    }
    // 16 to 32 bytes are left.
    __m128i const block = load(from.at);
    __m128i const last = load(from.end - width);
    store(to, block);
    store(to + from.left() - width, last);
    checker.add(block);
    checker.add(toFront(last, from.left() - width));
    return checker.isValid();
}

}  // namespace tis

#else

namespace tis {

// Not reached, see haveVectors().
bool copyUtf8ByVector(Source, Byte*) {
    return false;
}

}  // namespace tis

#endif
