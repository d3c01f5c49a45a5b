// items: the objects that the targets about collections store, counted so that a lost or a twice
// deleted one shows.
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
        FUZZ_CHECK(alive > 0);
        --alive;
    }
    unsigned long hash() const override { return hashOf(key); }
    int compare(ZObject_5_1 const& other) const override {
        return key - static_cast<Item const&>(other).key;
    }
    ZObject_5_1* clone() const override { return new Item(*this); }

    // Only the low 32 bits count.
    static unsigned long hashOf(int key) {
        return static_cast<unsigned long>(key / 3) * 0x9E3779B97F4A7C15u;
    }

    int const key;
    int const payload;

    inline static int alive = 0;
};

}  // namespace fuzz

#endif
