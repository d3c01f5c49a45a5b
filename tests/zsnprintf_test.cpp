// zsnprintf_test: formats and their texts, and a comparison with the C library's snprintf.
// Subsystem: strings, layer 2. Test: tests/zsnprintf_test.cpp
#include <Z/zasprintf.h>
#include <Z/zsnprintf.h>
#include <Z/ztisutil.h>

#include <algorithm>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <limits>
#include <random>
#include <sstream>

#include "ZTest.h"

namespace {
int allocationsLeft = -1;  // until one fails; below 0: any number
}  // namespace

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define Z_MEMORY_CAN_FAIL 1
namespace {
bool isOut() {
    return allocationsLeft >= 0 && allocationsLeft-- == 0;
}
}  // namespace
#define Z_FAILING(call, parameters, arguments) \
    extern "C" void* __libc_##call parameters; \
    extern "C" void* call parameters { \
        return isOut() ? nullptr : __libc_##call arguments; \
    }
Z_FAILING(malloc, (std::size_t size), (size))
Z_FAILING(calloc, (std::size_t count, std::size_t size), (count, size))
Z_FAILING(realloc, (void* p, std::size_t size), (p, size))
#endif

namespace {

constexpr char filler = '~';

// The text, or what is wrong; "-1" for a failure.
template <class... Args>
std::string allocated(char const* format, Args... args) {
    char* block = const_cast<char*>(format);
    int const length = zasprintf_5_1(&block, format, args...);
    allocationsLeft = -1;
    if (length < 0) return block == nullptr ? "-1" : "block left";
    std::string const text(block, static_cast<std::size_t>(length) + 1);
    zasprintf_free_5_1(block);
    return text.back() == '\0' ? text.substr(0, text.size() - 1) : "no terminator";
}

// What a buffer of `room` bytes holds when the text has been put into `size` of them.
std::string inBuffer(std::string const& text, int size, std::size_t room) {
    std::string buf = size < 1 ? "" : text.substr(0, static_cast<std::size_t>(size - 1)) + '\0';
    buf.resize(room, filler);
    return buf;
}

// The same, put into buffers of all sizes too.
template <class... Args>
std::string z(char const* format, Args... args) {
    std::string const text = allocated(format, args...);
    int const length = text == "-1" ? -1 : static_cast<int>(text.size());
    for (int size = -1; size <= static_cast<int>(text.size()) + 2; ++size) {
        std::string buf(text.size() + 3, filler);
        if (zsnprintf_5_1(buf.data(), size, format, args...) != length) return "another length";
        if (buf != inBuffer(length < 0 ? "" : text, length < 0 ? 0 : size, buf.size())) {
            return "wrong at size " + std::to_string(size) + ": " + buf;
        }
    }
    return text;
}

template <class... Args>
std::string c(char const* format, Args... args) {
    char buf[200];
    return std::snprintf(buf, sizeof buf, format, args...) < 0 ? "-1" : buf;
}

// The environment's locale, which the first call adopts, but for its decimal point.
void plainNumbers() {
    zgetLCSHandle_5_1();
    setlocale(LC_NUMERIC, "C");
}

struct Row {
    int line;
    std::string text, expected;
};

void expectAll(std::vector<Row> const& rows) {
    for (Row const& row : rows) EXPECT_EQ(row.text, row.expected) << "line " << row.line;
}

#define ROW(expected, ...) \
    { __LINE__, z(__VA_ARGS__), expected }

TEST(zsnprintf, MakesTexts) {
    plainNumbers();
    char const* const noText = nullptr;
    void* const pointer = reinterpret_cast<void*>(0xAB);
    expectAll({ROW("", ""), ROW("abcdef", "abcdef"), ROW("7%", "%d%%", 7),
               ROW("    %|%", "%5%|%1$%"), ROW("42   ", "%-05d", 42), ROW("  042", "%05.3d", 42),
               ROW("00042", "%05d", 42), ROW("", "%s", noText), ROW("  |", "%2s|", noText),
               ROW("", "%S", noText), ROW("0xff", "%#x", 255), ROW("0x0", "%#x", 0),
               ROW("    0x0", "%#5x", 0), ROW("0x0    |", "%-#5x|", 0), ROW("0x00000", "%#05x", 0),
               ROW("0x", "%#.0x", 0), ROW("0X00FF", "%#06X", 255), ROW("010", "%#o", 8),
               ROW("00010", "%#.5o", 8),
               // A number that begins with 0 may be that of the value; a second 0 begins the width.
               ROW("7", "%01$d", 7), ROW("00007", "%005d", 7), ROW("7    |", "%-0005d|", 7),
               // A point without digits; negative widths and precisions.
               ROW("", "%.d", 0), ROW("    7", "%05.d", 7), ROW("7    |", "%*d|", -5, 7),
               ROW("7    |", "%0*d|", -5, 7), ROW("    7", "%0*.*d", 5, -3, 7),
               ROW("abc", "%.*s", -1, "abc"), ROW("1.500000e+00", "%.*e", INT_MIN, 1.5),
               // Numbered arguments: shared, mixed with others, and those of widths.
               ROW("b a", "%2$s %1$s", "a", "b"), ROW("7 7 07", "%1$d %1$u %1$.2x", 7),
               ROW("1 2 1", "%d %d %1$d", 1, 2), ROW("   7", "%2$*1$d", 4, 7),
               ROW("  a", "%3$*1$.*2$s", 3, 1, "abc"), ROW("  7 3", "%2$*d %1$d", 3, 7),
               // Narrow conversions, and lengths that mean nothing.
               ROW("-1 65535 A", "%hd %hu %c", 0x1FFFF, -1, 0x141),
               ROW("a b%", "%ls %hc%ll%", "a", 'b'), ROW("1 2 3", "%Ld %qu %lli", 1LL, 2ULL, 3LL),
               // Pointers are padded with zeros; null has no digits.
               ROW("0xab", "%p", pointer), ROW("0x0000ab", "%8p", pointer),
               ROW("0xab    |", "%-8p|", pointer), ROW("0x00000", "%5p", noText),
               ROW("   inf", "%06f", HUGE_VAL), ROW("-01.5", "%05g", -1.5)});
}

TEST(zsnprintf, RefusesFormats) {
    std::istringstream formats(
        "% %5 %. %l %h a% %hf %lf %he %lg %n %a %F %z %jd %hhd %lhd %hld %llld %Lld %lqd %\xFF "
        "%5*d %.5*d %*5d %.*5d %*1$d %1$*5d %00-5d %5-d %.-1d %$d %*$d %0$d %1$*0$d %2$d "
        "%3$s|%1$s %1$d%1$s %1$d%1$ld %1$f%1$Lf %1$*1$s %999999999$d %2147483647$d "
        "%2147483648$d %2147483648d %.99999999999999999999d");
    for (std::string format; formats >> format;)
        EXPECT_EQ(z(format.c_str(), 1, 2, 3), "-1") << format;
    EXPECT_EQ(zsnprintf_5_1(nullptr, 0, nullptr), -1);
    EXPECT_EQ(zasprintf_5_1(nullptr, "a"), -1);
    EXPECT_EQ(zsnprintf_5_1(nullptr, 5, "%d", 42), 2);
}

// Padding costs nothing where there is no room for it; more than an int can count fails.
TEST(zsnprintf, TakesHugeNumbers) {
    plainNumbers();
    char buf[8];
#define CUT(format, ...) std::to_string(zsnprintf_5_1(buf, 8, format, __VA_ARGS__)) + buf
    expectAll({{__LINE__, CUT("%2000000000d", 1), "2000000000       "},
               {__LINE__, CUT("%-.2000000000d", -1), "2000000001-000000"},
               {__LINE__, CUT("%.2000000000f", 1.5), "20000000021.50000"},
               {__LINE__, CUT("%#.2000000000Lg", 1.5L), "20000000011.50000"},
               {__LINE__, CUT("%2147483647s", ""), "2147483647       "}});
    for (char const* format : {"%2147483647s%d", "a%2147483647s", "%2147483647s%2147483647d"}) {
        EXPECT_EQ(zsnprintf_5_1(buf, 8, format, "", 1), -1) << format;
    }
    EXPECT_EQ(zsnprintf_5_1(buf, 8, "%*d", INT_MIN, 1), -1);
    EXPECT_EQ(zsnprintf_5_1(buf, 8, "%.2147483647d", -1), -1);
    std::vector<char> made(20010), wanted(20010);
    long double const least = std::numeric_limits<long double>::denorm_min();
    std::snprintf(wanted.data(), 20010, "%.20000Le", least);
    EXPECT_EQ(zsnprintf_5_1(made.data(), 20010, "%.20000Le", least), 20008);
    EXPECT_EQ(made, wanted);
}

// ---- wide characters ----

// As the C library writes it in the locale; "-1" when it has no form there.
std::string local(std::wstring const& text) {
    std::string bytes;
    for (wchar_t wc : text) {
        char character[MB_LEN_MAX];
        std::mbstate_t state{};
        std::size_t const size = std::wcrtomb(character, wc, &state);
        if (size == static_cast<std::size_t>(-1)) return "-1";
        bytes.append(character, size);
    }
    return bytes;
}

#define WIDE(expected, ...) \
    { __LINE__, allocated(__VA_ARGS__), expected }

TEST(zsnprintf, ConvertsWideCharacters) {
    plainNumbers();
    unsigned short const wide[] = {'a', 0xE4, 'b', 0}, lone[] = {'a', 0xD800, 0};
    std::string const one = local(L"\xE4"), text = 'a' + one + 'b', far = local(L"\x65E5");
    int const size = static_cast<int>(one.size()) + 1;
    expectAll({WIDE(text, "%S", wide), WIDE('a' + one, "%.*S", size, wide),
               WIDE("a", "%.*S", size - 1, wide), WIDE("|a", "%.0S|%.1S", wide, wide),
               WIDE("  " + text + "|" + text + " |", "%*S|%-*S|", size + 3, wide, size + 2, wide),
               WIDE(" " + one + "|" + one + " |", "%*C|%-*C|", size, 0xE4, size, 0x100E4),
               WIDE(far, "%C", 0x65E5), WIDE("-1", "%S", lone), WIDE("-1", "%C", 0xDFFF),
               WIDE("a", "%.1S%.0S", lone, lone)});
    // Never cut inside a character: zeros up to the terminator instead, also before more text.
    std::string const cut =
        inBuffer('a' + std::string(static_cast<std::size_t>(size - 2), '\0'), size, 9);
    std::string buf(9, filler), leading = buf, failed = buf;
    EXPECT_EQ(zsnprintf_5_1(buf.data(), size, "%Sc", wide), size + 2);
    EXPECT_EQ(zsnprintf_5_1(leading.data(), size, "a%C", 0xE4), size);
    EXPECT_EQ(buf, cut);
    EXPECT_EQ(leading, cut);
    // A failure leaves what has been written, unterminated.
    EXPECT_EQ(zsnprintf_5_1(failed.data(), 9, "%d-%C-", 12, 0xD800), -1);
    EXPECT_EQ(failed, "12-~~~~~~");
}

// ---- the three steps ----

int parse(zvsnprintf_context_5_1& context, char const* format, ...) {
    std::memset(&context, 0xA5, sizeof context);
    va_list args;
    va_start(args, format);
    int const result = zvsnprintf_parse_5_1(&context, zgetLCSHandle_5_1(), format, args);
    va_end(args);
    return result;
}

TEST(zsnprintf, ParsesIntoRecords) {
    plainNumbers();
    zvsnprintf_context_5_1 context;
    zvsnprintf_directive_5_1 const* const& d = context.directives;
    char const* const format = "a%2$-+5.3hdb%1$*3$Lg%%";
    ASSERT_EQ(parse(context, format, 1.5L, 7, 9), 0);
    EXPECT_TRUE(d[0].start == format + 1 && d[0].next == format + 11 && d[2].next == context.end);
    std::string shown;
    for (int i = 0; i < context.directive_count; ++i) {
        shown +=
            c("%d %x %d %d %d, ", d[i].type, d[i].flags, d[i].value, d[i].width, d[i].precision);
    }
    EXPECT_EQ(shown, "4 24a5 2 5 3, 18 8301 1 3 0, 19 100000 0 0 0, ");
    char buf[40];
    for (int size : {0, 3, 40}) EXPECT_EQ(zvsnprintf_render_5_1(&context, buf, size), 17);
    EXPECT_STREQ(buf, "a+007 b      1.5%");
    zvsnprintf_done_5_1(&context);
    // More than ten records and slots; ending twice, or after a parse that failed late.
    ASSERT_EQ(parse(context, "%d%d%d%d%d%d%d%d%d%d%d%1$d%2$d%3$d%1$d%2$d%3$d%1$d%2$d%3$d%4$d", 1, 2,
                    3, 4, 5, 6, 7, 8, 9, 10, 11),
              0);
    EXPECT_TRUE(context.directive_room == 30 && d != context.own_directives);
    EXPECT_EQ(zvsnprintf_render_5_1(&context, buf, 40), 23);
    EXPECT_STREQ(buf, "12345678910111231231234");
    for (int i = 0; i < 2; ++i) zvsnprintf_done_5_1(&context);
    EXPECT_EQ(parse(context, "%d%d%d%d%d%d%d%d%d%d%d%hf"), -1);
    EXPECT_EQ(d, context.own_directives);
}

#ifdef Z_MEMORY_CAN_FAIL
TEST(zsnprintf, SurvivesLackOfMemory) {
    std::string const wide = "%1$d%2$d%3$d%4$d%5$d%6$d%7$d%8$d%9$d%10$Le",
                      format = wide + wide + wide;
    for (int i = 0; i <= 4; ++i) {  // records twice, slots, the block
        allocationsLeft = i;
        std::string const text = allocated(format.c_str(), 1, 2, 3, 4, 5, 6, 7, 8, 9, 1.0L);
        EXPECT_EQ(text == "-1", i < 4) << i;
    }
    allocationsLeft = 0;
    EXPECT_EQ(zsnprintf_5_1(nullptr, 0, "%.600Lf", 1.0L), -1);
    allocationsLeft = -1;
}
#endif

// ---- against the C library ----

// What decides whether both make the same of a generated directive.
struct Sample {
    std::string flags;
    char conversion;
    bool precision, negative;  // a precision is given; it or the width is a negative argument
    bool zero;                 // so may be the value, once it is cut to its length
    bool has(char flag) const { return flags.find(flag) != std::string::npos; }
    bool is(char const* conversions) const {
        return std::strchr(conversions, conversion) != nullptr;
    }
};

// The deliberate differences, with an example of each. Where `applies` is null, no format is
// generated that comes near it.
struct Difference {
    char const* what;
    bool (*applies)(Sample const&);
    std::string z, zText, c, cText;
};

#define BOTH(zText, cText, ...) z(__VA_ARGS__), zText, c(__VA_ARGS__), cText

char const* volatile null = nullptr;  // not seen by the compiler, which warns

std::vector<Difference> differences() {
    void* const pointer = reinterpret_cast<void*>(0xAB);
    return {
        {"any precision turns the flag 0 off, for floating values too",
         [](Sample const& s) { return s.has('0') && s.precision && s.is("eEfgG"); },
         BOTH("  2.5", "002.5", "%05.1f", 2.5)},
        // And the C library pads some floating values of a negative width with zeros on the right.
        {"also a negative one", [](Sample const& s) { return s.has('0') && s.negative; },
         BOTH("    7", "00007", "%05.*d", -1, 7)},
        {"a second 0 begins the width",
         [](Sample const& s) { return s.flags.find('0') != s.flags.rfind('0'); },
         BOTH("-1", "7    ", "%00-5d", 7)},
        {"a zero has its 0x, outside of the width",
         [](Sample const& s) { return s.has('#') && s.is("xX") && s.zero; },
         BOTH("    0x0", "    0", "%#5x", 0)},
        {"an octal zero of no digits stays so",
         [](Sample const& s) { return s.has('#') && s.is("o") && s.zero && s.precision; },
         BOTH("", "0", "%#.0o", 0)},
        // Grouped by the C library in some locales: no example.
        {"", [](Sample const& s) { return s.has('\'') && s.is("oxX"); }, "", "", "", ""},
        {"pointers are padded with zeros", nullptr, BOTH("0x00ab", "  0xab", "%6p", pointer)},
        {"null has no digits", nullptr, BOTH("0x", "(nil)", "%p", null)},
        {"a null string is empty", nullptr, BOTH("", "(null)", "%s", null)},
        {"a percent sign has a width", nullptr, BOTH("  %", "%", "%3%")},
        {"a double has no length", nullptr, BOTH("-1", "2.5", "%.1lf", 2.5)},
        {"there is no hh, j, z, t", nullptr, BOTH("-1", "7", "%hhd", 7)},
        {"there is no a, A, F", nullptr, BOTH("-1", "2.500000", "%F", 2.5)},
        {"every argument is used", nullptr, BOTH("-1", "7", "%2$d", 1, 7)},
    };
}

struct Random : std::mt19937 {
    explicit Random(unsigned seed) : std::mt19937(seed) {}
    int below(std::size_t limit) { return static_cast<int>((*this)() % limit); }
    bool once(std::size_t in) { return below(in) == 0; }
    template <class T>
    T pick(std::initializer_list<T> list) {
        return list.begin()[below(list.size())];
    }
    template <class Int>
    Int integer() {
        std::uint64_t const bits = std::uint64_t{(*this)()} << 32 | (*this)();
        return static_cast<Int>(static_cast<std::int64_t>(bits) >> below(64));
    }
};

// An argument as the generator sees it.
struct Value {
    std::string conversions;
    std::vector<char const*> lengths;
    bool isInt = false;
    long long number = 1;
};

// What there is for each type of arguments.
struct Kinds {
    static Value of(int value) { return {"diouxXc", {"", "h"}, true, value}; }
    static Value of(long value) { return {"diouxX", {"l"}, false, value}; }
    // The C library takes L and q before an integer for ll in some formats only.
    static Value of(long long value) { return {"diouxX", {"ll"}, false, value}; }
    static Value of(char const*) { return {"s", {""}}; }
    static Value of(double) { return {"eEfgG", {""}}; }
    static Value of(long double) { return {"eEfgG", {"L"}}; }

    static void make(Random& r, int& v) { v = r.once(2) ? r.below(101) - 50 : r.integer<int>(); }
    static void make(Random& r, long& v) { v = r.integer<long>(); }
    static void make(Random& r, long long& v) { v = r.integer<long long>(); }
    static void make(Random& r, char const*& v) {
        static std::string const longText(700, 'x');
        v = r.pick({"", "a", "text", "%d", "a text of several words", longText.c_str()});
    }
    template <class Real>
    static void make(Random& r, Real& v) {
        using Limits = std::numeric_limits<Real>;
        int const range = r.once(100) ? Limits::max_exponent10 - 12 : 12;
        Real const power = std::pow(
            Real(10), static_cast<Real>(r.below(2U * static_cast<unsigned>(range)) - range));
        v = r.pick({Real(0), -Real(0), Limits::infinity(), -Limits::quiet_NaN(), Limits::max(),
                    Limits::denorm_min(), Real(0.5), Real(9.9999999)});
        if (!r.once(40)) v = static_cast<Real>(r.integer<int>()) * power;
    }
};

// Writes a format for the values, which consumes each of them: in their order, or numbered in any.
class Generator {
public:
    Generator(Random& random, std::vector<Value> const& values) : r_(random), values_(values) {
        for (std::size_t i = 0; i < values.size(); ++i) order_.push_back(i);
        if (!numbered_) return;
        std::shuffle(order_.begin(), order_.end(), r_);
        if (r_.once(2)) order_.push_back(order_[0]);
    }
    std::string format() {
        std::string text;
        while (next_ < order_.size()) text += literal() + directive();
        return text + literal();
    }

private:
    std::string literal() {
        return r_.pick<char const*>({"", "", " ", "-", "%%", "some literal text, "});
    }
    std::string directive() {
        for (std::size_t const start = next_;; next_ = start) {
            Sample sample{};
            for (int i = r_.below(4); i > 0; --i) sample.flags += " #'+-0"[r_.below(6)];
            std::string text = sample.flags + number(1, 30, sample.negative);
            sample.precision = r_.once(2);
            if (sample.precision)
                text += '.' + number(0, r_.once(500) ? 1500 : 25, sample.negative);
            Value const& value = values_[order_[next_]];
            sample.conversion = value.conversions[r_() % value.conversions.size()];
            sample.zero = static_cast<short>(value.number) == 0;
            if (differs(sample)) continue;
            text += value.lengths[r_() % value.lengths.size()];
            return '%' + reference() + text + sample.conversion;
        }
    }
    // A width or precision: none, digits, or the next argument when it is fit for that.
    std::string number(int least, std::size_t limit, bool& negative) {
        if (r_.once(3)) return "";
        Value const& value = values_[order_[next_]];
        bool const fits = value.isInt && std::abs(value.number) <= 50 && next_ + 1 < order_.size();
        if (!fits || r_.once(2)) return std::to_string(least + r_.below(limit));
        negative = negative || value.number < 0;
        return '*' + reference();
    }
    // To the next argument, which is consumed.
    std::string reference() {
        std::size_t const index = order_[next_++];
        return numbered_ ? std::to_string(index + 1) + '$' : "";
    }
    static bool differs(Sample const& sample) {
        static std::vector<Difference> const all = differences();
        return std::any_of(all.begin(), all.end(),
                           [&](Difference const& d) { return d.applies && d.applies(sample); });
    }

    Random& r_;
    std::vector<Value> const& values_;
    std::vector<std::size_t> order_;  // what is consumed, from next_ on
    std::size_t next_ = 0;
    bool numbered_ = r_.once(3);
};

// So many cases with arguments of these types.
template <class... Args>
void compare(Random& random, int cases) {
    static char full[1 << 17], buf[1 << 17];
    auto const one = [&](Args... args) {
        (Kinds::make(random, args), ...);
        std::vector<Value> const values{Kinds::of(args)...};
        std::string const format = Generator(random, values).format();
        int const length = std::snprintf(full, sizeof full, format.c_str(), args...);
        ASSERT_TRUE(length >= 0 && length < static_cast<int>(sizeof full) - 20) << format;
        std::string const text(full, static_cast<std::size_t>(length));
        int const size = random.below(text.size() + 20) - 1;
        std::memset(buf, filler, text.size() + 20);
        ASSERT_EQ(zsnprintf_5_1(buf, size, format.c_str(), args...), length) << format << "\n"
                                                                             << full << "\n"
                                                                             << buf;
        ASSERT_EQ(std::string(buf, text.size() + 20), inBuffer(text, size, text.size() + 20))
            << format;
    };
    for (int i = 0; i < cases && !testing::Test::HasFatalFailure(); ++i) one(Args()...);
}

TEST(zsnprintf, DiffersFromTheCLibraryOnPurposeOnly) {
    plainNumbers();
    for (Difference const& d : differences()) {
        EXPECT_EQ(d.z, d.zText) << d.what;
        EXPECT_EQ(d.c, d.cText) << d.what;
    }
}

TEST(zsnprintf, AgreesWithTheCLibrary) {
    zgetLCSHandle_5_1();
    setlocale(LC_ALL, "");
    Random random(20240607);
#ifdef Z_MEMORY_CAN_FAIL
    int const cases = 170000;
#else
    int const cases = 20000;  // under the sanitizers
#endif
    compare<int>(random, cases);
    compare<int, int, int>(random, cases);
    compare<char const*, int, char const*>(random, cases);
    compare<int, long, long long, int>(random, cases);
    compare<long long, int, int, long, char const*>(random, cases);
    compare<double, int, int, double>(random, cases / 2);
    compare<int, long double, char const*, double>(random, cases / 2);
    compare<int, int, int, int, long, int, int, char const*, int, long long, int, int, double>(
        random, cases / 6);
}

}  // namespace
