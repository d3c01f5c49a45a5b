// zvsnprintf_render: from parsed directives and their arguments to text.
// Subsystem: strings, layer 2. Test: tests/zsnprintf_test.cpp
//
// The second stage of the engine that zsnprintf.cpp describes.
#include <tis/tis.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <type_traits>

#include "zsnprintf.h"

namespace {

using Context = zvsnprintf_context_5_1;
using Directive = zvsnprintf_directive_5_1;
using Argument = zvsnprintf_argument_5_1;

// Lengths of texts, whatever the word size; below 0 for a failure.
using Length = std::int64_t;

constexpr Length failed = -1;

bool has(Directive const& d, unsigned flag) {
    return (d.flags & flag) != 0;
}

// ---- output ----

// A copy of few bytes is made here, for a call costs more than that: two parts that may overlap
// cover it.
inline void copyBytes(char* to, char const* from, std::size_t size) {
    if (size > 16) {
        std::memcpy(to, from, size);
    } else if (size >= 8) {
        std::uint64_t first, last;
        std::memcpy(&first, from, 8);
        std::memcpy(&last, from + size - 8, 8);
        std::memcpy(to, &first, 8);
        std::memcpy(to + size - 8, &last, 8);
    } else if (size >= 4) {
        std::uint32_t first, last;
        std::memcpy(&first, from, 4);
        std::memcpy(&last, from + size - 4, 4);
        std::memcpy(to, &first, 4);
        std::memcpy(to + size - 4, &last, 4);
    } else if (size != 0) {
        char const first = from[0], middle = from[size / 2], last = from[size - 1];
        to[0] = first;
        to[size / 2] = middle;
        to[size - 1] = last;
    }
}

// Where the text goes on and how many bytes there are. What does not fit is dropped.
class Output {
public:
    Output(char* at, std::size_t room) : at_(at), room_(room) {}

    void put(char const* text, Length size) {
        std::size_t const fitting = fit(size);
        copyBytes(at_, text, fitting);
        skip(size);
    }
    void fill(char c, Length count) {
        std::size_t const fitting = fit(count);
        if (fitting != 0) std::memset(at_, c, fitting);
        skip(count);
    }
    // `size` bytes to be written by the caller, when they fit whole; else null and none are taken.
    char* take(Length size) {
        if (fit(size) != static_cast<std::uint64_t>(size)) return nullptr;
        char* const taken = at_;
        skip(size);
        return taken;
    }
    void skip(Length size) {
        std::size_t const fitting = fit(size);
        at_ += fitting;
        room_ -= fitting;
    }

private:
    std::size_t fit(Length size) const {
        return static_cast<std::size_t>(
            std::min(static_cast<std::uint64_t>(size), static_cast<std::uint64_t>(room_)));
    }

    char* at_;
    std::size_t room_;
};

// ---- parameters ----

// Width and precision as they hold for one rendering.
struct Field {
    Length width = 0;
    Length precision = -1;  // below 0: none
    bool left;

    Field(Directive const& d, Argument const* arguments) : left(has(d, ZPRINTF_LEFT)) {
        if (has(d, ZPRINTF_WIDTH_ARGUMENT)) {
            width = arguments[d.width].integer;
            if (width < 0) {
                left = true;
                width = -width;
            }
        } else {
            width = d.width;
        }
        if (has(d, ZPRINTF_PRECISION)) precision = d.precision;
        if (has(d, ZPRINTF_PRECISION_ARGUMENT)) precision = arguments[d.precision].integer;
    }
    // The blanks before and after a text of `length` bytes, one of them 0.
    Length before(Length length) const { return left ? 0 : std::max<Length>(width - length, 0); }
    Length after(Length length) const { return left ? std::max<Length>(width - length, 0) : 0; }
};

// ---- characters and strings ----

Length renderText(Output out, Field const& field, char const* text, Length length) {
    out.fill(' ', field.before(length));
    out.put(text, length);
    out.fill(' ', field.after(length));
    return std::max(field.width, length);
}

Length renderCharacter(Output out, Directive const& d, Argument const* arguments, tis_cs const*) {
    char const c = d.type == ZPRINTF_PERCENT ? '%' : static_cast<char>(arguments[d.value].integer);
    return renderText(out, Field(d, arguments), &c, 1);
}

Length renderString(Output out, Directive const& d, Argument const* arguments, tis_cs const*) {
    char const* text = static_cast<char const*>(arguments[d.value].pointer);
    if (text == nullptr) text = "";
    Field const field(d, arguments);
    std::size_t const length = field.precision < 0
                                   ? std::strlen(text)
                                   : strnlen(text, static_cast<std::size_t>(field.precision));
    return renderText(out, field, text, static_cast<Length>(length));
}

constexpr int longestCharacter = 8;

// The byte length of the characters, of at most `precision` bytes when that is not below 0.
Length measureWide(tis_wchar const* text, Length precision, tis_cs const* codeset) {
    Length length = 0;
    for (; *text != 0 && length != precision; ++text) {
        char bytes[longestCharacter];
        int const size = tis_wctomb(codeset, bytes, *text);
        if (size < 0) return failed;
        if (precision >= 0 && length + size > precision) break;
        length += size;
    }
    return length;
}

// Writes the characters that make up `length` bytes; where one does not fit, zeros from there on,
// so that the text ends there.
void putWide(Output& out, tis_wchar const* text, Length length, tis_cs const* codeset) {
    for (Length written = 0; written < length; ++text) {
        char bytes[longestCharacter];
        int const size = tis_wctomb(codeset, bytes, *text);
        char* const place = out.take(size);
        if (place == nullptr) {
            out.fill('\0', length - written);
            return;
        }
        std::memcpy(place, bytes, static_cast<std::size_t>(size));
        written += size;
    }
}

Length renderWide(Output out, Field const& field, tis_wchar const* text, Length length,
                  tis_cs const* codeset) {
    if (length < 0) return failed;
    out.fill(' ', field.before(length));
    putWide(out, text, length, codeset);
    out.fill(' ', field.after(length));
    return std::max(field.width, length);
}

Length renderWideCharacter(Output out, Directive const& d, Argument const* arguments,
                           tis_cs const* codeset) {
    tis_wchar const wc = static_cast<tis_wchar>(arguments[d.value].integer);
    char bytes[longestCharacter];
    return renderWide(out, Field(d, arguments), &wc, tis_wctomb(codeset, bytes, wc), codeset);
}

Length renderWideString(Output out, Directive const& d, Argument const* arguments,
                        tis_cs const* codeset) {
    static constexpr tis_wchar empty = 0;
    tis_wchar const* text = static_cast<tis_wchar const*>(arguments[d.value].pointer);
    if (text == nullptr) text = &empty;
    Field const field(d, arguments);
    return renderWide(out, field, text, measureWide(text, field.precision, codeset), codeset);
}

// ---- digits ----

struct Radix {
    int bits;  // of a digit; 0 for decimal
    char const* digits;
};

constexpr Radix decimal = {0, nullptr};
constexpr Radix octal = {3, "01234567"};
constexpr Radix lowerHexadecimal = {4, "0123456789abcdef"};
constexpr Radix upperHexadecimal = {4, "0123456789ABCDEF"};

Radix radixOf(Directive const& d) {
    if (has(d, ZPRINTF_LOWER_HEXADECIMAL)) return lowerHexadecimal;
    if (has(d, ZPRINTF_UPPER_HEXADECIMAL)) return upperHexadecimal;
    return has(d, ZPRINTF_OCTAL) ? octal : decimal;
}

constexpr int mostDigits = 22;  // of 64 bits, in octal

constexpr char pairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

inline int countDigits(std::uint64_t value, Radix radix) {
    int const bits = 64 - __builtin_clzll(value | 1);
    if (radix.bits == 4) return (bits + 3) / 4;
    if (radix.bits == 3) return (bits + 2) / 3;
    // clang-format off
    static constexpr std::uint64_t powers[] = {
        0, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000, 10000000000,
        100000000000, 1000000000000, 10000000000000, 100000000000000, 1000000000000000,
        10000000000000000, 100000000000000000, 1000000000000000000, 10000000000000000000U};
    // clang-format on
    int const whole = bits * 1233 >> 12;  // log10(2): as many digits, or one more
    return whole + (value >= powers[whole] ? 1 : 0);
}

template <class Unsigned>
inline void writeDecimal(char* end, Unsigned value) {
    for (; value >= 100; value /= 100) {
        end -= 2;
        std::memcpy(end, pairs + value % 100 * 2, 2);
    }
    if (value >= 10) {
        std::memcpy(end - 2, pairs + value * 2, 2);
    } else {
        end[-1] = static_cast<char>('0' + value);
    }
}

// Backwards from `end`, as many digits as countDigits says.
inline void writeDigits(char* end, std::uint64_t value, Radix radix) {
    if (radix.bits == 0) {
        // Division of 64 bits is slow, on 32 bits most of all.
        if (value <= UINT32_MAX) return writeDecimal(end, static_cast<std::uint32_t>(value));
        return writeDecimal(end, value);
    }
    unsigned const mask = (1U << radix.bits) - 1;
    do {
        *--end = radix.digits[value & mask];
        value >>= radix.bits;
    } while (value != 0);
}

// ---- integers ----

struct Number {
    std::uint64_t value;
    Radix radix;
    Length precision;  // the least number of digits
    char prefix[2];
    int prefixSize;
    int prefixWidth;  // how much of the prefix counts for the width
};

// The digits of a number with the locale's separators, which the C library knows. They count for
// the precision and the width, as in C.
struct Grouped {
    // cppcheck-suppress uninitMemberVar ; snprintf fills it as far as `size` tells
    explicit Grouped(std::uint64_t value)
        : size(std::snprintf(text, sizeof text, "%'llu", static_cast<unsigned long long>(value))) {}
    char text[256];  // 20 digits and 19 separators
    int size;
};

void putDigits(Output& out, Number const& number, int count) {
    char* const place = out.take(count);
    if (place != nullptr) return writeDigits(place + count, number.value, number.radix);
    char digits[mostDigits];
    writeDigits(digits + count, number.value, number.radix);
    out.put(digits, count);
}

// `grouped` is null for plain digits.
Length renderDigits(Output out, Directive const& d, Field const& field, Number const& number,
                    Grouped const* grouped) {
    int count = grouped != nullptr ? grouped->size : countDigits(number.value, number.radix);
    if (number.value == 0 && number.precision == 0) count = 0;
    Length precision = std::max<Length>(number.precision, count);
    if (has(d, ZPRINTF_OCTAL) && has(d, ZPRINTF_ALTERNATE) && number.value != 0) {
        precision = std::max<Length>(precision, count + 1);
    }
    Length const padding = std::max<Length>(field.width - number.prefixWidth - precision, 0);
    bool const padsZeros = has(d, ZPRINTF_ZERO) && !field.left;
    if (!field.left && !padsZeros) out.fill(' ', padding);
    out.put(number.prefix, number.prefixSize);
    out.fill('0', precision - count + (padsZeros ? padding : 0));
    if (grouped != nullptr && count != 0) {
        out.put(grouped->text, count);
    } else if (count != 0) {
        putDigits(out, number, count);
    }
    if (field.left) out.fill(' ', padding);
    return number.prefixSize + precision + padding;
}

Length renderNumber(Output out, Directive const& d, Field const& field, Number const& number) {
    if (!has(d, ZPRINTF_GROUP) || number.radix.bits != 0) {
        return renderDigits(out, d, field, number, nullptr);
    }
    Grouped const grouped(number.value);
    return grouped.size < 0 ? failed : renderDigits(out, d, field, number, &grouped);
}

// What gives a number another form than that of its digits alone.
constexpr unsigned formFlags =
    ZPRINTF_ALTERNATE | ZPRINTF_LEFT | ZPRINTF_ZERO | ZPRINTF_BLANK | ZPRINTF_SIGN | ZPRINTF_GROUP |
    ZPRINTF_WIDTH | ZPRINTF_WIDTH_ARGUMENT | ZPRINTF_PRECISION | ZPRINTF_PRECISION_ARGUMENT;

constexpr Length notPlain = -1;

// Digits alone, where there is room for them; else `notPlain`, and nothing is written.
inline Length tryPlain(Output out, Directive const& d, std::uint64_t value, Radix radix,
                       bool isNegative) {
    if (has(d, formFlags)) return notPlain;
    int const count = countDigits(value, radix);
    Length const length = count + (isNegative ? 1 : 0);
    char* const place = out.take(length);
    if (place == nullptr) return notPlain;
    *place = '-';
    writeDigits(place + length, value, radix);
    return length;
}

Length renderInField(Output out, Directive const& d, Argument const* arguments,
                     std::uint64_t magnitude, bool isNegative) {
    Field const field(d, arguments);
    char const sign = isNegative ? '-' : has(d, ZPRINTF_SIGN) ? '+' : ' ';
    int const signSize = isNegative || has(d, ZPRINTF_SIGN | ZPRINTF_BLANK) ? 1 : 0;
    Length const precision = field.precision < 0 ? 1 : field.precision;
    return renderNumber(out, d, field, {magnitude, decimal, precision, {sign}, signSize, signSize});
}

template <class Signed>
Length renderSigned(Output out, Directive const& d, Argument const* arguments, tis_cs const*) {
    std::int64_t const value = static_cast<Signed>(arguments[d.value].integer);
    bool const isNegative = value < 0;
    std::uint64_t const bits = static_cast<std::uint64_t>(value);
    std::uint64_t const magnitude = isNegative ? 0 - bits : bits;
    Length const length = tryPlain(out, d, magnitude, decimal, isNegative);
    return length != notPlain ? length : renderInField(out, d, arguments, magnitude, isNegative);
}

// 0x stands before a zero too, but is not counted there.
Length renderMagnitude(Output out, Directive const& d, Field const& field, std::uint64_t value,
                       Length precision) {
    Radix const radix = radixOf(d);
    bool const hasPrefix = radix.bits == 4 && has(d, ZPRINTF_ALTERNATE);
    char const letter = has(d, ZPRINTF_UPPER_HEXADECIMAL) ? 'X' : 'x';
    return renderNumber(out, d, field,
                        {value,
                         radix,
                         precision,
                         {'0', letter},
                         hasPrefix ? 2 : 0,
                         hasPrefix && value != 0 ? 2 : 0});
}

template <class Unsigned>
Length renderUnsigned(Output out, Directive const& d, Argument const* arguments, tis_cs const*) {
    std::uint64_t const value = static_cast<Unsigned>(arguments[d.value].integer);
    Length const length = tryPlain(out, d, value, radixOf(d), false);
    if (length != notPlain) return length;
    Field const field(d, arguments);
    return renderMagnitude(out, d, field, value, field.precision < 0 ? 1 : field.precision);
}

// Without a precision a null pointer has no digits.
Length renderPointer(Output out, Directive const& d, Argument const* arguments, tis_cs const*) {
    Field const field(d, arguments);
    return renderMagnitude(out, d, field,
                           reinterpret_cast<std::uintptr_t>(arguments[d.value].pointer),
                           std::max<Length>(field.precision, 0));
}

// ---- floating values ----

enum Form { exponentForm, fixedForm, generalForm };

// Of a double and of a long double alike.
Form formOf(Directive const& d) {
    return static_cast<Form>((d.type - ZPRINTF_EXPONENT) % 3);
}

// "%" flags "." precision length letter
struct CFormat {
    CFormat(Directive const& d, bool isLong, int precision) {
        char* at = text;
        *at++ = '%';
        if (has(d, ZPRINTF_ALTERNATE)) *at++ = '#';
        if (has(d, ZPRINTF_BLANK)) *at++ = ' ';
        if (has(d, ZPRINTF_SIGN)) *at++ = '+';
        if (has(d, ZPRINTF_GROUP)) *at++ = '\'';
        hasFlags = at - text > 1;
        if (precision >= 0) {
            *at++ = '.';
            std::uint64_t const value = static_cast<std::uint64_t>(precision);
            at += countDigits(value, decimal);
            writeDigits(at, value, decimal);
        }
        if (isLong) *at++ = 'L';
        *at++ = (has(d, ZPRINTF_UPPER_FLOATING) ? "EFG" : "efg")[formOf(d)];
        *at = '\0';
    }
    char text[24];
    bool hasFlags;
};

int printC(char* buf, std::size_t size, CFormat const& format, long double value) {
    return std::snprintf(buf, size, format.text, value);
}

// strfromd writes what snprintf does, in less time, but takes no flags.
int printC(char* buf, std::size_t size, CFormat const& format, double value) {
    return format.hasFlags ? std::snprintf(buf, size, format.text, value)
                           : strfromd(buf, size, format.text, value);
}

// The text that the C library makes of a value: in place, or on the heap when it is longer.
class CText {
public:
    template <class Real>
    CText(CFormat const& format, Real value)
        : text_(own_), size_(printC(own_, sizeof own_, format, value)) {
        if (size_ < static_cast<int>(sizeof own_)) return;
        std::size_t const needed = static_cast<std::size_t>(size_) + 1;
        text_ = static_cast<char*>(std::malloc(needed));
        // Another thread may have set a locale of shorter or longer texts in the meantime.
        size_ = text_ == nullptr ? -1 : std::min(size_, printC(text_, needed, format, value));
    }
    CText(CText const&) = delete;
    CText& operator=(CText const&) = delete;
    ~CText() {
        if (text_ != own_) std::free(text_);
    }
    char const* begin() const { return text_; }
    Length size() const { return size_; }  // below 0: failed

private:
    char* text_;
    int size_;
    char own_[512];
};

// Digits after the point beyond these are zeros, whatever the value.
template <class Real>
constexpr int mostExactDigits =
    std::numeric_limits<Real>::digits - std::numeric_limits<Real>::min_exponent;

// `zeros` more digits belong behind the last one. Numbers alone are padded with zeros.
Length putFloating(Output out, Directive const& d, Field const& field, CText const& text,
                   Length zeros, bool isNumber) {
    char const* const begin = text.begin();
    if (field.width <= text.size() && zeros == 0) {
        out.put(begin, text.size());
        return text.size();
    }
    char const* const end = begin + text.size();
    char const* const digits = begin + (*begin == '-' || *begin == '+' || *begin == ' ' ? 1 : 0);
    char const* const exponent =
        zeros == 0 ? end : std::find_if(digits, end, [](char c) { return c == 'e' || c == 'E'; });
    Length const padding = std::max<Length>(field.width - text.size() - zeros, 0);
    bool const padsZeros = has(d, ZPRINTF_ZERO) && !field.left && isNumber;
    if (!field.left && !padsZeros) out.fill(' ', padding);
    out.put(begin, digits - begin);
    if (padsZeros) out.fill('0', padding);
    out.put(digits, exponent - digits);
    out.fill('0', zeros);
    out.put(exponent, end - exponent);
    if (field.left) out.fill(' ', padding);
    return text.size() + zeros + padding;
}

template <class Real>
Length renderFloating(Output out, Directive const& d, Field const& field, Real value) {
    constexpr bool isLong = std::is_same_v<Real, long double>;
    constexpr Length most = mostExactDigits<Real>;
    Length const precision = std::clamp<Length>(field.precision, -1, most);  // -1: the C default
    CText const text(CFormat(d, isLong, static_cast<int>(precision)), value);
    if (text.size() < 0) return failed;
    bool const isNumber = std::isfinite(value);
    bool const keepsZeros = formOf(d) != generalForm || has(d, ZPRINTF_ALTERNATE);
    Length const zeros = isNumber && keepsZeros ? std::max<Length>(field.precision - most, 0) : 0;
    return putFloating(out, d, field, text, zeros, isNumber);
}

Length renderDouble(Output out, Directive const& d, Argument const* arguments, tis_cs const*) {
    return renderFloating(out, d, Field(d, arguments), arguments[d.value].real);
}

Length renderLongDouble(Output out, Directive const& d, Argument const* arguments, tis_cs const*) {
    return renderFloating(out, d, Field(d, arguments), arguments[d.value].long_real);
}

// ---- the whole ----

// Each writes what there is room for and returns the whole length, or `failed`.
using Renderer = Length (*)(Output, Directive const&, Argument const*, tis_cs const*);

constexpr Renderer renderers[] = {
    renderCharacter,                 // c
    renderWideCharacter,             // C
    renderString,                    // s
    renderWideString,                // S
    renderSigned<short>,             // hd hi
    renderUnsigned<unsigned short>,  // ho hu hx hX
    renderSigned<int>,
    renderUnsigned<unsigned int>,
    renderSigned<long>,
    renderUnsigned<unsigned long>,
    renderSigned<long long>,
    renderUnsigned<unsigned long long>,
    renderPointer,     // p
    renderDouble,      // e E
    renderDouble,      // f
    renderDouble,      // g G
    renderLongDouble,  // Le LE
    renderLongDouble,  // Lf
    renderLongDouble,  // Lg LG
    renderCharacter,   // %%
};
static_assert(std::size(renderers) == ZPRINTF_PERCENT + 1, "one for each type");

// The length of the whole text, above INT_MAX when it is longer than an int can say; or `failed`.
Length renderAll(Context const& context, Output& out) {
    tis_cs const* const codeset = static_cast<tis_cs const*>(context.codeset);
    Directive const* const end = context.directives + context.directive_count;
    char const* literal = context.format;
    Length total = 0;
    for (Directive const* d = context.directives; d != end && total <= INT_MAX; ++d) {
        Length const before = d->start - literal;
        out.put(literal, before);
        Length const length = renderers[d->type](out, *d, context.arguments, codeset);
        if (length < 0) return failed;
        out.skip(length);
        total += before + length;
        literal = d->next;
    }
    if (total > INT_MAX) return total;
    out.put(literal, context.end - literal);
    return total + (context.end - literal);
}

}  // namespace

extern "C" {

int zvsnprintf_render_5_1(zvsnprintf_context_5_1* context, char* buf, int size) {
    if (context == nullptr) return -1;
    bool const writes = buf != nullptr && size >= 1;
    std::size_t const room = writes ? static_cast<std::size_t>(size) - 1 : 0;
    Output out(buf, room);
    Length const total = renderAll(*context, out);
    if (total < 0 || total > INT_MAX) return -1;
    if (writes) buf[std::min<Length>(total, size - 1)] = '\0';
    return static_cast<int>(total);
}

}  // extern "C"
