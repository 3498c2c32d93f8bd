#include "events/client/vokTestEvent.h"

#include <algorithm>
#include <cstdlib>

#include "core/inventory/vokResources.h"
#include "events/EventsFixture.h"
#include "host/HostResourceManager.h"

namespace vokTestEventTest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Returns what the request prints to standard output.
std::string send(std::string payload) {
    ::testing::internal::CaptureStdout();
    sendTestEventWithEventId(payload.data());
    return ::testing::internal::GetCapturedStdout();
}

std::string hostEvent(int id) {
    return R"({"EventTime":"2023-11-14 22:13:20","HostName":"testhost","ID":)" + std::to_string(id) +
           R"(,"IPv4Addresses":[{"Address":"10.1.2.3"}],"OSType":104,"OSVersion":"7.0.3",)"
           R"("Source":"VOK-CLI"})";
}

std::string agentEvent(const std::string& enabled, const std::string& operational,
                       const std::string& time = "22:13:20") {
    return R"({"EventTime":"2023-11-14 )" + time +
           R"(","HostName":"testhost","ID":708,)"
           R"("IPv4Addresses":[{"Address":"10.1.2.3"}],"OSType":104,"OSVersion":"7.0.3",)"
           R"("Source":"VOK-CLI","VariableData":{"EnabledResourceType":)" +
           enabled + R"(,"EventInfo":"VOK Test Event","OperationalResourceType":)" + operational +
           R"(,"Type":"Test Event"}})";
}

class vokTestEventTest : public EventsFixture {
protected:
    explicit vokTestEventTest(const std::string& enabled = R"(["FibreChannelDevices"])")
        : EventsFixture(enabled) {
        ::setenv("TZ", "UTC", 1);
    }
};

class vokTestEventWithAllManagers : public vokTestEventTest {
protected:
    vokTestEventWithAllManagers() : vokTestEventTest(R"(["All"])") {}
};

class vokTestEventWithHost : public vokTestEventTest {
protected:
    vokTestEventWithHost() : vokTestEventTest(R"(["HostOSInfo", "StorageControllers"])") {}
};

TEST_F(vokTestEventTest, TheNumber708AloneIsTheAgentsOwnEvent) {
    openGate();
    EXPECT_EQ(send("708"), "");
    EXPECT_THAT(delivered(),
                ElementsAre(agentEvent(R"(["FibreChannelDevices"])", R"(["FibreChannelDevices"])")));
}

TEST_F(vokTestEventTest, TheLocationOfTheAgentsOwnEventIsIgnored) {
    openGate();
    EXPECT_EQ(send("708 0123456789ABCDEF"), "");
    EXPECT_THAT(delivered(),
                ElementsAre(agentEvent(R"(["FibreChannelDevices"])", R"(["FibreChannelDevices"])")));
}

TEST_F(vokTestEventWithAllManagers,
       ManagersAreQueriedInTheOrderOneTwoThreeZeroAndThoseWithoutACacheAreNotOperational) {
    openGate();
    generateTestEvent(708);
    // The managers have no cache, which takes nine seconds each to establish, and fifteen that of storage;
    // the event has the time after that. That of Fibre Channel knows of no adapter, so it counts as running.
    EXPECT_THAT(delivered(),
                ElementsAre(agentEvent(
                    R"(["HostOSInfo","StorageControllers","EthernetDevices","FibreChannelDevices"])",
                    R"(["FibreChannelDevices"])", "22:13:53")));
}

TEST_F(vokTestEventWithHost, AManagerWithACacheIsOperational) {
    HostResourceManager::getInstance()->cacheBuild();
    openGate();
    clock.set(1700000000);
    generateTestEvent(708);
    EXPECT_EQ(delivered().back(),
              agentEvent(R"(["HostOSInfo","StorageControllers"])", R"(["HostOSInfo"])", "22:13:35"));
}

TEST_F(vokTestEventTest, HostEventsAreRaisedByTheHostManagerWithoutALocation) {
    for (const char* id : {"356", "359", "360", "434", "435 0123456789ABCDEF"}) EXPECT_EQ(send(id), "");
    EXPECT_THAT(delivered(),
                ElementsAre(hostEvent(356), hostEvent(359), hostEvent(360), hostEvent(434), hostEvent(435)));
}

TEST_F(vokTestEventTest, EthernetEventsAreRaisedByTheEthernetManagerWithTheLocation) {
    openGate();
    for (const char* request : {"678", "680 0123456789ABCDEF", "1384", "1390"}) EXPECT_EQ(send(request), "");
    const std::vector<std::string> sent = delivered();
    ASSERT_EQ(sent.size(), 4u);
    EXPECT_THAT(sent[0], testing::HasSubstr(R"("ID":678,)"));
    EXPECT_THAT(sent[0], testing::HasSubstr(R"("PhysicalLocation":"FFFFFFFFFFFFFFFF","Source":"VOK-CLI")"));
    EXPECT_THAT(sent[1], testing::HasSubstr(R"("ID":680,)"));
    EXPECT_THAT(sent[1], testing::HasSubstr(R"("PhysicalLocation":"0123456789ABCDEF","Source":"VOK-CLI")"));
    EXPECT_THAT(sent[2], testing::HasSubstr(R"("ID":1384,)"));
    EXPECT_THAT(sent[3], testing::HasSubstr(R"("ID":1390,)"));
}

TEST_F(vokTestEventTest, FibreChannelEventsAreRaisedByTheirManagerWithTheLocation) {
    openGate();
    for (const char* request : {"383 0123456789ABCDEF", "390", "1391"}) EXPECT_EQ(send(request), "");
    const std::vector<std::string> sent = delivered();
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_THAT(sent[0], testing::HasSubstr(R"("ID":383,)"));
    EXPECT_THAT(sent[0], testing::HasSubstr(R"("PhysicalLocation":"0123456789ABCDEF","Source":"VOK-CLI")"));
    EXPECT_THAT(sent[0], testing::HasSubstr(R"("Type":"FibreChannelDevice")"));
    EXPECT_THAT(sent[1], testing::HasSubstr(R"("ID":390,)"));
    EXPECT_THAT(sent[1], testing::HasSubstr(R"("PhysicalLocation":"FFFFFFFFFFFFFFFF","Source":"VOK-CLI")"));
    EXPECT_THAT(sent[2], testing::HasSubstr(R"("ID":1391,)"));
}

TEST_F(vokTestEventTest, BeforeTheFirstPushOnlyNumbersThatPassTheGateAreDelivered) {
    send("708");
    EXPECT_THAT(delivered(), IsEmpty());
    send("356");
    EXPECT_THAT(delivered(), ElementsAre(hostEvent(356)));
}

TEST_F(vokTestEventTest, AnUnknownNumberIsReportedOnStandardOutputAndNotInTheLog) {
    openGate();
    const std::string before = log();
    for (const char* payload : {"1337", "1150", "0", "-708", "7080", "389 L"})
        EXPECT_EQ(send(payload), "Invalid eventId.\n") << payload;
    EXPECT_EQ(log(), before);
    EXPECT_THAT(delivered(), IsEmpty());
}

TEST_F(vokTestEventTest, APayloadWithoutDigitsCountsAsZero) {
    for (const char* payload : {"", "hello", "hello 708", "x708"})
        EXPECT_EQ(send(payload), "Invalid eventId.\n") << payload;
}

TEST_F(vokTestEventTest, ABlankAtTheStartLeavesNoNumber) {
    EXPECT_EQ(send(" 356"), "Invalid eventId.\n");
    EXPECT_THAT(delivered(), IsEmpty());
}

TEST_F(vokTestEventTest, WhatFollowsTheDigitsIsIgnored) {
    EXPECT_EQ(send("356abc"), "");
    EXPECT_EQ(send("\t356"), "");
    EXPECT_THAT(delivered(), ElementsAre(hostEvent(356), hostEvent(356)));
}

TEST_F(vokTestEventTest, ANumberBeyondIntIsNotTruncatedToAnotherOne) {
    for (const char* payload :
         {"4294967652", "-4294966940", "99999999999999999999999", "-99999999999999999999999"})
        EXPECT_EQ(send(payload), "Invalid eventId.\n") << payload;
    EXPECT_THAT(delivered(), IsEmpty());
}

TEST(vokTestEvent, ARequestIsANumberAndWhateverFollowsTheFirstBlank) {
    struct Row {
        const char* text;
        int id;
        const char* location;
    };
    const Row rows[] = {{"708", 708, "FFFFFFFFFFFFFFFF"},
                        {"383 0123456789ABCDEF", 383, "0123456789ABCDEF"},
                        {"383 Slot 7  lower ", 383, "Slot 7  lower "},
                        {"383 ", 383, ""},
                        {"383\tL", 383, "FFFFFFFFFFFFFFFF"},
                        {" 383", 0, "383"},
                        {"", 0, "FFFFFFFFFFFFFFFF"},
                        {"0x17F", 0, "FFFFFFFFFFFFFFFF"},
                        {"0383", 383, "FFFFFFFFFFFFFFFF"}};
    for (const Row& row : rows) {
        const vokTestEventRequest request = vokReadTestEventRequest(row.text);
        EXPECT_EQ(request.id, row.id) << row.text;
        EXPECT_EQ(request.location, row.location) << row.text;
    }
}

TEST(vokTestEvent, EveryOwnerOfEventsButTheAgentHasOneManagerThatRaisesTestEvents) {
    for (const int type : {2, 3, 4, 5})
        EXPECT_EQ(std::count_if(vokResources().begin(), vokResources().end(),
                                [type](const vokResource& resource) {
                                    return resource.manager && resource.raiseTestEvent &&
                                           resource.eventType == type;
                                }),
                  1)
            << type;
}

}  // namespace
}  // namespace vokTestEventTest
