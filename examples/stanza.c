#include <Z/zproperties_c.h>
#include <stdio.h>

int main(int argc, char** argv) {
    ZPROP_handle* conf;
    ZPROP_iter_handle* listen;
    unsigned int rc, workers;
    static int forward; /* static: C89 wants the places in a table to be constant */
    static char *level, **cookies;
    int code;
    char *name, **cookie;
    const ZPROPValueRequest wanted[] = {
        {ZPROP_BOOLEAN, "logging", "forward", 1, &forward}, /* 1: it need not be there */
        {ZPROP_STRING, "logging", "level", 0, &level},
        {ZPROP_STRING_LIST, "session", "cookie", 0, &cookies},
    };

    if (argc != 2 || zstzPropOpen_5_1(&conf, argv[1], ZPROP_OPEN_UPDATE) != ZPROP_DONE) return 2;

    name = zstzPropGetStringValue_5_1(conf, "server", "name", 1, &rc);
    workers = zstzPropGetIntegerValue_5_1(conf, "server", "workers", 0, &rc);
    printf("%s, %u workers\n", name ? name : "(no name)", workers);
    zstzPropFree_5_1(name);
    zstzPropGetIntegerValue_5_1(conf, "session", "timeout", 1, &rc);
    if (rc == ZPROP_INVALID_VALUE) printf("the timeout is not a number\n");

    code = zstzPropGetValues_5_1(conf, wanted, 3); /* several at once */
    if (code == ZPROP_DONE) printf("level %s, forward %d\n", level, forward);
    for (cookie = cookies; cookie && *cookie; ++cookie) printf("cookie %s\n", *cookie);
    zstzPropFreeValuesList_5_1(conf, wanted, 3);

    if (zstzPropIter_init_5_1(conf, "server", "listen", &listen) == ZPROP_DONE) {
        while (zstzPropIter_next_5_1(listen, &rc)) {
            printf("listens at %s\n", zstzPropIter_getValue_5_1(listen, 0, &rc));
        }
        zstzPropIter_addValue_5_1(listen, "127.0.0.1:8081"); /* behind the last one */
        zstzPropIter_close_5_1(listen);
    }

    zstzPropSetIntegerValue_5_1(conf, "server", "backlog", 128);
    zstzPropAddLineComment_5_1(conf, "server", "backlog", "connections that wait");
    code = zstzPropStore_5_1(conf, NULL); /* in place */
    zstzPropClose_5_1(conf);
    return code == ZPROP_DONE ? 0 : 1;
}
