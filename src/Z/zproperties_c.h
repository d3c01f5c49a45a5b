/* zproperties_c: stanza files for callers in C. */
/* Subsystem: properties, layer 7. Test: tests/zproperties_c_test.c

   A file is opened into a handle, read and changed through it, stored and closed:

       ZPROP_handle* file;
       unsigned int rc;
       if (zstzPropOpen_5_1(&file, "server.conf", ZPROP_OPEN_UPDATE) == ZPROP_DONE) {
           unsigned int workers = zstzPropGetIntegerValue_5_1(file, "server", "workers", 0, &rc);
           ...
           zstzPropClose_5_1(file);
       }

   ZStanzaFileProperties.h says what a stanza file is, ZProperties.h what each operation does.
   Names and texts are in the local codeset. TISDIR has to be set in the environment.

   Handles. Null, a closed handle and memory that is no handle of the kind asked for are refused
   with ZPROP_BAD_ARGUMENT; a closed one until 256 more have been closed. Close the iterators of a
   handle before the handle.

   Results. Functions that return a code return one of those below. The others report it through
   `rc` and return 0 or null unless it is ZPROP_DONE; where nothing else is said, a null `rc` makes
   them return 0 or null and do nothing.

   Exceptions. Some failures leave these functions as C++ exceptions (ZException.h): an empty stanza
   or key (ZInvalidParameterException_5_1), memory that runs out, and what is named at a function.
   Functions that say "any failure" let none out.
   Compile callers in C with -fexceptions: then an exception passes through them to a C++ caller or
   ends the program in good order.

   Threads. A handle may be used by several threads at once, an iterator by one. An iterator holds
   its handle's lock from init to close: other threads that use the handle wait meanwhile. Close it
   on the thread that made it. Handles made before a fork are of no use in the child. */
#ifndef Z_ZPROPERTIES_C_H
#define Z_ZPROPERTIES_C_H

#include "zexport.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ZPROP_handle ZPROP_handle;           /* an open file */
typedef struct ZPROP_iter_handle ZPROP_iter_handle; /* an iterator */

/* What the caller means to do. Kept with the handle: both open the file alike. */
typedef enum ZPROPOpenMode {
    ZPROP_OPEN_READ = 1,  /* to read */
    ZPROP_OPEN_UPDATE = 2 /* to read, change and store */
} ZPROPOpenMode;

/* What the functions return, or report through `rc`. */
enum ZPROPReturnCode {
    ZPROP_DONE = 0,           /* no failure */
    ZPROP_FILE_FAILED = 51,   /* not opened, loaded or stored */
    ZPROP_CHANGE_FAILED = 52, /* not set, removed or commented */
    ZPROP_INVALID_VALUE = 53, /* the value is not a number or not a boolean */
    ZPROP_MISSING = 54,       /* a required stanza or key is missing or has no value */
    ZPROP_BAD_ARGUMENT = 55,  /* no such handle, a null pointer or an unknown open mode */
    ZPROP_WRONG_ITERATOR = 57 /* the iterator is of the other kind or stands on nothing */
};

/* ---- files ---- */

/* Loads `file` into a new handle, the caller's to close. `mode` is a ZPROPOpenMode.
   ZPROP_BAD_ARGUMENT for a null pointer or another mode, with *handle as it was. Any failure:
   ZPROP_FILE_FAILED, with *handle null. */
Z_API int zstzPropOpen_5_1(ZPROP_handle** handle, const char* file, int mode);

/* Frees the handle. Changes that were not stored are lost. */
Z_API int zstzPropClose_5_1(ZPROP_handle* handle);

/* Writes everything to `file`; null: to the file that was opened. Any failure: ZPROP_FILE_FAILED,
   with the changes still in memory. */
Z_API int zstzPropStore_5_1(ZPROP_handle* handle, const char* file);

/* ---- questions ---- */

/* 1 if there is such a key in the stanza (null: such a stanza), else 0. A null stanza or rc: 0,
   with *rc as it was. */
Z_API int zstzPropExists_5_1(ZPROP_handle* handle, const char* stanza, const char* key,
                             unsigned int* rc);

/* Stanzas in the file. */
Z_API int zstzPropNumStanzas_5_1(ZPROP_handle* handle, unsigned int* rc);

/* Keys in the stanza, values of the key; 0 when it is absent. A null name is ZPROP_BAD_ARGUMENT. */
Z_API int zstzPropNumKeys_5_1(ZPROP_handle* handle, const char* stanza, unsigned int* rc);
Z_API int zstzPropNumValues_5_1(ZPROP_handle* handle, const char* stanza, const char* key,
                                unsigned int* rc);

/* ---- values ----
   Of a key, the first one. When there is none: null or 0 with ZPROP_MISSING if `required` is not 0,
   else with ZPROP_DONE. */

/* The text, the caller's to release with zstzPropFree_5_1; null for an empty one. A null stanza,
   key or rc: null, with *rc as it was. */
Z_API char* zstzPropGetStringValue_5_1(ZPROP_handle* handle, const char* stanza, const char* key,
                                       int required, unsigned int* rc);

/* The number or boolean, 0 with ZPROP_INVALID_VALUE for a text that is none. A null stanza, key or
   rc: 55 as the value, with *rc as it was. */
Z_API unsigned int zstzPropGetIntegerValue_5_1(ZPROP_handle* handle, const char* stanza,
                                               const char* key, int required, unsigned int* rc);
Z_API int zstzPropGetBooleanValue_5_1(ZPROP_handle* handle, const char* stanza, const char* key,
                                      int required, unsigned int* rc);

/* Releases a text from zstzPropGetStringValue_5_1. Any other pointer is left alone: null, a text
   from zstzPropGetValues_5_1, and in most cases one that was released before. */
Z_API void zstzPropFree_5_1(char* text);

/* ---- several values at once ---- */

/* What is asked for. */
enum ZPROPRequestType {
    ZPROP_BOOLEAN = 1,    /* result is an int* */
    ZPROP_INTEGER = 2,    /* result is an int* or unsigned int* */
    ZPROP_STRING = 3,     /* result is a char**; null for an empty text */
    ZPROP_STRING_LIST = 4 /* result is a char***: all values, with a null behind the last */
};

/* One request. The places that `result` points to are the caller's. */
typedef struct ZPROPValueRequest {
    int type;           /* a ZPROPRequestType */
    const char* stanza; /* not null */
    const char* key;    /* not null */
    int optional;       /* 1: the key need not exist, as always in a list; else it must */
    void* result;       /* where the answer goes; not null */
} ZPROPValueRequest;

/* Serves `count` requests in order and stops at the first that fails: ZPROP_MISSING,
   ZPROP_INVALID_VALUE, or ZPROP_BAD_ARGUMENT for a null pointer in it. The results before it stay,
   it and those behind it are not touched. A null array with a count that is not 0:
   ZPROP_BAD_ARGUMENT. A type that there is not: ZInvalidParameterException_5_1. */
Z_API int zstzPropGetValues_5_1(ZPROP_handle* handle, const ZPROPValueRequest* requests, int count);

/* Releases the texts and lists that the requests' results hold and sets them to null. Results that
   were never filled have to be null already. */
Z_API int zstzPropFreeValuesList_5_1(ZPROP_handle* handle, const ZPROPValueRequest* requests,
                                     int count);

/* ---- changes ----
   In memory, until the file is stored. ZPROP_BAD_ARGUMENT for a null stanza or key, in
   zstzPropAddLineComment_5_1 for a null comment as well. Any failure: ZPROP_CHANGE_FAILED. */

/* Replaces all values of the key by a text (null or empty: by none), a number, or "yes" for a value
   that is not 0 and else "no". Stanza and key are made when needed. */
Z_API int zstzPropSetStringValue_5_1(ZPROP_handle* handle, const char* stanza, const char* key,
                                     const char* value);
Z_API int zstzPropSetIntegerValue_5_1(ZPROP_handle* handle, const char* stanza, const char* key,
                                      unsigned int value);
Z_API int zstzPropSetBooleanValue_5_1(ZPROP_handle* handle, const char* stanza, const char* key,
                                      int value);

/* The key with its values, the stanza with its keys and comments; nothing when it is absent. */
Z_API int zstzPropRemoveKey_5_1(ZPROP_handle* handle, const char* stanza, const char* key);
Z_API int zstzPropRemoveStanza_5_1(ZPROP_handle* handle, const char* stanza);

/* Under the stanza's head; at the top of the file; above the key's line. "#" is put before a
   comment without it. */
Z_API int zstzPropAddStanzaComment_5_1(ZPROP_handle* handle, const char* stanza,
                                       const char* comment);
Z_API int zstzPropAddFileComment_5_1(ZPROP_handle* handle, const char* comment);
Z_API int zstzPropAddLineComment_5_1(ZPROP_handle* handle, const char* stanza, const char* key,
                                     const char* comment);

/* ---- iterators ---- */

/* A new iterator in *iterator, the caller's to close: over the values of the key or, with a null
   key, over the keys of the stanza. It stands before the first. ZPROP_BAD_ARGUMENT for another
   null pointer. *iterator is set only when it is made. */
Z_API int zstzPropIter_init_5_1(ZPROP_handle* handle, const char* stanza, const char* key,
                                ZPROP_iter_handle** iterator);

/* 1 if it moved to a further key or value, 0 at the end. */
Z_API int zstzPropIter_next_5_1(ZPROP_iter_handle* iterator, unsigned int* rc);

/* The key it stands on, or that it was made for. This text and the next belong to the iterator and
   stay until it moves or is closed, or the key is changed. Before the first key:
   ZPROP_WRONG_ITERATOR. */
Z_API const char* zstzPropIter_getKey_5_1(ZPROP_iter_handle* iterator, unsigned int* rc);

/* Over keys: the first value of the key it stands on, whatever the index; ZPROP_WRONG_ITERATOR
   before the first key; ZInvalidParameterException_5_1 leaves for a key without values. Over
   values: the value as zstzPropIter_next_5_1 found it, "" before the first. */
Z_API const char* zstzPropIter_getValue_5_1(ZPROP_iter_handle* iterator, int index,
                                            unsigned int* rc);

/* Over keys: how many there are. Over values: 1. */
Z_API int zstzPropIter_numKeys_5_1(ZPROP_iter_handle* iterator, unsigned int* rc);

/* Over values: how many there are. Over keys: ZPROP_WRONG_ITERATOR. */
Z_API int zstzPropIter_numValues_5_1(ZPROP_iter_handle* iterator, unsigned int* rc);

/* Changes the value it stands on; adds one behind it and steps onto that; removes it, the next one
   then being the one that followed. ZPROP_WRONG_ITERATOR over keys, and to change and remove also
   where it stands on no value. A line end in a plain value leaves as
   ZInvalidParameterException_5_1. */
Z_API int zstzPropIter_chgValue_5_1(ZPROP_iter_handle* iterator, const char* value);
Z_API int zstzPropIter_addValue_5_1(ZPROP_iter_handle* iterator, const char* value);
Z_API int zstzPropIter_rmvValue_5_1(ZPROP_iter_handle* iterator);

/* Frees the iterator and gives its handle's lock back. */
Z_API int zstzPropIter_close_5_1(ZPROP_iter_handle* iterator);

#ifdef __cplusplus
}
#endif

#endif
