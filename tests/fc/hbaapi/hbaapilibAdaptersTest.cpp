// The list of adapters, opening them, and the check of handles.
#include <cstring>
#include <string>
#include <vector>

#include "fc/hbaapi/HbaFixture.h"

namespace hbaapilibAdaptersTest {
namespace {

class HbaAdapters : public HbaTest {};

TEST_F(HbaAdapters, AreListedInTheOrderOfTheLibraries) {
    first.names = {"first-0", "first-1"};
    second.names = {"second-0"};
    loadBoth();
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 3u);
    EXPECT_EQ(adapterName(0), "first-0");
    EXPECT_EQ(adapterName(1), "first-1");
    EXPECT_EQ(adapterName(2), "second-0");
    EXPECT_EQ(adaptertable()[1].library, 0u);
    EXPECT_EQ(adaptertable()[2].library, 1u);
}

TEST_F(HbaAdapters, AreNotListedBeforeTheyAreCounted) {
    first.names = {"first-0"};
    loadBoth();
    EXPECT_EQ(adapterName(0), "none");
    EXPECT_EQ(open("first-0"), 0u);
}

TEST_F(HbaAdapters, AreCountedAnewEachTime) {
    first.names = {"first-0", "first-1"};
    loadBoth();
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 2u);
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 2u);
    first.names = {"first-1"};
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 1u);
    EXPECT_EQ(adapterName(0), "first-1");
    EXPECT_EQ(adapterName(1), "none");
}

TEST_F(HbaAdapters, TheNameAtAnIndexEqualToTheCountIsSix) {
    first.names = {"first-0"};
    listBoth();
    char name[hbaNameLength] = "untouched";
    EXPECT_EQ(HBA_GetAdapterName(0, name), 0u);
    EXPECT_STREQ(name, "first-0");
    std::strcpy(name, "untouched");
    EXPECT_EQ(HBA_GetAdapterName(1, name), 6u);
    EXPECT_EQ(HBA_GetAdapterName(0xFFFFFFFF, name), 6u);
    EXPECT_STREQ(name, "untouched");
}

TEST_F(HbaAdapters, ALibraryWithoutCountHandlerIsPassedOver) {
    first.names = {"first-0"};
    second.names = {"second-0"};
    first.handlers.GetNumberOfAdaptersHandler = nullptr;
    loadBoth();
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 1u);
    EXPECT_EQ(adapterName(0), "second-0");
    EXPECT_EQ(first.nameCalls, 0u);
}

TEST_F(HbaAdapters, ALibraryWithoutNameHandlerIsPassedOver) {
    first.count = 3;
    second.names = {"second-0"};
    first.handlers.GetAdapterNameHandler = nullptr;
    loadBoth();
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 1u);
    EXPECT_EQ(adapterName(0), "second-0");
}

TEST_F(HbaAdapters, AnAdapterWhoseNameFailsIsCountedWithoutOneAndNotOpened) {
    first.names = {"first-0"};
    first.count = 2;
    second.names = {"second-0"};
    loadBoth();
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 3u);
    EXPECT_EQ(adapterName(1), "");
    EXPECT_EQ(adapterName(2), "second-0");
    first.calls.clear();
    EXPECT_EQ(open(""), 0u);
    EXPECT_EQ(open("left over"), 0u);
    EXPECT_TRUE(first.calls.empty());
    EXPECT_TRUE(
        hasLogged(host, "WARNING HBA_API: The HBA library first gives no name for 1 of its 2 adapters."));
}

TEST_F(HbaAdapters, AnEmptyNameThatTheLibraryGivesIsOneToOpenBy) {
    second.names = {std::string(1, '\0')};
    second.handles = {{"", 5}};
    listBoth();
    EXPECT_EQ(adapterName(0), "");
    EXPECT_EQ(open(""), 0x00010005u);
}

TEST_F(HbaAdapters, AnAdapterThatVanishesAfterTheCountIsNotOpened) {
    first.names = {"first-0", "first-1"};
    first.handles = {{"first-0", 5}, {"first-1", 6}};
    listBoth();
    first.handles = {{"first-0", 5}};
    EXPECT_EQ(open("first-1"), 0u);
    EXPECT_EQ(open("first-0"), 5u);
}

TEST_F(HbaAdapters, ANameWithoutAnEndIsCutToItsField) {
    first.names = {std::string(256, 'a'), std::string(300, 'b'), std::string(255, 'c')};
    listBoth();
    EXPECT_EQ(adapterName(0), std::string(255, 'a'));
    EXPECT_EQ(adapterName(1), std::string(255, 'b'));
    EXPECT_EQ(adapterName(2), std::string(255, 'c'));
    EXPECT_EQ(adaptertable()[0].library, 0u);
}

TEST_F(HbaAdapters, ACountBeyondAnyHostIsCutWithAWarning) {
    first.count = 0xFFFFFFFF;
    second.names = {"second-0"};
    loadBoth();
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 1025u);
    EXPECT_EQ(first.nameCalls, 1024u);
    EXPECT_EQ(adapterName(1024), "second-0");
    EXPECT_TRUE(
        hasLogged(host,
                  "WARNING HBA_API: The HBA library first reports 4294967295 adapters; only the first "
                  "1024 are listed."));
}

TEST_F(HbaAdapters, OneMoreThanTheLargestCountIsCut) {
    first.count = 1025;
    loadBoth();
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 1024u);
}

TEST_F(HbaAdapters, TheLargestCountIsListedInFull) {
    first.names = std::vector<std::string>(1024, "port");
    loadBoth();
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 1024u);
    for (const std::string& line : loggedLines(host))
        EXPECT_EQ(line.find("WARNING"), std::string::npos) << line;
}

// --- opening ---

TEST_F(HbaAdapters, AHandleIsTheLibrarysIndexAndTheLowHalfOfTheVendors) {
    first.names = {"first-0"};
    first.handles = {{"first-0", 0x00000005}};
    second.names = {"second-0"};
    second.handles = {{"second-0", 0xABCD1234}};
    listBoth();
    EXPECT_EQ(open("first-0"), 0x00000005u);
    EXPECT_EQ(open("second-0"), 0x00011234u);
    EXPECT_EQ(librarytable()[1].vendorHandle, 0xABCD1234u);
}

TEST_F(HbaAdapters, AnUnknownNameIsNotOpened) {
    first.names = {"first-0"};
    first.handles = {{"first-0", 5}, {"First-0", 6}, {"first", 7}};
    listBoth();
    first.calls.clear();
    EXPECT_EQ(open("First-0"), 0u);
    EXPECT_EQ(open("first"), 0u);
    EXPECT_TRUE(first.calls.empty());
}

TEST_F(HbaAdapters, WithoutOpenHandlerTheHandleIsZero) {
    first.names = {"first-0"};
    second.names = {"second-0"};
    second.handlers.OpenAdapterHandler = nullptr;
    listBoth();
    EXPECT_EQ(open("second-0"), 0u);
}

TEST_F(HbaAdapters, AVendorsFailureLeavesTheIndexInTheHandle) {
    second.names = {"second-0"};
    listBoth();
    EXPECT_EQ(open("second-0"), 0x00010000u);
    EXPECT_EQ(librarytable()[1].vendorHandle, 0u);
}

TEST_F(HbaAdapters, OfTwoOfTheSameNameTheFirstIsOpened) {
    first.names = {"same"};
    first.handles = {{"same", 5}};
    second.names = {"same"};
    second.handles = {{"same", 6}};
    listBoth();
    EXPECT_EQ(open("same"), 5u);
}

TEST_F(HbaAdapters, ALibraryThatWritesToTheNameChangesNeitherTheListNorTheCallers) {
    first.names = {"first-0"};
    first.handles = {{"first-0", 5}};
    listBoth();
    char name[] = "first-0";
    EXPECT_EQ(HBA_OpenAdapter(name), 5u);
    EXPECT_STREQ(name, "first-0");
    EXPECT_EQ(adapterName(0), "first-0");
}

TEST_F(HbaAdapters, OfOneLibraryTheOneOpenedLastIsUsedForEachHandle) {
    first.names = {"first-0", "first-1"};
    first.handles = {{"first-0", 0x11}, {"first-1", 0x22}};
    listBoth();
    const HBA_HANDLE zero = open("first-0");
    const HBA_HANDLE one = open("first-1");
    EXPECT_EQ(zero, 0x11u);
    EXPECT_EQ(one, 0x22u);
    HBA_GetAdapterAttributes(zero, nullptr);
    EXPECT_EQ(first.attributesHandle, 0x22u);
    HBA_GetAdapterAttributes(one, nullptr);
    EXPECT_EQ(first.attributesHandle, 0x22u);
}

TEST_F(HbaAdapters, TheResultOfACallDoesNotChangeTheVendorHandle) {
    first.names = {"first-0"};
    first.handles = {{"first-0", 0x12345678}};
    first.attributesResult = 10;
    listBoth();
    const HBA_HANDLE handle = open("first-0");
    EXPECT_EQ(HBA_GetAdapterAttributes(handle, nullptr), 10u);
    EXPECT_EQ(HBA_GetAdapterAttributes(handle, nullptr), 10u);
    EXPECT_EQ(first.attributesHandle, 0x12345678u);
    EXPECT_EQ(librarytable()[0].vendorHandle, 0x12345678u);
    EXPECT_EQ(librarytable()[0].lastResult, 10u);
}

// --- the check of handles ---

TEST_F(HbaAdapters, AHandleOfALoadedLibraryGivesTheStoredVendorHandle) {
    second.names = {"second-0"};
    second.handles = {{"second-0", 0xABCD1234}};
    listBoth();
    open("second-0");
    HBA_UINT32 index = 99;
    HBA_HANDLE vendorHandle = 99;
    EXPECT_EQ(HBA_CheckLibrary(0x0001FFFF, index, vendorHandle), 0u);
    EXPECT_EQ(index, 1u);
    EXPECT_EQ(vendorHandle, 0xABCD1234u);
}

TEST_F(HbaAdapters, AHandleOfLibrary32OrAboveIsBad) {
    loadBoth();
    HBA_UINT32 index = 0;
    HBA_HANDLE vendorHandle = 0;
    EXPECT_EQ(HBA_CheckLibrary(0x00200000, index, vendorHandle), 3u);
    EXPECT_EQ(HBA_CheckLibrary(0x00210005, index, vendorHandle), 3u);
    EXPECT_EQ(HBA_CheckLibrary(0xFFFFFFFF, index, vendorHandle), 3u);
    EXPECT_EQ(HBA_CheckLibrary(0x001F0000, index, vendorHandle), 1u) << "the last entry is empty";
}

TEST_F(HbaAdapters, AHandleOfALibraryThatIsNotLoadedIsAnError) {
    first.version = 0;
    loadBoth();
    HBA_UINT32 index = 0;
    HBA_HANDLE vendorHandle = 0;
    EXPECT_EQ(HBA_CheckLibrary(0x00000005, index, vendorHandle), 1u) << "failed";
    EXPECT_EQ(HBA_CheckLibrary(0x00010005, index, vendorHandle), 0u) << "loaded";
    EXPECT_EQ(HBA_CheckLibrary(0x00020005, index, vendorHandle), 1u) << "empty";
    HBA_FreeLibrary();
    EXPECT_EQ(HBA_CheckLibrary(0x00010005, index, vendorHandle), 1u) << "released";
}

// --- the path ---

TEST_F(HbaAdapters, TheLibraryPathIsThatOfTheListWithTheHandleInUse) {
    first.names = {"first-0"};
    second.names = {"second-0"};
    second.handles = {{"second-0", 0xABCD1234}};
    listBoth();
    open("second-0");
    char path[hbaPathLength];
    HBA_HANDLE vendorHandle = 99;
    EXPECT_EQ(HBA_GetLibraryPath(1, path, &vendorHandle), 0u);
    EXPECT_STREQ(path, "/usr/lib/libsecond-hba.so");
    EXPECT_EQ(vendorHandle, 0xABCD1234u);
    EXPECT_EQ(HBA_GetLibraryPath(0, path, &vendorHandle), 0u);
    EXPECT_STREQ(path, "/usr/lib/libfirst-hba.so");
    EXPECT_EQ(vendorHandle, 0u);
    EXPECT_EQ(HBA_GetLibraryPath(2, path, &vendorHandle), 6u);
}

}  // namespace
}  // namespace hbaapilibAdaptersTest
