// ZStringTokenizer: cuts a string into the runs of characters between delimiters.
// Subsystem: strings, layer 3. Test: tests/ZStringTokenizer_test.cpp
#include "ZStringTokenizer.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "ZException.h"
#include "ZLCString.h"
#include "ZList.h"
#include "ZUTF8String.h"
#include "zraise.h"
#include "ztisutil.h"
#include "zutf8.h"

namespace {

constexpr char const* unit = "src/Z/ZStringTokenizer";
constexpr char const* whiteSpace = " \t\r\n";

}  // namespace

// Delimiters by their bytes. In every codeset a byte below 0x80 that begins a character is all of
// it; the others are measured, unless each byte is a character.
class ZStringTokenizer_5_1::Delimiters {
public:
    enum Kind : unsigned char {
        other = 0,
        member = 1,    // the byte occurs in the delimiters
        measured = 2,  // must be measured; also the end
    };

    Delimiters(char const* bytes, bool bytewise, bool inUTF8) : bytes_(bytes), inUTF8_(inUTF8) {
        if (!bytewise) std::memset(kinds_ + 0x80, measured, 0x80);
        kinds_[0] = measured;
        for (char const* p = bytes; *p != '\0'; ++p) kinds_[byteAt(p)] |= member;
    }

    bool inUTF8() const { return inUTF8_; }

    // Where the run of characters at `p` ends that all are delimiters (`wanted` is member), or all
    // are not (other); null when one cannot be measured.
    char const* skip(ZAbstractString_5_1 const& source, char const* p, Kind wanted) const {
        for (;;) {
            while (kinds_[byteAt(p)] == wanted) ++p;
            unsigned char const kind = kinds_[byteAt(p)];
            if ((kind & measured) == 0 || *p == '\0') return p;
            int bytes = inUTF8_ ? z_5_1::plainUTF8Length(p) : 0;
            if (bytes == 0) bytes = measure(source, p);
            if (bytes == -1) return nullptr;
            bool const occurs = (kind & member) != 0 && contains(p, bytes);
            if (occurs != (wanted == member)) return p;
            p += bytes;
        }
    }

private:
    static unsigned char byteAt(char const* p) { return static_cast<unsigned char>(*p); }

    static int measure(ZAbstractString_5_1 const& source, char const* p) {
        std::ptrdiff_t const left = source.getChars() + source.getLength() - p;
        int const bytes = zmblen_5_1(source.getCodesetHandle(), p,
                                     left > INT_MAX ? INT_MAX : static_cast<int>(left));
        return bytes == -1 ? -1 : bytes < 1 ? 1 : bytes;
    }

    bool contains(char const* character, int bytes) const {
        char terminated[5] = {};  // no codeset has longer characters than 4 bytes
        std::memcpy(terminated, character, static_cast<std::size_t>(bytes));
        return std::strstr(bytes_, terminated) != nullptr;
    }

    char const* bytes_;
    bool inUTF8_;
    unsigned char kinds_[256] = {};
};

// The tokenizer's own, with the string that they are in.
class ZStringTokenizer_5_1::OwnDelimiters {
    // Stands first: `set` is made from its bytes and keeps pointing to them.
    std::unique_ptr<ZAbstractMutableString_5_1> const text_;

public:
    OwnDelimiters(std::unique_ptr<ZAbstractMutableString_5_1> text, bool bytewise, bool inUTF8)
        : text_(std::move(text)), set(text_->getChars(), bytewise, inUTF8) {}
    OwnDelimiters(OwnDelimiters const& other, bool bytewise)
        : OwnDelimiters(std::unique_ptr<ZAbstractMutableString_5_1>(
                            static_cast<ZAbstractMutableString_5_1*>(other.text_->clone())),
                        bytewise, other.set.inUTF8()) {}

    Delimiters const set;
};

ZStringTokenizer_5_1::ZStringTokenizer_5_1(ZAbstractString_5_1 const& source,
                                           ZAbstractMutableString_5_1& output,
                                           ZAbstractString_5_1 const& delimiters)
    : cursor_(source), source_(&source), output_(output), width_(0) {
    void* const handle = source.getCodesetHandle();
    if (handle != output.getCodesetHandle()) z_5_1::raise(unit, ZUnsupportedException_5_1());
    std::unique_ptr<ZAbstractMutableString_5_1> text;
    bool inUTF8 = false;
    if (handle == zgetLCSHandle_5_1()) {
        width_ = static_cast<unsigned int>(MB_CUR_MAX);
        text.reset(new ZLCString_5_1);
    } else {
        inUTF8 = handle == zgetUTF8Handle_5_1();
        text.reset(new ZUTF8String_5_1);
    }
    text->setChars(delimiters);
    own_.reset(new OwnDelimiters(std::move(text), width_ == 1, inUTF8));
}

// The default delimiters are in the source's codeset: converting them fails where one has no
// handle.
ZStringTokenizer_5_1::ZStringTokenizer_5_1(ZAbstractString_5_1 const& source,
                                           ZAbstractMutableString_5_1& output)
    : ZStringTokenizer_5_1(
          source, output,
          source.getCodesetHandle() == zgetLCSHandle_5_1()
              ? static_cast<ZAbstractString_5_1 const&>(ZLCConstString_5_1(whiteSpace))
              : static_cast<ZAbstractString_5_1 const&>(ZUTF8ConstString_5_1(whiteSpace))) {}

ZStringTokenizer_5_1::ZStringTokenizer_5_1(ZStringTokenizer_5_1 const& other)
    : ZAbstractIterator_5_1(other),
      cursor_(other.cursor_),
      source_(other.source_),
      output_(other.output_),
      own_(new OwnDelimiters(*other.own_, other.width_ == 1)),
      width_(other.width_) {}

ZStringTokenizer_5_1::~ZStringTokenizer_5_1() noexcept {}

ZObject_5_1* ZStringTokenizer_5_1::clone() const {
    return new ZStringTokenizer_5_1(*this);
}

ZStringTokenizer_5_1::Delimiters ZStringTokenizer_5_1::set(
    ZAbstractString_5_1 const& delimiters) const {
    return Delimiters(delimiters.getChars(), width_ == 1, own_->set.inUTF8());
}

// The bytes from the cursor to the end of a run, null standing for a failure.
unsigned int ZStringTokenizer_5_1::bytesTo(char const* end) const {
    if (end == nullptr) z_5_1::raise(unit, ZTISMBLenException_5_1());
    return static_cast<unsigned int>(end - cursor_);
}

int ZStringTokenizer_5_1::hasMore() {
    return skipDelimiters(own_->set);
}

int ZStringTokenizer_5_1::hasMore(ZAbstractString_5_1 const& delimiters) {
    return skipDelimiters(set(delimiters));
}

int ZStringTokenizer_5_1::skipDelimiters(Delimiters const& delimiters) {
    if (cursor_ == nullptr) return 0;
    cursor_ += bytesTo(delimiters.skip(*source_, cursor_, Delimiters::member));
    return *cursor_ != '\0';
}

ZAbstractMutableString_5_1* ZStringTokenizer_5_1::getNext() {
    return take(own_->set);
}

ZAbstractMutableString_5_1* ZStringTokenizer_5_1::getNext(ZAbstractString_5_1 const& delimiters) {
    return take(set(delimiters));
}

ZAbstractMutableString_5_1* ZStringTokenizer_5_1::take(Delimiters const& delimiters) {
    if (cursor_ == nullptr) return nullptr;
    skipDelimiters(delimiters);
    char const* const end = delimiters.skip(*source_, cursor_, Delimiters::other);
    if (end == nullptr) {
        output_.setChars(cursor_);
        z_5_1::raise(unit, ZTISMBLenException_5_1());
    }
    output_.clear();
    // The rest is counted only while it may be too long for the output.
    unsigned int const capacity = output_.getCapacity();
    bool const mayExceed = bytesTo(source_->getChars() + source_->getLength()) > capacity;
    std::size_t const rest = mayExceed ? std::strlen(cursor_) : 0;
    if (rest > capacity) output_.bump(static_cast<unsigned int>(rest), 0);
    output_.append(cursor_, bytesTo(end));
    cursor_ = end;
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
        static_cast<void>(copy.release());
    }
}

unsigned int ZStringTokenizer_5_1::skipAll(ZAbstractString_5_1 const& delimiters) const {
    if (cursor_ == nullptr) return 0;
    return bytesTo(set(delimiters).skip(*source_, cursor_, Delimiters::member));
}

unsigned int ZStringTokenizer_5_1::skipOther(ZAbstractString_5_1 const& delimiters) const {
    if (cursor_ == nullptr) return 0;
    return bytesTo(set(delimiters).skip(*source_, cursor_, Delimiters::other));
}

#if defined(__i386__)
static_assert(sizeof(ZStringTokenizer_5_1) == 28, "layout of the tokenizer");
#endif
