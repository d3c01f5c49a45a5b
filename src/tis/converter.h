// converter: the C library's converters between a codeset and code points.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
//
// Opening a converter costs more than converting a line, so every thread keeps those it has used,
// one for each codeset and direction, and closes them when it ends. They are never shared: a
// converter holds state while it works.
#ifndef TIS_CONVERTER_H
#define TIS_CONVERTER_H

#include <iconv.h>

#include <utility>

#include "codeset.h"

namespace tis {

// The name under which the C library takes and gives code points in the machine's own order.
constexpr char const codePoints[] = "WCHAR_T";

inline bool isOpen(iconv_t converter) {
    return converter != reinterpret_cast<iconv_t>(-1);
}

// Closes at the end of its scope, unless released.
class OwnConverter {
public:
    OwnConverter(char const* to, char const* from) : converter_(iconv_open(to, from)) {}
    ~OwnConverter() {
        if (isOpen(converter_)) iconv_close(converter_);
    }
    OwnConverter(OwnConverter const&) = delete;
    OwnConverter& operator=(OwnConverter const&) = delete;
    iconv_t get() const { return converter_; }
    iconv_t release() { return std::exchange(converter_, reinterpret_cast<iconv_t>(-1)); }

private:
    iconv_t converter_;
};

// This thread's converter in its initial state; not open when it cannot be had.
iconv_t threadDecoder(Codeset const& cs);
iconv_t threadEncoder(Codeset const& cs);

// What a few bytes are when they stand alone.
struct Probe {
    enum Outcome { invalid, incomplete, nothing, one, several } outcome;
    CodePoint cp;  // of outcome one
    bool held;     // came out only when the converter was told that nothing follows
};
Probe probe(iconv_t decoder, Byte const* bytes, std::size_t count);

// The cell that describes what was found.
Cell cellOf(Probe const& found);

// The bytes of one code point, at most 8; -1 when there are none.
int encodeAlone(iconv_t encoder, CodePoint cp, Byte* out);

// Decodes or encodes through the thread's converter: one block, or all that is left with a flush
// after it. False when the text is invalid, cannot be represented or does not fit.
enum class Extent { block, all };
bool decodeByConverter(Codeset const& cs, Source& from, Target& to, Extent extent);
bool encodeByConverter(Codeset const& cs, Source& from, Target& to, Extent extent);

}  // namespace tis

#endif
