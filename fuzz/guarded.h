// guarded: memory between two unreadable pages, so that a read or write beyond a text ends the
// process also where no sanitizer looks (vectors, the C library).
#ifndef Z_FUZZ_GUARDED_H
#define Z_FUZZ_GUARDED_H

#include <sys/mman.h>

#include <cstring>
#include <string_view>

#include "fuzz.h"

namespace fuzz {

class Guarded {
public:
    // So many pages.
    explicit Guarded(std::size_t count = 1) : size_(count * page) {
        void* const memory =
            mmap(nullptr, size_ + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        FUZZ_CHECK(memory != MAP_FAILED);
        start_ = static_cast<char*>(memory) + page;
        FUZZ_CHECK(mprotect(start_, size_, PROT_READ | PROT_WRITE) == 0);
    }
    Guarded(Guarded const&) = delete;
    Guarded& operator=(Guarded const&) = delete;

    char* start() { return start_; }
    char* end() { return start_ + size_; }

    // The text at the very end, or so many bytes before it; then other bytes lie in between.
    char* put(std::string_view text, std::size_t gap = 0) {
        FUZZ_CHECK(text.size() + gap <= size_);
        std::memset(end() - gap, 0xA9, gap);
        return copy(text, end() - gap - text.size());
    }

    // The same with its terminator.
    char* putString(std::string_view text, std::size_t gap = 0) {
        char* const at = put(text, gap + 1);
        at[text.size()] = 0;
        return at;
    }

    char* putAtStart(std::string_view text) { return copy(text, start_); }

private:
    static char* copy(std::string_view text, char* at) {
        if (!text.empty()) std::memcpy(at, text.data(), text.size());
        return at;
    }

    static constexpr std::size_t page = 4096;

    std::size_t size_;
    char* start_;
};

}  // namespace fuzz

#endif
