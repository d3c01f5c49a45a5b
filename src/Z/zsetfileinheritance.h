/* zsetfileinheritance: lets programs started by this one keep a descriptor. */
/* Subsystem: platform, layer 3. Test: tests/ZLocalHostName_test.cpp */
#ifndef Z_ZSETFILEINHERITANCE_H
#define Z_ZSETFILEINHERITANCE_H

#include "zexport.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Clears the descriptor's close-on-exec flag, whatever `inherit` says: callers that pass 0 rely on
   it. 1 when done, else 0. */
Z_API int zsetfileinheritance_5_1(int fd, int inherit);

#ifdef __cplusplus
}
#endif

#endif
