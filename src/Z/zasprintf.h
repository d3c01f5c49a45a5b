/* zasprintf: formatted text into a block made for it. */
/* Subsystem: strings, layer 2. Test: tests/zsnprintf_test.cpp */
#ifndef Z_ZASPRINTF_H
#define Z_ZASPRINTF_H

#include <stdarg.h>

#include "zexport.h"

#ifdef __cplusplus
extern "C" {
#endif

/* As zsnprintf_5_1 (zsnprintf.h), into a block from malloc that holds the text and its terminator
   and nothing else. The length of the text; -1, and null in *out, for the failures of
   zsnprintf_5_1, for a null `out`, and for a text of INT_MAX bytes, which leaves no room for a
   terminator. The block is the caller's and goes with zasprintf_free_5_1 or free. */
Z_API int zasprintf_5_1(char** out, char const* format, ...);
Z_API int zvasprintf_5_1(char** out, char const* format, va_list args);

/* Releases the text. Does nothing for null. */
Z_API void zasprintf_free_5_1(char* text);

#ifdef __cplusplus
}
#endif

#endif
