// CommandLine: what the words of a command line ask for.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#ifndef ZSTANZA_COMMANDLINE_H
#define ZSTANZA_COMMANDLINE_H

#include <string>
#include <vector>

#include "Verbs.h"

namespace zstanza {

// Either a text to print, help or the version; or a verb to run; or else changes to make.
struct Request {
    std::string text;
    Verb verb = nullptr;
    Arguments arguments;
    std::vector<Change> changes;
};

// `words` are those behind the program's name. For apply it reads the changes. Throws Failure.
Request readCommandLine(std::vector<std::string> words);

}  // namespace zstanza

#endif
