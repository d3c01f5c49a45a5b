// Any format, with arguments that fit it: zsnprintf, zasprintf and the three steps below them.
//
// The bytes are values and a format: itself, one of letters that directives are made of, or one of
// directives that their values describe. The oracle is a second reader of formats, which says
// whether a format is right and what each argument is. The text of each directive is then the C
// library's, but for the differences that zsnprintf.h states; a format without any of these is also
// printed as a whole by the C library. Texts go into buffers of several sizes, now and then of all.
#include <Z/zasprintf.h>
#include <Z/zsnprintf.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <utility>
#include <vector>

#include "string_model.h"

using fuzz::View;

namespace {

enum Kind { noKind, anInt, aLong, aLongLong, aPointer, aDouble, aLongDouble };

struct Number {
    bool given = false, star = false;
    long value = 0;  // itself, or the number of its argument
};

struct Directive {
    std::string literal;  // the text before it
    std::string flags;    // those that count
    bool zero = false;    // a flag 0, also one that does not count
    Number width, precision;
    std::string length;
    char conversion = 0;
    std::size_t value = 0;  // the number of its argument

    bool has(char flag) const { return flags.find(flag) != std::string::npos; }
    bool is(char const* letters) const { return std::strchr(letters, conversion) != nullptr; }
    bool isLongLong() const { return length == "ll" || length == "L" || length == "q"; }
    Kind kind() const {
        if (is("sSp")) return aPointer;
        if (is("eEfgG")) return isLongLong() ? aLongDouble : aDouble;
        if (is("cC") || length.empty() || length == "h") return anInt;
        return isLongLong() ? aLongLong : aLong;
    }
};

class Format {
public:
    explicit Format(std::string const& text) : at_(text.c_str()) {
        right = parse() && !std::count(kinds.begin() + 1, kinds.end(), noKind);
    }
    bool right;
    std::vector<Directive> directives;
    std::string tail;                 // the text behind the last one
    std::vector<Kind> kinds{noKind};  // by the arguments' numbers, from 1
    bool mixed() const { return numbered_ && next_ != 0; }

private:
    bool parse() {
        while (*at_ != 0) {
            if (*at_ != '%') {
                tail += *at_++;
                continue;
            }
            ++at_;
            Directive d;
            d.literal = std::exchange(tail, "");
            if (!directive(d)) return false;
            directives.push_back(std::move(d));
        }
        return true;
    }

    bool directive(Directive& d) {
        char const* const start = at_;
        long const own = digits();
        bool const isNumbered = at_ != start && *at_ == '$';
        if (own > INT_MAX || (isNumbered && own == 0)) return false;
        at_ = isNumbered ? at_ + 1 : start;
        for (; *at_ != 0 && std::strchr(" #'+-0", *at_); ++at_) {
            d.zero = d.zero || *at_ == '0';
            if (*at_ == '0' && d.has('-')) continue;
            if (*at_ == '0' && d.has('0')) break;
            if (*at_ == '-') dropZero(d);
            if (!d.has(*at_)) d.flags += *at_;
        }
        if (!number(d.width, isNumbered)) return false;
        if (*at_ == '.') {
            ++at_;
            dropZero(d);
            d.precision.given = true;
            if (!number(d.precision, isNumbered)) return false;
        }
        for (char const* length : {"h", "ll", "l", "L", "q"}) {
            if (std::strncmp(at_, length, std::strlen(length)) != 0) continue;
            at_ += std::strlen(d.length.assign(length).c_str());
            break;
        }
        d.conversion = *at_;
        if (d.conversion == 0 || !d.is("%cCsSdiouxXpeEfgG")) return false;
        ++at_;
        if (d.is("eEfgG") && (d.length == "h" || d.length == "l")) return false;
        if (d.is("%")) return true;
        d.value = static_cast<std::size_t>(isNumbered ? own : ++next_);
        numbered_ = numbered_ || isNumbered;
        return use(d.value, d.kind());
    }

    // A width or precision.
    bool number(Number& n, bool mayBeNumbered) {
        char const* const start = at_;
        if (*start == '*') {
            n.star = true;
            ++at_;
            n.value = digits();
            bool const isNumbered = at_ != start + 1;
            if (isNumbered && (!mayBeNumbered || n.value == 0 || *at_++ != '$')) return false;
            if (!isNumbered) n.value = ++next_;
            numbered_ = numbered_ || isNumbered;
            n.given = true;
            return use(static_cast<std::size_t>(n.value), anInt);
        }
        n.value = digits();
        n.given = n.given || at_ != start;
        return n.value <= INT_MAX;
    }

    long digits() {
        long value = 0;
        for (; *at_ >= '0' && *at_ <= '9'; ++at_)
            value = std::min(value * 10 + (*at_ - '0'), long{INT_MAX} + 1);
        return value;
    }

    bool use(std::size_t number, Kind kind) {
        if (number > 1000) return false;  // no format here uses all up to that
        if (number >= kinds.size()) kinds.resize(number + 1);
        if (kinds[number] != noKind && kinds[number] != kind) return false;
        kinds[number] = kind;
        return true;
    }

    static void dropZero(Directive& d) {
        d.flags.erase(std::remove(d.flags.begin(), d.flags.end(), '0'), d.flags.end());
    }

    char const* at_;
    long next_ = 0;
    bool numbered_ = false;
};

// All arguments in memory, as x86-64 passes those for which there is no register.
struct List {
    explicit List(void* arguments) {
        list->gp_offset = 48;
        list->fp_offset = 176;
        list->overflow_arg_area = arguments;
        list->reg_save_area = nullptr;
    }
    va_list list;
};

union Value {
    long long integer;
    unsigned short const* text;
    double real;
    long double longReal;
};

class Arguments {
public:
    Arguments(Format const& format, FuzzedDataProvider& data) : values(format.kinds.size()) {
        std::vector<bool> stars(values.size());
        for (Directive const& d : format.directives)
            for (Number const& n : {d.width, d.precision})
                if (n.star) stars[static_cast<std::size_t>(n.value)] = true;
        std::size_t bytes = 0;
        auto const put = [&](auto const& value, std::size_t alignment) {
            bytes = (bytes + alignment - 1) / alignment * alignment;
            area_.resize((bytes + alignment + 15) / 16);
            std::memcpy(reinterpret_cast<char*>(area_.data()) + bytes, &value, sizeof value);
            bytes += alignment;
        };
        for (std::size_t n = 1; n < values.size(); ++n) {
            Value& value = values[n];
            Kind const kind = format.kinds[n];
            auto const small = data.ConsumeIntegral<signed char>();
            if (kind == aPointer) {
                value.text = small == 0 ? nullptr : text(data);
                put(value.text, 8);
            } else if (kind == aDouble) {
                value.integer = data.ConsumeIntegral<long long>();
                if (small < 100) value.real = std::ldexp(double(value.integer), small - 62);
                put(value.real, 8);
            } else if (kind == aLongDouble) {
                auto const mantissa = static_cast<long double>(data.ConsumeIntegral<long long>());
                value.longReal = std::ldexp(mantissa, small < 100 ? small - 62 : 2 * small * small);
                if (small == 127)
                    value.longReal = mantissa < 0 ? -HUGE_VALL : HUGE_VALL - HUGE_VALL;
                put(value.longReal, 16);
            } else {
                value.integer = small;
                if (small < -60) value.integer = data.ConsumeIntegral<long long>();
                if (stars[n] && small > -120) value.integer %= 40;
                put(value.integer, 8);
            }
        }
    }
    List list() const { return List(const_cast<long double*>(area_.data())); }

    std::vector<Value> values;  // by number

private:
    // As bytes or as 16-bit units: both are terminated, and nothing lies behind.
    unsigned short const* text(FuzzedDataProvider& data) {
        std::string const bytes = data.ConsumeRandomLengthString(12);
        texts_.emplace_back(bytes.size() / 2 + 2);
        std::memcpy(texts_.back().data(), bytes.data(), bytes.size());
        return texts_.back().data();
    }

    std::vector<long double> area_;
    std::vector<std::vector<unsigned short>> texts_;
};

// The arguments as a call passes them to a function with an ellipsis: those for which there is a
// register, and one block with all others, which comes to lie where they would.
class Passed {
public:
    // `integers`: how many registers the named arguments leave.
    Passed(Format const& format, Arguments const& arguments, std::size_t integers) {
        std::size_t used = 0, reals = 0, bytes = 0;
        for (std::size_t n = 1; n < arguments.values.size(); ++n) {
            Value const& value = arguments.values[n];
            Kind const kind = format.kinds[n];
            if (kind == aDouble && reals < 8) {
                real[reals++] = value.real;
            } else if (kind != aDouble && kind != aLongDouble && used < integers) {
                integer[used++] = value.integer;
            } else {
                std::size_t const size = kind == aLongDouble ? 16 : 8;
                bytes = (bytes + size - 1) / size * size;
                fits = bytes + size <= sizeof block;
                if (!fits) return;
                std::memcpy(reinterpret_cast<char*>(&block) + bytes, &value, size);
                bytes += size;
            }
        }
    }
    int into(char* buf, int size, char const* format) const {
        return zsnprintf_5_1(buf, size, format, integer[0], integer[1], integer[2], real[0],
                             real[1], real[2], real[3], real[4], real[5], real[6], real[7], block);
    }
    int into(char** out, char const* format) const {
        return zasprintf_5_1(out, format, integer[0], integer[1], integer[2], integer[3], real[0],
                             real[1], real[2], real[3], real[4], real[5], real[6], real[7], block);
    }
    bool fits = true;

private:
    long long integer[4] = {};
    double real[8] = {};
    struct {
        long double values[32] = {};
    } block;
};

std::string printed(char const* format, ...) {
    static char buf[16384];
    va_list args;
    va_start(args, format);
    int const length = std::vsnprintf(buf, sizeof buf, format, args);
    va_end(args);
    FUZZ_CHECK(length >= 0 && length < static_cast<int>(sizeof buf));
    return {buf, static_cast<std::size_t>(length)};
}

// What a format should give.
class Expected {
public:
    Expected(Format const& format, Arguments const& arguments) : values_(arguments.values) {
        common = !format.mixed();
        for (Directive const& d : format.directives) {
            text += d.literal;
            if (!render(d)) return;
        }
        text += format.tail;
    }
    bool failed = false;  // a character has no form
    bool huge = false;    // not to be made here, but so long:
    long least = 0;
    bool common;  // the C library prints the same
    std::string text;

    // What is in a buffer of so many bytes: wide characters are not cut, zeros stand instead.
    std::string cut(std::size_t size) const {
        if (size > text.size()) return text + '\0';
        std::string buf = text.substr(0, size - 1);
        for (auto const& [from, to] : wide_)
            if (from < buf.size() && to > buf.size())
                std::fill(buf.begin() + static_cast<long>(from), buf.end(), '\0');
        return buf + '\0';
    }

private:
    long resolved(Number const& n) const {
        if (!n.star) return n.value;
        return static_cast<int>(values_[static_cast<std::size_t>(n.value)].integer);
    }

    bool render(Directive const& d) {
        width_ = resolved(d.width);
        left_ = d.has('-') || width_ < 0;
        width_ = std::abs(width_);
        precision_ = d.precision.given ? std::max(resolved(d.precision), -1L) : -1;
        huge = width_ > most || (precision_ > most && !d.is("%cCsS"));
        least = width_;
        if (huge) return false;
        value_ = values_[d.value];
        common = common && isCommon(d);
        if (d.is("c%")) {
            field(std::string(1, d.is("%") ? '%' : static_cast<char>(value_.integer)));
        } else if (d.is("s")) {
            auto const* const chars = reinterpret_cast<char const*>(value_.text);
            field(std::string(chars ? chars : "").substr(0, static_cast<std::size_t>(precision_)));
        } else if (d.is("CS")) {
            unsigned short const one[] = {static_cast<unsigned short>(value_.integer), 0};
            return wide(d.is("S") ? value_.text : one, d.is("C"));
        } else if (d.is("p") || (d.is("xX") && d.has('#'))) {
            prefixed(d);
        } else {
            text += number(d);
        }
        return true;
    }

    // What the C library takes for the same; it need not be all of that.
    bool isCommon(Directive const& d) const {
        if (d.is("%CSp") || d.zero || (d.is("s") && value_.text == nullptr)) return false;
        if (d.flags.find_first_not_of(d.is("cs") ? "-" : "+- ") != std::string::npos) return false;
        return d.length.empty() || (d.is("diouxX") && d.length != "L" && d.length != "q");
    }

    // The place where the content begins.
    std::size_t field(std::string const& content) {
        std::size_t const width = static_cast<std::size_t>(width_);
        std::string const blanks(width - std::min(content.size(), width), ' ');
        std::size_t const start = text.size() + (left_ ? 0 : blanks.size());
        text += left_ ? content + blanks : blanks + content;
        return start;
    }

    bool wide(unsigned short const* units, bool one) {
        std::size_t const most = one ? SIZE_MAX : static_cast<std::size_t>(precision_);
        std::vector<std::size_t> ends{0};
        std::string content;
        for (; units != nullptr && (one || *units != 0) && content.size() < most; ++units) {
            auto const bytes = fuzz::localCodeset().formOf(*units);
            failed = !bytes;
            if (failed) return false;
            if (bytes->size() > most - content.size()) break;
            content += *bytes;
            ends.push_back(content.size());
            if (one) break;
        }
        std::size_t const start = field(content);
        for (std::size_t i = 1; i < ends.size(); ++i)
            wide_.emplace_back(start + ends[i - 1], start + ends[i]);
        return true;
    }

    unsigned long long magnitude(Directive const& d) const {
        if (d.is("p")) return reinterpret_cast<std::uintptr_t>(value_.text);
        if (d.length == "h") return static_cast<unsigned short>(value_.integer);
        if (d.length.empty()) return static_cast<unsigned>(value_.integer);
        return static_cast<unsigned long long>(value_.integer);
    }

    // 0x stands before a zero too, but is not counted there; a pointer is padded with zeros.
    void prefixed(Directive const& d) {
        unsigned long long const value = magnitude(d);
        int const least = static_cast<int>(precision_ >= 0 ? precision_ : d.is("p") ? 0 : 1);
        std::string const digits = printed(d.is("X") ? "%.*llX" : "%.*llx", least, value);
        std::string const prefix = d.is("X") ? "0X" : "0x";
        std::size_t const counted = digits.size() + (value != 0 ? 2 : 0),
                          w = static_cast<std::size_t>(width_);
        std::size_t const padding = w > counted ? w - counted : 0;
        bool const zeros = !left_ && (d.has('0') || d.is("p"));
        text += std::string(left_ || zeros ? 0 : padding, ' ') + prefix +
                std::string(zeros ? padding : 0, '0') + digits +
                std::string(left_ ? padding : 0, ' ');
    }

    // As the C library, but: octal and hexadecimal digits are not grouped, and an octal zero of no
    // digits stays so. A negative width is resolved here, because the C library pads some values
    // with zeros on the right then.
    std::string number(Directive const& d) {
        std::string format = left_ ? "%-" : "%";
        for (char const flag : d.flags) {
            if (flag == '-' || (flag == '0' && left_) || (flag == '\'' && d.is("oxX"))) continue;
            if (flag == '#' && d.is("o") && magnitude(d) == 0) continue;
            format += flag;
        }
        if (width_ != 0) format += std::to_string(width_);
        if (precision_ >= 0) format += '.' + std::to_string(precision_);
        if (d.kind() == aDouble) return printed((format + d.conversion).c_str(), value_.real);
        if (d.kind() == aLongDouble)
            return printed((format + 'L' + d.conversion).c_str(), value_.longReal);
        format = format + "ll" + d.conversion;
        if (!d.is("di")) return printed(format.c_str(), magnitude(d));
        long long const value = d.length == "h"    ? static_cast<short>(value_.integer)
                                : d.length.empty() ? static_cast<int>(value_.integer)
                                                   : value_.integer;
        return printed(format.c_str(), value);
    }

    static constexpr long most = 600;  // of widths and precisions that are made here
    std::vector<Value> const& values_;
    Value value_{};
    long width_ = 0, precision_ = 0;
    bool left_ = false;
    std::vector<std::pair<std::size_t, std::size_t>> wide_;  // where wide characters stand
};

constexpr char filler = '~';

// The functions with an ellipsis against those with a list, of which the text is known.
void checkPassed(Format const& parsed, char const* format, Arguments const& arguments,
                 std::string const* text) {
    Passed const few(parsed, arguments, 3), more(parsed, arguments, 4);
    if (!few.fits) return;
    int const length = text ? static_cast<int>(text->size()) : -1;
    std::string buf(text ? text->size() + 2 : 2, filler);
    FUZZ_CHECK(few.into(buf.data(), static_cast<int>(buf.size()) - 1, format) == length);
    FUZZ_CHECK(buf.back() == filler && (!text || buf == *text + '\0' + filler));
    char* block = buf.data();
    FUZZ_CHECK(more.into(&block, format) == length);
    FUZZ_CHECK((block != nullptr) == (text != nullptr));
    FUZZ_CHECK(!text || View(block, text->size() + 1) == *text + '\0');
    zasprintf_free_5_1(block);
}

void checkFailure(char const* format, Arguments const& arguments, bool untouched) {
    char buf[16];
    std::memset(buf, filler, sizeof buf);
    FUZZ_CHECK(zvsnprintf_5_1(buf, 8, format, arguments.list().list) == -1);
    for (char const* p = buf + (untouched ? 0 : 8); p != std::end(buf); ++p)
        FUZZ_CHECK(*p == filler);
    char* block = buf;
    FUZZ_CHECK(zvasprintf_5_1(&block, format, arguments.list().list) == -1 && block == nullptr);
}

// What is too long to be made here is at least the same whenever it is cut.
void checkHuge(char const* format, Arguments const& arguments, long least) {
    char large[64], small[32];
    int const length = zvsnprintf_5_1(nullptr, 0, format, arguments.list().list);
    FUZZ_CHECK(zvsnprintf_5_1(large, 64, format, arguments.list().list) == length);
    FUZZ_CHECK(zvsnprintf_5_1(small, 32, format, arguments.list().list) == length);
    if (length < 0 || std::strpbrk(format, "CS") != nullptr) return;
    FUZZ_CHECK(length >= least);
    std::size_t const common = static_cast<std::size_t>(std::min(length, 31));
    FUZZ_CHECK(std::memcmp(large, small, common) == 0);
    FUZZ_CHECK(small[common] == 0 && large[std::min(length, 63)] == 0);
}

void checkText(char const* format, Arguments const& arguments, Expected const& expected,
               bool everySize) {
    std::string const& text = expected.text;
    int const length = static_cast<int>(text.size());
    char* block = nullptr;
    FUZZ_CHECK(zvasprintf_5_1(&block, format, arguments.list().list) == length);
    FUZZ_CHECK(std::memcmp(block, text.c_str(), text.size() + 1) == 0);
    zasprintf_free_5_1(block);

    zvsnprintf_context_5_1 context;
    void* const codeset = zgetLCSHandle_5_1();
    FUZZ_CHECK(zvsnprintf_parse_5_1(&context, codeset, format, arguments.list().list) == 0);
    std::string buf;
    int const step = everySize ? 1 : 1 + length / 4;
    for (int size = -1; size <= length + 2; size += size < length - 1 ? step : 1) {
        buf.assign(text.size() + 4, filler);
        FUZZ_CHECK(zvsnprintf_render_5_1(&context, buf.data(), size) == length);
        std::string const written = size < 1 ? "" : expected.cut(static_cast<std::size_t>(size));
        FUZZ_CHECK(buf.compare(0, written.size(), written) == 0);
        FUZZ_CHECK(buf.find_first_not_of(filler, written.size()) == std::string::npos);
    }
    zvsnprintf_done_5_1(&context);

    if (!expected.common) return;
    buf.assign(text.size() + 1, filler);
    FUZZ_CHECK(std::vsnprintf(buf.data(), buf.size(), format, arguments.list().list) == length);
    FUZZ_CHECK(buf == text + '\0');
}

// ---- formats ----

// Directives that are right, but for numbered ones that leave an argument out or take it for two.
class Generator {
public:
    explicit Generator(FuzzedDataProvider& data) : data_(data), numbered_(below(4) == 3) {
        for (unsigned directives = 1 + below(4); directives > 0; --directives) directive();
    }
    std::string text;

private:
    unsigned below(unsigned limit) { return data_.ConsumeIntegral<unsigned char>() % limit; }

    void directive() {
        static char const* const literals[] = {"", "", "|", "text ", "%%"};
        static char const* const lengths[] = {"", "", "h", "l", "ll", "L", "q"};
        static constexpr View conversions = "ddiouxXpcCsSeEfgG%";
        text += literals[below(5)];
        char const conversion = conversions[below(conversions.size())];
        bool const isReal = View("eEfgG").find(conversion) != View::npos;
        text += '%' + reference();
        unsigned const flags = below(256) & below(256);
        for (unsigned i = 0; i < 6; ++i)
            if ((flags >> i & 1) != 0) text += " #'+-0"[i];
        if (below(2) != 0) number();
        if (below(2) != 0) {
            text += '.';
            number();
        }
        text += isReal ? lengths[below(7) & 5] : lengths[below(7)];
        text += conversion;
    }
    void number() {
        unsigned const number = below(64);
        text += number < 48 ? std::to_string(number % 24) : number < 60 ? '*' + reference() : "";
    }
    // The next argument, two of which may change their places, or seldom an earlier one.
    std::string reference() {
        if (!numbered_) return "";
        unsigned const way = below(16);
        if (way == 0 && last_ != 0) return std::to_string(1 + below(last_)) + '$';
        ++last_;
        return std::to_string(swapped_ ? 1 + ((last_ - 1) ^ 1) : last_) + '$';
    }

    FuzzedDataProvider& data_;
    bool numbered_;
    bool swapped_ = data_.ConsumeBool();
    unsigned last_ = 0;
};

// The bytes themselves, or letters of directives instead of them, or what is made of their values.
std::string formatOf(FuzzedDataProvider& data) {
    static constexpr char letters[] =
        "%%%%%%1234567890$$$***.. #'+--0hlLqcCsSdiouxXpeEfgG%%aFnz\xC3\xA4|";
    unsigned const way = data.ConsumeIntegral<unsigned char>() % 4;
    if (way >= 2) return Generator(data).text;
    std::string text = data.ConsumeRandomLengthString(96);
    for (char& c : text)
        if (way == 1) c = letters[static_cast<unsigned char>(c) % (sizeof letters - 1)];
    return fuzz::upToNul(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* bytes, std::size_t size) {
    FuzzedDataProvider data(bytes, size);
    std::string const text = formatOf(data);
    Format const format(text);
    Arguments const arguments(format, data);
    if (!format.right) {
        checkFailure(text.c_str(), arguments, true);
        return 0;
    }
    Expected const expected(format, arguments);
    if (expected.huge) {
        checkHuge(text.c_str(), arguments, expected.least);
    } else if (expected.failed) {
        checkFailure(text.c_str(), arguments, false);
        checkPassed(format, text.c_str(), arguments, nullptr);
    } else {
        checkPassed(format, text.c_str(), arguments, &expected.text);
        checkText(text.c_str(), arguments, expected, data.ConsumeIntegral<unsigned char>() > 240);
    }
    return 0;
}
