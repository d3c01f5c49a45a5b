// ZUTF8String_test: the edits that differ from those of local text.
// Subsystem: strings, layer 1. Test: tests/ZUTF8String_test.cpp
#include <Z/ZUTF8String.h>

#include "Strings.h"
#include "ZTest.h"

namespace {

using U = ZUTF8String_5_1;

TEST(ZUTF8String, ReplacesAsciiByBytes) {
    U text("a\xC3\xA9,b,");
    text.replace(',', ';').replace('\0', 'x');
    EXPECT_STREQ(text, "a\xC3\xA9;b;");
    text.replace(';', '\0');
    EXPECT_EQ(ztest::bytes(text), std::string("a\xC3\xA9\0b\0", 6));
    EXPECT_STREQ(U(text), "a\xC3\xA9");
    text.replace('b', ';');
    EXPECT_EQ(text.getChars()[4], ';');
    EXPECT_EQ(ztest::thrownAt<ZInvalidParameterException_5_1>([&] { text.replace('\xC3', 'x'); }),
              "src/Z/ZUTF8String:298");
}

TEST(ZUTF8String, SetsHoldWholeCharacters) {
    struct {
        char const *set, *all, *other, *bytes;
    } const rows[] = {{"\xC3\xA9", "a-\xC3\xA8z", "*\xC3\xA9**", "a\xC3\xA9\xC3\xA8z"},
                      {"z\xC3\xA8", "a\xC3\xA9--", "**\xC3\xA8z", "a\xC3\xA9\xC3\xA8!"},
                      {"", "a\xC3\xA9\xC3\xA8z", "****", "a\xC3\xA9\xC3\xA8z"},
                      {nullptr, "a\xC3\xA9\xC3\xA8z", "a\xC3\xA9\xC3\xA8z", "a\xC3\xA9\xC3\xA8z"}};
    for (auto const& row : rows) {
        U all("a\xC3\xA9\xC3\xA8z"), other(all), bytes(all);
        EXPECT_STREQ(all.replaceAll(row.set, "-"), row.all);
        EXPECT_STREQ(other.replaceOther(row.set, "*"), row.other);
        EXPECT_STREQ(bytes.replaceAll(row.set, '!'), row.bytes);
    }
    U text("a");
    EXPECT_THROW(text.replaceAll("\xC3", "-"), ZTISMBLenException_5_1);
    EXPECT_STREQ(text, "a");
}

// Unicode's simple mappings; a character whose counterpart has another length stays.
TEST(ZUTF8String, Case) {
    U text("\xC3\xA9\xC8\xBA.b");
    EXPECT_STREQ(text.upper(), "\xC3\x89\xC8\xBA.B");
    EXPECT_EQ(text.compareignorecase("\xC3\xA9\xC8\xBA.b"), 0);
    EXPECT_STREQ(text.lower(), "\xC3\xA9\xC8\xBA.b");
    EXPECT_EQ(U("\xC3\xA9\xC3").getCharCount(), 2u);
}

}  // namespace
