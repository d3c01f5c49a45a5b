// ZPropertiesDatabase_test: the companion database: its format, its file, and what fails half way.
// Subsystem: properties, layer 5. Test: tests/ZPropertiesDatabase_test.cpp
#include <Z/ZException.h>
#include <Z/ZSqueeze.h>
#include <Z/ZStanzaFileProperties.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "ZTest.h"

namespace fs = std::filesystem;

// ---- a pwrite that watches, and fails at the byte asked for ----

namespace {

struct {
    off_t failAt = -1;   // the write that covers this byte stops before it,
    bool inMain = true;  // in the main file or in the database
    std::string main;    // the main file; all else is the database
    mode_t seen = 0;     // modes of the database while it was written
} writes;

}  // namespace

extern "C" __attribute__((visibility("default"))) ssize_t pwrite(int fd, void const* bytes,
                                                                 size_t size, off_t at) {
    using Real = ssize_t (*)(int, void const*, size_t, off_t);
    static auto const real =
        reinterpret_cast<Real>(dlsym(RTLD_NEXT, sizeof(long) == 4 ? "pwrite64" : "pwrite"));
    struct stat main = {}, file = {};
    bool const isMain = stat(writes.main.c_str(), &main) == 0 && fstat(fd, &file) == 0 &&
                        main.st_ino == file.st_ino;
    if (!isMain) writes.seen |= file.st_mode & 0777;
    if (isMain == writes.inMain && writes.failAt >= at &&
        writes.failAt < at + static_cast<off_t>(size)) {
        if (writes.failAt == at) {
            errno = ENOSPC;
            writes.failAt = -1;
            return -1;
        }
        size = static_cast<size_t>(writes.failAt - at);
    }
    return real(fd, bytes, size, at);
}

namespace {

using Properties = ZStanzaFileProperties_5_1;
using Values = ZStanzaValueIterator_5_1;

class ZPropertiesDatabase : public testing::Test {
protected:
    ZPropertiesDatabase() { writes.main = file; }
    ~ZPropertiesDatabase() override { writes = {}; }

    // "|" stands for NUL here and in records().
    static std::string squeezed(std::string records) {
        std::replace(records.begin(), records.end(), '|', '\0');
        std::string out(records.size() * 2 + 64, '\0');
        ZSqueeze_5_1 stream;
        stream.setSource(reinterpret_cast<unsigned char*>(&records[0]), records.size());
        int const size = stream.squeeze(reinterpret_cast<unsigned char*>(&out[0]), out.size());
        return out.substr(0, static_cast<std::size_t>(size));
    }
    static std::string records(std::string content) {
        std::string out(1 << 16, '\0');
        ZSqueeze_5_1 stream;
        stream.setSource(reinterpret_cast<unsigned char*>(&content[0]), content.size());
        int const size = stream.unsqueeze(reinterpret_cast<unsigned char*>(&out[0]), out.size());
        if (size < 0) return "(invalid)";
        std::replace(out.begin(), out.end(), '\0', '|');
        return out.substr(0, static_cast<std::size_t>(size));
    }
    static std::string values(Properties& p, char const* stanza, char const* key) {
        std::string all;
        for (Values each(p, stanza, key, ZPropLCString, Values::OBFUSCATED); each.hasMore();) {
            all += std::string(each.nextValue()->getChars()) + ";";
        }
        return all;
    }
    static uid_t owner(std::string const& name) {
        struct stat status = {};
        return stat(name.c_str(), &status) == 0 ? status.st_uid : 0;
    }
    static mode_t mode(std::string const& name) {
        struct stat status = {};
        return stat(name.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
    }
    // "api name errno" of the failure, "text|line of name" for invalid data, "" when there is none.
    static std::string failure(std::function<void()> const& run) {
        try {
            run();
            return "";
        } catch (ZPropertiesIOException_5_1& e) {
            return std::string(e.api()) + " " + e.propFile() + " " + std::to_string(e.excerrno());
        } catch (ZPropertiesInvalidDataException_5_1& e) {
            return std::string(e.baddata()) + "|" + std::to_string(e.badline()) + " of " +
                   e.propFile();
        }
    }
    std::string naming(std::string const& name) {
        return "[configuration-database]\nfile = " + name + "\n";
    }

    ztest::Folder folder;
    std::string const file = folder / "f";
    std::string const database = file + ".obf";
    std::string const plainText = "# top\n\n[s]\n# about k\nk =\nport = 1\n";
};

}  // namespace

TEST_F(ZPropertiesDatabase, ValuesStayOutOfTheTextAndComeBackInOrder) {
    ztest::write(file, plainText);
    Properties p(file.c_str(), 1);
    p.setValue("s", "later", "z", 1);
    p.setValue("s", "k", "one", 1);
    p.addValue("s", "k", "two\nlines", 1);
    p.setValue("new", "only", "x", 1);
    p.setValue("s", "later", "last", 1);  // goes to the end
    EXPECT_THROW(p.setValue("configuration-database", "file", "x", 1),
                 ZInvalidParameterException_5_1);
    p.store(nullptr);
    std::string const text = "# top\n\n[s]\n# about k\nport = 1\n\n[new]\n\n" + naming(database);
    std::string const content = "s|k|one||s|k|two\nlines||new|only|x||s|later|last|";
    EXPECT_EQ(ztest::read(file), text);
    EXPECT_EQ(records(ztest::read(database)), content);

    Properties back(file.c_str(), 1);
    EXPECT_EQ(values(back, "s", "k"), "one;two\nlines;");
    EXPECT_TRUE(back.isObfuscated("new", "only") && !back.isObfuscated("s", "port"));
    EXPECT_FALSE(back.isModified());
    back.reload(nullptr);
    back.store(nullptr);
    EXPECT_EQ(ztest::read(file), text);
    EXPECT_EQ(records(ztest::read(database)), content);

    // Through an iterator; then without the last values the database goes.
    {
        Values each(back, "s", "k", ZPropLCString, Values::ANY);
        each.nextValue();
        each.changeValue("1");
        each.addValue("1a");
        each.nextValue();
        each.removeValue();
    }
    EXPECT_EQ(values(back, "s", "k"), "1;1a;");
    back.store(nullptr);
    EXPECT_EQ(values(*std::make_unique<Properties>(file.c_str(), 1), "s", "k"), "1;1a;");
    back.deleteKey("s", "k");
    back.deleteStanza("new");
    back.setValue("s", "later", "");
    back.store(nullptr);
    EXPECT_FALSE(fs::exists(database) || back.exists("configuration-database", "file"));
    EXPECT_EQ(ztest::read(file),
              "# top\n\n[s]\n# about k\nport = 1\nlater =\n\n[configuration-database]\n");
}

TEST_F(ZPropertiesDatabase, NamesAndPlaces) {
    // A relative name is made absolute; one that the file names is kept, and may be moved.
    fs::path const former = fs::current_path();
    fs::current_path(folder.path());
    {
        Properties p(1);
        p.setValue("s", "k", "v", 1);
        p.store("g");
        EXPECT_EQ(ztest::read("g"), "\n[s]\n\n" + naming(folder / "g.obf"));
        ztest::write("named", naming("there") + "x = y\n");
        ztest::write("there", squeezed("s|k|v|"));
        p.reload("named");
        p.store("copy");
        EXPECT_EQ(ztest::read("copy"), ztest::read("named"));
        p.setValue("configuration-database", "file", "moved");
        p.store("named");
        Properties moved("named", 0);
        EXPECT_EQ(values(moved, "s", "k"), "v;");
        EXPECT_EQ(ztest::read("moved"), ztest::read("there"));
        // The main file takes the database's own name: neither is lost.
        EXPECT_EQ(failure([&] { moved.store("moved"); }), "access() moved 22");
        moved.deleteStanza("s");
        moved.store("moved");
        EXPECT_EQ(ztest::read("moved"), "[configuration-database]\nx = y\n");
    }
    fs::current_path(former);
}

TEST_F(ZPropertiesDatabase, DatabasesThatCannotBeLoaded) {
    std::string const good = squeezed("s|k|v||s|k|w|");
    std::string noise(4096, '\0');
    std::mt19937 random(1);
    for (char& c : noise) c = static_cast<char>(random());
    std::string const invalid = "|0 of ";
    std::string const unmapped = "mapFile() ";
    struct {
        char const* what;
        std::function<void(std::string const&)> make;
        std::string failure;
        char const* values;
    } const cases[] = {
        {"good", [&](auto& db) { ztest::write(db, good); }, "", "v;w;"},
        {"followed by a rest", [&](auto& db) { ztest::write(db, good + "rest"); }, "", "v;w;"},
        {"a link to a good one",
         [&](auto& db) {
             ztest::write(db + "2", good);
             fs::create_symlink(db + "2", db);
         },
         "", "v;w;"},
        {"missing", [](auto&) {}, unmapped + database + " 22", ""},
        {"empty", [](auto& db) { ztest::write(db, ""); }, unmapped + database + " 22", ""},
        {"a folder", [](auto& db) { fs::create_directory(db); }, unmapped + database + " 19", ""},
        {"a pipe", [](auto& db) { mkfifo(db.c_str(), 0600); }, unmapped + database + " 22", ""},
        {"cut short", [&](auto& db) { ztest::write(db, good.substr(0, good.size() - 5)); },
         invalid + database, ""},
        {"noise", [&](auto& db) { ztest::write(db, noise); }, invalid + database, ""},
        {"a bomb", [](auto& db) { ztest::write(db, squeezed(std::string(50000000, 'a'))); },
         invalid + database, ""},
        {"no value", [](auto& db) { ztest::write(db, squeezed("s|k|")); }, invalid + database, ""},
        {"no end of the second value", [](auto& db) { ztest::write(db, squeezed("s|k|v||s|k|w")); },
         invalid + database, "v;"},
        {"no records", [](auto& db) { ztest::write(db, squeezed("")); }, "", ""},
        {"the main file", [&](auto& db) { fs::create_hard_link(file, db); }, invalid + database,
         ""},
    };
    std::string const text = "[s]\nk =\n" + naming(database);
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        ztest::write(file, text);
        c.make(database);
        Properties p(1);
        EXPECT_EQ(failure([&] { p.load(file.c_str()); }), c.failure);
        EXPECT_EQ(values(p, "s", "k"), c.values);
        EXPECT_EQ(ztest::read(file), text);
        // What could not be read is not removed either.
        p.deleteKey("s", "k");
        p.store(nullptr);
        EXPECT_EQ(fs::exists(fs::symlink_status(database)),
                  !c.failure.empty() && std::string(c.what) != "missing");
        fs::remove(database);
    }
}

TEST_F(ZPropertiesDatabase, PlacesThatCannotBeWritten) {
    std::string const text = "[s]\nk = plain\n" + naming(database);
    ztest::write(folder / "other", "kept");
    struct {
        char const* what;
        std::function<void(std::string const&)> make;
        std::string failure;
    } const cases[] = {
        {"a link", [&](auto& db) { fs::create_symlink(folder / "other", db); },
         "fopen(w) " + database + " " + std::to_string(ELOOP)},
        {"a folder", [](auto& db) { fs::create_directory(db); },
         "fopen(w) " + database + " " + std::to_string(EISDIR)},
        {"a pipe", [](auto& db) { mkfifo(db.c_str(), 0600); },
         "fopen(w) " + database + " " + std::to_string(EINVAL)},
        {"the main file", [&](auto& db) { fs::create_hard_link(file, db); },
         "access() " + database + " 22"},
        {"a link to the main file", [&](auto& db) { fs::create_symlink(file, db); },
         "access() " + database + " 22"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        ztest::write(file, text);
        c.make(database);
        Properties p(1);
        failure([&] { p.load(file.c_str()); });
        p.setValue("s", "hidden", "v", 1);
        EXPECT_EQ(failure([&] { p.store(nullptr); }), c.failure);
        EXPECT_TRUE(p.isModified());
        EXPECT_EQ(ztest::read(file), text);
        EXPECT_EQ(ztest::read(folder / "other"), "kept");
        fs::remove(database);
        p.store(nullptr);
        EXPECT_EQ(values(*std::make_unique<Properties>(file.c_str(), 1), "s", "hidden"), "v;");
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
        ztest::write(file, plainText);
        chmod(file.c_str(), c.main);
        fs::remove(database);
        if (c.before) ztest::write(database, "rubbish");
        if (c.before) chmod(database.c_str(), c.before);
        std::ifstream reader(database);  // opened while it may be
        Properties p(file.c_str(), 1);
        p.setValue("s", "k", "v", 1);
        writes.seen = 0;
        p.store(nullptr);
        EXPECT_EQ(mode(database), c.main);
        EXPECT_EQ(writes.seen, c.main);
        std::string seen;
        std::getline(reader, seen);
        EXPECT_EQ(seen, c.before ? "rubbish" : "");
        // Another file with the same database does not open it to its own readers.
        p.store((folder / "copy").c_str());
        chmod((folder / "copy").c_str(), 0666);
        p.store((folder / "copy").c_str());
        EXPECT_EQ(mode(database), c.main);
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
        ztest::write(file, plainText);
        give(file, c.mainOwner, c.main);
        if (c.databaseOwner) ztest::write(database, "rubbish");
        if (c.databaseOwner) give(database, c.databaseOwner, c.before);
        EXPECT_EQ(
            ztest::inProcess([&] {
                if (setresgid(user, user, user) + setresuid(user, user, user) != 0) return 9;
                Properties p(file.c_str(), 1);
                p.setValue("s", "k", "v", 1);
                std::string const result = failure([&] { p.store(nullptr); });
                if (result.substr(0, result.find(' ')) != c.failure) return 1;
                if (*c.failure) return 0;
                // In place or not, what fails half way is undone.
                std::string const former = ztest::read(database);
                p.setValue("s", "k", "w", 1);
                writes.failAt = 0;
                if (failure([&] { p.store(nullptr); }).empty()) return 2;
                if (ztest::read(database) != former || mode(database) != c.after) return 3;
                p.store(nullptr);
                return values(*std::make_unique<Properties>(file.c_str(), 1), "s", "k") == "w;" ? 0
                                                                                                : 4;
            }),
            0);
        EXPECT_EQ(mode(database), c.after);
        EXPECT_TRUE(*c.failure || owner(database) == c.ownerAfter);
        EXPECT_EQ(ztest::read(database) == "rubbish", *c.failure && c.databaseOwner);
    }
}

TEST_F(ZPropertiesDatabase, StoresThatFailHalfWayLeaveTheOldFiles) {
    ztest::write(file, plainText);
    Properties p(file.c_str(), 1);
    p.setValue("s", "k", "old", 1);
    auto attempt = [&](char const* what, bool inMain, off_t at) {
        SCOPED_TRACE(what);
        std::string const formerText = ztest::read(file), former = ztest::read(database);
        bool const hadDatabase = fs::exists(database);
        writes.inMain = inMain;
        writes.failAt = at;
        EXPECT_EQ(
            failure([&] { p.store(nullptr); }),
            (inMain ? "fopen(r+) " + file : "fopen(w) " + database) + " " + std::to_string(ENOSPC));
        EXPECT_EQ(writes.failAt, -1);
        EXPECT_EQ(ztest::read(file), formerText);
        EXPECT_EQ(ztest::read(database), former);
        EXPECT_EQ(fs::exists(database), hadDatabase);
        EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), hadDatabase ? 2 : 1);
        EXPECT_TRUE(p.isModified());
    };
    attempt("the first database", false, 3);
    attempt("the text of the first store", true, 3);
    p.store(nullptr);
    EXPECT_EQ(ztest::read(file), "# top\n\n[s]\n# about k\nport = 1\n\n" + naming(database));
    std::mt19937 random(1);
    std::string longer;  // what hardly compresses
    while (longer.size() < 300) longer += static_cast<char>('!' + random() % 90);
    p.setValue("s", "k", longer.c_str(), 1);
    attempt("a longer database", false, 20);
    attempt("the text after a longer database", true, 0);
    p.store(nullptr);
    EXPECT_EQ(values(*std::make_unique<Properties>(file.c_str(), 1), "s", "k"), longer + ";");
    p.deleteKey("s", "k");
    attempt("the text before the database goes", true, 0);
    p.store(nullptr);
    EXPECT_FALSE(fs::exists(database));

    // Refused before anything is written: the folder of the database is not there.
    p.setValue("configuration-database", "file", (folder / "no/db").c_str());
    p.setValue("s", "k", "v", 1);
    std::string const text = ztest::read(file);
    EXPECT_EQ(failure([&] { p.store(nullptr); }),
              "access() " + (folder / "no") + " " + std::to_string(ENOENT));
    EXPECT_EQ(ztest::read(file), text);
}

// What would be stored can be looked at, any number of times, and nothing changes.
TEST_F(ZPropertiesDatabase, TextWithoutStoring) {
    ztest::write(file, "[a]\nx = 1\n");
    Properties p(file.c_str(), 1);
    p.setValue("s", "k", "v", 1);
    auto text = [&p] {
        char* chars = nullptr;
        std::size_t size = 0;
        std::FILE* out = open_memstream(&chars, &size);
        p.writeText(nullptr, out);
        std::fclose(out);
        std::string const all(chars, size);
        std::free(chars);
        return all;
    };
    std::string const first = text();
    EXPECT_EQ(text(), first);
    EXPECT_FALSE(p.exists("configuration-database") || fs::exists(database));
    EXPECT_TRUE(p.isModified());
    p.store(nullptr);
    EXPECT_EQ(ztest::read(file), first);
    p.deleteStanza("s");
    EXPECT_EQ(text(), "[a]\nx = 1\n\n[configuration-database]\n");
    EXPECT_TRUE(fs::exists(database));
}

TEST_F(ZPropertiesDatabase, ValuesThatRepeatThemselvesCannotBeLoadedBack) {
    Properties p(1);
    EXPECT_TRUE(p.databaseLoadsBack());
    p.setValue("s", "k", std::string(30, 'a').c_str(), 1);
    EXPECT_TRUE(p.databaseLoadsBack());
    p.setValue("s", "k", std::string(100, 'a').c_str(), 1);
    EXPECT_FALSE(p.databaseLoadsBack());
    p.store(file.c_str());
    EXPECT_EQ(failure([&] { Properties(file.c_str(), 1); }), "|0 of " + database);
}
