// strings_bench: strings of the local codeset and codesets, against the peers.
#include <Z/ZLCString.h>
#include <glib.h>
#include <iconv.h>
#include <tis/tis.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <QString>
#include <QTextCodec>

#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "bench.h"

namespace {

using bench::add;
using benchmark::DoNotOptimize;
using benchmark::State;

// ---- strings: the same templates for all classes ----
//
// std::string and GString hold bytes and no codeset. QString and ICU's UnicodeString hold UTF-16:
// they convert what they are made from. Copies of a QString, and of a long UnicodeString, share a
// text.

// GString with a C++ string's life.
struct GText {
    explicit GText(char const* chars = "") : text(g_string_new(chars)) {}
    GText(GText const& other)
        : text(g_string_new_len(other.text->str, static_cast<gssize>(other.text->len))) {}
    GText& operator=(GText const& other) {
        if (this != &other) {
            g_string_truncate(text, 0);
            g_string_append_len(text, other.text->str, static_cast<gssize>(other.text->len));
        }
        return *this;
    }
    ~GText() { g_string_free(text, TRUE); }

    GString* text;
};

// A string class under the name of its column.
template <class Class>
struct Text;

template <>
struct Text<ZLCString_5_1> {
    static constexpr char const* who = "Z";
    static ZLCString_5_1 make(char const* chars) { return ZLCString_5_1(chars); }
    static void append(ZLCString_5_1& text, char c) { text.append(c); }
    static std::size_t find(ZLCString_5_1 const& text, ZLCString_5_1 const& part) {
        return text.indexOf(part.getChars());
    }
    static std::size_t hash(ZLCString_5_1 const& text) { return text.hash(); }
    static bool equal(ZLCString_5_1 const& a, ZLCString_5_1 const& b) { return a == b; }
};

template <>
struct Text<std::string> {
    static constexpr char const* who = "std";
    static std::string make(char const* chars) { return std::string(chars); }
    static void append(std::string& text, char c) { text.push_back(c); }
    static std::size_t find(std::string const& text, std::string const& part) {
        return text.find(part);
    }
    // Another function, which reads eight bytes at a time.
    static std::size_t hash(std::string const& text) { return std::hash<std::string>()(text); }
    static bool equal(std::string const& a, std::string const& b) { return a == b; }
};

template <>
struct Text<QString> {
    static constexpr char const* who = "QString";
    static QString make(char const* chars) { return QString::fromUtf8(chars); }
    static void append(QString& text, char c) { text.append(QLatin1Char(c)); }
    static std::size_t find(QString const& text, QString const& part) {
        return static_cast<std::size_t>(text.indexOf(part));
    }
    static std::size_t hash(QString const& text) { return qHash(text); }
    static bool equal(QString const& a, QString const& b) { return a == b; }
};

template <>
struct Text<icu::UnicodeString> {
    static constexpr char const* who = "ICU";
    static icu::UnicodeString make(char const* chars) {
        return icu::UnicodeString::fromUTF8(chars);
    }
    static void append(icu::UnicodeString& text, char c) { text.append(static_cast<UChar>(c)); }
    static std::size_t find(icu::UnicodeString const& text, icu::UnicodeString const& part) {
        return static_cast<std::size_t>(text.indexOf(part));
    }
    // Of a text longer than 32 units, 32 alone are read.
    static std::size_t hash(icu::UnicodeString const& text) {
        return static_cast<std::size_t>(text.hashCode());
    }
    static bool equal(icu::UnicodeString const& a, icu::UnicodeString const& b) { return a == b; }
};

template <>
struct Text<GText> {
    static constexpr char const* who = "GString";
    static GText make(char const* chars) { return GText(chars); }
    static void append(GText& text, char c) { g_string_append_c(text.text, c); }
    static std::size_t find(GText const& text, GText const& part) {
        return static_cast<std::size_t>(std::strstr(text.text->str, part.text->str) -
                                        text.text->str);
    }
    static std::size_t hash(GText const& text) { return g_string_hash(text.text); }
    static bool equal(GText const& a, GText const& b) { return g_string_equal(a.text, b.text); }
};

std::string sampleText(std::size_t length) {
    std::string text;
    while (text.size() < length) text += "the quick brown fox jumps over a lazy dog ";
    text.resize(length);
    return text;
}

template <class String>
void addStrings() {
    using Of = Text<String>;
    char const* who = Of::who;
    for (std::size_t length : {12, 20, 60, 200}) {
        std::string text = sampleText(length);
        std::string size = std::to_string(length);
        // From characters of unknown length, and destroyed again.
        add("string/make", who, size, [text](State& state) {
            char const* chars = text.c_str();
            for (auto _ : state) {
                DoNotOptimize(chars);
                String made(Of::make(chars));
                DoNotOptimize(made);
            }
        });
        add("string/copy", who, size, [text](State& state) {
            String source(Of::make(text.c_str()));
            for (auto _ : state) {
                DoNotOptimize(source);
                String copy(source);
                DoNotOptimize(copy);
            }
        });
        // Into a string that has had as long a text before.
        add("string/assign", who, size, [text](State& state) {
            String source(Of::make(text.c_str()));
            String target(source);
            for (auto _ : state) {
                DoNotOptimize(source);
                target = source;
                DoNotOptimize(target);
            }
        });
        // Each class by its own function.
        add("string/hash", who, size, [text](State& state) {
            String source(Of::make(text.c_str()));
            for (auto _ : state) {
                DoNotOptimize(source);
                DoNotOptimize(Of::hash(source));
            }
        });
        add("string/equal", who, size, [text](State& state) {
            String left(Of::make(text.c_str()));
            String right(Of::make(text.c_str()));
            for (auto _ : state) {
                DoNotOptimize(left);
                DoNotOptimize(Of::equal(left, right));
            }
        });
    }
    for (std::size_t length : {100, 1000}) {
        std::string size = std::to_string(length);
        // Character by character into a new string.
        add("string/append_chars", who, size, [length](State& state) {
            for (auto _ : state) {
                String text;
                for (std::size_t i = 0; i < length; ++i) Of::append(text, 'x');
                DoNotOptimize(text);
            }
        });
        // A word that stands at the very end.
        add("string/find", who, size, [length](State& state) {
            String text(Of::make((sampleText(length - 4) + "goal").c_str()));
            String part(Of::make("goal"));
            for (auto _ : state) {
                DoNotOptimize(text);
                DoNotOptimize(part);
                DoNotOptimize(Of::find(text, part));
            }
        });
    }
}

// ---- conversion ----

// An open descriptor, as a program would keep one per thread.
class Iconv {
public:
    Iconv(char const* to, char const* from) : descriptor_(iconv_open(to, from)) {
        if (descriptor_ == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error(from);
    }
    Iconv(Iconv const&) = delete;
    Iconv& operator=(Iconv const&) = delete;
    ~Iconv() { iconv_close(descriptor_); }

    // Bytes written, -1 on failure.
    int convert(char const* source, std::size_t length, char* target, std::size_t room) const {
        iconv(descriptor_, nullptr, nullptr, nullptr, nullptr);
        char* from = const_cast<char*>(source);
        char* to = target;
        if (iconv(descriptor_, &from, &length, &to, &room) == static_cast<std::size_t>(-1)) {
            return -1;
        }
        return static_cast<int>(to - target);
    }

private:
    iconv_t descriptor_;
};

std::string converted(Iconv const& converter, std::string const& text) {
    std::string out(4 * text.size() + 16, '\0');
    int length = converter.convert(text.data(), text.size(), out.data(), out.size());
    if (length < 0) throw std::runtime_error("the sample text does not convert");
    out.resize(static_cast<std::size_t>(length));
    return out;
}

// Whole characters of `pattern`, about `bytes` bytes of UTF-8.
std::string repeated(char const* pattern, std::size_t bytes) {
    std::string text;
    for (char const* at = pattern; text.size() < bytes; at = *at != 0 ? at : pattern) {
        char const* next = g_utf8_next_char(at);
        text.append(at, next);
        at = next;
    }
    return text;
}

struct Sample {
    char const* label;
    char const* codeset;
    char const* text;
};

Sample const samples[] = {
    {"ASCII_in_UTF-8", "UTF-8", "max_requests = 100 # of one host "},
    {"UTF-8", "UTF-8", "Größe der Über\u00adsicht für Ærø: 日本語の設定 "},
    {"ISO-8859-1", "ISO-8859-1", "Größe der Übersicht für Ærø, naïve façade "},
    {"EUC-JP", "EUC-JP", "設定ファイルの値 (default) を読み込みます "},
};

// Both sides check the text that they convert, and write no terminator.
void addConversion(std::string const& work, std::string const& size, char const* codeset, bool back,
                   std::string const& source) {
    add(work, "Z", size, [=](State& state) {
        tis_cs* handle = tis_cs_new(codeset);
        std::string target(3 * source.size() + 16, '\0');
        auto convert = back ? tis_from_utf8 : tis_to_utf8;
        int length = 0;
        for (auto _ : state) {
            length = convert(handle, source.data(), static_cast<int>(source.size()), target.data(),
                             static_cast<int>(target.size()));
            DoNotOptimize(length);
            benchmark::ClobberMemory();
        }
        tis_cs_free(handle);
        target.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        Iconv judge(back ? codeset : "UTF-8", back ? "UTF-8" : codeset);
        if (target != converted(judge, source)) state.SkipWithError("another text than iconv's");
    });
    add(work, "iconv", size, [=](State& state) {
        Iconv converter(back ? codeset : "UTF-8", back ? "UTF-8" : codeset);
        std::string target(3 * source.size() + 16, '\0');
        for (auto _ : state) {
            DoNotOptimize(
                converter.convert(source.data(), source.size(), target.data(), target.size()));
            benchmark::ClobberMemory();
        }
    });
    // Through a QString, and without an error for what cannot be converted.
    add(work, "Qt", size, [=](State& state) {
        QTextCodec* codec = QTextCodec::codecForName(codeset);
        int length = static_cast<int>(source.size());
        for (auto _ : state) {
            QByteArray target = back ? codec->fromUnicode(QString::fromUtf8(source.data(), length))
                                     : codec->toUnicode(source.data(), length).toUtf8();
            DoNotOptimize(target.data());
        }
    });
    // Over UTF-16 in pieces.
    add(work, "ICU", size, [=](State& state) {
        UErrorCode status = U_ZERO_ERROR;
        UConverter* converter = ucnv_open(codeset, &status);
        ucnv_setFromUCallBack(converter, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                              &status);
        ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
        std::string target(3 * source.size() + 16, '\0');
        int room = static_cast<int>(target.size()), length = static_cast<int>(source.size());
        for (auto _ : state) {
            DoNotOptimize(back ? ucnv_fromAlgorithmic(converter, UCNV_UTF8, target.data(), room,
                                                      source.data(), length, &status)
                               : ucnv_toAlgorithmic(UCNV_UTF8, converter, target.data(), room,
                                                    source.data(), length, &status));
            benchmark::ClobberMemory();
        }
        if (U_FAILURE(status)) state.SkipWithError(u_errorName(status));
        ucnv_close(converter);
    });
}

void addConversions() {
    for (std::size_t bytes : {std::size_t(20), std::size_t(65536)}) {
        std::string size = bytes < 1024 ? "20B" : "64KB";
        for (Sample const& sample : samples) {
            std::string utf8 = repeated(sample.text, bytes);
            std::string local = converted(Iconv(sample.codeset, "UTF-8"), utf8);
            std::string label = sample.label;
            bool same = std::strcmp(sample.codeset, "UTF-8") == 0;
            if (same) label += "_to_UTF-8";
            addConversion("convert/" + (same ? label : label + "_to_UTF-8"), size, sample.codeset,
                          false, local);
            if (!same) {
                addConversion("convert/UTF-8_to_" + label, size, sample.codeset, true, utf8);
                continue;
            }
            // Only checks, copies nothing.
            add("convert/" + label, "g_utf8_validate", size, [utf8](State& state) {
                for (auto _ : state) {
                    DoNotOptimize(
                        g_utf8_validate(utf8.data(), static_cast<gssize>(utf8.size()), nullptr));
                }
            });
        }
    }
}

}  // namespace

void addTexts();  // text_bench.cpp

int main(int argc, char** argv) {
    bench::prepare();
    addStrings<ZLCString_5_1>();
    addStrings<std::string>();
    addStrings<QString>();
    addStrings<icu::UnicodeString>();
    addStrings<GText>();
    addTexts();
    addConversions();
    return bench::run(argc, argv);
}
