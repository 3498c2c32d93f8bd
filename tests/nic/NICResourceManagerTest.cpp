#include "nic/NICResourceManager.h"

#include <gmock/gmock.h>
#include <thread>

#include "core/inventory/vokFactory.h"
#include "nic/NICFixture.h"
#include "rmc/vokJsonAggregator.h"

namespace NICResourceManagerTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class EthernetManager : public NICFixture {
protected:
    // The line for a build without adapters for this reason.
    static std::string lossWith(const std::string& reason) {
        return "WARNING NIC_RM: No Ethernet adapter is known until the next build (" + reason +
               ") : localcli network nic list";
    }
};

TEST_F(EthernetManager, IsTheFactorysManagerForId3) {
    EXPECT_EQ(vokFactory().createInstance(3), NICResourceManager::getInstance());
}

TEST_F(EthernetManager, ABuildCreatesARecordForEachInterfaceInTheOrderOfTheList) {
    manager.cacheBuild();
    const auto elements = inventory();
    ASSERT_EQ(elements.size(), 2u);
    EXPECT_EQ(elements[0]["Oem"]["DeviceName"], "vmnic0");
    EXPECT_EQ(elements[1]["Oem"]["DeviceName"], "vmnic1");
    EXPECT_EQ(commandCount(listCommand), 1);
    EXPECT_TRUE(workFilesAreGone());
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_RM: Building NIC Cache"));
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_RM: Exiting CacheBuild"));
}

TEST_F(EthernetManager, AnElementHasTheseMembersAndNoOthers) {
    manager.cacheBuild();
    const Json::Value element = inventory().at(0);
    EXPECT_THAT(element.getMemberNames(),
                ElementsAre("FirmwareVersion", "MACAddress", "Manufacturer", "Model", "Oem", "PartNumber",
                            "SerialNumber", "SpeedMbps", "Status"));
    EXPECT_THAT(element["Oem"].getMemberNames(),
                ElementsAre("Description", "DeviceName", "PhysicalLocation"));
    EXPECT_THAT(element["Status"].getMemberNames(), ElementsAre("Health", "State"));
    EXPECT_EQ(element["FirmwareVersion"], "6.80 0x80003ce6 1.2074.0");
    EXPECT_EQ(element["MACAddress"], "7c:d3:0a:00:00:00");
    EXPECT_EQ(element["Manufacturer"], "Not Available");
    EXPECT_EQ(element["Model"], "Not Available");
    EXPECT_EQ(element["PartNumber"], "Not Available");
    EXPECT_EQ(element["SerialNumber"], "Not Available");
    ASSERT_TRUE(element["SpeedMbps"].isInt());
    EXPECT_EQ(element["SpeedMbps"].asInt(), 10000);
    EXPECT_EQ(element["Oem"]["Description"], "PCI 0000:81:00.0 ");
    EXPECT_EQ(element["Oem"]["PhysicalLocation"], "FFFFFFFFFFFFFFFF");
    EXPECT_EQ(element["Status"]["State"], "Online");
    EXPECT_EQ(element["Status"]["Health"], "OK");
}

TEST_F(EthernetManager, EachElementIsLoggedWithItsNumber) {
    interfaces.resize(1);
    manager.cacheBuild();
    EXPECT_TRUE(hasLogged(
        host,
        "DEBUG NIC_RM: Printing Ethernet Instance 0:    {\"FirmwareVersion\":\"6.80 0x80003ce6 1.2074.0\","
        "\"MACAddress\":\"7c:d3:0a:00:00:00\",\"Manufacturer\":\"Not Available\",\"Model\":\"Not Available\","
        "\"Oem\":{\"Description\":\"PCI 0000:81:00.0 \",\"DeviceName\":\"vmnic0\",\"PhysicalLocation\":"
        "\"FFFFFFFFFFFFFFFF\"},\"PartNumber\":\"Not Available\",\"SerialNumber\":\"Not Available\","
        "\"SpeedMbps\":10000,\"Status\":{\"Health\":\"OK\",\"State\":\"Online\"}}"));
}

TEST_F(EthernetManager, TheSectionOfTheDocumentIsEthernetDevices) {
    manager.cacheBuild();
    const std::string document = vokJsonAggregator::getInstance()->getInventoryDocument();
    EXPECT_NE(document.find("\"EthernetDevices\":[{\"FirmwareVersion\""), std::string::npos) << document;
}

// --- the interface list ---

TEST_F(EthernetManager, AListWithoutItsHeadingYieldsAnEmptyInventory) {
    listText = "vmnic0  0000:81:00.0  ixgben  Up  Up  10000  Full  7c:d3:0a:00:00:00  1500  Intel\n";
    manager.cacheBuild();
    EXPECT_THAT(inventory(), IsEmpty());
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_RM: Unable to find NIC information."));
    EXPECT_TRUE(hasLogged(host, lossWith("exit status 0, but no heading in its output")));
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_RM: No NIC found!"));
    EXPECT_TRUE(workFilesAreGone());
}

TEST_F(EthernetManager, TheSecondLineIsSkippedWhateverItHolds) {
    listText = "Name\nvmnic0 0000:81:00.0\nvmnic1 0000:81:00.1\n";
    manager.cacheBuild();
    const auto elements = inventory();
    ASSERT_EQ(elements.size(), 1u);
    EXPECT_EQ(elements[0]["Oem"]["DeviceName"], "vmnic1");
}

TEST_F(EthernetManager, AHostWithoutAdaptersHasAnEmptyInventory) {
    interfaces.clear();
    manager.cacheBuild();
    EXPECT_THAT(inventory(), IsEmpty());
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_RM: No NIC found!"));
    EXPECT_TRUE(manager.isInventoryReady(0));
    for (const std::string& line : loggedLines(host)) EXPECT_NE(line.rfind("WARNING", 0), 0u) << line;
}

TEST_F(EthernetManager, AFailedCommandYieldsAnEmptyInventoryUntilTheNextBuild) {
    listStatus = 256;
    manager.cacheBuild();
    EXPECT_THAT(inventory(), IsEmpty());
    EXPECT_TRUE(hasLogged(host, "ERROR NIC_RM: Error occurred in gathering network interface information."));
    EXPECT_EQ(countLogged(host, lossWith("exit status 1")), 1);
    EXPECT_TRUE(workFilesAreGone());
    manager.cacheBuild();
    EXPECT_EQ(countLogged(host, lossWith("exit status 1")), 2) << "each such build";
    listStatus = 9;
    manager.cacheBuild();
    EXPECT_TRUE(hasLogged(host, lossWith("signal 9")));
    commands.failToStart = true;
    manager.cacheBuild();
    EXPECT_TRUE(hasLogged(host, lossWith("could not be run: Resource temporarily unavailable")));
    commands.failToStart = false;
    listStatus = 0;
    manager.cacheBuild();
    EXPECT_EQ(inventory().size(), 2u);
}

TEST_F(EthernetManager, AListThatTheCommandDidNotWriteIsLogged) {
    commands.onCommand = [](const std::string&, int&) { return ""; };
    manager.cacheBuild();
    EXPECT_THAT(inventory(), IsEmpty());
    EXPECT_TRUE(hasLogged(host, "ERROR NIC_RM: An error occurred while trying to fetch NIC information"));
    EXPECT_TRUE(hasLogged(host, lossWith("exit status 0, but no output")));
}

TEST_F(EthernetManager, AWorkFileLeftByACrashAddsNoInterface) {
    host.root.writeFile(listFile, table());
    manager.cacheBuild();
    EXPECT_EQ(inventory().size(), 2u);
}

TEST_F(EthernetManager, EmptyLinesAndTheOldLayoutAreAccepted) {
    listText =
        "Name    PCI Device     Driver  Link  Speed  Duplex  MAC Address         MTU  Description\n"
        "------  -------------  ------  ----  -----  ------  -----------------  ----  -----------\n"
        "\n"
        "vmnic0  0000:0c1:00.0  igb     Up     1000  Full    00:25:90:00:3a:2a  1500  Intel Corporation\n";
    manager.cacheBuild();
    const auto elements = inventory();
    ASSERT_EQ(elements.size(), 1u);
    // There is no administrative status, so every later column is read one too early.
    EXPECT_EQ(elements[0]["MACAddress"], "1500");
    EXPECT_EQ(elements[0]["SpeedMbps"].asInt(), 0);
    EXPECT_EQ(elements[0]["Status"]["State"], "Online") << "administrative status Up, link 1000";
}

// --- readiness and running ---

TEST_F(EthernetManager, LogsItsReadinessInItsOwnWords) {
    EXPECT_FALSE(manager.isInventoryReady(0));
    EXPECT_TRUE(hasLogged(host, "INFO NIC_RM: NIC cache status 0"));
    manager.cacheBuild();
    EXPECT_TRUE(manager.isInventoryReady(0));
    EXPECT_TRUE(hasLogged(host, "INFO NIC_RM: NIC cache status 1"));
}

TEST_F(EthernetManager, IsRunningWhenItHasRecords) {
    EXPECT_FALSE(manager.isRunning());
    EXPECT_TRUE(
        hasLogged(host, "WARNING NIC_RM: _cacheBuildInProgress = 0,NICInventory.size() =0,retryCount =3"));
    EXPECT_THAT(clock.pauses(), ElementsAre(3000000, 3000000, 3000000));
    manager.cacheBuild();
    EXPECT_TRUE(manager.isRunning());
}

TEST_F(EthernetManager, ASecondEntryWithRecordsReturnsAtOnce) {
    manager.cacheBuild();
    manager.init();
    EXPECT_FALSE(hasLogged(host, "DEBUG NIC_RM: Entry startInventory"));
}

// --- start and stop ---

TEST_F(EthernetManager, TheMonitorRunsAsLongAsTheManager) {
    clock.onTimedWait = [this](const timespec&) {
        EXPECT_TRUE(hasLogged(host, "DEBUG NIC_EVENT: Creating a producer thread"));
        EXPECT_FALSE(hasLogged(host, "DEBUG NIC_EVENT: Stopping the producer thread"));
        clock.failReads(2);  // ends the loop
        return false;
    };
    manager.init();
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_EVENT: Signalled for stop."));
}

TEST_F(EthernetManager, TheMonitorEndsAlsoWhenAFreshCacheLeavesNothingToDo) {
    interfaces.clear();
    manager.cacheBuild();
    manager.init();
    EXPECT_TRUE(
        hasLogged(host, "DEBUG NIC_RM: cache was recently refreshed. skipping the current refresh cycle"));
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_EVENT: Creating a producer thread"));
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_EVENT: Signalled for stop."));
}

TEST_F(EthernetManager, ASecondEntryDuringTheFirstLeavesTheMonitorRunning) {
    clock.timedWaitsHold = true;
    std::thread thread([this] { manager.init(); });
    while (!manager.isInventoryReady(0)) std::this_thread::yield();
    manager.init();
    EXPECT_TRUE(
        hasLogged(host, "DEBUG NIC_RM: VOK thread for Ethernet already active. Cannot spawn another one."));
    EXPECT_FALSE(hasLogged(host, "DEBUG NIC_EVENT: Stopping the producer thread"));
    manager.stopResourceManagerJob();
    thread.join();
    EXPECT_EQ(countLogged(host, "DEBUG NIC_EVENT: Signalled for stop."), 1);
}

TEST_F(EthernetManager, AStoppedManagerBuildsNothing) {
    manager.stopResourceManagerJob();
    manager.init();
    EXPECT_FALSE(hasLogged(host, "DEBUG NIC_RM: Building NIC Cache"));
    EXPECT_TRUE(hasLogged(host, "INFO NIC_RM: Resource manager stop called."));
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_EVENT: Signalled for stop."));
}

TEST_F(EthernetManager, BeforeTheLastPassNoPushIsRequested) {
    EXPECT_FALSE(manager.isInventoryReady(7));
    manager.cacheBuild();
    EXPECT_FALSE(hasLogged(host, "DEBUG NIC_RM: NICRM requesting cache push"));
}

TEST_F(EthernetManager, ThePushRequestIsLoggedInItsOwnWords) {
    EXPECT_FALSE(manager.isInventoryReady(8));
    manager.cacheBuild();
    EXPECT_EQ(countLogged(host, "DEBUG NIC_RM: NICRM requesting cache push"), 1);
}

// --- single records ---

TEST_F(EthernetManager, ReturnsACopyOfARecordOrADefaultOne) {
    interfaces[1].linkStatus = "Down";
    manager.cacheBuild();
    EXPECT_EQ(manager.getHealthOfIntf("vmnic1").getState(), "Linkdown");
    EXPECT_EQ(manager.getHealthOfIntf("vmnic7").getIntfName(), "Not Available");
}

TEST_F(EthernetManager, AnUpdateShowsInTheInventoryBeforeTheNextBuild) {
    manager.cacheBuild();
    manager.updateStateAndHealth("vmnic1", "Offline", "Critical");
    const auto elements = inventory();
    ASSERT_EQ(elements.size(), 2u);
    EXPECT_EQ(elements[0]["Status"]["State"], "Online");
    EXPECT_EQ(elements[1]["Status"]["State"], "Offline");
    EXPECT_EQ(elements[1]["Status"]["Health"], "Critical");
    manager.updateStateAndHealth("vmnic7", "Offline", "Critical");
    EXPECT_EQ(inventory().size(), 2u);
}

}  // namespace
}  // namespace NICResourceManagerTest
