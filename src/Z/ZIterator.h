// ZIterator: the walk protocol shared by lists, maps and strings.
// Subsystem: collections, layer 2. Test: tests/ZList_test.cpp
#ifndef Z_ZITERATOR_H
#define Z_ZITERATOR_H

#include "ZObject.h"

// An iterator starts before the first element. It does not own what it walks over, which must live
// as long as the iterator is used. One thread at a time.
class Z_API ZIterator_5_1 {
public:
    // The next element that `target.equals(element)` accepts, the target being the one asked;
    // elements on the way are consumed and nulls are skipped. Null when the end is reached.
    virtual ZObject_5_1* findNext(ZObject_5_1 const& target) = 0;

    // 1 while getNext() has something to give, else 0.
    virtual int hasMore() = 0;

    // The next element, still owned by its container; null at the end.
    virtual ZObject_5_1* getNext() = 0;

    // Back to the beginning.
    virtual void reset() = 0;

protected:
    ZIterator_5_1() = default;
    ZIterator_5_1(ZIterator_5_1 const&) = default;
    ZIterator_5_1& operator=(ZIterator_5_1 const&) = default;
    ~ZIterator_5_1() = default;
};

// findNext() in terms of hasMore() and getNext().
class Z_API ZAbstractIterator_5_1 : public ZObject_5_1, public ZIterator_5_1 {
public:
    ~ZAbstractIterator_5_1() noexcept override;

    ZObject_5_1* findNext(ZObject_5_1 const& target) override;
};

#endif
