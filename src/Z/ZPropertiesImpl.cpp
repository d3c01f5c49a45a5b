// ZPropertiesImpl: the store: one configuration file in memory, and the guard of the registry.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesImpl_test.cpp
#include "ZPropertiesImpl.h"

#include <cstdlib>
#include <cstring>

#include "ZException.h"
#include "zraise.h"
#include "zreport.h"

namespace {

constexpr char const* unit = "src/Z/ZPropertiesImpl";

std::uint32_t hashOf(ZPKVList_5_1 const& stanza) {
    return z_5_1::hashName(stanza.nameChars(), stanza.nameLength());
}

z_5_1::PropText copyOf(char const* chars) {
    return z_5_1::PropText::copyOf(chars, std::strlen(chars));
}

}  // namespace

// ---- obfuscated items, registry ----

ZObfuscatedItem_5_1::~ZObfuscatedItem_5_1() noexcept = default;

int ZObfuscatedItem_5_1::compare(ZObject_5_1 const& other) const {
    auto const& item = static_cast<ZObfuscatedItem_5_1 const&>(other);
    int const order = stanza_.compare(item.stanza_);
    return order ? order : key_.compare(item.key_);
}

ZObject_5_1* ZObfuscatedItem_5_1::clone() const {
    return new ZObfuscatedItem_5_1(*this);
}

namespace z_5_1 {

std::string ObfuscatedItems::joined(char const* stanza, char const* key) {
    return std::string(stanza).append(1, '\0').append(key);
}

void ObfuscatedItems::add(char const* stanza, char const* key) {
    std::string name = joined(stanza, key);
    wanted_.reserve(name.size());
    auto const [place, isNew] = places_.try_emplace(std::move(name));
    if (!isNew) return;
    try {
        place->second = items_.emplace(items_.end(), stanza, key);
    } catch (...) {
        places_.erase(place);
        throw;
    }
}

void ObfuscatedItems::addLast(char const* stanza, char const* key) {
    add(stanza, key);
    items_.splice(items_.end(), items_, places_.find(joined(stanza, key))->second);
}

void ObfuscatedItems::remove(char const* stanza, char const* key) noexcept {
    if (items_.empty()) return;
    std::size_t const stanzaLength = std::strlen(stanza), keyLength = std::strlen(key);
    if (stanzaLength + 1 + keyLength > wanted_.capacity()) return;  // longer than all
    wanted_.assign(stanza, stanzaLength).append(1, '\0').append(key, keyLength);
    auto const place = places_.find(wanted_);
    if (place == places_.end()) return;
    items_.erase(place->second);
    places_.erase(place);
}

}  // namespace z_5_1

ZLock_5_1* ZPropRegistry_5_1::res_ = nullptr;

ZPropRegistry_5_1::ZPropRegistry_5_1() {
    // Without memory the next call tries again.
    static ZLock_5_1* const only = res_ = new ZLock_5_1;
    only->lock();
}

ZPropRegistry_5_1::~ZPropRegistry_5_1() noexcept {
    // cppcheck-suppress throwInNoexceptFunction ; quietly() catches
    z_5_1::quietly(unit, [] { res_->unlock(); });
}

// ---- what all stores have ----

ZLCString_5_1* ZPCache_5_1::empty_ = nullptr;

ZPCache_5_1::ZPCache_5_1(std::unique_ptr<Content> empty) : content_(std::move(empty)) {
    emptyText();
}

ZPCache_5_1::~ZPCache_5_1() = default;
ZPCache_5_1::Content::~Content() noexcept(false) {}

void ZPCache_5_1::clear() {
    takeContent();
}

std::unique_ptr<ZPCache_5_1::Content> ZPCache_5_1::takeContent() {
    std::unique_ptr<Content> content = makeContent();
    content.swap(content_);
    ++removals_;
    return content;
}

void ZPCache_5_1::putContent(std::unique_ptr<Content> content) noexcept {
    content_ = std::move(content);
    ++removals_;
}

ZLCString_5_1 const& ZPCache_5_1::emptyText() {
    static ZLCString_5_1 const* const only = empty_ = new ZLCString_5_1;
    return *only;
}

void ZPCache_5_1::setAttributes(unsigned long flags, void* data) {
    attributes_ |= static_cast<std::uint32_t>(flags);
    attributeData_ = data;
}

void ZPCache_5_1::makeKey(ZLCString_5_1& out, char const* stanza, char const* key) const {
    out = stanza;
    if (key) out.append('.').append(key);
}

// ---- content ----

ZPCategoryBasedCache_5_1::FileContent::FileContent() : stanzas(10, 1) {}

ZPCategoryBasedCache_5_1::FileContent::~FileContent() noexcept(false) {
    memory.closing = true;
    for (PropLine* line = preamble.first(); line;) {
        PropLine* next = line->next;
        memory.pool.give(*line);
        line = next;
    }
}

ZPCategoryBasedCache_5_1::ZPCategoryBasedCache_5_1()
    : ZPCache_5_1(std::make_unique<FileContent>()) {}

ZPCategoryBasedCache_5_1::~ZPCategoryBasedCache_5_1() = default;

std::unique_ptr<ZPCache_5_1::Content> ZPCategoryBasedCache_5_1::makeContent() const {
    return std::make_unique<FileContent>();
}

// ---- finding and making ----

ZPKVList_5_1* ZPCategoryBasedCache_5_1::find(char const* stanza, std::size_t length) const {
    return content().index.find(z_5_1::hashName(stanza, length), stanza, length,
                                [](ZPKVList_5_1 const&) { return true; });
}

ZPKVList_5_1* ZPCategoryBasedCache_5_1::find(char const* stanza) const {
    return find(stanza, std::strlen(stanza));
}

ZPCategoryBasedCache_5_1::PropKey* ZPCategoryBasedCache_5_1::find(char const* stanza,
                                                                  char const* key) const {
    ZPKVList_5_1* found = find(stanza);
    return found ? found->findIn(content().memory.keys, key, std::strlen(key)) : nullptr;
}

ZPKVList_5_1& ZPCategoryBasedCache_5_1::appendStanza(PropText text) {
    struct Release {
        PropText* text;
        ~Release() {
            if (text) text->release();
        }
    } pending{&text};
    std::unique_ptr<ZPKVList_5_1> stanza(new ZPKVList_5_1(content().memory, text));
    pending.text = nullptr;
    // The map's key is a view of the stanza's own name.
    content().index.reserveOne();
    auto name = std::make_unique<ZLCConstString_5_1>(stanza->nameChars());
    content().stanzas.putEntryNoCopy(name.get(), stanza.get());
    (void)name.release();
    ZPKVList_5_1& added = *stanza.release();
    content().index.insert(added, hashOf(added), added.nameChars(), added.nameLength());
    link(added);
    return added;
}

void ZPCategoryBasedCache_5_1::link(ZPKVList_5_1& stanza) {
    ZPKVList_5_1*& last = content().lastStanza;
    stanza.previousStanza = last;
    stanza.nextStanza = nullptr;
    (last ? last->nextStanza : content().firstStanza) = &stanza;
    last = &stanza;
}

void ZPCategoryBasedCache_5_1::unlink(ZPKVList_5_1& stanza) {
    ZPKVList_5_1 *previous = stanza.previousStanza, *next = stanza.nextStanza;
    (previous ? previous->nextStanza : content().firstStanza) = next;
    (next ? next->previousStanza : content().lastStanza) = previous;
}

namespace {

// The nearest stanza with a head from this one backwards, or null.
ZPKVList_5_1* withHead(ZPKVList_5_1* stanza) {
    while (stanza && !stanza->hasHead) stanza = stanza->previousStanza;
    return stanza;
}

}  // namespace

// A stanza without a head will move, and its lines would go with it.
void ZPCategoryBasedCache_5_1::appendLine(unsigned int type, PropText text) {
    if (ZPKVList_5_1* last = withHead(content().lastStanza)) {
        last->addLine(type, text, last->lastLine());
    } else {
        content().preamble.pushBack(content().memory.pool.makeLine(type, text));
    }
}

void ZPCategoryBasedCache_5_1::makeHead(ZPKVList_5_1& stanza) {
    if (stanza.hasHead) return;
    unlink(stanza);
    try {
        appendLine(ZPropLine_5_1::blank, PropText());
    } catch (...) {
        link(stanza);
        throw;
    }
    link(stanza);
    stanza.hasHead = true;
}

ZPKVList_5_1& ZPCategoryBasedCache_5_1::stanzaFor(char const* stanza) {
    ZPKVList_5_1* found = find(stanza);
    return found ? *found : appendStanza(copyOf(stanza));
}

ZPKVList_5_1& ZPCategoryBasedCache_5_1::addStanzaLine(char const* stanza) {
    ZPKVList_5_1& found = stanzaFor(stanza);
    makeHead(found);
    return found;
}

ZPCategoryBasedCache_5_1::PropKey& ZPCategoryBasedCache_5_1::keyFor(ZPKVList_5_1& stanza,
                                                                    char const* key) {
    PropKey* found = stanza.find(key);
    return found ? *found : stanza.append(copyOf(key));
}

ZObject_5_1* ZPCategoryBasedCache_5_1::createAndGet(char const* stanza, char const* key) {
    ZPKVList_5_1& found = stanzaFor(stanza);
    if (!key) return &found;
    return &keyFor(found, key).lists();
}

// ---- questions ----

ZArrayList_5_1* ZPCategoryBasedCache_5_1::get(char const* stanza, char const* key,
                                              get_type_e type) const {
    PropKey* found = find(stanza, key);
    if (!found) return nullptr;
    bool const wantsObfuscated = type == either ? found->count(false) == 0 : type == obfuscated;
    return &found->list(wantsObfuscated);
}

z_5_1::PropSlice ZPCategoryBasedCache_5_1::firstValue(char const* stanza, char const* key) const {
    PropKey* found = find(stanza, key);
    return found ? found->firstValue() : z_5_1::PropSlice();
}

ZPCache_5_1::Held ZPCategoryBasedCache_5_1::held(char const* stanza, char const* key) const {
    PropKey* found = find(stanza, key);
    if (!found) return Held::none;
    if (found->count(false)) return Held::plain;
    return found->count(true) ? Held::obfuscated : Held::none;
}

void ZPCategoryBasedCache_5_1::visitValues(char const* stanza, char const* key,
                                           ValueVisitor& visitor) const {
    PropKey* found = find(stanza, key);
    if (!found) return;
    if (found->values != z_5_1::PropValues::lists) {
        if (char const* value = found->firstValue().chars) visitor.visit(value);
        return;
    }
    ZArrayList_5_1 const& values = found->list(found->count(false) == 0);
    for (unsigned int i = 0; i < values.size(); ++i) {
        visitor.visit(static_cast<ZLCString_5_1*>(values.get(i))->getChars());
    }
}

void ZPCategoryBasedCache_5_1::visitKeys(char const* stanza, KeyVisitor& visitor) const {
    if (ZPKVList_5_1* found = find(stanza)) {
        found->forEachKey(
            [&visitor](PropKey& key) { visitor.visit(key.text, key.firstValue().chars); });
    }
}

int ZPCategoryBasedCache_5_1::countValues(char const* stanza, char const* key) const {
    PropKey* found = find(stanza, key);
    if (!found) return 0;
    unsigned int const plainValues = found->count(false);
    return static_cast<int>(plainValues ? plainValues : found->count(true));
}

int ZPCategoryBasedCache_5_1::keyCount(char const* stanza) const {
    ZPKVList_5_1* found = find(stanza);
    return found ? static_cast<int>(found->size()) : 0;
}

int ZPCategoryBasedCache_5_1::contains(char const* stanza) const {
    return find(stanza) != nullptr;
}

int ZPCategoryBasedCache_5_1::contains(char const* stanza, char const* key) const {
    return find(stanza, key) != nullptr;
}

int ZPCategoryBasedCache_5_1::isObfuscated(char const* stanza, char const* key) const {
    PropKey* found = find(stanza, key);
    return found && found->isObfuscated();
}

int ZPCategoryBasedCache_5_1::count() const {
    return static_cast<int>(content().stanzas.size());
}

void ZPCategoryBasedCache_5_1::getNames(ZArrayList_5_1& names) const {
    ZArrayList_5_1 views(content().stanzas.size(), 0);
    content().stanzas.listKeys(views);
    for (unsigned int i = 0; i < views.size(); ++i) {
        ZLCString_5_1 const name(*static_cast<ZLCConstString_5_1*>(views.get(i)));
        names.add(&name);
    }
}

void ZPCategoryBasedCache_5_1::getNames(char const* stanza, ZArrayList_5_1& names) const {
    ZPKVList_5_1* found = find(stanza);
    if (!found) return;
    found->forEachKey([&names](PropKey& key) {
        ZLCString_5_1 const name(key.text);
        names.add(&name);
    });
}

ZArrayList_5_1* ZPCategoryBasedCache_5_1::getNames(char const* stanza) const {
    ZPKVList_5_1* found = find(stanza);
    return found ? found->getKeys() : nullptr;
}

void ZPCategoryBasedCache_5_1::list(std::FILE* out) const {
    ZArrayList_5_1 stanzas(content().stanzas.size(), 0);
    content().stanzas.listObjects(stanzas);
    for (unsigned int i = 0; i < stanzas.size(); ++i) {
        auto const& stanza = static_cast<ZPKVList_5_1 const&>(*stanzas.get(i));
        std::fprintf(out, "\n[%s]\n", stanza.nameChars());
        stanza.forEachKey([this, out, &stanza](PropKey& key) {
            struct Printer : ValueVisitor {
                Printer(std::FILE* o, char const* k) : out(o), key(k) {}
                void visit(char const* value) override {
                    std::fprintf(out, "%s = %s\n", key, value);
                    any = true;
                }
                std::FILE* out;
                char const* key;
                bool any = false;
            } printer(out, key.text);
            visitValues(stanza.nameChars(), key.text, printer);
            if (!printer.any) std::fprintf(out, "%s =\n", key.text);
        });
    }
}

void ZPCategoryBasedCache_5_1::lines(ZArrayList_5_1& records) const {
    auto append = [&records](unsigned int type, char const* text) {
        ZPropLine_5_1 const record(type, text);
        records.add(&record);
    };
    auto appendAll = [&append](PropLine const* line) {
        for (; line; line = line->next) append(line->type, line->text);
    };
    appendAll(content().preamble.first());
    for (ZPKVList_5_1* stanza = content().firstStanza; stanza; stanza = stanza->nextStanza) {
        if (stanza->hasHead) append(ZPropLine_5_1::head, stanza->nameChars());
        appendAll(stanza->firstLine());
    }
}

// ---- values ----

void ZPCategoryBasedCache_5_1::setValue(ZPKVList_5_1& stanza, PropKey& key, char const* value,
                                        int obfuscated) {
    if (!value) value = "";
    // What holds obfuscated values has its item, whatever fails.
    z_5_1::ObfuscatedItems& items = content_->obfuscatedItems;
    bool const keepsItem = obfuscated && *value;  // the value may be one of those that go
    if (keepsItem) items.addLast(stanza.nameChars(), key.text);
    if (obfuscated) {
        key.setObfuscated(value);
    } else {
        key.setPlain(value, std::strlen(value));
    }
    if (!keepsItem) items.remove(stanza.nameChars(), key.text);
}

void ZPCategoryBasedCache_5_1::set(char const* stanza, char const* key, char const* value) {
    ZPKVList_5_1& found = stanzaFor(stanza);
    setValue(found, keyFor(found, key), value, 0);
}

void ZPCategoryBasedCache_5_1::setObfuscated(char const* stanza, char const* key,
                                             char const* value) {
    ZPKVList_5_1& found = stanzaFor(stanza);
    setValue(found, keyFor(found, key), value, 1);
}

void ZPCategoryBasedCache_5_1::add(char const* stanza, char const* key, char const* value,
                                   int obfuscated) {
    ZPKVList_5_1& found = stanzaFor(stanza);
    PropKey& target = keyFor(found, key);
    if (!value || !*value) return;
    if (!obfuscated) {
        target.addPlain(copyOf(value));
        return;
    }
    ZLCString_5_1 const text(value);
    content_->obfuscatedItems.add(stanza, key);
    target.list(true).add(&text);
}

void ZPCategoryBasedCache_5_1::erase(ZPKVList_5_1& stanza, PropKey& key) {
    content_->obfuscatedItems.remove(stanza.nameChars(), key.text);
    ++removals_;
    stanza.erase(key);
}

void ZPCategoryBasedCache_5_1::remove(char const* stanza, char const* key) {
    delLine(stanza, key);
}

void ZPCategoryBasedCache_5_1::delLine(char const* stanza, char const* key) {
    ZPKVList_5_1* found = find(stanza);
    PropKey* target = found ? found->find(key) : nullptr;
    if (target) erase(*found, *target);
}

// ---- lines ----

void ZPCategoryBasedCache_5_1::addLine(char const* stanza, char const* key, char const* value,
                                       int obfuscated) {
    ZPKVList_5_1& found = addStanzaLine(stanza);
    if (!key) return;
    PropKey& target = keyFor(found, key);
    // A key that came from the database has no line either; without one a plain value would be
    // lost.
    if (!target.placed) found.place(target);
    setValue(found, target, value, obfuscated);
}

void ZPCategoryBasedCache_5_1::delStanzaLine(char const* stanza) {
    ZPKVList_5_1* found = find(stanza);
    if (!found) return;
    found->forEachKey([this, found](PropKey& key) {
        content_->obfuscatedItems.remove(found->nameChars(), key.text);
    });
    ++removals_;
    unlink(*found);
    content().index.erase(*found, hashOf(*found));
    ZLCConstString_5_1 const name(stanza);
    content().stanzas.removeEntry(&name);
}

bool ZPCategoryBasedCache_5_1::hasHead(char const* stanza) const {
    ZPKVList_5_1* found = find(stanza);
    return found && found->hasHead;
}

void ZPCategoryBasedCache_5_1::takeBackLine(char const* stanza, char const* key, bool hadStanza,
                                            bool hadHead) {
    delLine(stanza, key);
    ZPKVList_5_1* found = find(stanza);
    if (hadHead || !found) return;
    // makeHead() has put a blank line at the end of what stands before the last stanza.
    if (found->hasHead) {
        ZPKVList_5_1* before = withHead(found->previousStanza);
        z_5_1::PropLineList& lines = content().preamble;
        PropLine* blank = before ? before->lastLine() : lines.last();
        if (before) {
            before->eraseBlankLine(*blank);
        } else {
            lines.remove(*blank);
            content().memory.pool.give(*blank);
        }
        found->hasHead = false;
    }
    if (!hadStanza) delStanzaLine(stanza);
}

namespace {

// Adds a comment and a blank line, which stands before or behind it: both or neither.
void addWithBlank(ZPKVList_5_1& stanza, char const* text, z_5_1::PropLine* above, bool blankFirst) {
    z_5_1::PropLine& blank = stanza.addLine(ZPropLine_5_1::blank, z_5_1::PropText(), above);
    try {
        stanza.addLine(ZPropLine_5_1::comment, copyOf(text), blankFirst ? &blank : above);
    } catch (...) {
        stanza.eraseBlankLine(blank);
        throw;
    }
}

}  // namespace

void ZPCategoryBasedCache_5_1::addFileComment(char const* text) {
    z_5_1::PropLineList& preamble = content().preamble;
    PropLine* blank = preamble.first();
    while (blank && blank->type != ZPropLine_5_1::blank) blank = blank->next;
    z_5_1::PropLinePool& pool = content().memory.pool;
    PropLine& comment = pool.makeLine(ZPropLine_5_1::comment, copyOf(text));
    if (blank) {
        preamble.insertBefore(*blank, comment);
        return;
    }
    try {
        preamble.insertAfter(nullptr, pool.makeLine(ZPropLine_5_1::blank, PropText()));
    } catch (...) {
        pool.give(comment);
        throw;
    }
    preamble.insertAfter(nullptr, comment);
}

void ZPCategoryBasedCache_5_1::addStanzaComment(char const* stanza, char const* text) {
    ZPKVList_5_1& found = addStanzaLine(stanza);
    PropLine* last = nullptr;  // of the comments under the head
    PropLine* following = found.firstLine();
    while (following && following->type == ZPropLine_5_1::comment) {
        last = following;
        following = following->next;
    }
    bool const needsBlank =
        following ? following->type != ZPropLine_5_1::blank : found.nextStanza != nullptr;
    if (needsBlank) {
        addWithBlank(found, text, last, false);
    } else {
        found.addLine(ZPropLine_5_1::comment, copyOf(text), last);
    }
}

void ZPCategoryBasedCache_5_1::addLineComment(char const* stanza, char const* key,
                                              char const* text) {
    if (!contains(stanza, key)) addLine(stanza, key, nullptr, 0);
    ZPKVList_5_1& found = *find(stanza);
    PropKey& target = *found.find(key);
    if (!target.placed) return;  // no line to stand above
    PropLine* above = target.previous;
    if (!above || above->type == ZPropLine_5_1::key) {
        addWithBlank(found, text, above, true);
    } else {
        found.addLine(ZPropLine_5_1::comment, copyOf(text), above);
    }
}

// ---- the one-name forms ----

void ZPCategoryBasedCache_5_1::validateKey(char const* name, ZLCString_5_1& stanza,
                                           ZLCString_5_1& key) {
    char const* dot = name ? std::strchr(name, '.') : nullptr;
    if (!dot) z_5_1::raise(unit, ZInvalidParameterException_5_1());
    stanza = name;
    key = dot;
}

namespace {

struct SplitName {
    explicit SplitName(char const* name) {
        ZPCategoryBasedCache_5_1::validateKey(name, stanzaText, keyText);
    }
    char const* stanza() const { return stanzaText.getChars(); }
    char const* key() const { return keyText.getChars(); }

    ZLCString_5_1 stanzaText;
    ZLCString_5_1 keyText;
};

}  // namespace

ZArrayList_5_1* ZPCategoryBasedCache_5_1::get(char const* name, get_type_e type) const {
    SplitName const split(name);
    return get(split.stanza(), split.key(), type);
}

void ZPCategoryBasedCache_5_1::add(char const* name, char const* value, int obfuscated) {
    SplitName const split(name);
    add(split.stanza(), split.key(), value, obfuscated);
}

void ZPCategoryBasedCache_5_1::set(char const* name, char const* value) {
    SplitName const split(name);
    set(split.stanza(), split.key(), value);
}

void ZPCategoryBasedCache_5_1::setObfuscated(char const* name, char const* value) {
    SplitName const split(name);
    setObfuscated(split.stanza(), split.key(), value);
}

void ZPCategoryBasedCache_5_1::remove(char const* name) {
    SplitName const split(name);
    remove(split.stanza(), split.key());
}

int ZPCategoryBasedCache_5_1::countValues(char const* name) const {
    SplitName const split(name);
    return countValues(split.stanza(), split.key());
}

int ZPCategoryBasedCache_5_1::isObfuscated(char const* name) const {
    SplitName const split(name);
    return isObfuscated(split.stanza(), split.key());
}

void ZPCategoryBasedCache_5_1::delLine(char const* name) {
    SplitName const split(name);
    delLine(split.stanza(), split.key());
}

void ZPCategoryBasedCache_5_1::addLine(char const* name, char const* value, int obfuscated) {
    SplitName const split(name);
    addLine(split.stanza(), split.key(), value, obfuscated);
}

void ZPCategoryBasedCache_5_1::addLineComment(char const* name, char const* text) {
    SplitName const split(name);
    addLineComment(split.stanza(), split.key(), text);
}
