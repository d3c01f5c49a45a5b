// ZWinRegistry: the registry of another platform, which is not to be had here.
// Subsystem: platform, layer 3. Test: tests/ZLocalHostName_test.cpp
#ifndef Z_ZWINREGISTRY_H
#define Z_ZWINREGISTRY_H

#include "ZAbstractMutableString.h"

// So that callers compile everywhere.
class Z_API ZWinRegistry_5_1 {
public:
    // Both throw ZInvalidPlatformException_5_1 (code 11) and do nothing else.
    static int exists(char const* key, char const* value);
    static int getValue(char const* key, char const* value, ZAbstractMutableString_5_1& out);
};

#endif
