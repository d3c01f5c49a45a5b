// ZKeyMap_test: the key map against a hash map of plain entries, ownership, null values.
// Subsystem: collections, layer 3. Test: tests/ZKeyMap_test.cpp
#include <Z/ZKeyMap.h>

#include <random>

#include "Numbers.h"

namespace {

using ztest::Number, ztest::Numbers, ztest::show;

std::string pairs(ZKeyMap_5_1 const& map) {
    ZArrayList_5_1 keys, values;
    map.listKeys(keys), map.listObjects(values);
    return show(keys) + ": " + show(values);
}

// A ZHashMap_5_1 of entries looks at one after the other.
std::string pairs(ZHashMap_5_1 const& map) {
    ZArrayList_5_1 entries, keys, values;
    map.list(entries);
    for (unsigned int i = 0; i < entries.size(); ++i) {
        keys.add(static_cast<ZKeyEntry_5_1*>(entries.get(i))->getKey());
        values.add(static_cast<ZKeyEntry_5_1*>(entries.get(i))->getValue());
    }
    return show(keys) + ": " + show(values);
}

TEST(ZHashKeyMap, BehavesAsAScanOfBuckets) {
    struct {
        unsigned int capacity;
        unsigned long modulus;
        int range;
    } const rows[] = {{0, 1000003, 30}, {0, 1000003, 1500}, {0, 7, 400}, {10, 1000003, 3000}};
    for (int test = 0; test < 8; ++test) {
        auto const& row = rows[test / 2];
        int const owns = test % 2, range = row.range;
        Numbers const n(range, row.modulus), equal(range, row.modulus);
        std::mt19937 random(1);
        ZHashKeyMap_5_1 map(row.capacity, owns), assigned(3, !owns);
        ZHashMap_5_1 plain(row.capacity, 1);
        assigned.putEntry(n[0], n[0]);
        // Filled, emptied but for a rest, filled again, emptied.
        for (int step = 0; step < range * 8; ++step) {
            auto const draw = static_cast<unsigned int>(random());
            int const k = static_cast<int>(draw % static_cast<unsigned int>(range));
            ZObject_5_1* const key = (draw & 1 << 20 ? n : equal)[k];
            ZObject_5_1* const value = n[range - 1 - k];
            ZKeyEntry_5_1 entry(key, value, owns);
            unsigned int const puts = step / (range * 2) % 2 == 0 ? 7 : 1;  // of eight
            if ((draw >> 24) % 8 >= puts) {
                map.removeEntry(key), plain.removeEntry(&entry);
            } else if (owns && draw & 1 << 21) {
                map.putEntryNoCopy(key->clone(), value->clone()), plain.putEntry(&entry);
            } else {
                map.putEntry(key, value), plain.putEntry(&entry);
            }
            ASSERT_EQ(map.contains(key), plain.contains(&entry));
            if (step % (range / 5)) continue;
            ASSERT_EQ(pairs(map), pairs(plain));
            ASSERT_EQ(map.size(), plain.size());
            if (step / range == 5) assigned = map;
        }
        std::string const all = pairs(assigned);
        std::unique_ptr<ZObject_5_1> const copy(assigned.clone());
        for (int k = 0; k < range; ++k) assigned.removeEntry(n[k]);
        EXPECT_EQ(pairs(assigned), ": ");
        assigned.putAll(static_cast<ZHashKeyMap_5_1&>(*copy)), assigned.putAll(assigned);
        EXPECT_EQ(pairs(assigned), all);
        assigned.removeAll(), assigned.putAll(static_cast<ZHashKeyMap_5_1&>(*copy));
        EXPECT_EQ(pairs(assigned), all);
    }
    EXPECT_EQ(Number::live, 0);
}

TEST(ZHashKeyMap, OwnsCopiesOrKeepsPointers) {
    for (int owns : {0, 1}) {
        Numbers const n(5), equal(5);
        ZHashKeyMap_5_1 map(10, owns);
        map.putEntry(n[1], n[2]);
        EXPECT_EQ(map.getEntry(equal[1]) == n[2], !owns);
        EXPECT_EQ(Number::live, 10 + 2 * owns);
        map.putEntry(equal[1], nullptr);
        EXPECT_TRUE(map.getEntry(n[1]) == nullptr && map.contains(n[1]) && !map.contains(n[3]));
        ZArrayList_5_1 keys;
        map.listKeys(keys);
        EXPECT_EQ(keys.get(0) == equal[1], !owns) << "the key is replaced as well";
        map.putEntryNoCopy(keys.get(0), nullptr), map.putEntry(keys.get(0), keys.get(0));
        EXPECT_EQ(Number::live, 10 + 2 * owns);
        map.putEntry(nullptr, n[2]);
        EXPECT_EQ(map.contains(nullptr), 1) << "a null is a key like any other";
        Number::clonesLeft = 1;
        ZHashKeyMap_5_1 kept;
        kept.putEntry(n[3], n[4]);
        if (owns) {
            EXPECT_ANY_THROW(map.putEntry(n[4], n[4]));
            Number::clonesLeft = 1;
            EXPECT_ANY_THROW(kept = map);
        }
        Number::clonesLeft = -1;
        EXPECT_TRUE(kept.size() == 1 && kept.getEntry(n[3]) == n[4]) << "it is as it was";
        EXPECT_EQ(map.size(), 2u);
        map.removeEntry(nullptr), map.removeEntry(n[3]), map.removeEntry(n[1]);
        EXPECT_EQ(map.isEmpty(), 1);

        ZKeyEntry_5_1 const entry(n[1], n[2], owns), other(equal[1], nullptr, owns);
        EXPECT_TRUE(entry.compare(other) == 0 && entry.hash() == 1);
        EXPECT_EQ(entry.equals(other), 0) << "the other has not hashed yet";
        std::unique_ptr<ZObject_5_1> const copy(entry.clone());
        EXPECT_EQ(entry.equals(*copy), 1) << "a copy has the same hash";
    }
    EXPECT_EQ(Number::live, 0);
}

}  // namespace
