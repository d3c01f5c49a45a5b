// ZPropertiesFile: how the engine loads, reloads and stores its file.
// Subsystem: properties, layer 5. Test: tests/ZProperties_test.cpp
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include "ZBuffer.h"
#include "ZException.h"
#include "ZFileMap.h"
#include "ZPropDatabase.h"
#include "ZPropFile.h"
#include "ZProperties.h"
#include "ZPropertiesImpl.h"
#include "zraise.h"
#include "zreport.h"
#include "ztisutil.h"

namespace {

constexpr char const* unit = "src/Z/ZProperties";

constexpr std::size_t directoryRoom = 1024;
constexpr std::size_t databaseRoom = 4096;

// 1 while it lives, 0 again however the scope is left.
class Raised {
public:
    explicit Raised(std::atomic<int>& flag) : flag_(flag) { flag_ = 1; }
    Raised(Raised const&) = delete;
    Raised& operator=(Raised const&) = delete;
    ~Raised() { flag_ = 0; }

private:
    std::atomic<int>& flag_;
};

[[noreturn]] void failIO(char const* file, char const* api, int error,
                         int line = __builtin_LINE()) {
    z_5_1::raise(unit, ZPropertiesIOException_5_1(file, api, error), line);
}

// What is written to `stream()`, in memory.
class MemoryText {
public:
    MemoryText() : stream_(open_memstream(&text_, &size_)) {
        if (!stream_) z_5_1::raise(unit, ZOutOfMemoryException_5_1());
    }
    MemoryText(MemoryText const&) = delete;
    MemoryText& operator=(MemoryText const&) = delete;
    ~MemoryText() {
        std::fclose(stream_);
        std::free(text_);
    }

    std::FILE* stream() const { return stream_; }
    // The text so far is complete in memory, or the memory did not suffice.
    void finish() {
        if (std::fflush(stream_) != 0 || std::ferror(stream_)) {
            z_5_1::raise(unit, ZOutOfMemoryException_5_1());
        }
    }
    char const* text() const { return text_; }
    std::size_t size() const { return size_; }

private:
    char* text_ = nullptr;
    std::size_t size_ = 0;
    std::FILE* stream_;
};

// Sees to the line that names the database: with a name, the store has the line, without one, it is
// left out of what is written. The destructor takes that back unless the line is kept.
class DatabaseLine {
public:
    DatabaseLine(ZPCache_5_1& store, char const* name) : store_(store) {
        if (!name) {
            store.omitDatabaseKey(true);
        } else if (!namedDatabase(store)) {
            hadStanza_ = store.contains(z_5_1::databaseStanza);
            hadHead_ = store.hasHead(z_5_1::databaseStanza);
            hadKey_ = store.contains(z_5_1::databaseStanza, z_5_1::databaseKey);
            try {
                store.addLine(z_5_1::databaseStanza, z_5_1::databaseKey, name, 0);
            } catch (...) {
                takeBack();
                throw;
            }
            added_ = true;
        }
    }
    DatabaseLine(DatabaseLine const&) = delete;
    DatabaseLine& operator=(DatabaseLine const&) = delete;
    ~DatabaseLine() {
        store_.omitDatabaseKey(false);
        // cppcheck-suppress throwInNoexceptFunction ; quietly() catches
        if (added_) z_5_1::quietly(unit, [this] { takeBack(); });
    }

    void keep() { added_ = false; }

    // The name that the line gives now, or null. As in reading, the last value is the one.
    static char const* namedDatabase(ZPCache_5_1 const& store) {
        ZArrayList_5_1 const* values =
            store.get(z_5_1::databaseStanza, z_5_1::databaseKey, ZPCache_5_1::plain);
        if (!values || values->size() == 0) return nullptr;
        char const* name = static_cast<ZLCString_5_1*>(values->get(values->size() - 1))->getChars();
        return *name ? name : nullptr;
    }

private:
    void takeBack() {
        if (hadKey_) {
            store_.addLine(z_5_1::databaseStanza, z_5_1::databaseKey, nullptr, 0);
        } else {
            store_.takeBackLine(z_5_1::databaseStanza, z_5_1::databaseKey, hadStanza_, hadHead_);
        }
    }

    ZPCache_5_1& store_;
    bool added_ = false;
    bool hadStanza_ = false;
    bool hadHead_ = false;
    bool hadKey_ = false;
};

// The content of the companion database and its name, as a store would write them; an empty name
// when there are no obfuscated values.
struct Hidden {
    ZBuffer_5_1 content;
    ZLCString_5_1 database;

    Hidden(ZPCache_5_1& store, char const* file) {
        if (!store.hasObfuscatedItems()) return;
        store.be_write_obfuscated(content);
        if (content.getLength() == 0) return;
        if (char const* name = DatabaseLine::namedDatabase(store)) {
            database = name;
        } else if (!store.databaseName().isEmpty()) {
            database = store.databaseName();
        } else {
            z_5_1::makeObfuscatedDBName(file, database);
        }
    }
    char const* databaseOrNull() const {
        return database.isEmpty() ? nullptr : database.getChars();
    }
};

// The working directory, in a buffer of `room` bytes.
ZLCString_5_1 workingDirectory(std::size_t room, int line = __builtin_LINE()) {
    struct Buffer {
        char* chars;
        ~Buffer() { std::free(chars); }
    } const buffer{static_cast<char*>(std::malloc(room))};
    if (!buffer.chars) z_5_1::raise(unit, ZOutOfMemoryException_5_1(), line);
    if (!getcwd(buffer.chars, room)) failIO(".", "access()", errno, line);
    return ZLCString_5_1(buffer.chars);
}

std::string absolute(char const* file) {
    if (*file == '/') return file;
    return std::string(workingDirectory(databaseRoom).getChars()).append("/").append(file);
}

ZLCString_5_1 directoryOf(char const* file) {
    char const* slash = zstrrchr_5_1(zgetLCSHandle_5_1(), file, '/');
    if (!slash) return workingDirectory(directoryRoom);
    if (slash == file) return ZLCString_5_1("/");
    return ZLCString_5_1(file, static_cast<unsigned int>(slash - file));
}

// Where its name cannot be removed, its values are.
void removeFile(char const* name) noexcept {
    if (unlink(name) == 0 || errno == ENOENT) return;
    int const descriptor = open(name, O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor == -1) return;
    (void)!ftruncate(descriptor, 0);
    close(descriptor);
}

// What the store knows of its database when it was stored with this one, or with none for null. All
// that can fail is done before the file is changed.
class DatabaseChange {
public:
    // A second file that shares the database does not become its owner. Only what this instance has
    // read or written is known to be a database, and removed.
    DatabaseChange(ZPCache_5_1& store, char const* name, char const* file,
                   z_5_1::FileId const& main, bool isOwn)
        : store_(store), name_(name), known_(store.database()) {
        if (name) {
            store.reserveDatabaseName(std::strlen(name));
            if (isOwn) {
                known_ = {absolute(name), absolute(file), main};
            } else {
                known_->name = absolute(name);
            }
        } else if (known_ && isOwn) {
            bool const goes = known_->name == absolute(store.databaseName().getChars()) &&
                              !(z_5_1::fileId(known_->name.c_str()) == main);
            if (goes) doomed_ = std::move(known_->name);
            known_.reset();
        }
    }
    void make() noexcept {
        store_.database() = std::move(known_);
        if (name_) {
            store_.setDatabaseName(name_);
        } else {
            if (!doomed_.empty()) removeFile(doomed_.c_str());
            store_.delLine(z_5_1::databaseStanza, z_5_1::databaseKey);
        }
    }

private:
    ZPCache_5_1& store_;
    char const* name_;
    std::optional<z_5_1::KnownDatabase> known_;
    std::string doomed_;
};

}  // namespace

int z_5_1::checkAndSetTimeStamp(char const* file, long& time) {
    struct stat status;
    if (stat(file, &status) != 0) return 0;
    auto const seconds = static_cast<long>(status.st_mtime);
    if (seconds == time) return 0;
    time = seconds;
    return 1;
}

// Others may make or remove the file meanwhile, as stores do with databases: the error of the one
// look at it says whether it was there.
void z_5_1::checkFileAccess(char const* file) {
    if (access(file, R_OK | W_OK) == 0) return;
    int const error = errno;
    if (error != ENOENT && access(file, F_OK) == 0) failIO(file, "access()", error);
    ZLCString_5_1 const directory = directoryOf(file);
    if (access(directory.getChars(), R_OK | W_OK) != 0) {
        failIO(directory.getChars(), "access()", errno);
    }
}

void z_5_1::makeObfuscatedDBName(char const* file, ZLCString_5_1& out) {
    out = absolute(file).append(".obf").c_str();
}

// The first file that an instance hears of is remembered, whatever becomes of the operation.
ZLCString_5_1 ZProperties_5_1::chooseFile(char const* file) {
    if ((!file || !*file) && fileName_.isEmpty()) {
        z_5_1::raise(unit, ZInvalidParameterException_5_1());
    }
    ZLCString_5_1 const chosen(file && *file ? file : fileName());
    if (fileName_.isEmpty()) fileName_ = chosen;
    return chosen;
}

void ZProperties_5_1::load(char const* file) {
    ZResourceLock_5_1 hold(lockObject());
    loadLocked(chooseFile(file).getChars());
}

void ZProperties_5_1::loadLocked(char const* file) {
    Raised loading(loading_);
    long time;
    {
        z_5_1::PropFile in(file, z_5_1::PropFile::reading);
        store_->be_read(file, in.stream());
        loadDatabase(file, in.id());
        time = in.modificationTime(fileTime_);
    }
    postLoad(file);
    fileTime_ = time;
    resetModified();
}

// Under the record lock of the main file, which guards both.
void ZProperties_5_1::loadDatabase(char const* file, z_5_1::FileId const& main) {
    ZLCString_5_1 const name(store_->databaseName());
    if (name.isEmpty()) return;
    ZUnixFileMap_5_1 map(name, ZAbstractFileMap_5_1::readOnly, 1);
    int error;
    void* const bytes = map.mapfile(&error, 0);
    if (error) failIO(name.getChars(), "mapFile()", error);
    // The buffer only borrows the mapping.
    struct Lent {
        ZBuffer_5_1 buffer;
        ~Lent() {
            unsigned long length;
            void* data;
            buffer.takeBuffer(length, data);
        }
    } content;
    content.buffer.setBufferNoCopy(map.length(), bytes);
    store_->be_read_obfuscated(content.buffer);
    store_->database() = {absolute(name.getChars()), absolute(file), main};
}

void ZProperties_5_1::reload(char const* file) {
    ZResourceLock_5_1 hold(lockObject());
    if ((!file || !*file) && fileName_.isEmpty()) {
        z_5_1::raise(unit, ZInvalidParameterException_5_1());
    }
    ZLCString_5_1 const chosen(file);  // it may be a value of the store
    store_->clear();
    load(chosen.getChars());
}

void ZProperties_5_1::store(char const* file) {
    ZResourceLock_5_1 hold(lockObject());
    storeLocked(chooseFile(file).getChars());
}

// Memory and files are as before when this fails. The database goes only after the text that does
// not name it any more is safely in the file.
void ZProperties_5_1::storeLocked(char const* file) {
    z_5_1::checkFileAccess(file);
    Hidden const hidden(*store_, file);
    char const* const database = hidden.databaseOrNull();
    if (database) z_5_1::checkFileAccess(database);
    z_5_1::PropFile out(file, z_5_1::PropFile::writing);
    DatabaseLine line(*store_, database);
    MemoryText text;
    store_->be_write(file, text.stream());
    text.finish();
    std::optional<z_5_1::PropDatabase> companion;
    if (database) {
        companion.emplace(database, out, isOwnDatabase(file, out.id()),
                          static_cast<char const*>(hidden.content.getBuffer()),
                          hidden.content.getLength());
    }
    DatabaseChange change(*store_, database, file, out.id(), isOwnDatabase(file, out.id()));
    out.replaceContent(text.text(), text.size());
    if (companion) companion->keep();
    line.keep();
    change.make();
    long const time = out.modificationTime(fileTime_);
    out.close();
    fileTime_ = time;
    resetModified();
}

// A file that an editor replaced is the same by its name, one that was renamed by its inode.
bool ZProperties_5_1::isOwnDatabase(char const* file, z_5_1::FileId const& main) const {
    std::optional<z_5_1::KnownDatabase> const& known = store_->database();
    return !known || known->mainFile == main || known->main == absolute(file);
}

void ZProperties_5_1::writeText(char const* file, std::FILE* out) {
    ZResourceLock_5_1 hold(lockObject());
    ZLCString_5_1 const chosen(file && *file ? file : fileName());
    if (chosen.isEmpty()) z_5_1::raise(unit, ZInvalidParameterException_5_1());
    DatabaseLine line(*store_, Hidden(*store_, chosen.getChars()).databaseOrNull());
    store_->be_write(chosen.getChars(), out);
}

int ZProperties_5_1::databaseLoadsBack() const {
    ZResourceLock_5_1 hold(lockObject());
    return store_->databaseLoadsBack();
}
