// ZProperties_test: conversions, iterators, notices, files and their locks, shared instances.
// Subsystem: properties, layer 5. Test: tests/ZProperties_test.cpp
#include <Z/ZException.h>
#include <Z/ZStanzaFileProperties.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <utime.h>

#include <climits>

#include "ZTest.h"

namespace {

using namespace std::string_literals;
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

struct ZProperties : testing::Test {
    void expectIO(std::function<void()> const& run, char const* api, int error,
                  std::string const& name) {
        auto const e = ztest::caught<ZPropertiesIOException_5_1>(run);
        std::string const found = e.who() + (" "s + e.api()) + " " + e.propFile();
        EXPECT_EQ(found, "src/Z/ZProperties "s + api + " " + name);
        EXPECT_EQ(e.excerrno(), error);
    }
    std::string value(ZProperties_5_1 const& p, char const* key) {
        ZLCString_5_1 out;
        p.getValue("s", key, out, 0, "(none)");
        return out.getChars();
    }
    // Another process runs `run` while this one holds the file under a record lock.
    void whileLocked(short type, std::function<void()> const& run) {
        struct flock lock = {};
        lock.l_type = type;
        int const fd = open(file.c_str(), O_RDWR);
        ASSERT_EQ(fcntl(fd, F_SETLK, &lock), 0);
        EXPECT_EQ(ztest::inProcess([&] { return run(), HasFailure(); }), 0);
        close(fd);
    }

    ztest::Folder folder;
    std::string const file = folder / "f";
};

}  // namespace

TEST_F(ZProperties, NumbersAndBooleans) {
    // -1: it is none.
    std::pair<char const*, int> const numbers[] = {
        {"", 0},        {"0", 0},      {"0x1F", 31},      {"0XaF", 175}, {"010", 8},
        {" \t+12", 12}, {"12abc", -1}, {"12 ", -1},       {"0x", -1},    {"08", -1},
        {"-", -1},      {"TRUE", -1},  {"-4294967295", 1}};
    for (auto const& [text, expected] : numbers) {
        unsigned int number = 7;
        EXPECT_EQ(ZProperties_5_1::convertToInt(text, number), expected >= 0) << text;
        EXPECT_TRUE(expected < 0 || int(number) == expected) << text << " " << number;
    }
    for (char const* text :
         {"4294967295", "4294967296", "-1", "-4294967296", "99999999999999999999999"}) {
        unsigned int number = 7;
        EXPECT_TRUE(ZProperties_5_1::convertToInt(text, number) && number == UINT_MAX) << text;
    }
    std::pair<char const*, int> const booleans[] = {
        {"", 0},  {"f", 0}, {"False", 0}, {"0", 0},     {"nO", 0},   {"1", 1},    {"TRUE", 1},
        {"Y", 1}, {"t", 1}, {"off", -1},  {"yes ", -1}, {"0x1", -1}, {"010", -1}, {"-", -1}};
    for (auto const& [text, expected] : booleans) {
        int truth = 7;
        EXPECT_EQ(ZProperties_5_1::convertToBoolean(text, truth), expected >= 0) << text;
        EXPECT_EQ(truth, expected == 1) << text;
    }
}

TEST_F(ZProperties, GettersAndTheirFailures) {
    Properties p(ztest::write(file, "[s]\nn=12\nb=maybe\ne=\nl=1\nl=2\n"), 1);
    EXPECT_EQ(p.getIntegerValue("s", "n", 1, 0) + p.getIntegerValue("s", "e", 0, 5), 12u + 5u);
    EXPECT_TRUE(p.getBooleanValue("t", "n", 0, 1) == 1 && value(p, "l") == "1");
    auto const e = ztest::caught<ZPropertiesInvalidValueException_5_1>(
        [&] { p.getBooleanValue("s", "b", 0, 0); });
    EXPECT_TRUE(e.code() == 41 && e.propFile() == file && e.value() == "maybe"s);
    for (char const* key : {"e", "absent"}) {
        auto const read = [&] { p.getIntegerValue("s", key, 1, 0); };
        EXPECT_STREQ(ztest::caught<ZPropertiesMissingPropertyException_5_1>(read).key(), key);
    }
    ZLCString_5_1 out;
    EXPECT_THROW(p.getValue("s", "n", out, 1, ""), Refused);
    EXPECT_THROW(p.getValue("", "n", out, 0, nullptr), Refused);
    EXPECT_THROW(p.exists("s", nullptr), Refused);
    ZArrayList_5_1 owning(1, 1), sharing(1, 0);
    EXPECT_THROW(p.getValues("s", "l", sharing, ZPropLCString), Refused);
    EXPECT_THROW(p.getValues("s", "l", owning, static_cast<ZPropertyStringType>(3)), Refused);
    EXPECT_THROW(p.keyNames(sharing), Refused);
    EXPECT_THROW(p.numValues("s"), Refused);  // no dot
    EXPECT_THROW(p.isObfuscated("s", "absent"), Refused);
    EXPECT_TRUE(p.numValues("s.t") == 0 && p.numValues("s", "l") == 2);
    EXPECT_TRUE(p.count("s") == 4 && p.count("t") == 0);
}

TEST_F(ZProperties, SettersChangeAndAnnounce) {
    Properties p(1);
    Recorder recorder;
    p.addObserver(&recorder), p.addObserver(nullptr);
    p.setValue("s", "k", ZUTF8String_5_1("h\xC3\xA9"), 0);
    p.setIntegerValue("s", "n", 4294967295u);
    p.setBooleanValue("s", "b", 2);
    p.addStanza("t");
    p.addEntryComment("s", "k", "c");
    p.deleteKey("s", "absent");
    p.deleteStanza("t");
    EXPECT_EQ(recorder.seen, "2s.k 2s.n 2s.b 0t.- 1s.absent 1t.- ");
    EXPECT_EQ(value(p, "n") + value(p, "b") + value(p, "k"), "4294967295yesh\xC3\xA9");
    EXPECT_TRUE(p.isModified());
    p.setValue("s", "o", "x", 1);
    EXPECT_THROW(p.setValue("s", "o", "y"), Refused);
    EXPECT_THROW(p.setValue("s", "k", "y", 1), Refused);
    EXPECT_THROW(p.setIntegerValue("s", "o", 1), Refused);
    EXPECT_TRUE(p.checkAccess("s", "o", 1) == 1 && p.checkAccess("s", "k", 0) == 0);
    p.setValue("s", "o", "");  // an empty value is not checked
    EXPECT_FALSE(p.isObfuscated("s", "o"));
    recorder.seen.clear();
    p.reload(ztest::write(file, "[s]\nk = 1\n"));
    EXPECT_TRUE(recorder.seen.empty() && !p.isModified());
    EXPECT_EQ(value(p, "k"), "1");
}

TEST_F(ZProperties, EntryIterator) {
    Properties p(ztest::write(file, "[s]\na=1\na=2\nb=\n"), 1);
    {
        ZStanzaIterator_5_1 i(p, "s");
        EXPECT_THROW(i.entryName(), ZPropertiesIteratorException_5_1);
        EXPECT_EQ(i.keyCount(), 2);
        EXPECT_EQ(i.nextEntry()->size(), 2u);
        EXPECT_EQ(i.entryName() + "="s + i.entryValue(1), "a=2");
        for (int index : {2, -1}) EXPECT_THROW(i.entryValue(index), Refused);
        EXPECT_EQ(i.nextEntry()->size(), 0u);
        EXPECT_THROW(i.entryValue(0), Refused);
        EXPECT_THROW(i.nextEntry(), ZPropertiesIteratorException_5_1);
        p.deleteKey("s", "b");  // under the iterator
        EXPECT_TRUE(i.entryName() == "b"s && i.entryValue(0) == nullptr);
        p.reload(nullptr);
        EXPECT_EQ(i.keyCount(), 2);
    }
    EXPECT_FALSE(ZStanzaIterator_5_1(p, "absent").hasMore() || ZStanzaIterator_5_1(p).keyCount());
    EXPECT_THROW(ZStanzaIterator_5_1(p, nullptr), Refused);
}

TEST_F(ZProperties, ValuesIterator) {
    Properties p(1);
    Recorder recorder;
    p.addObserver(&recorder);
    {
        Values i(p, "s", "k", ZPropUTF8String, Values::ANY);
        EXPECT_EQ(i.valueCount() + i.hasMore() + i.isValid(), 0);
        EXPECT_THROW(i.removeValue(), ZPropertiesIteratorException_5_1);
        for (char const* value : {"1", "h\xC3\xA9", "3"}) i.addValue(value);
        EXPECT_TRUE(i.isValid() && recorder.seen == "2s.k ");
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
        i.removeValue(), i.removeValue();
        EXPECT_THROW(i.removeValue(), ZPropertiesIteratorException_5_1);
        i.addValue("5");
        p.deleteKey("s", "k");  // under the iterator
        EXPECT_FALSE(i.isValid() || i.hasMore());
    }
    {
        Values i(p, "s", "e", ZPropLCString, Values::ANY);
        for (char const* value : {"", "a", "b"}) i.addValue(value);
        p.setValue("s", "e", "c");  // under the iterator
        i.addValue("d");
        EXPECT_TRUE(i.valueCount() == 2 && i.isValid());
    }
    for (char const* value : {"x", "y"}) p.addValue("s", "o", value, 1);
    EXPECT_THROW(Values(p, "s", "o", ZPropLCString, Values::PLAIN), Refused);
    EXPECT_THROW(Values(p, "s", "o", static_cast<ZPropertyStringType>(1), Values::ANY), Refused);
    auto const noKind = static_cast<Values::ZPropIter_valtype>(3);
    EXPECT_THROW(Values(p, "s", "o", ZPropLCString, noKind), Refused);
    EXPECT_THROW(Values(p, nullptr, "o", ZPropLCString, Values::ANY), Refused);
    Values i(p, "s", "o", ZPropLCString, Values::ANY);
    i.nextValue();
    i.removeValue();  // the first obfuscated value takes the others with it
    EXPECT_FALSE(p.isObfuscated("s", "o") || p.numValues("s", "o"));
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

    // A file that is there is written anew, not replaced.
    chmod(ztest::write(file, "[s]\nk = a longer value than that\n"), 0640);
    struct stat before, after;
    stat(file.c_str(), &before);
    p.store(nullptr);
    stat(file.c_str(), &after);
    EXPECT_EQ(ztest::read(file), "\n[s]\nk = v\n");
    EXPECT_TRUE(after.st_ino == before.st_ino && after.st_mode == before.st_mode);
}

TEST_F(ZProperties, OtherProcessesAreNeverWaitedFor) {
    Properties p(ztest::write(file, "[s]\nk = 1\n"), 1);
    p.setValue("s", "k", "2");
    p.setValue("s", "hidden", "v", 1);
    whileLocked(F_RDLCK, [&] {
        Properties reader(file.c_str(), 1);
        EXPECT_EQ(value(reader, "k"), "1");
        expectIO([&] { p.store(nullptr); }, "fcntl()", EAGAIN, file);
        EXPECT_TRUE(p.isModified());
    });
    whileLocked(F_WRLCK, [&] {
        expectIO([&] { Properties reader(file.c_str(), 1); }, "fcntl()", EAGAIN, file);
    });
    EXPECT_EQ(ztest::read(file), "[s]\nk = 1\n");
    EXPECT_FALSE(std::filesystem::exists(file + ".obf"));
}

TEST_F(ZProperties, SharedInstancesFollowTheirFile) {
    auto const shared = [&](int force) {
        return ZProperties_5_1::getPropertiesFor(file.c_str(), Properties::getFactory(), force);
    };
    // The value that is found once this line stands in the file of this time.
    auto const found = [&](std::string const& line, time_t time, int force) {
        struct utimbuf const times = {time, time};
        utime(ztest::write(file, "[s]\n" + line + "\n"), &times);
        return value(*shared(force), "k");
    };
    EXPECT_THROW(shared(0), ZPropertiesIOException_5_1);
    EXPECT_THROW(ZProperties_5_1::getPropertiesFor("", Properties::getFactory(), 0), Refused);
    EXPECT_EQ(found("k = 1", 1000, 0), "1");
    ZProperties_5_1* const p = shared(0);
    EXPECT_EQ(found("k = 2", 1000, 0), "1");
    EXPECT_EQ(found("k = 2", 1000, 1), "2");
    EXPECT_EQ(found("k = 3", 2000, 0), "3");
    p->setValue("s", "k", "mine");
    EXPECT_EQ(found("k = 4", 3000, 0), "mine");
    // A reload that fails leaves what was there, and the next call tries again.
    p->resetModified();
    whileLocked(F_WRLCK, [&] { EXPECT_THROW(shared(0), ZPropertiesIOException_5_1); });
    EXPECT_THROW(found("k", 3000, 0), ZPropertiesInvalidDataException_5_1);
    EXPECT_EQ(value(*p, "k"), "mine");
    EXPECT_EQ(found("k = 4", 3000, 0), "4");
    EXPECT_EQ(shared(0), p);
}

TEST_F(ZProperties, ArgumentsMayBeTheStoresOwn) {
    Properties p(ztest::write(file, "[s]\na=1\na=2\nb=x\n"), 1);
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
    for (char const* value : {"1", "2"}) p.addValue("s", "o", value, 1);
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
    ztest::inThreads(4, [&](int t) {
        Properties p(1);
        for (int i = 0; i < 50; ++i) {
            p.reload(file.c_str());
            EXPECT_EQ(p.count("s"), 1);
            p.setValue("s", "k", i % 2 ? big.c_str() : std::to_string(t).c_str());
            p.store(nullptr);
        }
    });
    // A file that comes and goes, as a database may, is no obstacle.
    std::string const passing = folder / "passing";
    ztest::inThreads(2, [&](int t) {
        for (int i = 0; i < 20000; ++i) {
            if (t != 0) {
                EXPECT_NO_THROW(z_5_1::checkFileAccess(passing.c_str()));
            } else if (i % 8 == 0) {
                ztest::write(passing, ""), unlink(passing.c_str());
            }
        }
    });
}

TEST_F(ZProperties, ThreadsOnOneInstance) {
    Properties p(ztest::write(file, "[s]\nk = 1\n"), 1);
    ztest::inThreads(4, [&](int t) {
        std::string const own = "k" + std::to_string(t);
        for (unsigned int i = 0; i < 200; ++i) {
            p.setIntegerValue("s", own.c_str(), i);
            EXPECT_EQ(p.getIntegerValue("s", own.c_str(), 1, 0), i);
            if (i % 50 == 0) p.store(nullptr);
            Values values(p, "s", "k", ZPropLCString, Values::ANY);
            EXPECT_STREQ(values.nextValue()->getChars(), "1");
        }
    });
    EXPECT_EQ(p.count("s"), 5);
}
