// ZStack_test: last in, first out, and what a pushed null does.
// Subsystem: collections, layer 2. Test: tests/ZStack_test.cpp
#include <Z/ZStack.h>

#include "Numbers.h"

TEST(ZStack, PopsWhatWasPushedLastAndOwnsNothing) {
    ztest::Numbers const n(4);
    ZArrayStack_5_1 stack(1);
    EXPECT_EQ(stack.pop(), nullptr);
    stack.push(n[1]), stack.push(n[2]), stack.push(n[3]);
    std::unique_ptr<ZObject_5_1> const copy(stack.clone());
    EXPECT_EQ(stack.pop(), n[3]);
    EXPECT_EQ(ztest::show(static_cast<ZArrayStack_5_1&>(*copy)), "1 2 3");
    stack.push(nullptr), stack.push(n[3]), stack.popall();
    EXPECT_EQ(ztest::show(stack), "1 2") << "the null is popped, what lies below stays";
    stack.popall();
    EXPECT_EQ(stack.isEmpty(), 1);
}
