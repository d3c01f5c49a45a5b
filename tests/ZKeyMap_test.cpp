// ZKeyMap_test: the indexed key map against a hash map of plain entries, ownership, null values.
// Subsystem: collections, layer 3. Test: tests/ZKeyMap_test.cpp
#include <Z/ZKeyMap.h>
#include <Z/ZLCString.h>
#include <gtest/gtest.h>

#include <random>

#include "Numbers.h"

namespace {

using ztest::Number;
using ztest::Numbers;
using ztest::show;

static_assert(std::is_convertible_v<ZHashKeyMap_5_1*, ZObject_5_1*>);
static_assert(std::is_convertible_v<ZKeyEntry_5_1*, ZObject_5_1*>);

std::string keys(ZKeyMap_5_1 const& map) {
    ZArrayList_5_1 list;
    map.listKeys(list);
    return show(list);
}

std::string values(ZKeyMap_5_1 const& map) {
    ZArrayList_5_1 list;
    map.listObjects(list);
    return show(list);
}

TEST(ZKeyEntry, IsItsKeyAndRemembersItsHash) {
    for (int owns : {0, 1}) {
        Number key(5), same(5), value(1);
        ZKeyEntry_5_1 const entry(&key, &value, owns), other(&same, nullptr, owns);
        EXPECT_EQ(entry.getKey() == &key, !owns);
        EXPECT_EQ(entry.equals(other), 1);
        EXPECT_EQ(entry.hash(), 5u);
        EXPECT_EQ(entry.equals(other), 0) << "the other has not hashed yet";
        std::unique_ptr<ZObject_5_1> const copy(entry.clone());
        EXPECT_EQ(entry.equals(*copy), 1) << "a copy has the same hash";
        EXPECT_EQ(static_cast<ZKeyEntry_5_1&>(*copy).getValue() == &value, !owns);
        EXPECT_EQ(other.compare(entry), 0);
        EXPECT_LT(ZKeyEntry_5_1(nullptr, nullptr, owns).compare(entry), 0);
        EXPECT_EQ(ZKeyEntry_5_1(nullptr, nullptr, owns).hash(), 0u);
    }
    EXPECT_EQ(Number::live, 0);
}

// A ZHashMap_5_1 of entries finds by looking at one after the other. The key map must give the same
// at every step: order of keys and values, presence, replacement.
struct Pair {
    explicit Pair(unsigned int capacity, int owns)
        : map(capacity, owns), plain(capacity, 1), owns_(owns) {}

    void put(Number* key, Number* value, bool noCopy) {
        if (noCopy && owns_) {
            map.putEntryNoCopy(key->clone(), value->clone());
        } else {
            map.putEntry(key, value);
        }
        ZKeyEntry_5_1 entry(key, value, owns_);
        plain.putEntry(&entry);
    }
    void remove(Number* key) {
        map.removeEntry(key);
        ZKeyEntry_5_1 entry(key, nullptr, 0);
        plain.removeEntry(&entry);
    }
    void expectSame() const {
        ZArrayList_5_1 entries, plainKeys, plainValues;
        plain.list(entries);
        for (unsigned int i = 0; i < entries.size(); ++i) {
            plainKeys.add(static_cast<ZKeyEntry_5_1*>(entries.get(i))->getKey());
            plainValues.add(static_cast<ZKeyEntry_5_1*>(entries.get(i))->getValue());
        }
        ASSERT_EQ(keys(map), show(plainKeys));
        ASSERT_EQ(values(map), show(plainValues));
        ASSERT_EQ(map.size(), plain.size());
    }

    ZHashKeyMap_5_1 map;
    ZHashMap_5_1 plain;
    int owns_;
};

TEST(ZHashKeyMap, BehavesAsAScanThroughSmallAndIndexedBuckets) {
    // With 7 hashes for all keys the table's chains get long; with 3 buckets the buckets do.
    struct {
        unsigned int capacity;
        unsigned long modulus;
        int range;
    } const rows[] = {
        {0, 1000003, 30}, {0, 1000003, 1500}, {0, 7, 400}, {10, 1000003, 3000}, {100, 50, 300}};
    for (auto const& row : rows) {
        for (int owns : {0, 1}) {
            Numbers const numbers(row.range, row.modulus), equal(row.range, row.modulus);
            std::mt19937 random(static_cast<unsigned int>(row.range));
            auto pair = std::make_unique<Pair>(row.capacity, owns);
            // Filled, emptied but for a rest, and filled again.
            for (int step = 0; step < row.range * 6; ++step) {
                int const n = static_cast<int>(random() % static_cast<unsigned int>(row.range));
                unsigned int const phase = static_cast<unsigned int>(step / (row.range * 2));
                Numbers const& source = random() % 2 ? numbers : equal;
                if (random() % 10 < (phase == 1 ? 1u : 8u)) {
                    pair->put(source[n], numbers[row.range - 1 - n], random() % 2);
                } else {
                    pair->remove(source[n]);
                }
                ZKeyEntry_5_1 asked(equal[n], nullptr, 0);
                ASSERT_EQ(pair->map.contains(equal[n]), pair->plain.contains(&asked));
                if (step % (row.range / 5) == 0) pair->expectSame();
            }
            pair->expectSame();
            ZHashKeyMap_5_1 const copy(pair->map);
            ZHashKeyMap_5_1 assigned(3, !owns);
            assigned.putEntry(numbers[0], numbers[0]);
            assigned = pair->map;
            std::string const all = keys(pair->map);
            for (int n = 0; n < row.range; ++n) pair->remove(numbers[n]);
            EXPECT_EQ(keys(pair->map), "");
            EXPECT_EQ(keys(copy), all);
            EXPECT_EQ(keys(assigned), all);
            assigned.removeAll();
            assigned.putAll(copy), assigned.putAll(assigned);
            EXPECT_EQ(keys(assigned), all);
            pair->put(numbers[1], numbers[2], true);
            pair->expectSame();
        }
    }
    EXPECT_EQ(Number::live, 0);
}

TEST(ZHashKeyMap, OwnsCopiesOrKeepsPointers) {
    for (int owns : {0, 1}) {
        Number key(1), sameKey(1), value(2), absent(3);
        ZHashKeyMap_5_1 map(10, owns);
        map.putEntry(&key, &value);
        EXPECT_EQ(map.getEntry(&key) == &value, !owns);
        EXPECT_EQ(Number::live, 4 + 2 * owns);
        map.putEntry(&sameKey, nullptr);
        EXPECT_EQ(map.getEntry(&key), nullptr);
        EXPECT_EQ(map.contains(&key), 1);
        EXPECT_EQ(map.contains(&absent), 0);
        EXPECT_EQ(Number::live, 4 + owns);
        ZArrayList_5_1 stored;
        map.listKeys(stored);
        EXPECT_EQ(stored.get(0) == &sameKey, !owns) << "the key is replaced as well";
        map.putEntryNoCopy(stored.get(0), nullptr);
        map.putEntry(stored.get(0), stored.get(0));
        map.putEntry(nullptr, &value);
        EXPECT_EQ(map.contains(nullptr), 1);
        EXPECT_EQ(map.size(), 2u);
        map.removeEntry(nullptr), map.removeEntry(&absent);
        Number::clonesLeft = owns ? 1 : -1;
        if (owns) {
            EXPECT_THROW(map.putEntry(&absent, &value), std::runtime_error);
        }
        Number::clonesLeft = -1;
        EXPECT_EQ(map.size(), 1u);
        std::unique_ptr<ZObject_5_1> const copy(map.clone());
        map.removeEntry(&key);
        EXPECT_TRUE(map.isEmpty());
        EXPECT_EQ(keys(static_cast<ZHashKeyMap_5_1&>(*copy)), "1");
    }
    EXPECT_EQ(Number::live, 0);
}

TEST(ZHashKeyMap, ListsTextKeysInTheSameOrderOnEveryPlatform) {
    ZHashKeyMap_5_1 map(10, 1);
    for (char const* name : {"alpha", "beta", "gamma", "delta", "server", "client", "ssl",
                             "logging", "a", "b", "c", "configuration-database"}) {
        ZLCString_5_1 key(name);
        map.putEntry(&key, nullptr);
    }
    ZArrayList_5_1 list;
    map.listKeys(list);
    std::string names;
    for (unsigned int i = 0; i < list.size(); ++i)
        names += std::string(static_cast<ZLCString_5_1*>(list.get(i))->getChars()) + " ";
    EXPECT_EQ(names,
              "delta beta logging a c b gamma ssl server client configuration-database alpha ");
}

TEST(ZHashKeyMap, HoldsManyKeysInFewBuckets) {
    int const count = 60000;
    Numbers const numbers(count);
    ZHashKeyMap_5_1 map(10, 0);
    for (int n = 0; n < count; ++n) map.putEntry(numbers[n], numbers[count - 1 - n]);
    for (int n = 0; n < count; ++n) ASSERT_EQ(map.getEntry(numbers[n]), numbers[count - 1 - n]);
    for (int n = 0; n < count; ++n) {
        map.removeEntry(numbers[n]);
        ASSERT_FALSE(map.contains(numbers[n]));
    }
    EXPECT_EQ(map.size(), 0u);
}

}  // namespace
