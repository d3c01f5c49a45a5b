// ZFileMap_test: the modes, files made and extended, errors, and what is released.
// Subsystem: concurrency, layer 2. Test: tests/ZFileMap_test.cpp
#include <Z/ZFileMap.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <climits>
#include <csignal>

#include "ZTest.h"

namespace {

using Map = ZUnixFileMap_5_1;
using std::filesystem::directory_iterator;

struct ZFileMap : testing::Test {
    // Open descriptors of all files and mappings of the folder's.
    long held() {
        std::string const maps = ztest::read("/proc/self/maps");
        long count = std::distance(directory_iterator("/proc/self/fd"), directory_iterator());
        for (auto at = maps.find(folder.path()); at != maps.npos; ++count)
            at = maps.find(folder.path(), at + 1);
        return count - before;
    }
    Map map(char const* name, int mode = Map::readOnly) {
        return Map((folder / name).c_str(), static_cast<Map::zmapmode>(mode), 5);
    }
    ztest::Folder folder;
    long before = 0;
    int err = 77;
};

TEST_F(ZFileMap, Modes) {
    struct {
        int mode;
        char const* name;
        unsigned long length;
        int err;
        long sizeAfter;  // 0 for none
    } const rows[] = {
        {Map::readOnly, "empty", 0, EINVAL, 0},       {Map::create, "missing", 0, EINVAL, 0},
        {Map::readWrite, "missing", 100, ENOENT, 0},  {Map::readOnly, "abc", 0, 0, 3},
        {Map::readOnly, "abc", ULONG_MAX, ENOMEM, 3}, {Map::create, "abc", 2, 0, 3},
        {Map::create, "abc", 5000, 0, 5000},          {-7, "abc", 4, 0, 3},
        {Map::create, "missing", 4096, 0, 4096},      {Map::readOnly, "fifo", 1, ENODEV, 0},
        {Map::create, "fifo", 1, ENODEV, 0},
    };
    mkfifo((folder / "fifo").c_str(), 0600);
    before = held();
    for (auto const& row : rows) {
        SCOPED_TRACE(testing::Message() << row.mode << " " << row.name << " " << row.length);
        ztest::write(folder / "empty", ""), ztest::write(folder / "abc", "abc");
        Map file = map(row.name, row.mode);
        auto* const address = static_cast<char*>(file.mapfile(&err, row.length));
        EXPECT_EQ(err, row.err);
        EXPECT_EQ(file.address(), address);
        EXPECT_EQ(held(), address ? 2 : 0);
        struct stat status = {};
        stat((folder / row.name).c_str(), &status);
        EXPECT_EQ(status.st_size, row.sizeAfter);
        if (row.err != 0) continue;
        EXPECT_EQ(file.length(), row.length ? row.length : 3);
        bool const made = row.name[0] == 'm', writes = row.mode != Map::readOnly;
        EXPECT_STREQ(address, made ? "" : "abc");
        EXPECT_TRUE(!made || (status.st_mode & 0777) == 0600);
        if (writes) address[0] = 'X';
        EXPECT_EQ(ztest::read(folder / row.name)[0], writes ? 'X' : 'a');
    }
}

TEST_F(ZFileMap, ReleasesAndCopies) {
    ztest::write(folder / "abc", "abc");
    Map file = map("abc"), other = map("abc");
    before = held();
    int const next = dup(1);
    close(next);
    file.mapfile(nullptr, 0), file.mapfile(&err, 2);
    EXPECT_EQ(held(), 2) << "the first mapping is gone";
    EXPECT_EQ(fcntl(next, F_GETFD), FD_CLOEXEC);
    Map const copy(file);
    EXPECT_STREQ(copy.fileName().getChars(), (folder / "abc").c_str());
    file = *&file, file = copy, other = copy;
    EXPECT_EQ(file.length(), 2u);
    EXPECT_TRUE(!copy.address() && !other.address());
    other = file;
    EXPECT_STREQ(static_cast<char*>(other.address()), "abc");
    close(next);
    for (int error : {EBADF, 77}) {
        err = 77;
        file.unmapfile(&err);
        EXPECT_EQ(err, error);
    }
}

TEST_F(ZFileMap, SystemLimits) {
    ztest::write(folder / "large", "");
    ASSERT_EQ(truncate((folder / "large").c_str(), (1LL << 32) + 5), 0);
    map("large").mapfile(&err, 0);
    EXPECT_EQ(err, sizeof(long) == 4 ? EOVERFLOW : 0);
    auto error = [&] { return map("new", Map::create).mapfile(&err, 5000) ? 0 : err; };
    int const tooLarge = ztest::inProcess([&] {
        struct rlimit const small = {100, 100};
        signal(SIGXFSZ, SIG_IGN), setrlimit(RLIMIT_FSIZE, &small);
        return error();
    });
    EXPECT_EQ(tooLarge, EFBIG);
    // Descriptor 0 stands for no file, and is closed.
    int const zero = ztest::inProcess([&] { return close(0), 10 * error() + fcntl(0, F_GETFD); });
    EXPECT_EQ(zero, 10 * ENOENT - 1);
}

}  // namespace
