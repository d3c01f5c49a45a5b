// A stanza file written for plainness, which the targets of stanza files hold against the library:
// a flat list of lines and maps of strings. It shares no code with the library.
#ifndef Z_FUZZ_STANZA_MODEL_H
#define Z_FUZZ_STANZA_MODEL_H

#include <fcntl.h>
#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fuzz.h"

namespace fuzz {

using Texts = std::vector<std::string>;

// ---- files ----

inline void writeFile(std::string const& name, std::string const& bytes) {
    int const file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    FUZZ_CHECK(write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    close(file);
}

// Nothing when there is no such file.
inline std::optional<std::string> readFile(std::string const& name) {
    int const file = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (file == -1) return std::nullopt;
    struct stat status;
    FUZZ_CHECK(fstat(file, &status) == 0);
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    FUZZ_CHECK(read(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    close(file);
    return bytes;
}

// The content of a zlib stream that comes to no more than `room` bytes.
inline std::optional<std::string> inflated(std::string const& stream, std::size_t room) {
    std::string content(room, '\0');
    uLongf size = room;
    int const rc = uncompress(reinterpret_cast<Bytef*>(content.data()), &size,
                              reinterpret_cast<Bytef const*>(stream.data()), stream.size());
    if (rc != Z_OK) return std::nullopt;
    content.resize(size);
    return content;
}

// A database is loaded when its records come to no more than four times its size.
inline std::optional<std::string> recordsOf(std::string const& database) {
    return inflated(database, 4 * database.size());
}

// ---- texts ----

inline bool isBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

inline std::string trimmed(std::string text) {
    while (!text.empty() && isBlank(text.back())) text.pop_back();
    std::size_t first = 0;
    while (first < text.size() && isBlank(text[first])) ++first;
    return text.substr(first);
}

// Whether `comment`, read without its spaces, begins with "#key=".
inline bool showsKey(std::string const& comment, std::string const& key) {
    std::size_t at = 0;
    for (char const wanted : "#" + key + "=") {
        while (at < comment.size() && comment[at] == ' ') ++at;
        if (at == comment.size() || comment[at] != wanted) return false;
        ++at;
    }
    return true;
}

inline bool isOneLine(std::string const& text) {
    return text.find('\n') == std::string::npos;
}

inline bool fitsStanza(std::string const& name) {
    return !name.empty() && name.find_first_of("\n]") == std::string::npos;
}

inline bool fitsKey(std::string const& name) {
    return !name.empty() && name.find_first_of("\n=") == std::string::npos && name[0] != '#' &&
           name[0] != '[' && trimmed(name) == name;
}

// ---- the store ----

constexpr char databaseStanza[] = "configuration-database";
constexpr char databaseKey[] = "file";

inline std::string shownNotice(int type, std::string const& stanza, std::string const& name) {
    return std::to_string(type) + " [" + stanza + "] " + name;
}

struct StanzaModel {
    enum Kind { comment, blank, head, key };
    struct Line {
        Kind kind;
        std::string text;
    };
    struct Values {
        Texts plain, hidden;
        bool isHidden() const { return plain.empty() && !hidden.empty(); }
        Texts const& either() const { return plain.empty() ? hidden : plain; }
    };
    struct Stanza {
        Texts keys;  // in the order in which they came
        std::map<std::string, Values> values;
    };
    struct Bad {  // a line, or the database when the text is empty
        std::string text;
        int line;
    };
    using Name = std::pair<std::string, std::string>;  // stanza and key

    bool keepsLayout = true;
    std::vector<Line> lines;
    std::map<std::string, Stanza> stanzas;
    std::vector<Name> hiddenKeys;  // in the order in which they were set
    std::string database;          // its name; empty when there is none
    bool isModified = false;
    Texts notices;  // what observers have to hear of, as shownNotice() spells it

    bool has(std::string const& stanza) const { return stanzas.count(stanza) != 0; }
    Values* find(std::string const& stanza, std::string const& name) {
        if (!has(stanza)) return nullptr;
        auto& values = stanzas[stanza].values;
        auto const found = values.find(name);
        return found == values.end() ? nullptr : &found->second;
    }
    Values& make(std::string const& stanza, std::string const& name) {
        Stanza& made = stanzas[stanza];
        if (!made.values.count(name)) made.keys.push_back(name);
        return made.values[name];
    }

    // ---- reading ----

    // Stops at the first line that is none; what was read before it stays.
    std::optional<Bad> read(std::string const& text) {
        std::string current;
        bool inStanza = false;
        int number = 0;
        for (std::size_t at = 0; at < text.size();) {
            std::size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
            end = std::min(end, at + 8191);
            std::string const line = trimmed(text.substr(at, end - at).c_str());  // to its NUL
            at = end;
            ++number;
            if (line.empty() || line[0] == '#') {
                if (keepsLayout) lines.push_back({line.empty() ? blank : comment, line});
            } else if (line[0] == '[') {
                std::size_t const bracket = line.find(']');
                if (bracket == std::string::npos) return Bad{line, number};
                current = line.substr(1, bracket - 1);
                if (has(current)) return Bad{line, number};
                inStanza = true;
                stanzas[current];
                lines.push_back({head, current});
            } else {
                std::size_t const equals = line.find('=');
                if (!inStanza || equals == std::string::npos || equals == 0) {
                    return Bad{line, number};
                }
                readKey(current, trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
            }
        }
        return std::nullopt;
    }
    void readKey(std::string const& stanza, std::string const& name, std::string const& value) {
        if (!find(stanza, name)) lines.push_back({key, name});
        Values& values = make(stanza, name);
        if (value.empty()) return;
        values.plain.push_back(value);
        if (stanza == databaseStanza && name == databaseKey) database = value;
    }

    // Stanza, key, value, a byte; the last byte may be missing. False at a text without its NUL.
    bool readRecords(std::string const& records) {
        for (std::size_t at = 0; at < records.size(); ++at) {
            Texts texts;
            while (texts.size() < 3) {
                std::size_t const nul = records.find('\0', at);
                if (nul == std::string::npos) return false;
                texts.push_back(records.substr(at, nul - at));
                at = nul + 1;
            }
            Values& values = make(texts[0], texts[1]);
            if (texts[2].empty()) continue;
            addHiddenKey({texts[0], texts[1]});
            values.hidden.push_back(texts[2]);
        }
        return true;
    }

    // The file and its database. The text of what is refused; null text: it cannot be opened.
    std::optional<Bad> load(std::string const& file) {
        std::optional<std::string> const text = readFile(file);
        FUZZ_CHECK(text);
        if (std::optional<Bad> bad = read(*text)) return bad;
        if (!database.empty()) {
            std::optional<std::string> const bytes = readFile(database);
            if (!bytes || bytes->empty()) return Bad{"", -1};
            std::optional<std::string> const content = recordsOf(*bytes);
            if (!content || !readRecords(*content)) return Bad{"", 0};
        }
        isModified = false;
        return std::nullopt;
    }

    // ---- writing ----

    // What is written for a line: as many as a key has values. `stanza` is that of the line before.
    Texts written(Line const& line, std::string& stanza) {
        if (line.kind == head) return {"[" + (stanza = line.text) + "]"};
        if (line.kind != key) return {line.text};
        Values const& values = *find(stanza, line.text);
        if (values.either().empty()) return {line.text + " ="};
        Texts all;
        for (auto const& value : values.plain) all.push_back(line.text + " = " + value);
        return all;
    }
    std::string text() {
        std::string out, stanza;
        for (Line const& line : lines) {
            for (auto const& text : written(line, stanza)) out += text + "\n";
        }
        return out;
    }
    std::string records() {
        std::string out;
        for (Name const& name : hiddenKeys) {
            for (auto const& value : find(name.first, name.second)->hidden) {
                for (auto const& part : {name.first, name.second, value}) out += part + '\0';
                out += '\0';
            }
        }
        if (!out.empty()) out.pop_back();
        return out;
    }
    // What a store does before it writes text() and, into `database`, records().
    void prepareStore(std::string const& file) {
        if (hiddenKeys.empty()) {
            eraseKey(databaseStanza, databaseKey);
        } else {
            Values const* const named = find(databaseStanza, databaseKey);
            if (named && !named->plain.empty() && !named->plain.back().empty()) {
                database = named->plain.back();
            } else {
                if (database.empty()) database = file + ".obf";
                addLine(databaseStanza, databaseKey, database, false);
            }
        }
        isModified = false;
    }

    // ---- changes ----

    void addHiddenKey(Name const& name) {
        if (std::count(hiddenKeys.begin(), hiddenKeys.end(), name) == 0) hiddenKeys.push_back(name);
    }
    void eraseHiddenKey(Name const& name) {
        hiddenKeys.erase(std::remove(hiddenKeys.begin(), hiddenKeys.end(), name), hiddenKeys.end());
    }
    // The line behind the stanza's head, 0 without one, and the end of its lines.
    std::size_t firstLine(std::string const& stanza) const {
        for (std::size_t i = 0; i < lines.size(); ++i) {
            if (lines[i].kind == head && lines[i].text == stanza) return i + 1;
        }
        return 0;
    }
    std::size_t endOfLines(std::size_t first) const {
        while (first < lines.size() && lines[first].kind != head) ++first;
        return first;
    }
    // The index of the key's line, 0 without one.
    std::size_t keyLine(std::string const& stanza, std::string const& name) const {
        std::size_t const first = firstLine(stanza);
        for (std::size_t i = first; first && i < endOfLines(first); ++i) {
            if (lines[i].kind == key && lines[i].text == name) return i;
        }
        return 0;
    }
    void insert(std::size_t at, Kind kind, std::string const& text = "") {
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), {kind, text});
    }
    void erase(std::size_t from, std::size_t to) {
        auto const place = [this](std::size_t at) {
            return lines.begin() + static_cast<std::ptrdiff_t>(at);
        };
        lines.erase(place(from), place(to));
    }

    void addHead(std::string const& stanza) {
        stanzas[stanza];
        if (firstLine(stanza)) return;
        lines.push_back({blank, ""});
        lines.push_back({head, stanza});
    }
    // Behind the last key, or above the first blank line below a comment that shows the key.
    void addKeyLine(std::string const& stanza, std::string const& name) {
        std::size_t const first = firstLine(stanza), end = endOfLines(first);
        std::size_t place = first;
        bool isShown = false;
        for (std::size_t i = first; i < end; ++i) {
            if (lines[i].kind == key) place = i + 1;
            if (lines[i].kind == comment && showsKey(lines[i].text, name)) isShown = true;
            if (lines[i].kind == blank && isShown) {
                place = i;
                break;
            }
        }
        insert(place, key, name);
    }
    void addLine(std::string const& stanza, std::string const& name, std::string const& value,
                 bool hidden) {
        addHead(stanza);
        Values& values = make(stanza, name);
        if (!keyLine(stanza, name)) addKeyLine(stanza, name);
        values = Values();
        eraseHiddenKey({stanza, name});
        if (value.empty()) return;
        (hidden ? values.hidden : values.plain).push_back(value);
        if (hidden) addHiddenKey({stanza, name});
    }
    void eraseKey(std::string const& stanza, std::string const& name) {
        if (!find(stanza, name)) return;
        if (std::size_t const line = keyLine(stanza, name)) erase(line, line + 1);
        Stanza& of = stanzas[stanza];
        of.keys.erase(std::find(of.keys.begin(), of.keys.end(), name));
        of.values.erase(name);
        eraseHiddenKey({stanza, name});
    }

    // A change of a whole stanza is announced without a key; none of a name that is empty is made.
    bool announce(int type, std::string const& stanza, std::string const& name = "") {
        notices.push_back(shownNotice(type, stanza, name));
        return isModified = true;
    }

    // What follows is what callers do. False: refused, with nothing changed.

    bool allows(std::string const& stanza, std::string const& name, bool hidden) {
        Values const* const values = find(stanza, name);
        return !values || values->either().empty() || values->isHidden() == hidden;
    }
    bool setValue(std::string const& stanza, std::string const& name, std::string const& value,
                  bool hidden) {
        if (!fitsStanza(stanza) || !fitsKey(name)) return false;
        if (hidden ? Name(stanza, name) == Name(databaseStanza, databaseKey) : !isOneLine(value)) {
            return false;
        }
        if (!value.empty() && !allows(stanza, name, hidden)) return false;
        addLine(stanza, name, value, hidden);
        return announce(2, stanza, name);
    }
    bool deleteKey(std::string const& stanza, std::string const& name) {
        if (stanza.empty() || name.empty()) return false;
        eraseKey(stanza, name);
        return announce(1, stanza, name);
    }
    bool addStanza(std::string const& stanza) {
        if (!fitsStanza(stanza)) return false;
        addHead(stanza);
        return announce(0, stanza);
    }
    bool deleteStanza(std::string const& stanza) {
        if (stanza.empty()) return false;
        announce(1, stanza);
        if (!has(stanza)) return true;
        for (std::string const& name : Texts(stanzas[stanza].keys)) eraseKey(stanza, name);
        if (std::size_t const first = firstLine(stanza)) erase(first - 1, endOfLines(first));
        stanzas.erase(stanza);
        return true;
    }

    static std::string asComment(std::string const& text) {
        return text.substr(0, 1) == "#" ? text : "#" + text;
    }
    bool addFileComment(std::string const& text) {
        if (!isOneLine(text)) return false;
        std::size_t place = 0;
        while (place < lines.size() && lines[place].kind == comment) ++place;
        if (place == lines.size() || lines[place].kind != blank) insert(place = 0, blank);
        insert(place, comment, asComment(text));
        return isModified = true;
    }
    bool addStanzaComment(std::string const& stanza, std::string const& text) {
        if (!fitsStanza(stanza) || text.empty() || !isOneLine(text)) return false;
        addHead(stanza);
        std::size_t place = firstLine(stanza);
        while (place < lines.size() && lines[place].kind == comment) ++place;
        if (place < lines.size() && lines[place].kind != blank) insert(place, blank);
        insert(place, comment, asComment(text));
        return isModified = true;
    }
    bool addEntryComment(std::string const& stanza, std::string const& name,
                         std::string const& text) {
        if (!fitsStanza(stanza) || !fitsKey(name) || text.empty() || !isOneLine(text)) return false;
        if (!find(stanza, name)) addLine(stanza, name, "", false);
        isModified = true;
        std::size_t place = keyLine(stanza, name);
        if (!place) return true;  // it came from the database and stands nowhere
        Kind const above = lines[place - 1].kind;
        if (above == head || above == key) insert(place++, blank);
        insert(place, comment, asComment(text));
        return true;
    }

    // One walk over the values of a key, which nothing else changes meanwhile.
    struct Walk {
        StanzaModel& model;
        std::string stanza, name;
        bool hidden;
        int index = -1;

        Texts* texts() {
            Values* const values = model.find(stanza, name);
            return values ? hidden ? &values->hidden : &values->plain : nullptr;
        }
        int count() { return texts() ? static_cast<int>(texts()->size()) : 0; }
        bool isValid() { return index >= 0 && index < count(); }
        std::string& value() { return (*texts())[static_cast<std::size_t>(index)]; }

        std::string const* next() {
            if (index + 1 >= count()) return nullptr;
            ++index;
            return &value();
        }
        bool change(std::string const& text) {
            if (!isValid() || (!hidden && !isOneLine(text))) return false;
            value() = text;
            return model.isModified = true;
        }
        bool add(std::string const& text) {
            if (!hidden && !isOneLine(text)) return false;
            if (count() == 0) {
                if (!model.setValue(stanza, name, text, hidden)) return false;
                index = count() - 1;
            } else {
                ++index;
                texts()->insert(texts()->begin() + index, text);
            }
            return model.isModified = true;
        }
        // The first of hidden values takes all of them with it.
        bool remove() {
            if (!isValid()) return false;
            if (hidden && index == 0) {
                if (!model.setValue(stanza, name, "", false)) return false;
            } else {
                texts()->erase(texts()->begin() + index);
            }
            --index;
            return model.isModified = true;
        }
    };
    // The search for each value starts where that for the one before it stopped.
    bool addValues(std::string const& stanza, std::string const& name, Texts const& added,
                   bool hidden) {
        if (!fitsStanza(stanza) || !fitsKey(name) || added.empty()) return false;
        if (!hidden && !std::all_of(added.begin(), added.end(), isOneLine)) return false;
        if (!allows(stanza, name, hidden)) return false;
        Walk walk{*this, stanza, name, hidden};
        bool const isFresh = walk.count() == 0;
        for (std::size_t i = 0; i < added.size(); ++i) {
            auto const here = added.begin() + static_cast<std::ptrdiff_t>(i);
            if (isFresh && std::find(added.begin(), here, added[i]) != here) continue;
            std::string const* found = walk.next();
            while (found && *found != added[i]) found = walk.next();
            if (!found && !walk.add(added[i])) return false;
        }
        return true;
    }
};

}  // namespace fuzz

#endif
