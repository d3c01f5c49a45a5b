// ZFileId: tells whether two names or descriptors lead to one file.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesDatabase_test.cpp
//
// Internal.
#ifndef Z_ZFILEID_H
#define Z_ZFILEID_H

#include <sys/stat.h>

#include <optional>

namespace z_5_1 {

struct FileId {
    dev_t device;
    ino_t inode;

    bool operator==(FileId const& other) const {
        return device == other.device && inode == other.inode;
    }
    bool operator<(FileId const& other) const {
        return device != other.device ? device < other.device : inode < other.inode;
    }
};

inline FileId fileId(struct stat const& status) {
    return {status.st_dev, status.st_ino};
}

// None when the name leads to nothing that can be looked at.
inline std::optional<FileId> fileId(char const* name) {
    struct stat status;
    if (stat(name, &status) != 0) return std::nullopt;
    return fileId(status);
}

}  // namespace z_5_1

#endif
