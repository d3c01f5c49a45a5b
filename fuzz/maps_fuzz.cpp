// Array maps, hash maps and key maps under random operations.
//
// Oracle: the buckets of the contract, written as vectors: as many as the capacity gives, an entry
// in the one that its hash says, within one in the order of first insertion. An owning map holds
// copies and deletes every one exactly once; any other holds the pointers themselves.
//
// Input: the kind of map and whether it owns, the capacities of two of them; then operations of
// three bytes on one of the two, some of which take the other one's entries.
#include <Z/ZKeyMap.h>
#include <Z/ZMap.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <type_traits>
#include <vector>

#include "items.h"

using fuzz::Item;

namespace {

constexpr int keyCount = 24;
constexpr int payloadCount = 3;
constexpr int none = -1;  // the key of a null

// What callers have: for each key several items that are equal.
Item* given(int key, int payload) {
    static auto const& pool = *new std::vector<Item*>([] {
        std::vector<Item*> made;
        for (int i = 0; i < keyCount * payloadCount; ++i) {
            made.push_back(new Item(i / payloadCount, i % payloadCount));
        }
        return made;
    }());
    return key == none ? nullptr : pool[static_cast<unsigned>(key * payloadCount + payload)];
}

// An entry of a map, or a key with its value. The payload tells equal entries apart.
struct Entry {
    int key, payload, value;
};

struct Model {
    std::vector<Entry> entries;  // in the order of first insertion
    std::size_t buckets;
    bool owns;

    Entry* find(int key) {
        for (Entry& entry : entries) {
            if (entry.key == key) return &entry;
        }
        return nullptr;
    }
    void put(Entry const& entry) {
        if (Entry* const known = find(entry.key)) {
            *known = entry;
        } else {
            entries.push_back(entry);
        }
    }
    void remove(int key) {
        if (Entry const* const known = find(key))
            entries.erase(entries.begin() + (known - entries.data()));
    }
    std::vector<Entry> listed() const {
        std::vector<Entry> all;
        for (std::size_t bucket = 0; bucket < buckets; ++bucket) {
            for (Entry const& entry : entries) {
                if (bucketOf(entry.key) == bucket) all.push_back(entry);
            }
        }
        return all;
    }

    std::size_t bucketOf(int key) const {
        return static_cast<std::uint32_t>(key == none ? 0 : Item::hashOf(key)) % buckets;
    }
};

std::size_t bucketCount(unsigned capacity) {
    return std::max(capacity, 2u) * 3 / 2;
}

void checkObject(ZObject_5_1 const* stored, int key, int payload, bool owns) {
    FUZZ_CHECK((stored == nullptr) == (key == none));
    if (stored == nullptr) return;
    auto const* const item = static_cast<Item const*>(stored);
    FUZZ_CHECK(item->key == key && item->payload == payload);
    FUZZ_CHECK((item == given(key, payload)) != owns);
}

struct Operation {
    int what;
    Entry entry;
};

// ---- Maps of entries ----

template <class Map>
void check(Map const& map, Model const& model) {
    std::vector<Entry> const expected = model.listed();
    FUZZ_CHECK(map.size() == expected.size() && map.isEmpty() == expected.empty());
    ZMapIterator_5_1 walk(map);
    for (Entry const& entry : expected) {
        FUZZ_CHECK(walk.hasMore());
        checkObject(walk.getNext(), entry.key, entry.payload, model.owns);
    }
    FUZZ_CHECK(!walk.hasMore() && walk.getNext() == nullptr);
}

// Copies of an iterator that has given `given` entries go on from there, each by itself.
template <class Iterator, class Map>
void checkCopies(Map& map, Model const& model, std::size_t given) {
    std::vector<Entry> const expected = model.listed();
    auto const goesOn = [&](Iterator& walk, std::size_t from) {
        for (std::size_t i = from; i < expected.size(); ++i) {
            FUZZ_CHECK(walk.hasMore());
            checkObject(walk.getNext(), expected[i].key, expected[i].payload, model.owns);
        }
        FUZZ_CHECK(!walk.hasMore() && walk.getNext() == nullptr);
    };
    given = std::min(given, expected.size());
    Iterator walk(map), assigned(map);
    for (std::size_t i = 0; i < given; ++i) (void)walk.getNext();
    Iterator copy(walk);
    std::unique_ptr<ZObject_5_1> const clone(walk.clone());
    assigned = walk;
    assigned = *&assigned;
    goesOn(walk, given);
    goesOn(copy, given);
    goesOn(assigned, given);
    goesOn(static_cast<Iterator&>(*clone), given);
    copy.reset();
    goesOn(copy, 0);
}

template <class Map>
void runOn(Map& map, Model& model, Map& other, Model const& theirs, Operation const& op) {
    constexpr bool isList = std::is_same_v<Map, ZArrayMap_5_1>;
    Entry entry = op.entry;
    if (isList && entry.key == none) entry.key = 0;
    Item* const item = given(entry.key, entry.payload);
    switch (op.what) {
        case 0:
        case 1:
        case 2:
            map.putEntry(item);
            if (item != nullptr) model.put(entry);
            break;
        case 3:
            map.removeEntry(item);
            if (item != nullptr) model.remove(entry.key);
            break;
        case 4:
            if (model.entries.size() > 100) break;
            map.putAll(other);
            for (Entry const& each : theirs.listed()) {
                if (isList) {
                    model.entries.push_back(each);
                } else {
                    model.put(each);
                }
            }
            break;
        case 5:
            map = other;
            model = theirs;
            break;
        case 6:
            if (entry.value != 0) break;
            map.removeAll();
            model.entries.clear();
            break;
        default: {
            Entry const* const known = item == nullptr ? nullptr : model.find(entry.key);
            FUZZ_CHECK(map.contains(item) == (known != nullptr));
            checkObject(map.getEntry(item), known ? known->key : none, known ? known->payload : 0,
                        model.owns);
            std::unique_ptr<ZObject_5_1> const copy(map.clone());
            check(static_cast<Map const&>(*copy), model);
            checkCopies<ZMapIterator_5_1>(map, model, static_cast<std::size_t>(entry.value + 1));
            if constexpr (isList) {
                checkCopies<ZArrayMapIterator_5_1>(map, model,
                                                   static_cast<std::size_t>(entry.value + 1));
            }
        }
    }
}

// ---- Keys with values; both may be null ----

// One pair as an entry: it compares as its key does, once both have been hashed.
void checkEntry(Entry const& one, Entry const& two, bool owns) {
    ZKeyEntry_5_1 const first(given(one.key, one.payload), given(one.value, 0), owns);
    ZKeyEntry_5_1 const second(given(two.key, two.payload), given(two.value, 0), owns);
    auto const hashOf = [](int key) { return key == none ? 0 : Item::hashOf(key); };
    if (one.key != none && two.key != none) {
        FUZZ_CHECK(first.equals(second) == (one.key == two.key));
        int const order = first.compare(second);
        FUZZ_CHECK((order > 0) - (order < 0) == (one.key > two.key) - (one.key < two.key));
    }
    FUZZ_CHECK(first.hash() == hashOf(one.key) && second.hash() == hashOf(two.key));
    FUZZ_CHECK(first.equals(second) == (one.key == two.key));
    std::unique_ptr<ZObject_5_1> const clone(first.clone());
    for (ZKeyEntry_5_1 const& each :
         {std::cref(first), std::cref(static_cast<ZKeyEntry_5_1 const&>(*clone))}) {
        checkObject(each.getKey(), one.key, one.payload, owns);
        checkObject(each.getValue(), one.value, 0, owns);
        FUZZ_CHECK(each.equals(second) == (one.key == two.key));
    }
}

void check(ZHashKeyMap_5_1 const& map, Model const& model) {
    std::vector<Entry> const expected = model.listed();
    FUZZ_CHECK(map.size() == expected.size() && map.isEmpty() == expected.empty());
    ZArrayList_5_1 keys(1, 0), values(1, 0);
    map.listKeys(keys);
    map.listObjects(values);
    FUZZ_CHECK(keys.size() == expected.size() && values.size() == expected.size());
    for (unsigned i = 0; i < expected.size(); ++i) {
        checkObject(keys.get(i), expected[i].key, expected[i].payload, model.owns);
        checkObject(values.get(i), expected[i].value, 0, model.owns);
    }
}

void runOn(ZHashKeyMap_5_1& map, Model& model, ZHashKeyMap_5_1& other, Model const& theirs,
           Operation const& op) {
    Entry const& entry = op.entry;
    Item* const key = given(entry.key, entry.payload);
    Item* const value = given(entry.value, 0);
    switch (op.what) {
        case 0:
        case 1:
            map.putEntry(key, value);
            model.put(entry);
            break;
        case 2:
            map.putEntryNoCopy(model.owns && key ? new Item(*key) : key,
                               model.owns && value ? new Item(*value) : value);
            model.put(entry);
            break;
        case 3:
            map.removeEntry(key);
            model.remove(entry.key);
            break;
        case 4:
            map.putAll(other);
            for (Entry const& each : theirs.listed()) model.put(each);
            break;
        case 5:
            map = other;
            model = theirs;
            break;
        case 6:
            if (entry.value != 0) break;
            map.removeAll();
            model.entries.clear();
            break;
        default: {
            Entry const* const known = model.find(entry.key);
            FUZZ_CHECK(map.contains(key) == (known != nullptr));
            checkObject(map.getEntry(key), known ? known->value : none, 0, model.owns);
            std::unique_ptr<ZObject_5_1> const copy(map.clone());
            check(static_cast<ZHashKeyMap_5_1 const&>(*copy), model);
            checkEntry(entry, known ? *known : Entry{entry.value, 0, entry.key}, model.owns);
        }
    }
}

// ---- The input ----

template <class Map>
void run(std::uint8_t const* data, std::size_t size) {
    constexpr bool isList = std::is_same_v<Map, ZArrayMap_5_1>;
    unsigned const capacities[] = {data[1] % 16u, data[2] % 16u};
    bool const owns = (data[0] & 4) != 0;
    Map maps[] = {Map(capacities[0], owns), Map(capacities[1], owns)};
    Model models[] = {{{}, isList ? 1 : bucketCount(capacities[0]), owns},
                      {{}, isList ? 1 : bucketCount(capacities[1]), owns}};
    for (data += 3, size -= 3; size >= 3; data += 3, size -= 3) {
        int const which = data[0] & 1;
        Entry const entry = {data[1] % (keyCount + 1) - 1, data[2] % payloadCount,
                             data[2] / payloadCount % (keyCount + 1) - 1};
        runOn(maps[which], models[which], maps[1 - which], models[1 - which],
              {data[0] / 2 % 8, entry});
    }
    check(maps[0], models[0]);
    check(maps[1], models[1]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 3 || size > 400) return 0;
    given(0, 0);
    int const before = Item::alive;
    switch (data[0] % 4) {
        case 0:
            run<ZArrayMap_5_1>(data, size);
            break;
        case 1:
            run<ZHashMap_5_1>(data, size);
            break;
        default:
            run<ZHashKeyMap_5_1>(data, size);
    }
    FUZZ_CHECK(Item::alive == before);
    return 0;
}
