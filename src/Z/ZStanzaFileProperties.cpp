// ZStanzaFileProperties: configuration files of stanzas "[name]" with lines "key = value".
// Subsystem: properties, layer 6. Test: tests/ZStanzaFileProperties_test.cpp
#include "ZStanzaFileProperties.h"

#include <memory>
#include <string>
#include <type_traits>
#include <unordered_set>

#include "ZException.h"
#include "ZPropertiesNames.h"
#include "ZSCFData.h"
#include "zraise.h"

#ifdef __i386__
static_assert(sizeof(ZStzFileItem_5_1) == 24, "layout of a request");
#endif

static_assert(std::is_convertible<ZStanzaFileProperties_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZPropertiesKVList_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZKVEntry_5_1*, ZObject_5_1*>::value,
              "one way up to the root");

namespace {

constexpr char const* unit = "src/Z/ZStanzaFileProperties";

using z_5_1::requireName;
using z_5_1::requireThat;

ZAbstractString_5_1* copyAs(ZPropertyStringType type, ZAbstractString_5_1 const& text) {
    std::unique_ptr<ZAbstractMutableString_5_1> copy;
    if (type == ZPropUTF8String) {
        copy = std::make_unique<ZUTF8String_5_1>();
    } else {
        copy = std::make_unique<ZLCString_5_1>();
    }
    copy->setChars(text);
    return copy.release();
}

}  // namespace

// ---- lists of pairs ----

ZKVEntry_5_1::ZKVEntry_5_1(ZKVEntry_5_1 const& other) : ZObject_5_1(other), key_(nullptr) {
    std::unique_ptr<ZObject_5_1> key(other.key_->clone());
    value_ = static_cast<ZAbstractString_5_1*>(other.value_->clone());
    key_ = static_cast<ZAbstractString_5_1*>(key.release());
}

ZKVEntry_5_1::~ZKVEntry_5_1() noexcept {
    delete key_;
    delete value_;
}

ZObject_5_1* ZKVEntry_5_1::clone() const {
    return new ZKVEntry_5_1(*this);
}

ZPropertiesKVList_5_1::ZPropertiesKVList_5_1(ZPropertyStringType type)
    : type_(type), entries_(10, 1) {
    requireThat(type == ZPropLCString || type == ZPropUTF8String, unit, __LINE__);
}

ZPropertiesKVList_5_1::ZPropertiesKVList_5_1(ZPropertiesKVList_5_1 const& other) = default;

ZPropertiesKVList_5_1& ZPropertiesKVList_5_1::operator=(ZPropertiesKVList_5_1 const& other) {
    if (this == &other) return *this;
    clear();
    for (int i = 0; i < other.getItemCount(); ++i) {
        addItem(*other.getItemKey(i), *other.getItemValue(i));
    }
    return *this;
}

ZObject_5_1* ZPropertiesKVList_5_1::clone() const {
    return new ZPropertiesKVList_5_1(*this);
}

void ZPropertiesKVList_5_1::addItem(ZAbstractString_5_1 const& key,
                                    ZAbstractString_5_1 const& value) {
    std::unique_ptr<ZAbstractString_5_1> ownKey(copyAs(type_, key));
    std::unique_ptr<ZAbstractString_5_1> ownValue(copyAs(type_, value));
    auto entry = std::make_unique<ZKVEntry_5_1>(ownKey.get(), ownValue.get());
    (void)ownKey.release();
    (void)ownValue.release();
    entries_.addNoCopy(entry.get());
    (void)entry.release();
}

int ZPropertiesKVList_5_1::getItemCount() const {
    return static_cast<int>(entries_.size());
}

ZAbstractString_5_1* ZPropertiesKVList_5_1::getItemKey(int index) const {
    auto* entry = static_cast<ZKVEntry_5_1*>(entries_.get(static_cast<unsigned int>(index)));
    return entry ? entry->getKey() : nullptr;
}

ZAbstractString_5_1* ZPropertiesKVList_5_1::getItemValue(int index) const {
    auto* entry = static_cast<ZKVEntry_5_1*>(entries_.get(static_cast<unsigned int>(index)));
    return entry ? entry->getValue() : nullptr;
}

void ZPropertiesKVList_5_1::clear() {
    entries_.removeAll();
}

// ---- iterators, factory ----

ZStanzaIterator_5_1::~ZStanzaIterator_5_1() noexcept = default;
ZStanzaValueIterator_5_1::~ZStanzaValueIterator_5_1() noexcept = default;

ZStanzaFileProperties_5_1::ZStanzaFilePropertiesFactory::~ZStanzaFilePropertiesFactory() noexcept(
    false) {}

ZProperties_5_1* ZStanzaFileProperties_5_1::ZStanzaFilePropertiesFactory::makePropertiesInstance() {
    return new ZStanzaFileProperties_5_1(1);
}

void ZStanzaFileProperties_5_1::init() {
    getFactory();
}

ZAbstractPropertiesFactory_5_1& ZStanzaFileProperties_5_1::getFactory() {
    // Without memory the next call tries again.
    static auto* const only = new ZStanzaFilePropertiesFactory;
    return *only;
}

// ---- life ----

ZStanzaFileProperties_5_1::ZStanzaFileProperties_5_1(int keepLayout)
    : ZStanzaFileProperties_5_1(std::make_unique<ZSCFData_5_1>(), keepLayout) {}

ZStanzaFileProperties_5_1::ZStanzaFileProperties_5_1(char const* file, int keepLayout)
    : ZStanzaFileProperties_5_1(keepLayout) {
    load(file);
}

ZStanzaFileProperties_5_1::ZStanzaFileProperties_5_1(std::unique_ptr<ZPCache_5_1> store,
                                                     int keepLayout)
    : ZProperties_5_1(store.get()) {
    getFactory();
    if (keepLayout) setAttributes(ZPCache_5_1::keepLayout, nullptr);
    (void)store.release();
}

ZStanzaFileProperties_5_1::~ZStanzaFileProperties_5_1() noexcept(false) {
    delete store_;
}

// ---- values ----

void ZStanzaFileProperties_5_1::addValue(char const* stanza, char const* key, char const* value,
                                         int obfuscated) {
    requireThat(value != nullptr, unit, __LINE__);
    ZArrayList_5_1 values(1, 1);
    ZLCString_5_1 const text(value);
    values.add(&text);
    addValues(stanza, key, values, obfuscated);
}

void ZStanzaFileProperties_5_1::addValue(char const* stanza, char const* key,
                                         ZLCString_5_1 const& value, int obfuscated) {
    addValue(stanza, key, value.getChars(), obfuscated);
}

void ZStanzaFileProperties_5_1::addValue(char const* stanza, char const* key,
                                         ZUTF8String_5_1 const& value, int obfuscated) {
    addValue(stanza, key, ZLCString_5_1(value).getChars(), obfuscated);
}

void ZStanzaFileProperties_5_1::addValue(char const* stanza, char const* key,
                                         ZLCConstString_5_1 const& value, int obfuscated) {
    addValue(stanza, key, value.getChars(), obfuscated);
}

void ZStanzaFileProperties_5_1::addValue(char const* stanza, char const* key,
                                         ZUTF8ConstString_5_1 const& value, int obfuscated) {
    addValue(stanza, key, ZLCString_5_1(value).getChars(), obfuscated);
}

void ZStanzaFileProperties_5_1::addValues(char const* stanza, char const* key,
                                          ZArrayList_5_1 const& values, int obfuscated) {
    requireName(unit, stanza);
    requireName(unit, key);
    z_5_1::requireNewNames(unit, stanza, key);
    requireThat(values.size() != 0, unit, __LINE__);
    for (unsigned int i = 0; i < values.size(); ++i) {
        auto const* value = static_cast<ZAbstractString_5_1 const*>(values.get(i));
        requireThat(value != nullptr, unit, __LINE__);
        if (!obfuscated) z_5_1::requireOneLine(unit, value->getChars());
    }
    ZStanzaValueIterator_5_1 present(
        *this, stanza, key, ZPropLCString,
        obfuscated ? ZStanzaValueIterator_5_1::OBFUSCATED : ZStanzaValueIterator_5_1::PLAIN);
    bool const fresh = present.valueCount() == 0;
    std::unordered_set<std::string> added;
    for (unsigned int i = 0; i < values.size(); ++i) {
        ZLCString_5_1 text;
        text.setChars(*static_cast<ZAbstractString_5_1 const*>(values.get(i)));
        if (fresh && !added.insert(text.getChars()).second) continue;
        bool found = false;
        while (!found && present.hasMore()) found = *present.nextValue() == text;
        if (!found) present.addValue(text.getChars());
    }
}

namespace {

// Fills a list with the keys and first values that the store shows.
class PairsOf : public ZPCache_5_1::KeyVisitor {
public:
    explicit PairsOf(ZPropertiesKVList_5_1& list) : list_(list) {}
    void visit(char const* key, char const* firstValue) override {
        list_.addItem(ZLCConstString_5_1(key), ZLCConstString_5_1(firstValue));
    }

private:
    ZPropertiesKVList_5_1& list_;
};

}  // namespace

void ZStanzaFileProperties_5_1::getStanza(char const* stanza, ZPropertiesKVList_5_1& list) {
    requireName(unit, stanza);
    ZLCString_5_1 const name(stanza);  // it may be a string of the list
    list.clear();
    ZResourceLock_5_1 hold(lockObject());
    PairsOf pairs(list);
    store_->visitKeys(name.getChars(), pairs);
}

void ZStanzaFileProperties_5_1::getItems(ZStzFileItem_5_1* items, int count) {
    requireThat(items && count > 0, unit, __LINE__);
    ZResourceLock_5_1 hold(lockObject());
    for (int i = 0; i < count; ++i) serve(items[i]);
}

void ZStanzaFileProperties_5_1::serve(ZStzFileItem_5_1 const& item) {
    requireThat(item.result != nullptr, unit, __LINE__);
    int const required = item.required != 0;
    unsigned int const number = item.defaultValue.number();
    switch (item.type) {
        case ZStzFileItem_5_1::booleanValue:
            *static_cast<int*>(item.result) =
                getBooleanValue(item.stanza, item.key, required, static_cast<int>(number));
            return;
        case ZStzFileItem_5_1::integerValue:
            *static_cast<unsigned int*>(item.result) =
                getIntegerValue(item.stanza, item.key, required, number);
            return;
        case ZStzFileItem_5_1::textValue:
            getValue(item.stanza, item.key, *static_cast<ZAbstractMutableString_5_1*>(item.result),
                     required, item.defaultValue.text());
            return;
        case ZStzFileItem_5_1::localValues:
            getValues(item.stanza, item.key, *static_cast<ZArrayList_5_1*>(item.result),
                      ZPropLCString);
            return;
        case ZStzFileItem_5_1::utf8Values:
            getValues(item.stanza, item.key, *static_cast<ZArrayList_5_1*>(item.result),
                      ZPropUTF8String);
            return;
        case ZStzFileItem_5_1::wholeStanza:
            getStanza(item.stanza, *static_cast<ZPropertiesKVList_5_1*>(item.result));
            return;
        default:
            z_5_1::raise(unit, ZInvalidParameterException_5_1());
    }
}

ZArrayList_5_1* ZStanzaFileProperties_5_1::getKeys(char const* stanza) const {
    return keyNames(stanza);
}

// ---- stanzas and comments ----

void ZStanzaFileProperties_5_1::addStanza(char const* stanza) {
    requireName(unit, stanza);
    z_5_1::requireNewStanza(unit, stanza);
    change(ZPropertyChanged_5_1::ADDED, stanza, nullptr,
           [&] { static_cast<ZSCFData_5_1*>(store_)->addStanzaLine(stanza); });
}

void ZStanzaFileProperties_5_1::deleteStanza(char const* stanza) {
    requireName(unit, stanza);
    change(ZPropertyChanged_5_1::DELETED, stanza, nullptr,
           [&] { static_cast<ZSCFData_5_1*>(store_)->delStanzaLine(stanza); });
}

void ZStanzaFileProperties_5_1::addStanzaComment(char const* stanza, char const* text) {
    requireName(unit, stanza);
    requireName(unit, text);
    z_5_1::requireNewStanza(unit, stanza);
    changeQuietly([&] {
        ZLCString_5_1 comment(text);
        checkComment(comment);
        z_5_1::requireOneLine(unit, comment.getChars());
        static_cast<ZSCFData_5_1*>(store_)->addStanzaComment(stanza, comment.getChars());
    });
}

void ZStanzaFileProperties_5_1::addEntryComment(char const* stanza, char const* key,
                                                char const* text) {
    ZProperties_5_1::addEntryComment(stanza, key, text);
}

void ZStanzaFileProperties_5_1::checkComment(ZLCString_5_1& text) {
    if (*text.getChars() != '#') text.prepend("#");
}
