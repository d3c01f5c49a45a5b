// ZException_test: what each exception carries, how it is thrown, caught and copied.
// Subsystem: model, layer 1. Test: tests/ZException_test.cpp
#include <Z/ZException.h>
#include <Z/ZMessage.h>

#include <memory>

#include "ZTest.h"

namespace {

// What print() writes behind the four lines that every report begins with.
std::string textOf(ZException_5_1& exception) {
    std::string const report = ztest::reported([&] { exception.print(); });
    std::string const mark = "NUM_MSGS = 55\n";
    return report.substr(report.find(mark) + mark.size());
}

// Thrown, caught as its base and cloned, it carries what it was given.
void expect(ZException_5_1&& exception, char const* name, unsigned long code, char const* text) {
    SCOPED_TRACE(text);
    EXPECT_TRUE(exception.who() == nullptr && exception.locationCount() == 1);
    try {
        exception.throwException("src/Z/ZLock", 120);
        ADD_FAILURE() << "nothing was thrown";
    } catch (ZException_5_1& caught) {
        char const* file = nullptr;
        int line = 0;
        EXPECT_TRUE(caught.location(9, file, line) == 1 && line == 120);
        EXPECT_STREQ(file, "src/Z/ZLock");
        EXPECT_STREQ(caught.name(), name);
        EXPECT_EQ(caught.code(), code);
        EXPECT_EQ(textOf(caught), text);
        std::unique_ptr<ZObject_5_1> copy(caught.clone());
        EXPECT_EQ(textOf(static_cast<ZException_5_1&>(*copy)), text);
    }
}

}  // namespace

TEST(ZException, CarriesNameCodeAndInsertsThroughThrowAndClone) {
    expect(ZConverterException_5_1(2, 22, "A", "B"), "ZConverterException", 2,
           "iconv_open failed for codepage A to B conversion. errno = 22.");
    expect(ZThreadException_5_1(17, 11), "ZThreadException", 17,
           "Unexpected error from pthread_create().  rc = 11.");
    expect(ZThreadException_5_1(25, 3), "ZThreadException", 25,
           "Unexpected error from gethostname().  rc = 3.");
    expect(ZConditionException_5_1(27, 5), "ZConditionException", 27,
           "Unexpected error from pthread_cond_broadcast().  rc = 5.");
    expect(ZLockResourceException_5_1(37, 5), "ZResourceException", 37,
           "Create failed for a process lock.  rc = 5 and the lock file name is .");
    expect(ZOpenResourceException_5_1(37, 2, "f"), "ZResourceException", 37,
           "Create failed for a process lock.  rc = 2 and the lock file name is f.");
    expect(ZInvalidResourceStateException_5_1("read"), "ZResourceException", 32,
           "An unexpected lock state was detected.  The current lock state is read.");
    expect(ZAbstractNotImplementedException_5_1("x"), "ZAbstractNotImplementedException", 31,
           "The requested function is not implemented.");
    expect(ZPropertiesMissingPropertyException_5_1("f", "s", "k"),
           "ZPropertiesMissingPropertyException", 28,
           "The configuration file f is missing the required attribute k in stanza s.");
    expect(ZPropertiesInvalidBoolValueException_5_1("f", "s", "k", "v"),
           "ZPropertiesInvalidValueException", 41,
           "The configuration file f has an invalid boolean value v for key k in stanza s.");
    expect(ZPropertiesIteratorException_5_1("f"), "ZPropertiesIteratorException", 42,
           "The iterator for  configuration file f is in an invalid state for the operation");
    expect(ZPropertiesIOException_5_1("f", "access()", 13), "ZPropertiesIOException", 43,
           "Access failed for configuration file f.  The access function was access() and return "
           "code was 13");
    expect(ZPropertiesInvalidDataException_5_1("f", "x", 7), "ZPropertiesInvalidDataException", 44,
           "The configuration file \"f\" contains invalid data at line 7.\nData: \"x\"");
    expect(ZSharedLibraryLoadException_5_1("l", "d", 4), "ZSharedLibraryLoadException", 51,
           "Shared library load/unload error (l) 4.  d");
    expect(ZSharedLibraryResolveException_5_1("l", "s", "d", 4), "ZSharedLibraryResolveException",
           52, "Shared library resolve error (l:s) 4.  d");
    expect(ZUnexpectedEndOfFile_5_1("f"), "ZUnexpectedEndOfFile", 53,
           "Unexpected end of file encounted while reading f.");
    expect(ZJavaPropertyParseException_5_1("f"), "ZJavaPropertyParseException", 54,
           "Internal error encountered while loading Java property file f.");
    expect(ZCloseResourceException_5_1(38, 5, "f"), "ZResourceException", 38,
           "Close failed for a process lock.  rc = 5 and the lock file name is f.");
    expect(ZToUTF8Exception_5_1(), "ZToUTF8Exception", 49,
           "Local codeset UTF-8 string could not be converted to UTF-8.");
    expect(ZFromUTF8Exception_5_1(), "ZFromUTF8Exception", 50,
           "UTF-8 string could not be converted to the local codeset UTF-8.");
}

TEST(ZException, NumberAndBooleanArriveAsTheirBase) {
    ZPropertiesInvalidNumValueException_5_1 number("f", "s", "k", "12abc");
    try {
        number.throwException("src/Z/ZProperties", 1);
        FAIL() << "nothing was thrown";
    } catch (ZPropertiesInvalidValueException_5_1& e) {
        EXPECT_TRUE(typeid(e) == typeid(ZPropertiesInvalidValueException_5_1) && e.code() == 40);
        EXPECT_STREQ(e.value(), "12abc");
        EXPECT_STREQ(e.category(), "s");
        EXPECT_STREQ(e.propFile(), "f");
    }
}

TEST(ZException, CodesetKeepsTheDirectoryOfItsTime) {
    std::string const former = getenv("TISDIR");
    ZCodesetException_5_1 set("UTF8");
    unsetenv("TISDIR");
    ZCodesetException_5_1 unset("UTF8");
    setenv("TISDIR", former.c_str(), 1);
    std::string const head = "Codeset handle create failed for codeset \"UTF8\".  TISDIR is \"";
    EXPECT_EQ(textOf(set), head + former + "\"");
    EXPECT_EQ(textOf(unset), head + "\"");
}
