// zhex_dump: memory in hexadecimal, for diagnostics.
// Subsystem: platform, layer 3. Test: tests/ZLocalHostName_test.cpp
#include "zhex_dump.h"

#include <algorithm>
#include <cstdio>

#include "ZLock.h"
#include "zreport.h"

namespace {

constexpr char const* unit = "src/Z/zhex_dump";
constexpr unsigned int rowBytes = 16;

// Never destroyed. Where it cannot be made, the next dump tries again.
ZLock_5_1& dumpLock() {
    static auto* const only = new ZLock_5_1;
    return *only;
}

// 1 to 16 bytes; a row that is not full has blanks up to its characters.
void writeRow(FILE* stream, unsigned int offset, unsigned char const* data, unsigned int count) {
    char characters[rowBytes + 1] = {};
    std::fprintf(stream, "\n%4.4x ", offset);
    for (unsigned int i = 0; i < rowBytes; ++i) {
        if (i % 8 == 0) std::fputc(' ', stream);
        if (i < count) {
            std::fprintf(stream, " %02x", data[i]);
            characters[i] = data[i] >= 32 && data[i] <= 253 ? static_cast<char>(data[i]) : '.';
        } else {
            std::fputs("   ", stream);
        }
    }
    std::fprintf(stream, "  *%s*", characters);
}

void writeDump(FILE* stream, unsigned int bytes, unsigned char const* data, char const* title) {
    if (title != nullptr) std::fprintf(stream, "\n\t%s\n", title);
    for (unsigned int at = 0; at < bytes; at += rowBytes)
        writeRow(stream, at, data + at, std::min(rowBytes, bytes - at));
    std::fputc('\n', stream);
}

}  // namespace

extern "C" int zhex_dump_5_1(FILE* stream, int length, unsigned char const* data,
                             char const* title) {
    if (stream == nullptr) stream = stderr;
    unsigned int const bytes =
        data == nullptr || length < 0 ? 0U : static_cast<unsigned int>(length);
    // Not for the lock alone: compilers take it that fprintf() lets nothing pass.
    z_5_1::NotCancelled const whole;
    ZLock_5_1* held = nullptr;
    z_5_1::quietly(unit, [&held] {
        ZLock_5_1& lock = dumpLock();
        lock.lock();
        held = &lock;
    });
    writeDump(stream, bytes, data, title);
    int rc = -1;
    if (held) z_5_1::quietly(unit, [&] { rc = held->unlock(); });
    return rc;
}
