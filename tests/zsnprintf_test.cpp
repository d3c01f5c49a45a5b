// zsnprintf_test: formats and their texts, and a comparison with the C library's snprintf.
// Subsystem: strings, layer 2. Test: tests/zsnprintf_test.cpp
#include <Z/zasprintf.h>
#include <Z/zsnprintf.h>

#include "ZTest.h"

TEST(zsnprintf, CutsAndMeasures) {
    char buf[4];
    EXPECT_EQ(zsnprintf_5_1(buf, 4, "abcdef"), 6);
    EXPECT_STREQ(buf, "abc");
}
