// ZProperties_test: conversions, iterators, notices, files and their locks, shared instances.
// Subsystem: properties, layer 5. Test: tests/ZProperties_test.cpp
#include <Z/ZException.h>
#include <Z/ZStanzaFileProperties.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <utime.h>

#include <csignal>
#include <thread>

#include "ZTest.h"

namespace {

using Properties = ZStanzaFileProperties_5_1;
using Refused = ZInvalidParameterException_5_1;
using Values = ZStanzaValueIterator_5_1;

struct Recorder : ZObserverInterface_5_1 {
    void observableChanged(ZObservableInterface_5_1*, ZObservedParm_5_1 const& parm) override {
        auto const& change = static_cast<ZPropertyChanged_5_1 const&>(parm);
        seen += std::to_string(change.getChangeType()) + change.getStanza() + "." +
                (change.getKey() ? change.getKey() : "-") + " ";
    }
    std::string seen;
};

class ZProperties : public testing::Test {
protected:
    void expectIO(std::function<void()> const& run, char const* api, int error,
                  std::string const& name) {
        ztest::expectThrow<ZPropertiesIOException_5_1>(run, [&](ZPropertiesIOException_5_1& e) {
            EXPECT_STREQ(e.api(), api);
            EXPECT_EQ(e.excerrno(), error);
            EXPECT_EQ(e.propFile(), name);
            EXPECT_STREQ(e.who(), "src/Z/ZProperties");
        });
    }
    std::string value(ZProperties_5_1 const& p, char const* key) {
        ZLCString_5_1 out;
        p.getValue("s", key, out, 0, "(none)");
        return out.getChars();
    }
    // Another process holds the file under a record lock while `run` runs.
    void whileLocked(short type, std::function<void()> const& run) {
        int ready[2], done[2];
        ASSERT_EQ(pipe(ready) + pipe(done), 0);
        pid_t const child = fork();
        if (child == 0) {
            char byte = 0;
            close(done[1]);
            struct flock lock = {};
            lock.l_type = type;
            int const fd = open(file.c_str(), O_RDWR);
            bool const locked = fcntl(fd, F_SETLK, &lock) == 0 && write(ready[1], &byte, 1) == 1;
            _exit(locked && read(done[0], &byte, 1) == 0 ? 0 : 1);
        }
        char byte;
        close(ready[1]);
        EXPECT_EQ(read(ready[0], &byte, 1), 1);
        run();
        close(done[0]);
        close(done[1]);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
        close(ready[0]);
    }

    ztest::Folder folder;
    std::string const file = folder / "f";
};

}  // namespace

TEST_F(ZProperties, NumbersAndBooleans) {
    struct {
        char const* text;
        int isNumber;
        unsigned int number;
        int isBoolean, truth;
    } const cases[] = {
        {"", 1, 0, 1, 0},
        {"0x1F", 1, 31, 0, 0},
        {"010", 1, 8, 0, 0},
        {" \t+12", 1, 12, 0, 0},
        {"12abc", 0, 0, 0, 0},
        {"12 ", 0, 0, 0, 0},
        {"0x", 0, 0, 0, 0},
        {"08", 0, 0, 0, 0},
        {"-", 0, 0, 0, 0},
        {"4294967295", 1, 4294967295u, 0, 0},
        {"4294967296", 1, 4294967295u, 0, 0},
        {"99999999999999999999999", 1, 4294967295u, 0, 0},
        {"-1", 1, 4294967295u, 0, 0},
        {"-4294967295", 1, 1, 0, 0},
        {"-4294967296", 1, 4294967295u, 0, 0},
        {"1", 1, 1, 1, 1},
        {"0", 1, 0, 1, 0},
        {"TRUE", 0, 0, 1, 1},
        {"Y", 0, 0, 1, 1},
        {"t", 0, 0, 1, 1},
        {"nO", 0, 0, 1, 0},
        {"off", 0, 0, 0, 0},
        {"yes ", 0, 0, 0, 0},
        {"0XaF", 1, 175, 0, 0},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.text);
        unsigned int number = 7;
        int truth = 7;
        EXPECT_EQ(ZProperties_5_1::convertToInt(c.text, number), c.isNumber);
        EXPECT_EQ(c.isNumber ? number : 0, c.number);
        EXPECT_EQ(ZProperties_5_1::convertToBoolean(c.text, truth), c.isBoolean);
        EXPECT_EQ(truth, c.truth);
    }
}

TEST_F(ZProperties, GettersAndTheirFailures) {
    ztest::write(file, "[s]\nn=12\nb=maybe\ne=\nl=1\nl=2\n");
    Properties p(file.c_str(), 1);
    EXPECT_EQ(p.getIntegerValue("s", "n", 1, 0), 12u);
    EXPECT_EQ(p.getIntegerValue("s", "e", 0, 5), 5u);
    EXPECT_EQ(p.getBooleanValue("t", "n", 0, 1), 1);
    EXPECT_EQ(value(p, "l"), "1");
    ztest::expectThrow<ZPropertiesInvalidValueException_5_1>(
        [&] { p.getBooleanValue("s", "b", 0, 0); },
        [&](ZPropertiesInvalidValueException_5_1& e) {
            EXPECT_EQ(e.code(), 41u);
            EXPECT_EQ(e.propFile(), file);
            EXPECT_STREQ(e.value(), "maybe");
        });
    for (char const* key : {"e", "absent"}) {
        ztest::expectThrow<ZPropertiesMissingPropertyException_5_1>(
            [&] { p.getIntegerValue("s", key, 1, 0); },
            [&](ZPropertiesMissingPropertyException_5_1& e) { EXPECT_STREQ(e.key(), key); });
    }
    ZLCString_5_1 out;
    EXPECT_THROW(p.getValue("s", "n", out, 1, ""), Refused);
    EXPECT_THROW(p.getIntegerValue("s", "n", 1, 1), Refused);
    EXPECT_THROW(p.getValue("", "n", out, 0, nullptr), Refused);
    EXPECT_THROW(p.exists("s", nullptr), Refused);
    ZArrayList_5_1 owning(1, 1), sharing(1, 0);
    EXPECT_THROW(p.getValues("s", "l", sharing, ZPropLCString), Refused);
    EXPECT_THROW(p.getValues("s", "l", owning, static_cast<ZPropertyStringType>(3)), Refused);
    EXPECT_THROW(p.keyNames(sharing), Refused);
    EXPECT_THROW(p.numValues("s"), Refused);  // no dot
    EXPECT_THROW(p.isObfuscated("t"), Refused);
    EXPECT_THROW(p.isObfuscated("s", "absent"), Refused);
    EXPECT_EQ(p.numValues("s.t"), 0);
    EXPECT_EQ(p.numValues("s", "l"), 2);
    EXPECT_EQ(p.count("s"), 4);
    EXPECT_EQ(p.count("t"), 0);
}

TEST_F(ZProperties, SettersChangeAndAnnounce) {
    Properties p(1);
    Recorder recorder;
    p.addObserver(&recorder);
    p.addObserver(nullptr);
    p.setValue("s", "k", ZUTF8String_5_1("h\xC3\xA9"), 0);
    p.setIntegerValue("s", "n", 4294967295u);
    p.setBooleanValue("s", "b", 2);
    p.addStanza("t");
    p.addEntryComment("s", "k", "c");
    p.deleteKey("s", "absent");
    p.deleteStanza("t");
    EXPECT_EQ(recorder.seen, "2s.k 2s.n 2s.b 0t.- 1s.absent 1t.- ");
    EXPECT_EQ(value(p, "k") + value(p, "n") + value(p, "b"),
              "h\xC3\xA9"
              "4294967295yes");
    EXPECT_TRUE(p.isModified());
    p.setValue("s", "o", "x", 1);
    EXPECT_THROW(p.setValue("s", "o", "y"), Refused);
    EXPECT_THROW(p.setValue("s", "k", "y", 1), Refused);
    EXPECT_THROW(p.setIntegerValue("s", "o", 1), Refused);
    EXPECT_EQ(p.checkAccess("s", "o", 1), 1);
    EXPECT_EQ(p.checkAccess("s", "k", 0), 0);
    p.setValue("s", "o", "");  // an empty value is not checked
    EXPECT_FALSE(p.isObfuscated("s", "o"));
    recorder.seen.clear();
    ztest::write(file, "[s]\nk = 1\n");
    p.reload(file.c_str());
    EXPECT_EQ(recorder.seen, "");
    EXPECT_FALSE(p.isModified());
    EXPECT_EQ(value(p, "k"), "1");
}

TEST_F(ZProperties, EntryIterator) {
    ztest::write(file, "[s]\na=1\na=2\nb=\n[x.y]\n.y=3\n");
    Properties p(file.c_str(), 1);
    {
        ZStanzaIterator_5_1 i(p, "s");
        EXPECT_THROW(i.entryName(), ZPropertiesIteratorException_5_1);
        EXPECT_EQ(i.keyCount(), 2);
        EXPECT_EQ(i.nextEntry()->size(), 2u);
        EXPECT_STREQ(i.entryName(), "a");
        EXPECT_STREQ(i.entryValue(1), "2");
        EXPECT_THROW(i.entryValue(2), Refused);
        EXPECT_THROW(i.entryValue(-1), Refused);
        i.nextEntry();
        EXPECT_EQ(i.valueCount(), 0);
        EXPECT_THROW(i.entryValue(0), Refused);
        EXPECT_THROW(i.nextEntry(), ZPropertiesIteratorException_5_1);
        p.deleteKey("s", "b");  // under the iterator
        EXPECT_STREQ(i.entryName(), "b");
        EXPECT_EQ(i.entryValue(0), nullptr);
        p.reload(nullptr);
        EXPECT_EQ(i.keyCount(), 2);
    }
    EXPECT_EQ(ZStanzaIterator_5_1(p, "absent").hasMore(), 0);
    EXPECT_EQ(ZStanzaIterator_5_1(p).keyCount(), 0);
    EXPECT_THROW(ZStanzaIterator_5_1(p, nullptr), Refused);
    EXPECT_EQ(p.numValues("x.y"), 1);
}

TEST_F(ZProperties, ValuesIterator) {
    Properties p(1);
    Recorder recorder;
    p.addObserver(&recorder);
    {
        Values i(p, "s", "k", ZPropUTF8String, Values::ANY);
        EXPECT_EQ(i.valueCount() + i.hasMore() + i.isValid(), 0);
        EXPECT_THROW(i.removeValue(), ZPropertiesIteratorException_5_1);
        i.addValue("1");
        EXPECT_TRUE(i.isValid());
        i.addValue("h\xC3\xA9");
        i.addValue("3");
        EXPECT_EQ(recorder.seen, "2s.k ");
        EXPECT_THROW(i.nextValue(), ZPropertiesIteratorException_5_1);
    }
    p.resetModified();
    {
        Values i(p, "s", "k", ZPropUTF8String, Values::PLAIN);
        char const* text = nullptr;
        i.nextValue();
        EXPECT_STREQ(i.nextValue(text), "h\xC3\xA9");
        i.removeValue();
        EXPECT_TRUE(p.isModified());
        EXPECT_STREQ(i.nextValue(text), "3");
        i.changeValue("4");
        EXPECT_EQ(i.valueCount(), 2);
        i.removeValue();
        i.removeValue();
        EXPECT_THROW(i.removeValue(), ZPropertiesIteratorException_5_1);
        EXPECT_EQ(i.valueCount(), 0);
        i.addValue("5");
        p.deleteKey("s", "k");  // under the iterator
        EXPECT_FALSE(i.isValid() || i.hasMore());
    }
    {
        Values i(p, "s", "e", ZPropLCString, Values::ANY);
        i.addValue("");
        i.addValue("a");
        i.addValue("b");
        p.setValue("s", "e", "c");  // under the iterator
        i.addValue("d");
        EXPECT_EQ(i.valueCount(), 2);
        EXPECT_TRUE(i.isValid());
    }
    for (int j = 0; j < 2; ++j) p.addValue("s", "o", j ? "x" : "y", 1);
    EXPECT_THROW(Values(p, "s", "o", ZPropLCString, Values::PLAIN), Refused);
    EXPECT_THROW(Values(p, "s", "o", static_cast<ZPropertyStringType>(1), Values::ANY), Refused);
    EXPECT_THROW(Values(p, "s", "o", ZPropLCString, static_cast<Values::ZPropIter_valtype>(3)),
                 Refused);
    EXPECT_THROW(Values(p, nullptr, "o", ZPropLCString, Values::ANY), Refused);
    Values i(p, "s", "o", ZPropLCString, Values::ANY);
    i.nextValue();
    i.removeValue();  // the first obfuscated value takes the others with it
    EXPECT_FALSE(p.isObfuscated("s", "o"));
    EXPECT_EQ(p.numValues("s", "o"), 0);
}

TEST_F(ZProperties, FilesThatCannotBeReadOrWritten) {
    Properties p(1);
    EXPECT_THROW(p.load(nullptr), Refused);
    EXPECT_THROW(p.store(""), Refused);
    EXPECT_THROW(p.reload(nullptr), Refused);
    expectIO([&] { p.load(file.c_str()); }, "fopen(r)", ENOENT, file);
    expectIO([&] { p.load(folder.path().c_str()); }, "fopen(r)", EISDIR, folder.path());
    p.setValue("s", "k", "v");
    p.store(nullptr);  // the name of the failed load
    EXPECT_EQ(ztest::read(file), "\n[s]\nk = v\n");
    expectIO([&] { p.store((folder / "no/f").c_str()); }, "access()", ENOENT, folder / "no");
    EXPECT_NO_THROW(z_5_1::checkFileAccess((folder / "new").c_str()));
    ZLCString_5_1 name;
    z_5_1::makeObfuscatedDBName("/a/b", name);
    EXPECT_STREQ(name.getChars(), "/a/b.obf");
    z_5_1::makeObfuscatedDBName("b", name);
    EXPECT_EQ(name.getChars(), std::filesystem::current_path().string() + "/b.obf");
}

TEST_F(ZProperties, StoreKeepsTheFileAndFailsWhole) {
    std::string const text = "[s]\nk = a longer value\n";
    ztest::write(file, text);
    chmod(file.c_str(), 0640);
    struct stat before, after;
    stat(file.c_str(), &before);
    Properties p(file.c_str(), 1);
    p.setValue("s", "k", "v");
    p.store(nullptr);
    stat(file.c_str(), &after);
    EXPECT_EQ(ztest::read(file), "[s]\nk = v\n");
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mode, before.st_mode);
    // No room for more: nothing is changed, and the change is still unsaved.
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit;
    getrlimit(RLIMIT_FSIZE, &limit);
    struct rlimit const small = {20, limit.rlim_max};
    p.setValue("s", "k", std::string(100, 'x').c_str());
    setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_THROW(p.store(nullptr), ZPropertiesIOException_5_1);
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(ztest::read(file), "[s]\nk = v\n");
    EXPECT_TRUE(p.isModified());
    p.store(nullptr);
    EXPECT_EQ(ztest::read(file), "[s]\nk = " + std::string(100, 'x') + "\n");
    // A database entry without obfuscated values goes with the next store.
    p.setValue("configuration-database", "file", "x");
    p.store(nullptr);
    EXPECT_EQ(ztest::read(file).find("file ="), std::string::npos);
    EXPECT_FALSE(p.exists("configuration-database", "file"));
    EXPECT_TRUE(p.exists("configuration-database"));
}

TEST_F(ZProperties, OtherProcessesAreNeverWaitedFor) {
    ztest::write(file, "[s]\nk = 1\n");
    Properties p(file.c_str(), 1);
    p.setValue("s", "k", "2");
    whileLocked(F_RDLCK, [&] {
        Properties reader(file.c_str(), 1);
        EXPECT_EQ(value(reader, "k"), "1");
        expectIO([&] { p.store(nullptr); }, "fcntl()", EAGAIN, file);
    });
    whileLocked(F_WRLCK, [&] {
        expectIO([&] { Properties reader(file.c_str(), 1); }, "fcntl()", EAGAIN, file);
    });
    EXPECT_EQ(ztest::read(file), "[s]\nk = 1\n");
    EXPECT_TRUE(p.isModified());
}

TEST_F(ZProperties, SharedInstancesFollowTheirFile) {
    ZAbstractPropertiesFactory_5_1& factory = Properties::getFactory();
    auto shared = [&](int force) {
        return ZProperties_5_1::getPropertiesFor(file.c_str(), factory, force);
    };
    auto rewrite = [&](char const* text, time_t time) {
        ztest::write(file, text);
        struct utimbuf const times = {time, time};
        utime(file.c_str(), &times);
    };
    EXPECT_THROW(shared(0), ZPropertiesIOException_5_1);
    EXPECT_THROW(ZProperties_5_1::getPropertiesFor("", factory, 0), Refused);
    rewrite("[s]\nk = 1\n", 1000);
    ZProperties_5_1* p = shared(0);
    rewrite("[s]\nk = 2\n", 1000);
    EXPECT_EQ(shared(0), p);
    EXPECT_EQ(value(*p, "k"), "1");
    shared(1);
    EXPECT_EQ(value(*p, "k"), "2");
    rewrite("[s]\nk = 3\n", 2000);
    shared(0);
    EXPECT_EQ(value(*p, "k"), "3");
    p->setValue("s", "k", "mine");
    rewrite("[s]\nk = 4\n", 3000);
    shared(0);
    EXPECT_EQ(value(*p, "k"), "mine");
    // A reload that fails leaves what was there, and the next call tries again.
    p->resetModified();
    whileLocked(F_WRLCK, [&] { EXPECT_THROW(shared(0), ZPropertiesIOException_5_1); });
    EXPECT_EQ(value(*p, "k"), "mine");
    shared(0);
    EXPECT_EQ(value(*p, "k"), "4");
    rewrite("[s]\nk\n", 4000);
    EXPECT_THROW(shared(0), ZPropertiesInvalidDataException_5_1);
    EXPECT_EQ(value(*p, "k"), "4");
}

TEST_F(ZProperties, ArgumentsMayBeTheStoresOwn) {
    ztest::write(file, "[s]\na=1\na=2\nb=x\n");
    Properties p(file.c_str(), 1);
    Recorder recorder;
    p.addObserver(&recorder);
    auto text = [](ZArrayList_5_1* list, unsigned int i) {
        return static_cast<ZLCString_5_1*>(list->get(i))->getChars();
    };
    p.getValues("s", "a", *p.get("s", "a"), ZPropLCString);
    EXPECT_EQ(p.numValues("s", "a"), 2);
    p.setValue("s", "a", text(p.get("s", "a"), 1));
    EXPECT_EQ(value(p, "a"), "2");
    p.setValue("s", "b", text(p.get("s", "b"), 0));
    p.deleteKey("s", text(p.keyNames("s"), 1));
    EXPECT_EQ(recorder.seen, "2s.a 2s.b 1s.b ");
    p.addValue("s", "o", "1", 1);
    p.addValue("s", "o", "2", 1);
    p.setValue("s", "o", text(p.get("s", "o"), 1), 1);
    EXPECT_EQ(value(p, "o"), "2");
    ZArrayList_5_1 names(1, 1);
    p.keyNames("s", names);
    p.getValues("s", text(&names, 0), names, ZPropUTF8String);
    EXPECT_STREQ(static_cast<ZUTF8String_5_1*>(names.get(0))->getChars(), "2");
    p.setValue("s", "a", file.c_str());
    p.reload(text(p.get("s", "a"), 0));
    EXPECT_EQ(value(p, "b"), "x");
}

// Two instances of one file in one process: record locks would not keep them apart.
TEST_F(ZProperties, ThreadsWithInstancesOfTheirOwn) {
    std::string const big(2000, 'x');
    ztest::write(file, "[s]\nk = 1\n");
    std::thread threads[4];
    for (int t = 0; t < 4; ++t) {
        threads[t] = std::thread([&, t] {
            Properties p(1);
            for (int i = 0; i < 50; ++i) {
                p.reload(file.c_str());
                EXPECT_EQ(p.count("s"), 1);
                p.setValue("s", "k", i % 2 ? big.c_str() : std::to_string(t).c_str());
                p.store(nullptr);
            }
        });
    }
    for (std::thread& t : threads) t.join();
}

TEST_F(ZProperties, ThreadsOnOneInstance) {
    ztest::write(file, "[s]\nk = 1\n");
    Properties p(file.c_str(), 1);
    std::thread threads[4];
    for (int t = 0; t < 4; ++t) {
        threads[t] = std::thread([&, t] {
            std::string const own = "k" + std::to_string(t);
            for (int i = 0; i < 200; ++i) {
                p.setIntegerValue("s", own.c_str(), static_cast<unsigned int>(i));
                EXPECT_EQ(p.getIntegerValue("s", own.c_str(), 1, 0), static_cast<unsigned int>(i));
                if (i % 50 == 0) p.store(nullptr);
                Values values(p, "s", "k", ZPropLCString, Values::ANY);
                EXPECT_STREQ(values.nextValue()->getChars(), "1");
            }
        });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(p.count("s"), 5);
}
