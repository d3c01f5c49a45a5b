// Changes of a stanza file, plain and obfuscated, against the model: each is accepted or refused
// alike, what is stored is the model's text to the byte and its records in order, and a fresh
// instance reads all of it back.
// stanza_script.h says how inputs are written.
#include "stanza_compare.h"
#include "stanza_script.h"

namespace {

using namespace fuzz;

std::string const mainFile = folder() + "/changes", second = folder() + "/second";

class Changes {
public:
    explicit Changes(std::string const& text) {
        for (char const* name : {"/changes.obf", "/second.obf", "/one.obf", "/two.obf"}) {
            unlink((folder() + name).c_str());
        }
        writeFile(mainFile, text);
        loadBoth(properties_, model_, mainFile);
    }

    void make(Change const& change) {
        stanza_ = change.stanza;
        key_ = change.key;
        std::string const& text = change.text;
        char const *const s = stanza_.c_str(), *const k = key_.c_str(), *const t = text.c_str();
        auto const number = static_cast<unsigned int>(text.size());
        switch (change.action) {
            case 's':
                return both(model_.setValue(stanza_, key_, text, false),
                            [&] { properties_.setValue(s, k, t); });
            case 'S':
                return both(model_.setValue(stanza_, key_, text, true), [&] {
                    if (!isAscii(text)) return properties_.setValue(s, k, t, 1);
                    properties_.setValue(s, k, ZUTF8ConstString_5_1(t), 1);
                });
            case 'i':
                if (change.namesDatabase()) return;  // there is no such file
                return both(model_.setValue(stanza_, key_, std::to_string(number), false),
                            [&] { properties_.setIntegerValue(s, k, number); });
            case 't':
                if (change.namesDatabase()) return;
                return both(model_.setValue(stanza_, key_, number % 2 ? "yes" : "no", false),
                            [&] { properties_.setBooleanValue(s, k, number % 2 != 0); });
            case 'a':
                return both(model_.addValues(stanza_, key_, {text}, false),
                            [&] { properties_.addValue(s, k, t, 0); });
            case 'A':
                return both(model_.addValues(stanza_, key_, {text}, true),
                            [&] { properties_.addValue(s, k, ZLCConstString_5_1(t), 1); });
            case 'm':
            case 'M':
                return addList(change.namesDatabase() ? Texts{text} : split(text, ','),
                               change.action == 'M');
            case 'd':
                return both(model_.deleteKey(stanza_, key_), [&] { properties_.deleteKey(s, k); });
            case 'D':
                return both(model_.deleteStanza(stanza_), [&] { properties_.deleteStanza(s); });
            case 'n':
                return both(model_.addStanza(stanza_), [&] { properties_.addStanza(s); });
            case 'c':
                return both(model_.addFileComment(text), [&] { properties_.addFileComment(t); });
            case 'C':
                return both(model_.addStanzaComment(stanza_, text),
                            [&] { properties_.addStanzaComment(s, t); });
            case 'e':
                return both(model_.addEntryComment(stanza_, key_, text),
                            [&] { properties_.addEntryComment(s, k, t); });
            case 'v':
                return walk(change.namesDatabase() ? ">>-" : text);
            case 'w':
                return store(mainFile);
            case 'W':
                return store(second);
            case 'r':
                return reload();
            case '?':
            case '!':
                return compare(properties_, model_, change.action == '!');
            default:
                return;
        }
    }

    void finish(bool isThorough) {
        store(mainFile);
        compare(properties_, model_, false);
        StanzaModel readModel;
        if (isThorough) readBack(readModel, mainFile);
    }

private:
    template <class Work>
    void both(bool isAccepted, Work const& work) {
        FUZZ_CHECK(outcomeOf(work) == (isAccepted ? Outcome::done : Outcome::refused));
    }

    void addList(Texts const& texts, bool hidden) {
        ZArrayList_5_1 list(1, 1);
        for (auto const& text : texts) {
            ZLCString_5_1 const string(text.c_str());
            list.add(&string);
        }
        both(model_.addValues(stanza_, key_, texts, hidden),
             [&] { properties_.addValues(stanza_.c_str(), key_.c_str(), list, hidden); });
    }

    // ">" next, "-" remove, "=x" change to x, "+x" add x; "_" is the empty text.
    void walk(std::string const& script) {
        if (stanza_.empty() || key_.empty()) return;
        StanzaModel::Values const* const held = model_.find(stanza_, key_);
        StanzaModel::Walk plain{model_, stanza_, key_, held && held->isHidden()};
        ZStanzaValueIterator_5_1 values(properties_, stanza_.c_str(), key_.c_str(), ZPropLCString,
                                        ZStanzaValueIterator_5_1::ANY);
        for (std::size_t i = 0; i < script.size(); ++i) {
            char const action = script[i];
            bool const isText = (action == '=' || action == '+') && i + 1 < script.size();
            std::string text;
            if (isText && script[++i] != '_') text = script[i];
            FUZZ_CHECK(values.valueCount() == plain.count());
            FUZZ_CHECK(values.isValid() == plain.isValid());
            if (action == '>') {
                std::string const* const next = plain.next();
                FUZZ_CHECK(values.hasMore() == (next != nullptr));
                if (next) FUZZ_CHECK(sameText(values.nextValue(), *next));
            } else if (action == '-' || action == '=') {
                bool const isValid = plain.isValid();
                bool const isDone = action == '-' ? plain.remove() : plain.change(text);
                Outcome const outcome = outcomeOf([&] {
                    if (action == '-') return values.removeValue();
                    values.changeValue(text.c_str());
                });
                FUZZ_CHECK(outcome == (isDone    ? Outcome::done
                                       : isValid ? Outcome::refused
                                                 : Outcome::iterator));
            } else if (action == '+') {
                both(plain.add(text), [&] { values.addValue(text.c_str()); });
            }
        }
    }

    // ---- files ----

    // A database goes with the last obfuscated value only when this instance has read or written
    // it for the same main file.
    void store(std::string const& file) {
        bool const isOwn = !known_ || known_->main == file;
        bool const hasDatabase = !model_.hiddenKeys.empty();
        std::optional<std::string> const former = known_ ? readFile(known_->name) : std::nullopt;
        storeBoth(properties_, model_, file);
        if (hasDatabase) {
            known_ = {model_.database, isOwn ? file : known_->main};
        } else if (known_) {
            bool const goes = isOwn && known_->name == model_.database;
            FUZZ_CHECK(readFile(known_->name) == (goes ? std::nullopt : former));
            if (isOwn) known_.reset();
        }
    }

    void reload() {
        StanzaModel fresh;
        fresh.isModified = model_.isModified;
        model_ = fresh;
        bool const isLoaded =
            loadBoth(properties_, model_, mainFile, [&] { properties_.reload(nullptr); });
        known_.reset();
        if (isLoaded && !model_.database.empty()) known_ = {model_.database, mainFile};
    }

    struct Known {
        std::string name, main;
    };
    Properties properties_{1};
    StanzaModel model_;
    std::optional<Known> known_;
    std::string stanza_, key_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    StanzaScript const script(data, size);
    if (script.namesDatabase()) return -1;
    Changes changes(script.text);
    for (std::string const& line : script.changes) changes.make(Change(line));
    changes.finish(size % 4 == 0);  // slow: a quarter of the inputs will do
    return 0;
}
