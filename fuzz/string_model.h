// What the targets about strings share: the two codesets that strings have, and a naive model of a
// string.
#ifndef Z_FUZZ_STRING_MODEL_H
#define Z_FUZZ_STRING_MODEL_H

#include <Z/ZAbstractMutableString.h>

#include <wctype.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "codesets.h"

namespace fuzz {

// The process's, which the library adopts when it is first asked.
inline Codeset const& localCodeset() {
    static Codeset const only(zgetLocalCodesetName_5_1(), zgetLCSHandle_5_1());
    return only;
}

inline Codeset const& utf8Codeset() {
    static Codeset const only("UTF-8", zgetUTF8Handle_5_1());
    return only;
}

// Whether each byte of it is a character.
inline bool isBytewise(Codeset const& codeset) {
    return &codeset == &localCodeset() && MB_CUR_MAX == 1;
}

// What a text that is not empty begins with: a character, the terminator, or a stray byte.
inline Character unitAt(Codeset const& codeset, View text) {
    if (text[0] == '\0') return {1, 0};
    Character const found = codeset.at(text);
    return found.length > 0 ? found : Character{1, stray | byteAt(text, 0)};
}

// Nothing when the text is invalid or has no form in the other one.
inline std::optional<std::string> converted(Codeset const& from, Codeset const& to, View text) {
    if (&from == &to) return std::string(text);
    return &to == &utf8Codeset() ? from.toUtf8(text) : to.fromUtf8(text);
}

// A text as it is seen by what takes a char const*.
inline std::string upToNul(View text) {
    return std::string(text.substr(0, text.find('\0')));
}

// The capacity after bump().
inline unsigned bumped(unsigned capacity, std::size_t required, bool exact) {
    std::size_t const most = std::max<std::size_t>(capacity, required);
    if (most <= 95) return capacity;
    return static_cast<unsigned>(most + (exact ? 0 : (2 * required + 5 + 9) / 10));
}

// The capacity after something was put in.
inline unsigned filled(unsigned capacity, std::size_t bytes) {
    return bytes > capacity ? bumped(capacity, bytes, false) : capacity;
}

inline std::string textOf(ZAbstractString_5_1 const& string) {
    FUZZ_CHECK(string.getChars()[string.getLength()] == 0);
    return {string.getChars(), string.getLength()};
}

constexpr unsigned notFound = 0xFFFFFFFF;

// Calls use(unit, bytes) for each character and stray byte.
template <class Use>
void forEachUnit(Codeset const& codeset, View text, Use use) {
    while (!text.empty()) {
        Character const unit = unitAt(codeset, text);
        View const bytes = text.substr(0, static_cast<std::size_t>(unit.length));
        use(unit, bytes);
        text.remove_prefix(bytes.size());
    }
}

inline bool isSpace(unsigned byte) {
    return std::isspace(static_cast<int>(byte)) != 0;
}

inline locale_t unicode() {
    static locale_t const only = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return only;
}

using Mapping = wint_t (*)(wint_t, locale_t);

inline char32_t mapped(char32_t cp, Mapping mapping) {
    return cp > 0x10FFFF ? cp : mapping(cp, unicode());
}

// A string as its text and its capacity, edited and searched by loops over characters.
struct StringModel {
    explicit StringModel(Codeset const& of) : codeset(of) {}

    Codeset const& codeset;
    std::string text;
    unsigned capacity = 95;

    bool isUtf8() const { return &codeset == &utf8Codeset(); }
    bool isBytewise() const { return fuzz::isBytewise(codeset); }
    bool isStray(Character unit) const { return !isBytewise() && unit.cp >= stray; }
    std::string seen() const { return upToNul(text); }

    void set(std::string const& to) {
        capacity = filled(capacity, to.size());
        text = to;
    }
    void append(std::string const& more) { set(text + more); }
    void insert(unsigned at, std::string const& more) {
        if (at >= text.size()) return append(more);
        capacity = bumped(capacity, text.size() + more.size() + 1, false);
        text = upToNul(text.insert(at, more));
    }
    void prepend(std::string const& more) {
        std::string const old = seen();
        capacity = 95;
        set(more);
        append(old);
    }
    void remove(std::uint64_t at, unsigned count) {
        if (count == 0) return trunc(at);
        if (at + count <= text.size()) text.erase(at, count);
    }
    void trunc(std::uint64_t length) {
        if (length <= text.size()) text.resize(length);
    }
    void convert(Codeset const& from, std::string const& other) {
        if (other.empty()) return;
        capacity = bumped(capacity, (isUtf8() ? 3 : 2) * other.size() + 1, true);
        text = converted(from, codeset, other).value_or("");
    }
    void changeCase(Mapping mapping) {
        std::string all;
        forEachUnit(codeset, seen(), [&](Character unit, View bytes) {
            char32_t const cp = mapped(unit.cp, mapping);
            auto const other = cp != unit.cp ? codeset.formOf(cp) : std::nullopt;
            all += other && other->size() == bytes.size() ? *other : std::string(bytes);
        });
        text.replace(0, all.size(), all);
    }
    // Characters of one byte; a 0 deletes. In UTF-8 bytes, and a 0 is stored.
    void replace(char from, char to) {
        if (from == 0) return;
        std::string all;
        std::size_t const end = isUtf8() ? text.size() : seen().size();
        forEachUnit(codeset, View(text).substr(0, end), [&](Character, View bytes) {
            bool const matches = bytes.size() == 1 && bytes[0] == from;
            if (!matches) all += bytes;
            if (matches && (to != 0 || isUtf8())) all += to;
        });
        text = all + text.substr(end);
    }
    // Whether the whole units of `what` begin at `at`, which is a boundary.
    bool standsAt(View all, View what) const {
        if (isUtf8()) return all.substr(0, what.size()) == what;
        bool same = all.size() >= what.size();
        forEachUnit(codeset, what, [&](Character, View bytes) {
            same = same && !all.empty();
            if (!same) return;
            Character const unit = unitAt(codeset, all);
            same = all.substr(0, static_cast<std::size_t>(unit.length)) == bytes;
            all.remove_prefix(static_cast<std::size_t>(unit.length));
        });
        return same;
    }
    void replace(std::string const& from, std::string const& to) {
        std::string all;
        bool found = false;
        std::string const old = seen();
        for (View rest = old; !rest.empty() && !from.empty();) {
            bool const matches = standsAt(rest, from);
            std::size_t const step = matches ? from.size()
                                     : isUtf8()
                                         ? 1
                                         : static_cast<std::size_t>(unitAt(codeset, rest).length);
            all += matches ? to : std::string(rest.substr(0, step));
            found = found || matches;
            rest.remove_prefix(step);
        }
        if (found) set(all);
    }
    void replaceBytes(std::string const& members, char to) {
        std::string marked, all;
        forEachUnit(codeset, members, [&](Character, View bytes) {
            bool const ascii = byteAt(bytes, 0) < 0x80;
            if (bytes.size() == 1 && (ascii || !isUtf8())) marked += bytes;
        });
        for (char const c : text) {
            bool const matches = marked.find(c) != marked.npos;
            if (!matches || to != 0) all += matches ? to : c;
        }
        text = all;
    }
    // False when what has to be valid is not.
    bool replaceCharacters(std::string const& set, bool members, std::string const& to) {
        std::vector<std::string> known;
        std::string all;
        bool valid = true;
        forEachUnit(codeset, set, [&](Character unit, View bytes) {
            valid = valid && !(members && isStray(unit));
            known.emplace_back(bytes);
        });
        forEachUnit(codeset, seen(), [&](Character unit, View bytes) {
            valid = valid && (members || !isStray(unit));
            bool const member = std::count(known.begin(), known.end(), bytes) != 0;
            all += member == members ? to : std::string(bytes);
        });
        if (valid) this->set(all);
        return valid;
    }
    bool isValid(View characters) const {
        bool valid = true;
        forEachUnit(codeset, characters, [&](Character unit, View) { valid &= !isStray(unit); });
        return valid;
    }
    void stripLeading() {
        std::size_t blanks = 0;
        while (blanks < text.size() && isSpace(byteAt(text, blanks))) ++blanks;
        if (blanks != 0) text = upToNul(View(text).substr(blanks));
    }
    // Where bytes are looked at, never the first one.
    void stripTrailing() {
        std::size_t end = text.size();
        while (end > 0 && isSpace(byteAt(text, end - 1))) --end;
        bool const keepsFirst = (isUtf8() || isBytewise()) && !text.empty();
        text.resize(std::max<std::size_t>(end, keepsFirst ? 1 : 0));
    }

    std::u32string folded(View characters) const {
        std::u32string all;
        forEachUnit(codeset, upToNul(characters), [&](Character unit, View) {
            constexpr char32_t dotless = 0x131;
            all += unit.cp == dotless ? dotless : mapped(mapped(unit.cp, towupper_l), towlower_l);
        });
        return all;
    }
    int compareFolded(View one, View two) const { return folded(one).compare(folded(two)); }

    unsigned indexOf(std::string const& what, std::size_t from) const {
        from = std::min(from, text.size());
        std::size_t const at = upToNul(View(text).substr(from)).find(what);
        return at == text.npos ? notFound : static_cast<unsigned>(from + at);
    }
    unsigned lastByte(char c) const {
        for (std::size_t at = text.size(); at > 0; --at)
            if (text.c_str()[at] == c) return static_cast<unsigned>(0 - at);
        return notFound;
    }
    unsigned lastIndexOf(std::string const& what) const {
        if (isBytewise()) return lastByte(what.c_str()[0]);
        if (what.empty()) return static_cast<unsigned>(text.size());
        unsigned last = notFound;
        for (unsigned at = 0; (at = indexOf(what, at)) != notFound;
             at += static_cast<unsigned>(what.size()))
            last = at;
        return last;
    }
    // Nothing when a match begins no character.
    std::optional<unsigned> lastIndexOf(char c) const {
        if (isBytewise()) return lastByte(c);
        if (c == 0) return static_cast<unsigned>(text.size());
        unsigned last = notFound;
        for (unsigned at = 0; (at = indexOf(std::string(1, c), at)) != notFound;) {
            last = at;
            Character const unit = unitAt(codeset, View(text).substr(at));
            if (isStray(unit)) return {};
            at += static_cast<unsigned>(unit.length);
        }
        return last;
    }
    unsigned validPrefix() const {
        unsigned bytes = 0;
        bool valid = true;
        forEachUnit(codeset, seen(), [&](Character unit, View) {
            valid = valid && !isStray(unit);
            if (valid) bytes += static_cast<unsigned>(unit.length);
        });
        return bytes;
    }
};

}  // namespace fuzz

#endif
