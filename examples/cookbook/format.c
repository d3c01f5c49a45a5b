#include <Z/zasprintf.h>
#include <stdio.h>

int main(void) {
    /* A translator may put the arguments in another order: by their numbers. */
    static const char* const formats[] = {"%1$s has %2$d files", "%2$d Dateien in %1$s"};
    char* text;
    int i;

    for (i = 0; i < 2; ++i) {
        if (zasprintf_5_1(&text, formats[i], "/etc", 231) < 0) return 1;
        printf("%s\n", text);
        zasprintf_free_5_1(text);
    }
    return 0;
}
