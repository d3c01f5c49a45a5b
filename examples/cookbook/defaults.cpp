#include <Z/ZStanzaFileProperties.h>

#include <cstdio>

int main(int, char** argv) {
    ZStanzaFileProperties_5_1 const conf(argv[1], 0);
    // 0: not required, so the last argument stands in for what is missing.
    unsigned int const backlog = conf.getIntegerValue("server", "backlog", 0, 64);
    bool const forward = conf.getBooleanValue("logging", "forward", 0, 1) != 0;
    ZLCString_5_1 level;
    conf.getValue("logging", "level", level, 0, "warning");
    std::printf("backlog %u, forward %s, level %s\n", backlog, forward ? "yes" : "no",
                level.getChars());
}
