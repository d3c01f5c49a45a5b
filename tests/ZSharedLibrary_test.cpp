// ZSharedLibrary_test: names with and without suffix, modes, failures, and the calls of the loader.
// Subsystem: platform, layer 2. Test: tests/ZSharedLibrary_test.cpp
#include <Z/ZException.h>
#include <Z/ZSharedLibrary.h>
#include <dlfcn.h>

#include "ZTest.h"

namespace {

using Failure = ZSharedLibraryLoadException_5_1;

struct Library : ZSharedLibrary_5_1 {
    explicit Library(std::string const& name) : ZSharedLibrary_5_1(name.c_str()) {}
    int initialize() override { return result; }
    int result = 0;
};

TEST(ZSharedLibrary, TriesTheOtherName) {
    ztest::Folder const folder;
    for (char const* there : {"bare", "full.so"}) std::filesystem::copy(Z_SAMPLE, folder / there);
    for (char const* name : {"bare", "bare.so", "full", "full.so"}) {
        Library library(folder / name);
        EXPECT_EQ(library.loadLibrary(), 0);
        bool const other = name == std::string("bare.so") || name == std::string("full");
        EXPECT_EQ(library.getLastErrorMessage().isEmpty(), !other);
        EXPECT_EQ(*static_cast<int*>(library.resolveSymbol("library_sample")), 51);
        void* const handle = library.getHandle();
        auto const lost = ztest::caught<ZSharedLibraryResolveException_5_1>(
            [&] { library.resolveSymbol("none"); });
        EXPECT_TRUE(lost.symbol() == std::string("none") && std::strstr(lost.detail(), "none"));
        library.result = 7;
        auto const bad = ztest::caught<Failure>([&] { library.loadLibrary(); });
        EXPECT_TRUE(bad.detail() == std::string("initialize") && library.getHandle() == handle);
        Library const copy(library);
        EXPECT_TRUE(!copy.getHandle() && copy == library && copy.hash() == library.hash());
        EXPECT_STREQ(copy.getLastErrorMessage(), library.getLastErrorMessage());
        EXPECT_EQ(library.unloadLibrary() + zdlclose_5_1(handle, nullptr), 0);
        EXPECT_EQ(ztest::caught<Failure>([&] { library.unloadLibrary(); }).rc(), ENOENT);
    }
    Library none("/none/x");
    auto const e = ztest::caught<Failure>([&] { none.loadLibrary(); });
    EXPECT_TRUE(std::strstr(e.detail(), "/none/x:") == e.detail());  // not "/none/x.so:"
}

TEST(ZSharedLibrary, Modes) {
    ZSharedLibrary_5_1 self;
    auto const local = [&](int on) { self.setLocalScope(on); };
    auto const lazy = [&](int on) { self.setLazyResolution(on); };
    struct {
        std::function<void(int)> set;
        int on, flags;
    } const rows[] = {{local, 1, 0}, {lazy, 1, 1}, {local, 0, 257}, {lazy, 0, 258}, {local, 1, 2}};
    for (auto const& row : rows) {
        row.set(row.on);
        EXPECT_TRUE(self.getFlags() == row.flags && self.getLazyResolution() == (row.flags & 1));
        EXPECT_TRUE(self.getLocalScope() == 0 && self.loadLibrary() == 0);
    }
}

TEST(ZSharedLibrary, LoaderCalls) {
    int e = -1;
    EXPECT_TRUE(!zdlopen_5_1(nullptr, 0, &e) && e == ENOENT && !zdlopen_5_1("/none", 0, nullptr));
    EXPECT_TRUE(zdlclose_5_1(nullptr, &e) == -1 && e == ENOENT && !zdlsym_5_1(nullptr, "", &e));
    std::unique_ptr<char, void (*)(void*)> const message(zdlerror_5_1(), std::free);
    EXPECT_TRUE(std::strstr(message.get(), "/none") && !zdlerror_5_1() && e == 0);
    void* const library = zdlopen_5_1(Z_SAMPLE, 0, &e);
    EXPECT_TRUE(dlsym(RTLD_DEFAULT, "library_sample"));  // for all
    EXPECT_TRUE(!zdlsym_5_1(library, nullptr, nullptr) && zdlclose_5_1(library, &e) == 0);
}

}  // namespace
