// ZMessage: the replaceable sink of all diagnostics, and the default that writes standard error.
// Subsystem: model, layer 1. Test: tests/ZMessage_test.cpp
#include "ZMessage.h"

#include <pthread.h>

#include <algorithm>
#include <cstdio>

#include "ZException.h"
#include "ZLCString.h"
#include "zraise.h"

namespace {

// Indexed by code; 0 and 23 have no text. Logs and callers compare against these texts, double
// blanks, missing full stops and word forms included.
constexpr char const* texts[] = {
    nullptr,
    "Memory allocation failure.",
    "iconv_open failed for codepage %s to %s conversion. errno = %s.",
    "Unexpected error from pthread_mutex_init().  rc = %d.",
    "Unexpected error from pthread_mutex_destroy().  rc = %d.",
    "Unexpected error from pthread_mutex_lock().  rc = %d.",
    "Unexpected error from pthread_mutex_unlock().  rc = %d.",
    "Unexpected error from pthread_cond_init().  rc = %d.",
    "Unexpected error from pthread_cond_destroy().  rc = %d.",
    "Unexpected error from pthread_cond_wait().  rc = %d.",
    "Unexpected error from pthread_cond_signal().  rc = %d.",  // 10
    "This function is not supported on this platform.",
    "Unexpected error from Windows RegOpenKeyEx().  Open of registry key %s failed with error %s.",
    "Unexpected error from Windows RegQueryValueEx().  Read of value %s failed with error %s.",
    "Object is not cloneable.",
    "Unexpected error from pthread_attr_init().  rc = %d.",
    "Unexpected error from pthread_attr_setdetachstate().  rc = %d.",
    "Unexpected error from pthread_create().  rc = %d.",
    "Unexpected error from pthread_attr_destroy().  rc = %d.",
    "An unknown exception was caught.  No exception information available.",
    "Unexpected error from pthread_join().  rc = %d.",  // 20
    "Unexpected error from pthread_cond_timedwait().  rc = %d.",
    "A function or method was called with an invalid parameter.",
    nullptr,
    "Unexpected error from WSAStartup().  rc = %s.",
    "Unexpected error from gethostname().  rc = %s.",
    "Unexpected error from gethostnamebyname().  rc = %s.",
    "Unexpected error from pthread_cond_broadcast().  rc = %d.",
    "The configuration file %s is missing the required attribute %s in stanza %s.",
    "Unexpected error from pthread_key_create().  rc = %d.",
    "Unexpected error from pthread_setspecific().  rc = %d.",  // 30
    "The requested function is not implemented.",
    "An unexpected lock state was detected.  The current lock state is %s.",
    "An unexpected error was received when trying to obtain a process lock.  rc = %d.",
    "An unexpected error was received when trying to release a process lock.  rc = %d.",
    "Read failed for a process lock.  rc = %d.",
    "Write failed for a process lock.  rc = %d.",
    "Create failed for a process lock.  rc = %d and the lock file name is %s.",
    "Close failed for a process lock.  rc = %d and the lock file name is %s.",
    "The configuration file %s has an invalid value %s for key %s in stanza %s.",
    "The configuration file %s has an invalid numeric value %s for key %s in stanza %s.",  // 40
    "The configuration file %s has an invalid boolean value %s for key %s in stanza %s.",
    "The iterator for  configuration file %s is in an invalid state for the operation",
    "Access failed for configuration file %s.  The access function was %s and return code was %d",
    "The configuration file \"%s\" contains invalid data at line %d.\nData: \"%s\"",
    "The TISDIR environment variable is not set.",
    "The tis_mblen() function returned -1.",
    "Codeset handle create failed for codeset \"%s\".  TISDIR is \"%s\"",
    "The operation is not supported.",
    "Local codeset %s string could not be converted to UTF-8.",
    "UTF-8 string could not be converted to the local codeset %s.",  // 50
    "Shared library load/unload error (%s) %d.  %s",
    "Shared library resolve error (%s:%s) %d.  %s",
    "Unexpected end of file encounted while reading %s.",
    "Internal error encountered while loading Java property file %s.",
};
constexpr int textCount = sizeof texts / sizeof texts[0];
static_assert(textCount == 55, "every code has its place");

constexpr int maxInserts = 6;

// One report stands in one piece: other threads' reports wait until this object is gone.
class Report {
public:
    Report() { flockfile(stderr); }
    ~Report() { funlockfile(stderr); }
    Report(Report const&) = delete;
    Report& operator=(Report const&) = delete;

    // The identifier in the width that "%d" prints.
    void thread() const { std::fprintf(stderr, " Thread: %d\n", static_cast<int>(pthread_self())); }
};

// What "%s" prints for a place that was never set.
char const* shown(char const* file) {
    return file ? file : "(null)";
}

pthread_once_t once = PTHREAD_ONCE_INIT;

}  // namespace

char const* z_5_1::defaultText(unsigned long code) noexcept {
    return code < textCount ? texts[code] : nullptr;
}

std::atomic<ZMessageService_5_1 const*> ZMessageService_5_1::ms_{nullptr};
std::atomic<ZMessageService_5_1 const*> ZMessageService_5_1::dms_{nullptr};

void ZMessageService_5_1::init() {
    // The service lives in memory of its own, so that nothing can fail here, and is never
    // destroyed.
    pthread_once(&once, [] {
        alignas(ZDefaultMessageService_5_1) static char place[sizeof(ZDefaultMessageService_5_1)];
        auto* service = new (place) ZDefaultMessageService_5_1;
        dms_.store(service, std::memory_order_release);
        ms_.store(service, std::memory_order_release);
    });
}

ZMessageService_5_1 const* ZMessageService_5_1::messageService() {
    ZMessageService_5_1 const* service = ms_.load(std::memory_order_acquire);
    if (service) return service;
    init();
    return ms_.load(std::memory_order_acquire);
}

ZMessageService_5_1 const* ZMessageService_5_1::defaultMessageService() {
    init();
    return dms_.load(std::memory_order_acquire);
}

void ZMessageService_5_1::setMessageService(ZMessageService_5_1 const* service) {
    init();
    ms_.store(service ? service : dms_.load(std::memory_order_acquire), std::memory_order_release);
}

void ZMessageService_5_1::routeZZException(ZZException_5_1 const* exception, char* args) {
    messageService()->outputException(exception, args);
}

ZObject_5_1* ZDefaultMessageService_5_1::clone() const {
    return new ZDefaultMessageService_5_1;
}

void ZDefaultMessageService_5_1::outputException(ZZException_5_1 const* exception,
                                                 char* args) const {
    Report report;
    std::fprintf(stderr, "Exception: %s\n File: \"%s\" %d\n Error: %d\n", exception->name(),
                 shown(exception->who()), static_cast<int>(exception->where()),
                 static_cast<int>(exception->code()));
    report.thread();
    std::fprintf(stderr, "NUM_MSGS = %d\n", textCount);
    if (char const* text = z_5_1::defaultText(exception->code())) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        std::vfprintf(stderr, text, reinterpret_cast<ZVaArg_5_1>(args));
#pragma GCC diagnostic pop
    } else {
        std::fprintf(stderr, "No default text defined in ZMessage.cpp for the exception\n");
    }
}

void ZDefaultMessageService_5_1::outputMessage(char const* file, int line, int code, int count,
                                               ZLCString_5_1 const* s1, ZLCString_5_1 const* s2,
                                               ZLCString_5_1 const* s3, ZLCString_5_1 const* s4,
                                               ZLCString_5_1 const* s5,
                                               ZLCString_5_1 const* s6) const {
    Report report;
    std::fprintf(stderr, "Error: %d\n File: \"%s\" %d\n", code, shown(file), line);
    report.thread();
    if (count < 1) return;
    std::fprintf(stderr, "Additional Information:\n");
    ZLCString_5_1 const* const inserts[maxInserts] = {s1, s2, s3, s4, s5, s6};
    for (int i = 0; i < std::min(count, maxInserts); ++i) {
        std::fprintf(stderr, "%s\n", inserts[i] ? inserts[i]->getChars() : "");
    }
}

void ZDefaultMessageService_5_1::outputMessageUTF8(char const* file, int line, int code, int count,
                                                   ZUTF8String_5_1 const*, ZUTF8String_5_1 const*,
                                                   ZUTF8String_5_1 const*, ZUTF8String_5_1 const*,
                                                   ZUTF8String_5_1 const*,
                                                   ZUTF8String_5_1 const*) const {
    ZLCString_5_1 const s1, s2, s3, s4, s5, s6;
    outputMessage(file, line, code, count, &s1, &s2, &s3, &s4, &s5, &s6);
}

void ZDefaultMessageService_5_1::outputException(ZException_5_1& exception) const {
    exception.print();
}
