// release_user: a client of one release, as the test of two releases in one process sees it.
#ifndef Z_TESTS_RELEASE_USER_H
#define Z_TESTS_RELEASE_USER_H

#include <functional>
#include <string>

struct ReleaseUser {
    void (*raise)();                                    // throws this release's exception
    bool (*catches)(std::function<void()> const& run);  // `run` threw an exception of this release
    std::string (*work)(std::string const& file, int n);  // what was stored and loaded n times
    std::string (*reports)();                             // what its message service has heard
    char const* exceptionName;
};

extern ReleaseUser const releaseUser_5_1;

#endif
