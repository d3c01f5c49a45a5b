// ZSharedLibrary: a shared library loaded by name, and the loader's calls with error numbers.
// Subsystem: platform, layer 2. Test: tests/ZSharedLibrary_test.cpp
#include "ZSharedLibrary.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>

#include "ZException.h"
#include "zraise.h"

#ifdef __ILP32__
static_assert(sizeof(ZAbstractSharedLibrary_5_1) == 4 * sizeof(ZLCString_5_1) + 12,
              "the record is fixed on 32 bits");
static_assert(sizeof(ZSharedLibrary_5_1) == sizeof(ZAbstractSharedLibrary_5_1) + 4,
              "the record is fixed on 32 bits");
#endif

namespace {

constexpr char const* unit = "src/Z/ZSharedLibrary";
constexpr char const* suffix = ".so";
constexpr int defaultMode = RTLD_NOW | RTLD_GLOBAL;

void tell(int* err, int number) {
    if (err != nullptr) *err = number;
}

}  // namespace

extern "C" {

void* zdlopen_5_1(char const* file, int mode, int* err) {
    tell(err, file != nullptr ? 0 : ENOENT);
    if (file == nullptr) return nullptr;
    errno = 0;
    void* const handle = dlopen(file, mode != 0 ? mode : defaultMode);
    if (handle == nullptr) tell(err, errno);
    return handle;
}

void* zdlsym_5_1(void* handle, char const* symbol, int* err) {
    errno = 0;
    void* const address = handle != nullptr && symbol != nullptr ? dlsym(handle, symbol) : nullptr;
    tell(err, address != nullptr ? 0 : errno);
    return address;
}

int zdlclose_5_1(void* handle, int* err) {
    tell(err, handle != nullptr ? 0 : ENOENT);
    if (handle == nullptr) return -1;
    errno = 0;
    int const result = dlclose(handle);
    if (result != 0) tell(err, errno);
    return result;
}

char* zdlerror_5_1(void) {
    char const* const message = dlerror();
    return message != nullptr ? strdup(message) : nullptr;
}

}  // extern "C"

ZAbstractSharedLibrary_5_1::ZAbstractSharedLibrary_5_1(char const* name)
    : libraryName_(name), suffix1_(suffix), suffix2_(suffix), flags_(0), lastErrorNumber_(0) {}

ZAbstractSharedLibrary_5_1::ZAbstractSharedLibrary_5_1(ZAbstractSharedLibrary_5_1 const& other) =
    default;

ZAbstractSharedLibrary_5_1& ZAbstractSharedLibrary_5_1::operator=(
    ZAbstractSharedLibrary_5_1 const& other) = default;

ZAbstractSharedLibrary_5_1::~ZAbstractSharedLibrary_5_1() noexcept {}

ZSharedLibrary_5_1::ZSharedLibrary_5_1() : ZSharedLibrary_5_1(nullptr) {}

ZSharedLibrary_5_1::ZSharedLibrary_5_1(char const* name)
    : ZAbstractSharedLibrary_5_1(name), handle_(nullptr) {}

ZSharedLibrary_5_1::ZSharedLibrary_5_1(ZSharedLibrary_5_1 const& other)
    : ZAbstractSharedLibrary_5_1(other), handle_(nullptr) {}

ZSharedLibrary_5_1& ZSharedLibrary_5_1::operator=(ZSharedLibrary_5_1 const& other) {
    if (this == &other) return *this;
    ZAbstractSharedLibrary_5_1::operator=(other);
    handle_ = nullptr;
    return *this;
}

ZSharedLibrary_5_1::~ZSharedLibrary_5_1() noexcept {}

ZObject_5_1* ZSharedLibrary_5_1::clone() const {
    return new ZSharedLibrary_5_1(*this);
}

unsigned long ZSharedLibrary_5_1::hash() const {
    return libraryName_.hash();
}

int ZSharedLibrary_5_1::compare(ZObject_5_1 const& other) const {
    auto const* const library = dynamic_cast<ZAbstractSharedLibrary_5_1 const*>(&other);
    return library ? libraryName_.compare(library->getLibraryName()) : ZObject_5_1::compare(other);
}

int ZSharedLibrary_5_1::loadLibrary() {
    int err = 0;
    void* handle = zdlopen_5_1(libraryName_.getChars(), flags_, &err);
    if (handle == nullptr) {
        setLastError(err);
        for (ZLCString_5_1 const* end : {&suffix1_, &suffix2_}) {
            ZLCString_5_1 name(libraryName_);
            if (name.endsWith(*end)) {
                name.trunc(name.getLength() - end->getLength());
            } else {
                name += *end;
            }
            handle = zdlopen_5_1(name.getChars(), flags_, nullptr);
            if (handle != nullptr) break;
        }
    }
    if (handle == nullptr) {
        // What the retries met must not be told by a later failure that asks the loader nothing.
        std::free(zdlerror_5_1());
        z_5_1::raise(
            unit, ZSharedLibraryLoadException_5_1(libraryName_.getChars(),
                                                  lastErrorMessage_.getChars(), lastErrorNumber_));
    }
    handle_ = handle;
    if (initialize() == 0) return 0;
    z_5_1::raise(unit, ZSharedLibraryLoadException_5_1(libraryName_.getChars(), "initialize",
                                                       lastErrorNumber_));
}

int ZSharedLibrary_5_1::initialize() {
    return 0;
}

void* ZSharedLibrary_5_1::resolveSymbol(char const* name) {
    int err = 0;
    if (void* const address = zdlsym_5_1(handle_, name, &err)) return address;
    setLastError(err);
    z_5_1::raise(
        unit, ZSharedLibraryResolveException_5_1(libraryName_.getChars(), name,
                                                 lastErrorMessage_.getChars(), lastErrorNumber_));
}

int ZSharedLibrary_5_1::unloadLibrary() {
    int err = 0;
    if (zdlclose_5_1(handle_, &err) == 0) {
        handle_ = nullptr;
        return 0;
    }
    setLastError(err);
    z_5_1::raise(
        unit, ZSharedLibraryLoadException_5_1(libraryName_.getChars(), lastErrorMessage_.getChars(),
                                              lastErrorNumber_));
}

int ZSharedLibrary_5_1::getLazyResolution() const {
    return flags_ & RTLD_LAZY;
}

void ZSharedLibrary_5_1::setLazyResolution(int lazy) {
    flags_ = lazy ? (flags_ & ~RTLD_NOW) | RTLD_LAZY : (flags_ & ~RTLD_LAZY) | RTLD_NOW;
}

void ZSharedLibrary_5_1::setLocalScope(int local) {
    flags_ = local ? flags_ & ~RTLD_GLOBAL : flags_ | RTLD_GLOBAL;
}

void ZSharedLibrary_5_1::setLastError(int err) {
    struct Free {
        void operator()(char* block) const { std::free(block); }
    };
    std::unique_ptr<char, Free> const message(zdlerror_5_1());
    setLastErrorNumber(err);
    setLastErrorMessage(message.get());
}
