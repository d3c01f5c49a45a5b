// ZPropDatabase: the companion database on disk, as it is written beside its main file.
// Subsystem: properties, layer 4. Test: tests/ZPropertiesDatabase_test.cpp
#include "ZPropDatabase.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "ZException.h"
#include "zraise.h"

namespace z_5_1 {

namespace {

constexpr char const* unit = "src/Z/ZProperties";
constexpr char const api[] = "fopen(w)";

bool areOne(struct stat const& a, struct stat const& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// The main file's mode, as far as it tells the database's own group nothing new: to another group
// than the main file's it is "others".
mode_t modeFor(struct stat const& database, struct stat const& main) {
    mode_t mode = main.st_mode & 07777;
    if (database.st_gid != main.st_gid) mode &= ~mode_t{S_IRWXG} | (mode & S_IRWXO) << 3;
    return mode;
}

// Whether somebody may read the database who may not read the main file.
bool isReadableByMore(struct stat const& database, struct stat const& main) {
    bool const others = (main.st_mode & S_IROTH) != 0;
    bool const ownerMay = database.st_uid == main.st_uid || database.st_uid == geteuid() || others;
    return (!ownerMay && database.st_mode & S_IRUSR) ||
           (database.st_mode & ~modeFor(database, main) & (S_IRGRP | S_IROTH));
}

}  // namespace

bool isFile(char const* name, struct stat const& file) {
    struct stat found;
    return stat(name, &found) == 0 && areOne(found, file);
}

PropDatabase::PropDatabase(char const* name, struct stat const& main) : name_(name) {
    // A second descriptor of the main file, when closed, would take the record lock with it.
    if (isFile(name, main)) raise(unit, ZPropertiesIOException_5_1(name, "access()", EINVAL));
    open();
    try {
        protect(main);
    } catch (...) {
        if (made_) unlink(name_);
        close(descriptor_);
        throw;
    }
}

PropDatabase::~PropDatabase() {
    if (!kept_ && made_) unlink(name_);
    if (!kept_ && !made_ && content_) content_->putBack();
    close(descriptor_);
}

// O_NONBLOCK lets a pipe without a reader fail instead of wait.
void PropDatabase::open() {
    constexpr int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    auto openWith = [this](int more) {
        descriptor_ = retried([=] { return ::open(name_, flags | more, S_IRUSR | S_IWUSR); });
        return descriptor_ != -1;
    };
    if (openWith(0)) return;
    if (errno == ENOENT) {
        made_ = openWith(O_CREAT | O_EXCL);
        if (made_ || (errno == EEXIST && openWith(0))) return;
    }
    fail(errno);
}

void PropDatabase::protect(struct stat const& main) const {
    struct stat status;
    if (fstat(descriptor_, &status) != 0) fail(errno);
    if (!S_ISREG(status.st_mode) || areOne(status, main)) fail(EINVAL);
    // Only some may give a file away, and to the group alone some more.
    if (fchown(descriptor_, main.st_uid, main.st_gid) != 0) {
        (void)!fchown(descriptor_, static_cast<uid_t>(-1), main.st_gid);
    }
    if (fstat(descriptor_, &status) != 0) fail(errno);
    (void)!fchmod(descriptor_, modeFor(status, main));
    if (fstat(descriptor_, &status) != 0) fail(errno);
    if (isReadableByMore(status, main)) fail(EPERM);
}

void PropDatabase::write(char const* bytes, std::size_t size) {
    content_.emplace(descriptor_, name_, api, bytes, size);
    try {
        content_->overwrite();
    } catch (...) {
        content_.reset();
        throw;
    }
}

void PropDatabase::keep() noexcept {
    if (content_) content_->truncate();  // or a rest of the former content stays, which is harmless
    kept_ = true;
}

void PropDatabase::fail(int error, int line) const {
    raise(unit, ZPropertiesIOException_5_1(name_, api, error), line);
}

}  // namespace z_5_1
