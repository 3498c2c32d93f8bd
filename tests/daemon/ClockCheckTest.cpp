// Whether a difference between the progress of the wall clock and of the uptime is noticed, and which threads
// are woken then.
#include "daemon/vokdClockCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

#include "rmc/vokIPMIDBService.h"
#include "rmc/vokJsonAggregator.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/FakeSystem.h"
#include "support/LoggedLines.h"

namespace ClockCheckTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ClockCheck : public testing::Test {
protected:
    ClockCheck() { logEverything(host); }

    // The uptime and the wall clock go on by this much.
    void pass(long uptime, long long wall) {
        system.uptimeSeconds += uptime;
        clock.advance(wall);
    }
    // The lines of the check itself.
    std::vector<std::string> lines() const {
        std::vector<std::string> found;
        for (const std::string& line : loggedLines(host))
            if (line.find(" CLOCK: ") != std::string::npos) found.push_back(line);
        return found;
    }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeSystem& system = host.part<FakeSystem>();
};

TEST_F(ClockCheck, AStepIsLoggedOnceWithItsDirectionAndLength) {
    vokdClockCheck check;
    pass(60, 60 + 3600);
    check.run();
    EXPECT_THAT(lines(), ElementsAre("WARNING CLOCK: The clock was set forward by 3600 seconds"));
    pass(60, 60);
    check.run();
    EXPECT_EQ(lines().size(), 1u);
    pass(60, 60 - 31536000);
    check.run();
    EXPECT_EQ(lines().size(), 2u);
    EXPECT_EQ(lines().back(), "WARNING CLOCK: The clock was set back by 31536000 seconds");
}

// The uptime is known to a second, so a step of seven seconds is at least one of six.
TEST_F(ClockCheck, ADifferenceOfFiveSecondsIsNoStepAndOneOfSevenIs) {
    vokdClockCheck check;
    for (const long long difference : {0, 1, -1, 5, -5}) {
        pass(60, 60 + difference);
        check.run();
        EXPECT_THAT(lines(), IsEmpty()) << difference;
    }
    for (const long long difference : {7, -7}) {
        const std::size_t before = lines().size();
        pass(60, 60 + difference);
        check.run();
        EXPECT_EQ(lines().size(), before + 1) << difference;
    }
}

TEST_F(ClockCheck, SlowDriftIsNeverAStep) {
    vokdClockCheck check;
    for (int minute = 0; minute < 100; ++minute) {
        pass(60, 61);
        check.run();
    }
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(ClockCheck, AMachineThatSleptHasNoStep) {
    vokdClockCheck check;
    pass(36000, 36000);  // both clocks count the sleep
    check.run();
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(ClockCheck, AClockThatCannotBeReadIsNoStepAndTheNextReadingIsComparedWithTheLastGoodOne) {
    vokdClockCheck check;
    pass(60, 60);
    clock.failReads(1);
    check.run();
    system.informationFails = true;
    check.run();
    system.informationFails = false;
    EXPECT_THAT(lines(), IsEmpty());
    pass(60, 60 - 100);
    check.run();
    EXPECT_THAT(lines(), ElementsAre("WARNING CLOCK: The clock was set back by 100 seconds"));
}

// The door-bell's thread waits for ten minutes from a time that is then still to come.
class ClockCheckWithAThread : public ClockCheck {
protected:
    void startDoorBell() {
        clock.timedWaitsHold = true;
        service.startvokIPMIDBService();
        awaitWaits(1);
    }
    void awaitWaits(std::size_t count) {
        while (clock.waitedSeconds().size() < count) std::this_thread::yield();
    }
    long wakeUps() const { return countLogged(host, "DEBUG IPMI_DB: Door bell thread woke up"); }

    vokIPMIDBService& service = *vokIPMIDBService::getInstance();
};

TEST_F(ClockCheckWithAThread, WithoutAStepNoThreadIsWoken) {
    vokdClockCheck check;
    startDoorBell();
    for (int minute = 0; minute < 5; ++minute) {
        pass(60, 60);
        check.run();
    }
    service.stopvokIPMIDBService();
    EXPECT_EQ(wakeUps(), 1) << "by the stop";
}

TEST_F(ClockCheckWithAThread, AStepBackWakesIt) {
    vokdClockCheck check;
    startDoorBell();
    pass(60, 60 - 3600);
    check.run();
    awaitWaits(2);
    EXPECT_EQ(wakeUps(), 1);
    EXPECT_THAT(lines(), ElementsAre("WARNING CLOCK: The clock was set back by 3600 seconds"));
    service.stopvokIPMIDBService();
}

TEST_F(ClockCheckWithAThread, AStepForwardAndBackBetweenTwoChecksWakesItAndIsLogged) {
    clock.advance(31536000);
    startDoorBell();
    clock.advance(-31536000);
    vokdClockCheck check;
    pass(60, 60);
    check.run();
    awaitWaits(2);
    EXPECT_EQ(wakeUps(), 1);
    EXPECT_THAT(lines(), ElementsAre("WARNING CLOCK: The clock was set forward and back again"));
    check.run();
    EXPECT_EQ(lines().size(), 1u);
    service.stopvokIPMIDBService();
}

TEST_F(ClockCheckWithAThread, ThePushThreadIsWokenToo) {
    clock.timedWaitsHold = true;
    vokJsonAggregator& aggregator = *vokJsonAggregator::getInstance();
    vokdClockCheck check;
    aggregator.sendInventory(false);
    awaitWaits(1);
    pass(60, 60 - 3600);
    check.run();
    awaitWaits(2);
    EXPECT_TRUE(hasLogged(host, "DEBUG JSON_AGGR: Aggregator thread sleeping for 10 sec iteration no. 2"));
    aggregator.stopvokJsonAggregator();
}

}  // namespace
}  // namespace ClockCheckTest
