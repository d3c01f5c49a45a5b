// ZTest: what the tests of several units share: folders, files, processes, captured reports.
#ifndef Z_TESTS_ZTEST_H
#define Z_TESTS_ZTEST_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

namespace ztest {

// A folder that goes with its content.
class Folder {
public:
    explicit Folder(std::string const& parent = "/tmp") : path_(parent + "/z_test.XXXXXX") {
        if (!mkdtemp(path_.data())) path_.clear();
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    std::string operator/(char const* name) const { return path_ + "/" + name; }
    std::string const& path() const { return path_; }

private:
    std::string path_;
};

inline void write(std::string const& file, std::string const& text) {
    std::ofstream(file, std::ios::binary) << text;
}

inline std::string read(std::string const& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

// What `run` writes to standard error.
inline std::string reported(std::function<void()> const& run) {
    testing::internal::CaptureStderr();
    run();
    return testing::internal::GetCapturedStderr();
}

// Runs `body` in a process of its own and returns its exit code, 1000 + status for another end.
inline int inProcess(std::function<int()> const& body) {
    pid_t const child = fork();
    if (child == 0) _exit(body());
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + status;
}

// The exception of class E that `run` throws must satisfy `check`.
template <class E>
void expectThrow(std::function<void()> const& run, std::function<void(E&)> const& check) {
    try {
        run();
        ADD_FAILURE() << "nothing was thrown";
    } catch (E& e) {
        check(e);
    }
}

}  // namespace ztest

#endif
