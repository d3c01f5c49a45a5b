// ZPKVList: one stanza: its keys in file order, each with its values, and its lines.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesImpl_test.cpp
#include "ZPKVList.h"

#include <algorithm>
#include <string>

#include "ZAbstractString.h"

namespace {

using z_5_1::PropKey;
using z_5_1::PropLine;
using z_5_1::PropText;

constexpr std::uint32_t firstSlots = 8;

// Mixes eight bytes at a time. It never leaves the process and decides no order.
std::uint32_t hashOf(char const* chars, std::size_t length) {
    constexpr std::uint64_t factor = 0x9E3779B97F4A7C15u;
    std::uint64_t hash = length * factor;
    auto mix = [&hash](std::uint64_t word) {
        hash = (hash ^ word) * factor;
        hash ^= hash >> 32;
    };
    for (; length >= 8; chars += 8, length -= 8) {
        std::uint64_t word;
        std::memcpy(&word, chars, 8);
        mix(word);
    }
    if (length >= 4) {
        std::uint32_t low, high;
        std::memcpy(&low, chars, 4);
        std::memcpy(&high, chars + length - 4, 4);
        mix(low | static_cast<std::uint64_t>(high) << 32);
    } else if (length) {
        auto byte = [chars](std::size_t i) {
            return static_cast<std::uint64_t>(static_cast<unsigned char>(chars[i]));
        };
        mix(byte(0) | byte(length / 2) << 8 | byte(length - 1) << 16);
    }
    return static_cast<std::uint32_t>(hash ^ hash >> 29);
}

char const* charsOf(ZObject_5_1 const* string) {
    return static_cast<ZAbstractString_5_1 const*>(string)->getChars();
}

bool isKey(PropLine const& line) {
    return line.type == ZPropLine_5_1::key;
}

// The name that a comment shows commented out, read without its blanks; "" when it shows none.
std::string exampleIn(PropLine const& comment) {
    std::string text;
    for (char const* p = comment.text; *p && *p != '='; ++p) {
        if (*p != ' ') text += *p;
    }
    bool const shows = text[0] == '#' && std::strchr(comment.text, '=');
    return shows ? text.substr(1) : std::string();
}

}  // namespace

bool z_5_1::isCommentWeWant(char const* pattern, char const* comment) {
    for (; *pattern; ++pattern, ++comment) {
        while (*comment == ' ') ++comment;
        if (*comment != *pattern) return false;
    }
    return true;
}

// ---- life ----

ZPKVList_5_1::ZPKVList_5_1()
    : ZHashKeyMap_5_1(0, 1),
      ownPool_(std::make_unique<z_5_1::PropLinePool>()),
      pool_(ownPool_.get()) {}

ZPKVList_5_1::ZPKVList_5_1(z_5_1::PropLinePool& pool, PropText name)
    : ZHashKeyMap_5_1(0, 1), name_(name), pool_(&pool) {}

ZPKVList_5_1::ZPKVList_5_1(ZPKVList_5_1 const& other) : ZPKVList_5_1() {
    *this = other;
}

ZPKVList_5_1& ZPKVList_5_1::operator=(ZPKVList_5_1 const& other) {
    if (this == &other) return *this;
    removeAll();
    other.forEachKey([this](PropKey const& key) {
        PropKey& copy = append(PropText::copyOf(key.text, key.length));
        if (key.values == z_5_1::PropValues::lists) {
            copy.pair = static_cast<ZArrayList_5_1*>(key.pair->clone());
            copy.values = z_5_1::PropValues::lists;
        } else if (key.values != z_5_1::PropValues::none) {
            copy.setPlain(key.value, key.valueLength);
        }
    });
    return *this;
}

ZPKVList_5_1::~ZPKVList_5_1() noexcept {
    destroyLines();
    name_.release();
}

ZObject_5_1* ZPKVList_5_1::clone() const {
    return new ZPKVList_5_1(*this);
}

void ZPKVList_5_1::destroyLines() noexcept {
    for (std::size_t slot = 0; slots_ && slot <= slotMask_; ++slot) {
        if (slots_[slot] && !slots_[slot]->placed) pool_->give(*slots_[slot]);
    }
    for (PropLine* line = lines_.first(); line;) {
        PropLine* next = line->next;
        pool_->give(*line);
        line = next;
    }
}

// ---- the key map ----

int ZPKVList_5_1::contains(ZObject_5_1 const* key) const {
    return key && find(charsOf(key)) ? 1 : 0;
}

ZObject_5_1* ZPKVList_5_1::getEntry(ZObject_5_1 const* key) const {
    PropKey* found = key ? find(charsOf(key)) : nullptr;
    return found ? &found->lists() : nullptr;
}

void ZPKVList_5_1::putEntry(ZObject_5_1 const* key, ZObject_5_1 const* value) {
    if (!key || !value) return;
    std::unique_ptr<ZObject_5_1> copy(value->clone());
    char const* chars = charsOf(key);
    PropKey* found = find(chars);
    if (!found) found = &append(PropText::copyOf(chars, std::strlen(chars)));
    found->clearValues();
    found->pair = static_cast<ZArrayList_5_1*>(copy.release());
    found->values = z_5_1::PropValues::lists;
}

void ZPKVList_5_1::putAll(ZKeyMap_5_1 const& other) {
    ZArrayList_5_1 keys(10, 0);
    other.listKeys(keys);
    for (unsigned int i = 0; i < keys.size(); ++i) {
        putEntry(keys.get(i), other.getEntry(keys.get(i)));
    }
}

void ZPKVList_5_1::removeEntry(ZObject_5_1 const* key) {
    PropKey* found = key ? find(charsOf(key)) : nullptr;
    if (found) erase(*found);
}

void ZPKVList_5_1::removeAll() {
    std::vector<PropKey*> keys;
    forEachKey([&keys](PropKey& key) { keys.push_back(&key); });
    for (PropKey* key : keys) erase(*key);
}

void ZPKVList_5_1::listKeys(ZList_5_1& target) const {
    target.addList(*getKeys());
}

void ZPKVList_5_1::listObjects(ZList_5_1& target) const {
    forEachKey([&target](PropKey& key) { target.add(&key.lists()); });
}

ZArrayList_5_1* ZPKVList_5_1::getKeys() const {
    if (!names_) {
        auto names = std::make_unique<ZArrayList_5_1>(count_, 1);
        forEachKey([&names](PropKey const& key) {
            auto name = std::make_unique<ZLCString_5_1>(key.text);
            names->addNoCopy(name.get());
            name.release();
        });
        names_ = std::move(names);
    }
    return names_.get();
}

// ---- the index ----

ZPKVList_5_1::PropKey* ZPKVList_5_1::find(char const* key, std::size_t length) const {
    if (!slots_) return nullptr;
    std::uint32_t const hash = hashOf(key, length);
    for (std::uint32_t slot = hash & slotMask_;; slot = (slot + 1) & slotMask_) {
        PropKey* found = slots_[slot];
        if (!found) return nullptr;
        if (found->hash == hash && found->length == length &&
            std::memcmp(found->text, key, length) == 0) {
            return found;
        }
    }
}

std::size_t ZPKVList_5_1::slotOf(PropKey const& key) const {
    std::uint32_t slot = key.hash & slotMask_;
    while (slots_[slot] && slots_[slot] != &key) slot = (slot + 1) & slotMask_;
    return slot;
}

void ZPKVList_5_1::grow() {
    std::uint32_t const former = slots_ ? slotMask_ + 1 : 0;
    std::uint32_t const slots = std::max(firstSlots, former * 2);
    std::unique_ptr<PropKey*[]> old = std::move(slots_);
    try {
        slots_ = std::make_unique<PropKey*[]>(slots);
    } catch (...) {
        slots_ = std::move(old);
        throw;
    }
    slotMask_ = slots - 1;
    for (std::uint32_t slot = 0; slot < former; ++slot) {
        if (old[slot]) slots_[slotOf(*old[slot])] = old[slot];
    }
}

ZPKVList_5_1::PropKey& ZPKVList_5_1::append(PropText text) {
    PropKey& key = pool_->makeKey(text);
    try {
        if (count_ >= slotMask_ - slotMask_ / 4) grow();
        if (names_) {
            auto name = std::make_unique<ZLCString_5_1>(key.text);
            names_->addNoCopy(name.get());
            name.release();
        }
    } catch (...) {
        pool_->give(key);
        throw;
    }
    key.hash = hashOf(key.text, key.length);
    key.sequence = nextSequence_++;
    slots_[slotOf(key)] = &key;
    ++count_;
    ++unplaced_;
    return key;
}

void ZPKVList_5_1::erase(PropKey& key) {
    if (names_) forgetName(key);
    // Close the gap: pull back what was pushed on by the slot that falls empty.
    std::uint32_t gap = static_cast<std::uint32_t>(slotOf(key));
    for (std::uint32_t slot = (gap + 1) & slotMask_; slots_[slot]; slot = (slot + 1) & slotMask_) {
        std::uint32_t const wanted = slots_[slot]->hash & slotMask_;
        if (((slot - wanted) & slotMask_) >= ((slot - gap) & slotMask_)) {
            slots_[gap] = slots_[slot];
            gap = slot;
        }
    }
    slots_[gap] = nullptr;
    --count_;
    if (key.placed) {
        if (lastKey_ == &key) lastKeyKnown_ = false;
        lines_.remove(key);
    } else {
        --unplaced_;
    }
    pool_->give(key);
    if (count_ == 0) linesSorted_ = true;
}

// Keys are mostly deleted from one end of the order or the other.
void ZPKVList_5_1::forgetName(PropKey const& key) {
    unsigned int const size = names_->size();
    auto isName = [&](unsigned int place) {
        ZObject_5_1* name = names_->get(place);
        return name && std::strcmp(charsOf(name), key.text) == 0;
    };
    for (unsigned int place = 0; place < size; ++place) {
        if (isName(place)) return names_->remove(place);
        if (isName(size - 1 - place)) return names_->remove(size - 1 - place);
    }
}

std::vector<ZPKVList_5_1::PropKey*> ZPKVList_5_1::sortedKeys() const {
    std::vector<PropKey*> keys;
    keys.reserve(count_);
    for (std::size_t slot = 0; slots_ && slot <= slotMask_; ++slot) {
        if (slots_[slot]) keys.push_back(slots_[slot]);
    }
    std::sort(keys.begin(), keys.end(), [](PropKey const* left, PropKey const* right) {
        return left->sequence < right->sequence;
    });
    return keys;
}

// ---- the lines ----

ZPKVList_5_1::PropLine* ZPKVList_5_1::lastKey() const {
    if (!lastKeyKnown_) {
        lastKey_ = lines_.last();
        while (lastKey_ && !isKey(*lastKey_)) lastKey_ = lastKey_->previous;
        lastKeyKnown_ = true;
    }
    return lastKey_;
}

void ZPKVList_5_1::placeAfter(PropLine* line, PropKey& key, bool isLastKey) {
    auto* formerLast = static_cast<PropKey*>(lastKey());
    if (!isLastKey || (formerLast && formerLast->sequence > key.sequence)) linesSorted_ = false;
    lines_.insertAfter(line, key);
    key.placed = true;
    --unplaced_;
    if (isLastKey) lastKey_ = &key;
}

void ZPKVList_5_1::place(PropKey& key) {
    if (hasComments_ && isShown(key) && placeBelowExample(key)) return;
    placeAfter(lastKey(), key, true);
}

bool ZPKVList_5_1::placeBelowExample(PropKey& key) {
    std::string const pattern = '#' + std::string(key.text, key.length) + '=';
    PropLine* lastKeySeen = nullptr;
    bool shown = false;
    for (PropLine* line = lines_.first(); line; line = line->next) {
        if (isKey(*line)) {
            lastKeySeen = line;
        } else if (line->type == ZPropLine_5_1::comment && !shown) {
            shown = z_5_1::isCommentWeWant(pattern.c_str(), line->text);
        } else if (line->type == ZPropLine_5_1::blank && shown) {
            placeAfter(line->previous, key, lastKeySeen == lastKey());
            return true;
        }
    }
    return false;
}

bool ZPKVList_5_1::isShown(PropKey const& key) const {
    if (!examples_) {
        examples_ = std::make_unique<std::unordered_set<std::uint32_t>>();
        for (PropLine* line = lines_.first(); line && examples_; line = line->next) {
            if (line->type == ZPropLine_5_1::comment) noteExample(*line);
        }
    }
    return !examples_ || examples_->count(key.hash) != 0;
}

// Without memory the set goes, and the lines themselves are asked.
void ZPKVList_5_1::noteExample(PropLine const& comment) const {
    try {
        std::string const name = exampleIn(comment);
        if (!name.empty()) examples_->insert(hashOf(name.data(), name.size()));
    } catch (std::bad_alloc const&) {
        examples_.reset();
    }
}

ZPKVList_5_1::PropLine& ZPKVList_5_1::addLine(unsigned int type, PropText text, PropLine* after) {
    PropLine& line = pool_->makeLine(type, text);
    lines_.insertAfter(after, line);
    if (type == ZPropLine_5_1::comment) {
        hasComments_ = true;
        if (examples_) noteExample(line);
    }
    return line;
}
