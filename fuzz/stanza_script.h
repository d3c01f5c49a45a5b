// How inputs of the targets of stanza files spell changes: the text of a file, a line "--", and one
// change per line: its letter, a letter each for stanza and key from the tables below, and a text.
// Without "--" all lines are changes.
#ifndef Z_FUZZ_STANZA_SCRIPT_H
#define Z_FUZZ_STANZA_SCRIPT_H

#include <cstdint>

#include "stanza_model.h"

namespace fuzz {

inline Texts const stanzaNames = {"a", "b", "a.b", " c ", databaseStanza, "x]", "two\nlines", ""};
inline Texts const keyNames = {"k",  "l",  "k k",  ".b", databaseKey, "#k",
                               "k=", " k", "n\nl", "",   "kk"};

inline std::string const& pick(Texts const& table, char letter) {
    return table[static_cast<unsigned char>(letter - 'a') % table.size()];
}

inline Texts split(std::string const& text, char separator) {
    Texts parts(1);
    for (char const c : text) {
        if (c == separator) {
            parts.emplace_back();
        } else if (c) {
            parts.back() += c;
        }
    }
    return parts;
}

struct StanzaScript {
    std::string text;
    Texts changes;

    StanzaScript(std::uint8_t const* data, std::size_t size) {
        std::string all(reinterpret_cast<char const*>(data), size);
        std::size_t const divider = all.find("--\n");
        if (divider != std::string::npos) {
            text = all.substr(0, divider);
            all.erase(0, divider + 3);
        }
        changes = split(all, '\n');
    }
    // Databases that are not the target's own are left alone.
    bool namesDatabase() const {
        StanzaModel model;
        (void)model.read(text);
        return !model.database.empty();
    }
};

struct Change {
    char action = 0;
    std::string stanza, key, text;

    // In the text "~" is a line end, and "*3" alone is 3 * 3 * 150 times an x. What would name a
    // database names one of two in the target's folder.
    explicit Change(std::string const& line) {
        if (line.size() < 3) return;
        action = line[0];
        stanza = pick(stanzaNames, line[1]);
        key = pick(keyNames, line[2]);
        text = line.substr(3);
        std::replace(text.begin(), text.end(), '~', '\n');
        if (text.size() == 2 && text[0] == '*' && text[1] >= '0' && text[1] <= '9') {
            auto const n = static_cast<std::size_t>(text[1] - '0');
            text.assign(n * n * 150, 'x');
        }
        if (namesDatabase() && !text.empty()) {
            text = folder() + (text[0] % 2 ? "/one.obf" : "/two.obf");
        }
    }
    bool namesDatabase() const { return stanza == databaseStanza && key == databaseKey; }
};

}  // namespace fuzz

#endif
