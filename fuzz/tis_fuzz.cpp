// The text services' functions on strings and characters, over random bytes in nine codesets.
//
// Oracle: each function once more as a plain loop over units: the characters and stray bytes into
// which codesets.h takes a text apart. Texts lie with their terminator at an unreadable page, or so
// many bytes before it, so that none is read past its end. Dates and formats are those of the
// C library.
//
// Input: codeset, what to check, a number, the length of the second text; then two texts.
#include <Z/ZLCString.h>
#include <langinfo.h>
#include <time.h>
#include <wctype.h>

#include <algorithm>
#include <clocale>
#include <cstdarg>
#include <map>

#include "codesets.h"
#include "guarded.h"

using fuzz::Character;
using fuzz::Codeset;
using fuzz::View;

namespace {

fuzz::Guarded firstPlace;
fuzz::Guarded secondPlace;

locale_t unicode() {
    static locale_t const made = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return made;
}

// ---- The model ----

struct Unit {
    View bytes;
    char32_t cp;
};
using Units = std::vector<Unit>;

Units unitsOf(Codeset const& cs, View text) {
    Units units;
    while (!text.empty()) {
        Character const next = cs.at(text);
        std::size_t const length = next.length < 0 ? 1 : static_cast<unsigned>(next.length);
        char32_t const cp = next.length < 0 ? fuzz::stray | fuzz::byteAt(text, 0) : next.cp;
        units.push_back({text.substr(0, length), cp});
        text.remove_prefix(length);
    }
    return units;
}

bool isIn(Units const& set, Unit const& unit) {
    return std::any_of(set.begin(), set.end(),
                       [&](Unit const& u) { return u.bytes == unit.bytes; });
}

bool same(Unit const& one, Unit const& other) {
    return one.bytes == other.bytes;
}

// The bytes before the first unit that is a member, or is none.
std::size_t spanOf(Units const& text, Units const& set, bool members) {
    std::size_t length = 0;
    for (Unit const& unit : text) {
        if (isIn(set, unit) != members) break;
        length += unit.bytes.size();
    }
    return length;
}

bool isCharacter(char32_t cp) {
    return cp < fuzz::several;
}

// Whether the bytes begin a longer character.
bool isBeginning(Codeset const& cs, View bytes) {
    static std::map<std::pair<Codeset const*, std::string>, bool> known;
    auto const [place, isNew] = known.try_emplace({&cs, std::string(bytes)}, false);
    for (int next = 1; isNew && next < 256 && !place->second; ++next) {
        std::string text(bytes);
        text.resize(4, static_cast<char>(next));
        int const length = cs.at(text).length;
        text.back() = '0';
        place->second = std::max(length, cs.at(text).length) > static_cast<int>(bytes.size());
    }
    return place->second;
}

// What n bytes hold of the text, as far as they tell: a beginning at their end is left out.
std::string wholeUnits(Codeset const& cs, Units const& text, View bytes, std::size_t n) {
    std::string all;
    for (Unit const& unit : text) {
        View const rest = bytes.substr(all.size(), n - all.size());
        if (unit.bytes.size() > rest.size()) break;
        bool const atEnd = all.size() + rest.size() == n && rest.size() < 4;
        if (!isCharacter(unit.cp) && atEnd && isBeginning(cs, rest)) break;
        all += unit.bytes;
    }
    return all;
}

char32_t lower(char32_t cp) {
    return isCharacter(cp) ? towlower_l(cp, unicode()) : cp;
}
char32_t upper(char32_t cp) {
    return isCharacter(cp) ? towupper_l(cp, unicode()) : cp;
}

char32_t fold(char32_t cp, bool turkic) {
    if (turkic && cp == 'I') return 0x131;
    if (turkic && cp == 0x130) return 'i';
    return cp == 0x131 ? cp : lower(upper(cp));
}

int compare(Units const& one, Units const& two, bool turkic) {
    for (std::size_t i = 0; i < one.size() && i < two.size(); ++i) {
        char32_t const a = fold(one[i].cp, turkic);
        char32_t const b = fold(two[i].cp, turkic);
        if (a != b) return a < b ? -1 : 1;
    }
    return one.size() == two.size() ? 0 : one.size() < two.size() ? -1 : 1;
}

// ---- The checks ----

// One text pair under test; both are at unreadable pages.
struct Case {
    Codeset const& cs;
    View one, two;
    int n;
    char* s;
    char* t;
    tis_cs* handle = cs.handle();
    Units units = unitsOf(cs, one);
    Units others = unitsOf(cs, two);
};

bool isAlpha(char32_t cp) {
    return iswalpha_l(cp, unicode()) != 0;
}
bool isSpace(char32_t cp) {
    return iswspace_l(cp, unicode()) != 0 && cp != 0x85 && cp != 0xA0;
}

// Single characters at the front, of which `room` bytes may be read.
void checkCharacter(Case& c, int room) {
    Character const first =
        room <= 0 ? Character{0, 0} : c.cs.at(c.one.substr(0, static_cast<unsigned>(room)));
    FUZZ_CHECK(tis_mblen(c.handle, c.s, room) == first.length);
    bool const local = c.handle == zgetLCSHandle_5_1() && MB_CUR_MAX == 1;
    FUZZ_CHECK(zmblen_5_1(c.handle, c.s, room) == (local ? 1 : first.length));
    int const length = first.cp >= fuzz::stray ? -1 : first.length;
    tis_wchar const unit =
        length <= 0 ? 0 : static_cast<tis_wchar>(first.cp > 0xFFFF ? 0xFFFD : first.cp);
    tis_wchar wc = 1;
    FUZZ_CHECK(tis_mbtowc(c.handle, &wc, c.s, room) == length && wc == unit);
    FUZZ_CHECK(tis_mbtowc(c.handle, nullptr, c.s, room) == length);
    wc = 1;
    FUZZ_CHECK(zmbtowc_5_1(c.handle, &wc, c.s, room) == length && wc == unit);
    FUZZ_CHECK(zisalpha_5_1(c.handle, c.s, room) == (length > 0 && isAlpha(unit) ? length : 0));
    FUZZ_CHECK(zisspace_5_1(c.handle, c.s, room) == (length > 0 && isSpace(unit) ? length : 0));
}

void checkCharacters(Case& c) {
    checkCharacter(c, c.n % 6);
    checkCharacter(c, 4);
    checkCharacter(c, -c.n);
    std::size_t valid = 0;
    for (View rest = c.one; !rest.empty();) {
        int const length = c.cs.at(rest.substr(0, 4)).length;
        if (length < 0) break;
        valid += static_cast<unsigned>(length);
        rest.remove_prefix(static_cast<unsigned>(length));
    }
    FUZZ_CHECK(zstrcount_5_1(c.handle, c.s) == static_cast<int>(valid));
}

void checkWide(Case& c) {
    if (c.one.size() < 2) return;
    auto const wc = static_cast<tis_wchar>(fuzz::byteAt(c.one, 0) << 8 | fuzz::byteAt(c.one, 1));
    char bytes[8];
    int const length = tis_wctomb(c.handle, bytes, wc);
    std::optional<std::string> const form = c.cs.formOf(wc);
    FUZZ_CHECK(length == (form ? static_cast<int>(form->size()) : -1));
    FUZZ_CHECK(!form || View(bytes, form->size()) == *form);
    FUZZ_CHECK(ziswalpha_5_1(wc) == isAlpha(wc) && ziswspace_5_1(wc) == isSpace(wc));
    FUZZ_CHECK(ziswlower_5_1(wc) == (iswlower_l(wc, unicode()) != 0));
    FUZZ_CHECK(ziswupper_5_1(wc) == (iswupper_l(wc, unicode()) != 0));
    FUZZ_CHECK(ziswalnum_5_1(wc) == (iswalnum_l(wc, unicode()) != 0));
    FUZZ_CHECK(ziswdigit_5_1(wc) == (wc >= '0' && wc <= '9'));
}

void checkSearches(Case& c) {
    char const byte = static_cast<char>(c.n);
    char const* first = nullptr;
    char const* last = nullptr;
    for (Unit const& unit : c.units) {
        if (unit.bytes != View(&byte, 1)) continue;
        last = c.s + (unit.bytes.data() - c.one.data());
        if (first == nullptr) first = last;
    }
    if (byte == 0) first = last = c.s + c.one.size();
    FUZZ_CHECK(zstrchr_5_1(c.handle, c.s, c.n) == first);
    FUZZ_CHECK(zstrrchr_5_1(c.handle, c.s, c.n) == last);

    auto const at =
        std::search(c.units.begin(), c.units.end(), c.others.begin(), c.others.end(), same);
    bool const found = at != c.units.end() || c.others.empty();
    std::size_t before = 0;
    for (auto unit = c.units.begin(); found && unit != at; ++unit) before += unit->bytes.size();
    FUZZ_CHECK(zstrstr_5_1(c.handle, c.s, c.t) == (found ? c.s + before : nullptr));
}

void checkSpans(Case& c) {
    std::size_t const members = spanOf(c.units, c.others, true);
    std::size_t const none = spanOf(c.units, c.others, false);
    FUZZ_CHECK(zstrspn_5_1(c.handle, c.s, c.t) == static_cast<int>(members));
    FUZZ_CHECK(zstrcspn_5_1(c.handle, c.s, c.t) == static_cast<int>(none));
    char const* const found = none == c.one.size() ? nullptr : c.s + none;
    FUZZ_CHECK(zstrpbrk_5_1(c.handle, c.s, c.t) == found);
}

void checkTokens(Case& c) {
    std::vector<std::string> expected;
    bool open = false;
    for (Unit const& unit : c.units) {
        bool const delimiter = isIn(c.others, unit);
        if (!delimiter && !open) expected.emplace_back();
        if (!delimiter) expected.back() += unit.bytes;
        open = !delimiter;
    }
    char* next = c.s;
    for (std::string const& token : expected) {
        char const* const got = zstrtok_5_1(c.handle, next, c.t);
        FUZZ_CHECK(got != nullptr && got == token);
        next = nullptr;
    }
    FUZZ_CHECK(zstrtok_5_1(c.handle, next, c.t) == nullptr);
    FUZZ_CHECK(zstrtok_5_1(c.handle, nullptr, c.t) == nullptr);
}

// The target has exactly the room that is needed, and the text no end when it need not have one.
void checkCopies(Case& c) {
    auto const n = static_cast<std::size_t>(c.n);
    std::string const copied = wholeUnits(c.cs, c.units, c.one, n);
    static fuzz::Guarded place;
    if (n <= c.one.size()) c.s = firstPlace.put(c.one.substr(0, n));
    char* to = place.end() - n;
    FUZZ_CHECK(zstrncpy_5_1(c.handle, to, c.s, c.n) == to);
    std::string filled = copied;
    filled.resize(n);
    FUZZ_CHECK(View(to, n) == filled);

    std::string const joined = std::string(c.two) + copied;
    to = place.end() - joined.size() - 1;
    std::memcpy(to, c.two.data(), c.two.size());
    to[c.two.size()] = 0;
    FUZZ_CHECK(zstrncat_5_1(c.handle, to, c.s, c.n) == to);
    FUZZ_CHECK(to == joined);
}

std::string changed(Case const& c, char32_t (*change)(char32_t)) {
    std::string all;
    for (Unit const& unit : c.units) {
        char32_t const cp = change(unit.cp);
        std::optional<std::string> const form = cp != unit.cp ? c.cs.formOf(cp) : std::nullopt;
        all += form && form->size() == unit.bytes.size() ? *form : unit.bytes;
    }
    return all;
}

void checkCase(Case& c) {
    std::string const small = changed(c, lower);
    std::string const large = changed(c, upper);
    FUZZ_CHECK(zstrlower_5_1(c.handle, c.s) == c.s && c.s == small);
    std::memcpy(c.s, c.one.data(), c.one.size());
    FUZZ_CHECK(zstrupper_5_1(c.handle, c.s) == c.s && c.s == large);
}

void checkComparison(Case& c) {
    static tis_loc const* const common = tis_loc_new("C");
    static tis_loc const* const turkic = tis_loc_new("tr_TR.UTF-8");
    int const expected = compare(c.units, c.others, false);
    FUZZ_CHECK(tis_stricmp(c.handle, common, c.s, c.t) == expected);
    FUZZ_CHECK(tis_stricmp(c.handle, nullptr, c.t, c.s) == -expected);
    FUZZ_CHECK(tis_stricmp(c.handle, turkic, c.s, c.t) == compare(c.units, c.others, true));
    auto const n = static_cast<std::size_t>(c.n);
    Units const one = unitsOf(c.cs, c.one.substr(0, n));
    Units const two = unitsOf(c.cs, c.two.substr(0, n));
    FUZZ_CHECK(tis_strnicmp(c.handle, common, c.s, c.t, c.n) == compare(one, two, false));
    FUZZ_CHECK(tis_strnicmp(c.handle, turkic, c.s, c.t, c.n) == compare(one, two, true));
}

// The folder is kept and read nowhere; the names of the process's locale stay.
void checkNames(Case const& c) {
    FUZZ_CHECK(zset_cs_dir_5_1(c.s) == 0 && zset_cs_dir_5_1(nullptr) == 0);
    FUZZ_CHECK(tis_set_dir(c.t) == 0 && tis_set_dir(nullptr) == -1);
    static std::string const locale = std::setlocale(LC_CTYPE, nullptr);
    static std::string const codeset = nl_langinfo(CODESET);
    char canonical[512];
    FUZZ_CHECK(tis_canonical_loc(locale.c_str(), canonical, sizeof canonical) == 0);
    FUZZ_CHECK(zgetlocale_5_1() == std::string(canonical));
    FUZZ_CHECK(zgetLocalCodesetName_5_1() == codeset);
    ZLCString_5_1 name(c.s);
    FUZZ_CHECK(ZGetLocale(name) == 0 && name == canonical);
}

// The library functions know no codesets here: the C library's own answers.
void checkDate(Case& c) {
    struct tm expected = {}, got = {}, other = {};
    char const* const end = strptime(c.s, c.t, &expected);
    FUZZ_CHECK(tis_strptime(c.handle, c.s, c.t, &got) == end);
    FUZZ_CHECK(zstrptime_5_1(c.handle, c.s, c.t, &other) == end);
    FUZZ_CHECK(std::memcmp(&got, &expected, sizeof got) == 0);
    FUZZ_CHECK(std::memcmp(&other, &expected, sizeof other) == 0);
    FUZZ_CHECK(tis_strptime(c.handle, nullptr, c.t, &got) == nullptr);
    FUZZ_CHECK(tis_strptime(c.handle, c.s, nullptr, &got) == nullptr);
    FUZZ_CHECK(zstrptime_5_1(c.handle, c.s, c.t, nullptr) == nullptr);
}

int writtenTo(Case const& c, char* buf, char const* format, ...) {
    va_list args;
    va_start(args, format);
    int const length = tis_vsprintf(c.handle, buf, format, args);
    va_end(args);
    return length;
}

// Into just the room that the text takes; the second text lies between two numbers.
void checkFormat(Case& c) {
    std::string literal;
    for (char const byte : c.one) literal.append(byte == '%' ? 2 : 1, byte);
    std::string const format = "%d" + literal + "%-*.*s|%x";
    std::string shown(c.two.substr(0, static_cast<unsigned>(c.n) / 4));
    if (shown.size() < static_cast<unsigned>(c.n)) shown.resize(static_cast<unsigned>(c.n), ' ');
    char hex[16];
    std::snprintf(hex, sizeof hex, "|%x", c.n * 0x1001);
    std::string const expected = std::to_string(-c.n) + std::string(c.one) + shown + hex;
    auto const length = static_cast<int>(expected.size());
    auto const into = [&](char* buf) {
        return writtenTo(c, buf, format.c_str(), -c.n, c.n, c.n / 4, c.t, c.n * 0x1001);
    };
    static fuzz::Guarded place;
    char* const to = place.putString(expected);
    std::memset(to, '~', expected.size() + 1);
    FUZZ_CHECK(into(nullptr) == length);
    FUZZ_CHECK(into(to) == length && to == expected);
    FUZZ_CHECK(writtenTo(c, to, nullptr) == 0 && (length == 0 || *to == 0));
    checkNames(c);
}

View upToNul(View text) {
    return text.substr(0, text.find('\0'));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ_CHECK(unicode() != nullptr && ziswalpha_5_1(0xE9) == 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 4 || size > 400) return 0;
    static void (*const checks[])(Case&) = {
        checkCharacters, checkWide, checkSearches,   checkSpans, checkTokens,
        checkCopies,     checkCase, checkComparison, checkDate,  checkFormat};
    std::vector<Codeset const*> const& all = fuzz::codesets();
    View const texts(reinterpret_cast<char const*>(data) + 4, size - 4);
    std::size_t const split = std::min<std::size_t>(data[3] % 64, texts.size());
    View const one = upToNul(texts.substr(split));
    View const two = upToNul(texts.substr(0, split));
    std::size_t const gap = data[1] / 8;
    Case c = {*all[data[0] % all.size()], one, two, data[2], firstPlace.putString(one, gap),
              secondPlace.putString(two)};
    unsigned const check = data[1] % 8 == 1 && data[2] >= 128 ? 8 + data[2] % 2 : data[1] % 8;
    checks[check](c);
    return 0;
}
