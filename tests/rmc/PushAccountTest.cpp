// What the status record and the history say of pushes and of door-bell polls.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/status/vokHistory.h"
#include "core/status/vokStatusRecord.h"
#include "rmc/StandInManagers.h"
#include "rmc/ipmi/vokipmi.h"
#include "rmc/vokIPMIDBService.h"
#include "rmc/vokJsonAggregator.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"
#include "support/LoggedLines.h"

namespace PushAccountTest {
namespace {

using testing::SizeIs;

// Thrown out of a wait to end a thread's body that would otherwise run for ever.
struct EndOfTest {};

class PushAccount : public testing::Test {
protected:
    PushAccount() {
        logEverything(host,
                      R"("PushInventoryFrequencyInMinutes": "30", "IPMIDoorBellMonitorInterval": "20")");
        host.root.writeFile("/var/run/keep", "");
        for (const int id : {0, 1, 2, 3}) standInFor(id, nullptr);
        standInFor(1, &manager);
        Json::Value facts;
        facts["Name"] = std::string(100, 'x');
        manager.elements = {facts};
        vokOpenStatus({});
        vokOpenHistory();
    }
    static vokStatusSnapshot status() {
        std::string reason;
        return vokReadStatus(reason).value_or(vokStatusSnapshot{});
    }
    static std::vector<vokHistoryEntry> history() {
        std::vector<vokHistoryEntry> entries;
        std::string reason;
        vokReadHistory(10, entries, reason);
        return entries;
    }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeIpmi& ipmi = host.add<FakeIpmi>();
    StandInManager manager;
    vokJsonAggregator& aggregator = *vokJsonAggregator::getInstance();
};

TEST_F(PushAccount, AnAcceptedPushHasItsSizeItsAnswerAndItsTime) {
    const auto accept = ipmi.onRequest;
    int requests = 0;
    ipmi.onRequest = [&](const FakeIpmiRequest& request) {
        EXPECT_TRUE(status().push.isRunning);
        if (++requests == 1) clock.advance(2);
        if (requests == 1) clock.advanceSteady(2);
        return accept ? accept(request) : FakeIpmiReply{{0, 0, 1, 0, 0}};
    };
    aggregator.createInventoryJsonString();
    const std::uint64_t bytes = ipmi.remoteCommandPayloads().at(0).size();
    const vokPushStatus push = status().push;
    EXPECT_FALSE(push.isRunning);
    EXPECT_EQ(push.begin, 1700000000);
    EXPECT_EQ(push.bytes, bytes);
    EXPECT_EQ(push.chunks, ipmi.requests().size());
    EXPECT_EQ(push.answer, vokPushAnswer::accepted);
    EXPECT_EQ(push.answerText, "the controller accepted it");
    EXPECT_EQ(push.duration, 2000u);
    EXPECT_EQ(push.lastAccepted, 1700000002);
    EXPECT_EQ(push.pushes, 1u);
    EXPECT_EQ(push.failed, 0u);
    ASSERT_THAT(history(), SizeIs(1));
    EXPECT_EQ(history()[0].kind, vokHistoryKind::push);
    EXPECT_EQ(history()[0].time, 1700000000);
    EXPECT_EQ(history()[0].duration, 2000u);
    EXPECT_EQ(history()[0].outcome, 1u);
    EXPECT_EQ(history()[0].bytes, bytes);
    EXPECT_EQ(history()[0].answer, "the controller accepted it");
}

TEST_F(PushAccount, EachOtherAnswerIsAFailure) {
    const auto answerTo = [this](const FakeIpmiReply& reply) {
        ipmi.answer(reply);
        aggregator.createInventoryJsonString();
        return status().push.answer;
    };
    EXPECT_EQ(answerTo({{0, 5, 0, 0, 0}}), vokPushAnswer::refused);
    EXPECT_EQ(answerTo({{0xC3}}), vokPushAnswer::unconfirmed);
    EXPECT_EQ(answerTo(FakeIpmiReply::sendFails()), vokPushAnswer::noAnswer);
    EXPECT_EQ(status().push.pushes, 3u);
    EXPECT_EQ(status().push.failed, 3u);
    EXPECT_EQ(status().push.lastAccepted, 0);
    EXPECT_THAT(history(), SizeIs(3));
}

TEST_F(PushAccount, WithoutAnInventoryThereIsNoPush) {
    standInFor(1, nullptr);
    aggregator.createInventoryJsonString();
    EXPECT_EQ(status().push.pushes, 0u);
    EXPECT_THAT(history(), SizeIs(0));
}

TEST_F(PushAccount, TheNextPushIsTheEndOfTheWaitForIt) {
    int waits = 0;
    clock.onTimedWait = [&](const timespec& deadline) {
        EXPECT_EQ(status().push.next, static_cast<std::int64_t>(deadline.tv_sec));
        if (++waits == 3) throw EndOfTest();
        return false;
    };
    EXPECT_THROW(aggregator.initializeCachePush(), EndOfTest);
    EXPECT_EQ(status().push.next - clock.now().tv_sec, 1800);
}

TEST_F(PushAccount, PollsAreCountedWithTheirAnswersAndRequests) {
    const std::string request = std::string(1, '\0') + "WriteInventory";
    ipmi.answer({std::vector<unsigned char>(request.begin(), request.end())});
    EXPECT_TRUE(ipmi::IPMIUtils().checkIPMIDBRequest());
    clock.advance(10);
    ipmi.answer({{0, 0}});
    EXPECT_FALSE(ipmi::IPMIUtils().checkIPMIDBRequest());
    clock.advance(10);
    ipmi.answer(FakeIpmiReply::sendFails());
    EXPECT_FALSE(ipmi::IPMIUtils().checkIPMIDBRequest());
    ipmi::IPMIUtils().checkIPMIDBGenericRequest(2);  // the other door-bell
    const vokDoorBellStatus bell = status().doorBell;
    EXPECT_EQ(bell.polls, 3u);
    EXPECT_EQ(bell.answered, 2u);
    EXPECT_EQ(bell.requests, 1u);
    EXPECT_EQ(bell.lastPoll, 1700000020);
    EXPECT_EQ(bell.lastAnswer, 1700000010);
}

TEST_F(PushAccount, TheNextPollIsTheEndOfTheWaitForIt) {
    clock.onTimedWait = [&](const timespec& deadline) -> bool {
        EXPECT_EQ(deadline.tv_sec, 1700001200);
        EXPECT_EQ(status().doorBell.next, static_cast<std::int64_t>(deadline.tv_sec));
        throw EndOfTest();
    };
    EXPECT_THROW(vokIPMIDBService::getInstance()->startMonitoring(), EndOfTest);
}

}  // namespace
}  // namespace PushAccountTest
