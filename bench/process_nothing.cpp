// process_nothing: what a program in C++ costs that does nothing.
#include <new>

#include "process_main.h"

int main(int argc, char** argv) {
    // A block from the C++ library, so that it is loaded.
    ::operator delete(::operator new(1));
    return processMain(argc, argv,
                       [](char const*, char const*, char const*, char const*) { return true; });
}
