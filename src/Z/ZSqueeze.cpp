// ZSqueeze: compression of one memory block at a time (RFC 1950), and its checksum alone.
// Subsystem: collections, layer 2. Test: tests/ZSqueeze_test.cpp
#include "ZSqueeze.h"

#define ZLIB_CONST
#include <zlib.h>

#include <climits>

#ifdef __ILP32__
static_assert(sizeof(ZSqueeze_5_1) == 16, "the record is fixed on 32 bits");
#endif

namespace {

// Runs the whole source through one stream, which is released on every path.
template <class Begin>
int oneShot(Begin begin, int (*run)(z_stream*, int), int (*end)(z_stream*), unsigned char* dest,
            unsigned long* destLen, unsigned char const* source, unsigned long sourceLen) {
    if (!destLen) return Z_STREAM_ERROR;
    // zlib counts in 32 bits, and results are int.
    if (sourceLen > INT_MAX || *destLen > INT_MAX) return Z_BUF_ERROR;
    z_stream stream = {};
    stream.next_in = source;
    stream.avail_in = static_cast<uInt>(sourceLen);
    stream.next_out = dest;
    stream.avail_out = static_cast<uInt>(*destLen);
    if (int const rc = begin(&stream)) return rc;
    int const rc = run(&stream, Z_FINISH);
    int const ended = end(&stream);
    switch (rc) {
        case Z_STREAM_END:
            *destLen = stream.total_out;
            return ended;
        case Z_OK:
            return Z_BUF_ERROR;
        case Z_NEED_DICT:
            return Z_DATA_ERROR;  // nobody can give one
        default:
            return rc;
    }
}

}  // namespace

ZSqueeze_5_1::ZSqueeze_5_1()
    : source_(nullptr), sourceLength_(0), level_(Z_DEFAULT_COMPRESSION), reserved_(1) {}

void ZSqueeze_5_1::setSource(unsigned char* data, unsigned long length) {
    source_ = data;
    sourceLength_ = length;
}

int ZSqueeze_5_1::squeeze(unsigned char* dest, unsigned long destCapacity) const {
    int const rc = compress(dest, &destCapacity, source_, sourceLength_);
    return rc < 0 ? rc : static_cast<int>(destCapacity);
}

int ZSqueeze_5_1::unsqueeze(unsigned char* dest, unsigned long destCapacity) const {
    int const rc = uncompress(dest, &destCapacity, source_, sourceLength_);
    return rc < 0 ? rc : static_cast<int>(destCapacity);
}

int ZSqueeze_5_1::compress(unsigned char* dest, unsigned long* destLen, unsigned char const* source,
                           unsigned long sourceLen) const {
    return oneShot([this](z_stream* stream) { return deflateInit(stream, level_); }, deflate,
                   deflateEnd, dest, destLen, source, sourceLen);
}

int ZSqueeze_5_1::uncompress(unsigned char* dest, unsigned long* destLen,
                             unsigned char const* source, unsigned long sourceLen) const {
    return oneShot([](z_stream* stream) { return inflateInit(stream); }, inflate, inflateEnd, dest,
                   destLen, source, sourceLen);
}

unsigned long ZAdler32_5_1::adler32(unsigned long adler, unsigned char const* buf,
                                    unsigned int len) {
    constexpr unsigned long modulus = 65521;
    if (!buf) return 1;
    adler &= 0xffffffff;
    if (len == 0) return adler;  // zlib would reduce it
    // zlib takes it that both sums are reduced.
    return ::adler32((adler >> 16) % modulus << 16 | (adler & 0xffff) % modulus, buf, len);
}
