// ZBuffer: a block of bytes, owned (ZBuffer_5_1) or only referred to (ZConstBuffer_5_1).
// Subsystem: collections, layer 2. Test: tests/ZBuffer_test.cpp
#ifndef Z_ZBUFFER_H
#define Z_ZBUFFER_H

#include "ZObject.h"

// What any block of bytes offers. Lengths are in bytes. No locking: callers serialise.
class Z_API ZBufferInterface_5_1 {
public:
    virtual void setLength(unsigned long length) = 0;  // bytes that are added are undefined
    virtual void setBuffer(unsigned long length, void* data) = 0;  // other bytes from now on
    virtual unsigned long getLength() const = 0;                   // 0 when empty
    virtual void* getBuffer() const = 0;  // the bytes, still the buffer's; null when empty
    // Hands the bytes out; the buffer is then empty.
    virtual void takeBuffer(unsigned long& length, void*& data) = 0;

protected:
    ZBufferInterface_5_1() = default;
    ZBufferInterface_5_1(ZBufferInterface_5_1 const&) = default;
    ZBufferInterface_5_1& operator=(ZBufferInterface_5_1 const&) = default;
    ~ZBufferInterface_5_1() = default;
};

// Buffers ordered by length and bytes.
class Z_API ZAbstractBuffer_5_1 : public ZObject_5_1, public ZBufferInterface_5_1 {
public:
    ~ZAbstractBuffer_5_1() noexcept override;

    // `other` must be a buffer of either kind. The shorter one is less; equal lengths are decided
    // by the first different byte, taken as unsigned.
    int compare(ZObject_5_1 const& other) const override;
};

// Owns a block made by malloc and released by free. When memory runs out,
// ZOutOfMemoryException_5_1 (code 1) is thrown, the block is gone (getBuffer() is null) and the
// length keeps its value; such a buffer can still be copied, compared, set and destroyed.
class Z_API ZBuffer_5_1 : public ZAbstractBuffer_5_1 {
public:
    // Empty.
    ZBuffer_5_1();

    // A copy of the bytes.
    ZBuffer_5_1(unsigned long length, void* data);

    // A copy of the text and of the 0 that ends it; empty for null.
    ZBuffer_5_1(char const* text);

    // Deep copies.
    ZBuffer_5_1(ZBuffer_5_1 const& other);
    ZBuffer_5_1& operator=(ZBuffer_5_1 const& other);

    ~ZBuffer_5_1() noexcept override;

    ZObject_5_1* clone() const override;

    // 0 frees the block; a greater length than before reallocates it, the new bytes being
    // undefined; any other only lowers the length.
    void setLength(unsigned long length) override;

    // Becomes a copy of the bytes, which may lie inside this buffer. A null data counts as zeros.
    void setBuffer(unsigned long length, void* data) override;

    // Becomes a copy of the text and of the 0 that ends it; empty for null.
    virtual void setBuffer(char* text);

    // Takes over a block that came from malloc.
    virtual void setBufferNoCopy(unsigned long length, void* data);

    unsigned long getLength() const override;

    // The block, still the buffer's; null when empty. It moves when the buffer grows.
    void* getBuffer() const override;

    // Hands the block over to the caller, who releases it with free; the buffer is then empty.
    void takeBuffer(unsigned long& length, void*& data) override;

    // getBuffer().
    operator void*() const { return getBuffer(); }

private:
    unsigned long length_;
    void* buffer_;
};

// Refers to memory of someone else, which must outlive it; copies refer to the same memory.
// Nothing is allocated, copied or freed.
class Z_API ZConstBuffer_5_1 : public ZAbstractBuffer_5_1 {
public:
    // Refers to nothing, or to the bytes at `data`.
    ZConstBuffer_5_1();
    ZConstBuffer_5_1(unsigned long length, void* data);

    ZConstBuffer_5_1(ZConstBuffer_5_1 const& other);
    ZConstBuffer_5_1& operator=(ZConstBuffer_5_1 const& other);
    ~ZConstBuffer_5_1() noexcept override;

    ZObject_5_1* clone() const override;

    void setLength(unsigned long length) override;  // the number alone: nothing is checked
    void setBuffer(unsigned long length, void* data) override;
    unsigned long getLength() const override;
    void* getBuffer() const override;

    // Hands out length and pointer and forgets them.
    void takeBuffer(unsigned long& length, void*& data) override;

    // getBuffer().
    operator void*() const { return getBuffer(); }

private:
    unsigned long length_;
    void* buffer_;
};

#endif
