// Changes of a stanza file, plain and obfuscated, against the model: each is accepted or refused
// alike and told to an observer, what is stored is the model's text to the byte and its records in
// order, and a fresh instance reads all of it back.
// stanza_script.h says how inputs are written.
#include "stanza_compare.h"
#include "stanza_script.h"

namespace {

using namespace fuzz;

std::string const mainFile = folder() + "/changes", second = folder() + "/second";

// Spells what it hears as the model does. What it is told of is done by then.
struct Listener : ZObserverInterface_5_1 {
    explicit Listener(Properties& subject) : properties(subject) {}
    void observableChanged(ZObservableInterface_5_1* subject,
                           ZObservedParm_5_1 const& announcement) override {
        auto const& change = static_cast<ZPropertyChanged_5_1 const&>(announcement);
        char const *const s = change.getStanza(), *const k = change.getKey();
        FUZZ_CHECK(subject == &properties && properties.isModified());
        FUZZ_CHECK(change.getStyle() == ZPropertyChanged_5_1::STANZA);
        FUZZ_CHECK((k ? properties.exists(s, k) : properties.exists(s)) ==
                   (change.getChangeType() != ZPropertyChanged_5_1::DELETED));
        FUZZ_CHECK(!k || *k);
        heard.push_back(shownNotice(change.getChangeType(), s, k ? k : ""));
    }
    Properties& properties;
    Texts heard;
};

class Changes {
public:
    explicit Changes(std::string const& text) {
        for (char const* name : {"/changes.obf", "/second.obf", "/one.obf", "/two.obf"}) {
            unlink((folder() + name).c_str());
        }
        writeFile(mainFile, text);
        properties_.addObserver(&listener_);
        loadBoth(properties_, model_, mainFile);
    }

    void make(Change const& change) {
        act(change);
        FUZZ_CHECK(listener_.heard == (properties_.countObservers() ? model_.notices : Texts()));
        listener_.heard.clear();
        model_.notices.clear();
    }

    void finish(bool isThorough) {
        store(mainFile);
        compare(properties_, model_, false);
        FUZZ_CHECK(listener_.heard.empty());
        StanzaModel readModel;
        if (isThorough) readBack(readModel, mainFile);
    }

private:
    void act(Change const& change) {
        stanza_ = change.stanza;
        key_ = change.key;
        std::string const& text = change.text;
        char const *const s = stanza_.c_str(), *const k = key_.c_str(), *const t = text.c_str();
        auto const number = static_cast<unsigned int>(text.size());
        switch (change.action) {
            case 's':
            case 'S':
                return both(model_.setValue(stanza_, key_, text, change.action == 'S'),
                            [&] { setAs(number, s, k, text, change.action == 'S'); });
            case 'i':
                if (change.namesDatabase()) return;  // there is no such file
                return both(model_.setValue(stanza_, key_, std::to_string(number), false),
                            [&] { properties_.setIntegerValue(s, k, number); });
            case 't':
                if (change.namesDatabase()) return;
                return both(model_.setValue(stanza_, key_, number % 2 ? "yes" : "no", false),
                            [&] { properties_.setBooleanValue(s, k, number % 2 != 0); });
            case 'a':
            case 'A':
                return both(model_.addValues(stanza_, key_, {text}, change.action == 'A'),
                            [&] { addAs(number, s, k, text, change.action == 'A'); });
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
            case 'p':
                return print(number % 2 ? second : mainFile);
            case 'x':
                model_.isModified = number % 2;
                return number % 2 ? properties_.setModified() : properties_.resetModified();
            case 'o':
                if (number % 2) return properties_.addObserver(&listener_);
                return properties_.deleteObserver(&listener_);
            case '?':
            case '!':
                return compare(properties_, model_, change.action == '!');
            default:
                return;
        }
    }

    // One of the forms of a text, of those in the local codeset when it is not plain ASCII.
    void setAs(unsigned int form, char const* s, char const* k, std::string const& text,
               bool hidden) {
        char const* const t = text.c_str();
        switch (isAscii(text) ? form % 6 : form % 4) {
            case 0:
                return hidden ? properties_.setValue(s, k, t, 1) : properties_.setValue(s, k, t);
            case 1:
                return properties_.setValue(s, k, t, hidden);
            case 2:
                return properties_.setValue(s, k, ZLCString_5_1(t), hidden);
            case 3:
                return properties_.setValue(s, k, ZLCConstString_5_1(t), hidden);
            case 4:
                return properties_.setValue(s, k, ZUTF8String_5_1(t), hidden);
            default:
                return properties_.setValue(s, k, ZUTF8ConstString_5_1(t), hidden);
        }
    }
    void addAs(unsigned int form, char const* s, char const* k, std::string const& text,
               bool hidden) {
        char const* const t = text.c_str();
        switch (isAscii(text) ? form % 5 : form % 3) {
            case 0:
                return properties_.addValue(s, k, t, hidden);
            case 1:
                return properties_.addValue(s, k, ZLCString_5_1(t), hidden);
            case 2:
                return properties_.addValue(s, k, ZLCConstString_5_1(t), hidden);
            case 3:
                return properties_.addValue(s, k, ZUTF8String_5_1(t), hidden);
            default:
                return properties_.addValue(s, k, ZUTF8ConstString_5_1(t), hidden);
        }
    }

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

    // ">" next, "-" remove, "=x" change to x, "+x" add x; "_" is the empty text. "P" or "O" in
    // front asks for plain or obfuscated values, else both will do.
    void walk(std::string const& script) {
        if (stanza_.empty() || key_.empty()) return;
        using Values = ZStanzaValueIterator_5_1;
        StanzaModel::Values const* const held = model_.find(stanza_, key_);
        Values::ZPropIter_valtype kind = Values::ANY;
        bool hidden = held && held->isHidden();
        if (script[0] == 'P' || script[0] == 'O') {
            hidden = script[0] == 'O';
            kind = hidden ? Values::OBFUSCATED : Values::PLAIN;
        }
        StanzaModel::Walk plain{model_, stanza_, key_, hidden};
        std::optional<Values> made;
        bool const isAllowed = kind == Values::ANY || model_.allows(stanza_, key_, hidden);
        both(isAllowed, [&] {
            made.emplace(properties_, stanza_.c_str(), key_.c_str(),
                         isAscii(script) ? ZPropUTF8String : ZPropLCString, kind);
        });
        if (!isAllowed) return;
        Values& values = *made;
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
                if (!next) {
                    FUZZ_CHECK(outcomeOf([&] { values.nextValue(); }) == Outcome::iterator);
                }
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

    // The text for `file`, with nothing stored or changed.
    void print(std::string const& file) {
        std::optional<std::string> const before = readFile(file);
        StanzaModel copy = model_;
        copy.prepareStore(file);
        FUZZ_CHECK(writtenText(properties_, file.c_str()) == copy.text());
        FUZZ_CHECK(readFile(file) == before && properties_.isModified() == model_.isModified);
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
    Listener listener_{properties_};
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
