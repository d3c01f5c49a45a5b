// ZStack: last in, first out, built on the list.
// Subsystem: collections, layer 2. Test: tests/ZStack_test.cpp
#include "ZStack.h"

#include <type_traits>

static_assert(std::is_convertible<ZArrayStack_5_1*, ZObject_5_1*>::value, "one way up to the root");

#ifdef __ILP32__
static_assert(sizeof(ZArrayStack_5_1) == 28, "the record is fixed on 32 bits");
#endif

void ZAbstractStack_5_1::popall() {
    while (pop()) {
    }
}

ZArrayStack_5_1::ZArrayStack_5_1(unsigned int initialCapacity)
    : ZArrayList_5_1(initialCapacity, 0) {}

ZArrayStack_5_1::ZArrayStack_5_1(ZArrayStack_5_1 const& other) = default;

ZArrayStack_5_1& ZArrayStack_5_1::operator=(ZArrayStack_5_1 const& other) = default;

ZArrayStack_5_1::~ZArrayStack_5_1() {}

ZObject_5_1* ZArrayStack_5_1::clone() const {
    return new ZArrayStack_5_1(*this);
}

void ZArrayStack_5_1::push(ZObject_5_1* object) {
    add(object);
}

ZObject_5_1* ZArrayStack_5_1::pop() {
    if (isEmpty()) return nullptr;
    unsigned int const top = size() - 1;
    ZObject_5_1* const object = get(top);
    remove(top);
    return object;
}
