// Failure: how a zstanza command ends when it does not succeed: an exit code and one line of text.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#ifndef ZSTANZA_FAILURE_H
#define ZSTANZA_FAILURE_H

#include <string>

class ZPropertiesIOException_5_1;

namespace zstanza {

enum ExitCode : int {
    done = 0,
    absent = 1,        // the stanza or key
    usage = 2,         // bad usage or argument
    invalidData = 3,   // in the file
    inaccessible = 4,  // cannot be read, locked or written
    wrongType = 5,     // the value is not of the asked type
};

// What a verb throws.
struct Failure {
    // "zstanza: SUBJECT: cause"; the subject is a file, most of the time.
    Failure(ExitCode why, std::string const& subject, std::string const& cause);
    // With a line of its own form.
    Failure(ExitCode why, std::string line) : code(why), message(std::move(line)) {}

    // Tells in which line of which file the change stands that failed.
    void stoodAt(std::string const& place);

    ExitCode code;
    std::string message;
    // For invalid data in the file itself: the line's number, from 1, and its text.
    int line = 0;
    std::string text;
    // The database of obfuscated values, when that could not be loaded.
    std::string database;
};

// The failure that the exception being handled amounts to. Called inside a catch block; the one
// place where exceptions of the library are given exit codes and words.
Failure currentFailure(std::string const& file);

// The library's answer when another program holds the file's record lock.
bool isBusy(ZPropertiesIOException_5_1 const& refused);

Failure busyFailure(std::string const& file, unsigned seconds);

// Control characters as \xNN, so that a message stays one line.
std::string oneLine(std::string const& text);
// The same for every byte that is not ASCII.
std::string ascii(std::string const& text);

// One line on standard error; on a terminal, what comes before the cause is set off by colour.
void complain(std::string const& message);

}  // namespace zstanza

#endif
