// ZJavaProperties_test: what lines give which pairs, what is written, locks, failures,
// cancellation. Subsystem: properties, layer 4. Test: tests/ZJavaProperties_test.cpp
#include <Z/ZException.h>
#include <Z/ZJavaProperties.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <numeric>
#include <set>

#include "Strings.h"
#include "ZTest.h"

namespace {
bool locksFail = false;
}

extern "C" __attribute__((visibility("default"))) int fcntl(int fd, int command, ...) {
    static auto const real = reinterpret_cast<decltype(&fcntl)>(dlsym(RTLD_NEXT, "fcntl64"));
    va_list rest;
    va_start(rest, command);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    if (command == F_SETLK && locksFail) return errno = ENOLCK, -1;
    return real(fd, command, argument);
}

namespace {

namespace fs = std::filesystem;
using Java = ZJavaProperties_5_1;

std::string value(Java const& java, std::string const& key) {
    ZUTF8String_5_1 out("former");
    java.getValue(ZUTF8String_5_1(key.c_str()), out);
    return ztest::bytes(out);
}

struct Bad : ZUTF8String_5_1 {
    ZObject_5_1* clone() const override { return new Bad(*this); }
    char const* getChars() const override { throw 1; }
};

struct ZJavaProperties : testing::Test {
    std::string stored(Java const& java) {
        EXPECT_TRUE(java.store(file.c_str()) == 0 && errno == 0);
        return ztest::read(file);
    }
    ztest::Folder folder;
    std::string const file = folder / "f";
};

TEST_F(ZJavaProperties, Lines) {
    struct Row {
        std::string text;
        char const* expected;  // what is written then, without the first line, sorted
        char const* stop = nullptr;
    };
    using std::string_literals::operator""s;
    Row const rows[] = {
        {"a=b\nb:b\nc b\n \te\t:\v\fb", "a = b\nb = b\nc = b\n"},
        {"a==b\nb:=c\nc = : d\nd =f=\\:g\n", "a = =b\nb = =c\nc = \\: d\nd = f=\\:g\n"},
        {"a=b   \nb= \nc=\n", "a = b   \nb = \nc = \n"},
        {"# a=1\n  !b=2\n\n \n :c=3\n =d\n e=5\n", "e = 5\n"},
        // A separator or a backslash that begins a line begins a key.
        {"=a=1\n\\b=2\n", "=a = 1\n\\b = 2\n"},
        // A key without a value takes the next line with it, a wrong escape only its own.
        {"k\nx=1\ny=2\nk  \nx=1\nz=2\n", "y = 2\nz = 2\n"},
        {"a\\nb=1\na=x\\n1\nb=\\=\nc=\\u12G4\nd=1\n", "d = 1\n"},
        {"a\\=\\:\\ \\\\\\\t=1\n", "a=: \\\t = 1\n"},
        {"a=\\ \\\"\\'\\:\\\\\nb \\\\\n", "a =  \"'\\:\\\\\nb = \\\\\n"},
        {"a=line1\\\n   line2\nb=\\\r\n\\\\c\n", "a = line1line2\nb = \\\\c\n"},
        {"a=1\\\n\nb=2\\\n  \\\n3\n", "a = 1\nb = 23\n"},
        {"a=1\\\n\nb=2\\\n\nc=3\n", "b = 2\nc = 3\n", "b"},
        // Two different line ends are one, and another may follow.
        {"k\r\nx=1\r\ny=2\r\nk\n\rx=1\n\rz=2\n\r", "y = 2\nz = 2\n"},
        {"k\r\rx=1\rk\r\n\r\ny=1\r\n", "x = 1\ny = 1\n"},
        {"a=\\u00e9\\U20Ac\\uD83d\nb=\xC3\xBF\n", "a = \\u00e9\\u20ac\\ud83d\nb = \\u00ff\n"},
        {"a=1\0002\nb=1\\u00002\na\0b=3\n"s, "a = 3\nb = 1\n"},
        {"y=1\nz=9", "y = 1\n"},
        {"y=1\nz=9", "y = 1\nz = 9\n", "z"},
        {"z", "z = \n", "z"},
        {"z=\\n", "z = \n", "z"},
        {"a=1\nb=2\nc=3\n", "a = 1\nb = 2\n", "b"},
        {"a=1\nb=\nc=3\n", "a = 1\nb = \n", "b"},
        {"a=1\na=2\n", "a = 2\n", ""},
    };
    for (Row const& row : rows) {
        Java java;
        ztest::write(file, row.text);
        EXPECT_EQ(row.stop ? java.load(file.c_str(), row.stop) : java.load(file.c_str()), 1);
        std::istringstream text(stored(java).substr(2));
        std::multiset<std::string> lines;
        for (std::string line; std::getline(text, line);) lines.insert(line + "\n");
        EXPECT_EQ(std::accumulate(lines.begin(), lines.end(), ""s), row.expected) << row.text;
    }
}

TEST_F(ZJavaProperties, WritesInTheOrderOfItsMap) {
    std::pair<char const*, char const*> const rows[] = {
        {"x:\xC3\xA9 = # ! \\ \"~ ", "x\\:\\u00e9 = # ! \\\\ \"~ "},
        {"\xE2\x82\xAC\xEF\xBF\xBF\xC2\x80", "\\u20ac\\uffff\\u0080"},
        {"\xF0\x9F\x98\x80.\x7F\xBFz\n", "\\u\\u\\u\\u.\\u\\uz\n"},
        {"\xC3:\xE2zz", "\\u00fa\\u2eba"},
        {"a\xC3", "a\\u"},  // cut off by the end
        {"a\xE2\x82", "a\\u\\u"},
    };
    for (auto const& [value, written] : rows) {
        Java java;
        java.setValue(ZLCString_5_1("k : \xC3\xA9"), ZLCConstString_5_1(value));
        EXPECT_EQ(stored(java), std::string("#\nk : \xC3\xA9 = ") + written + "\n");
    }
    Java java;
    ZHashKeyMap_5_1 map(10, 1);
    for (int n = 300; n-- > 0;) {
        ZUTF8String_5_1 const key(n);
        map.putEntry(&key, &key);
        java.setValue(key, ZUTF8String_5_1("former"));
        java.setValue(key, key);
    }
    ZArrayList_5_1 keys(2, 0);
    map.listKeys(keys);
    std::string expected = "#\n";
    for (unsigned i = 0; i < keys.size(); ++i) {
        auto const* const key = static_cast<ZUTF8String_5_1*>(keys.get(i));
        expected += ztest::bytes(*key) + " = " + ztest::bytes(*key) + "\n";
    }
    EXPECT_EQ(stored(java), expected);
    EXPECT_EQ(stored(Java()), "#\n");  // over the longer text
    ZUTF8String_5_1 key("17");         // both arguments at once
    java.getValue(key, key);
    EXPECT_STREQ(key.getChars(), "17");
    EXPECT_EQ(value(java, "absent"), "");
    EXPECT_THROW(java.clone(), ZAbstractNotImplementedException_5_1);
}

TEST_F(ZJavaProperties, LoadPrintsItsFailures) {
    Java java;
    int loaded = -1;
    auto const report = [&](std::string const& path) {
        return ztest::reported([&] { loaded = java.load(path.c_str()); });
    };
    EXPECT_TRUE(java.load(nullptr) == 1 && java.load("") == 1);
    std::string text = report(folder / "absent");
    EXPECT_EQ(loaded, 0);
    EXPECT_NE(text.find("fopen(r)"), std::string::npos) << text;
    text = report(folder.path());  // opens, cannot be read
    EXPECT_EQ(loaded, 1);
    EXPECT_NE(text.find("Unexpected end of file encounted while reading " + folder.path()),
              std::string::npos)
        << text;
    ztest::write(file, "a=1\n");
    // Another process holds the file: readers leave each other alone.
    for (short const type : {short{F_WRLCK}, short{F_RDLCK}}) {
        struct flock lock = {};
        lock.l_type = type;
        int const held = open(file.c_str(), O_RDWR);
        ASSERT_EQ(fcntl(held, F_SETLK, &lock), 0);
        auto const other = [&] {
            text = report(file);
            auto const e =
                ztest::caught<ZPropertiesIOException_5_1>([&] { java.store(file.c_str()); });
            EXPECT_EQ(loaded, type == F_RDLCK);
            EXPECT_EQ(text.find("fcntl()") == std::string::npos, type == F_RDLCK);
            EXPECT_TRUE(std::string(e.api()) == "fcntl()" && e.excerrno() == EAGAIN);
            return HasFailure();
        };
        EXPECT_EQ(ztest::inProcess(other), 0);
        close(held);
    }
    EXPECT_EQ(ztest::read(file), "a=1\n");
}

TEST_F(ZJavaProperties, StoreLeavesNoPartOfAFile) {
    Java java;
    java.setValue(ZUTF8String_5_1("a"), ZUTF8String_5_1("1"));
    auto const refused = [&](std::string const& path) {
        auto const e = ztest::caught<ZPropertiesIOException_5_1>([&] { java.store(path.c_str()); });
        return e.api() + (" " + std::to_string(e.excerrno()));
    };
    EXPECT_THROW(java.store(nullptr), ZInvalidParameterException_5_1);
    EXPECT_THROW(java.store(""), ZInvalidParameterException_5_1);
    EXPECT_EQ(refused(folder / "no/f"), "fopen(wt) " + std::to_string(ENOENT));
    EXPECT_EQ(refused(folder.path()), "fopen(wt) " + std::to_string(EISDIR));
    locksFail = true;
    EXPECT_EQ(refused(file), "fcntl() " + std::to_string(ENOLCK));
    EXPECT_FALSE(fs::exists(file));
    ztest::write(file, "former");
    EXPECT_EQ(refused(file), "fcntl() " + std::to_string(ENOLCK));
    locksFail = false;
    EXPECT_EQ(ztest::read(file), "former");
    // Once it is written over, it goes with the exception.
    Java bad;
    bad.setValue(ZUTF8String_5_1("k"), Bad());
    EXPECT_THROW(bad.store(file.c_str()), int);
    EXPECT_FALSE(fs::exists(file));
    // A full disk is told by errno alone.
    EXPECT_EQ(java.store("/dev/full"), 0);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_TRUE(fs::exists("/dev/full"));
}

TEST_F(ZJavaProperties, ACancelledThreadClosesTheFile) {
    auto const descriptors = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), {});
    };
    auto const before = descriptors();
    mkfifo(file.c_str(), 0600);
    struct Work {
        char const* path;
        Java java;
    } work{file.c_str(), {}};
    pthread_t thread;
    pthread_create(
        &thread, nullptr,
        [](void* w) -> void* {
            auto* const work = static_cast<Work*>(w);
            return work->java.load(work->path, "b"), nullptr;
        },
        &work);
    int const writer = open(file.c_str(), O_WRONLY);
    EXPECT_EQ(write(writer, "a=1\nb", 5), 5);
    usleep(20000), pthread_cancel(thread);
    void* result = nullptr;
    pthread_join(thread, &result);
    EXPECT_TRUE(result == PTHREAD_CANCELED && value(work.java, "a") == "1");
    close(writer);
    EXPECT_EQ(descriptors(), before);
    EXPECT_EQ(work.java.load(ztest::write(folder / "g", "b=2\nc=3\n")), 1);
    EXPECT_EQ(value(work.java, "c"), "3");  // the stop key went with the thread
}

}  // namespace
