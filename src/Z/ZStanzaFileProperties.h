// ZStanzaFileProperties: configuration files of stanzas "[name]" with lines "key = value".
// Subsystem: properties, layer 6. Test: tests/ZStanzaFileProperties_test.cpp
//
// Lines are taken without their outer white space. "#" begins a comment, "[" a stanza head (the
// name runs to the first "]", what follows is ignored), anything else is "key = value", split at
// the first "=". A key that is repeated collects its values in order. Comments and blank lines are
// kept where they are when the instance keeps the layout. Invalid data: a head without "]", a
// stanza that was there before, a line without "=" or beginning with it, a key before any stanza.
#ifndef Z_ZSTANZAFILEPROPERTIES_H
#define Z_ZSTANZAFILEPROPERTIES_H

#include <cstdint>
#include <memory>

#include "ZProperties.h"

// An ordered list of key and value strings, all of one string type. Owns its strings.
class Z_API ZPropertiesKVList_5_1 : public ZObject_5_1 {
public:
    // Empty. Throws ZInvalidParameterException_5_1 (code 22) for a type that there is not.
    explicit ZPropertiesKVList_5_1(ZPropertyStringType type = ZPropLCString);

    ZPropertiesKVList_5_1(ZPropertiesKVList_5_1 const& other);
    // Takes the other's entries; the string type stays this list's own.
    ZPropertiesKVList_5_1& operator=(ZPropertiesKVList_5_1 const& other);
    ZObject_5_1* clone() const override;

    // Copies both, converting them to the list's type.
    void addItem(ZAbstractString_5_1 const& key, ZAbstractString_5_1 const& value);
    int getItemCount() const;  // pairs
    // Owned by the list; null out of range.
    ZAbstractString_5_1* getItemKey(int index) const;
    ZAbstractString_5_1* getItemValue(int index) const;
    void clear();  // deletes all pairs

private:
    ZPropertyStringType type_;
    ZArrayList_5_1 entries_;
};

// One pair of a ZPropertiesKVList_5_1; owns both strings.
class Z_API ZKVEntry_5_1 : public ZObject_5_1 {
public:
    // Takes both over.
    ZKVEntry_5_1(ZAbstractString_5_1* key, ZAbstractString_5_1* value) : key_(key), value_(value) {}

    // Clones both.
    ZKVEntry_5_1(ZKVEntry_5_1 const& other);
    ZKVEntry_5_1& operator=(ZKVEntry_5_1 const&) = delete;
    ~ZKVEntry_5_1() noexcept override;
    ZObject_5_1* clone() const override;

    // Still the entry's.
    ZAbstractString_5_1* getKey() const { return key_; }
    ZAbstractString_5_1* getValue() const { return value_; }

private:
    ZAbstractString_5_1* key_;
    ZAbstractString_5_1* value_;
};

// One request of ZStanzaFileProperties_5_1::getItems. Plain memory: borrows all it points to.
struct ZStzFileItem_5_1 {
    // The default of a request: a number or a text, as its type needs.
    class Default {
    public:
        // 0 or null; a number; a text, which is borrowed.
        Default() : bits_(0) {}
        Default(int number) : bits_(static_cast<unsigned int>(number)) {}
        Default(unsigned int number) : bits_(number) {}
        Default(char const* text) : bits_(reinterpret_cast<std::uintptr_t>(text)) {}
        // What it was made of: ask for that kind alone.
        unsigned int number() const { return static_cast<unsigned int>(bits_); }
        char const* text() const { return reinterpret_cast<char const*>(bits_); }  // 0: null

    private:
        std::uintptr_t bits_;
    };

    // What `result` points to, and the getter that fills it.
    enum : int {
        booleanValue = 1,  // int; getBooleanValue
        integerValue = 2,  // unsigned int; getIntegerValue
        textValue = 3,     // ZAbstractMutableString_5_1; getValue
        localValues = 4,   // ZArrayList_5_1; getValues with ZPropLCString
        utf8Values = 5,    // ZArrayList_5_1; getValues with ZPropUTF8String
        wholeStanza = 6,   // ZPropertiesKVList_5_1; getStanza
    };

    int type;              // one of the six above
    char const* stanza;    // never null
    char const* key;       // of wholeStanza not looked at
    int required;          // as in the getter; lists and stanzas do not look at it
    void* result;          // where the answer goes, of the kind that `type` says; never null
    Default defaultValue;  // as in the getter; lists and stanzas do not look at it
};

// A stanza file. See ZProperties.h for what is common to all configuration files.
class Z_API ZStanzaFileProperties_5_1 : public ZProperties_5_1 {
public:
    // An empty instance; keepLayout not 0: comments and blank lines survive load and store.
    explicit ZStanzaFileProperties_5_1(int keepLayout);
    // The same, with `file` loaded.
    ZStanzaFileProperties_5_1(char const* file, int keepLayout);
    ZStanzaFileProperties_5_1(ZStanzaFileProperties_5_1 const&) = delete;
    ZStanzaFileProperties_5_1& operator=(ZStanzaFileProperties_5_1 const&) = delete;
    ~ZStanzaFileProperties_5_1() noexcept(false) override;

    // The factory of layout-keeping instances for getPropertiesFor, one for the process.
    static ZAbstractPropertiesFactory_5_1& getFactory();
    // Makes the factory unless it is there, as getFactory() does.
    static void init();

    // Adds a value after those that the key has, unless it is among them; makes stanza and key when
    // needed. A null is ZInvalidParameterException_5_1; an empty value makes a key without values.
    virtual void addValue(char const* stanza, char const* key, char const* value, int obfuscated);
    virtual void addValue(char const* stanza, char const* key, ZLCString_5_1 const& value,
                          int obfuscated);
    virtual void addValue(char const* stanza, char const* key, ZUTF8String_5_1 const& value,
                          int obfuscated);
    virtual void addValue(char const* stanza, char const* key, ZLCConstString_5_1 const& value,
                          int obfuscated);
    virtual void addValue(char const* stanza, char const* key, ZUTF8ConstString_5_1 const& value,
                          int obfuscated);
    // Adds the strings of `values` in order. The search for each starts where the search for the
    // one before it stopped: an equal value that lies before that point is not seen, and the value
    // is added again. On a key without values no value of the list is added twice.
    virtual void addValues(char const* stanza, char const* key, ZArrayList_5_1 const& values,
                           int obfuscated);
    // Fills `list` with the stanza's keys and first values, empty for a key without values.
    virtual void getStanza(char const* stanza, ZPropertiesKVList_5_1& list);
    void addEntryComment(char const* stanza, char const* key, char const* text) override;

    void addStanza(char const* stanza);     // nothing when it is there
    void deleteStanza(char const* stanza);  // with its keys and the comments in it
    // Under the stanza's head, after the comments there; the stanza is made when absent.
    void addStanzaComment(char const* stanza, char const* text);
    // Serves `count` requests in order from one consistent state. A type that there is not throws
    // ZInvalidParameterException_5_1 after the requests before it were served.
    void getItems(ZStzFileItem_5_1* items, int count);
    ZArrayList_5_1* getKeys(char const* stanza) const;  // keyNames(stanza)

    // Makes the instances of getFactory().
    class Z_API ZStanzaFilePropertiesFactory : public ZAbstractPropertiesFactory_5_1 {
    public:
        ~ZStanzaFilePropertiesFactory() noexcept(false) override;
        ZProperties_5_1* makePropertiesInstance() override;
    };

protected:
    // Puts "#" before a comment that does not begin with it.
    void checkComment(ZLCString_5_1& text) override;

private:
    ZStanzaFileProperties_5_1(std::unique_ptr<ZPCache_5_1> store, int keepLayout);
    void serve(ZStzFileItem_5_1 const& item);
};

// Over the keys of one stanza of a stanza file.
class Z_API ZStanzaIterator_5_1 : public ZPropertiesIterator_5_1 {
public:
    // As their base.
    ZStanzaIterator_5_1(ZStanzaFileProperties_5_1& properties, char const* stanza)
        : ZPropertiesIterator_5_1(properties, stanza) {}
    explicit ZStanzaIterator_5_1(ZStanzaFileProperties_5_1& properties)
        : ZPropertiesIterator_5_1(properties) {}
    ~ZStanzaIterator_5_1() noexcept override;
};

// Over the values of one key of a stanza file.
class Z_API ZStanzaValueIterator_5_1 : public ZAbstractPropertyValuesIterator_5_1 {
public:
    // As its base.
    ZStanzaValueIterator_5_1(ZStanzaFileProperties_5_1& properties, char const* stanza,
                             char const* key, ZPropertyStringType type, ZPropIter_valtype valtype)
        : ZAbstractPropertyValuesIterator_5_1(properties, stanza, key, type, valtype) {}
    ~ZStanzaValueIterator_5_1() noexcept override;
};

#endif
