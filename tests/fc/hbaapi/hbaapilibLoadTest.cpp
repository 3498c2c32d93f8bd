// Loading and freeing the vendors' libraries.
#include <dlfcn.h>
#include <sys/stat.h>
#include <filesystem>
#include <string>
#include <vector>

#include "fc/hbaapi/HbaFixture.h"

namespace hbaapilibLoadTest {
namespace {

using Calls = std::vector<std::string>;

class HbaLoad : public HbaTest {
protected:
    bool warned(const std::string& reason) const {
        return hasLogged(
            host,
            "WARNING HBA_API: The HBA library first (/usr/lib/libfirst-hba.so) is not used: " + reason + ".");
    }
    // Loads a list whose first library is to fail and whose second is good.
    void expectFirstFails(const Calls& calls) {
        first.names = {"first-0"};
        second.names = {"second-0"};
        loadBoth();
        EXPECT_EQ(first.calls, calls);
        EXPECT_EQ(status(0), 2u);
        EXPECT_EQ(name(0), "first") << "the entry is used up";
        EXPECT_EQ(status(1), 1u);
        EXPECT_EQ(libraries.openCount(), 1) << "the failed library is closed";
        EXPECT_EQ(HBA_GetNumberOfAdapters(), 1u);
        EXPECT_EQ(adapterName(0), "second-0");
    }
};

TEST_F(HbaLoad, AMissingListGivesOneAndNoAdapters) {
    EXPECT_EQ(HBA_LoadLibrary(), 1u);
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 0u);
    EXPECT_EQ(adapterName(0), "none");
    for (std::size_t i = 0; i < 32; ++i) EXPECT_EQ(status(i), 0u);
    EXPECT_TRUE(
        hasLogged(host, "DEBUG HBA_API: There is no list of HBA libraries /etc/config/mev/vok/hba.conf."));
}

TEST_F(HbaLoad, AListThatCannotBeOpenedGivesOneAndAWarning) {
    std::filesystem::create_symlink("hba.conf", host.path("/etc/config/mev/vok/hba.conf"));
    EXPECT_EQ(HBA_LoadLibrary(), 1u);
    EXPECT_TRUE(hasLogged(host,
                          "WARNING HBA_API: The list of HBA libraries /etc/config/mev/vok/hba.conf can't be "
                          "opened: Too many levels of symbolic links."));
}

TEST_F(HbaLoad, AListThatIsADirectoryGivesOneAndAWarning) {
    std::filesystem::create_directory(host.path("/etc/config/mev/vok/hba.conf"));
    EXPECT_EQ(HBA_LoadLibrary(), 1u);
    EXPECT_TRUE(hasLogged(host,
                          "WARNING HBA_API: The list of HBA libraries /etc/config/mev/vok/hba.conf can't be "
                          "opened: Is a directory."));
}

TEST_F(HbaLoad, AListThatIsAPipeWithoutAWriterDoesNotMakeTheLoadWait) {
    ASSERT_EQ(::mkfifo(host.path("/etc/config/mev/vok/hba.conf").c_str(), 0600), 0);
    EXPECT_EQ(HBA_LoadLibrary(), 1u);
    EXPECT_TRUE(hasLogged(host,
                          "WARNING HBA_API: The list of HBA libraries /etc/config/mev/vok/hba.conf can't be "
                          "opened: Invalid argument."));
}

TEST_F(HbaLoad, ALibraryIsOpenedLazilyAndLoadedAfterItsVersionWasAsked) {
    loadBoth();
    const auto opened = libraries.opened();
    ASSERT_EQ(opened.size(), 2u);
    EXPECT_EQ(opened[0].name, host.path("/usr/lib/libfirst-hba.so"));
    EXPECT_EQ(opened[0].flags, RTLD_LAZY);
    EXPECT_EQ(opened[1].name, host.path("/usr/lib/libsecond-hba.so"));
    EXPECT_EQ(first.calls, (Calls{"register", "version", "load"}));
    EXPECT_EQ(second.calls, (Calls{"register", "version", "load"}));
    EXPECT_EQ(status(0), 1u);
    EXPECT_EQ(status(1), 1u);
    EXPECT_EQ(status(2), 0u);
}

TEST_F(HbaLoad, ABareNameIsLeftToTheLoader) {
    provideAs("libbare.so");
    load("bare libbare.so\n");
    ASSERT_EQ(libraries.opened().size(), 1u);
    EXPECT_EQ(libraries.opened()[0].name, "libbare.so");
    EXPECT_EQ(status(0), 1u);
}

TEST_F(HbaLoad, ARelativePathStaysOnTheHost) {
    provideAs(host.path("hba/libbare.so"));
    load("bare hba/libbare.so\n");
    EXPECT_EQ(status(0), 1u);
}

TEST_F(HbaLoad, ALibraryThatCannotBeOpenedUsesItsEntryUp) {
    libraries.symbols.erase(host.path(firstPath));
    libraries.failure = "cannot open shared object file";
    loadBoth();
    EXPECT_EQ(status(0), 2u);
    EXPECT_EQ(status(1), 1u);
    EXPECT_TRUE(warned("cannot open shared object file"));
}

TEST_F(HbaLoad, ALibraryThatIsNotOpenedForNoTextualReasonIsNamedToo) {
    libraries.symbols.erase(host.path(firstPath));
    loadBoth();
    EXPECT_TRUE(warned("it can't be opened"));
}

TEST_F(HbaLoad, ALibraryWithoutRegisterFunctionUsesItsEntryUpAndIsClosed) {
    libraries.symbols[host.path(firstPath)] = {
        {"HBA_RegisterLibraryV2", &FakeVendorLibrary<1>::registerLibrary}};
    expectFirstFails({});
    EXPECT_TRUE(warned("it has no HBA_RegisterLibrary"));
}

TEST_F(HbaLoad, AFailedRegistrationFailsTheLibrary) {
    first.registerResult = 5;
    expectFirstFails({"register"});
    EXPECT_TRUE(warned("HBA_RegisterLibrary returned 5"));
}

TEST_F(HbaLoad, AMissingVersionHandlerFailsTheLibrary) {
    first.handlers.GetVersionHandler = nullptr;
    expectFirstFails({"register"});
    EXPECT_TRUE(warned("it has no GetVersionHandler"));
}

TEST_F(HbaLoad, AVersionOfZeroFailsTheLibrary) {
    first.version = 0;
    expectFirstFails({"register", "version"});
    EXPECT_TRUE(warned("its version is 0"));
}

TEST_F(HbaLoad, AMissingLoadHandlerFailsTheLibrary) {
    first.handlers.LoadLibraryHandler = nullptr;
    expectFirstFails({"register", "version"});
    EXPECT_TRUE(warned("it has no LoadLibraryHandler"));
}

TEST_F(HbaLoad, AFailedLoadHandlerFailsTheLibraryWhichIsNotFreed) {
    first.loadResult = 32;  // "already loaded" is no success either
    expectFirstFails({"register", "version", "load"});
    EXPECT_TRUE(warned("LoadLibraryHandler returned 32"));
}

TEST_F(HbaLoad, ALibraryThatRegistersNothingFails) {
    first.handlers = {};
    expectFirstFails({"register"});
}

TEST_F(HbaLoad, FreeingCallsEachLoadedLibraryClosesItAndReturnsTheLastResult) {
    first.freeResult = 7;
    second.freeResult = 9;
    loadBoth();
    EXPECT_EQ(HBA_FreeLibrary(), 9u);
    EXPECT_EQ(first.calls.back(), "free");
    EXPECT_EQ(second.calls.back(), "free");
    EXPECT_EQ(status(0), 2u);
    EXPECT_EQ(status(1), 2u);
    EXPECT_EQ(status(2), 0u);
    EXPECT_EQ(libraries.openCount(), 0);
}

TEST_F(HbaLoad, FreeingReturnsTheResultOfTheLastLibraryThatHasAHandler) {
    first.freeResult = 7;
    second.handlers.FreeLibraryHandler = nullptr;
    loadBoth();
    EXPECT_EQ(HBA_FreeLibrary(), 7u);
    EXPECT_EQ(status(1), 2u) << "freed without a handler too";
    EXPECT_EQ(libraries.openCount(), 0);
}

TEST_F(HbaLoad, FreeingWithoutALibraryReturnsZero) {
    EXPECT_EQ(HBA_FreeLibrary(), 0u);
}

TEST_F(HbaLoad, FreeingSkipsAFailedLibrary) {
    first.loadResult = 1;
    loadBoth();
    EXPECT_EQ(HBA_FreeLibrary(), 0u);
    EXPECT_EQ(first.calls.back(), "load");
}

TEST_F(HbaLoad, FreeingTwiceCallsALibraryOnce) {
    first.freeResult = 7;
    loadBoth();
    HBA_FreeLibrary();
    first.calls.clear();
    EXPECT_EQ(HBA_FreeLibrary(), 0u);
    EXPECT_EQ(first.calls, Calls{});
}

TEST_F(HbaLoad, AfterFreeingTheAdaptersAreListedUntilTheNextCountAndNotOpened) {
    first.names = {"first-0"};
    first.handles = {{"first-0", 5}};
    listBoth();
    const HBA_HANDLE handle = open("first-0");
    HBA_FreeLibrary();
    first.calls.clear();
    EXPECT_EQ(adapterName(0), "first-0");
    EXPECT_EQ(open("first-0"), 0u);
    EXPECT_EQ(HBA_GetAdapterAttributes(handle, nullptr), 1u);
    EXPECT_EQ(first.calls, Calls{});
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 0u);
    EXPECT_EQ(adapterName(0), "none");
}

TEST_F(HbaLoad, ALibraryListedTwiceIsLoadedForEachEntry) {
    first.names = {"first-0"};
    load("one /usr/lib/libfirst-hba.so\ntwo /usr/lib/libfirst-hba.so\n");
    EXPECT_EQ(first.calls, (Calls{"register", "version", "load", "register", "version", "load"}));
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 2u);
    EXPECT_EQ(adaptertable()[1].library, 1u);
    HBA_FreeLibrary();
    EXPECT_EQ(libraries.openCount(), 0);
}

TEST_F(HbaLoad, AfterASecondLoadNoAdapterIsListedBeforeTheNextCount) {
    first.names = {"first-0"};
    first.handles = {{"first-0", 5}};
    listBoth();
    EXPECT_EQ(HBA_LoadLibrary(), 0u);
    EXPECT_EQ(adapterName(0), "none");
    EXPECT_EQ(open("first-0"), 0u);
}

TEST_F(HbaLoad, AHandleFromBeforeASecondLoadIsPassedOnAsNoAdapters) {
    first.names = {"first-0"};
    first.handles = {{"first-0", 5}};
    listBoth();
    const HBA_HANDLE handle = open("first-0");
    EXPECT_EQ(HBA_LoadLibrary(), 0u);
    first.attributesHandle = 99;
    HBA_GetAdapterAttributes(handle, nullptr);
    EXPECT_EQ(first.attributesHandle, 0u);
}

TEST_F(HbaLoad, ASecondLoadFreesTheLibrariesAndBeginsAtEntryZero) {
    first.names = {"first-0", "first-1"};
    second.names = {"second-0"};
    loadBoth();
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 3u);
    EXPECT_EQ(HBA_LoadLibrary(), 0u);
    EXPECT_EQ(first.calls, (Calls{"register", "version", "load", "free", "register", "version", "load"}));
    EXPECT_EQ(libraries.openCount(), 2);
    EXPECT_EQ(name(0), "first");
    EXPECT_EQ(name(1), "second");
    EXPECT_EQ(status(2), 0u);
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 3u);
}

TEST_F(HbaLoad, ASecondLoadOfAShorterListLeavesNoEntryOfTheLongerOne) {
    first.names = {"first-0"};
    second.names = {"second-0"};
    listBoth();
    load("second /usr/lib/libsecond-hba.so\n");
    EXPECT_EQ(name(0), "second");
    EXPECT_EQ(name(1), "");
    EXPECT_EQ(status(1), 0u);
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 1u);
    EXPECT_EQ(adapterName(0), "second-0");
}

TEST_F(HbaLoad, ASecondLoadClearsTheVendorHandle) {
    first.names = {"first-0"};
    first.handles = {{"first-0", 5}};
    listBoth();
    open("first-0");
    EXPECT_EQ(HBA_LoadLibrary(), 0u);
    EXPECT_EQ(librarytable()[0].vendorHandle, 0u);
}

TEST_F(HbaLoad, ASecondLoadWithoutTheListLeavesNoLibrary) {
    first.names = {"first-0"};
    first.handles = {{"first-0", 5}};
    listBoth();
    const HBA_HANDLE handle = open("first-0");
    std::filesystem::remove(host.path("/etc/config/mev/vok/hba.conf"));
    EXPECT_EQ(HBA_LoadLibrary(), 1u);
    EXPECT_EQ(libraries.openCount(), 0);
    EXPECT_EQ(HBA_GetAdapterAttributes(handle, nullptr), 1u);
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 0u);
}

TEST_F(HbaLoad, AHundredLoadsUseNoMoreEntriesThanOne) {
    writeList("first /usr/lib/libfirst-hba.so\n");
    for (int i = 0; i < 100; ++i) EXPECT_EQ(HBA_LoadLibrary(), 0u);
    EXPECT_EQ(status(0), 1u);
    EXPECT_EQ(status(1), 0u);
    EXPECT_EQ(libraries.openCount(), 1);
}

TEST_F(HbaLoad, TheVersionOfTheLayerIsOne) {
    EXPECT_EQ(HBA_GetVersion(), 1u);
    first.version = 2;
    loadBoth();
    EXPECT_EQ(HBA_GetVersion(), 1u);
}

}  // namespace
}  // namespace hbaapilibLoadTest
