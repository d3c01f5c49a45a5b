// ZPropertiesDatabase_test: the companion database: its format, its file, and what fails half way.
// Subsystem: properties, layer 5. Test: tests/ZPropertiesDatabase_test.cpp
#include <Z/ZException.h>
#include <Z/ZSqueeze.h>
#include <Z/ZStanzaFileProperties.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <random>

#include "FailingAllocations.h"
#include "ZTest.h"

// ---- a pwrite that watches, and fails at the byte asked for; other calls that fail ----

namespace {

struct {
    off_t failAt = -1;   // the write that covers this byte stops before it,
    bool inMain = true;  // in the main file or in the database
    std::string main;    // the main file; all else is the database
    mode_t seen = 0;     // modes of the database while it was written
} writes;

struct stat statusOf(std::string const& name) {
    struct stat status = {};
    stat(name.c_str(), &status);
    return status;
}

std::string failingCall;  // the next of this name fails with EIO
bool endsThere = false;   // and the process

bool fails(char const* call) {
    if (failingCall != call) return false;
    if (endsThere) _exit(0);
    failingCall.clear();
    errno = EIO;
    return true;
}

template <class Call>
Call* real(char const* name, char const* wideName) {
    return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, sizeof(long) == 4 ? wideName : name));
}

}  // namespace

#define FAILING(result, call, wide, parameters, arguments) \
    extern "C" __attribute__((visibility("default"))) result call parameters { \
        static auto const passOn = real<decltype(call)>(#call, #wide); \
        return fails(#call) ? -1 : passOn arguments; \
    }
FAILING(int, ftruncate, ftruncate64, (int fd, off_t size) noexcept, (fd, size))
FAILING(ssize_t, pread, pread64, (int fd, void* to, size_t size, off_t at), (fd, to, size, at))
FAILING(ssize_t, fgetxattr, fgetxattr, (int fd, char const* name, void* to, size_t size) noexcept,
        (fd, name, to, size))

extern "C" __attribute__((visibility("default"))) ssize_t pwrite(int fd, void const* bytes,
                                                                 size_t size, off_t at) {
    static auto const call = real<decltype(pwrite)>("pwrite", "pwrite64");
    struct stat file = {};
    fstat(fd, &file);
    bool const isMain = statusOf(writes.main).st_ino == file.st_ino;
    if (!isMain) writes.seen |= file.st_mode & 0777;
    off_t const before = writes.failAt - at;
    bool const covers = before >= 0 && before < static_cast<off_t>(size);
    if (!covers || isMain != writes.inMain) return call(fd, bytes, size, at);
    if (before > 0) return call(fd, bytes, static_cast<size_t>(before), at);
    errno = ENOSPC;
    writes.failAt = -1;
    return -1;
}

namespace {

namespace fs = std::filesystem;
using ztest::read, ztest::write;
using Properties = ZStanzaFileProperties_5_1;
using Values = ZStanzaValueIterator_5_1;

struct ZPropertiesDatabase : testing::Test {
    ZPropertiesDatabase() { writes.main = file; }
    ~ZPropertiesDatabase() override { writes = {}; }

    // The content of a database; "|" stands for NUL.
    static std::string squeezed(std::string records) {
        std::replace(records.begin(), records.end(), '|', '\0');
        std::string out(records.size() * 2 + 64, '\0');
        ZSqueeze_5_1 stream;
        stream.setSource(reinterpret_cast<unsigned char*>(&records[0]), records.size());
        int const size = stream.squeeze(reinterpret_cast<unsigned char*>(&out[0]), out.size());
        return out.substr(0, static_cast<std::size_t>(size));
    }
    static std::string values(Properties& p, char const* stanza, char const* key) {
        std::string all;
        for (Values each(p, stanza, key, ZPropLCString, Values::OBFUSCATED); each.hasMore();) {
            all += std::string(each.nextValue()->getChars()) + ";";
        }
        return all;
    }
    std::string stored(char const* stanza, char const* key) {
        Properties p(file.c_str(), 0);
        return values(p, stanza, key);
    }
    // "api name errno" of the failure, "text line name" for invalid data, "" when there is none.
    static std::string failure(std::function<void()> const& run) {
        try {
            run();
            return "";
        } catch (ZPropertiesIOException_5_1& e) {
            return std::string(e.api()) + " " + e.propFile() + " " + std::to_string(e.excerrno());
        } catch (ZPropertiesInvalidDataException_5_1& e) {
            return e.baddata() + (" " + std::to_string(e.badline())) + " " + e.propFile();
        }
    }
    static std::string storing(Properties& p) {
        return failure([&p] { p.store(nullptr); });
    }
    // What would be stored.
    std::string text(Properties& p) {
        std::FILE* const out = std::fopen((folder / "text").c_str(), "w");
        p.writeText(nullptr, out);
        std::fclose(out);
        return read(folder / "text");
    }
    static std::string naming(std::string const& name) {
        return "[configuration-database]\nfile = " + name + "\n";
    }

    ztest::Folder folder;
    std::string const file = folder / "f";
    std::string const database = file + ".obf";
    std::string const plainText = "# top\n\n[s]\n# about k\nk =\nport = 1\n";
    std::string const textOfK = "# top\n\n[s]\n# about k\nport = 1\n\n";
};

TEST_F(ZPropertiesDatabase, ValuesStayOutOfTheTextAndComeBackInOrder) {
    Properties p(write(file, plainText), 1);
    p.setValue("s", "later", "z", 1);
    p.setValue("s", "k", "one", 1);
    p.addValue("s", "k", "two\nlines", 1);
    p.setValue("new", "only", "x", 1);
    p.setValue("s", "later", "last", 1);  // goes to the end
    EXPECT_THROW(p.setValue("configuration-database", "file", "x", 1),
                 ZInvalidParameterException_5_1);
    std::string const expected = textOfK + "[new]\n\n" + naming(database);
    EXPECT_EQ(text(p) + text(p), expected + expected);
    EXPECT_FALSE(p.exists("configuration-database") || fs::exists(database) || !p.isModified());
    for (int times = 0; times < 2; ++times) {
        p.store(nullptr);
        EXPECT_EQ(read(file), expected);
        EXPECT_EQ(read(database), squeezed("s|k|one||s|k|two\nlines||new|only|x||s|later|last|"));
        p.reload(nullptr);
        EXPECT_FALSE(p.isModified());
    }
    EXPECT_EQ(values(p, "s", "k"), "one;two\nlines;");
    EXPECT_TRUE(p.isObfuscated("new", "only") && !p.isObfuscated("s", "port"));

    // Through an iterator; then without the last values the database goes.
    {
        Values each(p, "s", "k", ZPropLCString, Values::ANY);
        each.nextValue();
        each.changeValue("1");
        each.addValue("1a");
        each.nextValue();
        each.removeValue();
    }
    p.store(nullptr);
    EXPECT_EQ(stored("s", "k"), "1;1a;");
    p.deleteKey("s", "k");
    p.deleteStanza("new");
    p.setValue("s", "later", "");
    std::string const last = text(p);
    EXPECT_EQ(last, "# top\n\n[s]\n# about k\nport = 1\nlater =\n\n[configuration-database]\n");
    EXPECT_TRUE(fs::exists(database));
    p.store(nullptr);
    EXPECT_EQ(read(file), last);
    EXPECT_FALSE(fs::exists(database) || p.exists("configuration-database", "file"));
}

TEST_F(ZPropertiesDatabase, NamesAndPlaces) {
    // A relative name is made absolute; one that the file names is kept, and may be moved.
    fs::current_path(folder.path());
    Properties p(1);
    p.setValue("s", "k", "v", 1);
    p.store("g");
    EXPECT_EQ(read("g"), "\n[s]\n\n" + naming(folder / "g.obf"));
    write("named", naming("there") + "x = y\n");
    write("there", squeezed("s|k|v|"));
    p.reload("named");
    p.store("copy");
    EXPECT_EQ(read("copy"), read("named"));
    p.setValue("configuration-database", "file", "moved");
    p.store("named");
    EXPECT_EQ(read("moved"), read("there"));
    Properties moved("named", 0);
    EXPECT_EQ(values(moved, "s", "k"), "v;");
    // The main file takes the database's own name: neither is lost.
    EXPECT_EQ(failure([&] { moved.store("moved"); }), "access() moved 22");
    moved.deleteStanza("s");
    moved.store("moved");
    EXPECT_EQ(read("moved"), "[configuration-database]\nx = y\n");
    fs::current_path("/");
}

TEST_F(ZPropertiesDatabase, WhatStandsInItsPlace) {
    std::string const good = squeezed("s|k|v||s|k|w|"), text = "[s]\nk =\n" + naming(database);
    std::string const invalid = " 0 " + database, unmapped = "mapFile() " + database + " ";
    std::string const itself = "access() " + database + " 22";
    std::string const refusal = "fopen(w) " + database + " ";
    auto holds = [this](std::string const& bytes) { return [=] { write(database, bytes); }; };
    auto links = [this](std::string const& name) {
        return [=] { fs::create_symlink(name, database); };
    };
    struct {
        char const* what;
        std::function<void()> make;
        char const* values = "";
        std::string load = "", store = "";  // how they fail
    } const cases[] = {
        {"a link to a good one with a rest", links(write(folder / "good", good + "rest")), "v;w;"},
        {"no records", holds(squeezed(""))},
        {"missing", [] {}, "", unmapped + "22"},
        {"empty", holds(""), "", unmapped + "22"},
        {"cut short", holds(good.substr(0, good.size() - 5)), "", invalid},
        {"a bomb", holds(squeezed(std::string(50000000, 'a'))), "", invalid},
        {"no value", holds(squeezed("s|k|")), "", invalid},
        {"no end of the second value", holds(squeezed("s|k|v||s|k|w")), "v;", invalid},
        {"a folder", [&] { fs::create_directory(database); }, "", unmapped + "19", refusal + "21"},
        {"a pipe", [&] { mkfifo(database.c_str(), 0600); }, "", unmapped + "22", refusal + "22"},
        {"a link", links(write(folder / "other", "kept")), "", invalid, refusal + "40"},
        {"the main file", [&] { fs::create_hard_link(file, database); }, "", invalid, itself},
        {"a link to the main file", links(file), "", invalid, itself},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        write(file, text);
        c.make();
        bool const wasThere = fs::exists(fs::symlink_status(database));
        Properties p(1);
        EXPECT_EQ(failure([&] { p.load(file.c_str()); }), c.load);
        EXPECT_EQ(values(p, "s", "k"), c.values);
        EXPECT_EQ(read(file), text);
        // What could not be read is not removed either.
        p.deleteKey("s", "k");
        p.store(nullptr);
        EXPECT_EQ(fs::exists(fs::symlink_status(database)), wasThere && !c.load.empty());
        std::string const before = read(file);
        p.setValue("s", "hidden", "v", 1);
        EXPECT_EQ(storing(p), c.store);
        if (!c.store.empty()) {
            EXPECT_TRUE(p.isModified());
            EXPECT_EQ(read(file) + read(folder / "other"), before + "kept");
            fs::remove(database);
            p.store(nullptr);
        }
        EXPECT_EQ(stored("s", "hidden"), "v;");
        fs::remove(database);
    }
}

TEST_F(ZPropertiesDatabase, IsNeverReadableByMoreThanTheMainFile) {
    struct {
        mode_t main;
        mode_t before;  // 0: there is no database yet
    } const cases[] = {{0600, 0}, {0600, 0666}, {0640, 0604}, {0644, 0}, {0666, 0600}};
    for (auto const& c : cases) {
        SCOPED_TRACE(c.main);
        chmod(write(file, plainText), c.main);
        fs::remove(database);
        if (c.before) chmod(write(database, "rubbish"), c.before);
        std::ifstream reader(database);  // opened while it may be
        Properties p(file.c_str(), 1);
        p.setValue("s", "k", "v", 1);
        writes.seen = 0;
        p.store(nullptr);
        EXPECT_EQ(writes.seen, c.main);
        std::string seen;
        std::getline(reader, seen);
        EXPECT_EQ(seen, c.before ? "rubbish" : "");
        // Another file with the same database does not open it to its own readers.
        p.store((folder / "copy").c_str());
        chmod((folder / "copy").c_str(), 0666);
        p.store((folder / "copy").c_str());
        EXPECT_EQ(statusOf(database).st_mode & 0777, c.main);
        p.deleteStanza("s");
        p.store((folder / "copy").c_str());
        EXPECT_TRUE(fs::exists(database));
    }
}

// Only who may be anybody can try this.
TEST_F(ZPropertiesDatabase, OtherUsersAndTheirFiles) {
    if (geteuid() != 0) return;
    constexpr uid_t user = 12345, stranger = 12346;
    struct {
        char const* what;
        uid_t mainOwner;
        mode_t main;
        uid_t folderOwner;
        uid_t databaseOwner;  // 0: there is no database yet
        mode_t before, after;
        char const* failure;
        uid_t ownerAfter = user;
    } const cases[] = {
        {"a folder of one's own", user, 0640, user, 0, 0, 0640, ""},
        {"the main file of somebody else, readable by all", 0, 0646, user, 0, 0, 0644, ""},
        {"closed to its group", 0, 0606, user, 0, 0, 0600, ""},
        {"a database of somebody else is replaced", user, 0600, user, stranger, 0666, 0600, ""},
        {"a folder that cannot be written to", user, 0600, 0, user, 0644, 0600, ""},
        {"one's group's files stay their owner's", stranger, 0660, user, stranger, 0660, 0660, "",
         stranger},
        {"nor replaced there", user, 0600, 0, stranger, 0666, 0666, "fopen(w)"},
        {"nor made there", user, 0600, 0, 0, 0, 0, "access()"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        auto give = [&](std::string const& name, uid_t owner, mode_t mode) {
            gid_t const group = c.ownerAfter == stranger ? user : owner;
            ASSERT_EQ(chown(name.c_str(), owner, group) + chmod(name.c_str(), mode), 0);
        };
        fs::remove(database);
        give(folder.path(), c.folderOwner, 0755);
        give(write(file, plainText), c.mainOwner, c.main);
        if (c.databaseOwner) give(write(database, "rubbish"), c.databaseOwner, c.before);
        int const end = ztest::inProcess([&] {
            if (setresgid(user, user, user) + setresuid(user, user, user) != 0) return 9;
            Properties p(file.c_str(), 1);
            p.setValue("s", "k", "v", 1);
            std::string const result = storing(p);
            if (result.substr(0, result.find(' ')) != c.failure) return 1;
            if (*c.failure) return 0;
            // In place or not, what fails half way is undone.
            std::string const former = read(database);
            p.setValue("s", "k", "w", 1);
            writes.failAt = 0;
            if (storing(p).empty() || read(database) != former) return 2;
            if ((statusOf(database).st_mode & 0777) != c.after) return 3;
            p.store(nullptr);
            return stored("s", "k") == "w;" ? 0 : 4;
        });
        EXPECT_EQ(end, 0);
        EXPECT_EQ(statusOf(database).st_mode & 0777, c.after);
        EXPECT_TRUE(*c.failure || statusOf(database).st_uid == c.ownerAfter);
        EXPECT_EQ(read(database) == "rubbish", *c.failure && c.databaseOwner);
    }
}

TEST_F(ZPropertiesDatabase, StoresThatFailHalfWayLeaveTheOldFiles) {
    Properties p(write(file, plainText), 1);
    p.setValue("s", "k", "old", 1);
    auto attempt = [&](char const* what, bool inMain, off_t at) {
        SCOPED_TRACE(what);
        std::string const text = read(file), former = read(database);
        writes.inMain = inMain;
        writes.failAt = at;
        std::string const failing = inMain ? "fopen(r+) " + file : "fopen(w) " + database;
        EXPECT_EQ(storing(p), failing + " " + std::to_string(ENOSPC));
        EXPECT_EQ(read(file) + read(database), text + former);
        EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), former.empty() ? 1 : 2);
        EXPECT_TRUE(p.isModified());
    };
    attempt("the first database", false, 3);
    attempt("the text of the first store", true, 3);
    p.store(nullptr);
    EXPECT_EQ(read(file), textOfK + naming(database));
    std::mt19937 random(1);
    std::string longer;  // what hardly compresses
    while (longer.size() < 300) longer += static_cast<char>('!' + random() % 90);
    p.setValue("s", "k", longer.c_str(), 1);
    attempt("a longer database", false, 20);
    attempt("the text after a longer database", true, 0);
    p.store(nullptr);
    EXPECT_EQ(stored("s", "k"), longer + ";");
    p.deleteKey("s", "k");
    attempt("the text before the database goes", true, 0);
    p.store(nullptr);
    EXPECT_FALSE(fs::exists(database));

    // Refused before anything is written: the folder of the database is not there.
    p.setValue("configuration-database", "file", (folder / "no/db").c_str());
    p.setValue("s", "k", "v", 1);
    std::string const text = read(file);
    EXPECT_EQ(storing(p), "access() " + (folder / "no") + " 2");
    EXPECT_EQ(read(file), text);
}

TEST_F(ZPropertiesDatabase, CallsThatFail) {
    // Killed before the rest of a longer text is cut off: the new values are there.
    Properties p(write(file, "[s]\nk = " + std::string(100, 'a') + "\nport = 1\n"), 1);
    p.setValue("s", "k", "v");
    auto const killed = [&] {
        failingCall = "ftruncate";
        endsThere = true;
        p.store(nullptr);
        return 1;
    };
    EXPECT_EQ(ztest::inProcess(killed), 0);
    Properties left(file.c_str(), 0);
    EXPECT_EQ(text(left), "[s]\nk = v\nport = 1\n");
    // Refused when the room was already reserved: it is given back.
    write(file, "[s]\n");
    p.setValue("s", "k", std::string(8000, 'a').c_str());
    auto const blocks = statusOf(file).st_blocks;
    failingCall = "pread";
    EXPECT_EQ(storing(p), "fopen(r+) " + file + " 5");
    EXPECT_EQ(statusOf(file).st_blocks, blocks);
    // Whether others may read the main file by an access list is not known.
    chmod(file.c_str(), 0640);
    p.setValue("s", "hidden", "v", 1);
    failingCall = "fgetxattr";
    p.store(nullptr);
    EXPECT_EQ(statusOf(database).st_mode & 0777, 0600u);
}

#ifdef Z_MEMORY_CAN_FAIL
TEST_F(ZPropertiesDatabase, AStoreWithoutMemoryChangesNothing) {
    for (bool comes : {true, false}) {
        Properties p(write(file, plainText), 1);
        p.setValue("s", "k", "v", 1);
        if (!comes) p.store(nullptr), p.deleteKey("s", "k");
        std::string const before = read(file), changed = text(p);
        EXPECT_GT(ztest::failEach([&] { p.store(nullptr); },
                                  [&] {
                                      EXPECT_EQ(read(file) + text(p), before + changed);
                                      EXPECT_TRUE(p.isModified() && fs::exists(database) != comes);
                                  }),
                  0);
        EXPECT_TRUE(read(file) == changed && fs::exists(database) == comes);
    }
}
#endif

TEST_F(ZPropertiesDatabase, ValuesThatRepeatThemselvesCannotBeLoadedBack) {
    Properties p(1);
    for (unsigned int length : {0u, 30u, 100u}) {
        p.setValue("s", "k", std::string(length, 'a').c_str(), 1);
        EXPECT_EQ(p.databaseLoadsBack(), length < 100);
    }
    p.store(file.c_str());
    EXPECT_EQ(failure([&] { Properties(file.c_str(), 1); }), " 0 " + database);
}

}  // namespace
