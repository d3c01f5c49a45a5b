// ZList_test: growth, ownership, lenient indexes, iterators and the sort; also ZIterator and
// ZSortCompare.
// Subsystem: collections, layer 2. Test: tests/ZList_test.cpp
#include <Z/ZList.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "Numbers.h"

namespace {

using ztest::Number;
using ztest::Numbers;
using ztest::show;
using Order = ZSortCompare_5_1::sortorder;

static_assert(std::is_convertible_v<ZArrayList_5_1*, ZObject_5_1*>);
static_assert(std::is_convertible_v<ZListIterator_5_1*, ZObject_5_1*>);

TEST(ZList, GrowsByHalfAndNeverShrinks) {
    Number one(1);
    ZArrayList_5_1 list(0);
    std::vector<unsigned int> capacities;
    for (int i = 0; i < 14; ++i) {
        list.add(&one);
        if (capacities.empty() || capacities.back() != list.capacity()) {
            capacities.push_back(list.capacity());
        }
    }
    EXPECT_EQ(capacities, (std::vector<unsigned int>{1, 2, 3, 4, 6, 9, 13, 19}));
    EXPECT_EQ(ZArrayList_5_1(list).capacity(), 19u);
    list.removeAll();
    EXPECT_EQ(list.capacity(), 19u);
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(ZArrayList_5_1().capacity(), 10u);
}

// Every step on an owning and on a non-owning list: the elements afterwards, and how many numbers
// live beyond those of the test when the list owns.
TEST(ZList, StepsOnListsThatOwnAndThatDoNot) {
    struct Step {
        char const* name;
        void (*run)(ZArrayList_5_1&, Numbers const&);
        char const* elements;
        int live;
    };
    Step const steps[] = {
        {"add", [](ZArrayList_5_1& l, Numbers const& n) { l.add(n[1]), l.add(n[2]); }, "1 2", 2},
        {"add at", [](ZArrayList_5_1& l, Numbers const& n) { l.add(0u, n[3]), l.add(3u, n[4]); },
         "3 1 2 4", 4},
        {"add beyond", [](ZArrayList_5_1& l, Numbers const& n) { l.add(5u, n[5]); }, "3 1 2 4", 4},
        {"set", [](ZArrayList_5_1& l, Numbers const& n) { l.set(1u, n[6]), l.set(4u, n[7]); },
         "3 6 2 4", 4},
        {"set own", [](ZArrayList_5_1& l, Numbers const&) { l.set(0u, l.get(0u)); }, "3 6 2 4", 4},
        {"add null", [](ZArrayList_5_1& l, Numbers const&) { l.add(1u, nullptr); }, "3 - 6 2 4", 4},
        {"self", [](ZArrayList_5_1& l, Numbers const&) { l.addList(l); }, "3 - 6 2 4 3 - 6 2 4", 8},
        {"remove at",
         [](ZArrayList_5_1& l, Numbers const&) { l.remove(4u), l.remove(99u), l.remove(1u); },
         "3 6 2 3 - 6 2 4", 7},
        {"remove",
         [](ZArrayList_5_1& l, Numbers const& n) {
             l.remove(n[2]), l.remove(n[9]), l.remove(static_cast<ZObject_5_1*>(nullptr));
         },
         "3 6 3 - 6 2 4", 6},
        {"swap",
         [](ZArrayList_5_1& l, Numbers const&) { l.swap(0, 6), l.swap(1, 1), l.swap(0, 7); },
         "4 6 3 - 6 2 3", 6},
        {"sub list",
         [](ZArrayList_5_1& l, Numbers const&) {
             l.subList(l, 1, 2), l.subList(l, 2, 1), l.subList(l, 0, 9);
         },
         "4 6 3 - 6 2 3 6 3", 8},
        {"assign",
         [](ZArrayList_5_1& l, Numbers const&) {
             ZArrayList_5_1 const copy(l);
             l = copy;
             l = *&l;
         },
         "4 6 3 - 6 2 3 6 3", 8},
        {"all", [](ZArrayList_5_1& l, Numbers const&) { l.removeAll(); }, "", 0},
    };
    for (int owns : {0, 1}) {
        Numbers const numbers(10);
        ZArrayList_5_1 list(1, owns);
        EXPECT_EQ(list.ownsMembers(), owns);
        for (Step const& step : steps) {
            step.run(list, numbers);
            EXPECT_EQ(show(list), step.elements) << step.name;
            EXPECT_EQ(Number::live, 10 + owns * step.live) << step.name;
        }
        list.addNoCopy(numbers[1]);
        EXPECT_EQ(list.get(0), numbers[1]);
        list.addNoCopy(7u, numbers[2]);
        EXPECT_EQ(list.get(1), nullptr);
        list.set(0, nullptr);
        if (owns) static_cast<void>(const_cast<Numbers&>(numbers).all[1].release());
    }
    EXPECT_EQ(Number::live, 0);
}

TEST(ZList, FindsFromBothEndsAndPassesOverNulls) {
    Numbers const numbers(3);
    ZArrayList_5_1 list;
    for (ZObject_5_1* object :
         std::initializer_list<ZObject_5_1*>{nullptr, numbers[1], numbers[2], numbers[1], nullptr})
        list.add(object);
    Number const one(1);
    EXPECT_EQ(list.indexOf(&one), 1);
    EXPECT_EQ(list.lastIndexOf(&one), 3);
    EXPECT_EQ(list.indexOf(numbers[0]), -1);
    EXPECT_EQ(list.lastIndexOf(static_cast<ZObject_5_1*>(nullptr)), -1);
    EXPECT_EQ(list.contains(numbers[2]), 1);
    EXPECT_EQ(list.contains(nullptr), 0);
}

TEST(ZList, InsertsAndRemovesLikeAVector) {
    std::mt19937 random(7);
    Numbers const numbers(50);
    ZArrayList_5_1 list(1, 1);
    std::vector<int> model;
    for (int step = 0; step < 4000; ++step) {
        auto const at = static_cast<unsigned int>(random() % (model.size() + 1));
        int const n = static_cast<int>(random() % 50);
        if (random() % 9 < 5) {
            list.add(at, numbers[n]);
            model.insert(model.begin() + at, n);
        } else if (at < model.size()) {
            list.remove(at);
            model.erase(model.begin() + at);
        }
        ASSERT_EQ(list.size(), model.size());
        for (unsigned int i = 0; i < model.size(); ++i)
            ASSERT_EQ(static_cast<Number*>(list.get(i))->n_, model[i]);
    }
    EXPECT_EQ(list.get(list.size()), nullptr);
}

TEST(ZList, AFailingCloneLeaksNothingAndChangesNothing) {
    struct Loud : Number {
        using Number::Number;
        ~Loud() noexcept(false) override { throw std::runtime_error("still held"); }
    };
    Numbers const numbers(3);
    {
        ZArrayList_5_1 list(1, 1);
        list.add(numbers[1]), list.add(numbers[2]);
        for (int clones : {0, 1}) {
            Number::clonesLeft = clones;
            EXPECT_THROW(ZArrayList_5_1 copy(list), std::runtime_error);
            Number::clonesLeft = 0;
            EXPECT_THROW(list.add(numbers[0]), std::runtime_error);
            EXPECT_THROW(list.set(0, numbers[0]), std::runtime_error);
            EXPECT_EQ(show(list), "1 2");
        }
        Number::clonesLeft = -1;
        list.addNoCopy(0u, new Loud(9));
        EXPECT_THROW(list.removeAll(), std::runtime_error);
        EXPECT_EQ(Number::live, 3) << "what follows the one that throws is deleted too";
    }
    ZArrayList_5_1 owner(1, 1);
    ztest::Uncloneable const none;
    owner.add(&none);
    EXPECT_EQ(show(owner), "-");
}

TEST(ZListIterator, WalksRemovesAndStepsBack) {
    Numbers const numbers(6);
    ZArrayList_5_1 list(4, 1);
    for (int n : {1, 2, 3, 4, 5}) list.add(numbers[n]);
    list.add(2u, nullptr);
    std::string seen;
    ZListIterator_5_1 walk(list);
    EXPECT_EQ(list.indexOf(walk), -1);
    while (walk.hasMore()) {
        auto const* const number = static_cast<Number*>(walk.getNext());
        seen += number ? std::to_string(number->n_) : "-";
        if (number && number->n_ % 2) list.remove(walk);
    }
    EXPECT_EQ(seen, "12-345");
    EXPECT_EQ(show(list), "2 - 4");
    EXPECT_EQ(walk.getNext(), nullptr);
    EXPECT_EQ(walk.indexOf(), 2);
    list.backUp(walk);
    EXPECT_EQ(walk.findNext(*numbers[2]), nullptr) << "it lies before the position";
    walk.reset();
    EXPECT_EQ(walk.findNext(*numbers[4]), list.get(2)) << "nulls on the way are passed over";
    EXPECT_FALSE(walk.hasMore());

    ZArrayList_5_1 other;
    other.add(numbers[5]), other.add(numbers[0]), other.add(numbers[1]);
    ZListIterator_5_1 second(other);
    second.getNext(), second.getNext();
    walk = second;
    EXPECT_EQ(walk.getNext(), list.get(2)) << "only the position is assigned";
    std::unique_ptr<ZObject_5_1> const copy(second.clone());
    EXPECT_EQ(static_cast<ZListIterator_5_1&>(*copy).getNext(), numbers[1]);

    walk.reset();
    list.remove(walk);
    EXPECT_EQ(list.size(), 3u) << "nothing was given yet";
    EXPECT_FALSE(walk.hasMore()) << "the position has wrapped";
    EXPECT_EQ(walk.getNext(), nullptr);
}

// Sorting step by step as it is described: bounds that include size(), recursion on the lower part.
void plainSort(std::vector<ZObject_5_1*>& v, bool up, long lo, long hi) {
    auto const get = [&](long k) {
        return k < static_cast<long>(v.size()) ? v[static_cast<std::size_t>(k)] : nullptr;
    };
    long i = lo;
    while (i < hi) {
        lo = i;
        long j = hi;
        ZObject_5_1* pivot = nullptr;
        for (long k = (i + hi) / 2; k <= hi && !pivot; ++k) pivot = get(k);
        for (long k = (i + hi) / 2; k >= lo && !pivot; --k) pivot = get(k);
        if (!pivot) return;
        auto const sign = [&](ZObject_5_1* e) {
            return up ? e->compare(*pivot) : -e->compare(*pivot);
        };
        while (i <= j) {
            while (i < hi && !(get(i) && sign(get(i)) >= 0)) ++i;
            while (j > lo && !(get(j) && sign(get(j)) <= 0)) --j;
            if (i > j) break;
            if (j < static_cast<long>(v.size()))
                std::swap(v[static_cast<std::size_t>(i)], v[static_cast<std::size_t>(j)]);
            ++i, --j;
        }
        if (lo < j) plainSort(v, up, lo, j);
    }
}

// Its own get() keeps it from being sorted on the raw slots.
struct VirtualList : ZArrayList_5_1 {
    ZObject_5_1* get(unsigned int index) const override { return ZArrayList_5_1::get(index); }
};

struct Tracing : ZSortCompare_5_1 {
    int sortCompare(ZObject_5_1 const* left, ZObject_5_1 const* right) const override {
        calls.emplace_back(left, right);
        return left->compare(*right);
    }
    mutable std::vector<std::pair<ZObject_5_1 const*, ZObject_5_1 const*>> calls;
};

// All lists of up to six elements out of three values and null, every element an object of its own.
TEST(ZSort, OrdersEverySmallListAsDescribed) {
    for (int length = 0; length <= 6; ++length) {
        for (int code = 0; code < 1 << (2 * length); ++code) {
            Numbers const numbers(length);
            ZArrayList_5_1 plain[2], traced;
            VirtualList virtualList[2];
            std::vector<ZObject_5_1*> model[2];
            for (int i = 0; i < length; ++i) {
                int const value = code >> (2 * i) & 3;
                numbers[i]->n_ = value;
                ZObject_5_1* const element = value ? numbers[i] : nullptr;
                for (int up : {0, 1})
                    plain[up].add(element), virtualList[up].add(element),
                        model[up].push_back(element);
                traced.add(element);
            }
            for (int up : {0, 1}) {
                Tracing trace[2];
                plain[up].sort(ZSortCompare_5_1::defaultSortCompare(),
                               static_cast<Order>(up ? 1 : length - 7));
                virtualList[up].sort(trace[0], static_cast<Order>(up));
                if (up) traced.sort(trace[1], static_cast<Order>(up));
                plainSort(model[up], up != 0, 0, length);
                std::vector<int> values;
                for (unsigned int i = 0; i < model[up].size(); ++i) {
                    ASSERT_EQ(plain[up].get(i), model[up][i]) << show(plain[up]);
                    ASSERT_EQ(virtualList[up].get(i), model[up][i]) << show(virtualList[up]);
                    if (model[up][i]) values.push_back(static_cast<Number*>(model[up][i])->n_);
                }
                ASSERT_TRUE(up ? std::is_sorted(values.begin(), values.end())
                               : std::is_sorted(values.rbegin(), values.rend()));
                if (up) {
                    ASSERT_EQ(trace[0].calls, trace[1].calls) << "both paths ask the same";
                }
            }
        }
    }
}

TEST(ZSort, EndsWhateverTheInputAndTheComparison) {
    struct Arbitrary : ZSortCompare_5_1 {
        int sortCompare(ZObject_5_1 const*, ZObject_5_1 const*) const override {
            return static_cast<int>(random_() % 3) - 1;
        }
        mutable std::mt19937 random_{1};
    };
    int const count = 20000;
    Numbers const numbers(count);
    ZArrayList_5_1 list;
    for (int i = 0; i < count; ++i) list.add(numbers[i < count / 2 ? i : count - 1 - i]);
    list.sort(ZSortCompare_5_1::defaultSortCompare(), static_cast<Order>(1));
    for (unsigned int i = 1; i < list.size(); ++i)
        ASSERT_LE(list.get(i - 1)->compare(*list.get(i)), 0);
    for (int up : {0, 1}) list.sort(Arbitrary(), static_cast<Order>(up));
    EXPECT_EQ(list.size(), static_cast<unsigned int>(count));
}

TEST(ZList, ShufflesEqualInputAlikeWithinASecond) {
    Numbers const numbers(100);
    std::string shuffled[2], sorted;
    for (time_t before = 0; before != time(nullptr);) {
        before = time(nullptr);
        for (std::string& text : shuffled) {
            ZArrayList_5_1 list;
            list.shuffle();
            for (int n = 0; n < 100; ++n) list.add(numbers[n]);
            sorted = show(list);
            list.shuffle();
            text = show(list);
            list.sort(ZSortCompare_5_1::defaultSortCompare(), static_cast<Order>(1));
            EXPECT_EQ(show(list), sorted);
        }
    }
    EXPECT_EQ(shuffled[0], shuffled[1]);
    EXPECT_NE(shuffled[0], sorted);
}

}  // namespace
