// ZSqueeze_test: blocks there and back, bad streams, bad lengths, and the checksum.
// Subsystem: collections, layer 2. Test: tests/ZSqueeze_test.cpp
#include <Z/ZSqueeze.h>
#include <gtest/gtest.h>

#include <climits>
#include <random>

namespace {

using Block = std::basic_string<unsigned char>;
unsigned char out[300001];

int unsqueezed(Block stream, unsigned long capacity) {
    ZSqueeze_5_1 squeezer;
    squeezer.setSource(stream.data(), stream.size());
    return squeezer.unsqueeze(out, capacity);
}

TEST(ZSqueeze, BringsBlocksBack) {
    std::mt19937 random(3);
    for (int size : {0, 1, 100, 299000}) {
        Block block;
        while (static_cast<int>(block.size()) < size)
            block += static_cast<unsigned char>(random() % (size == 100 ? 3 : 256));
        ZSqueeze_5_1 squeezer;
        squeezer.setSource(block.data(), block.size());
        auto const length = static_cast<unsigned int>(squeezer.squeeze(out, sizeof out));
        Block packed(out, length);
        EXPECT_EQ(unsqueezed(packed + packed, sizeof out), size) << "what follows is ignored";
        EXPECT_EQ(Block(out, block.size()), block);
        EXPECT_EQ(unsqueezed(packed, block.size() - (size != 0)), size ? -5 : 0);
        EXPECT_EQ(unsqueezed(packed.substr(0, length - 1), sizeof out), -5);
        packed.back() ^= 1;
        EXPECT_EQ(unsqueezed(packed, sizeof out), -3);
        EXPECT_EQ(squeezer.squeeze(out, length - 1), -5);
    }
}

TEST(ZSqueeze, RefusesWhatItCannotDo) {
    EXPECT_EQ(ZSqueeze_5_1().squeeze(out, 8), 8) << "a null source of no bytes";
    EXPECT_EQ(Block(out, 8), Block({0x78, 0x9c, 3, 0, 0, 0, 0, 1}));
    EXPECT_EQ(unsqueezed({}, 20), -5);
    EXPECT_EQ(unsqueezed({0x78, 0xbb, 0, 0, 0, 1}, 20), -3) << "a preset dictionary";
    ZSqueeze_5_1 const z;
    for (auto call : {&ZSqueeze_5_1::compress, &ZSqueeze_5_1::uncompress}) {
        unsigned long length = 20, huge = INT_MAX + 1ul;
        EXPECT_EQ((z.*call)(nullptr, &length, out, 8), -2);
        EXPECT_EQ((z.*call)(out, nullptr, out, 8), -2);
        EXPECT_EQ((z.*call)(out, &length, nullptr, 8), -2);
        EXPECT_EQ((z.*call)(out, &length, nullptr, ULONG_MAX), -5);
        EXPECT_EQ((z.*call)(out, &huge, out, 8), -5);
        EXPECT_EQ(length, 20u);
    }
}

TEST(ZSqueeze, Adler32) {
    EXPECT_EQ(ZAdler32_5_1::adler32(1, Block({'a', 'b', 'c'}).data(), 3), 0x024D0127u);
    EXPECT_EQ(ZAdler32_5_1::adler32(7, nullptr, 0), 1u);
    for (unsigned int size : {0u, 1u, 6000u}) {
        unsigned long low = 0xfff0, high = 0xffff;
        for (unsigned int i = 0; i < size; ++i) low = low % 65521, high = (high + low) % 65521;
        EXPECT_EQ(ZAdler32_5_1::adler32(ULONG_MAX - 15, Block(size, 0).data(), size),
                  high << 16 | low);
    }
}

}  // namespace
