// main: the command zstanza: lists, reads, checks and edits stanza files. See `zstanza --help`.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include <fcntl.h>
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "CommandLine.h"
#include "Failure.h"

namespace zstanza {

namespace {

int run(Request const& request, std::string& out) {
    try {
        if (request.verb) return request.verb(request.arguments, out);
        return change(request.arguments, request.changes, out);
    } catch (...) {
        throw currentFailure(request.arguments.file);
    }
}

int run(std::vector<std::string> const& words, std::string& out) {
    Request const request = readCommandLine(words);
    out = request.text;
    return out.empty() ? run(request, out) : static_cast<int>(done);
}

void writeOut(std::string const& out) {
    if (out.empty()) return;
    if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size() || std::fclose(stdout) != 0) {
        throw Failure(inaccessible, "standard output", std::strerror(errno));
    }
}

// A standard descriptor that the caller closed would be given to the next file opened, and output
// would go into that file. What stands in for standard output cannot be written to.
void fillStandardDescriptors() {
    for (int descriptor = 0; descriptor <= 2; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) < 0)
            open("/dev/null", descriptor == 2 ? O_WRONLY : O_RDONLY);
    }
}

}  // namespace

}  // namespace zstanza

int main(int argc, char** argv) {
    setenv("TISDIR", "/", 0);
    zstanza::fillStandardDescriptors();
    // Failed writes are reported by exit codes.
    for (int number : {SIGPIPE, SIGXFSZ}) static_cast<void>(signal(number, SIG_IGN));
    std::string out;
    try {
        int code = zstanza::run({argv + std::min(argc, 1), argv + argc}, out);
        zstanza::writeOut(out);
        return code;
    } catch (...) {
        zstanza::Failure failure = zstanza::currentFailure("zstanza");
        zstanza::complain(failure.message);
        return failure.code;
    }
}
