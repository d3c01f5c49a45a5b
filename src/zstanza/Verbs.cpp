// Verbs: what zstanza does: one function per verb.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include "Verbs.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "Failure.h"
#include "StanzaFile.h"

namespace zstanza {

namespace {

using Json = nlohmann::ordered_json;  // members in the order they are put in

// JSON is UTF-8, files are in the local codeset. The library turns what it cannot convert into the
// empty text, which must not pass for the value.
std::optional<std::string> toUtf8(std::string const& text) {
    ZLCConstString_5_1 local(text.c_str());
    ZUTF8String_5_1 converted(local);
    if (converted.isEmpty() && !text.empty()) return std::nullopt;
    return converted.getChars();
}

// What messages show of a value: they end up in logs.
std::string shown(std::string const& value, bool obfuscated) {
    return obfuscated ? "an obfuscated value" : value;
}

std::string utf8(StanzaFile const& file, std::string const& text, bool obfuscated = false) {
    std::optional<std::string> converted = toUtf8(text);
    if (!converted) {
        throw Failure(wrongType, file.name(),
                      "not text of the local codeset, so JSON cannot hold it: " +
                          ascii(shown(text, obfuscated)));
    }
    return *converted;
}

// A file's name need not be text, and the work goes on whatever it is.
std::string utf8Name(std::string const& name) {
    return toUtf8(name).value_or(ascii(name));
}

std::string utf8Name(StanzaFile const& file) {
    return utf8Name(file.name());
}

Json utf8(StanzaFile const& file, std::vector<std::string> const& texts, bool obfuscated = false) {
    Json out = Json::array();
    for (std::string const& text : texts) out.push_back(utf8(file, text, obfuscated));
    return out;
}

void mark(Json& object, Values const& values) {
    if (values.obfuscated) object["obfuscated"] = true;
}

// The key of messages.
std::string keyOf(Arguments const& a) {
    return "key " + a.key + " of stanza [" + a.stanza + "]";
}

void print(Json const& result, std::string& out) {
    out += result.dump();
    out += '\n';
}

void printLines(std::vector<std::string> const& lines, std::string& out) {
    for (std::string const& line : lines) {
        out += line;
        out += '\n';
    }
}

// ---- list ----

void listStanzas(StanzaFile& file, bool json, std::string& out) {
    std::vector<std::string> names = file.stanzas();
    if (json) return print({{"file", utf8Name(file)}, {"stanzas", utf8(file, names)}}, out);
    printLines(names, out);
}

// Obfuscated values may hold line ends, but each gets one line of the list.
std::string escapedAsInC(std::string const& text) {
    static constexpr char plain[] = "\\\n\t\r", named[] = "\\ntr";
    std::string out;
    for (char c : text) {
        auto const byte = static_cast<unsigned char>(c);
        if (char const* found = c == '\0' ? nullptr : std::strchr(plain, c)) {
            out.append(1, '\\') += named[found - plain];
        } else if (byte < 0x20 || byte == 0x7f) {
            out.append(1, '\\');
            for (int shift : {6, 3, 0}) out += static_cast<char>('0' + (byte >> shift & 7));
        } else {
            out += c;
        }
    }
    return out;
}

// The lines of one key. A plain one never begins with "#", as no key does. Where these lines end up
// in a stanza file, obfuscated values are comments there.
void printKey(std::string const& key, Values const& values, std::string& out) {
    if (values.texts.empty()) out.append(key).append(" =\n");
    for (std::string const& value : values.texts) {
        std::string line = key;
        line.append(" = ").append(value);
        out.append(values.obfuscated ? "# obfuscated: " + escapedAsInC(line) : line) += '\n';
    }
}

void listKeys(StanzaFile const& file, std::string const& stanza, bool json, std::string& out) {
    file.require(stanza);
    Json keys = Json::array();
    for (std::string const& key : file.keys(stanza)) {
        Values const values = file.values(stanza, key);
        if (!json) {
            printKey(key, values, out);
            continue;
        }
        Json entry = {{"key", utf8(file, key)},
                      {"values", utf8(file, values.texts, values.obfuscated)}};
        mark(entry, values);
        keys.push_back(entry);
    }
    if (json) {
        print({{"file", utf8Name(file)}, {"stanza", utf8(file, stanza)}, {"keys", keys}}, out);
    }
}

// ---- get ----

struct Converted {
    std::string text;
    Json json;
};

Converted convert(StanzaFile const& file, Arguments const& a, std::string const& value,
                  bool obfuscated, ExitCode otherwise) {
    unsigned int number = 0;
    int truth = 0;
    if (a.asInteger && ZProperties_5_1::convertToInt(value.c_str(), number)) {
        return {std::to_string(number), number};
    }
    if (a.asBoolean && ZProperties_5_1::convertToBoolean(value.c_str(), truth)) {
        return {truth ? "yes" : "no", truth != 0};
    }
    if (a.asInteger || a.asBoolean) {
        throw Failure(otherwise, file.name(),
                      keyOf(a) + ": no " + (a.asInteger ? "number: " : "boolean value: ") +
                          shown(value, obfuscated));
    }
    if (!a.json) return {value, nullptr};
    return {value, utf8(file, value, obfuscated)};
}

// The key's values, else the default. A key without values counts as the empty text where a single
// value is asked for and there is no default.
std::vector<Converted> converted(StanzaFile const& file, Arguments const& a, Values values) {
    std::vector<std::string>& texts = values.texts;
    if (texts.empty() && a.fallback) return {convert(file, a, *a.fallback, false, usage)};
    if (!a.all) texts.resize(1);
    std::vector<Converted> out;
    out.reserve(texts.size());
    for (std::string const& value : texts) {
        out.push_back(convert(file, a, value, values.obfuscated, wrongType));
    }
    return out;
}

// ---- changes ----

bool isMissing(std::string const& file) {
    struct stat now;
    return stat(file.c_str(), &now) != 0 && errno == ENOENT;
}

// The key that names the database is there exactly while there are obfuscated values: the library
// would silently take it out, or put it back.
constexpr char const databaseStanza[] = "configuration-database";
constexpr char const databaseKey[] = "file";

bool namesDatabase(StanzaFile& file) {
    return file.content().exists(databaseStanza, databaseKey) != 0;
}

// Two rules of the library, in words: a key's values are all of one kind, and what names the
// database is none of its values. An empty value ends either kind.
void requireKind(StanzaFile& file, Arguments const& a) {
    if (a.stanza == databaseStanza && a.key == databaseKey) {
        if (a.obfuscated || a.value.empty()) {
            throw Failure(usage, file.name(),
                          keyOf(a) + " names the database and cannot be " +
                              (a.obfuscated ? "obfuscated" : "empty"));
        }
        if (!namesDatabase(file)) {
            throw Failure(
                usage, file.name(),
                keyOf(a) + " names the database of obfuscated values, and there are none");
        }
    }
    Values const values = file.values(a.stanza, a.key);
    if (a.value.empty() || values.texts.empty() || values.obfuscated == a.obfuscated) return;
    throw Failure(usage, file.name(),
                  keyOf(a) +
                      (a.obfuscated ? " holds plain values; leave out --obfuscated"
                                    : " holds obfuscated values; use --obfuscated") +
                      ", or unset the key first");
}

// The library stores any values, and loads a database only up to four times its size.
void requireLoadable(StanzaFile& file) {
    if (!file.content().isModified() || file.content().databaseLoadsBack()) return;
    throw Failure(
        usage, file.name(),
        "not changed: keys and obfuscated values repeat themselves so much that the database "
        "could not be loaded again; make values less alike, or keep some of them plain");
}

// Loads what is on disk now, edits it and stores it, alone among all zstanza; starts over when the
// file was replaced meanwhile. A dry run touches nothing and so needs no lock.
template <class Edit>
int change(Arguments const& a, std::string& out, Edit edit) {
    Patience patience(a.wait);
    if (a.dryRun) {
        StanzaFile file(a.file, patience);
        if (!a.create || !isMissing(a.file)) file.load();
        edit(file);
        requireLoadable(file);
        out += file.text();
        return done;
    }
    do {
        StanzaFile file(a.file, patience);
        ChangeLock lock(a.file, a.create, patience);
        file.load();
        edit(file);
        requireLoadable(file);
        if (!file.content().isModified() || file.store(lock)) {
            lock.keep();
            return done;
        }
    } while (patience.pause());
    throw busyFailure(a.file, patience.seconds());
}

}  // namespace

int list(Arguments const& a, std::string& out) {
    Patience patience(a.wait);
    StanzaFile file(a.file, patience);
    file.load();
    if (a.stanza.empty()) {
        listStanzas(file, a.json, out);
    } else {
        listKeys(file, a.stanza, a.json, out);
    }
    return done;
}

int get(Arguments const& a, std::string& out) {
    Patience patience(a.wait);
    StanzaFile file(a.file, patience);
    file.load();
    if (!a.fallback) file.require(a.stanza, a.key);
    Values const values = file.values(a.stanza, a.key);
    std::vector<Converted> results = converted(file, a, values);
    if (!a.json) {
        for (Converted const& result : results) out.append(result.text) += '\n';
        if (values.obfuscated && !a.obfuscated) {
            complain("zstanza: " + oneLine(a.file + ": " + keyOf(a) + " is obfuscated"));
        }
        return done;
    }
    Json object = {
        {"file", utf8Name(file)}, {"stanza", utf8(file, a.stanza)}, {"key", utf8(file, a.key)}};
    if (a.all) {
        object["values"] = Json::array();
        for (Converted const& result : results) object["values"].push_back(result.json);
    } else {
        object["value"] = results.front().json;
    }
    mark(object, values);
    print(object, out);
    return done;
}

int set(Arguments const& a, std::string& out) {
    return change(a, out, [&a](StanzaFile& file) {
        requireKind(file, a);
        file.content().setValue(a.stanza.c_str(), a.key.c_str(), a.value.c_str(), a.obfuscated);
    });
}

int add(Arguments const& a, std::string& out) {
    // The next load would not see it.
    if (a.value.empty()) throw Failure(usage, "VALUE", "must not be empty");
    return change(a, out, [&a](StanzaFile& file) {
        requireKind(file, a);
        file.content().addValue(a.stanza.c_str(), a.key.c_str(), a.value.c_str(), a.obfuscated);
    });
}

int unset(Arguments const& a, std::string& out) {
    return change(a, out, [&a](StanzaFile& file) {
        if (a.stanza == databaseStanza && (a.key.empty() || a.key == databaseKey) &&
            namesDatabase(file)) {
            throw Failure(usage, file.name(),
                          "stanza [" + a.stanza +
                              "] names the database; it goes with the last obfuscated value");
        }
        if (a.key.empty()) {
            file.require(a.stanza);
            file.content().deleteStanza(a.stanza.c_str());
        } else {
            file.require(a.stanza, a.key);
            file.content().deleteKey(a.stanza.c_str(), a.key.c_str());
        }
    });
}

// What is to be commented has to be there: the library would make it, but here that is a misspelt
// name.
int comment(Arguments const& a, std::string& out) {
    if (a.text.empty()) throw Failure(usage, "zstanza: --text must not be empty");
    return change(a, out, [&a](StanzaFile& file) {
        if (a.stanza.empty()) {
            file.content().addFileComment(a.text.c_str());
        } else if (a.key.empty()) {
            file.require(a.stanza);
            file.content().addStanzaComment(a.stanza.c_str(), a.text.c_str());
        } else {
            file.require(a.stanza, a.key);
            if (file.values(a.stanza, a.key).obfuscated) {
                throw Failure(usage, file.name(),
                              keyOf(a) +
                                  " is obfuscated: it has no line in the file to comment; "
                                  "comment the stanza");
            }
            file.content().addEntryComment(a.stanza.c_str(), a.key.c_str(), a.text.c_str());
        }
    });
}

// The highest code of all files is the result: a file that could not be read at all outweighs one
// that was, and holds invalid data.
int check(Arguments const& a, std::string& out) {
    int worst = done;
    Json report = Json::array();
    Patience patience(a.wait);
    for (std::string const& name : a.files) {
        StanzaFile file(name, patience);
        Json entry;
        if (a.json) entry["file"] = utf8Name(file);
        try {
            file.load();
            entry["valid"] = true;
        } catch (...) {
            Failure failure = currentFailure(name);
            complain(failure.message);
            worst = std::max<int>(worst, failure.code);
            entry["valid"] = failure.code == invalidData ? Json(false) : Json();
            entry["message"] = ascii(failure.message);
            if (!failure.database.empty()) {
                entry["database"] = utf8Name(failure.database);
            } else if (failure.code == invalidData) {
                entry["line"] = failure.line;
                entry["text"] = ascii(failure.text);
            }
        }
        report.push_back(entry);
    }
    if (a.json) print(report, out);
    return worst;
}

}  // namespace zstanza
