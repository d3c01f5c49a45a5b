// ZPropertiesImpl: the store: one configuration file in memory, and the guard of the registry.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesImpl_test.cpp
//
// Internal: reached by the engine (ZProperties), the stanza reader and writer (ZSCFData) and tests.
// Nothing here locks; every call comes under the lock of the owning instance.
//
// A file is a list of lines. Those before the first stanza head are the preamble; each stanza
// (ZPKVList.h) has those from its head to the next one, so a stanza that goes takes its comments
// with it. The stanza map settles the order in which stanzas are listed, an index finds them.
//
// 1. Stanzas of the map, of the index and of the file (firstStanza on) are the same.
// 2. A stanza without a head was made for a database entry; it goes to the end and gets blank line
//    and head when something is to be written into it.
// 3. Lists that a caller can hold die only in remove, delLine, delStanzaLine, clear, takeContent
//    and putContent, each of which raises removals(): who kept a list looks there before using it.
#ifndef Z_ZPROPERTIESIMPL_H
#define Z_ZPROPERTIESIMPL_H

#include <cstdio>
#include <cstring>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ZFileId.h"
#include "ZKeyMap.h"
#include "ZLCString.h"
#include "ZList.h"
#include "ZLock.h"
#include "ZPKVList.h"
#include "ZPropLine.h"

namespace z_5_1 {

// The stanza and key of the main file that hold the path of the companion database.
inline constexpr char databaseStanza[] = "configuration-database";
inline constexpr char databaseKey[] = "file";
inline bool namesDatabase(char const* stanza, char const* key) {
    return std::strcmp(key, databaseKey) == 0 && std::strcmp(stanza, databaseStanza) == 0;
}

// The companion database that values came from or are in, and the main file that it belongs to.
// Names are absolute.
struct KnownDatabase {
    std::string name;
    std::string main;
    FileId mainFile;
};

}  // namespace z_5_1

class ZBuffer_5_1;

// A key that holds obfuscated values.
class Z_API ZObfuscatedItem_5_1 : public ZObject_5_1 {
public:
    ZObfuscatedItem_5_1(char const* stanza, char const* key) : stanza_(stanza), key_(key) {}
    ~ZObfuscatedItem_5_1() noexcept override;
    int compare(ZObject_5_1 const& other) const override;  // by stanza, then by key
    ZObject_5_1* clone() const override;

    ZLCString_5_1 const& stanza() const { return stanza_; }
    ZLCString_5_1 const& key() const { return key_; }

private:
    ZLCString_5_1 stanza_;
    ZLCString_5_1 key_;
};

namespace z_5_1 {

// The keys that hold obfuscated values, in the order in which they came to hold them. Names are
// compared byte by byte.
class ObfuscatedItems {
public:
    ObfuscatedItems() = default;
    ObfuscatedItems(ObfuscatedItems const&) = delete;
    ObfuscatedItems& operator=(ObfuscatedItems const&) = delete;

    bool isEmpty() const { return items_.empty(); }
    std::list<ZObfuscatedItem_5_1> const& inOrder() const { return items_; }
    // At the end; a key that is there keeps its place.
    void add(char const* stanza, char const* key);
    // At the end, also a key that is there.
    void addLast(char const* stanza, char const* key);
    // Needs no memory.
    void remove(char const* stanza, char const* key) noexcept;

private:
    static std::string joined(char const* stanza, char const* key);

    std::string wanted_;  // has room for the name of each that is there
    std::list<ZObfuscatedItem_5_1> items_;
    std::unordered_map<std::string, std::list<ZObfuscatedItem_5_1>::iterator> places_;
};

}  // namespace z_5_1

// Holds the process's one lock over the shared instances:
//     ZPropRegistry_5_1 registry;
class Z_API ZPropRegistry_5_1 {
public:
    ZPropRegistry_5_1();
    ~ZPropRegistry_5_1() noexcept;
    ZPropRegistry_5_1(ZPropRegistry_5_1 const&) = delete;
    ZPropRegistry_5_1& operator=(ZPropRegistry_5_1 const&) = delete;

private:
    static ZLock_5_1* res_;  // made once, never destroyed
};

// What any store offers the engine. Stanza and key are never null unless said otherwise.
class Z_API ZPCache_5_1 {
public:
    enum get_type_e : int {
        either = 0,  // the plain values if there are any, else the obfuscated ones
        plain = 1,
        obfuscated = 2,
    };
    enum : unsigned long { keepLayout = 1 };  // attribute: record comments and blank lines

    virtual ~ZPCache_5_1();

    virtual void reserved() = 0;

    // Values of a key, null when stanza or key are absent.
    virtual ZArrayList_5_1* get(char const* stanza, char const* key, get_type_e type) const = 0;
    virtual ZArrayList_5_1* get(char const* name, get_type_e type) const = 0;
    // Appends a value; makes stanza and key. An empty or null value adds nothing.
    virtual void add(char const* stanza, char const* key, char const* value, int obfuscated) = 0;
    virtual void add(char const* name, char const* value, int obfuscated) = 0;
    // Replaces all values, plain and obfuscated; makes stanza and key.
    virtual void set(char const* stanza, char const* key, char const* value) = 0;
    virtual void set(char const* name, char const* value) = 0;
    virtual void setObfuscated(char const* stanza, char const* key, char const* value) = 0;
    virtual void setObfuscated(char const* name, char const* value) = 0;
    // The key with its line.
    virtual void remove(char const* stanza, char const* key) = 0;
    virtual void remove(char const* name) = 0;
    virtual int countValues(char const* name) const = 0;
    virtual int countValues(char const* stanza, char const* key) const = 0;
    virtual int keyCount(char const* stanza) const = 0;
    virtual int contains(char const* stanza) const = 0;
    virtual int contains(char const* stanza, char const* key) const = 0;
    virtual int isObfuscated(char const* name) const = 0;
    virtual int isObfuscated(char const* stanza, char const* key) const = 0;
    virtual int count() const = 0;
    // Append names: of all stanzas in map order, of a stanza's keys in listing order.
    virtual void getNames(ZArrayList_5_1& names) const = 0;
    virtual void getNames(char const* stanza, ZArrayList_5_1& names) const = 0;
    // The stanza's own list, or null.
    virtual ZArrayList_5_1* getNames(char const* stanza) const = 0;
    virtual void list(std::FILE* out) const = 0;

    // Reads the text of `file`, which is named in errors only; writes it.
    virtual void be_read(char const* file, std::FILE* in) = 0;
    virtual void be_write(char const* file, std::FILE* out) = 0;
    // The same for the content of the companion database. Nothing is written when there are no
    // obfuscated values.
    virtual void be_read_obfuscated(ZBuffer_5_1& in) = 0;
    virtual void be_write_obfuscated(ZBuffer_5_1& out) = 0;

    // Change values and lines together.
    virtual void delLine(char const* name) = 0;
    virtual void delLine(char const* stanza, char const* key) = 0;
    // Replaces the key's values by one; null key: only the stanza is made.
    virtual void addLine(char const* stanza, char const* key, char const* value,
                         int obfuscated) = 0;
    virtual void addLine(char const* name, char const* value, int obfuscated) = 0;
    virtual void addFileComment(char const* text) = 0;
    virtual void addLineComment(char const* name, char const* text) = 0;
    virtual void addLineComment(char const* stanza, char const* key, char const* text) = 0;
    // Forgets all but the attributes.
    virtual void clear();
    // Adds flags; they are never cleared. Replaces the data.
    virtual void setAttributes(unsigned long flags, void* data);
    // "stanza.key", or the stanza alone for a null key.
    virtual void makeKey(ZLCString_5_1& out, char const* stanza, char const* key) const;

    // What the engine needs beyond: whether the key holds values, and which,
    enum class Held { none, plain, obfuscated };
    virtual Held held(char const* stanza, char const* key) const = 0;
    // the first value without a list being made for it (chars null: none),
    virtual z_5_1::PropSlice firstValue(char const* stanza, char const* key) const = 0;
    // all values without the same,
    struct ValueVisitor {
        virtual void visit(char const* value) = 0;

    protected:
        ~ValueVisitor() = default;
    };
    virtual void visitValues(char const* stanza, char const* key, ValueVisitor& visitor) const = 0;
    // each key of a stanza with its first value (null: none), in listing order,
    struct KeyVisitor {
        virtual void visit(char const* key, char const* firstValue) = 0;

    protected:
        ~KeyVisitor() = default;
    };
    virtual void visitKeys(char const* stanza, KeyVisitor& visitor) const = 0;
    // to take back what addLine() just made: the key, and what a stanza that had no head
    // (`hadHead` false) or was not there at all (`hadStanza` false) needed before it,
    virtual void takeBackLine(char const* stanza, char const* key, bool hadStanza,
                              bool hadHead) = 0;
    virtual bool hasHead(char const* stanza) const = 0;
    // and whether be_read_obfuscated() accepts what be_write_obfuscated() writes.
    virtual bool databaseLoadsBack() = 0;

    // All that clear() forgets. An engine takes it out before a reload and puts it back when that
    // fails.
    struct Content {
        Content() = default;
        Content(Content const&) = delete;
        Content& operator=(Content const&) = delete;
        virtual ~Content() noexcept(false);

        ZLCString_5_1 databaseName;  // path of the companion database; empty when there is none
        std::optional<z_5_1::KnownDatabase> database;
        z_5_1::ObfuscatedItems obfuscatedItems;
    };
    std::unique_ptr<Content> takeContent();
    void putContent(std::unique_ptr<Content> content) noexcept;

    unsigned long removals() const { return removals_; }
    ZLCString_5_1 const& databaseName() const { return content_->databaseName; }
    void setDatabaseName(char const* name) { content_->databaseName = name; }
    // After this, a name of that length needs no memory.
    void reserveDatabaseName(std::size_t length) {
        content_->databaseName.setCapacity(static_cast<unsigned int>(length));
    }
    std::optional<z_5_1::KnownDatabase>& database() { return content_->database; }
    int hasObfuscatedItems() const { return !content_->obfuscatedItems.isEmpty(); }

    // While set, be_write leaves out the key that names the database.
    void omitDatabaseKey(bool omit) { omitDatabaseKey_ = omit; }

    // The empty text that stands for a missing default.
    static ZLCString_5_1 const& emptyText();

protected:
    explicit ZPCache_5_1(std::unique_ptr<Content> empty);
    ZPCache_5_1(ZPCache_5_1 const&) = delete;
    ZPCache_5_1& operator=(ZPCache_5_1 const&) = delete;

    virtual std::unique_ptr<Content> makeContent() const = 0;

    static ZLCString_5_1* empty_;  // made once, never destroyed

    std::unique_ptr<Content> content_;
    std::uint32_t attributes_ = 0;
    void* attributeData_ = nullptr;
    bool omitDatabaseKey_ = false;
    unsigned long removals_ = 0;
};

// The store of stanza files, but for reading and writing them.
class Z_API ZPCategoryBasedCache_5_1 : public ZPCache_5_1 {
public:
    ZPCategoryBasedCache_5_1();
    ~ZPCategoryBasedCache_5_1() override;

    void reserved() override {}
    ZArrayList_5_1* get(char const* stanza, char const* key, get_type_e type) const override;
    ZArrayList_5_1* get(char const* name, get_type_e type) const override;
    void add(char const* stanza, char const* key, char const* value, int obfuscated) override;
    void add(char const* name, char const* value, int obfuscated) override;
    void set(char const* stanza, char const* key, char const* value) override;
    void set(char const* name, char const* value) override;
    void setObfuscated(char const* stanza, char const* key, char const* value) override;
    void setObfuscated(char const* name, char const* value) override;
    void remove(char const* stanza, char const* key) override;
    void remove(char const* name) override;
    int countValues(char const* name) const override;
    int countValues(char const* stanza, char const* key) const override;
    int keyCount(char const* stanza) const override;
    int contains(char const* stanza) const override;
    int contains(char const* stanza, char const* key) const override;
    int isObfuscated(char const* name) const override;
    int isObfuscated(char const* stanza, char const* key) const override;
    int count() const override;
    void getNames(ZArrayList_5_1& names) const override;
    void getNames(char const* stanza, ZArrayList_5_1& names) const override;
    ZArrayList_5_1* getNames(char const* stanza) const override;
    void list(std::FILE* out) const override;
    void delLine(char const* name) override;
    void delLine(char const* stanza, char const* key) override;
    void addLine(char const* stanza, char const* key, char const* value, int obfuscated) override;
    void addLine(char const* name, char const* value, int obfuscated) override;
    void addFileComment(char const* text) override;
    void addLineComment(char const* name, char const* text) override;
    void addLineComment(char const* stanza, char const* key, char const* text) override;
    Held held(char const* stanza, char const* key) const override;
    z_5_1::PropSlice firstValue(char const* stanza, char const* key) const override;
    void visitValues(char const* stanza, char const* key, ValueVisitor& visitor) const override;
    void visitKeys(char const* stanza, KeyVisitor& visitor) const override;
    void takeBackLine(char const* stanza, char const* key, bool hadStanza, bool hadHead) override;
    bool hasHead(char const* stanza) const override;

    // The stanza with head and blank line before it, made when absent.
    ZPKVList_5_1& addStanzaLine(char const* stanza);
    void delStanzaLine(char const* stanza);
    // Under the head, after the comments there; a blank line is put behind the comment unless one
    // follows, or nothing does.
    void addStanzaComment(char const* stanza, char const* text);
    // The stanza, or the pair of value lists of its key, made when absent.
    ZObject_5_1* createAndGet(char const* stanza, char const* key);

    // How the one-name forms understand their name: the stanza is the whole name, the key what
    // stands from its first dot on, dot included. So they find nothing for the ordinary stanza
    // "a.b" (unless it holds a key ".b"), and a null name or one without a dot throws
    // ZInvalidParameterException_5_1.
    static void validateKey(char const* name, ZLCString_5_1& stanza, ZLCString_5_1& key);

    // Copies of the line records, in file order.
    void lines(ZArrayList_5_1& records) const;

protected:
    using PropKey = z_5_1::PropKey;
    using PropLine = z_5_1::PropLine;
    using PropText = z_5_1::PropText;

    // Nodes and texts outlive the stanzas that use them.
    struct FileContent : Content {
        FileContent();
        ~FileContent() noexcept(false) override;

        std::vector<std::unique_ptr<char, void (*)(void*)>> texts;  // of the files read
        z_5_1::PropMemory memory;
        z_5_1::PropLineList preamble;
        ZHashKeyMap_5_1 stanzas;  // name -> ZPKVList_5_1, owned; settles the listing order
        z_5_1::NameIndex<ZPKVList_5_1> index;  // the same, to find them by
        ZPKVList_5_1* firstStanza = nullptr;
        ZPKVList_5_1* lastStanza = nullptr;
    };
    FileContent& content() const { return static_cast<FileContent&>(*content_); }
    std::unique_ptr<Content> makeContent() const override;

    ZPKVList_5_1* find(char const* stanza, std::size_t length) const;
    ZPKVList_5_1* find(char const* stanza) const;
    PropKey* find(char const* stanza, char const* key) const;
    // A new stanza at the end of the file, without a head; takes the name over.
    ZPKVList_5_1& appendStanza(PropText name);
    // A comment or blank line at the end of what was read so far.
    void appendLine(unsigned int type, PropText text);

private:
    ZPKVList_5_1& stanzaFor(char const* stanza);
    PropKey& keyFor(ZPKVList_5_1& stanza, char const* key);
    void link(ZPKVList_5_1& stanza);
    void unlink(ZPKVList_5_1& stanza);
    void makeHead(ZPKVList_5_1& stanza);
    void setValue(ZPKVList_5_1& stanza, PropKey& key, char const* value, int obfuscated);
    void erase(ZPKVList_5_1& stanza, PropKey& key);
};

#endif
