// codeset: what is known about a codeset, and the decoding and encoding of one character.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#include "codeset.h"

#include <pthread.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "converter.h"
#include "multibyte.h"
#include "single_byte.h"

namespace tis {

namespace {

Codeset const utf8Codeset(Kind::utf8);

pthread_mutex_t registryMutex = PTHREAD_MUTEX_INITIALIZER;
Codeset const* registry = nullptr;

bool isLetterOrDigit(unsigned b) {
    return (b >= '0' && b <= '9') || ((b | 0x20) >= 'a' && (b | 0x20) <= 'z');
}

// Upper case, and only what names are made of: no options for the converter, no blanks.
bool normalise(char const* name, char (&out)[Codeset::maxName + 1]) {
    unsigned length = 0;
    for (; name[length] != 0; ++length) {
        char const c = name[length];
        bool const letter = isLetterOrDigit(static_cast<Byte>(c));
        if (length == Codeset::maxName || (!letter && std::strchr("-_.:+()", c) == nullptr)) {
            return false;
        }
        out[length] = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    out[length] = 0;
    return length > 0;
}

// Enters what the byte is; false when no codeset that has it can be served.
bool learnByte(Codeset& cs, unsigned b, Probe const& found) {
    bool const ascii = b < 0x80;
    bool const itself = found.outcome == Probe::one && found.cp == b;
    if (found.outcome == Probe::nothing) return false;              // shifts
    if (found.outcome == Probe::incomplete && ascii) return false;  // shifts, or wide units
    if (!itself && (b == 0 || isLetterOrDigit(b))) return false;
    cs.first[b] = cellOf(found);
    if (found.outcome == Probe::incomplete) cs.kind = Kind::multiByte;
    if (found.held || cs.first[b] == cellSeveral || cs.first[b] == cellAstral) cs.composing = true;
    if (ascii && !itself) cs.asciiIdentity = false;
    return true;
}

// UTF-8 has many aliases; all of them are to be strict.
bool isUtf8(iconv_t decoder) {
    Byte const smile[] = {0xF0, 0x9F, 0x98, 0x80};
    Probe const found = probe(decoder, smile, sizeof smile);
    return found.outcome == Probe::one && found.cp == 0x1F600;
}

// Some byte below 0x80 is no character. In a multibyte codeset such a byte would have no length,
// and nobody could skip ASCII unseen.
bool lacksAscii(Codeset const& cs) {
    return std::find(cs.first + 1, cs.first + 0x80, cellNone) != cs.first + 0x80;
}

bool learn(Codeset& cs) {
    OwnConverter decoder(codePoints, cs.name);
    if (!isOpen(decoder.get())) return false;
    for (unsigned b = 0; b < 256; ++b) {
        Byte const byte = static_cast<Byte>(b);
        if (!learnByte(cs, b, probe(decoder.get(), &byte, 1))) return false;
    }
    if (cs.composing) cs.asciiIdentity = false;
    if (cs.kind == Kind::multiByte && lacksAscii(cs)) return false;
    if (cs.kind == Kind::multiByte && isUtf8(decoder.get())) cs.kind = Kind::utf8;
    if (cs.kind == Kind::singleByte && !fillSingleByteTables(cs)) return false;
    cs.keeper = decoder.release();
    return true;
}

Codeset* makeCodeset(char const* name) {
    void* const memory = std::malloc(sizeof(Codeset));
    if (memory == nullptr) return nullptr;
    Codeset* const cs = new (memory) Codeset(Kind::singleByte);
    std::memcpy(cs->name, name, std::strlen(name) + 1);
    if (learn(*cs)) return cs;
    dropSingleByteTables(*cs);
    std::free(cs);
    return nullptr;
}

Codeset const* findOrMake(char const* name) {
    for (Codeset const* cs = registry; cs != nullptr; cs = cs->next) {
        if (std::strcmp(cs->name, name) == 0) return cs;
    }
    Codeset* const made = makeCodeset(name);
    if (made == nullptr) return nullptr;
    made->next = registry;
    registry = made;
    return made;
}

}  // namespace

Codeset const plainBytes(Kind::singleByte);

Codeset const* findCodeset(char const* name) {
    char normal[Codeset::maxName + 1];
    if (name == nullptr || !normalise(name, normal)) return nullptr;
    if (std::strcmp(normal, "UTF8") == 0 || std::strcmp(normal, "UTF-8") == 0) return &utf8Codeset;
    pthread_mutex_lock(&registryMutex);
    Codeset const* const cs = findOrMake(normal);
    pthread_mutex_unlock(&registryMutex);
    return cs;
}

int decodeSlowly(Codeset const& cs, Byte const* p, std::size_t left, CodePoint& cp) {
    Cell const cell = cs.first[*p];
    if (isCharacter(cell) || *p == 0) {
        cp = cell;
        return 1;
    }
    if (cell == cellLead) return decodeLong(cs, p, left, cp);
    if (cell == cellNone && cs.kind == Kind::multiByte) return -1;
    cp = (cell == cellNone ? strayBase : severalBase) | *p;
    return 1;
}

int encode(Codeset const& cs, CodePoint cp, Byte* out) {
    if (isSurrogate(cp) || cp > 0x10FFFF) return -1;
    if (cp == 0 || (cp < 0x80 && (cs.asciiIdentity || isLetterOrDigit(cp)))) {
        out[0] = static_cast<Byte>(cp);
        return 1;
    }
    if (cs.kind == Kind::utf8) {
        encodeUtf8(cp, out);
        return static_cast<int>(utf8Length(cp));
    }
    if (cs.composing) return encodeAlone(threadEncoder(cs), cp, out);
    if (cs.kind == Kind::multiByte) return encodeMultibyte(cs, cp, out);
    out[0] = singleByteOf(cs, cp);
    return out[0] != 0 ? 1 : -1;
}

Byte* toUtf8(Codeset const& cs, Source from, Target to) {
    if (cs.composing) return decodeByConverter(cs, from, to, Extent::all) ? to.at : nullptr;
    return cs.kind == Kind::singleByte ? singleByteToUtf8(cs, from, to)
                                       : multibyteToUtf8(cs, from, to);
}

Byte* fromUtf8(Codeset const& cs, Source from, Target to) {
    if (cs.composing) return encodeByConverter(cs, from, to, Extent::all) ? to.at : nullptr;
    return cs.kind == Kind::singleByte ? singleByteFromUtf8(cs, from, to)
                                       : multibyteFromUtf8(cs, from, to);
}

}  // namespace tis
