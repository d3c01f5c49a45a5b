// Strings: the bytes of strings and buffers for comparison, and where an exception was raised.
#ifndef Z_TESTS_STRINGS_H
#define Z_TESTS_STRINGS_H

#include <Z/ZAbstractString.h>
#include <Z/ZBuffer.h>
#include <Z/ZException.h>

#include <string>

namespace ztest {

inline std::string bytes(ZAbstractString_5_1 const& text) {
    bool const ends = text.getChars()[text.getLength()] == '\0';
    return ends ? std::string(text.getChars(), text.getLength()) : "no terminator";
}

inline std::string bytes(ZBufferInterface_5_1 const& buffer) {
    return std::string(static_cast<char*>(buffer.getBuffer()), buffer.getLength());
}

// "src/Z/ZUnit:12" when `run` throws a Failure there.
template <class Failure, class Run>
std::string thrownAt(Run const& run) {
    try {
        run();
    } catch (Failure& e) {
        return e.who() + (":" + std::to_string(e.where()));
    }
    return "nothing thrown";
}

}  // namespace ztest

#endif
