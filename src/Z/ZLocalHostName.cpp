// ZLocalHostName: what the resolver calls this machine.
// Subsystem: platform, layer 3. Test: tests/ZLocalHostName_test.cpp
#include "ZLocalHostName.h"

#include <netdb.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <new>

#include "ZException.h"
#include "zraise.h"
#include "zreport.h"

namespace {

constexpr char const* unit = "src/Z/ZLocalHostName";
constexpr std::size_t bufferSize = 256;
constexpr int noName = 25;
constexpr int notResolved = 26;

ZLCString_5_1 failed(int code, int line = __builtin_LINE()) {
    int const rc = errno;
    z_5_1::quietly(unit, [&] { z_5_1::reportNumber(unit, code, rc, line); });
    return ZLCString_5_1();
}

}  // namespace

ZLCString_5_1 ZLocalHostName_5_1::getLocalHostName() {
    std::unique_ptr<char[]> const buffer(new (std::nothrow) char[bufferSize]);
    if (buffer == nullptr) z_5_1::raise(unit, ZOutOfMemoryException_5_1());
    // Inside the resolver's call, which holds a lock, a thread must not end.
    z_5_1::NotCancelled const whole;
    errno = 0;
    if (gethostname(buffer.get(), bufferSize) != 0) return failed(noName);
    buffer[bufferSize - 1] = '\0';
    errno = 0;
    hostent const* const host = gethostbyname(buffer.get());
    if (host == nullptr) return failed(notResolved);
    return ZLCString_5_1(static_cast<char const*>(host->h_name));
}
