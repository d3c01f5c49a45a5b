// ZArray_test: slots, ownership and the strict indexes.
// Subsystem: collections, layer 2. Test: tests/ZArray_test.cpp
#include <Z/ZArray.h>
#include <Z/ZException.h>

#include <functional>

#include "Numbers.h"

namespace {

using ztest::Number, ztest::Numbers, ztest::show;

TEST(ZArray, HoldsPointersOrClonesAndRefusesIndexesOutOfRange) {
    for (int owns : {0, 1}) {
        Numbers n(5);
        ZArray_5_1 array(3, owns), other(0, 1), larger(9);
        array.set(0, n[1]), array.set(2, n[2]), array.set(0, n[3]), array.swap(0, 1);
        array.set(1, array.get(1)), array.setNoCopy(1, array.get(1));
        EXPECT_EQ(show(array), "- 3 2");
        EXPECT_EQ(Number::live, 5 + 2 * owns);
        array.set(0, n[2]);
        EXPECT_TRUE(array.indexOf(n[2]) == 0 && array.lastIndexOf(n[2]) == 2);
        array.remove(0);
        EXPECT_EQ(array.indexOf(n[2]), 2) << "empty slots are passed over";
        EXPECT_EQ(array.contains(n[4]) + array.contains(nullptr), 0);
        EXPECT_EQ(show(other), "-") << "a size of 0 is raised to 1";
        other.set(0, n[4]);
        Number::clonesLeft = 1;
        EXPECT_THROW(other = array, std::runtime_error);
        Number::clonesLeft = -1;
        EXPECT_EQ(show(other), "4") << "a failure changes nothing";
        other = array, other = *&other, larger = array;
        EXPECT_EQ(show(other) + show(larger), "- 3 2- 3 2");
        EXPECT_NE(other.get(2), array.get(2)) << "an owner keeps owning";
        Number::clonesLeft = 1;
        EXPECT_THROW(ZArray_5_1 copy(other), std::runtime_error);
        Number::clonesLeft = -1;

        std::function<void()> const calls[] = {
            [&] { array.get(3); },         [&] { array.set(3, n[1]); },
            [&] { array.remove(3); },      [&] { array.setNoCopy(3, n[1]); },
            [&] { array.swap(0, 3); },     [&] { array.swap(3, 3); },
            [&] { array.get(0xFFFFFFFF); }};
        for (auto const& call : calls) EXPECT_THROW(call(), ZInvalidParameterException_5_1);
        EXPECT_EQ(Number::live, 5 + 2 + 2 * owns);
        array.removeAll(), array.setNoCopy(1, n[0]);
        EXPECT_EQ(show(array), "- 0 -");
        if (owns) static_cast<void>(n.all[0].release());
    }
    EXPECT_EQ(Number::live, 0);
}

}  // namespace
