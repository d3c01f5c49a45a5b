// ZJavaProperties: flat pairs of key and value in files of the Java properties syntax.
// Subsystem: properties, layer 4. Test: tests/ZJavaProperties_test.cpp
#ifndef Z_ZJAVAPROPERTIES_H
#define Z_ZJAVAPROPERTIES_H

#include <cstdint>
#include <cstdio>

#include "ZKeyMap.h"
#include "ZUTF8String.h"
#include "zexport.h"

// The pairs are kept in memory, those of a file as UTF-8. What a file may hold, and which lines are
// passed over without a word, is told in docs/java-format.md. Texts end at their first NUL. No
// locking: callers serialise. While a file is open its whole length is under a record lock, which
// keeps other processes away but not other threads of this one: the lock belongs to the process and
// goes with the first descriptor of the file that the process closes.
class Z_API ZJavaProperties_5_1 : public ZObject_5_1 {
public:
    // Without pairs.
    ZJavaProperties_5_1();
    ZJavaProperties_5_1(ZJavaProperties_5_1 const&) = delete;
    ZJavaProperties_5_1& operator=(ZJavaProperties_5_1 const&) = delete;
    ~ZJavaProperties_5_1() override;

    // Throws ZAbstractNotImplementedException_5_1 (code 31).
    ZObject_5_1* clone() const override;

    // Adds the pairs of the file; those with a known key replace. 0 when the file cannot be opened
    // or locked at once, else 1, also when reading stops at an error: the pairs before it stay.
    // Errors are not thrown but printed: ZPropertiesIOException_5_1 (code 43; "fopen(r)",
    // "fcntl()"), ZUnexpectedEndOfFile_5_1 (code 53, a read error). Null or empty: 1, nothing read.
    int load(char const* path);

    // The same up to the line that defines the key `stopKey` (in UTF-8; null or empty: none). At
    // the end of the file the last pair that was begun is stored if its key is `stopKey`; where the
    // file has no line, that is the last pair of the load before, whatever was set meanwhile.
    int load(char const* path, char const* stopKey);

    // The value of the key, converted to the codeset of `out`; empty when there is none.
    void getValue(ZAbstractString_5_1 const& key, ZAbstractMutableString_5_1& out) const;

    // Stores clones, so a const string's characters must live as long as the pair. Keys are
    // compared by bytes, and asked for in UTF-8.
    void setValue(ZAbstractString_5_1 const& key, ZAbstractString_5_1 const& value);

    // Writes all pairs over the file, in the order of a ZHashKeyMap_5_1 of capacity 10. Returns
    // fclose's result, which is 0 even if a write failed before, such as on a full disk: errno is 0
    // when all was written, else the error of the write. Throws ZInvalidParameterException_5_1
    // (code 22) for a null or empty path, ZPropertiesIOException_5_1 (code 43) with "fopen(wt)", or
    // with "fcntl()" when the file cannot be locked at once. An exception leaves no file at `path`
    // that this call made or began to write; what could not be locked stays as it was. Of a
    // symbolic link the link goes: the file it leads to stays with what was written, or empty if a
    // link to nothing could not be locked. Devices and pipes stay. The thread is not cancelled
    // meanwhile.
    int store(char const* path) const;

private:
    // Where the reader stands: what the next character belongs to. Most have a handler, which takes
    // that character and gives the next state.
    enum State : int {
        startLine = 1,
        startLineBlanks,
        commentLine,
        keyChars,
        keyCharEscape,
        keyEndBlanksFirst,  // after a key
        keyEndBlanksFinal,  // after the separator
        valChars,
        valEscape,
        multiLineVal,  // at the begin of a line that continues a value
        uu0,           // before the first of the four digits of an escape
        uu1,
        uu2,
        uu3,
        finished,
        skipLine  // the reader turns it into commentLine
    };
    using Handler = int (ZJavaProperties_5_1::*)(signed char);

    int doStartLineState(signed char c);
    int doStartLineBlanksState(signed char c);
    int doCommentLineState(signed char c);
    int doKeyCharsState(signed char c);
    int doKeyCharEscapeState(signed char c);
    int doKeyEndBlanksFirstState(signed char c);
    int doKeyEndBlanksFinalState(signed char c);
    int doValCharsState(signed char c);
    int doValEscapeState(signed char c);
    int doMultiLineValState(signed char c);
    int doUU0State(signed char c);
    int doUU1State(signed char c);
    int doUU2State(signed char c);
    int doUU3State(signed char c);

    int loadProperties(std::FILE* file, char const* path);
    int addDigit(signed char c, int next);
    int endPair();
    int stays(int state, char c);
    bool isStopKey() const { return key_ == stopKey_; }
    void storePair() { entries_.putEntry(&key_, &value_); }

    Handler states_[skipLine + 1];
    ZHashKeyMap_5_1 entries_;
    ZUTF8String_5_1 key_;
    ZUTF8String_5_1 value_;
    ZUTF8String_5_1 stopKey_;  // of the last load; empty: none
    std::uint16_t unit_[2];    // of UTF-16: the escape being read, and a zero
};

#endif
