// ZPropFile: a configuration file opened, held against others, and rewritten in place.
// Subsystem: properties, layer 4. Test: tests/ZProperties_test.cpp
#include "ZPropFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "ZException.h"
#include "zraise.h"
#include "zretried.h"

namespace z_5_1 {

namespace {

constexpr char const* unit = "src/Z/ZProperties";

constexpr char const openForReading[] = "fopen(r)";
constexpr char const openForWriting[] = "fopen(r+)";

// Longer rests of a former text are left as they are until they are cut off.
constexpr off_t longestBlank = off_t{64} << 20;

}  // namespace

// ---- one mutex per file ----

// Entries live while somebody uses or waits for them. The table is never destroyed.
class FileGuard {
public:
    // The guard of the file, taken.
    static FileGuard* take(FileId const& file);
    void leave() noexcept;

private:
    struct Table {
        std::mutex mutex;
        std::map<FileId, FileGuard> guards;
    };
    static Table& table() {
        static auto* only = new Table;
        return *only;
    }

    std::mutex mutex_;
    unsigned int users_ = 0;
    FileId file_;
};

FileGuard* FileGuard::take(FileId const& file) {
    FileGuard* guard;
    {
        std::lock_guard<std::mutex> hold(table().mutex);
        guard = &table().guards[file];
        guard->file_ = file;
        ++guard->users_;
    }
    guard->mutex_.lock();
    return guard;
}

void FileGuard::leave() noexcept {
    mutex_.unlock();
    std::lock_guard<std::mutex> hold(table().mutex);
    if (--users_ == 0) table().guards.erase(file_);
}

// ---- content ----

NewContent::NewContent(int descriptor, char const* name, char const* api, char const* text,
                       std::size_t size)
    : descriptor_(descriptor), name_(name), api_(api), text_(text), size_(size) {
    struct stat status;
    if (fstat(descriptor, &status) != 0) fail(errno);
    formerSize_ = status.st_size;
    off_t const kept = std::min(formerSize_, static_cast<off_t>(size));
    former_.assign(static_cast<std::size_t>(kept), '\0');
    if ((S_ISREG(status.st_mode) && !reserve()) || !keepFormer()) {
        int const error = errno;
        cutToFormer();  // what was reserved, be it in part, goes with it
        fail(error);
    }
}

// Some file systems reserve nothing.
bool NewContent::reserve() const noexcept {
    auto const end = static_cast<off_t>(size_);
    if (end == 0) return true;
    int const rc = retried([=] { return fallocate(descriptor_, FALLOC_FL_KEEP_SIZE, 0, end); });
    return rc == 0 || errno == EOPNOTSUPP || errno == ENOSYS;
}

bool NewContent::keepFormer() noexcept {
    for (std::size_t done = 0; done < former_.size();) {
        ssize_t const got = retried([&] {
            return pread(descriptor_, &former_[done], former_.size() - done,
                         static_cast<off_t>(done));
        });
        if (got == -1) return false;
        if (got == 0) former_.resize(done);
        done += static_cast<std::size_t>(got);
    }
    return true;
}

void NewContent::cutToFormer() const noexcept {
    if (static_cast<off_t>(size_) > formerSize_) (void)!ftruncate(descriptor_, formerSize_);
}

bool NewContent::writeAt0(char const* text, std::size_t size) const noexcept {
    for (std::size_t done = 0; done < size;) {
        ssize_t const written = retried([&] {
            return pwrite(descriptor_, text + done, size - done, static_cast<off_t>(done));
        });
        if (written <= 0) {
            if (written == 0) errno = EIO;
            return false;
        }
        done += static_cast<std::size_t>(written);
    }
    return true;
}

void NewContent::overwrite() {
    if (writeAt0(text_, size_)) return;
    int const error = errno;
    putBack();
    fail(error);
}

bool NewContent::truncate() noexcept {
    auto const end = static_cast<off_t>(size_);
    return end >= formerSize_ || retried([=] { return ftruncate(descriptor_, end); }) == 0;
}

void NewContent::putBack() noexcept {
    if (writeAt0(former_.data(), former_.size())) cutToFormer();
}

void NewContent::fail(int error, int line) const {
    raise(unit, ZPropertiesIOException_5_1(name_, api_, error), line);
}

// ---- the file ----

PropFile::PropFile(char const* name, Mode mode) : name_(name) {
    int const flags = mode == reading ? O_RDONLY : O_RDWR | O_CREAT;
    char const* const api = mode == reading ? openForReading : openForWriting;
    descriptor_ = retried([=] { return open(name, flags | O_CLOEXEC, 0666); });
    if (descriptor_ == -1) fail(api, errno);
    try {
        struct stat status;
        if (fstat(descriptor_, &status) != 0) fail(api, errno);
        id_ = fileId(status);
        guard_ = FileGuard::take(id_);
        if (mode == reading) makeStream();
        takeRecordLock(mode);
    } catch (...) {
        closeAll();
        throw;
    }
}

PropFile::~PropFile() {
    closeAll();
}

// Without a buffer: who reads it wants all of the text in a block of his own.
void PropFile::makeStream() {
    stream_ = fdopen(descriptor_, "r");
    if (!stream_) fail(openForReading, errno);
    (void)std::setvbuf(stream_, nullptr, _IONBF, 0);
}

void PropFile::takeRecordLock(Mode mode) {
    struct flock lock = {};
    lock.l_type = mode == reading ? F_RDLCK : F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (fcntl(descriptor_, F_SETLK, &lock) == -1) fail("fcntl()", errno);
}

long PropFile::modificationTime(long otherwise) const {
    struct stat status;
    return fstat(descriptor_, &status) == 0 ? static_cast<long>(status.st_mtime) : otherwise;
}

struct stat PropFile::status() const {
    struct stat status;
    if (fstat(descriptor_, &status) != 0) fail(openForWriting, errno);
    return status;
}

// A shorter text goes over the former one with blanks to its end, so that whoever is killed before
// these are cut off leaves a text with the same values.
void PropFile::replaceContent(char const* text, std::size_t size) {
    auto const end = static_cast<off_t>(size);
    off_t const rest = status().st_size - end;
    std::string padded;
    if (rest > 0 && rest <= longestBlank) {
        padded.reserve(size + static_cast<std::size_t>(rest));
        padded.assign(text, size).append(static_cast<std::size_t>(rest), ' ');
    }
    NewContent content(descriptor_, name_, openForWriting, padded.empty() ? text : padded.data(),
                       std::max(size, padded.size()));
    content.overwrite();
    if (rest <= 0 || retried([=] { return ftruncate(descriptor_, end); }) == 0) return;
    int const error = errno;
    content.putBack();
    fail(openForWriting, error);
}

void PropFile::close() {
    if (closeAll() != 0) fail(openForWriting, errno);
}

int PropFile::closeAll() noexcept {
    int rc = 0;
    if (stream_) {
        rc = std::fclose(stream_);
    } else if (descriptor_ != -1) {
        rc = ::close(descriptor_);
    }
    int const error = errno;
    stream_ = nullptr;
    descriptor_ = -1;
    if (guard_) std::exchange(guard_, nullptr)->leave();
    errno = error;
    return rc;
}

void PropFile::fail(char const* api, int error, int line) const {
    raise(unit, ZPropertiesIOException_5_1(name_, api, error), line);
}

}  // namespace z_5_1
