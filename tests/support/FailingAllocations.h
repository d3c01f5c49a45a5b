// FailingAllocations: makes one allocation of the process fail, to see what is left then. Where a
// sanitizer brings its own, nothing fails and the tests that rely on it are left out.
#ifndef Z_TESTS_FAILINGALLOCATIONS_H
#define Z_TESTS_FAILINGALLOCATIONS_H

#include <cstddef>

namespace ztest {

inline int allocationsLeft = -1;  // until one fails; below 0: any number

}  // namespace ztest

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define Z_MEMORY_CAN_FAIL 1
#define Z_FAILING_ALLOCATION(call, parameters, arguments) \
    extern "C" void* __libc_##call parameters; \
    extern "C" __attribute__((visibility("default"))) void* call parameters { \
        bool const fails = ztest::allocationsLeft >= 0 && ztest::allocationsLeft-- == 0; \
        return fails ? nullptr : __libc_##call arguments; \
    }
Z_FAILING_ALLOCATION(malloc, (std::size_t size), (size))
Z_FAILING_ALLOCATION(calloc, (std::size_t count, std::size_t size), (count, size))
Z_FAILING_ALLOCATION(realloc, (void* p, std::size_t size), (p, size))

namespace ztest {

// Runs `act` with its first allocation failing, then its second, and so on until it is done, and
// after each failure `check`. How many there were; -1 when it is never done.
template <class Act, class Check>
int failEach(Act const& act, Check const& check) {
    for (int failures = 0; failures < 1000; ++failures) {
        try {
            allocationsLeft = failures;
            act();
            allocationsLeft = -1;
            return failures;
        } catch (...) {
            allocationsLeft = -1;
            check();
        }
    }
    return -1;
}

}  // namespace ztest
#endif

#endif
