// Files: a folder of files as one value, which is laid out, looked at and compared.
#ifndef Z_FAULTS_FILES_H
#define Z_FAULTS_FILES_H

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

namespace faults {

using Files = std::map<std::string, std::string>;  // contents by name

// A folder that goes with its content.
class Folder {
public:
    explicit Folder(std::string const& parent) : path_(parent + "/z_faults.XXXXXX") {
        if (mkdtemp(path_.data())) return;
        std::cerr << "no folder can be made in " << parent << '\n';
        std::exit(2);
    }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;
    ~Folder() { std::filesystem::remove_all(path_); }

    std::string const& path() const { return path_; }
    std::string operator/(std::string const& name) const { return path_ + "/" + name; }

    Files files() const {
        Files found;
        for (auto const& entry : std::filesystem::directory_iterator(path_)) {
            std::ostringstream text;
            text << std::ifstream(entry.path(), std::ios::binary).rdbuf();
            found[entry.path().filename()] = text.str();
        }
        return found;
    }
    // Exactly these, with this mode, and with a group that new files do not get by themselves where
    // this process may give it.
    void lay(Files const& files, mode_t mode) const {
        for (auto const& entry : std::filesystem::directory_iterator(path_)) {
            std::filesystem::remove(entry);
        }
        for (auto const& [name, text] : files) {
            std::ofstream(*this / name, std::ios::binary) << text;
            (void)!chown((*this / name).c_str(), static_cast<uid_t>(-1), otherGroup);
            chmod((*this / name).c_str(), mode);
        }
    }
    // The widest that group and others may do with any file but `main`; what another group than
    // that of `main` may do counts as what others may.
    mode_t widestBeside(std::string const& main) const {
        mode_t widest = 0;
        struct stat status, own;
        bool const hasMain = lstat((*this / main).c_str(), &own) == 0;
        for (auto const& entry : std::filesystem::directory_iterator(path_)) {
            if (entry.path().filename() == main) continue;
            if (lstat(entry.path().c_str(), &status) != 0) continue;
            widest |= status.st_mode & 077;
            if (hasMain && status.st_gid != own.st_gid) widest |= (status.st_mode & 070) >> 3;
        }
        return widest;
    }
    // Whether this process can lock every file for itself at once, and so nobody holds one.
    bool isFree() const {
        bool free = true;
        for (auto const& entry : std::filesystem::directory_iterator(path_)) {
            int const descriptor = open(entry.path().c_str(), O_RDWR | O_CLOEXEC);
            struct flock lock = {};
            lock.l_type = F_WRLCK;
            lock.l_whence = SEEK_SET;
            free = free && fcntl(descriptor, F_SETLK, &lock) == 0;
            close(descriptor);
        }
        return free;
    }

private:
    static constexpr gid_t otherGroup = 1234;

    std::string path_;
};

// Where the bytes of `now` stop being those of `fresh` and are those of `old`, as a write that was
// cut leaves them; -1 when they are no such mixture.
inline long cutAt(std::string const& now, std::string const& old, std::string const& fresh) {
    auto const [end, ignored] = std::mismatch(now.begin(), now.end(), fresh.begin(), fresh.end());
    auto const at = static_cast<std::size_t>(end - now.begin());
    bool const restIsOld = now.size() == std::max(at, old.size()) &&
                           now.compare(at, now.npos, old, std::min(at, old.size())) == 0;
    return restIsOld ? static_cast<long>(at) : -1;
}

}  // namespace faults

#endif
