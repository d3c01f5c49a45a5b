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
#include <iterator>
#include <limits>
#include <numeric>
#include <random>
#include <sstream>

#include "FailingAllocations.h"
#include "ZTest.h"

namespace {

using ztest::allocationsLeft;
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
        if (buf != inBuffer(text, length < 0 ? 0 : size, buf.size()))
            return "wrong at size " + std::to_string(size) + ": " + buf;
    }
    return text;
}

// In the environment's locale, which the first call adopts, but for its decimal point.
struct zsnprintf : testing::Test {
    static void SetUpTestSuite() {
        zgetLCSHandle_5_1();
        setlocale(LC_NUMERIC, "C");
    }
};

#define SAME(expected, ...) EXPECT_EQ(z(__VA_ARGS__), expected)

TEST_F(zsnprintf, MakesTexts) {
    char const* const noText = nullptr;
    void* const pointer = reinterpret_cast<void*>(0xAB);
    SAME("", "");
    SAME("    %|%", "%5%|%1$%");
    SAME("42   |  042", "%1$-05d|%1$05.3d", 42);
    SAME("  ||", "%2s|%S|", noText, noText);
    SAME("0x0|    0x0|0x0    |0x00000|0x", "%1$#x|%1$#5x|%1$-#5x|%1$#05x|%1$#.0x", 0);
    // A number that begins with 0 may be that of the value; a second 0 begins the width.
    SAME("7 00007 7    |", "%01$d %1$005d %1$-0005d|", 7);
    // Negative widths and precisions.
    SAME("7    |    7", "%2$0*1$d|%2$0*4$.*3$d", -5, 7, -3, 5);
    SAME("1.500000e+00", "%.*e", INT_MIN, 1.5);
    // Numbered arguments, mixed with others.
    SAME("1 2 1", "%d %d %1$d", 1, 2);
    SAME("  7 3", "%2$*d %1$d", 3, 7);
    // A narrow character; lengths that mean nothing, and those that are one.
    SAME("A a b%", "%c %ls %hc%ll%", 0x141, "a", 'b');
    SAME("1 2 3", "%Ld %qu %lli", 1LL, 2ULL, 3LL);
    // Pointers are padded with zeros; null has no digits.
    SAME("0xab 0x0000ab 0xab    |", "%1$p %1$8p %1$-8p|", pointer);
    SAME("0x 0x00000", "%1$p %1$5p", noText);
    // A precision turns the flag 0 off, also a negative one; an octal zero may have no digits.
    SAME("  2.5|    7|", "%05.1f|%05.*d|%#.0o", 2.5, -1, 7, 0);
}

TEST_F(zsnprintf, RefusesFormats) {
    std::istringstream formats(
        "% %5 %. %l %h a% %hf %lf %he %lg %n %a %A %F %z %jd %td %hhd %lhd %hld %llld %Lld %lqd "
        "%\xFF %5*d %.5*d %*5d %.*5d %*1$d %1$*5d %00-5d %5-d %.-1d %$d %*$d %0$d %1$*0$d %2$d "
        "%3$s|%1$s %3$d%1$d%1$d %1$d%1$s %1$d%1$ld %1$f%1$Lf %1$*1$s %999999999$d %2147483647$d "
        "%2147483648$d %2147483648d %.99999999999999999999d "
        "%1$d%2$d%3$d%4$d%5$d%6$d%7$d%8$d%9$d%10$d%10$ld");
    for (std::string format; formats >> format;)
        EXPECT_EQ(z(format.c_str(), 1, 2, 3), "-1") << format;
    EXPECT_EQ(zsnprintf_5_1(nullptr, 0, nullptr), -1);
    EXPECT_EQ(zasprintf_5_1(nullptr, "a"), -1);
    EXPECT_EQ(zsnprintf_5_1(nullptr, 5, "%d", 42), 2);
}

// Padding costs nothing where there is no room for it; more than an int can count fails.
TEST_F(zsnprintf, TakesHugeNumbers) {
    char buf[8];
    auto const cut = [&buf](char const* format, auto... args) {
        return std::to_string(zsnprintf_5_1(buf, 8, format, args...)) + buf;
    };
    EXPECT_EQ(cut("%2000000000d", 1), "2000000000       ");
    EXPECT_EQ(cut("%-.2000000000d", -1), "2000000001-000000");
    EXPECT_EQ(cut("%.2000000000f", 1.5), "20000000021.50000");
    EXPECT_EQ(cut("%#.2000000000Lg", 1.5L), "20000000011.50000");
    EXPECT_EQ(cut("%2147483647s", ""), "2147483647       ");
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

// In the local codeset; "-1" when it has no form there.
std::string local(char const* utf8) {
    char text[8];
    int const size = zlcs_from_utf8_5_1(utf8, static_cast<int>(std::strlen(utf8)), text, 8);
    return size < 0 ? "-1" : std::string(text, static_cast<std::size_t>(size));
}

TEST_F(zsnprintf, ConvertsWideCharacters) {
    unsigned short const wide[] = {'a', 0xE4, 'b', 0}, lone[] = {'a', 0xD800, 0};
    std::string const one = local("\xC3\xA4"), text = 'a' + one + 'b';
    int const size = static_cast<int>(one.size()) + 1;
    EXPECT_EQ(allocated("%S", wide), text);
    EXPECT_EQ(allocated("%.*S", size, wide), 'a' + one);
    EXPECT_EQ(allocated("%.*S", size - 1, wide), "a");
    EXPECT_EQ(allocated("|%.1S|%.0S|%.1S|%.0S", wide, wide, lone, lone), "|a||a|");
    EXPECT_EQ(allocated("%*S|%-*S|", size + 3, wide, size + 2, wide),
              "  " + text + "|" + text + " |");
    EXPECT_EQ(allocated("%*C|%-*C|", size, 0xE4, size, 0x100E4), " " + one + "|" + one + " |");
    EXPECT_EQ(allocated("%C", 0x65E5), local("\xE6\x97\xA5"));
    EXPECT_EQ(allocated("%S", lone), "-1");
    EXPECT_EQ(allocated("%C", 0xDFFF), "-1");
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

int parse(zvsnprintf_context_5_1& context, char const* format, ...) {
    std::memset(&context, 0xA5, sizeof context);
    va_list args;
    va_start(args, format);
    int const result = zvsnprintf_parse_5_1(&context, zgetLCSHandle_5_1(), format, args);
    va_end(args);
    return result;
}

TEST_F(zsnprintf, ParsesIntoRecords) {
    zvsnprintf_context_5_1 context;
    zvsnprintf_directive_5_1 const* const& d = context.directives;
    char const* const format = "a%2$-+5.3hdb%1$-0*3$Lg%%";
    ASSERT_EQ(parse(context, format, 1.5L, 7, 9), 0);
    EXPECT_TRUE(d[0].start == format + 1 && d[0].next == format + 11 && d[2].next == context.end);
    std::string shown;
    for (int i = 0; i < context.directive_count; ++i) {
        shown += allocated("%d %x %d %d %d, ", d[i].type, d[i].flags, d[i].value, d[i].width,
                           d[i].precision);
    }
    EXPECT_EQ(shown, "4 24a5 2 5 3, 18 8305 1 3 0, 19 100000 0 0 0, ");
    char buf[40];
    for (int size : {0, 3, 40}) EXPECT_EQ(zvsnprintf_render_5_1(&context, buf, size), 17);
    EXPECT_STREQ(buf, "a+007 b1.5      %");
    zvsnprintf_done_5_1(&context);
    // More than ten records and slots; ending twice, or after a parse that failed late.
    std::string many;
    for (char const* part : {"%d", "%1$d", "%2$d"})
        for (int i = 0; i < 11; ++i) many += part;
    ASSERT_EQ(parse(context, many.c_str(), 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11), 0);
    EXPECT_EQ(zvsnprintf_render_5_1(&context, buf, 40), 35);
    EXPECT_STREQ(buf, "12345678910111111111111122222222222");
    for (int i = 0; i < 2; ++i) zvsnprintf_done_5_1(&context);
    EXPECT_EQ(parse(context, (many + "%hf").c_str()), -1);
    EXPECT_EQ(zvsnprintf_render_5_1(&context, buf, 40), 0);
}

#ifdef Z_MEMORY_CAN_FAIL
TEST_F(zsnprintf, SurvivesLackOfMemory) {
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

constexpr char flags[] = " #'+-0";

// What decides whether both make the same of a generated directive.
struct Sample {
    unsigned given;  // a bit for each of the flags
    char conversion;
    bool precision, negative;  // a precision is given; it or the width is a negative argument
    bool zero;                 // so may be the value, once it is cut to its length
    bool has(char flag) const { return (given >> (std::strchr(flags, flag) - flags) & 1) != 0; }
    bool is(char const* letters) const { return std::strchr(letters, conversion) != nullptr; }
};

// Whether the C library makes something else of it, as is meant.
bool differs(Sample const& s) {
    // Any precision turns the flag 0 off, for floating values too, also a negative one. (And the C
    // library pads some floating values of a negative width with zeros on the right.)
    if (s.has('0') && (s.negative || (s.precision && s.is("eEfgG")))) return true;
    // A zero has its 0x, outside of the width; an octal zero of no digits stays so.
    if (s.has('#') && s.zero && (s.is("xX") || (s.precision && s.is("o")))) return true;
    // Octal and hexadecimal digits are not grouped, as the C library does in some locales.
    return s.has('\'') && s.is("oxX");
}

std::mt19937 randomBits(20240607);

int below(std::size_t limit) {
    return static_cast<int>(randomBits() % limit);
}
bool once(std::size_t in) {
    return below(in) == 0;
}
template <class T>
T pick(std::initializer_list<T> list) {
    return list.begin()[below(list.size())];
}
std::int64_t integer() {
    std::uint64_t const bits = std::uint64_t{randomBits()} << 32 | randomBits();
    return static_cast<std::int64_t>(bits) >> below(64);
}
template <class Real>
Real real() {
    using Limits = std::numeric_limits<Real>;
    if (once(40))
        return pick({Real(0), -Real(0), Limits::infinity(), -Limits::quiet_NaN(), Limits::max(),
                     Limits::denorm_min(), Real(0.5), Real(9.9999999)});
    int const range = once(100) ? Limits::max_exponent - 40 : 40;
    int const exponent = below(2U * static_cast<unsigned>(range)) - range;
    return std::ldexp(static_cast<Real>(static_cast<int>(integer())), exponent);
}

// What is passed in each place. The C library takes L and q before an integer for ll in some
// formats only.
struct Place {
    char const *conversions, *length;
};
constexpr Place anInt = {"diouxXc", ""}, aLong = {"diouxX", "l"}, aLongLong = {"diouxX", "ll"},
                aText = {"s", ""}, aDouble = {"eEfgG", ""}, aLongDouble = {"eEfgG", "L"};
constexpr Place const* places[] = {&anInt,   &anInt,   &aText, &aLongLong, &anInt,
                                   &aDouble, &aLong,   &anInt, &anInt,     &aLongDouble,
                                   &aText,   &aDouble, &anInt};

// Values for all places, and a format that consumes each of the first of them, in their order or
// numbered in any. The others do no harm.
struct Case {
    Case() {
        auto const literals = {"", "", " ", "-", "%%", "some literal text, "};
        for (std::int64_t& n : number_) n = once(2) ? below(101) - 50 : integer();
        static std::string const longText(700, 'x');
        for (char const*& text : text_)
            text = pick({"", "a", "text", "%d", "several words", longText.c_str()});
        order_.resize(1 + randomBits() % (once(3) ? std::size(places) : 3));
        std::iota(order_.begin(), order_.end(), 0U);
        if (numbered_) {
            std::shuffle(order_.begin(), order_.end(), randomBits);
            if (once(2)) order_.push_back(order_[0]);
        }
        while (next_ < order_.size()) format_ += pick(literals) + directive();
        format_ += pick(literals);
    }
    template <class Print, class Size>
    int print(Print function, char* buf, Size size) const {
        auto const n = [this](int place) { return static_cast<int>(number_[place]); };
        return function(buf, size, format_.c_str(), n(0), n(1), text_[0],
                        static_cast<long long>(number_[3]), n(4), real_[0],
                        static_cast<long>(number_[6]), n(7), n(8), longReal_, text_[1], real_[1],
                        n(12));
    }
    std::string directive() {
        for (std::size_t const start = next_;; next_ = start) {
            Sample sample{};
            sample.given = static_cast<unsigned>(randomBits() & randomBits());
            std::string text;
            for (char const* flag = flags; *flag != '\0'; ++flag)
                if (sample.has(*flag)) text += *flag;
            if (once(2)) std::reverse(text.begin(), text.end());
            text += number(1, 30, sample.negative);
            sample.precision = once(2);
            if (sample.precision) text += '.' + number(0, once(500) ? 1500 : 25, sample.negative);
            Place const& place = *places[order_[next_]];
            sample.conversion = place.conversions[randomBits() % std::strlen(place.conversions)];
            sample.zero = static_cast<short>(number_[order_[next_]]) == 0;
            if (differs(sample)) continue;
            text += &place == &anInt && once(2) ? "h" : place.length;
            return '%' + reference() + text + sample.conversion;
        }
    }
    // A width or precision: none, digits, or the next argument when it is fit for that.
    std::string number(int least, std::size_t limit, bool& negative) {
        if (once(3)) return "";
        std::size_t const place = order_[next_];
        std::int64_t const value = number_[place];
        bool const fits =
            places[place] == &anInt && std::abs(value) <= 50 && next_ + 1 < order_.size();
        if (!fits || once(2)) return std::to_string(least + below(limit));
        negative = negative || value < 0;
        return '*' + reference();
    }
    // To the next argument, which is consumed.
    std::string reference() {
        std::size_t const place = order_[next_++];
        return numbered_ ? std::to_string(place + 1) + '$' : "";
    }

    std::int64_t number_[std::size(places)];  // in the places of integers
    char const* text_[2];
    double const real_[2] = {real<double>(), real<double>()};
    long double const longReal_ = real<long double>();
    bool const numbered_ = once(3);
    std::vector<std::size_t> order_;  // the places that are consumed, from next_ on
    std::size_t next_ = 0;
    std::string format_;
};

TEST_F(zsnprintf, DiffersFromTheCLibraryOnPurposeOnly) {
    setlocale(LC_NUMERIC, "");
    SAME("1234567 abcdef", "%'o %'x", 01234567, 0xabcdef);
#ifdef Z_MEMORY_CAN_FAIL
    int const cases = 1050000;
#else
    int const cases = 100000;  // under the sanitizers
#endif
    static char full[1 << 17], buf[1 << 17];
    for (int i = 0; i < cases; ++i) {
        Case const one;
        int const length = one.print(std::snprintf, full, sizeof full);
        ASSERT_TRUE(length >= 0 && length < static_cast<int>(sizeof full) - 20) << one.format_;
        std::string const text(full, static_cast<std::size_t>(length));
        int const size = below(text.size() + 20) - 1;
        std::memset(buf, filler, text.size() + 20);
        ASSERT_EQ(one.print(zsnprintf_5_1, buf, size), length) << one.format_ << "\n" << text;
        ASSERT_EQ(std::string(buf, text.size() + 20), inBuffer(text, size, text.size() + 20))
            << one.format_;
    }
    setlocale(LC_NUMERIC, "C");
}

}  // namespace
