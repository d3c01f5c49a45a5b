// fault_system_calls [-v] [FOLDER]: every single system call that stores, loads, locks and maps
// make is failed with each of several errors, and those that move bytes are cut short; then the
// disk is really full.
//
// The oracle: what is said to be done is done whole. What is refused, with the error that was met,
// leaves the files and the space that they take as they were. At no moment may more people access a
// database than its main file. No descriptor and no lock stays behind. Changes that are not stored
// stay and are marked, and the next store is whole. What is odd and stated is said at its scenario.
// -v prints each fault. FOLDER is /dev/shm without being given.
#include <Z/ZFileLock.h>
#include <Z/ZFileMap.h>
#include <Z/ZJavaProperties.h>

#include <sys/mman.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Disturb.h"
#include "FullDisk.h"
#include "Stores.h"

namespace {

using namespace faults;

std::string textOf(Properties& p, std::string const& file) {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const out = open_memstream(&text, &size);
    p.writeText(file.c_str(), out);
    std::fclose(out);
    std::string const all(text, size);
    std::free(text);
    return all;
}

// ---- configuration files ----

void play(Campaign& campaign, Folder const& folder, Store const& store) {
    std::string const file = folder / mainFile;
    Scenario storing = {
        store.name, store.old(folder), [&store, &folder, file] {
            auto const p = store.changed(folder);
            int const stanzas = p->count();
            std::string const text = textOf(*p, file);
            attempt([&] { return p->store(file.c_str()), 0; });
            require(p->isModified() == (report.outcome != done), "the mark of changes is wrong");
            // A line that names the database is there when the file has it.
            bool const isWritten = folder.files()[mainFile] == text;
            require(textOf(*p, file) == text && (isWritten || p->count() == stanzas),
                    "the values in memory are others");
            p->store(file.c_str());
            require(!p->isModified(), "what was stored is marked as changed");
        }};
    storing.lay = [&] { store.lay(folder, storing.old); };
    storing.always = store.always;
    storing.widest = store.widest();
    // A file that was missing may be there, empty.
    storing.accepts = [&](Run const& run) {
        return !store.before && report.outcome == refused && run.end == Files{{mainFile, ""}};
    };
    campaign.play(storing);

    // Loading what is there. A store in the end tells whether all was loaded.
    if (!store.before) return;
    Scenario loading = {"load before: " + store.name, storing.old, [file] {
                            Properties p(1);
                            attempt([&] { return p.load(file.c_str()), 0; });
                            if (report.outcome != done) p.reload(file.c_str());
                            p.store(file.c_str());
                        }};
    loading.goesOnInterrupted = false;
    // A database that cannot be examined counts as empty.
    loading.acceptsError = [](Run const& run) {
        return report.error == EINVAL && (run.hits(SYS_newfstatat) || run.hits(SYS_stat));
    };
    campaign.play(loading);
}

// ---- lock files ----

constexpr char const lockFile[] = "._zpll";

// A number that differs from its successors and from 1 in every byte.
std::string lockContent(unsigned int number) {
    unsigned int const fields[] = {number, 4711};
    return std::string(reinterpret_cast<char const*>(fields), sizeof fields);
}

unsigned int numberIn(Files const& files) {
    unsigned int number = 0;
    auto const found = files.find(lockFile);
    if (found != files.end() && found->second.size() >= sizeof number) {
        std::memcpy(&number, found->second.data(), sizeof number);
    }
    return number;
}

void release(ZUnixProcessReadWriteFileLock_5_1& lock) {
    for (;;) {
        try {
            lock.unlock();
            return;
        } catch (ZResourceException_5_1&) {  // the second part of a fault
        }
    }
}

void playLock(Campaign& campaign, Folder const& folder, char const* name,
              ZAbstractReadWriteLock_5_1::zlockstate state, Files const& old) {
    using Lock = ZUnixProcessReadWriteFileLock_5_1;
    unsigned int const before = numberIn(old);
    unsigned int const after = before + (state == Lock::write);
    Scenario holding = {
        name, old, [&folder, state] {
            Lock lock("l", folder.path().c_str());
            attempt(
                [&] {
                    lock.lock(state);
                    report.step = 1;
                    return lock.unlock(), 0;
                },
                [&] { release(lock); });  // of what is half held, or not yet released
            require(lock.getLockState() == Lock::unset, "it is still held");
            lock.lock(Lock::write);
            require(lock.getSequence() == numberIn(folder.files()), "another number is read");
            lock.unlock(0);
        }};
    // The pid is that of the child. A number that could not be written, or only in part, starts
    // again from 0; one that was written before the release failed goes up again.
    holding.accepts = [=](Run const& run) {
        unsigned int const number = numberIn(run.end);
        if (report.outcome == done) return number == after;
        return report.step == 0 || state != Lock::write
                   ? number == before
                   : number == 1 || number == after || number == after + 1;
    };
    // A count that is too short comes without an error.
    holding.acceptsError = [](Run const& run) {
        if (run.fault->error == 0) return report.error == 0 || report.error == -1;
        return run.hits(SYS_openat) && report.error == EBADF;
    };
    holding.goesOnShort = holding.goesOnInterrupted = holding.endsFresh = false;
    campaign.play(holding);
}

// ---- files in memory ----

void playMap(Campaign& campaign, Folder const& folder, char const* name,
             ZAbstractFileMap_5_1::zmapmode mode, unsigned long length, Files const& old) {
    Scenario mapping = {
        name, old, [&folder, mode, length] {
            ZUnixFileMap_5_1 map((folder / mainFile).c_str(), mode, 0);
            std::string content = folder.files()[mainFile];
            if (length != 0) content.resize(std::min<std::size_t>(content.size(), length));
            long const descriptors = openDescriptors();
            attempt([&] {
                int error = 0, closing = 0, again = 0;
                void const* const bytes = map.mapfile(&error, length);
                require(bytes || openDescriptors() == descriptors, "what is not mapped stays open");
                require((bytes != nullptr) == (error == 0), "neither mapped nor an error");
                require(!bytes || std::memcmp(bytes, content.data(), content.size()) == 0,
                        "other bytes are mapped");
                map.unmapfile(&closing);
                if (closing != 0) map.unmapfile(&again);
                require(again == 0 && !map.address(), "it stays mapped");
                return error != 0 ? error : closing;
            });
            int error = 0;
            require(map.mapfile(&error, length) && error == 0, "it cannot be mapped later");
        }};
    // What was made or extended stays so.
    mapping.accepts = [&](Run const& run) {
        return mode == ZAbstractFileMap_5_1::create && report.outcome == told &&
               (run.end == run.fresh || run.end == Files{{mainFile, ""}});
    };
    mapping.acceptsError = [&](Run const& run) {
        return length == 0 && report.error == EINVAL &&
               (run.hits(SYS_newfstatat) || run.hits(SYS_stat));
    };
    campaign.play(mapping);
}

// ---- files of the Java syntax ----

void fill(ZJavaProperties_5_1& p) {
    for (int n = 0; n < 40; ++n) {
        p.setValue(ZUTF8String_5_1(("key" + std::to_string(n)).c_str()),
                   ZUTF8String_5_1(digits(300).c_str()));
    }
}

// Whether the second is the first without some of its bytes.
bool isLeftOf(std::string const& whole, std::string const& rest) {
    std::size_t at = 0;
    for (char const c : whole) at += at < rest.size() && rest[at] == c;
    return at == rest.size();
}

void playJava(Campaign& campaign, Folder const& folder, char const* name, Files const& old) {
    std::string const file = folder / mainFile;
    auto const store = [file](ZJavaProperties_5_1 const& p) {
        int const result = p.store(file.c_str());
        return errno != 0 ? errno : result;
    };
    Scenario storing = {name, old, [store] {
                            ZJavaProperties_5_1 p;
                            fill(p);
                            attempt([&] { return store(p); });
                            require(store(p) == 0, "it cannot be stored later");
                        }};
    // The content goes first, and pieces of what is written then may be missing, which the result
    // tells.
    storing.accepts = [](Run const& run) {
        return report.outcome == told && run.end.count(mainFile) != 0 &&
               isLeftOf(run.fresh.at(mainFile), run.end.at(mainFile));
    };
    storing.goesOnInterrupted = false;
    campaign.play(storing);
}

void playJavaLoad(Campaign& campaign, Folder const& folder) {
    std::string const file = folder / mainFile;
    ZJavaProperties_5_1 whole;
    fill(whole);
    whole.store(file.c_str());
    Scenario loading = {"Java: load", folder.files(), [file] {
                            int const printed = memfd_create("printed", MFD_CLOEXEC);
                            dup2(printed, STDERR_FILENO);
                            // Failures are printed. What was read before them stays.
                            auto const load = [&](ZJavaProperties_5_1& p) {
                                off_t const before = lseek(printed, 0, SEEK_END);
                                int const opened = p.load(file.c_str());
                                if (lseek(printed, 0, SEEK_END) != before) return EIO;
                                ZUTF8String_5_1 last;
                                for (int n = 0; n < 40; ++n) {
                                    p.getValue(ZUTF8String_5_1(("key" + std::to_string(n)).c_str()),
                                               last);
                                    require(digits(300) == last.getChars(),
                                            "a pair is missing, and nobody is told");
                                }
                                return opened == 1 ? 0 : EIO;
                            };
                            ZJavaProperties_5_1 first, later;
                            attempt([&] { return load(first); });
                            require(load(later) == 0, "it cannot be loaded later");
                        }};
    loading.acceptsError = [](Run const&) { return true; };  // it is in the text that is printed
    loading.goesOnInterrupted = false;
    campaign.play(loading);
}

}  // namespace

int main(int argc, char** argv) {
    bool const isVerbose = argc > 1 && std::strcmp(argv[1], "-v") == 0;
    Folder const folder(argc > 1 + isVerbose ? argv[1 + isVerbose] : "/dev/shm");
    umask(0);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    Campaign campaign(folder, isVerbose);
    for (Store const& store : stores()) play(campaign, folder, store);

    using Lock = ZAbstractReadWriteLock_5_1;
    Files const lock = {{lockFile, lockContent(0x0102ffff)}};
    playLock(campaign, folder, "lock file: write hold", Lock::write, lock);
    playLock(campaign, folder, "lock file: read hold", Lock::read, lock);
    playLock(campaign, folder, "lock file: write hold, new file", Lock::write, {});

    using Map = ZAbstractFileMap_5_1;
    Files const text = {{mainFile, digits(10000)}};
    playMap(campaign, folder, "file map: read", Map::readOnly, 0, text);
    playMap(campaign, folder, "file map: write, extended", Map::create, 20000, text);
    playMap(campaign, folder, "file map: write, new file", Map::create, 20000, {});
    playMap(campaign, folder, "file map: write as it is", Map::readWrite, 5000, text);

    playJava(campaign, folder, "Java: store", {{mainFile, std::string(20000, 'x')}});
    playJava(campaign, folder, "Java: store, new file", {});
    playJavaLoad(campaign, folder);
    int const result = campaign.result();
    return fullDisk(folder.path()) + result == 0 ? 0 : 1;
}
