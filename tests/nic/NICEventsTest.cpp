// The events caused by changes between two builds, as the controller receives them.
#include <gmock/gmock.h>
#include <atomic>
#include <cstdlib>
#include <future>
#include <thread>

#include "nic/NICFixture.h"
#include "support/DeliveredEvents.h"

namespace NICEventsTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class EthernetEvents : public NICFixture {
protected:
    void SetUp() override {
        ::setenv("TZ", "UTC", 1);
        becomeReadyForEvents();
    }
    // The events since the last call.
    std::vector<Json::Value> events() {
        std::vector<Json::Value> all = deliveredEvents(ipmi);
        ipmi.clearRequests();
        return all;
    }
    std::vector<int> ids() {
        std::vector<int> numbers;
        for (const auto& event : events()) numbers.push_back(event["ID"].asInt());
        return numbers;
    }
    // A build with this administrative and link status of the first interface; returns the events.
    std::vector<int> buildWith(const char* admin, const char* link) {
        interfaces[0].adminStatus = admin;
        interfaces[0].linkStatus = link;
        manager.cacheBuild();
        return ids();
    }
};

TEST_F(EthernetEvents, TheFirstBuildRaisesNone) {
    EXPECT_THAT(buildWith("Up", "Down"), IsEmpty());
}

TEST_F(EthernetEvents, ALostLinkIs1384AndItsReturn1390) {
    buildWith("Up", "Up");
    EXPECT_THAT(buildWith("Up", "Down"), ElementsAre(1384));
    EXPECT_THAT(buildWith("Up", "Down"), IsEmpty());
    EXPECT_THAT(buildWith("Up", "Up"), ElementsAre(1390));
}

TEST_F(EthernetEvents, AnUnknownLinkIs678AndItsReturn680) {
    buildWith("Up", "Up");
    EXPECT_THAT(buildWith("Up", "Unknown"), ElementsAre(678));
    EXPECT_THAT(buildWith("Up", "Up"), ElementsAre(680));
}

TEST_F(EthernetEvents, SwitchingAPortOffAndOnAdministrativelyRaisesNone) {
    buildWith("Up", "Up");
    EXPECT_THAT(buildWith("Down", "Down"), IsEmpty());
    EXPECT_THAT(buildWith("Up", "Up"), IsEmpty());
}

TEST_F(EthernetEvents, AChangeOfHealthAloneRaisesOneToo) {
    buildWith("Down", "Down");
    EXPECT_THAT(buildWith("Up", "Unknown"), ElementsAre(678)) << "Offline as before, but no longer OK";
}

TEST_F(EthernetEvents, AnUpdateCountsAsTheStateOfThePreviousBuild) {
    buildWith("Up", "Up");
    manager.updateStateAndHealth("vmnic0", "Linkdown", "OK");
    EXPECT_THAT(buildWith("Up", "Down"), IsEmpty());
    manager.updateStateAndHealth("vmnic0", "Offline", "Critical");
    EXPECT_THAT(buildWith("Up", "Up"), ElementsAre(680));
}

TEST_F(EthernetEvents, TextsOutsideTheTablesAreComparedAsTexts) {
    buildWith("Up", "Down");
    manager.updateStateAndHealth("vmnic0", "Linkdown", "Worn");
    ASSERT_THAT(buildWith("Up", "Down"), ElementsAre(1384)) << "the health differs from OK";
    manager.updateStateAndHealth("vmnic0", "Linkdown", "Worn");
    manager.compareStatusAndGenerateEvent();
    EXPECT_THAT(ids(), IsEmpty()) << "Worn as in the build before";
    manager.updateStateAndHealth("vmnic0", "Linkdown", "Worse");
    manager.compareStatusAndGenerateEvent();
    EXPECT_THAT(ids(), ElementsAre(1384));
}

TEST_F(EthernetEvents, AnAdapterMissingFromABuildIsNewInTheNext) {
    buildWith("Up", "Up");
    listStatus = 256;
    EXPECT_THAT(buildWith("Up", "Up"), IsEmpty());
    listStatus = 0;
    EXPECT_THAT(buildWith("Up", "Down"), IsEmpty());
}

TEST_F(EthernetEvents, AChangeOfSpeedRaisesNone) {
    buildWith("Up", "Up");
    interfaces[0].speed = "1000";
    EXPECT_THAT(buildWith("Up", "Up"), IsEmpty());
}

TEST_F(EthernetEvents, AnAddedOrRemovedInterfaceRaisesNone) {
    buildWith("Up", "Up");
    interfaces.push_back({"vmnic2", "0000:82:00.0"});
    interfaces.back().linkStatus = "Down";
    EXPECT_THAT(buildWith("Up", "Up"), IsEmpty());
    interfaces.pop_back();
    EXPECT_THAT(buildWith("Up", "Up"), IsEmpty());
}

TEST_F(EthernetEvents, SeveralEventsComeInTheOrderOfTheList) {
    buildWith("Up", "Up");
    interfaces[1].linkStatus = "Unknown";
    EXPECT_THAT(buildWith("Up", "Down"), ElementsAre(1384, 678));
    EXPECT_TRUE(
        hasLogged(host, "DEBUG NIC_RM: Entry compare size of current inventory 2, size of prev inventory 2"));
}

TEST_F(EthernetEvents, AnEventDescribesTheAdapterWithoutItsStatus) {
    buildWith("Up", "Up");
    interfaces[0].linkStatus = "Down";
    clock.set(1700000060);
    manager.cacheBuild();
    const auto sent = events();
    ASSERT_EQ(sent.size(), 1u);
    const Json::Value& event = sent[0];
    EXPECT_EQ(event["Source"], "VOK");
    EXPECT_EQ(event["EventTime"], "2023-11-14 22:14:20");
    EXPECT_EQ(event["PhysicalLocation"], "FFFFFFFFFFFFFFFF");
    const Json::Value& data = event["VariableData"];
    EXPECT_THAT(data.getMemberNames(), ElementsAre("Data", "EventInfo", "Type"));
    EXPECT_EQ(data["Type"], "EthernetDevice");
    EXPECT_EQ(data["EventInfo"], "The connectivity between the Ethernet port and the switch has been lost.");
    EXPECT_THAT(data["Data"].getMemberNames(),
                ElementsAre("FirmwareVersion", "MACAddress", "Manufacturer", "Model", "Oem", "PartNumber",
                            "SerialNumber", "SpeedMbps"));
    EXPECT_EQ(data["Data"]["Oem"]["DeviceName"], "vmnic0");
}

TEST(EthernetEventText, FollowsItsTable) {
    EXPECT_EQ(NICResourceManager::getDescription(0), "Injected Event");
    EXPECT_EQ(NICResourceManager::getDescription(678),
              "Errors detected on NIC, use 'ip' command for status. Refer to syslog for further details.");
    EXPECT_EQ(NICResourceManager::getDescription(1384),
              "The connectivity between the Ethernet port and the switch has been lost.");
    for (const int id : {680, 1390, 1, -1, 356}) EXPECT_EQ(NICResourceManager::getDescription(id), "") << id;
}

TEST_F(EthernetEvents, ATestEventShowsASampleAdapterAtTheLocation) {
    manager.generateTestEvent(1390, "00000000000012AB");
    const auto sent = events();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0]["ID"].asInt(), 1390);
    EXPECT_EQ(sent[0]["Source"], "VOK-CLI");
    EXPECT_EQ(sent[0]["PhysicalLocation"], "00000000000012AB");
    EXPECT_EQ(sent[0]["EventTime"], "2023-11-14 22:13:20");
    const Json::Value& data = sent[0]["VariableData"];
    EXPECT_EQ(data["EventInfo"], "Injected Event");
    EXPECT_EQ(data["Type"], "EthernetDevice");
    EXPECT_FALSE(data["Data"].isMember("Status"));
    EXPECT_EQ(data["Data"]["FirmwareVersion"], "3.2d 0x80000b5c 0.0.0");
    EXPECT_EQ(data["Data"]["MACAddress"], "02:00:5E:17:A1:64");
    EXPECT_EQ(data["Data"]["Manufacturer"], "Intel Corporation");
    EXPECT_EQ(data["Data"]["Oem"]["DeviceName"], "/sys/class/net/eth0");
    EXPECT_EQ(data["Data"]["Oem"]["PhysicalLocation"], "00000000000012AB");
    EXPECT_EQ(data["Data"]["PartNumber"], "Not Available");
    EXPECT_EQ(data["Data"]["Model"], "Sample Ethernet adapter");
    EXPECT_EQ(data["Data"]["Oem"]["Description"], "Not Available")
        << "the sample has no location without a platform";
}

// The link is lost and restored in alternate builds. However the threads' builds interleave, the events are
// those of the changes from each build to the next: lost and restored in turn.
TEST_F(EthernetEvents, BuildersAtTheSameTimeRaiseEachChangeOnce) {
    buildWith("Up", "Up");
    std::atomic<int> lists{0};
    const auto others = commands.onCommand;
    commands.onCommand = [&](const std::string& command, int& status) {
        if (command == listCommand) interfaces[0].linkStatus = ++lists % 2 ? "Down" : "Up";
        return others(command, status);
    };
    std::vector<std::thread> builders;
    for (int i = 0; i < 3; ++i)
        builders.emplace_back([this] {
            for (int build = 0; build < 4; ++build) manager.cacheBuild();
        });
    for (std::thread& builder : builders) builder.join();
    EXPECT_THAT(ids(), ElementsAre(1384, 1390, 1384, 1390, 1384, 1390, 1384, 1390, 1384, 1390, 1384, 1390));
}

// A reader runs while the controller delays its answer to the event.
TEST_F(EthernetEvents, AReaderGetsThePreviousInventoryWhileTheControllerAnswersSlowly) {
    buildWith("Up", "Up");
    std::promise<void> reached, answer;
    bool first = true;
    const auto others = ipmi.onRequest;
    ipmi.onRequest = [&](const FakeIpmiRequest& request) {
        if (first) {
            first = false;
            reached.set_value();
            answer.get_future().wait();
        }
        return others(request);
    };
    interfaces[0].linkStatus = "Down";
    std::thread builder([this] { manager.cacheBuild(); });
    reached.get_future().wait();
    std::vector<Json::Value> seen;
    EXPECT_TRUE(manager.getInventoryJsonObject(seen)) << "returns although the event is not delivered";
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0]["Status"]["State"], "Online") << "the previous one";
    answer.set_value();
    builder.join();
    EXPECT_EQ(inventory()[0]["Status"]["State"], "Linkdown");
}

}  // namespace
}  // namespace NICEventsTest
