// text_bench: 1 MB of UTF-8 cut into words, and walked character by character, against the peers.
#include <Z/ZStringIterator.h>
#include <Z/ZStringTokenizer.h>
#include <glib.h>
#include <unicode/uniset.h>
#include <unicode/utf8.h>

#include <QString>
#include <QStringList>
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "bench.h"

namespace {

using bench::add;
using benchmark::DoNotOptimize;
using benchmark::State;

constexpr char const* delimiters = " \t\r\n";

// Z and std put each word into one string, whose bytes are then there to be used.

void tokenizeZ(State& state, std::string const& text) {
    ZUTF8String_5_1 source(text.c_str()), word;
    for (auto _ : state) {
        for (ZStringTokenizer_5_1 words(source, word); words.hasMore();) {
            DoNotOptimize(words.getNext());
        }
    }
}

// Bytes: does not see whether they are characters.
void tokenizeStd(State& state, std::string const& text) {
    std::string word;
    for (auto _ : state) {
        std::string_view const rest(text);
        for (std::size_t from = 0, to = 0;
             (from = rest.find_first_not_of(delimiters, to)) != rest.npos;) {
            to = std::min(rest.find_first_of(delimiters, from), rest.size());
            word.assign(rest, from, to - from);
            DoNotOptimize(word);
        }
    }
}

// Bytes, cut in a copy of the text; copies no words.
void tokenizeStrtok(State& state, std::string const& text) {
    for (auto _ : state) {
        std::string copy(text);
        char* place = nullptr;
        char* from = copy.data();
        while (char* word = strtok_r(from, delimiters, &place)) {
            DoNotOptimize(word);
            from = nullptr;
        }
    }
}

// Bytes; all words at once, each in a block of its own.
void tokenizeGLib(State& state, std::string const& text) {
    for (auto _ : state) {
        gchar** words = g_strsplit_set(text.c_str(), delimiters, -1);
        DoNotOptimize(words);
        g_strfreev(words);
    }
}

// UTF-16, made before; one delimiter alone; all words at once, each in a block of its own.
void tokenizeQt(State& state, std::string const& text) {
    QString const source = QString::fromStdString(text);
    for (auto _ : state) {
        DoNotOptimize(source.split(QLatin1Char(' '), Qt::SkipEmptyParts).size());
    }
}

// Takes invalid bytes for words.
void tokenizeICU(State& state, std::string const& text) {
    icu::UnicodeSet set;
    for (char const* p = delimiters; *p != '\0'; ++p) set.add(static_cast<UChar32>(*p));
    set.freeze();
    std::string word;
    for (auto _ : state) {
        char const* at = text.data();
        char const* const end = at + text.size();
        auto const span = [&](USetSpanCondition condition) {
            return set.spanUTF8(at, static_cast<int32_t>(end - at), condition);
        };
        for (;;) {
            at += span(USET_SPAN_CONTAINED);
            if (at == end) break;
            int32_t const bytes = span(USET_SPAN_NOT_CONTAINED);
            word.assign(at, static_cast<std::size_t>(bytes));
            DoNotOptimize(word);
            at += bytes;
        }
    }
}

// Z, and GLib below, put each character into one string. Z also checks it.
void iterateZ(State& state, std::string const& text) {
    ZUTF8String_5_1 source(text.c_str()), character;
    for (auto _ : state) {
        for (ZStringIterator_5_1 characters(source, character); characters.hasMore();) {
            DoNotOptimize(characters.getNext());
        }
    }
}

void iterateGLib(State& state, std::string const& text) {
    GString* character = g_string_new(nullptr);
    for (auto _ : state) {
        for (char const* at = text.c_str(); *at != '\0';) {
            char const* next = g_utf8_next_char(at);
            g_string_truncate(character, 0);
            g_string_append_len(character, at, next - at);
            DoNotOptimize(character->str);
            at = next;
        }
    }
    g_string_free(character, TRUE);
}

// Checks, and gives code points instead of strings.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"  // in U8_NEXT
void iterateICU(State& state, std::string const& text) {
    auto const length = static_cast<int32_t>(text.size());
    for (auto _ : state) {
        for (int32_t at = 0; at < length;) {
            UChar32 c;
            U8_NEXT(text.data(), at, length, c);
            DoNotOptimize(c);
        }
    }
}
#pragma GCC diagnostic pop

}  // namespace

void addTexts() {
    struct {
        char const* size;
        char const* pattern;
    } const samples[] = {
        {"ASCII_1MB", "the settings of max_requests = 100 say naïve "},
        {"CJK_1MB", "設定ファイルの値を 読み込みます 日本語 "},
    };
    struct {
        char const* work;
        char const* who;
        void (*run)(State&, std::string const&);
    } const rows[] = {
        {"text/tokenize", "Z", tokenizeZ},
        {"text/tokenize", "std", tokenizeStd},
        {"text/tokenize", "strtok_r", tokenizeStrtok},
        {"text/tokenize", "GLib", tokenizeGLib},
        {"text/tokenize", "Qt", tokenizeQt},
        {"text/tokenize", "ICU", tokenizeICU},
        {"text/iterate", "Z", iterateZ},
        {"text/iterate", "GLib", iterateGLib},
        {"text/iterate", "ICU", iterateICU},
    };
    for (auto const& sample : samples) {
        std::string text;
        while (text.size() < 1 << 20) text += sample.pattern;
        for (auto const& row : rows) {
            add(row.work, row.who, sample.size,
                [row, text](State& state) { row.run(state, text); });
        }
    }
}
