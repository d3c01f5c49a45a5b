#include <Z/ZJavaProperties.h>

#include <cstdio>

int main() {
    ZJavaProperties_5_1 written;
    written.setValue(ZUTF8String_5_1("price"), ZUTF8String_5_1("5 \xe2\x82\xac"));
    written.store("shop.properties");

    char line[80];
    std::FILE* const file = std::fopen("shop.properties", "r");
    while (std::fgets(line, sizeof line, file)) std::fputs(line, stdout);
    std::fclose(file);

    ZJavaProperties_5_1 read;
    if (!read.load("shop.properties")) return 1;  // it has told why
    ZUTF8String_5_1 price;
    read.getValue(ZUTF8String_5_1("price"), price);
    std::printf("%s\n", price.getChars());
}
