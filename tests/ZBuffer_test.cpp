// ZBuffer_test: lengths, copies, blocks handed over, order by length, and lack of memory.
// Subsystem: collections, layer 2. Test: tests/ZBuffer_test.cpp
#include <gtest/gtest.h>

#include <climits>
#include <memory>

#include "Strings.h"

namespace {

using ztest::bytes;

char abcdef[] = "abcdef";

TEST(ZBuffer, GrowsShrinksAndCopies) {
    ZBuffer_5_1 buffer("ab");
    EXPECT_EQ(bytes(buffer), std::string("ab\0", 3));
    buffer.setLength(1), buffer.setLength(3);
    EXPECT_EQ(bytes(buffer)[0], 'a');
    buffer.setBuffer(6, abcdef);
    buffer.setBuffer(3, static_cast<char*>(static_cast<void*>(buffer)) + 2);
    EXPECT_EQ(bytes(buffer), "cde") << "bytes of its own, shorter";
    buffer.setBuffer(6, abcdef);
    buffer.setBuffer(100000, static_cast<char*>(buffer.getBuffer()) + 2);
    EXPECT_EQ(bytes(buffer).substr(0, 5), std::string("cdef\0", 5)) << "the block has moved";

    buffer.setBuffer(abcdef + 4);
    ZBuffer_5_1 const copy(buffer);
    ZBuffer_5_1 assigned(4, abcdef);
    assigned = copy, assigned = *&assigned;
    std::unique_ptr<ZObject_5_1> const clone(copy.clone());
    buffer.setBuffer(static_cast<char*>(nullptr));
    EXPECT_EQ(buffer.getBuffer(), nullptr);
    EXPECT_EQ(bytes(assigned), std::string("ef\0", 3));
    EXPECT_TRUE(clone->equals(assigned));
    buffer.setBuffer(2, nullptr);
    EXPECT_EQ(bytes(buffer), std::string(2, '\0'));
}

TEST(ZBuffer, HandsBlocksOverBothWays) {
    ZBuffer_5_1 buffer("old");
    buffer.setBufferNoCopy(3, strdup("ab"));
    buffer.setBufferNoCopy(2, buffer.getBuffer());
    unsigned long length = 0;
    void* data = nullptr;
    buffer.takeBuffer(length, data);
    EXPECT_EQ(std::string(static_cast<char*>(data), length), "ab");
    EXPECT_EQ(buffer.getBuffer(), nullptr);
    std::free(data);

    ZConstBuffer_5_1 view(6, abcdef), assigned;
    assigned = view;
    view.setLength(2);
    std::unique_ptr<ZObject_5_1> const clone(view.clone());
    EXPECT_EQ(bytes(static_cast<ZConstBuffer_5_1&>(*clone)), "ab");
    view.takeBuffer(length, data);
    EXPECT_TRUE(data == abcdef && view.getLength() == 0);
    EXPECT_EQ(static_cast<void*>(assigned), abcdef);
}

TEST(ZBuffer, OrdersByLengthThenByUnsignedBytes) {
    struct {
        std::string left, right;
        int sign;
    } rows[] = {
        {"", "", 0}, {"zz", "aaa", -1}, {"abc", "abc", 0}, {"abc", "abd", -1}, {"a\xFF", "a\1", 1}};
    for (auto& row : rows) {
        ZBuffer_5_1 const left(row.left.size(), row.left.data());
        ZConstBuffer_5_1 const right(row.right.size(), row.right.data());
        EXPECT_EQ(left.compare(right), row.sign) << row.left << " " << row.right;
        EXPECT_EQ(right.compare(left), -row.sign);
    }
}

TEST(ZBuffer, StaysUsableWithoutMemory) {
    ZBuffer_5_1 buffer("ab");
    ZBuffer_5_1 const other("ab");
    EXPECT_THROW(buffer.setLength(ULONG_MAX - 99), ZOutOfMemoryException_5_1);
    EXPECT_TRUE(buffer.getBuffer() == nullptr && buffer.getLength() == 3);
    EXPECT_TRUE(buffer.compare(other) == -1 && other.compare(buffer) == 1);
    EXPECT_EQ(ZBuffer_5_1(buffer).getLength(), 3u);
    buffer.setBuffer(2, abcdef);
    EXPECT_EQ(bytes(buffer), "ab");
}

}  // namespace
