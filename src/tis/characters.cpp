// characters: conversion of texts and of single characters, and character classes.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#include "casing.h"
#include "handle.h"
#include "tis.h"

using tis::Byte;
using tis::CharClass;
using tis::CodePoint;

namespace {

template <class Conversion>
int convert(Conversion conversion, tis_cs const* cs, char const* src, int srcLen, char* dst,
            int dstLen) {
    if (src == nullptr || srcLen <= 0 || dst == nullptr) return 0;
    if (dstLen <= 0) return -1;
    Byte const* const from = reinterpret_cast<Byte const*>(src);
    Byte* const to = reinterpret_cast<Byte*>(dst);
    tis::Codeset const& codeset = tis::codesetOf(cs);
    if (codeset.kind == tis::Kind::utf8) {
        return srcLen <= dstLen && tis::copyUtf8({from, from + srcLen}, to) ? srcLen : -1;
    }
    Byte const* const end = conversion(codeset, {from, from + srcLen}, {to, to + dstLen});
    return end == nullptr ? -1 : static_cast<int>(end - to);
}

// As tis_mblen; the code point of the terminator is 0.
int lengthAt(tis_cs const* cs, char const* s, int n, CodePoint& cp) {
    cp = 0;
    if (s == nullptr || n <= 0 || *s == 0) return 0;
    Byte const* const p = reinterpret_cast<Byte const*>(s);
    return tis::decode(tis::codesetOf(cs), p, static_cast<std::size_t>(n), cp);
}

int isInClass(tis_wchar wc, CharClass wanted) {
    return tis::isInClass(wc, wanted) ? 1 : 0;
}

}  // namespace

int tis_to_utf8(tis_cs const* cs, char const* src, int srcLen, char* dst, int dstLen) {
    return convert(tis::toUtf8, cs, src, srcLen, dst, dstLen);
}

int tis_from_utf8(tis_cs const* cs, char const* src, int srcLen, char* dst, int dstLen) {
    return convert(tis::fromUtf8, cs, src, srcLen, dst, dstLen);
}

int tis_mblen(tis_cs const* cs, char const* s, int n) {
    CodePoint cp;
    return lengthAt(cs, s, n, cp);
}

int tis_mbtowc(tis_cs const* cs, tis_wchar* wc, char const* s, int n) {
    CodePoint cp;
    int length = lengthAt(cs, s, n, cp);
    if (length > 0 && cp >= tis::strayBase) length = -1;
    if (length <= 0) cp = 0;
    if (cp > 0xFFFF) cp = 0xFFFD;
    if (wc != nullptr) *wc = static_cast<tis_wchar>(cp);
    return length;
}

int tis_wctomb(tis_cs const* cs, char* dst, tis_wchar wc) {
    if (dst == nullptr) return 0;
    return tis::encode(tis::codesetOf(cs), wc, reinterpret_cast<Byte*>(dst));
}

int tis_iswalnum(tis_wchar wc) {
    return isInClass(wc, CharClass::alnum);
}
int tis_iswalpha(tis_wchar wc) {
    return isInClass(wc, CharClass::alpha);
}
int tis_iswdigit(tis_wchar wc) {
    return isInClass(wc, CharClass::digit);
}
int tis_iswlower(tis_wchar wc) {
    return isInClass(wc, CharClass::lower);
}
int tis_iswspace(tis_wchar wc) {
    return isInClass(wc, CharClass::space);
}
int tis_iswupper(tis_wchar wc) {
    return isInClass(wc, CharClass::upper);
}
