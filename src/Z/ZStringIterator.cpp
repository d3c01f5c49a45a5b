// ZStringIterator: walks a string character by character, in its own codeset.
// Subsystem: strings, layer 3. Test: tests/ZStringIterator_test.cpp
#include "ZStringIterator.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdlib>

#include "ZException.h"
#include "zraise.h"
#include "ztisutil.h"
#include "zutf8.h"

namespace {
constexpr char const* unit = "src/Z/ZStringIterator";
}

ZStringIterator_5_1::ZStringIterator_5_1(ZLCConstString_5_1 const& source, ZLCString_5_1& output)
    : cursor_(source),
      source_(&source),
      output_(output),
      width_(static_cast<unsigned int>(MB_CUR_MAX)) {}

ZStringIterator_5_1::ZStringIterator_5_1(ZLCString_5_1 const& source, ZLCString_5_1& output)
    : cursor_(source),
      source_(&source),
      output_(output),
      width_(static_cast<unsigned int>(MB_CUR_MAX)) {}

ZStringIterator_5_1::ZStringIterator_5_1(ZUTF8ConstString_5_1 const& source,
                                         ZUTF8String_5_1& output)
    : cursor_(source), source_(&source), output_(output), width_(0) {}

ZStringIterator_5_1::ZStringIterator_5_1(ZUTF8String_5_1 const& source, ZUTF8String_5_1& output)
    : cursor_(source), source_(&source), output_(output), width_(0) {}

ZStringIterator_5_1::~ZStringIterator_5_1() noexcept {}

ZObject_5_1* ZStringIterator_5_1::clone() const {
    return new ZStringIterator_5_1(*this);
}

int ZStringIterator_5_1::hasMore() {
    return cursor_ != nullptr && *cursor_ != '\0';
}

// In every codeset a byte below 0x80 that begins a character is all of it.
ZAbstractMutableString_5_1* ZStringIterator_5_1::getNext() {
    if (cursor_ == nullptr) return nullptr;
    output_.clear();
    auto const byte = static_cast<unsigned char>(*cursor_);
    auto const left = [this] { return source_->getChars() + source_->getLength() - cursor_; };
    if (byte == 0 && (width_ != 1 || left() <= 0)) return &output_;
    int bytes = 1;
    if (byte >= 0x80 && width_ != 1) {
        void* const handle = source_->getCodesetHandle();  // null: every byte is a character
        bytes = width_ == 0 && handle != nullptr ? z_5_1::plainUTF8Length(cursor_) : 0;
        if (bytes == 0) {
            bytes = zmblen_5_1(handle, cursor_,
                               static_cast<int>(std::min<std::ptrdiff_t>(left(), INT_MAX)));
        }
        if (bytes <= 0) z_5_1::raise(unit, ZTISMBLenException_5_1());
    }
    for (; bytes > 0; --bytes) output_.append(*cursor_++);
    return &output_;
}

void ZStringIterator_5_1::reset() {
    cursor_ = *source_;
}

// ---- the two operations of strings that are driven by an iterator ----

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::replaceAllOf(ZStringIterator_5_1& set,
                                                                     char const* replacement) {
    ZLCString_5_1 members;  // bytes as they are, whatever their codeset
    for (set.reset(); set.hasMore();) members += set.getNext()->getChars();
    replaceCharacters(members.getChars(), true, replacement);
    return *this;
}

ZAbstractMutableString_5_1& ZAbstractMutableString_5_1::replaceNoneOf(ZStringIterator_5_1& text,
                                                                      char const* set,
                                                                      char const* replacement) {
    if (set == nullptr) return *this;
    for (text.reset(); text.hasMore();) text.getNext();  // throws where the text is invalid
    replaceCharacters(set, false, replacement);
    return *this;
}

#if defined(__i386__)
static_assert(sizeof(ZStringIterator_5_1) == 24, "layout of the iterator");
#endif
