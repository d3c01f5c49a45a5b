// ZAbstractString_test: hash, equality, order and searches of strings and views in every locale.
// Subsystem: strings, layer 1. Test: tests/ZAbstractString_test.cpp
#include <Z/ZException.h>
#include <Z/ZLCString.h>
#include <Z/ZUTF8String.h>

#include <cstdlib>
#include <memory>

#include "ZTest.h"

namespace {

static_assert(std::is_convertible_v<ZLCConstString_5_1*, ZObject_5_1*>);

template <class S>
struct Reading : testing::Test {
    // Local text in a locale of one byte per character has searches of its own.
    static bool singleByte() {
        S const any;
        return any.getCodesetHandle() == ZLCString_5_1().getCodesetHandle() && MB_CUR_MAX == 1;
    }
};
using Kinds =
    testing::Types<ZLCString_5_1, ZUTF8String_5_1, ZLCConstString_5_1, ZUTF8ConstString_5_1>;
TYPED_TEST_SUITE(Reading, Kinds);

TYPED_TEST(Reading, Hash) {
    struct {
        char const* text;
        unsigned long hash;
    } const rows[] = {{"", 5381},
                      {"a", 177604},
                      {"\xE9", 177484},
                      {"hello world", 4173747013},
                      {"configuration-database", 374795293}};
    for (auto const& row : rows) {
        TypeParam const text(row.text);
        ZAbstractString_5_1 const& base = text;
        EXPECT_EQ(text.hash(), row.hash) << row.text;
        EXPECT_EQ(base.hash(), row.hash) << row.text;
    }
}

TYPED_TEST(Reading, FirstIndex) {
    struct {
        char const* text;
        char const* sought;
        unsigned int from, byText, byChar;
    } const rows[] = {
        {"abcabc", "bc", 0, 1, 1}, {"abcabc", "bc", 2, 4, 4}, {"abc", "x", 1000, ~0u, ~0u},
        {"abc", "", 1, 1, 3},      {"abc", "", 1000, 3, 3},   {"", "a", 0, ~0u, ~0u},
        {"abc", "cd", 0, ~0u, 2},  {"abcabc", "a", 1, 3, 3},
    };
    for (auto const& row : rows) {
        TypeParam const text(row.text);
        ZAbstractString_5_1 const& base = text;
        EXPECT_EQ(text.indexOf(row.sought, row.from), row.byText) << row.text << row.sought;
        EXPECT_EQ(text.indexOf(row.sought[0], row.from), row.byChar) << row.text << row.sought;
        EXPECT_EQ(base.indexOf(row.sought[0], row.from), row.byChar) << row.text << row.sought;
        EXPECT_EQ(text.contains(row.sought), std::strstr(row.text, row.sought) != nullptr);
        EXPECT_EQ(text.contains(row.sought[0]), std::strchr(row.text, row.sought[0]) != nullptr);
    }
    TypeParam const text("abc");
    char const* const null = nullptr;
    EXPECT_EQ(text.indexOf(null), 0xFFFFFFFFu);
    EXPECT_EQ(text.contains(null), 0);
    EXPECT_EQ(text.contains(0), 1);
}

TYPED_TEST(Reading, LastIndex) {
    struct {
        char const* text;
        char const* sought;
        int single, multiText, multiChar;
    } const rows[] = {
        {"abcb", "b", -3, 3, 3},  {"abc", "a", -1, 0, 0},    {"ab", "b", -1, 1, 1},
        {"aaaa", "aa", -3, 2, 3}, {"abcbx", "bc", -3, 1, 3}, {"", "a", -1, -1, -1},
        {"", "", -1, 0, 0},       {"abc", "", -3, 3, 3},     {"abc", "x", -1, -1, -1},
    };
    bool const single = this->singleByte();
    for (auto const& row : rows) {
        TypeParam const text(row.text);
        EXPECT_EQ(int(text.lastIndexOf(row.sought)), single ? row.single : row.multiText)
            << row.text << " " << row.sought;
        EXPECT_EQ(int(text.lastIndexOf(row.sought[0])), single ? row.single : row.multiChar)
            << row.text << " " << row.sought;
    }
    char const* const null = nullptr;
    EXPECT_EQ(TypeParam("abc").lastIndexOf(null), 3u);
}

TYPED_TEST(Reading, EndsAndEquality) {
    struct {
        char const* text;
        char const* part;
        int begins, ends, equal;
    } const rows[] = {
        {"abc", "ab", 1, 0, 0}, {"abc", "bc", 0, 1, 0}, {"abc", "abc", 1, 1, 1},
        {"abc", "", 1, 0, 0},   {"", "", 0, 0, 1},      {"", "a", 0, 0, 0},
        {"bc", "abc", 0, 0, 0}, {"bc", "bcd", 0, 0, 0}, {"abc", nullptr, 1, 1, 0},
        {"", nullptr, 1, 1, 0},
    };
    for (auto const& row : rows) {
        TypeParam const text(row.text);
        EXPECT_EQ(text.beginsWith(row.part), row.begins) << row.text;
        EXPECT_EQ(text.endsWith(row.part), row.ends) << row.text;
        EXPECT_EQ(text.equals(row.part), row.equal) << row.text;
        EXPECT_EQ(text == row.part, row.equal) << row.text;
        EXPECT_EQ(text != row.part, !row.equal) << row.text;
        if (row.part == nullptr) continue;
        TypeParam const part(row.part);
        ZLCString_5_1 const local(row.part);
        ZObject_5_1 const& object = local;
        EXPECT_EQ(text.beginsWith(part), row.begins);
        EXPECT_EQ(text.endsWith(part), row.ends);
        EXPECT_EQ(text == part, row.equal);
        EXPECT_EQ(text.equals(object), row.equal);
    }
    TypeParam const text("Key=Value");
    EXPECT_TRUE(text.beginsWithCaseIgnored(TypeParam("kEY")));
    EXPECT_FALSE(text.beginsWithCaseIgnored(TypeParam("ey")));
    EXPECT_FALSE(text.beginsWithCaseIgnored(TypeParam("")));
    EXPECT_TRUE(text.endsWithCaseIgnored(TypeParam("VALUE")));
    EXPECT_FALSE(text.endsWithCaseIgnored(TypeParam("")));
    EXPECT_FALSE(TypeParam("value").endsWithCaseIgnored(text));
    EXPECT_EQ(text.compareignorecase("KEY=value"), 0);
    EXPECT_NE(text.compareignorecase(nullptr), 0);
}

TYPED_TEST(Reading, OrderAndOtherCodesets) {
    TypeParam const a("a"), b("b"), empty;
    EXPECT_TRUE(a < b && b > a && a <= a && a >= a && !(b <= a));
    EXPECT_GT(b.compare("a"), 0);
    EXPECT_GT(a.compare(nullptr), 0);
    EXPECT_EQ(empty.compare(nullptr), 0);
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_EQ(a.getCharCount(), 1u);

    ZLCString_5_1 const local("a");
    ZUTF8String_5_1 const utf8("a");
    ZObject_5_1 const noString;
    bool const isLocal = a.getCodesetHandle() == local.getCodesetHandle();
    ZObject_5_1 const& same = isLocal ? static_cast<ZObject_5_1 const&>(local) : utf8;
    ZObject_5_1 const& other = isLocal ? static_cast<ZObject_5_1 const&>(utf8) : local;
    EXPECT_EQ(static_cast<ZObject_5_1 const&>(a).compare(same), 0);
    EXPECT_EQ(a.equals(other), 1);
    EXPECT_EQ(a.equals(noString), 0);
    for (ZObject_5_1 const* odd : {&other, &noString}) {
        ztest::expectThrow<ZUnsupportedException_5_1>(
            [&] { static_cast<ZObject_5_1 const&>(a).compare(*odd); },
            [](auto& e) {
                EXPECT_STREQ(e.who(), "src/Z/ZAbstractString");
                EXPECT_EQ(e.where(), 65u);
            });
    }
}

TYPED_TEST(Reading, CopiesAreOfTheSameKind) {
    TypeParam const text("text");
    std::unique_ptr<ZObject_5_1> const copy(text.clone());
    auto const* const typed = dynamic_cast<TypeParam*>(copy.get());
    ASSERT_NE(typed, nullptr);
    EXPECT_STREQ(typed->data(), "text");
    EXPECT_EQ(typed->getLength(), 4u);
    EXPECT_EQ(typed->getCodesetHandle(), text.getCodesetHandle());
    EXPECT_STREQ(static_cast<char const*>(*typed), "text");
}

TEST(Views, CountOnceAndPointElsewhere) {
    char text[] = "abc";
    ZLCConstString_5_1 view(text);
    EXPECT_EQ(view.getChars(), text);
    EXPECT_EQ(view.getLength(), 3u);
    ZLCConstString_5_1 const copy(view);
    EXPECT_EQ(copy.getChars(), text);
    view = "longer";
    EXPECT_EQ(view.getLength(), 6u);
    view.setChars(ZUTF8ConstString_5_1("of another codeset"));
    EXPECT_STREQ(view, "longer");
    ZLCString_5_1 const owner("owner's");
    view.setChars(owner);
    EXPECT_EQ(view.getChars(), owner.getChars());
    EXPECT_EQ(view.getLength(), 7u);
    view = nullptr;
    EXPECT_STREQ(view, "");
    EXPECT_EQ(view.getLength(), 0u);
    EXPECT_EQ(view.getChars(), ZLCConstString_5_1().getChars());
}

// A byte that is no character where one has to be measured.
TEST(Search, InvalidTextIsReported) {
    ztest::expectThrow<ZTISMBLenException_5_1>(
        [] {
            ZUTF8String_5_1 const text("a\xC3");
            text.lastIndexOf(0xC3);
        },
        [](auto& e) {
            EXPECT_STREQ(e.who(), "src/Z/ZAbstractString");
            EXPECT_EQ(e.where(), 287u);
        });
}

}  // namespace
