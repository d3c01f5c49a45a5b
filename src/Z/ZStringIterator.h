// ZStringIterator: walks a string character by character, in its own codeset.
// Subsystem: strings, layer 3. Test: tests/ZStringIterator_test.cpp
#ifndef Z_ZSTRINGITERATOR_H
#define Z_ZSTRINGITERATOR_H

#include "ZIterator.h"
#include "ZLCString.h"
#include "ZUTF8String.h"
#include "zexport.h"

// Each character is written into a string of the caller's, which getNext() returns: nothing is
// allocated per step. Source and output must outlive the iterator and be two different strings; the
// source must not change during the walk. One thread at a time.
class Z_API ZStringIterator_5_1 : public ZAbstractIterator_5_1 {
public:
    // Stands before the first character of `source`.
    ZStringIterator_5_1(ZLCConstString_5_1 const& source, ZLCString_5_1& output);
    ZStringIterator_5_1(ZLCString_5_1 const& source, ZLCString_5_1& output);
    ZStringIterator_5_1(ZUTF8ConstString_5_1 const& source, ZUTF8String_5_1& output);
    ZStringIterator_5_1(ZUTF8String_5_1 const& source, ZUTF8String_5_1& output);

    // Copies share source and output and go on from the same place. clone() is the caller's.
    ZStringIterator_5_1(ZStringIterator_5_1 const& other) = default;
    ~ZStringIterator_5_1() noexcept override;
    ZObject_5_1* clone() const override;

    // 0 at the first NUL of the text.
    int hasMore() override;

    // The output, holding the next character, or nothing at the end. A NUL inside the text is a
    // character where every byte is one, elsewhere it is the end. Throws ZTISMBLenException_5_1
    // (code 46) at a byte that begins no character.
    ZAbstractMutableString_5_1* getNext() override;

    void reset() override;

private:
    char const* cursor_;
    ZAbstractString_5_1 const* source_;
    ZAbstractMutableString_5_1& output_;
    unsigned int width_;  // 1: every byte is a character
};

#endif
