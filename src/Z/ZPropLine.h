// ZPropLine: one line of a configuration file, as handed out and as the store keeps it.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesImpl_test.cpp
//
// A file of 100,000 keys has as many lines, so the store keeps them as small nodes (PropLine, for
// key lines PropKey) that point into the file's text. ZPropLine_5_1 objects are made from them only
// for those who want to look at the records.
#ifndef Z_ZPROPLINE_H
#define Z_ZPROPLINE_H

#include <cstddef>
#include <cstdint>

#include "ZLCString.h"
#include "ZList.h"
#include "ZNameIndex.h"
#include "ZObject.h"

// One line record as a value: kind and text.
class Z_API ZPropLine_5_1 : public ZObject_5_1 {
public:
    enum Type : unsigned int {
        comment = 1,  // text from its "#" on
        blank = 2,    // no text
        head = 4,     // text is the stanza's name
        key = 8,      // text is the key; the values are in the stanza
    };

    ZPropLine_5_1(unsigned int type, char const* text) : type_(type), text_(text) {}
    ~ZPropLine_5_1() noexcept override;

    int compare(ZObject_5_1 const& other) const override;  // by type, then by text
    int equals(ZObject_5_1 const& other) const override;   // type and text equal
    ZObject_5_1* clone() const override;

    unsigned int type() const { return type_; }
    ZLCString_5_1 const& text() const { return text_; }

private:
    unsigned int type_;
    ZLCString_5_1 text_;
};

namespace z_5_1 {

// Characters ended by a NUL that is not counted: a slice of the file's text, or a block from malloc
// that whoever holds it frees.
struct PropText {
    char* chars = nullptr;
    std::uint32_t length = 0;
    bool owned = false;

    // A copy in a block of its own.
    static PropText copyOf(char const* chars, std::size_t length);
    void release() noexcept;
};

// Characters that are somebody else's, ended by a NUL.
struct PropSlice {
    char const* chars = nullptr;
    std::size_t length = 0;
};

// What a key holds.
enum class PropValues : std::uint8_t {
    none,
    slice,  // one plain value that lies in the file's text
    block,  // one plain value in a block from malloc
    lists,  // the pair of lists that callers can hold, the truth from then on
};

// A node of a stanza's lines. Plain memory from a PropLinePool.
struct PropLine {
    PropLine* previous;
    PropLine* next;
    char* text;
    std::uint32_t length;
    std::uint8_t type;  // ZPropLine_5_1::Type; a key line is a PropKey
    bool ownsText;
    PropValues values;  // of key lines
    bool placed;        // of key lines: it stands among the lines of its stanza
};

// A key with its values.
struct PropKey : PropLine {
    std::uint32_t valueLength;
    union {
        char* value;           // slice, block
        ZArrayList_5_1* pair;  // lists: the plain and the obfuscated values
    };
    std::uint64_t sequence;  // keys are listed in the order in which they were made
    void const* stanza;      // whose key it is

    // The first value, plain before obfuscated; chars null without one.
    PropSlice firstValue() const;
    unsigned int count(bool obfuscated) const;
    bool isObfuscated() const { return count(false) == 0 && count(true) != 0; }

    // The pair of lists, made now if need be, and one of the two.
    ZArrayList_5_1& lists();
    ZArrayList_5_1& list(bool obfuscated);

    // Replace all values; `added` puts one behind the plain ones. An empty value is none.
    void setPlain(char const* chars, std::size_t length);
    void setObfuscated(char const* chars);
    void addPlain(PropText const& text);  // takes the text over
    void clearValues() noexcept;
};

// The lines of one stanza, or those before the first. Links nodes, owns none.
class PropLineList {
public:
    PropLine* first() const { return first_; }
    PropLine* last() const { return last_; }
    void pushBack(PropLine& line) { insertAfter(last_, line); }
    // After `place`; null: at the beginning.
    void insertAfter(PropLine* place, PropLine& line);
    void insertBefore(PropLine& place, PropLine& line) { insertAfter(place.previous, line); }
    void remove(PropLine& line);

private:
    PropLine* first_ = nullptr;
    PropLine* last_ = nullptr;
};

// Memory for the nodes of one store, in growing chunks; what is given back is used again. Not for
// several threads at once.
class PropLinePool {
public:
    PropLinePool() = default;
    PropLinePool(PropLinePool const&) = delete;
    PropLinePool& operator=(PropLinePool const&) = delete;
    ~PropLinePool();

    // Take the text over also when they throw.
    PropLine& makeLine(unsigned int type, PropText text);
    PropKey& makeKey(PropText name);
    // Frees what the node owns and keeps the node for the next.
    void give(PropLine& line) noexcept;

private:
    struct Chunk {
        Chunk* next;
    };

    void* take(std::size_t bytes, PropLine*& spare);

    Chunk* chunks_ = nullptr;
    char* free_ = nullptr;
    char* end_ = nullptr;
    std::size_t nextChunk_ = 4096;
    PropLine* spareLines_ = nullptr;
    PropLine* spareKeys_ = nullptr;
};

// What the stanzas of one store share.
struct PropMemory {
    PropLinePool pool;
    NameIndex<PropKey> keys;  // of all stanzas
    bool closing = false;     // the store goes: nothing need be taken out of the index any more
};

}  // namespace z_5_1

#endif
