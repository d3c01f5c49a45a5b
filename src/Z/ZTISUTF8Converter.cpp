// ZTISUTF8Converter: turns text between a chosen codeset and UTF-8 into byte buffers.
// Subsystem: strings, layer 1. Test: tests/ZTISUTF8Converter_test.cpp
#include "ZTISUTF8Converter.h"

#include <tis/tis.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ZBuffer.h"
#include "ZException.h"
#include "zraise.h"

namespace {

constexpr char const* unit = "src/Z/ZTISUTF8Converter";
constexpr int noEnvironmentLine = 38;
constexpr int noEnvironmentForCodesetLine = 58;

void needEnvironment(int line) {
    if (std::getenv("TISDIR") == nullptr) {
        z_5_1::raiseAt(unit, line, ZNoTISEnvironmentException_5_1());
    }
}

using Convert = int (*)(tis_cs const*, char const*, int, char*, int);

struct Free {
    void operator()(char* block) const { std::free(block); }
};
using Block = std::unique_ptr<char, Free>;

bool liesIn(ZBuffer_5_1 const& out, char const* text) {
    return reinterpret_cast<std::uintptr_t>(text) -
               reinterpret_cast<std::uintptr_t>(out.getBuffer()) <
           out.getLength();
}

// A text that lies in `out` would move or be overwritten while it is read: it is copied first.
Block copyOf(char const* text) {
    Block copy(strdup(text));
    if (copy == nullptr) z_5_1::raise(unit, ZOutOfMemoryException_5_1());
    return copy;
}

// The terminator is converted with the text. `growth` is how many bytes one may become.
void convertInto(ZBuffer_5_1& out, Convert convert, void* handle, char const* text,
                 unsigned int growth) {
    Block const own = text != nullptr && liesIn(out, text) ? copyOf(text) : nullptr;
    ZLCConstString_5_1 const input(own != nullptr ? own.get() : text);
    unsigned long long const reserved = 1ULL * growth * input.getLength() + 1;
    if (reserved > INT_MAX) z_5_1::raise(unit, ZOutOfMemoryException_5_1());
    out.setLength(static_cast<unsigned long>(reserved));
    int const bytes = convert(static_cast<tis_cs const*>(handle), input.getChars(),
                              static_cast<int>(input.getLength() + 1),
                              static_cast<char*>(out.getBuffer()), static_cast<int>(reserved));
    if (bytes >= 0) out.setBuffer(static_cast<unsigned long>(bytes), out.getBuffer());
}

}  // namespace

ZUTF8ConverterInterface_5_1::~ZUTF8ConverterInterface_5_1() noexcept {}

ZAbstractUTF8Converter_5_1::~ZAbstractUTF8Converter_5_1() noexcept {}

ZTISUTF8Converter_5_1::ZTISUTF8Converter_5_1() : handle_(nullptr) {
    needEnvironment(noEnvironmentLine);
}

ZTISUTF8Converter_5_1::ZTISUTF8Converter_5_1(char const* codeset, char const* directory)
    : codeset_(codeset), handle_(nullptr) {
    if (directory != nullptr) {
        tis_set_dir(directory);
    } else {
        needEnvironment(noEnvironmentForCodesetLine);
    }
    char name[32];
    if (codeset == nullptr && tis_os_cs_name(name, sizeof name) == 0) codeset_ = name;
    if (!codeset_.isEmpty()) handle_ = tis_cs_new(codeset_.getChars());
}

ZTISUTF8Converter_5_1::~ZTISUTF8Converter_5_1() noexcept {
    tis_cs_free(static_cast<tis_cs*>(handle_));
}

ZLCString_5_1 const& ZTISUTF8Converter_5_1::getLocalCodeSet() const {
    return codeset_;
}

void ZTISUTF8Converter_5_1::convertToLocal(char const* utf8, ZBuffer_5_1& out) const {
    convertInto(out, tis_from_utf8, handle_, utf8, 2);
}

void ZTISUTF8Converter_5_1::convertToUTF8(char const* local, ZBuffer_5_1& out) const {
    convertInto(out, tis_to_utf8, handle_, local, 3);
}

#if defined(__i386__)
static_assert(sizeof(ZTISUTF8Converter_5_1) == 136, "layout of the converter");
#endif
