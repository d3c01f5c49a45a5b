// ZJavaProperties_test: which lines give which pairs, what is written, locks, failures.
// Subsystem: properties, layer 4. Test: tests/ZJavaProperties_test.cpp
#include <Z/ZException.h>
#include <Z/ZJavaProperties.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>

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

struct Bad : ZUTF8String_5_1 {
    ZObject_5_1* clone() const override { return new Bad(*this); }
    char const* getChars() const override { throw 1; }
};

struct ZJavaProperties : testing::Test {
    ~ZJavaProperties() noexcept override {}
    std::string stored(Java const& java) {
        EXPECT_TRUE(java.store(file.c_str()) == 0 && errno == 0);
        return ztest::read(file);
    }
    ztest::Folder folder;
    std::string const file = folder / "f";
    Java java;
};

TEST_F(ZJavaProperties, Lines) {
    struct Row {
        std::string text;
        std::string expected;  // what is written then, without the first line, sorted
        char const* stop = nullptr;
    };
    using std::string_literals::operator""s;
    Row const rows[] = {
        {"a=b\nb:b\nc b\n \td\t:\v\fb\n", "a = b\nb = b\nc = b\nd = b\n"},
        {"a==b\nb:=c\nc = : d\nd =f=\\:g\n", "a = =b\nb = =c\nc = \\: d\nd = f=\\:g\n"},
        {"a=b   \nb= \nc=\na=1\n", "a = 1\nb = \nc = \n"},
        {"# a=1\n  !b=2\n\n \n :c=3\n =d\n e=5   \n", "e = 5   \n"},
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
        {"y=1\nz=98", "y = 1\nz = 98\n", "z"},
        {"z", "z = \n", "z"},
        {"a=1\nb=2\nc=3\n", "a = 1\nb = 2\n", "b"},
        {"a=1\nb=\nc=3\n", "a = 1\nb = \n", "b"},
        {"a=" + std::string(9000, 'v') + "\n", "a = " + std::string(9000, 'v') + "\n"},
    };
    for (Row const& row : rows) {
        Java fresh;
        EXPECT_EQ(fresh.load(ztest::write(file, row.text), row.stop), 1);
        std::istringstream text(stored(fresh).substr(2));
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
        Java fresh;
        fresh.setValue(ZLCString_5_1("k : \xC3\xA9"), ZLCConstString_5_1(value));
        EXPECT_EQ(stored(fresh), std::string("#\nk : \xC3\xA9 = ") + written + "\n");
    }
    // 15 buckets; in one of them the first key comes first.
    std::string expected = "#\n";
    for (char const c : std::string("jezudtgwfvaqpcsbrmloniyhxk"))
        expected += std::string(1, c) + " = " + c + "\n";
    for (char c = 'z'; c >= 'a'; --c) {
        java.setValue(ZUTF8String_5_1(c), ZUTF8String_5_1("former"));
        java.setValue(ZUTF8String_5_1(c), ZLCString_5_1(c));
    }
    EXPECT_EQ(stored(java), expected);
    EXPECT_EQ(stored(Java()), "#\n");  // over the longer text
    ZUTF8String_5_1 out("q");          // both arguments at once
    java.getValue(out, out);
    EXPECT_STREQ(out.getChars(), "q");
    java.getValue(ZLCString_5_1("absent"), out);
    EXPECT_TRUE(out.isEmpty());
    EXPECT_THROW(java.clone(), ZAbstractNotImplementedException_5_1);
}

TEST_F(ZJavaProperties, LoadPrintsItsFailures) {
    int loaded = -1;
    auto const report = [&](std::string const& path) {
        return ztest::reported([&] { loaded = java.load(path.c_str()); });
    };
    EXPECT_TRUE(java.load(nullptr) == 1 && java.load("") == 1);
    std::string text = report(folder / "absent");
    EXPECT_TRUE(loaded == 0 && text.find("fopen(r)") != std::string::npos) << text;
    text = report("/tmp");  // opens, cannot be read
    EXPECT_NE(text.find("Unexpected end of file encounted while reading /tmp."), std::string::npos);
    EXPECT_EQ(loaded, 1);
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
    java.setValue(ZUTF8String_5_1("k"), Bad());
    EXPECT_THROW(java.store(file.c_str()), int);
    EXPECT_FALSE(fs::exists(file));
    // A full disk is told by errno alone.
    fs::create_symlink("/dev/full", file);
    EXPECT_EQ(Java().store(file.c_str()), 0);
    EXPECT_EQ(errno, ENOSPC);
    // A device is no part of a file.
    EXPECT_THROW(java.store(file.c_str()), int);
    EXPECT_TRUE(fs::exists(file));
}

TEST_F(ZJavaProperties, ACancelledThreadClosesTheFile) {
    auto const descriptors = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), {});
    };
    auto const before = descriptors();
    mkfifo(file.c_str(), 0600);
    auto const load = [](void* test) -> void* {
        auto* const t = static_cast<ZJavaProperties*>(test);
        return t->java.load(t->file.c_str(), "b"), nullptr;
    };
    pthread_t thread;
    pthread_create(&thread, nullptr, load, static_cast<ZJavaProperties*>(this));
    int const writer = open(file.c_str(), O_WRONLY);
    usleep(20000), pthread_cancel(thread);
    void* result = nullptr;
    pthread_join(thread, &result);
    close(writer);
    EXPECT_TRUE(result == PTHREAD_CANCELED && descriptors() == before);
    java.load(ztest::write(folder / "g", "b=2\nc=3\n"));  // the stop key went with the thread
    unlink(file.c_str());
    EXPECT_NE(stored(java).find("c = 3"), std::string::npos);
}

}  // namespace
