// The shared-library unit: which names it asks the loader for, symbols, errors and their messages.
//
// Oracle: the rule of names, once more. The loader is replaced by one that writes down what it is
// asked for, opens nothing and succeeds or fails as the input says, so nothing else than the stated
// names is ever tried. Symbols are looked up in this program and compared with dlsym.
//
// Input: a length and the library's name; then operations of two bytes.
#include <Z/ZException.h>
#include <Z/ZMessage.h>
#include <Z/ZSharedLibrary.h>
#include <dlfcn.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "fuzz.h"

namespace {

// The loader. An attempt succeeds when its bit is set; a failing call leaves an errno and a message
// that is told once.
struct Loader {
    bool active = false;
    unsigned succeeds = 0;
    int error = 0;
    std::vector<std::pair<std::string, int>> asked;
    std::string message;
    std::string told;
    int closed = 0;

    bool succeed(std::string const& what) {
        if ((succeeds >> asked.size() & 1) != 0) return true;
        message = what;
        errno = error;
        return false;
    }
} loader;

template <class Function>
Function* next(char const* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void* program() {
    static void* const handle = next<decltype(dlopen)>("dlopen")(nullptr, RTLD_NOW);
    return handle;
}

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED void* dlopen(char const* file, int mode) noexcept {
    if (!loader.active) return next<decltype(dlopen)>("dlopen")(file, mode);
    bool const done = loader.succeed("cannot open " + std::string(file));
    loader.asked.emplace_back(file, mode);
    return done ? program() : nullptr;
}

EXPORTED int dlclose(void* handle) noexcept {
    if (!loader.active) return next<decltype(dlclose)>("dlclose")(handle);
    FUZZ_CHECK(handle == program());
    ++loader.closed;
    return loader.succeed("cannot close") ? 0 : -1;
}

EXPORTED char* dlerror() noexcept {
    static auto* const real = next<decltype(dlerror)>("dlerror");
    if (loader.message.empty()) return real();
    loader.told.swap(loader.message);
    loader.message.clear();
    return loader.told.data();
}

namespace {

std::string const suffix = ".so";

std::string otherName(std::string const& name) {
    bool const has = name.size() >= suffix.size() &&
                     name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0;
    return has ? name.substr(0, name.size() - suffix.size()) : name + suffix;
}

// What an exception hands to the message service.
struct Report : ZMessageService_5_1 {
    mutable std::string text;
    void outputMessage(char const*, int, int, int, ZLCString_5_1 const*, ZLCString_5_1 const*,
                       ZLCString_5_1 const*, ZLCString_5_1 const*, ZLCString_5_1 const*,
                       ZLCString_5_1 const*) const override {}
    void outputMessageUTF8(char const*, int, int, int, ZUTF8String_5_1 const*,
                           ZUTF8String_5_1 const*, ZUTF8String_5_1 const*, ZUTF8String_5_1 const*,
                           ZUTF8String_5_1 const*, ZUTF8String_5_1 const*) const override {}
    void outputException(ZException_5_1&) const override {}
    void outputException(ZZException_5_1 const* exception, char* args) const override {
        auto inserts = reinterpret_cast<ZVaArg_5_1>(args);
        text = va_arg(inserts, char const*);
        if (exception->code() == 52) text += std::string(":") + va_arg(inserts, char const*);
        text += " " + std::to_string(va_arg(inserts, int));
        text += std::string(" ") + va_arg(inserts, char const*);
    }
} const report;

// "" or the code, the inserts in the order of the text, and the place.
template <class Call>
std::string outcome(Call const& call) {
    try {
        call();
        return "";
    } catch (ZSharedLibraryException_5_1& e) {
        e.print();
        FUZZ_CHECK(std::string(e.who()) == "src/Z/ZSharedLibrary");
        return std::to_string(e.code()) + " " + report.text;
    }
}

struct Library : ZSharedLibrary_5_1 {
    using ZSharedLibrary_5_1::ZSharedLibrary_5_1;
    int initialized = 0;
    int initialize() override { return initialized; }
};

class Case {
public:
    explicit Case(std::string const& name) : name_(name), library_(name.c_str()) {}

    void run(unsigned what, unsigned value) {
        loader.succeeds = value & 15;
        loader.error = static_cast<int>(value >> 4);
        loader.asked.clear();
        switch (what % 8) {
            case 0:
            case 1:
                return load(value);
            case 2:
                return unload();
            case 3:
                return setFlags(value);
            case 4:
                return resolve(value);
            case 5:
                return copy(value);
            case 6:
                return call(value);
            default:
                library_.setLastError(static_cast<int>(value));
                error_ = static_cast<int>(value);
                message_.clear();
        }
    }

    void check() {
        FUZZ_CHECK(library_.getLibraryName() == name_.c_str());
        FUZZ_CHECK((library_.getHandle() != nullptr) == loaded_);
        FUZZ_CHECK(library_.getFlags() == flags_ && library_.getLocalScope() == 0);
        FUZZ_CHECK(library_.getLazyResolution() == (flags_ & 1));
        FUZZ_CHECK(library_.getLastErrorMessage() == message_.c_str());
        FUZZ_CHECK(library_.getLastErrorNumber() == error_);
        FUZZ_CHECK(zdlerror_5_1() == nullptr);
    }

private:
    std::string failure(int code, std::string const& detail) const {
        return std::to_string(code) + " " + name_ + " " + std::to_string(error_) + " " + detail;
    }

    // By the name; where that fails twice by the other one.
    void load(unsigned value) {
        library_.initialized = value % 32 == 17 ? 1 : 0;
        int const mode = flags_ != 0 ? flags_ : RTLD_NOW | RTLD_GLOBAL;
        std::vector<std::pair<std::string, int>> expected = {{name_, mode}};
        bool done = (loader.succeeds & 1) != 0;
        if (!done) {
            error_ = loader.error;
            message_ = "cannot open " + name_;
        }
        for (int retry = 1; retry <= 2 && !done; ++retry) {
            expected.emplace_back(otherName(name_), mode);
            done = (loader.succeeds >> retry & 1) != 0;
        }
        loaded_ = loaded_ || done;
        std::string const text = !done                       ? failure(51, message_)
                                 : library_.initialized != 0 ? failure(51, "initialize")
                                                             : "";
        FUZZ_CHECK(outcome([&] { FUZZ_CHECK(library_.loadLibrary() == 0); }) == text);
        FUZZ_CHECK(loader.asked == expected);
        // A retry that succeeds leaves what the one before it has met.
        if (done) std::free(zdlerror_5_1());
    }

    void unload() {
        int const closed = loader.closed + loaded_;
        bool const done = loaded_ && (loader.succeeds & 1) != 0;
        if (!done) {
            error_ = loaded_ ? loader.error : ENOENT;
            message_ = loaded_ ? "cannot close" : "";
        }
        if (done) loaded_ = false;
        std::string const text = done ? "" : failure(51, message_);
        FUZZ_CHECK(outcome([&] { FUZZ_CHECK(library_.unloadLibrary() == 0); }) == text);
        FUZZ_CHECK(loader.closed == closed);
    }

    void setFlags(unsigned value) {
        switch (value % 4) {
            case 0:
                flags_ = static_cast<int>(value);
                return library_.setFlags(flags_);
            case 1:
                library_.setLazyResolution(value & 4);
                flags_ = (value & 4) ? (flags_ & ~2) | 1 : (flags_ & ~1) | 2;
                return;
            default:
                library_.setLocalScope(value & 4);
                flags_ = (value & 4) ? flags_ & ~0x100 : flags_ | 0x100;
        }
    }

    void resolve(unsigned value) {
        static char const* const symbols[] = {"malloc", "LLVMFuzzerTestOneInput", "no_such_symbol",
                                              "", nullptr};
        std::size_t const which = value % 6;
        char const* const symbol = which < 5 ? symbols[which] : name_.c_str();
        void* const expected = loaded_ && symbol != nullptr ? dlsym(program(), symbol) : nullptr;
        std::string text;
        if (expected == nullptr) {
            char const* const message = loaded_ && symbol != nullptr ? dlerror() : nullptr;
            message_ = message != nullptr ? message : "";
            error_ = 0;
            text = "52 " + name_ + ":" + (symbol != nullptr ? symbol : "") + " 0 " + message_;
        }
        void* found = nullptr;
        FUZZ_CHECK(outcome([&] { found = library_.resolveSymbol(symbol); }) == text);
        FUZZ_CHECK(found == expected);
    }

    // Everything but the handle is copied.
    void copy(unsigned value) {
        std::unique_ptr<ZObject_5_1> const object(library_.clone());
        auto& other = static_cast<ZSharedLibrary_5_1&>(*object);
        FUZZ_CHECK(other.getHandle() == nullptr && other.getFlags() == flags_);
        FUZZ_CHECK(other.getLastErrorMessage() == message_.c_str());
        FUZZ_CHECK(other.equals(library_) && other.hash() == library_.hash());
        ZSharedLibrary_5_1 const third(otherName(name_).c_str());
        FUZZ_CHECK(!third.equals(library_));
        if (value % 2 == 0) return;
        static_cast<ZSharedLibrary_5_1&>(library_) = other;
        loaded_ = false;
    }

    // The calls for C.
    void call(unsigned value) {
        int err = -1;
        int* const told = value % 2 ? &err : nullptr;
        int const mode = static_cast<int>(value / 16);
        bool const done = (loader.succeeds & 1) != 0;
        FUZZ_CHECK((zdlopen_5_1(name_.c_str(), mode, told) != nullptr) == done);
        FUZZ_CHECK(told == nullptr || err == (done ? 0 : loader.error));
        FUZZ_CHECK(loader.asked.size() == 1 && loader.asked[0].first == name_);
        FUZZ_CHECK(loader.asked[0].second == (mode != 0 ? mode : RTLD_NOW | RTLD_GLOBAL));
        std::unique_ptr<char, decltype(&std::free)> const text(zdlerror_5_1(), std::free);
        FUZZ_CHECK(done ? text == nullptr : "cannot open " + name_ == text.get());
        FUZZ_CHECK(zdlopen_5_1(nullptr, mode, &err) == nullptr && err == ENOENT);
        FUZZ_CHECK(zdlclose_5_1(nullptr, &err) == -1 && err == ENOENT);
        FUZZ_CHECK(zdlsym_5_1(nullptr, "malloc", &err) == nullptr && err == 0);
        FUZZ_CHECK(loader.asked.size() == 1);
    }

    std::string name_;
    Library library_;
    bool loaded_ = false;
    int flags_ = 0;
    std::string message_;
    int error_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 1 || size > 400) return 0;
    program();
    ZMessageService_5_1::setMessageService(&report);
    std::size_t const length = std::min<std::size_t>(data[0], size - 1);
    std::string name(reinterpret_cast<char const*>(data) + 1, length);
    name.resize(std::min(name.size(), name.find('\0')));
    loader.active = true;
    Case test(name);
    data += 1 + length;
    for (size -= 1 + length; size >= 2; data += 2, size -= 2) {
        test.run(data[0], data[1]);
        test.check();
    }
    loader.active = false;
    return 0;
}
