// format_bench: formatted text against snprintf and asprintf, {fmt} and GLib, with the same
// formats.
//
// {fmt} checks no format at compile time here (fmt::sprintf reads it as the others do) and makes a
// std::string, which holds texts of up to 15 bytes without allocating. GLib's g_snprintf is the C
// library's vsnprintf behind one more call.
#include <Z/zasprintf.h>
#include <Z/zsnprintf.h>
#include <fmt/printf.h>
#include <glib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include "bench.h"

namespace {

using bench::add;
using benchmark::DoNotOptimize;
using benchmark::State;

constexpr int size = 256;

// Each of them formats into `buf`, which it may use as it likes, and returns the length.
struct IntoBuffer {
    template <class... Args>
    static int z(char* buf, char const* format, Args... args) {
        return zsnprintf_5_1(buf, size, format, args...);
    }
    template <class... Args>
    static int c(char* buf, char const* format, Args... args) {
        return std::snprintf(buf, size, format, args...);
    }
    template <class... Args>
    static int glib(char* buf, char const* format, Args... args) {
        return g_snprintf(buf, size, format, args...);
    }
};

// Into a new block, which is freed again.
struct Allocating {
    static constexpr auto copyAndFree = [](char* buf, char* text, int length, auto release) {
        DoNotOptimize(text);
        if (buf[0] == '?') std::memcpy(buf, text, static_cast<std::size_t>(length) + 1);
        release(text);
        return length;
    };
    template <class... Args>
    static int z(char* buf, char const* format, Args... args) {
        char* text;
        int const length = zasprintf_5_1(&text, format, args...);
        return copyAndFree(buf, text, length, zasprintf_free_5_1);
    }
    template <class... Args>
    static int c(char* buf, char const* format, Args... args) {
        char* text;
        int const length = asprintf(&text, format, args...);
        return copyAndFree(buf, text, length, std::free);
    }
    template <class... Args>
    static int glib(char* buf, char const* format, Args... args) {
        char* text = g_strdup_printf(format, args...);
        return copyAndFree(buf, text, static_cast<int>(std::strlen(text)), g_free);
    }
};

template <class... Args>
int fmtPrintf(char* buf, char const* format, Args... args) {
    std::string const text = fmt::sprintf(format, args...);
    DoNotOptimize(text.data());
    if (buf[0] == '?') std::memcpy(buf, text.c_str(), text.size() + 1);
    return static_cast<int>(text.size());
}

template <class Format, class... Args>
void addOne(std::string const& work, char const* who, Format formatInto, char const* format,
            std::string const& expected, Args... args) {
    add("format/" + work, who, "", [=](State& state) {
        char buf[size] = "?";
        formatInto(buf, format, args...);
        if (buf != expected) return state.SkipWithError("another text than expected");
        for (auto _ : state) {
            DoNotOptimize(format);
            DoNotOptimize(formatInto(buf, format, args...));
            benchmark::ClobberMemory();
        }
    });
}

// `expected` is null for what snprintf makes of it, where Z makes the same.
template <class How, class... Args>
void addWork(std::string const& work, char const* libc, bool withFmt, char const* format,
             char const* zText, Args... args) {
    char text[size];
    std::snprintf(text, size, format, args...);
    std::string const expected = text;
    addOne(work, "Z", How::template z<Args...>, format, zText ? zText : expected, args...);
    addOne(work, libc, How::template c<Args...>, format, expected, args...);
    if (withFmt) addOne(work, "fmt", fmtPrintf<Args...>, format, expected, args...);
    addOne(work, "GLib", How::template glib<Args...>, format, expected, args...);
}

template <class How>
void addWorks(std::string const& prefix, char const* libc) {
    char const* const word = "configuration";
    char const* const path = "/etc/server/modules/enabled/status.conf";
    // A precision turns zeros off in Z; the text is as long.
    addWork<How>(prefix + "mixed", libc, true, "%d %s %05.2f %#x", "1234 configuration  3.14 0xff",
                 1234, word, 3.14159, 255U);
    addWork<How>(prefix + "one_integer", libc, true, "%d", nullptr, 42);
    addWork<How>(prefix + "integers", libc, true, "%d %u %x %ld %5d %08x %o", nullptr, -1234567,
                 42U, 0xBEEFU, 123456789012L, 99, 0xCAFEU, 0755U);
    addWork<How>(prefix + "strings", libc, true, "%s: %s=%-16s [%.5s]", nullptr, path, word, word,
                 path);
    addWork<How>(prefix + "literal", libc, true, "%s: the file could not be opened for writing",
                 nullptr, word);
    addWork<How>(prefix + "positional", libc, true, "%2$s is %1$d and %3$s, %1$d of %4$d", nullptr,
                 17, word, path, 99);
    addWork<How>(prefix + "float", libc, true, "%f %.3e %g", nullptr, 2.5, 12345.678, 0.1);
}

}  // namespace

int main(int argc, char** argv) {
    bench::prepare();
    addWorks<IntoBuffer>("", "snprintf");
    addWorks<Allocating>("new_", "asprintf");
    return bench::run(argc, argv);
}
