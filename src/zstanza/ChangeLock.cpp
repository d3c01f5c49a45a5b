// ChangeLock: lets one zstanza at a time change a file, and how long the others wait for it.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include "ChangeLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

#include "Failure.h"

namespace zstanza {

Patience::Patience(unsigned seconds)
    : seconds_(seconds), end_(std::chrono::steady_clock::now() + std::chrono::seconds(seconds)) {}

bool Patience::pause() {
    if (std::chrono::steady_clock::now() >= end_) return false;
    std::this_thread::sleep_for(nap_);
    nap_ = std::min(nap_ * 2, std::chrono::milliseconds(16));
    return true;
}

ChangeLock::ChangeLock(std::string const& file, bool create, Patience& patience) : file_(file) {
    for (;;) {
        open(create);
        while (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
            int error = errno;
            if (error == EINTR || (error == EWOULDBLOCK && patience.pause())) continue;
            close();
            if (error == EWOULDBLOCK) throw busyFailure(file_, patience.seconds());
            throw Failure(inaccessible, file_,
                          std::string("cannot be locked: ") + std::strerror(error));
        }
        if (isStillTheFile()) return;
        close();
        made_ = false;
    }
}

ChangeLock::~ChangeLock() {
    struct stat now;
    if (made_ && fstat(descriptor_, &now) == 0 && now.st_size == 0 && isStillTheFile()) {
        unlink(file_.c_str());
    }
    close();
}

void ChangeLock::open(bool create) {
    constexpr int flags = O_RDWR | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    do {
        descriptor_ = ::open(file_.c_str(), flags);
        if (descriptor_ < 0 && errno == ENOENT && create) {
            descriptor_ = ::open(file_.c_str(), flags | O_CREAT | O_EXCL, 0666);
            made_ = descriptor_ >= 0;
        }
        // Somebody else made it in between; or it is a link to nowhere, which fails for good below.
    } while (descriptor_ < 0 && errno == EEXIST && access(file_.c_str(), F_OK) == 0);
    if (descriptor_ < 0) {
        throw Failure(inaccessible, file_,
                      std::string("cannot be opened for writing: ") + std::strerror(errno));
    }
    struct stat now;
    if (fstat(descriptor_, &now) != 0 || !S_ISREG(now.st_mode)) {
        close();
        throw Failure(inaccessible, file_, "is not a regular file");
    }
}

bool ChangeLock::isStillTheFile() const {
    struct stat held, named;
    return fstat(descriptor_, &held) == 0 && stat(file_.c_str(), &named) == 0 &&
           held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

void ChangeLock::close() {
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = -1;
}

}  // namespace zstanza
