// ZPropHandles: what callers in C hold: open stanza files and iterators, told from foreign memory.
// Subsystem: properties, layer 7. Test: tests/zproperties_c_test.cpp
#include "ZPropHandles.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <type_traits>

#include "ZException.h"
#include "zraise.h"

namespace {

constexpr char const* unit = "src/Z/ZPropHandles";

using z_5_1::handleAlignment;

constexpr std::size_t sizeClasses = 32;
constexpr unsigned int heldBack = 256;

constexpr std::size_t sizeClass(std::size_t size) {
    return (size + handleAlignment - 1) / handleAlignment;
}

static_assert(sizeClass(sizeof(ZPROP_stz_handle)) < sizeClasses &&
                  sizeClass(sizeof(ZPROP_stz_iter_handle)) < sizeClasses &&
                  sizeClass(sizeof(ZPROP_stzvalue_iter_handle)) < sizeClasses,
              "there is a queue for every size");
static_assert(sizeof(ZPROP_handle) <= handleAlignment &&
                  sizeof(ZPROP_iter_handle) <= handleAlignment,
              "marks and kind lie in the first block");

// The memory of a closed handle. The link lies where no mark is looked for.
struct Closed {
    Closed* next;
};

// First in, first out, so that a handle stays closed as long as possible.
struct Queue {
    Closed* first;
    Closed* last;
    unsigned int length;
};

// Neither is destroyed when the process ends: other threads may still close handles.
Queue queues[sizeClasses];
std::mutex queuesMutex;
static_assert(std::is_trivially_destructible<std::mutex>::value, "it outlives every handle");

}  // namespace

void* z_5_1::takeHandleMemory(std::size_t size) {
    std::size_t const number = sizeClass(size);
    {
        std::lock_guard<std::mutex> const hold(queuesMutex);
        Queue& queue = queues[number];
        if (queue.length > heldBack) {
            Closed* const oldest = queue.first;
            queue.first = oldest->next;
            --queue.length;
            return oldest;
        }
    }
    void* const memory = std::aligned_alloc(handleAlignment, number * handleAlignment);
    if (!memory) raise(unit, ZOutOfMemoryException_5_1());
    return memory;
}

void z_5_1::keepHandleMemory(void* memory, std::size_t size) {
    explicit_bzero(memory, size);  // the texts in it may be nobody else's business
    auto* const closed = static_cast<Closed*>(memory);
    std::lock_guard<std::mutex> const hold(queuesMutex);
    Queue& queue = queues[sizeClass(size)];
    (queue.length++ == 0 ? queue.first : queue.last->next) = closed;
    queue.last = closed;
}

ZPROP_handle::~ZPROP_handle() noexcept(false) {
    first_ = 0;
    mode_ = 0;
    last_ = 0;
}

ZPROP_iter_handle::~ZPROP_iter_handle() noexcept(false) {
    kind_ = static_cast<Kind>(0);
    first_ = 0;
    last_ = 0;
}
