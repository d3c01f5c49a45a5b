// Failure: how a zstanza command ends when it does not succeed: an exit code and one line of text.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include "Failure.h"

#include <Z/ZException.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>

#include "Terminal.h"

namespace zstanza {

namespace {

template <class Keep>
std::string escaped(std::string const& text, Keep keep) {
    static char const digits[] = "0123456789abcdef";
    std::string out;
    for (char c : text) {
        auto byte = static_cast<unsigned char>(c);
        if (keep(byte)) {
            out += c;
        } else {
            out.append("\\x").append(1, digits[byte >> 4]).append(1, digits[byte & 15]);
        }
    }
    return out;
}

// Which rule of the syntax a refused line breaks. The library names the line only, but the line
// tells: it comes without outer white space, and never as a comment.
char const* syntaxFault(std::string const& line) {
    if (line[0] == '[') {
        return line.find(']') == std::string::npos ? "no \"]\" ends the stanza's name"
                                                   : "the stanza is there already";
    }
    if (line[0] == '=') return "no key stands before \"=\"";
    if (line.find('=') == std::string::npos) return "neither comment, stanza nor key = value";
    return "the key stands before any stanza";
}

std::string accessFault(std::string const& api) {
    if (api == "fopen(r)") return "cannot be read";
    if (api == "fcntl()") return "cannot be locked";
    return "cannot be written";
}

// The library calls a missing and an empty database an invalid argument.
std::string databaseFault(char const* database, int error) {
    struct stat now;
    if (stat(database, &now) != 0) return std::strerror(errno);
    if (!S_ISREG(now.st_mode)) return "is not a regular file";
    return now.st_size == 0 ? "is empty" : std::strerror(error);
}

Failure accessFailure(ZPropertiesIOException_5_1 const& refused, std::string const& file) {
    std::string const api = refused.api();
    char const* const name = refused.propFile();
    if (api == "mapFile()") {
        Failure failure(inaccessible, file,
                        std::string("the database of its obfuscated values cannot be read: ") +
                            name + ": " + databaseFault(name, refused.excerrno()));
        failure.database = name;
        return failure;
    }
    if (api == "access()" && refused.excerrno() == EINVAL) {
        return Failure(inaccessible, file, "names itself as the database of its obfuscated values");
    }
    return Failure(inaccessible, name, accessFault(api) + ": " + std::strerror(refused.excerrno()));
}

Failure invalidDataFailure(ZPropertiesInvalidDataException_5_1 const& refused,
                           std::string const& file) {
    if (refused.badline() == 0) {
        Failure failure(invalidData, oneLine(refused.propFile()) +
                                         ": no valid database of the obfuscated values of " +
                                         oneLine(file));
        failure.database = refused.propFile();
        return failure;
    }
    std::string text = refused.baddata();
    Failure failure(invalidData, oneLine(refused.propFile()) + ":" +
                                     std::to_string(refused.badline()) + ": " + syntaxFault(text) +
                                     ": " + oneLine(text));
    failure.line = refused.badline();
    failure.text = text;
    return failure;
}

}  // namespace

Failure::Failure(ExitCode why, std::string const& subject, std::string const& cause)
    : Failure(why, "zstanza: " + oneLine(subject) + ": " + oneLine(cause)) {}

void Failure::stoodAt(std::string const& place) {
    static constexpr char program[] = "zstanza: ";
    bool const named = message.compare(0, sizeof program - 1, program) == 0;
    message =
        program + oneLine(place) + ": " + (named ? message.substr(sizeof program - 1) : message);
}

Failure currentFailure(std::string const& file) {
    try {
        throw;
    } catch (Failure const& failure) {
        return failure;
    } catch (ZPropertiesInvalidDataException_5_1 const& refused) {
        return invalidDataFailure(refused, file);
    } catch (ZPropertiesIOException_5_1 const& refused) {
        return accessFailure(refused, file);
    } catch (ZInvalidParameterException_5_1 const&) {
        return Failure(
            usage, file,
            "the file could not hold this: no line end may stand in it, no \"]\" in a "
            "stanza's name, no \"=\" or outer blank in a key, no \"#\" or \"[\" before a key");
    } catch (ZException_5_1 const& other) {
        return Failure(inaccessible, file,
                       std::string(other.name()) + ", code " + std::to_string(other.code()));
    } catch (std::bad_alloc const&) {
        return Failure(inaccessible, file, "out of memory");
    } catch (std::exception const& other) {
        return Failure(inaccessible, file, other.what());
    }
}

bool isBusy(ZPropertiesIOException_5_1 const& refused) {
    return std::strcmp(refused.api(), "fcntl()") == 0 &&
           (refused.excerrno() == EAGAIN || refused.excerrno() == EACCES);
}

Failure busyFailure(std::string const& file, unsigned seconds) {
    return Failure(inaccessible, file,
                   "in use by another program, waited " + std::to_string(seconds) + " s");
}

std::string oneLine(std::string const& text) {
    return escaped(text, [](unsigned char byte) { return byte >= 0x20 && byte != 0x7f; });
}

std::string ascii(std::string const& text) {
    return escaped(text, [](unsigned char byte) { return byte >= 0x20 && byte < 0x7f; });
}

void complain(std::string const& message) {
    std::size_t const cause = message.find(": ") + 1;  // 0: there is no such part
    std::string const line =
        coloured(2, Colour::fault, message.substr(0, cause)) + message.substr(cause);
    static_cast<void>(std::fprintf(stderr, "%s\n", line.c_str()));
}

}  // namespace zstanza
