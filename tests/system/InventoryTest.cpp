// The inventories that the controller receives in normal operation.
#include <csignal>
#include <regex>

#include "system/SimulatedSystem.h"

namespace InventoryTest {
namespace {

class Inventory : public SimulatedSystem {};

std::string withoutTimeOfCollection(const std::string& document) {
    return std::regex_replace(document, std::regex(R"("[A-Z][a-z]{2} \d{1,2} \d\d:\d\d:\d\d")"), "\"TIME\"");
}

// The whole document of the default host.
constexpr char wholeDocument[] =
    R"({"HostDataCollection":{"Oem":{"CollectionInfo":{"CollectionFrequencyMin":14400,)"
    R"("CollectionType":"RemoteSupport","LastCollection":"TIME"},"HostOSInfo":{"HostName":"rack42-node07",)"
    R"("IPv4Addresses":[{"Address":"10.42.7.11"},{"Address":"192.168.107.11"}],)"
    R"("OSDescription":"VMkernel rack42-node07 7.0.3 #1 SMP Release build-20036589 Jul  7 2022 01:01:01 x86_64",)"
    R"("OSMemorySummary":{"TotalFreeSystemMemoryGiB":382.0,"TotalSystemMemoryGiB":511.0},)"
    R"("OSName":"VMwareESXi","OSSoftwareSummary":{"VokSwVersion":"3.3.2.1"},"OSType":104,)"
    R"("OSVersion":"7.0.3"}}}})";

TEST_F(Inventory, TheFirstOneArrivesWholeByteForByteWithoutAViolation) {
    startAll();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(withoutTimeOfCollection(inventoryText(1)), wholeDocument);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("violations"), 0);
    EXPECT_EQ(controllerCount("inventories"), 1);
    EXPECT_EQ(controllerProgram.end(SIGTERM), 0);
}

TEST_F(Inventory, TheDoorBellBringsASecondOneThatShowsTheChange) {
    startAll();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    hostControl({"interface", "add", "vmk2", "10.77.1.2/24"});
    ASSERT_TRUE(waitForLog(" Populating host information.", 2));
    ASSERT_EQ(waitFor("poll", controllerCount("polls") + 1), 0);
    EXPECT_EQ(controllerCount("inventories"), 1) << "a poll without a ring brings nothing";
    controllerControl({"ring"});
    ASSERT_EQ(waitFor("inventory", 2), 0);
    EXPECT_NE(inventoryText(2).find(R"({"Address":"10.77.1.2"})"), std::string::npos) << inventoryText(2);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("violations"), 0);
}

TEST_F(Inventory, TheTimerBringsOneEachIntervalWithoutARing) {
    Json::Value settings = usualSettings();
    settings["PushInventoryFrequencyInMinutes"] = "2";
    settings["IPMIDoorBellMonitorInterval"] = "1000";
    startAll(settings);
    startAgent();
    ASSERT_EQ(waitFor("inventory", 3), 0);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("polls"), 0);
}

TEST_F(Inventory, WithAllResourcesDisabledNothingIsSentAndTheDoorBellIsStillServed) {
    Json::Value settings = usualSettings();
    settings["EnableResources"][0] = "TrustedPlatformModule";
    startAll(settings);
    startAgent();
    ASSERT_TRUE(waitForLog("No inventory information found!"));
    controllerControl({"ring"});
    ASSERT_TRUE(waitForLog("No inventory information found!", 2));
    EXPECT_EQ(timesLogged("Aggregator thread sleeping"), 1) << "one pause, not nine";
    for (const char* name :
         {"FibreChannelDevices [0]", "HostOSInfo [1]", "StorageControllers [2]", "EthernetDevices [3]"})
        EXPECT_EQ(timesLogged(std::string("Resource manager ") + name + " is disabled."), 1) << name;
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("inventories"), 0);
    EXPECT_EQ(startupRecord().at("current_start"), 0);
}

TEST_F(Inventory, ADisabledResourceIsLeftAlone) {
    Json::Value settings = usualSettings();
    settings["EnableResources"][0] = "HostOSInfo";
    startAll(settings);
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(withoutTimeOfCollection(inventoryText(1)), wholeDocument);
    EXPECT_EQ(timesLogged("Resource manager EthernetDevices [3] is disabled."), 1);
    EXPECT_EQ(timesLogged("Resource manager HostOSInfo [1] is disabled."), 0);
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(Inventory, WithoutAConfigurationFileTheAgentRunsOnItsBuiltInSettings) {
    startAll();
    ASSERT_EQ(std::remove((root() + "/etc/config/mev/vok/vok.conf").c_str()), 0);
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(agentLog(), "") << "the log is the system log then";
}

TEST_F(Inventory, AHostWithoutDevicesStillReportsItself) {
    directory.writeFile("settings.json", usualSettings().toStyledString());
    startHost({"--config", directory.path() + "/settings.json", "--speed", "100"}, "bare");
    startController();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_NE(inventoryText(1).find(R"("IPv4Addresses":[{"Address":"127.0.0.1"}])"), std::string::npos)
        << inventoryText(1);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("violations"), 0);
}

TEST_F(Inventory, AHostWhoseMemoryToolFailsLogsThatOnceAndReportsTheRest) {
    startAll();
    hostControl({"command", "esxtop", "fail", "1"});
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    ASSERT_TRUE(waitForLog(" Populating host information.", 4));
    EXPECT_NE(inventoryText(1).find(R"("TotalSystemMemoryGiB":0.0)"), std::string::npos) << inventoryText(1);
    EXPECT_NE(inventoryText(1).find(R"("HostName":"rack42-node07")"), std::string::npos);
    EXPECT_EQ(timesLogged("Error occurred in fetching physical memory information"), 1);
    EXPECT_EQ(timesLogged("HOST_RM: Command failed (exit status 1) : esxtop -c "), 1);
    hostControl({"command", "esxtop", "normal"});
    ASSERT_TRUE(waitForLog("HOST_RM: Command succeeds again : esxtop -c "));
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(Inventory, AdaptersThatAFailingCommandHidesAreAWarningWithItsStatus) {
    Json::Value settings = usualSettings();
    settings["EnableResources"].append("EthernetDevices");
    startAll(settings);
    hostControl({"command", "localcli", "fail", "4"});
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(inventoryText(1).find("EthernetDevices"), std::string::npos) << inventoryText(1);
    EXPECT_EQ(timesLogged("NIC_RM: No Ethernet adapter is known until the next build (exit status 4) : "
                          "localcli network nic list"),
              1);
    EXPECT_EQ(timesLogged("VOK_UTILS: Command failed (exit status 4) : localcli hardware pci list > "), 1);
    EXPECT_EQ(stopAgent(), 0);
}

}  // namespace
}  // namespace InventoryTest
