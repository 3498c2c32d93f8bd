#include "events/client/vokRequest.h"

#include <cstring>

#include "events/EventsFixture.h"

namespace vokRequestTest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class vokRequestTest : public EventsFixture {
protected:
    int serve(int messageCode, const std::string& payload) {
        return vokServeRequest(TestClient(host, 77).packet(messageCode, payload));
    }
};

const std::string event = R"({"Pad":")" + std::string(80, 'x') + R"("})";

TEST_F(vokRequestTest, ThreeFieldsAreLogged) {
    serve(0x0102, "999");
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "msgFromClient->header.messageCode = 258"), 1);
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "msgFromClient->payload = 999"), 1);
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "msgFromClient->clientPID = 77"), 1);
}

TEST_F(vokRequestTest, AnyCodeButThatOfTestEventsInjectsAnEvent) {
    for (const int code : {0, 1, 0x0002, 0x0101, 0x0103, 0x0201, 0x0202, 0xFFFF})
        EXPECT_EQ(serve(code, event), 0) << code;
    EXPECT_THAT(delivered(), SizeIs(8));
    EXPECT_EQ(serve(0x0102, event), 0);
    EXPECT_THAT(delivered(), SizeIs(8));
}

TEST_F(vokRequestTest, AFailedSendIsStatusOneForAnInjectedEventAndZeroForATestEvent) {
    refuseAll();
    EXPECT_EQ(serve(0x0101, event), 1);
    EXPECT_EQ(serve(0x0102, "356"), 0);
    EXPECT_EQ(count(log(), "ERROR EVT_HANDLER", "FAILURE in logging event to RMC"), 2);
}

TEST_F(vokRequestTest, APayloadWithoutANulEndsWithThePacket) {
    const std::string longest = R"({"Pad":")" + std::string(4079 - 10, 'x') + R"("})";
    ASSERT_EQ(longest.size(), 4079U);
    EXPECT_EQ(serve(0x0101, longest), 0);
    EXPECT_THAT(delivered(),
                ElementsAre(R"({"Pad":")" + std::string(4079 - 10, 'x') + R"(","Source":"VOK-CLI"})"));
}

TEST_F(vokRequestTest, ATestEventWithoutANulEndsWithThePacketToo) {
    EXPECT_EQ(serve(0x0102, "356 " + std::string(4075, 'L')), 0);
    EXPECT_THAT(delivered(), SizeIs(1));
}

TEST_F(vokRequestTest, APacketOfZerosIsAnInvalidEventText) {
    EXPECT_EQ(vokServeRequest(_VOK_MESSAGE_PACKET{}), 0);
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Json packets are invalid"), 1);
    EXPECT_THAT(delivered(), IsEmpty());
}

class CliModeTest : public EventsFixture, public ::testing::WithParamInterface<const char*> {
protected:
    CliModeTest() : EventsFixture(R"(["FibreChannelDevices"])", GetParam()) {}
};

TEST_P(CliModeTest, IsIgnored) {
    const TestClient client(host, 77);
    EXPECT_EQ(vokServeRequest(client.packet(0x0101, event)), 0);
    EXPECT_EQ(vokServeRequest(client.packet(0x0102, "356")), 0);
    EXPECT_THAT(delivered(), SizeIs(2));
}

INSTANTIATE_TEST_SUITE_P(BothModes, CliModeTest, ::testing::Values("test", "inject"));

}  // namespace
}  // namespace vokRequestTest
