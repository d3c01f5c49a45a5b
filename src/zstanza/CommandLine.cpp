// CommandLine: what the words of a command line ask for.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "Failure.h"
#include "Words.h"

namespace zstanza {

namespace {

// Options beyond --wait, which every verb has.
enum : unsigned {
    json = 1,
    dryRun = 2,
    create = 4,
    reading = 8,  // --all, --int, --bool, --default
    text = 16,
    hiding = 32,     // --obfuscated
    ending = 64,     // -0
    counting = 128,  // --count
};

// A verb either runs by itself or is an edit, alone on the command line or one of those of apply.
struct VerbEntry {
    char const* name;
    Verb run;
    Edit edit;
    char const* operands;  // in order; those after "|" may be left out, from the end
    unsigned options;
    char const* help;
};

constexpr char const* version = "zstanza " ZSTANZA_VERSION;

constexpr VerbEntry verbs[] = {
    {"list", list, nullptr, "FILE | STANZA", json | ending,
     "Print the names of all stanzas, or the keys and values of one stanza. An obfuscated value is "
     "printed as \"# obfuscated: KEY = VALUE\", with control characters and backslashes as in C"},
    {"get", get, nullptr, "FILE STANZA KEY", json | reading | hiding | ending,
     "Print the first value of a key, as it is. A message on standard error tells when it is "
     "obfuscated"},
    {"set", nullptr, set, "FILE STANZA KEY VALUE", dryRun | create | hiding,
     "Give a key one value in place of those it has; makes stanza and key when needed. An empty "
     "VALUE leaves the key without one"},
    {"add", nullptr, add, "FILE STANZA KEY VALUE", dryRun | hiding,
     "Add a value to those of a key, unless it is among them; makes stanza and key when needed"},
    {"unset", nullptr, unset, "FILE STANZA | KEY", dryRun,
     "Remove a key, or a stanza with all its keys"},
    {"comment", nullptr, comment, "FILE | STANZA KEY", dryRun | text,
     "Add a comment at the top of the file, under a stanza's head or above a key"},
    {"apply", nullptr, nullptr, "FILE | CHANGES", dryRun | create,
     "Make several changes, all or none. CHANGES, or standard input, holds one a line: set, add, "
     "unset or comment with what follows FILE on the command line, quoted as for a shell"},
    {"check", check, nullptr, "FILE...", json,
     "Load every file, with its database of obfuscated values, and report the first fault of each "
     "as FILE:LINE: message"},
    {"watch", watch, nullptr, "FILE", json | counting,
     "Print a line for each key whose values change, until a signal ends it"},
};

// Help within 80 columns: what goes on stands below the text of its entry.
struct Help : CLI::Formatter {
    explicit Help(std::size_t column = 30) {
        column_width(column);
        label("SUBCOMMAND", "VERB");
    }
    // The usage shows them.
    std::string make_positionals(CLI::App const*) const override { return ""; }

    std::string make_help(CLI::App const* app, std::string name,
                          CLI::AppFormatMode mode) const override {
        std::string out;
        std::istringstream lines(CLI::Formatter::make_help(app, std::move(name), mode));
        for (std::string line; std::getline(lines, line);) {
            std::string const indent(line[0] == ' ' ? get_column_width() : 0, ' ');
            while (line.size() > 80) {
                std::size_t const end = line.rfind(' ', 80);
                if (end == std::string::npos || end <= indent.size()) break;
                out.append(line, 0, end) += '\n';
                line.replace(0, end + 1, indent);
            }
            out.append(line) += '\n';
        }
        out.erase(out.find_last_not_of('\n') + 2);
        return out;
    }
};

// In a line of apply the file is known.
void addOperands(CLI::App& command, VerbEntry const& verb, bool inChanges, Arguments& a) {
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
        if (word == "FILE" && inChanges) continue;
        if (word == "FILE") option = command.add_option("FILE", a.file)->check(given);
        if (word == "CHANGES") option = command.add_option("CHANGES", a.changes)->check(given);
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

// Those of one edit, in a line of apply as well.
void addEditOptions(CLI::App& command, VerbEntry const& verb, Arguments& a) {
    if (verb.options & hiding) {
        command.add_flag(
            "--obfuscated", a.obfuscated,
            verb.options & reading
                ? "Obfuscated values are expected: no message about them"
                : "Keep VALUE in the compressed database beside FILE, not in its text. "
                  "All values of a key are of one kind; unset the key to change it");
    }
    if (verb.options & text) {
        command
            .add_option("--text", a.text, "The comment; gets a \"#\" in front unless it has one")
            ->type_name("TEXT")
            ->required();
    }
}

void addReadingOptions(CLI::App& command, Arguments& a) {
    command.add_flag("--all", a.all, "Print every value, each with a line end");
    auto* number = command.add_flag("--int", a.asInteger, "Print a decimal number");
    command.add_flag("--bool", a.asBoolean, "Print yes or no")->excludes(number);
    command
        .add_option_function<std::string>(
            "--default", [&a](std::string const& value) { a.fallback = value; },
            "Print this if the key is absent or has no value")
        ->type_name("VALUE");
}

void addOptions(CLI::App& command, VerbEntry const& verb, Arguments& a) {
    command.add_option("--wait", a.wait, "Wait up to so many seconds for a busy file (5)")
        ->type_name("SECONDS");
    CLI::Option* const asJson =
        verb.options & json ? command.add_flag("--json", a.json, "Print JSON") : nullptr;
    if (verb.options & ending) {
        command
            .add_flag(
                "-0,--null", a.null,
                "End each result with a NUL instead of a line end; keys and values as KEY=VALUE")
            ->excludes(asJson);
    }
    if (verb.options & counting) {
        command.add_option("--count", a.count, "End after so many lines")->type_name("LINES");
    }
    if (verb.options & dryRun) {
        command.add_flag("--dry-run", a.dryRun,
                         "Print the text that would be stored, leave the file as it is");
        command.add_flag("--diff", a.diff, "The same, as the difference that diff -u shows");
    }
    if (verb.options & create) command.add_flag("--create", a.create, "Make FILE if it is missing");
    addEditOptions(command, verb, a);
    if (verb.options & reading) addReadingOptions(command, a);
}

void describe(CLI::App& command, VerbEntry const& verb, Arguments& a) {
    command.formatter(std::make_shared<Help>());
    command.set_version_flag("--version", version);
    addOperands(command, verb, false, a);
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
            throw Failure(usage, oneLine(std::string("zstanza: ") + end.what() + "; see " +
                                         app.get_name() + " --help"));
        }
        return result.str();
    }
}

// For words that do not begin with a verb: help, version or a Failure.
std::string overview(std::vector<std::string> const& words) {
    if (words.empty()) throw Failure(usage, "zstanza: a verb is missing; see zstanza --help");
    std::string const& first = words.front();
    if (first != "-h" && first != "--help" && first != "--version") {
        throw Failure(usage, oneLine("zstanza: " + first + " is no verb; see zstanza --help"));
    }
    Arguments ignored;
    CLI::App app("Lists, reads, checks and edits stanza files.", "zstanza");
    app.set_version_flag("--version", version);
    app.require_subcommand(1);
    app.formatter(std::make_shared<Help>(14));
    app.footer(
        "The options of a verb: zstanza VERB --help. Operands that begin with \"-\" go after "
        "\"--\".\n"
        "Exit codes: 0 done, 1 no such stanza or key, 2 bad usage or argument, 3 invalid data in "
        "the file, 4 the file cannot be read, locked or written, 5 the value is not of the asked "
        "type.");
    for (VerbEntry const& verb : verbs) {
        describe(*app.add_subcommand(verb.name, verb.help)->group("Verbs"), verb, ignored);
    }
    return parse(app, words).value_or("");
}

VerbEntry const* findVerb(std::vector<std::string> const& words) {
    VerbEntry const* const verb = std::find_if(
        std::begin(verbs), std::end(verbs),
        [&words](VerbEntry const& entry) { return !words.empty() && words.front() == entry.name; });
    return verb == std::end(verbs) ? nullptr : verb;
}

// "-" is standard input, which can be read, once.
void nameStandardInput(std::string& file, bool onlyRead) {
    if (file != "-") return;
    if (!onlyRead) {
        throw Failure(
            usage,
            "zstanza: -: standard input is for list, get and check; ./- is a file of that "
            "name");
    }
    file = "/dev/stdin";
}

std::string readWhole(std::string const& file) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const in(std::fopen(file.c_str(), "re"),
                                                             std::fclose);
    std::string text;
    char block[4096];
    std::size_t n = 0;
    while (in && (n = std::fread(block, 1, sizeof block, in.get())) > 0) text.append(block, n);
    if (!in || std::ferror(in.get())) throw Failure(inaccessible, file, std::strerror(errno));
    return text;
}

Change readChange(Command const& command, std::string const& place) {
    VerbEntry const* const verb = findVerb(command.words);
    if (!verb || !verb->edit) {
        throw Failure(usage, place, command.words.front() + " is none of set, add, unset, comment");
    }
    Change change{verb->edit, {}, place};
    CLI::App app(verb->help, std::string("zstanza ") + verb->name);
    app.set_help_flag();
    addOperands(app, *verb, true, change.arguments);
    addEditOptions(app, *verb, change.arguments);
    try {
        parse(app, {command.words.begin() + 1, command.words.end()});
    } catch (Failure& failure) {
        failure.stoodAt(place);
        throw;
    }
    return change;
}

std::vector<Change> readChanges(std::string const& file) {
    std::string const source = file.empty() || file == "-" ? "/dev/stdin" : file;
    std::vector<Change> changes;
    for (Command const& command : splitCommands(readWhole(source), source)) {
        changes.push_back(readChange(command, source + ":" + std::to_string(command.line)));
    }
    return changes;
}

}  // namespace

Request readCommandLine(std::vector<std::string> words) {
    Request request;
    VerbEntry const* const verb = findVerb(words);
    if (!verb) {
        request.text = overview(words);
        return request;
    }
    // An App without a parent: below another one, "++" would be no operand.
    Arguments& arguments = request.arguments;
    CLI::App command(verb->help, std::string("zstanza ") + verb->name);
    describe(command, *verb, arguments);
    words.erase(words.begin());
    if (std::optional<std::string> text = parse(command, words)) {
        request.text = *text;
        return request;
    }
    request.verb = verb->run;
    nameStandardInput(arguments.file, verb->run && verb->run != watch);
    for (std::string& file : arguments.files) nameStandardInput(file, true);
    if (verb->edit) {
        request.changes.push_back({verb->edit, arguments, ""});
    } else if (!verb->run) {
        request.changes = readChanges(arguments.changes);
    }
    return request;
}

}  // namespace zstanza
