// FullDisk: stores on a small file system that is really full.
//
// All but so many pages are taken, the changes are stored, the space is given back and they are
// stored again: for each number of pages up to what the store wants.
#include "FullDisk.h"

#include <Z/ZException.h>
#include <Z/ZFileLock.h>
#include <Z/ZJavaProperties.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Stores.h"

namespace faults {

namespace {

constexpr unsigned long pageSize = 4096;
constexpr unsigned long mostPages = 12;

unsigned long freePages(std::string const& place) {
    struct statvfs status = {};
    statvfs(place.c_str(), &status);
    return status.f_bavail * status.f_bsize / pageSize;
}

// Takes all but so many pages while it lives.
class Filler {
public:
    Filler(std::string const& place, unsigned long left)
        : file_(place + "/filler"),
          descriptor_(open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
        unsigned long const taken = freePages(place) - left;
        if (posix_fallocate(descriptor_, 0, static_cast<off_t>(taken * pageSize)) != 0 ||
            freePages(place) != left) {
            std::puts("full disk: it cannot be filled");
            _exit(1);
        }
    }
    Filler(Filler const&) = delete;
    Filler& operator=(Filler const&) = delete;
    ~Filler() {
        close(descriptor_);
        unlink(file_.c_str());
    }

private:
    std::string file_;
    int descriptor_;
};

struct Figures {
    long done = 0, refused = 0, wrong = 0;

    void require(bool holds, std::string const& name, unsigned long left, char const* what) {
        if (holds) return;
        ++wrong;
        std::printf("full disk, %s, %lu pages left: %s\n", name.c_str(), left, what);
    }
};

void storeAll(Figures& all, std::string const& place, Store const& store) {
    Folder const folder(place);
    std::string const file = folder / mainFile;
    Files const old = store.old(folder);
    store.changed(folder)->store(file.c_str());
    Files const fresh = folder.files();
    for (unsigned long left = 0; left <= mostPages; ++left) {
        auto require = [&](bool holds, char const* what) {
            all.require(holds, store.name, left, what);
        };
        store.lay(folder, old);
        auto const p = store.changed(folder);
        {
            Filler const filler(place, left);
            try {
                p->store(file.c_str());
                ++all.done;
                require(folder.files() == fresh, "said to be stored and is not");
            } catch (ZPropertiesIOException_5_1& e) {
                ++all.refused;
                Files const now = folder.files();
                require(e.excerrno() == ENOSPC, "the error is another");
                require(now == old || (!store.before && now == Files{{mainFile, ""}}),
                        "the files are not as before");
                require(p->isModified(), "the changes are not marked");
                require(freePages(place) == left, "the space is not given back");
            }
        }
        p->store(file.c_str());
        require(folder.files() == fresh && !p->isModified(), "it is not stored with more space");
    }
}

// A hold needs space only for a file that has none yet.
void holdLock(Figures& all, std::string const& place) {
    Folder const folder(place);
    ZUnixProcessReadWriteFileLock_5_1 lock("l", folder.path().c_str());
    auto require = [&](bool holds, char const* what) { all.require(holds, "lock file", 0, what); };
    {
        Filler const filler(place, 0);
        try {
            lock.lock(lock.write);
            require(false, "held without a file");
        } catch (ZWriteResourceException_5_1& e) {
            ++all.refused;
            require(e.rc() == ENOSPC, "the error is another");
            lock.unlock();
        }
        require(folder.isFree(), "a lock stays behind");
    }
    lock.lock(lock.write);
    lock.unlock();
    Filler const filler(place, 0);
    lock.lock(lock.write);
    lock.unlock();
    lock.lock(lock.read);
    require(lock.getSequence() == 2, "a number is lost");
    lock.unlock();
    all.done += 3;
}

// The former content goes first: what is written then may be cut, and errno tells.
void storeJava(Figures& all, std::string const& place) {
    Folder const folder(place);
    std::string const file = folder / mainFile;
    ZJavaProperties_5_1 p;
    for (int n = 0; n < 40; ++n) {
        p.setValue(ZUTF8String_5_1(std::to_string(n).c_str()),
                   ZUTF8String_5_1(digits(300).c_str()));
    }
    p.store(file.c_str());
    std::string const fresh = folder.files()[mainFile];
    for (unsigned long left = 0; left <= mostPages; ++left) {
        auto require = [&](bool holds, char const* what) {
            all.require(holds, "Java", left, what);
        };
        folder.lay({{mainFile, "a = b\n"}}, modeOfFiles);
        {
            Filler const filler(place, left);
            int const result = p.store(file.c_str());
            int const error = errno;
            std::string const now = folder.files()[mainFile];
            ++(error == 0 ? all.done : all.refused);
            require(result == 0 && (error == 0 ? now == fresh : error == ENOSPC),
                    "said to be stored and is not");
            require(fresh.compare(0, now.size(), now) == 0, "other text is written");
        }
        require(p.store(file.c_str()) == 0 && errno == 0, "it is not stored with more space");
    }
}

// As root, or as the root of a user namespace of its own.
bool mayMount() {
    if (unshare(CLONE_NEWNS) == 0) return true;
    std::string const user = "0 " + std::to_string(geteuid()) + " 1",
                      group = "0 " + std::to_string(getegid()) + " 1";
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << user;
    std::ofstream("/proc/self/gid_map") << group;
    return true;
}

int inMount(std::string const& place) {
    if (!mayMount() || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", place.c_str(), "tmpfs", 0, "size=2m,mode=0700") != 0) {
        std::printf("full disk: left out, no file system can be mounted here (%s)\n",
                    std::strerror(errno));
        return 0;
    }
    Figures all;
    for (Store const& store : stores()) {
        if (!store.always && !store.hasAccessList) storeAll(all, place, store);
    }
    holdLock(all, place);
    storeJava(all, place);
    if (all.refused == 0) all.require(false, "all", 0, "it was never too small");
    std::printf("full disk: %ld done, %ld refused for want of space, %ld wrong\n", all.done,
                all.refused, all.wrong);
    return all.wrong == 0 ? 0 : 1;
}

}  // namespace

int fullDisk(std::string const& place) {
    std::fflush(stdout);
    pid_t const child = fork();
    if (child == 0) {
        int const result = inMount(place);
        std::fflush(stdout);
        _exit(result);
    }
    int status = 1;
    waitpid(child, &status, 0);
    return status;
}

}  // namespace faults
