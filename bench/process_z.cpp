// process_z: reads one value with Z, and ends.
#include <Z/ZStanzaFileProperties.h>

#include "process_main.h"

int main(int argc, char** argv) {
    auto const read = [](char const* path, char const* stanza, char const* key,
                         char const* expected) {
        ZStanzaFileProperties_5_1 file(path, 1);
        ZLCString_5_1 value;
        file.getValue(stanza, key, value, 1, nullptr);
        return std::strcmp(value.getChars(), expected) == 0;
    };
    return processMain(argc, argv, read);
}
