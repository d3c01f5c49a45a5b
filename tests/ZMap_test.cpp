// ZMap_test: replacement in place, bucket order, ownership and the two kinds of iterators.
// Subsystem: collections, layer 3. Test: tests/ZMap_test.cpp
#include <Z/ZMap.h>
#include <gtest/gtest.h>

#include "Numbers.h"

namespace {

using ztest::Number;
using ztest::Numbers;
using ztest::show;

static_assert(std::is_convertible_v<ZArrayMap_5_1*, ZObject_5_1*>);
static_assert(std::is_convertible_v<ZHashMap_5_1*, ZObject_5_1*>);
static_assert(std::is_convertible_v<ZMapIterator_5_1*, ZObject_5_1*>);

std::string listed(ZMap_5_1 const& map) {
    ZArrayList_5_1 list;
    map.list(list);
    return show(list);
}

TEST(ZHashMap, HasAsManyBucketsAsItsCapacityAsksFor) {
    // Listed in the order of n modulo the number of buckets.
    struct {
        unsigned int capacity, buckets;
    } const rows[] = {{0, 3}, {1, 3}, {2, 3}, {3, 4}, {10, 15}, {100, 150}};
    Numbers const numbers(400);
    for (auto const& row : rows) {
        ZHashMap_5_1 map(row.capacity);
        ZArrayList_5_1 expected;
        for (int n = 399; n >= 0; --n) map.putEntry(numbers[n]);
        for (unsigned int b = 0; b < row.buckets; ++b) {
            for (int n = 399; n >= 0; --n)
                if (static_cast<unsigned int>(n) % row.buckets == b) expected.add(numbers[n]);
        }
        EXPECT_EQ(listed(map), show(expected)) << row.capacity;
        EXPECT_EQ(map.size(), 400u);
    }
#ifdef __LP64__
    struct Far : Number {
        using Number::Number;
        unsigned long hash() const override { return 0xF00000001ul; }
    } const far(1);
    Number const near(1);
    ZHashMap_5_1 map(10);
    map.putEntry(const_cast<Number*>(&near));
    EXPECT_TRUE(map.contains(&far)) << "only the low 32 bits of a hash count";
#endif
}

// The same calls on both kinds of map, owning and not.
template <class Map>
void putReplaceRemove(char const* afterPutAll, int owns) {
    Numbers const numbers(9), equal(9);
    {
        Map map(10, owns);
        ZMap_5_1& entries = map;
        EXPECT_TRUE(entries.isEmpty());
        for (int n : {3, 1, 2}) entries.putEntry(numbers[n]);
        EXPECT_EQ(Number::live, 18 + 3 * owns);
        ZObject_5_1* const before = entries.getEntry(equal[1]);
        entries.putEntry(equal[1]);
        EXPECT_NE(entries.getEntry(numbers[1]), before) << "replaced";
        EXPECT_EQ(entries.size(), 3u);
        EXPECT_EQ(Number::live, 18 + 3 * owns);
        EXPECT_EQ(entries.getEntry(numbers[5]), nullptr);
        EXPECT_EQ(entries.contains(nullptr), 0);
        entries.removeEntry(numbers[5]), entries.removeEntry(nullptr);

        Map other(3, owns);
        for (int n : {1, 4}) other.putEntry(equal[n]);
        entries.putAll(other);
        EXPECT_EQ(listed(entries), afterPutAll);
        std::unique_ptr<ZObject_5_1> const copy(map.clone());
        other = map;
        entries.removeEntry(equal[1]), entries.removeEntry(equal[2]);
        EXPECT_EQ(entries.getEntry(equal[2]), nullptr);
        EXPECT_EQ(listed(other), afterPutAll);
        EXPECT_EQ(listed(static_cast<Map&>(*copy)), afterPutAll);
        EXPECT_EQ(other.getEntry(numbers[3]) == map.getEntry(numbers[3]), !owns);
        entries.putAll(entries);
        entries.removeAll();
        EXPECT_EQ(entries.size(), 0u);
    }
    EXPECT_EQ(Number::live, 18);
}

TEST(ZMap, PutsReplacesAndRemoves) {
    for (int owns : {0, 1}) {
        putReplaceRemove<ZHashMap_5_1>("1 2 3 4", owns);
        putReplaceRemove<ZArrayMap_5_1>("3 1 2 1 4", owns);
    }
    ZHashMap_5_1 map;
    map.putEntry(nullptr);
    EXPECT_EQ(map.size(), 0u);
}

TEST(ZHashMap, AssignmentTakesOverBucketsAndOwnership) {
    Numbers const numbers(40);
    ZHashMap_5_1 small(2, 1), large(100, 0);
    for (int n = 0; n < 40; ++n) small.putEntry(numbers[n]);
    large = small;
    EXPECT_EQ(listed(large), listed(small));
    EXPECT_NE(large.getEntry(numbers[7]), numbers[7]);
    large.putEntry(numbers[7]);
    EXPECT_NE(large.getEntry(numbers[7]), numbers[7]) << "it owns now";
    large = *&large;
    EXPECT_EQ(large.size(), 40u);
}

TEST(ZMapIterator, WalksASnapshotAndTheArrayMapItself) {
    Numbers const numbers(9);
    ZArrayMap_5_1 map(1);
    for (int n : {1, 2, 3}) map.putEntry(numbers[n]);
    ZMapIterator_5_1 snapshot(map);
    ZArrayMapIterator_5_1 direct(map);
    snapshot.getNext(), direct.getNext();
    std::unique_ptr<ZObject_5_1> const copied(snapshot.clone()), copiedDirect(direct.clone());
    ZArrayMap_5_1 empty;
    ZMapIterator_5_1 assigned(empty);
    assigned = snapshot;
    EXPECT_EQ(snapshot.findNext(*numbers[3]), numbers[3]);
    snapshot.reset();
    map.putEntry(numbers[4]);

    auto const rest = [](ZIterator_5_1& walk) {
        ZArrayList_5_1 seen;
        while (walk.hasMore()) seen.add(walk.getNext());
        EXPECT_EQ(walk.getNext(), nullptr);
        return show(seen);
    };
    EXPECT_EQ(rest(snapshot), "1 2 3");
    EXPECT_EQ(rest(static_cast<ZMapIterator_5_1&>(*copied)), "2 3") << "it has a place of its own";
    EXPECT_EQ(rest(assigned), "2 3");
    EXPECT_EQ(rest(direct), "2 3 4");
    EXPECT_EQ(rest(static_cast<ZArrayMapIterator_5_1&>(*copiedDirect)), "2 3 4");
}

}  // namespace
