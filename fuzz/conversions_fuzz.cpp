// Conversions between codesets and UTF-8: tis_to_utf8 and tis_from_utf8, the strings and the
// converter that are built on them, and UTF-16 to UTF-8.
//
// Oracle: the C library's converter together with a UTF-8 written from its definition (codesets.h).
// A text converts completely into exactly as many bytes as the oracle needs, or not at all (-1) in
// less room. Source and target lie at unreadable pages, at a place that the input chooses, so the
// forms by vectors are held to the same results as those by character.
//
// Input: codeset, room, place and what to check; then the text.
#include <Z/ZBuffer.h>
#include <Z/ZLCString.h>
#include <Z/ZTISUTF8Converter.h>
#include <Z/ZUTF8String.h>

#include "codesets.h"
#include "guarded.h"

using fuzz::Codeset;
using fuzz::View;
using Result = std::optional<std::string>;

namespace {

fuzz::Guarded source;
fuzz::Guarded target;

// The source begins right behind an unreadable page, or ends so many bytes before one.
char* place(View text, unsigned where) {
    return where % 32 == 31 ? source.putAtStart(text) : source.put(text, where % 32);
}

using Convert = int (*)(tis_cs const*, char const*, int, char*, int);

Result convert(Convert run, Codeset const& cs, View text, char const* from, std::size_t room) {
    char* const to = target.end() - room;
    View const canary = "sixteen bytes ..";
    std::memcpy(to - canary.size(), canary.data(), canary.size());
    int const length =
        run(cs.handle(), from, static_cast<int>(text.size()), to, static_cast<int>(room));
    FUZZ_CHECK(View(from, text.size()) == text);
    FUZZ_CHECK(View(to - canary.size(), canary.size()) == canary);
    FUZZ_CHECK(length >= -1 && length <= static_cast<int>(room));
    if (length < 0) return std::nullopt;
    return std::string(to, static_cast<unsigned>(length));
}

void agree(Convert run, Codeset const& cs, View text, Result const& expected, unsigned cut,
           unsigned where) {
    char* const from = place(text, where);
    if (text.empty()) return;
    std::size_t const whole = expected ? expected->size() : 3 * text.size();
    FUZZ_CHECK(whole > 0);
    for (std::size_t const room : {cut % (whole + 1), whole - 1, whole, whole + 1, whole + 40}) {
        if (room == 0) continue;
        Result const got = convert(run, cs, text, from, room);
        FUZZ_CHECK(got == (room < whole ? std::nullopt : expected));
    }
}

void checkRefusals(Convert run, Codeset const& cs) {
    char* const from = source.put("text");
    char* const to = target.start();
    FUZZ_CHECK(run(cs.handle(), from, 0, to, 1) == 0 && run(cs.handle(), from, -1, to, 1) == 0);
    FUZZ_CHECK(run(cs.handle(), nullptr, 1, to, 1) == 0 &&
               run(cs.handle(), from, 1, nullptr, 1) == 0);
    FUZZ_CHECK(run(cs.handle(), from, 1, to, 0) == -1 && run(cs.handle(), from, 1, to, -1) == -1);
}

// ---- What is built on them; texts end at the first NUL ----

std::string textOf(ZAbstractString_5_1 const& s) {
    FUZZ_CHECK(s.getChars()[s.getLength()] == 0);
    return {s.getChars(), s.getLength()};
}

// A string that cannot be converted becomes empty.
void checkStrings(std::string const& text) {
    Codeset const& local = *fuzz::codesets().front();
    std::string const utf8 = local.toUtf8(text).value_or("");
    std::string const back = local.fromUtf8(text).value_or("");
    ZLCString_5_1 asLocal(text.c_str());
    ZUTF8String_5_1 asUtf8(text.c_str());
    FUZZ_CHECK(textOf(ZUTF8String_5_1(asLocal)) == utf8);
    FUZZ_CHECK(textOf(ZLCString_5_1(asUtf8)) == back);
    asLocal = asUtf8;
    FUZZ_CHECK(textOf(asLocal) == back);
    asUtf8 = ZLCConstString_5_1(text.c_str());
    FUZZ_CHECK(textOf(asUtf8) == utf8);
}

// A text that cannot be converted leaves the length that was reserved.
void checkBuffer(ZBuffer_5_1 const& out, std::size_t reserved, Result const& expected) {
    View const got(static_cast<char const*>(out.getBuffer()), out.getLength());
    FUZZ_CHECK(expected ? got == *expected : got.size() == reserved);
    FUZZ_CHECK(!expected || expected->size() <= reserved);
}

void checkConverter(Codeset const& cs, std::string const& text) {
    static auto const converters = [] {
        std::vector<std::unique_ptr<ZTISUTF8Converter_5_1>> made;
        for (Codeset const* each : fuzz::codesets()) {
            made.push_back(each->handle() == nullptr ? std::make_unique<ZTISUTF8Converter_5_1>()
                                                     : std::make_unique<ZTISUTF8Converter_5_1>(
                                                           each->name().c_str(), nullptr));
        }
        return made;
    }();
    std::size_t which = 0;
    while (fuzz::codesets()[which] != &cs) ++which;
    ZBuffer_5_1 out;
    View const whole(text.c_str(), text.size() + 1);
    converters[which]->convertToUTF8(text.c_str(), out);
    checkBuffer(out, 3 * text.size() + 1, cs.toUtf8(whole));
    converters[which]->convertToLocal(text.c_str(), out);
    checkBuffer(out, 2 * text.size() + 1, cs.fromUtf8(whole));
}

// ---- UTF-16 ----

void checkUtf16(View text, std::size_t room) {
    std::vector<unsigned short> units(text.size() / 2);
    if (!units.empty()) std::memcpy(units.data(), text.data(), units.size() * 2);
    std::string expected;
    std::size_t used = 0;
    int code = 0;
    while (used < units.size()) {
        char32_t cp = units[used];
        bool const pair = cp >= 0xD800 && cp < 0xDC00 && used + 1 < units.size() &&
                          units[used + 1] >= 0xDC00 && units[used + 1] < 0xE000;
        if (pair) cp = 0x10000 + (cp - 0xD800) * 0x400 + (units[used + 1] - 0xDC00u);
        std::string const form = fuzz::utf8Of(cp);
        if (expected.size() + form.size() > room) {
            code = 2;
            break;
        }
        expected += form;
        used += pair ? 2 : 1;
    }
    unsigned short const* from = units.data();
    auto* const begin = reinterpret_cast<unsigned char*>(target.end() - room);
    unsigned char* to = begin;
    FUZZ_CHECK(zconvert_UTF16_to_UTF8_5_1(&from, units.data() + units.size(), &to, begin + room) ==
               code);
    FUZZ_CHECK(from == units.data() + used);
    FUZZ_CHECK(std::string(begin, to) == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 3 || size > 400) return 0;
    std::vector<Codeset const*> const& all = fuzz::codesets();
    Codeset const& cs = *all[data[0] % all.size()];
    unsigned const cut = data[1];
    unsigned const where = data[2] % 32;
    View const text(reinterpret_cast<char const*>(data) + 3, size - 3);
    std::string const string(text.substr(0, text.find('\0')));
    switch (data[2] / 32) {
        case 0:
            agree(tis_from_utf8, cs, text, cs.fromUtf8(text), cut, where);
            break;
        case 1:
            checkStrings(string);
            break;
        case 2:
            checkConverter(cs, string);
            break;
        case 3:
            checkUtf16(text, cut);
            checkRefusals(tis_to_utf8, cs);
            checkRefusals(tis_from_utf8, cs);
            break;
        default: {
            Result const utf8 = cs.toUtf8(text);
            agree(tis_to_utf8, cs, text, utf8, cut, where);
            if (utf8) agree(tis_from_utf8, cs, *utf8, cs.fromUtf8(*utf8), cut, where);
        }
    }
    return 0;
}
