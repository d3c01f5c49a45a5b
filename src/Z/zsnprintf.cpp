// zsnprintf: formatted text into a caller's buffer, alike on every platform.
// Subsystem: strings, layer 2. Test: tests/zsnprintf_test.cpp
//
// The idea. Formatting is two stages with a narrow door between them. The first reads the format
// once, from left to right, and leaves one record per directive; then it fetches the arguments
// into a table, in the order in which they were passed, whatever order the format uses them in.
// (zvsnprintf_parse.cpp) The second walks the records and writes: literal text, the text of a
// directive, literal text. It reads nothing but the records, the table and what they point to, so
// it can be run again: once to measure, once to write. (zvsnprintf_render.cpp) This file and
// zasprintf.cpp put the two together.
//
// What holds:
//
// 1. A record that the first stage has left is sound: its type has a renderer, its argument numbers
//    have slots, and its numbers are between 0 and INT_MAX.
// 2. No argument is fetched before the whole format has been found right, and each exactly once.
//    Its slot holds what its users declared, for all of them fetch the same.
// 3. Ten records and ten slots lie in the context. The slots are counted from 0 and the arguments
//    from 1, so they hold nine. More of either, and floating texts above 512 bytes, go to the heap.
//    However a parse ends, zvsnprintf_done_5_1 frees what it allocated, any number of times.
// 4. A renderer returns the length of its whole text and writes as much of it as there is room for,
//    never more. So measuring is writing into no room, and both give the same number. Wide text
//    stops at a whole character and fills the room that is left with zeros.
// 5. Lengths are added up in 64 bits and compared with INT_MAX after each directive. Padding is
//    written in blocks and only as far as there is room: a width of two thousand million is quick.
// 6. Floating values are converted by the C library, at the precision asked for, but at most at the
//    one beyond which only zeros follow; the width and those zeros are added here.
//
// What it does not do: it keeps nothing between calls but the codeset handle, takes no lock of its
// own once that is made (malloc and snprintf, where they are called, have theirs), does not check
// that the arguments are what the format says (as in C, nobody can), and does not interpret
// multibyte text but for the two wide conversions: a precision of "%s" counts bytes and may cut a
// character.
#include "zsnprintf.h"

#include "zraise.h"
#include "ztisutil.h"

namespace {

// As zvsnprintf_done_5_1 asks too; but its call, seldom needed, is a twentieth of printing a "%d".
bool ownsMemory(zvsnprintf_context_5_1 const& context) {
    return context.directives != context.own_directives ||
           context.arguments != context.own_arguments;
}

inline int formatInto(char* buf, int size, char const* format, va_list args) {
    zvsnprintf_context_5_1 context;
    try {
        // Throws where the codesets cannot be had and that cannot be reported either.
        void* const codeset = zgetLCSHandle_5_1();
        if (zvsnprintf_parse_5_1(&context, codeset, format, args) != 0) return -1;
    }
    Z_CATCH_ALL {
        return -1;
    }
    int const length = zvsnprintf_render_5_1(&context, buf, size);
    if (ownsMemory(context)) zvsnprintf_done_5_1(&context);
    return length;
}

}  // namespace

extern "C" {

int zvsnprintf_5_1(char* buf, int size, char const* format, va_list args) {
    return formatInto(buf, size, format, args);
}

int zsnprintf_5_1(char* buf, int size, char const* format, ...) {
    va_list args;
    va_start(args, format);
    int const length = formatInto(buf, size, format, args);
    va_end(args);
    return length;
}

}  // extern "C"
