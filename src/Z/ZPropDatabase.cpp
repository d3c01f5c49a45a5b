// ZPropDatabase: the companion database on disk, as it is written beside its main file.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesDatabase_test.cpp
#include "ZPropDatabase.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "ZException.h"
#include "zraise.h"

namespace z_5_1 {

namespace {

constexpr char const* unit = "src/Z/ZProperties";
constexpr char const api[] = "fopen(w)";
constexpr char const accessList[] = "system.posix_acl_access";
constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;

FileId idOf(struct stat const& status) {
    return {status.st_dev, status.st_ino};
}

int exchange(char const* one, char const* other) {
    return renameat2(AT_FDCWD, one, AT_FDCWD, other, RENAME_EXCHANGE);
}

// What both the main file's group and all others may do.
mode_t common(mode_t mode) {
    return mode & mode >> 3 & S_IRWXO;
}

// The errno of an open for writing that does not follow links; 0 for a regular file.
int refusal(struct stat const& status) {
    if (S_ISREG(status.st_mode)) return 0;
    if (S_ISLNK(status.st_mode)) return ELOOP;
    return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
}

}  // namespace

std::optional<FileId> fileId(char const* name) {
    struct stat status;
    if (stat(name, &status) != 0) return std::nullopt;
    return idOf(status);
}

// ---- who may read it ----

PropDatabase::Access PropDatabase::accessOf(struct stat const& status, bool hasList) {
    mode_t const bits = status.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
    if (!hasList) return {status.st_uid, status.st_gid, bits};
    return {status.st_uid, status.st_gid, (bits & ~mode_t{S_IRWXG}) | common(bits) << 3};
}

mode_t PropDatabase::Access::modeFor(struct stat const& file) const {
    if (file.st_gid == group) return mode;
    // Who is in the file's group is one of the others of the main file, and the reverse.
    return (mode & S_IRWXU) | common(mode) << 3 | common(mode);
}

bool PropDatabase::Access::isExceededBy(struct stat const& file) const {
    if (common(mode) & S_IROTH) return false;  // it may be read by everybody
    bool const foreignOwner = file.st_uid != owner && file.st_uid != geteuid();
    return foreignOwner || (file.st_mode & ~modeFor(file) & (S_IRGRP | S_IROTH));
}

// Only some may give a file away, and to the group alone some more.
void PropDatabase::give(Access const& access) const {
    struct stat file;
    if (fstat(descriptor_, &file) != 0) fail(errno);
    (void)!fchmod(descriptor_, file.st_mode & ownerOnly);
    if (fchown(descriptor_, access.owner, access.group) != 0) {
        (void)!fchown(descriptor_, static_cast<uid_t>(-1), access.group);
    }
    (void)!fremovexattr(descriptor_, accessList);
    if (fstat(descriptor_, &file) != 0) fail(errno);
    (void)!fchmod(descriptor_, access.modeFor(file));
    if (fstat(descriptor_, &file) != 0) fail(errno);
    if (access.isExceededBy(file)) fail(EPERM);
}

// ---- the file ----

PropDatabase::PropDatabase(char const* name, PropFile const& main, bool isItsOwn, char const* bytes,
                           std::size_t size)
    : name_(name) {
    struct stat const mainStatus = main.status();
    // A second descriptor of the main file, when closed, would take the record lock with it.
    if (fileId(name) == idOf(mainStatus)) {
        raise(unit, ZPropertiesIOException_5_1(name, "access()", EINVAL));
    }
    struct stat former;
    existed_ = lstat(name, &former) == 0;
    if (!existed_ && errno != ENOENT) fail(errno);
    if (int const error = existed_ ? refusal(former) : 0) fail(error);
    Access const access =
        existed_ && !isItsOwn
            ? accessOf(former, lgetxattr(name, accessList, nullptr, 0) > 0)
            : accessOf(mainStatus, fgetxattr(main.descriptor(), accessList, nullptr, 0) > 0);
    try {
        if (!makeNew(access, bytes, size)) overwrite(access, bytes, size);
    } catch (...) {
        undo();
        throw;
    }
}

PropDatabase::~PropDatabase() {
    undo();
}

bool PropDatabase::makeNew(Access const& access, char const* bytes, std::size_t size) {
    other_ = std::string(name_) + ".XXXXXX";
    descriptor_ = mkostemp(&other_[0], O_CLOEXEC);
    if (descriptor_ == -1) {
        other_.clear();
        bool const mayOverwrite = errno == EACCES || errno == EPERM || errno == EROFS;
        if (existed_ && mayOverwrite) return false;
        fail(errno);
    }
    give(access);
    NewContent(descriptor_, name_, api, bytes, size).overwrite();
    if (existed_ && exchange(other_.c_str(), name_) != 0) {
        if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) fail(errno);
        undo();
        return false;
    }
    if (!existed_) {
        if (std::rename(other_.c_str(), name_) != 0) fail(errno);
        other_.clear();
    }
    published_ = true;
    return true;
}

// O_NONBLOCK lets a pipe that has come in place of the file fail instead of wait.
void PropDatabase::overwrite(Access const& access, char const* bytes, std::size_t size) {
    constexpr int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    descriptor_ = retried([this] { return open(name_, flags); });
    if (descriptor_ == -1) fail(errno);
    struct stat status;
    if (fstat(descriptor_, &status) != 0) fail(errno);
    if (int const error = refusal(status)) fail(error);
    formerMode_ = status.st_mode;
    give(access);
    content_.emplace(descriptor_, name_, api, bytes, size);
    content_->overwrite();
}

void PropDatabase::keep() noexcept {
    if (published_ && existed_) unlink(other_.c_str());
    if (content_) content_->truncate();  // or a rest of the former content stays, which is harmless
    if (descriptor_ != -1) close(descriptor_);
    descriptor_ = -1;
}

void PropDatabase::undo() noexcept {
    if (descriptor_ == -1) return;
    if (published_ && !existed_) {
        unlink(name_);
    } else if (!published_ || exchange(other_.c_str(), name_) == 0) {
        if (!other_.empty()) unlink(other_.c_str());
    }
    if (content_) content_->putBack();
    if (formerMode_) (void)!fchmod(descriptor_, *formerMode_);
    close(descriptor_);
    descriptor_ = -1;
    other_.clear();
    published_ = false;
}

void PropDatabase::fail(int error, int line) const {
    raise(unit, ZPropertiesIOException_5_1(name_, api, error), line);
}

}  // namespace z_5_1
