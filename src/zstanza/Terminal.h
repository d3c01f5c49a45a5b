// Terminal: whether a stream is one, and the colours that it then gets.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#ifndef ZSTANZA_TERMINAL_H
#define ZSTANZA_TERMINAL_H

#include <string>

namespace zstanza {

enum class Colour { name, faint, fault };

// Colours are for a terminal alone, not for one that calls itself "dumb", and for nobody who has
// set NO_COLOR.
bool isColoured(int descriptor);

// The text in the colour, if what is written to the descriptor is coloured.
std::string coloured(int descriptor, Colour colour, std::string const& text);

}  // namespace zstanza

#endif
