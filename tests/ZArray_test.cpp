// ZArray_test: slots, ownership and the strict indexes.
// Subsystem: collections, layer 2. Test: tests/ZArray_test.cpp
#include <Z/ZArray.h>
#include <Z/ZException.h>
#include <gtest/gtest.h>

#include <functional>

#include "Numbers.h"

namespace {

using ztest::Number;
using ztest::Numbers;
using ztest::show;

static_assert(std::is_convertible_v<ZArray_5_1*, ZObject_5_1*>);

TEST(ZArray, StepsOnArraysThatOwnAndThatDoNot) {
    for (int owns : {0, 1}) {
        Numbers numbers(5);
        ZArray_5_1 array(3, owns);
        auto const expect = [&](char const* elements, int live) {
            EXPECT_EQ(show(array), elements);
            EXPECT_EQ(Number::live, 5 + owns * live);
        };
        expect("- - -", 0);
        array.set(0, numbers[1]), array.set(2, numbers[2]), array.set(0, numbers[3]);
        expect("3 - 2", 2);
        array.swap(0, 1), array.swap(2, 2);
        expect("- 3 2", 2);
        array.set(1, array.get(1)), array.setNoCopy(1, array.get(1));
        expect("- 3 2", 2);
        array.set(0, numbers[2]);
        EXPECT_EQ(array.indexOf(numbers[2]), 0);
        EXPECT_EQ(array.lastIndexOf(numbers[2]), 2);
        EXPECT_EQ(array.indexOf(nullptr), -1);
        EXPECT_EQ(array.contains(numbers[4]), 0);
        array.remove(0);
        EXPECT_EQ(array.indexOf(numbers[2]), 2) << "empty slots are passed over";
        array.set(1, nullptr);
        expect("- - 2", 1);

        ZArray_5_1 shorter(0, owns);
        EXPECT_EQ(show(shorter), "-");
        shorter.set(0, numbers[4]);
        shorter = array;
        EXPECT_EQ(show(shorter), "- - 2");
        EXPECT_EQ(ZArray_5_1(array).get(2) == array.get(2), !owns);
        array = *&array;
        shorter.removeAll(), array.removeAll();
        expect("- - -", 0);
        array.setNoCopy(1, numbers[0]);
        if (owns) static_cast<void>(numbers.all[0].release());
    }
    EXPECT_EQ(Number::live, 0);
    ZArray_5_1 owner(1, 1), other(1, 0);
    ztest::Uncloneable const none;
    other.set(0, &none);
    owner = other;
    EXPECT_EQ(owner.get(0), nullptr);
    EXPECT_EQ(owner.ownsMembers(), 1) << "assignment keeps the flag";
}

TEST(ZArray, RefusesIndexesOutOfRange) {
    Number one(1);
    ZArray_5_1 array(2, 1);
    std::function<void()> const calls[] = {[&] { array.get(2); },
                                           [&] { array.set(2, &one); },
                                           [&] { array.setNoCopy(2, &one); },
                                           [&] { array.remove(2); },
                                           [&] { array.swap(0, 2); },
                                           [&] { array.swap(2, 0); },
                                           [&] { array.swap(2, 2); },
                                           [&] { array.get(0xFFFFFFFFu); }};
    for (auto const& call : calls) {
        try {
            call();
            ADD_FAILURE() << "not refused";
        } catch (ZInvalidParameterException_5_1& e) {
            EXPECT_STREQ(e.who(), "src/Z/ZArray");
        }
    }
    EXPECT_EQ(Number::live, 1);
    Number::clonesLeft = 1;
    array.set(1, &one);
    array.setNoCopy(0, new Number(0));
    EXPECT_THROW(ZArray_5_1 copy(array), std::runtime_error);
    Number::clonesLeft = -1;
    EXPECT_EQ(Number::live, 3) << "a copy that fails halfway leaks nothing";
}

}  // namespace
