// ZPropDatabase: the companion database on disk, as it is written beside its main file.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesDatabase_test.cpp
//
// Internal. The database holds what is not to be read by everybody: nobody can read it who cannot
// read the main file, at no moment. So it is made for its owner alone, and owner, group and mode
// of the main file are given to it before the first byte is written.
//
// 1. It is a regular file, no link, and another one than the main file.
// 2. Until keep() is called everything is undone by the destructor: a file that was made goes, one
//    that was there has its former content.
// 3. Between write() and keep() the new content may have a rest of the former one behind it, which
//    readers ignore: the file is loadable at every moment.
#ifndef Z_ZPROPDATABASE_H
#define Z_ZPROPDATABASE_H

#include <sys/stat.h>

#include <optional>

#include "ZPropFile.h"

namespace z_5_1 {

// Whether `name` leads to the file of this status.
bool isFile(char const* name, struct stat const& file);

class PropDatabase {
public:
    // Opens `name` for writing, making it if it is missing. `main` is the main file. Throws
    // ZPropertiesIOException_5_1 with "access()" and EINVAL when both are one file, else with
    // "fopen(w)".
    PropDatabase(char const* name, struct stat const& main);
    PropDatabase(PropDatabase const&) = delete;
    PropDatabase& operator=(PropDatabase const&) = delete;
    ~PropDatabase();

    // Throws as the constructor.
    void write(char const* bytes, std::size_t size);
    void keep() noexcept;

private:
    void open();
    void protect(struct stat const& main) const;
    [[noreturn]] void fail(int error, int line = __builtin_LINE()) const;

    char const* name_;
    int descriptor_ = -1;
    bool made_ = false;
    bool kept_ = false;
    std::optional<NewContent> content_;
};

}  // namespace z_5_1

#endif
