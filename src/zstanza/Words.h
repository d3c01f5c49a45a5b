// Words: the text that `zstanza apply` reads, taken apart into commands of words.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#ifndef ZSTANZA_WORDS_H
#define ZSTANZA_WORDS_H

#include <string>
#include <vector>

namespace zstanza {

struct Command {
    int line;  // where it begins, from 1
    std::vector<std::string> words;
};

// One command a line, its words as a shell reads them (POSIX shell language, quoting): blanks
// divide them; between single quotes all stands for itself, line ends too; between double quotes a
// backslash takes the meaning from `"`, `\`, "$" and "`"; elsewhere from any character. Nothing is
// expanded. "#" at the beginning of a word makes the rest of the line a comment. `source` is named
// in the Failure for a quote that is not closed.
std::vector<Command> splitCommands(std::string const& text, std::string const& source);

// The word so that splitCommands() gives it back, on one line where it can be.
std::string quoted(std::string const& word);

}  // namespace zstanza

#endif
