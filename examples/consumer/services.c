/* A stranger's program in C89 that calls something of each header for C. */
#include <Z/ZSharedLibrary.h>
#include <Z/zasprintf.h>
#include <Z/zhex_dump.h>
#include <Z/zproperties_c.h>
#include <Z/zsetfileinheritance.h>
#include <Z/zsnprintf.h>
#include <Z/ztisutil.h>
#include <stdlib.h>
#include <string.h>

int main(void) {
    char *text, *why;
    int err, done;
    void* codeset = zgetLCSHandle_5_1();

    if (zasprintf_5_1(&text, "%2$s-%1$d", 5, "Z") < 0) return 1;
    done = zstricmp_5_1(codeset, text, "z-5") == 0;
    zhex_dump_5_1(stdout, (int)strlen(text), (unsigned char*)text, "text");
    zasprintf_free_5_1(text);
    if (zdlopen_5_1("/no/such/library", 0, &err) != NULL) return 1;
    why = zdlerror_5_1();
    done = done && why != NULL && zsetfileinheritance_5_1(1, 1) == 1;
    free(why);
    done = done && zstzPropClose_5_1(NULL) == ZPROP_BAD_ARGUMENT;
    return done ? 0 : 1;
}
