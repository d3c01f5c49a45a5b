// ZFileMap: a file, or its first bytes, mapped into memory.
// Subsystem: concurrency, layer 2. Test: tests/ZFileMap_test.cpp
#include "ZFileMap.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "zreport.h"
#include "zretried.h"

#ifdef __ILP32__
static_assert(sizeof(ZAbstractFileMap_5_1) == sizeof(ZLCString_5_1) + 20,
              "the record is fixed on 32 bits");
static_assert(sizeof(ZUnixFileMap_5_1) == sizeof(ZLCString_5_1) + 24,
              "the record is fixed on 32 bits");
#endif

namespace {

// Extends a regular file to `length` bytes if it is shorter; a device would take the byte for data.
// Returns an errno value.
int extend(int fd, unsigned long length) {
    struct stat status;
    if (fstat(fd, &status) != 0) return errno;
    if (!S_ISREG(status.st_mode)) return 0;
    auto const last = static_cast<off_t>(length - 1);
    if (last < 0) return EFBIG;
    if (last < status.st_size) return 0;
    ssize_t const written = z_5_1::retried([=] { return pwrite(fd, "", 1, last); });
    return written == 1 ? 0 : written == 0 ? EIO : errno;
}

// The length of the file that was opened, which may be another one than a moment ago.
int takeLength(int fd, unsigned long& length) {
    struct stat status;
    if (fstat(fd, &status) != 0) return errno;
    if (!S_ISREG(status.st_mode)) return 0;
    length = static_cast<unsigned long>(status.st_size);
    if (length == 0) return EINVAL;
    return static_cast<off_t>(length) == status.st_size ? 0 : EOVERFLOW;
}

}  // namespace

ZAbstractFileMap_5_1::ZAbstractFileMap_5_1(ZLCString_5_1 const& fileName, zmapmode mode, int flags)
    : fileName_(fileName), mode_(mode), flags_(flags), address_(nullptr), length_(0) {}

ZAbstractFileMap_5_1::ZAbstractFileMap_5_1(ZAbstractFileMap_5_1 const& other)
    : ZAbstractFileMap_5_1(other.fileName_, other.mode_, other.flags_) {}

// cppcheck-suppress operatorEqVarError ; a file map stays that of its own file
ZAbstractFileMap_5_1& ZAbstractFileMap_5_1::operator=(ZAbstractFileMap_5_1 const&) {
    return *this;
}

ZAbstractFileMap_5_1::~ZAbstractFileMap_5_1() noexcept {}

ZUnixFileMap_5_1::ZUnixFileMap_5_1(ZLCString_5_1 const& fileName, zmapmode mode, int flags)
    : ZAbstractFileMap_5_1(fileName, mode, flags), fd_(0) {}

ZUnixFileMap_5_1::ZUnixFileMap_5_1(ZUnixFileMap_5_1 const& other)
    : ZAbstractFileMap_5_1(other), fd_(0) {}

ZUnixFileMap_5_1& ZUnixFileMap_5_1::operator=(ZUnixFileMap_5_1 const& other) {
    int dropped;
    if (this != &other && other.address_) mapfile(&dropped, 0);
    return *this;
}

ZUnixFileMap_5_1::~ZUnixFileMap_5_1() noexcept {
    int dropped;
    ZUnixFileMap_5_1::unmapfile(&dropped);
}

void* ZUnixFileMap_5_1::mapfile(int* err, unsigned long length) {
    int dropped;
    if (!err) err = &dropped;
    z_5_1::NotCancelled const whole;
    unmapfile(err);
    if (address_) return nullptr;

    bool const asWhole = length == 0;
    if (asWhole) {
        // A file that cannot be examined counts as empty.
        struct stat status;
        off_t const size = stat(fileName_.getChars(), &status) == 0 ? status.st_size : 0;
        length = static_cast<unsigned long>(size);
        *err = size == 0 ? EINVAL : static_cast<off_t>(length) != size ? EOVERFLOW : 0;
        if (*err != 0) return nullptr;
    }

    // What is no regular file must not make the open wait.
    int const access = mode_ == readOnly ? O_RDONLY : mode_ == create ? O_RDWR | O_CREAT : O_RDWR;
    int const flags = access | O_NONBLOCK | O_CLOEXEC;
    int const fd = z_5_1::retried([&] { return open(fileName_.getChars(), flags, 0600); });
    if (fd <= 0) {
        *err = fd < 0 ? errno : ENOENT;
        if (fd == 0) close(fd);  // 0 stands for no file
        return nullptr;
    }
    fd_ = fd;
    *err = asWhole ? takeLength(fd, length) : 0;
    length_ = length;
    if (*err == 0 && mode_ == create) *err = extend(fd, length);
    if (*err == 0) {
        int const protection = mode_ == readOnly ? PROT_READ : PROT_READ | PROT_WRITE;
        void* const mapped = mmap(nullptr, length, protection, MAP_SHARED, fd, 0);
        if (mapped == MAP_FAILED) {
            *err = errno;
        } else {
            address_ = mapped;
        }
    }
    // The first error is the one to report.
    if (*err != 0) unmapfile(&dropped);
    return address_;
}

void ZUnixFileMap_5_1::unmapfile(int* err) {
    int dropped;
    if (!err) err = &dropped;
    z_5_1::NotCancelled const whole;
    if (address_) {
        if (munmap(address_, length_) == 0) {
            address_ = nullptr;
        } else {
            *err = errno;
        }
    }
    // A descriptor is gone even when its close fails; closing it again would hit another file.
    if (fd_ != 0 && close(std::exchange(fd_, 0)) != 0) *err = errno;
}
