// ZWinRegistry: the registry of another platform, which is not to be had here.
// Subsystem: platform, layer 3. Test: tests/ZLocalHostName_test.cpp
#include "ZWinRegistry.h"

#include "ZException.h"
#include "zraise.h"

namespace {
constexpr char const* unit = "src/Z/ZWinRegistry";
}

int ZWinRegistry_5_1::exists(char const*, char const*) {
    z_5_1::raise(unit, ZInvalidPlatformException_5_1());
}

int ZWinRegistry_5_1::getValue(char const*, char const*, ZAbstractMutableString_5_1&) {
    z_5_1::raise(unit, ZInvalidPlatformException_5_1());
}
