// zpure_virtual: what stands in the vtable of an interface where it has no function.
// Subsystem: model, layer 0. Test: tests/ZObject_test.cpp
//
// It does what the C++ runtime's does, which the loader would have to look up for each of those
// places whenever a process starts.
#include <cstdio>
#include <exception>

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" [[noreturn]] __attribute__((visibility("hidden"))) void __cxa_pure_virtual() {
    std::fputs("pure virtual method called\n", stderr);
    std::terminate();
}
