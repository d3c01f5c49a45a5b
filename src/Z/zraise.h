// zraise: the library's own ways to throw, and to catch without swallowing a thread's cancellation.
// Subsystem: model, layer 0. Test: tests/ZException_test.cpp
#ifndef Z_ZRAISE_H
#define Z_ZRAISE_H

#include <cxxabi.h>

#include <cstdlib>

// Stands where `catch (...)` would: a cancelled thread unwinds by an exception of the C library
// that must never be kept, or the process ends.
#define Z_CATCH_ALL \
    catch (abi::__forced_unwind&) { \
        throw; \
    } \
    catch (...)

namespace z_5_1 {

// The English text of a message code, null for a code that has none (in ZMessage.cpp).
char const* defaultText(unsigned long code) noexcept;

// Throws `exception` as raised in `unit` ("src/Z/<Unit>") at `line`.
template <class Exception>
[[noreturn]] void raiseAt(char const* unit, int line, Exception exception) {
    exception.throwException(unit, line);
    std::abort();  // throwException always throws
}

// The same at the caller's line.
template <class Exception>
[[noreturn]] void raise(char const* unit, Exception exception, int line = __builtin_LINE()) {
    exception.throwException(unit, line);
    std::abort();
}

// For calls that return 0 or an error number: throws Exception(code, rc) unless rc is 0.
template <class Exception>
void check(char const* unit, int code, int rc, int line = __builtin_LINE()) {
    if (rc != 0) raise(unit, Exception(code, rc), line);
}

}  // namespace z_5_1

#endif
