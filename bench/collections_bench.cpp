// collections_bench: lists, sorting and maps against the containers of the C++ library, compression
// against the calls of zlib.
#include <Z/ZKeyMap.h>
#include <Z/ZLCString.h>
#include <Z/ZList.h>
#include <Z/ZSortCompare.h>
#include <Z/ZSqueeze.h>
#include <zlib.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "bench.h"

namespace {

using bench::add;
using benchmark::DoNotOptimize;
using benchmark::State;

class Number : public ZObject_5_1 {
public:
    explicit Number(int value) : value_(value) {}
    int compare(ZObject_5_1 const& other) const override {
        int right = static_cast<Number const&>(other).value_;
        return (value_ > right) - (value_ < right);
    }

private:
    int value_;
};

// ---- lists of pointers: neither side owns them ----

constexpr unsigned int million = 1000000;

// Both start small and grow.
void appendToList(State& state) {
    Number object(1);
    for (auto _ : state) {
        ZArrayList_5_1 list;
        for (unsigned int i = 0; i < million; ++i) list.add(&object);
        DoNotOptimize(list);
    }
}

void appendToVector(State& state) {
    Number object(1);
    for (auto _ : state) {
        std::vector<ZObject_5_1 const*> list;
        list.reserve(10);
        for (unsigned int i = 0; i < million; ++i) list.push_back(&object);
        DoNotOptimize(list);
    }
}

// One after the other; the list checks the index. Asked for its own class, and as any list.
void getFromList(State& state) {
    Number object(1);
    ZArrayList_5_1 list(million);
    for (unsigned int i = 0; i < million; ++i) list.add(&object);
    for (auto _ : state) {
        for (unsigned int i = 0; i < million; ++i) DoNotOptimize(list.get(i));
    }
}

void getThroughInterface(State& state) {
    Number object(1);
    ZArrayList_5_1 filled(million);
    for (unsigned int i = 0; i < million; ++i) filled.add(&object);
    ZList_5_1* list = &filled;
    DoNotOptimize(list);
    for (auto _ : state) {
        for (unsigned int i = 0; i < million; ++i) DoNotOptimize(list->get(i));
    }
}

// at() checks the index too.
void getFromVector(State& state) {
    Number object(1);
    std::vector<ZObject_5_1*> list(million, &object);
    for (auto _ : state) {
        for (unsigned int i = 0; i < million; ++i) DoNotOptimize(list.at(i));
    }
}

// ---- sorting, through the same virtual compare ----

struct Order {
    char const* label;
    int (*value)(int index, std::mt19937& random);
};

Order const orders[] = {
    {"random", [](int, std::mt19937& random) { return static_cast<int>(random() >> 1); }},
    {"sorted", [](int index, std::mt19937&) { return index; }},
    {"equal", [](int, std::mt19937&) { return 7; }},
};

std::vector<std::unique_ptr<Number>> numbers(Order const& order) {
    std::mt19937 random(5);
    std::vector<std::unique_ptr<Number>> made;
    for (int i = 0; i < 100000; ++i)
        made.push_back(std::make_unique<Number>(order.value(i, random)));
    return made;
}

void sortList(State& state, Order const& order) {
    auto objects = numbers(order);
    for (auto _ : state) {
        ZArrayList_5_1 list(static_cast<unsigned int>(objects.size()));
        for (auto const& object : objects) list.add(object.get());
        bench::timed(state, [&] {
            list.sort(ZSortCompare_5_1::defaultSortCompare(), ZSortCompare_5_1::ascending);
        });
        for (unsigned int i = 1; i < list.size(); ++i) {
            if (list.get(i - 1)->compare(*list.get(i)) > 0) return state.SkipWithError("unsorted");
        }
    }
}

// std::sort is not stable either; it may put a pointer in a register where the list swaps.
void sortVector(State& state, Order const& order) {
    auto objects = numbers(order);
    for (auto _ : state) {
        std::vector<ZObject_5_1*> list;
        for (auto const& object : objects) list.push_back(object.get());
        bench::timed(state, [&] {
            std::sort(list.begin(), list.end(), [](ZObject_5_1* left, ZObject_5_1* right) {
                return left->compare(*right) < 0;
            });
        });
        DoNotOptimize(list);
    }
}

void addLists() {
    add("list/append", "Z", "1000000", appendToList);
    add("list/append", "std", "1000000", appendToVector);
    add("list/get", "Z", "1000000", getFromList);
    add("list/get", "std", "1000000", getFromVector);
    add("list/get_through_interface", "Z", "1000000", getThroughInterface);
    add("list/get_through_interface", "std", "1000000", getFromVector);
    for (Order const& order : orders) {
        std::string work = std::string("sort/") + order.label;
        add(work, "Z", "100000", [&order](State& s) { sortList(s, order); })->UseManualTime();
        add(work, "std", "100000", [&order](State& s) { sortVector(s, order); })->UseManualTime();
    }
}

// ---- maps: both keep copies of keys and values ----

struct Keys {
    explicit Keys(unsigned int count) {
        for (unsigned int i = 0; i < count; ++i) {
            present.push_back("service." + std::to_string(i * 7919) + ".port");
            absent.push_back("service." + std::to_string(i * 7919) + ".path");
        }
        shuffled = present;
        std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(11));
    }
    std::vector<std::string> present, shuffled, absent;
};

// Its number of buckets never changes; std::unordered_map grows.
class ZMapOfStrings {
public:
    typedef ZLCString_5_1 Text;
    static constexpr char const* who = "Z";
    explicit ZMapOfStrings(unsigned int capacity) : map_(capacity, 1) {}
    void insert(Text const& key, Text const& value) { map_.putEntry(&key, &value); }
    void const* find(Text const& key) const { return map_.getEntry(&key); }

private:
    ZHashKeyMap_5_1 map_;
};

class StdMapOfStrings {
public:
    typedef std::string Text;
    static constexpr char const* who = "std";
    explicit StdMapOfStrings(unsigned int capacity) { map_.reserve(capacity); }
    void insert(Text const& key, Text const& value) { map_.insert_or_assign(key, value); }
    void const* find(Text const& key) const {
        auto found = map_.find(key);
        return found != map_.end() ? &found->second : nullptr;
    }

private:
    std::unordered_map<std::string, std::string> map_;
};

template <class Map>
std::vector<typename Map::Text> textsOf(std::vector<std::string> const& texts) {
    std::vector<typename Map::Text> made;
    made.reserve(texts.size());
    for (std::string const& text : texts) made.emplace_back(text.c_str());
    return made;
}

// From an empty map to a full one, which then goes.
template <class Map>
void fill(State& state, Keys const& keys, unsigned int capacity) {
    auto texts = textsOf<Map>(keys.present);
    typename Map::Text value("a value");
    for (auto _ : state) {
        Map map(capacity);
        for (auto const& text : texts) map.insert(text, value);
        DoNotOptimize(map);
    }
    bench::countEach(state, "ns_per_key", static_cast<double>(texts.size()));
}

template <class Map>
void findEach(State& state, Keys const& keys, unsigned int capacity, bool hit) {
    Map map(capacity);
    for (auto const& text : textsOf<Map>(keys.present)) map.insert(text, text);
    auto wanted = textsOf<Map>(hit ? keys.shuffled : keys.absent);
    std::size_t next = 0;
    for (auto _ : state) {
        void const* found = map.find(wanted[next]);
        if ((found != nullptr) != hit) return state.SkipWithError("a wrong answer");
        if (++next == wanted.size()) next = 0;
    }
}

template <class Map>
void addMap(Keys const& keys, bool given) {
    unsigned int count = static_cast<unsigned int>(keys.present.size());
    unsigned int capacity = given ? count : 10;
    std::string suffix = given ? "_capacity_given" : "_capacity_10";
    std::string size = std::to_string(count);
    Keys const* all = &keys;
    add("map/fill" + suffix, Map::who, size,
        [=](State& state) { fill<Map>(state, *all, capacity); });
    add("map/hit" + suffix, Map::who, size,
        [=](State& state) { findEach<Map>(state, *all, capacity, true); });
    add("map/miss" + suffix, Map::who, size,
        [=](State& state) { findEach<Map>(state, *all, capacity, false); });
}

void addMaps() {
    static Keys const sizes[] = {Keys(10), Keys(1000), Keys(100000)};
    for (Keys const& keys : sizes) {
        for (bool given : {true, false}) {
            // Ten keys are what the default is made for.
            if (!given && keys.present.size() == 10) continue;
            addMap<ZMapOfStrings>(keys, given);
            addMap<StdMapOfStrings>(keys, given);
        }
    }
}

// ---- compression: one block, the default level ----

// Z adds checks of the lengths; zlib's own calls go on where a block exceeds its 32-bit counters.

using Block = std::vector<unsigned char>;

struct Blocks {
    char const* label;
    Block plain, packed;
};

Blocks blocksOf(char const* label, Block plain) {
    unsigned long length = compressBound(plain.size());
    Block packed(length);
    compress2(packed.data(), &length, plain.data(), plain.size(), Z_DEFAULT_COMPRESSION);
    packed.resize(length);
    return {label, std::move(plain), std::move(packed)};
}

Block textBlock(unsigned int size) {
    std::mt19937 random(17);
    std::string text;
    while (text.size() < size) {
        text += "service" + std::to_string(random() % 1000) +
                (random() % 2 ? ".port = " : ".path = ") + std::to_string(random()) + '\n';
    }
    return Block(text.begin(), text.begin() + size);
}

Block randomBlock(unsigned int size) {
    std::mt19937 random(19);
    Block block(size);
    for (unsigned char& byte : block) byte = static_cast<unsigned char>(random());
    return block;
}

// `call` is given dest, the place of its capacity and length, and the source, and returns 0.
template <class Call>
void squeezeEach(State& state, Block const& from, Block const& to, Call call) {
    Block dest(std::max<std::size_t>(to.size(), compressBound(to.size())));
    for (auto _ : state) {
        unsigned long length = dest.size();
        if (call(dest.data(), &length, from.data(), from.size()) != 0 || length != to.size()) {
            return state.SkipWithError("a wrong answer");
        }
        benchmark::ClobberMemory();
    }
    if (!std::equal(to.begin(), to.end(), dest.begin())) state.SkipWithError("other bytes");
}

void addSqueeze() {
    static Blocks const all[] = {blocksOf("text", textBlock(65536)),
                                 blocksOf("random", randomBlock(65536))};
    auto pack = [](auto... arguments) { return ZSqueeze_5_1().compress(arguments...); };
    auto unpack = [](auto... arguments) { return ZSqueeze_5_1().uncompress(arguments...); };
    auto peerPack = [](auto... arguments) {
        return compress2(arguments..., Z_DEFAULT_COMPRESSION);
    };
    auto peerUnpack = [](auto... arguments) { return ::uncompress(arguments...); };
    for (Blocks const& b : all) {
        auto each = [&b](char const* what, char const* who, auto const& from, auto const& to,
                         auto call) {
            add(std::string(what) + b.label, who, "65536",
                [=, &from, &to](State& state) { squeezeEach(state, from, to, call); });
        };
        each("compress/", "Z", b.plain, b.packed, pack);
        each("compress/", "zlib", b.plain, b.packed, peerPack);
        each("uncompress/", "Z", b.packed, b.plain, unpack);
        each("uncompress/", "zlib", b.packed, b.plain, peerUnpack);
    }
}

}  // namespace

int main(int argc, char** argv) {
    bench::prepare();
    addLists();
    addMaps();
    addSqueeze();
    return bench::run(argc, argv);
}
