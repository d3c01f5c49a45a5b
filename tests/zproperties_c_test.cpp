// zproperties_c_test: what leaves the C interface as an exception, threads; runs the checks in C.
// Subsystem: properties, layer 7. Test: tests/zproperties_c_test.cpp
#include <Z/ZException.h>
#include <Z/zproperties_c.h>
#include <dlfcn.h>

#include "ZTest.h"

extern "C" {
int check_from_c(char const* folder);
int call_under_guard(ZPROP_handle* file, char const* stanza, int* ends);

// Fails when that many copies were made; below 0 never.
int copiesLeft = -1;
__attribute__((visibility("default"))) char* strndup(char const* text, size_t length) noexcept {
    if (copiesLeft == 0) return nullptr;
    if (copiesLeft > 0) --copiesLeft;
    static auto const real =
        reinterpret_cast<char* (*)(char const*, size_t)>(dlsym(RTLD_NEXT, "strndup"));
    return real(text, length);
}
}

namespace {

struct CInterface : testing::Test {
    void SetUp() override {
        ztest::write(folder / "f", "[s]\nkey = a\nkey = b\nkey = c\nempty =\n");
        ASSERT_EQ(zstzPropOpen_5_1(&file, (folder / "f").c_str(), ZPROP_OPEN_READ), 0);
    }
    void TearDown() override { EXPECT_EQ(zstzPropClose_5_1(file), 0); }

    ztest::Folder folder;
    ZPROP_handle* file = nullptr;
    unsigned rc = 99;
};

TEST_F(CInterface, FromC) {
    ztest::write(folder / "file",
                 "[s]\nname = web\nn = 0x1F\nyes = TRUE\nempty =\nlist = a\nlist = b\nlist = c\n\n"
                 "[t]\nk = v\n");
    EXPECT_EQ(check_from_c(folder.path().c_str()), 0);
    EXPECT_EQ(ztest::read(folder / "copy"),
              "#top\n\n[s]\n#head\n\nname = db\n\n#line\nn = 4294967295\nempty =\n"
              "list = B\nlist = new\nlist = c\nno = yes\n\n");
}

TEST_F(CInterface, RefusalsThatLeave) {
    int place = 0;
    ZPROPValueRequest const unknown[] = {{5, "s", "key", 0, &place}};
    ZPROP_iter_handle *none = nullptr, *keys = nullptr, *values = nullptr;
    ASSERT_EQ(zstzPropIter_init_5_1(file, "s", nullptr, &keys), 0);
    ASSERT_EQ(zstzPropIter_init_5_1(file, "s", "key", &values), 0);
    EXPECT_EQ(zstzPropIter_next_5_1(keys, &rc) + zstzPropIter_next_5_1(keys, &rc), 2);
    std::function<void()> const calls[] = {
        [&] { zstzPropExists_5_1(file, "", nullptr, &rc); },
        [&] { zstzPropNumValues_5_1(file, "s", "", &rc); },
        [&] { zstzPropGetStringValue_5_1(file, "", "key", 0, &rc); },
        [&] { zstzPropGetIntegerValue_5_1(file, "s", "", 0, &rc); },
        [&] { zstzPropGetBooleanValue_5_1(file, "", "key", 0, &rc); },
        [&] { zstzPropGetValues_5_1(file, unknown, 1); },
        [&] { zstzPropIter_init_5_1(file, "s", "", &none); },
        [&] { zstzPropIter_getValue_5_1(keys, 0, &rc); },
        [&] { zstzPropIter_addValue_5_1(values, "a\nb"); },
    };
    rc = 99;
    for (auto const& call : calls) EXPECT_THROW(call(), ZInvalidParameterException_5_1);
    EXPECT_TRUE(rc == 99 && place == 0 && !none);
    int ends = 0;
    EXPECT_THROW(call_under_guard(file, "", &ends), ZInvalidParameterException_5_1);
    EXPECT_TRUE(call_under_guard(file, "s", &ends) == 2 && ends == 2);
    EXPECT_EQ(zstzPropIter_close_5_1(keys) + zstzPropIter_close_5_1(values), 0);
}

// What the failing request had made is gone, which the address sanitizer sees.
TEST_F(CInterface, MemoryRunsOutInABatch) {
    char* first = nullptr;
    char** second = nullptr;
    ZPROPValueRequest const requests[] = {{ZPROP_STRING, "s", "key", 0, &first},
                                          {ZPROP_STRING_LIST, "s", "key", 0, &second}};
    for (int copies = 0; copies < 4; ++copies) {
        copiesLeft = copies;
        EXPECT_THROW(zstzPropGetValues_5_1(file, requests, 2), ZOutOfMemoryException_5_1);
        copiesLeft = -1;
        EXPECT_TRUE((first != nullptr) == (copies > 0) && !second);
        EXPECT_EQ(zstzPropFreeValuesList_5_1(file, requests, 2), 0);
    }
}

TEST_F(CInterface, Threads) {
    ztest::inThreads(4, [this](int) {
        for (int i = 0; i < 400; ++i) {
            unsigned code = 99;
            ZPROP_iter_handle* values = nullptr;
            EXPECT_EQ(zstzPropIter_init_5_1(file, "s", "key", &values), 0);
            EXPECT_EQ(zstzPropIter_next_5_1(values, &code), 1);
            EXPECT_STREQ(zstzPropIter_getValue_5_1(values, 0, &code), "a");
            EXPECT_EQ(zstzPropIter_close_5_1(values), 0);
            EXPECT_EQ(zstzPropNumValues_5_1(file, "s", "key", &code), 3);
        }
    });
}

}  // namespace
