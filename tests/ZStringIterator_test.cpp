// ZStringIterator_test: walks in single-byte and multibyte text, and the edits driven by one.
// Subsystem: strings, layer 3. Test: tests/ZStringIterator_test.cpp
#include <Z/ZStringIterator.h>

#include <memory>

#include "Strings.h"
#include "ZTest.h"

namespace {

static_assert(std::is_convertible_v<ZStringIterator_5_1*, ZObject_5_1*>);
static_assert(std::is_same_v<decltype(std::declval<ZStringIterator_5_1&>().getNext()),
                             ZAbstractMutableString_5_1*>);

std::vector<std::string> walk(ZIterator_5_1& iterator) {
    std::vector<std::string> characters;
    while (iterator.hasMore()) {
        characters.push_back(ztest::bytes(dynamic_cast<ZAbstractString_5_1&>(*iterator.getNext())));
    }
    return characters;
}

// Twice; at the end the iterator stays where it is and yields nothing.
void expectWalks(ZStringIterator_5_1& iterator, ZAbstractString_5_1 const& out,
                 std::vector<std::string> const& characters) {
    for (int i = 0; i < 2; ++i, iterator.reset()) {
        EXPECT_EQ(walk(iterator), characters);
        EXPECT_TRUE(iterator.getNext() == &out && out.isEmpty() && !iterator.hasMore());
    }
}

TEST(ZStringIterator, YieldsWholeCharacters) {
    std::vector<std::string> const characters{"a", "\xC3\xA9", "\xE6\x97\xA5", "\xF0\x9F\x98\x80"};
    ZUTF8String_5_1 text, out;
    for (std::string const& character : characters) text += character.c_str();
    ZUTF8ConstString_5_1 const view(text);
    ZStringIterator_5_1 owned(text, out), viewed(view, out);
    expectWalks(owned, out, characters), expectWalks(viewed, out, characters);
    text = "\xC3";
    EXPECT_EQ(ztest::thrownAt<ZTISMBLenException_5_1>([&] { owned.getNext(); }).find(':'),
              sizeof "src/Z/ZStringIterator" - 1);
}

// The same bytes are one character each, or one together, as the locale has it.
TEST(ZStringIterator, LocalTextFollowsTheLocale) {
    ZLCString_5_1 text(ZUTF8String_5_1("a\xE6\x97\xA5"));
    std::vector<std::string> characters{"a", text.getChars() + 1};
    if (MB_CUR_MAX == 1) text = "a\xE6\x97\xA5", characters = {"a", "\xE6", "\x97", "\xA5"};
    ZLCConstString_5_1 const view(text);
    ZLCString_5_1 out;
    ZStringIterator_5_1 owned(text, out), viewed(view, out);
    expectWalks(owned, out, characters), expectWalks(viewed, out, characters);
    text.append("\0b", 2), walk(owned);
    EXPECT_EQ(owned.getNext()->getLength(), MB_CUR_MAX == 1 ? 1u : 0u);
    EXPECT_STREQ(*owned.getNext(), MB_CUR_MAX == 1 ? "b" : "");
}

TEST(ZStringIterator, CopiesShareAndGoOn) {
    ZUTF8String_5_1 text("abc"), out;
    ZStringIterator_5_1 iterator(text, out);
    iterator.getNext();
    ZStringIterator_5_1 copy(iterator);
    std::unique_ptr<ZObject_5_1> const clone(iterator.clone());
    EXPECT_EQ(walk(copy), (std::vector<std::string>{"b", "c"}));
    EXPECT_EQ(walk(dynamic_cast<ZStringIterator_5_1&>(*clone)).size(), 2u);
    EXPECT_TRUE(iterator.getNext() == &out && out == "b");
    EXPECT_EQ(iterator.findNext(ZUTF8String_5_1("c")), &out);
    EXPECT_EQ(iterator.findNext(ZUTF8String_5_1("c")), nullptr);
}

TEST(ZStringIterator, DrivesReplacements) {
    ZUTF8String_5_1 text("a\xC3\xA9z\xC3\xA9"), same(text), out;
    ZUTF8ConstString_5_1 const set("\xC3\xA9z");
    ZStringIterator_5_1 members(set, out), own(same, out);
    members.getNext();
    EXPECT_STREQ(text.replaceAllOf(members, "<z>"), "a<z><z><z>");
    EXPECT_STREQ(same.replaceNoneOf(own, "\xC3\xA9", "."), ".\xC3\xA9.\xC3\xA9");
    ZUTF8String_5_1 invalid("\xC3");
    ZStringIterator_5_1 stray(invalid, out);
    EXPECT_STREQ(invalid.replaceNoneOf(stray, nullptr, "."), "\xC3");
}

}  // namespace
