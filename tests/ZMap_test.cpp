// ZMap_test: replacement in place, bucket order, ownership and the two kinds of iterators.
// Subsystem: collections, layer 3. Test: tests/ZMap_test.cpp
#include <Z/ZMap.h>

#include "Numbers.h"

namespace {

using ztest::Number, ztest::Numbers, ztest::show;

std::string listed(ZMap_5_1 const& map) {
    ZArrayList_5_1 list;
    map.list(list);
    return show(list);
}

TEST(ZHashMap, ListsBucketByBucketInOrderOfInsertion) {
    std::pair<unsigned int, unsigned int> const rows[] = {{0, 3}, {1, 3},   {2, 3},
                                                          {3, 4}, {10, 15}, {100, 150}};
    Numbers const n(400);
    for (auto const& [capacity, buckets] : rows) {
        ZHashMap_5_1 map(capacity), assigned(7);
        ZArrayList_5_1 expected;
        for (int i = 399; i >= 0; --i) map.putEntry(n[i]);
        for (unsigned int bucket = 0; bucket < buckets; ++bucket) {
            for (int i = 399; i >= 0; --i) {
                if (n[i]->hash() % buckets == bucket) expected.add(n[i]);
            }
        }
        assigned = map;
        EXPECT_EQ(listed(map), show(expected)) << capacity;
        EXPECT_EQ(listed(assigned), show(expected)) << "it has as many buckets now";
    }
}

// The same calls on both kinds of map, owning and not.
template <class Map>
void putReplaceRemove(char const* afterPutAll, int owns) {
    Numbers const n(9), equal(9);
    {
        Map map(10, owns), other(3, owns), owner(100, 1);
        for (int i : {3, 1, 2}) map.putEntry(n[i]);
        EXPECT_EQ(map.getEntry(equal[1]) == n[1], !owns);
        ZObject_5_1 const* const before = map.getEntry(n[1]);
        map.putEntry(equal[1]);
        EXPECT_NE(map.getEntry(n[1]), before) << "replaced";
        EXPECT_EQ(map.size(), 3u);
        EXPECT_EQ(Number::live, 18 + 3 * owns);
        map.removeEntry(n[5]), map.removeEntry(nullptr);
        EXPECT_FALSE(map.getEntry(n[5]) || map.contains(nullptr) || map.contains(n[5]));

        other.putEntry(equal[1]), other.putEntry(equal[4]), map.putAll(other);
        EXPECT_EQ(listed(map), afterPutAll);
        std::unique_ptr<ZObject_5_1> const copy(map.clone());
        owner = map;
        map.removeEntry(equal[1]), map.removeEntry(equal[2]), map.putAll(map);
        EXPECT_EQ(map.getEntry(equal[2]), nullptr);
        EXPECT_EQ(listed(owner), afterPutAll);
        EXPECT_EQ(listed(static_cast<Map&>(*copy)), afterPutAll);
        map.removeAll();
        EXPECT_EQ(map.isEmpty(), 1);
    }
    EXPECT_EQ(Number::live, 18);
}

TEST(ZMap, PutsReplacesAndRemoves) {
    for (int owns : {0, 1}) {
        putReplaceRemove<ZHashMap_5_1>("1 2 3 4", owns);
        putReplaceRemove<ZArrayMap_5_1>("3 1 2 1 4", owns);
    }
}

TEST(ZMapIterator, WalksASnapshotAndTheArrayMapItself) {
    Numbers const n(5);
    ZArrayMap_5_1 map(1), empty;
    for (int i : {1, 2, 3}) map.putEntry(n[i]);
    ZMapIterator_5_1 snapshot(map), assigned(empty);
    ZArrayMapIterator_5_1 direct(map);
    snapshot.getNext(), direct.getNext();
    std::unique_ptr<ZObject_5_1> const copied(snapshot.clone()), copiedDirect(direct.clone());
    assigned = snapshot;
    EXPECT_EQ(snapshot.findNext(*n[3]), n[3]);
    snapshot.reset(), map.putEntry(n[4]);

    auto const rest = [](ZIterator_5_1& walk) {
        ZArrayList_5_1 seen;
        while (walk.hasMore()) seen.add(walk.getNext());
        return show(seen);
    };
    EXPECT_EQ(rest(snapshot), "1 2 3");
    EXPECT_EQ(rest(static_cast<ZMapIterator_5_1&>(*copied)), "2 3") << "it has a place of its own";
    EXPECT_EQ(rest(assigned), "2 3");
    EXPECT_EQ(rest(direct), "2 3 4");
    EXPECT_EQ(rest(static_cast<ZArrayMapIterator_5_1&>(*copiedDirect)), "2 3 4");
}

}  // namespace
