// ZStringTokenizer and ZStringIterator: every method, over texts of both codesets, valid or not.
//
// Oracle: a cursor over a std::string, with the characters told by the C library (codesets.h). A
// character is a delimiter when its bytes occur anywhere in those of the delimiters; at a byte that
// begins no character a call throws, and leaves cursor and output as the model says.
//
// Input: how source and delimiters are held; the texts; then a byte for each call.
#include <Z/ZException.h>
#include <Z/ZList.h>
#include <Z/ZStringIterator.h>
#include <Z/ZStringTokenizer.h>

#include <memory>

#include "string_model.h"

using fuzz::Codeset;
using fuzz::View;
using Strings = std::vector<std::string>;

namespace {

struct Invalid {};

class Model {
public:
    Model(Codeset const& codeset, View source, View delimiters)
        : codeset_(codeset), source_(source), own_(fuzz::upToNul(delimiters)) {}

    std::size_t at = 0;
    std::string output;
    unsigned capacity = 95;
    std::string const& own() const { return own_; }

    // Where the run of delimiters (of others) at the cursor ends.
    std::size_t run(View delimiters, bool members) const {
        std::size_t end = at;
        while (!isEnd(end)) {
            std::size_t const bytes = length(end);
            bool const member = delimiters.find(View(source_).substr(end, bytes)) != View::npos;
            if (member != members) break;
            end += bytes;
        }
        return end;
    }
    int hasMore(View delimiters) {
        at = run(delimiters, true);
        return !isEnd(at);
    }
    void getNext(View delimiters) {
        at = run(delimiters, true);
        set(fuzz::upToNul(View(source_).substr(at)));
        std::size_t const end = run(delimiters, false);
        output.resize(end - at);
        at = end;
    }
    Strings list() {
        Strings tokens;
        try {
            while (hasMore(own_)) {
                getNext(own_);
                tokens.push_back(output);
            }
        } catch (Invalid&) {
            tokens.push_back("invalid");
        }
        return tokens;
    }

    // Those of the iterator.
    bool hasMoreCharacters() const { return !isEnd(at); }
    void nextCharacter() {
        output.clear();
        if (at == source_.size() || (!fuzz::isBytewise(codeset_) && isEnd(at))) return;
        std::size_t const bytes = length(at);
        set(source_.substr(at, bytes));
        at += bytes;
    }

private:
    bool isEnd(std::size_t place) const {
        return place == source_.size() || source_[place] == '\0';
    }
    std::size_t length(std::size_t place) const {
        if (fuzz::isBytewise(codeset_)) return 1;
        int const bytes = codeset_.at(fuzz::upToNul(View(source_).substr(place, 4))).length;
        if (bytes < 0) throw Invalid();
        return static_cast<std::size_t>(bytes);
    }
    void set(std::string const& text) {
        capacity = fuzz::filled(capacity, text.size());
        output = text;
    }

    Codeset const& codeset_;
    std::string source_, own_;
};

// What a call gives, or that it throws.
template <class Call>
int outcome(Call call) {
    try {
        return static_cast<int>(call());
    } catch (Invalid&) {
        return -1;
    } catch (ZTISMBLenException_5_1&) {
        return -1;
    }
}

#define SAME(call, model) \
    FUZZ_CHECK(outcome([&] { return call; }) == outcome([&] { return model; }))

Strings listed(ZStringTokenizer_5_1& tokenizer, int owning) {
    Strings tokens;
    ZArrayList_5_1 list(1, owning);
    bool const threw = outcome([&] { return tokenizer.list(list), 0; }) < 0;
    for (unsigned i = 0; i < list.size(); ++i) {
        auto* const token = static_cast<ZAbstractString_5_1*>(list.get(i));
        tokens.push_back(fuzz::textOf(*token));
        if (!owning) delete token;
    }
    if (threw) tokens.push_back("invalid");
    return tokens;
}

void checkOutput(ZAbstractMutableString_5_1 const& output, Model const& model) {
    FUZZ_CHECK(fuzz::textOf(output) == model.output);
    FUZZ_CHECK(output.getCapacity() == model.capacity);
}

// A copy of a copy, which goes on from the same place.
template <class Iterator>
std::unique_ptr<Iterator> copied(Iterator const& from) {
    std::unique_ptr<ZObject_5_1> const clone(from.clone());
    return std::make_unique<Iterator>(static_cast<Iterator const&>(*clone));
}

void tokenize(std::unique_ptr<ZStringTokenizer_5_1> t, ZAbstractMutableString_5_1& output,
              Model& model, ZAbstractString_5_1 const& others, FuzzedDataProvider& data) {
    std::string const other = fuzz::upToNul(fuzz::textOf(others));
    while (data.remaining_bytes() != 0) {
        switch (data.ConsumeIntegral<unsigned char>() % 11) {
            case 0:
                SAME(t->hasMore(), model.hasMore(model.own()));
                break;
            case 1:
                SAME(t->hasMore(others), model.hasMore(other));
                break;
            case 2:
            case 3:
                SAME(t->getNext() == &output, (model.getNext(model.own()), true));
                break;
            case 4:
                SAME(t->getNext(others) == &output, (model.getNext(other), true));
                break;
            case 5:
                SAME(t->skipAll(others), model.run(other, true) - model.at);
                break;
            case 6:
                SAME(t->skipOther(others), model.run(other, false) - model.at);
                break;
            case 7:
                t->reset();
                model.at = 0;
                break;
            case 8:
                t = copied(*t);
                break;
            default: {
                int const owning = data.ConsumeBool();
                FUZZ_CHECK(listed(*t, owning) == model.list());
            }
        }
        checkOutput(output, model);
    }
}

void iterate(std::unique_ptr<ZStringIterator_5_1> i, ZAbstractMutableString_5_1& output,
             Model& model, FuzzedDataProvider& data) {
    while (data.remaining_bytes() != 0) {
        switch (data.ConsumeIntegral<unsigned char>() % 8) {
            case 0:
                i->reset();
                model.at = 0;
                break;
            case 1:
                i = copied(*i);
                break;
            default:
                SAME(i->hasMore(), model.hasMoreCharacters());
                SAME(i->getNext() == &output, (model.nextCharacter(), true));
        }
        checkOutput(output, model);
    }
}

// As it is, or with a character in place of each byte that is not ASCII: of UTF-8, of EUC-JP, and
// two stray bytes.
std::string textOf(FuzzedDataProvider& data, std::size_t most, bool isRaw) {
    static constexpr View pieces[] = {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9D\x84\x9E",
                                      "\xC2\xA0", "\xA4\xA2",     "\x8F\xA2\xAF",
                                      "\xC3",     "\xAC"};
    std::string const bytes = data.ConsumeRandomLengthString(most);
    if (isRaw) return bytes;
    std::string text;
    for (char const c : bytes)
        text +=
            c >= 0 ? View(&c, 1) : pieces[static_cast<unsigned char>(c) % 64 < 60 ? c & 3 : c & 7];
    return text;
}

template <class String, class Const, class Foreign>
void run(Codeset const& codeset, Codeset const& foreign, FuzzedDataProvider& data) {
    unsigned const how = data.ConsumeIntegral<unsigned char>();
    bool const iterates = (how & 1) != 0, isView = (how & 2) != 0, isForeign = (how & 4) != 0,
               isDefault = (how & 8) != 0;
    bool const isRaw = (how & 16) != 0;
    std::string const text = textOf(data, 160, isRaw);
    std::string const delimiters = textOf(data, 12, isRaw);
    std::string const others = textOf(data, 12, isRaw);
    auto const size = [](std::string const& s) { return static_cast<unsigned>(s.size()); };

    String const owned(text.data(), size(text));
    Const const view(text.c_str());
    std::string const source = isView ? fuzz::upToNul(text) : text;
    String output;
    if (iterates) {
        Model model(codeset, source, "");
        auto iterator = isView ? std::make_unique<ZStringIterator_5_1>(view, output)
                               : std::make_unique<ZStringIterator_5_1>(owned, output);
        return iterate(std::move(iterator), output, model, data);
    }
    String const same(delimiters.data(), size(delimiters));
    Foreign const converted(delimiters.data(), size(delimiters));
    auto const& given = isForeign ? static_cast<ZAbstractString_5_1 const&>(converted) : same;
    auto const& from = isView ? static_cast<ZAbstractString_5_1 const&>(view) : owned;
    std::string const own = isDefault   ? " \t\r\n"
                            : isForeign ? fuzz::converted(foreign, codeset, delimiters).value_or("")
                                        : delimiters;
    Model model(codeset, source, own);
    auto tokenizer = isDefault ? std::make_unique<ZStringTokenizer_5_1>(from, output)
                               : std::make_unique<ZStringTokenizer_5_1>(from, output, given);
    tokenize(std::move(tokenizer), output, model, String(others.data(), size(others)), data);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* bytes, std::size_t size) {
    FuzzedDataProvider data(bytes, size);
    Codeset const& local = fuzz::localCodeset();
    Codeset const& utf8 = fuzz::utf8Codeset();
    if (data.ConsumeBool()) {
        run<ZLCString_5_1, ZLCConstString_5_1, ZUTF8String_5_1>(local, utf8, data);
    } else {
        run<ZUTF8String_5_1, ZUTF8ConstString_5_1, ZLCString_5_1>(utf8, local, data);
    }
    return 0;
}
