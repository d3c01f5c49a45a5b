// A stranger's program that compares strings of all kinds: it prints the same under every standard.
#include <Z/Z.h>

#include <cstdio>
#include <cstdlib>

struct Name : ZLCString_5_1 {  // a class of the stranger's own
    Name(char const* text) : ZLCString_5_1(text) {}
};

template <class A, class B>
void print(char const* what, A const& a, B const& b) {
    std::printf("%s %d%d", what, a == b ? 1 : 0, a != b ? 1 : 0);
}

template <class A, class B>
void compare(char const* what, A const& a, B const& b) {
    print(what, a, b);
    std::printf(" %d%d%d%d\n", a < b ? 1 : 0, a <= b ? 1 : 0, a > b ? 1 : 0, a >= b ? 1 : 0);
}

int main() {
    setenv("TISDIR", "/", 0);
    // The last one holds a NUL: what compares characters sees "a", what compares strings all of it.
    ZLCString_5_1 const locals[] = {"a", "b", ZLCString_5_1("a\0b", 3)};
    for (ZLCString_5_1 const& local : locals) {
        for (char const* text : {"a", "b"}) {
            ZLCString_5_1 const other(text);
            ZLCConstString_5_1 const view(text);
            ZUTF8String_5_1 const utf8(text);
            ZUTF8ConstString_5_1 const utf8View(text);
            ZAbstractMutableString_5_1 const& owned = other;
            ZAbstractConstString_5_1 const& anyView = view;
            ZAbstractString_5_1 const& any = other;
            ZObject_5_1 const& object = other;
            compare("local local", local, other);
            compare("local view", local, view);
            compare("view local", view, local);
            compare("local name", local, Name(text));
            compare("name view", Name(text), view);
            compare("view name", view, Name(text));
            compare("local any", local, any);
            compare("any local", any, local);
            compare("local owned", local, owned);
            compare("owned local", owned, local);
            compare("owned view", owned, view);
            compare("local any view", local, anyView);
            compare("any view local", anyView, local);
            compare("object local", object, local);
            print("view utf8", view, utf8);
            print(" utf8 view local", utf8View, local);
            print(" utf8 any", utf8, any);
            print(" owned utf8", owned, utf8);
            print(" local text", local, text);
            print(" any view text", anyView, text);
            std::printf(" null %d%d\n", local == nullptr ? 1 : 0, local != nullptr ? 1 : 0);
#if __cplusplus > 201703L
            if ((text == local) != (local == text) || (text != view) != (view != text)) return 1;
#endif
        }
    }
    ZSequenceUpdate_5_1 const one(1, 1), two(2, 1);
    print("updates", one, two);
    print("", one, ZSequenceUpdate_5_1(1, 1));
    std::printf("\n");
    return 0;
}
