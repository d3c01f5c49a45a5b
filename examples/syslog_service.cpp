// A message service that writes to the system's log, one line per report. Reports come with a code
// and inserts; the wording is the service's own, here for the codes of configuration files, others
// are logged with their number. With a folder of message catalogues it would be a look-up instead.
//
//     syslog_service FILE     loads FILE; what is wrong with it is in the log
#include <Z/ZException.h>
#include <Z/ZMessage.h>
#include <Z/ZStanzaFileProperties.h>
#include <syslog.h>

#include <cstdio>

class SyslogService final : public ZMessageService_5_1 {
public:
    explicit SyslogService(char const* program) {
        openlog(program, LOG_PID | LOG_PERROR, LOG_USER);
    }

    // What is thrown and reported comes here, with the inserts of its code's text.
    void outputException(ZZException_5_1 const* exception, char* args) const override {
        char detail[1024] = "no text for this code";
        if (char const* const wording = wordingOf(exception->code())) {
            std::vsnprintf(detail, sizeof detail, wording, reinterpret_cast<ZVaArg_5_1>(args));
        }
        syslog(LOG_ERR, "%s %lu at %s:%lu: %s", exception->name(), exception->code(),
               exception->who(), exception->where(), detail);
    }
    // It comes back to the function above.
    void outputException(ZException_5_1& exception) const override { exception.print(); }

    // What the library reports without an exception.
    void outputMessage(char const* file, int line, int code, int count, ZLCString_5_1 const* s1,
                       ZLCString_5_1 const* s2, ZLCString_5_1 const* s3, ZLCString_5_1 const* s4,
                       ZLCString_5_1 const* s5, ZLCString_5_1 const* s6) const override {
        logInserts(file, line, code, count, {s1, s2, s3, s4, s5, s6});
    }
    void outputMessageUTF8(char const* file, int line, int code, int count,
                           ZUTF8String_5_1 const* s1, ZUTF8String_5_1 const* s2,
                           ZUTF8String_5_1 const* s3, ZUTF8String_5_1 const* s4,
                           ZUTF8String_5_1 const* s5, ZUTF8String_5_1 const* s6) const override {
        logInserts(file, line, code, count, {s1, s2, s3, s4, s5, s6});
    }

private:
    static char const* wordingOf(unsigned long code) {
        switch (code) {
            case 28:
                return "%s: %s is missing in [%s]";
            case 39:
                return "%s: \"%s\" does not do for %s in [%s]";
            case 40:
                return "%s: \"%s\" is no number, as %s in [%s] has to be";
            case 41:
                return "%s: \"%s\" is neither yes nor no, as %s in [%s] has to be";
            case 43:
                return "%s: %s failed with %d";
            case 44:
                return "%s:%d: not a line of a stanza file: %s";
            default:
                return nullptr;
        }
    }

    static void logInserts(char const* file, int line, int code, int count,
                           std::initializer_list<ZAbstractString_5_1 const*> inserts) {
        syslog(LOG_WARNING, "report %d at %s:%d", code, file, line);
        for (auto const* const insert : inserts) {
            if (count-- > 0 && insert) syslog(LOG_WARNING, "    %s", insert->getChars());
        }
    }
};

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    static SyslogService const service("syslog_service");
    ZMessageService_5_1::setMessageService(&service);
    try {
        ZStanzaFileProperties_5_1 const conf(argv[1], 0);
        conf.getIntegerValue("session", "timeout", 1, 0);
    } catch (ZException_5_1& failure) {
        failure.dumpException();
        return 1;
    }
    return 0;
}
