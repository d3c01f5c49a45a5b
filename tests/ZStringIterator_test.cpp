// ZStringIterator_test: walks in single-byte and multibyte text, and the edits driven by one.
// Subsystem: strings, layer 3. Test: tests/ZStringIterator_test.cpp
#include <Z/ZException.h>
#include <Z/ZStringIterator.h>

#include <memory>
#include <vector>

#include "ZTest.h"

namespace {

static_assert(std::is_convertible_v<ZStringIterator_5_1*, ZObject_5_1*>);
static_assert(std::is_same_v<decltype(std::declval<ZStringIterator_5_1&>().getNext()),
                             ZAbstractMutableString_5_1*>);

std::vector<std::string> walk(ZIterator_5_1& iterator) {
    std::vector<std::string> characters;
    while (iterator.hasMore()) {
        auto const& next = dynamic_cast<ZAbstractString_5_1&>(*iterator.getNext());
        characters.emplace_back(next.getChars(), next.getLength());
    }
    return characters;
}

TEST(ZStringIterator, YieldsWholeCharacters) {
    struct {
        char const* utf8;
        std::vector<std::string> characters;
    } const rows[] = {
        {"", {}},
        {"ab", {"a", "b"}},
        {"a\xC3\xA9\xE6\x97\xA5\xF0\x9F\x98\x80z",
         {"a", "\xC3\xA9", "\xE6\x97\xA5", "\xF0\x9F\x98\x80", "z"}},
    };
    for (auto const& row : rows) {
        ZUTF8String_5_1 const text(row.utf8);
        ZUTF8ConstString_5_1 const view(row.utf8);
        ZUTF8String_5_1 out;
        ZStringIterator_5_1 owned(text, out), viewed(view, out);
        for (ZStringIterator_5_1* iterator : {&owned, &viewed}) {
            EXPECT_EQ(walk(*iterator), row.characters);
            // At the end it stays where it is and yields nothing.
            EXPECT_EQ(iterator->getNext(), &out);
            EXPECT_TRUE(out.isEmpty() && !iterator->hasMore());
            iterator->reset();
            EXPECT_EQ(walk(*iterator), row.characters);
        }
    }
}

// The same bytes are one character each, or one together, as the locale has it.
TEST(ZStringIterator, LocalTextFollowsTheLocale) {
    ZLCString_5_1 text(ZUTF8String_5_1("a\xE6\x97\xA5"));
    bool const single = MB_CUR_MAX == 1;
    if (single) text = "a\xE6\x97\xA5";
    std::string const rest = text.getChars() + 1;
    ZLCConstString_5_1 const view(text);
    ZLCString_5_1 out;
    ZStringIterator_5_1 owned(text, out), viewed(view, out);
    for (ZStringIterator_5_1* iterator : {&owned, &viewed}) {
        auto const characters = walk(*iterator);
        ASSERT_EQ(characters.size(), single ? 4u : 2u);
        EXPECT_EQ(characters[1], single ? rest.substr(0, 1) : rest);
        EXPECT_EQ(iterator->getNext(), &out);
        EXPECT_TRUE(out.isEmpty() && !iterator->hasMore());
    }
}

TEST(ZStringIterator, CopiesShareAndGoOn) {
    ZUTF8String_5_1 const text("abc");
    ZUTF8String_5_1 out;
    ZStringIterator_5_1 iterator(text, out);
    iterator.getNext();
    ZStringIterator_5_1 copy(iterator);
    std::unique_ptr<ZObject_5_1> const clone(iterator.clone());
    EXPECT_EQ(walk(copy), (std::vector<std::string>{"b", "c"}));
    EXPECT_EQ(walk(dynamic_cast<ZStringIterator_5_1&>(*clone)).size(), 2u);
    EXPECT_EQ(iterator.getNext(), &out);
    EXPECT_STREQ(out, "b");
    EXPECT_EQ(iterator.findNext(ZUTF8String_5_1("c")), &out);
    EXPECT_EQ(iterator.findNext(ZUTF8String_5_1("c")), nullptr);
}

TEST(ZStringIterator, InvalidTextIsReported) {
    ZUTF8String_5_1 const text("a\xC3");
    ZUTF8String_5_1 out;
    ZStringIterator_5_1 iterator(text, out);
    iterator.getNext();
    ztest::expectThrow<ZTISMBLenException_5_1>(
        [&] { iterator.getNext(); },
        [](auto& e) { EXPECT_STREQ(e.who(), "src/Z/ZStringIterator"); });
}

TEST(ZStringIterator, DrivesReplacements) {
    ZUTF8String_5_1 out;
    ZUTF8String_5_1 text("a\xC3\xA9z\xC3\xA9"), same(text);
    ZUTF8ConstString_5_1 const set("\xC3\xA9z");
    ZStringIterator_5_1 members(set, out), own(same, out);
    members.getNext();
    EXPECT_STREQ(text.replaceAllOf(members, "<z>"), "a<z><z><z>");
    EXPECT_STREQ(same.replaceNoneOf(own, "\xC3\xA9", "."), ".\xC3\xA9.\xC3\xA9");
}

}  // namespace
