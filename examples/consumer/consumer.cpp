// A program of a stranger on the installed library: lists the stanzas of a file.
#include <Z/ZException.h>
#include <Z/ZProperties.h>
#include <Z/ZStanzaFileProperties.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    setenv("TISDIR", "/", 0);
    try {
        ZStanzaFileProperties_5_1 file(argv[1], 1);
        file.list();
    } catch (ZException_5_1& exception) {
        exception.dumpException();
        return 1;
    }
    return 0;
}
