// ZException: the hierarchy of everything that the library throws.
// Subsystem: model, layer 1. Test: tests/ZException_test.cpp
#include "ZException.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "ZMessage.h"
#include "zraise.h"
#include "ztisutil.h"

#ifdef __i386__
static_assert(sizeof(ZObject_5_1) == 4, "layout of the root");
static_assert(sizeof(ZException_5_1) == 20, "layout of the exception base");
#endif
static_assert(std::is_convertible<ZSharedLibraryLoadException_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZDefaultMessageService_5_1*, ZObject_5_1*>::value,
              "one way up to the root");

namespace {

// The copy that is thrown. It is made while an exception is being built, where nothing could be
// told apart from it any more: a failure in here ends the process.
template <class Exception>
Exception copied(Exception const& original) noexcept {
    return Exception(original);
}

}  // namespace

ZException_5_1& ZException_5_1::operator=(ZException_5_1 const& other) noexcept = default;

ZException_5_1::~ZException_5_1() noexcept = default;

void ZException_5_1::addLocation(char const* file, unsigned long line) {
    file_ = file;
    line_ = line;
}

int ZException_5_1::location(int, char const*& file, int& line) const {
    file = file_;
    line = static_cast<int>(line_);
    return 1;
}

int ZException_5_1::locationCount() const {
    return 1;
}

char const* ZException_5_1::who() const {
    return file_;
}

unsigned long ZException_5_1::where() const {
    return line_;
}

void ZException_5_1::dumpException() {
    ZMessageService_5_1::messageService()->outputException(*this);
}

// The empty texts are for a subclass whose code has a text that wants inserts.
void ZZException_5_1::print() {
    printinternal(this, "", "", "", "");
}

void ZZException_5_1::printinternal(ZZException_5_1 const* exception, ...) {
    va_list inserts;
    va_start(inserts, exception);
    try {
        ZMessageService_5_1::routeZZException(
            exception, reinterpret_cast<char*>(static_cast<ZVaArg_5_1>(inserts)));
    } catch (...) {
        va_end(inserts);
        throw;
    }
    va_end(inserts);
}

void ZZException_5_1::printNumber(int number, char const* last) {
    char const* text = z_5_1::defaultText(code());
    char const* placeholder = text ? std::strchr(text, '%') : nullptr;
    if (placeholder && placeholder[1] == 's') {
        ZLCString_5_1 decimal(number);
        printinternal(this, decimal.getChars(), last, "", "");
    } else {
        printinternal(this, number, last, "", "");
    }
}

// ---- copies and throws ----

#define Z_DEFINE_EXCEPTION_5_1(Class) \
    ZObject_5_1* Class::clone() const { \
        return new Class(*this); \
    } \
    void Class::throwException(char const* file, int line) { \
        addLocation(file, static_cast<unsigned long>(line)); \
        throw copied(*this); \
    }

Z_DEFINE_EXCEPTION_5_1(ZOutOfMemoryException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZInvalidPlatformException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZNotClonableException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZInvalidParameterException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZNoTISEnvironmentException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZTISMBLenException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZUnsupportedException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZThreadException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZConditionException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZCreateResourceException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZLockResourceException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZUnlockResourceException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZReadResourceException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZWriteResourceException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZOpenResourceException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZCloseResourceException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZInvalidResourceStateException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZAbstractNotImplementedException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZConverterException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZCodesetException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZToUTF8Exception_5_1)
Z_DEFINE_EXCEPTION_5_1(ZFromUTF8Exception_5_1)
Z_DEFINE_EXCEPTION_5_1(ZPropertiesMissingPropertyException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZPropertiesInvalidValueException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZPropertiesIteratorException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZPropertiesIOException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZPropertiesInvalidDataException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZUnexpectedEndOfFile_5_1)
Z_DEFINE_EXCEPTION_5_1(ZJavaPropertyParseException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZSharedLibraryLoadException_5_1)
Z_DEFINE_EXCEPTION_5_1(ZSharedLibraryResolveException_5_1)

// ---- what is read from the surroundings when an exception is built ----

ZCodesetException_5_1::ZCodesetException_5_1(char const* codeset)
    : ZZException_5_1(47, "ZCodesetException"),
      codeset_(codeset),
      directory_(static_cast<char const*>(std::getenv("TISDIR"))) {}

ZToUTF8Exception_5_1::ZToUTF8Exception_5_1()
    : ZZException_5_1(49, "ZToUTF8Exception"),
      codeset_(static_cast<char const*>(zgetLocalCodesetName_5_1())) {}

ZFromUTF8Exception_5_1::ZFromUTF8Exception_5_1()
    : ZZException_5_1(50, "ZFromUTF8Exception"),
      codeset_(static_cast<char const*>(zgetLocalCodesetName_5_1())) {}

// ---- inserts, in the order of each text's placeholders ----

void ZThreadException_5_1::print() {
    printNumber(rc_, "");
}

void ZConditionException_5_1::print() {
    printNumber(rc_, "");
}

void ZResourceException_5_1::print() {
    printNumber(rc_, "");
}

void ZOpenResourceException_5_1::print() {
    printNumber(rc(), value());
}

void ZCloseResourceException_5_1::print() {
    printNumber(rc(), value());
}

void ZInvalidResourceStateException_5_1::print() {
    printinternal(this, value());
}

void ZAbstractNotImplementedException_5_1::print() {
    printinternal(this, value());
}

void ZConverterException_5_1::print() {
    printinternal(this, from_.getChars(), to_.getChars(), err_.getChars(), "");
}

void ZCodesetException_5_1::print() {
    printinternal(this, codeset_.getChars(), directory_.getChars());
}

void ZToUTF8Exception_5_1::print() {
    printinternal(this, codeset_.getChars());
}

void ZFromUTF8Exception_5_1::print() {
    printinternal(this, codeset_.getChars());
}

void ZPropertiesException_5_1::print() {
    printinternal(this, propFile());
}

void ZPropertiesMissingPropertyException_5_1::print() {
    printinternal(this, propFile(), key(), category());
}

void ZPropertiesInvalidValueException_5_1::print() {
    printinternal(this, propFile(), value(), key(), category());
}

void ZPropertiesIOException_5_1::print() {
    printinternal(this, propFile(), api(), err_);
}

void ZPropertiesInvalidDataException_5_1::print() {
    printinternal(this, propFile(), line_, baddata());
}

void ZUnexpectedEndOfFile_5_1::print() {
    printinternal(this, file_.getChars());
}

void ZJavaPropertyParseException_5_1::print() {
    printinternal(this, file_.getChars());
}

void ZSharedLibraryException_5_1::print() {
    printNumber(rc_, detail());
}

void ZSharedLibraryLoadException_5_1::print() {
    printinternal(this, lib(), rc_, detail());
}

void ZSharedLibraryResolveException_5_1::print() {
    printinternal(this, lib(), symbol(), rc_, detail());
}
