#include <Z/ZStanzaFileProperties.h>

#include <cstdio>

int main(int, char** argv) {
    ZStanzaFileProperties_5_1 conf(argv[1], 1);  // 1: comments and blank lines are kept
    conf.setValue("logging", "level", "debug");
    conf.addEntryComment("logging", "level", "until the leak is found");
    conf.store(nullptr);  // into the file it was loaded from

    char line[80];
    std::FILE* const file = std::fopen(argv[1], "r");
    for (int number = 1; std::fgets(line, sizeof line, file); ++number) {
        if (number >= 13 && number <= 20) std::fputs(line, stdout);
    }
    std::fclose(file);
}
