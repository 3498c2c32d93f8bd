#include "platform/utils/platformCheck.h"

#include <gtest/gtest.h>
#include <syslog.h>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/firmware/smbios_vmw.h"
#include "support/FakeSystemLog.h"
#include "support/PlatformTables.h"

namespace platformCheckTest {
namespace {

using SystemLogLines = std::vector<std::pair<int, std::string>>;

FakeHost hostWithTable(const SmBiosTable& table) {
    FakeHost host;
    host.root.writeFile(SmBiosTable::deviceFile, table.contents());
    return host;
}

bool isTableOpen() {
    void* records = nullptr;
    const bool open = getSmbiosRecordsByType(smbiosSystemInfoType, &records) == 0;
    std::free(records);
    return open;
}

}  // namespace

TEST(PlatformCheck, HasThePathsWithoutATableAndTheStartupPathHasNoSeparatorAtItsEnd) {
    const FakeHost host;
    EXPECT_EQ(platformCheck::getDirectoryPath(), "/opt/mev/vok");
    EXPECT_EQ(platformCheck::getStartupFilePath(), "/var/tmp/mev");
}

TEST(PlatformCheck, CardManufacturerIsThatOfTheFirstSystemRecord) {
    const auto host = hostWithTable(tableOf("7711PID02020001").addSystem("Another", "7711PID02020001"));
    EXPECT_EQ(platformCheck::getCardManufacturer(), "Maker of servers");
    EXPECT_EQ(platformCheck::getDirectoryPath(), "/opt/mev/vok");
    EXPECT_TRUE(host.part<FakeSystemLog>().lines().empty());
}

TEST(PlatformCheck, ATableThatCanNotBeOpenedIsReportedToTheSystemLogOnce) {
    const FakeHost host;
    EXPECT_EQ(platformCheck::getCardManufacturer(), "");
    EXPECT_EQ(platformCheck::getCardManufacturer(), "");
    EXPECT_EQ(platformCheck::getStartupFilePath(), "/var/tmp/mev");
    const SystemLogLines expected{
        {LOG_INFO, "Error starting SMBIOS table, Error : 2 , Reason : No such file or directory"}};
    EXPECT_EQ(host.part<FakeSystemLog>().lines(), expected);
}

TEST(PlatformCheck, ATableWithoutASystemRecordIsReportedToTheSystemLogOnce) {
    SmBiosTable table;
    const auto host = hostWithTable(table.addSlot("Slot 1", "0000:3b:00.0"));
    EXPECT_EQ(platformCheck::getStartupFilePath(), "/var/tmp/mev");
    EXPECT_EQ(platformCheck::getCardManufacturer(), "");
    const SystemLogLines expected{{LOG_WARNING, "Unable to fetch smbios type 1 record"}};
    EXPECT_EQ(host.part<FakeSystemLog>().lines(), expected);
}

TEST(PlatformCheck, SetDirectoryPathFillsAllThreeAgain) {
    const FakeHost host;
    EXPECT_EQ(platformCheck::getCardManufacturer(), "");
    host.root.writeFile(SmBiosTable::deviceFile, tableOf("7711PID02020001").contents());
    platformCheck::setDirectoryPath();
    EXPECT_EQ(platformCheck::getCardManufacturer(), "Maker of servers");
    EXPECT_EQ(platformCheck::getStartupFilePath(), "/var/tmp/mev");
}

TEST(PlatformCheck, LeavesTheTableOpenForTheAgentWhichReleasesIt) {
    const auto host = hostWithTable(tableOf("7711PID02020001").addSlot("Slot r001u05p2i03", "0000:3b:00.0"));
    platformCheck::setDirectoryPath();
    EXPECT_TRUE(isTableOpen());
    std::filesystem::remove(host.path(SmBiosTable::deviceFile));
    vokUtils::initializeSMBIOS();
    vokUtils::initGeoIDMap();
    EXPECT_EQ(vokUtils::getGeoIDStr("0000:3b:00.0"), "r001u05p2i03");
    EXPECT_FALSE(isTableOpen());
    EXPECT_EQ(platformCheck::getCardManufacturer(), "Maker of servers");
    EXPECT_FALSE(isTableOpen());
}

TEST(PlatformCheck, MayBeUsedFirstAfterTheAgentHasReleasedTheTable) {
    hostWithPlatform(tableOf("7711PID02020001").addSlot("Slot r001u05p2i03", "0000:3b:00.0"));
    ASSERT_FALSE(isTableOpen());
    EXPECT_EQ(platformCheck::getCardManufacturer(), "Maker of servers");
    SmBiosDeinit();
    EXPECT_EQ(platformCheck::getCardManufacturer(), "Maker of servers");
}

TEST(PlatformCheck, IsFilledOnceByManyThreadsAtOnce) {
    const FakeHost host;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([] {
            EXPECT_EQ(platformCheck::getCardManufacturer(), "");
            EXPECT_EQ(platformCheck::getDirectoryPath(), "/opt/mev/vok");
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(host.part<FakeSystemLog>().lines().size(), 1u);
}

}  // namespace platformCheckTest
