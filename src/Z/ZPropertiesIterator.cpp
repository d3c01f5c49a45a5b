// ZPropertiesIterator: walks over keys and values, and the shared instances of a factory.
// Subsystem: properties, layer 5. Test: tests/ZProperties_test.cpp
#include <algorithm>

#include "ZException.h"
#include "ZProperties.h"
#include "ZPropertiesImpl.h"
#include "ZPropertiesNames.h"
#include "zraise.h"

namespace {

constexpr char const* unit = "src/Z/ZProperties";

int sizeOf(ZArrayList_5_1 const* list) {
    return list ? static_cast<int>(list->size()) : 0;
}

ZLCString_5_1* stringAt(ZArrayList_5_1 const* list, int index) {
    return static_cast<ZLCString_5_1*>(list->get(static_cast<unsigned int>(index)));
}

}  // namespace

// ---- keys of a stanza ----

ZPropertiesIterator_5_1::ZPropertiesIterator_5_1(ZProperties_5_1& properties, char const* stanza)
    : stanza_(stanza), properties_(&properties), hold_(properties.lockObject()) {
    z_5_1::requireName(unit, stanza);
    names_ = properties.store_->getNames(stanza);
    generation_ = properties.store_->removals();
}

ZPropertiesIterator_5_1::ZPropertiesIterator_5_1(ZProperties_5_1& properties)
    : properties_(&properties),
      hold_(properties.lockObject()),
      generation_(properties.store_->removals()) {}

ZPropertiesIterator_5_1::~ZPropertiesIterator_5_1() noexcept = default;

// What the store removed since the last look may be what this iterator points to.
void ZPropertiesIterator_5_1::refresh() const {
    ZPCache_5_1& store = *properties_->store_;
    if (generation_ == store.removals()) return;
    generation_ = store.removals();
    if (!names_) return;
    names_ = store.getNames(stanza_.getChars());
    if (values_) {
        values_ = store.get(stanza_.getChars(), name_.getChars(), ZPCache_5_1::either);
    }
}

void ZPropertiesIterator_5_1::requireEntry(int line) const {
    if (index_ < 0) {
        z_5_1::raise(unit, ZPropertiesIteratorException_5_1(properties_->fileName()), line);
    }
    refresh();
}

int ZPropertiesIterator_5_1::keyCount() const {
    refresh();
    return sizeOf(names_);
}

int ZPropertiesIterator_5_1::hasMore() const {
    return index_ + 1 < keyCount();
}

ZArrayList_5_1* ZPropertiesIterator_5_1::nextEntry() {
    if (!hasMore()) {
        z_5_1::raise(unit, ZPropertiesIteratorException_5_1(properties_->fileName()));
    }
    ++index_;
    name_ = *stringAt(names_, index_);
    values_ = getValues(name_.getChars());
    return values_;
}

ZArrayList_5_1* ZPropertiesIterator_5_1::getValues(char const* name) {
    ZPCache_5_1 const& store = *properties_->store_;
    if (stanza_.isEmpty()) return store.get(name, ZPCache_5_1::either);
    return store.get(stanza_.getChars(), name, ZPCache_5_1::either);
}

char const* ZPropertiesIterator_5_1::entryName() const {
    requireEntry();
    return name_.getChars();
}

char const* ZPropertiesIterator_5_1::entryValue(int index) const {
    requireEntry();
    if (!values_) return nullptr;
    if (index < 0 || index >= sizeOf(values_)) {
        z_5_1::raise(unit, ZInvalidParameterException_5_1());
    }
    return stringAt(values_, index)->getChars();
}

int ZPropertiesIterator_5_1::valueCount() const {
    requireEntry();
    return sizeOf(values_);
}

// ---- values of a key ----

ZAbstractPropertyValuesIterator_5_1::ZAbstractPropertyValuesIterator_5_1(
    ZProperties_5_1& properties, char const* stanza, char const* key, ZPropertyStringType type,
    ZPropIter_valtype valtype)
    : properties_(&properties),
      hold_(properties.lockObject()),
      stanza_(stanza),
      key_(key),
      type_(type),
      valtype_(valtype) {
    z_5_1::requireName(unit, stanza);
    z_5_1::requireName(unit, key);
    z_5_1::requireThat(type == ZPropLCString || type == ZPropUTF8String, unit, __LINE__);
    z_5_1::requireThat(valtype >= ANY && valtype <= OBFUSCATED, unit, __LINE__);
    ZPCache_5_1 const& store = *properties.store_;
    if (valtype == ANY) {
        valtype_ = store.isObfuscated(stanza, key) ? OBFUSCATED : PLAIN;
    } else {
        properties.checkAccess(stanza, key, valtype == OBFUSCATED);
    }
    values_ = store.get(stanza, key, static_cast<ZPCache_5_1::get_type_e>(valtype_));
    generation_ = store.removals();
    if (type == ZPropUTF8String) {
        current_ = new ZUTF8String_5_1;
    } else {
        current_ = new ZLCConstString_5_1;
    }
}

ZAbstractPropertyValuesIterator_5_1::~ZAbstractPropertyValuesIterator_5_1() noexcept {
    delete current_;
}

void ZAbstractPropertyValuesIterator_5_1::refresh() const {
    ZPCache_5_1 const& store = *properties_->store_;
    if (generation_ == store.removals()) return;
    generation_ = store.removals();
    if (!values_) return;
    values_ = store.get(stanza_.getChars(), key_.getChars(),
                        static_cast<ZPCache_5_1::get_type_e>(valtype_));
}

int ZAbstractPropertyValuesIterator_5_1::valueCount() const {
    refresh();
    return sizeOf(values_);
}

int ZAbstractPropertyValuesIterator_5_1::hasMore() const {
    return index_ + 1 < valueCount();
}

int ZAbstractPropertyValuesIterator_5_1::isValid() const {
    return index_ >= 0 && index_ < valueCount();
}

void ZAbstractPropertyValuesIterator_5_1::requireValid(int line) const {
    if (!isValid()) {
        z_5_1::raise(unit, ZPropertiesIteratorException_5_1(properties_->fileName()), line);
    }
}

ZLCString_5_1* ZAbstractPropertyValuesIterator_5_1::nextValue() {
    if (!hasMore()) {
        z_5_1::raise(unit, ZPropertiesIteratorException_5_1(properties_->fileName()));
    }
    ++index_;
    return stringAt(values_, index_);
}

char const* ZAbstractPropertyValuesIterator_5_1::nextValue(char const*& out) {
    ZLCString_5_1 const& value = *nextValue();
    if (type_ == ZPropUTF8String) {
        static_cast<ZUTF8String_5_1&>(*current_) = value;
    } else {
        static_cast<ZLCConstString_5_1&>(*current_) = value.getChars();
    }
    out = current_->getChars();
    return out;
}

// The value in the local codeset, if the file can hold it.
ZLCString_5_1 ZAbstractPropertyValuesIterator_5_1::accepted(char const* value) const {
    if (valtype_ == PLAIN) z_5_1::requireOneLine(unit, value);
    if (type_ == ZPropUTF8String) return ZLCString_5_1(ZUTF8ConstString_5_1(value));
    return ZLCString_5_1(value);
}

void ZAbstractPropertyValuesIterator_5_1::changeValue(char const* value) {
    requireValid();
    *stringAt(values_, index_) = accepted(value);
    properties_->setModified();
}

void ZAbstractPropertyValuesIterator_5_1::addValue(char const* value) {
    ZLCString_5_1 const text = accepted(value);
    if (int const count = valueCount()) {
        // Values may have gone behind the iterator's back: it never inserts past the end.
        index_ = std::min(index_ + 1, count);
        values_->add(static_cast<unsigned int>(index_), &text);
    } else {
        properties_->setValue(stanza_.getChars(), key_.getChars(), text.getChars(),
                              valtype_ == OBFUSCATED);
        if (!values_) {
            values_ = properties_->store_->get(stanza_.getChars(), key_.getChars(),
                                               static_cast<ZPCache_5_1::get_type_e>(valtype_));
        }
        index_ = valueCount() - 1;  // an empty value is none to stand on
    }
    properties_->setModified();
}

void ZAbstractPropertyValuesIterator_5_1::removeValue() {
    requireValid();
    if (index_ == 0 && valtype_ == OBFUSCATED) {
        properties_->setValue(stanza_.getChars(), key_.getChars(), "");
    } else {
        values_->remove(static_cast<unsigned int>(index_));
    }
    --index_;
    properties_->setModified();
}

// ---- shared instances ----

ZAbstractPropertiesFactory_5_1::ZAbstractPropertiesFactory_5_1() : instances_(10, 0) {}

ZAbstractPropertiesFactory_5_1::~ZAbstractPropertiesFactory_5_1() noexcept(false) {
    if (instances_.isEmpty()) return;  // one that could not be made whole asks for no memory
    ZArrayList_5_1 names(10, 1);
    ZArrayList_5_1 stored(10, 0);
    instances_.listKeys(stored);
    for (unsigned int i = 0; i < stored.size(); ++i) names.addNoCopy(stored.get(i));
    instances_.removeAll();
}

// Lock-free unless a reload is due: only who reloads waits for users of the instance.
void ZProperties_5_1::reloadIfNeeded(char const* file, int force) {
    long const formerTime = fileTime_;
    long time = formerTime;
    bool const due = force || (!isModified() && z_5_1::checkAndSetTimeStamp(file, time));
    if (!due) return;
    ZResourceLock_5_1 hold(lockObject());
    if (!force && isModified()) return;  // changed while this thread waited for the lock
    fileTime_ = time;
    std::unique_ptr<ZPCache_5_1::Content> former = store_->takeContent();
    try {
        reload(file);
    } catch (...) {
        store_->putContent(std::move(former));
        fileTime_ = formerTime;
        throw;
    }
}

ZProperties_5_1* ZProperties_5_1::getPropertiesFor(char const* file,
                                                   ZAbstractPropertiesFactory_5_1& factory,
                                                   int force) {
    z_5_1::requireName(unit, file);
    ZPropRegistry_5_1 registry;
    ZLCConstString_5_1 const name(file);
    if (auto* known = static_cast<ZProperties_5_1*>(factory.instances_.getEntry(&name))) {
        known->reloadIfNeeded(file, force);
        return known;
    }
    std::unique_ptr<ZProperties_5_1> fresh(factory.makePropertiesInstance());
    z_5_1::requireThat(fresh != nullptr, unit, __LINE__);
    fresh->load(file);
    auto key = std::make_unique<ZLCString_5_1>(file);
    factory.instances_.putEntryNoCopy(key.get(), fresh.get());
    (void)key.release();
    return fresh.release();
}
