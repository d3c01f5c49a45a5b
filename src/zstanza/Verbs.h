// Verbs: what zstanza does: one function per verb.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#ifndef ZSTANZA_VERBS_H
#define ZSTANZA_VERBS_H

#include <optional>
#include <string>
#include <vector>

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
    std::optional<std::string> fallback;  // --default
    bool all = false;
    bool asInteger = false;
    bool asBoolean = false;
    bool obfuscated = false;
    bool create = false;
    bool dryRun = false;
    bool json = false;
    unsigned wait = 5;  // seconds
};

// Each appends its result to `out`, which is for standard output, and returns the exit code; what
// goes wrong is thrown, as Failure or as the library's exception. Two write messages themselves:
// check, since it goes on with the next file, and get, which marks obfuscated values so.
using Verb = int (*)(Arguments const& arguments, std::string& out);

int list(Arguments const& arguments, std::string& out);
int get(Arguments const& arguments, std::string& out);
int set(Arguments const& arguments, std::string& out);
int add(Arguments const& arguments, std::string& out);
int unset(Arguments const& arguments, std::string& out);
int comment(Arguments const& arguments, std::string& out);
int check(Arguments const& arguments, std::string& out);

}  // namespace zstanza

#endif
