// ZJavaProperties_test: which lines give which pairs, what is written, locks, failures.
// Subsystem: properties, layer 4. Test: tests/ZJavaProperties_test.cpp
#include <Z/ZException.h>
#include <Z/ZJavaProperties.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>

#include <cerrno>
#include <cstdarg>
#include <numeric>
#include <set>

#include "ZTest.h"

namespace {
int lockError = 0;
bool lockCancels = false;
int descriptor = -1;  // the last that was to be locked
short locked = -1;    // the type of the lock, -1 when it was not for the whole file
}  // namespace

extern "C" __attribute__((visibility("default"))) int fcntl(int fd, int command, ...) {
    static auto const real = reinterpret_cast<decltype(&fcntl)>(dlsym(RTLD_NEXT, "fcntl64"));
    va_list rest;
    va_start(rest, command);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    if (command != F_SETLK) return real(fd, command, argument);
    descriptor = fd;
    auto const& lock = *static_cast<struct flock const*>(argument);
    bool const whole = lock.l_whence == SEEK_SET && lock.l_start == 0 && lock.l_len == 0;
    locked = whole && real(fd, F_GETFD, nullptr) == FD_CLOEXEC ? lock.l_type : short{-1};
    if (lockCancels) pthread_cancel(pthread_self());
    return lockError == 0 ? real(fd, command, argument) : (errno = lockError, -1);
}

namespace {

namespace fs = std::filesystem;
using Java = ZJavaProperties_5_1;

struct Bad : ZUTF8String_5_1 {
    ZObject_5_1* clone() const override { return new Bad(*this); }
    char const* getChars() const override { throw 1; }
};

struct ZJavaProperties : testing::Test {
    ~ZJavaProperties() noexcept override { lockError = 0; }
    std::string stored(Java const& from) {
        EXPECT_TRUE(from.store(file.c_str()) == 0 && errno == 0 && locked == F_WRLCK);
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
        {"a=b\nb:b\nc b\n \td\t:\v\fb\ne=:c\nf = : d\n",
         "a = b\nb = b\nc = b\nd = b\ne = \\:c\nf = \\: d\n"},
        {"# a=1\n  !b=2\n\n \n :c=3\n =d\n e=5   \nf= \ng=\ne=5 \n", "e = 5 \nf = \ng = \n"},
        // A key without a value takes the next line with it, a wrong escape only its own.
        {"k\nx=1\ny=2\nk  \nx=1\na\\nb=1\na=x\\n1\nb=\\=\nc=\\u12G4\nz=2\n", "y = 2\nz = 2\n"},
        // A separator or a backslash that begins a line begins a key.
        {"=a=1\n\\b=2\na\\=\\:\\ \\\\\\\t\xC3\xA9=\\ \\\"\\'\\:\\\\\nb \\\\\n",
         "=a = 1\n\\b = 2\na=: \\\t\xC3\xA9 =  \"'\\:\\\\\nb = \\\\\n"},
        {"a=x\\\n   y\nb=\\\r\n\\\\c\nd=1\\\n\ne=2\\\n \\\n3\n",
         "a = xy\nb = \\\\c\nd = 1\ne = 23\n"},
        {"a=1\\\n\nb=2\\\n\nc=3\n", "b = 2\nc = 3\n", "b"},
        // Two different line ends are one, and another may follow.
        {"k\r\nx=1\r\ny=2\r\nk\n\rx=1\n\rz=2\n\rk\r\rw=1\rk\r\n\r\nv=1\r\n",
         "v = 1\nw = 1\ny = 2\nz = 2\n"},
        {"a=1\0002\nb=1\\u00002\na\0b=3\n"s, "a = 3\nb = 1\n"},
        {"y=1\nz=9", "y = 1\n"},
        {"y=1\nz=9\\u00", "y = 1\nz = 9\n", "z"},
        {"a=1\nb=2\nc=3\n", "a = 1\nb = 2\n", "b"},
        {"a=1\nb=\nc=3\n", "a = 1\nb = \n", "b"},
        {"a=" + std::string(9000, 'v') + "\n", "a = " + std::string(9000, 'v') + "\n"},
        {"a=\\u00e9\\U20Ac\\uD83d\nb=x:\xE2\x82\xAC\xEF\xBF\xBF\xC2\x80 = # ! \"~ \\u000az\n",
         "a = \\u00e9\\u20ac\\ud83d\nb = x\\:\\u20ac\\uffff\\u0080 = # ! \"~ \nz\n"},
        // No characters of 16 bits, and some that are cut off by the end.
        {"a=\xF0\x9F\x98\x80.\x7F\xBFz\nb=\xC3:\xE2zz\nc=a\xC3\nd=a\xE2\x82\n",
         "a = \\u\\u\\u\\u.\\u\\uz\nb = \\u00fa\\u2eba\nc = a\\u\nd = a\\u\\u\n"},
    };
    for (Row const& row : rows) {
        Java fresh;
        EXPECT_EQ(fresh.load(ztest::write(file, row.text), row.stop), 1);
        EXPECT_EQ(locked, F_RDLCK);
        std::istringstream text(stored(fresh).substr(2));
        std::multiset<std::string> lines;
        for (std::string line; std::getline(text, line);) lines.insert(line + "\n");
        EXPECT_EQ(std::accumulate(lines.begin(), lines.end(), ""s), row.expected) << row.text;
    }
}

TEST_F(ZJavaProperties, WritesInTheOrderOfItsMap) {
    for (char const c : std::string("zjedazj")) java.setValue(ZUTF8String_5_1(c), ZLCString_5_1(c));
    // Two share a bucket: the one that came first comes first.
    EXPECT_EQ(stored(java), "#\nj = j\ne = e\nz = z\nd = d\na = a\n");
    EXPECT_EQ(stored(Java()), "#\n");  // over the longer text
    ZUTF8String_5_1 out("q");          // both arguments at once
    java.setValue(out, ZLCString_5_1("v"));
    java.getValue(out, out);
    EXPECT_STREQ(out.getChars(), "v");
    java.getValue(out, out);
    EXPECT_TRUE(out.isEmpty());
    EXPECT_THROW(java.clone(), ZAbstractNotImplementedException_5_1);
}

TEST_F(ZJavaProperties, FailuresLeaveNoPartOfAFile) {
    int loaded = -1;
    auto const prints = [&](std::string const& path, char const* part) {
        std::string const text = ztest::reported([&] { loaded = java.load(path.c_str()); });
        return text.find(part) != std::string::npos;
    };
    auto const refused = [&](std::string const& path) {
        auto const e = ztest::caught<ZPropertiesIOException_5_1>([&] { java.store(path.c_str()); });
        return e.api() + (" " + std::to_string(e.excerrno()));
    };
    EXPECT_TRUE(java.load(nullptr) == 1 && java.load("") == 1);
    EXPECT_THROW(java.store(nullptr), ZInvalidParameterException_5_1);
    EXPECT_THROW(java.store(""), ZInvalidParameterException_5_1);
    EXPECT_TRUE(prints(file, "fopen(r)") && loaded == 0);
    EXPECT_EQ(refused(folder.path()), "fopen(wt) " + std::to_string(EISDIR));
    EXPECT_TRUE(prints("/tmp", "Unexpected end of file encounted while reading /tmp.") &&
                loaded == 1);
    lockError = ENOLCK;
    EXPECT_TRUE(refused(file) == "fcntl() " + std::to_string(ENOLCK) && !fs::exists(file));
    lockError = EAGAIN;  // somebody else stores there
    EXPECT_TRUE(refused(file) == "fcntl() " + std::to_string(EAGAIN) && fs::exists(file));
    ztest::write(file, "former");
    EXPECT_TRUE(prints(file, "fcntl()") && loaded == 0);
    EXPECT_THROW(java.store(file.c_str()), ZPropertiesIOException_5_1);
    EXPECT_EQ(ztest::read(file), "former");
    lockError = 0;
    // Once it is written over, it goes with the exception; of a link, the link goes.
    java.setValue(ZUTF8String_5_1("k"), Bad());
    EXPECT_THROW(java.store(file.c_str()), int);
    EXPECT_FALSE(fs::exists(file));
    fs::create_symlink("target", file);
    EXPECT_THROW(java.store(file.c_str()), int);
    EXPECT_TRUE(!fs::is_symlink(file) && fs::exists(folder / "target"));
    // A full disk is told by errno alone, also when it is met before the end.
    fs::create_symlink("/dev/full", file);
    for (std::size_t const size : {1u, 10000u}) {
        Java full;
        full.setValue(ZUTF8String_5_1("k"), ZUTF8String_5_1(std::string(size, 'v').c_str()));
        EXPECT_TRUE(full.store(file.c_str()) == 0 && errno == ENOSPC);
    }
    // A device is no part of a file.
    EXPECT_THROW(java.store(file.c_str()), int);
    EXPECT_TRUE(fs::is_symlink(file));
}

TEST_F(ZJavaProperties, ACancelledThreadClosesTheFile) {
    ztest::write(file, "b=2\nc=3\n");
    bool returned = false;
    lockCancels = true;
    ztest::inThreads(1, [&](int) { java.load(file.c_str(), "b"), returned = true; });
    lockCancels = false;
    EXPECT_TRUE(!returned && fcntl(descriptor, F_GETFD) == -1);
    java.load(file.c_str());  // the stop key went with the thread
    EXPECT_NE(stored(java).find("c = 3"), std::string::npos);
}

}  // namespace
