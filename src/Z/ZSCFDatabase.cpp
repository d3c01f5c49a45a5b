// ZSCFDatabase: reads the obfuscated values from the companion database and writes them.
// Subsystem: properties, layer 5. Test: tests/ZPropertiesDatabase_test.cpp
//
// The database is one zlib stream (RFC 1950) of records, one per value, in the order of the
// obfuscated items and of each key's values: stanza, NUL, key, NUL, value, NUL, NUL. The very last
// NUL is left out. Texts are in the local codeset.
//
// The buffers of this file that hold values are cleared when they go.
#include <sys/mman.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "ZBuffer.h"
#include "ZException.h"
#include "ZSCFData.h"
#include "ZSqueeze.h"
#include "zraise.h"

namespace {

constexpr char const* unit = "src/Z/ZStanzaFileProperties";

constexpr unsigned long mostUncompressed = 1ul << 30;
constexpr int memoryError = -4;  // of zlib, as the next
constexpr int bufferError = -5;

[[noreturn]] void outOfMemory(int line = __builtin_LINE()) {
    z_5_1::raise(unit, ZOutOfMemoryException_5_1(), line);
}

// `factor` times `length`, as far as a machine word holds it.
unsigned long times(unsigned long factor, unsigned long length, int line = __builtin_LINE()) {
    if (length > ULONG_MAX / factor) outOfMemory(line);
    return factor * length;
}

// Zeroed pages of the process's own, which the system clears when they go. Those that were never
// written to cost nothing.
class SecretBytes {
public:
    explicit SecretBytes(unsigned long size)
        : size_(std::max(size, 1ul)),
          bytes_(mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
        if (bytes_ == MAP_FAILED) outOfMemory();
    }
    SecretBytes(SecretBytes const&) = delete;
    SecretBytes& operator=(SecretBytes const&) = delete;
    ~SecretBytes() { munmap(bytes_, size_); }

    char* bytes() const { return static_cast<char*>(bytes_); }
    unsigned char* data() const { return static_cast<unsigned char*>(bytes_); }

private:
    unsigned long size_;
    void* bytes_;
};

// Calls visit(chars, length with the NUL) for the texts of each record, and visitEnd() behind them.
template <class Visit, class VisitEnd>
void forEachRecord(ZPCategoryBasedCache_5_1& store, z_5_1::ObfuscatedItems const& items,
                   Visit visit, VisitEnd visitEnd) {
    for (ZObfuscatedItem_5_1 const& item : items.inOrder()) {
        ZLCString_5_1 const &stanza = item.stanza(), &key = item.key();
        ZArrayList_5_1* values =
            store.get(stanza.getChars(), key.getChars(), ZPCache_5_1::obfuscated);
        unsigned int const count = values ? values->size() : 0;
        for (unsigned int i = 0; i < count; ++i) {
            char const* value = static_cast<ZLCString_5_1*>(values->get(i))->getChars();
            for (char const* text : {stanza.getChars(), key.getChars(), value}) {
                visit(text, std::strlen(text) + 1);
            }
            visitEnd();
        }
    }
}

}  // namespace

// ---- reading ----

namespace {

// Tries -4 again with twice the room, and nothing else: -5, which is what too little room gives,
// makes a database invalid whose records are more than four times its size. That limit is kept
// on purpose; it also bounds what a small file can make a program allocate.
template <class Use>
int uncompress(ZBuffer_5_1 const& in, Use use) {
    ZSqueeze_5_1 stream;
    stream.setSource(static_cast<unsigned char*>(in.getBuffer()), in.getLength());
    for (unsigned long room = times(4, in.getLength());; room = times(2, room)) {
        if (room > INT_MAX) return bufferError;  // as unsqueeze would
        SecretBytes const records(room);
        int const length = stream.unsqueeze(records.data(), room);
        if (length >= 0) use(records.bytes(), static_cast<std::size_t>(length));
        if (length != memoryError) return length;
        if (room > mostUncompressed / 2) outOfMemory();
    }
}

}  // namespace

void ZSCFData_5_1::be_read_obfuscated(ZBuffer_5_1& in) {
    int const result = uncompress(
        in, [this](char const* records, std::size_t size) { readRecords(records, size); });
    if (result < 0) invalidDatabase();
}

bool ZSCFData_5_1::databaseLoadsBack() {
    ZBuffer_5_1 content;
    be_write_obfuscated(content);
    if (content.getLength() == 0) return true;
    return uncompress(content, [](char const*, std::size_t) {}) >= 0;
}

void ZSCFData_5_1::readRecords(char const* next, std::size_t size) {
    char const* const end = next + size;
    auto text = [this, &next, end] {
        char const* const first = next;
        auto const* nul = static_cast<char const*>(
            std::memchr(first, '\0', static_cast<std::size_t>(end - first)));
        if (!nul) invalidDatabase();
        next = nul + 1;
        return first;
    };
    while (next != end) {
        char const* const stanza = text();
        char const* const key = text();
        char const* const value = text();
        add(stanza, key, value, 1);
        if (next != end) ++next;  // the record's last NUL, which the last record does without
    }
}

void ZSCFData_5_1::invalidDatabase(int line) const {
    z_5_1::raise(unit, ZPropertiesInvalidDataException_5_1(databaseName().getChars(), "", 0), line);
}

// ---- writing ----

void ZSCFData_5_1::be_write_obfuscated(ZBuffer_5_1& out) {
    z_5_1::ObfuscatedItems const& items = content_->obfuscatedItems;
    unsigned long size = 0;
    forEachRecord(
        *this, items,
        [&size](char const*, std::size_t length) {
            if (size > INT_MAX - 1 || length > INT_MAX - 1 - size) outOfMemory();
            size += length;
        },
        [&size] { ++size; });
    if (size == 0) return;
    SecretBytes const records(size);
    char* next = records.bytes();
    forEachRecord(
        *this, items,
        [&next](char const* text, std::size_t length) {
            std::memcpy(next, text, length);
            next += length;
        },
        [&next] { *next++ = '\0'; });
    ZSqueeze_5_1 stream;
    stream.setSource(records.data(), size - 1);
    for (unsigned long room = times(2, size - 1); room <= INT_MAX; room = times(2, room)) {
        out.setLength(room);
        int const length = stream.squeeze(static_cast<unsigned char*>(out.getBuffer()), room);
        if (length < 0) continue;
        out.setLength(static_cast<unsigned long>(length));
        return;
    }
    outOfMemory();
}
