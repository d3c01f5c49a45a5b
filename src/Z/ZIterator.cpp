// ZIterator: the walk protocol shared by lists, maps and strings.
// Subsystem: collections, layer 2. Test: tests/ZList_test.cpp
#include "ZIterator.h"

ZAbstractIterator_5_1::~ZAbstractIterator_5_1() noexcept {}

ZObject_5_1* ZAbstractIterator_5_1::findNext(ZObject_5_1 const& target) {
    while (hasMore()) {
        ZObject_5_1* const element = getNext();
        if (element && target.equals(*element)) return element;
    }
    return nullptr;
}
