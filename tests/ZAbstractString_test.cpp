// ZAbstractString_test: hash, equality, order and searches of strings and views in every locale.
// Subsystem: strings, layer 1. Test: tests/ZAbstractString_test.cpp
#include <Z/ZLCString.h>
#include <Z/ZUTF8String.h>

#include <memory>
#include <random>

#include "Strings.h"
#include "ZTest.h"

namespace {

static_assert(std::is_convertible_v<ZLCConstString_5_1*, ZObject_5_1*>);

template <class S>
struct Reading : testing::Test {};
using Kinds =
    testing::Types<ZLCString_5_1, ZUTF8String_5_1, ZLCConstString_5_1, ZUTF8ConstString_5_1>;
TYPED_TEST_SUITE(Reading, Kinds);

TYPED_TEST(Reading, Hash) {
    std::pair<char const*, unsigned long> const rows[] = {{"", 5381},
                                                          {"a", 177604},
                                                          {"\xE9", 177484},
                                                          {"hello world", 4173747013},
                                                          {"configuration-database", 374795293}};
    for (auto const& [text, hash] : rows) EXPECT_EQ(TypeParam(text).hash(), hash) << text;
}

TYPED_TEST(Reading, FirstIndex) {
    struct {
        char const *text, *sought;
        unsigned int from, byText, byChar;
    } const rows[] = {{"abcabc", "bc", 0, 1, 1},    {"abcabc", "bc", 2, 4, 4},
                      {"abc", "x", 1000, ~0u, ~0u}, {"abc", "", 1, 1, 3},
                      {"abc", "", 1000, 3, 3},      {"", "a", 0, ~0u, ~0u},
                      {"abc", "cd", 0, ~0u, 2},     {"abcabc", "a", 1, 3, 3}};
    for (auto const& row : rows) {
        TypeParam const text(row.text);
        ZAbstractString_5_1 const& base = text;
        EXPECT_EQ(text.indexOf(row.sought, row.from), row.byText) << row.text << row.sought;
        EXPECT_EQ(text.indexOf(row.sought[0], row.from), row.byChar) << row.text << row.sought;
        EXPECT_EQ(base.indexOf(row.sought[0], row.from), row.byChar) << row.text << row.sought;
        EXPECT_EQ(text.contains(row.sought), std::strstr(row.text, row.sought) != nullptr);
    }
    TypeParam const text("abc");
    char const* const null = nullptr;
    EXPECT_TRUE(text.indexOf(null) == ~0u && text.contains(0) && !text.contains(null));
}

TYPED_TEST(Reading, LastIndex) {
    struct {
        char const *text, *sought;
        int single, multiText, multiChar;
    } const rows[] = {
        {"abcb", "b", -3, 3, 3},  {"abc", "a", -1, 0, 0},    {"ab", "b", -1, 1, 1},
        {"aaaa", "aa", -3, 2, 3}, {"abcbx", "bc", -3, 1, 3}, {"", "a", -1, -1, -1},
        {"", "", -1, 0, 0},       {"abc", "", -3, 3, 3},     {"abc", "x", -1, -1, -1}};
    // Local text in a locale of one byte per character has searches of its own.
    void* const local = ZLCString_5_1().getCodesetHandle();
    bool const single = TypeParam().getCodesetHandle() == local && MB_CUR_MAX == 1;
    for (auto const& row : rows) {
        TypeParam const text(row.text);
        EXPECT_EQ(int(text.lastIndexOf(row.sought)), single ? row.single : row.multiText)
            << row.text << " " << row.sought;
        EXPECT_EQ(int(text.lastIndexOf(row.sought[0])), single ? row.single : row.multiChar);
    }
    char const* const null = nullptr;
    EXPECT_EQ(TypeParam("abc").lastIndexOf(null), 3u);
}

TYPED_TEST(Reading, EndsAndEquality) {
    struct {
        char const *text, *part;
        int begins, ends, equal;
    } const rows[] = {{"abc", "ab", 1, 0, 0}, {"abc", "bc", 0, 1, 0}, {"abc", "abc", 1, 1, 1},
                      {"abc", "", 1, 0, 0},   {"", "", 0, 0, 1},      {"", "a", 0, 0, 0},
                      {"bc", "abc", 0, 0, 0}, {"bc", "bcd", 0, 0, 0}, {"abc", nullptr, 1, 1, 0},
                      {"", nullptr, 1, 1, 0}};
    for (auto const& row : rows) {
        TypeParam const text(row.text);
        EXPECT_TRUE(text.beginsWith(row.part) == row.begins &&
                    text.endsWith(row.part) == row.ends && text.equals(row.part) == row.equal)
            << row.text;
        EXPECT_TRUE((text == row.part) == row.equal && (text != row.part) != row.equal);
        if (row.part == nullptr) continue;
        TypeParam const part(row.part);
        EXPECT_TRUE(text.beginsWith(part) == row.begins && text.endsWith(part) == row.ends);
        EXPECT_EQ(text == part, row.equal);
        EXPECT_EQ(text.equals(static_cast<ZObject_5_1 const&>(ZLCString_5_1(row.part))), row.equal);
    }
    using S = TypeParam;
    S const text("Key=Value");
    EXPECT_TRUE(text.beginsWithCaseIgnored(S("kEY")) && text.endsWithCaseIgnored(S("VALUE")));
    EXPECT_FALSE(text.beginsWithCaseIgnored(S("ey")) || text.endsWithCaseIgnored(S("valu")));
    EXPECT_FALSE(text.beginsWithCaseIgnored(S()) || text.endsWithCaseIgnored(S()));
    EXPECT_FALSE(S("value").endsWithCaseIgnored(text) || S().beginsWithCaseIgnored(text));
    EXPECT_TRUE(text.compareignorecase("KEY=value") == 0 && text.compareignorecase(nullptr) != 0);
}

TYPED_TEST(Reading, OrderAndOtherCodesets) {
    TypeParam const a("a"), b("b"), empty;
    EXPECT_TRUE(a < b && b > a && a <= a && a >= a && !(b <= a));
    EXPECT_TRUE(b.compare("a") > 0 && a.compare(nullptr) > 0 && empty.compare(nullptr) == 0);
    EXPECT_TRUE(empty.isEmpty() && a.getCharCount() == 1);
    ZLCString_5_1 const local("a");
    ZUTF8String_5_1 const utf8("a");
    ZObject_5_1 const noString;
    bool const isLocal = a.getCodesetHandle() == local.getCodesetHandle();
    ZObject_5_1 const& same = isLocal ? static_cast<ZObject_5_1 const&>(local) : utf8;
    ZObject_5_1 const& other = isLocal ? static_cast<ZObject_5_1 const&>(utf8) : local;
    EXPECT_EQ(static_cast<ZObject_5_1 const&>(a).compare(same), 0);
    EXPECT_TRUE(a.equals(other) && !a.equals(noString));
    for (ZObject_5_1 const* odd : {&other, &noString}) {
        EXPECT_EQ(ztest::thrownAt<ZUnsupportedException_5_1>(
                      [&] { static_cast<ZObject_5_1 const&>(a).compare(*odd); }),
                  "src/Z/ZAbstractString:65");
    }
}

TYPED_TEST(Reading, CopiesAreOfTheSameKind) {
    TypeParam const text("text");
    std::unique_ptr<ZObject_5_1> const copy(text.clone());
    TypeParam const& typed = dynamic_cast<TypeParam const&>(*copy);
    EXPECT_TRUE(typed == "text" && typed.getCodesetHandle() == text.getCodesetHandle());
    EXPECT_EQ(static_cast<char const*>(typed), typed.data());
}

TEST(Views, CountOnceAndPointElsewhere) {
    char const* const text = "abc";
    ZLCConstString_5_1 view(text);
    EXPECT_TRUE(view.getChars() == text && view.getLength() == 3);
    EXPECT_EQ(ZLCConstString_5_1(view).getChars(), text);
    view = "longer";
    view.setChars(ZUTF8ConstString_5_1("of another codeset"));
    EXPECT_TRUE(view == "longer" && view.getLength() == 6);
    ZLCString_5_1 const owner("owner's");
    view.setChars(owner);
    EXPECT_TRUE(view.getChars() == owner.getChars() && view.getLength() == 7);
    view = nullptr;
    EXPECT_TRUE(view.getChars() == ZLCConstString_5_1().getChars() && view.getLength() == 0);
}

TEST(Search, FindsWhatTheStandardLibraryFinds) {
    std::minstd_rand random(3);
    auto const letters = [&](unsigned long most) {
        std::string text(random() % most, 'a');
        for (char& c : text) c = "aab"[random() % 3];
        return text;
    };
    for (int round = 0; round < 20000; ++round) {
        std::string const text = letters(150), part = letters(round % 2 ? 4 : 24);
        unsigned const from = static_cast<unsigned>(random() % 40);
        std::size_t const at = text.find(part, std::min<std::size_t>(from, text.size()));
        ASSERT_EQ(ZLCString_5_1(text.c_str()).indexOf(part.c_str(), from),
                  static_cast<unsigned>(at))
            << text << " " << part;
    }
}

// A byte that is no character where one has to be measured.
TEST(Search, InvalidTextIsReported) {
    ZUTF8String_5_1 const text("a\xC3");
    EXPECT_EQ(ztest::thrownAt<ZTISMBLenException_5_1>([&] { text.lastIndexOf(0xC3); }),
              "src/Z/ZAbstractString:287");
}

}  // namespace
