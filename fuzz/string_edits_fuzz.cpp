// ZLCString and ZUTF8String, owned and viewed: sequences of edits, each followed by questions.
//
// Oracle: a std::string edited by loops over its characters, which the C library tells
// (codesets.h), and the capacity that the rules of growth give. Texts may hold NULs and stray
// bytes. Arguments are texts of the input, null, the characters of the other string, or lie in the
// string itself.
//
// Input: five texts; then calls, each a byte that names it and bytes for its arguments.
#include <Z/ZException.h>
#include <Z/ZStringIterator.h>
#include <climits>
#include <memory>
#include <sstream>

#include "string_model.h"

using fuzz::Codeset;
using fuzz::notFound;
using fuzz::View;
using Model = fuzz::StringModel;

namespace {

// ---- comparing ----

template <class Exception, class Call>
bool throws(Call call) {
    try {
        call();
        return false;
    } catch (Exception&) {
        return true;
    }
}

template <class Call>
bool isInvalid(Call call) {
    return throws<ZTISMBLenException_5_1>(call);
}

int sign(int value) {
    return (value > 0) - (value < 0);
}

unsigned sizeOf(std::string const& text) {
    return static_cast<unsigned>(text.size());
}

void same(ZAbstractMutableString_5_1 const& string, Model const& model) {
    FUZZ_CHECK(fuzz::textOf(string) == model.text);
    FUZZ_CHECK(string.getCapacity() == model.capacity);
}

struct Argument {
    char const* chars;
    std::string text;  // up to its first NUL
};

// What every string is asked, also the views.
void ask(ZAbstractString_5_1 const& s, Model const& m, Argument const& a,
         FuzzedDataProvider& data) {
    std::string const seen = m.seen();
    bool const isNull = a.chars == nullptr;
    char const c = data.ConsumeIntegral<char>();
    unsigned const from = data.ConsumeIntegral<unsigned char>();
    FUZZ_CHECK(s.getLength() == m.text.size() && s.isEmpty() == m.text.empty());
    FUZZ_CHECK(s.data() == s.getChars() && static_cast<char const*>(s) == s.getChars());
    FUZZ_CHECK(s.getCharCount() == m.validPrefix());
    std::uint32_t hash = 5381;
    for (char const byte : seen) hash = hash * 33 ^ static_cast<unsigned char>(byte);
    FUZZ_CHECK(s.hash() == hash);

    FUZZ_CHECK(s.contains(c) == (c == 0 || seen.find(c) != seen.npos));
    FUZZ_CHECK(s.contains(a.chars) == (!isNull && seen.find(a.text) != seen.npos));
    unsigned const at = std::min(from, sizeOf(m.text));
    unsigned const end = at + sizeOf(fuzz::upToNul(View(m.text).substr(at)));
    FUZZ_CHECK(s.indexOf(c, from) == (c == 0 ? end : m.indexOf(std::string(1, c), from)));
    FUZZ_CHECK(s.indexOf(a.chars, from) == (isNull ? notFound : m.indexOf(a.text, from)));
    std::optional<unsigned> last;
    FUZZ_CHECK(isInvalid([&] { last = s.lastIndexOf(c); }) == !m.lastIndexOf(c));
    FUZZ_CHECK(last == m.lastIndexOf(c));
    FUZZ_CHECK(s.lastIndexOf(a.chars) == (isNull ? sizeOf(m.text) : m.lastIndexOf(a.text)));

    std::size_t const size = a.text.size();
    bool const begins = !m.text.empty() && seen.compare(0, size, a.text) == 0;
    bool const fits = size != 0 && size <= m.text.size();
    std::string const tail = fits ? m.text.substr(m.text.size() - size) : "";
    FUZZ_CHECK(s.beginsWith(a.chars) == (isNull || begins));
    FUZZ_CHECK(s.endsWith(a.chars) == (isNull || (fits && fuzz::upToNul(tail) == a.text)));
    FUZZ_CHECK(s.equals(a.chars) == (!isNull && seen == a.text));
    FUZZ_CHECK(sign(s.compare(a.chars)) == sign(std::strcoll(seen.c_str(), a.text.c_str())));
    FUZZ_CHECK(sign(s.compareignorecase(a.chars)) == sign(m.compareFolded(seen, a.text)));
    ZUTF8String_5_1 const other(a.text.c_str());
    FUZZ_CHECK(
        s.beginsWithCaseIgnored(other) ==
        (!m.text.empty() && size != 0 && m.compareFolded(seen.substr(0, size), a.text) == 0));
    FUZZ_CHECK(s.endsWithCaseIgnored(other) == (fits && m.compareFolded(tail, a.text) == 0));
    FUZZ_CHECK(s.equals(static_cast<ZObject_5_1 const&>(other)) == (m.text == a.text));
}

// ---- a string, with its model ----

template <class String, class Const, class Foreign, class ForeignConst>
class Subject {
public:
    explicit Subject(Codeset const& codeset) : model(codeset) {}
    String string;
    Model model;

    template <class Other>
    void call(Other const& other, std::vector<std::string> const& texts, FuzzedDataProvider& data) {
        Argument const a = argument(other.string, texts, data);
        unsigned const call = data.ConsumeIntegral<unsigned char>() % 48;
        if (call < 32) {
            edit(call, a, other, data);
        } else if (call < 38) {
            make(call, a, other, data);
        } else if (call < 43) {
            ask(string, model, a, data);
        } else {
            view(a, other, data);
        }
        same(string, model);
        if (model.text.size() > 1500) {
            string.clear();
            model.text.clear();
        }
    }

private:
    Argument argument(ZAbstractString_5_1 const& other, std::vector<std::string> const& texts,
                      FuzzedDataProvider& data) const {
        unsigned const which = data.ConsumeIntegral<unsigned char>();
        if (which % 16 == 0) return {nullptr, ""};
        char const* chars = texts[which / 16 % texts.size()].c_str();
        if (which % 16 == 1) chars = other.getChars();
        if (which % 16 > 10)
            chars = string.getChars() + (which / 16 * 7 % (string.getLength() + 1));
        return {chars, chars};
    }

    template <class Other>
    void edit(unsigned call, Argument const& a, Other const& other, FuzzedDataProvider& data) {
        String& s = string;
        Model& m = model;
        bool const isNull = a.chars == nullptr;
        char const c = data.ConsumeIntegral<char>();
        char const d = data.ConsumeIntegral<char>();
        unsigned const n = static_cast<unsigned char>(c) * 2U;
        std::string const& foreign = other.model.text;
        switch (call) {
            case 0:
                s.setChars(a.chars);
                return m.set(a.text);
            case 1:
                s = a.chars;
                if (a.chars != s.getChars()) m.set(a.text);
                return;
            case 2:
                FUZZ_CHECK(&(d & 1 ? s.append(a.chars) : s += a.chars) == &s);
                return m.append(a.text);
            case 3:
                FUZZ_CHECK(&(d & 1 ? s.append(c) : s += c) == &s);
                return m.append({c});
            case 4: {
                unsigned const bytes = std::min(n, sizeOf(a.text));
                s.append(a.chars, bytes);
                return m.append(a.text.substr(0, bytes));
            }
            case 5:
                s += string;
                return m.append(m.seen());
            case 6:
                s += Const(a.chars);
                return m.append(a.text);
            case 7:
                s += other.string;
                return m.append(fuzz::upToNul(foreign));
            case 8:
                s.insert(n, a.chars);
                return isNull ? void() : m.insert(n, a.text);
            case 9:
                s.prepend(a.chars);
                return isNull ? void() : m.prepend(a.text);
            case 10: {
                unsigned const byte = static_cast<unsigned char>(d);
                unsigned const count = byte % 8 == 7 ? UINT_MAX - n : byte % 16;
                s.remove(n, count);
                return m.remove(n, count);
            }
            case 11:
                s.trunc(n);
                return m.trunc(n);
            case 12:
                s.upper();
                return m.changeCase(towupper_l);
            case 13:
                s.lower();
                return m.changeCase(towlower_l);
            case 14: {
                bool const refused = m.isUtf8() && c < 0;
                auto const replace = [&] { s.replace(c, d); };
                FUZZ_CHECK(throws<ZInvalidParameterException_5_1>(replace) == refused);
                return refused ? void() : m.replace(c, d);
            }
            case 15: {
                std::string const from(1, c);
                s.replace(from.c_str(), a.chars);
                return m.replace(fuzz::upToNul(from), a.text);
            }
            case 16:
                s.replace(a.chars, other.string.getChars());
                return m.replace(a.text, fuzz::upToNul(foreign));
            case 17:
                s.replaceAll(a.chars, c);
                return m.replaceBytes(a.text, c);
            case 18:
            case 19: {
                bool const members = call == 18;
                std::string const to(n % 3, d);
                bool const threw = isInvalid([&] {
                    members ? s.replaceAll(a.chars, to.c_str())
                            : s.replaceOther(a.chars, to.c_str());
                });
                FUZZ_CHECK(threw ==
                           !(isNull || m.replaceCharacters(a.text, members, fuzz::upToNul(to))));
                return;
            }
            case 20: {
                Const const members(a.chars);
                String output;
                ZStringIterator_5_1 set(members, output);
                bool const threw = isInvalid([&] { s.replaceAllOf(set, nullptr); });
                FUZZ_CHECK(threw == !m.replaceCharacters(a.text, true, ""));
                return;
            }
            case 21: {
                String output;
                ZStringIterator_5_1 walk(s, output);
                bool const threw = isInvalid([&] { s.replaceNoneOf(walk, a.chars, "-"); });
                FUZZ_CHECK(threw == !(isNull || m.replaceCharacters(a.text, false, "-")));
                return;
            }
            case 22:
                s.stripLeading();
                return m.stripLeading();
            case 23:
                s.stripTrailing();
                return m.stripTrailing();
            case 24:
                s.stripWhiteSpace();
                m.stripLeading();
                return m.stripTrailing();
            case 25:
                if (isNull) {
                    s.format(nullptr);
                    return m.set("");
                }
                s.format("%s|%-5u|%.3s", a.chars, n, s.getChars());
                return m.set(a.text + '|' + std::to_string(n).append("     ", 5 - digits(n)) + '|' +
                             m.seen().substr(0, 3));
            case 26:
                return readLine(a.text, d);
            case 27:
                return setCapacity(c, n);
            case 28:
                return assignNumber(c, data.ConsumeIntegral<int>());
            case 29:
                return assignForeign(c, other);
            case 30:
                return assignItself(c);
            default:
                s.clear();
                m.text.clear();
        }
    }

    static std::size_t digits(unsigned n) { return std::to_string(n).size(); }

    void readLine(std::string const& text, char flag) {
        std::istringstream in(text);
        std::size_t const end = text.find_first_of("\r\n");
        string.readLine(in, flag);
        model.text.clear();
        for (char const c : text.substr(0, end)) model.append({c});
        std::string rest(text.size() + 1, '\0');
        rest.resize(static_cast<std::size_t>(in.readsome(rest.data(), sizeOf(rest))));
        FUZZ_CHECK(rest == (end == text.npos ? "" : text.substr(end + 1)));
    }

    void setCapacity(char how, unsigned n) {
        switch (how & 3) {
            case 0:
                string.init();
                model.text.clear();
                model.capacity = 95;
                return;
            case 1:
                model.capacity = fuzz::bumped(model.capacity, n, true);
                return FUZZ_CHECK(string.setCapacity(n) == model.capacity);
            default: {
                char const* const buffer = string.bump(n, how & 1);
                model.capacity = fuzz::bumped(model.capacity, n, how & 1);
                return FUZZ_CHECK(buffer == string.getChars());
            }
        }
    }

    void assignNumber(char how, int number) {
        auto const size = static_cast<unsigned>(number);
        long const large = number * 0x7FFFFFFFL;
        auto const larger = static_cast<unsigned long>(large);
        switch (how & 7) {
            case 0:
                string = number;
                return model.set(std::to_string(number));
            case 1:
                string = size;
                return model.set(std::to_string(size));
            case 2:
                string = large;
                return model.set(std::to_string(large));
            case 3:
                string = larger;
                return model.set(std::to_string(larger));
            default:
                string = how;
                return model.set(std::string(1, how));
        }
    }

    template <class Other>
    void assignForeign(char how, Other const& other) {
        std::string text = other.model.text;
        if ((how & 3) != 0) model.text.clear();
        switch (how & 3) {
            case 0:
                string.convertFromCodeSet(other.string);
                break;
            case 1:
                string.setChars(other.string);
                break;
            case 2:
                string = other.string;
                break;
            default:
                string = ForeignConst(other.string.getChars());
                text = fuzz::upToNul(text);
        }
        model.convert(other.model.codeset, text);
    }

    void assignItself(char how) {
        String const& itself = string;
        switch (how & 3) {
            case 0:
                string = itself;
                return;
            case 1:
                string.setChars(itself);
                return;
            case 2:
                string = Const(itself.getChars());
                break;
            default:
                string = String(itself);
        }
        model.set(model.seen());
    }

    // ---- new strings ----

    Model made(std::string const& text) const {
        Model model(this->model.codeset);
        model.set(text);
        return model;
    }

    template <class Other>
    void make(unsigned call, Argument const& a, Other const& other, FuzzedDataProvider& data) {
        int const n = data.ConsumeIntegral<int>();
        unsigned const from = static_cast<unsigned>(n) >> 24, count = n & 127;
        switch (call) {
            case 32: {
                std::unique_ptr<ZObject_5_1> const clone(string.clone());
                same(static_cast<String const&>(*clone), made(model.seen()));
                return same(String(Const(a.chars)), made(a.text));
            }
            case 33: {
                Model counted(model.codeset);
                counted.capacity = fuzz::bumped(95, model.text.size() + 1, false);
                counted.text = model.text;
                same(String(string.getChars(), string.getLength()), counted);
                same(String(static_cast<char>(n)), made({static_cast<char>(n)}));
                return same(String(a.chars), made(a.text));
            }
            case 34:
                same(String(n), made(std::to_string(n)));
                same(String(from), made(std::to_string(from)));
                same(String(n * 0x10001L), made(std::to_string(n * 0x10001L)));
                return same(String(count * 0x10001UL), made(std::to_string(count * 0x10001UL)));
            case 35: {
                Model from(model.codeset);
                from.convert(other.model.codeset, other.model.text);
                same(String(other.string), from);
                Model seen(model.codeset);
                seen.convert(other.model.codeset, other.model.seen());
                return same(String(ForeignConst(other.string.getChars())), seen);
            }
            case 36: {
                Model expected = made(model.seen());
                expected.append(a.text);
                same(string + a.chars, expected);
                same(string + Const(a.chars), expected);
                return same(string + String(a.chars), expected);
            }
            default: {
                std::string const rest =
                    from < model.text.size() ? fuzz::upToNul(View(model.text).substr(from)) : "";
                Model expected = made(rest);
                same(string.subString(from), expected);
                expected.text = rest.substr(0, count);
                same(string.subString(from, count), expected);
            }
        }
    }

    // A view of the argument, and how the string compares with it and its like.
    template <class Other>
    void view(Argument const& a, Other const& other, FuzzedDataProvider& data) {
        Const view(a.chars);
        ask(view, made(a.text), {string.getChars(), model.seen()}, data);
        String const like(a.chars);
        int const order = sign(std::strcoll(model.text.c_str(), a.text.c_str()));
        int const folded = sign(model.compareFolded(model.text, a.text));
        bool const equal = model.text == a.text;
        FUZZ_CHECK((string == view) == equal && (string != view) == !equal);
        FUZZ_CHECK((string == like) == equal && (string != like) == !equal);
        FUZZ_CHECK((string == a.chars) == (a.chars != nullptr && model.seen() == a.text));
        FUZZ_CHECK(sign(string.compare(view)) == order && sign(string.compare(like)) == order);
        FUZZ_CHECK(sign(string.compare(static_cast<ZObject_5_1 const&>(like))) == order);
        FUZZ_CHECK((string < like) == (order < 0) && (string >= view) == (order >= 0));
        FUZZ_CHECK(sign(string.compareignorecase(view)) == folded);
        FUZZ_CHECK(sign(string.compareignorecase(like)) == folded);
        view.setChars(other.string);
        FUZZ_CHECK(fuzz::textOf(view) == a.text);
        view.setChars(string);
        FUZZ_CHECK(view.getChars() == string.getChars() && fuzz::textOf(view) == model.seen());
    }
};

using Local = Subject<ZLCString_5_1, ZLCConstString_5_1, ZUTF8String_5_1, ZUTF8ConstString_5_1>;
using Utf8 = Subject<ZUTF8String_5_1, ZUTF8ConstString_5_1, ZLCString_5_1, ZLCConstString_5_1>;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* bytes, std::size_t size) {
    FuzzedDataProvider data(bytes, size);
    Local local(fuzz::localCodeset());
    Utf8 utf8(fuzz::utf8Codeset());
    std::vector<std::string> texts;
    for (std::size_t const most : {2U, 4U, 16U, 32U, 110U})
        texts.push_back(data.ConsumeRandomLengthString(most));
    for (int calls = 0; calls < 40 && data.remaining_bytes() != 0; ++calls) {
        if (data.ConsumeBool()) {
            local.call(utf8, texts, data);
        } else {
            utf8.call(local, texts, data);
        }
    }
    return 0;
}
