#include "events/vokEventHandler.h"

#include <thread>

#include "events/EventsFixture.h"
#include "events/vokDelivery.h"

namespace vokEventHandlerTest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

vokEvent event(int id) {
    return vokEvent(id, "FFFFFFFFFFFFFFFF", "M", false, "2023-11-14 22:13:20", "P", "VOK");
}

std::string textOf(int id) {
    return R"({"EventTime":"2023-11-14 22:13:20","HostName":"testhost","ID":)" + std::to_string(id) +
           R"(,"IPv4Addresses":[{"Address":"10.1.2.3"}],"OSType":104,"OSVersion":"7.0.3",)"
           R"("PhysicalLocation":"FFFFFFFFFFFFFFFF","Source":"VOK"})";
}

class vokEventHandlerTest : public EventsFixture {
protected:
    vokEventHandler handler;
};

TEST_F(vokEventHandlerTest, TheSevenNumbersPassBeforeTheFirstPush) {
    for (const int id : {356, 359, 360, 434, 435, 1337, 1338}) handler.generateEvent(event(id));
    EXPECT_THAT(delivered(), ElementsAre(textOf(356), textOf(359), textOf(360), textOf(434), textOf(435),
                                         textOf(1337), textOf(1338)));
}

TEST_F(vokEventHandlerTest, AllOtherNumbersAreDroppedSilentlyBeforeTheFirstPush) {
    threads.failStarts();  // an attempt to create a thread would be logged
    for (const int id : {383, 708, 358, 361, 538, 1336, 1339, 0, -1}) handler.generateEvent(event(id));
    EXPECT_THAT(delivered(), IsEmpty());
    EXPECT_EQ(ipmi.opens(), 0);
    EXPECT_EQ(log(), "");
    EXPECT_EQ(debugLog(), "");
}

TEST_F(vokEventHandlerTest, ExactlySevenNumbersPassBeforeTheFirstPush) {
    std::vector<int> passing;
    for (int id = -5; id <= 2000; ++id)
        if (vokPassesBeforeFirstPush(id)) passing.push_back(id);
    EXPECT_THAT(passing, ElementsAre(356, 359, 360, 434, 435, 1337, 1338));
}

TEST_F(vokEventHandlerTest, AfterTheFirstPushEveryNumberPasses) {
    openGate();
    for (const int id : {383, 708, 4711}) handler.generateEvent(event(id));
    EXPECT_THAT(delivered(), ElementsAre(textOf(383), textOf(708), textOf(4711)));
}

TEST_F(vokEventHandlerTest, TheTextAndItsDeliveryAreLogged) {
    handler.generateEvent(event(359));
    EXPECT_EQ(count(log(), "INFO EVT_HANDLER", textOf(359)), 1);
    EXPECT_EQ(count(debugLog(), "DEBUG EVT_HANDLER", "SUCCESS in delivering event to RMC"), 1);
    EXPECT_THAT(log(), Not(HasSubstr("FAILURE")));
}

TEST_F(vokEventHandlerTest, TheRemoteCommandIsMPEventGen) {
    handler.generateEvent(event(359));
    ASSERT_FALSE(ipmi.requests().empty());
    const auto first = ipmi.requests().front().data;
    EXPECT_STREQ(reinterpret_cast<const char*>(first.data() + 3), "MPEventGen");
}

TEST_F(vokEventHandlerTest, ARefusedEventIsLostWithOneErrorLine) {
    refuseAll();
    handler.generateEvent(event(359));
    EXPECT_EQ(count(log(), "ERROR EVT_HANDLER", "FAILURE in logging event to RMC"), 1);
    EXPECT_EQ(debugLog().find("SUCCESS in delivering"), std::string::npos);
    EXPECT_EQ(ipmi.requests().size(), 1U);  // no retry
}

TEST_F(vokEventHandlerTest, SendingReturnsZeroForSuccessAndOneForFailure) {
    EXPECT_EQ(vokEventHandler::sendEventToRMC(textOf(1)), 0);
    EXPECT_THAT(delivered(), ElementsAre(textOf(1)));
    refuseAll();
    EXPECT_EQ(vokEventHandler::sendEventToRMC(textOf(2)), 1);
}

TEST_F(vokEventHandlerTest, AnEventWithoutAThreadIsLostWithAnErrorLine) {
    threads.failStarts();
    handler.generateEvent(event(359));
    EXPECT_EQ(count(log(), "ERROR EVT_HANDLER", "Unable to spawn a thread to handle event."), 1);
    EXPECT_THAT(delivered(), IsEmpty());
}

TEST_F(vokEventHandlerTest, TheRaiserWaitsForTheDelivery) {
    bool sent = false;
    std::thread::id deliverer;
    clock.onPause = [&](unsigned long) {  // the pause that ends a remote command
        deliverer = std::this_thread::get_id();
        sent = true;
    };
    handler.generateEvent(event(359));
    EXPECT_TRUE(sent);
    EXPECT_NE(deliverer, std::this_thread::get_id());
}

// --- the outcome of the delivery ---

TEST_F(vokEventHandlerTest, TheDeliveryOfAnEventIsNotedOnTheThreadThatRaisedIt) {
    const vokDeliveryRecord record;
    handler.generateEvent(event(359));
    EXPECT_EQ(record.last().kind, vokDeliveryKind::accepted);
    EXPECT_EQ(record.last().text, "the controller accepted it");
    ipmi.answer({{0xCE}});
    handler.generateEvent(event(359));
    EXPECT_EQ(record.last().kind, vokDeliveryKind::unconfirmed);
    EXPECT_THAT(record.last().text, HasSubstr("completion code 0xCE (response could not be provided)"));
    refuseAll();
    handler.generateEvent(event(359));
    EXPECT_EQ(record.last().kind, vokDeliveryKind::refused);
    EXPECT_THAT(record.last().text, HasSubstr("transfer status 0x05"));
    ipmi.answer(FakeIpmiReply::sendFails());
    handler.generateEvent(event(359));
    EXPECT_EQ(record.last().kind, vokDeliveryKind::noAnswer);
    EXPECT_THAT(record.last().text, HasSubstr("Input/output error"));
    ipmi.failOpens(4);
    handler.generateEvent(event(359));
    EXPECT_EQ(record.last().kind, vokDeliveryKind::notSent);
    EXPECT_THAT(record.last().text, HasSubstr("No such file or directory"));
}

TEST_F(vokEventHandlerTest, AnEventThatIsDroppedBeforeTheFirstPushIsNotedAsDropped) {
    const vokDeliveryRecord record;
    handler.generateEvent(event(708));
    EXPECT_EQ(record.last().kind, vokDeliveryKind::dropped);
}

TEST_F(vokEventHandlerTest, AnEventWithoutAThreadIsNotedAsNotSent) {
    const vokDeliveryRecord record;
    threads.failStarts();
    handler.generateEvent(event(359));
    EXPECT_EQ(record.last().kind, vokDeliveryKind::notSent);
    EXPECT_EQ(record.last().text, "no thread could be started for it");
}

TEST_F(vokEventHandlerTest, TheTextOfAnEventThatIsSentDirectlyIsNotedToo) {
    const vokDeliveryRecord record;
    vokEventHandler::sendEventToRMC(textOf(1));
    EXPECT_EQ(record.last().kind, vokDeliveryKind::accepted);
}

TEST_F(vokEventHandlerTest, ADeliveryThreadNeedsNobodyWhoAsks) {
    vokEvent raised = event(359);
    EXPECT_EQ(startEventGeneration(&raised), nullptr);
    EXPECT_THAT(delivered(), ElementsAre(textOf(359)));
}

TEST_F(vokEventHandlerTest, EventsOfSeveralThreadsArriveWhole) {
    openGate();
    std::vector<std::thread> raisers;
    for (int raiser = 0; raiser < 8; ++raiser)
        raisers.emplace_back([raiser] {
            for (int i = 0; i < 10; ++i) vokEventHandler().generateEvent(event(10000 + raiser * 10 + i));
        });
    for (std::thread& raiser : raisers) raiser.join();
    std::vector<std::string> expected;
    for (int id = 10000; id < 10080; ++id) expected.push_back(textOf(id));
    EXPECT_THAT(delivered(), ::testing::UnorderedElementsAreArray(expected));
}

}  // namespace
}  // namespace vokEventHandlerTest
