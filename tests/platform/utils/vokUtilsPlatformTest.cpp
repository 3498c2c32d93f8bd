#include <gtest/gtest.h>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/firmware/smbios_vmw.h"
#include "support/PlatformTables.h"

namespace vokUtilsPlatformTest {
namespace {

constexpr const char* notInitialised =
    "WARNING VOK_UTILS: SMBIOS module could not be initialized. Hence, VOK system information will not be "
    "populated.";

FakeHost hostWithTable(const SmBiosTable& table) {
    FakeHost host;
    logEverything(host);
    host.root.writeFile(SmBiosTable::deviceFile, table.contents());
    return host;
}

}  // namespace

TEST(InitializeSmbios, LogsThatTheTableIsRead) {
    const auto host = hostWithTable(tableOf("7711PID02020001"));
    vokUtils::initializeSMBIOS();
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: SMBIOS table initiated"));
    void* records = nullptr;
    EXPECT_EQ(getSmbiosRecordsByType(1, &records), 0);
    std::free(records);
}

TEST(InitializeSmbios, LogsWhyTheTableCanNotBeRead) {
    const FakeHost host;
    logEverything(host);
    vokUtils::initializeSMBIOS();
    EXPECT_TRUE(hasLogged(
        host,
        "DEBUG VOK_UTILS: Error starting SMBIOS table, Error : 2 , Reason : No such file or directory"));
    EXPECT_FALSE(hasLogged(host, "DEBUG VOK_UTILS: SMBIOS table initiated"));
}

TEST(PlatformFamily, AndManufacturerComeFromTheFirstSystemRecord) {
    const auto host = hostWithTable(tableOf("7711PID02020001").addSystem("Another", "7711PID03020102"));
    vokUtils::initializeSMBIOS();
    EXPECT_EQ(vokUtils::getPlatformFamily(), "7711PID02020001");
    EXPECT_EQ(vokUtils::getSystemManufacturer(), "Maker of servers");
    EXPECT_EQ(countLogged(host, "DEBUG VOK_UTILS: platformFamily is [7711PID02020001]"), 1);
    EXPECT_EQ(countLogged(host, "DEBUG VOK_UTILS: System Manufacturer is [Maker of servers]"), 1);
}

TEST(PlatformFamily, OfAMachineWithoutAFamilyStringIsTheTextUndefined) {
    hostWithTable(tableOf(""));
    vokUtils::initializeSMBIOS();
    EXPECT_EQ(vokUtils::getPlatformFamily(), "Undefined");
}

TEST(PlatformFamily, IsEmptyIfTheTableCanNotBeOpened) {
    const FakeHost host;
    logEverything(host);
    vokUtils::initializeSMBIOS();
    EXPECT_EQ(vokUtils::getPlatformFamily(), "");
    EXPECT_EQ(vokUtils::getSystemManufacturer(), "");
    EXPECT_EQ(countLogged(host, notInitialised), 1);
}

TEST(PlatformFamily, IsEmptyIfThereIsNoSystemRecord) {
    SmBiosTable table;
    const auto host = hostWithTable(table.addSlot("Slot 1", "0000:3b:00.0"));
    vokUtils::initializeSMBIOS();
    EXPECT_EQ(vokUtils::getPlatformFamily(), "");
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: Could not retrieve system information from SMBIOS table."));
    EXPECT_FALSE(hasLogged(host, "DEBUG VOK_UTILS: platformFamily is []"));
}

TEST(PlatformFamily, IsFixedByTheFirstCallEvenIfThatFailed) {
    const auto host = hostWithTable(tableOf("7711PID02020001"));
    EXPECT_EQ(vokUtils::getPlatformFamily(), "");
    vokUtils::initializeSMBIOS();
    EXPECT_EQ(vokUtils::getPlatformFamily(), "");
    EXPECT_EQ(vokUtils::getSystemManufacturer(), "");
    EXPECT_EQ(countLogged(host, notInitialised), 1);
}

TEST(PlatformFamily, IsFixedByTheFirstCallForTheManufacturerToo) {
    const auto host = hostWithTable(tableOf("7711PID02020001"));
    vokUtils::initializeSMBIOS();
    EXPECT_EQ(vokUtils::getSystemManufacturer(), "Maker of servers");
    SmBiosDeinit();
    host.root.writeFile(SmBiosTable::deviceFile, tableOf("7711PID03020102").contents());
    EXPECT_EQ(SmBiosInit(), 0);
    EXPECT_EQ(vokUtils::getPlatformFamily(), "7711PID02020001");
}

TEST(PlatformFamily, IsKeptAfterTheTableIsReleased) {
    const auto host = hostWithPlatform(tableOf("7711PID03020102").addSlot("Slot r001i02s03", "0000:3b:00.0"));
    std::filesystem::remove(host.path(SmBiosTable::deviceFile));
    EXPECT_EQ(vokUtils::getPlatformFamily(), "7711PID03020102");
}

TEST(PlatformFamily, IsEmptyIfItIsReadAfterTheTableIsReleased) {
    const auto host = hostWithPlatform(tableOf("7711PID02020001"));
    EXPECT_EQ(vokUtils::getPlatformFamily(), "");
    // The layer still counts as initialised after its table was released.
    EXPECT_FALSE(hasLogged(host, notInitialised));
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: Could not retrieve system information from SMBIOS table."));
}

TEST(PlatformFamily, IsReadOnceByManyThreadsAtOnce) {
    const auto host = hostWithTable(tableOf("7711PID02020001"));
    vokUtils::initializeSMBIOS();
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([] {
            EXPECT_EQ(vokUtils::getPlatformFamily(), "7711PID02020001");
            EXPECT_EQ(vokUtils::getSystemManufacturer(), "Maker of servers");
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(countLogged(host, "DEBUG VOK_UTILS: platformFamily is [7711PID02020001]"), 1);
}

}  // namespace vokUtilsPlatformTest
