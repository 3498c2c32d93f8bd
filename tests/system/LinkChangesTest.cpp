// Ethernet adapters that lose their link, fail, recover, appear and disappear under the real daemon, and the
// events that the controller receives.
#include <csignal>
#include <regex>

#include "system/SimulatedSystem.h"

namespace LinkChangesTest {
namespace {

constexpr char lost[] = "The connectivity between the Ethernet port and the switch has been lost.";
constexpr char failed[] =
    "Errors detected on NIC, use 'ip' command for status. Refer to syslog for further details.";

class EthernetHost : public SimulatedSystem {
protected:
    static Json::Value ethernetSettings(const char* refreshSeconds = "20") {
        Json::Value settings = usualSettings();
        settings["EnableResources"][0] = "EthernetDevices";
        settings["CacheRefreshInSeconds"]["Global"] = refreshSeconds;
        return settings;
    }
    // A host by name, its controller and the agent, whose first inventory has arrived.
    void start(const char* host = "rack-node", const Json::Value& settings = ethernetSettings(),
               int speed = usualSpeed) {
        startHostAlone(settings, speed, {"--ipmi-timeout", "20"}, host);
        startController();
        startAgentAndWaitForItsPush();
    }
    void change(const std::string& adapter, std::vector<std::string> words) {
        words.insert(words.begin(), {"nic", adapter});
        hostControl(words);
    }
    // Returns after a build that started after the call: another one may be in progress.
    void waitForANewBuild() const { ASSERT_TRUE(waitForLog(built, timesLogged(built) + 2)); }
    // Calls `act` right after a build, while the agent is suspended.
    void betweenTwoBuilds(const std::function<void()>& act) {
        ASSERT_TRUE(waitForLog(built, timesLogged(built) + 1));
        ASSERT_EQ(::kill(agent.process(), SIGSTOP), 0);
        act();
        ASSERT_EQ(::kill(agent.process(), SIGCONT), 0);
    }
    std::vector<std::string> eventsWithoutTheirTime() const {
        std::vector<std::string> texts = eventTexts();
        for (std::string& text : texts)
            text = std::regex_replace(text, std::regex(R"("EventTime":"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d")"),
                                      R"("EventTime":"TIME")");
        return texts;
    }
    void expectAGracefulEndWithoutAViolation() {
        EXPECT_EQ(stopAgent(), 0);
        EXPECT_EQ(controllerCount("violations"), 0) << controllerProgram.errors();
        EXPECT_EQ(controllerCount("abandonedTransfers"), 0);
        EXPECT_EQ(timesLogged("FAILURE in logging event to RMC"), 0);
    }

    static constexpr char built[] = "NIC_RM: Exiting CacheBuild";
};

// A host of a platform family, with the texts that its events have about one of its adapters.
struct Node {
    const char* name;
    const char* adapter;
    const char* speed;
    const char* otherSpeed;
    const char* hostPart;  // of the event, up to its number
    const char* afterNumber;
    const char* dataUpToSpeed;
    const char* sampleDescription;  // of the adapter in a test event
};

void PrintTo(const Node& node, std::ostream* out) {
    *out << node.name;
}

constexpr Node nodes[] = {
    {"rack-node", "vmnic0", "1000", "100", R"({"EventTime":"TIME","HostName":"rack42-node07","ID":)",
     R"(,"IPv4Addresses":[{"Address":"10.42.7.11"}],"OSType":104,"OSVersion":"7.0.3",)"
     R"("PhysicalLocation":"259A001B05C20000","Source":"VOK",)",
     R"({"FirmwareVersion":"0.6-5","MACAddress":"02:00:5e:10:00:00","Manufacturer":"MEV",)"
     R"("Model":"MEV 4-port 1GbE on-board adapter, copper","Oem":{"Description":)"
     R"("PCI 0000:18:00.0 r001u05p2i00","DeviceName":"vmnic0","PhysicalLocation":"259A001B05C20000"},)"
     R"("PartNumber":"MEV-1000-100A","SerialNumber":"Not Available","SpeedMbps":)",
     "PCI 0000:c3:00.0 r001u01p0i00"},
    {"blade-node", "vmnic2", "25000", "10000", R"({"EventTime":"TIME","HostName":"frame01-blade02","ID":)",
     R"(,"IPv4Addresses":[{"Address":"10.30.2.11"}],"OSType":104,"OSVersion":"7.0.3",)"
     R"("PhysicalLocation":"303A001B02C00400","Source":"VOK",)",
     R"({"FirmwareVersion":"14.32.1010","MACAddress":"02:00:5e:30:02:12",)"
     R"("Manufacturer":"Mellanox Technologies","Model":"MEV 2-port 25GbE adapter, SFP28",)"
     R"("Oem":{"Description":"PCI 0000:b3:00.0 r001i02s04","DeviceName":"vmnic2",)"
     R"("PhysicalLocation":"303A001B02C00400"},"PartNumber":"MEV-1000-320A",)"
     R"("SerialNumber":"Not Available","SpeedMbps":)",
     "PCI 0000:c3:00.0 r001i01s00"},
    {"blade-node-b", "vmnic2", "25000", "10000", R"({"EventTime":"TIME","HostName":"frame04-blade07","ID":)",
     R"(,"IPv4Addresses":[{"Address":"10.30.7.11"}],"OSType":104,"OSVersion":"7.0.3",)"
     R"("PhysicalLocation":"303A004B07C00400","Source":"VOK",)",
     R"({"FirmwareVersion":"14.32.1010","MACAddress":"02:00:5e:30:07:12",)"
     R"("Manufacturer":"Mellanox Technologies","Model":"MEV 2-port 25GbE adapter, SFP28",)"
     R"("Oem":{"Description":"PCI 0001:b3:00.0 r004i07s04","DeviceName":"vmnic2",)"
     R"("PhysicalLocation":"303A004B07C00400"},"PartNumber":"MEV-1000-321A",)"
     R"("SerialNumber":"Not Available","SpeedMbps":)",
     "PCI 0000:c3:00.0 r001i01s00"},
    {"foreign-node", "vmnic0", "1000", "100", R"({"EventTime":"TIME","HostName":"office-server-3","ID":)",
     R"(,"IPv4Addresses":[{"Address":"192.168.3.20"}],"OSType":104,"OSVersion":"7.0.3",)"
     R"("PhysicalLocation":"FFFFFFFFFFFFFFFF","Source":"VOK",)",
     R"({"FirmwareVersion":"3.16","MACAddress":"02:00:5e:40:00:10","Manufacturer":"Not Available",)"
     R"("Model":"Not Available","Oem":{"Description":"PCI 0000:02:00.0 ","DeviceName":"vmnic0",)"
     R"("PhysicalLocation":"FFFFFFFFFFFFFFFF"},"PartNumber":"Not Available",)"
     R"("SerialNumber":"Not Available","SpeedMbps":)",
     "Not Available"},
};

class OnEachPlatform : public EthernetHost, public testing::WithParamInterface<Node> {
protected:
    static std::string event(const char* number, const char* speed, const char* info) {
        return std::string(GetParam().hostPart) + number + GetParam().afterNumber +
               R"("VariableData":{"Data":)" + GetParam().dataUpToSpeed + speed + R"(},"EventInfo":")" + info +
               R"(","Type":"EthernetDevice"}})";
    }
};

TEST_P(OnEachPlatform, ALinkLostAndRestoredAndUnknownAndRestoredAreFourEventsInTheirOrder) {
    const Node& node = GetParam();
    start(node.name);
    waitForANewBuild();
    EXPECT_EQ(events(), std::vector<int>()) << "before any change, ports without a link among them";
    int number = 0;
    for (const char* link : {"down", "up", "unknown", "up"}) {
        change(node.adapter, {"link", link});
        ASSERT_EQ(waitFor("event", ++number), 0) << link;
    }
    waitForANewBuild();
    EXPECT_EQ(eventsWithoutTheirTime(),
              (std::vector<std::string>{event("1384", "0", lost), event("1390", node.speed, ""),
                                        event("678", "0", failed), event("680", node.speed, "")}));
    expectAGracefulEndWithoutAViolation();
}

TEST_P(OnEachPlatform, SpeedAdministrativeStatusAndAddedOrRemovedAdaptersChangeTheInventoryAndRaiseNoEvent) {
    const Node& node = GetParam();
    start(node.name);
    const std::string removed = std::string(R"("DeviceName":")") + node.adapter + "\"";
    EXPECT_NE(inventoryText(1).find(removed), std::string::npos) << inventoryText(1);

    change(node.adapter, {"speed", node.otherSpeed});
    waitForANewBuild();
    controllerControl({"ring"});
    ASSERT_EQ(waitFor("inventory", 2), 0);
    EXPECT_NE(inventoryText(2).find(std::string(node.dataUpToSpeed).substr(1) + node.otherSpeed +
                                    R"(,"Status":{"Health":"OK","State":"Online"}})"),
              std::string::npos)
        << inventoryText(2);

    change(node.adapter, {"admin", "down"});
    waitForANewBuild();
    change(node.adapter, {"admin", "up"});
    waitForANewBuild();
    change(node.adapter, {"remove"});
    waitForANewBuild();
    change("vmnic9", {"add", "0000:99:00.0", "ixgben"});
    waitForANewBuild();
    controllerControl({"ring"});
    ASSERT_EQ(waitFor("inventory", 3), 0);
    EXPECT_EQ(inventoryText(3).find(removed), std::string::npos) << inventoryText(3);
    EXPECT_NE(inventoryText(3).find(
                  R"({"FirmwareVersion":"Not Available","MACAddress":"02:00:5e:00:53:01",)"
                  R"("Manufacturer":"Not Available","Model":"Not Available","Oem":{"Description":)"
                  R"("PCI 0000:99:00.0 ","DeviceName":"vmnic9","PhysicalLocation":"FFFFFFFFFFFFFFFF"},)"
                  R"("PartNumber":"Not Available","SerialNumber":"Not Available","SpeedMbps":10000,)"
                  R"("Status":{"Health":"OK","State":"Online"}})"),
              std::string::npos)
        << inventoryText(3);
    EXPECT_EQ(events(), std::vector<int>());
    expectAGracefulEndWithoutAViolation();
}

TEST_P(OnEachPlatform, ATestEventDescribesASampleAdapterAtTheLocationThatTheClientNames) {
    const Node& node = GetParam();
    start(node.name);
    for (const char* number : {"678", "680", "1384", "1390"})
        EXPECT_EQ(runClient({"test", number, "203A001B05C20300"}).status, 0) << number;
    EXPECT_EQ(runClient({"test", "1384"}).status, 0);
    EXPECT_EQ(events(), (std::vector<int>{678, 680, 1384, 1390, 1384}));
    const std::string text = eventsWithoutTheirTime().at(2);
    const std::string expected =
        std::string(R"("PhysicalLocation":"203A001B05C20300","Source":"VOK-CLI","VariableData":)") +
        R"({"Data":{"FirmwareVersion":"3.2d 0x80000b5c 0.0.0","MACAddress":"02:00:5E:17:A1:64",)" +
        R"("Manufacturer":"Intel Corporation","Model":"Sample Ethernet adapter","Oem":{"Description":")" +
        node.sampleDescription +
        R"(","DeviceName":"/sys/class/net/eth0","PhysicalLocation":"203A001B05C20300"},)" +
        R"("PartNumber":"Not Available","SerialNumber":"Not Available","SpeedMbps":0},)" +
        R"("EventInfo":"Injected Event","Type":"EthernetDevice"}})";
    const auto at = text.find(R"("PhysicalLocation")");
    ASSERT_NE(at, std::string::npos) << text;
    EXPECT_EQ(text.substr(at), expected);
    EXPECT_NE(eventTexts().at(4).find(R"("PhysicalLocation":"FFFFFFFFFFFFFFFF","Source":"VOK-CLI")"),
              std::string::npos)
        << eventTexts().at(4);
    expectAGracefulEndWithoutAViolation();
}

INSTANTIATE_TEST_SUITE_P(Nodes, OnEachPlatform, testing::ValuesIn(nodes), [](const auto& row) {
    std::string name = row.param.name;
    for (char& each : name)
        if (each == '-') each = '_';
    return name;
});

class LinkChanges : public EthernetHost {};

TEST_F(LinkChanges, BeforeTheFirstPushTheyAreNotReported) {
    Json::Value settings = ethernetSettings();
    settings["InventoryQueryIntervalInSeconds"] = "100000";
    startAll(settings);
    change("vmnic1", {"link", "down"});
    startAgent();
    ASSERT_TRUE(waitForLog(built));
    change("vmnic0", {"link", "down"});
    waitForANewBuild();
    const Json::Value state = controllerState();
    EXPECT_EQ(state["requests"].asInt(), state["polls"].asInt()) << "nothing but polls of the door-bell";
    EXPECT_EQ(events(), std::vector<int>());
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(LinkChanges, AreReportedInTheOrderOfTheHostsListWhenOneBuildFindsSeveral) {
    start();
    betweenTwoBuilds([this] {
        change("vmnic3", {"link", "unknown"});
        change("vmnic1", {"link", "down"});
        change("vmnic0", {"link", "down"});
    });
    ASSERT_EQ(waitFor("event", 3), 0);
    EXPECT_EQ(events(), (std::vector<int>{1384, 1384, 678}));
    const std::vector<std::string> texts = eventTexts();
    EXPECT_NE(texts.at(0).find(R"("DeviceName":"vmnic0")"), std::string::npos) << texts[0];
    EXPECT_NE(texts.at(1).find(R"("DeviceName":"vmnic1")"), std::string::npos) << texts[1];
    EXPECT_NE(texts.at(2).find(R"("DeviceName":"vmnic3")"), std::string::npos) << texts[2];
    expectAGracefulEndWithoutAViolation();
}

TEST_F(LinkChanges, ALinkThatFlapsBetweenTwoBuildsIsNotNoticed) {
    start();
    betweenTwoBuilds([this] {
        change("vmnic0", {"link", "down"});
        change("vmnic0", {"link", "up"});
    });
    waitForANewBuild();
    EXPECT_EQ(events(), std::vector<int>());
    expectAGracefulEndWithoutAViolation();
}

// A wait that ends a second late polls nothing; then the next build reports the change, and the test tries
// again.
TEST_F(LinkChanges, ThePollTenSecondsAfterABuildFindsThemLongBeforeTheNextBuild) {
    constexpr char found[] = "NIC_RM: Found a status change";
    start("rack-node", ethernetSettings("100"), 20);
    int number = 0;
    while (timesLogged(found) == 0) {
        ASSERT_LT(number, 6) << "no poll found a change";
        change("vmnic0", {"link", number % 2 == 0 ? "down" : "up"});
        ASSERT_EQ(waitFor("event", ++number), 0);
    }
    const std::string log = debugLog();
    const auto poll = log.find(found);
    EXPECT_NE(log.find("NIC_RM: Building NIC Cache", poll), std::string::npos);
    EXPECT_EQ(log.substr(poll, log.find("NIC_RM: Building NIC Cache", poll) - poll).find("Refreshing"),
              std::string::npos)
        << "the build is the poll's";
    EXPECT_LE(timesLogged("NIC_RM: Polling for interface link state change."), timesLogged(built));
    expectAGracefulEndWithoutAViolation();
}

TEST_F(LinkChanges, AControllerThatAcceptsAnEventSlowlyBlocksNeitherReadersNorTheRunningTest) {
    constexpr char previousCopy[] =
        "NIC_RM: Cache build is in progress. Returning previous copy of inventory.";
    Json::Value settings = ethernetSettings();
    settings["PushInventoryFrequencyInMinutes"] = "1";  // of which several pass during the event
    start("rack-node", settings);
    controllerControl({"answer", "late", "4000", "--of", "event"});
    change("vmnic0", {"link", "down"});
    ASSERT_TRUE(waitForLog(R"("ID":1384)"));
    const int before = controllerCount("inventories");
    ASSERT_TRUE(waitForLog(previousCopy, timesLogged(previousCopy) + 1));
    EXPECT_EQ(controllerCount("events"), 0) << "the reader has its copy and the controller no event yet";

    // The controller takes minutes of the host's time, a client's running test nine seconds of it.
    EXPECT_EQ(runClient({"test", "708"}).status, 0);
    ASSERT_EQ(waitFor("event", 2), 0);
    EXPECT_EQ(runClient({"test", "708"}).status, 0);
    ASSERT_EQ(waitFor("event", 3), 0);
    EXPECT_EQ(events(), (std::vector<int>{1384, 708, 708}));
    EXPECT_NE(eventTexts().at(1).find(R"("OperationalResourceType":[])"), std::string::npos)
        << eventTexts().at(1);
    EXPECT_NE(eventTexts().at(2).find(R"("OperationalResourceType":["EthernetDevices"])"), std::string::npos)
        << eventTexts().at(2);
    ASSERT_EQ(waitFor("inventory", before + 1), 0);
    EXPECT_EQ(inventoryText(before + 1).find("Linkdown"), std::string::npos) << "the previous copy";
    EXPECT_TRUE(waitUntil([this] {
        return inventoryText(controllerCount("inventories")).find("Linkdown") != std::string::npos;
    }));
    expectAGracefulEndWithoutAViolation();
}

}  // namespace
}  // namespace LinkChangesTest
