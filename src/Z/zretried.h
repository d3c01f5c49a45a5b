// zretried: a system call again as long as signals interrupt it.
// Subsystem: concurrency, layer 2. Test: tests/ZFileMap_test.cpp
#ifndef Z_ZRETRIED_H
#define Z_ZRETRIED_H

#include <cerrno>

namespace z_5_1 {

// The result of `call`, which is -1 with an errno other than EINTR when it fails.
template <class Call>
auto retried(Call call) {
    decltype(call()) result;
    do result = call();
    while (result == -1 && errno == EINTR);
    return result;
}

}  // namespace z_5_1

#endif
