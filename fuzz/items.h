// items: the objects that the targets about collections store; a lost one shows by their number, a
// deleted one, as long as the sanitizer keeps its memory, by its key.
#ifndef Z_FUZZ_ITEMS_H
#define Z_FUZZ_ITEMS_H

#include <Z/ZObject.h>

#include "fuzz.h"

namespace fuzz {

// Equal and ordered by its key, of which several share a hash; the payload tells equal ones apart.
class Item : public ZObject_5_1 {
public:
    Item(int k, int p) : key(k), payload(p) { ++alive; }
    Item(Item const& other) : ZObject_5_1(other), key(other.key), payload(other.payload) {
        ++alive;
    }
    Item& operator=(Item const&) = delete;
    ~Item() override {
        FUZZ_CHECK(key != deleted);
        const_cast<int volatile&>(key) = deleted;
        --alive;
    }
    unsigned long hash() const override { return hashOf(key); }
    int compare(ZObject_5_1 const& other) const override {
        auto const& item = static_cast<Item const&>(other);
        FUZZ_CHECK(key != deleted && item.key != deleted);
        return key - item.key;
    }
    ZObject_5_1* clone() const override { return new Item(*this); }

    // Only the low 32 bits count.
    static unsigned long hashOf(int key) {
        return static_cast<unsigned long>(key / 3) * 0x9E3779B97F4A7C15u;
    }

    int key;
    int payload;

    inline static int alive = 0;
    static constexpr int deleted = -1000;
};

}  // namespace fuzz

#endif
