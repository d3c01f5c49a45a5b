// ZBuffer_test: lengths, copies, blocks handed over, order by length, and lack of memory.
// Subsystem: collections, layer 2. Test: tests/ZBuffer_test.cpp
#include <Z/ZBuffer.h>
#include <Z/ZException.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

extern "C" __attribute__((visibility("default"))) char const* __asan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

static_assert(std::is_convertible_v<ZBuffer_5_1*, ZObject_5_1*>);
static_assert(std::is_convertible_v<ZConstBuffer_5_1*, ZObject_5_1*>);

std::string bytes(ZBufferInterface_5_1 const& buffer) {
    return std::string(static_cast<char*>(buffer.getBuffer()), buffer.getLength());
}

std::string const text = std::string("ab") + '\0';

TEST(ZBuffer, GrowsShrinksAndCopies) {
    ZBuffer_5_1 buffer("ab");
    EXPECT_EQ(bytes(buffer), text);
    buffer.setLength(1);
    buffer.setLength(3);
    EXPECT_EQ(bytes(buffer)[0], 'a');
    char abcdef[] = "abcdef";
    buffer.setBuffer(6, abcdef);
    char* const start = static_cast<char*>(static_cast<void*>(buffer));
    buffer.setBuffer(3, start + 2);
    EXPECT_EQ(bytes(buffer), "cde") << "bytes of its own, shorter";
    buffer.setBuffer(6, abcdef);
    buffer.setBuffer(100000, static_cast<char*>(buffer.getBuffer()) + 2);
    EXPECT_EQ(bytes(buffer).substr(0, 5), std::string("cdef") + '\0')
        << "bytes of its own, the block moves";

    buffer.setBuffer(abcdef + 4);
    ZBuffer_5_1 const copy(buffer);
    ZBuffer_5_1 assigned(4, abcdef);
    assigned = copy;
    assigned = *&assigned;
    buffer.setBuffer(static_cast<char*>(nullptr));
    EXPECT_EQ(buffer.getBuffer(), nullptr);
    EXPECT_EQ(buffer.getLength(), 0u);
    std::unique_ptr<ZObject_5_1> const clone(copy.clone());
    for (ZObject_5_1 const* object : {static_cast<ZObject_5_1 const*>(&assigned),
                                      static_cast<ZObject_5_1 const*>(clone.get())}) {
        EXPECT_EQ(bytes(static_cast<ZBuffer_5_1 const&>(*object)), std::string("ef") + '\0');
    }
    buffer.setBuffer(2, nullptr);
    EXPECT_EQ(bytes(buffer), std::string(2, '\0'));
    EXPECT_EQ(ZBuffer_5_1(static_cast<char const*>(nullptr)).getLength(), 0u);
}

TEST(ZBuffer, HandsBlocksOverBothWays) {
    ZBuffer_5_1 buffer("old");
    buffer.setBufferNoCopy(3, std::memcpy(std::malloc(3), "ab", 3));
    buffer.setBufferNoCopy(2, buffer.getBuffer());
    EXPECT_EQ(bytes(buffer), "ab");
    unsigned long length = 0;
    void* data = nullptr;
    buffer.takeBuffer(length, data);
    EXPECT_EQ(std::string(static_cast<char*>(data), length), "ab");
    EXPECT_EQ(buffer.getBuffer(), nullptr);
    std::free(data);

    ZConstBuffer_5_1 view(3, const_cast<char*>(text.data())), assigned;
    assigned = view;
    std::unique_ptr<ZObject_5_1> const clone(view.clone());
    EXPECT_EQ(static_cast<ZConstBuffer_5_1&>(*clone).getBuffer(), text.data());
    view.setLength(2);
    EXPECT_EQ(bytes(view), "ab");
    view.takeBuffer(length, data);
    EXPECT_EQ(data, text.data());
    EXPECT_EQ(view.getLength(), 0u);
    EXPECT_EQ(static_cast<void*>(assigned), text.data());
}

TEST(ZBuffer, OrdersByLengthThenByUnsignedBytes) {
    struct {
        std::string left, right;
        int sign;
    } const rows[] = {{"", "", 0},       {"zz", "aaa", -1},  {"aaa", "zz", 1},
                      {"abc", "abc", 0}, {"abc", "abd", -1}, {"a\xFF", "a\x01", 1}};
    for (auto const& row : rows) {
        ZBuffer_5_1 const left(row.left.size(), const_cast<char*>(row.left.data()));
        ZConstBuffer_5_1 const right(row.right.size(), const_cast<char*>(row.right.data()));
        EXPECT_EQ(left.compare(right), row.sign) << row.left << " " << row.right;
        EXPECT_EQ(right.compare(left), -row.sign);
        EXPECT_EQ(left.equals(right), row.sign == 0);
    }
}

TEST(ZBuffer, StaysUsableWithoutMemory) {
    ZBuffer_5_1 buffer("ab");
    try {
        buffer.setLength(ULONG_MAX / 4);
        ADD_FAILURE() << "that much memory?";
    } catch (ZOutOfMemoryException_5_1& e) {
        EXPECT_STREQ(e.who(), "src/Z/ZBuffer");
    }
    EXPECT_EQ(buffer.getBuffer(), nullptr);
    EXPECT_EQ(buffer.getLength(), 3u);
    ZBuffer_5_1 const lost(buffer), other("ab");
    EXPECT_EQ(buffer.compare(other), -1);
    EXPECT_EQ(other.compare(buffer), 1);
    EXPECT_EQ(lost.getLength(), 3u);
    buffer.setBuffer(2, const_cast<char*>(text.data()));
    EXPECT_EQ(bytes(buffer), "ab");
}

}  // namespace
