// Two releases in one process: this one, and a copy of it whose suffix is renamed.
#include "ZTest.h"
#include "release_user.h"

extern ReleaseUser const releaseUser_5_2;

TEST(Releases, BothAreUsedAtOnceAndStayApart) {
    ReleaseUser const* const users[] = {&releaseUser_5_1, &releaseUser_5_2};
    ASSERT_STRNE(users[0]->exceptionName, users[1]->exceptionName);
    ztest::Folder folder;
    std::string result[2];
    ztest::inThreads(2, [&](int t) {
        std::string const file = folder / (t ? "b.conf" : "a.conf");
        ztest::write(file, "[s]\nn = " + std::to_string(1000 * t) + "\n");
        result[t] = users[t]->work(file, 200);
    });
    EXPECT_EQ("200", result[0]);
    EXPECT_EQ("1200", result[1]);
    for (int t : {0, 1}) {
        EXPECT_EQ("ZPropertiesIOException;", users[t]->reports());
        EXPECT_TRUE(users[t]->catches(users[t]->raise));
        EXPECT_FALSE(users[t]->catches(users[1 - t]->raise));
    }
}
