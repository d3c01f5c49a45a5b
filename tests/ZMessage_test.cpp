// ZMessage_test: the default service's reports to the byte, and services put in its place.
// Subsystem: model, layer 1. Test: tests/ZMessage_test.cpp
#include <Z/ZException.h>
#include <Z/ZMessage.h>
#include <Z/ZUTF8String.h>
#include <pthread.h>

#include <regex>

#include "ZTest.h"

namespace {

std::string const thread = " Thread: " + std::to_string(static_cast<int>(pthread_self())) + "\n";

struct Numbered : ZZException_5_1 {
    explicit Numbered(int code) : ZZException_5_1(code, "Numbered") {}
    ZObject_5_1* clone() const override { return nullptr; }
    void throwException(char const*, int) override {}
};

struct Recorder : ZDefaultMessageService_5_1 {
    using ZDefaultMessageService_5_1::outputException;
    void outputException(ZException_5_1& e) const override { last = e.code(); }
    mutable unsigned long last = 0;
};

}  // namespace

TEST(ZMessage, ExceptionReport) {
    ZOutOfMemoryException_5_1 e;
    e.addLocation("src/Z/ZObject", 63);
    EXPECT_EQ(ztest::reported([&] { e.dumpException(); }),
              "Exception: ZOutOfMemoryException\n File: \"src/Z/ZObject\" 63\n Error: 1\n" +
                  thread + "NUM_MSGS = 55\nMemory allocation failure.");
    for (int code : {0, 23, 55, 1000}) {
        Numbered other(code);
        EXPECT_EQ(ztest::reported([&] { other.print(); }),
                  "Exception: Numbered\n File: \"(null)\" 0\n Error: " + std::to_string(code) +
                      "\n" + thread +
                      "NUM_MSGS = 55\nNo default text defined in ZMessage.cpp for the exception\n");
    }
}

TEST(ZMessage, MessageReport) {
    ZMessageService_5_1 const& service = *ZMessageService_5_1::messageService();
    ZLCString_5_1 const one("one"), two("two");
    ZUTF8String_5_1 const utf8("u");
    std::string const head = "Error: 9\n File: \"f\" 5\n" + thread;
    std::string const more = head + "Additional Information:\n";
    EXPECT_EQ(ztest::reported([&] { service.outputMessage("f", 5, 9, 0); }), head);
    EXPECT_EQ(ztest::reported([&] { service.outputMessage("f", 5, 9, 2, &one, &two); }),
              more + "one\ntwo\n");
    EXPECT_EQ(ztest::reported([&] { service.outputMessage("f", 5, 9, 99, &one); }),
              more + "one\n\n\n\n\n\n");
    EXPECT_EQ(ztest::reported([&] { service.outputMessageUTF8("f", 5, 9, 2, &utf8, &utf8); }),
              more + "\n\n");
}

TEST(ZMessage, ServicesAreExchanged) {
    Recorder recorder;
    ZMessageService_5_1::setMessageService(&recorder);
    ZUnsupportedException_5_1().dumpException();
    EXPECT_EQ(recorder.last, 48u);
    ZMessageService_5_1::setMessageService(nullptr);
    EXPECT_EQ(ZMessageService_5_1::messageService(), ZMessageService_5_1::defaultMessageService());
}

TEST(ZMessage, ReportsOfThreadsStayWhole) {
    std::string const all = ztest::reported([] {
        ztest::inThreads(4, [](int) {
            ZLCString_5_1 const insert("x");
            for (int i = 0; i < 50; ++i) {
                ZMessageService_5_1::messageService()->outputMessage("f", 1, 2, 1, &insert);
            }
        });
    });
    std::regex const whole(
        "Error: 2\n File: \"f\" 1\n Thread: -?[0-9]+\nAdditional Information:\nx\n");
    EXPECT_EQ(std::regex_replace(all, whole, "."), std::string(200, '.'));
}
