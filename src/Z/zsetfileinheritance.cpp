// zsetfileinheritance: lets programs started by this one keep a descriptor.
// Subsystem: platform, layer 3. Test: tests/ZLocalHostName_test.cpp
#include "zsetfileinheritance.h"

#include <fcntl.h>

extern "C" int zsetfileinheritance_5_1(int fd, int) {
    return fcntl(fd, F_SETFD, 0) != -1 ? 1 : 0;
}
