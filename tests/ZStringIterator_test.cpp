// ZStringIterator_test: walks in single-byte and multibyte text, and the edits driven by one.
// Subsystem: strings, layer 3. Test: tests/ZStringIterator_test.cpp
#include <Z/ZStringIterator.h>

#include <memory>

#include "Strings.h"
#include "ZTest.h"

namespace {

// The characters, each ended by a bar.
std::string walk(ZStringIterator_5_1& iterator) {
    std::string found;
    while (iterator.hasMore()) found += ztest::bytes(*iterator.getNext()) + "|";
    return found;
}

// Twice; at the end the iterator stays where it is and yields nothing.
template <class View, class S>
void expectWalks(S const& text, std::string const& characters) {
    View const view(text);
    S out;
    for (ZStringIterator_5_1 each : {ZStringIterator_5_1(text, out), {view, out}}) {
        for (int i = 0; i < 2; ++i, each.reset()) {
            EXPECT_EQ(walk(each), characters);
            EXPECT_TRUE(each.getNext() == &out && out.isEmpty() && !each.hasMore());
        }
    }
}

// Local text follows the locale: the same bytes are one character each, or one together.
TEST(ZStringIterator, YieldsWholeCharacters) {
    ZUTF8String_5_1 const text("a\xC3\xA9\xE6\x97\xA5\xF0\x9F\x98\x80");
    expectWalks<ZUTF8ConstString_5_1>(text, "a|\xC3\xA9|\xE6\x97\xA5|\xF0\x9F\x98\x80|");
    ZLCString_5_1 local(ZUTF8String_5_1("a\xE6\x97\xA5")), out;
    if (MB_CUR_MAX == 1) local = "a\xE6\x97\xA5";
    std::string const bytes = local.getChars() + 1;
    expectWalks<ZLCConstString_5_1>(local,
                                    "a|" + (MB_CUR_MAX > 1 ? bytes + "|" : "\xE6|\x97|\xA5|"));
    local.append("\0b", 2);
    ZStringIterator_5_1 iterator(local, out);
    walk(iterator);
    EXPECT_EQ(iterator.getNext()->getLength(), MB_CUR_MAX == 1 ? 1u : 0u);
    EXPECT_STREQ(*iterator.getNext(), MB_CUR_MAX == 1 ? "b" : "");
}

struct NoCodeset : ZUTF8String_5_1 {
    using ZUTF8String_5_1::ZUTF8String_5_1;
    void* getCodesetHandle() const override { return nullptr; }
};

TEST(ZStringIterator, YieldsBytesWithoutCodeset) {
    NoCodeset const text("\xC3\xA9");
    ZUTF8String_5_1 out;
    ZStringIterator_5_1 iterator(text, out);
    EXPECT_EQ(walk(iterator), "\xC3|\xA9|");
}

TEST(ZStringIterator, CopiesShareAndGoOn) {
    ZUTF8String_5_1 text("ab\xC3"), out;
    ZStringIterator_5_1 iterator(text, out);
    iterator.getNext();
    std::unique_ptr<ZObject_5_1> const clone(iterator.clone());
    EXPECT_TRUE(iterator.findNext(ZUTF8String_5_1("b")) == &out && out == "b");
    EXPECT_EQ(ztest::thrownAt<ZTISMBLenException_5_1>([&] { iterator.getNext(); }).find(':'), 21u);
    EXPECT_STREQ(*dynamic_cast<ZStringIterator_5_1&>(*clone).getNext(), "b");
}

TEST(ZStringIterator, DrivesReplacements) {
    ZUTF8String_5_1 text("a\xC3\xA9z\xC3\xA9"), same(text), out;
    ZUTF8ConstString_5_1 const set("\xC3\xA9z");
    ZStringIterator_5_1 members(set, out), own(same, out);
    members.getNext();
    EXPECT_STREQ(text.replaceAllOf(members, "<z>"), "a<z><z><z>");
    EXPECT_STREQ(same.replaceNoneOf(own, "\xC3\xA9", "."), ".\xC3\xA9.\xC3\xA9");
    same = "\xC3";  // not even walked for a null set
    EXPECT_STREQ(same.replaceNoneOf(own, nullptr, "."), "\xC3");
}

}  // namespace
