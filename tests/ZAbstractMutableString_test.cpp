// ZAbstractMutableString_test: capacity, edits, own text as argument, NULs, lack of memory.
// Subsystem: strings, layer 1. Test: tests/ZAbstractMutableString_test.cpp
#include <Z/ZException.h>
#include <Z/ZLCString.h>
#include <Z/ZUTF8String.h>

#include <climits>
#include <functional>

#include "ZTest.h"

extern "C" __attribute__((visibility("default"))) char const* __asan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

template <class S>
struct Editing : testing::Test {};
using Kinds = testing::Types<ZLCString_5_1, ZUTF8String_5_1>;
TYPED_TEST_SUITE(Editing, Kinds);

std::string bytes(ZAbstractString_5_1 const& text) {
    EXPECT_EQ(text.getChars()[text.getLength()], '\0');
    return std::string(text.getChars(), text.getLength());
}

std::string const x95(95, 'x');
std::string const x96(96, 'x');

TYPED_TEST(Editing, Capacity) {
    using S = TypeParam;
    struct {
        char const* name;
        std::function<unsigned int()> capacity;
        unsigned int expected;
    } const rows[] = {
        {"empty", [] { return S().getCapacity(); }, 95},
        {"95 bytes", [] { return S(x95.c_str()).getCapacity(); }, 95},
        {"96 bytes", [] { return S(x96.c_str()).getCapacity(); }, 116},
        {"96th byte",
         [] {
             S s(x95.c_str());
             s.append('y');
             return s.getCapacity();
         },
         116},
        {"117th byte",
         [] {
             S s(x96.c_str());
             for (int i = 0; i < 21; ++i) s.append('y');
             return s.getCapacity();
         },
         117 + 24},
        {"counted 94", [] { return S(x95.c_str(), 94).getCapacity(); }, 95},
        {"counted 95", [] { return S(x95.c_str(), 95).getCapacity(); }, 116},
        {"exact", [] { return S().setCapacity(200); }, 200},
        {"exact, never less",
         [] {
             S s;
             s.setCapacity(200);
             return s.setCapacity(5);
         },
         200},
        {"bump adds a fifth of what is required",
         [] {
             S s;
             s.setCapacity(200);
             s.bump(100, 0);
             return s.getCapacity();
         },
         200 + 21},
        {"bump to the inline size",
         [] {
             S s;
             s.bump(95, 0);
             return s.getCapacity();
         },
         95},
        {"insert always bumps",
         [] {
             S s(x96.c_str());
             s.insert(1, "y");
             return s.getCapacity();
         },
         116 + 21},
        {"prepend starts over",
         [] {
             S s;
             s.setCapacity(500);
             s.append("b").prepend("a");
             return s.getCapacity();
         },
         95},
        {"clear keeps",
         [] {
             S s(x96.c_str());
             s.clear();
             return s.getCapacity();
         },
         116},
        {"init does not",
         [] {
             S s(x96.c_str());
             s.init();
             return s.getCapacity();
         },
         95},
        {"copy",
         [] {
             S s;
             s.setCapacity(500);
             S const t(s);
             return t.getCapacity();
         },
         95},
        {"part of a long text",
         [] { return S((x96 + x96).c_str()).subString(92, 3).getCapacity(); }, 100 + 21},
    };
    for (auto const& row : rows) EXPECT_EQ(row.capacity(), row.expected) << row.name;
    EXPECT_EQ(S().getDefaultLength(), 95u);
    EXPECT_EQ(S("abc").bump(10, 0)[2], 'c');
}

TYPED_TEST(Editing, OneStep) {
    using S = TypeParam;
    struct {
        char const* before;
        std::function<void(S&)> edit;
        std::string after;
    } const rows[] = {
        {"ab", [](S& s) { s.insert(1, "xy"); }, "axyb"},
        {"ab", [](S& s) { s.insert(2, "xy").insert(99, "z").insert(0, nullptr); }, "abxyz"},
        {"ab", [](S& s) { s.prepend("xy").prepend(nullptr).prepend(""); }, "xyab"},
        {"abc", [](S& s) { s.remove(2, 10).remove(UINT_MAX, 1).remove(1, UINT_MAX); }, "abc"},
        {"abc", [](S& s) { s.remove(1, 0); }, "a"},
        {"abcd", [](S& s) { s.remove(1, 2).remove(5, 0); }, "ad"},
        {"abc", [](S& s) { s.trunc(4).trunc(3).trunc(1); }, "a"},
        {"aXbX", [](S& s) { s.lower().replace('x', 'y'); }, "ayby"},
        {"aXbX", [](S& s) { s.upper(); }, "AXBX"},
        {"a.b.c", [](S& s) { s.replace(".", "::"); }, "a::b::c"},
        {"aaa", [](S& s) { s.replace("aa", "b").replace("x", "y"); }, "ba"},
        {"a.b.c", [](S& s) { s.replace(".", nullptr).replace("", "x"); }, "abc"},
        {"abc", [](S& s) { s.replace(nullptr, "x").replace('\0', 'x'); }, "abc"},
        {"a1b22", [](S& s) { s.replaceAll("0123456789", '#'); }, "a#b##"},
        {"a1b22", [](S& s) { s.replaceAll("12", '\0').replaceAll(nullptr, 'x'); }, "ab"},
        {"a1b22", [](S& s) { s.replaceAll("12", "<12>"); }, "a<12>b<12><12>"},
        {"a1b22", [](S& s) { s.replaceOther("12", "-"); }, "-1-22"},
        {"a1b22", [](S& s) { s.replaceOther("", nullptr).append("!"); }, "!"},
        {" \t a b \n", [](S& s) { s.stripLeading(); }, "a b \n"},
        {" \t a b \n", [](S& s) { s.stripWhiteSpace(); }, "a b"},
        {"   ", [](S& s) { s.stripWhiteSpace().stripTrailing(); }, ""},
        {"x", [](S& s) { s.format("%s-%05d", "n", 42); }, "n-00042"},
        {"x", [](S& s) { s.format("%700s|", "y"); }, std::string(699, ' ') + "y|"},
        {"x", [](S& s) { s.format(nullptr); }, ""},
        {"x", [](S& s) { s.setChars(nullptr).append(nullptr).append(nullptr, 5); }, ""},
        {"x", [](S& s) { s = -5; }, "-5"},
        {"x", [](S& s) { s = 4000000000u; }, "4000000000"},
        {"x", [](S& s) { s = LONG_MIN; }, std::to_string(LONG_MIN)},
        {"x", [](S& s) { s = ULONG_MAX; }, std::to_string(ULONG_MAX)},
        {"x",
         [](S& s) {
             s = 'y';
             s += "z";
             s += 65;
         },
         "yzA"},
        {"x", [](S& s) { s = static_cast<char const*>(nullptr); }, ""},
        {"x", [](S& s) { static_cast<ZAbstractMutableString_5_1&>(s) = S("y"); }, "y"},
        {"x", [](S& s) { static_cast<ZAbstractMutableString_5_1&>(s) += S("y"); }, "xy"},
    };
    for (auto const& row : rows) {
        // On both sides of the inline store's size, and with a heap block of short text.
        for (unsigned int capacity : {95u, 400u}) {
            S text(row.before);
            text.setCapacity(capacity);
            row.edit(text);
            EXPECT_EQ(bytes(text), row.after) << row.before;
        }
    }
}

// Bytewise stripping never looks at the first byte from the end; the other one does.
TYPED_TEST(Editing, StripTrailing) {
    using S = TypeParam;
    bool const bytewise =
        S().getCodesetHandle() == ZUTF8String_5_1().getCodesetHandle() || MB_CUR_MAX == 1;
    struct {
        char const* text;
        char const* bytewise;
        char const* byCharacter;
    } const rows[] = {{"   ", " ", ""}, {"a b  ", "a b", "a b"}, {" a", " a", " a"}, {"", "", ""}};
    for (auto const& row : rows) {
        S text(row.text);
        text.stripTrailing();
        EXPECT_EQ(bytes(text), bytewise ? row.bytewise : row.byCharacter);
    }
}

TYPED_TEST(Editing, OwnText) {
    using S = TypeParam;
    for (std::string const& old : {std::string("abcdef"), "abcdef" + x95}) {
        struct {
            std::function<void(S&)> edit;
            std::string after;
        } const rows[] = {
            {[](S& s) { s.setChars(s.getChars() + 2); }, old.substr(2)},
            {[](S& s) {
                 s.setChars(s.getChars());
                 s = s.getChars();
                 s.setChars(s);
             },
             old},
            {[](S& s) { s.append(s.getChars()).append(s.getChars() + 1, 2); }, old + old + "bc"},
            {[](S& s) { s.insert(1, s.getChars() + 3); }, "a" + old.substr(3) + old.substr(1)},
            {[](S& s) { s.prepend(s.getChars() + 1); }, old.substr(1) + old},
            {[](S& s) { s.replace("abc", s.getChars()); }, old + old.substr(3)},
            {[](S& s) { s.replaceAll("a", s.getChars()); }, old + old.substr(1)},
            {[](S& s) { s.format("%s%s", s.getChars(), s.getChars() + 1); }, old + old.substr(1)},
            {[](S& s) { s += s; }, old + old},
        };
        for (auto const& row : rows) {
            S text(old.c_str());
            row.edit(text);
            EXPECT_EQ(bytes(text), row.after);
        }
    }
}

TYPED_TEST(Editing, EmbeddedNul) {
    using S = TypeParam;
    std::string const nul("a\0b", 3);
    // What copies by characters stops at the NUL, wherever the text lies and however it got there.
    for (unsigned int fill : {0u, 91u, 92u, 93u, 200u}) {
        std::string const whole = nul + std::string(fill, 'x');
        S text(whole.data(), 3 + fill);
        EXPECT_EQ(bytes(text), whole);
        S appended;
        appended.append('a').append('\0').append(whole.data() + 2, 1 + fill);
        EXPECT_EQ(bytes(appended), whole);
        for (S* source : {&text, &appended}) {
            S assigned("z");
            assigned = *source;
            S sum = *source + *source;
            EXPECT_EQ(bytes(S(*source)) + bytes(assigned) + bytes(sum), "aaaa") << fill;
            EXPECT_EQ(source->indexOf('b'), 0xFFFFFFFFu);
            EXPECT_EQ(source->hash(), 177604u);
            source->trunc(3);
            EXPECT_EQ(bytes(*source), nul);
            EXPECT_EQ(bytes(S(*source)), "a") << fill;
            source->insert(1, "-");
            EXPECT_EQ(bytes(*source), "a-") << fill;
        }
    }
    EXPECT_EQ(S('\0').getLength(), 1u);
    S equal(nul.data(), 3), shorter("a");
    EXPECT_TRUE(equal == S(nul.data(), 3));
    EXPECT_FALSE(equal == shorter);
    EXPECT_EQ(bytes(equal.stripLeading()), nul);
}

TYPED_TEST(Editing, Lines) {
    struct {
        char const* input;
        std::vector<std::string> lines;
    } const rows[] = {{"one\r\ntwo", {"one", "", "two"}}, {" a b\n", {" a b"}}, {"", {}}};
    for (auto const& row : rows) {
        for (int flag : {0, 1}) {
            std::istringstream in(row.input);
            in >> std::noskipws;
            TypeParam line("old");
            std::vector<std::string> lines;
            while (in.peek() != EOF) {
                EXPECT_EQ(&line.readLine(in, flag), &in);
                lines.push_back(bytes(line));
                EXPECT_EQ((in.flags() & std::ios_base::skipws) != 0, flag != 0);
            }
            EXPECT_EQ(lines, row.lines);
            line.readLine(in);
            EXPECT_EQ(bytes(line), "");
        }
    }
}

TYPED_TEST(Editing, LackOfMemory) {
    using S = TypeParam;
    auto const refused = [](std::function<void()> const& run) {
        ztest::expectThrow<ZOutOfMemoryException_5_1>(run, [](auto& e) {
            EXPECT_STREQ(e.who(), "src/Z/ZAbstractMutableString");
            EXPECT_EQ(e.where(), 418u);
        });
    };
    S text("abc");
    refused([&] { text.bump(UINT_MAX, 0); });
    EXPECT_EQ(text.getCapacity(), 95u);
#if defined(__i386__)
    // The capacity is raised before the memory is asked for, and never trusted afterwards.
    for (S* s : {&text, static_cast<S*>(nullptr)}) {
        S onHeap(x96.c_str());
        S& target = s != nullptr ? *s : onHeap;
        std::string const before = bytes(target);
        refused([&] { target.setCapacity(3u << 30); });
        EXPECT_EQ(target.getCapacity(), 3u << 30);
        refused([&] { target.append((x96 + x96).c_str()); });
        EXPECT_EQ(bytes(target), before);
        target.trunc(0).append("still works");
        EXPECT_EQ(bytes(target), "still works");
    }
#endif
}

// Bytes inside a character are no characters. In Shift JIS the second byte of some is a backslash.
TEST(WholeCharacters, AreNeitherFoundNorCut) {
    ZUTF8String_5_1 const table("\xE8\xA1\xA8");
    ZLCString_5_1 text(table);
    if (MB_CUR_MAX == 1) {
        EXPECT_TRUE(text.isEmpty());
        return;
    }
    std::string const one = bytes(text);
    text += "\\ ";
    text += one.c_str();
    text.replace('\\', '/').replace("\\", "?");
    EXPECT_EQ(bytes(text), one + "/ " + one);
    text.replaceAll((one + "/").c_str(), "<>");
    EXPECT_EQ(bytes(text), "<><> <>");
    text = (one + "a" + one + "\xFF").c_str();
    EXPECT_THROW(text.replaceOther("a", "-"), ZTISMBLenException_5_1);
    text = (one + "a" + one).c_str();
    text.replaceOther("a", "-");
    EXPECT_EQ(bytes(text), "-a-");
    text = (one + "  ").c_str();
    EXPECT_EQ(bytes(text.stripWhiteSpace()), one);
}

}  // namespace
