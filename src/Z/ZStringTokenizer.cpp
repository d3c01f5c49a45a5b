// ZStringTokenizer: cuts a string into the runs of characters between delimiters.
// Subsystem: strings, layer 3. Test: tests/ZStringTokenizer_test.cpp
#include "ZStringTokenizer.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include "ZException.h"
#include "ZLCString.h"
#include "ZList.h"
#include "ZUTF8String.h"
#include "zraise.h"
#include "ztisutil.h"

namespace {

constexpr char const* unit = "src/Z/ZStringTokenizer";

// Steps over the characters of a source that are delimiters, or over those that are not. In every
// codeset a byte below 0x80 that begins a character is all of it; the others are measured, unless
// each byte is a character.
class Scan {
public:
    Scan(ZAbstractString_5_1 const& source, char const* delimiters, bool bytewise)
        : source_(source), delimiters_(delimiters) {
        if (!bytewise) std::memset(kinds_ + 0x80, measured, 0x80);
        kinds_[0] = measured;
        for (char const* p = delimiters; *p != '\0'; ++p) kinds_[byteAt(p)] |= member;
    }

    // Where the run of characters that are (`wanted` is member) or are not (0) delimiters ends;
    // null when a character cannot be measured.
    char const* skip(char const* p, unsigned char wanted) const {
        for (;;) {
            while (kinds_[byteAt(p)] == wanted) ++p;
            unsigned char const kind = kinds_[byteAt(p)];
            if ((kind & measured) == 0 || *p == '\0') return p;
            char const* const end = source_.getChars() + source_.getLength();
            int bytes = zmblen_5_1(source_.getCodesetHandle(), p,
                                   end - p > INT_MAX ? INT_MAX : static_cast<int>(end - p));
            if (bytes == -1) return nullptr;
            if (bytes < 1) bytes = 1;
            if (((kind & member) != 0 && occurs(p, bytes) ? member : 0) != wanted) return p;
            p += bytes;
        }
    }

    static constexpr unsigned char member = 1;  // the byte occurs in the delimiters

private:
    static constexpr unsigned char measured = 2;  // the end, or begins a character of any length

    static unsigned char byteAt(char const* p) { return static_cast<unsigned char>(*p); }

    bool occurs(char const* character, int bytes) const {
        char terminated[8] = {};
        std::memcpy(terminated, character, static_cast<std::size_t>(bytes < 8 ? bytes : 7));
        return std::strstr(delimiters_, terminated) != nullptr;
    }

    ZAbstractString_5_1 const& source_;
    char const* delimiters_;
    unsigned char kinds_[256] = {};
};

unsigned int bytesBetween(char const* from, char const* to) {
    if (to == nullptr) z_5_1::raise(unit, ZTISMBLenException_5_1());
    return static_cast<unsigned int>(to - from);
}

}  // namespace

ZStringTokenizer_5_1::ZStringTokenizer_5_1(ZAbstractString_5_1 const& source,
                                           ZAbstractMutableString_5_1& output, std::nullptr_t)
    : cursor_(source), source_(&source), output_(output), width_(0) {
    void* const handle = source.getCodesetHandle();
    if (handle != output.getCodesetHandle()) z_5_1::raise(unit, ZUnsupportedException_5_1());
    if (handle == zgetLCSHandle_5_1()) {
        width_ = static_cast<unsigned int>(MB_CUR_MAX);
        delimiters_.reset(new ZLCString_5_1);
    } else {
        delimiters_.reset(new ZUTF8String_5_1);
    }
}

ZStringTokenizer_5_1::ZStringTokenizer_5_1(ZAbstractString_5_1 const& source,
                                           ZAbstractMutableString_5_1& output,
                                           ZAbstractString_5_1 const& delimiters)
    : ZStringTokenizer_5_1(source, output, nullptr) {
    delimiters_->setChars(delimiters);
}

ZStringTokenizer_5_1::ZStringTokenizer_5_1(ZAbstractString_5_1 const& source,
                                           ZAbstractMutableString_5_1& output)
    : ZStringTokenizer_5_1(source, output, nullptr) {
    delimiters_->setChars(" \t\r\n");
}

ZStringTokenizer_5_1::ZStringTokenizer_5_1(ZStringTokenizer_5_1 const& other)
    : ZAbstractIterator_5_1(other),
      cursor_(other.cursor_),
      source_(other.source_),
      output_(other.output_),
      delimiters_(static_cast<ZAbstractMutableString_5_1*>(other.delimiters_->clone())),
      width_(other.width_) {}

ZStringTokenizer_5_1::~ZStringTokenizer_5_1() noexcept {}

ZObject_5_1* ZStringTokenizer_5_1::clone() const {
    return new ZStringTokenizer_5_1(*this);
}

int ZStringTokenizer_5_1::hasMore() {
    return hasMore(*delimiters_);
}

int ZStringTokenizer_5_1::hasMore(ZAbstractString_5_1 const& delimiters) {
    cursor_ += skipAll(delimiters);
    return cursor_ != nullptr && *cursor_ != '\0';
}

ZAbstractMutableString_5_1* ZStringTokenizer_5_1::getNext() {
    return getNext(*delimiters_);
}

ZAbstractMutableString_5_1* ZStringTokenizer_5_1::getNext(ZAbstractString_5_1 const& delimiters) {
    if (cursor_ == nullptr) return nullptr;
    Scan const scan(*source_, delimiters.getChars(), width_ == 1);
    cursor_ += bytesBetween(cursor_, scan.skip(cursor_, Scan::member));
    char const* const end = scan.skip(cursor_, 0);
    if (end == nullptr) output_.setChars(cursor_);
    unsigned int const bytes = bytesBetween(cursor_, end);
    output_.clear();
    // The rest is counted only while it may be too long for the output.
    std::size_t const capacity = output_.getCapacity();
    if (bytesBetween(cursor_, source_->getChars() + source_->getLength()) > capacity) {
        if (strnlen(cursor_, capacity + 1) > capacity) {
            output_.bump(static_cast<unsigned int>(std::strlen(cursor_)), 0);
        }
    }
    output_.append(cursor_, bytes);
    cursor_ += bytes;
    return &output_;
}

void ZStringTokenizer_5_1::reset() {
    cursor_ = *source_;
}

void ZStringTokenizer_5_1::list(ZArrayList_5_1& dest) {
    if (cursor_ == nullptr) return;
    while (hasMore()) {
        ZAbstractMutableString_5_1 const* const token = getNext();
        if (token == nullptr) continue;
        if (dest.ownsMembers()) {
            dest.add(token);
            continue;
        }
        std::unique_ptr<ZObject_5_1> copy(token->clone());
        dest.add(copy.get());
        copy.release();
    }
}

unsigned int ZStringTokenizer_5_1::skipAll(ZAbstractString_5_1 const& delimiters) const {
    if (cursor_ == nullptr) return 0;
    Scan const scan(*source_, delimiters.getChars(), width_ == 1);
    return bytesBetween(cursor_, scan.skip(cursor_, Scan::member));
}

unsigned int ZStringTokenizer_5_1::skipOther(ZAbstractString_5_1 const& delimiters) const {
    if (cursor_ == nullptr) return 0;
    Scan const scan(*source_, delimiters.getChars(), width_ == 1);
    return bytesBetween(cursor_, scan.skip(cursor_, 0));
}

#if defined(__i386__)
static_assert(sizeof(ZStringTokenizer_5_1) == 28, "layout of the tokenizer");
#endif
