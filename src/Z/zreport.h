// zreport: reports through the message service from places that may not throw.
// Subsystem: concurrency, layer 2. Test: tests/ZLock_test.cpp
#ifndef Z_ZREPORT_H
#define Z_ZREPORT_H

#include <cxxabi.h>
#include <pthread.h>

#include <exception>

#include "ZException.h"
#include "ZLCString.h"
#include "ZMessage.h"
#include "zraise.h"

namespace z_5_1 {

// While it lives, the thread is not cancelled: writing a report is a cancellation point.
class NotCancelled {
public:
    NotCancelled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    NotCancelled(NotCancelled const&) = delete;
    NotCancelled& operator=(NotCancelled const&) = delete;
    ~NotCancelled() { pthread_setcancelstate(before_, nullptr); }

private:
    int before_ = 0;
};

// Runs `body` and returns its result. When the thread is cancelled in there, `undo` runs while it
// unwinds; an exception passes without.
//
// While an exception is handled, catching a cancellation ends the process, so that is told by the
// count of exceptions under way, to which a cancellation does not add. It adds when it is thrown
// again by a handler that it passes, so without such a handled exception it is caught. Passed as an
// exception without an object, as in quietly().
template <class Body, class Undo>
__attribute__((no_sanitize("undefined"))) auto onCancel(Body const& body, Undo const& undo) {
    struct Guard {
        Undo const& undo;
        bool const handling = std::current_exception() != nullptr;
        int const before = std::uncaught_exceptions();
        bool returned = false;
        bool caught = false;
        bool cancelled() const {
            if (!handling) return caught;
            return !returned && std::uncaught_exceptions() == before;
        }
        ~Guard() {
            if (cancelled()) undo();
        }
    } guard{undo};
    auto const run = [&] {
        auto const result = body();
        guard.returned = true;
        return result;
    };
    if (guard.handling) return run();
    try {
        return run();
    } catch (abi::__forced_unwind&) {
        guard.caught = true;
        throw;
    }
}

// Writes the message code with the number `rc` as its insert.
inline void reportNumber(char const* unit, int code, int rc, int line = __builtin_LINE()) {
    NotCancelled const whole;
    ZLCString_5_1 const number(rc);
    ZMessageService_5_1::messageService()->outputMessage(unit, line, code, 1, &number);
}

// Runs `body`, which may throw, where nothing may be thrown: what it throws is written instead. A
// report that throws in its turn is lost.
//
// A cancellation passes as an exception without an object, to which its handler's reference binds.
template <class Body>
__attribute__((no_sanitize("undefined"))) void quietly(char const* unit, Body const& body,
                                                       int line = __builtin_LINE()) {
    constexpr int unknownException = 19;
    auto report = [](auto const& write) {
        NotCancelled const whole;
        try {
            write();
        }
        Z_CATCH_ALL {}
    };
    try {
        body();
    } catch (ZException_5_1& exception) {
        report([&] { ZMessageService_5_1::messageService()->outputException(exception); });
    }
    Z_CATCH_ALL {
        report([&] {
            ZMessageService_5_1::messageService()->outputMessage(unit, line, unknownException, 0);
        });
    }
}

// Writes and throws: for failures that go into the log whether or not the caller catches them.
template <class Exception>
void checkAndReport(char const* unit, int code, int rc, int line = __builtin_LINE()) {
    if (rc == 0) return;
    quietly(unit, [&] { reportNumber(unit, code, rc, line); });
    check<Exception>(unit, code, rc, line);
}

}  // namespace z_5_1

#endif
