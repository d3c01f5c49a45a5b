// ZProperties: configuration files: their interfaces and engine, iterators, shared instances.
// Subsystem: properties, layer 5. Test: tests/ZProperties_test.cpp
//
// A configuration file is made of stanzas; a stanza holds keys in file order; a key holds any
// number of values in order, or none. Names are `const char*` in the local codeset, never null and
// never empty unless said otherwise: such a name throws ZInvalidParameterException_5_1 (code 22)
// before anything is locked or changed.
//
// Between threads an instance is guarded by one recursive lock that every operation holds.
// Between processes a file is guarded by a POSIX record lock (fcntl, whole file) held for the
// length of one load or store only: shared for load, exclusive for store. Neither waits; a busy
// file throws ZPropertiesIOException_5_1 with api() "fcntl()".
#ifndef Z_ZPROPERTIES_H
#define Z_ZPROPERTIES_H

#include <atomic>
#include <cstdio>

#include "ZException.h"
#include "ZKeyMap.h"
#include "ZLCString.h"
#include "ZList.h"
#include "ZLock.h"
#include "ZObject.h"
#include "ZObservable.h"
#include "ZUTF8String.h"
#include "zexport.h"

class ZPCache_5_1;
class ZProperties_5_1;
namespace z_5_1 {
struct FileId;
class HeldProperties;
struct PropSlice;
}  // namespace z_5_1

// What kind of string a caller wants values in.
enum ZPropertyStringType : int {
    ZPropLCString = 0,    // ZLCString_5_1, the local codeset
    ZPropUTF8String = 8,  // ZUTF8String_5_1
};

// The notice that observers of an instance receive. The names are borrowed and valid only during
// the call; the key is null for a change of a whole stanza.
class Z_API ZPropertyChanged_5_1 : public ZObservedParm_5_1 {
public:
    // The kind of file that changed.
    enum PropertyStyle : int {
        STANZA = 0  // one of stanzas, the only kind
    };
    // What happened.
    enum PropertyChangeType : int {
        ADDED = 0,    // a stanza was added
        DELETED = 1,  // a key or a stanza was deleted
        CHANGED = 2,  // a value was set
    };

    // Borrows both names.
    ZPropertyChanged_5_1(PropertyStyle style, PropertyChangeType type, char const* stanza,
                         char const* key)
        : stanza_(stanza), key_(key), style_(style), type_(type) {}
    ZPropertyChanged_5_1(ZPropertyChanged_5_1 const&) = delete;
    ZPropertyChanged_5_1& operator=(ZPropertyChanged_5_1 const&) = delete;

    char const* getStanza() const { return stanza_; }           // the stanza that changed
    char const* getKey() const { return key_; }                 // the key, or null
    PropertyStyle getStyle() const { return style_; }           // the kind of file
    PropertyChangeType getChangeType() const { return type_; }  // what happened

private:
    char const* stanza_;
    char const* key_;
    PropertyStyle style_;
    PropertyChangeType type_;
};

// ---- the read view ----

// What can be asked of a configuration file.
class Z_API ZPropertiesInterface_5_1 {
public:
    // Whether there is such a key, with or without values, or such a stanza: 1 or 0.
    virtual int exists(char const* stanza, char const* key) const = 0;
    virtual int exists(char const* stanza) const = 0;
    // The first value into `out`, converted to its codeset. Without one: the default (local
    // codeset; null means the empty text), or ZPropertiesMissingPropertyException_5_1 (28) when
    // `required`. `required` together with a default is ZInvalidParameterException_5_1.
    virtual void getValue(char const* stanza, char const* key, ZAbstractMutableString_5_1& out,
                          int required, char const* defaultValue) const = 0;
    // The first value as a number: C notation with an optional sign ("31", "0x1F", "037"), nothing
    // after it. A magnitude above 4294967295 gives 4294967295; an empty text gives 0. What is no
    // number arrives as ZPropertiesInvalidValueException_5_1 with code 40.
    virtual unsigned int getIntegerValue(char const* stanza, char const* key, int required,
                                         unsigned int defaultValue) const = 0;
    // 1 for yes, y, true, t, 1; 0 for no, n, false, f, 0 and the empty text; any case. Anything
    // else arrives as ZPropertiesInvalidValueException_5_1 with code 41.
    virtual int getBooleanValue(char const* stanza, char const* key, int required,
                                int defaultValue) const = 0;
    virtual int count() const = 0;                    // stanzas
    virtual int count(char const* stanza) const = 0;  // keys of the stanza, 0 when it is absent
    virtual int numValues(char const* stanza, char const* key) const = 0;  // 0 when absent
    // Values under a name that holds a dot: those of the stanza of that whole name and the key made
    // of the first dot and what follows. A name without a dot is ZInvalidParameterException_5_1.
    virtual int numValues(char const* stanza) const = 0;
    // Empties `out`, which must own its members, and fills it with copies of all values in order.
    virtual void getValues(char const* stanza, char const* key, ZArrayList_5_1& out,
                           ZPropertyStringType type) const = 0;
    // Null or empty: the file that the instance was first loaded from or stored to.
    virtual void load(char const* file) = 0;
    virtual void reload(char const* file) = 0;
    virtual void store(char const* file) = 0;
    virtual void list() const = 0;  // everything, to standard output
    virtual ~ZPropertiesInterface_5_1() noexcept(false) {}
};

// ---- the write view ----

// How a configuration file is changed, in memory until it is stored.
class Z_API ZPropertiesMutableInterface_5_1 {
public:
    // Replace all values of the key by one, making stanza and key when needed.
    virtual void setValue(char const* stanza, char const* key, char const* value) = 0;
    virtual void setIntegerValue(char const* stanza, char const* key, unsigned int value) = 0;
    virtual void setBooleanValue(char const* stanza, char const* key, int value) = 0;
    virtual void deleteKey(char const* stanza, char const* key) = 0;  // with its values
    // Adds a comment at the top of the file, or above the key's line.
    virtual void addFileComment(char const* text) = 0;
    virtual void addEntryComment(char const* stanza, char const* key, char const* text) = 0;

protected:
    ~ZPropertiesMutableInterface_5_1() = default;
};

// ---- iterators ----

// Walks the keys of a stanza; ZPropertiesIterator_5_1 below says how each operation fails.
class Z_API ZPropertiesIteratorInterface_5_1 {
public:
    virtual int hasMore() const = 0;                      // 1 while there is a further key, else 0
    virtual ZArrayList_5_1* nextEntry() = 0;              // steps to the next key; its values
    virtual char const* entryName() const = 0;            // the key it stands on
    virtual char const* entryValue(int index) const = 0;  // that key's value, counted from 0
    virtual int keyCount() const = 0;                     // keys of the stanza
    virtual int valueCount() const = 0;                   // values of the key it stands on
    virtual ~ZPropertiesIteratorInterface_5_1() noexcept(false) {}
};

// Walks the values of a key; ZAbstractPropertyValuesIterator_5_1 below says how each operation
// fails.
class Z_API ZPropertyValuesIteratorInterface_5_1 {
public:
    virtual int hasMore() const = 0;         // 1 while there is a further value, else 0
    virtual ZLCString_5_1* nextValue() = 0;  // steps to the next value
    virtual char const* nextValue(char const*& out) = 0;  // the same, and gives its characters
    virtual void changeValue(char const* value) = 0;      // in place of the one it stands on
    virtual void addValue(char const* value) = 0;         // behind that one, and steps onto it
    virtual void removeValue() = 0;                       // the one it stands on
    virtual int valueCount() const = 0;                   // values of the key
    virtual ~ZPropertyValuesIteratorInterface_5_1() noexcept(false) {}
};

// Adds nothing.
class Z_API ZAbstractPropertiesIterator_5_1 : public ZPropertiesIteratorInterface_5_1 {};

// Walks the keys of one stanza in file order. Holds the instance's lock from its construction to
// its destruction: other threads wait meanwhile, the same thread may use the instance. Destroy it
// on the thread that made it, before the instance. What the instance deletes or reloads meanwhile
// is gone from the iterator's next answer as well.
class Z_API ZPropertiesIterator_5_1 : public ZAbstractPropertiesIterator_5_1 {
public:
    // An absent stanza gives an iterator without entries.
    ZPropertiesIterator_5_1(ZProperties_5_1& properties, char const* stanza);
    // An iterator without entries; the names of all stanzas are had through keyNames().
    explicit ZPropertiesIterator_5_1(ZProperties_5_1& properties);
    ZPropertiesIterator_5_1(ZPropertiesIterator_5_1 const&) = delete;
    ZPropertiesIterator_5_1& operator=(ZPropertiesIterator_5_1 const&) = delete;
    ~ZPropertiesIterator_5_1() noexcept override;

    int hasMore() const override;
    // Steps to the next key and returns its value list, which the store owns (null when there is
    // none). Past the end: ZPropertiesIteratorException_5_1 (code 42), as for the three below
    // before the first entry.
    ZArrayList_5_1* nextEntry() override;

    char const* entryName() const override;
    // Value `index` of the key, counted from 0; null when the key is gone. An index that is not
    // there is ZInvalidParameterException_5_1.
    char const* entryValue(int index) const override;

    int keyCount() const override;
    int valueCount() const override;

protected:
    // The values of a key of the stanza, the store's; null when there is none.
    virtual ZArrayList_5_1* getValues(char const* name);

private:
    void refresh() const;
    void requireEntry(int line = __builtin_LINE()) const;

    ZLCString_5_1 stanza_;
    ZProperties_5_1* properties_;
    ZResourceLock_5_1 hold_;
    mutable ZArrayList_5_1* names_ = nullptr;   // the store's
    mutable ZArrayList_5_1* values_ = nullptr;  // the store's
    int index_ = -1;
    ZLCString_5_1 name_;
    mutable unsigned long generation_;  // of the store when names_ and values_ were fetched
};

// Walks, changes, adds and removes the values of one key, plain or obfuscated. Holds the
// instance's lock like the iterator above. An observer that calls back into its subject must not be
// combined with values iterators of other threads: each would wait for the other's lock.
class Z_API ZAbstractPropertyValuesIterator_5_1 : public ZPropertyValuesIteratorInterface_5_1 {
public:
    // Which values the iterator is for.
    enum ZPropIter_valtype : int {
        ANY = 0,         // what the key is now
        PLAIN = 1,       // ZInvalidParameterException_5_1 when the key holds obfuscated values
        OBFUSCATED = 2,  // and the reverse
    };

    // Stands before the first value. An absent key has none; addValue() makes it.
    ZAbstractPropertyValuesIterator_5_1(ZProperties_5_1& properties, char const* stanza,
                                        char const* key, ZPropertyStringType type,
                                        ZPropIter_valtype valtype);
    ZAbstractPropertyValuesIterator_5_1(ZAbstractPropertyValuesIterator_5_1 const&) = delete;
    ZAbstractPropertyValuesIterator_5_1& operator=(ZAbstractPropertyValuesIterator_5_1 const&) =
        delete;
    ~ZAbstractPropertyValuesIterator_5_1() noexcept override;

    int hasMore() const override;
    // The next value itself, which the store owns. Past the end: ZPropertiesIteratorException_5_1
    // (code 42), as for changeValue and removeValue where the iterator stands on no value.
    ZLCString_5_1* nextValue() override;
    // The next value's characters in the iterator's string type, also stored in `out`; valid until
    // the next call.
    char const* nextValue(char const*& out) override;
    // Texts are in the iterator's string type; a line end in a plain value is refused
    // (ZInvalidParameterException_5_1). No notice is sent.
    void changeValue(char const* value) override;
    // Inserts after the current value and steps onto it. On a key without values it sets the value,
    // making the key when needed, and the instance's observers hear of it.
    void addValue(char const* value) override;
    // The next value is then the one that followed. The first of obfuscated values takes all of
    // them with it and leaves the key empty.
    void removeValue() override;

    int valueCount() const override;
    int isValid() const;  // 1 while the iterator stands on a value

private:
    void refresh() const;
    void requireValid(int line = __builtin_LINE()) const;
    ZLCString_5_1 accepted(char const* value) const;

    mutable ZArrayList_5_1* values_ = nullptr;  // the store's
    int index_ = -1;
    ZProperties_5_1* properties_;
    ZResourceLock_5_1 hold_;
    ZLCString_5_1 stanza_;
    ZLCString_5_1 key_;
    ZPropertyStringType type_;
    ZAbstractString_5_1* current_ = nullptr;  // owned
    ZPropIter_valtype valtype_;
    mutable unsigned long generation_ = 0;  // of the store when values_ was fetched
};

// ---- factory ----

// Makes the instances of one kind of configuration file.
class Z_API ZPropertiesFactoryInterface_5_1 {
public:
    // A new, empty instance that the caller owns.
    virtual ZProperties_5_1* makePropertiesInstance() = 0;
    virtual ~ZPropertiesFactoryInterface_5_1() noexcept(false) {}
};

// Keeps the shared instances that getPropertiesFor made with it, by file name as it was given
// ("./f" and "f" are two). Instances are never removed: they live until the process ends.
class Z_API ZAbstractPropertiesFactory_5_1 : public ZPropertiesFactoryInterface_5_1,
                                             public ZObject_5_1 {
public:
    // Without instances.
    ZAbstractPropertiesFactory_5_1();
    ZAbstractPropertiesFactory_5_1(ZAbstractPropertiesFactory_5_1 const&) = delete;
    ZAbstractPropertiesFactory_5_1& operator=(ZAbstractPropertiesFactory_5_1 const&) = delete;
    ~ZAbstractPropertiesFactory_5_1() noexcept(false) override;

private:
    friend class ZProperties_5_1;

    ZLock_5_1 lock_;
    ZHashKeyMap_5_1 instances_;  // file name -> instance; the names are deleted by the destructor
};

// ---- the engine ----

// Brings the instance lock. A copy gets a lock of its own, and nothing else.
class Z_API ZAbstractProperties_5_1 : public ZObject_5_1, public ZPropertiesInterface_5_1 {
public:
    // Holds any lock for its own lifetime. Its destructor reports what it cannot throw.
    //     ZAbstractProperties_5_1::ZPropResourceLock hold(lock);
    class Z_API ZPropResourceLock {
    public:
        // Whatever lock() throws passes through.
        explicit ZPropResourceLock(ZLockInterface_5_1& lock);
        ZPropResourceLock(ZPropResourceLock const&) = delete;
        ZPropResourceLock& operator=(ZPropResourceLock const&) = delete;
        virtual ~ZPropResourceLock() noexcept;

    private:
        ZLockInterface_5_1& lock_;
    };

    // A free lock.
    ZAbstractProperties_5_1() {}
    ZAbstractProperties_5_1(ZAbstractProperties_5_1 const& other);
    ~ZAbstractProperties_5_1() noexcept(false) override;

protected:
    // The instance lock, which every operation holds.
    ZLock_5_1& lockObject() const { return lock_; }

private:
    mutable ZLock_5_1 lock_;
};

// One configuration file in memory. Every operation is safe from any thread. Observers (see
// ZObservable.h) hear of changes made through the setters and deleters, after the instance's lock
// is released; not of what load() reads, and not of comments.
//
// What a file could not give back is refused with ZInvalidParameterException_5_1 and nothing
// changed: a line end in a stanza, key, plain value or comment; "]" in a stanza name; a key with
// "=", with white space at an end, or beginning with "#" or "[". Obfuscated values may hold line
// ends. Outer white space of a plain value is lost at the next load, and a line of more than 8191
// bytes comes back as several. UTF-8 text that the local codeset cannot hold arrives empty.
class Z_API ZProperties_5_1 : public ZAbstractProperties_5_1,
                              public ZAbstractObservable_5_1,
                              public ZPropertiesMutableInterface_5_1 {
public:
    ~ZProperties_5_1() noexcept(false) override;

    // The process's shared instance of `file`, made and loaded by `factory` at the first call.
    // Later calls reload it when `force` is not 0, or when the file's modification time (whole
    // seconds) changed and the instance holds no unsaved changes. The factory owns it. Failures of
    // load and reload pass through; an instance whose reload fails here keeps the content it had.
    // A null or empty name is ZInvalidParameterException_5_1.
    // Holding an iterator of an instance while calling this can deadlock with a thread that reloads
    // the instance.
    static ZProperties_5_1* getPropertiesFor(char const* file,
                                             ZAbstractPropertiesFactory_5_1& factory, int force);

    int exists(char const* stanza, char const* key) const override;
    int exists(char const* stanza) const override;
    // Whether the key's values are kept in the compressed database. What does not exist, and for
    // the one-name form an existing stanza without a dot in its name, is
    // ZInvalidParameterException_5_1.
    virtual int isObfuscated(char const* stanza, char const* key) const;
    virtual int isObfuscated(char const* stanza) const;
    void getValue(char const* stanza, char const* key, ZAbstractMutableString_5_1& out,
                  int required, char const* defaultValue) const override;
    unsigned int getIntegerValue(char const* stanza, char const* key, int required,
                                 unsigned int defaultValue) const override;
    int getBooleanValue(char const* stanza, char const* key, int required,
                        int defaultValue) const override;
    void getValues(char const* stanza, char const* key, ZArrayList_5_1& out,
                   ZPropertyStringType type) const override;
    int numValues(char const* stanza) const override;
    int numValues(char const* stanza, char const* key) const override;
    int count() const override;
    int count(char const* stanza) const override;

    // Reads `file` (null or empty: the file remembered) into the store, on top of what it holds;
    // a stanza that is there already is invalid data, so reload() is what an instance in use wants.
    // The first file an instance loads or stores is remembered for good, even when that fails.
    // No file at all: ZInvalidParameterException_5_1. Otherwise ZPropertiesIOException_5_1 (code
    // 43; "fopen(r)", "fcntl()", or "mapFile()" with the database; EINVAL for a missing or empty
    // one) or ZPropertiesInvalidDataException_5_1 (code 44) with file, line and line
    // number (database, "" and 0 for an invalid one); what was read before the failure stays in the
    // store, and a store() after it would write just that.
    void load(char const* file) override;
    // Empties the store and loads. Unsaved changes are lost.
    void reload(char const* file) override;
    // Writes the store to `file` (null or empty: the file remembered), in place: inode, owner and
    // mode stay, a missing file is made (mode 0666 less the umask). The room is reserved before the
    // first byte is changed. On failure (ZPropertiesIOException_5_1: "access()", "fopen(r+)",
    // "fcntl()", "fopen(w)") file and database are as before (a missing file may have been made,
    // empty; a close that fails comes after all was written), and the changes stay in memory,
    // marked as unsaved. A process that is killed leaves the old or the new text, unless it is
    // killed within the write of more than 4096 bytes: then the old text may follow the begin of
    // the new.
    //
    // Obfuscated values go into the companion database instead (docs/database-format.md): the file
    // that the key "file" of the stanza "configuration-database" names. Without such a key it is
    // the absolute name of `file` and ".obf". It gets owner, group and mode of its main file, and
    // who cannot read that one cannot read it. A second file that the instance is stored to shares
    // the database. Without obfuscated values the key goes, and with it the database that was read
    // from or written for this file.
    //
    // store() writes any values. load() refuses a database whose records are more than four times
    // its size, which values can come to that repeat themselves: see databaseLoadsBack().
    void store(char const* file) override;
    // The text that store() would write for `file` (null or empty: the file remembered, without
    // which it is ZInvalidParameterException_5_1) goes to `out`; no file is touched. Failures of
    // the stream show in ferror().
    void writeText(char const* file, std::FILE* out);
    // 1 when load() would accept the database that store() would write, or there would be none.
    int databaseLoadsBack() const;
    void list() const override;

    // Replace all values of the key by one, making stanza and key when needed; an empty or null
    // value leaves the key without values. A plain value on a key with obfuscated ones, or the
    // reverse, is ZInvalidParameterException_5_1, as is an obfuscated one on the key that names the
    // database.
    void setValue(char const* stanza, char const* key, char const* value) override;
    virtual void setValue(char const* stanza, char const* key, char const* value, int obfuscated);
    virtual void setValue(char const* stanza, char const* key, ZLCString_5_1 const& value,
                          int obfuscated);
    virtual void setValue(char const* stanza, char const* key, ZUTF8String_5_1 const& value,
                          int obfuscated);
    virtual void setValue(char const* stanza, char const* key, ZLCConstString_5_1 const& value,
                          int obfuscated);
    virtual void setValue(char const* stanza, char const* key, ZUTF8ConstString_5_1 const& value,
                          int obfuscated);
    void setIntegerValue(char const* stanza, char const* key, unsigned int value) override;
    void setBooleanValue(char const* stanza, char const* key, int value) override;  // "yes", "no"
    void deleteKey(char const* stanza, char const* key) override;  // absent: nothing
    // To the comments at the top of the file.
    void addFileComment(char const* text) override;
    // Directly above the key's line; the key is made, without value, when it is absent.
    void addEntryComment(char const* stanza, char const* key, char const* text) override;

protected:
    // Called at the end of every successful load.
    virtual void postLoad(char const* file);
    // May rewrite a comment before it is stored.
    virtual void checkComment(ZLCString_5_1& text);

public:
    // Bit 1 of `flags` keeps comments and blank lines at load. Flags are added, never cleared.
    virtual void setAttributes(unsigned long flags, void* data);
    // Guards against mixing plain and obfuscated values on one key: 0 when the key has no values or
    // holds plain ones and `obfuscated` is 0; 1 when it holds obfuscated ones and `obfuscated` is
    // not 0; else ZInvalidParameterException_5_1.
    virtual int checkAccess(char const* stanza, char const* key, int obfuscated) const;

    // Appends the names of all stanzas, in the order of the stanza map, which is neither sorted nor
    // that of the file. The list must own its members (else ZInvalidParameterException_5_1).
    void keyNames(ZArrayList_5_1& names) const;
    // The stanza's key names in the order they were read or added, owned by the store and kept up
    // to date by it; null when there is no such stanza. Use it only while no other thread changes
    // the instance.
    ZArrayList_5_1* keyNames(char const* stanza) const;
    // Appends these names, as they are now, to the caller's list, which must own its members (else
    // ZInvalidParameterException_5_1); none when there is no such stanza.
    void keyNames(char const* stanza, ZArrayList_5_1& names) const;
    // The key's values, owned by the store, or null. Use as above.
    ZArrayList_5_1* get(char const* stanza, char const* key) const;

    // Whether there are changes that are not stored: what reload() drops and getPropertiesFor()
    // waits for. Set and cleared by the operations themselves.
    int isModified() const { return modified_.load(std::memory_order_acquire); }
    void setModified() { modified_.store(1, std::memory_order_release); }
    void resetModified() { modified_.store(0, std::memory_order_release); }

    // Notifies the observers, unless a load is under way.
    void sendChangeNotice(ZPropertyChanged_5_1::PropertyStyle style,
                          ZPropertyChanged_5_1::PropertyChangeType type, char const* stanza,
                          char const* key);

    // 1 and the number, or 0 when `text` is none (see getIntegerValue, getBooleanValue). Null is
    // the empty text.
    static int convertToInt(char const* text, unsigned int& out);
    static int convertToBoolean(char const* text, int& out);

protected:
    // Takes the store over; it is deleted by the class that made it.
    explicit ZProperties_5_1(ZPCache_5_1* store);
    // Shares the store, copies observers and file name; nothing else. The copy does not own the
    // store.
    ZProperties_5_1(ZProperties_5_1 const& other);
    ZProperties_5_1& operator=(ZProperties_5_1 const&) = delete;

    // The first value, or chars null. Without one and `required`:
    // ZPropertiesMissingPropertyException_5_1. A null key asks for the one-name list of the stanza.
    z_5_1::PropSlice extractValue(ZPCache_5_1 const& store, char const* stanza, char const* key,
                                  int required) const;

    // The store, guarded by the instance lock.
    ZPCache_5_1* store_;

private:
    friend class ZPropertiesIterator_5_1;
    friend class ZAbstractPropertyValuesIterator_5_1;
    friend class ZStanzaFileProperties_5_1;
    friend class z_5_1::HeldProperties;

    // Makes a change under the lock. What fails half way counts as a change, what is refused as
    // none.
    template <class Edit>
    void changeQuietly(Edit edit) {
        ZResourceLock_5_1 hold(lockObject());
        int const former = modified_.exchange(1);
        try {
            edit();
        } catch (ZInvalidParameterException_5_1&) {
            modified_ = former;
            throw;
        }
    }
    // The same, and tells the observers after the lock is released. Whether they are told is
    // settled under the lock: another thread's load may begin right after. The names may be the
    // store's own and die in the change.
    template <class Edit>
    void change(ZPropertyChanged_5_1::PropertyChangeType type, char const* stanza, char const* key,
                Edit edit) {
        if (!hasObservers()) return changeQuietly(edit);
        ZLCString_5_1 const stanzaName(stanza), keyName(key);
        bool announce = false;
        changeQuietly([&] {
            edit();
            announce = !loading_;
        });
        if (announce) {
            notifyObservers(ZPropertyChanged_5_1(ZPropertyChanged_5_1::STANZA, type,
                                                 stanzaName.getChars(),
                                                 key ? keyName.getChars() : nullptr));
        }
    }
    void replaceByPlain(char const* stanza, char const* key, char const* value);

    ZLCString_5_1 chooseFile(char const* file);
    void loadLocked(char const* file);
    void loadDatabase(char const* file, z_5_1::FileId const& main);
    void storeLocked(char const* file);
    bool isOwnDatabase(char const* file, z_5_1::FileId const& main) const;
    void reloadIfNeeded(char const* file, int force);
    char const* fileName() const { return fileName_.getChars(); }

    ZLCString_5_1 fileName_;
    std::atomic<int> modified_{0};
    std::atomic<int> loading_{0};
    std::atomic<long> fileTime_{0};  // seconds; compared for equality only
};

// What belongs to the engine and may be called by itself.
namespace z_5_1 {

// 1 and the file's modification time in `time` when it differs from it; 0 when it is equal or the
// file cannot be looked at.
Z_API int checkAndSetTimeStamp(char const* file, long& time);

// Throws ZPropertiesIOException_5_1 with api() "access()" unless `file` can be read and written or,
// when it does not exist, its directory can (the exception then carries the directory).
Z_API void checkFileAccess(char const* file);

// The path of the companion database: `file`, made absolute with the working directory, and ".obf".
Z_API void makeObfuscatedDBName(char const* file, ZLCString_5_1& out);

}  // namespace z_5_1

#endif
