// The daemon on the machine that the test runs on, and on a copy of a machine's files that changes meanwhile.
#include <sys/utsname.h>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>

#include "simhost/MadeUpMachine.h"
#include "system/SimulatedSystem.h"

namespace LiveSystemTest {

namespace fs = std::filesystem;

namespace {

class LiveSystem : public SimulatedSystem {
protected:
    void startLive(std::vector<std::string> options = {}) {
        Json::Value settings = usualSettings();
        settings["EnableResources"][0] = "EthernetDevices";
        settings["CacheRefreshInSeconds"]["Global"] = "10";
        directory.writeFile("settings.json", settings.toStyledString());
        options.insert(options.begin(), {VOK_SIMHOST_PROGRAM, "run", "--live", "--root", root(), "--config",
                                         directory.path() + "/settings.json"});
        hostProgram = RunningProgram(directory.path(), "simhost", options, "ready");
        startController();
        startAgent();
        ASSERT_EQ(waitFor("inventory", 1), 0);
    }
    Json::Value ethernetDevices(int number) const {
        Json::Value document;
        std::istringstream(inventoryText(number)) >> document;
        return document["HostDataCollection"]["EthernetDevices"];
    }
    static std::string firstLine(const fs::path& path) {
        std::string line;
        std::getline(std::ifstream(path), line);
        return line;
    }
};

TEST_F(LiveSystem, TheControllerReceivesTheAdaptersOfThisMachine) {
    std::set<std::string> all, withDevice;
    for (const auto& entry : fs::directory_iterator("/sys/class/net")) {
        if (firstLine(entry.path() / "type") != "1") continue;
        const std::string name = entry.path().filename().string();
        all.insert(name);
        if (fs::exists(entry.path() / "device")) withDevice.insert(name);
    }
    const std::set<std::string>& expected = withDevice.empty() ? all : withDevice;
    if (expected.empty()) GTEST_SKIP() << "this machine has no Ethernet interface";

    startLive();
    const Json::Value devices = ethernetDevices(1);
    std::set<std::string> received;
    for (const auto& each : devices) {
        const std::string name = each["Oem"]["DeviceName"].asString();
        received.insert(name);
        EXPECT_EQ(each["MACAddress"].asString(), firstLine("/sys/class/net/" + name + "/address"));
    }
    EXPECT_EQ(received, expected);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("violations"), 0);
    EXPECT_TRUE(fs::exists("/sys/class/net"));
}

TEST_F(LiveSystem, AChangeOfTheMachinesLinkBecomesAnEvent) {
    const MadeUpMachine machine;
    machine.interface("eth0", machine.pciFunction("0000:00:03.0", {{"vendor", "0x8086"}}),
                      {{"type", "1"}, {"flags", "0x1003"}, {"operstate", "up"}, {"speed", "1000"}});
    machine.interface("odd;$(id)", machine.pciFunction("0000:00:04.0", {}), {{"type", "1"}});
    startLive({"--machine", machine.root()});
    const Json::Value devices = ethernetDevices(1);
    ASSERT_EQ(devices.size(), 2u) << "the odd one is listed, and its name is used in no command";
    EXPECT_EQ(devices[0]["Status"]["State"].asString(), "Online");
    EXPECT_EQ(devices[0]["SpeedMbps"].asInt(), 1000);
    EXPECT_EQ(devices[0]["Oem"]["Description"].asString(), "PCI 0000:00:03.0 ");

    machine.set("eth0", "operstate", "lowerlayerdown");
    ASSERT_EQ(waitFor("event", 1), 0);
    EXPECT_EQ(events(), std::vector<int>{1384});
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("violations"), 0);
}

}  // namespace
}  // namespace LiveSystemTest
