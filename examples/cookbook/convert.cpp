#include <Z/ZLCString.h>
#include <Z/ZUTF8String.h>
#include <Z/ztisutil.h>

#include <cstdio>
#include <initializer_list>

// Bytes of the local codeset as UTF-8; false for what is no text there.
static bool toUTF8(ZLCString_5_1 const& local, ZUTF8String_5_1& utf8) {
    utf8 = local;
    return utf8.isEmpty() == local.isEmpty();  // what cannot be converted arrives empty
}

int main() {
    std::printf("the codeset here is %s\n", zgetLocalCodesetName_5_1());
    for (char const* bytes : {"plain", "gr\xc3\xbc\xc3\x9f", "broken \xff"}) {
        ZUTF8String_5_1 utf8;
        if (toUTF8(bytes, utf8)) {
            std::printf("%s: %u bytes\n", utf8.getChars(), utf8.getLength());
        } else {
            std::printf("no text of this codeset\n");
        }
    }
}
