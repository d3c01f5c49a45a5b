// main: the command zstanza: lists, reads, checks and edits stanza files. See `zstanza --help`.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
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
    hiding = 32,  // --obfuscated
};

struct VerbEntry {
    char const* name;
    Verb run;
    char const* operands;  // in order; those after "|" may be left out, from the end
    unsigned options;
    char const* help;
};

constexpr char const* version = "zstanza " ZSTANZA_VERSION;

constexpr VerbEntry verbs[] = {
    {"list", list, "FILE | STANZA", json,
     "Print the names of all stanzas, or the keys and values of one stanza. An obfuscated value is "
     "printed as \"# obfuscated: KEY = VALUE\", with control characters and backslashes as in C"},
    {"get", get, "FILE STANZA KEY", json | reading | hiding,
     "Print the first value of a key, as it is. A message on standard error tells when it is "
     "obfuscated"},
    {"set", set, "FILE STANZA KEY VALUE", dryRun | create | hiding,
     "Give a key one value in place of those it has; makes stanza and key when needed. An empty "
     "VALUE leaves the key without one"},
    {"add", add, "FILE STANZA KEY VALUE", dryRun | hiding,
     "Add a value to those of a key, unless it is among them; makes stanza and key when needed"},
    {"unset", unset, "FILE STANZA | KEY", dryRun, "Remove a key, or a stanza with all its keys"},
    {"comment", comment, "FILE | STANZA KEY", dryRun | text,
     "Add a comment at the top of the file, under a stanza's head or above a key"},
    {"check", check, "FILE...", json,
     "Load every file, with its database of obfuscated values, and report the first fault of each "
     "as FILE:LINE: message"},
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
        if (word == "FILE...") {
            // As many as there are. Extra arguments are off since they take "[a,b]" for a list.
            constexpr int any = CLI::detail::expected_max_vector_size;
            option = command.add_option("FILE", a.files)->check(given);
            option->expected(any, any)->allow_extra_args(false);
            option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        }
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
    if (verb.options & hiding) {
        command.add_flag(
            "--obfuscated", a.obfuscated,
            verb.options & reading
                ? "Obfuscated values are expected: no message about them"
                : "Keep VALUE in the compressed database beside FILE, not in its text. "
                  "All values of a key are of one kind; unset the key to change it");
    }
    if (verb.options & create) command.add_flag("--create", a.create, "Make FILE if it is missing");
    if (verb.options & text) {
        command
            .add_option("--text", a.text, "The comment; gets a \"#\" in front unless it has one")
            ->type_name("TEXT")
            ->required();
    }
    if (verb.options & reading) {
        command.add_flag("--all", a.all, "Print every value, each with a line end");
        auto* number = command.add_flag("--int", a.asInteger, "Print a decimal number");
        command.add_flag("--bool", a.asBoolean, "Print yes or no")->excludes(number);
        command
            .add_option_function<std::string>(
                "--default", [&a](std::string const& value) { a.fallback = value; },
                "Print this if the key is absent or has no value")
            ->type_name("VALUE");
    }
}

void describe(CLI::App& command, VerbEntry const& verb, Arguments& a) {
    command.set_version_flag("--version", version);
    addOperands(command, verb, a);
    addOptions(command, verb, a);
}

// "--text=" as "--text" and "": CLI11 would take the next word for the value.
std::vector<std::string> withEmptyValues(CLI::App const& command,
                                         std::vector<std::string> const& words) {
    std::vector<std::string> out;
    bool asItIs = false;  // a value, or an operand
    bool operandsOnly = false;
    for (std::string const& word : words) {
        bool const empty = word.find('=') == word.size() - 1;
        std::string const name = empty ? word.substr(0, word.size() - 1) : word;
        CLI::Option const* option = nullptr;
        if (!asItIs && name.rfind("--", 0) == 0) option = command.get_option_no_throw(name);
        bool const takesValue = option != nullptr && option->get_items_expected_min() > 0;
        operandsOnly = operandsOnly || (!asItIs && word == "--");
        asItIs = operandsOnly || (takesValue && !empty);
        out.push_back(takesValue ? name : word);
        if (takesValue && empty) out.emplace_back();
    }
    return out;
}

// Returns what the words ask to print in place of any work: help or the version.
std::optional<std::string> parse(CLI::App& app, std::vector<std::string> words) {
    words = withEmptyValues(app, words);
    std::reverse(words.begin(), words.end());
    try {
        app.parse(std::move(words));
        return std::nullopt;
    } catch (CLI::ParseError const& end) {
        std::ostringstream result, ignored;
        if (app.exit(end, result, ignored) != 0) {
            throw Failure(usage,
                          oneLine(std::string("zstanza: ") + end.what() + "; see zstanza --help"));
        }
        return result.str();
    }
}

// For words that do not begin with a verb: help, version or a Failure.
std::string overview(std::vector<std::string> const& words) {
    Arguments ignored;
    CLI::App app("Lists, reads, checks and edits stanza files.", "zstanza");
    app.set_version_flag("--version", version);
    app.require_subcommand(1);
    app.footer(
        "Operands that begin with \"-\" go after \"--\".\n"
        "Exit codes: 0 done, 1 no such stanza or key, 2 bad usage or argument, 3 invalid data in "
        "the\n"
        "file, 4 the file cannot be read, locked or written, 5 the value is not of the asked "
        "type.");
    for (VerbEntry const& verb : verbs) {
        describe(*app.add_subcommand(verb.name, verb.help), verb, ignored);
    }
    if (std::optional<std::string> text = parse(app, words)) return *text;
    throw Failure(usage, "zstanza: The verb comes first; see zstanza --help");
}

int run(std::vector<std::string> words, std::string& out) {
    VerbEntry const* verb = std::find_if(
        std::begin(verbs), std::end(verbs),
        [&words](VerbEntry const& entry) { return !words.empty() && words.front() == entry.name; });
    if (verb == std::end(verbs)) {
        out = overview(words);
        return done;
    }
    // An App without a parent: below another one, "++" would be no operand.
    Arguments arguments;
    CLI::App command(verb->help, std::string("zstanza ") + verb->name);
    describe(command, *verb, arguments);
    words.erase(words.begin());
    if (std::optional<std::string> text = parse(command, words)) {
        out = *text;
        return done;
    }
    try {
        return verb->run(arguments, out);
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
        int code = zstanza::run({argv + std::min(argc, 1), argv + argc}, out);
        zstanza::writeOut(out);
        return code;
    } catch (...) {
        zstanza::Failure failure = zstanza::currentFailure("zstanza");
        zstanza::complain(failure.message);
        return failure.code;
    }
}
