// ZPKVList: one stanza: its keys in file order, each with its values, and its lines.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesImpl_test.cpp
#include "ZPKVList.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "ZAbstractString.h"

namespace {

using z_5_1::PropKey;
using z_5_1::PropLine;
using z_5_1::PropText;

char const* charsOf(ZObject_5_1 const* string) {
    return static_cast<ZAbstractString_5_1 const*>(string)->getChars();
}

void addName(ZArrayList_5_1& names, PropKey const& key) {
    auto name = std::make_unique<ZLCString_5_1>(key.text);
    names.addNoCopy(name.get());
    (void)name.release();
}

bool isKey(PropLine const& line) {
    return line.type == ZPropLine_5_1::key;
}

// The name that a comment shows commented out, read without its blanks; "" when it shows none.
std::string exampleIn(PropLine const& comment) {
    std::string name;
    auto* equals = static_cast<char const*>(std::memchr(comment.text, '=', comment.length));
    if (!equals) return name;
    char const* p = comment.text;
    while (*p == ' ') ++p;
    if (*p == '#') std::remove_copy(p + 1, equals, std::back_inserter(name), ' ');
    return name;
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
      ownMemory_(std::make_unique<z_5_1::PropMemory>()),
      memory_(ownMemory_.get()) {}

ZPKVList_5_1::ZPKVList_5_1(z_5_1::PropMemory& memory, PropText name)
    : ZHashKeyMap_5_1(0, 1), name_(name), memory_(&memory) {}

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
    for (PropLine* line : {lines_.first(), unplaced_.first()}) {
        while (line) {
            PropLine* next = line->next;
            if (isKey(*line) && !memory_->closing) {
                memory_->keys.erase(static_cast<PropKey&>(*line), hashOf(line->text, line->length));
            }
            memory_->pool.give(*line);
            line = next;
        }
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
        std::vector<std::uint64_t> sequences;
        sequences.reserve(count_);
        forEachKey([&](PropKey const& key) {
            addName(*names, key);
            sequences.push_back(key.sequence);
        });
        names_ = std::move(names);
        nameSequences_ = std::move(sequences);
    }
    return names_.get();
}

// ---- keys ----

ZPKVList_5_1::PropKey& ZPKVList_5_1::append(PropText text) {
    PropKey& key = memory_->pool.makeKey(text);
    try {
        memory_->keys.reserveOne();
        if (names_) {
            nameSequences_.push_back(nextSequence_);
            addName(*names_, key);
        }
    } catch (...) {
        if (names_) nameSequences_.resize(names_->size());
        memory_->pool.give(key);
        throw;
    }
    key.sequence = nextSequence_++;
    key.stanza = this;
    memory_->keys.insert(key, hashOf(key.text, key.length), key.text, key.length);
    unplaced_.pushBack(key);
    ++count_;
    return key;
}

void ZPKVList_5_1::erase(PropKey& key) {
    if (names_) forgetName(key);
    memory_->keys.erase(key, hashOf(key.text, key.length));
    --count_;
    if (key.placed) {
        if (lastKey_ == &key) {
            do lastKey_ = lastKey_->previous;
            while (lastKey_ && !isKey(*lastKey_));
        }
        lines_.remove(key);
    } else {
        unplaced_.remove(key);
    }
    memory_->pool.give(key);
    if (count_ == 0) linesSorted_ = true;
}

void ZPKVList_5_1::forgetName(PropKey const& key) {
    auto const found = std::lower_bound(nameSequences_.begin(), nameSequences_.end(), key.sequence);
    if (found == nameSequences_.end() || *found != key.sequence) return;
    names_->remove(static_cast<unsigned int>(found - nameSequences_.begin()));
    nameSequences_.erase(found);
}

std::vector<ZPKVList_5_1::PropKey*> ZPKVList_5_1::sortedKeys() const {
    std::vector<PropKey*> keys;
    keys.reserve(count_);
    for (PropLine* line : {lines_.first(), unplaced_.first()}) {
        for (; line; line = line->next) {
            if (isKey(*line)) keys.push_back(static_cast<PropKey*>(line));
        }
    }
    std::sort(keys.begin(), keys.end(), [](PropKey const* left, PropKey const* right) {
        return left->sequence < right->sequence;
    });
    return keys;
}

// ---- the lines ----

void ZPKVList_5_1::placeAfter(PropLine* line, PropKey& key, bool isLastKey) {
    auto* formerLast = static_cast<PropKey*>(lastKey_);
    if (!isLastKey || (formerLast && formerLast->sequence > key.sequence)) linesSorted_ = false;
    unplaced_.remove(key);
    lines_.insertAfter(line, key);
    key.placed = true;
    if (isLastKey) lastKey_ = &key;
}

void ZPKVList_5_1::place(PropKey& key) {
    if (hasExamples_ && placeBelowExample(key)) return;
    placeAfter(lastKey_, key, true);
}

bool ZPKVList_5_1::placeBelowExample(PropKey& key) {
    PropLine* line = exampleOf(key);
    while (line && line->type != ZPropLine_5_1::blank) line = line->next;
    if (!line) return false;
    placeAfter(line->previous, key, standsBehind(*line, lastKey_));
    return true;
}

// Looks both ways in turn: one of the two is mostly near.
bool ZPKVList_5_1::standsBehind(PropLine const& line, PropLine const* other) const {
    PropLine const *before = &line, *behind = &line;
    while (before && behind) {
        if (before == other) return true;
        if (isKey(*behind)) return false;
        before = before->previous;
        behind = behind->next;
    }
    for (; before; before = before->previous) {
        if (before == other) return true;
    }
    return !other;
}

// The first comment that shows the key commented out, or null.
ZPKVList_5_1::PropLine* ZPKVList_5_1::exampleOf(PropKey const& key) {
    if (!examples_) {
        examples_ = std::make_unique<std::unordered_map<std::uint32_t, PropLine*>>();
        for (PropLine* line = lines_.first(); line && examples_; line = line->next) {
            if (line->type == ZPropLine_5_1::comment) noteExample(*line, true);
        }
    }
    PropLine* line = lines_.first();
    if (examples_) {
        auto const noted = examples_->find(z_5_1::hashName(key.text, key.length));
        if (noted == examples_->end()) return nullptr;
        if (noted->second) line = noted->second;
    }
    std::string const pattern = '#' + std::string(key.text, key.length) + '=';
    while (line && !(line->type == ZPropLine_5_1::comment &&
                     z_5_1::isCommentWeWant(pattern.c_str(), line->text))) {
        line = line->next;
    }
    return line;
}

// Notes what the comment shows; isLast: behind all others noted. Without memory the notes go, and
// the lines themselves are asked.
void ZPKVList_5_1::noteExample(PropLine& comment, bool isLast) {
    try {
        std::string const name = exampleIn(comment);
        if (name.empty()) return;
        auto const noted = examples_->emplace(z_5_1::hashName(name.data(), name.size()), &comment);
        if (!noted.second && !isLast) noted.first->second = nullptr;
    } catch (std::bad_alloc const&) {
        examples_.reset();
    }
}

ZPKVList_5_1::PropLine& ZPKVList_5_1::addLine(unsigned int type, PropText text, PropLine* after) {
    PropLine& line = memory_->pool.makeLine(type, text);
    lines_.insertAfter(after, line);
    if (type == ZPropLine_5_1::comment && std::memchr(line.text, '=', line.length)) {
        hasExamples_ = true;
        if (examples_) noteExample(line, false);
    }
    return line;
}

void ZPKVList_5_1::eraseBlankLine(PropLine& line) {
    lines_.remove(line);
    memory_->pool.give(line);
}
