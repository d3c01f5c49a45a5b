/* ztisutil: the process's codesets and language, and C string functions that know codesets. */
/* Subsystem: strings, layer 1. Test: tests/ztisutil_test.cpp */
#ifndef Z_ZTISUTIL_H
#define Z_ZTISUTIL_H

#include <time.h>

#include "zexport.h"

/* The first call of a getter adopts the locale of the environment (setlocale(LC_ALL, "")) and
   makes the two codeset handles; they live as long as the process and are free to share between
   threads. The environment variable TISDIR must be set to any value. When the start failed, each
   getter whose value is missing writes a report through the message service (code 45: TISDIR is
   not set; code 47: no handle for a codeset) and returns null, at every call: the start is not
   tried twice.

   A codeset handle is the first argument of most functions below. Null stands for plain bytes
   with the rules of ASCII. Counts are bytes. Null strings give 0 or null. No function sets errno
   as part of its contract, none holds a lock on return, all are safe from several threads. */

#ifdef __cplusplus
extern "C" {
#endif

/* The canonical name of the process's locale, for example "de_DE.UTF-8". Not the caller's. */
Z_API char const* zgetlocale_5_1(void);
/* The name of that locale's codeset. Not the caller's. */
Z_API char const* zgetLocalCodesetName_5_1(void);
/* The codeset handles of UTF-8 and of the process's locale. They live to the end. */
Z_API void* zgetUTF8Handle_5_1(void);
Z_API void* zgetLCSHandle_5_1(void);
/* Names the folder of the text services; 0 when done or for null, else -1. */
Z_API int zset_cs_dir_5_1(char const* dir);

/* Between the local codeset and UTF-8. The number of bytes written, without a terminator; -1 when
   the text is invalid, cannot be represented or does not fit; 0 at once when a pointer is null or a
   length is zero. NULs are characters like others. */
Z_API int zlcs_to_utf8_5_1(char const* src, int srcLen, char* dst, int dstLen);
Z_API int zlcs_from_utf8_5_1(char const* src, int srcLen, char* dst, int dstLen);

/* The functions up to zstrstr_5_1 do what the C functions of the same stem do, over whole
   characters: no byte inside a character is taken for a character. */

/* The first or last character `c`, which has one byte; null when there is none. */
Z_API char* zstrchr_5_1(void* handle, char const* s, int c);
Z_API char* zstrrchr_5_1(void* handle, char const* s, int c);

/* The order of two texts, case being folded by the process's language. The second looks at no more
   than n bytes of each. */
Z_API int zstricmp_5_1(void* handle, char const* s1, char const* s2);
Z_API int zstrnicmp_5_1(void* handle, char const* s1, char const* s2, int n);

/* Change the text in place and never its length: a character whose counterpart has another length
   stays. Return s. */
Z_API char* zstrlower_5_1(void* handle, char* s);
Z_API char* zstrupper_5_1(void* handle, char* s);

/* As strptime. */
Z_API char* zstrptime_5_1(void* handle, char const* s, char const* format, struct tm* out);

/* Copies at most n bytes of whole characters, then fills up with NULs. Returns dst. */
Z_API char* zstrncpy_5_1(void* handle, char* dst, char const* src, int n);
/* Appends at most n bytes of whole characters, and always a terminator. Returns dst. */
Z_API char* zstrncat_5_1(void* handle, char* dst, char const* src, int n);

/* Bytes of the leading part that has no character (only characters) of `set`. */
Z_API int zstrcspn_5_1(void* handle, char const* s, char const* set);
Z_API int zstrspn_5_1(void* handle, char const* s, char const* set);

/* As strtok. The place is kept per thread. */
Z_API char* zstrtok_5_1(void* handle, char* s, char const* delimiters);

/* The first character that is one of `set`; the first place where `sub` stands. Null when there is
   none. */
Z_API char* zstrpbrk_5_1(void* handle, char const* s, char const* set);
Z_API char* zstrstr_5_1(void* handle, char const* s, char const* sub);

/* Classes of a 16-bit (UTF-16) character, by Unicode and not by the locale; 0 or 1. */
Z_API int ziswalnum_5_1(unsigned short wc);
Z_API int ziswalpha_5_1(unsigned short wc);
Z_API int ziswdigit_5_1(unsigned short wc);
Z_API int ziswlower_5_1(unsigned short wc);
Z_API int ziswspace_5_1(unsigned short wc);
Z_API int ziswupper_5_1(unsigned short wc);

/* Bytes of the character at s, of which n may be read: 0 at the terminator, -1 when invalid or cut.
   For the local codeset of a single-byte locale always 1, also at the terminator. */
Z_API int zmblen_5_1(void* handle, char const* s, int n);

/* Bytes, not characters, of the leading part of s that is valid; 0 for null. */
Z_API int zstrcount_5_1(void* handle, char const* s);

/* The byte length of the character at s when it is a letter (white space), else 0. */
Z_API int zisalpha_5_1(void* handle, char const* s, int n);
Z_API int zisspace_5_1(void* handle, char const* s, int n);

/* The character at s as a 16-bit unit in *wc (0 when nothing was converted, U+FFFD beyond 16
   bits); returns as zmblen, but asks the text services in every locale. */
Z_API int zmbtowc_5_1(void* handle, unsigned short* wc, char const* s, int n);

/* Writes UTF-16 as UTF-8, without a terminator, and moves *srcStart and *dstStart past what was
   done. 0 when all is done; 2 when the target is full: both then stand at the first character
   that did not fit. A surrogate without its partner is encoded like any other unit. */
Z_API int zconvert_UTF16_to_UTF8_5_1(unsigned short const** srcStart, unsigned short const* srcEnd,
                                     unsigned char** dstStart, unsigned char* dstEnd);

#ifdef __cplusplus
}

class ZLCString_5_1;

/* Stores zgetlocale_5_1() into out (empty for null) and returns 0. */
Z_API int ZGetLocale(ZLCString_5_1& out);
#endif

#endif
