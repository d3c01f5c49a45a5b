// ZStanzaFileProperties_test: the text of stanza files, and what the class adds to the engine.
// Subsystem: properties, layer 6. Test: tests/ZStanzaFileProperties_test.cpp
#include <Z/ZException.h>
#include <Z/ZStanzaFileProperties.h>

#include "FailingAllocations.h"
#include "ZTest.h"

namespace {

using Properties = ZStanzaFileProperties_5_1;
using Refused = ZInvalidParameterException_5_1;

struct ZStanzaFileProperties : testing::Test {
    // What a file of this text is after load and store.
    std::string stored(std::string const& text, int keepLayout) {
        Properties p(ztest::write(file, text), keepLayout);
        p.store(nullptr);
        return ztest::read(file);
    }
    std::string values(Properties const& p, char const* key) {
        ZArrayList_5_1 all(1, 1);
        p.getValues("s", key, all, ZPropLCString);
        std::string result;
        for (unsigned int i = 0; i < all.size(); ++i) {
            result += static_cast<ZLCString_5_1*>(all.get(i))->getChars();
        }
        return result;
    }

    ztest::Folder folder;
    std::string const file = folder / "f";
};

}  // namespace

#ifdef Z_MEMORY_CAN_FAIL
// The first test: what is made once in a process must not be there yet.
TEST_F(ZStanzaFileProperties, CanBeHadAfterAFirstUseWithoutMemory) {
    ztest::write(file, "[s]\n");
    EXPECT_EQ(ztest::inProcess([this] {
                  ZLCString_5_1 const startsTheTextServices;
                  auto const use = [this] {
                      Properties::getPropertiesFor(file.c_str(), Properties::getFactory(), 0);
                  };
                  return ztest::failEach(use, [] {}) > 0 ? 0 : 1;
              }),
              0);
}
#endif

TEST_F(ZStanzaFileProperties, TextIsReadAndWrittenBack) {
    std::string const x8188(8188, 'x');
    std::pair<std::string, std::string> const cases[] = {
        {"", ""},
        {"[s]", "[s]\n"},
        {"# c\n\n[s]\na=1\n", "# c\n\n[s]\na = 1\n"},
        {"[s]\n a=1\nb = 1\n\tc   =   1 \t\r\nd=a=b\ne=\nf =  ",
         "[s]\na = 1\nb = 1\nc = 1\nd = a=b\ne =\nf =\n"},
        {"  # c  \n [ s ] tail ]\nk k = v v\n[]\n", "# c\n[ s ]\nk k = v v\n[]\n"},
        {"[s]\na=1\n#x\na=2\n", "[s]\na = 1\na = 2\n#x\n"},
        {std::string("[s]\na=1\0b\nc=\0\n", 14), "[s]\na = 1\nc =\n"},
        // 8191 bytes are a line; what follows is another one.
        {"[s]\na=" + x8188 + "\n", "[s]\na = " + x8188 + "\n"},
        {"[s]\na=" + x8188 + "yb=2\n", "[s]\na = " + x8188 + "y\nb = 2\n"},
    };
    for (auto const& [text, after] : cases) EXPECT_EQ(stored(text, 1), after);
    std::string const tooLong = "[s]\na=1\n#" + x8188 + "yyy";
    EXPECT_THROW(stored(tooLong, 1), ZPropertiesInvalidDataException_5_1);
    EXPECT_EQ(ztest::read(file), tooLong);
    EXPECT_EQ(stored(" # c\n\n[ s ] tail\na=1\n#x\nb=\na = 2\n\n[t]", 0),
              "[ s ]\na = 1\na = 2\nb =\n[t]\n");
}

TEST_F(ZStanzaFileProperties, InvalidDataIsNamed) {
    struct {
        char const *text, *data;
        int line;
    } const cases[] = {
        {"a=1\n", "a=1", 1},         {"# c\n\n  a = 1  \n[s]\n", "a = 1", 3},
        {"[s]\n =1\n", "=1", 2},     {"[s]\nno sign \n", "no sign", 2},
        {"[s]\na=1\n[t\n", "[t", 3}, {"[s]\na=1\n\n [s] tail \n", "[s] tail", 4},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.text);
        auto const load = [&] { Properties p(ztest::write(file, c.text), 1); };
        auto const e = ztest::caught<ZPropertiesInvalidDataException_5_1>(load);
        EXPECT_STREQ(e.baddata(), c.data);
        EXPECT_TRUE(e.badline() == c.line && e.propFile() == file);
        EXPECT_STREQ(e.who(), "src/Z/ZStanzaFileProperties");
    }
    // What was read before stays; what cannot be told apart later is refused while it is new.
    Properties p(1);
    EXPECT_THROW(p.load(file.c_str()), ZPropertiesInvalidDataException_5_1);
    EXPECT_EQ(values(p, "a"), "1");
}

TEST_F(ZStanzaFileProperties, WhatAFileCannotHoldIsRefused) {
    Properties p(1);
    p.setValue("s", "k", "v");
    p.resetModified();
    for (char const* key : {"", "a=b", " a", "a\t", "#a", "[a", "a\nb"}) {
        EXPECT_THROW(p.setValue("s", key, "v"), Refused) << key;
        EXPECT_THROW(p.addValue("s", key, "v", 0), Refused) << key;
        EXPECT_THROW(p.addEntryComment("s", key, "c"), Refused) << key;
        EXPECT_THROW(p.setIntegerValue("s", key, 1), Refused) << key;
    }
    for (char const* stanza : {"", "a]", "a\nb"}) {
        EXPECT_THROW(p.addStanza(stanza), Refused) << stanza;
        EXPECT_THROW(p.addStanzaComment(stanza, "c"), Refused) << stanza;
        EXPECT_THROW(p.setBooleanValue(stanza, "k", 1), Refused) << stanza;
    }
    EXPECT_THROW(p.setValue("s", "k", "a\nb"), Refused);
    EXPECT_THROW(p.addValue("s", "k", "a\nb", 0), Refused);
    EXPECT_THROW(p.addFileComment("a\nb"), Refused);
    EXPECT_THROW(p.addValue("s", "k", static_cast<char const*>(nullptr), 0), Refused);
    {
        ZStanzaValueIterator_5_1 i(p, "s", "k", ZPropLCString, ZStanzaValueIterator_5_1::ANY);
        i.nextValue();
        EXPECT_THROW(i.changeValue("a\nb"), Refused);
        EXPECT_THROW(i.addValue("a\nb"), Refused);
    }
    EXPECT_TRUE(!p.isModified() && p.count() == 1 && p.count("s") == 1);
    p.setValue("s", "secret", "a\nb", 1);
    EXPECT_EQ(values(p, "secret"), "a\nb");
    EXPECT_THROW(p.addValue("s", "secret", "plain", 0), Refused);
}

TEST_F(ZStanzaFileProperties, AddedValuesAreSearchedFromWhereTheSearchStopped) {
    struct {
        char const *present, *added, *after;
    } const cases[] = {{"", "aba", "ab"},      {"ab", "ba", "aba"}, {"ab", "ab", "ab"},
                       {"ab", "cab", "abcab"}, {"a", "A", "aA"},    {"b", "ab", "bab"}};
    for (auto const& c : cases) {
        Properties p(1);
        ZArrayList_5_1 list(1, 1);
        for (char const* v = c.present; *v; ++v) p.addValue("s", "k", ZLCString_5_1(*v), 0);
        for (char const* v = c.added; *v; ++v) list.addNoCopy(new ZUTF8String_5_1(*v));
        p.addValues("s", "k", list, 0);
        EXPECT_EQ(values(p, "k"), c.after);
        list.removeAll();
        EXPECT_THROW(p.addValues("s", "k", list, 0), Refused);
        for (char const* text : {"a", "b\nc"}) list.addNoCopy(new ZLCString_5_1(text));
        EXPECT_THROW(p.addValues("s", "new", list, 0), Refused);
        EXPECT_FALSE(p.exists("s", "new"));
    }
}

TEST_F(ZStanzaFileProperties, BatchesAndPairs) {
    Properties p(ztest::write(file, "[s]\nn=0x10\nb=yes\nt=t\xC3\xA9\nl=1\nl=2\ne=\nbad=x\n"), 1);
    int truth = 0;
    unsigned int number = 0, fallback = 0;
    ZUTF8String_5_1 text, missing;
    ZArrayList_5_1 local(1, 1), utf8(1, 1);
    ZPropertiesKVList_5_1 pairs(ZPropUTF8String);
    ZStzFileItem_5_1 items[] = {{1, "s", "b", 1, &truth, 0},
                                {2, "s", "n", 1, &number, 0},
                                {2, "s", "absent", 0, &fallback, 7u},
                                {3, "s", "t", 1, &text, static_cast<char const*>(nullptr)},
                                {3, "s", "absent", 0, &missing, "none"},
                                {4, "s", "l", 0, &local, 0},
                                {5, "s", "t", 0, &utf8, 0},
                                {6, "s", nullptr, 0, &pairs, 0},
                                {9, "s", "n", 0, &number, 0}};
    EXPECT_THROW(p.getItems(items, 9), Refused);  // the last one
    EXPECT_TRUE(truth == 1 && number == 16 && fallback == 7);
    EXPECT_STREQ(text.getChars(), "t\xC3\xA9");
    EXPECT_STREQ(missing.getChars(), "none");
    EXPECT_TRUE(local.size() == 2 && utf8.get(0)->compare(text) == 0);
    ASSERT_EQ(pairs.getItemCount(), 6);
    EXPECT_STREQ(pairs.getItemKey(2)->getChars(), "t");
    EXPECT_EQ(pairs.getItemValue(2)->compare(text), 0);
    EXPECT_STREQ(pairs.getItemValue(4)->getChars(), "");
    EXPECT_TRUE(pairs.getItemKey(6) == nullptr && pairs.getItemValue(-1) == nullptr);
    ZPropertiesKVList_5_1 copy(ZPropLCString);
    copy = pairs;
    EXPECT_STREQ(copy.getItemValue(3)->getChars(), "1");
    items[0].type = 2, items[0].key = "bad";
    EXPECT_THROW(p.getItems(items, 1), ZPropertiesInvalidValueException_5_1);
    EXPECT_THROW(p.getItems(nullptr, 1), Refused);
    EXPECT_THROW(p.getItems(items, 0), Refused);
}

TEST_F(ZStanzaFileProperties, CommentsGetTheirSign) {
    Properties p(1);
    p.addFileComment("top");
    p.addFileComment(nullptr);
    p.addStanzaComment("s", "#stanza");
    p.addEntryComment("s", "k", "entry");
    p.store(file.c_str());
    EXPECT_EQ(ztest::read(file), "#top\n#\n\n\n[s]\n\n#entry\nk =\n#stanza\n");
}
