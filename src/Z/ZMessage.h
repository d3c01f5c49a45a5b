// ZMessage: the replaceable sink of all diagnostics, and the default that writes standard error.
// Subsystem: model, layer 1. Test: tests/ZMessage_test.cpp
#ifndef Z_ZMESSAGE_H
#define Z_ZMESSAGE_H

#include <atomic>
#include <cstdarg>
#include <type_traits>

#include "ZObject.h"
#include "zexport.h"

class ZException_5_1;
class ZLCString_5_1;
class ZUTF8String_5_1;
class ZZException_5_1;

// How a variable-argument list travels as `char* args`: a service that wants to read it turns it
// back with `reinterpret_cast<ZVaArg_5_1>(args)` and may walk it once (take a va_copy to walk it
// twice).
typedef std::decay<va_list>::type ZVaArg_5_1;

// Where the library reports. An application may install a service of its own at start-up, before
// other threads report; it stays the application's and must live as long as it is installed. A
// service is called from any thread.
class Z_API ZMessageService_5_1 {
public:
    // An error with up to six inserts, of which the first `count` are used, in the local codeset
    // or in UTF-8.
    virtual void outputMessage(char const* file, int line, int code, int count,
                               ZLCString_5_1 const* s1 = nullptr, ZLCString_5_1 const* s2 = nullptr,
                               ZLCString_5_1 const* s3 = nullptr, ZLCString_5_1 const* s4 = nullptr,
                               ZLCString_5_1 const* s5 = nullptr,
                               ZLCString_5_1 const* s6 = nullptr) const = 0;
    virtual void outputMessageUTF8(char const* file, int line, int code, int count,
                                   ZUTF8String_5_1 const* s1 = nullptr,
                                   ZUTF8String_5_1 const* s2 = nullptr,
                                   ZUTF8String_5_1 const* s3 = nullptr,
                                   ZUTF8String_5_1 const* s4 = nullptr,
                                   ZUTF8String_5_1 const* s5 = nullptr,
                                   ZUTF8String_5_1 const* s6 = nullptr) const = 0;
    // A caught exception.
    virtual void outputException(ZException_5_1& exception) const = 0;
    // An exception with its inserts, in the order of its text's placeholders; see ZVaArg_5_1.
    virtual void outputException(ZZException_5_1 const* exception, char* args) const = 0;

    // The current service, and the default one, which is made at the first call and lives to the
    // end. Never null, not the caller's.
    static ZMessageService_5_1 const* messageService();
    static ZMessageService_5_1 const* defaultMessageService();
    // Installs `service`, or the default again for null. Calls under way finish with the old one.
    static void setMessageService(ZMessageService_5_1 const* service);
    // outputException(exception, args) of the current service.
    static void routeZZException(ZZException_5_1 const* exception, char* args);
    // Makes the default service unless it is there; the functions above call it.
    static void init();

protected:
    ~ZMessageService_5_1() = default;

    // The current service and the default one.
    static std::atomic<ZMessageService_5_1 const*> ms_;
    static std::atomic<ZMessageService_5_1 const*> dms_;
};

// Writes to standard error. outputException prints name, place, code, thread and the text of the
// code with the inserts filled in, no newline after it; outputMessage prints code, place and thread
// and then each insert on a line of its own, without the code's text. UTF-8 inserts are not shown:
// each becomes an empty line. Each report is written as one piece.
class Z_API ZDefaultMessageService_5_1 : public ZObject_5_1, public ZMessageService_5_1 {
public:
    ~ZDefaultMessageService_5_1() noexcept override = default;

    ZObject_5_1* clone() const override;

    void outputException(ZZException_5_1 const* exception, char* args) const override;
    void outputMessage(char const* file, int line, int code, int count,
                       ZLCString_5_1 const* s1 = nullptr, ZLCString_5_1 const* s2 = nullptr,
                       ZLCString_5_1 const* s3 = nullptr, ZLCString_5_1 const* s4 = nullptr,
                       ZLCString_5_1 const* s5 = nullptr,
                       ZLCString_5_1 const* s6 = nullptr) const override;
    void outputMessageUTF8(char const* file, int line, int code, int count,
                           ZUTF8String_5_1 const* s1 = nullptr, ZUTF8String_5_1 const* s2 = nullptr,
                           ZUTF8String_5_1 const* s3 = nullptr, ZUTF8String_5_1 const* s4 = nullptr,
                           ZUTF8String_5_1 const* s5 = nullptr,
                           ZUTF8String_5_1 const* s6 = nullptr) const override;
    void outputException(ZException_5_1& exception) const override;
};

#endif
