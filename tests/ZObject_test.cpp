// ZObject_test: identity as default value, and memory that is never null.
// Subsystem: model, layer 0. Test: tests/ZObject_test.cpp
#include <Z/ZException.h>

#include <cstdlib>
#include <new>

#include "Numbers.h"

namespace {

// A global allocator that can be told to give null, as some embedded ones do.
bool starved = false;

struct Plain : ZObject_5_1 {};

}  // namespace

#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
    return starved ? nullptr : std::malloc(size ? size : 1);
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

TEST(ZObject, DefaultsAreThoseOfIdentity) {
    Plain pair[2];
    Plain const &low = pair[0], &high = pair[1];
    EXPECT_TRUE(low.compare(high) < 0 && high.compare(low) > 0 && low.compare(low) == 0);
    EXPECT_TRUE(low.equals(low) && !low.equals(high) && low.clone() == nullptr);
    EXPECT_EQ(low.hash(), reinterpret_cast<unsigned long>(&low));
}

TEST(ZObject, OperatorsFollowCompareOfTheSubclass) {
    ztest::Numbers const n(4);
    for (int left : {1, 2, 3}) {
        ZObject_5_1 const &a = *n[left], &b = *n[2];
        EXPECT_EQ(a == b, left == 2);
        EXPECT_EQ(a != b, left != 2);
        EXPECT_EQ(a < b, left < 2);
        EXPECT_EQ(a > b, left > 2);
        EXPECT_EQ(a <= b, left <= 2);
        EXPECT_EQ(a >= b, left >= 2);
        EXPECT_EQ(a.equals(b), left == 2);
    }
}

TEST(ZObject, NullFromTheAllocatorBecomesAnException) {
    for (bool array : {false, true}) {
        starved = true;
        try {
            array ? delete[] new Plain[2] : delete new Plain;
            starved = false;
            ADD_FAILURE() << "nothing was thrown";
        } catch (ZOutOfMemoryException_5_1& e) {
            starved = false;
            EXPECT_STREQ(e.who(), "src/Z/ZObject");
            EXPECT_EQ(e.where(), array ? 73u : 63u);
        }
    }
}
