// ZStack_test: last in, first out, and what a pushed null does.
// Subsystem: collections, layer 2. Test: tests/ZStack_test.cpp
#include <Z/ZStack.h>
#include <gtest/gtest.h>

#include "Numbers.h"

namespace {

using ztest::Numbers;
using ztest::show;

static_assert(std::is_convertible_v<ZArrayStack_5_1*, ZObject_5_1*>);

TEST(ZStack, PopsWhatWasPushedLastAndOwnsNothing) {
    Numbers const numbers(5);
    ZArrayStack_5_1 stack(1);
    EXPECT_EQ(stack.pop(), nullptr);
    for (int n : {1, 2, 3}) stack.push(numbers[n]);
    EXPECT_EQ(stack.ownsMembers(), 0);
    std::unique_ptr<ZObject_5_1> const copy(stack.clone());
    EXPECT_EQ(stack.pop(), numbers[3]);
    EXPECT_EQ(show(stack), "1 2");
    EXPECT_EQ(show(static_cast<ZArrayStack_5_1&>(*copy)), "1 2 3");

    stack.push(nullptr);
    stack.push(numbers[4]);
    ZAbstractStack_5_1& abstract = stack;
    abstract.popall();
    EXPECT_EQ(show(stack), "1 2") << "the null is popped, what lies below stays";
    abstract.popall();
    EXPECT_TRUE(stack.isEmpty());
}

}  // namespace
