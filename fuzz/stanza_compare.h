// Holds a stanza file of the library against the model, by every accessor there is.
#ifndef Z_FUZZ_STANZA_COMPARE_H
#define Z_FUZZ_STANZA_COMPARE_H

#include <Z/ZException.h>
#include <Z/ZStanzaFileProperties.h>

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <set>

#include "stanza_model.h"

namespace fuzz {

using Properties = ZStanzaFileProperties_5_1;

// ---- outcomes ----

enum class Outcome { done, refused, missing, noNumber, noBoolean, iterator, io, badData };

template <class Work>
Outcome outcomeOf(Work const& work, StanzaModel::Bad* bad = nullptr) {
    try {
        work();
        return Outcome::done;
    } catch (ZInvalidParameterException_5_1&) {
        return Outcome::refused;
    } catch (ZPropertiesMissingPropertyException_5_1&) {
        return Outcome::missing;
    } catch (ZPropertiesInvalidValueException_5_1& e) {
        return e.code() == 40 ? Outcome::noNumber : Outcome::noBoolean;
    } catch (ZPropertiesIteratorException_5_1&) {
        return Outcome::iterator;
    } catch (ZPropertiesIOException_5_1&) {
        return Outcome::io;
    } catch (ZPropertiesInvalidDataException_5_1& e) {
        if (bad) *bad = {e.baddata(), e.badline()};
        return Outcome::badData;
    }
}

// Both load `file` by `load` and have to agree on what is wrong with it. True when nothing is.
template <class Load>
bool loadBoth(Properties& properties, StanzaModel& model, std::string const& file, Load load) {
    std::optional<StanzaModel::Bad> const expected = model.load(file);
    StanzaModel::Bad bad = {"", 0};
    Outcome const outcome = outcomeOf(load, &bad);
    if (!expected) {
        FUZZ_CHECK(outcome == Outcome::done && !properties.isModified());
    } else if (expected->line < 0) {
        FUZZ_CHECK(outcome == Outcome::io);
    } else {
        FUZZ_CHECK(outcome == Outcome::badData);
        FUZZ_CHECK(bad.text == expected->text && bad.line == expected->line);
    }
    return !expected;
}

inline bool loadBoth(Properties& properties, StanzaModel& model, std::string const& file) {
    return loadBoth(properties, model, file, [&] { properties.load(file.c_str()); });
}

// ---- values ----

inline bool isAscii(std::string const& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > 0; });
}

inline bool sameText(ZObject_5_1 const* text, std::string const& expected) {
    return static_cast<ZAbstractString_5_1 const*>(text)->getChars() == expected;
}

// What is not plain ASCII comes in UTF-8 as the library's own strings convert it.
inline bool sameUtf8(ZObject_5_1 const* text, std::string const& expected) {
    if (isAscii(expected)) return sameText(text, expected);
    return sameText(text, ZUTF8String_5_1(ZLCConstString_5_1(expected.c_str())).getChars());
}

template <class Same>
bool sameList(ZArrayList_5_1 const* list, Texts const& expected, Same same) {
    if (!list || list->size() != expected.size()) return false;
    for (unsigned int i = 0; i < list->size(); ++i) {
        if (!same(list->get(i), expected[i])) return false;
    }
    return true;
}

// C notation with a sign, nothing behind it; magnitudes end at 4294967295.
inline bool isNumber(std::string const& text, unsigned int& number) {
    number = 0;
    if (text.empty()) return true;
    std::size_t at = 0;
    while (at < text.size() && isBlank(text[at])) ++at;
    bool const isNegative = text[at] == '-';
    if (text[at] == '-' || text[at] == '+') ++at;
    int base = text[at] == '0' ? 8 : 10;
    if (base == 8 && (text[at + 1] | 0x20) == 'x' &&
        std::isxdigit(static_cast<unsigned char>(text[at + 2])))
        base = 16;
    if (text[at] < '0' || text[at] > '9') return false;  // a second sign or blank
    char* end;
    unsigned long long const magnitude = std::strtoull(&text[at], &end, base);
    if (*end) return false;
    auto const value = static_cast<unsigned int>(std::min(magnitude, 0xFFFFFFFFull));
    number = isNegative && magnitude <= 0xFFFFFFFFull ? 0 - value : value;
    return true;
}

inline bool isBoolean(std::string text, bool& truth) {
    static std::set<std::string> const yes{"yes", "y", "true", "t", "1"};
    static std::set<std::string> const no{"", "no", "n", "false", "f", "0"};
    for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    truth = yes.count(text) != 0;
    return truth || no.count(text) != 0;
}

// ---- texts ----

// The text that `work` writes to the stream it is given.
template <class Work>
std::string streamed(Work const& work) {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const out = open_memstream(&text, &size);
    work(out);
    std::fclose(out);
    std::string const result(text, size);
    std::free(text);
    return result;
}

inline std::string writtenText(Properties& properties, char const* file) {
    return streamed([&](std::FILE* out) { properties.writeText(file, out); });
}

// ---- the walk ----

// `isDeep`: by every accessor, also those that make the store hand out its own lists, and with
// failures; else by as few as show everything.
class Comparison {
public:
    Comparison(Properties& properties, StanzaModel& model, bool isDeep)
        : properties_(properties), model_(model), isDeep_(isDeep) {}

    void all() {
        FUZZ_CHECK(properties_.isModified() == model_.isModified);
        FUZZ_CHECK(properties_.count() == static_cast<int>(model_.stanzas.size()));
        ZArrayList_5_1 names(10, 1);
        properties_.keyNames(names);
        FUZZ_CHECK(names.size() == model_.stanzas.size());
        for (unsigned int i = 0; i < names.size(); ++i) {
            FUZZ_CHECK(model_.has(static_cast<ZLCString_5_1*>(names.get(i))->getChars()));
        }
        for (auto const& [name, stanza] : model_.stanzas) {
            if (!name.empty()) one(name, stanza);
        }
        if (!isDeep_) return;
        list(names);
        failures();
    }

private:
    // Stanzas are listed in the order of `names`.
    void list(ZArrayList_5_1 const& names) {
        std::string expected;
        for (unsigned int i = 0; i < names.size(); ++i) {
            std::string const name = static_cast<ZLCString_5_1*>(names.get(i))->getChars();
            expected += "\n[" + name + "]\n";
            for (std::string const& key : model_.stanzas[name].keys) {
                Texts const& values = model_.find(name, key)->either();
                for (std::string const& value : values) expected += key + " = " + value + "\n";
                if (values.empty()) expected += key + " =\n";
            }
        }
        FUZZ_CHECK(expected == streamed([&](std::FILE* out) {
                       std::FILE* const usual = std::exchange(stdout, out);
                       properties_.list();
                       stdout = usual;
                   }));
    }

    void one(std::string const& name, StanzaModel::Stanza const& stanza) {
        char const* const chars = name.c_str();
        FUZZ_CHECK(properties_.count(chars) == static_cast<int>(stanza.keys.size()));
        ZArrayList_5_1 names(10, 1);
        properties_.keyNames(chars, names);
        FUZZ_CHECK(sameList(&names, stanza.keys, sameText));
        for (std::string const& key : stanza.keys) {
            if (!key.empty()) one(name, key);
        }
        if (!isDeep_) return;
        FUZZ_CHECK(properties_.exists(chars) == 1);
        pairs(name, stanza);
        iterate(name, stanza);
        if (name.find('.') == std::string::npos) {
            if (std::exchange(noDotSeen_, true)) return;
            FUZZ_CHECK(outcomeOf([&] { properties_.numValues(chars); }) == Outcome::refused);
            FUZZ_CHECK(outcomeOf([&] { properties_.isObfuscated(chars); }) == Outcome::refused);
            return;
        }
        StanzaModel::Values const* const dotted = model_.find(name, name.substr(name.find('.')));
        FUZZ_CHECK(properties_.numValues(chars) ==
                   (dotted ? static_cast<int>(dotted->either().size()) : 0));
        FUZZ_CHECK(properties_.isObfuscated(chars) == (dotted && dotted->isHidden()));
    }

    void pairs(std::string const& name, StanzaModel::Stanza const& stanza) {
        ZPropertiesKVList_5_1 pairs(ZPropUTF8String);
        properties_.getStanza(name.c_str(), pairs);
        FUZZ_CHECK(samePairs(pairs, stanza, sameUtf8));
        std::unique_ptr<ZObject_5_1> const clone(pairs.clone());
        ZPropertiesKVList_5_1 const copy(pairs);
        ZPropertiesKVList_5_1 whole;
        ZStzFileItem_5_1 item = {
            ZStzFileItem_5_1::wholeStanza, name.c_str(), nullptr, 0, &whole, {}};
        properties_.getItems(&item, 1);
        FUZZ_CHECK(samePairs(whole, stanza, sameText));
        pairs = whole;  // stays one of UTF-8
        whole.clear();
        FUZZ_CHECK(whole.getItemCount() == 0 && samePairs(pairs, stanza, sameUtf8));
        pairs.clear();
        FUZZ_CHECK(samePairs(copy, stanza, sameUtf8));
        FUZZ_CHECK(samePairs(static_cast<ZPropertiesKVList_5_1&>(*clone), stanza, sameUtf8));
    }

    template <class Same>
    static bool samePairs(ZPropertiesKVList_5_1 const& pairs, StanzaModel::Stanza const& stanza,
                          Same same) {
        int at = 0;
        for (std::string const& key : stanza.keys) {
            Texts const& values = stanza.values.at(key).either();
            if (!pairs.getItemKey(at) || !same(pairs.getItemKey(at), key)) return false;
            if (!same(pairs.getItemValue(at++), values.empty() ? "" : values[0])) return false;
        }
        return pairs.getItemCount() == at && !pairs.getItemKey(at) && !pairs.getItemValue(-1);
    }

    void one(std::string const& stanzaName, std::string const& keyName) {
        char const *const stanza = stanzaName.c_str(), *const key = keyName.c_str();
        StanzaModel::Values const& held = *model_.find(stanzaName, keyName);
        Texts const& values = held.either();
        FUZZ_CHECK(properties_.isObfuscated(stanza, key) == held.isHidden());
        ZArrayList_5_1 local(1, 1), converted(1, 1);
        properties_.getValues(stanza, key, local, ZPropLCString);
        FUZZ_CHECK(sameList(&local, values, sameText));
        if (!isDeep_) return;
        FUZZ_CHECK(properties_.exists(stanza, key) == 1);
        FUZZ_CHECK(properties_.numValues(stanza, key) == static_cast<int>(values.size()));
        FUZZ_CHECK(properties_.checkAccess(stanza, key, held.isHidden()) == held.isHidden());
        std::string const first = values.empty() ? "other" : values[0];
        ZLCString_5_1 text;
        local.removeAll();
        ZStzFileItem_5_1 items[] = {
            {ZStzFileItem_5_1::textValue, stanza, key, 0, &text, "other"},
            {ZStzFileItem_5_1::utf8Values, stanza, key, 0, &converted, {}},
            {ZStzFileItem_5_1::localValues, stanza, key, 0, &local, {}},
        };
        properties_.getItems(items, 3);
        FUZZ_CHECK(sameText(&text, first));
        FUZZ_CHECK(sameList(&converted, values, sameUtf8));
        FUZZ_CHECK(sameList(&local, values, sameText));
        conversions(stanza, key, values);
        FUZZ_CHECK(sameList(properties_.get(stanza, key), values, sameText));
        iterate(stanza, key, values);
    }

    // Exceptions are slow: the first value of each kind in a file has to do.
    void conversions(char const* stanza, char const* key, Texts const& values) {
        std::string const text = values.empty() ? "" : values[0];
        unsigned int number, found;
        bool const isOne = isNumber(text, number);
        FUZZ_CHECK(Properties::convertToInt(text.c_str(), found) == isOne);
        if (isOne) {
            unsigned int const expected = values.empty() ? 7 : number;
            FUZZ_CHECK(found == number);
            FUZZ_CHECK(properties_.getIntegerValue(stanza, key, 0, 7) == expected);
            ZStzFileItem_5_1 item = {ZStzFileItem_5_1::integerValue, stanza, key, 0, &found, 7u};
            properties_.getItems(&item, 1);
            FUZZ_CHECK(found == expected);
        } else if (!std::exchange(noNumberSeen_, true)) {
            FUZZ_CHECK(outcomeOf([&] { properties_.getIntegerValue(stanza, key, 1, 0); }) ==
                       Outcome::noNumber);
        }
        int truthFound;
        bool truth;
        bool const isTruth = isBoolean(text, truth);
        FUZZ_CHECK(Properties::convertToBoolean(text.c_str(), truthFound) == isTruth);
        if (isTruth) {
            FUZZ_CHECK(truthFound == truth);
            int const expected = values.empty() ? -7 : truth;
            FUZZ_CHECK(properties_.getBooleanValue(stanza, key, 0, -7) == expected);
            ZStzFileItem_5_1 item = {
                ZStzFileItem_5_1::booleanValue, stanza, key, 0, &truthFound, -7};
            properties_.getItems(&item, 1);
            FUZZ_CHECK(truthFound == expected);
        } else if (!std::exchange(noBooleanSeen_, true)) {
            FUZZ_CHECK(outcomeOf([&] { properties_.getBooleanValue(stanza, key, 1, 0); }) ==
                       Outcome::noBoolean);
        }
        if (values.empty() && !std::exchange(missingSeen_, true)) {
            FUZZ_CHECK(outcomeOf([&] {
                           ZLCString_5_1 out;
                           properties_.getValue(stanza, key, out, 1, nullptr);
                       }) == Outcome::missing);
        }
    }

    void iterate(std::string const& name, StanzaModel::Stanza const& stanza) {
        FUZZ_CHECK(sameList(properties_.getKeys(name.c_str()), stanza.keys, sameText));
        ZStanzaIterator_5_1 keys(properties_, name.c_str());
        FUZZ_CHECK(keys.keyCount() == static_cast<int>(stanza.keys.size()));
        for (std::string const& key : stanza.keys) {
            Texts const& values = stanza.values.at(key).either();
            FUZZ_CHECK(keys.hasMore());
            FUZZ_CHECK(sameList(keys.nextEntry(), values, sameText));
            FUZZ_CHECK(keys.entryName() == key);
            FUZZ_CHECK(keys.valueCount() == static_cast<int>(values.size()));
            for (std::size_t i = 0; i < values.size(); ++i) {
                FUZZ_CHECK(keys.entryValue(static_cast<int>(i)) == values[i]);
            }
        }
        FUZZ_CHECK(!keys.hasMore());
    }

    void iterate(char const* stanza, char const* key, Texts const& values) {
        ZStanzaValueIterator_5_1 local(properties_, stanza, key, ZPropLCString,
                                       ZStanzaValueIterator_5_1::ANY);
        ZStanzaValueIterator_5_1 utf8(properties_, stanza, key, ZPropUTF8String,
                                      ZStanzaValueIterator_5_1::ANY);
        FUZZ_CHECK(local.valueCount() == static_cast<int>(values.size()) && !local.isValid());
        for (std::string const& value : values) {
            FUZZ_CHECK(local.hasMore() && sameText(local.nextValue(), value) && local.isValid());
            char const* chars = nullptr;
            FUZZ_CHECK(utf8.nextValue(chars) == chars);
            ZUTF8ConstString_5_1 const text(chars);
            FUZZ_CHECK(sameUtf8(&text, value));
        }
        FUZZ_CHECK(!local.hasMore() && !utf8.hasMore());
        bool const hidden = model_.find(stanza, key)->isHidden();
        auto const ofKind = [&](bool wantsHidden) {
            ZStanzaValueIterator_5_1 const all(properties_, stanza, key, ZPropLCString,
                                               wantsHidden ? ZStanzaValueIterator_5_1::OBFUSCATED
                                                           : ZStanzaValueIterator_5_1::PLAIN);
            FUZZ_CHECK(all.valueCount() == static_cast<int>(values.size()));
        };
        ofKind(hidden);
        if (!values.empty() && std::exchange(otherKindSeen_[hidden], true)) return;
        FUZZ_CHECK(outcomeOf([&] { ofKind(!hidden); }) ==
                   (values.empty() ? Outcome::done : Outcome::refused));
    }

    // Of what is not there.
    void failures() {
        std::string const absent = "absent";
        if (model_.has(absent)) return;
        FUZZ_CHECK(!properties_.exists("absent") && !properties_.exists("absent", "k"));
        FUZZ_CHECK(properties_.count("absent") == 0 && properties_.numValues("absent", "k") == 0);
        FUZZ_CHECK(properties_.get("absent", "k") == nullptr);
        FUZZ_CHECK(properties_.keyNames("absent") == nullptr);
        ZStanzaIterator_5_1 const keys(properties_, "absent");
        ZStanzaIterator_5_1 none(properties_);
        FUZZ_CHECK(!keys.hasMore() && keys.keyCount() == 0);
        FUZZ_CHECK(!none.hasMore() && none.keyCount() == 0);
        FUZZ_CHECK(outcomeOf([&] { none.nextEntry(); }) == Outcome::iterator);
        FUZZ_CHECK(outcomeOf([&] { properties_.isObfuscated("absent"); }) == Outcome::refused);
        FUZZ_CHECK(!properties_.clone());
    }

    Properties& properties_;
    StanzaModel& model_;
    bool isDeep_;
    bool noNumberSeen_ = false, noBooleanSeen_ = false, missingSeen_ = false;
    bool noDotSeen_ = false, otherKindSeen_[2] = {};
};

inline void compare(Properties& properties, StanzaModel& model, bool isDeep) {
    Comparison(properties, model, isDeep).all();
}

// Stores both to `file`: its text and its database have to be what the model says.
inline void storeBoth(Properties& properties, StanzaModel& model, std::string const& file) {
    std::string const records = model.records();
    bool const hasDatabase = !model.hiddenKeys.empty();
    model.prepareStore(file);
    int const loadsBack = properties.databaseLoadsBack();
    FUZZ_CHECK(outcomeOf([&] { properties.store(file.c_str()); }) == Outcome::done);
    FUZZ_CHECK(readFile(file) == model.text());
    if (!hasDatabase) {
        FUZZ_CHECK(loadsBack);
        return;
    }
    std::optional<std::string> const bytes = readFile(model.database);
    FUZZ_CHECK(bytes && inflated(*bytes, records.size() + 1) == records);
    FUZZ_CHECK(loadsBack == recordsOf(*bytes).has_value());
}

// Reads back into fresh ones, which have to agree in everything. True when nothing is wrong.
inline bool readBack(StanzaModel& model, std::string const& file, bool isDeep = true) {
    Properties properties(0);
    properties.setAttributes(1, nullptr);  // as one that keeps the layout from the first
    bool const isLoaded = loadBoth(properties, model, file);
    compare(properties, model, isDeep);
    std::string text;
    Outcome const outcome = outcomeOf([&] {
        Properties loaded(file.c_str(), 1);
        text = writtenText(loaded, nullptr);
    });
    FUZZ_CHECK((outcome == Outcome::done) == isLoaded);
    StanzaModel stored = model;
    stored.prepareStore(file);
    FUZZ_CHECK(!isLoaded || text == stored.text());
    return isLoaded;
}

}  // namespace fuzz

#endif
