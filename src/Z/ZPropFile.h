// ZPropFile: a configuration file opened, held against others, and rewritten in place.
// Subsystem: properties, layer 4. Test: tests/ZProperties_test.cpp
//
// Internal. Two holds keep a file consistent: a POSIX record lock against other processes, and,
// since record locks do not exclude threads of one process and go with the first descriptor that
// the process closes, a process-wide mutex per file (device and inode) against other instances.
//
// 1. The mutex is taken after the open and left after the close; so no descriptor of a main file is
//    closed while another thread holds its record lock. (Databases are not guarded: none may be the
//    main file of another instance.)
// 2. Waiting for the mutex comes after the instance's lock and before the record lock.
// 3. While a PropFile exists its thread cannot be cancelled.
#ifndef Z_ZPROPFILE_H
#define Z_ZPROPFILE_H

#include <sys/stat.h>

#include <cstddef>
#include <cstdio>
#include <string>

#include "ZFileId.h"
#include "zreport.h"

namespace z_5_1 {

class FileGuard;

// New content for an open file, in two steps: overwrite() leaves what lies behind the new end,
// truncate() removes it. Until then the former content can be had back.
class NewContent {
public:
    // Reserves the room and keeps what will be overwritten. `text` must outlive this object.
    // Failures of this class are ZPropertiesIOException_5_1 with the names given here.
    NewContent(int descriptor, char const* name, char const* api, char const* text,
               std::size_t size);
    // Puts the former content back when it fails.
    void overwrite();
    bool truncate() noexcept;  // false and errno when it fails
    void putBack() noexcept;

private:
    bool reserve() const noexcept;
    bool keepFormer() noexcept;
    void cutToFormer() const noexcept;
    bool writeAt0(char const* text, std::size_t size) const noexcept;
    [[noreturn]] void fail(int error, int line = __builtin_LINE()) const;

    int descriptor_;
    char const* name_;
    char const* api_;
    char const* text_;
    std::size_t size_;
    off_t formerSize_;
    std::string former_;
};

class PropFile {
public:
    enum Mode { reading, writing };

    // Opens `name`, making it for writing, and takes the holds: shared for reading, exclusive for
    // writing, without waiting for other processes. Throws ZPropertiesIOException_5_1 with
    // "fopen(r)", "fopen(r+)" or "fcntl()".
    PropFile(char const* name, Mode mode);
    PropFile(PropFile const&) = delete;
    PropFile& operator=(PropFile const&) = delete;
    ~PropFile();

    // A stream over a file that is read, closed with it; null for writing.
    std::FILE* stream() const { return stream_; }
    struct stat status() const;
    FileId const& id() const { return id_; }
    int descriptor() const { return descriptor_; }
    // The file's modification time in seconds, `otherwise` when it cannot be had.
    long modificationTime(long otherwise) const;
    // Puts `text` in place of the whole content. The room for it is reserved before anything is
    // changed, and what was changed is put back when a write fails. Throws
    // ZPropertiesIOException_5_1 with "fopen(r+)".
    void replaceContent(char const* text, std::size_t size);
    // Closes and leaves the holds; throws as replaceContent when the system reports an error.
    void close();

private:
    void makeStream();
    void takeRecordLock(Mode mode);
    int closeAll() noexcept;
    [[noreturn]] void fail(char const* api, int error, int line = __builtin_LINE()) const;

    NotCancelled notCancelled_;
    char const* name_;
    FileGuard* guard_ = nullptr;
    std::FILE* stream_ = nullptr;
    int descriptor_;
    FileId id_;
};

}  // namespace z_5_1

#endif
