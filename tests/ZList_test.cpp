// ZList_test: growth, ownership, lenient indexes, iterators and the sort; also ZIterator and
// ZSortCompare.
// Subsystem: collections, layer 2. Test: tests/ZList_test.cpp
#include <Z/ZList.h>

#include <algorithm>

#include "Numbers.h"

namespace {

using ztest::Number, ztest::Numbers, ztest::show;

ZSortCompare_5_1 const& natural = ZSortCompare_5_1::defaultSortCompare();

TEST(ZList, GrowsByHalfAndNeverShrinks) {
    ZArrayList_5_1 list(0);
    for (unsigned int capacity : {1u, 2u, 3u, 4u, 6u, 9u, 13u, 19u, 28u}) {
        EXPECT_EQ(list.capacity(), capacity);
        while (list.size() <= capacity) list.add(nullptr);
    }
    EXPECT_EQ(ZArrayList_5_1(list).capacity(), 42u);
    list.removeAll();
    EXPECT_EQ(list.capacity(), 42u);
}

// What the list holds after every step, and how many numbers of its own live when it owns.
TEST(ZList, HoldsPointersOrClones) {
    for (int owns : {0, 1}) {
        Numbers n(10);
        ZArrayList_5_1 list(1, owns);
        auto const expect = [&](char const* elements, int live) {
            EXPECT_EQ(show(list), elements);
            EXPECT_EQ(Number::live, 10 + owns * live);
        };
        EXPECT_EQ(list.isEmpty(), 1);
        list.add(n[1]), list.add(n[2]), list.add(0u, n[3]), list.add(3u, n[4]), list.add(5u, n[5]);
        expect("3 1 2 4", 4);
        list.set(1u, n[6]), list.set(4u, n[7]), list.set(0u, list.get(0u)), list.add(1u, nullptr);
        expect("3 - 6 2 4", 4);
        EXPECT_EQ(list.get(0) == n[3], !owns);
        list.addList(list);
        expect("3 - 6 2 4 3 - 6 2 4", 8);
        list.remove(4u), list.remove(99u), list.remove(n[2]), list.remove(n[9]);
        expect("3 - 6 3 - 6 2 4", 6);
        list.swap(0, 7), list.swap(1, 1), list.swap(0, 8);
        list.subList(list, 5, 6), list.subList(list, 2, 1), list.subList(list, 0, 10);
        expect("4 - 6 3 - 6 2 3 6 2", 8);
        EXPECT_TRUE(list.indexOf(n[6]) == 2 && list.lastIndexOf(n[6]) == 8);
        EXPECT_FALSE(list.contains(n[9]) || list.contains(nullptr));
        ZArrayList_5_1 other(1, 1);
        other.add(n[8]);
        for (bool assigns : {true, false}) {
            Number::clonesLeft = 1;
            EXPECT_ANY_THROW(assigns ? void(other = list) : other.addList(list));
        }
        Number::clonesLeft = -1;
        EXPECT_EQ(show(other), "8") << "a failure changes nothing";
        other = list, other = *&other;
        EXPECT_EQ(show(other), show(list));
        EXPECT_NE(other.get(0), list.get(0)) << "an owner keeps owning";
        other.removeAll();
        list.removeAll(), list.addNoCopy(n[0]), list.addNoCopy(9u, n[1]);
        EXPECT_TRUE(list.get(0) == n[0] && list.get(1) == nullptr);
        if (owns) static_cast<void>(n.all[0].release());
    }
    EXPECT_EQ(Number::live, 0);
}

TEST(ZList, FailingMembersLeakNothing) {
    struct Loud : Number {
        using Number::Number;
        ~Loud() noexcept(false) override { throw std::runtime_error("still held"); }
    };
    Numbers const n(3);
    ZArrayList_5_1 list(1, 1);
    list.add(n[1]), list.add(n[2]);
    for (int clones : {0, 1}) {
        Number::clonesLeft = clones;
        EXPECT_THROW(ZArrayList_5_1 copy(list), std::runtime_error);
        Number::clonesLeft = 0;
        EXPECT_THROW(list.add(n[0]), std::runtime_error);
        EXPECT_EQ(show(list), "1 2");
    }
    list.addNoCopy(0u, new Loud(9, 10));
    EXPECT_THROW(list.removeAll(), std::runtime_error);
    EXPECT_EQ(Number::live, 3) << "what follows the one that throws is deleted too";
    struct Uncloneable : ZObject_5_1 {
    } const none;
    list.add(&none);
    EXPECT_EQ(show(list), "-");
}

TEST(ZListIterator, WalksRemovesAndStepsBack) {
    Numbers const n(6);
    ZArrayList_5_1 list(4, 1), other;
    for (int i : {1, 2, 0, 3, 4, 5}) list.add(n[i]), other.add(n[5 - i]);
    list.set(2, nullptr);
    std::string seen;
    ZListIterator_5_1 walk(list), second(other);
    while (walk.hasMore()) {
        auto const* const number = static_cast<Number*>(walk.getNext());
        seen += number ? std::to_string(number->n_) : "-";
        if (number && number->n_ % 2) list.remove(walk);
    }
    EXPECT_EQ(seen, "12-345");
    EXPECT_EQ(show(list), "2 - 4");
    EXPECT_EQ(walk.indexOf(), 2);
    list.backUp(walk);
    EXPECT_EQ(walk.findNext(*n[2]), nullptr) << "it lies before the position";
    walk.reset();
    EXPECT_EQ(walk.findNext(*n[4]), list.get(2)) << "nulls on the way are passed over";

    second.getNext(), second.getNext();
    walk = second;
    EXPECT_EQ(walk.getNext(), list.get(2)) << "only the position is assigned";
    std::unique_ptr<ZObject_5_1> const copy(second.clone());
    EXPECT_EQ(static_cast<ZListIterator_5_1&>(*copy).getNext(), other.get(2));
    walk.reset(), list.remove(walk);
    EXPECT_EQ(list.size(), 3u) << "nothing was given yet";
    EXPECT_EQ(walk.hasMore(), 0) << "the position has wrapped";
    EXPECT_EQ(walk.getNext(), nullptr);
}

// Its own get() keeps a list from being sorted on the raw slots.
struct VirtualList : ZArrayList_5_1 {
    ZObject_5_1* get(unsigned int index) const override { return ZArrayList_5_1::get(index); }
};

// Sorts a list made of digits and "-" for null, and shows which element came where.
std::string sorted(std::string const& digits, int number) {
    auto const length = static_cast<int>(digits.size());
    Numbers const n(length);
    ZArrayList_5_1 list;
    VirtualList virtualList;
    for (int i = 0; i < length; ++i) {
        n[i]->n_ = digits[static_cast<unsigned int>(i)];
        list.add(n[i]->n_ == '-' ? nullptr : n[i]), virtualList.add(list.get(list.size() - 1));
    }
    auto const order = static_cast<ZSortCompare_5_1::sortorder>(number);
    list.sort(natural, order), virtualList.sort(natural, order);
    int last = number == 1 ? 0 : 255;
    for (int i = 0; i < length; ++i) {
        auto const* const element = static_cast<Number*>(list.get(static_cast<unsigned int>(i)));
        if (!element) continue;
        EXPECT_TRUE(number == 1 ? last <= element->n_ : last >= element->n_) << digits;
        last = element->n_;
    }
    for (int i = 0; i < length; ++i) n[i]->n_ = i;
    EXPECT_EQ(show(list), show(virtualList)) << digits;
    return show(list);
}

// Equal elements and nulls end where the partitions leave them.
TEST(ZSort, LeavesEqualElementsWhereItsPartitionsDo) {
    struct {
        char const *digits, *up, *down;
    } const rows[] = {{"31222131", "5 1 7 4 2 3 0 6", "6 0 4 3 2 7 1 5"},
                      {"2222222", "4 5 6 3 0 1 2", "4 5 6 3 0 1 2"},
                      {"-2-12-1", "- 6 - 3 1 - 4", "- 4 - 1 6 - 3"},
                      {"1-----", "0 - - - - -", "0 - - - - -"},
                      {"32--1321", "4 7 - - 6 1 0 5", "5 0 - - 6 1 7 4"},
                      {"1212121212", "8 4 6 0 2 7 9 1 3 5", "5 7 9 3 1 8 0 4 2 6"}};
    for (auto const& row : rows) {
        for (int number : {1, 0, -7})
            EXPECT_EQ(sorted(row.digits, number), number == 1 ? row.up : row.down);
    }
    // All lists of up to six elements.
    for (int code = 0; code < 7 << 12; ++code) {
        std::string digits;
        for (int i = 0; i < code >> 12; ++i) digits += "-123"[code >> (2 * i) & 3];
        sorted(digits, 0), sorted(digits, 1);
    }
}

TEST(ZSort, EndsWhateverTheInputAndTheComparison) {
    struct Arbitrary : ZSortCompare_5_1 {
        int sortCompare(ZObject_5_1 const*, ZObject_5_1 const*) const override {
            return (calls_ = calls_ * 69069 + 1) >> 31 ? 1 : -1;
        }
        mutable unsigned int calls_ = 0;
    };
    Numbers const n(6000);
    ZArrayList_5_1 list;
    for (int i = 0; i < 6000; ++i) list.add(n[std::min(i, 5999 - i)]);
    list.sort(natural, ZSortCompare_5_1::ascending);
    for (unsigned int i = 1; i < 6000; ++i) ASSERT_LE(list.get(i - 1)->compare(*list.get(i)), 0);
    list.sort(Arbitrary(), ZSortCompare_5_1::descending);
    std::string const before = show(list);
    list.shuffle();
    EXPECT_NE(show(list), before);
    list.removeAll(), list.shuffle();
}

}  // namespace
