// ZBuffer: a block of bytes, owned (ZBuffer_5_1) or only referred to (ZConstBuffer_5_1).
// Subsystem: collections, layer 2. Test: tests/ZBuffer_test.cpp
#include "ZBuffer.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>

#include "ZException.h"
#include "zraise.h"

static_assert(std::is_convertible<ZBuffer_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZConstBuffer_5_1*, ZObject_5_1*>::value,
              "one way up to the root");

#ifdef __ILP32__
static_assert(sizeof(ZBuffer_5_1) == 16, "the record is fixed on 32 bits");
static_assert(sizeof(ZConstBuffer_5_1) == 16, "the record is fixed on 32 bits");
#endif

namespace {

constexpr char const* unit = "src/Z/ZBuffer";

}  // namespace

ZAbstractBuffer_5_1::~ZAbstractBuffer_5_1() noexcept {}

int ZAbstractBuffer_5_1::compare(ZObject_5_1 const& other) const {
    auto const& buffer = static_cast<ZAbstractBuffer_5_1 const&>(other);
    unsigned long const length = getLength();
    unsigned long const otherLength = buffer.getLength();
    if (length != otherLength) return length < otherLength ? -1 : 1;
    void const* const bytes = getBuffer();
    void const* const otherBytes = buffer.getBuffer();
    if (length == 0 || bytes == otherBytes) return 0;
    // A block lost for want of memory is less than any other.
    if (!bytes || !otherBytes) return bytes ? 1 : -1;
    int const sign = std::memcmp(bytes, otherBytes, length);
    return sign < 0 ? -1 : sign > 0;
}

ZBuffer_5_1::ZBuffer_5_1() : length_(0), buffer_(nullptr) {}

ZBuffer_5_1::ZBuffer_5_1(unsigned long length, void* data) : ZBuffer_5_1() {
    ZBuffer_5_1::setBuffer(length, data);
}

ZBuffer_5_1::ZBuffer_5_1(char const* text) : ZBuffer_5_1() {
    ZBuffer_5_1::setBuffer(const_cast<char*>(text));
}

ZBuffer_5_1::ZBuffer_5_1(ZBuffer_5_1 const& other) : ZBuffer_5_1() {
    ZBuffer_5_1::setBuffer(other.length_, other.buffer_);
}

ZBuffer_5_1& ZBuffer_5_1::operator=(ZBuffer_5_1 const& other) {
    if (this != &other) setBuffer(other.length_, other.buffer_);
    return *this;
}

ZBuffer_5_1::~ZBuffer_5_1() noexcept {
    std::free(buffer_);
}

ZObject_5_1* ZBuffer_5_1::clone() const {
    return new ZBuffer_5_1(*this);
}

void ZBuffer_5_1::setLength(unsigned long length) {
    if (length == 0) {
        std::free(std::exchange(buffer_, nullptr));
    } else if (length > length_ || !buffer_) {
        void* const grown = std::realloc(buffer_, length);
        if (!grown) {
            std::free(std::exchange(buffer_, nullptr));
            z_5_1::raise(unit, ZOutOfMemoryException_5_1());
        }
        buffer_ = grown;
    }
    length_ = length;
}

void ZBuffer_5_1::setBuffer(unsigned long length, void* data) {
    // Growing moves the block, and with it any data that lies inside.
    std::uintptr_t const offset =
        reinterpret_cast<std::uintptr_t>(data) - reinterpret_cast<std::uintptr_t>(buffer_);
    bool const inside = buffer_ && offset < length_;
    unsigned long const there = inside ? std::min(length, length_ - offset) : data ? length : 0;
    setLength(length);
    if (length == 0) return;
    char* const target = static_cast<char*>(buffer_);
    if (there) std::memmove(target, inside ? target + offset : data, there);
    std::memset(target + there, 0, length - there);
}

void ZBuffer_5_1::setBuffer(char* text) {
    setBuffer(text ? std::strlen(text) + 1 : 0, text);
}

void ZBuffer_5_1::setBufferNoCopy(unsigned long length, void* data) {
    if (data != buffer_) setLength(0);
    length_ = length;
    buffer_ = data;
}

unsigned long ZBuffer_5_1::getLength() const {
    return length_;
}

void* ZBuffer_5_1::getBuffer() const {
    return buffer_;
}

void ZBuffer_5_1::takeBuffer(unsigned long& length, void*& data) {
    length = std::exchange(length_, 0);
    data = std::exchange(buffer_, nullptr);
}

ZConstBuffer_5_1::ZConstBuffer_5_1() : length_(0), buffer_(nullptr) {}

ZConstBuffer_5_1::ZConstBuffer_5_1(unsigned long length, void* data)
    : length_(length), buffer_(data) {}

ZConstBuffer_5_1::ZConstBuffer_5_1(ZConstBuffer_5_1 const& other) = default;

ZConstBuffer_5_1& ZConstBuffer_5_1::operator=(ZConstBuffer_5_1 const& other) {
    if (this != &other) setBuffer(other.length_, other.buffer_);
    return *this;
}

ZConstBuffer_5_1::~ZConstBuffer_5_1() noexcept {}

ZObject_5_1* ZConstBuffer_5_1::clone() const {
    return new ZConstBuffer_5_1(*this);
}

void ZConstBuffer_5_1::setLength(unsigned long length) {
    length_ = length;
}

void ZConstBuffer_5_1::setBuffer(unsigned long length, void* data) {
    length_ = length;
    buffer_ = data;
}

unsigned long ZConstBuffer_5_1::getLength() const {
    return length_;
}

void* ZConstBuffer_5_1::getBuffer() const {
    return buffer_;
}

void ZConstBuffer_5_1::takeBuffer(unsigned long& length, void*& data) {
    length = std::exchange(length_, 0);
    data = std::exchange(buffer_, nullptr);
}
