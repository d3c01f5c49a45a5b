// ztisutil_test: the start of the text services, their failures, and the functions on characters.
// Subsystem: strings, layer 1. Test: tests/ztisutil_test.cpp
#include <Z/ZLCString.h>
#include <Z/ZUTF8String.h>
#include <Z/ztisutil.h>
#include <langinfo.h>

#include <clocale>

#include "ZTest.h"

namespace {

using U16 = unsigned short;

std::size_t count(std::string const& text, std::string const& part) {
    std::size_t n = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

// Runs one test of this program in a process of its own, with `change` made to its environment.
int rerun(std::string const& test, std::function<void()> const& change) {
    return ztest::inProcess([&] {
        change();
        return execl("/proc/self/exe", "test", ("--gtest_filter=" + test).c_str(), nullptr);
    });
}

TEST(Start, AdoptsTheLocale) {
    EXPECT_STREQ(zgetlocale_5_1(), std::getenv("LC_ALL"));
    EXPECT_STREQ(zgetLocalCodesetName_5_1(), nl_langinfo(CODESET));
    EXPECT_STREQ(setlocale(LC_COLLATE, nullptr), std::getenv("LC_ALL"));
    void *const local = zgetLCSHandle_5_1(), *const utf8 = zgetUTF8Handle_5_1();
    EXPECT_TRUE(local != nullptr && utf8 != nullptr && local != utf8);
    EXPECT_EQ(ZLCString_5_1().getCodesetHandle(), local);
    EXPECT_EQ(ZUTF8ConstString_5_1().getCodesetHandle(), utf8);
    ZLCString_5_1 name("old");
    EXPECT_TRUE(ZGetLocale(name) == 0 && name == zgetlocale_5_1());
    EXPECT_TRUE(zset_cs_dir_5_1(nullptr) == 0 && zset_cs_dir_5_1("/anywhere") == 0);
}

// The conversions start the services themselves when they are the first to need them.
TEST(Start, ByAConversion) {
    if (std::getenv("Z_TEST_ALONE") == nullptr) {
        EXPECT_EQ(rerun("Start.ByAConversion", [] { setenv("Z_TEST_ALONE", "1", 1); }), 0);
        return;
    }
    char out[8];
    EXPECT_EQ(zlcs_from_utf8_5_1("a", 1, out, 8), 1);
    EXPECT_STREQ(setlocale(LC_CTYPE, nullptr), std::getenv("LC_ALL"));
}

TEST(Start, WithoutTheEnvironmentReportsEachTime) {
    if (std::getenv("TISDIR") != nullptr) {
        EXPECT_EQ(rerun("Start.WithoutTheEnvironmentReportsEachTime", [] { unsetenv("TISDIR"); }),
                  0);
        return;
    }
    std::string const report = "ZNoTISEnvironmentException\n File: \"src/Z/ztisutil\" 123\n";
    for (bool first : {true, false}) {
        auto const text = ztest::reported([] { EXPECT_EQ(zgetlocale_5_1(), nullptr); });
        EXPECT_TRUE(count(text, report) == 1 && count(text, "Error: 45") == 1) << first;
        setenv("TISDIR", "/", 1);  // too late
    }
    // Every string asks for both handles again, and then works with none.
    std::string const strings = ztest::reported([] {
        ZLCString_5_1 const local("plain");
        ZUTF8String_5_1 converted(local), copied;
        copied.setChars(local);
        EXPECT_TRUE(local.getCodesetHandle() == nullptr && local == "plain");
        EXPECT_TRUE(converted.isEmpty() && copied == "plain");
    });
    EXPECT_EQ(count(strings, report), 6u);
}

TEST(Conversion, NeedsAllFourArguments) {
    char out[8];
    for (auto convert : {zlcs_to_utf8_5_1, zlcs_from_utf8_5_1}) {
        EXPECT_TRUE(convert("\xFF", 0, out, 8) == 0 && convert("\xFF", 1, out, 0) == 0);
        EXPECT_TRUE(convert(nullptr, 1, out, 8) == 0 && convert("\xFF", 1, nullptr, 8) == 0);
        EXPECT_EQ(convert("abc", 3, out, 2), -1);
    }
}

TEST(Characters, AreThoseOfTheCodesetGiven) {
    void* const local = zgetLCSHandle_5_1();
    void* const utf8 = zgetUTF8Handle_5_1();
    // The C library loses the block it makes of LOCPATH whenever a locale object is made, which
    // case and classes need one for. The process's locale is adopted: nobody needs the variable.
    unsetenv("LOCPATH");
    struct {
        void* handle;
        char const* text;
        int n, length, alpha, space;
    } const rows[] = {{utf8, "\xC3\xA9x", 3, 2, 2, 0}, {utf8, "\xE3\x80\x80", 3, 3, 0, 3},
                      {utf8, "\xC3\xA9", 1, -1, 0, 0}, {local, "", 1, MB_CUR_MAX == 1, 0, 0},
                      {nullptr, "b", 1, 1, 1, 0},      {utf8, "a", 0, 0, 0, 0}};
    for (auto const& row : rows) {
        EXPECT_EQ(zmblen_5_1(row.handle, row.text, row.n), row.length) << row.text;
        EXPECT_EQ(zisalpha_5_1(row.handle, row.text, row.n), row.alpha) << row.text;
        EXPECT_EQ(zisspace_5_1(row.handle, row.text, row.n), row.space) << row.text;
    }
    EXPECT_EQ(zisalpha_5_1(utf8, nullptr, 3), 0);
    U16 wc = 7;
    EXPECT_TRUE(zmbtowc_5_1(utf8, &wc, "\xC3\xA9", 2) == 2 && wc == 0xE9);
    EXPECT_TRUE(zmbtowc_5_1(utf8, &wc, "\xC3", 1) == -1 && wc == 0);
    EXPECT_TRUE(ziswalnum_5_1('7') && ziswalpha_5_1(0xE9) && ziswdigit_5_1('7') &&
                ziswlower_5_1('a') && ziswupper_5_1('A') && ziswspace_5_1(0x3000));
    EXPECT_FALSE(ziswalnum_5_1('-') || ziswalpha_5_1('7') || ziswdigit_5_1(0x0661) ||
                 ziswlower_5_1('A') || ziswupper_5_1('a') || ziswspace_5_1(0xA0));
    // The valid bytes, all of them in a single-byte codeset.
    std::string const ascii(100, 'a'), cut = ascii + "\xC3\xA9" + ascii + "\xC3";
    EXPECT_EQ(zstrcount_5_1(utf8, cut.c_str()), 202);
    EXPECT_EQ(zstrcount_5_1(local, cut.c_str()), MB_CUR_MAX == 1 ? 203 : 202);
    EXPECT_TRUE(zstrcount_5_1(utf8, "\xFF") == 0 && zstrcount_5_1(utf8, nullptr) == 0);
}

TEST(Characters, StringFunctions) {
    void* const cs = zgetUTF8Handle_5_1();
    unsetenv("LOCPATH");
    char const* const text = "a,\xC3\xA9,b";
    EXPECT_TRUE(zstrchr_5_1(cs, text, ',') == text + 1 && zstrrchr_5_1(cs, text, ',') == text + 4);
    EXPECT_TRUE(zstrstr_5_1(cs, text, "\xC3\xA9") == text + 2 && zstrspn_5_1(cs, text, "a,") == 2 &&
                zstrcspn_5_1(cs, text, "\xC3\xA9") == 2 && *zstrpbrk_5_1(cs, text, "b") == 'b');
    EXPECT_TRUE(zstricmp_5_1(cs, "\xC3\x89", "\xC3\xA9") == 0 && zstricmp_5_1(cs, "a", "B") < 0 &&
                zstrnicmp_5_1(cs, "abc", "ABD", 2) == 0 && zstrnicmp_5_1(cs, "abc", "ABD", 3) < 0);
    char room[16] = {};
    EXPECT_STREQ(zstrncpy_5_1(cs, room, text, 3), "a,");  // half a character is not copied
    EXPECT_STREQ(zstrupper_5_1(cs, zstrncat_5_1(cs, room, "\xC3\xA9z", 2)), "A,\xC3\x89");
    EXPECT_STREQ(zstrtok_5_1(cs, zstrlower_5_1(cs, room), ","), "a");
    struct tm date = {};
    EXPECT_STREQ(zstrptime_5_1(cs, "2024-02-29!", "%Y-%m-%d", &date), "!");
    EXPECT_EQ(date.tm_year * 100 + date.tm_mday, 12429);
}

TEST(Utf16, ToUtf8) {
    struct {
        std::vector<U16> source;
        int room;
        std::string target;
        int consumed, result;
    } const rows[] = {{{}, 8, "", 0, 0},
                      {{'a', 0xE9, 0x65E5}, 8, "a\xC3\xA9\xE6\x97\xA5", 3, 0},
                      {{0xD83D, 0xDE00}, 4, "\xF0\x9F\x98\x80", 2, 0},
                      {{'a', 0xE9}, 2, "a", 1, 2},
                      {{0xD83D, 'b'}, 8, "\xED\xA0\xBD\x62", 2, 0},
                      {{'a', 0xD83D}, 8, "a\xED\xA0\xBD", 2, 0},
                      {{0x7F, 0x80, 0x7FF, 0x800}, 8, "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80", 4, 0},
                      {{0xDBFF, 0xDFFF}, 8, "\xF4\x8F\xBF\xBF", 2, 0}};
    for (auto const& row : rows) {
        unsigned char out[8];
        U16 const* source = row.source.data();
        unsigned char* target = out;
        EXPECT_EQ(zconvert_UTF16_to_UTF8_5_1(&source, source + row.source.size(), &target,
                                             out + row.room),
                  row.result);
        EXPECT_TRUE(std::string(out, target) == row.target &&
                    source - row.source.data() == row.consumed);
    }
}

}  // namespace
