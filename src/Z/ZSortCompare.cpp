// ZSortCompare: the comparison that drives the sorting of lists.
// Subsystem: collections, layer 2. Test: tests/ZList_test.cpp
#include "ZSortCompare.h"

#include <type_traits>

static_assert(std::is_convertible<ZDefaultSortCompare_5_1*, ZObject_5_1*>::value,
              "one way up to the root");

ZSortCompare_5_1::~ZSortCompare_5_1() noexcept {}

ZSortCompare_5_1 const& ZSortCompare_5_1::defaultSortCompare() {
    static ZSortCompare_5_1 const* const only = new ZDefaultSortCompare_5_1;
    return *only;
}

ZDefaultSortCompare_5_1::~ZDefaultSortCompare_5_1() noexcept {}

int ZDefaultSortCompare_5_1::sortCompare(ZObject_5_1 const* left, ZObject_5_1 const* right) const {
    return left->compare(*right);
}
