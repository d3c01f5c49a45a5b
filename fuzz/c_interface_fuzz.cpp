// The same operations through the C interface and through the classes, each on a file of its own:
// the same answers, the return code that belongs to each exception, the same files in the end.
// What is no handle is refused everywhere.
//
// stanza_script.h says how inputs are written. An iterator is picked by the letter for the key, and
// made over the keys of a stanza where that is "-".
#include <Z/zproperties_c.h>

#include <memory>

#include "stanza_compare.h"
#include "stanza_script.h"

namespace {

using namespace fuzz;

std::string const fileOfC = folder() + "/c1", fileOfClasses = folder() + "/p1";

constexpr unsigned int untouched = 99;
constexpr int leaves = -1;  // as an exception

// The text with the name of the other database, the only difference of the two, also as the value
// of its key; an input may have learned the name as well.
std::string likeClasses(std::string text) {
    std::string const own = folder() + "/c";
    for (std::size_t at = 0; (at = text.find(own, at)) != std::string::npos;) {
        text[at + own.size() - 1] = 'p';
    }
    return text;
}

std::string shown(std::optional<std::string> const& text) {
    return text ? "=" + likeClasses(*text) : "null";
}
std::string shown(char const* text) {
    return text ? "=" + likeClasses(text) : "null";
}
template <class Number>
std::string shown(Number number) {
    return std::to_string(number);
}

// The code, and the value as text, of a call of C. Functions that answer put their code into rc.
using Answer = std::pair<int, std::string>;

template <class Call>
Answer asked(Call const& call) {
    unsigned int rc = untouched;
    try {
        std::string const value = shown(call(&rc));
        return {static_cast<int>(rc), value};
    } catch (ZInvalidParameterException_5_1&) {
        return {leaves, ""};
    }
}

template <class Call>
int done(Call const& call) {
    try {
        return call();
    } catch (ZInvalidParameterException_5_1&) {
        return leaves;
    }
}

// What the same work of the classes has to be for C; `failed` is the value without an answer.
template <class Work>
int codeOf(Work const& work) {
    switch (outcomeOf(work)) {
        case Outcome::done:
            return ZPROP_DONE;
        case Outcome::missing:
            return ZPROP_MISSING;
        case Outcome::noNumber:
        case Outcome::noBoolean:
            return ZPROP_INVALID_VALUE;
        case Outcome::iterator:
            return ZPROP_WRONG_ITERATOR;
        default:
            return leaves;
    }
}

template <class Work>
Answer answered(char const* failed, Work const& work) {
    std::string value = failed;
    int const code = codeOf([&] { value = shown(work()); });
    return {code, code == leaves ? "" : value};
}

std::optional<std::string> textOf(Properties const& p, char const* stanza, char const* key,
                                  int required) {
    ZLCString_5_1 out;
    p.getValue(stanza, key, out, required, nullptr);
    if (out.isEmpty()) return std::nullopt;
    return out.getChars();
}

// ---- what is no handle ----

void expectRefusal(ZPROP_handle* bad) {
    ZPROPValueRequest request = {ZPROP_STRING, "a", "k", 1, nullptr};
    ZPROP_iter_handle* iterator = nullptr;
    auto const asks = [bad](auto function, auto... arguments) {
        unsigned int rc = untouched;
        FUZZ_CHECK(!function(bad, arguments..., &rc) && rc == ZPROP_BAD_ARGUMENT);
    };
    auto const does = [bad](auto function, auto... arguments) {
        FUZZ_CHECK(function(bad, arguments...) == ZPROP_BAD_ARGUMENT);
    };
    asks(zstzPropExists_5_1, "a", "k");
    asks(zstzPropNumStanzas_5_1);
    asks(zstzPropNumKeys_5_1, "a");
    asks(zstzPropNumValues_5_1, "a", "k");
    asks(zstzPropGetStringValue_5_1, "a", "k", 0);
    asks(zstzPropGetIntegerValue_5_1, "a", "k", 0);
    asks(zstzPropGetBooleanValue_5_1, "a", "k", 0);
    does(zstzPropGetValues_5_1, &request, 1);
    does(zstzPropFreeValuesList_5_1, &request, 1);
    does(zstzPropSetStringValue_5_1, "a", "k", "v");
    does(zstzPropSetIntegerValue_5_1, "a", "k", 1u);
    does(zstzPropSetBooleanValue_5_1, "a", "k", 1);
    does(zstzPropRemoveKey_5_1, "a", "k");
    does(zstzPropRemoveStanza_5_1, "a");
    does(zstzPropAddStanzaComment_5_1, "a", "c");
    does(zstzPropAddFileComment_5_1, "c");
    does(zstzPropAddLineComment_5_1, "a", "k", "c");
    does(zstzPropStore_5_1, fileOfC.c_str());
    does(zstzPropIter_init_5_1, "a", "k", &iterator);
    does(zstzPropClose_5_1);
}

void expectRefusal(ZPROP_iter_handle* bad) {
    auto const asks = [bad](auto function, auto... arguments) {
        unsigned int rc = untouched;
        FUZZ_CHECK(!function(bad, arguments..., &rc) && rc == ZPROP_BAD_ARGUMENT);
    };
    asks(zstzPropIter_next_5_1);
    asks(zstzPropIter_getKey_5_1);
    asks(zstzPropIter_getValue_5_1, 0);
    asks(zstzPropIter_numKeys_5_1);
    asks(zstzPropIter_numValues_5_1);
    FUZZ_CHECK(zstzPropIter_chgValue_5_1(bad, "v") == ZPROP_BAD_ARGUMENT);
    FUZZ_CHECK(zstzPropIter_addValue_5_1(bad, "v") == ZPROP_BAD_ARGUMENT);
    FUZZ_CHECK(zstzPropIter_rmvValue_5_1(bad) == ZPROP_BAD_ARGUMENT);
    FUZZ_CHECK(zstzPropIter_close_5_1(bad) == ZPROP_BAD_ARGUMENT);
}

void expectRefusalOfNulls(ZPROP_handle* h) {
    unsigned int rc = untouched;
    ZPROP_iter_handle* iterator = nullptr;
    FUZZ_CHECK(!zstzPropExists_5_1(h, nullptr, "k", &rc) &&
               !zstzPropExists_5_1(h, "a", "k", nullptr));
    FUZZ_CHECK(!zstzPropGetStringValue_5_1(h, "a", nullptr, 0, &rc));
    FUZZ_CHECK(zstzPropGetIntegerValue_5_1(h, nullptr, "k", 0, &rc) == 55);
    FUZZ_CHECK(zstzPropGetBooleanValue_5_1(h, "a", nullptr, 0, &rc) == 55);
    FUZZ_CHECK(zstzPropGetIntegerValue_5_1(h, "a", "k", 0, nullptr) == 55);
    FUZZ_CHECK(rc == untouched);
    FUZZ_CHECK(!zstzPropNumKeys_5_1(h, nullptr, &rc) && rc == ZPROP_BAD_ARGUMENT);
    for (int code :
         {zstzPropSetStringValue_5_1(h, "a", nullptr, "v"),
          zstzPropSetIntegerValue_5_1(h, nullptr, "k", 1),
          zstzPropSetBooleanValue_5_1(h, "a", nullptr, 1), zstzPropRemoveKey_5_1(h, nullptr, "k"),
          zstzPropRemoveStanza_5_1(h, nullptr), zstzPropAddStanzaComment_5_1(h, nullptr, "c"),
          zstzPropAddLineComment_5_1(h, "a", "k", nullptr),
          zstzPropIter_init_5_1(h, nullptr, "k", &iterator),
          zstzPropIter_init_5_1(h, "a", "k", nullptr), zstzPropGetValues_5_1(h, nullptr, 1)}) {
        FUZZ_CHECK(code == ZPROP_BAD_ARGUMENT);
    }
    FUZZ_CHECK(zstzPropGetValues_5_1(h, nullptr, 0) == ZPROP_DONE);
}

// ---- batches ----

// One request and the place of its result, on the side of C.
struct Place {
    int number = 77;
    char* text = nullptr;
    char** list = nullptr;

    void* of(int type) {
        if (type == ZPROP_STRING_LIST) return &list;
        return type == ZPROP_STRING ? static_cast<void*>(&text) : &number;
    }
    std::string value(int type) const {
        if (type == ZPROP_STRING) return shown(const_cast<char const*>(text));
        if (type != ZPROP_STRING_LIST) return shown(number);
        std::string all = list ? "" : "null";
        for (char** one = list; one && *one; ++one)
            all += shown(const_cast<char const*>(*one)) + ",";
        return all;
    }
};

struct Iterator {
    ZPROP_iter_handle* c = nullptr;
    std::unique_ptr<ZStanzaIterator_5_1> keys;
    std::unique_ptr<ZStanzaValueIterator_5_1> values;
    std::string key, current;

    Iterator() = default;
    Iterator(Iterator const&) = delete;
    Iterator& operator=(Iterator const&) = delete;
    ~Iterator() {
        if (!c) return;
        FUZZ_CHECK(zstzPropIter_close_5_1(c) == ZPROP_DONE);
        expectRefusal(c);
    }
    int next() {
        if (!(keys ? keys->hasMore() : values->hasMore())) return 0;
        if (keys) {
            keys->nextEntry();
        } else {
            current = values->nextValue()->getChars();
        }
        return 1;
    }
};

class Both {
public:
    explicit Both(std::string const& text) {
        for (auto const& file : {fileOfC, fileOfClasses}) {
            unlink((file + ".obf").c_str());
            writeFile(file, text);
        }
        open();
    }
    Both(Both const&) = delete;
    Both& operator=(Both const&) = delete;
    ~Both() {
        iterators_.clear();
        if (handle_) zstzPropClose_5_1(handle_);
    }

    bool isOpen() const { return handle_ != nullptr; }

    void make(Change const& change, char letter) {
        if (change.namesDatabase() && !std::strchr("qgb", change.action)) return;
        s_ = change.stanza.c_str();
        k_ = change.key.c_str();
        t_ = change.text.c_str();
        number_ = static_cast<unsigned int>(change.text.size());
        switch (change.action) {
            case 'q':
                return ask();
            case 'g':
                return get();
            case 'b':
                return batch(change.text);
            case 'w':
                return store(nullptr, nullptr);
            case 'W':
                return store((folder() + "/c2").c_str(), (folder() + "/p2").c_str());
            case 'r':
                return reopen();
            case 'S':
                return hide();
            case 'h':
                return wrongHandles();
            case 'I':
                return iterate(letter == '-');
            case 'N':
            case 'X':
            case '=':
            case '+':
            case '-':
                return use(change.action, static_cast<unsigned char>(letter));
            default:
                return edit(change.action);
        }
    }

    void finish() { store(nullptr, nullptr); }

private:
    void open() {
        auto* const before = reinterpret_cast<ZPROP_handle*>(&number_);
        handle_ = before;
        FUZZ_CHECK(zstzPropOpen_5_1(&handle_, fileOfC.c_str(), 0) == ZPROP_BAD_ARGUMENT);
        FUZZ_CHECK(zstzPropOpen_5_1(&handle_, nullptr, 1) == ZPROP_BAD_ARGUMENT);
        FUZZ_CHECK(handle_ == before);
        int const code = zstzPropOpen_5_1(&handle_, fileOfC.c_str(), 1 + opened_++ % 2);
        properties_ = std::make_unique<Properties>(1);
        Outcome const outcome = outcomeOf([&] { properties_->load(fileOfClasses.c_str()); });
        FUZZ_CHECK(code == (outcome == Outcome::done ? ZPROP_DONE : ZPROP_FILE_FAILED));
        FUZZ_CHECK((handle_ != nullptr) == (code == ZPROP_DONE));
    }

    void reopen() {
        iterators_.clear();
        FUZZ_CHECK(zstzPropClose_5_1(handle_) == ZPROP_DONE);
        expectRefusal(handle_);
        open();
    }

    void ask() {
        ZPROP_handle* const h = handle_;
        Properties const& p = *properties_;
        char const *const s = s_, *const k = k_;
        FUZZ_CHECK(asked([=](auto* rc) { return zstzPropExists_5_1(h, s, k, rc); }) ==
                   answered("0", [&] { return p.exists(s, k); }));
        FUZZ_CHECK(asked([=](auto* rc) { return zstzPropExists_5_1(h, s, nullptr, rc); }) ==
                   answered("0", [&] { return p.exists(s); }));
        FUZZ_CHECK(asked([=](auto* rc) { return zstzPropNumStanzas_5_1(h, rc); }) ==
                   answered("0", [&] { return p.count(); }));
        FUZZ_CHECK(asked([=](auto* rc) { return zstzPropNumKeys_5_1(h, s, rc); }) ==
                   answered("0", [&] { return p.count(s); }));
        FUZZ_CHECK(asked([=](auto* rc) { return zstzPropNumValues_5_1(h, s, k, rc); }) ==
                   answered("0", [&] { return p.numValues(s, k); }));
    }

    void get() {
        ZPROP_handle* const h = handle_;
        Properties const& p = *properties_;
        char const *const s = s_, *const k = k_;
        int const needed = static_cast<int>(number_ % 2);
        FUZZ_CHECK(asked([=](auto* rc) {
                       std::unique_ptr<char, decltype(&zstzPropFree_5_1)> const text(
                           zstzPropGetStringValue_5_1(h, s, k, needed, rc), zstzPropFree_5_1);
                       return text ? std::optional<std::string>(text.get()) : std::nullopt;
                   }) == answered("null", [&] { return textOf(p, s, k, needed); }));
        FUZZ_CHECK(asked([=](auto* rc) {
                       return zstzPropGetIntegerValue_5_1(h, s, k, needed, rc);
                   }) == answered("0", [&] { return p.getIntegerValue(s, k, needed, 0); }));
        FUZZ_CHECK(asked([=](auto* rc) {
                       return zstzPropGetBooleanValue_5_1(h, s, k, needed, rc);
                   }) == answered("0", [&] { return p.getBooleanValue(s, k, needed, 0); }));
    }

    void edit(char action) {
        ZPROP_handle* const h = handle_;
        Properties& p = *properties_;
        char const *const s = s_, *const k = k_, *const t = t_;
        unsigned int const n = number_;
        int const truth = static_cast<int>(n % 2);
        auto const both = [](int code, auto const& work) {
            FUZZ_CHECK(code ==
                       (outcomeOf(work) == Outcome::done ? ZPROP_DONE : ZPROP_CHANGE_FAILED));
        };
        switch (action) {
            case 's':
                return both(zstzPropSetStringValue_5_1(h, s, k, t), [&] { p.setValue(s, k, t); });
            case 'i':
                return both(zstzPropSetIntegerValue_5_1(h, s, k, n),
                            [&] { p.setIntegerValue(s, k, n); });
            case 't':
                return both(zstzPropSetBooleanValue_5_1(h, s, k, truth),
                            [&] { p.setBooleanValue(s, k, truth); });
            case 'd':
                return both(zstzPropRemoveKey_5_1(h, s, k), [&] { p.deleteKey(s, k); });
            case 'D':
                return both(zstzPropRemoveStanza_5_1(h, s), [&] { p.deleteStanza(s); });
            case 'C':
                return both(zstzPropAddStanzaComment_5_1(h, s, t),
                            [&] { p.addStanzaComment(s, t); });
            case 'c':
                return both(zstzPropAddFileComment_5_1(h, t), [&] { p.addFileComment(t); });
            case 'e':
                return both(zstzPropAddLineComment_5_1(h, s, k, t),
                            [&] { p.addEntryComment(s, k, t); });
            default:
                return;
        }
    }

    // Obfuscated values come from C++ programs: one stores them, then both sides load them.
    void hide() {
        iterators_.clear();
        store(nullptr, nullptr);
        for (auto const& file : {fileOfC, fileOfClasses}) {
            Properties other(1);
            if (outcomeOf([&] { other.load(file.c_str()); }) != Outcome::done) return;
            if (outcomeOf([&] { other.setValue(s_, k_, t_, 1); }) != Outcome::done) return;
            other.store(nullptr);
        }
        reopen();
    }

    // Four characters for a request: type, stanza, key, optional.
    void batch(std::string const& text) {
        std::vector<ZPROPValueRequest> requests;
        std::vector<Place> places(text.size() / 4);
        for (std::size_t i = 0; i < places.size(); ++i) {
            char const* const r = &text[4 * i];
            int const type = r[0] - '0';
            requests.push_back({type, r[1] == '-' ? nullptr : pick(stanzaNames, r[1]).c_str(),
                                pick(keyNames, r[2]).c_str(), r[3] - '0', places[i].of(type)});
        }
        int const count = static_cast<int>(requests.size());
        ZPROPValueRequest const* const all = requests.data();
        int const inC = done([&] { return zstzPropGetValues_5_1(handle_, all, count); });
        int code = ZPROP_DONE;
        for (std::size_t i = 0; i < places.size(); ++i) {
            int const type = requests[i].type;
            std::string value = Place().value(type);
            if (code == ZPROP_DONE) code = serve(requests[i], value);
            FUZZ_CHECK(places[i].value(type) == value);
        }
        FUZZ_CHECK(inC == code);
        for (Place const& place : places) zstzPropFree_5_1(place.text);  // not one of its own
        FUZZ_CHECK(zstzPropFreeValuesList_5_1(handle_, all, count) == ZPROP_DONE);
        for (Place const& place : places) FUZZ_CHECK(!place.text && !place.list);
    }

    int serve(ZPROPValueRequest const& request, std::string& value) {
        char const *const s = request.stanza, *const k = request.key;
        int const needed = request.optional != 1;
        Properties const& p = *properties_;
        if (!s) return ZPROP_BAD_ARGUMENT;
        return codeOf([&] {
            if (request.type == ZPROP_BOOLEAN) {
                value = shown(p.getBooleanValue(s, k, needed, 0));
            } else if (request.type == ZPROP_INTEGER) {
                value = shown(static_cast<int>(p.getIntegerValue(s, k, needed, 0)));
            } else if (request.type == ZPROP_STRING) {
                value = shown(textOf(p, s, k, needed));
            } else if (request.type == ZPROP_STRING_LIST) {
                ZArrayList_5_1 list(5, 1);
                p.getValues(s, k, list, ZPropLCString);
                value.clear();
                for (unsigned int i = 0; i < list.size(); ++i) {
                    value += shown(static_cast<ZLCString_5_1*>(list.get(i))->getChars()) + ",";
                }
            } else {
                throw ZInvalidParameterException_5_1();
            }
        });
    }

    // ---- iterators ----

    void iterate(bool overKeys) {
        if (iterators_.size() == 3) return;
        auto made = std::make_unique<Iterator>();
        char const* const k = overKeys ? nullptr : k_;
        int const inC = done([&] { return zstzPropIter_init_5_1(handle_, s_, k, &made->c); });
        int const code = codeOf([&] {
            if (k) {
                made->values = std::make_unique<ZStanzaValueIterator_5_1>(
                    *properties_, s_, k, ZPropLCString, ZStanzaValueIterator_5_1::ANY);
                made->key = k;
            } else {
                made->keys = std::make_unique<ZStanzaIterator_5_1>(*properties_, s_);
            }
        });
        FUZZ_CHECK(inC == code && (made->c != nullptr) == (code == ZPROP_DONE));
        if (made->c) iterators_.push_back(std::move(made));
    }

    void use(char action, std::size_t number) {
        if (iterators_.empty()) return;
        auto const place =
            iterators_.begin() + static_cast<std::ptrdiff_t>(number % iterators_.size());
        Iterator& i = **place;
        auto const both = [&i](auto const& call, auto const& work) {
            FUZZ_CHECK(done(call) == (i.keys ? ZPROP_WRONG_ITERATOR : codeOf(work)));
        };
        if (action == 'X') {
            iterators_.erase(place);
            return;
        }
        if (action == 'N') {
            FUZZ_CHECK(asked([&](auto* rc) { return zstzPropIter_next_5_1(i.c, rc); }) ==
                       answered("0", [&] { return i.next(); }));
        } else if (action == '=') {
            both([&] { return zstzPropIter_chgValue_5_1(i.c, t_); },
                 [&] { i.values->changeValue(t_); });
        } else if (action == '+') {
            both([&] { return zstzPropIter_addValue_5_1(i.c, t_); },
                 [&] { i.values->addValue(t_); });
        } else {
            both([&] { return zstzPropIter_rmvValue_5_1(i.c); }, [&] { i.values->removeValue(); });
        }
        look(i);
    }

    static void look(Iterator& i) {
        FUZZ_CHECK(asked([&](auto* rc) { return zstzPropIter_getKey_5_1(i.c, rc); }) ==
                   answered("null", [&] { return i.keys ? i.keys->entryName() : i.key.c_str(); }));
        FUZZ_CHECK(
            asked([&](auto* rc) { return zstzPropIter_getValue_5_1(i.c, 5, rc); }) ==
            answered("null", [&] { return i.keys ? i.keys->entryValue(0) : i.current.c_str(); }));
        FUZZ_CHECK(asked([&](auto* rc) { return zstzPropIter_numKeys_5_1(i.c, rc); }) ==
                   answered("0", [&] { return i.keys ? i.keys->keyCount() : 1; }));
        Answer const wrong{ZPROP_WRONG_ITERATOR, "0"};
        FUZZ_CHECK(asked([&](auto* rc) { return zstzPropIter_numValues_5_1(i.c, rc); }) ==
                   (i.keys ? wrong : answered("0", [&] { return i.values->valueCount(); })));
    }

    // ---- the rest ----

    void wrongHandles() {
        alignas(32) char foreign[64] = {};
        char* const text = foreign + number_ % 32;
        expectRefusal(static_cast<ZPROP_handle*>(nullptr));
        expectRefusal(static_cast<ZPROP_iter_handle*>(nullptr));
        expectRefusal(reinterpret_cast<ZPROP_handle*>(text));
        expectRefusal(reinterpret_cast<ZPROP_iter_handle*>(text));
        expectRefusal(reinterpret_cast<ZPROP_iter_handle*>(handle_));
        if (!iterators_.empty()) expectRefusal(reinterpret_cast<ZPROP_handle*>(iterators_[0]->c));
        expectRefusalOfNulls(handle_);
    }

    void store(char const* toC, char const* toClasses) {
        FUZZ_CHECK(zstzPropStore_5_1(handle_, toC) == ZPROP_DONE);
        properties_->store(toClasses);
        FUZZ_CHECK(likeClasses(readFile(toC ? toC : fileOfC).value()) ==
                   likeClasses(readFile(toClasses ? toClasses : fileOfClasses).value()));
        FUZZ_CHECK(readFile(fileOfC + ".obf") == readFile(fileOfClasses + ".obf"));
    }

    ZPROP_handle* handle_ = nullptr;
    std::unique_ptr<Properties> properties_;
    std::vector<std::unique_ptr<Iterator>> iterators_;
    char const *s_ = nullptr, *k_ = nullptr, *t_ = nullptr;
    unsigned int number_ = 0;
    int opened_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    StanzaScript const script(data, size);
    if (script.namesDatabase()) return -1;
    Both both(script.text);
    for (std::string const& line : script.changes) {
        if (!both.isOpen()) return 0;
        if (line.size() > 2) both.make(Change(line), line[2]);
    }
    if (both.isOpen()) both.finish();
    return 0;
}
