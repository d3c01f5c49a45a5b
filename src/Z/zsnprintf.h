/* zsnprintf: formatted text into a caller's buffer, alike on every platform. */
/* Subsystem: strings, layer 2. Test: tests/zsnprintf_test.cpp

   zsnprintf_5_1(buf, size, format, ...) writes at most `size` bytes, the terminator among them, and
   returns the length that the whole text has; with a size of 0 or less, or no buffer, it only
   measures. The text is in the local codeset (ztisutil.h) and follows the locale's decimal point.
   Where there is no handle of that codeset, each call reports it to standard error and takes plain
   ASCII instead: only C and S with other characters fail then.

   -1 is the one failure: a format or its argument numbers are wrong, memory is out, a wide
   character has no form in the codeset, or the text is longer than an int can say. Nothing is
   thrown. A wrong format leaves the buffer as it was; when a later step fails, what has been
   written stays, without a terminator.

   A directive is % [n$] flags [width] [.precision] [length] conversion, as in C, but:

   - lengths are h, l, and ll, L or q, which are one; hh, j, z and t are wrong, and so are %a, %F
     and %n, and h or l before e, f, g: "%lf" is not "%f". (So the compiler's own check of printf
     formats is not asked for here.) Before c, C, s, S, p and % a length means nothing;
   - C and S take 16-bit characters and strings, whatever the length; a surrogate has no form;
   - any precision, also a point alone, turns the flag 0 off, for floating values too; a second
     0 begins the width; zeros pad numbers only, and on the left only;
   - "#" writes 0x before a zero too, but outside of its width; an octal zero of no digits stays so;
   - p is "#0" in hexadecimal; null has no digits but those of a precision; a null string is empty;
   - a value may be numbered and its neighbours not: those without a number take the arguments from
     the first one on. All uses of an argument must fetch the same: an int, a long, a long long, a
     pointer, a double or a long double. Every argument up to the highest number must be used. */
#ifndef Z_ZSNPRINTF_H
#define Z_ZSNPRINTF_H

#include <stdarg.h>
#include <stdint.h>

#include "zexport.h"

#ifdef __cplusplus
extern "C" {
#endif

/* As told at the top of this file. */
Z_API int zsnprintf_5_1(char* buf, int size, char const* format, ...);
/* The same; `args` may not be used afterwards, as with vsnprintf. */
Z_API int zvsnprintf_5_1(char* buf, int size, char const* format, va_list args);

/* ---- the three steps, for those who render one parse several times ---- */

/* What the flags of a directive say. */
enum ZPRINTF_flag {
    ZPRINTF_VALUE_NUMBERED = 0x1,        /* the argument's number, n$ */
    ZPRINTF_ALTERNATE = 0x2,             /* the flag # */
    ZPRINTF_LEFT = 0x4,                  /* the flag - */
    ZPRINTF_ZERO = 0x8,                  /* the flag 0, unless - or a precision is given */
    ZPRINTF_BLANK = 0x10,                /* the flag blank */
    ZPRINTF_SIGN = 0x20,                 /* the flag + */
    ZPRINTF_GROUP = 0x40,                /* the flag ' */
    ZPRINTF_WIDTH = 0x80,                /* a width, of any kind */
    ZPRINTF_WIDTH_ARGUMENT = 0x100,      /* a width of * */
    ZPRINTF_WIDTH_NUMBERED = 0x200,      /* a width of *n$ */
    ZPRINTF_PRECISION = 0x400,           /* a precision: digits, or the point alone */
    ZPRINTF_PRECISION_ARGUMENT = 0x800,  /* a precision of * */
    ZPRINTF_PRECISION_NUMBERED = 0x1000, /* a precision of *n$ */
    ZPRINTF_SHORT = 0x2000,              /* h */
    ZPRINTF_LONG = 0x4000,               /* l */
    ZPRINTF_LONG_LONG = 0x8000,          /* ll, L, q */
    ZPRINTF_OCTAL = 0x10000,             /* o */
    ZPRINTF_LOWER_HEXADECIMAL = 0x20000, /* x, p */
    ZPRINTF_UPPER_HEXADECIMAL = 0x40000, /* X */
    ZPRINTF_UPPER_FLOATING = 0x80000,    /* E, G */
    ZPRINTF_NO_ARGUMENT = 0x100000       /* %% */
};

/* What a directive converts; the order is that of the renderers. */
enum ZPRINTF_type {
    ZPRINTF_CHARACTER,          /* c */
    ZPRINTF_WIDE_CHARACTER,     /* C */
    ZPRINTF_STRING,             /* s */
    ZPRINTF_WIDE_STRING,        /* S */
    ZPRINTF_SHORT_SIGNED,       /* hd, hi */
    ZPRINTF_SHORT_UNSIGNED,     /* hu, ho, hx, hX */
    ZPRINTF_INT_SIGNED,         /* d, i */
    ZPRINTF_INT_UNSIGNED,       /* u, o, x, X */
    ZPRINTF_LONG_SIGNED,        /* ld, li */
    ZPRINTF_LONG_UNSIGNED,      /* lu, lo, lx, lX */
    ZPRINTF_LONG_LONG_SIGNED,   /* lld, lli */
    ZPRINTF_LONG_LONG_UNSIGNED, /* llu, llo, llx, llX */
    ZPRINTF_POINTER,            /* p */
    ZPRINTF_EXPONENT,           /* e, E */
    ZPRINTF_FIXED,              /* f */
    ZPRINTF_GENERAL,            /* g, G */
    ZPRINTF_LONG_EXPONENT,      /* Le, LE */
    ZPRINTF_LONG_FIXED,         /* Lf */
    ZPRINTF_LONG_GENERAL,       /* Lg, LG */
    ZPRINTF_PERCENT             /* %% */
};

/* A parsed directive, and the literal text up to the next one. */
typedef struct zvsnprintf_directive_5_1 {
    char const* start;  /* its % */
    char const* next;   /* the literal text behind it */
    int type;           /* a ZPRINTF_type */
    unsigned int flags; /* of ZPRINTF_flag */
    int value;          /* the number of its argument, from 1; 0 when it has none */
    int width;          /* itself or the number of its argument, as the flags say; else 0 */
    int precision;      /* likewise */
} zvsnprintf_directive_5_1;

/* A fetched argument. Integers of all lengths are kept in 64 bits, with their sign. */
typedef union zvsnprintf_argument_5_1 {
    int64_t integer;       /* also of characters */
    void const* pointer;   /* also of strings */
    double real;           /* of e, f, g */
    long double long_real; /* of Le, Lf, Lg */
} zvsnprintf_argument_5_1;

/* A parse of so many directives, and of one argument less, allocates nothing. */
enum {
    ZPRINTF_IN_PLACE = 10 /* entries of each table */
};

/* One parsed format and its arguments; the format and what the arguments point to have to outlive
   it. Made by zvsnprintf_parse_5_1 from memory of any content; not to be copied. For one thread. */
typedef struct zvsnprintf_context_5_1 {
    void* codeset;                        /* as given */
    char const* format;                   /* as given */
    char const* end;                      /* the format's terminator */
    int directive_count;                  /* filled in `directives` */
    int directive_room;                   /* allocated in `directives` */
    int argument_count;                   /* the highest number of an argument */
    zvsnprintf_directive_5_1* directives; /* in the order of the format */
    zvsnprintf_argument_5_1* arguments;   /* by number: the first one is not used */
    zvsnprintf_directive_5_1 own_directives[ZPRINTF_IN_PLACE]; /* the table while it is small */
    zvsnprintf_argument_5_1 own_arguments[ZPRINTF_IN_PLACE];   /* likewise */
} zvsnprintf_context_5_1;

/* Parses the format and fetches every argument; a null codeset stands for ASCII. 0; -1 as above:
   then there is nothing to render. */
Z_API int zvsnprintf_parse_5_1(zvsnprintf_context_5_1* context, void* codeset, char const* format,
                               va_list args);
/* Renders the parsed format, as often as wanted; returns as zsnprintf_5_1. */
Z_API int zvsnprintf_render_5_1(zvsnprintf_context_5_1* context, char* buf, int size);
/* Frees what the parse allocated; afterwards, or after a parse that failed, it does nothing. */
Z_API void zvsnprintf_done_5_1(zvsnprintf_context_5_1* context);

#ifdef __cplusplus
}
#endif

#endif
