// gdb_sample: objects of every kind that the pretty printers show; tests/gdb_test.sh stops at
// stop().
#include <Z/ZException.h>
#include <Z/ZKeyMap.h>
#include <Z/ZMap.h>
#include <Z/ZStack.h>
#include <Z/ZStanzaFileProperties.h>
#include <Z/ZUTF8String.h>

__attribute__((noinline)) static void stop() {
    asm volatile("");
}

int main(int, char** argv) {
    ZLCString_5_1 text("some \"text\"");
    ZLCString_5_1 longText(
        "a text that is longer than what fits a string itself, which is ninety-five "
        "bytes; then it is a block of its own");
    ZUTF8String_5_1 utf8("caf\xc3\xa9");
    ZLCConstString_5_1 view("seen");
    ZArrayList_5_1 list(4, 1);
    list.addNoCopy(new ZLCString_5_1("first"));
    list.addNoCopy(new ZUTF8String_5_1("second"));
    ZArrayStack_5_1 stack;
    stack.push(&text);
    ZHashKeyMap_5_1 pairs(4, 1);
    pairs.putEntryNoCopy(new ZLCString_5_1("key"), new ZLCString_5_1("value"));
    ZHashMap_5_1 map(4, 1);
    map.putEntry(new ZLCString_5_1("member"));
    ZObject_5_1 const& reference = text;
    ZPropertiesMissingPropertyException_5_1 failure("f.conf", "server", "workers");
    ZStanzaFileProperties_5_1 conf(argv[1], 1);
    conf.setValue("server", "backlog", "128");
    conf.setValue("server", "pin", "1234", 1);
    std::vector<int> const early(sizeof(ZHashMap_5_1), 0x6b6b6b6b);  // a map before its constructor
    stop();
    return reference.hash() == 0;
}
