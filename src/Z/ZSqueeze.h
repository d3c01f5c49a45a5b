// ZSqueeze: compression of one memory block at a time (RFC 1950), and its checksum alone.
// Subsystem: collections, layer 2. Test: tests/ZSqueeze_test.cpp
#ifndef Z_ZSQUEEZE_H
#define Z_ZSQUEEZE_H

#include "zexport.h"

// Compresses and decompresses zlib streams. Nothing is thrown: a negative result is the error code
// of zlib: -5 dest is too small, the compressed input ends too early, or a length or capacity
// exceeds INT_MAX; -3 the input is corrupt or needs a preset dictionary; -4 out of memory; -2 a
// null dest or destLen, or a null source with a length; -6 another zlib. After an error dest may
// hold a part of the result. Lengths are in bytes.
class Z_API ZSqueeze_5_1 {
public:
    // An empty source. Copies share the source block.
    ZSqueeze_5_1();

    // The block that squeeze and unsqueeze read. It stays the caller's and must outlive them.
    void setSource(unsigned char* data, unsigned long length);

    // From the source into dest. Return the produced length.
    int squeeze(unsigned char* dest, unsigned long destCapacity) const;
    // The source is a complete stream; what follows it is ignored.
    int unsqueeze(unsigned char* dest, unsigned long destCapacity) const;

    // *destLen holds the capacity of dest and receives the produced length; an error leaves it as
    // it was. Return 0.
    int compress(unsigned char* dest, unsigned long* destLen, unsigned char const* source,
                 unsigned long sourceLen) const;
    int uncompress(unsigned char* dest, unsigned long* destLen, unsigned char const* source,
                   unsigned long sourceLen) const;

private:
    unsigned char* source_;
    unsigned long sourceLength_;
    int level_;
    [[maybe_unused]] int reserved_;  // always 1
};

// The checksum of zlib streams alone (RFC 1950).
class Z_API ZAdler32_5_1 {
public:
    // The Adler-32 of `len` bytes continued from `adler`, which begins as 1. A null buf gives 1,
    // a len of 0 gives adler. Only the low 32 bits of adler count.
    static unsigned long adler32(unsigned long adler, unsigned char const* buf, unsigned int len);
};

#endif
