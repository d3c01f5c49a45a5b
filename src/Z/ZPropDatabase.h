// ZPropDatabase: the companion database on disk, as it is written beside its main file.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesDatabase_test.cpp
//
// Internal. The database holds what is not to be read by everybody. It is written as a new file
// beside the old one, readable by its owner alone; that file gets owner, group and mode of the main
// file, then its content, and then takes the name. So who may not read the main file can read it at
// no moment, and a reader finds the whole old or the whole new database.
//
// The old file is overwritten in place instead where no file can be made beside it or exchanged
// with it, and where the new one would not get owner and group of the main file as the old one has
// them. Its mode is narrowed first; who holds it open from before sees the new content, and a
// process that is killed meanwhile leaves an invalid database.
//
// 1. The database is a regular file, no link, and another one than the main file.
// 2. Until keep() is called, the destructor brings the old file back with content, owner, mode and
//    access control list, or removes the new one where there was none.
// 3. Access control lists are not copied. Where the main file has one, the bits of its group, which
//    then stand for everybody in the list, give the database's group no more than others have.
#ifndef Z_ZPROPDATABASE_H
#define Z_ZPROPDATABASE_H

#include <sys/stat.h>

#include <optional>
#include <string>

#include "ZPropFile.h"

namespace z_5_1 {

class PropDatabase {
public:
    // Puts the bytes in place. `isItsOwn`: the database is that of this main file and is to be
    // accessible like it; else a database that is there stays accessible as it is. Throws
    // ZPropertiesIOException_5_1 with "access()" and EINVAL when both are one file, else with
    // "fopen(w)". `name` must outlive this object.
    PropDatabase(char const* name, PropFile const& main, bool isItsOwn, char const* bytes,
                 std::size_t size);
    PropDatabase(PropDatabase const&) = delete;
    PropDatabase& operator=(PropDatabase const&) = delete;
    ~PropDatabase();

    void keep() noexcept;

private:
    // Who may do what with the main file.
    struct Access {
        uid_t owner;
        gid_t group;
        mode_t mode;

        // The mode for `file`, which may have come out with another owner or group.
        mode_t modeFor(struct stat const& file) const;
        // Whether somebody may read `file` who is not meant to, or could make it so.
        bool isExceededBy(struct stat const& file) const;
        bool isGivenTo(struct stat const& file) const {
            return file.st_uid == owner && file.st_gid == group;
        }
    };
    // Owner, mode and access control list of a file that is overwritten.
    struct Former {
        struct stat status;
        std::string list;
    };
    static Access accessOf(struct stat const& status, bool hasList);

    bool makeNew(Access const& access, struct stat const* former, char const* bytes,
                 std::size_t size);
    void overwrite(Access const& access, char const* bytes, std::size_t size);
    struct stat give(Access const& access) const;
    void giveBack() const noexcept;
    void undo() noexcept;
    [[noreturn]] void fail(int error, int line = __builtin_LINE()) const;

    char const* name_;
    bool existed_ = false;
    bool published_ = false;  // the new file has the name
    std::string other_;       // the name of the new file, and of the old one while it may come back
    int descriptor_ = -1;     // open until all is kept or undone
    std::optional<NewContent> content_;  // when overwriting
    std::optional<Former> former_;       // the same
};

}  // namespace z_5_1

#endif
