#include "platform/access/vokLibrary.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <utility>

#include "support/FakeHost.h"
#include "support/FakeLibraries.h"

namespace vokLibraryTest {
namespace {

int one() {
    return 1;
}
int two(int) {
    return 2;
}

class Library : public testing::Test {
protected:
    Library() { libraries.symbols["libvendor.so"] = {{"vendor_one", one}, {"vendor_two", two}}; }
    bool resolveBoth(vokLibrary& library) {
        return library.resolve({{"vendor_one", first}, {"vendor_two", second}});
    }

    FakeHost host;
    FakeLibraries& libraries = host.part<FakeLibraries>();
    int (*first)() = nullptr;
    int (*second)(int) = nullptr;
};

TEST_F(Library, IsOpenedWithItsFlagsAndClosedWithItsOwner) {
    {
        vokLibrary library;
        EXPECT_FALSE(library);
        EXPECT_TRUE(library.open("libvendor.so", RTLD_NOW | RTLD_LOCAL));
        EXPECT_TRUE(library);
        ASSERT_EQ(libraries.opened().size(), 1u);
        EXPECT_EQ(libraries.opened()[0].name, "libvendor.so");
        EXPECT_EQ(libraries.opened()[0].flags, RTLD_NOW | RTLD_LOCAL);
        EXPECT_EQ(libraries.openCount(), 1);
    }
    EXPECT_EQ(libraries.openCount(), 0);
}

TEST_F(Library, StoresTheAddressesOfItsSymbols) {
    vokLibrary library;
    ASSERT_TRUE(library.open("libvendor.so", RTLD_NOW));
    ASSERT_TRUE(resolveBoth(library));
    EXPECT_EQ(first(), 1);
    EXPECT_EQ(second(0), 2);
    EXPECT_EQ(library.missingSymbol(), "");
    EXPECT_EQ(library.reason(), "");
    EXPECT_EQ(library.find("vendor_one"), reinterpret_cast<void*>(one));
    EXPECT_EQ(library.find("vendor_three"), nullptr);
}

TEST_F(Library, ThatCanNotBeOpenedSaysWhy) {
    libraries.failure = "wrong ELF class";
    vokLibrary library;
    EXPECT_FALSE(library.open("libnone.so", RTLD_NOW));
    EXPECT_FALSE(library);
    EXPECT_EQ(library.reason(), "wrong ELF class");
    EXPECT_FALSE(resolveBoth(library));
    EXPECT_EQ(library.find("vendor_one"), nullptr);
    EXPECT_TRUE(library.close());
}

TEST_F(Library, WithoutOneSymbolStoresNoneAndNamesIt) {
    libraries.symbols["libvendor.so"].erase("vendor_two");
    libraries.failure = "undefined symbol";
    vokLibrary library;
    ASSERT_TRUE(library.open("libvendor.so", RTLD_NOW));
    EXPECT_FALSE(resolveBoth(library));
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(library.missingSymbol(), "vendor_two");
    EXPECT_EQ(library.reason(), "undefined symbol");
    EXPECT_TRUE(library);  // stays open until its owner closes it
    EXPECT_EQ(libraries.openCount(), 1);
}

TEST_F(Library, OfTwoMissingSymbolsTheFirstIsNamed) {
    libraries.symbols["libvendor.so"].clear();
    vokLibrary library;
    ASSERT_TRUE(library.open("libvendor.so", RTLD_NOW));
    EXPECT_FALSE(resolveBoth(library));
    EXPECT_EQ(library.missingSymbol(), "vendor_one");
}

TEST_F(Library, AnEarlierReasonIsNotReported) {
    libraries.failure = "of an earlier call";
    ASSERT_EQ(libraries.open("libother.so", RTLD_NOW), nullptr);
    libraries.failure.clear();
    vokLibrary library;
    EXPECT_FALSE(library.open("libnone.so", RTLD_NOW));
    EXPECT_EQ(library.reason(), "");
}

TEST_F(Library, ASuccessfulCallClearsThePreviousReason) {
    libraries.failure = "no such file";
    vokLibrary library;
    EXPECT_FALSE(library.open("libnone.so", RTLD_NOW));
    ASSERT_TRUE(library.open("libvendor.so", RTLD_NOW));
    EXPECT_EQ(library.reason(), "");
}

TEST_F(Library, OpeningAnotherClosesTheFirst) {
    libraries.symbols["libother.so"] = {};
    vokLibrary library;
    ASSERT_TRUE(library.open("libvendor.so", RTLD_NOW));
    ASSERT_TRUE(library.open("libother.so", RTLD_NOW));
    EXPECT_EQ(libraries.openCount(), 1);
    EXPECT_TRUE(library.close());
    EXPECT_EQ(libraries.openCount(), 0);
    EXPECT_TRUE(library.close());  // already closed
    EXPECT_EQ(libraries.openCount(), 0);
}

TEST_F(Library, MovesWithItsOwner) {
    vokLibrary library;
    ASSERT_TRUE(library.open("libvendor.so", RTLD_NOW));
    vokLibrary other(std::move(library));
    EXPECT_TRUE(other);
    EXPECT_TRUE(resolveBoth(other));
    vokLibrary third;
    ASSERT_TRUE(third.open("libvendor.so", RTLD_NOW));
    third = std::move(other);
    EXPECT_EQ(libraries.openCount(), 1);
    third.close();
    EXPECT_EQ(libraries.openCount(), 0);
}

TEST_F(Library, StaysLoadedWhileACallbackMayRun) {
    vokLibrary library;
    ASSERT_TRUE(library.open("libvendor.so", RTLD_NOW));
    vokLibrary::Hold callback = library.hold();
    EXPECT_FALSE(library.close());
    EXPECT_FALSE(library);
    EXPECT_EQ(libraries.openCount(), 1);
    callback.release();
    EXPECT_EQ(libraries.openCount(), 1);  // for the life of the process: the last call may still be running
}

TEST_F(Library, StaysLoadedAfterItsDestructorToo) {
    vokLibrary::Hold callback;
    {
        vokLibrary library;
        ASSERT_TRUE(library.open("libvendor.so", RTLD_NOW));
        callback = library.hold();
    }
    EXPECT_EQ(libraries.openCount(), 1);
}

TEST_F(Library, IsClosedAfterTheLastHoldIsReleased) {
    vokLibrary library;
    ASSERT_TRUE(library.open("libvendor.so", RTLD_NOW));
    std::optional<vokLibrary::Hold> one(library.hold());
    vokLibrary::Hold other = library.hold();
    one.reset();
    vokLibrary::Hold moved(std::move(other));
    other.release();  // moved from
    moved = library.hold();
    moved.release();
    moved.release();
    EXPECT_TRUE(library.close());
    EXPECT_EQ(libraries.openCount(), 0);
}

TEST_F(Library, AHoldOfAnEarlierLoadingDoesNotHoldTheNext) {
    vokLibrary library;
    ASSERT_TRUE(library.open("libvendor.so", RTLD_NOW));
    const vokLibrary::Hold callback = library.hold();
    EXPECT_FALSE(library.close());
    ASSERT_TRUE(library.open("libvendor.so", RTLD_NOW));
    EXPECT_TRUE(library.close());
    EXPECT_EQ(libraries.openCount(), 1);
}

TEST_F(Library, ThatIsNotOpenCanBeHeldWithoutEffect) {
    vokLibrary library;
    const vokLibrary::Hold nothing = library.hold();
    ASSERT_TRUE(library.open("libvendor.so", RTLD_NOW));
    EXPECT_TRUE(library.close());
}

}  // namespace
}  // namespace vokLibraryTest
