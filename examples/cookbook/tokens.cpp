#include <Z/ZLCString.h>
#include <Z/ZStringTokenizer.h>

#include <cstdio>

int main() {
    ZLCString_5_1 const text("root, wheel;  users");
    ZLCString_5_1 const delimiters(",; ");
    ZLCString_5_1 token;  // takes one token after the other
    ZStringTokenizer_5_1 tokens(text, token, delimiters);
    while (tokens.hasMore()) std::printf("[%s]\n", tokens.getNext()->getChars());
}
