// strings: searching, copying, case and comparison over characters instead of bytes.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
//
// A string is walked unit by unit (a character or a stray byte). Reading up to maxCharacter bytes
// at any unit is safe, since decoding stops at the terminator. Where bytes and units give the same
// answer the C library's functions are used: always in single-byte codesets, and for what is ASCII
// or valid in UTF-8, whose characters contain no such bytes.
#include <climits>
#include <cstring>

#include "casing.h"
#include "codeset.h"
#include "handle.h"
#include "tis.h"

using tis::Byte;
using tis::CodePoint;
using tis::Codeset;
using tis::codesetOf;
using tis::Kind;

namespace {

Byte const* bytesOf(char const* s) {
    return reinterpret_cast<Byte const*>(s);
}

// The C library's way of handing back a part of a constant string.
char* asMutable(char const* s) {
    return const_cast<char*>(s);
}

unsigned unitLength(Codeset const& cs, char const* s) {
    CodePoint cp;
    return tis::unitAt(cs, bytesOf(s), tis::maxCharacter, cp);
}

bool isAscii(char const* s) {
    while (*s != 0 && static_cast<Byte>(*s) < 0x80) ++s;
    return *s == 0;
}

bool isByteWise(Codeset const& cs, char const* ascii) {
    return cs.kind == Kind::singleByte || (cs.kind == Kind::utf8 && isAscii(ascii));
}

int asInt(std::size_t length) {
    return length > INT_MAX ? INT_MAX : static_cast<int>(length);
}

// ---- Sets of characters ----

class CharSet {
public:
    CharSet(Codeset const& cs, char const* set) : cs_(cs), set_(set) {
        for (char const* p = set; *p != 0;) {
            unsigned const length = unitLength(cs, p);
            if (length == 1) single_[static_cast<Byte>(*p)] = true;
            longer_ = longer_ || length > 1;
            p += length;
        }
    }

    bool contains(char const* unit, unsigned length) const {
        if (length == 1) return single_[static_cast<Byte>(*unit)];
        return longer_ && containsLonger(unit, length);
    }

private:
    bool containsLonger(char const* unit, unsigned length) const {
        for (char const* p = set_; *p != 0;) {
            unsigned const here = unitLength(cs_, p);
            if (here == length && std::memcmp(p, unit, length) == 0) return true;
            p += here;
        }
        return false;
    }

    Codeset const& cs_;
    char const* set_;
    bool single_[256] = {};
    bool longer_ = false;
};

// The bytes at the beginning of s whose characters are all members, or all not.
std::size_t span(Codeset const& cs, char const* s, char const* set, bool members) {
    if (isByteWise(cs, set)) return members ? std::strspn(s, set) : std::strcspn(s, set);
    CharSet const chars(cs, set);
    char const* p = s;
    while (*p != 0) {
        unsigned const length = unitLength(cs, p);
        if (chars.contains(p, length) != members) break;
        p += length;
    }
    return static_cast<std::size_t>(p - s);
}

// ---- Searching ----

char const* findByte(Codeset const& cs, char const* s, char c, bool last) {
    char const* found = nullptr;
    while (*s != 0) {
        unsigned const length = unitLength(cs, s);
        if (length == 1 && *s == c) {
            found = s;
            if (!last) break;
        }
        s += length;
    }
    return found;
}

// The last boundary of units that is not after `limit`, starting at the boundary s.
char const* walkTo(Codeset const& cs, char const* s, char const* limit) {
    for (;;) {
        char const* const next = s + unitLength(cs, s);
        if (next > limit) return s;
        s = next;
    }
}

bool isWhole(Codeset const& cs, char const* s) {
    CodePoint cp;
    while (*s != 0) {
        int const length = tis::decode(cs, bytesOf(s), tis::maxCharacter, cp);
        if (length < 0) return false;
        s += length;
    }
    return true;
}

// A match begins at a boundary; one of stray bytes must also end there, as it might be the
// beginning of a character.
char const* findText(Codeset const& cs, char const* s, char const* sub) {
    bool const whole = isWhole(cs, sub);
    if (cs.kind == Kind::singleByte || (cs.kind == Kind::utf8 && whole)) return std::strstr(s, sub);
    std::size_t const length = std::strlen(sub);
    char const* found = std::strstr(s, sub);
    while (found != nullptr) {
        s = walkTo(cs, s, found);
        if (s == found && (whole || *sub == 0)) break;
        char const* const end = found + length;
        if (s == found && (*end == 0 || walkTo(cs, s, end) == end)) break;
        found = std::strstr(found + 1, sub);
    }
    return found;
}

// Whether the `left` bytes at p, no character by themselves, begin one that goes on behind them.
// What stands there, or behind a terminator among them, is not looked at: it may be nobody's
// memory.
bool isCutOff(Codeset const& cs, Byte const* p, std::size_t left) {
    Byte unit[tis::maxCharacter];
    if (left >= sizeof unit || std::memchr(p, 0, left) != nullptr) return false;
    std::memcpy(unit, p, left);
    for (int next = 0xFF; next > 0; --next) {
        CodePoint cp;
        std::memset(unit + left, next, sizeof unit - left);
        if (tis::decode(cs, unit, sizeof unit, cp) > static_cast<int>(left)) return true;
        unit[sizeof unit - 1] = '0';  // some characters of GB18030 end in a digit
        if (tis::decode(cs, unit, sizeof unit, cp) > static_cast<int>(left)) return true;
    }
    return false;
}

// Where the whole units of s within n bytes end. No more than n bytes are read.
std::size_t wholeUnits(Codeset const& cs, char const* s, std::size_t n) {
    Byte const* const p = bytesOf(s);
    std::size_t used = 0;
    while (used < n && s[used] != 0) {
        CodePoint cp;
        int const length = tis::decode(cs, p + used, n - used, cp);
        if (length < 0 && isCutOff(cs, p + used, n - used)) break;
        used += length > 0 ? static_cast<std::size_t>(length) : 1;
    }
    return used;
}

// ---- Case ----

char* changeCase(Codeset const& cs, char* s, CodePoint (*change)(CodePoint)) {
    if (s == nullptr) return nullptr;
    Byte* p = reinterpret_cast<Byte*>(s);
    while (*p != 0) {
        CodePoint cp;
        unsigned const length = tis::unitAt(cs, p, tis::maxCharacter, cp);
        CodePoint const changed = change(cp);
        Byte bytes[8];
        if (changed != cp && tis::encode(cs, changed, bytes) == static_cast<int>(length)) {
            std::memcpy(p, bytes, length);
        }
        p += length;
    }
    return s;
}

// One of two strings under comparison; it ends after `left` bytes or at its terminator.
struct Compared {
    Byte const* at;
    std::size_t left;

    bool atEnd() const { return left == 0 || *at == 0; }

    CodePoint next(Codeset const& cs, bool turkic) {
        CodePoint cp;
        unsigned const length = tis::unitAt(cs, at, left, cp);
        at += length;
        left -= length;
        return tis::fold(cp, turkic);
    }
};

int compareFolded(tis_cs const* handle, tis_loc const* loc, char const* s1, char const* s2,
                  std::size_t limit) {
    if (s1 == nullptr || s2 == nullptr) return (s1 != nullptr) - (s2 != nullptr);
    Codeset const& cs = codesetOf(handle);
    bool const turkic = loc != nullptr && loc->turkic;
    Compared one = {bytesOf(s1), limit};
    Compared two = {bytesOf(s2), limit};
    while (!one.atEnd() && !two.atEnd()) {
        CodePoint const first = one.next(cs, turkic);
        CodePoint const second = two.next(cs, turkic);
        if (first != second) return first < second ? -1 : 1;
    }
    return static_cast<int>(two.atEnd()) - static_cast<int>(one.atEnd());
}

}  // namespace

char* tis_strchr(tis_cs const* handle, char const* s, int c) {
    if (s == nullptr) return nullptr;
    Codeset const& cs = codesetOf(handle);
    char const text[2] = {static_cast<char>(c), 0};
    if (isByteWise(cs, text)) return asMutable(std::strchr(s, c));
    if (text[0] == 0) return asMutable(s + std::strlen(s));
    return asMutable(findByte(cs, s, text[0], false));
}

char* tis_strrchr(tis_cs const* handle, char const* s, int c) {
    if (s == nullptr) return nullptr;
    Codeset const& cs = codesetOf(handle);
    char const text[2] = {static_cast<char>(c), 0};
    if (isByteWise(cs, text)) return asMutable(std::strrchr(s, c));
    if (text[0] == 0) return asMutable(s + std::strlen(s));
    return asMutable(findByte(cs, s, text[0], true));
}

char* tis_strstr(tis_cs const* cs, char const* s, char const* sub) {
    if (s == nullptr || sub == nullptr) return nullptr;
    return asMutable(findText(codesetOf(cs), s, sub));
}

int tis_strspn(tis_cs const* cs, char const* s, char const* set) {
    if (s == nullptr || set == nullptr) return 0;
    return asInt(span(codesetOf(cs), s, set, true));
}

int tis_strcspn(tis_cs const* cs, char const* s, char const* set) {
    if (s == nullptr || set == nullptr) return 0;
    return asInt(span(codesetOf(cs), s, set, false));
}

char* tis_strpbrk(tis_cs const* cs, char const* s, char const* set) {
    if (s == nullptr || set == nullptr) return nullptr;
    char const* const found = s + span(codesetOf(cs), s, set, false);
    return *found == 0 ? nullptr : asMutable(found);
}

char* tis_strtok(tis_cs const* handle, char* s, char const* delims) {
    static thread_local char* rest = nullptr;
    if (delims == nullptr) return nullptr;
    if (s == nullptr) s = rest;
    if (s == nullptr) return nullptr;
    Codeset const& cs = codesetOf(handle);
    s += span(cs, s, delims, true);
    if (*s == 0) {
        rest = nullptr;
        return nullptr;
    }
    char* const end = s + span(cs, s, delims, false);
    if (*end == 0) {
        rest = nullptr;
        return s;
    }
    rest = end + unitLength(cs, end);
    *end = 0;
    return s;
}

char* tis_strncpy(tis_cs const* cs, char* dst, char const* src, int n) {
    if (dst == nullptr || src == nullptr) return nullptr;
    if (n <= 0) return dst;
    std::size_t const room = static_cast<std::size_t>(n);
    std::size_t const used = wholeUnits(codesetOf(cs), src, room);
    std::memcpy(dst, src, used);
    std::memset(dst + used, 0, room - used);
    return dst;
}

char* tis_strncat(tis_cs const* cs, char* dst, char const* src, int n) {
    if (dst == nullptr || src == nullptr) return nullptr;
    if (n <= 0) return dst;
    std::size_t const used = wholeUnits(codesetOf(cs), src, static_cast<std::size_t>(n));
    char* const end = dst + std::strlen(dst);
    std::memcpy(end, src, used);
    end[used] = 0;
    return dst;
}

char* tis_strlower(tis_cs const* cs, char* s) {
    return changeCase(codesetOf(cs), s, tis::lowerOf);
}

char* tis_strupper(tis_cs const* cs, char* s) {
    return changeCase(codesetOf(cs), s, tis::upperOf);
}

int tis_stricmp(tis_cs const* cs, tis_loc const* loc, char const* s1, char const* s2) {
    return compareFolded(cs, loc, s1, s2, SIZE_MAX);
}

int tis_strnicmp(tis_cs const* cs, tis_loc const* loc, char const* s1, char const* s2, int n) {
    return n <= 0 ? 0 : compareFolded(cs, loc, s1, s2, static_cast<std::size_t>(n));
}
