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
        library.result = 7;
        auto const bad = ztest::caught<Failure>([&] { library.loadLibrary(); });
        void* const handle = library.getHandle();
        EXPECT_TRUE(bad.detail() == std::string("initialize") && handle);
        library.result = 0;
        EXPECT_EQ(library.loadLibrary(), 0);
        bool const other = name == std::string("bare.so") || name == std::string("full");
        EXPECT_EQ(library.getLastErrorMessage().isEmpty(), !other);
        EXPECT_EQ(*static_cast<int*>(library.resolveSymbol("library_sample")), 51);
        errno = EIO;
        auto const lost = ztest::caught<ZSharedLibraryResolveException_5_1>(
            [&] { library.resolveSymbol("none"); });
        EXPECT_TRUE(lost.symbol() == std::string("none") && std::strstr(lost.detail(), "none"));
        EXPECT_EQ(lost.rc(), 0);
        Library const same(library);
        EXPECT_TRUE(!same.getHandle() && same == library && same.hash() == library.hash());
        EXPECT_EQ(library.unloadLibrary() + zdlclose_5_1(handle, nullptr), 0);
        EXPECT_EQ(ztest::caught<Failure>([&] { library.unloadLibrary(); }).rc(), ENOENT);
    }
    Library none("/none/x");
    auto const e = ztest::caught<Failure>([&] { none.loadLibrary(); });
    EXPECT_TRUE(std::strstr(e.detail(), "/none/x:") == e.detail());  // not "/none/x.so:"
    EXPECT_EQ(zdlerror_5_1(), nullptr) << "the retries' message";
}

TEST(ZSharedLibrary, Modes) {
    ZSharedLibrary_5_1 self;
    self.setLocalScope(1);
    EXPECT_TRUE(self.getFlags() == 0 && self.loadLibrary() == 0);
    self.setLazyResolution(0), self.setLazyResolution(1), self.setLocalScope(0);
    EXPECT_TRUE(self.getFlags() == 257 && self.getLazyResolution() && !self.getLocalScope());
    self.setLazyResolution(0), self.setLocalScope(1);
    EXPECT_TRUE(self.getFlags() == 2 && !self.getLazyResolution());
    Library refused(std::filesystem::path(Z_SAMPLE).replace_extension());
    refused.setLocalScope(0);  // which alone the loader refuses, at the retries too
    EXPECT_EQ(ztest::caught<Failure>([&] { refused.loadLibrary(); }).rc(), 0);
    self = refused;
    EXPECT_TRUE(!self.getHandle() && self == refused && self.getFlags() == 256);
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
