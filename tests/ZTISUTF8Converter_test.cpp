// ZTISUTF8Converter_test: conversions into buffers, unknown codesets, a missing environment.
// Subsystem: strings, layer 1. Test: tests/ZTISUTF8Converter_test.cpp
#include <Z/ZBuffer.h>
#include <Z/ZTISUTF8Converter.h>

#include "Strings.h"
#include "ZTest.h"

namespace {

static_assert(std::is_convertible_v<ZTISUTF8Converter_5_1*, ZObject_5_1*>);
static_assert(!std::is_copy_constructible_v<ZTISUTF8Converter_5_1>);
static_assert(std::has_virtual_destructor_v<ZUTF8ConverterInterface_5_1>);

TEST(ZTISUTF8Converter, ConvertsWithTheTerminator) {
    struct {
        char const *codeset, *local, *utf8;
    } const rows[] = {{"ISO-8859-1", "\xE9", "\xC3\xA9"},
                      {"EUC-JP", "a\xC6\xFC", "a\xE6\x97\xA5"},
                      {"no such codeset", "ascii", "ascii"},
                      {"", "", ""},
                      {"ISO-8859-1", nullptr, nullptr}};
    for (auto const& row : rows) {
        ZTISUTF8Converter_5_1 const converter(row.codeset, nullptr);
        EXPECT_TRUE(converter.getLocalCodeSet() == row.codeset);
        ZBuffer_5_1 out("what was there before");
        std::string const local = row.local ? row.local : "", utf8 = row.utf8 ? row.utf8 : "";
        converter.convertToUTF8(row.local, out);
        EXPECT_EQ(ztest::bytes(out), utf8 + '\0');
        converter.convertToLocal(row.utf8, out);
        EXPECT_EQ(ztest::bytes(out), local + '\0');
        converter.convertToUTF8(static_cast<char const*>(out.getBuffer()), out);
        EXPECT_EQ(ztest::bytes(out), utf8 + '\0');
    }
}

TEST(ZTISUTF8Converter, KeepsQuietAboutFailures) {
    ZTISUTF8Converter_5_1 const latin1("ISO-8859-1", "/anywhere"), none;
    ZBuffer_5_1 out;
    EXPECT_EQ(ztest::reported([&] {
                  latin1.convertToLocal("\xE6\x97\xA5", out);
                  EXPECT_EQ(out.getLength(), 7u);
                  none.convertToUTF8("\xE9", out);
                  EXPECT_EQ(out.getLength(), 4u);
              }),
              "");
    EXPECT_TRUE(none.getLocalCodeSet().isEmpty() && latin1.clone() == nullptr);
    ZTISUTF8Converter_5_1 const system(nullptr, nullptr);
    EXPECT_STREQ(system.getLocalCodeSet(), "UTF-8");
}

TEST(ZTISUTF8Converter, NeedsTheEnvironmentOrADirectory) {
    ZLCString_5_1 const directory(std::getenv("TISDIR"));
    unsetenv("TISDIR");
    auto const at = [](char const* line) { return std::string("src/Z/ZTISUTF8Converter:") + line; };
    using Failure = ZNoTISEnvironmentException_5_1;
    EXPECT_EQ(ztest::thrownAt<Failure>([] { ZTISUTF8Converter_5_1(); }), at("38"));
    EXPECT_EQ(ztest::thrownAt<Failure>([] { ZTISUTF8Converter_5_1("UTF8", nullptr); }), at("58"));
    ZTISUTF8Converter_5_1 const converter("UTF8", "/anywhere");
    EXPECT_TRUE(converter.getLocalCodeSet() == "UTF8");
    setenv("TISDIR", directory, 1);
}

}  // namespace
