// Terminal: whether a stream is one, and the colours that it then gets.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include "Terminal.h"

#include <unistd.h>

#include <cstdlib>

namespace zstanza {

bool isColoured(int descriptor) {
    char const* const refused = std::getenv("NO_COLOR");
    char const* const kind = std::getenv("TERM");
    return (refused == nullptr || *refused == '\0') && kind != nullptr &&
           kind != std::string("dumb") && isatty(descriptor) == 1;
}

std::string coloured(int descriptor, Colour colour, std::string const& text) {
    if (!isColoured(descriptor)) return text;
    static constexpr char const* starts[] = {"\x1b[36m", "\x1b[2m", "\x1b[1;31m"};
    return starts[static_cast<int>(colour)] + text + "\x1b[0m";
}

}  // namespace zstanza
