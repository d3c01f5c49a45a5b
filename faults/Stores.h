// Stores: the kinds of stores that campaigns disturb, by what is there before and what changes.
#ifndef Z_FAULTS_STORES_H
#define Z_FAULTS_STORES_H

#include <Z/ZStanzaFileProperties.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/xattr.h>

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "Files.h"
#include "Traced.h"

namespace faults {

using Properties = ZStanzaFileProperties_5_1;

constexpr char const mainFile[] = "f";
constexpr mode_t modeOfFiles = 0640;

struct Store {
    std::string name;
    void (*before)(Properties&);  // what was stored before; null when there is no file
    void (*change)(Properties&);
    int (*always)(Call const&) = nullptr;  // the errno of calls that the file system does not have
    bool hasAccessList = false;            // which gives the file's group nothing

    // The instance with the change that is still to be stored.
    std::unique_ptr<Properties> changed(Folder const& folder) const {
        auto made = std::make_unique<Properties>(1);
        if (before) made->load((folder / mainFile).c_str());
        change(*made);
        return made;
    }
    Files old(Folder const& folder) const {
        folder.lay({}, modeOfFiles);
        if (before) {
            Properties made(1);
            before(made);
            made.store((folder / mainFile).c_str());
        }
        return folder.files();
    }
    // Before each run; the master copy is that of old().
    void lay(Folder const& folder, Files const& files) const {
        folder.lay(files, modeOfFiles);
        if (!hasAccessList) return;
        // Version 2; the user, user 1234, the group, the mask and others, each with its bits.
        constexpr unsigned short list[] = {2,      0,      1,    6, 0xffff, 0xffff, 2,    4,
                                           1234,   0,      4,    0, 0xffff, 0xffff, 0x10, 4,
                                           0xffff, 0xffff, 0x20, 0, 0xffff, 0xffff};
        if (setxattr((folder / mainFile).c_str(), "system.posix_acl_access", list, sizeof list,
                     0) != 0) {
            std::cerr << "no access lists in " << folder.path() << '\n';
            std::exit(2);
        }
    }
    // What group and others may do with any file at most.
    mode_t widest() const { return hasAccessList ? 0 : modeOfFiles & 077; }
};

// "1 2 3 ...", a value of so many bytes.
inline std::string digits(std::size_t size) {
    std::string text;
    for (int n = 1; text.size() < size; ++n) text += std::to_string(n) + " ";
    text.resize(size - 1);
    return text + ".";
}

inline void setText(Properties& p, char const* key, std::size_t size) {
    p.setValue("s", key, digits(size).c_str());
}

// Texts of 1 page and less, of a few pages and of many; databases made, changed and given up.
inline std::vector<Store> stores() {
    constexpr auto small = [](Properties& p) { setText(p, "k", 500); };
    constexpr auto large = [](Properties& p) {
        for (int n = 0; n < 100; ++n) setText(p, ("k" + std::to_string(n)).c_str(), 3000);
    };
    constexpr auto hidden = [](Properties& p) {
        setText(p, "k", 500);
        p.setValue("s", "secret", digits(200).c_str(), 1);
    };
    constexpr auto otherHidden = [](Properties& p) {
        p.setValue("s", "secret", digits(400).c_str(), 1);
        setText(p, "more", 6000);
    };
    constexpr auto noExchange = [](Call const& call) {
        return call.number == SYS_renameat2 ? EINVAL : 0;
    };
    constexpr auto noNewFile = [](Call const& call) {
        return call.number == SYS_openat && (call.arguments[2] & O_EXCL) != 0 ? EACCES : 0;
    };
    return {
        {"longer text", small, large},
        {"shorter text", large, [](Properties& p) { p.deleteKey("s", "k0"); }},
        {"much shorter text", large,
         [](Properties& p) {
             p.deleteStanza("s");
             setText(p, "k", 500);
         }},
        {"equally long text", small,
         [](Properties& p) { p.setValue("s", "k", std::string(500, 'x').c_str()); }},
        {"new file", nullptr, small},
        {"first hidden value", small, hidden},
        {"other hidden value", hidden, otherHidden},
        {"last hidden value goes", hidden, [](Properties& p) { p.deleteKey("s", "secret"); }},
        {"other hidden value, no exchange of names", hidden, otherHidden, noExchange},
        {"other hidden value, no file beside", hidden, otherHidden, noNewFile},
        {"first hidden value, access list", small, hidden, nullptr, true},
    };
}

}  // namespace faults

#endif
