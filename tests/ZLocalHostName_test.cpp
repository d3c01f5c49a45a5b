// ZLocalHostName_test: the host's name; dumps, also cancelled; descriptors; no registry.
// Subsystem: platform, layer 3. Test: tests/ZLocalHostName_test.cpp
#include <Z/ZException.h>
#include <Z/ZLocalHostName.h>
#include <Z/ZWinRegistry.h>
#include <Z/zhex_dump.h>
#include <Z/zsetfileinheritance.h>
#include <fcntl.h>
#include <netdb.h>
#include <signal.h>

#include "ZTest.h"

static int failing = 0;  // 25: the name, 26: the resolver
extern "C" __attribute__((visibility("default"))) int gethostname(char* name, size_t) noexcept {
    std::strcpy(name, "host");
    errno = EIO;
    return failing == 25 ? -1 : 0;
}
extern "C" __attribute__((visibility("default"))) hostent* gethostbyname(char const* name) {
    static std::string official = name + std::string(".example");
    static hostent host = {official.data(), nullptr, 0, 0, nullptr};
    errno = EAGAIN;
    return failing == 26 ? nullptr : &host;
}

namespace {

TEST(ZLocalHostName, ReportsWhatFails) {
    char const* const rows[][3] = {
        {"host.example", "", ""}, {"", "Error: 25", "Information:\n5"}, {"", "Error: 26", "\n11"}};
    for (auto const& row : rows) {
        ZLCString_5_1 name("old");
        auto const said = ztest::reported([&] { name = ZLocalHostName_5_1::getLocalHostName(); });
        EXPECT_TRUE(name == row[0] && said.empty() == !failing) << said;
        EXPECT_TRUE(said.find(row[1]) != said.npos && said.find(row[2]) != said.npos) << said;
        failing = failing ? 26 : 25;
    }
    EXPECT_THROW(ZWinRegistry_5_1::exists("", nullptr), ZInvalidPlatformException_5_1);
}

int dump(FILE* stream, std::string const& data) {
    auto const* const bytes = reinterpret_cast<unsigned char const*>(data.data());
    return zhex_dump_5_1(stream, static_cast<int>(data.size()), bytes, "t");
}

std::string const digits = "0123456789a\x1F \xFD\xFE\xFF", blanks(46, ' ');
std::string const row =
    "\n\tt\n\n0000   30 31 32 33 34 35 36 37  38 39 61 1f 20 fd fe ff  *0123456789a. \xFD..*";

TEST(zhex_dump, ToTheByte) {
    std::string const said = ztest::reported([] {
        for (auto const& data : {digits, digits + "\x7F"}) EXPECT_EQ(dump(nullptr, data), 0);
        unsigned char const byte = 0;
        EXPECT_EQ(zhex_dump_5_1(stderr, -1, &byte, nullptr), 0);
        EXPECT_EQ(zhex_dump_5_1(stderr, 1, nullptr, nullptr), 0);
    });
    EXPECT_EQ(said, row + "\n" + row + "\n0010   7f" + blanks + "  *\x7F*\n\n\n");
}

// Of a thread cancelled in its dump, into a full pipe, nothing stays that keeps others from theirs:
// it ends when its reader goes.
TEST(zhex_dump, OneAfterTheOther) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    FILE* const full = fdopen(ends[1], "w");
    int rc = -1;
    std::thread writer([&] { rc = dump(full, std::string(99999, 'x')); });
    char byte;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
    pthread_cancel(writer.native_handle());
    signal(SIGPIPE, SIG_IGN), close(ends[0]), writer.join(), fclose(full);
    EXPECT_EQ(rc, 0);
    std::string wanted, all = ztest::reported([] {
                            ztest::inThreads(4, [](int) {
                                for (int i = 0; i < 50; ++i) dump(stderr, digits);
                            });
                        });
    for (int i = 0; i < 200; ++i) wanted += row + "\n";
    EXPECT_EQ(all, wanted);
}

TEST(zsetfileinheritance, WhateverIsAsked) {
    int const fd = open("/", O_RDONLY | O_CLOEXEC);
    EXPECT_TRUE(zsetfileinheritance_5_1(fd, 0) == 1 && fcntl(fd, F_GETFD) == 0 && close(fd) == 0);
    EXPECT_EQ(zsetfileinheritance_5_1(fd, 1), 0);
}

}  // namespace
