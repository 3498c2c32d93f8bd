// The events caused by changes between two builds, as the controller receives them, and the test event.
#include <gmock/gmock.h>
#include <cstdlib>
#include <future>
#include <thread>

#include "fc/FCFixture.h"

namespace FCEventsTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FCEvents : public FCFixture {
protected:
    FCEvents() {
        ::setenv("TZ", "UTC", 1);
        letEventsPass(ipmi);
    }
    std::vector<int> build() {
        ipmi.clearRequests();
        manager.cacheBuild();
        return deliveredEventIds(ipmi);
    }
};

TEST_F(FCEvents, TheFirstBuildRaisesNone) {
    EXPECT_THAT(buildWith(HBA_PORTSTATE_ERROR), IsEmpty());
    EXPECT_TRUE(managerLogged("No FCHBA event detected to generate"));
}

TEST_F(FCEvents, AnUnchangedStateRaisesNone) {
    buildWith(HBA_PORTSTATE_LINKDOWN);
    EXPECT_THAT(buildWith(HBA_PORTSTATE_LINKDOWN), IsEmpty());
    EXPECT_EQ(countLogged(host, "DEBUG FC_RM: No FCHBA event detected to generate"), 2);
}

TEST_F(FCEvents, AnAdapterThatIsNewRaisesNone) {
    buildWith(HBA_PORTSTATE_ONLINE);
    library.adapters.push_back({"fake-1", 2, 2, {{2, HBA_PORTSTATE_LINKDOWN}}});
    EXPECT_THAT(build(), IsEmpty());
}

TEST_F(FCEvents, AnAdapterThatIsGoneRaisesNoneAndIsNewWhenItReturns) {
    buildWith(HBA_PORTSTATE_ONLINE);
    library.adapters[0].status = HBA_STATUS_ERROR;
    EXPECT_THAT(build(), IsEmpty());
    library.adapters[0].status = HBA_STATUS_OK;
    EXPECT_THAT(buildWith(HBA_PORTSTATE_LINKDOWN), IsEmpty());
}

TEST_F(FCEvents, AdaptersAreComparedByTheirNodeNames) {
    library.adapters.push_back({"fake-1", 2, 2, {{2, HBA_PORTSTATE_LINKDOWN}}});
    build();
    std::swap(library.adapters[0], library.adapters[1]);
    EXPECT_THAT(build(), IsEmpty()) << "in another order";
    library.adapters[0].ports[0].state = HBA_PORTSTATE_ONLINE;
    library.adapters[1].ports[0].state = HBA_PORTSTATE_OFFLINE;
    EXPECT_THAT(build(), ElementsAre(1391, 385));
}

TEST_F(FCEvents, OfSeveralPreviousRecordsWithTheNodeNameTheLastThatDiffersDecides) {
    library.adapters[0].ports[0].state = HBA_PORTSTATE_LINKDOWN;
    library.adapters.push_back({"fake-1", 1, 2, {{2, HBA_PORTSTATE_OFFLINE}}});
    build();
    library.adapters[1].ports[0].state = HBA_PORTSTATE_LINKDOWN;
    library.adapters[0].ports[0].state = HBA_PORTSTATE_ONLINE;
    EXPECT_THAT(build(), ElementsAre(384, 386)) << "online after offline, link down after offline";
}

TEST_F(FCEvents, AdaptersWithTheSameNodeNameInDifferentStatesRaiseEventsInEveryBuild) {
    library.adapters[0].ports[0].state = HBA_PORTSTATE_LINKDOWN;
    library.adapters.push_back({"fake-1", 1, 2, {{2, HBA_PORTSTATE_ONLINE}}});
    EXPECT_THAT(build(), IsEmpty());
    for (int i = 0; i < 2; ++i) EXPECT_THAT(build(), ElementsAre(386, 1391));
}

TEST_F(FCEvents, AnEventIsRaisedBeforeTheAdapterIsClosed) {
    buildWith(HBA_PORTSTATE_ONLINE);
    std::size_t requestsAtClose = 0;
    library.onCall = [&](const std::string& call) {
        if (call == "close 1") requestsAtClose = ipmi.requests().size();
    };
    buildWith(HBA_PORTSTATE_LINKDOWN);
    EXPECT_GT(requestsAtClose, 0u);
}

TEST_F(FCEvents, AnEventDescribesTheAdapterWithoutItsStatus) {
    buildWith(HBA_PORTSTATE_ONLINE);
    clock.set(1700000060);
    ASSERT_THAT(buildWith(HBA_PORTSTATE_ERROR), ElementsAre(388));
    const Json::Value event = deliveredEvents(ipmi).at(0);
    EXPECT_EQ(event["Source"], "VOK");
    EXPECT_EQ(event["EventTime"], "2023-11-14 22:14:20");
    EXPECT_EQ(event["PhysicalLocation"], "FFFFFFFFFFFFFFFF");
    const Json::Value& data = event["VariableData"];
    EXPECT_THAT(data.getMemberNames(), ElementsAre("Data", "EventInfo", "Type"));
    EXPECT_EQ(data["Type"], "FibreChannelDevice");
    EXPECT_EQ(data["EventInfo"],
              "The Fibre Channel device port has failed. Refer to /var/log/messages for further details.");
    EXPECT_THAT(data["Data"].getMemberNames(),
                ElementsAre("FirmwareVersion", "Manufacturer", "Model", "Oem", "PartNumber", "RomVersion",
                            "SerialNumber", "WWNN", "WWPN"));
    EXPECT_EQ(data["Data"]["WWNN"], "20:00:00:00:c9:00:00:01");
}

TEST_F(FCEvents, OnlineAfterLinkdownHasNoText) {
    buildWith(HBA_PORTSTATE_LINKDOWN);
    ASSERT_THAT(buildWith(HBA_PORTSTATE_ONLINE), ElementsAre(1391));
    EXPECT_EQ(deliveredEvents(ipmi).at(0)["VariableData"]["EventInfo"], "");
}

// A reader runs while the controller delays its answer to the event.
TEST_F(FCEvents, AReaderGetsThePreviousInventoryWhileTheControllerAnswersSlowly) {
    buildWith(HBA_PORTSTATE_ONLINE);
    std::promise<void> reached, answer;
    bool first = true;
    const auto others = ipmi.onRequest;
    ipmi.onRequest = [&](const FakeIpmiRequest& request) {
        if (std::exchange(first, false)) {
            reached.set_value();
            answer.get_future().wait();
        }
        return others(request);
    };
    library.adapters[0].ports[0].state = HBA_PORTSTATE_LINKDOWN;
    std::thread builder([this] { manager.cacheBuild(); });
    reached.get_future().wait();
    std::vector<Json::Value> seen;
    EXPECT_TRUE(manager.getInventoryJsonObject(seen)) << "returns although the event is not delivered";
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0]["Status"]["State"], "Online") << "the previous one";
    answer.set_value();
    builder.join();
    EXPECT_EQ(inventory().at(0)["Status"]["State"], "Linkdown");
}

TEST(FCEventText, FollowsItsTable) {
    EXPECT_EQ(FCResourceManager::getDescription(0), "Injected Event");
    EXPECT_EQ(
        FCResourceManager::getDescription(385),
        "The Fibre Channel device port has gone offline. Refer to /var/log/messages for further details.");
    EXPECT_EQ(
        FCResourceManager::getDescription(386),
        "Fibre channel device port has changed to a state of link down. Check the FC cabling to this port.");
    EXPECT_EQ(FCResourceManager::getDescription(388),
              "The Fibre Channel device port has failed. Refer to /var/log/messages for further details.");
    for (const int id : {383, 384, 387, 390, 1391, 1, -1, 356})
        EXPECT_EQ(FCResourceManager::getDescription(id), "") << id;
}

TEST_F(FCEvents, ATestEventShowsASampleAdapterAtTheLocation) {
    for (const int id : {383, 384, 385, 386, 388, 390, 1391}) {
        ipmi.clearRequests();
        manager.generateTestEvent(id, "00000000000012AB");
        const auto sent = deliveredEvents(ipmi);
        ASSERT_EQ(sent.size(), 1u);
        EXPECT_EQ(sent[0]["ID"].asInt(), id);
        EXPECT_EQ(sent[0]["Source"], "VOK-CLI");
        EXPECT_EQ(sent[0]["PhysicalLocation"], "00000000000012AB");
        EXPECT_EQ(sent[0]["EventTime"], "2023-11-14 22:13:20");
        const Json::Value& data = sent[0]["VariableData"];
        EXPECT_EQ(data["EventInfo"], "Injected Event");
        EXPECT_EQ(data["Type"], "FibreChannelDevice");
        EXPECT_EQ(data["Data"]["FirmwareVersion"], "8.05.61 (d0d5)");
        EXPECT_EQ(data["Data"]["RomVersion"], "3.54");
        EXPECT_EQ(data["Data"]["WWPN"], "51:11:22:c0:00:a1:77:b0");
        EXPECT_EQ(data["Data"]["WWNN"], "51:11:22:c0:00:a1:77:b1");
        EXPECT_EQ(data["Data"]["Oem"]["PhysicalLocation"], "00000000000012AB");
        EXPECT_EQ(data["Data"]["Oem"]["Description"], "");
        EXPECT_EQ(data["Data"]["Model"], "Sample Fibre Channel adapter");
        EXPECT_EQ(data["Data"]["SerialNumber"], "MV0000000001");
        EXPECT_EQ(data["Data"]["PartNumber"], "MEV-2000-100A");
        EXPECT_EQ(data["Data"]["Manufacturer"], "Not Available");
    }
    EXPECT_THAT(library.takeCalls(), IsEmpty());
}

}  // namespace
}  // namespace FCEventsTest
