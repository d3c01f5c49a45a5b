// process_inireader: reads one value with INIReader, and ends.
#include <INIReader.h>

#include "process_main.h"

int main(int argc, char** argv) {
    auto const read = [](char const* path, char const* stanza, char const* key,
                         char const* expected) {
        INIReader const file(path);
        return file.ParseError() == 0 && file.Get(stanza, key, "") == expected;
    };
    return processMain(argc, argv, read);
}
