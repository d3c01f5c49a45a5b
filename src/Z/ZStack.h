// ZStack: last in, first out, built on the list.
// Subsystem: collections, layer 2. Test: tests/ZStack_test.cpp
#ifndef Z_ZSTACK_H
#define Z_ZSTACK_H

#include "ZList.h"
#include "ZObject.h"

// What any stack offers.
class Z_API ZStack_5_1 {
public:
    // On the top. The object stays the caller's.
    virtual void push(ZObject_5_1* object) = 0;

    // The object pushed last; null when the stack is empty.
    virtual ZObject_5_1* pop() = 0;

protected:
    ZStack_5_1() = default;
    ZStack_5_1(ZStack_5_1 const&) = default;
    ZStack_5_1& operator=(ZStack_5_1 const&) = default;
    ~ZStack_5_1() = default;
};

// popall() in terms of pop().
class Z_API ZAbstractStack_5_1 : public ZStack_5_1 {
public:
    // Pops until pop() gives null. A null that was pushed ends it too: what lies below stays.
    void popall();

protected:
    ZAbstractStack_5_1() = default;
    ZAbstractStack_5_1(ZAbstractStack_5_1 const&) = default;
    ZAbstractStack_5_1& operator=(ZAbstractStack_5_1 const&) = default;
    ~ZAbstractStack_5_1() = default;
};

// Never owns: pushed objects stay the caller's, also when the stack dies. The list operations work
// on the same elements; the top is the last one.
class Z_API ZArrayStack_5_1 : public ZArrayList_5_1, public ZAbstractStack_5_1 {
public:
    // Empty; a capacity of 0 is raised to 1.
    explicit ZArrayStack_5_1(unsigned int initialCapacity = 10);

    // Hold the same objects.
    ZArrayStack_5_1(ZArrayStack_5_1 const& other);
    ZArrayStack_5_1& operator=(ZArrayStack_5_1 const& other);
    ~ZArrayStack_5_1() override;

    ZObject_5_1* clone() const override;

    void push(ZObject_5_1* object) override;
    ZObject_5_1* pop() override;
};

#endif
