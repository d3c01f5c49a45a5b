/* tis: text services: codesets, characters, case and locale names over the C library. */
/* Subsystem: tis, layer 0. Test: tests/tis_test.cpp */
/*
   Rules that hold for every function:
   - A codeset handle may be null: the text is then plain bytes under ASCII rules. Every byte has
     length 1, and bytes from 0x80 up do not convert.
   - Null strings are taken and give 0 or null. Lengths are bytes; one of 0 or less means nothing.
     No function reads past a string's terminator, also where a length would allow it.
   - A text is a row of units: characters of its codeset, and stray bytes that begin no character.
     The string functions never look into or cut a character.
   - Handles never change once made. All functions may be called from several threads at once and
     leave the process locale alone. Nothing is thrown; errno means nothing afterwards.
*/
#ifndef TIS_TIS_H
#define TIS_TIS_H

#include <stdarg.h>
#include <time.h>

/* Marks what the shared object offers. */
#define TIS_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

typedef struct tis_cs tis_cs;     /* a codeset */
typedef struct tis_loc tis_loc;   /* the case rules of a language */
typedef unsigned short tis_wchar; /* one UTF-16 unit */

/* ---- Environment ---- */

/* Keeps a copy of the directory's name, which no function reads from; 0, or -1 for null or when
   memory is out. */
TIS_API int tis_set_dir(char const* dir);

/* The process's character locale and its codeset, as the C library names them. 0; -1, with `out`
   untouched, when the name does not fit into `size` bytes with its terminator. */
TIS_API int tis_os_lang_name(char* out, int size);
TIS_API int tis_os_cs_name(char* out, int size);

/* The canonical name of a locale: the name itself, but "C" for "POSIX". Returns as above; -1 also
   for an empty name. */
TIS_API int tis_canonical_loc(char const* name, char* out, int size);

/* ---- Handles ---- */

/* The case rules that go with a locale name ("tr_TR.UTF-8"): Turkish and Azeri pair I with dotless
   i and dotted I with i. Null for a null or empty name. The result is shared and lives as long as
   the process. */
TIS_API tis_loc* tis_loc_new(char const* name);

/* A new handle, released with tis_cs_free. "UTF8" and "UTF-8" in any case, or a name that iconv
   knows, provided the codeset is stateless, NUL, digits and ASCII letters are themselves in it and,
   where it has characters of several bytes, each byte below 0x80 is a character; null otherwise. */
TIS_API tis_cs* tis_cs_new(char const* name);

/* Releases a handle, which must not be used afterwards; null is passed over. */
TIS_API void tis_cs_free(tis_cs* cs);

/* ---- Conversion ---- */

/* From the codeset to UTF-8 and back. The number of bytes written, without a terminator; NUL bytes
   are ordinary characters. -1 when the source is invalid or cut short, a character has no form in
   the target, or the target is too small; what is in the target then has no meaning. The blocks
   must not overlap. UTF-8 is strict: no overlong forms, no surrogates, nothing above U+10FFFF. To
   UTF-8 a text grows at most threefold, from UTF-8 at most twofold; except from TSCII, where a byte
   may stand for several characters, of up to twelve bytes together. */
TIS_API int tis_to_utf8(tis_cs const* cs, char const* src, int srcLen, char* dst, int dstLen);
TIS_API int tis_from_utf8(tis_cs const* cs, char const* src, int srcLen, char* dst, int dstLen);

/* ---- Single characters ---- */

/* The byte length, 1 to 4, of the character at `s`; 0 at the terminator or when n is 0 or less; -1
   when no character begins there or n or the terminator cuts it. In a single-byte codeset every
   byte but NUL has length 1, converted or not. */
TIS_API int tis_mblen(tis_cs const* cs, char const* s, int n);

/* As tis_mblen, and stores the character's UTF-16 unit in *wc, which may be null: 0 with results 0
   and -1, U+FFFD for a character that one unit cannot hold. -1 also for a byte that stands for no
   character. */
TIS_API int tis_mbtowc(tis_cs const* cs, tis_wchar* wc, char const* s, int n);

/* Writes the character's bytes to `dst`, which holds at least 8; returns their number (1 for 0), or
   -1 for a surrogate or a character that the codeset does not have. */
TIS_API int tis_wctomb(tis_cs const* cs, char* dst, tis_wchar wc);

/* ---- Strings: as the C functions of these names, over units instead of bytes ---- */

/* The first or last unit `c`. Only units of one byte are found; c 0 finds the terminator. */
TIS_API char* tis_strchr(tis_cs const* cs, char const* s, int c);
TIS_API char* tis_strrchr(tis_cs const* cs, char const* s, int c);

/* As the C functions, over units instead of bytes. Spans are counted in bytes. */
TIS_API char* tis_strstr(tis_cs const* cs, char const* s, char const* sub);
TIS_API int tis_strspn(tis_cs const* cs, char const* s, char const* set);
TIS_API int tis_strcspn(tis_cs const* cs, char const* s, char const* set);
TIS_API char* tis_strpbrk(tis_cs const* cs, char const* s, char const* set);

/* As strtok, over units. The position is kept per thread. */
TIS_API char* tis_strtok(tis_cs const* cs, char* s, char const* delims);
/* Copies at most n bytes of whole units, then fills with NUL up to n: without a terminator when the
   units fill n exactly. */
TIS_API char* tis_strncpy(tis_cs const* cs, char* dst, char const* src, int n);
/* Appends at most n bytes of whole units, and always a terminator. */
TIS_API char* tis_strncat(tis_cs const* cs, char* dst, char const* src, int n);

/* ---- Case ---- */

/* In place, character by character; one whose other form has another byte length stays as it is, so
   the text's length never changes. Returns s. */
TIS_API char* tis_strlower(tis_cs const* cs, char* s);
TIS_API char* tis_strupper(tis_cs const* cs, char* s);

/* The sign of the first difference between the folded code points; a stray byte is above all
   characters, null below all strings. The second form looks at no more than n bytes of each. */
TIS_API int tis_stricmp(tis_cs const* cs, tis_loc const* loc, char const* s1, char const* s2);
TIS_API int tis_strnicmp(tis_cs const* cs, tis_loc const* loc, char const* s1, char const* s2,
                         int n);

/* Unicode's classes, whatever the process locale: 1 or 0. Digits are 0 to 9 only; no-break spaces
   and U+0085 are not space. */
TIS_API int tis_iswalnum(tis_wchar wc);
TIS_API int tis_iswalpha(tis_wchar wc);
TIS_API int tis_iswdigit(tis_wchar wc);
TIS_API int tis_iswlower(tis_wchar wc);
TIS_API int tis_iswspace(tis_wchar wc);
TIS_API int tis_iswupper(tis_wchar wc);

/* ---- Dates and formatting: as strptime, vsprintf and vsnprintf ---- */

/* As strptime. */
TIS_API char* tis_strptime(tis_cs const* cs, char const* s, char const* fmt, struct tm* out);
/* As vsprintf and vsnprintf. With a null buffer, or a size of 0 or less, only measures. */
TIS_API int tis_vsprintf(tis_cs const* cs, char* buf, char const* fmt, va_list args);
TIS_API int tis_vsnprintf(tis_cs const* cs, char* buf, int size, char const* fmt, va_list args);

#ifdef __cplusplus
}
#endif

#endif
