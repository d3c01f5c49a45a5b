#include <Z/ZStanzaFileProperties.h>

#include <cstdio>

int main(int, char** argv) {
    ZStanzaFileProperties_5_1 conf(argv[1], 0);
    ZArrayList_5_1 stanzas(10, 1);
    conf.keyNames(stanzas);
    std::printf("%u stanzas\n", stanzas.size());
    // From here to the end of its life the iterator keeps other threads out of the instance.
    ZPropertiesIterator_5_1 keys(conf, "server");
    while (keys.hasMore()) {
        keys.nextEntry();
        for (int i = 0; i < keys.valueCount(); ++i) {
            std::printf("%s: %s\n", keys.entryName(), keys.entryValue(i));
        }
    }
}
