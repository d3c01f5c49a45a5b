// tis: text services. The C library's own converter is the measure for codesets and conversions.
// Needs the locales of support/make_locales.sh in LOCPATH.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#include <tis/tis.h>

#include <iconv.h>

#include <atomic>
#include <clocale>
#include <cstdarg>
#include <cstring>
#include <random>

#include "ZTest.h"

namespace {

using Text = std::string;

// The C library loses the block it makes of LOCPATH whenever a locale object is made, which classes
// need one for: it is made before the variable counts.
struct Start {
    Start() {
        Text const path = std::getenv("LOCPATH") == nullptr ? "" : std::getenv("LOCPATH");
        unsetenv("LOCPATH");
        tis_iswalpha(0xE9);
        setenv("LOCPATH", path.c_str(), 1);
    }
} const start;

// "plain" stands for the null handle.
struct Handle {
    explicit Handle(Text const& name)
        : cs(name == "plain" ? nullptr : tis_cs_new(name.c_str()), tis_cs_free) {
        EXPECT_TRUE(cs != nullptr || name == "plain") << name;
    }
    operator tis_cs*() const { return cs.get(); }
    std::unique_ptr<tis_cs, void (*)(tis_cs*)> cs;
};

// The sanitizer sees the first byte beyond its own.
using Block = std::vector<char>;

using Convert = int (*)(tis_cs const*, char const*, int, char*, int);

// The result, "-1" for a failure. The room is the exact need when that is given, and one byte less
// must fail.
Text converted(Convert convert, tis_cs* cs, Text const& from, Text const* expected = nullptr) {
    Block const source(from.begin(), from.end());
    auto const into = [&](std::size_t room) {
        Block target(room);
        int const written = convert(cs, source.data(), static_cast<int>(source.size()),
                                    target.data(), static_cast<int>(room));
        return written < 0 ? "-1" : Text(target.begin(), target.begin() + written);
    };
    if (expected == nullptr) return into(4 * from.size() + 8);
    EXPECT_TRUE(expected->size() < 2 || into(expected->size() - 1) == "-1") << from;
    return into(expected->size());
}

// The measure.
struct Iconv {
    Iconv(char const* to, char const* from) : converter_(iconv_open(to, from)) {}
    ~Iconv() { iconv_close(converter_); }
    Text operator()(Text from) {
        Text to(4 * from.size() + 8, '\0');
        char* in = from.data();
        char* out = to.data();
        std::size_t inLeft = from.size();
        std::size_t outLeft = to.size();
        iconv(converter_, nullptr, nullptr, nullptr, nullptr);
        if (iconv(converter_, &in, &inLeft, &out, &outLeft) != 0) return "-1";
        if (iconv(converter_, nullptr, nullptr, &out, &outLeft) != 0) return "-1";
        return to.substr(0, to.size() - outLeft);
    }
    iconv_t converter_;
};

Text utf8(unsigned cp) {
    static Iconv encode("UTF-8", "UCS-4LE");
    return encode(Text(reinterpret_cast<char const*>(&cp), sizeof cp));
}

// One UTF-16 unit, as a conversion.
int wctomb(tis_cs const* cs, char const* from, int size, char* to, int) {
    tis_wchar unit = 0;
    EXPECT_EQ(size, tis_mbtowc(Handle("UTF8"), &unit, from, size));
    return tis_wctomb(cs, to, unit);
}

char const* const codesets[] = {
    "ANSI_X3.4-1968", "ISO-8859-1", "ISO-8859-7", "KOI8-R", "CP1252", "EUC-JP",      "SJIS",
    "SHIFT_JIS",      "CP932",      "GB18030",    "GBK",    "BIG5",   "BIG5-HKSCS",  "EUC-KR",
    "EUC-TW",         "JOHAB",      "CP1258",     "TCVN",   "TSCII",  "EUC-JISX0213"};

int format(char* buffer, int size, char const* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    int const length = size < 0 ? tis_vsprintf(nullptr, buffer, fmt, args)
                                : tis_vsnprintf(nullptr, buffer, size, fmt, args);
    va_end(args);
    return length;
}

}  // namespace

TEST(tisHandles, AreFreshAndOnlyForStatelessSupersetsOfAsciiLetters) {
    for (char const* name : {"UTF8", "utf-8", "Utf8", "EUC-JP", "iso-8859-1", "TCVN5712-1"}) {
        Handle const one(name), two(name);
        EXPECT_NE(one.cs, two.cs) << name;
    }
    for (char const* name : {"", "no-such-codeset", "UTF-16", "UTF-32LE", "UCS-2", "UTF-7", "T.61",
                             "ISO-2022-JP", "IBM037", "EUC-JP//IGNORE", "EUC JP", "UTF-8,"}) {
        EXPECT_EQ(nullptr, tis_cs_new(name)) << name;
    }
    EXPECT_EQ(nullptr, tis_cs_new(Text(64, '8').c_str()));
    EXPECT_TRUE(!tis_cs_new(nullptr) && !tis_loc_new(nullptr) && !tis_loc_new(""));
    tis_cs_free(nullptr);
}

TEST(tisConversion, AgreesWithTheConverterOnShortSequencesCodePointsAndLongTexts) {
    std::mt19937 random(5);
    for (char const* name : codesets) {
        Handle const cs(name);
        Iconv decode("UTF-8", name);
        Iconv encode(name, "UTF-8");
        int faults = 0;
        auto const compare = [&](Convert convert, Iconv& iconv, Text const& from) {
            Text const expected = iconv(from);
            if (expected != converted(convert, cs, from) && ++faults < 5) {
                ADD_FAILURE() << name << " " << testing::PrintToString(from);
            }
        };
        for (unsigned pair = 0; pair < 0x10000; pair += 1 + (pair < 0x8000 ? 7 : pair % 3)) {
            if (pair < 0x800) compare(tis_to_utf8, decode, Text(1, static_cast<char>(pair / 8)));
            compare(tis_to_utf8, decode, {static_cast<char>(pair >> 8), static_cast<char>(pair)});
        }
        for (unsigned i = 0; i < 10000; ++i) {
            unsigned const bits = static_cast<unsigned>(random()) | 0x80;
            Text s;
            for (unsigned b = 0; b < 3 + i % 2; ++b) s += static_cast<char>(bits >> 8 * b);
            compare(tis_to_utf8, decode, s);
        }
        std::vector<Text> characters;
        for (unsigned cp = 1; cp < 0x30000; cp += cp < 0x10000 ? 1 + cp % 2 : 13) {
            if (cp >= 0xD800 && cp <= 0xDFFF) continue;
            Text const character = utf8(cp);
            compare(tis_from_utf8, encode, character);
            if (cp < 0x10000) compare(wctomb, encode, character);
            if (cp >= 0x80 && decode(encode(character)) == character) {
                characters.push_back(character);
            }
        }
        for (unsigned i = 0; i < 900; ++i) {
            unsigned const share = static_cast<unsigned>(random()) % 100;
            Text text;
            while (text.size() <= i % 300) {
                bool const ascii = characters.empty() || random() % 100 >= share;
                text += ascii ? Text(1, static_cast<char>('0' + random() % 43))
                              : characters[random() % characters.size()];
            }
            Text local = encode(text);
            if (local != "-1" && decode(local) == text) {  // not with 5C in Shift JIS, say
                EXPECT_EQ(local, converted(tis_from_utf8, cs, text, &local)) << name;
                EXPECT_EQ(text, converted(tis_to_utf8, cs, local, &text)) << name;
            }
            // With a fault somewhere.
            text[random() % text.size()] = static_cast<char>(random());
            local[random() % local.size()] = static_cast<char>(random());
            compare(tis_from_utf8, encode, text), compare(tis_to_utf8, decode, local);
        }
        EXPECT_EQ(0, faults) << name;
    }
}

TEST(tisConversion, IsStrictAndWhole) {
    struct {
        char const* codeset;
        Convert convert;
        Text from, to;
    } const rows[] = {
        {"GB18030", tis_from_utf8, "\xF3\xA0\x81\x81", "\xD3\x36\x9C\x33"},
        {"EUC-JP", tis_from_utf8, "a\xF3\xA0\x81\x81", "-1"},  // iconv drops tags
        {"BIG5-HKSCS", tis_to_utf8, "\x88\x62\x88\x66", "\xC3\x8A\xCC\x84\xC3\x8A"},
        {"BIG5-HKSCS", tis_from_utf8, "x\xC3\x8A\xCC\x84\xC3\x8A", "x\x88\x62\x88\x66"},
        {"BIG5-HKSCS", tis_from_utf8, "\xC3\x8A\xF3\xA0\x81\x81", "-1"},
        {"ISO-8859-1", tis_to_utf8, Text("\0\xE9\0", 3), Text("\0\xC3\xA9\0", 4)},
        {"plain", tis_to_utf8, "text", "text"},
        {"plain", tis_to_utf8, "abcdefgh\x80", "-1"},
        {"plain", tis_from_utf8, "\xC3\xA9", "-1"},
        {"ISO-8859-7", tis_to_utf8, "abc\xFFxyz12345678", "-1"},
    };
    for (auto const& row : rows) {
        Text const* const exact = row.to == "-1" ? nullptr : &row.to;
        EXPECT_EQ(row.to, converted(row.convert, Handle(row.codeset), row.from, exact))
            << row.codeset << " " << testing::PrintToString(row.from);
    }
    Handle const latin("ISO-8859-1");
    char out[4];
    EXPECT_EQ(0, tis_to_utf8(latin, nullptr, 3, out, 4) + tis_to_utf8(latin, "abc", 3, nullptr, 4));
    EXPECT_EQ(0, tis_to_utf8(latin, "abc", -1, out, 4));
    EXPECT_EQ(-1, tis_to_utf8(latin, "a", 1, out, 0));
}

// Each sequence at each place of the vectors, before and behind other characters.
TEST(tisConversion, ChecksUtf8AtEveryPlace) {
    std::istringstream valid(
        "\xC2\x80\xDF\xBF \xE0\xA0\x80\xED\x9F\xBF \xEE\x80\x80\xEF\xBF\xBF \xF0\x90\x80\x80 "
        "\xF4\x8F\xBF\xBF");
    std::istringstream invalid(
        "\x80 \xBF \xC0\x80 \xC1\xBF \xE0\x9F\xBF \xED\xA0\x80 \xED\xBF\xBF \xF0\x8F\xBF\xBF "
        "\xF4\x90\x80\x80 \xF5\x80\x80\x80 \xF8\x88\x80\x80\x80 \xFE \xFF \xC3 \xE3\x81 "
        "\xF0\x9F\x98 \xC3\xA9\xA9 \xE3\x81\x82\x82 \xF0\x9F\x98\x80\x80 \xE3\xC3\xA9");
    Text const fillings[] = {"a", "\xD0\x96", "\xE3\x81\x82"};
    Handle const cs("UTF8");
    for (Text sequence; valid >> sequence || invalid >> sequence;) {
        bool const good = !valid.fail();
        for (unsigned place = 0; place < 120; ++place) {
            Text const& filling = fillings[place % 3];
            Text text(place / 6, 'a');
            for (unsigned k = 0; k < place / 6; ++k) text += filling;
            for (Text const& tail : {Text(), filling, Text(20, 'z')}) {
                Text const all = text + sequence + tail;
                EXPECT_EQ(good ? all : "-1", converted(tis_to_utf8, cs, all, good ? &all : nullptr))
                    << testing::PrintToString(all);
            }
        }
    }
}

TEST(tisCharacters, HaveLengthsAndUnits) {
    struct {
        char const* codeset;
        Text bytes;
        int n, length;
        unsigned unit;
        int unitResult;
    } const rows[] = {
        {"UTF8", "\xC3\xA9", 4, 2, 0xE9, 2},
        {"UTF8", "\xC3\xA9", 1, -1, 0, -1},  // cut by n
        {"UTF8", "\xE3\x81", 4, -1, 0, -1},  // cut by the terminator
        {"UTF8", "\xF0\x9F\x98\x80", 9, 4, 0xFFFD, 4},
        {"UTF8", "", 4, 0, 0, 0},
        {"UTF8", "a", -1, 0, 0, 0},
        {"ISO-8859-7", "\xFF", 1, 1, 0, -1},  // a byte without character
        {"plain", "\xE9", 1, 1, 0, -1},
        {"SJIS", "\xB1", 4, 1, 0xFF71, 1},
        {"EUC-JP", "\x8F\xB0\xA1", 3, 3, 0x4E02, 3},
        {"GB18030", "\x81\x30\x86", 4, -1, 0, -1},
        {"GB18030", "\x94\x39\xFC\x36", 4, 4, 0xFFFD, 4},  // outside the BMP
        {"BIG5-HKSCS", "\x88\x62", 2, 2, 0xFFFD, 2},       // two code points
    };
    for (auto const& row : rows) {
        Handle const cs(row.codeset);
        Block const text(row.bytes.c_str(), row.bytes.c_str() + row.bytes.size() + 1);
        tis_wchar unit = 0x7777;
        SCOPED_TRACE(Text(row.codeset) + testing::PrintToString(row.bytes));
        EXPECT_EQ(row.length, tis_mblen(cs, text.data(), row.n));
        EXPECT_EQ(row.unitResult, tis_mbtowc(cs, &unit, text.data(), row.n));
        EXPECT_EQ(row.unit, unit);
        EXPECT_EQ(row.unitResult, tis_mbtowc(cs, nullptr, text.data(), row.n));
    }
    EXPECT_EQ(0, tis_mblen(nullptr, nullptr, 4));
    char out[8];
    Handle const utf8("UTF8");
    EXPECT_TRUE(tis_wctomb(nullptr, out, 0xE9) == -1 && tis_wctomb(utf8, out, 0xD800) == -1);
    EXPECT_TRUE(tis_wctomb(utf8, out, 0x20AC) == 3 && tis_wctomb(Handle("SJIS"), out, 0) == 1);
}

TEST(tisCharacters, AreClassedByUnicodeInAnyLocale) {
    // In the order of the columns: alnum alpha digit lower space upper.
    using Test = int (*)(tis_wchar);
    Test const tests[] = {tis_iswalnum, tis_iswalpha, tis_iswdigit,
                          tis_iswlower, tis_iswspace, tis_iswupper};
    std::pair<tis_wchar, char const*> const rows[] = {
        {'a', "110100"},    {'Z', "110001"},    {'7', "101000"},    {' ', "000010"},
        {'\r', "000010"},   {'_', "000000"},    {0, "000000"},      {0x7F, "000000"},
        {0xE9, "110100"},   {0xC9, "110001"},   {0x3000, "000010"}, {0x2003, "000010"},
        {0xA0, "000000"},   {0x85, "000000"},   {0x3042, "110000"}, {0x416, "110001"},
        {0xD800, "000000"}, {0xFFFF, "000000"}, {0x661, "110000"}};
    for (char const* locale : {"C", "tr_TR.UTF-8", "de_DE.ISO-8859-1"}) {
        ASSERT_STREQ(locale, std::setlocale(LC_ALL, locale));
        for (auto const& [unit, classes] : rows) {
            Text found;
            for (Test const test : tests) found += test(unit) == 0 ? '0' : '1';
            EXPECT_EQ(classes, found) << unit << " in " << locale;
        }
    }
    std::setlocale(LC_ALL, "C");
}

// Second bytes of Shift JIS look like ASCII: the first character ends in 5C, the second in 41.
#define HYOU "\x95\x5C"
#define A_LIKE "\x83\x41"
#define E_ACUTE "\xC3\xA9"
#define E_GRAVE "\xC3\xA8"

TEST(tisStrings, AreSearchedByCharacters) {
    struct {
        char const *codeset, *text, *argument;
        // Offsets, -1 for null; strchr and strrchr look for the argument's first byte.
        int strchr, strrchr, strstr, span, notSpan, pbrk;
    } const rows[] = {
        {"SJIS", HYOU "\\x\\", "\\", 2, 4, 2, 0, 2, 2},
        {"SJIS", HYOU A_LIKE "B", "A", -1, -1, -1, 0, 5, -1},
        {"SJIS", "A" HYOU, HYOU "A", -1, -1, -1, 3, 0, 0},
        {"SJIS", HYOU "\x95", "\x95", 2, 2, 2, 0, 2, 2},  // a stray byte, no first half
        {"EUC-JP", "\xA4\xA2\xA4\xA4", "\xA2\xA4", -1, -1, -1, 0, 4, -1},
        {"GB18030", "\x81\x30\x86\x38\x30", "0", 4, 4, 4, 0, 4, 4},
        {"UTF8", "a" E_ACUTE "b" E_GRAVE, E_GRAVE "a", -1, -1, -1, 1, 0, 0},
        {"UTF8", E_ACUTE "\xC3", "\xC3", 2, 2, 2, 0, 2, 2},
        {"UTF8", E_ACUTE "=" E_ACUTE "=", "=", 2, 5, 2, 0, 2, 2},
        {"plain", "\xE9t\xE9", "t\xE9", 1, 1, 1, 3, 0, 0},
        {"SJIS", HYOU, "", 2, 2, 0, 0, 2, -1},
        {"UTF8", "", "", 0, 0, 0, 0, 0, -1},
    };
    for (auto const& row : rows) {
        Handle const cs(row.codeset);
        Block const text(row.text, row.text + std::strlen(row.text) + 1);
        char const* const s = text.data();
        auto const offset = [&](char const* found) {
            return found == nullptr ? -1 : static_cast<int>(found - s);
        };
        SCOPED_TRACE(Text(row.codeset) + testing::PrintToString(Text(row.text)));
        EXPECT_EQ(row.strchr, offset(tis_strchr(cs, s, row.argument[0])));
        EXPECT_EQ(row.strrchr, offset(tis_strrchr(cs, s, row.argument[0])));
        EXPECT_EQ(row.strstr, offset(tis_strstr(cs, s, row.argument)));
        EXPECT_EQ(row.span, tis_strspn(cs, s, row.argument));
        EXPECT_EQ(row.notSpan, tis_strcspn(cs, s, row.argument));
        EXPECT_EQ(row.pbrk, offset(tis_strpbrk(cs, s, row.argument)));
    }
    EXPECT_EQ(nullptr, tis_strstr(nullptr, "a", nullptr));
    EXPECT_EQ(0, tis_strspn(nullptr, nullptr, "a") + tis_strcspn(nullptr, "a", nullptr));
}

TEST(tisStrings, AreCutIntoTokensPerThread) {
    Handle const sjis("SJIS");
    auto const tokens = [&](Text text, char const* delimiters) {
        Text result;
        for (char* s = text.data(); char* token = tis_strtok(sjis, s, delimiters); s = nullptr) {
            result += Text(token) + "|";
            // Another thread's position is its own.
            std::thread([&] {
                char other[] = "x,y";
                EXPECT_EQ(nullptr, tis_strtok(sjis, nullptr, ","));
                EXPECT_STREQ("x", tis_strtok(sjis, other, ","));
            }).join();
        }
        EXPECT_EQ(nullptr, tis_strtok(sjis, nullptr, delimiters));
        return result;
    };
    EXPECT_EQ(HYOU "|b|", tokens("\\\\" HYOU "\\b\\", "\\"));
    EXPECT_EQ("a|b" A_LIKE "|", tokens("a" HYOU HYOU "b" A_LIKE, HYOU));
    EXPECT_EQ("", tokens("\\", "\\A"));
}

TEST(tisStrings, AreCopiedInWholeCharacters) {
    struct {
        char const* codeset;
        char const* source;
        int n;
        Text copy, appended;  // the eight bytes that were '?' before; what follows "+"
    } const rows[] = {
        {"UTF8", "a" E_ACUTE "b", 2, Text("a\0??????", 8), "+a"},
        {"UTF8", "a" E_ACUTE, 5, Text("a" E_ACUTE "\0\0???", 8), "+a" E_ACUTE},
        {"UTF8", "a\xC3", 4, Text("a\xC3\0\0????", 8), "+a\xC3"},
        {"SJIS", HYOU HYOU, 3, Text(HYOU "\0?????", 8), "+" HYOU},
        {"GB18030", "a\x81\x30\x81\x30", 3, Text("a\0\0?????", 8), "+a"},
        {"plain", "\xE9\xE9\xE9", 2, "\xE9\xE9??????", "+\xE9\xE9"},
        {"UTF8", "abc", -3, "????????", "+"},
    };
    for (auto const& row : rows) {
        Handle const cs(row.codeset);
        Text copy = "????????", appended("+\0????????", 10);
        // No more than n bytes are there to read.
        std::size_t const size =
            std::min(std::strlen(row.source) + 1, std::size_t(std::max(row.n, 1)));
        std::vector<char> const source(row.source, row.source + size);
        EXPECT_EQ(copy.data(), tis_strncpy(cs, copy.data(), source.data(), row.n));
        EXPECT_EQ(appended.data(), tis_strncat(cs, appended.data(), source.data(), row.n));
        EXPECT_TRUE(copy == row.copy && row.appended == appended.c_str()) << row.source << row.n;
    }
    EXPECT_EQ(nullptr, tis_strncat(nullptr, nullptr, "x", 2));
}

TEST(tisCase, ChangesInPlaceAndKeepsTheLength) {
    struct {
        char const* codeset;
        char const *text, *lower, *upper;
    } const rows[] = {
        {"UTF8", "Az" E_ACUTE "\xC3\x89!", "az" E_ACUTE E_ACUTE "!", "AZ\xC3\x89\xC3\x89!"},
        {"UTF8", "\xC8\xBA\xC4\xB1", "\xC8\xBA\xC4\xB1", "\xC8\xBA\xC4\xB1"},  // longer, shorter
        {"UTF8", "\xC3Z\xFFq", "\xC3z\xFFq", "\xC3Z\xFFQ"},                    // stray bytes
        {"UTF8", "\xF0\x90\x90\x80", "\xF0\x90\x90\xA8", "\xF0\x90\x90\x80"},
        {"ISO-8859-1", "\xC9\xE9\xFF\xDF", "\xE9\xE9\xFF\xDF", "\xC9\xC9\xFF\xDF"},
        {"ISO-8859-9", "\xDD\xFD", "i\xFD", "\xDDI"},
        {"SJIS", A_LIKE HYOU "Aa\x82\x60", A_LIKE HYOU "aa\x82\x81", A_LIKE HYOU "AA\x82\x60"},
        {"TCVN", "\xC7Z", "\xC7z", "\xC1Z"},
        {"plain", "A\xC9z", "a\xC9z", "A\xC9Z"},
    };
    for (auto const& row : rows) {
        Handle const cs(row.codeset);
        Text lower = row.text, upper = row.text;
        EXPECT_TRUE(tis_strlower(cs, lower.data()) == lower.data());
        EXPECT_TRUE(tis_strupper(cs, upper.data()) == upper.data());
        EXPECT_EQ(row.lower + Text("|") + row.upper, lower + "|" + upper);
    }
    EXPECT_EQ(nullptr, tis_strlower(nullptr, nullptr));
}

TEST(tisCase, IsFoldedInComparisonsAsTheLanguageHasIt) {
    struct {
        char const *codeset, *language, *s1, *s2;
        int n, sign;  // n -1: the whole strings
    } const rows[] = {
        {"UTF8", "C", "Z", "_", -1, 1},  // lower case decides
        {"UTF8", "C", "ab", "abc", -1, -1},
        {"UTF8", "C", E_ACUTE "A", "\xC3\x89\x61", -1, 0},
        {"UTF8", "C", "\xCF\x83", "\xCF\x82", -1, 0},      // both small sigmas
        {"UTF8", "C", "\xFF", "\xF0\x9F\x98\x80", -1, 1},  // a stray byte above all
        {"UTF8", "C", "ab" E_ACUTE, "AB" E_GRAVE, 3, 0},   // n counts bytes
        {"UTF8", "C", "a", "b", 0, 0},
        {"UTF8", "tr_TR.UTF-8", "I", "\xC4\xB1", -1, 0},
        {"UTF8", "tr", "\xC4\xB0", "i", -1, 0},
        {"ISO-8859-9", "az_AZ", "I\xDD", "\xFDi", -1, 0},
        {"UTF8", "true", "I", "\xC4\xB1", -1, -1},  // not the language tr
        {"SJIS", "ja_JP", "\x82\x60" HYOU, "\x82\x81" HYOU, -1, 0},
        {"SJIS", "ja_JP", A_LIKE, "\x83\x61", -1, -1},  // no ASCII inside
        {"BIG5-HKSCS", "C", "\x88\x62", "\x88\x66", -1, 1},
        {"plain", "C", "A\xE9", "a\xC9", -1, 1},
    };
    auto const sign = [](int n) { return (n > 0) - (n < 0); };
    for (auto const& row : rows) {
        Handle const cs(row.codeset);
        tis_loc* const loc = tis_loc_new(row.language);
        auto const compare = [&](char const* s1, char const* s2) {
            return sign(row.n < 0 ? tis_stricmp(cs, loc, s1, s2)
                                  : tis_strnicmp(cs, loc, s1, s2, row.n));
        };
        EXPECT_EQ(row.sign, compare(row.s1, row.s2)) << row.codeset << row.s1 << " " << row.s2;
        EXPECT_EQ(-row.sign, compare(row.s2, row.s1)) << row.codeset << row.s1 << " " << row.s2;
    }
    EXPECT_EQ(0, tis_stricmp(nullptr, nullptr, nullptr, nullptr));
    EXPECT_LT(tis_stricmp(nullptr, nullptr, nullptr, ""), 0);
    EXPECT_GT(tis_strnicmp(nullptr, nullptr, "", nullptr, 1), 0);
}

TEST(tisEnvironment, NamesTheLocaleAndServesItsCodeset) {
    std::pair<char const*, char const*> const rows[] = {
        {"C", "ANSI_X3.4-1968"},     {"de_DE.ISO-8859-1", "ISO-8859-1"}, {"ja_JP.EUC-JP", "EUC-JP"},
        {"ja_JP.SJIS", "SHIFT_JIS"}, {"zh_CN.GB18030", "GB18030"},       {"tr_TR.UTF-8", "UTF-8"}};
    for (auto const& [locale, codeset] : rows) {
        ASSERT_STREQ(locale, std::setlocale(LC_ALL, locale)) << "is LOCPATH set?";
        char name[64] = "kept";
        int const size = static_cast<int>(std::strlen(locale) + 1);
        EXPECT_EQ(-1, tis_os_lang_name(name, size - 1));
        EXPECT_EQ(-1, tis_os_cs_name(name, static_cast<int>(std::strlen(codeset))));
        EXPECT_STREQ("kept", name);
        EXPECT_EQ(0, tis_os_lang_name(name, size));
        EXPECT_STREQ(locale, name);
        EXPECT_EQ(0, tis_os_cs_name(name, sizeof name));
        EXPECT_STREQ(codeset, name);
        EXPECT_EQ("x", converted(tis_to_utf8, Handle(name), "x"));
    }
    std::setlocale(LC_ALL, "C");
    char name[8];
    EXPECT_EQ(0, tis_canonical_loc("POSIX", name, 2));
    EXPECT_STREQ("C", name);
    EXPECT_EQ(-2, tis_canonical_loc("", name, 8) + tis_canonical_loc("tr_TR.UTF-8", name, 8));
    EXPECT_TRUE(tis_set_dir("/nowhere") == 0 && tis_set_dir("") == 0 && tis_set_dir(nullptr) == -1);
}

TEST(tisEnvironment, FormatsOrMeasures) {
    char buffer[8] = "1234567";
    EXPECT_EQ(5, format(buffer, -1, "%d-%s", 12, "ab"));
    EXPECT_STREQ("12-ab", buffer);
    EXPECT_EQ(5, format(buffer, 3, "%d", 98765));
    EXPECT_STREQ("98", buffer);
    EXPECT_EQ(5, format(nullptr, 8, "%d", 98765));
}

// All threads meet the codesets' tables unmade. Threads that end close their converters, which the
// leak check would miss otherwise.
TEST(tisThreads, ShareHandlesAndTables) {
    // Names that no other test uses; the texts need tables, the converter, or a composing codeset.
    struct Shared {
        char const* name;
        Text utf8;
        Handle cs{name};
        Text local = Iconv(name, "UTF-8")(utf8);
    } const all[] = {{"EUCKR", "\xCE\xB1x"},  {"UHC", "\xCE\xB1"},
                     {"CP936", "\xCE\xB1y"},  {"EUCJP", "\xC3\xA1\xC2\xA6"},
                     {"GB18030", "\xC3\xA5"}, {"WINDOWS-1258", "a\xC3\xA1"}};
    std::atomic<int> ready{0};
    ztest::inThreads(8, [&](int t) {
        for (++ready; ready < 8;) std::this_thread::yield();
        for (int i = 0; i < 60; ++i) {
            Shared const& shared = all[(i + t) % 6];
            Handle const own(shared.name);
            tis_cs* const cs = i % 2 == 0 ? shared.cs : own;
            EXPECT_EQ(shared.local, converted(tis_from_utf8, cs, shared.utf8));
            EXPECT_EQ(shared.utf8, converted(tis_to_utf8, cs, shared.local));
            EXPECT_TRUE(tis_iswalpha(0x3B1) != 0 && tis_set_dir(shared.name) == 0);
        }
    });
}
