// zasprintf: formatted text into a block made for it.
// Subsystem: strings, layer 2. Test: tests/zsnprintf_test.cpp
#include "zasprintf.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include "zraise.h"
#include "zsnprintf.h"
#include "ztisutil.h"

namespace {

// A text of usual length is not rendered twice: what measures it also writes it here.
constexpr int measuringSize = 512;

int renderIntoBlock(zvsnprintf_context_5_1& context, char** out) {
    char text[measuringSize];
    int const length = zvsnprintf_render_5_1(&context, text, measuringSize);
    if (length < 0 || length == INT_MAX) return -1;
    std::size_t const size = static_cast<std::size_t>(length) + 1;
    char* const block = static_cast<char*>(std::malloc(size));
    if (block == nullptr) return -1;
    if (length < measuringSize) {
        std::memcpy(block, text, size);
    } else if (zvsnprintf_render_5_1(&context, block, length + 1) < 0) {
        std::free(block);
        return -1;
    }
    *out = block;
    return length;
}

}  // namespace

extern "C" {

int zvasprintf_5_1(char** out, char const* format, va_list args) {
    if (out == nullptr) return -1;
    *out = nullptr;
    zvsnprintf_context_5_1 context;
    try {
        if (zvsnprintf_parse_5_1(&context, zgetLCSHandle_5_1(), format, args) != 0) return -1;
    }
    Z_CATCH_ALL {
        return -1;
    }
    int const length = renderIntoBlock(context, out);
    zvsnprintf_done_5_1(&context);
    return length;
}

int zasprintf_5_1(char** out, char const* format, ...) {
    va_list args;
    va_start(args, format);
    int const length = zvasprintf_5_1(out, format, args);
    va_end(args);
    return length;
}

void zasprintf_free_5_1(char* text) {
    std::free(text);
}

}  // extern "C"
