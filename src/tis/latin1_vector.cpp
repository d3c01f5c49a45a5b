// latin1_vector: ISO-8859-1 to UTF-8 and back sixteen bytes at a time.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
//
// To UTF-8: a byte from 80 up becomes C2 or C3 and itself without bit 6. Both are made for every
// byte and laid side by side; then a table, looked up by which bytes are high, drops the second
// ones of the others. Back: each byte after a C3 gets bit 6, and a table drops the leads. The
// tables serve eight bytes, so each block is packed in two halves. A last, partial block is filled
// up with NUL, whose bytes do not count. Where the room is less than a block might need, it goes on
// character by character.
#include "latin1.h"

#include "vector.h"

#ifdef TIS_VECTORS

namespace tis {

namespace {

constexpr std::size_t width = vectorWidth;

// By the set of those of eight bytes that are high, or leads.
struct Orders {
    Byte spread[256][16];  // of eight pairs, the second bytes of the set alone
    Byte spreadLength[256];
    Byte kept[256][8];  // of eight bytes, those outside the set
    Byte keptLength[256];
};

constexpr Orders makeOrders() {
    Orders orders = {};
    for (unsigned set = 0; set < 256; ++set) {
        Byte& spread = orders.spreadLength[set];
        Byte& kept = orders.keptLength[set];
        for (unsigned place = 0; place < 8; ++place) {
            bool const member = (set >> place & 1) != 0;
            orders.spread[set][spread++] = static_cast<Byte>(2 * place);
            if (member) orders.spread[set][spread++] = static_cast<Byte>(2 * place + 1);
            if (!member) orders.kept[set][kept++] = static_cast<Byte>(place);
        }
    }
    return orders;
}

constexpr Orders orders = makeOrders();

TIS_VECTOR inline Byte* putPairs(Byte* out, __m128i pairs, unsigned high) {
    store(out, _mm_shuffle_epi8(pairs, load(orders.spread[high])));
    return out + orders.spreadLength[high];
}

TIS_VECTOR inline Byte* putOthers(Byte* out, __m128i codes, unsigned leads) {
    __m128i const order = _mm_loadl_epi64(reinterpret_cast<__m128i const*>(orders.kept[leads]));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(codes, order));
    return out + orders.keptLength[leads];
}

// Writes up to 32 bytes; the end of those that count.
TIS_VECTOR inline Byte* putAsUtf8(Byte* out, __m128i block) {
    unsigned const high = highBitsOf(block);
    if (high == 0) {
        store(out, block);
        return out + width;
    }
    __m128i const isHigh = _mm_cmpgt_epi8(_mm_setzero_si128(), block);
    __m128i const fromC0 = _mm_cmpgt_epi8(block, all(0xBF));  // signed: and ASCII
    __m128i const lead = _mm_sub_epi8(all(0xC2), fromC0);
    __m128i const first =
        _mm_or_si128(_mm_andnot_si128(isHigh, block), _mm_and_si128(isHigh, lead));
    __m128i const second = _mm_and_si128(block, all(0xBF));
    out = putPairs(out, _mm_unpacklo_epi8(first, second), high & 0xFF);
    return putPairs(out, _mm_unpackhi_epi8(first, second), high >> 8);
}

class Decoder {
public:
    // Writes up to 16 bytes; the end of those that count, or null.
    TIS_VECTOR Byte* put(Byte* out, __m128i block) {
        unsigned const high = highBitsOf(block);
        if (high == 0 && open_ == 0) {
            store(out, block);
            return out + width;  // before_ is asked only for a lead at its end
        }
        __m128i const isLead = _mm_cmpeq_epi8(_mm_and_si128(block, all(0xFE)), all(0xC2));
        unsigned const leads = highBitsOf(isLead);
        unsigned const trails = highBitsOf(_mm_cmpgt_epi8(all(0xC0), block));  // signed: 80 to BF
        if (trails != ((leads << 1 | open_) & 0xFFFF) || high != (leads | trails)) return nullptr;
        __m128i const previous = _mm_alignr_epi8(block, before_, 15);
        __m128i const bit6 = _mm_and_si128(_mm_cmpeq_epi8(previous, all(0xC3)), all(0x40));
        __m128i const codes = _mm_or_si128(block, bit6);
        before_ = block;
        open_ = leads >> 15;
        out = putOthers(out, codes, leads & 0xFF);
        return putOthers(out, _mm_srli_si128(codes, 8), leads >> 8);
    }

    unsigned open() const { return open_; }

private:
    __m128i before_ = {};
    unsigned open_ = 0;  // 1: the last block ends with a lead
};

}  // namespace

TIS_VECTOR Byte* latin1ToUtf8(Source from, Target to) {
    for (; from.left() >= width && to.left() >= 2 * width; from.at += width) {
        to.at = putAsUtf8(to.at, load(from.at));
    }
    if (from.left() < width && to.left() >= 2 * width) {
        return putAsUtf8(to.at, loadLast(from)) - (width - from.left());
    }
    for (; from.at != from.end; ++from.at) {
        if (!putUtf8(to, *from.at)) return nullptr;
    }
    return to.at;
}

TIS_VECTOR Byte* latin1FromUtf8(Source from, Target to) {
    Decoder decoder;
    for (; from.left() >= width && to.left() >= width; from.at += width) {
        to.at = decoder.put(to.at, load(from.at));
        if (to.at == nullptr) return nullptr;
    }
    if (from.left() < width && to.left() >= width) {
        Byte* const end = decoder.put(to.at, loadLast(from));
        return end == nullptr ? nullptr : end - (width - from.left());
    }
    from.at -= decoder.open();
    while (from.at != from.end) {
        CodePoint cp;
        int const length = decodeUtf8(from.at, from.left(), cp);
        if (length < 0 || cp > 0xFF || to.at == to.end) return nullptr;
        *to.at++ = static_cast<Byte>(cp);
        from.at += length;
    }
    return to.at;
}

}  // namespace tis

#else

namespace tis {

// Not reached, see haveVectors().
Byte* latin1ToUtf8(Source, Target) {
    return nullptr;
}
Byte* latin1FromUtf8(Source, Target) {
    return nullptr;
}

}  // namespace tis

#endif
