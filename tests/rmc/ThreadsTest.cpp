// The threads of the aggregator and the door-bell: woken, stopped at every point, failing to be created or
// joined. Their timed waits end only by a signal, so a missing signal makes the test time out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

#include "rmc/StandInManagers.h"
#include "rmc/ipmi/vokipmi.h"
#include "rmc/vokIPMIDBService.h"
#include "rmc/vokJsonAggregator.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"
#include "support/FakeThreads.h"
#include "support/LoggedLines.h"

namespace ThreadsTest {
namespace {

using testing::ElementsAre;

class Threads : public testing::Test {
protected:
    Threads() {
        logEverything(host);
        for (const int id : {0, 1, 2, 3}) standInFor(id, nullptr);
        standInFor(1, &manager);
        Json::Value facts;
        facts["Name"] = std::string(100, 'x');
        manager.elements = {facts};
    }
    void startAggregator() {
        aggregator.sendInventory(false);
        started = true;
    }
    void startDoorBell() {
        service.startvokIPMIDBService();
        started = true;
    }
    // A thread may run before the call that creates it has returned.
    void awaitStarted() {
        while (!started) std::this_thread::yield();
    }
    // The first `count` waits time out at once, all later ones last until a signal.
    void letWaitsPass(int count) {
        clock.timedWaitsHold = count == 0;
        clock.onTimedWait = [this, left = count](const timespec&) mutable {
            clock.timedWaitsHold = --left <= 0;
            return false;
        };
    }
    // Returns when the thread is in its wait number `count` or enters it, with its mutex held until then.
    void awaitWait(std::size_t count) {
        awaitTrue([this, count] { return clock.waitedSeconds().size() >= count; });
    }
    template <typename Condition>
    void awaitTrue(const Condition& holds) {
        for (;; std::this_thread::yield()) {
            if (holds()) return;
        }
    }
    std::size_t pushes() { return ipmi.remoteCommandPayloads().size(); }
    // Delays the device's answer to the first `command` until `call`, which runs on another thread, has
    // logged `line`.
    void duringTheFirst(unsigned char command, const std::function<void()>& call, const std::string& line) {
        const auto answer = ipmi.onRequest;
        ipmi.onRequest = [this, command, call, line, answer,
                          done = false](const FakeIpmiRequest& request) mutable {
            if (request.command == command && !done) {
                done = true;
                awaitStarted();
                other = std::thread(call);
                while (!hasLogged(host, line)) std::this_thread::yield();
            }
            return answer(request);
        };
    }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeThreads& threads = host.part<FakeThreads>();
    FakeIpmi& ipmi = host.add<FakeIpmi>();
    StandInManager manager;
    std::thread other;
    std::atomic<bool> started{false};
    vokJsonAggregator& aggregator = *vokJsonAggregator::getInstance();
    vokIPMIDBService& service = *vokIPMIDBService::getInstance();
};

TEST_F(Threads, AStopInAReadinessPauseEndsTheAggregatorWithoutAPush) {
    letWaitsPass(0);
    startAggregator();
    awaitWait(1);
    aggregator.stopvokJsonAggregator();
    EXPECT_EQ(pushes(), 0U);
    EXPECT_FALSE(aggregator.isInventorySent());
    EXPECT_TRUE(manager.readinessPasses.empty());
    EXPECT_TRUE(manager.reads.empty());
}

TEST_F(Threads, AStopBeforeTheFirstReadinessPauseIsNotMissed) {
    aggregator.stopvokJsonAggregator();
    aggregator.initializeCachePush();
    EXPECT_TRUE(clock.waitedSeconds().empty());
    EXPECT_EQ(pushes(), 0U);
}

TEST_F(Threads, AStopBetweenTwoPushesEndsTheAggregatorWithoutAnother) {
    letWaitsPass(1);
    startAggregator();
    awaitWait(2);
    aggregator.stopvokJsonAggregator();
    EXPECT_EQ(pushes(), 1U);
    EXPECT_EQ(manager.reads.size(), 1U);
}

TEST_F(Threads, AStopDuringAPushLetsItFinishAndThenEnds) {
    letWaitsPass(1);
    duringTheFirst(
        0x80,
        [this] {
            aggregator.sendInventory(true);  // pending at the stop, and not served any more
            aggregator.stopvokJsonAggregator();
        },
        "DEBUG JSON_AGGR: Signaled for stop.");
    startAggregator();
    awaitTrue([this] { return !ipmi.requests().empty(); });
    other.join();
    EXPECT_THAT(ipmi.remoteCommandPayloads(),
                ElementsAre(R"({"HostDataCollection":{"Oem":{"Name":")" + std::string(100, 'x') + R"("}}})"));
    EXPECT_EQ(clock.waitedSeconds().size(), 1U);
    EXPECT_TRUE(aggregator.isInventorySent());
}

TEST_F(Threads, ARequestBetweenTwoPushesWakesTheAggregator) {
    letWaitsPass(1);
    startAggregator();
    awaitWait(2);
    aggregator.sendInventory(true);
    awaitWait(3);
    EXPECT_EQ(pushes(), 2U);
    EXPECT_TRUE(hasLogged(host, "DEBUG JSON_AGGR: Request to send inventory"));
    aggregator.stopvokJsonAggregator();
    EXPECT_EQ(pushes(), 2U);
}

TEST_F(Threads, APushWhosePredecessorIsStillToComeByTheClockIsDue) {
    letWaitsPass(1);
    startAggregator();
    awaitWait(2);
    EXPECT_FALSE(aggregator.recheckWait());
    clock.advance(-5);
    EXPECT_FALSE(aggregator.recheckWait());
    clock.advance(-31536000);
    EXPECT_TRUE(aggregator.recheckWait());
    awaitWait(3);
    EXPECT_EQ(pushes(), 2U);
    EXPECT_FALSE(aggregator.recheckWait());
    aggregator.stopvokJsonAggregator();
    EXPECT_EQ(pushes(), 2U);
}

TEST_F(Threads, AReadinessPauseEndsWhenTheClockIsSetBackBeyondItsBegin) {
    manager.readyFromPass = 1;
    letWaitsPass(0);
    startAggregator();
    awaitWait(1);
    clock.advance(-31536000);
    EXPECT_TRUE(aggregator.recheckWait());
    awaitWait(2);
    EXPECT_EQ(pushes(), 0U);
    EXPECT_THAT(manager.readinessPasses, ElementsAre(0));
    aggregator.stopvokJsonAggregator();
}

TEST_F(Threads, ARequestBeforeTheFirstPushDoesNotWakeTheAggregator) {
    letWaitsPass(0);
    startAggregator();
    awaitWait(1);
    aggregator.sendInventory(true);
    EXPECT_TRUE(hasLogged(host, "DEBUG JSON_AGGR: Dropping inventory send request"));
    aggregator.stopvokJsonAggregator();
    EXPECT_EQ(countLogged(host, "DEBUG JSON_AGGR: Thread signaled"), 1);  // by the stop
    EXPECT_TRUE(manager.readinessPasses.empty());
}

TEST_F(Threads, AnAggregatorThatCannotBeCreatedIsLogged) {
    threads.failStarts();
    startAggregator();
    EXPECT_THAT(loggedLines(host), ElementsAre("DEBUG JSON_AGGR: Creating Json Aggregator thread",
                                               "ERROR JSON_AGGR: Error: Unable to create thread: 11"));
    aggregator.stopvokJsonAggregator();
    EXPECT_THAT(loggedLines(host), testing::SizeIs(4));
    EXPECT_EQ(pushes(), 0U);
}

TEST_F(Threads, AnAggregatorThatCannotBeJoinedIsLogged) {
    letWaitsPass(0);
    startAggregator();
    awaitWait(1);
    threads.failJoins(35);
    aggregator.stopvokJsonAggregator();
    threads.failJoins(0);
    EXPECT_TRUE(hasLogged(host, "ERROR JSON_AGGR: Error: Unable to join thread: 35"));
    ASSERT_EQ(threads.joined().size(), 1U);
    EXPECT_EQ(::pthread_join(threads.joined()[0], nullptr), 0);
}

// --- the door-bell's thread ---

TEST_F(Threads, AStopInTheWaitEndsTheDoorBellWithoutAPoll) {
    letWaitsPass(0);
    startDoorBell();
    awaitWait(1);
    service.stopvokIPMIDBService();
    EXPECT_EQ(ipmi.opens(), 0);
    EXPECT_TRUE(ipmi.requests().empty());
}

TEST_F(Threads, ADoorBellIsPolledWhenTheClockIsSetBackBeyondTheBeginOfItsWait) {
    ipmi.answer({{0}});
    letWaitsPass(0);
    startDoorBell();
    awaitWait(1);
    EXPECT_FALSE(service.recheckWait());
    clock.advance(-31536000);
    EXPECT_TRUE(service.recheckWait());
    awaitWait(2);
    EXPECT_EQ(ipmi.requests().size(), 1U);
    EXPECT_FALSE(service.recheckWait());
    service.stopvokIPMIDBService();
    EXPECT_EQ(ipmi.requests().size(), 1U);
}

TEST_F(Threads, AStopDuringAPollLetsItFinish) {
    letWaitsPass(1);
    const std::string text("\0WriteInventory", 15);
    ipmi.answer({{text.begin(), text.end()}});
    duringTheFirst(
        0x81, [this] { service.stopvokIPMIDBService(); }, "DEBUG IPMI_DB: Signaled for stop.");
    startDoorBell();
    awaitTrue([this] { return !ipmi.requests().empty(); });
    other.join();
    EXPECT_EQ(ipmi.requests().size(), 1U);
    EXPECT_EQ(clock.waitedSeconds().size(), 1U);
    EXPECT_EQ(countLogged(host, "DEBUG JSON_AGGR: Dropping inventory send request"), 1);
    EXPECT_EQ(ipmi.openDescriptors(), 0);
}

TEST_F(Threads, ADoorBellDuringAPushIsPolledAfterItAndServedAtOnce) {
    letWaitsPass(1);
    manager.elements[0]["Name"] = std::string(30000, 'x');
    std::vector<unsigned> order;
    const std::string text("\0WriteInventory", 15);
    const auto answer = ipmi.onRequest;
    ipmi.onRequest = [&, answer](const FakeIpmiRequest& request) {
        order.push_back(request.command);
        if (request.command == 0x81) return FakeIpmiReply{{text.begin(), text.end()}};
        return answer(request);
    };
    duringTheFirst(
        0x80,
        [this] {
            if (ipmi::IPMIUtils().checkIPMIDBRequest()) aggregator.sendInventory(true);
        },
        "DEBUG IPMI_DB: Checking IPMI door bell request");
    startAggregator();
    awaitWait(2);
    other.join();
    awaitTrue([this] { return ipmi.remoteCommandPayloads().size() == 2; });
    aggregator.stopvokJsonAggregator();
    // A text of 30042 bytes and its NUL take 528 chunks, and nothing comes between them.
    ASSERT_EQ(order.size(), 528U + 1 + 528);
    EXPECT_EQ(std::find(order.begin(), order.end(), 0x81U) - order.begin(), 528);
}

TEST_F(Threads, ADoorBellThatCannotBeCreatedIsLogged) {
    threads.failStarts();
    startDoorBell();
    EXPECT_THAT(loggedLines(host), ElementsAre("ERROR IPMI_DB: Error: Unable to create thread: 11"));
    service.stopvokIPMIDBService();
    EXPECT_THAT(loggedLines(host), testing::SizeIs(3));  // two debug lines, and nothing to join
}

TEST_F(Threads, ADoorBellThatCannotBeJoinedIsLogged) {
    letWaitsPass(0);
    startDoorBell();
    awaitWait(1);
    threads.failJoins(35);
    service.stopvokIPMIDBService();
    threads.failJoins(0);
    EXPECT_TRUE(hasLogged(host, "ERROR IPMI_DB: Error: Unable to join thread: 35"));
    ASSERT_EQ(threads.joined().size(), 1U);
    EXPECT_EQ(::pthread_join(threads.joined()[0], nullptr), 0);
}

}  // namespace
}  // namespace ThreadsTest
