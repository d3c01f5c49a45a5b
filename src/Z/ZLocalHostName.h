// ZLocalHostName: what the resolver calls this machine.
// Subsystem: platform, layer 3. Test: tests/ZLocalHostName_test.cpp
#ifndef Z_ZLOCALHOSTNAME_H
#define Z_ZLOCALHOSTNAME_H

#include "ZLCString.h"

// What this machine is called.
class Z_API ZLocalHostName_5_1 {
public:
    // The official name of the local host, with its domain where the resolver knows that. Empty
    // when the name cannot be found or resolved, which is written through the message service (code
    // 25 and 26, with errno). Throws nothing but ZOutOfMemoryException_5_1 (code 1). The resolver's
    // call is not re-entrant: callers serialise. A cancellation waits until the name is there.
    static ZLCString_5_1 getLocalHostName();
};

#endif
