#include <Z/ZStanzaFileProperties.h>

#include <cstdio>

int main(int, char** argv) {
    ZStanzaFileProperties_5_1 conf(argv[1], 1);
    conf.addValue("server", "listen", "127.0.0.1:8081", 0);
    conf.addValue("server", "listen", "[::]:8080", 0);  // is among them: nothing

    ZArrayList_5_1 listen(10, 1);  // 1: the list owns its members
    conf.getValues("server", "listen", listen, ZPropLCString);
    for (unsigned int i = 0; i < listen.size(); ++i) {
        std::printf("%s\n", static_cast<ZLCString_5_1*>(listen.get(i))->getChars());
    }
}
