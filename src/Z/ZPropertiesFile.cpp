// ZPropertiesFile: how the engine loads, reloads and stores its file.
// Subsystem: properties, layer 5. Test: tests/ZProperties_test.cpp
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "ZException.h"
#include "ZPropFile.h"
#include "ZProperties.h"
#include "ZPropertiesImpl.h"
#include "zraise.h"
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

void requireAccess(char const* path, int line = __builtin_LINE()) {
    if (access(path, R_OK | W_OK) != 0) failIO(path, "access()", errno, line);
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

void render(ZPCache_5_1& store, char const* file, MemoryText& text) {
    struct Omission {
        ZPCache_5_1& store;
        explicit Omission(ZPCache_5_1& s) : store(s) { store.omitDatabaseKey(true); }
        ~Omission() { store.omitDatabaseKey(false); }
    } omission(store);
    store.be_write(file, text.stream());
    text.finish();
}

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

ZLCString_5_1 directoryOf(char const* file) {
    char const* slash = zstrrchr_5_1(zgetLCSHandle_5_1(), file, '/');
    if (!slash) return workingDirectory(directoryRoom);
    if (slash == file) return ZLCString_5_1("/");
    return ZLCString_5_1(file, static_cast<unsigned int>(slash - file));
}

}  // namespace

int z_5_1::checkAndSetTimeStamp(char const* file, long& time) {
    struct stat status;
    if (stat(file, &status) != 0) return 0;
    auto const seconds = static_cast<long>(status.st_mtime);
    if (seconds == time) return 0;
    time = seconds;
    return 1;
}

void z_5_1::checkFileAccess(char const* file) {
    bool const exists = access(file, F_OK) == 0;
    requireAccess(exists ? file : directoryOf(file).getChars());
}

void z_5_1::makeObfuscatedDBName(char const* file, ZLCString_5_1& out) {
    ZLCString_5_1 name;
    if (*file != '/') {
        name = workingDirectory(databaseRoom);
        name.append('/');
    }
    name.append(file).append(".obf");
    out = name;
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
        if (!store_->databaseName().isEmpty()) {
            failIO(store_->databaseName().getChars(), "mapFile()", ENOTSUP);
        }
        time = in.modificationTime(fileTime_);
    }
    postLoad(file);
    fileTime_ = time;
    resetModified();
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

// Nothing in memory changes before the text is safely in the file.
void ZProperties_5_1::storeLocked(char const* file) {
    z_5_1::checkFileAccess(file);
    if (store_->hasObfuscatedItems() || !store_->databaseName().isEmpty()) {
        ZLCString_5_1 database(store_->databaseName());
        if (database.isEmpty()) z_5_1::makeObfuscatedDBName(file, database);
        failIO(database.getChars(), "fopen(w)", ENOTSUP);
    }
    z_5_1::PropFile out(file, z_5_1::PropFile::writing);
    MemoryText text;
    render(*store_, file, text);
    out.replaceContent(text.text(), text.size());
    long const time = out.modificationTime(fileTime_);
    out.close();
    store_->delLine(z_5_1::databaseStanza, z_5_1::databaseKey);
    fileTime_ = time;
    resetModified();
}
