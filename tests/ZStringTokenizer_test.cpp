// ZStringTokenizer_test: tokens against a plain loop over random texts, capacity, invalid text.
// Subsystem: strings, layer 3. Test: tests/ZStringTokenizer_test.cpp
#include <Z/ZList.h>
#include <Z/ZStringTokenizer.h>
#include <Z/ZUTF8String.h>
#include <Z/ztisutil.h>
#include <Z/zutf8.h>

#include "Strings.h"
#include "ZTest.h"

namespace {

using U = ZUTF8String_5_1;

// The tokens, each ended by a bar, as a loop over the characters finds them.
std::string model(ZAbstractString_5_1 const& text, char const* delimiters) {
    std::string found;
    bool open = false;
    for (char const* p = text; *p != '\0';) {
        std::string const c(p, static_cast<std::size_t>(zmblen_5_1(text.getCodesetHandle(), p, 4)));
        bool const in = !std::strstr(delimiters, c.c_str());
        found += in ? c : open ? "|" : "";
        open = in, p += c.size();
    }
    return open ? found + "|" : found;
}

template <class S>
S some(int most) {
    S text;
    for (int n = std::rand() % most; n > 0; --n) {
        char const* const each[] = {"a", " ", "\\", "\xC3\xA9", "\xE8\xA1\x93", "\xE8\xA1\xA8"};
        text += S(U(each[std::rand() % 6]));
    }
    return text;
}

template <class S>
void compareWithModel() {
    for (int round = 0; round < 5000; ++round) {
        S const text(some<S>(round % 50 ? 30 : 900)), own(some<S>(5)), given(some<S>(5));
        S out;
        ZStringTokenizer_5_1 tokenizer(text, out, own);
        std::string found, stepped;
        while (tokenizer.hasMore(given)) found += ztest::bytes(*tokenizer.getNext(given)) + "|";
        EXPECT_EQ(found, model(text, given));
        for (tokenizer.reset(); !tokenizer.getNext()->isEmpty();)
            stepped += ztest::bytes(out) + "|";
        ASSERT_EQ(stepped, model(text, own)) << text << " by " << own;
    }
}

TEST(ZStringTokenizer, AgreesWithModel) {
    compareWithModel<ZLCString_5_1>();
    compareWithModel<U>();
}

TEST(ZStringTokenizer, PlainLengths) {
    for (unsigned pair = 0x8000; pair < 0x10000; ++pair) {
        for (char third : {'\0', '\x7F', '\x80', '\xBF', '\xC0'}) {
            char const text[] = {static_cast<char>(pair >> 8), static_cast<char>(pair), third, 0};
            int const plain = z_5_1::plainUTF8Length(text);
            ASSERT_TRUE(!plain || plain == zmblen_5_1(zgetUTF8Handle_5_1(), text, 3)) << pair;
        }
    }
}

TEST(ZStringTokenizer, SkipsAndLists) {
    ZUTF8ConstString_5_1 const text("  \xC3\xA9z \t\rb\n");
    U out;
    ZStringTokenizer_5_1 usual(text, out), blanks(text, out, ZLCConstString_5_1(" "));
    EXPECT_TRUE(usual.skipAll(U(" ")) == 2 && usual.skipOther(U("b")) == 8);
    EXPECT_EQ(usual.getNext(), &out);
    std::unique_ptr<ZObject_5_1> const clone(usual.clone());
    ZArrayList_5_1 plain, rest(1, 1);
    blanks.list(plain), dynamic_cast<ZStringTokenizer_5_1&>(*clone).list(rest);
    EXPECT_TRUE(rest.size() == 1 && *rest.get(0) == U("b") && plain.size() == 2);
    std::unique_ptr<ZObject_5_1> const first(plain.get(0)), second(plain.get(1));
    EXPECT_TRUE(*first == U("\xC3\xA9z") && *second == U("\t\rb\n"));
}

// The output is as large as if it had held the rest, once; a NUL ends the text.
TEST(ZStringTokenizer, Capacity) {
    std::string words = "a ";
    while (words.size() < 5000) words += words;
    U text(words.c_str()), out, whole;
    whole = words.c_str(), text.append("\0b", 2);
    ZStringTokenizer_5_1 tokenizer(text, out);
    while (tokenizer.hasMore()) EXPECT_STREQ(*tokenizer.getNext(), "a");
    EXPECT_EQ(out.getCapacity(), whole.getCapacity());
}

TEST(ZStringTokenizer, Failures) {
    U text("a b\xC3"), out;
    EXPECT_THROW(ZStringTokenizer_5_1(ZLCString_5_1(), out), ZUnsupportedException_5_1);
    ZStringTokenizer_5_1 tokenizer(text, out);
    EXPECT_STREQ(*tokenizer.getNext(), "a");
    EXPECT_EQ(ztest::thrownAt<ZTISMBLenException_5_1>([&] { tokenizer.getNext(); }).find(':'), 22u);
    EXPECT_STREQ(out, "b\xC3");  // the rest
    EXPECT_THROW(tokenizer.skipOther(U()), ZTISMBLenException_5_1);
}

}  // namespace
