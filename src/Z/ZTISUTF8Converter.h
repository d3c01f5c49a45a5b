// ZTISUTF8Converter: turns text between a chosen codeset and UTF-8 into byte buffers.
// Subsystem: strings, layer 1. Test: tests/ZTISUTF8Converter_test.cpp
#ifndef Z_ZTISUTF8CONVERTER_H
#define Z_ZTISUTF8CONVERTER_H

#include "ZLCString.h"
#include "ZObject.h"
#include "zexport.h"

class ZBuffer_5_1;

// Between UTF-8 and one other codeset. Null text counts as the empty one. Conversions may run from
// several threads at once, each into a buffer of its own.
class Z_API ZUTF8ConverterInterface_5_1 {
public:
    // The name of the codeset converted from and to.
    virtual ZLCString_5_1 const& getLocalCodeSet() const = 0;

    // The converted text and its terminator become the content of `out`, in which the text may lie
    // so far. A text that cannot be
    // converted leaves `out` at the length that was reserved (twice, to UTF-8 three times the
    // length, plus one) with undefined bytes, and is not reported. Throws ZOutOfMemoryException_5_1
    // (code 1).
    virtual void convertToLocal(char const* utf8, ZBuffer_5_1& out) const = 0;
    virtual void convertToUTF8(char const* local, ZBuffer_5_1& out) const = 0;

    virtual ~ZUTF8ConverterInterface_5_1() noexcept;
};

// Converters as objects; adds nothing.
class Z_API ZAbstractUTF8Converter_5_1 : public ZUTF8ConverterInterface_5_1, public ZObject_5_1 {
public:
    ~ZAbstractUTF8Converter_5_1() noexcept override;
};

// The converter over the text services. Throws ZNoTISEnvironmentException_5_1 (code 45) when it is
// made without a directory while the environment variable TISDIR is not set.
class Z_API ZTISUTF8Converter_5_1 : public ZAbstractUTF8Converter_5_1 {
public:
    // Names no codeset: ASCII text is all that converts.
    ZTISUTF8Converter_5_1();

    // For the codeset of that name, null meaning the one of the process's locale. `directory` is
    // handed to the text services; null for the default. A codeset they do not know converts
    // nothing but ASCII.
    ZTISUTF8Converter_5_1(char const* codeset, char const* directory);

    ZTISUTF8Converter_5_1(ZTISUTF8Converter_5_1 const&) = delete;
    ZTISUTF8Converter_5_1& operator=(ZTISUTF8Converter_5_1 const&) = delete;
    ~ZTISUTF8Converter_5_1() noexcept override;

    ZLCString_5_1 const& getLocalCodeSet() const override;
    void convertToLocal(char const* utf8, ZBuffer_5_1& out) const override;
    void convertToUTF8(char const* local, ZBuffer_5_1& out) const override;

private:
    ZLCString_5_1 codeset_;
    ZLCConstString_5_1 reserved_;
    void* handle_;
};

#endif
