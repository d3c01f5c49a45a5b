// ZPropDatabase: the companion database on disk, as it is written beside its main file.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesDatabase_test.cpp
#include "ZPropDatabase.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <utility>

#include "ZException.h"
#include "ZFileId.h"
#include "zraise.h"
#include "zretried.h"

namespace z_5_1 {

namespace {

constexpr char const* unit = "src/Z/ZProperties";
constexpr char const api[] = "fopen(w)";
constexpr char const accessList[] = "system.posix_acl_access";
constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;

int exchange(char const* one, char const* other) {
    return renameat2(AT_FDCWD, one, AT_FDCWD, other, RENAME_EXCHANGE);
}

// What both the main file's group and all others may do.
mode_t common(mode_t mode) {
    return (mode & (mode >> 3)) & S_IRWXO;
}

// Whether a file may have an access list whose size came out as this, or as -1 with errno.
bool mayHaveList(ssize_t size) {
    return size > 0 || (size == -1 && errno != ENODATA && errno != EOPNOTSUPP && errno != ENOSYS);
}

// A name for mkostemp beside `name`, which itself may be as long as names can be.
std::string temporaryName(std::string const& name) {
    constexpr std::size_t longestBase = 240;
    std::size_t const base = name.rfind('/') + 1;  // 0 without a folder
    return name.substr(0, base + longestBase) + ".XXXXXX";
}

// The errno of an open for writing that does not follow links; 0 for a regular file.
int refusal(struct stat const& status) {
    if (S_ISREG(status.st_mode)) return 0;
    if (S_ISLNK(status.st_mode)) return ELOOP;
    return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
}

}  // namespace

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

// Only some may give a file away, and to the group alone some more. Returns what came out.
struct stat PropDatabase::give(Access const& access) const {
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
    return file;
}

// The bits of the mode last: they are for the owner, the group and the list that they came with.
void PropDatabase::giveBack() const noexcept {
    struct stat const& former = former_->status;
    std::string const& list = former_->list;
    bool const isWhole =
        fchown(descriptor_, former.st_uid, former.st_gid) == 0 &&
        (list.empty() || fsetxattr(descriptor_, accessList, list.data(), list.size(), 0) == 0);
    (void)!fchmod(descriptor_, former.st_mode & (isWhole ? 07777 : ownerOnly));
}

// ---- the file ----

PropDatabase::PropDatabase(char const* name, PropFile const& main, bool isItsOwn, char const* bytes,
                           std::size_t size)
    : name_(name) {
    struct stat const mainStatus = main.status();
    // A second descriptor of the main file, when closed, would take the record lock with it.
    if (fileId(name) == fileId(mainStatus)) {
        raise(unit, ZPropertiesIOException_5_1(name, "access()", EINVAL));
    }
    struct stat former;
    existed_ = lstat(name, &former) == 0;
    if (!existed_ && errno != ENOENT) fail(errno);
    if (int const error = existed_ ? refusal(former) : 0) fail(error);
    Access const access =
        existed_ && !isItsOwn
            ? accessOf(former, mayHaveList(lgetxattr(name, accessList, nullptr, 0)))
            : accessOf(mainStatus,
                       mayHaveList(fgetxattr(main.descriptor(), accessList, nullptr, 0)));
    try {
        if (!makeNew(access, existed_ ? &former : nullptr, bytes, size)) {
            overwrite(access, bytes, size);
        }
    } catch (...) {
        undo();
        throw;
    }
}

PropDatabase::~PropDatabase() {
    undo();
}

bool PropDatabase::makeNew(Access const& access, struct stat const* former, char const* bytes,
                           std::size_t size) {
    auto mayOverwrite = [former](std::initializer_list<int> errors) {
        return former && std::find(errors.begin(), errors.end(), errno) != errors.end();
    };
    other_ = temporaryName(name_);
    descriptor_ = mkostemp(&other_[0], O_CLOEXEC);
    if (descriptor_ == -1) {
        other_.clear();
        if (mayOverwrite({EACCES, EPERM, EROFS})) return false;
        fail(errno);
    }
    struct stat const made = give(access);
    bool const losesOwner = former && !access.isGivenTo(made) && access.isGivenTo(*former);
    if (losesOwner && ::access(name_, R_OK | W_OK) == 0) {
        undo();
        return false;
    }
    NewContent(descriptor_, name_, api, bytes, size).overwrite();
    // The name passes to a file that a power failure does not empty.
    if (retried([this] { return fdatasync(descriptor_); }) != 0) fail(errno);
    if (former && exchange(other_.c_str(), name_) != 0) {
        if (!mayOverwrite({EINVAL, ENOSYS, EOPNOTSUPP, EPERM, EACCES, EBUSY})) fail(errno);
        undo();
        return false;
    }
    if (!former) {
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
    Former former;
    if (fstat(descriptor_, &former.status) != 0) fail(errno);
    if (int const error = refusal(former.status)) fail(error);
    ssize_t const listSize = fgetxattr(descriptor_, accessList, nullptr, 0);
    if (listSize == -1 && mayHaveList(listSize)) fail(errno);
    if (listSize > 0) {
        former.list.resize(static_cast<std::size_t>(listSize));
        if (fgetxattr(descriptor_, accessList, &former.list[0], former.list.size()) != listSize) {
            fail(errno);
        }
    }
    former_ = std::move(former);
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
    if (former_) {
        if (content_) content_->putBack();
        giveBack();
    } else if (published_ && !existed_) {
        unlink(name_);
    } else {
        // Under the other name is the new file: it never had the name, or gives it back.
        bool const isBack = !published_ || exchange(other_.c_str(), name_) == 0;
        if (isBack) unlink(other_.c_str());
    }
    close(descriptor_);
    descriptor_ = -1;
    other_.clear();
    published_ = false;
}

void PropDatabase::fail(int error, int line) const {
    raise(unit, ZPropertiesIOException_5_1(name_, api, error), line);
}

}  // namespace z_5_1
