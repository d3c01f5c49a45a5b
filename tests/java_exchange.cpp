// java_exchange: Z's side of java_exchange.sh. jdk.properties in FOLDER, stored by the JDK, must
// hold the pairs of jdk.pairs and no others; the pairs of z.pairs are stored as z.properties.
#include <Z/ZJavaProperties.h>

#include <fstream>
#include <iostream>
#include <string>

static std::string text(std::string const& hex) {
    std::string bytes;
    for (size_t i = 0; i < hex.size(); i += 2)
        bytes += char(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

int main(int, char** argv) {
    std::string const folder = argv[1] + std::string("/");
    ZJavaProperties_5_1 jdk, z;
    int wrong = jdk.load((folder + "jdk.properties").c_str()) != 1;
    ZUTF8String_5_1 found;
    int pairs = 0;
    for (char const* name : {"jdk.pairs", "z.pairs"}) {
        std::ifstream list(folder + name);
        for (std::string line; std::getline(list, line); ++pairs) {
            size_t const blank = line.find(' ');
            ZUTF8String_5_1 const key(text(line.substr(0, blank)).c_str());
            std::string const value = text(line.substr(blank + 1));
            if (*name == 'z') {
                z.setValue(key, ZUTF8String_5_1(value.c_str()));
            } else if (jdk.getValue(key, found), value != found.getChars()) {
                std::cout << key.getChars() << ": " << found.getChars() << "\nnot " << value
                          << '\n';
                wrong = 1;
            }
        }
    }
    // One line each and the first: nothing else was in the JDK's file.
    wrong |= jdk.store((folder + "again").c_str()) | z.store((folder + "z.properties").c_str());
    std::ifstream again(folder + "again");
    int lines = 0;
    for (std::string line; std::getline(again, line);) ++lines;
    return wrong != 0 || pairs != 6000 || lines != 3001;
}
