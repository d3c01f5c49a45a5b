// Verbs: what zstanza does: one function per verb.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#ifndef ZSTANZA_VERBS_H
#define ZSTANZA_VERBS_H

#include <optional>
#include <string>
#include <vector>

#include "StanzaFile.h"

namespace zstanza {

// The command line, taken apart. An operand that was not given is empty; none may be given empty
// but VALUE and TEXT.
struct Arguments {
    std::string file;
    std::vector<std::string> files;  // of check
    std::string stanza;
    std::string key;
    std::string value;
    std::string text;
    std::string changes;                  // the file of apply
    std::optional<std::string> fallback;  // --default
    bool all = false;
    bool asInteger = false;
    bool asBoolean = false;
    bool obfuscated = false;
    bool create = false;
    bool dryRun = false;
    bool diff = false;
    bool json = false;
    bool null = false;   // -0
    unsigned count = 0;  // lines of watch; 0: without end
    unsigned wait = 5;   // seconds
};

// The key of messages.
std::string keyOf(Arguments const& arguments);

// Each appends its result to `out`, which is for standard output, and returns the exit code; what
// goes wrong is thrown, as Failure or as the library's exception. Three write by themselves: check
// its messages, since it goes on with the next file; get the message that marks obfuscated values;
// watch its lines, as they come.
using Verb = int (*)(Arguments const& arguments, std::string& out);

int list(Arguments const& arguments, std::string& out);
int get(Arguments const& arguments, std::string& out);
int check(Arguments const& arguments, std::string& out);
int watch(Arguments const& arguments, std::string& out);

// One edit of a loaded file, in memory.
using Edit = void (*)(StanzaFile& file, Arguments const& arguments);

void set(StanzaFile& file, Arguments const& arguments);
void add(StanzaFile& file, Arguments const& arguments);
void unset(StanzaFile& file, Arguments const& arguments);
void comment(StanzaFile& file, Arguments const& arguments);

// An edit with what it needs, and where it stands among others ("" for the command line's own).
struct Change {
    Edit edit;
    Arguments arguments;
    std::string place;
};

// Makes all changes of the file or none: loads what is on disk now, edits it and stores it, alone
// among all zstanza; starts over when the file was replaced meanwhile. A dry run touches nothing
// and so needs no lock; it prints the text that would be stored, or how that differs.
int change(Arguments const& arguments, std::vector<Change> const& changes, std::string& out);

}  // namespace zstanza

#endif
