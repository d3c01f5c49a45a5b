// main: the command zstanza: lists, reads, checks and edits stanza files. See `zstanza --help`.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "Failure.h"
#include "Verbs.h"

namespace zstanza {

namespace {

// Options beyond --wait, which every verb has.
enum : unsigned {
    json = 1,
    dryRun = 2,
    create = 4,
    reading = 8,  // --all, --int, --bool, --default
    text = 16,
};

struct VerbEntry {
    char const* name;
    Verb run;
    char const* operands;  // in order; those after "|" may be left out, from the end
    unsigned options;
    char const* help;
};

constexpr VerbEntry verbs[] = {
    {"list", list, "FILE | STANZA", json,
     "Print the names of all stanzas, or the keys and values of one stanza"},
    {"get", get, "FILE STANZA KEY", json | reading, "Print the first value of a key"},
    {"set", set, "FILE STANZA KEY VALUE", dryRun | create,
     "Give a key one value in place of those it has; makes stanza and key when needed. An empty "
     "VALUE leaves the key without one"},
    {"add", add, "FILE STANZA KEY VALUE", dryRun,
     "Add a value to those of a key, unless it is among them; makes stanza and key when needed"},
    {"unset", unset, "FILE STANZA | KEY", dryRun, "Remove a key, or a stanza with all its keys"},
    {"comment", comment, "FILE | STANZA KEY", dryRun | text,
     "Add a comment at the top of the file, under a stanza's head or above a key"},
    {"check", check, "FILE...", json,
     "Load every file and report the first fault of each as FILE:LINE: message"},
};

void addOperands(CLI::App& command, VerbEntry const& verb, Arguments& a) {
    CLI::Validator given([](std::string& word) { return word.empty() ? "must not be empty" : ""; },
                         "");
    bool required = true;
    std::istringstream words(verb.operands);
    for (std::string word; words >> word;) {
        CLI::Option* option = nullptr;
        if (word == "|") {
            required = false;
            continue;
        }
        if (word == "FILE") option = command.add_option("FILE", a.file)->check(given);
        if (word == "FILE...") option = command.add_option("FILE", a.files)->check(given);
        if (word == "STANZA") option = command.add_option("STANZA", a.stanza)->check(given);
        if (word == "KEY") option = command.add_option("KEY", a.key)->check(given);
        if (word == "VALUE") option = command.add_option("VALUE", a.value);
        option->type_name("")->required(required);
    }
}

void addOptions(CLI::App& command, VerbEntry const& verb, Arguments& a) {
    command.add_option("--wait", a.wait, "Wait up to so many seconds for a busy file (5)")
        ->type_name("SECONDS");
    if (verb.options & json) command.add_flag("--json", a.json, "Print JSON");
    if (verb.options & dryRun) {
        command.add_flag("--dry-run", a.dryRun,
                         "Print the text that would be stored, leave the file as it is");
    }
    if (verb.options & create) command.add_flag("--create", a.create, "Make FILE if it is missing");
    if (verb.options & text) {
        command
            .add_option("--text", a.text, "The comment; gets a \"#\" in front unless it has one")
            ->type_name("TEXT")
            ->required();
    }
    if (verb.options & reading) {
        command.add_flag("--all", a.all, "Print every value, a line each");
        auto* number = command.add_flag("--int", a.asInteger, "Print a decimal number");
        command.add_flag("--bool", a.asBoolean, "Print yes or no")->excludes(number);
        command
            .add_option_function<std::string>(
                "--default", [&a](std::string const& value) { a.fallback = value; },
                "Print this if the key is absent or has no value")
            ->type_name("VALUE");
    }
}

int run(int argc, char** argv, std::string& out) {
    Arguments arguments;
    CLI::App app("Lists, reads, checks and edits stanza files.", "zstanza");
    app.set_version_flag("--version", "zstanza " ZSTANZA_VERSION);
    app.require_subcommand(1);
    app.footer(
        "Operands that begin with \"-\" go after \"--\".\n"
        "Exit codes: 0 done, 1 no such stanza or key, 2 bad usage or argument, 3 invalid data in "
        "the\n"
        "file, 4 the file cannot be read, locked or written, 5 the value is not of the asked "
        "type.");
    std::map<CLI::App const*, Verb> runs;
    for (VerbEntry const& verb : verbs) {
        CLI::App* command = app.add_subcommand(verb.name, verb.help);
        addOperands(*command, verb, arguments);
        addOptions(*command, verb, arguments);
        runs[command] = verb.run;
    }
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& end) {
        std::ostringstream result, ignored;
        if (app.exit(end, result, ignored) != 0) {
            throw Failure(usage,
                          oneLine(std::string("zstanza: ") + end.what() + "; see zstanza --help"));
        }
        out = result.str();
        return done;
    }
    try {
        return runs.at(app.get_subcommands().front())(arguments, out);
    } catch (...) {
        throw currentFailure(arguments.file);
    }
}

void writeOut(std::string const& out) {
    if (out.empty()) return;
    if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size() || std::fclose(stdout) != 0) {
        throw Failure(inaccessible, "standard output", std::strerror(errno));
    }
}

// A standard descriptor that the caller closed would be given to the next file opened, and output
// would go into that file. What stands in for standard output cannot be written to.
void fillStandardDescriptors() {
    for (int descriptor = 0; descriptor <= 2; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) < 0)
            open("/dev/null", descriptor == 2 ? O_WRONLY : O_RDONLY);
    }
}

}  // namespace

}  // namespace zstanza

int main(int argc, char** argv) {
    setenv("TISDIR", "/", 0);
    zstanza::fillStandardDescriptors();
    // Failed writes are reported by exit codes.
    for (int number : {SIGPIPE, SIGXFSZ}) static_cast<void>(signal(number, SIG_IGN));
    std::string out;
    try {
        int code = zstanza::run(argc, argv, out);
        zstanza::writeOut(out);
        return code;
    } catch (...) {
        zstanza::Failure failure = zstanza::currentFailure("zstanza");
        zstanza::complain(failure.message);
        return failure.code;
    }
}
