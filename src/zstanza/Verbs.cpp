// Verbs: what zstanza does: one function per verb; those that change are in Changes.cpp, watch is
// in Watch.cpp. Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include "Verbs.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "Failure.h"
#include "Json.h"
#include "Terminal.h"

namespace zstanza {

namespace {

// Behind each result: a NUL may stand in none of them, a line end in some.
char endOf(Arguments const& a) {
    return a.null ? '\0' : '\n';
}

std::string onTerminal(Colour colour, std::string const& text) {
    return coloured(STDOUT_FILENO, colour, text);
}

// ---- list ----

void listStanzas(StanzaFile& file, Arguments const& a, std::string& out) {
    std::vector<std::string> names = file.stanzas();
    if (a.json) {
        return print({{"file", utf8Name(file.name())}, {"stanzas", utf8(file, names)}}, out);
    }
    for (std::string const& name : names) out.append(name) += endOf(a);
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
    if (values.texts.empty()) out.append(onTerminal(Colour::name, key)).append(" =\n");
    for (std::string const& value : values.texts) {
        if (values.obfuscated) {
            std::string line = key;
            line.append(" = ").append(value);
            out.append(onTerminal(Colour::faint, "# obfuscated: " + escapedAsInC(line))) += '\n';
        } else {
            out.append(onTerminal(Colour::name, key)).append(" = ").append(value) += '\n';
        }
    }
}

// "=" stands in no key. A key without values reads like one with the empty one.
void printWithNul(std::string const& key, Values const& values, std::string& out) {
    if (values.texts.empty()) out.append(key).append("=") += '\0';
    for (std::string const& value : values.texts) {
        out.append(key).append("=").append(value) += '\0';
    }
}

void listKeys(StanzaFile const& file, Arguments const& a, std::string& out) {
    file.require(a.stanza);
    Json keys = Json::array();
    for (std::string const& key : file.keys(a.stanza)) {
        Values const values = file.values(a.stanza, key);
        if (a.null) {
            printWithNul(key, values, out);
        } else if (!a.json) {
            printKey(key, values, out);
        } else {
            Json entry = {{"key", utf8(file, key)},
                          {"values", utf8(file, values.texts, values.obfuscated)}};
            mark(entry, values);
            keys.push_back(entry);
        }
    }
    if (a.json) {
        print({{"file", utf8Name(file.name())}, {"stanza", utf8(file, a.stanza)}, {"keys", keys}},
              out);
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

}  // namespace

std::string keyOf(Arguments const& a) {
    return "key " + a.key + " of stanza [" + a.stanza + "]";
}

int list(Arguments const& a, std::string& out) {
    Patience patience(a.wait);
    StanzaFile file(a.file, patience);
    file.load();
    if (a.stanza.empty()) {
        listStanzas(file, a, out);
    } else {
        listKeys(file, a, out);
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
        for (Converted const& result : results) out.append(result.text) += endOf(a);
        if (values.obfuscated && !a.obfuscated) {
            complain("zstanza: " + oneLine(a.file + ": " + keyOf(a) + " is obfuscated"));
        }
        return done;
    }
    Json object = {
        {"file", utf8Name(a.file)}, {"stanza", utf8(file, a.stanza)}, {"key", utf8(file, a.key)}};
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

// The highest code of all files is the result: a file that could not be read at all outweighs one
// that was, and holds invalid data.
int check(Arguments const& a, std::string& out) {
    int worst = done;
    Json report = Json::array();
    Patience patience(a.wait);
    for (std::string const& name : a.files) {
        StanzaFile file(name, patience);
        Json entry;
        if (a.json) entry["file"] = utf8Name(name);
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
