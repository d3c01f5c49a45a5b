// Compression, checksum and buffers.
//
// Oracle: for streams, a decoder that gives out one byte at a time and so knows what is produced
// before it meets the end or an error; for the checksum, its definition; for buffers, a
// std::string. Blocks end at unreadable pages.
//
// Input: what to check, and a number; then a stream, a text or operations of two bytes.
#include <Z/ZBuffer.h>
#include <Z/ZSqueeze.h>
#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "guarded.h"

using Bytes = std::vector<unsigned char>;

namespace {

constexpr std::size_t most = 1 << 16;  // that the oracle unpacks

// ---- Streams ----

struct Unpacked {
    enum { whole, corrupt, cut } end;
    Bytes bytes;
};

Unpacked unpack(Bytes const& stream) {
    z_stream state = {};
    FUZZ_CHECK(inflateInit(&state) == Z_OK);
    state.next_in = const_cast<unsigned char*>(stream.data());
    state.avail_in = static_cast<uInt>(stream.size());
    Unpacked result = {Unpacked::cut, {}};
    int rc = Z_OK;
    while (rc == Z_OK && result.bytes.size() < most) {
        unsigned char byte = 0;
        state.next_out = &byte;
        state.avail_out = 1;
        rc = inflate(&state, Z_NO_FLUSH);
        if (state.avail_out == 0) result.bytes.push_back(byte);
    }
    inflateEnd(&state);
    if (rc == Z_STREAM_END) result.end = Unpacked::whole;
    if (rc == Z_DATA_ERROR || rc == Z_NEED_DICT) result.end = Unpacked::corrupt;
    return result;
}

unsigned char* endOf(fuzz::Guarded& place) {
    return reinterpret_cast<unsigned char*>(place.end());
}

unsigned char* room(std::size_t capacity) {
    static fuzz::Guarded place(most / 4096 + 1);
    return endOf(place) - capacity;
}

struct Outcome {
    int rc;
    Bytes bytes;
};

// Into a block of exactly so many bytes; both ways to ask say the same.
Outcome uncompress(Bytes const& stream, std::size_t capacity) {
    static fuzz::Guarded sourcePlace(3);
    unsigned char* const source = endOf(sourcePlace) - stream.size();
    std::copy(stream.begin(), stream.end(), source);
    unsigned char* const dest = room(capacity);
    ZSqueeze_5_1 squeeze;
    unsigned long length = capacity;
    int const rc = squeeze.uncompress(dest, &length, source, stream.size());
    FUZZ_CHECK(rc <= 0 && (rc == 0 ? length <= capacity : length == capacity));
    Outcome const result = {rc, Bytes(dest, dest + (rc == 0 ? length : 0))};
    squeeze.setSource(source, stream.size());
    int const again = squeeze.unsqueeze(dest, capacity);
    FUZZ_CHECK(again == (rc == 0 ? static_cast<int>(length) : rc));
    FUZZ_CHECK(rc != 0 || std::equal(result.bytes.begin(), result.bytes.end(), dest));
    return result;
}

void checkStream(Bytes const& stream, std::size_t cut) {
    Unpacked const expected = unpack(stream);
    std::size_t const size = expected.bytes.size();
    if (size >= most) {
        FUZZ_CHECK(uncompress(stream, cut).rc == -5);
        return;
    }
    for (std::size_t const capacity : {size, size + 1, size + 300, cut % (size + 1)}) {
        Outcome const got = uncompress(stream, capacity);
        bool const fits = size <= capacity;
        if (expected.end == Unpacked::whole && fits) {
            FUZZ_CHECK(got.rc == 0 && got.bytes == expected.bytes);
        } else if (expected.end == Unpacked::corrupt && fits) {
            // With all room used the error behind the last byte may be met or not.
            FUZZ_CHECK(got.rc == -3 || (got.rc == -5 && size == capacity));
        } else {
            FUZZ_CHECK(got.rc == -5);
        }
    }
}

void checkRoundTrip(Bytes const& text, std::size_t cut) {
    ZSqueeze_5_1 squeeze;
    auto* const source = const_cast<unsigned char*>(text.data());
    squeeze.setSource(source, text.size());
    std::size_t const bound = text.size() + text.size() / 1000 + 12;
    unsigned char const* const dest = room(bound);
    int const length = squeeze.squeeze(room(bound), bound);
    FUZZ_CHECK(length >= 8);
    Bytes packed(dest, dest + length);
    std::size_t const less = cut % packed.size();
    FUZZ_CHECK(squeeze.squeeze(room(less), less) == -5);
    Outcome const back = uncompress(packed, text.size());
    FUZZ_CHECK(back.rc == 0 && back.bytes == text);
    // Cut, followed by other bytes, and with a byte changed.
    FUZZ_CHECK(uncompress(Bytes(packed.begin(), packed.end() - 1), text.size() + 1).rc == -5);
    Bytes other = packed;
    other.push_back(0xA9);
    FUZZ_CHECK(uncompress(other, text.size()).bytes == text);
    packed[less] ^= static_cast<unsigned char>(cut | 1);
    checkStream(packed, cut);
}

void checkRefusals(Bytes const& text) {
    ZSqueeze_5_1 const squeeze;
    unsigned long length = 64;
    unsigned char dest[64];
    FUZZ_CHECK(squeeze.compress(dest, nullptr, text.data(), text.size()) == -2);
    FUZZ_CHECK(squeeze.uncompress(dest, nullptr, text.data(), text.size()) == -2);
    FUZZ_CHECK(squeeze.uncompress(dest, &length, nullptr, 1) == -2);
    FUZZ_CHECK(squeeze.uncompress(nullptr, &length, dest, 1) == -2);
    FUZZ_CHECK(squeeze.uncompress(dest, &length, dest, 1ul + INT_MAX) == -5);
    length = 1ul + INT_MAX;
    FUZZ_CHECK(squeeze.uncompress(dest, &length, dest, 1) == -5 && length == 1ul + INT_MAX);
    FUZZ_CHECK(squeeze.unsqueeze(dest, 64) == -5);
}

void checkAdler(Bytes const& text, std::size_t cut) {
    unsigned long const start = static_cast<unsigned long>(cut) * 0x01010101ul;
    unsigned long low = (start & 0xFFFF) % 65521;
    unsigned long high = (start >> 16 & 0xFFFF) % 65521;
    for (unsigned char const byte : text) {
        low = (low + byte) % 65521;
        high = (high + low) % 65521;
    }
    unsigned long const expected = text.empty() ? start : high << 16 | low;
    auto const size = static_cast<unsigned>(text.size());
    unsigned char const some = 0;
    unsigned char const* const from = text.empty() ? &some : text.data();
    FUZZ_CHECK(ZAdler32_5_1::adler32(start, from, size) == expected);
    FUZZ_CHECK(ZAdler32_5_1::adler32(start, nullptr, size) == 1);
    unsigned const half = size / 2;
    unsigned long const first = ZAdler32_5_1::adler32(start, from, half);
    FUZZ_CHECK(ZAdler32_5_1::adler32(first, from + half, size - half) == expected);
}

// ---- Buffers ----

std::string_view contentOf(ZBuffer_5_1 const& buffer) {
    return {static_cast<char const*>(buffer.getBuffer()), buffer.getLength()};
}

int sign(int value) {
    return (value > 0) - (value < 0);
}

// Shorter is less.
int compare(std::string const& one, std::string const& two) {
    if (one.size() != two.size()) return one.size() < two.size() ? -1 : 1;
    return sign(one.compare(two));
}

void runBuffer(ZBuffer_5_1& buffer, std::string& model, ZBuffer_5_1& other, std::string& theirs,
               unsigned what, unsigned value) {
    std::string text(value % 40, static_cast<char>(what));
    switch (what / 2 % 8) {
        case 0: {
            std::size_t const before = model.size();
            buffer.setLength(value % 64);
            model.resize(value % 64, 'n');
            auto* const bytes = static_cast<char*>(buffer.getBuffer());
            for (std::size_t i = before; i < model.size(); ++i) bytes[i] = 'n';
            break;
        }
        case 1:
            buffer.setBuffer(text.size(), text.data());
            model = text;
            break;
        case 2: {
            // A part of itself, and what follows it as zeros.
            std::size_t const from = model.empty() ? 0 : what % model.size();
            std::size_t const length = value % 64;
            buffer.setBuffer(length, static_cast<char*>(buffer.getBuffer()) + from);
            model = model.substr(from, length);
            model.resize(length);
            break;
        }
        case 3:
            text.resize(std::min(text.size(), text.find('\0')));
            buffer.setBuffer(value % 5 ? text.data() : nullptr);
            model = value % 5 ? text + '\0' : "";
            break;
        case 4: {
            unsigned long length;
            void* data;
            other.takeBuffer(length, data);
            FUZZ_CHECK(length == theirs.size() && other.getLength() == 0 && !other.getBuffer());
            buffer.setBufferNoCopy(length, data);
            model.swap(theirs);
            theirs.clear();
            break;
        }
        case 5:
            buffer = other;
            model = theirs;
            break;
        case 6: {
            std::unique_ptr<ZObject_5_1> const copy(other.clone());
            FUZZ_CHECK(copy->equals(other) && copy->compare(buffer) == compare(theirs, model));
            FUZZ_CHECK(contentOf(static_cast<ZBuffer_5_1&>(*copy)) == theirs);
            ZBuffer_5_1 const made(theirs.size(), theirs.data()), copied(made);
            ZBuffer_5_1 const ofText(value % 2 ? text.c_str() : nullptr);
            FUZZ_CHECK(contentOf(made) == theirs && contentOf(copied) == theirs);
            FUZZ_CHECK(made.getBuffer() != theirs.data() || theirs.empty());
            FUZZ_CHECK(contentOf(ofText) == (value % 2 ? text.c_str() + std::string(1, '\0') : ""));
            break;
        }
        default: {
            ZConstBuffer_5_1 view(model.size(), model.data());
            ZConstBuffer_5_1 const second(view);
            FUZZ_CHECK(view.compare(buffer) == 0 && second.getBuffer() == model.data());
            FUZZ_CHECK(view.compare(other) == compare(model, theirs));
            unsigned long length;
            void* data;
            view.takeBuffer(length, data);
            FUZZ_CHECK(length == model.size() && data == model.data() && !view.getBuffer());
        }
    }
}

void checkBuffers(Bytes const& operations) {
    ZBuffer_5_1 buffers[2];
    std::string models[2];
    for (std::size_t i = 0; i + 1 < operations.size(); i += 2) {
        unsigned const one = operations[i] & 1u;
        unsigned const two = 1 - one;
        runBuffer(buffers[one], models[one], buffers[two], models[two], operations[i],
                  operations[i + 1]);
        FUZZ_CHECK(contentOf(buffers[0]) == models[0] && contentOf(buffers[1]) == models[1]);
        FUZZ_CHECK((buffers[one].getBuffer() == nullptr) == models[one].empty());
        FUZZ_CHECK(buffers[0].compare(buffers[1]) == compare(models[0], models[1]));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 2 || size > 4096) return 0;
    Bytes text(data + 2, data + size);
    std::size_t const cut = data[1];
    switch (data[0] % 8) {
        case 0:
            checkRoundTrip(text, cut);
            checkRefusals(text);
            break;
        case 1:
        case 2: {
            // The header is right, so more of the stream is looked at.
            Bytes const header = {0x78, 0x9C};
            text.insert(text.begin(), header.begin(), header.end());
            checkStream(text, cut);
            break;
        }
        case 3:
            checkStream(text, cut);
            break;
        case 4:
            checkAdler(text, cut);
            break;
        default:
            checkBuffers(text);
    }
    return 0;
}
