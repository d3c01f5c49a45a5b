// ZAbstractString: what every string can be asked, and the view of characters it does not own.
// Subsystem: strings, layer 1. Test: tests/ZAbstractString_test.cpp
#include "ZAbstractString.h"

#include <climits>
#include <cstdlib>
#include <typeinfo>

#include "ZException.h"
#include "ZLCString.h"
#include "ZUTF8String.h"
#include "zraise.h"
#include "ztisutil.h"

namespace {

constexpr char const* unit = "src/Z/ZAbstractString";
constexpr int otherCodesetLine = 65;
constexpr int invalidCharacterLine = 287;

constexpr unsigned int notFound = 0xFFFFFFFFu;

// Null when `object` is no string. The library's own classes are told by the address of their type,
// which spares the look-ups in the maps a dynamic_cast.
ZAbstractString_5_1 const* asString(ZObject_5_1 const& object) {
    std::type_info const* type = &typeid(object);
    if (type == &typeid(ZLCString_5_1) || type == &typeid(ZLCConstString_5_1) ||
        type == &typeid(ZUTF8String_5_1) || type == &typeid(ZUTF8ConstString_5_1)) {
        return static_cast<ZAbstractString_5_1 const*>(&object);
    }
    return dynamic_cast<ZAbstractString_5_1 const*>(&object);
}

unsigned int offset(char const* chars, char const* match) {
    return match != nullptr ? static_cast<unsigned int>(match - chars) : notFound;
}

// From the terminator down to index 1; the offset of the match comes out negated.
unsigned int lastByte(char const* chars, unsigned int length, char c) {
    for (char const* p = chars + length; p > chars; --p) {
        if (*p == c) return static_cast<unsigned int>(chars - p);
    }
    return notFound;
}

// As the z* functions take a number of bytes.
int count(unsigned int bytes) {
    return bytes > INT_MAX ? INT_MAX : static_cast<int>(bytes);
}

char const* orEmpty(char const* text) {
    return text != nullptr ? text : "";
}

}  // namespace

std::atomic<void*> ZAbstractString_5_1::utf8_handle_;
std::atomic<void*> ZAbstractString_5_1::lcs_handle_;

void ZAbstractString_5_1::fetchHandles() {
    void* const utf8 = zgetUTF8Handle_5_1();
    lcs_handle_.store(zgetLCSHandle_5_1(), std::memory_order_release);
    utf8_handle_.store(utf8, std::memory_order_release);
}

bool ZAbstractString_5_1::isSingleByteLocal() const {
    return getCodesetHandle() == lcs_handle_.load(std::memory_order_acquire) && MB_CUR_MAX == 1;
}

unsigned long ZAbstractString_5_1::hash() const {
    return hashOf(getChars());
}

int ZAbstractString_5_1::compare(ZObject_5_1 const& other) const {
    ZAbstractString_5_1 const* text = asString(other);
    if (text == nullptr || text->getCodesetHandle() != getCodesetHandle()) {
        z_5_1::raiseAt(unit, otherCodesetLine, ZUnsupportedException_5_1());
    }
    return compare(text->getChars());
}

int ZAbstractString_5_1::equals(ZObject_5_1 const& other) const {
    ZAbstractString_5_1 const* text = asString(other);
    if (text == nullptr) return 0;
    unsigned int const length = getLength();
    return length == text->getLength() && std::memcmp(getChars(), text->getChars(), length) == 0;
}

int ZAbstractString_5_1::compare(char const* text) const {
    return std::strcoll(getChars(), orEmpty(text));
}

int ZAbstractString_5_1::compareignorecase(char const* text) const {
    return zstricmp_5_1(getCodesetHandle(), getChars(), orEmpty(text));
}

unsigned int ZAbstractString_5_1::getCharCount() const {
    return static_cast<unsigned int>(zstrcount_5_1(getCodesetHandle(), getChars()));
}

int ZAbstractString_5_1::contains(int c) const {
    char const* chars = getChars();
    return chars != nullptr && std::strchr(chars, c) != nullptr;
}

int ZAbstractString_5_1::contains(char const* text) const {
    char const* chars = getChars();
    return chars != nullptr && text != nullptr && std::strstr(chars, text) != nullptr;
}

unsigned int ZAbstractString_5_1::indexOf(int c, unsigned int from) const {
    unsigned int const length = getLength();
    char const* chars = getChars();
    return offset(chars, std::strchr(chars + (from < length ? from : length), c));
}

unsigned int ZAbstractString_5_1::indexOf(char const* text, unsigned int from) const {
    if (text == nullptr) return notFound;
    unsigned int const length = getLength();
    char const* chars = getChars();
    return offset(chars, std::strstr(chars + (from < length ? from : length), text));
}

unsigned int ZAbstractString_5_1::lastIndexOf(int c) const {
    unsigned int const length = getLength();
    char const* chars = getChars();
    if (isSingleByteLocal()) return lastByte(chars, length, static_cast<char>(c));
    if (static_cast<char>(c) == '\0') return length;
    unsigned int last = notFound;
    for (unsigned int at = indexOf(c, 0); at != notFound;) {
        last = at;
        int const bytes = zmblen_5_1(getCodesetHandle(), chars + at, count(length - at));
        if (bytes == -1) z_5_1::raiseAt(unit, invalidCharacterLine, ZTISMBLenException_5_1());
        at = indexOf(c, at + static_cast<unsigned int>(bytes > 0 ? bytes : 1));
    }
    return last;
}

unsigned int ZAbstractString_5_1::lastIndexOf(char const* text) const {
    unsigned int const length = getLength();
    if (text == nullptr) return length;
    if (isSingleByteLocal()) return lastByte(getChars(), length, text[0]);
    unsigned int const step = static_cast<unsigned int>(std::strlen(text));
    if (step == 0) return length;
    unsigned int last = notFound;
    for (unsigned int at = indexOf(text, 0); at != notFound; at = indexOf(text, at + step)) {
        last = at;
    }
    return last;
}

int ZAbstractString_5_1::beginsWith(char const* text) const {
    if (text == nullptr) return 1;
    return !isEmpty() && std::strncmp(getChars(), text, std::strlen(text)) == 0;
}

int ZAbstractString_5_1::endsWith(char const* text) const {
    if (text == nullptr) return 1;
    std::size_t const bytes = std::strlen(text);
    unsigned int const length = getLength();
    if (bytes == 0 || bytes > length) return 0;
    return std::strcmp(getChars() + (length - bytes), text) == 0;
}

int ZAbstractString_5_1::equals(char const* text) const {
    return text != nullptr && std::strcmp(getChars(), text) == 0;
}

int ZAbstractString_5_1::isEmpty() const {
    return getLength() == 0;
}

ZAbstractString_5_1::operator char const*() const {
    return getChars();
}

char const* ZAbstractString_5_1::data() const {
    return getChars();
}

int ZAbstractString_5_1::beginsWith(ZAbstractString_5_1 const& text) const {
    return beginsWith(text.getChars());
}

int ZAbstractString_5_1::endsWith(ZAbstractString_5_1 const& text) const {
    return endsWith(text.getChars());
}

int ZAbstractString_5_1::beginsWithCaseIgnored(ZAbstractString_5_1 const& text) const {
    if (isEmpty() || text.isEmpty()) return 0;
    return zstrnicmp_5_1(getCodesetHandle(), getChars(), text.getChars(),
                         count(text.getLength())) == 0;
}

int ZAbstractString_5_1::endsWithCaseIgnored(ZAbstractString_5_1 const& text) const {
    unsigned int const length = getLength();
    unsigned int const bytes = text.getLength();
    if (bytes == 0 || bytes > length) return 0;
    return zstrnicmp_5_1(getCodesetHandle(), getChars() + (length - bytes), text.getChars(),
                         count(bytes)) == 0;
}

char const ZAbstractConstString_5_1::zemptyString[1] = {'\0'};

ZAbstractConstString_5_1& ZAbstractConstString_5_1::setChars(ZAbstractString_5_1 const& other) {
    if (other.getCodesetHandle() == getCodesetHandle()) *this = other.getChars();
    return *this;
}

unsigned int ZAbstractConstString_5_1::countLength() const {
    if (chars_ == zemptyString) return 0;
    unsigned int const length = static_cast<unsigned int>(std::strlen(chars_));
    length_.store(length, std::memory_order_relaxed);
    return length;
}

#if defined(__i386__)
static_assert(sizeof(ZAbstractConstString_5_1) == 12, "layout of the views");
#endif
