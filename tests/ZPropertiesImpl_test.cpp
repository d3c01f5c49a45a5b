// ZPropertiesImpl_test: where lines go, in which order names are listed, what lists show.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesImpl_test.cpp
#include <Z/ZException.h>
#include <Z/ZSCFData.h>

#include "FailingAllocations.h"
#include "ZTest.h"

namespace {

// A store that has read a text, whose layout it keeps.
struct Store : ZSCFData_5_1 {
    Store() = default;
    explicit Store(std::string text) {
        setAttributes(keepLayout, nullptr);
        std::FILE* in = fmemopen(text.data(), text.size(), "r");
        be_read("f", in);
        std::fclose(in);
    }
};

std::string textOf(Store& store) {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* out = open_memstream(&text, &size);
    store.be_write("f", out);
    std::fclose(out);
    std::string const result(text, size);
    std::free(text);
    return result;
}

std::string joined(ZArrayList_5_1 const* list) {
    std::string result;
    for (unsigned int i = 0; list && i < list->size(); ++i) {
        result += (i ? " " : "") +
                  std::string(static_cast<ZAbstractString_5_1*>(list->get(i))->getChars());
    }
    return result;
}

std::string keysOf(Store const& store, char const* stanza) {
    ZArrayList_5_1 names(1, 1);
    store.getNames(stanza, names);
    EXPECT_EQ(joined(&names), joined(store.getNames(stanza)));
    return joined(&names);
}

// Steps such as "add port 2; delete a": what is done, a name, and a text.
void change(Store& store, std::string const& steps) {
    std::istringstream in(steps);
    for (std::string step, what, name, text; std::getline(in, step, ';'); text.clear()) {
        std::istringstream words(step);
        std::getline(words >> what >> name >> std::ws, text);
        char const *key = name.c_str(), *value = text.empty() ? nullptr : text.c_str();
        if (what == "add") store.addLine("s", key, value, 0);
        if (what == "addToT") store.addLine("t", key, value, 0);
        if (what == "addHidden") store.addLine("s", key, value, 1);
        if (what == "load") store.add(key, "a", value, 1);  // from the database
        if (what == "set") store.set("s", key, value);
        if (what == "delete") store.delLine("s", key);
        if (what == "deleteStanza") store.delStanzaLine(key);
        if (what == "comment") store.addLineComment("s", key, value);
        if (what == "commentStanza") store.addStanzaComment(key, value);
        if (what == "commentFile") store.addFileComment(key);
    }
}

#ifdef Z_MEMORY_CAN_FAIL
TEST(Comments, ComeWithTheirBlankLineOrNotAtAll) {
    std::string const before = "[s]\nkey = a\n[t]\n", comment(99, '#');
    std::function<void(Store&)> const changes[] = {
        [&](Store& s) { s.addFileComment(comment.c_str()); },
        [&](Store& s) { s.addStanzaComment("s", comment.c_str()); },
        [&](Store& s) { s.addLineComment("s", "key", comment.c_str()); }};
    for (auto const& change : changes) {
        Store store(before);
        EXPECT_GT(
            ztest::failEach([&] { change(store); }, [&] { EXPECT_EQ(textOf(store), before); }), 0);
        EXPECT_EQ(textOf(store).size(), before.size() + 101);
    }
}
#endif

}  // namespace

TEST(ZPropertiesImpl, ChangesPutLinesWhereTheyBelong) {
    struct {
        char const *what, *before, *steps, *after;
    } const changes[] = {
        {"a new key goes behind the last key", "[s]\na = 1\n# c\n\n[t]\n", "add b 2",
         "[s]\na = 1\nb = 2\n# c\n\n[t]\n"},
        {"or under the head", "[s]\n# c\n\n[t]\n", "add b 2", "[s]\nb = 2\n# c\n\n[t]\n"},
        {"or below the paragraph that shows it commented out",
         "[s]\na = 1\n# po rt= 1\n# more\n\nz = 1\n", "add port 2; add y 3",
         "[s]\na = 1\n# po rt= 1\n# more\nport = 2\n\nz = 1\ny = 3\n"},
        {"each key below its own example, whatever the order",
         "[s]\n# a=\n\n# b=\n\n# c=\n\n# end\n", "add b 1; add c 1; add a 1; add d 1",
         "[s]\n# a=\na = 1\n\n# b=\nb = 1\n\n# c=\nc = 1\nd = 1\n\n# end\n"},
        {"no blank line below the example", "[s]\n#port=1\na = 1\n", "add port 2",
         "[s]\n#port=1\na = 1\nport = 2\n"},
        {"a longer name is another name", "[s]\n#port2=1\n\na = 1\n", "add port 2",
         "[s]\n#port2=1\n\na = 1\nport = 2\n"},
        {"an example behind the last key makes the new key the last",
         "[s]\na = 1\n#b = 2\n\n# end\n", "add b 2; add c 3",
         "[s]\na = 1\n#b = 2\nb = 2\nc = 3\n\n# end\n"},
        {"an example that was added counts", "[s]\na = 1\n\nz = 1\n",
         "add x 1; delete x; comment a # b = 2; add b 2",
         "[s]\n\n# b = 2\na = 1\nb = 2\n\nz = 1\n"},
        {"a new stanza goes to the end behind a blank line", "[s]\na = 1\n", "addToT b 2",
         "[s]\na = 1\n\n[t]\nb = 2\n"},
        {"a deleted key that comes back goes to the end", "[s]\na = 1\nb = 2\nc = 3\n# end\n",
         "delete c; delete a; add a 9", "[s]\nb = 2\na = 9\n# end\n"},
        {"values of a repeated key stand together", "[s]\na=1\nb=2\na = 3\n", "",
         "[s]\na = 1\na = 3\nb = 2\n"},
        {"one value replaces them", "[s]\na=1\na=2\n", "set a 3", "[s]\na = 3\n"},
        {"no value leaves the key", "[s]\na=1\n", "add a", "[s]\na =\n"},
        {"obfuscated values are not written", "[s]\na=1\nb=2\n", "addHidden a x", "[s]\nb = 2\n"},
        {"a key that came from the database gets its line with its plain value", "[s]\nb=2\n",
         "load s x; add a 1", "[s]\nb = 2\na = 1\n"},
        {"a stanza that came from the database gets its head", "[s]\n", "load t x; addToT a 1",
         "[s]\n\n[t]\na = 1\n"},
        {"and stays without lines until then", "", "load t x; add k v; addToT a 1",
         "\n[s]\nk = v\n\n[t]\na = 1\n"},
        {"a deleted stanza takes its comments with it", "# top\n\n[s]\na=1\n# c\n\n[t]\nb=2\n",
         "deleteStanza s", "# top\n\n[t]\nb = 2\n"},
        {"file comments end the first paragraph", "# one\n\n# two\n\n[s]\n",
         "commentFile #a; commentFile #b", "# one\n#a\n#b\n\n# two\n\n[s]\n"},
        {"or begin the file", "[s]\n", "commentFile #a", "#a\n\n[s]\n"},
        {"stanza comments go behind those under the head", "[s]\n# one\na=1\n",
         "commentStanza s # two", "[s]\n# one\n# two\n\na = 1\n"},
        {"with a blank line before the next head", "[s]\n[t]\n",
         "commentStanza s # a; commentStanza t # b; commentStanza u # c",
         "[s]\n# a\n\n[t]\n# b\n\n[u]\n# c\n"},
        {"entry comments stand above their key", "[s]\na=1\nb=2\n\n# x\nc=3\n",
         "comment a # n; comment b # n; comment c # n; comment d # n",
         "[s]\n\n# n\na = 1\n\n# n\nb = 2\n\n# x\n# n\nc = 3\n\n# n\nd =\n"}};
    for (auto const& c : changes) {
        SCOPED_TRACE(c.what);
        Store store(c.before), again(c.after);
        change(store, c.steps);
        EXPECT_EQ(textOf(store), c.after);
        EXPECT_EQ(textOf(again), c.after);
    }
}

TEST(ZPropertiesImpl, KeysAreListedAsTheyCame) {
    Store store("[s]\n#b=1\n\na=1\nc=1\n");
    ZArrayList_5_1* live = store.getNames("s");
    store.addLine("s", "b", "1", 0);  // stands above the others in the file
    store.add("s", "d", "x", 1);      // has no line
    EXPECT_EQ(keysOf(store, "s"), "a c b d");
    store.delLine("s", "c");
    EXPECT_EQ(keysOf(store, "s"), "a b d");
    EXPECT_EQ(store.getNames("s"), live);
    for (char const* key : {"d", "a", "b"}) store.delLine("s", key);
    EXPECT_EQ(keysOf(store, "s"), "");
    EXPECT_EQ(store.getNames("t"), nullptr);
}

TEST(ZPropertiesImpl, StanzasAreListedInMapOrder) {
    Store store;
    for (char const* name : {"alpha", "beta", "gamma", "delta", "server", "client", "ssl",
                             "logging", "a", "b", "c", "configuration-database"}) {
        store.addStanzaLine(name);
    }
    ZArrayList_5_1 names(1, 1);
    store.getNames(names);
    EXPECT_EQ(joined(&names),
              "delta beta logging a c b gamma ssl server client configuration-database alpha");
}

TEST(ZPropertiesImpl, ListsAreTheTruthOnceMade) {
    Store store("[s]\na = 1\n");
    ZArrayList_5_1* values = store.get("s", "a", Store::plain);
    ZLCString_5_1 const two("2");
    values->add(&two);
    EXPECT_STREQ(store.firstValue("s", "a").chars, "1");
    EXPECT_EQ(textOf(store), "[s]\na = 1\na = 2\n");
    store.set("s", "a", static_cast<ZLCString_5_1*>(values->get(1))->getChars());
    EXPECT_EQ(joined(values), "2");
    store.setObfuscated("s", "a", "x");
    EXPECT_TRUE(values->size() == 0 && store.isObfuscated("s", "a") && store.hasObfuscatedItems());
    EXPECT_EQ(joined(store.get("s", "a", Store::either)), "x");
    store.set("s", "a", "1");
    EXPECT_FALSE(store.isObfuscated("s", "a") || store.hasObfuscatedItems());
    store.setObfuscated("s", "a", "x");
    store.delStanzaLine("s");
    EXPECT_FALSE(store.hasObfuscatedItems());
}

TEST(ZPropertiesImpl, OneNameFormsSplitAtTheFirstDot) {
    Store store;
    store.addLine("x.y", "k", "1", 0);
    EXPECT_EQ(store.countValues("x.y"), 0);
    store.addLine("x.y", "2", 0);
    EXPECT_STREQ(store.firstValue("x.y", ".y").chars, "2");
    EXPECT_EQ(store.countValues("x.y"), 1);
    store.addLineComment("x.y", "# c");
    store.delLine("x.y");
    EXPECT_EQ(textOf(store), "\n[x.y]\nk = 1\n\n# c\n");
    store.setObfuscated("x.h", "2");
    store.add("x.h", "3", 1);
    EXPECT_TRUE(store.isObfuscated("x.h") && store.countValues("x.h") == 2);
    store.set("x.h", "4");
    EXPECT_TRUE(!store.isObfuscated("x.h") && store.countValues("x.h") == 1);
    store.remove("x.h");
    EXPECT_EQ(store.countValues("x.h"), 0);
    ZArrayList_5_1 records(10, 0);
    store.lines(records);
    EXPECT_EQ(records.size(), 5u);
    EXPECT_THROW(store.get("x", Store::either), ZInvalidParameterException_5_1);
    EXPECT_THROW(store.get(nullptr, Store::either), ZInvalidParameterException_5_1);
}

// Many keys in one stanza, in and out, against what must be left.
TEST(ZPropertiesImpl, IndexHoldsUnderManyChanges) {
    Store store;
    std::string expected = "\n[s]\n";
    auto key = [](int i) { return "key" + std::to_string(i * 7919 % 5003); };
    for (int i = 0; i < 5000; ++i) store.addLine("s", key(i).c_str(), "v", 0);
    for (int i = 0; i < 5000; ++i) {
        if (i % 3) {
            store.delLine("s", key(i).c_str());
        } else {
            store.addLine("s", key(i).c_str(), "longer value", 0);
            expected += key(i) + " = longer value\n";
        }
    }
    EXPECT_TRUE(store.keyCount("s") == 1667 && !store.contains("s", key(1).c_str()));
    EXPECT_EQ(textOf(store), expected);
}

TEST(ZPropertiesImpl, StanzaIsAKeyMapByItself) {
    Store store("[s]\na=1\nb=2\nb=3\n");
    auto& stanza = static_cast<ZPKVList_5_1&>(*store.createAndGet("s", nullptr));
    ZPKVList_5_1 copy(stanza);
    ZLCString_5_1 const a("a"), b("b"), c("c");
    copy.putEntry(&c, stanza.getEntry(&b));
    copy.putEntry(&a, stanza.getEntry(&b));
    EXPECT_EQ(joined(copy.getKeys()), "a b c");
    auto& pair = static_cast<ZArrayList_5_1&>(*copy.getEntry(&a));
    EXPECT_EQ(joined(static_cast<ZArrayList_5_1*>(pair.get(0))), "2 3");
    copy.removeEntry(&b);
    EXPECT_TRUE(!copy.contains(&b) && stanza.size() == 2);
    ZArrayList_5_1 keys(1, 0), pairs(1, 0);
    copy.putAll(stanza);
    copy.listKeys(keys);
    copy.listObjects(pairs);
    EXPECT_EQ(joined(&keys) + std::to_string(pairs.size()), "a c b3");
    copy.removeEntry(&b);
    std::unique_ptr<ZObject_5_1> clone(copy.clone());
    copy.removeAll();
    EXPECT_TRUE(copy.isEmpty());
    EXPECT_EQ(joined(static_cast<ZPKVList_5_1&>(*clone).getKeys()), "a c");
    ZPropLine_5_1 const comment(1, "b"), head(4, "a"), same(4, "a");
    ZObfuscatedItem_5_1 const first("s", "k"), second("s", "l");
    EXPECT_TRUE(comment.compare(head) < 0 && head.equals(same) && first.compare(second) < 0);
}
