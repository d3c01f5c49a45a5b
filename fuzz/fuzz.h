// What every fuzz target needs: the oracle's assertion, and a temporary folder of the process.
#ifndef Z_FUZZ_FUZZ_H
#define Z_FUZZ_FUZZ_H

#include <fuzzer/FuzzedDataProvider.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

// Ends the process with the place and the condition when the library and the oracle differ.
#define FUZZ_CHECK(condition) \
    (static_cast<bool>(condition) ? static_cast<void>(0) \
                                  : fuzz::differs(__FILE__, __LINE__, #condition))

namespace fuzz {

[[noreturn]] inline void differs(char const* file, int line, char const* condition) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

// A folder in memory, if there is such a file system, made at the first call and removed at the
// end of the process. For the files of one process: campaigns run several side by side.
inline std::string const& folder() {
    static struct Folder {
        std::string path;
        Folder() {
            char name[] = "/dev/shm/z-fuzz-XXXXXX";
            char other[] = "/tmp/z-fuzz-XXXXXX";
            char const* const made = mkdtemp(name) ? name : mkdtemp(other);
            FUZZ_CHECK(made != nullptr);
            path = made;
        }
        ~Folder() {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
    } const only;
    return only.path;
}

}  // namespace fuzz

#endif
