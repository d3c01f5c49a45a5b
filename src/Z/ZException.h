// ZException: the hierarchy of everything that the library throws.
// Subsystem: model, layer 1. Test: tests/ZException_test.cpp
#ifndef Z_ZEXCEPTION_H
#define Z_ZEXCEPTION_H

#include "ZLCString.h"
#include "ZObject.h"
#include "zexport.h"

// Root of all exceptions: a code that selects the message text (1 to 54, see ZMessage.h), the
// class's name without suffix and the place it was raised at. Exceptions are built, then raised
// with throwException(); they are thrown by value and caught by reference to their class or a base.
// Names and files are string literals and are not copied. An exception belongs to one thread at a
// time. Constructors throw nothing but ZOutOfMemoryException_5_1.
class Z_API ZException_5_1 : public ZObject_5_1 {
public:
    // Of a code and the class's name without suffix, raised nowhere so far.
    ZException_5_1(unsigned long code, char const* name) noexcept : code_(code), name_(name) {}

    // The place goes with the copy.
    ZException_5_1(ZException_5_1 const&) = default;
    ZException_5_1& operator=(ZException_5_1 const& other) noexcept;
    ~ZException_5_1() noexcept override;

    // A copy on the heap that the caller owns.
    ZObject_5_1* clone() const override = 0;

    // Sets the place of the throw; only the last one set is kept.
    virtual void addLocation(char const* file, unsigned long line);
    // Stores the place and returns 1, whatever the index; file null and line 0 when there is none.
    virtual int location(int index, char const*& file, int& line) const;
    // Always 1.
    virtual int locationCount() const;
    virtual char const* who() const;      // the file of the place, null when none was set
    virtual unsigned long where() const;  // the line of the place, 0 when none was set

    // Hands the exception with its inserts to the message service.
    virtual void print() = 0;
    // Sets the place and throws a copy of this object, typed as its own class. A failure while the
    // copy is made ends the process.
    virtual void throwException(char const* file, int line) = 0;
    // Reports the exception through the message service's outputException(ZException_5_1&).
    virtual void dumpException();

    unsigned long code() const noexcept { return code_; }  // selects the message text
    char const* name() const noexcept { return name_; }    // the class's, without suffix

private:
    friend class ZPropertiesInvalidNumValueException_5_1;
    friend class ZPropertiesInvalidBoolValueException_5_1;

    unsigned long code_;
    char const* name_;
    char const* file_ = nullptr;
    unsigned long line_ = 0;
};

// Base of every concrete exception: prints its message without inserts.
class Z_API ZZException_5_1 : public ZException_5_1 {
public:
    // As ZException_5_1.
    ZZException_5_1(int code, char const* name) noexcept
        : ZException_5_1(static_cast<unsigned long>(code), name) {}

    void print() override;

    // Hands `exception` and what follows, the inserts in the order of the text's placeholders, to
    // the current message service.
    static void printinternal(ZZException_5_1 const* exception, ...);

protected:
    // For a code that the caller chose: the number goes in as the text wants it, "%d" or "%s", and
    // `last` fills a second placeholder.
    void printNumber(int number, char const* last);
};

// What every concrete class declares: a copy and a throw of its own type.
#define Z_EXCEPTION_5_1 \
    ZObject_5_1* clone() const override; \
    void throwException(char const* file, int line) override;

// Classes without inserts: name and code say it all.
#define Z_PLAIN_EXCEPTION_5_1(Class, stem, code) \
    class Z_API Class : public ZZException_5_1 { \
    public: \
        Class() noexcept : ZZException_5_1(code, stem) {} \
        Z_EXCEPTION_5_1 \
    };

// Code 1: no memory, or a length that nothing can have.
Z_PLAIN_EXCEPTION_5_1(ZOutOfMemoryException_5_1, "ZOutOfMemoryException", 1)
// Code 11: what was called exists on other platforms alone.
Z_PLAIN_EXCEPTION_5_1(ZInvalidPlatformException_5_1, "ZInvalidPlatformException", 11)
// Code 14: objects of the class are never copied.
Z_PLAIN_EXCEPTION_5_1(ZNotClonableException_5_1, "ZNotClonableException", 14)
// Code 22: an argument that the operation does not take.
Z_PLAIN_EXCEPTION_5_1(ZInvalidParameterException_5_1, "ZInvalidParameterException", 22)
// Code 45: the environment variable TISDIR is not set.
Z_PLAIN_EXCEPTION_5_1(ZNoTISEnvironmentException_5_1, "ZNoTISEnvironmentException", 45)
// Code 46: a byte that begins no character of the codeset.
Z_PLAIN_EXCEPTION_5_1(ZTISMBLenException_5_1, "ZTISMBLenException", 46)
// Code 48: two strings of different codesets, or an object that is no string.
Z_PLAIN_EXCEPTION_5_1(ZUnsupportedException_5_1, "ZUnsupportedException", 48)

// ---- a failed call: message code of the call, and its return code ----

// Threads: codes 3, 5, 6, 7, 10, 15, 16, 17, 20, 29, 30.
class Z_API ZThreadException_5_1 : public ZZException_5_1 {
public:
    // Of a message code and the return code of the call that failed.
    ZThreadException_5_1(int code, int rc) noexcept
        : ZZException_5_1(code, "ZThreadException"), rc_(rc) {}
    void print() override;
    int rc() const noexcept { return rc_; }  // of the call
    Z_EXCEPTION_5_1
private:
    int rc_;
};

// Conditions: codes 7, 9, 10, 27.
class Z_API ZConditionException_5_1 : public ZZException_5_1 {
public:
    // Of a message code and the return code of the call that failed.
    ZConditionException_5_1(int code, int rc) noexcept
        : ZZException_5_1(code, "ZConditionException"), rc_(rc) {}
    void print() override;
    int rc() const noexcept { return rc_; }  // of the call
    Z_EXCEPTION_5_1
private:
    int rc_;
};

// Locks and lock files. All kinds carry the one name "ZResourceException"; the class caught and the
// code tell them apart.
class Z_API ZResourceException_5_1 : public ZZException_5_1 {
public:
    // Of a message code and the return code or errno of the call that failed.
    ZResourceException_5_1(int code, int rc) noexcept
        : ZZException_5_1(code, "ZResourceException"), rc_(rc) {}
    void print() override;
    int rc() const noexcept { return rc_; }  // of the call

private:
    int rc_;
};

#define Z_RESOURCE_EXCEPTION_5_1(Class) \
    class Z_API Class : public ZResourceException_5_1 { \
    public: \
        Class(int code, int rc) noexcept : ZResourceException_5_1(code, rc) {} \
        Z_EXCEPTION_5_1 \
    };

Z_RESOURCE_EXCEPTION_5_1(ZCreateResourceException_5_1)  // code 3: a lock cannot be made
Z_RESOURCE_EXCEPTION_5_1(ZLockResourceException_5_1)    // codes 5, 33: a lock cannot be taken
Z_RESOURCE_EXCEPTION_5_1(ZUnlockResourceException_5_1)  // codes 6, 34: it cannot be released
Z_RESOURCE_EXCEPTION_5_1(ZReadResourceException_5_1)    // code 35: a lock file cannot be read
Z_RESOURCE_EXCEPTION_5_1(ZWriteResourceException_5_1)   // code 33: it cannot be written

// A lock file that cannot be opened (code 37).
class Z_API ZOpenResourceException_5_1 : public ZResourceException_5_1 {
public:
    // The file's name is copied.
    ZOpenResourceException_5_1(int code, int rc, char const* name)
        : ZResourceException_5_1(code, rc), value_(name) {}
    void print() override;
    char const* value() const { return value_.getChars(); }  // the file's name
    Z_EXCEPTION_5_1
private:
    ZLCString_5_1 value_;
};

// A lock file that cannot be closed (code 38).
class Z_API ZCloseResourceException_5_1 : public ZResourceException_5_1 {
public:
    // The file's name is copied.
    ZCloseResourceException_5_1(int code, int rc, char const* name)
        : ZResourceException_5_1(code, rc), value_(name) {}
    void print() override;
    char const* value() const { return value_.getChars(); }  // the file's name
    Z_EXCEPTION_5_1
private:
    ZLCString_5_1 value_;
};

// Code 32: a lock is in a state that the operation does not allow; rc() is -1.
class Z_API ZInvalidResourceStateException_5_1 : public ZResourceException_5_1 {
public:
    // The state's name is copied.
    explicit ZInvalidResourceStateException_5_1(char const* state)
        : ZResourceException_5_1(32, -1), value_(state) {}
    void print() override;
    char const* value() const { return value_.getChars(); }  // the state's name
    Z_EXCEPTION_5_1
private:
    ZLCString_5_1 value_;
};

// ---- strings and codesets ----

// Code 31: what was called does not exist here.
class Z_API ZAbstractNotImplementedException_5_1 : public ZZException_5_1 {
public:
    // The name of what was called is copied.
    explicit ZAbstractNotImplementedException_5_1(char const* what)
        : ZZException_5_1(31, "ZAbstractNotImplementedException"), value_(what) {}
    void print() override;
    char const* value() const { return value_.getChars(); }  // what was called
    Z_EXCEPTION_5_1
private:
    ZLCString_5_1 value_;
};

// Code 2: a conversion between two code pages cannot be opened.
class Z_API ZConverterException_5_1 : public ZZException_5_1 {
public:
    // `err` is an errno, `from` and `to` name the code pages.
    ZConverterException_5_1(int code, int err, char const* from, char const* to)
        : ZZException_5_1(code, "ZConverterException"), err_(err), from_(from), to_(to) {}
    void print() override;
    Z_EXCEPTION_5_1
private:
    ZLCString_5_1 err_;
    ZLCString_5_1 from_;
    ZLCString_5_1 to_;
};

// Code 47: no handle for a codeset. Keeps the value that the environment variable TISDIR had.
class Z_API ZCodesetException_5_1 : public ZZException_5_1 {
public:
    // The codeset's name is copied.
    explicit ZCodesetException_5_1(char const* codeset);
    void print() override;
    Z_EXCEPTION_5_1
private:
    ZLCString_5_1 codeset_;
    ZLCString_5_1 directory_;
};

// Code 49: for callers who report a failed conversion to UTF-8. The library's own conversions give
// an empty string instead.
class Z_API ZToUTF8Exception_5_1 : public ZZException_5_1 {
public:
    // Keeps the name of the local codeset.
    ZToUTF8Exception_5_1();
    void print() override;
    Z_EXCEPTION_5_1
private:
    ZLCString_5_1 codeset_;
};

// Code 50: the same for a conversion from UTF-8.
class Z_API ZFromUTF8Exception_5_1 : public ZZException_5_1 {
public:
    // Keeps the name of the local codeset.
    ZFromUTF8Exception_5_1();
    void print() override;
    Z_EXCEPTION_5_1
private:
    ZLCString_5_1 codeset_;
};

// ---- configuration files ----

// What concerns one configuration file.
class Z_API ZPropertiesException_5_1 : public ZZException_5_1 {
public:
    // The file's name is copied, `name` is not.
    ZPropertiesException_5_1(int code, char const* name, char const* file)
        : ZZException_5_1(code, name), file_(file) {}
    void print() override;
    char const* propFile() const { return file_.getChars(); }  // the file's name

private:
    ZLCString_5_1 file_;
};

// Code 28: a required key is missing or has no value.
class Z_API ZPropertiesMissingPropertyException_5_1 : public ZPropertiesException_5_1 {
public:
    // The texts are copied; `category` is the stanza.
    ZPropertiesMissingPropertyException_5_1(char const* file, char const* category, char const* key)
        : ZPropertiesException_5_1(28, "ZPropertiesMissingPropertyException", file),
          category_(category),
          key_(key) {}
    void print() override;
    char const* category() const { return category_.getChars(); }  // the stanza
    char const* key() const { return key_.getChars(); }            // the key that is missing
    Z_EXCEPTION_5_1
private:
    ZLCString_5_1 category_;
    ZLCString_5_1 key_;
};

// Code 39: a value that cannot be read as what was asked for.
class Z_API ZPropertiesInvalidValueException_5_1 : public ZPropertiesException_5_1 {
public:
    // The texts are copied; `category` is the stanza.
    ZPropertiesInvalidValueException_5_1(char const* file, char const* category, char const* key,
                                         char const* value)
        : ZPropertiesException_5_1(39, "ZPropertiesInvalidValueException", file),
          category_(category),
          key_(key),
          value_(value) {}
    void print() override;
    char const* category() const { return category_.getChars(); }  // the stanza
    char const* key() const { return key_.getChars(); }            // the key with the value
    char const* value() const { return value_.getChars(); }        // the value's text
    Z_EXCEPTION_5_1
private:
    ZLCString_5_1 category_;
    ZLCString_5_1 key_;
    ZLCString_5_1 value_;
};

// Code 40: not a number. Keeps the name, clone() and throwException() of its base: thrown, it
// arrives as a ZPropertiesInvalidValueException_5_1 that carries the code. Catch that class and
// look at code().
class Z_API ZPropertiesInvalidNumValueException_5_1 : public ZPropertiesInvalidValueException_5_1 {
public:
    // As its base.
    ZPropertiesInvalidNumValueException_5_1(char const* file, char const* category, char const* key,
                                            char const* value)
        : ZPropertiesInvalidValueException_5_1(file, category, key, value) {
        code_ = 40;
    }
};

// Code 41: not a boolean. Arrives as its base, like the one for numbers.
class Z_API ZPropertiesInvalidBoolValueException_5_1 : public ZPropertiesInvalidValueException_5_1 {
public:
    // As its base.
    ZPropertiesInvalidBoolValueException_5_1(char const* file, char const* category,
                                             char const* key, char const* value)
        : ZPropertiesInvalidValueException_5_1(file, category, key, value) {
        code_ = 41;
    }
};

// Code 42: an iterator was asked for what it does not stand on.
class Z_API ZPropertiesIteratorException_5_1 : public ZPropertiesException_5_1 {
public:
    // The file's name is copied.
    explicit ZPropertiesIteratorException_5_1(char const* file)
        : ZPropertiesException_5_1(42, "ZPropertiesIteratorException", file) {}
    Z_EXCEPTION_5_1
};

// Code 43: a file cannot be read, locked or written.
class Z_API ZPropertiesIOException_5_1 : public ZPropertiesException_5_1 {
public:
    // Of the file, the call and its errno. The texts are copied.
    ZPropertiesIOException_5_1(char const* file, char const* api, int err)
        : ZPropertiesException_5_1(43, "ZPropertiesIOException", file), api_(api), err_(err) {}
    void print() override;
    // The call: "fopen(r)", "fcntl()", "mapFile()", "access()", "fopen(r+)", "fopen(w)" or
    // "fopen(wt)".
    char const* api() const { return api_.getChars(); }
    int excerrno() const noexcept { return err_; }  // the call's errno
    Z_EXCEPTION_5_1
private:
    ZLCString_5_1 api_;
    int err_;
};

// Code 44: a line that the file's syntax does not allow.
class Z_API ZPropertiesInvalidDataException_5_1 : public ZPropertiesException_5_1 {
public:
    // Of the file, the line's text and its number. The texts are copied.
    ZPropertiesInvalidDataException_5_1(char const* file, char const* data, int line)
        : ZPropertiesException_5_1(44, "ZPropertiesInvalidDataException", file),
          data_(data),
          line_(line) {}
    void print() override;
    char const* baddata() const { return data_.getChars(); }  // the line's text
    int badline() const noexcept { return line_; }            // its number, counted from 1
    Z_EXCEPTION_5_1
private:
    ZLCString_5_1 data_;
    int line_;
};

// Code 53: a file ended inside something.
class Z_API ZUnexpectedEndOfFile_5_1 : public ZZException_5_1 {
public:
    // The file's name is copied.
    explicit ZUnexpectedEndOfFile_5_1(char const* file)
        : ZZException_5_1(53, "ZUnexpectedEndOfFile"), file_(file) {}
    void print() override;
    Z_EXCEPTION_5_1
private:
    ZLCString_5_1 file_;
};

// Code 54: a Java property file cannot be taken apart.
class Z_API ZJavaPropertyParseException_5_1 : public ZZException_5_1 {
public:
    // The file's name is copied.
    explicit ZJavaPropertyParseException_5_1(char const* file)
        : ZZException_5_1(54, "ZJavaPropertyParseException"), file_(file) {}
    void print() override;
    Z_EXCEPTION_5_1
private:
    ZLCString_5_1 file_;
};

// ---- shared libraries ----

// What concerns one shared library.
class Z_API ZSharedLibraryException_5_1 : public ZZException_5_1 {
public:
    // The texts are copied, but for `name`, the class's.
    ZSharedLibraryException_5_1(int code, char const* name, char const* lib, char const* detail,
                                int rc)
        : ZSharedLibraryException_5_1(code, name, lib, detail, "", rc) {}
    void print() override;
    char const* lib() const { return lib_.getChars(); }        // the library's name
    char const* detail() const { return detail_.getChars(); }  // what the loader says
    int rc() const noexcept { return rc_; }                    // its error number

protected:
    // The same with the symbol that was asked for.
    ZSharedLibraryException_5_1(int code, char const* name, char const* lib, char const* detail,
                                char const* symbol, int rc)
        : ZZException_5_1(code, name), lib_(lib), detail_(detail), symbol_(symbol), rc_(rc) {}

    ZLCString_5_1 lib_;     // see lib()
    ZLCString_5_1 detail_;  // see detail()
    ZLCString_5_1 symbol_;  // empty but in the resolve exception
    int rc_;                // see rc()
};

// Code 51: a library cannot be loaded or unloaded.
class Z_API ZSharedLibraryLoadException_5_1 : public ZSharedLibraryException_5_1 {
public:
    // As its base.
    ZSharedLibraryLoadException_5_1(char const* lib, char const* detail, int rc)
        : ZSharedLibraryException_5_1(51, "ZSharedLibraryLoadException", lib, detail, rc) {}
    void print() override;
    Z_EXCEPTION_5_1
};

// Code 52: a library does not hold a symbol.
class Z_API ZSharedLibraryResolveException_5_1 : public ZSharedLibraryException_5_1 {
public:
    // As its base, with the symbol.
    ZSharedLibraryResolveException_5_1(char const* lib, char const* symbol, char const* detail,
                                       int rc)
        : ZSharedLibraryException_5_1(52, "ZSharedLibraryResolveException", lib, detail, symbol,
                                      rc) {}
    void print() override;
    char const* symbol() const { return symbol_.getChars(); }  // the symbol asked for
    Z_EXCEPTION_5_1
};

#undef Z_RESOURCE_EXCEPTION_5_1
#undef Z_PLAIN_EXCEPTION_5_1
#undef Z_EXCEPTION_5_1

#endif
