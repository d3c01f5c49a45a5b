// ZAbstractMutableString_test: capacity, edits, own text as argument, NULs, lack of memory.
// Subsystem: strings, layer 1. Test: tests/ZAbstractMutableString_test.cpp
#include <Z/ZLCString.h>
#include <Z/ZUTF8String.h>

#include <climits>
#include <functional>

#include "FailingAllocations.h"
#include "Strings.h"
#include "ZTest.h"

namespace {

template <class S>
struct Editing : testing::Test {};
using Kinds = testing::Types<ZLCString_5_1, ZUTF8String_5_1>;
TYPED_TEST_SUITE(Editing, Kinds);

using ztest::bytes;
std::string const x95(95, 'x'), x96(96, 'x'), x192(192, 'x');

TYPED_TEST(Editing, Capacity) {
    using S = TypeParam;
    struct {
        unsigned int bytes;  // the text before
        std::function<void(S&)> edit;
        unsigned int capacity;
    } const rows[] = {
        {95, [](S&) {}, 95},
        {96, [](S&) {}, 116},
        {96, [](S& s) { s.append(x96.c_str(), 21); }, 117 + 24},
        {0, [](S& s) { s.setCapacity(S(x95.c_str(), 95).getCapacity()); }, 116},
        {0, [](S& s) { s.setCapacity(200), s.setCapacity(5); }, 200},
        {0, [](S& s) { s.setCapacity(200), s.bump(100, 0); }, 200 + 21},
        {96, [](S& s) { s.insert(1, "y"); }, 116 + 21},
        {96, [](S& s) { s.trunc(1).prepend("y"); }, 95},
        {96, [](S& s) { s.clear(); }, 116},
        {96, [](S& s) { s.init(); }, 95},
        {0, [](S& s) { s.setCapacity(S(x192.c_str()).subString(92, 3).getCapacity()); }, 121},
    };
    for (auto const& row : rows) {
        S text(std::string(row.bytes, 'x').c_str());
        row.edit(text);
        EXPECT_EQ(text.getCapacity(), row.capacity) << row.bytes;
    }
    // Byte by byte the block is larger than the capacity says, which has the same steps.
    S grown;
    for (unsigned int capacity = 95; grown.getLength() < 400; capacity = grown.getCapacity()) {
        grown.append('x');
        unsigned int const n = grown.getLength();
        EXPECT_EQ(grown.getCapacity(), n > capacity ? n + (2 * n + 5) / 10 + 1 : capacity);
    }
    EXPECT_EQ(bytes(grown), std::string(400, 'x'));
}

TYPED_TEST(Editing, OneStep) {
    using S = TypeParam;
    struct {
        char const* before;
        std::function<void(S&)> edit;
        std::string after;
    } const rows[] = {
        {"ab", [](S& s) { s.insert(1, "xy").insert(99, "z").append(nullptr, 5); }, "axybz"},
        {"ab", [](S& s) { s.prepend("xy").prepend(nullptr).prepend(""); }, "xyab"},
        {"abc", [](S& s) { s.remove(2, 10).remove(UINT_MAX, 1).remove(1, UINT_MAX); }, "abc"},
        {"abcd", [](S& s) { s.remove(1, 2).remove(5, 0).remove(1, 0); }, "a"},
        {"aXbX", [](S& s) { s.lower().replace('x', 'y').upper(); }, "AYBY"},
        {"a.b.c", [](S& s) { s.replace(".", "::"); }, "a::b::c"},
        {"aaa", [](S& s) { s.replace("aa", "b").replace('\0', 'x').trunc(3); }, "ba"},
        {"a.b", [](S& s) { s.replace(".", nullptr).replace("", "x").replace(nullptr, "x"); }, "ab"},
        {"a1b22", [](S& s) { s.replaceAll("12", '#').replaceAll(nullptr, 'x'); }, "a#b##"},
        {"a1b22", [](S& s) { s.replaceAll("12", '\0'); }, "ab"},
        {"a1b22", [](S& s) { s.replaceAll("12", "<12>"); }, "a<12>b<12><12>"},
        {"a1b22", [](S& s) { s.replaceOther("12", "-"); }, "-1-22"},
        {" \t a b \n", [](S& s) { s.stripWhiteSpace(); }, "a b"},
        {"x", [](S& s) { s.format("%700s%02d", "y", 7); }, std::string(699, ' ') + "y07"},
        {"x", [](S& s) { s.setChars(nullptr).append(nullptr).insert(0, nullptr); }, ""},
        {"x", [](S& s) { s.format(nullptr); }, ""},
        {"x", [](S& s) { s = 'y', s += "z", s += 65; }, "yzA"},
        {"x", [](ZAbstractMutableString_5_1& s) { s = S("y"), s += S("z"); }, "yz"},
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
    bool const utf8 = TypeParam().getCodesetHandle() == ZUTF8String_5_1().getCodesetHandle();
    TypeParam blanks("   "), text(" a b  "), empty;
    EXPECT_EQ(bytes(blanks.stripTrailing()), utf8 || MB_CUR_MAX == 1 ? " " : "");
    EXPECT_EQ(bytes(text.stripTrailing()) + bytes(empty.stripTrailing()), " a b");
}

TYPED_TEST(Editing, OwnText) {
    using S = TypeParam;
    for (std::string const& old : {std::string("abcdef"), "abcdef" + x95}) {
        struct {
            std::function<void(S&)> edit;
            std::string after;
        } const rows[] = {
            {[](S& s) { s.setChars(s.getChars() + 2); }, old.substr(2)},
            {[](S& s) { s.setChars(s.getChars()), s = s.getChars(), s.setChars(s); }, old},
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
            EXPECT_EQ(bytes(S(*source)) + bytes(assigned) + bytes(*source + *source), "aaaa")
                << fill;
            EXPECT_TRUE(source->indexOf('b') == 0xFFFFFFFFu && source->hash() == 177604);
            EXPECT_EQ(bytes(source->trunc(3)), nul);
            EXPECT_EQ(bytes(S(*source)), "a") << fill;
            EXPECT_EQ(bytes(source->insert(1, "-")), "a-") << fill;
        }
    }
    EXPECT_EQ(S('\0').getLength(), 1u);
    EXPECT_TRUE(S(nul.data(), 3) == S(nul.data(), 3) && S(nul.data(), 3) != S("a"));
}

TYPED_TEST(Editing, Lines) {
    std::istringstream in("one\r\n two\r");
    in >> std::noskipws;
    TypeParam line("old");
    for (char const* expected : {"one", "", " two", ""}) {
        EXPECT_EQ(&line.readLine(in), &in);
        EXPECT_EQ(bytes(line), expected);
    }
    EXPECT_TRUE(in.eof() && (in.flags() & std::ios_base::skipws) == 0);
    std::istringstream blanks("  a");
    blanks >> std::noskipws;
    line.readLine(blanks, 1);
    EXPECT_TRUE(line == "  a" && (blanks.flags() & std::ios_base::skipws) != 0);
}

TYPED_TEST(Editing, LackOfMemory) {
    using S = TypeParam;
    auto const refused = [](auto const& run) {
        return ztest::thrownAt<ZOutOfMemoryException_5_1>(run) ==
               "src/Z/ZAbstractMutableString:418";
    };
    S text("abc");
    EXPECT_TRUE(refused([&] { text.bump(UINT_MAX, 0); }));
    EXPECT_EQ(text.getCapacity(), 95u);
#ifdef Z_MEMORY_CAN_FAIL
    S target("abc"), assigned("abc");
    auto const isKept = [&] { EXPECT_EQ(bytes(target) + bytes(assigned), "abcabc"); };
    EXPECT_EQ(ztest::failEach([&] { target.prepend(x96.c_str()); }, isKept), 1);
    target = "abc";
    EXPECT_EQ(ztest::failEach([&] { assigned = x96.c_str(); }, isKept), 1);
#endif
#if defined(__i386__)
    // The capacity is raised before the memory is asked for, and never trusted afterwards.
    S onHeap(x96.c_str());
    for (S* target : {&text, &onHeap}) {
        std::string const before = bytes(*target);
        EXPECT_TRUE(refused([&] { target->setCapacity(3u << 30); }));
        EXPECT_EQ(target->getCapacity(), 3u << 30);
        EXPECT_TRUE(refused([&] { target->append(x192.c_str()); }));
        EXPECT_EQ(bytes(target->append("")), before);
        EXPECT_EQ(bytes(target->trunc(0).append("still works")), "still works");
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
    text.append("\\ ").append(one.c_str());
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
