// converter: the C library's converters between a codeset and code points.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#include "converter.h"

#include <pthread.h>

#include <cerrno>
#include <cstdlib>

namespace tis {

namespace {

constexpr std::size_t blockSize = 256;  // code points
constexpr std::size_t failed = static_cast<std::size_t>(-1);

// ---- The converters of a thread ----

struct Entry {
    Codeset const* codeset;
    iconv_t decoder;
    iconv_t encoder;
    Entry* next;
};

pthread_once_t keyOnce = PTHREAD_ONCE_INIT;
pthread_key_t key;
bool haveKey = false;

void closeAll(void* first) {
    for (Entry* entry = static_cast<Entry*>(first); entry != nullptr;) {
        Entry* const next = entry->next;
        if (isOpen(entry->decoder)) iconv_close(entry->decoder);
        if (isOpen(entry->encoder)) iconv_close(entry->encoder);
        std::free(entry);
        entry = next;
    }
}

void makeKey() {
    haveKey = pthread_key_create(&key, closeAll) == 0;
}

Entry* entryOf(Codeset const& cs) {
    pthread_once(&keyOnce, makeKey);
    if (!haveKey) return nullptr;
    Entry* const first = static_cast<Entry*>(pthread_getspecific(key));
    for (Entry* entry = first; entry != nullptr; entry = entry->next) {
        if (entry->codeset == &cs) return entry;
    }
    Entry* const made = static_cast<Entry*>(std::malloc(sizeof(Entry)));
    if (made == nullptr) return nullptr;
    iconv_t const closed = reinterpret_cast<iconv_t>(-1);
    *made = {&cs, closed, closed, first};
    if (pthread_setspecific(key, made) != 0) {
        std::free(made);
        return nullptr;
    }
    return made;
}

iconv_t readied(iconv_t& converter, char const* to, char const* from) {
    if (!isOpen(converter)) {
        converter = iconv_open(to, from);
    } else {
        iconv(converter, nullptr, nullptr, nullptr, nullptr);
    }
    return converter;
}

// ---- Calls with typed blocks ----

struct Result {
    std::size_t code;
    int error;
};

Result call(iconv_t converter, void const** in, std::size_t* inBytes, void** out,
            std::size_t* outBytes) {
    char* input = in == nullptr ? nullptr : static_cast<char*>(const_cast<void*>(*in));
    char* output = static_cast<char*>(*out);
    errno = 0;
    std::size_t const code =
        iconv(converter, in == nullptr ? nullptr : &input, inBytes, &output, outBytes);
    int const error = errno;
    if (in != nullptr) *in = input;
    *out = output;
    return {code, error};
}

// Decodes into the block until it is full or the source is used up; a null source flushes. The
// number of code points, or -1.
int decodeBlock(iconv_t decoder, Source* from, CodePoint* block, std::size_t room) {
    void const* in = from == nullptr ? nullptr : from->at;
    std::size_t inBytes = from == nullptr ? 0 : from->left();
    void* out = block;
    std::size_t outBytes = room * sizeof(CodePoint);
    Result const result = call(decoder, from == nullptr ? nullptr : &in,
                               from == nullptr ? nullptr : &inBytes, &out, &outBytes);
    std::size_t const count = room - outBytes / sizeof(CodePoint);
    bool const full = result.code == failed && result.error == E2BIG && count > 0;
    if (result.code != 0 && !full) return -1;
    if (from != nullptr) from->at = static_cast<Byte const*>(in);
    return static_cast<int>(count);
}

// A count above 0 from the converter would be substituted characters.
bool encodeBlock(iconv_t encoder, CodePoint const* block, std::size_t count, Target& to) {
    void const* in = block;
    std::size_t inBytes = count * sizeof(CodePoint);
    void* out = to.at;
    std::size_t outBytes = to.left();
    Result const result = call(encoder, block == nullptr ? nullptr : &in,
                               block == nullptr ? nullptr : &inBytes, &out, &outBytes);
    to.at = static_cast<Byte*>(out);
    return result.code == 0;
}

// Most converters drop the tag characters of plane 14 silently instead of refusing them.
bool isTag(CodePoint cp) {
    return cp >> 7 == 0xE0000 >> 7;
}

// Fills a block from UTF-8; a tag gets a block of its own. The number of code points, or -1.
int readBlock(Source& from, CodePoint* block) {
    int count = 0;
    while (from.at != from.end && count < static_cast<int>(blockSize)) {
        CodePoint cp;
        int const length = decodeUtf8(from.at, from.left(), cp);
        if (length < 0) return -1;
        if (isTag(cp) && count > 0) break;
        block[count++] = cp;
        from.at += length;
        if (isTag(cp)) break;
    }
    return count;
}

}  // namespace

iconv_t threadDecoder(Codeset const& cs) {
    Entry* const entry = entryOf(cs);
    return entry == nullptr ? reinterpret_cast<iconv_t>(-1)
                            : readied(entry->decoder, codePoints, cs.name);
}

iconv_t threadEncoder(Codeset const& cs) {
    Entry* const entry = entryOf(cs);
    return entry == nullptr ? reinterpret_cast<iconv_t>(-1)
                            : readied(entry->encoder, cs.name, codePoints);
}

Probe probe(iconv_t decoder, Byte const* bytes, std::size_t count) {
    iconv(decoder, nullptr, nullptr, nullptr, nullptr);
    CodePoint found[8];
    void const* in = bytes;
    void* out = found;
    std::size_t outBytes = sizeof found;
    Result const result = call(decoder, &in, &count, &out, &outBytes);
    bool const held = outBytes == sizeof found;
    if (result.code == failed) {
        bool const open = result.error == EINVAL && held;
        return {open ? Probe::incomplete : Probe::invalid, 0, false};
    }
    if (call(decoder, nullptr, nullptr, &out, &outBytes).code == failed) {
        return {Probe::invalid, 0, false};
    }
    std::size_t const produced = (sizeof found - outBytes) / sizeof found[0];
    if (produced == 0) return {Probe::nothing, 0, false};
    return {produced == 1 ? Probe::one : Probe::several, found[0], held};
}

Cell cellOf(Probe const& found) {
    switch (found.outcome) {
        case Probe::one:
            if (found.cp > 0xFFFF) return cellAstral;
            return isSurrogate(found.cp) ? cellNone : static_cast<Cell>(found.cp);
        case Probe::several:
            return cellSeveral;
        case Probe::incomplete:
            return cellLead;
        default:
            return cellNone;
    }
}

int encodeAlone(iconv_t encoder, CodePoint cp, Byte* out) {
    if (!isOpen(encoder)) return -1;
    iconv(encoder, nullptr, nullptr, nullptr, nullptr);
    Target to = {out, out + 8};
    if (!encodeBlock(encoder, &cp, 1, to) || !encodeBlock(encoder, nullptr, 0, to)) return -1;
    return to.at == out ? -1 : static_cast<int>(to.at - out);
}

bool decodeByConverter(Codeset const& cs, Source& from, Target& to, Extent extent) {
    iconv_t const decoder = threadDecoder(cs);
    if (!isOpen(decoder)) return false;
    CodePoint block[blockSize];
    for (bool flush = false;; flush = from.at == from.end) {
        int const count = decodeBlock(decoder, flush ? nullptr : &from, block, blockSize);
        if (count < 0) return false;
        for (int i = 0; i < count; ++i) {
            if (!putUtf8(to, block[i])) return false;
        }
        if (flush || extent == Extent::block) return true;
    }
}

bool encodeByConverter(Codeset const& cs, Source& from, Target& to, Extent extent) {
    iconv_t const encoder = threadEncoder(cs);
    if (!isOpen(encoder)) return false;
    CodePoint block[blockSize];
    do {
        int const count = readBlock(from, block);
        Byte const* const before = to.at;
        if (count < 0 || !encodeBlock(encoder, block, static_cast<std::size_t>(count), to)) {
            return false;
        }
        // No composing codeset has tags; there a character held back could hide the loss of one.
        if (isTag(block[0]) && (to.at == before || extent == Extent::all)) return false;
    } while (extent == Extent::all && from.at != from.end);
    return extent == Extent::block || encodeBlock(encoder, nullptr, 0, to);
}

}  // namespace tis
