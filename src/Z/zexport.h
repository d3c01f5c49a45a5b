/* zexport: marks what the shared object offers to its callers. */
/* Subsystem: model, layer 0. Test: tests/headers */
#ifndef Z_ZEXPORT_H
#define Z_ZEXPORT_H

/* The library is built with hidden visibility; only what carries Z_API is exported. Classes carry
   it whole, so that their type information is one and the same in every module of a process and
   exceptions are caught across module borders. */
#define Z_API __attribute__((visibility("default")))

#endif
