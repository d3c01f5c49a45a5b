// zvsnprintf_parse: from a format to records of its directives and a table of its arguments.
// Subsystem: strings, layer 2. Test: tests/zsnprintf_test.cpp
//
// The first stage of the engine that zsnprintf.cpp describes.
#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "zsnprintf.h"

namespace {

using Context = zvsnprintf_context_5_1;
using Directive = zvsnprintf_directive_5_1;
using Argument = zvsnprintf_argument_5_1;

static_assert(sizeof(void*) != 4 ||
                  (sizeof(Directive) == 28 && offsetof(Directive, next) == 4 &&
                   offsetof(Directive, type) == 8 && offsetof(Directive, flags) == 12 &&
                   offsetof(Directive, value) == 16 && offsetof(Directive, width) == 20 &&
                   offsetof(Directive, precision) == 24),
              "seven words on 32 bits");
static_assert(sizeof(void*) != 4 || sizeof(Argument) == 12, "96 bits on 32 bits");

// What a va_list is as a parameter: a pointer on some platforms, a value on others. By reference it
// is consumed alike on all of them.
using Arguments = std::decay_t<va_list>;

// ---- conversions ----

enum Length : unsigned { noLength, lengthShort, lengthLong, lengthLongLong };

// The types of a conversion; below 0 where the length is wrong.
struct Types {
    short byLength[4];
};

constexpr Types always(short type) {
    return {{type, type, type, type}};
}
constexpr Types signedTypes = {
    {ZPRINTF_INT_SIGNED, ZPRINTF_SHORT_SIGNED, ZPRINTF_LONG_SIGNED, ZPRINTF_LONG_LONG_SIGNED}};
constexpr Types unsignedTypes = {{ZPRINTF_INT_UNSIGNED, ZPRINTF_SHORT_UNSIGNED,
                                  ZPRINTF_LONG_UNSIGNED, ZPRINTF_LONG_LONG_UNSIGNED}};
constexpr Types exponentTypes = {{ZPRINTF_EXPONENT, -1, -1, ZPRINTF_LONG_EXPONENT}};
constexpr Types fixedTypes = {{ZPRINTF_FIXED, -1, -1, ZPRINTF_LONG_FIXED}};
constexpr Types generalTypes = {{ZPRINTF_GENERAL, -1, -1, ZPRINTF_LONG_GENERAL}};

struct Conversion {
    char letter;
    Types types;
    unsigned flags;
};

constexpr Conversion conversions[] = {
    {'%', always(ZPRINTF_PERCENT), ZPRINTF_NO_ARGUMENT},
    {'c', always(ZPRINTF_CHARACTER), 0},
    {'C', always(ZPRINTF_WIDE_CHARACTER), 0},
    {'s', always(ZPRINTF_STRING), 0},
    {'S', always(ZPRINTF_WIDE_STRING), 0},
    {'d', signedTypes, 0},
    {'i', signedTypes, 0},
    {'o', unsignedTypes, ZPRINTF_OCTAL},
    {'u', unsignedTypes, 0},
    {'x', unsignedTypes, ZPRINTF_LOWER_HEXADECIMAL},
    {'X', unsignedTypes, ZPRINTF_UPPER_HEXADECIMAL},
    {'p', always(ZPRINTF_POINTER), ZPRINTF_LOWER_HEXADECIMAL | ZPRINTF_ALTERNATE | ZPRINTF_ZERO},
    {'e', exponentTypes, 0},
    {'E', exponentTypes, ZPRINTF_UPPER_FLOATING},
    {'f', fixedTypes, 0},
    {'g', generalTypes, 0},
    {'G', generalTypes, ZPRINTF_UPPER_FLOATING},
};

// The conversions by their letters; all others have no type.
struct ConversionTable {
    constexpr ConversionTable() : entries() {
        for (Conversion& entry : entries) entry = {'\0', always(-1), 0};
        for (Conversion const& entry : conversions) {
            entries[static_cast<unsigned char>(entry.letter)] = entry;
        }
    }
    Conversion entries[256];
};
constexpr ConversionTable byLetter;

Conversion const& conversionOf(char letter) {
    return byLetter.entries[static_cast<unsigned char>(letter)];
}

// What has to be fetched: all uses of an argument agree in this.
enum Kind : signed char { noKind, anInt, aLong, aLongLong, aPointer, aDouble, aLongDouble };

constexpr Kind kindOfType[] = {
    anInt,       anInt,       aPointer,     // c C s
    aPointer,    anInt,       anInt,        // S hd hu
    anInt,       anInt,       aLong,        // d u ld
    aLong,       aLongLong,   aLongLong,    // lu lld llu
    aPointer,    aDouble,     aDouble,      // p e f
    aDouble,     aLongDouble, aLongDouble,  // g Le Lf
    aLongDouble, noKind,                    // Lg %
};

// ---- directives ----

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Reads one format. The functions that parse a part of a directive move `at_` behind it; those that
// return a truth return false where the format is wrong.
class Parser {
public:
    Parser(Context& context, char const* format) : context_(context), at_(format) {}

    bool parse();
    // The highest number of an argument, and how many uses arguments have.
    int highest() const { return std::max(next_, highestNumber_); }
    std::int64_t uses() const { return std::int64_t{next_} + numberedUses_; }
    // Whether some argument is numbered in the format; else they are used in their order.
    bool isNumbered() const { return numberedUses_ != 0; }

private:
    void skipLiteral();
    Directive* newDirective();
    bool parseDirective(Directive& d);
    bool parsePosition(Directive& d);
    void parseFlags(Directive& d);
    bool parseWidth(Directive& d);
    bool parsePrecision(Directive& d);
    bool parseStar(Directive& d, int& number, unsigned numberedFlag);
    Length parseLength(Directive& d);
    bool parseConversion(Directive& d, Length length);
    bool parseNumber(int& number);
    bool useNext(int& number);
    bool useNumbered(int number);

    Context& context_;
    char const* at_;
    int next_ = 0;  // the number that an unnumbered use had last
    int highestNumber_ = 0;
    int numberedUses_ = 0;
};

bool Parser::parse() {
    for (;;) {
        skipLiteral();
        if (*at_ == '\0') break;
        Directive* const d = newDirective();
        if (d == nullptr || !parseDirective(*d)) return false;
    }
    context_.end = at_;
    return true;
}

// To the next % or the end. Most literals are short: a call would cost more than it saves. A long
// one is left to the C library.
void Parser::skipLiteral() {
    for (int i = 0; i < 16; ++i, ++at_) {
        if (*at_ == '%' || *at_ == '\0') return;
    }
    at_ = strchrnul(at_, '%');
}

// Null when memory is out. Within the context, then on the heap, ten at a time.
Directive* Parser::newDirective() {
    if (context_.directive_count == context_.directive_room) {
        if (context_.directive_room > INT_MAX - ZPRINTF_IN_PLACE) return nullptr;
        std::size_t const used = static_cast<std::size_t>(context_.directive_room);
        bool const isFirst = context_.directives == context_.own_directives;
        void* const larger = std::realloc(isFirst ? nullptr : context_.directives,
                                          (used + ZPRINTF_IN_PLACE) * sizeof(Directive));
        if (larger == nullptr) return nullptr;
        if (isFirst) std::memcpy(larger, context_.directives, used * sizeof(Directive));
        context_.directives = static_cast<Directive*>(larger);
        context_.directive_room += ZPRINTF_IN_PLACE;
    }
    return &context_.directives[context_.directive_count++];
}

// From the % to behind the conversion.
bool Parser::parseDirective(Directive& d) {
    d.start = at_++;
    d.flags = 0;
    d.value = 0;
    d.width = 0;
    d.precision = 0;
    // There are no letters before the length. Bytes above 0x7F, below 0 as a char, may come in:
    // none of what follows takes them, and they are no conversion.
    if (*at_ < 'A') {
        if (!parsePosition(d)) return false;
        if ((d.flags & ZPRINTF_WIDTH) == 0) {
            parseFlags(d);
            if (!parseWidth(d)) return false;
        }
        if (!parsePrecision(d)) return false;
    }
    if (!parseConversion(d, parseLength(d))) return false;
    d.next = at_;
    return true;
}

// Digits that end in $ number the value. Others are the width, or, after a 0, flags and the width.
bool Parser::parsePosition(Directive& d) {
    char const* const start = at_;
    if (!isDigit(*start)) return true;
    int number;
    if (!parseNumber(number)) return false;
    if (*at_ == '$') {
        ++at_;
        d.flags |= ZPRINTF_VALUE_NUMBERED;
        d.value = number;
        return number != 0;
    }
    if (*start == '0') {
        at_ = start;
    } else {
        d.flags |= ZPRINTF_WIDTH;
        d.width = number;
    }
    return true;
}

void Parser::parseFlags(Directive& d) {
    for (;; ++at_) {
        switch (*at_) {
            case ' ':
                d.flags |= ZPRINTF_BLANK;
                break;
            case '#':
                d.flags |= ZPRINTF_ALTERNATE;
                break;
            case '\'':
                d.flags |= ZPRINTF_GROUP;
                break;
            case '+':
                d.flags |= ZPRINTF_SIGN;
                break;
            case '-':
                d.flags |= ZPRINTF_LEFT;
                d.flags &= ~static_cast<unsigned>(ZPRINTF_ZERO);
                break;
            case '0':
                if ((d.flags & ZPRINTF_LEFT) != 0) break;
                if ((d.flags & ZPRINTF_ZERO) != 0) return;  // the width begins
                d.flags |= ZPRINTF_ZERO;
                break;
            default:
                return;
        }
    }
}

bool Parser::parseWidth(Directive& d) {
    if (*at_ == '*') {
        d.flags |= ZPRINTF_WIDTH_ARGUMENT;
        return parseStar(d, d.width, ZPRINTF_WIDTH_NUMBERED);
    }
    if (!isDigit(*at_)) return true;
    d.flags |= ZPRINTF_WIDTH;
    return parseNumber(d.width);
}

bool Parser::parsePrecision(Directive& d) {
    if (*at_ != '.') return true;
    ++at_;
    d.flags &= ~static_cast<unsigned>(ZPRINTF_ZERO);
    if (*at_ == '*') {
        d.flags |= ZPRINTF_PRECISION_ARGUMENT;
        return parseStar(d, d.precision, ZPRINTF_PRECISION_NUMBERED);
    }
    d.flags |= ZPRINTF_PRECISION;
    return parseNumber(d.precision);
}

// A * and, in a directive with a numbered value, perhaps the number of its argument.
bool Parser::parseStar(Directive& d, int& number, unsigned numberedFlag) {
    ++at_;
    if (!isDigit(*at_)) return useNext(number);
    if ((d.flags & ZPRINTF_VALUE_NUMBERED) == 0 || !parseNumber(number) || *at_ != '$')
        return false;
    ++at_;
    d.flags |= numberedFlag;
    return useNumbered(number);
}

// Another length letter behind this one is no conversion and found wrong as such.
Length Parser::parseLength(Directive& d) {
    if (conversionOf(*at_).types.byLength[noLength] >= 0) return noLength;  // nearly always
    switch (*at_) {
        case 'h':
            ++at_;
            d.flags |= ZPRINTF_SHORT;
            return lengthShort;
        case 'l':
            if (*++at_ != 'l') {
                d.flags |= ZPRINTF_LONG;
                return lengthLong;
            }
            [[fallthrough]];
        case 'L':
        case 'q':
            ++at_;
            d.flags |= ZPRINTF_LONG_LONG;
            return lengthLongLong;
        default:
            return noLength;
    }
}

bool Parser::parseConversion(Directive& d, Length length) {
    Conversion const& conversion = conversionOf(*at_);
    d.type = conversion.types.byLength[length];
    if (d.type < 0) return false;
    ++at_;
    d.flags |= conversion.flags;
    if (d.type == ZPRINTF_PERCENT) {
        d.value = 0;  // a number that was given is nobody's
        return true;
    }
    return (d.flags & ZPRINTF_VALUE_NUMBERED) != 0 ? useNumbered(d.value) : useNext(d.value);
}

// No digits are 0.
bool Parser::parseNumber(int& number) {
    std::int64_t value = 0;
    for (; isDigit(*at_); ++at_) {
        value = value * 10 + (*at_ - '0');
        if (value > INT_MAX) return false;
    }
    number = static_cast<int>(value);
    return true;
}

bool Parser::useNext(int& number) {
    if (next_ == INT_MAX) return false;
    number = ++next_;
    return true;
}

bool Parser::useNumbered(int number) {
    if (numberedUses_ == INT_MAX || number == 0) return false;
    ++numberedUses_;
    highestNumber_ = std::max(highestNumber_, number);
    return true;
}

// ---- arguments ----

void fetchRare(Argument& slot, Kind kind, Arguments& arguments) {
    switch (kind) {
        case aLongLong:
            slot.integer = va_arg(arguments, long long);
            break;
        case aDouble:
            slot.real = va_arg(arguments, double);
            break;
        case aLongDouble:
            slot.long_real = va_arg(arguments, long double);
            break;
        default:
            break;
    }
}

inline void fetch(Argument& slot, Kind kind, Arguments& arguments) {
    if (kind == anInt) {
        slot.integer = va_arg(arguments, int);
    } else if (kind == aPointer) {
        slot.pointer = va_arg(arguments, void const*);
    } else if (kind == aLong) {
        slot.integer = va_arg(arguments, long);
    } else {
        fetchRare(slot, kind, arguments);
    }
}

// Calls use(number, kind) for each use of an argument, in the order of the format; until one is
// false.
template <class Use>
inline bool forEachUse(Context const& context, Use use) {
    Directive const* const end = context.directives + context.directive_count;
    for (Directive const* d = context.directives; d != end; ++d) {
        unsigned const stars = d->flags & (ZPRINTF_WIDTH_ARGUMENT | ZPRINTF_PRECISION_ARGUMENT);
        if (stars != 0) {
            if ((stars & ZPRINTF_WIDTH_ARGUMENT) != 0 && !use(d->width, anInt)) return false;
            if ((stars & ZPRINTF_PRECISION_ARGUMENT) != 0 && !use(d->precision, anInt))
                return false;
        }
        Kind const kind = kindOfType[d->type];
        if (kind != noKind && !use(d->value, kind)) return false;
    }
    return true;
}

// Where some are numbered: first the slots take down what each use fetches, which has to agree and
// leave no slot out, then each of them fetches that.
bool fetchByNumber(Context& context, Arguments& arguments) {
    Argument* const slots = context.arguments;
    for (int n = 1; n <= context.argument_count; ++n) slots[n].integer = noKind;
    bool const agree = forEachUse(context, [&](int number, Kind kind) {
        if (slots[number].integer != noKind && slots[number].integer != kind) return false;
        slots[number].integer = kind;
        return true;
    });
    if (!agree) return false;
    for (int n = 1; n <= context.argument_count; ++n) {
        if (slots[n].integer == noKind) return false;
    }
    for (int n = 1; n <= context.argument_count; ++n) {
        fetch(slots[n], static_cast<Kind>(slots[n].integer), arguments);
    }
    return true;
}

// Finds room for the arguments and fetches them.
bool fetchArguments(Context& context, Parser const& parser, Arguments& arguments) {
    // Also before allocating: "%999999999$d" leaves arguments out.
    if (parser.highest() > parser.uses()) return false;
    context.argument_count = parser.highest();
    if (context.argument_count >= ZPRINTF_IN_PLACE) {
        std::size_t const count = static_cast<std::size_t>(context.argument_count) + 1;
        void* const table = std::calloc(count, sizeof(Argument));
        if (table == nullptr) return false;
        context.arguments = static_cast<Argument*>(table);
    }
    if (parser.isNumbered()) return fetchByNumber(context, arguments);
    Argument* const slots = context.arguments;
    return forEachUse(context, [&](int number, Kind kind) {
        fetch(slots[number], kind, arguments);
        return true;
    });
}

// The arrays are left as they are: nobody reads what has not been written.
void startInPlace(Context& context) {
    context.directive_count = 0;
    context.directive_room = ZPRINTF_IN_PLACE;
    context.argument_count = 0;
    context.directives = context.own_directives;
    context.arguments = context.own_arguments;
}

}  // namespace

extern "C" {

int zvsnprintf_parse_5_1(zvsnprintf_context_5_1* context, void* codeset, char const* format,
                         va_list args) {
    if (context == nullptr) return -1;
    startInPlace(*context);
    context->codeset = codeset;
    context->format = context->end = format == nullptr ? "" : format;
    if (format == nullptr) return -1;
    Parser parser(*context, format);
    if (parser.parse() && fetchArguments(*context, parser, args)) return 0;
    zvsnprintf_done_5_1(context);
    return -1;
}

void zvsnprintf_done_5_1(zvsnprintf_context_5_1* context) {
    if (context == nullptr) return;
    if (context->directives != context->own_directives) std::free(context->directives);
    if (context->arguments != context->own_arguments) std::free(context->arguments);
    startInPlace(*context);
    context->end = context->format;
}

}  // extern "C"
