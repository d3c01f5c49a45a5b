/* zhex_dump: memory in hexadecimal, for diagnostics. */
/* Subsystem: platform, layer 3. Test: tests/ZLocalHostName_test.cpp */
#ifndef Z_ZHEX_DUMP_H
#define Z_ZHEX_DUMP_H

#include <stdio.h>

#include "zexport.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Writes `length` bytes in rows of 16: offset, bytes in hexadecimal, and what they are as
   characters, where 0 to 31, 254 and 255 show as dots and all others as they are. No bytes for a
   negative length or null data; a title, unless null, stands before them. A null stream is stderr.

   Dumps of several threads do not mix, whatever their streams. Returns 0; -1 when the lock for that
   failed, which is written through the message service; the dump is made all the same. Write
   errors are left to ferror(). A thread is not cancelled in the middle of a dump. */
Z_API int zhex_dump_5_1(FILE* stream, int length, unsigned char const* data, char const* title);

#ifdef __cplusplus
}
#endif

#endif
