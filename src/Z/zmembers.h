// zmembers: how the collections copy and delete the objects they own.
// Subsystem: collections, layer 2. Test: tests/ZList_test.cpp
#ifndef Z_ZMEMBERS_H
#define Z_ZMEMBERS_H

#include <cstddef>
#include <exception>
#include <memory>

#include "ZObject.h"
#include "zraise.h"

namespace z_5_1 {

// A fresh clone between its making and the moment a collection has stored it.
using Clone = std::unique_ptr<ZObject_5_1>;

// A clone of the object; null for null, and for a class that cannot be copied.
inline ZObject_5_1* cloneOf(ZObject_5_1 const* object) {
    return object ? object->clone() : nullptr;
}

// Deletes all of them. A destructor may throw: the rest is deleted all the same, and the first
// exception passes on afterwards.
inline void deleteAll(ZObject_5_1* const* objects, std::size_t count) {
    std::exception_ptr first;
    for (std::size_t i = 0; i < count; ++i) {
        try {
            delete objects[i];
        }
        Z_CATCH_ALL {
            if (!first) first = std::current_exception();
        }
    }
    if (first) std::rethrow_exception(first);
}

}  // namespace z_5_1

#endif
