// casing: Unicode's character classes and simple case mappings.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
//
// The C library's tables are used through a locale object of this library's own, so that results
// depend neither on the process locale nor on a thread's. Where that locale is not installed (or
// LOCPATH hides it), ASCII rules remain.
#include "casing.h"

#include <locale.h>
#include <pthread.h>
#include <wctype.h>

namespace tis {

namespace {

pthread_once_t localeOnce = PTHREAD_ONCE_INIT;
locale_t unicodeLocale = nullptr;

void makeLocale() {
    unicodeLocale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
}

locale_t unicode() {
    pthread_once(&localeOnce, makeLocale);
    return unicodeLocale;
}

bool isBetween(CodePoint cp, CodePoint low, CodePoint high) {
    return cp >= low && cp <= high;
}

bool isAsciiInClass(CodePoint cp, CharClass wanted) {
    bool const lower = isBetween(cp, 'a', 'z');
    bool const upper = isBetween(cp, 'A', 'Z');
    bool const digit = isBetween(cp, '0', '9');
    switch (wanted) {
        case CharClass::alnum:
            return lower || upper || digit;
        case CharClass::alpha:
            return lower || upper;
        case CharClass::digit:
            return digit;
        case CharClass::lower:
            return lower;
        case CharClass::space:
            return cp == ' ' || isBetween(cp, '\t', '\r');
        case CharClass::upper:
            return upper;
    }
    return false;
}

bool isInLocaleClass(wint_t wc, CharClass wanted, locale_t locale) {
    switch (wanted) {
        case CharClass::alnum:
            return iswalnum_l(wc, locale) != 0;
        case CharClass::alpha:
            return iswalpha_l(wc, locale) != 0;
        case CharClass::digit:
            return iswdigit_l(wc, locale) != 0;
        case CharClass::lower:
            return iswlower_l(wc, locale) != 0;
        case CharClass::space:
            return iswspace_l(wc, locale) != 0;
        case CharClass::upper:
            return iswupper_l(wc, locale) != 0;
    }
    return false;
}

constexpr CodePoint dottedCapitalI = 0x130;
constexpr CodePoint dotlessSmallI = 0x131;

}  // namespace

bool isInClass(CodePoint cp, CharClass wanted) {
    if (cp < 0x80) return isAsciiInClass(cp, wanted);
    locale_t const locale = unicode();
    return locale != nullptr && isInLocaleClass(cp, wanted, locale);
}

CodePoint lowerOf(CodePoint cp) {
    if (cp < 0x80) return isBetween(cp, 'A', 'Z') ? cp | 0x20 : cp;
    locale_t const locale = unicode();
    return cp > 0x10FFFF || locale == nullptr ? cp : towlower_l(cp, locale);
}

CodePoint upperOf(CodePoint cp) {
    if (cp < 0x80) return isBetween(cp, 'a', 'z') ? cp & ~0x20u : cp;
    locale_t const locale = unicode();
    return cp > 0x10FFFF || locale == nullptr ? cp : towupper_l(cp, locale);
}

CodePoint fold(CodePoint cp, bool turkic) {
    if (turkic && cp == 'I') return dotlessSmallI;
    if (turkic && cp == dottedCapitalI) return 'i';
    // Its capital is the plain I, whose small letter outside Turkic languages is another one.
    if (cp == dotlessSmallI) return cp;
    // Through the capital, which letters with two small forms share (sigma, long s).
    return cp < 0x80 ? lowerOf(cp) : lowerOf(upperOf(cp));
}

}  // namespace tis
