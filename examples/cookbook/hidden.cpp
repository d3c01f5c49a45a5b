#include <Z/ZStanzaFileProperties.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

int main(int, char** argv) {
    ZStanzaFileProperties_5_1 conf(argv[1], 1);
    conf.setValue("server", "password", "xyzzy", 1);  // 1: obfuscated, in FILE.obf
    conf.store(nullptr);

    std::ifstream file(argv[1]);
    std::string const text{std::istreambuf_iterator<char>(file), {}};
    std::printf("in the file: %s\n", text.find("xyzzy") == std::string::npos ? "no" : "yes");

    ZStanzaFileProperties_5_1 const later(argv[1], 1);
    ZLCString_5_1 password;
    later.getValue("server", "password", password, 1, nullptr);
    std::printf("read back: %s, obfuscated %d\n", password.getChars(),
                later.isObfuscated("server", "password"));
}
