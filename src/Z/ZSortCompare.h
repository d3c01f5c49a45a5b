// ZSortCompare: the comparison that drives the sorting of lists.
// Subsystem: collections, layer 2. Test: tests/ZList_test.cpp
#ifndef Z_ZSORTCOMPARE_H
#define Z_ZSORTCOMPARE_H

#include "ZObject.h"

// What a list is sorted by.
class Z_API ZSortCompare_5_1 : public ZObject_5_1 {
public:
    // Any value but ascending sorts descending.
    enum sortorder : int {
        descending = 0,  // the greatest first
        ascending = 1    // the least first
    };

    ~ZSortCompare_5_1() noexcept override;

    // Below, at or above 0 as `left` sorts before, level with or behind `right`. Lists never pass
    // null.
    virtual int sortCompare(ZObject_5_1 const* left, ZObject_5_1 const* right) const = 0;

    // The process-wide ZDefaultSortCompare_5_1: made at the first call, from whichever thread,
    // and never destroyed.
    static ZSortCompare_5_1 const& defaultSortCompare();
};

// The objects' own order: left->compare(*right).
class Z_API ZDefaultSortCompare_5_1 : public ZSortCompare_5_1 {
public:
    ~ZDefaultSortCompare_5_1() noexcept override;

    int sortCompare(ZObject_5_1 const* left, ZObject_5_1 const* right) const override;
};

#endif
