// ZProperties: configuration files: their interfaces and engine, iterators, shared instances.
// Subsystem: properties, layer 5. Test: tests/ZProperties_test.cpp
//
// The engine: checks arguments, holds the instance's lock, asks the store, tells the observers.
// Loading and storing stand in ZPropertiesFile.cpp, iterators and shared instances in
// ZPropertiesIterator.cpp.
#include "ZProperties.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

#include "ZException.h"
#include "ZPropertiesImpl.h"
#include "ZPropertiesNames.h"
#include "zraise.h"
#include "zreport.h"

static_assert(std::is_convertible<ZPropertyChanged_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZProperties_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZAbstractPropertiesFactory_5_1*, ZObject_5_1*>::value &&
                  std::is_convertible<ZPKVList_5_1*, ZObject_5_1*>::value,
              "one way up to the root");

namespace {

constexpr char const* unit = "src/Z/ZProperties";

using z_5_1::requireName;

void refuse(int line = __builtin_LINE()) {
    z_5_1::raise(unit, ZInvalidParameterException_5_1(), line);
}

void requireNames(char const* stanza, char const* key, int line = __builtin_LINE()) {
    requireName(unit, stanza, line);
    requireName(unit, key, line);
}

void requireOwner(ZArrayList_5_1 const& list, int line = __builtin_LINE()) {
    if (!list.ownsMembers()) refuse(line);
}

}  // namespace

// ---- locks ----

ZAbstractProperties_5_1::ZAbstractProperties_5_1(ZAbstractProperties_5_1 const& other)
    : ZObject_5_1(other), ZPropertiesInterface_5_1(other), lock_() {}

ZAbstractProperties_5_1::~ZAbstractProperties_5_1() noexcept(false) {}

ZAbstractProperties_5_1::ZPropResourceLock::ZPropResourceLock(ZLockInterface_5_1& lock)
    : lock_(lock) {
    lock_.lock();
}

ZAbstractProperties_5_1::ZPropResourceLock::~ZPropResourceLock() noexcept {
    // cppcheck-suppress throwInNoexceptFunction ; quietly() catches
    z_5_1::quietly(unit, [this] { lock_.unlock(); });
}

// ---- life ----

ZProperties_5_1::ZProperties_5_1(ZPCache_5_1* store) : store_(store) {}

ZProperties_5_1::ZProperties_5_1(ZProperties_5_1 const& other)
    : ZAbstractProperties_5_1(other),
      ZAbstractObservable_5_1(other),
      ZPropertiesMutableInterface_5_1(other),
      store_(other.store_),
      fileName_(other.fileName_) {}

ZProperties_5_1::~ZProperties_5_1() noexcept(false) {}

// ---- questions ----

int ZProperties_5_1::exists(char const* stanza, char const* key) const {
    requireNames(stanza, key);
    ZResourceLock_5_1 hold(lockObject());
    return store_->contains(stanza, key);
}

int ZProperties_5_1::exists(char const* stanza) const {
    requireName(unit, stanza);
    ZResourceLock_5_1 hold(lockObject());
    return store_->contains(stanza);
}

int ZProperties_5_1::isObfuscated(char const* stanza, char const* key) const {
    requireNames(stanza, key);
    ZResourceLock_5_1 hold(lockObject());
    if (!store_->contains(stanza, key)) refuse();
    return store_->isObfuscated(stanza, key);
}

int ZProperties_5_1::isObfuscated(char const* stanza) const {
    requireName(unit, stanza);
    ZResourceLock_5_1 hold(lockObject());
    if (!store_->contains(stanza)) refuse();
    return store_->isObfuscated(stanza);
}

int ZProperties_5_1::checkAccess(char const* stanza, char const* key, int obfuscated) const {
    requireNames(stanza, key);
    ZResourceLock_5_1 hold(lockObject());
    ZPCache_5_1::Held const held = store_->held(stanza, key);
    if (held == ZPCache_5_1::Held::none) return 0;
    int const isObfuscated = held == ZPCache_5_1::Held::obfuscated;
    if (isObfuscated != (obfuscated != 0)) refuse();
    return isObfuscated;
}

z_5_1::PropSlice ZProperties_5_1::extractValue(ZPCache_5_1 const& store, char const* stanza,
                                               char const* key, int required) const {
    z_5_1::PropSlice value;
    if (key) {
        value = store.firstValue(stanza, key);
    } else if (ZArrayList_5_1* values = store.get(stanza, ZPCache_5_1::either)) {
        auto* first = static_cast<ZLCString_5_1*>(values->get(0));
        if (first) value = {first->getChars(), first->getLength()};
    }
    if (!value.chars && required) {
        z_5_1::raise(unit, ZPropertiesMissingPropertyException_5_1(fileName(), stanza, key));
    }
    return value;
}

void ZProperties_5_1::getValue(char const* stanza, char const* key, ZAbstractMutableString_5_1& out,
                               int required, char const* defaultValue) const {
    requireNames(stanza, key);
    if (required && defaultValue) refuse();
    ZResourceLock_5_1 hold(lockObject());
    z_5_1::PropSlice value = extractValue(*store_, stanza, key, required);
    if (!value.chars) {
        value.chars = defaultValue ? defaultValue : ZPCache_5_1::emptyText().getChars();
        value.length = std::strlen(value.chars);
    }
    ZLCConstString_5_1 const text(value.chars);
    if (out.getCodesetHandle() != text.getCodesetHandle() || value.length > UINT_MAX) {
        out.setChars(text);
    } else if (value.chars != out.getChars()) {
        // The room first: without memory for it `out` keeps its text.
        if (value.length > out.getCapacity()) out.bump(static_cast<unsigned int>(value.length), 0);
        out.clear().append(value.chars, static_cast<unsigned int>(value.length));
    }
}

unsigned int ZProperties_5_1::getIntegerValue(char const* stanza, char const* key, int required,
                                              unsigned int defaultValue) const {
    requireNames(stanza, key);
    if (required && defaultValue) refuse();
    ZResourceLock_5_1 hold(lockObject());
    char const* value = extractValue(*store_, stanza, key, required).chars;
    if (!value) return defaultValue;
    unsigned int number;
    if (!convertToInt(value, number)) {
        z_5_1::raise(unit, ZPropertiesInvalidNumValueException_5_1(fileName(), stanza, key, value));
    }
    return number;
}

int ZProperties_5_1::getBooleanValue(char const* stanza, char const* key, int required,
                                     int defaultValue) const {
    requireNames(stanza, key);
    if (required && defaultValue) refuse();
    ZResourceLock_5_1 hold(lockObject());
    char const* value = extractValue(*store_, stanza, key, required).chars;
    if (!value) return defaultValue;
    int truth;
    if (!convertToBoolean(value, truth)) {
        z_5_1::raise(unit,
                     ZPropertiesInvalidBoolValueException_5_1(fileName(), stanza, key, value));
    }
    return truth;
}

namespace {

// New strings of one type, made before anything else changes.
class Copies : public ZPCache_5_1::ValueVisitor {
public:
    explicit Copies(ZPropertyStringType type) : type_(type) {}
    void visit(char const* value) override {
        if (type_ == ZPropUTF8String) {
            all_.push_back(std::make_unique<ZUTF8String_5_1>(ZLCConstString_5_1(value)));
        } else {
            all_.push_back(std::make_unique<ZLCString_5_1>(value));
        }
    }
    // Puts them in place of the list's elements.
    void moveTo(ZArrayList_5_1& list) {
        list.removeAll();
        for (auto& copy : all_) {
            list.addNoCopy(copy.get());
            (void)copy.release();
        }
    }

private:
    ZPropertyStringType type_;
    std::vector<std::unique_ptr<ZObject_5_1>> all_;
};

}  // namespace

void ZProperties_5_1::getValues(char const* stanza, char const* key, ZArrayList_5_1& out,
                                ZPropertyStringType type) const {
    requireNames(stanza, key);
    requireOwner(out);
    if (type != ZPropLCString && type != ZPropUTF8String) refuse();
    ZResourceLock_5_1 hold(lockObject());
    Copies copies(type);
    store_->visitValues(stanza, key, copies);
    copies.moveTo(out);
}

int ZProperties_5_1::numValues(char const* stanza) const {
    requireName(unit, stanza);
    ZResourceLock_5_1 hold(lockObject());
    ZArrayList_5_1* values = store_->get(stanza, ZPCache_5_1::either);
    return values ? static_cast<int>(values->size()) : 0;
}

int ZProperties_5_1::numValues(char const* stanza, char const* key) const {
    requireNames(stanza, key);
    ZResourceLock_5_1 hold(lockObject());
    return store_->countValues(stanza, key);
}

int ZProperties_5_1::count() const {
    ZResourceLock_5_1 hold(lockObject());
    return store_->count();
}

int ZProperties_5_1::count(char const* stanza) const {
    requireName(unit, stanza);
    ZResourceLock_5_1 hold(lockObject());
    return store_->keyCount(stanza);
}

void ZProperties_5_1::list() const {
    ZResourceLock_5_1 hold(lockObject());
    store_->list(stdout);
}

void ZProperties_5_1::keyNames(ZArrayList_5_1& names) const {
    requireOwner(names);
    ZResourceLock_5_1 hold(lockObject());
    store_->getNames(names);
}

ZArrayList_5_1* ZProperties_5_1::keyNames(char const* stanza) const {
    requireName(unit, stanza);
    ZResourceLock_5_1 hold(lockObject());
    return store_->getNames(stanza);
}

void ZProperties_5_1::keyNames(char const* stanza, ZArrayList_5_1& names) const {
    requireName(unit, stanza);
    requireOwner(names);
    ZResourceLock_5_1 hold(lockObject());
    store_->getNames(stanza, names);
}

ZArrayList_5_1* ZProperties_5_1::get(char const* stanza, char const* key) const {
    requireNames(stanza, key);
    ZResourceLock_5_1 hold(lockObject());
    return store_->get(stanza, key, ZPCache_5_1::either);
}

// ---- changes ----

void ZProperties_5_1::sendChangeNotice(ZPropertyChanged_5_1::PropertyStyle style,
                                       ZPropertyChanged_5_1::PropertyChangeType type,
                                       char const* stanza, char const* key) {
    if (!loading_) notifyObservers(ZPropertyChanged_5_1(style, type, stanza, key));
}

void ZProperties_5_1::setValue(char const* stanza, char const* key, char const* value) {
    setValue(stanza, key, value, 0);
}

void ZProperties_5_1::setValue(char const* stanza, char const* key, char const* value,
                               int obfuscated) {
    requireNames(stanza, key);
    z_5_1::requireNewNames(unit, stanza, key);
    if (!obfuscated) {
        z_5_1::requireOneLine(unit, value);
    } else if (z_5_1::namesDatabase(stanza, key)) {
        refuse();
    }
    change(ZPropertyChanged_5_1::CHANGED, stanza, key, [&] {
        if (value && *value) checkAccess(stanza, key, obfuscated);
        store_->addLine(stanza, key, value, obfuscated);
    });
}

void ZProperties_5_1::setValue(char const* stanza, char const* key, ZLCString_5_1 const& value,
                               int obfuscated) {
    setValue(stanza, key, value.getChars(), obfuscated);
}

void ZProperties_5_1::setValue(char const* stanza, char const* key, ZUTF8String_5_1 const& value,
                               int obfuscated) {
    setValue(stanza, key, ZLCString_5_1(value).getChars(), obfuscated);
}

void ZProperties_5_1::setValue(char const* stanza, char const* key, ZLCConstString_5_1 const& value,
                               int obfuscated) {
    setValue(stanza, key, value.getChars(), obfuscated);
}

void ZProperties_5_1::setValue(char const* stanza, char const* key,
                               ZUTF8ConstString_5_1 const& value, int obfuscated) {
    setValue(stanza, key, ZLCString_5_1(value).getChars(), obfuscated);
}

void ZProperties_5_1::replaceByPlain(char const* stanza, char const* key, char const* value) {
    requireNames(stanza, key);
    z_5_1::requireNewNames(unit, stanza, key);
    change(ZPropertyChanged_5_1::CHANGED, stanza, key, [&] {
        checkAccess(stanza, key, 0);
        store_->addLine(stanza, key, value, 0);
    });
}

void ZProperties_5_1::setIntegerValue(char const* stanza, char const* key, unsigned int value) {
    replaceByPlain(stanza, key, ZLCString_5_1(value).getChars());
}

void ZProperties_5_1::setBooleanValue(char const* stanza, char const* key, int value) {
    replaceByPlain(stanza, key, value ? "yes" : "no");
}

void ZProperties_5_1::deleteKey(char const* stanza, char const* key) {
    requireNames(stanza, key);
    change(ZPropertyChanged_5_1::DELETED, stanza, key, [&] { store_->delLine(stanza, key); });
}

void ZProperties_5_1::addFileComment(char const* text) {
    changeQuietly([&] {
        ZLCString_5_1 comment(text);
        checkComment(comment);
        z_5_1::requireOneLine(unit, comment.getChars());
        store_->addFileComment(comment.getChars());
    });
}

void ZProperties_5_1::addEntryComment(char const* stanza, char const* key, char const* text) {
    requireNames(stanza, key);
    z_5_1::requireNewNames(unit, stanza, key);
    if (!text || !*text) refuse();
    changeQuietly([&] {
        ZLCString_5_1 comment(text);
        checkComment(comment);
        z_5_1::requireOneLine(unit, comment.getChars());
        store_->addLineComment(stanza, key, comment.getChars());
    });
}

void ZProperties_5_1::postLoad(char const*) {}

void ZProperties_5_1::checkComment(ZLCString_5_1&) {}

void ZProperties_5_1::setAttributes(unsigned long flags, void* data) {
    ZResourceLock_5_1 hold(lockObject());
    store_->setAttributes(flags, data);
}

// ---- conversions ----

// Locales and word sizes make no difference here: strtoul would take its white space from the
// locale and saturate at the width of long.
int ZProperties_5_1::convertToInt(char const* text, unsigned int& out) {
    out = 0;
    if (!text || !*text) return 1;
    while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
    bool const negative = *text == '-';
    if (*text == '-' || *text == '+') ++text;
    auto digit = [](char c) -> unsigned {
        if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
        char const lower = static_cast<char>(c | 0x20);
        return lower >= 'a' && lower <= 'f' ? static_cast<unsigned>(lower - 'a') + 10 : 16;
    };
    unsigned base = 10;
    if (*text == '0') {
        base = 8;
        if ((text[1] | 0x20) == 'x' && digit(text[2]) < 16) {
            base = 16;
            text += 2;
        }
    }
    constexpr unsigned long long most = 0xFFFFFFFFu;
    unsigned long long number = 0;
    char const* const first = text;
    for (; digit(*text) < base; ++text) {
        if (number <= most) number = number * base + digit(*text);
    }
    if (text == first || *text) return 0;
    if (number > most) {
        out = static_cast<unsigned int>(most);
    } else {
        out = static_cast<unsigned int>(negative ? 0 - number : number);
    }
    return 1;
}

int ZProperties_5_1::convertToBoolean(char const* text, int& out) {
    // The first letter says all but what may follow it.
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; };
    char const* rest = "";
    int truth = 0;
    switch (text ? lower(*text) : '\0') {
        case '\0':
            out = 0;
            return 1;
        case 'y':
            rest = "es";
            truth = 1;
            break;
        case 't':
            rest = "rue";
            truth = 1;
            break;
        case '1':
            truth = 1;
            break;
        case 'n':
            rest = "o";
            break;
        case 'f':
            rest = "alse";
            break;
        case '0':
            break;
        default:
            out = 0;
            return 0;
    }
    out = 0;
    if (text[1]) {
        while (*rest && lower(*++text) == *rest) ++rest;
        if (*rest || !*text || text[1]) return 0;
    }
    out = truth;
    return 1;
}
