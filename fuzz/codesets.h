// codesets: the codesets of the targets about text, each with a naive model of it: the C library's
// converter, which is asked about a whole text or about one character that stands alone.
#ifndef Z_FUZZ_CODESETS_H
#define Z_FUZZ_CODESETS_H

#include <Z/ztisutil.h>
#include <iconv.h>
#include <tis/tis.h>

#include <array>
#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz.h"

// The C library keeps the list of folders that it makes of LOCPATH for each locale.
extern "C" __attribute__((used)) inline char const* __lsan_default_suppressions() {
    return "leak:argz_add_sep";
}

namespace fuzz {

using View = std::string_view;
using CodePoints = std::u32string;

// Stands for a code point where there is none: above them, a character of several by its bytes, and
// above those a stray byte.
constexpr char32_t several = 0x01000000;
constexpr char32_t stray = 0x02000000;

// What a text begins with; a length of -1: with no character.
struct Character {
    int length;
    char32_t cp;
};

inline unsigned byteAt(View s, std::size_t i) {
    return static_cast<unsigned char>(s[i]);
}

inline bool isSurrogate(char32_t cp) {
    return cp >= 0xD800 && cp <= 0xDFFF;
}

// Any value of up to 21 bits.
inline std::string utf8Of(char32_t cp) {
    if (cp < 0x80) return {static_cast<char>(cp)};
    int const more = cp < 0x800 ? 1 : cp < 0x10000 ? 2 : 3;
    std::string form(1, static_cast<char>((0xF0 << (3 - more) & 0xFF) | cp >> 6 * more));
    for (int i = more; i-- > 0;) form += static_cast<char>(0x80 | (cp >> 6 * i & 0x3F));
    return form;
}

// Valid is what the code point, once known, is written as.
inline Character utf8At(View s) {
    unsigned const lead = byteAt(s, 0);
    int const length = lead < 0x80 ? 1 : lead < 0xC0 ? -1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (length < 0 || s.size() < static_cast<std::size_t>(length)) return {-1, 0};
    char32_t cp = length == 1 ? lead : lead & 0x7Fu >> length;
    for (int i = 1; i < length; ++i) cp = cp << 6 | (byteAt(s, static_cast<unsigned>(i)) & 0x3F);
    bool const valid = !isSurrogate(cp) && cp <= 0x10FFFF;
    return valid && s.substr(0, static_cast<unsigned>(length)) == utf8Of(cp) ? Character{length, cp}
                                                                             : Character{-1, 0};
}

class Codeset {
public:
    // Null for plain bytes under the rules of ASCII.
    explicit Codeset(char const* name, void* handle = nullptr)
        : name_(name != nullptr ? name : "ASCII"),
          utf8_(name_ == "UTF-8"),
          handle_(handle != nullptr ? static_cast<tis_cs*>(handle) : tis_cs_new(name)),
          decoder_(iconv_open("WCHAR_T", name_.c_str())),
          encoder_(iconv_open(name_.c_str(), "WCHAR_T")) {
        FUZZ_CHECK(name == nullptr || handle_ != nullptr);
        for (int b = 0; b < 256; ++b) {
            char const byte = static_cast<char>(b);
            std::string ignored;
            single_ = single_ && run(decoder_, View(&byte, 1), ignored) != cut;
        }
    }

    std::string const& name() const { return name_; }
    tis_cs* handle() const { return handle_; }
    bool isUtf8() const { return utf8_; }

    // Whole texts; nothing when some of it is invalid or has no form in the target.
    std::optional<std::string> toUtf8(View text) const {
        std::optional<CodePoints> const cps = decode(text);
        if (!cps) return std::nullopt;
        std::string all;
        for (char32_t const cp : *cps) all += utf8Of(cp);
        return all;
    }

    std::optional<std::string> fromUtf8(View text) const {
        CodePoints cps;
        for (View rest = text; !rest.empty();) {
            Character const next = utf8At(rest);
            if (next.length < 0) return std::nullopt;
            cps += next.cp;
            rest.remove_prefix(static_cast<unsigned>(next.length));
        }
        if (utf8_) return std::string(text);
        return encode(cps);
    }

    std::optional<std::string> formOf(char32_t cp) const {
        if (isSurrogate(cp) || cp > 0x10FFFF) return std::nullopt;
        return utf8_ ? utf8Of(cp) : encode(CodePoints(1, cp));
    }

    // What the text, which has no NUL, begins with. In a codeset of single bytes all are
    // characters.
    Character at(View s) const {
        if (s.empty()) return {0, 0};
        if (utf8_) return utf8At(s);
        unsigned const second = s.size() > 1 && !single_ ? byteAt(s, 1) : 0;
        Known& known = (*known_)[byteAt(s, 0) << 8 | second];
        if (!known.asked) {
            Character const found = lookAt(s.substr(0, second != 0 ? 2 : 1), &known.longer);
            known = {true, known.longer, found};
        }
        return known.longer ? lookAt(s.substr(0, 4), nullptr) : known.found;
    }

private:
    enum Outcome { whole, cut, invalid };

    // What is known about a byte, or about two.
    struct Known {
        bool asked, longer;
        Character found;
    };

    static Outcome run(iconv_t converter, View from, std::string& to) {
        static char block[16384];
        iconv(converter, nullptr, nullptr, nullptr, nullptr);
        char* in = const_cast<char*>(from.data());
        std::size_t inLeft = from.size();
        char* out = block;
        std::size_t outLeft = sizeof block;
        std::size_t const lost = iconv(converter, &in, &inLeft, &out, &outLeft);
        FUZZ_CHECK(lost != static_cast<std::size_t>(-1) || errno != E2BIG);
        if (lost != 0) {
            bool const begun = lost == static_cast<std::size_t>(-1) && errno == EINVAL;
            return begun && out == block ? cut : invalid;
        }
        if (iconv(converter, nullptr, nullptr, &out, &outLeft) != 0) return invalid;
        to.assign(block, out);
        return whole;
    }

    std::optional<CodePoints> decode(View text) const {
        CodePoints cps;
        if (utf8_) {
            for (; !text.empty(); text.remove_prefix(utf8Of(cps.back()).size())) {
                Character const next = utf8At(text);
                if (next.length < 0) return std::nullopt;
                cps += next.cp;
            }
            return cps;
        }
        std::string units;
        if (run(decoder_, text, units) != whole) return std::nullopt;
        cps.resize(units.size() / sizeof(char32_t));
        std::memcpy(cps.data(), units.data(), units.size());
        return cps;
    }

    // The converters drop tags (U+E0000 to U+E007F) where they should refuse them.
    std::optional<std::string> encode(CodePoints const& cps) const {
        std::string bytes;
        auto const put = [&](char32_t const* from, std::size_t count) {
            View const raw(reinterpret_cast<char const*>(from), count * sizeof(char32_t));
            return run(encoder_, raw, bytes) == whole;
        };
        for (char32_t const& cp : cps) {
            if (cp >> 7 == 0xE0000 >> 7 && (!put(&cp, 1) || bytes.empty())) return std::nullopt;
        }
        if (!put(cps.data(), cps.size())) return std::nullopt;
        return bytes;
    }

    // The shortest beginning that is a character. `longer` receives that all of it only begins one.
    Character lookAt(View s, bool* longer) const {
        for (std::size_t n = 1; n <= s.size(); ++n) {
            std::string units;
            switch (run(decoder_, s.substr(0, n), units)) {
                case whole: {
                    char32_t cp = 0;
                    for (std::size_t i = 0; i < n; ++i) cp = cp << 8 | byteAt(s, i);
                    cp |= several;
                    if (units.size() == sizeof cp) std::memcpy(&cp, units.data(), sizeof cp);
                    return {static_cast<int>(n), cp};
                }
                case invalid:
                    return single_ ? Character{1, stray | byteAt(s, 0)} : Character{-1, 0};
                case cut:
                    break;
            }
        }
        if (longer != nullptr) *longer = s.size() == 2;
        return {-1, 0};
    }

    std::string name_;
    bool utf8_;
    bool single_ = true;
    tis_cs* handle_;
    iconv_t decoder_;
    iconv_t encoder_;
    std::unique_ptr<std::array<Known, 0x10000>> known_ =
        std::make_unique<std::array<Known, 0x10000>>();
};

// The process's own first. Shift JIS has a yen sign for a backslash, GB 18030 characters of four
// bytes, and the last two compose: what a byte is depends on the next one.
inline std::vector<Codeset const*> const& codesets() {
    static auto const& all = *new std::vector<Codeset const*>([] {
        std::vector<Codeset const*> made = {
            new Codeset(zgetLocalCodesetName_5_1(), zgetLCSHandle_5_1())};
        for (char const* name : {static_cast<char const*>(nullptr), "ISO-8859-1", "EUC-JP", "SJIS",
                                 "GB18030", "UTF-8", "BIG5-HKSCS", "TCVN5712-1"}) {
            made.push_back(new Codeset(name));
        }
        return made;
    }());
    return all;
}

}  // namespace fuzz

#endif
