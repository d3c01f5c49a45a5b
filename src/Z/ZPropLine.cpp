// ZPropLine: one line of a configuration file, as handed out and as the store keeps it.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesImpl_test.cpp
#include "ZPropLine.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ZException.h"
#include "zraise.h"

namespace {

constexpr char const* unit = "src/Z/ZPropertiesImpl";
constexpr std::size_t largestChunk = std::size_t{256} * 1024;

char noText[] = "";  // of blank lines

// Nearly every key has one value; the room for more comes when it is needed.
constexpr unsigned int listRoom = 1;

ZArrayList_5_1* newPair() {
    auto pair = std::make_unique<ZArrayList_5_1>(2, 1);
    for (int i = 0; i < 2; ++i) {
        auto list = std::make_unique<ZArrayList_5_1>(listRoom, 1);
        pair->addNoCopy(list.get());
        (void)list.release();
    }
    return pair.release();
}

void append(ZArrayList_5_1& list, char const* chars) {
    auto string = std::make_unique<ZLCString_5_1>(chars);
    list.addNoCopy(string.get());
    (void)string.release();
}

}  // namespace

ZPropLine_5_1::~ZPropLine_5_1() noexcept = default;

int ZPropLine_5_1::compare(ZObject_5_1 const& other) const {
    auto const& line = static_cast<ZPropLine_5_1 const&>(other);
    if (type_ != line.type_) return type_ < line.type_ ? -1 : 1;
    return text_.compare(line.text_);
}

int ZPropLine_5_1::equals(ZObject_5_1 const& other) const {
    auto const& line = static_cast<ZPropLine_5_1 const&>(other);
    return type_ == line.type_ && text_ == line.text_;
}

ZObject_5_1* ZPropLine_5_1::clone() const {
    return new ZPropLine_5_1(*this);
}

namespace z_5_1 {

// ---- texts ----

PropText PropText::copyOf(char const* chars, std::size_t length) {
    if (length >= UINT32_MAX) raise(unit, ZOutOfMemoryException_5_1());
    auto* block = static_cast<char*>(std::malloc(length + 1));
    if (!block) raise(unit, ZOutOfMemoryException_5_1());
    std::memcpy(block, chars, length);
    block[length] = '\0';
    return {block, static_cast<std::uint32_t>(length), true};
}

void PropText::release() noexcept {
    if (owned) std::free(chars);
    *this = PropText();
}

// ---- keys ----

PropSlice PropKey::firstValue() const {
    if (values == PropValues::slice || values == PropValues::block) return {value, valueLength};
    if (values == PropValues::none) return {};
    for (unsigned int i = 0; i < 2; ++i) {
        auto* string =
            static_cast<ZLCString_5_1*>(static_cast<ZArrayList_5_1*>(pair->get(i))->get(0));
        if (string) return {string->getChars(), string->getLength()};
    }
    return {};
}

unsigned int PropKey::count(bool obfuscated) const {
    if (values == PropValues::none) return 0;
    if (values != PropValues::lists) return obfuscated ? 0 : 1;
    return static_cast<ZArrayList_5_1*>(pair->get(obfuscated))->size();
}

ZArrayList_5_1& PropKey::lists() {
    if (values != PropValues::lists) {
        std::unique_ptr<ZArrayList_5_1> fresh(newPair());
        if (values != PropValues::none) {
            append(static_cast<ZArrayList_5_1&>(*fresh->get(0)), value);
        }
        clearValues();
        pair = fresh.release();
        values = PropValues::lists;
    }
    return *pair;
}

ZArrayList_5_1& PropKey::list(bool obfuscated) {
    return static_cast<ZArrayList_5_1&>(*lists().get(obfuscated));
}

void PropKey::setPlain(char const* chars, std::size_t length) {
    if (values == PropValues::lists) {
        // The new value first: the old one may be its source.
        std::unique_ptr<ZLCString_5_1> fresh;
        if (length) fresh = std::make_unique<ZLCString_5_1>(chars);
        list(true).removeAll();
        list(false).removeAll();
        if (fresh) list(false).addNoCopy(fresh.release());
        return;
    }
    if (values != PropValues::none && length && length <= valueLength) {
        std::memmove(value, chars, length);
        value[length] = '\0';
        valueLength = static_cast<std::uint32_t>(length);
        return;
    }
    PropText fresh;
    if (length) fresh = PropText::copyOf(chars, length);
    clearValues();
    if (length) addPlain(fresh);
}

void PropKey::setObfuscated(char const* chars) {
    std::unique_ptr<ZLCString_5_1> fresh;
    if (*chars) fresh = std::make_unique<ZLCString_5_1>(chars);
    list(true).removeAll();
    list(false).removeAll();
    if (fresh) list(true).addNoCopy(fresh.release());
}

void PropKey::addPlain(PropText const& text) {
    if (!text.length) return;
    if (values == PropValues::none) {
        value = text.chars;
        valueLength = text.length;
        values = text.owned ? PropValues::block : PropValues::slice;
        return;
    }
    struct Release {
        PropText text;
        ~Release() { text.release(); }
    } copied{text};
    append(list(false), text.chars);
}

void PropKey::clearValues() noexcept {
    if (values == PropValues::block) std::free(value);
    if (values == PropValues::lists) delete pair;
    values = PropValues::none;
}

// ---- lines ----

void PropLineList::insertAfter(PropLine* place, PropLine& line) {
    line.previous = place;
    line.next = place ? place->next : first_;
    (place ? place->next : first_) = &line;
    (line.next ? line.next->previous : last_) = &line;
}

void PropLineList::remove(PropLine& line) {
    (line.previous ? line.previous->next : first_) = line.next;
    (line.next ? line.next->previous : last_) = line.previous;
    line.previous = line.next = nullptr;
}

// ---- memory ----

PropLinePool::~PropLinePool() {
    while (chunks_) {
        Chunk* next = chunks_->next;
        std::free(chunks_);
        chunks_ = next;
    }
}

void* PropLinePool::take(std::size_t bytes, PropLine*& spare) {
    if (spare) {
        PropLine* line = spare;
        spare = line->next;
        return line;
    }
    if (static_cast<std::size_t>(end_ - free_) < bytes) {
        auto* chunk = static_cast<Chunk*>(std::malloc(nextChunk_));
        if (!chunk) return nullptr;
        chunk->next = chunks_;
        chunks_ = chunk;
        free_ = reinterpret_cast<char*>(chunk) + alignof(std::max_align_t);
        end_ = reinterpret_cast<char*>(chunk) + nextChunk_;
        nextChunk_ = std::min(nextChunk_ * 2, largestChunk);
    }
    void* memory = free_;
    free_ += bytes;
    return memory;
}

PropLine& PropLinePool::makeLine(unsigned int type, PropText text) {
    void* memory = take(sizeof(PropLine), spareLines_);
    if (!memory) {
        text.release();
        raise(unit, ZOutOfMemoryException_5_1());
    }
    return *::new (memory) PropLine{nullptr,
                                    nullptr,
                                    text.chars ? text.chars : noText,
                                    text.length,
                                    static_cast<std::uint8_t>(type),
                                    text.owned,
                                    PropValues::none,
                                    true};
}

PropKey& PropLinePool::makeKey(PropText name) {
    void* memory = take(sizeof(PropKey), spareKeys_);
    if (!memory) {
        name.release();
        raise(unit, ZOutOfMemoryException_5_1());
    }
    auto& key = *::new (memory) PropKey;
    static_cast<PropLine&>(key) =
        PropLine{nullptr,    nullptr,          name.chars, name.length, ZPropLine_5_1::key,
                 name.owned, PropValues::none, false};
    return key;
}

void PropLinePool::give(PropLine& line) noexcept {
    if (line.ownsText) std::free(line.text);
    bool const isKey = line.type == ZPropLine_5_1::key;
    if (isKey) static_cast<PropKey&>(line).clearValues();
    PropLine*& spare = isKey ? spareKeys_ : spareLines_;
    line.next = spare;
    spare = &line;
}

}  // namespace z_5_1
