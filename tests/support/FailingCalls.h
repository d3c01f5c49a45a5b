// FailingCalls: makes one call of the thread library fail, to see what the locks make of it.
// Under the thread sanitizer, which needs these calls itself, nothing fails and the tests that
// rely on it are left out (Z_CALLS_CAN_FAIL is 0).
#ifndef Z_TESTS_FAILINGCALLS_H
#define Z_TESTS_FAILINGCALLS_H

#include <dlfcn.h>
#include <pthread.h>

#include <string>

#include "ZTest.h"

namespace ztest {

inline std::string failingCall;  // its name, "" for none
constexpr int failure = 95;

// A call, and the codes of the exception and of the report that come of its failure, 0 for none.
struct Failing {
    char const* call;
    unsigned long thrown, reported;
};

// `run` throws an E and reports, in this source, as the row says.
template <class E, class Run>
void expectFailure(Failing const& row, std::string const& source, Run const& run) {
    unsigned long thrown = 0;
    std::string const report = reported([&] {
        try {
            failingCall = row.call;
            run();
        } catch (E& e) {
            thrown = e.rc() == failure ? e.code() : 0;
        }
        failingCall = "";
    });
    std::string const code = std::to_string(row.reported ? row.reported : row.thrown);
    std::string const start = "Error: " + code + "\n File: \"" + source;
    bool const found = report.rfind(start, 0) == 0 && report.find(":\n95\n") != report.npos;
    EXPECT_EQ(thrown, row.thrown) << row.call;
    EXPECT_EQ(found, row.reported != 0) << row.call << report;
}

}  // namespace ztest

#if defined(__SANITIZE_THREAD__)
#define Z_CALLS_CAN_FAIL 0
#else
#define Z_CALLS_CAN_FAIL 1

#define Z_FAILING(call, parameters, arguments) \
    extern "C" __attribute__((visibility("default"))) int call parameters { \
        if (ztest::failingCall == #call) return ztest::failure; \
        static auto const real = reinterpret_cast<int(*) parameters>(dlsym(RTLD_NEXT, #call)); \
        return real arguments; \
    }
Z_FAILING(pthread_mutex_init, (pthread_mutex_t * m, pthread_mutexattr_t const* a) noexcept, (m, a))
Z_FAILING(pthread_mutex_destroy, (pthread_mutex_t * m) noexcept, (m))
Z_FAILING(pthread_mutex_unlock, (pthread_mutex_t * m) noexcept, (m))
Z_FAILING(pthread_cond_init, (pthread_cond_t * c, pthread_condattr_t const* a) noexcept, (c, a))
Z_FAILING(pthread_cond_destroy, (pthread_cond_t * c) noexcept, (c))
Z_FAILING(pthread_cond_signal, (pthread_cond_t * c) noexcept, (c))
Z_FAILING(pthread_cond_broadcast, (pthread_cond_t * c) noexcept, (c))
Z_FAILING(pthread_attr_init, (pthread_attr_t * a) noexcept, (a))
Z_FAILING(pthread_attr_destroy, (pthread_attr_t * a) noexcept, (a))
Z_FAILING(pthread_attr_setdetachstate, (pthread_attr_t * a, int state) noexcept, (a, state))
Z_FAILING(pthread_create,
          (pthread_t * t, pthread_attr_t const* a, void* (*run)(void*), void* argument) noexcept,
          (t, a, run, argument))
#endif

#endif
