// multibyte: codesets with characters of one to four bytes.
// Subsystem: tis, layer 0. Test: tests/tis_test.cpp
#include "multibyte.h"

#include <pthread.h>

#include <cstdlib>

#include "converter.h"

namespace tis {

namespace {

pthread_mutex_t making = PTHREAD_MUTEX_INITIALIZER;

constexpr std::size_t cellCount = 0x10000;

PairTable* makePairs(Codeset const& cs) {
    OwnConverter const decoder(codePoints, cs.name);
    if (!isOpen(decoder.get())) return nullptr;
    PairTable* const table = static_cast<PairTable*>(std::calloc(1, sizeof(PairTable)));
    if (table == nullptr) return nullptr;
    table->composing = cs.composing;
    for (unsigned lead = 0x80; lead < 256; ++lead) {
        if (cs.first[lead] != cellLead) continue;
        for (unsigned second = 1; second < 256; ++second) {  // NUL continues nothing
            Byte const bytes[2] = {static_cast<Byte>(lead), static_cast<Byte>(second)};
            Probe const found = probe(decoder.get(), bytes, 2);
            table->cells[lead << 8 | second] = cellOf(found);
            if (found.held || found.outcome == Probe::several) table->composing = true;
        }
    }
    return table;
}

std::uint16_t* makeCodes(Codeset const& cs, PairTable const& pairs) {
    OwnConverter const encoder(cs.name, codePoints);
    if (!isOpen(encoder.get())) return nullptr;
    void* const memory = std::calloc(cellCount, sizeof(std::uint16_t));
    std::uint16_t* const codes = static_cast<std::uint16_t*>(memory);
    if (codes == nullptr) return nullptr;
    // Asked for each character that decoding knows: where two forms decode alike, or encoding goes
    // elsewhere, the converter decides.
    auto const add = [&](Cell cell) {
        Byte bytes[8];
        if (!isCharacter(cell) || codes[cell] != 0) return;
        int const length = encodeAlone(encoder.get(), cell, bytes);
        if (length == 1) codes[cell] = bytes[0];
        if (length == 2) codes[cell] = static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
    };
    for (Cell const cell : cs.first) add(cell);
    for (Cell const cell : pairs.cells) add(cell);
    return codes;
}

// The table of `slot`, made by the first thread that needs it while others wait.
template <class Table, class Make>
Table const* lazily(std::atomic<Table const*>& slot, Make make) {
    Table const* table = slot.load(std::memory_order_acquire);
    if (table != nullptr) return table;
    pthread_mutex_lock(&making);
    table = slot.load(std::memory_order_relaxed);
    if (table == nullptr) {
        table = make();
        slot.store(table, std::memory_order_release);
    }
    pthread_mutex_unlock(&making);
    return table;
}

PairTable const* pairsOf(Codeset const& cs) {
    return lazily(cs.pairs, [&] { return makePairs(cs); });
}

// Null also for composing codesets, whose characters depend on their neighbours.
std::uint16_t const* codesOf(Codeset const& cs) {
    PairTable const* const pairs = pairsOf(cs);
    if (pairs == nullptr || pairs->composing) return nullptr;
    return lazily(cs.codes, [&] { return makeCodes(cs, *pairs); });
}

// Asks the converter, which sees no byte past the terminator.
int decodeLongest(Codeset const& cs, Byte const* p, std::size_t left, CodePoint& cp) {
    iconv_t const decoder = threadDecoder(cs);
    if (!isOpen(decoder)) return -1;
    for (unsigned length = 2; length <= maxCharacter && length <= left; ++length) {
        if (p[length - 1] == 0) return -1;
        Probe const found = probe(decoder, p, length);
        if (found.outcome == Probe::incomplete) continue;
        cp = found.cp;
        return found.outcome == Probe::one ? static_cast<int>(length) : -1;
    }
    return -1;
}

// A converter takes over at `from`, for a block or for the rest. It works on copies, so that the
// callers' positions can stay in registers.
template <class Work>
bool handOver(Work work, Codeset const& cs, Source& from, Target& to, Extent extent) {
    Source rest = from;
    Target room = to;
    bool const done = work(cs, rest, room, extent);
    from = rest;
    to = room;
    return done;
}

inline bool putCode(Target& to, std::uint16_t code) {
    if (code < 0x100) {
        if (to.left() < 1) return false;
        *to.at++ = static_cast<Byte>(code);
        return true;
    }
    if (to.left() < 2) return false;
    to.at[0] = static_cast<Byte>(code >> 8);
    to.at[1] = static_cast<Byte>(code & 0xFF);
    to.at += 2;
    return true;
}

}  // namespace

int decodeLong(Codeset const& cs, Byte const* p, std::size_t left, CodePoint& cp) {
    if (left < 2) return -1;
    PairTable const* const pairs = pairsOf(cs);
    unsigned const pair = static_cast<unsigned>(p[0] << 8 | p[1]);
    Cell const cell = pairs == nullptr ? cellLead : pairs->cells[pair];
    switch (cell) {
        case cellNone:
            return -1;
        case cellLead:
        case cellAstral:
            return decodeLongest(cs, p, left, cp);
        case cellSeveral:
            cp = severalBase | pair;
            return 2;
        default:
            cp = cell;
            return 2;
    }
}

int encodeMultibyte(Codeset const& cs, CodePoint cp, Byte* out) {
    std::uint16_t const* const codes = codesOf(cs);
    if (codes != nullptr && cp < cellCount && codes[cp] != 0) {
        Target to = {out, out + 2};
        putCode(to, codes[cp]);
        return static_cast<int>(to.at - out);
    }
    return encodeAlone(threadEncoder(cs), cp, out);
}

Byte* multibyteToUtf8(Codeset const& cs, Source from, Target to) {
    PairTable const* pairs = nullptr;
    while (from.at != from.end) {
        if (cs.asciiIdentity && *from.at < 0x80 && to.at != to.end) {
            copyAscii(from, to);
            continue;
        }
        int length = 1;
        Cell cell = cs.first[*from.at];
        if (cell == cellLead) {
            if (from.left() < 2) return nullptr;
            if (pairs == nullptr) pairs = pairsOf(cs);
            if (pairs == nullptr || pairs->composing) {
                bool const done = handOver(decodeByConverter, cs, from, to, Extent::all);
                return done ? to.at : nullptr;
            }
            length = 2;
            cell = pairs->cells[from.at[0] << 8 | from.at[1]];
        }
        if (isCharacter(cell) || *from.at == 0) {
            if (!putUtf8(to, cell)) return nullptr;
            from.at += length;
        } else if (cell == cellNone || !handOver(decodeByConverter, cs, from, to, Extent::block)) {
            return nullptr;
        }
    }
    return to.at;
}

Byte* multibyteFromUtf8(Codeset const& cs, Source from, Target to) {
    std::uint16_t const* codes = nullptr;
    while (from.at != from.end) {
        if (cs.asciiIdentity && *from.at < 0x80 && to.at != to.end) {
            copyAscii(from, to);
            continue;
        }
        if (codes == nullptr) codes = codesOf(cs);
        if (codes == nullptr) {
            bool const done = handOver(encodeByConverter, cs, from, to, Extent::all);
            return done ? to.at : nullptr;
        }
        CodePoint cp;
        int const length = decodeUtf8(from.at, from.left(), cp);
        if (length < 0) return nullptr;
        std::uint16_t const code = cp < cellCount ? codes[cp] : std::uint16_t{0};
        if (code != 0 || cp == 0) {
            if (!putCode(to, code)) return nullptr;
            from.at += length;
        } else if (!handOver(encodeByConverter, cs, from, to, Extent::block)) {
            return nullptr;
        }
    }
    return to.at;
}

}  // namespace tis
