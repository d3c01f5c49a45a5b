// Difference: a change as `diff -u` shows it.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include "Difference.h"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "Failure.h"
#include "Terminal.h"

extern char** environ;

namespace zstanza {

namespace {

// A file in memory: what is given to diff and what comes back.
class MemoryFile {
public:
    explicit MemoryFile(char const* name) : descriptor_(memfd_create(name, MFD_CLOEXEC)) {
        if (descriptor_ < 0) refuse(errno);
    }
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;
    ~MemoryFile() { close(descriptor_); }

    int descriptor() const { return descriptor_; }

    void fill(std::string const& text) {
        for (std::size_t done = 0; done < text.size();) {
            ssize_t const n = write(descriptor_, text.data() + done, text.size() - done);
            if (n < 0 && errno != EINTR) refuse(errno);
            if (n > 0) done += static_cast<std::size_t>(n);
        }
        lseek(descriptor_, 0, SEEK_SET);
    }

    std::string content() const {
        std::string out;
        char block[4096];
        lseek(descriptor_, 0, SEEK_SET);
        for (ssize_t n; (n = read(descriptor_, block, sizeof block)) > 0;) {
            out.append(block, static_cast<std::size_t>(n));
        }
        return out;
    }

    [[noreturn]] static void refuse(int error) {
        throw Failure(inaccessible, "diff", std::strerror(error));
    }

private:
    int descriptor_;
};

int run(std::vector<std::string> words, int in, int out) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t streams;
    posix_spawn_file_actions_init(&streams);
    posix_spawn_file_actions_adddup2(&streams, in, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&streams, out, STDOUT_FILENO);
    pid_t child = 0;
    int const error =
        posix_spawnp(&child, arguments[0], &streams, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&streams);
    if (error != 0) MemoryFile::refuse(error);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

std::string difference(std::string const& file, std::string const& text) {
    MemoryFile in("new text"), out("difference");
    in.fill(text);
    std::string const present = access(file.c_str(), F_OK) == 0 ? file : "/dev/null";
    std::string const colour = isColoured(STDOUT_FILENO) ? "--color=always" : "--color=never";
    // 0: alike, 1: they differ.
    int const code = run({"diff", "-u", "-a", colour, "--label", file, "--label",
                          file + " (changed)", "--", present, "-"},
                         in.descriptor(), out.descriptor());
    if (code != 0 && code != 1) {
        throw Failure(inaccessible, file, "the program diff could not compare it");
    }
    return out.content();
}

}  // namespace zstanza
