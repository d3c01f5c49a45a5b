// ZStringTokenizer: cuts a string into the runs of characters between delimiters.
// Subsystem: strings, layer 3. Test: tests/ZStringTokenizer_test.cpp
#ifndef Z_ZSTRINGTOKENIZER_H
#define Z_ZSTRINGTOKENIZER_H

#include <memory>

#include "ZAbstractMutableString.h"
#include "ZIterator.h"

class ZArrayList_5_1;

// Each token is written into a string of the caller's, which getNext() returns. Source and output
// must outlive the tokenizer and be two different strings; the source must not change meanwhile.
// One thread at a time.
//
// A character is a delimiter when its bytes occur anywhere in the bytes of the delimiters, up to
// their first NUL: in some codesets the second byte of a delimiter is one as well. Delimiters given
// to a call are not converted, whatever their codeset; without any, the rest of the text is one
// token. All that reads characters throws ZTISMBLenException_5_1 (code 46) at a byte that begins
// none in the source's codeset.
class Z_API ZStringTokenizer_5_1 : public ZAbstractIterator_5_1 {
public:
    // The delimiters are copied, and converted into the source's codeset; the second form takes
    // blank, tab, CR and LF. Both throw ZUnsupportedException_5_1 (code 48) when source and output
    // differ in codeset.
    ZStringTokenizer_5_1(ZAbstractString_5_1 const& source, ZAbstractMutableString_5_1& output,
                         ZAbstractString_5_1 const& delimiters);
    ZStringTokenizer_5_1(ZAbstractString_5_1 const& source, ZAbstractMutableString_5_1& output);

    // Copies share source and output and go on from the same place. clone() is the caller's.
    ZStringTokenizer_5_1(ZStringTokenizer_5_1 const& other);
    ~ZStringTokenizer_5_1() noexcept override;
    ZObject_5_1* clone() const override;

    // Moves past delimiters, for good; 0 when nothing but the end is left. The first form uses the
    // tokenizer's own delimiters, here and below.
    int hasMore() override;
    int hasMore(ZAbstractString_5_1 const& delimiters);

    // The output, holding the next token, or nothing at the end. Its capacity grows as if it had
    // held the whole rest of the text, which it does hold after an exception inside a token.
    ZAbstractMutableString_5_1* getNext() override;
    ZAbstractMutableString_5_1* getNext(ZAbstractString_5_1 const& delimiters);

    // Back to the first byte; the delimiters stay.
    void reset() override;

    // Adds a copy of each token that is left, which is the caller's unless `dest` owns its members.
    void list(ZArrayList_5_1& dest);

    // Bytes from the present place to the first character that is no delimiter (is one), or to the
    // end. Nothing moves.
    unsigned int skipAll(ZAbstractString_5_1 const& delimiters) const;
    unsigned int skipOther(ZAbstractString_5_1 const& delimiters) const;

private:
    class Delimiters;
    class OwnDelimiters;

    Delimiters set(ZAbstractString_5_1 const& delimiters) const;
    unsigned int bytesTo(char const* end) const;
    int skipDelimiters(Delimiters const& delimiters);
    ZAbstractMutableString_5_1* take(Delimiters const& delimiters);

    char const* cursor_;
    ZAbstractString_5_1 const* source_;
    ZAbstractMutableString_5_1& output_;
    std::unique_ptr<OwnDelimiters const> own_;
    unsigned int width_;  // 1: every byte is a character
};

#endif
