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
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace ztest {

// A folder that goes with its content; in /tmp where there is no such parent.
class Folder {
public:
    explicit Folder(std::string const& parent = "/tmp") : path_(parent + "/z_test.XXXXXX") {
        if (mkdtemp(path_.data())) return;
        path_ = "/tmp/z_test.XXXXXX";
        if (!mkdtemp(path_.data())) std::abort();
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    std::string operator/(char const* name) const { return path_ + "/" + name; }
    std::string const& path() const { return path_; }

private:
    std::string path_;
};

inline char const* write(std::string const& file, std::string const& text) {
    std::ofstream(file, std::ios::binary) << text;
    return file.c_str();
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

// Runs `body` in so many threads at once, each with its number from 0.
inline void inThreads(int count, std::function<void(int)> const& body) {
    std::vector<std::thread> threads;
    for (int t = 0; t < count; ++t) threads.emplace_back(body, t);
    for (std::thread& thread : threads) thread.join();
}

// `rounds`, multiplied by the number in the environment variable Z_STRESS, if it holds one.
inline unsigned stressed(unsigned rounds) {
    char const* const factor = std::getenv("Z_STRESS");
    long const times = factor ? std::atol(factor) : 1;
    return times > 1 ? rounds * static_cast<unsigned>(times) : rounds;
}

// The exception of class E that `run` throws.
template <class E, class Run>
E caught(Run const& run) {
    try {
        run();
    } catch (E& e) {
        return e;
    }
    throw std::runtime_error("nothing was thrown");
}

// `run` throws an E with this code and return code.
template <class E, class Run>
void expectRefused(Run const& run, unsigned long code, int rc) {
    E const e = caught<E>(run);
    EXPECT_TRUE(e.code() == code && e.rc() == rc) << e.code() << ' ' << e.rc();
}

}  // namespace ztest

#endif
