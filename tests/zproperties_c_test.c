/* zproperties_c_test: the C interface as programs in C call it; run by zproperties_c_test.cpp. */
/* Subsystem: properties, layer 7. Test: tests/zproperties_c_test.c */
#include <Z/zproperties_c.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>

#define P(name) zstzProp##name##_5_1
#define COUNT(array) ((int)(sizeof(array) / sizeof(*array)))
#define CHECK(truth) ALL(1, !!(truth))
/* Every one of the calls that follow gives `wanted`. They are made in any order. */
#define ALL(wanted, ...) \
    do { \
        const int got[] = {__VA_ARGS__}; \
        for (int at = 0; at < COUNT(got); ++at) { \
            if (got[at] != (wanted)) { \
                printf("%s:%d: %d instead of %d\n", __FILE__, __LINE__, got[at], wanted); \
                printf("    number %d of %s\n", at + 1, #__VA_ARGS__); \
                ++faults; \
            } \
        } \
    } while (0)
/* The call gives `value` and sets rc to `code`; 99: does not set it. */
#define SAYS(value, code, call) (unset_rc(), (call) == (value) && rc == (code))

static int faults;
static unsigned rc;
static char path[256], copy[256];

static void unset_rc(void) {
    rc = 99;
}

static int same(const char* a, const char* b) {
    return a && b ? strcmp(a, b) == 0 : a == b;
}

static ZPROP_handle* open_file(void) {
    ZPROP_handle* file = NULL;
    CHECK(P(Open)(&file, path, ZPROP_OPEN_UPDATE) == 0 && file);
    return file;
}

static ZPROP_iter_handle* walk(ZPROP_handle* file, const char* stanza, const char* key) {
    ZPROP_iter_handle* iterator = NULL;
    CHECK(P(Iter_init)(file, stanza, key, &iterator) == 0 && iterator);
    return iterator;
}

/* Every function turns this away. */
static void refused(void* memory) {
    ZPROP_handle* h = memory;
    ZPROP_iter_handle *i = memory, *out = NULL;
    ALL(55, P(Close)(h), P(Store)(h, NULL), P(SetStringValue)(h, "s", "n", ""),
        P(SetIntegerValue)(h, "s", "n", 0), P(SetBooleanValue)(h, "s", "n", 0),
        P(RemoveKey)(h, "s", "n"), P(RemoveStanza)(h, "s"), P(AddStanzaComment)(h, "s", "c"),
        P(AddFileComment)(h, "c"), P(AddLineComment)(h, "s", "n", "c"), P(GetValues)(h, NULL, 0),
        P(FreeValuesList)(h, NULL, 0), P(Iter_init)(h, "s", NULL, &out), P(Iter_close)(i),
        P(Iter_chgValue)(i, "x"), P(Iter_addValue)(i, "x"), P(Iter_rmvValue)(i));
    ALL(1, SAYS(0, 55, P(Exists)(h, "s", NULL, &rc)), SAYS(0, 55, P(NumStanzas)(h, &rc)),
        SAYS(0, 55, P(NumKeys)(h, "s", &rc)), SAYS(0, 55, P(NumValues)(h, "s", "n", &rc)),
        SAYS(NULL, 55, P(GetStringValue)(h, "s", "n", 0, &rc)),
        SAYS(0, 55, P(GetIntegerValue)(h, "s", "n", 0, &rc)),
        SAYS(0, 55, P(GetBooleanValue)(h, "s", "n", 0, &rc)), SAYS(0, 55, P(Iter_next)(i, &rc)),
        SAYS(NULL, 55, P(Iter_getKey)(i, &rc)), SAYS(NULL, 55, P(Iter_getValue)(i, 0, &rc)),
        SAYS(0, 55, P(Iter_numKeys)(i, &rc)), SAYS(0, 55, P(Iter_numValues)(i, &rc)));
}

static void opening(void) {
    ZPROP_handle *const before = (ZPROP_handle*)path, *file = before;
    ALL(55, P(Open)(&file, path, 0), P(Open)(&file, path, 3), P(Open)(NULL, path, 1),
        P(Open)(&file, NULL, 1));
    CHECK(file == before && P(Open)(&file, "/nowhere", 1) == 51 && !file);
}

/* Closed handles stay closed while others come and go; in the end their memory is used again. */
static void closed_handles(void) {
    ZPROP_handle *file = open_file(), *other;
    ZPROP_iter_handle* iterator = walk(file, "s", NULL);
    int used_again = 0;
    ALL(55, P(Close)((ZPROP_handle*)iterator), P(Iter_close)((ZPROP_iter_handle*)file));
    CHECK(P(Iter_close)(iterator) == 0 && P(Close)(file) == 0);
    for (int i = 0; i < 600; ++i) {
        if (i < 256) refused(file), refused(iterator);
        other = open_file();
        used_again |= other == file;
        CHECK(P(Close)(other) == 0 && (i >= 256 || !used_again));
    }
    CHECK(used_again);
}

/* Foreign memory is examined in its own page alone: those around it cannot be read. */
static void foreign_memory(void) {
    const unsigned mark = 0xbeeff00d;
    char* page = (char*)mmap(NULL, 3 * 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) + 4096;
    CHECK(mprotect(page, 4096, PROT_READ | PROT_WRITE) == 0);
    for (int i = 0; i < 4096; i += 4) memcpy(page + i, &mark, 4);
    for (int i = 0; i < 4096; i += 2) refused(page + i), P(Free)(page + i);
    refused(NULL), P(Free)(NULL);
    munmap(page - 4096, 3 * 4096);
}

static void getters(ZPROP_handle* h) {
    static const struct {
        const char *stanza, *key, *string;
        int required, boolean;
        unsigned integer, string_rc, integer_rc, boolean_rc;
    } rows[] = {
        {"s", "name", "web", 1, 0, 0, 0, 53, 53},  {"s", "n", "0x1F", 1, 0, 31, 0, 0, 53},
        {"s", "yes", "TRUE", 0, 1, 0, 0, 53, 0},   {"s", "empty", NULL, 0, 0, 0, 0, 0, 0},
        {"s", "empty", NULL, 1, 0, 0, 54, 54, 54}, {"s", "none", NULL, 0, 0, 0, 0, 0, 0},
        {NULL, "n", NULL, 1, 55, 55, 99, 99, 99},  {"s", NULL, NULL, 1, 55, 55, 99, 99, 99},
    };
    for (int i = 0; i < COUNT(rows); ++i) {
        const char *s = rows[i].stanza, *k = rows[i].key;
        int must = rows[i].required;
        unset_rc();
        char* string = P(GetStringValue)(h, s, k, must, &rc);
        CHECK(same(string, rows[i].string) && rc == rows[i].string_rc);
        P(Free)(string), P(Free)(string); /* the second: nothing */
        ALL(1, SAYS(rows[i].integer, rows[i].integer_rc, P(GetIntegerValue)(h, s, k, must, &rc)),
            SAYS(rows[i].boolean, rows[i].boolean_rc, P(GetBooleanValue)(h, s, k, must, &rc)));
    }
    ALL(55, (int)P(GetIntegerValue)(h, "s", "n", 1, NULL),
        P(GetBooleanValue)(h, "s", "n", 1, NULL));
    ALL(0, P(NumStanzas)(h, NULL), P(NumKeys)(h, "s", NULL), P(NumValues)(h, "s", "n", NULL),
        P(Exists)(h, "s", "n", NULL), P(GetStringValue)(h, "s", "n", 1, NULL) != NULL);
    ALL(1, SAYS(1, 0, P(Exists)(h, "s", NULL, &rc)), SAYS(1, 0, P(Exists)(h, "s", "empty", &rc)),
        SAYS(0, 0, P(Exists)(h, "s", "k", &rc)), SAYS(0, 99, P(Exists)(h, NULL, "n", &rc)),
        SAYS(2, 0, P(NumStanzas)(h, &rc)), SAYS(5, 0, P(NumKeys)(h, "s", &rc)),
        SAYS(0, 55, P(NumKeys)(h, NULL, &rc)), SAYS(3, 0, P(NumValues)(h, "s", "list", &rc)),
        SAYS(0, 55, P(NumValues)(h, "s", NULL, &rc)));
}

static void batches(ZPROP_handle* h) {
    int yes = 9, n = 9, none = 9;
    char *name = NULL, *empty = path, **list = NULL, **nothing = NULL;
    const ZPROPValueRequest all[] = {
        {ZPROP_BOOLEAN, "s", "yes", 0, &yes},       {ZPROP_INTEGER, "s", "n", 0, &n},
        {ZPROP_STRING, "s", "name", 0, &name},      {ZPROP_STRING, "s", "empty", 1, &empty},
        {ZPROP_STRING_LIST, "s", "list", 0, &list}, {ZPROP_STRING_LIST, "u", "k", 0, &nothing},
        {ZPROP_INTEGER, "s", "none", 1, &none},
    };
    CHECK(P(GetValues)(h, all, COUNT(all)) == 0);
    ALL(1, yes, n == 31, !none, same(name, "web"), !empty, same(list[0], "a"), same(list[1], "b"),
        same(list[2], "c"), !list[3], !nothing[0]);
    P(Free)(name); /* not one of its own */
    CHECK(same(name, "web") && P(FreeValuesList)(h, all, COUNT(all)) == 0);
    CHECK(!name && !list && !nothing && n == 31);
    ALL(0, P(FreeValuesList)(h, all, COUNT(all)), P(FreeValuesList)(h, NULL, 3),
        P(GetValues)(h, NULL, 0), P(GetValues)(h, all, -1));
    ALL(55, P(GetValues)(h, NULL, 3), P(GetValues)(h, NULL, -1));
    /* The second fails: the first is there, the third as it was. */
    static const struct {
        int type;
        const char* key;
        int optional, code;
    } rows[] = {
        {ZPROP_STRING, "none", 0, 54},  {ZPROP_STRING, "empty", 2, 54}, {ZPROP_BOOLEAN, "k", 0, 54},
        {ZPROP_INTEGER, "name", 0, 53}, {ZPROP_BOOLEAN, "n", 1, 53},    {ZPROP_STRING, NULL, 1, 55},
    };
    for (int i = 0; i < COUNT(rows); ++i) {
        void* second = path;
        ZPROPValueRequest three[] = {{ZPROP_STRING, "s", "name", 0, &name},
                                     {rows[i].type, "s", rows[i].key, rows[i].optional, &second},
                                     {ZPROP_INTEGER, "s", "n", 0, &none}};
        CHECK(P(GetValues)(h, three, 3) == rows[i].code);
        CHECK(same(name, "web") && second == path && none == 0);
        three[1].result = NULL;
        ALL(0, P(FreeValuesList)(h, three, 3), P(GetValues)(h, three + 1, 1) - 55, name != NULL);
    }
}

static void key_iterator(ZPROP_handle* h) {
    ZPROP_iter_handle *i = walk(h, "s", NULL), *out = NULL;
    ALL(55, P(Iter_init)(h, NULL, NULL, &out), P(Iter_init)(h, "s", NULL, NULL));
    ALL(1, !out, SAYS(NULL, 57, P(Iter_getKey)(i, &rc)), SAYS(5, 0, P(Iter_numKeys)(i, &rc)),
        SAYS(NULL, 57, P(Iter_getValue)(i, 0, &rc)), SAYS(0, 57, P(Iter_numValues)(i, &rc)));
    CHECK(SAYS(1, 0, P(Iter_next)(i, &rc)) && P(Iter_next)(i, NULL) == 0);
    ALL(1, same(P(Iter_getKey)(i, &rc), "name"), same(P(Iter_getValue)(i, 7, &rc), "web"), rc == 0);
    ALL(57, P(Iter_chgValue)(i, "x"), P(Iter_addValue)(i, "x"), P(Iter_rmvValue)(i));
    ALL(0, P(Iter_numKeys)(i, NULL), P(Iter_numValues)(i, NULL), P(Iter_getKey)(i, NULL) != NULL,
        P(Iter_getValue)(i, 0, NULL) != NULL);
    for (int more = 4; more >= 0; --more) CHECK(SAYS(more > 0, 0, P(Iter_next)(i, &rc)));
    CHECK(same(P(Iter_getKey)(i, &rc), "list") && P(Iter_close)(i) == 0 && P(Iter_close)(i) == 55);
}

/* Makes a, b, c into B, new, c. */
static void value_iterator(ZPROP_handle* h) {
    ZPROP_iter_handle* i = walk(h, "s", "list");
    ALL(57, P(Iter_chgValue)(i, "x"), P(Iter_rmvValue)(i));
    ALL(1, same(P(Iter_getKey)(i, &rc), "list"), same(P(Iter_getValue)(i, 0, &rc), ""), rc == 0);
    CHECK(SAYS(1, 0, P(Iter_next)(i, &rc)) && P(Iter_rmvValue)(i) == 0);
    ALL(1, SAYS(2, 0, P(Iter_numValues)(i, &rc)), SAYS(1, 0, P(Iter_numKeys)(i, &rc)));
    CHECK(SAYS(1, 0, P(Iter_next)(i, &rc)) && same(P(Iter_getValue)(i, 5, &rc), "b"));
    CHECK(P(Iter_chgValue)(i, "B") == 0 && P(Iter_addValue)(i, "new") == 0);
    CHECK(SAYS(1, 0, P(Iter_next)(i, &rc)) && SAYS(0, 0, P(Iter_next)(i, &rc)));
    ALL(1, same(P(Iter_getKey)(i, &rc), "list"), same(P(Iter_getValue)(i, 0, &rc), "c"));
    CHECK(P(Iter_close)(i) == 0 && P(Iter_close)(i) == 55);
}

static void changes(ZPROP_handle* h) {
    ALL(0, P(SetStringValue)(h, "s", "name", "db"), P(SetStringValue)(h, "s", "empty", NULL),
        P(SetIntegerValue)(h, "s", "n", 4294967295u), P(SetBooleanValue)(h, "s", "yes", 0),
        P(RemoveKey)(h, "s", "yes"), P(RemoveStanza)(h, "t"), P(AddFileComment)(h, "top"),
        P(AddStanzaComment)(h, "s", "head"), P(AddLineComment)(h, "s", "n", "line"));
    CHECK(P(SetBooleanValue)(h, "s", "no", 2) == 0);
    ALL(55, P(SetStringValue)(h, NULL, "k", ""), P(SetIntegerValue)(h, "s", NULL, 1),
        P(SetBooleanValue)(h, NULL, "k", 1), P(RemoveKey)(h, "s", NULL), P(RemoveStanza)(h, NULL),
        P(AddStanzaComment)(h, NULL, "c"), P(AddLineComment)(h, "s", "n", NULL));
    ALL(52, P(SetStringValue)(h, "s", "n", "a\nb"), P(SetIntegerValue)(h, "", "n", 1),
        P(SetBooleanValue)(h, "s", "", 1), P(RemoveKey)(h, "", "n"), P(RemoveStanza)(h, ""),
        P(AddFileComment)(h, "a\nb"), P(AddStanzaComment)(h, "s", NULL),
        P(AddLineComment)(h, "s", "n", "a\nb"));
    CHECK(P(Store)(h, "/nowhere/f") == 51 && P(Store)(h, copy) == 0 && P(Store)(h, NULL) == 0);
}

/* Makes `folder`/file into `folder`/copy; returns how many checks failed. */
int check_from_c(const char* folder) {
    snprintf(path, sizeof path, "%s/file", folder);
    snprintf(copy, sizeof copy, "%s/copy", folder);
    opening(), closed_handles(), foreign_memory();
    ZPROP_handle* file = open_file();
    getters(file), batches(file), key_iterator(file), value_iterator(file), changes(file);
    CHECK(P(Close)(file) == 0 && P(Close)(file) == 55);
    return faults;
}

static void count_end(int** ends) {
    ++**ends;
}

/* What leaves the library passes through here, and `guard` is still cleaned up. */
int call_under_guard(ZPROP_handle* file, const char* stanza, int* ends) {
    int* guard __attribute__((cleanup(count_end))) = ends;
    return P(NumKeys)(file, stanza, &rc) + (guard == NULL);
}
