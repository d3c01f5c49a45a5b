// ZPKVList: one stanza: its keys in file order, each with its values, and its lines.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesImpl_test.cpp
//
// To the outside a stanza is a key map: key name -> a pair of lists, the plain and the obfuscated
// values. Inside it keeps nodes (ZPropLine.h), found by an index that the stanzas of a store share;
// pairs and the list of names are made when somebody asks for them, and kept up to date then.
//
// 1. A key is in the index exactly while it is in the map. Its node is in lines_ exactly when
//    `placed`, else in unplaced_: a key known only from the database has no line yet.
// 2. Keys are listed by their sequence number. While inLineOrder(), every key is placed and the
//    lines have them in that order already.
// 3. names_, once made, holds the names of all keys in listing order, and nameSequences_ their
//    sequence numbers.
// 4. lastKey_ is the last key line, or null when there is none.
// 5. examples_, once made, leads from the hash of every name that a comment of the form
//    "# name = ..." shows to the first such comment, or to null when the first one is not known. A
//    new key that is not in it goes behind the last key without a look at the lines.
#ifndef Z_ZPKVLIST_H
#define Z_ZPKVLIST_H

#include <cstring>
#include <memory>
#include <unordered_map>
#include <vector>

#include "ZKeyMap.h"
#include "ZPropLine.h"

class Z_API ZPKVList_5_1 : public ZHashKeyMap_5_1 {
public:
    using PropKey = z_5_1::PropKey;
    using PropLine = z_5_1::PropLine;

    // A stanza by itself.
    ZPKVList_5_1();
    // A stanza of a store, which owns the memory; takes the name over.
    ZPKVList_5_1(z_5_1::PropMemory& memory, z_5_1::PropText name);
    // Copies names and values; the copy is a stanza by itself, without comments and blank lines.
    ZPKVList_5_1(ZPKVList_5_1 const& other);
    ZPKVList_5_1& operator=(ZPKVList_5_1 const& other);
    ~ZPKVList_5_1() noexcept override;
    ZObject_5_1* clone() const override;

    // As a key map of strings. Values are pairs (lists of two lists); putEntry stores a clone, a
    // replaced key keeps its place in the order, a new one goes to the end. Nothing is put under
    // a null key or for a null value.
    unsigned int size() const override { return count_; }
    int contains(ZObject_5_1 const* key) const override;
    ZObject_5_1* getEntry(ZObject_5_1 const* key) const override;
    void putEntry(ZObject_5_1 const* key, ZObject_5_1 const* value) override;
    void putAll(ZKeyMap_5_1 const& other) override;
    void removeEntry(ZObject_5_1 const* key) override;
    void removeAll() override;
    void putEntryNoCopy(ZObject_5_1* key, ZObject_5_1* value) = delete;
    void listKeys(ZList_5_1& target) const override;
    void listObjects(ZList_5_1& target) const override;

    // The key names in listing order, kept up to date until the stanza dies. Owned by the stanza.
    ZArrayList_5_1* getKeys() const;

    // ---- the store's side ----

    char const* nameChars() const { return name_.chars; }
    std::uint32_t nameLength() const { return name_.length; }
    PropKey* find(char const* key, std::size_t length) const {
        return findIn(memory_->keys, key, length);
    }
    PropKey* find(char const* key) const { return find(key, std::strlen(key)); }
    // The same for who has the store's index at hand: nothing of the stanza itself is read.
    PropKey* findIn(z_5_1::NameIndex<PropKey> const& keys, char const* key,
                    std::size_t length) const {
        return keys.find(hashOf(key, length), key, length,
                         [this](PropKey const& node) { return node.stanza == this; });
    }
    // A new key at the end of the order, not placed; takes the name over. It must not be there.
    PropKey& append(z_5_1::PropText key);
    void erase(PropKey& key);

    // Give an unplaced key its line: behind all lines, for one that was just read; or where a new
    // key belongs, at the first blank line below the comment that shows it commented out, else
    // behind the last key.
    void placeLast(PropKey& key) { placeAfter(lines_.last(), key, true); }
    void place(PropKey& key);
    // A comment or blank line behind the given one, or, for null, under the head.
    PropLine& addLine(unsigned int type, z_5_1::PropText text, PropLine* after);
    void eraseBlankLine(PropLine& line);
    PropLine* firstLine() const { return lines_.first(); }
    PropLine* lastLine() const { return lines_.last(); }

    // Calls visit(PropKey&) for every key in listing order.
    template <class Visit>
    void forEachKey(Visit visit) const {
        if (inLineOrder()) {
            for (PropLine* line = lines_.first(); line; line = line->next) {
                if (line->type == ZPropLine_5_1::key) visit(static_cast<PropKey&>(*line));
            }
        } else {
            for (PropKey* key : sortedKeys()) visit(*key);
        }
    }

    // Neighbours in the file, the store's business.
    ZPKVList_5_1* previousStanza = nullptr;
    ZPKVList_5_1* nextStanza = nullptr;
    bool hasHead = false;

private:
    bool inLineOrder() const { return !unplaced_.first() && linesSorted_; }
    std::uint32_t hashOf(char const* key, std::size_t length) const {
        auto const address = reinterpret_cast<std::uintptr_t>(this);
        return z_5_1::hashName(key, length) ^
               static_cast<std::uint32_t>(address >> 4) * 0x9E3779B1u;
    }
    std::vector<PropKey*> sortedKeys() const;
    void forgetName(PropKey const& key);
    bool placeBelowExample(PropKey& key);
    PropLine* exampleOf(PropKey const& key);
    void noteExample(PropLine& comment, bool isLast);
    bool standsBehind(PropLine const& line, PropLine const* other) const;
    void placeAfter(PropLine* line, PropKey& key, bool isLastKey);
    void destroyLines() noexcept;

    z_5_1::PropText name_;
    std::unique_ptr<z_5_1::PropMemory> ownMemory_;
    z_5_1::PropMemory* memory_;
    z_5_1::PropLineList lines_;
    z_5_1::PropLineList unplaced_;  // keys without a line
    std::uint32_t count_ = 0;
    std::uint64_t nextSequence_ = 0;
    bool linesSorted_ = true;   // the placed keys stand in listing order
    bool hasExamples_ = false;  // some comment holds "="
    PropLine* lastKey_ = nullptr;
    mutable std::unique_ptr<ZArrayList_5_1> names_;
    mutable std::vector<std::uint64_t> nameSequences_;
    std::unique_ptr<std::unordered_map<std::uint32_t, PropLine*>> examples_;
};

namespace z_5_1 {

// Whether `comment`, read without its blanks, begins with `pattern`: "# port = 1" shows "#port=".
// An empty pattern is in every comment.
bool isCommentWeWant(char const* pattern, char const* comment);

}  // namespace z_5_1

#endif
