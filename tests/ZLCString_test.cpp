// ZLCString_test: what can be built, assigned, joined and compared, and what must not compile.
// Subsystem: strings, layer 1. Test: tests/ZLCString_test.cpp
#include <Z/ZLCString.h>
#include <Z/ZUTF8String.h>

#include <algorithm>
#include <climits>

#include "ZTest.h"

namespace {

using L = ZLCString_5_1;
using LC = ZLCConstString_5_1;
using U = ZUTF8String_5_1;
using UC = ZUTF8ConstString_5_1;

// Which expressions compile is a part of the contract.
#define COMPILES(name, expression) \
    template <class A, class B, class = void> \
    constexpr bool name = false; \
    template <class A, class B> \
    constexpr bool name<A, B, std::void_t<decltype(expression)>> = true;
COMPILES(equal, std::declval<A>() == std::declval<B>())
COMPILES(less, std::declval<A>() < std::declval<B>())
COMPILES(plus, std::declval<A>() + std::declval<B>())
COMPILES(adds, std::declval<A&>() += std::declval<B>())

static_assert(std::is_convertible_v<L*, ZObject_5_1*> && std::is_convertible_v<U*, ZObject_5_1*>);
static_assert(equal<L, L> && equal<L, LC> && equal<LC, L> && equal<LC, LC> && equal<L, char>);
static_assert(!equal<L, U> && !equal<U, L>);
static_assert(less<L, L> && less<LC, U> && !less<L, char const*> && !less<LC, char const*>);
static_assert(plus<L, L> && plus<L, LC> && plus<U, char const*> && !plus<L, int> && !plus<L, char>);
static_assert(adds<L, char> && adds<L, int> && adds<L, LC> && adds<L, U>);
static_assert(!std::is_constructible_v<L, long long>&& noexcept(std::declval<L&>().~L()));
#if defined(__i386__)
static_assert(sizeof(L) == 112 && sizeof(U) == 112 && sizeof(LC) == 12 && sizeof(UC) == 12);
#endif

template <class S>
struct Owned : testing::Test {
    static constexpr bool local = std::is_same_v<S, L>;
    using V = std::conditional_t<local, LC, UC>;
    using O = std::conditional_t<local, U, L>;
    using OV = std::conditional_t<local, UC, LC>;
};
using Kinds = testing::Types<L, U>;
TYPED_TEST_SUITE(Owned, Kinds);

TYPED_TEST(Owned, BuiltAndAssigned) {
    using S = TypeParam;
    using V = typename TestFixture::V;
    using O = typename TestFixture::O;
    using OV = typename TestFixture::OV;
    char const* const null = nullptr;
    struct {
        S built;
        std::function<void(S&)> assign;
        std::string text;
    } const rows[] = {{S(null), [&](S& s) { s = null; }, ""},
                      {S("text"), [](S& s) { s = "text"; }, "text"},
                      {S("text", 2), [](S& s) { s = S("te"); }, "te"},
                      {S(V("text")), [](S& s) { s = V("text"); }, "text"},
                      {S(O("text")), [](S& s) { s = O("text"); }, "text"},
                      {S(OV("text")), [](S& s) { s = OV("text"); }, "text"},
                      {S('c'), [](S& s) { s = 'c'; }, "c"},
                      {S(INT_MIN), [](S& s) { s = INT_MIN; }, std::to_string(INT_MIN)},
                      {S(7u), [](S& s) { s = 7u; }, "7"},
                      {S(-7L), [](S& s) { s = -7L; }, "-7"},
                      {S(ULONG_MAX), [](S& s) { s = ULONG_MAX; }, std::to_string(ULONG_MAX)}};
    for (auto const& row : rows) {
        S assigned("something that was there");
        row.assign(assigned);
        EXPECT_STREQ(assigned, row.text.c_str());
        EXPECT_TRUE(row.built == row.text.c_str() && S(row.built) == assigned) << row.text;
    }
    // Copies of every length, from and to both stores.
    for (unsigned int length = 0; length < 130; ++length) {
        std::string const text(length, static_cast<char>('a' + length % 26));
        S const source(text.c_str());
        S const copy(source);
        S shorter("x"), longer(std::string(300, 'y').c_str());
        shorter = longer = source;
        EXPECT_TRUE(copy == text.c_str() && shorter == copy && longer == copy) << length;
        EXPECT_EQ(copy.getLength() + shorter.getLength() + longer.getLength(), 3 * length);
        EXPECT_EQ(S(text.c_str(), length), source);
    }
}

TYPED_TEST(Owned, JoinedComparedAndCut) {
    using S = TypeParam;
    using V = typename TestFixture::V;
    S const a("a"), b("b");
    S sum = a + b + V("c") + "d" + static_cast<char const*>(nullptr);
    sum += V("e"), sum += 'f';
    EXPECT_STREQ(sum, "abcdef");
    EXPECT_TRUE(a == a && a != b && a == V("a") && a != V("b") && a == 'a' && V("a") == a);
    EXPECT_FALSE(a == 0);
    std::tuple<unsigned int, unsigned int, char const*> const rows[] = {
        {2, 100, "llo"}, {9, 1, ""}, {0, 2, "he"}, {1, UINT_MAX, "ello"}, {2, 0, ""}};
    for (auto const& [start, count, text] : rows) {
        EXPECT_STREQ(S("hello").subString(start, count), text);
    }
    EXPECT_STREQ(S("a\0bc\0d", 6).subString(2), "bc");
}

// What a text becomes depends on the process's codeset.
TEST(Conversion, BetweenTheCodesets) {
    std::string const locales[] = {"C.UTF-8", "de_DE.ISO-8859-1", "ja_JP.EUC-JP", "C"};
    auto const locale = std::find(locales, locales + 3, std::getenv("LC_ALL")) - locales;
    struct {
        char const *utf8, *local[4];
    } const rows[] = {{"plain", {"plain", "plain", "plain", "plain"}},
                      {"\xC3\xA9", {"\xC3\xA9", "\xE9", "\x8F\xAB\xB1", ""}},
                      {"a\xE6\x97\xA5", {"a\xE6\x97\xA5", "", "a\xC6\xFC", ""}},
                      {"\xF0\x9F\x98\x80", {"\xF0\x9F\x98\x80", "", "", ""}},
                      {"bad \xC3", {"", "", "", ""}}};
    for (auto const& row : rows) {
        char const* const expected = row.local[locale];
        L const local{U(row.utf8)};
        EXPECT_STREQ(local, expected) << row.utf8;
        EXPECT_EQ(local.getCharCount(), local.getLength());
        EXPECT_STREQ(U(local), *expected != '\0' ? row.utf8 : "");
        L assigned("before");
        assigned.setChars(UC(row.utf8));
        EXPECT_STREQ(assigned, expected);
    }
    // Three bytes are reserved per byte of local text, two per byte of UTF-8, and one more.
    std::string const forty(40, 'x');
    EXPECT_TRUE(U(L(forty.c_str())).getCapacity() == 121 && U(L("0123456789")).getCapacity() == 95);
    EXPECT_EQ(L(U((forty + forty).c_str())).getCapacity(), 161u);
    U own("own text");
    own.setChars(LC(own.getChars()));
    own.convertFromCodeSet(L());
    EXPECT_STREQ(own, "own text");
    EXPECT_EQ(L(U(L("a\0b", 3))).getLength(), 3u);
}

TEST(Conversion, FromSeveralThreads) {
    L const shared("shared text");
    LC const view("viewed text");
    ztest::inThreads(4, [&](int) {
        for (int n = 0; n < 200; ++n) EXPECT_TRUE(L(U(shared)) == shared && view.getLength() == 11);
    });
}

}  // namespace
