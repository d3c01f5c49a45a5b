#include <Z/ZException.h>
#include <Z/ZSharedLibrary.h>

#include <cstdio>

int main() {
    try {
        ZSharedLibrary_5_1 plugin("./greeting");  // "./greeting.so" is tried as well
        plugin.loadLibrary();
        auto const greeting = reinterpret_cast<char const* (*)()>(plugin.resolveSymbol("greeting"));
        std::printf("%s\n", greeting());
        plugin.resolveSymbol("farewell");
    } catch (ZSharedLibraryResolveException_5_1&) {
        std::printf("it has no farewell\n");
    } catch (ZSharedLibraryLoadException_5_1& failure) {
        failure.dumpException();  // tells on standard error what the loader said
        return 1;
    }
}
