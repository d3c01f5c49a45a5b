// Difference: a change as `diff -u` shows it.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#ifndef ZSTANZA_DIFFERENCE_H
#define ZSTANZA_DIFFERENCE_H

#include <string>

namespace zstanza {

// What turns the file's present text into `text`, in the unified format; empty when they are alike.
// A file that is missing counts as empty. Made by the program diff; a Failure without it.
std::string difference(std::string const& file, std::string const& text);

}  // namespace zstanza

#endif
