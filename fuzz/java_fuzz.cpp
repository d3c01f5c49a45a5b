// Java properties files: load with and without a stop key, getValue, setValue, store.
//
// Oracle: a reader of lines, a writer, and 15 lists of pairs, which give the order of a stored file
// to the byte. What is stored is loaded and stored again: the oracle says what comes back, and
// pairs that are all plain must come back as they were.
//
// Input: a few pairs that are set; which beginnings of the file are loaded, and up to which key;
// then the file. Now and then it is moved, so that the end of the library's block falls into it.
#include <Z/ZException.h>
#include <Z/ZJavaProperties.h>
#include <Z/ZLCString.h>
#include <Z/ZUTF8String.h>
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "string_model.h"

using fuzz::View;

namespace {

using Pair = std::pair<std::string, std::string>;
using Pairs = std::vector<Pair>;

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

bool isSeparator(char c) {
    return c == ':' || c == '=';
}

class Model {
public:
    void set(std::string const& key, std::string const& value);
    void load(View file, std::string const& stop);
    std::string file() const;
    Pairs all() const {
        Pairs list;
        for (Pairs const& bucket : buckets_) list.insert(list.end(), bucket.begin(), bucket.end());
        return list;
    }

private:
    bool line();
    bool readKey();
    bool readValue();
    bool readEscape();
    bool atEnd() const { return at_ == text_.size(); }
    bool isNext(char c) const { return !atEnd() && text_[at_] == c; }
    bool isAtSeparator() const { return !atEnd() && isSeparator(text_[at_]); }
    void skipBlanks() {
        while (!atEnd() && isBlank(text_[at_])) ++at_;
    }
    void skipLine() {
        while (!atEnd() && text_[at_++] != '\n') {
        }
    }

    Pairs buckets_[15];
    std::string key_, value_;  // of the present or last line, also of a file before
    std::string text_, stop_;
    std::size_t at_ = 0;
    bool stopped_ = false;
};

// Texts end at their first NUL.
void Model::set(std::string const& key, std::string const& value) {
    std::string const name = fuzz::upToNul(key);
    std::uint32_t hash = 5381;
    for (char const c : name) hash = (hash * 33) ^ static_cast<unsigned char>(c);
    Pairs& bucket = buckets_[hash % 15];
    auto const known =
        std::find_if(bucket.begin(), bucket.end(), [&](Pair const& p) { return p.first == name; });
    if (known == bucket.end()) {
        bucket.emplace_back(name, fuzz::upToNul(value));
    } else {
        known->second = fuzz::upToNul(value);
    }
}

void Model::load(View file, std::string const& stop) {
    text_.clear();
    // CR LF and LF CR are one line end.
    for (std::size_t i = 0; i < file.size(); ++i) {
        bool const ends = file[i] == '\n' || file[i] == '\r';
        text_ += ends ? '\n' : file[i];
        if (ends && i + 1 < file.size() && (file[i] ^ file[i + 1]) == ('\n' ^ '\r')) ++i;
    }
    at_ = 0;
    stop_ = stop;
    stopped_ = false;
    // A line is lost to behind the next line end: when it is its own that was wrong, of the next.
    while (!atEnd() && !stopped_)
        if (!line()) skipLine();
    if (!stopped_ && !key_.empty() && key_ == stop_) set(key_, value_);
}

// Each of these returns false when the line is lost.

bool Model::line() {
    key_.clear();
    value_.clear();
    std::size_t const start = at_;
    skipBlanks();
    if (atEnd()) return true;
    if (isNext('#') || isNext('!') || (at_ != start && isAtSeparator())) return false;
    if (isNext('\n')) return ++at_, true;
    key_ += text_[at_++];
    if (!readKey()) return false;
    skipBlanks();
    if (isNext('\n')) return ++at_, false;
    if (isAtSeparator()) ++at_, skipBlanks();
    return readValue();
}

bool Model::readKey() {
    while (!atEnd() && !isBlank(text_[at_]) && !isAtSeparator()) {
        char c = text_[at_++];
        if (c == '\n') return false;
        if (c == '\\') {
            if (atEnd()) break;
            c = text_[at_++];
            if (c != '\\' && !isBlank(c) && !isSeparator(c)) return false;
        }
        key_ += c;
    }
    return true;
}

bool Model::readValue() {
    while (!atEnd()) {
        char const c = text_[at_++];
        if (c == '\n') {
            set(key_, value_);
            stopped_ = key_ == stop_;
            return true;
        }
        if (c != '\\') {
            value_ += c;
        } else if (isNext('\n')) {
            ++at_;
            skipBlanks();
            if (!isNext('\n')) continue;
            ++at_;
            if (stop_.empty() || key_ == stop_) set(key_, value_);
            return true;
        } else if (!atEnd() && !readEscape()) {
            return false;
        }
    }
    return true;
}

bool Model::readEscape() {
    char const c = text_[at_++];
    if (c != 'u' && c != 'U') {
        bool const known = View(" \t\v\f\"':\\").find(c) != View::npos;
        if (known) value_ += c;
        return known;
    }
    char32_t unit = 0;
    for (int i = 0; i < 4; ++i) {
        if (atEnd()) return true;
        std::size_t const digit = View("0123456789abcdefABCDEF").find(text_[at_++]);
        if (digit == View::npos) return false;
        unit = unit * 16 + static_cast<char32_t>(digit < 16 ? digit : digit - 6);
    }
    value_ += fuzz::utf8Of(unit);
    return true;
}

std::string Model::file() const {
    std::string file = "#\n";
    for (auto const& [key, value] : all()) {
        file += key + " = ";
        auto const byte = [&text = value](std::size_t i) { return fuzz::byteAt(text, i); };
        for (std::size_t i = 0; i < value.size(); ++i) {
            std::size_t const more = byte(i) >> 4 == 14 ? 2 : byte(i) >> 5 == 6 ? 1 : 0;
            char digits[8] = "";
            if (more != 0 && i + more < value.size()) {
                unsigned const last = byte(i + more) & 63;
                unsigned const code = more == 1
                                          ? (byte(i) & 31) * 64 + last
                                          : (byte(i) & 15) * 4096 + (byte(i + 1) & 63) * 64 + last;
                std::snprintf(digits, sizeof digits, "%4.4x", code);
            }
            if (byte(i) > 126 || value[i] == '\\' || value[i] == ':') file += '\\';
            file += byte(i) > 126 ? 'u' : value[i];
            file += digits;
            if (*digits != 0) i += more;
        }
        file += '\n';
    }
    return file;
}

// What a file keeps.
bool isPlain(Pair const& pair) {
    auto const& [key, value] = pair;
    if (key.empty() || key[0] == '#' || key[0] == '!') return false;
    if (key.find_first_of(" \t\v\f=:\\\r\n") != key.npos) return false;
    if (value.find_first_of("\r\n\x7F") != value.npos || isBlank(value[0])) return false;
    for (View rest = value; !rest.empty();) {
        int const length = fuzz::utf8At(rest).length;
        if (length < 0 || length > 3) return false;
        rest.remove_prefix(static_cast<unsigned>(length));
    }
    return true;
}

// The file under a name that stays; the library opens it by that.
struct File {
    std::string const path = fuzz::folder() + "/f";
    int const descriptor = open(path.c_str(), O_RDWR | O_CREAT, 0666);

    void write(View text) const {
        FUZZ_CHECK(ftruncate(descriptor, 0) == 0);
        FUZZ_CHECK(pwrite(descriptor, text.data(), text.size(), 0) ==
                   static_cast<ssize_t>(text.size()));
    }
    std::string read(std::size_t expected) const {
        std::string text(expected + 1, '\0');
        ssize_t const size = pread(descriptor, text.data(), text.size(), 0);
        FUZZ_CHECK(size >= 0);
        text.resize(static_cast<std::size_t>(size));
        return text;
    }
};

unsigned sizeOf(std::string const& text) {
    return static_cast<unsigned>(text.size());
}

// Pairs asked for in both codesets.
void checkPairs(ZJavaProperties_5_1 const& java, Model const& model) {
    ZUTF8String_5_1 utf8;
    ZLCString_5_1 local;
    auto const toLocal = [](std::string const& text) {
        return fuzz::converted(fuzz::utf8Codeset(), fuzz::localCodeset(), text).value_or("");
    };
    std::string unknown = "?";
    for (auto const& [key, value] : model.all()) {
        java.getValue(ZUTF8String_5_1(key.data(), sizeOf(key)), utf8);
        FUZZ_CHECK(fuzz::textOf(utf8) == value);
        std::string const name = toLocal(key);
        if (!name.empty()) {
            java.getValue(ZLCString_5_1(name.data(), sizeOf(name)), local);
            FUZZ_CHECK(fuzz::textOf(local) == toLocal(value));
        }
        unknown += key;
    }
    java.getValue(ZUTF8String_5_1(unknown.data(), sizeOf(unknown)), utf8);
    FUZZ_CHECK(utf8.isEmpty());
}

std::string store(ZJavaProperties_5_1 const& java, Model const& model, File const& file) {
    std::string const expected = model.file();
    FUZZ_CHECK(java.store(file.path.c_str()) == 0 && errno == 0);
    FUZZ_CHECK(file.read(expected.size()) == expected);
    return expected;
}

// What is set and loaded in a row into one object.
void fill(ZJavaProperties_5_1& java, Model& model, File const& file, FuzzedDataProvider& data) {
    for (int pairs = data.ConsumeIntegralInRange(0, 2); pairs > 0; --pairs) {
        std::string const key = data.ConsumeRandomLengthString(8);
        std::string const value = data.ConsumeRandomLengthString(24);
        ZUTF8String_5_1 const to(value.data(), sizeOf(value));
        if (data.ConsumeBool()) {
            java.setValue(ZUTF8String_5_1(key.data(), sizeOf(key)), to);
        } else {
            java.setValue(ZLCString_5_1(key.data(), sizeOf(key)), to);
        }
        model.set(key, value);
    }
    // By a key that is lost, which is read quickly.
    constexpr std::size_t block = 8191;
    bool const moved = data.ConsumeIntegral<unsigned char>() > 250;
    std::size_t const before = moved ? block - data.ConsumeIntegral<unsigned char>() : 0;
    int const last = data.ConsumeIntegralInRange(0, 2);
    unsigned char keys[3], cuts[3];
    for (int i = 0; i <= last; ++i) {
        keys[i] = data.ConsumeIntegral<unsigned char>();
        cuts[i] = i == last ? 0 : data.ConsumeIntegral<unsigned char>();
    }
    std::string text = data.ConsumeRemainingBytesAsString();
    if (moved) text.insert(0, std::string(before - 3, '-') + "\\n\n");
    std::string stop;
    for (int i = 0; i <= last; ++i) {
        bool const stops = keys[i] < 128;
        Pairs const known = model.all();
        if (keys[i] < known.size()) stop = known[keys[i]].first;
        View const loaded =
            View(text).substr(0, text.size() - std::min<std::size_t>(text.size(), cuts[i]));
        file.write(loaded);
        FUZZ_CHECK(java.load(file.path.c_str(), stops ? stop.c_str() : nullptr) == 1);
        model.load(loaded, stops ? stop : "");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* bytes, std::size_t size) {
    static File const file;
    FuzzedDataProvider data(bytes, size);
    ZJavaProperties_5_1 java;
    Model model;
    fill(java, model, file, data);
    checkPairs(java, model);
    bool isRefused = false;
    try {
        (void)java.clone();
    } catch (ZAbstractNotImplementedException_5_1& e) {
        isRefused = e.code() == 31;
    }
    FUZZ_CHECK(isRefused);
    std::string const stored = store(java, model, file);

    ZJavaProperties_5_1 again;
    Model expected;
    FUZZ_CHECK(again.load(file.path.c_str()) == 1);
    expected.load(stored, "");
    checkPairs(again, expected);
    Pairs const before = model.all();
    if (std::all_of(before.begin(), before.end(), isPlain)) FUZZ_CHECK(expected.all() == before);
    store(again, expected, file);
    return 0;
}
