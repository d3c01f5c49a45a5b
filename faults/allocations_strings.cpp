// Scenarios of the campaign `allocations`: strings, conversion, walks, formats, exceptions.
#include <Z/Z.h>
#include <Z/zasprintf.h>
#include <Z/zsnprintf.h>

#include <cstdarg>
#include <sstream>
#include <utility>

#include "Allocations.h"

namespace faults {

namespace {

using Local = ZLCString_5_1;
using Utf8 = ZUTF8String_5_1;

// ---- strings ----

// A place for an object that is made. What is seen is its text.
struct Made {
    std::unique_ptr<ZObject_5_1> object;

    std::string shown() const {
        auto const* string = dynamic_cast<ZAbstractString_5_1 const*>(object.get());
        return string ? string->getChars() : object ? "object" : "-";
    }
};

void addMaking(std::vector<Scenario>& all) {
    Uses<Made> const uses{all, [](Made& x) { return x.shown(); }};
    uses("text services", {Z_DO(x.object.reset(new Local(text)))}).startsCodesets = true;
    uses("string construction",
         {Z_DO(x.object.reset(new Local(text))), Z_DO(x.object.reset(new Utf8(text, 250))),
          Z_DO(x.object.reset(new Local(Utf8(text)))),
          Z_DO(x.object.reset(new Utf8(ZLCConstString_5_1(text)))),
          Z_DO(x.object.reset(new Local(Local(text) + ZLCConstString_5_1(text) + "!"))),
          Z_DO(x.object.reset(new Utf8(Utf8(text).subString(3, 250)))),
          Z_DO(x.object.reset(new Local(1234567890ul)))});
    uses("string copy",
         {Z_DO(x.object.reset(Local(text).clone())), Z_DO(x.object.reset(Utf8(text).clone())),
          Z_DO(x.object.reset(ZLCConstString_5_1(text).clone())),
          Z_DO(x.object.reset(new Local(Local(text))))});
}

// A string of either class, short or long.
template <class String, class Other, bool isLong>
struct Edited : String {
    Edited() : String(isLong ? ("a b, " + longText).c_str() : "a, b") {}
    Other const other{text};
};

template <class Subject>
void addEdits(std::vector<Scenario>& all) {
    Uses<Subject> const uses{all, [](Subject& x) { return x.getChars() + std::string("."); }};
    uses("string edit",
         {Z_DO(x.append(text)), Z_DO(x.append(text, 200)), Z_DO(x.insert(2, text)),
          Z_DO(x.prepend(text)), Z_DO(x.ZAbstractMutableString_5_1::operator=(text)), Z_DO(x += x),
          Z_DO(x.setChars(text)), Z_DO(x.format("%s %d %.200f", text, 7, 1e90)),
          Z_DO(x.replace(",", text)), Z_DO(x.replaceAll(", ", text)),
          Z_DO(x.replaceOther("xb", text)), Z_DO(x.setCapacity(1000)), Z_DO(x.bump(500, 1)),
          Z_DO(x.upper().lower().stripWhiteSpace().append(text))});
    // A string is empty while another one is converted into it or a line is read.
    uses(
        "string convert, read",
        {
            Z_DO(x.setChars(x.other)), Z_DO(x.convertFromCodeSet(x.other)),
                Z_DO(std::istringstream in(longText + "\nnext"); x.readLine(in))
        },
        {}, Left::part);
}

// ---- conversion, walks ----

struct Codec {
    ZBuffer_5_1 utf8, back;

    // To UTF-8 and back by a converter of its own.
    void convert(char const* codeset, char const* local) {
        ZTISUTF8Converter_5_1 const converter(codeset, nullptr);
        converter.convertToUTF8(local, utf8);
        converter.convertToLocal(static_cast<char*>(utf8.getBuffer()), back);
    }
    std::string shown() const {
        auto const* bytes = static_cast<char*>(back.getBuffer());
        return bytes ? std::string(bytes, back.getLength()) : std::string();
    }
};

struct Walk {
    Local const source{("a, " + longText + "," + longText).c_str()};
    Local const delimiters{(" ,;" + std::string(200, '.')).c_str()};
    Local out;
    ZArrayList_5_1 tokens{1, 1};
    unsigned int count = 0;

    void tokenize() {
        tokens.removeAll();
        ZStringTokenizer_5_1 walker(source, out, delimiters);
        std::unique_ptr<ZObject_5_1> const copy(walker.clone());
        static_cast<ZStringTokenizer_5_1&>(*copy).list(tokens);
        while (walker.hasMore()) walker.getNext();
    }
    void iterate() {
        ZStringIterator_5_1 walker(source, out);
        std::unique_ptr<ZObject_5_1> const copy(walker.clone());
        for (count = 0; walker.hasMore(); ++count) walker.getNext();
    }
};

void addWalks(std::vector<Scenario>& all) {
    // A codeset that cannot be opened for want of memory counts as one that is not known.
    Uses<Codec> const codecs{all, [](Codec& x) { return x.shown(); }};
    codecs("codecs",
           {Z_DO(x.convert("UTF-8", "\xc3\xa4\xe2\x82\xac")),
            Z_DO(x.convert("ISO-8859-1", "\xe4\xf6")),
            Z_DO(x.convert("EUC-JP", "\xa4\xa2\x8f\xb0\xa1")),
            Z_DO(x.convert("GB18030", "\x81\x30\x84\x36")),
            Z_DO(x.convert("BIG5-HKSCS", "\x88\x62\xa4\xa4"))},
           {}, Left::anything)
        .keptByLibrary = 3;
    Uses<Walk> const walks{
        all, [](Walk& x) { return std::to_string(x.tokens.size()) + std::to_string(x.count); }};
    walks("tokenizer, iterator", {Z_DO(x.tokenize()), Z_DO(x.iterate())}, {}, Left::part);
}

// ---- formats ----

constexpr unsigned short wide[] = {'w', 0xe4, 0x20ac, 0};
constexpr char format[] =
    "%1$d %2$s %3$C %4$S %5$.120f %6$Lg %7$e %8$ld %9$lld %10$p %11$*12$d %13$c %14$s%%";
#define Z_ARGUMENTS 7, text, wide[1], wide, 1e90, 3.5L, 1e-300, -1l, 2ll, nullptr, 5, 40, 'c', "end"

struct Formatted {
    char place[4096] = "";
    char* block = nullptr;

    ~Formatted() { zasprintf_free_5_1(block); }
    char** freed() {
        zasprintf_free_5_1(std::exchange(block, nullptr));
        return &block;
    }
    // A failure leaves no block.
    int code(int length) const { return length >= 0 ? 0 : block ? -2 : -1; }
};

int inPlace(Formatted* x, ...) {
    va_list args;
    va_start(args, x);
    int const length = zvsnprintf_5_1(x->place, sizeof x->place, format, args);
    va_end(args);
    return length;
}

int inBlock(Formatted* x, ...) {
    va_list args;
    va_start(args, x);
    int const length = zvasprintf_5_1(x->freed(), format, args);
    va_end(args);
    return length;
}

void addFormats(std::vector<Scenario>& all) {
    Uses<Formatted> const uses{
        all, [](Formatted& x) { return std::string(x.block ? x.block : x.place); }};
    uses("format",
         {Z_CODE(x.code(zsnprintf_5_1(x.place, sizeof x.place, format, Z_ARGUMENTS))),
          Z_CODE(x.code(zasprintf_5_1(x.freed(), format, Z_ARGUMENTS))),
          Z_CODE(x.code(inPlace(&x, Z_ARGUMENTS))), Z_CODE(x.code(inBlock(&x, Z_ARGUMENTS)))},
         {-1}, Left::part);
}

// ---- exceptions and reports ----

template <class Exception, class... Inserts>
ZObject_5_1* thrown(Inserts... inserts) {
    try {
        Exception(inserts...).throwException("here", 1);
    } catch (Exception& caught) {
        return caught.clone();
    }
    return nullptr;
}

void report() {
    auto const* service = ZMessageService_5_1::messageService();
    Local const insert(text);
    Utf8 const other(text);
    service->outputMessage("here", 1, 43, 2, &insert, &insert);
    service->outputMessageUTF8("here", 1, 43, 1, &other);
    for (int code = 0; code < 56; ++code) ZThreadException_5_1(code, 7).print();
    ZPropertiesIOException_5_1(text, text, 7).dumpException();
    ZConverterException_5_1(2, 7, text, text).print();
    ZUnexpectedEndOfFile_5_1(text).print();
}

using Missing = ZPropertiesMissingPropertyException_5_1;

void addExceptions(std::vector<Scenario>& all) {
    Uses<Made> const uses{all, [](Made& x) { return x.shown(); }};
    // The copy that is thrown is made where nothing else can be thrown.
    uses("exceptions, long",
         {Z_DO(x.object.reset(thrown<Missing>(text, text, text))),
          Z_DO(x.object.reset(thrown<ZPropertiesInvalidDataException_5_1>(text, text, 7))),
          Z_DO(x.object.reset(thrown<ZPropertiesIOException_5_1>(text, text, 7))),
          Z_DO(x.object.reset(thrown<ZSharedLibraryResolveException_5_1>(text, text, text, 7))),
          Z_DO(x.object.reset(thrown<ZOpenResourceException_5_1>(37, 7, text)))})
        .endsProcess = true;
    uses("exceptions, short",
         {Z_DO(x.object.reset(thrown<ZOutOfMemoryException_5_1>())),
          Z_DO(x.object.reset(thrown<ZThreadException_5_1>(15, 7))),
          Z_DO(x.object.reset(thrown<Missing>("f", "s", "k"))),
          Z_DO(x.object.reset(thrown<ZConverterException_5_1>(2, 7, "from", "to"))),
          Z_DO(x.object.reset(thrown<ZCodesetException_5_1>("none"))),
          Z_DO(x.object.reset(thrown<ZToUTF8Exception_5_1>()))});
    uses("message service", {Z_DO(report())});
}

}  // namespace

void addStrings(std::vector<Scenario>& all) {
    addMaking(all);
    addEdits<Edited<Local, Utf8, false>>(all);
    addEdits<Edited<Local, Utf8, true>>(all);
    addEdits<Edited<Utf8, Local, false>>(all);
    addEdits<Edited<Utf8, Local, true>>(all);
    addWalks(all);
    addFormats(all);
    addExceptions(all);
}

}  // namespace faults
