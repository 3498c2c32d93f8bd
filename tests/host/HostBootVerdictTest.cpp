#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostream>

#include "core/vokJobManager.h"
#include "host/HostResourceManager.h"
#include "platform/utils/platformCheck.h"
#include "platform/utils/vokUtils.h"
#include "support/DeliveredEvents.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"
#include "support/FakeSystem.h"
#include "support/FakeSystemLog.h"
#include "support/LoggedLines.h"

namespace HostBootVerdictTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char record[] = "/var/tmp/mevVOKStartup.txt";
constexpr char afterwards[] =
    "DEBUG HOST_RM: After sending OS boots events, we can set current_start to last_start otherwise it will "
    "happen during VOK shutdown. And in case of crash it won't happen.";

class BootVerdict : public testing::Test {
protected:
    BootVerdict() {
        logEverything(host);
        host.root.writeFile("/var/tmp/other", "");
    }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeSystem& system = host.part<FakeSystem>();
    FakeSystemLog& systemLog = host.part<FakeSystemLog>();
    FakeIpmi& ipmi = host.add<FakeIpmi>();
    HostResourceManager& manager = *HostResourceManager::getInstance();
};

// --- the decision ---

struct Case {
    const char* name;
    long start;
    long stop;
    long boot;
    std::vector<int> events;
    std::string line;  // empty: none
};

void PrintTo(const Case& given, std::ostream* out) {
    *out << "start " << given.start << ", stop " << given.stop << ", boot " << given.boot;
}

const std::string graceful = "DEBUG HOST_RM: In gen OS boot logic.Last shutdown was graceful.";
const std::string notGraceful = "DEBUG HOST_RM: In gen OS boot logic.Last shutdown was not-graceful.";
const std::string point2 = "DEBUG HOST_RM: VOK crashed in current boot so do nothing in point 2";
const std::string point3 = "DEBUG HOST_RM: VOK crashed in current boot so do nothing in point 3";

class Decision : public BootVerdict, public testing::WithParamInterface<Case> {};

TEST_P(Decision, RaisesItsEventsAndLogsItsLine) {
    const Case& given = GetParam();
    host.root.writeFile(record, "current_start 5000\nlast_start " + std::to_string(given.start) +
                                    "\nlast_stop " + std::to_string(given.stop) + "\n");
    vokUtils::setSystemCurrentBootTime(given.boot);
    manager.genOSBootLogic();
    EXPECT_EQ(deliveredEventIds(ipmi), given.events);
    for (const std::string& line : {graceful, notGraceful, point2, point3})
        EXPECT_EQ(hasLogged(host, line), line == given.line) << line;
    EXPECT_EQ(countLogged(host, afterwards), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Table, Decision,
    testing::Values(Case{"NoEarlierStart", 0, 0, 500, {}, ""},
                    Case{"NoEarlierStartButAStop", 0, 1000, 2000, {}, ""},
                    Case{"StoppedAndBootedBefore", 1000, 2000, 500, {}, point2},
                    Case{"StoppedAndBootedBetween", 1000, 2000, 1500, {}, point2},
                    Case{"StoppedInTheSecondOfTheBoot", 1000, 2000, 2000, {}, point2},
                    Case{"StoppedAndBootedASecondLater", 1000, 2000, 2001, {359, 356}, graceful},
                    Case{"StoppedAndBootedLongAfter", 1000, 2000, 4000, {359, 356}, graceful},
                    Case{"RunningAndBootedBefore", 2000, 1000, 500, {}, point3},
                    Case{"RunningAndBootedBetween", 2000, 1000, 1500, {}, point3},
                    Case{"StartedInTheSecondOfTheBoot", 2000, 1000, 2000, {}, point3},
                    Case{"RunningAndBootedASecondLater", 2000, 1000, 2001, {360, 356}, notGraceful},
                    Case{"NeverStoppedAndBootedAfter", 2000, 0, 4000, {360, 356}, notGraceful},
                    Case{"StoppedInTheSecondOfTheStart", 2000, 2000, 4000, {}, ""},
                    Case{"StoppedInTheSecondOfTheStartBootedBefore", 2000, 2000, 500, {}, ""},
                    Case{"NegativeTimes", -5, -9, 4000, {360, 356}, notGraceful}),
    [](const testing::TestParamInfo<Case>& each) { return std::string(each.param.name); });

TEST_F(BootVerdict, ARecordWithoutALastStopCountsItAs0) {
    host.root.writeFile(record, "current_start 5000\nlast_start 2000\n");
    vokUtils::setSystemCurrentBootTime(4000);
    manager.genOSBootLogic();
    EXPECT_THAT(deliveredEventIds(ipmi), ElementsAre(360, 356));
}

TEST_F(BootVerdict, WithoutARecordThereIsNoEventAndNoRecord) {
    vokUtils::setSystemCurrentBootTime(4000);
    manager.genOSBootLogic();
    EXPECT_THAT(deliveredEventIds(ipmi), IsEmpty());
    EXPECT_EQ(countLogged(host, "ERROR HOST_RM: Error occurred in opening vok startup file"), 3);
    EXPECT_FALSE(host.root.exists(record));
}

TEST_F(BootVerdict, WaitsTwentySecondsBeforeItReadsTheRecord) {
    clock.onPause = [this](unsigned long microseconds) {
        if (microseconds != 20000000) return;
        host.root.writeFile(record, "current_start 5000\nlast_start 2000\nlast_stop 1000\n");
    };
    vokUtils::setSystemCurrentBootTime(4000);
    manager.genOSBootLogic();
    EXPECT_EQ(clock.pauses().front(), 20000000u);
    EXPECT_THAT(deliveredEventIds(ipmi), ElementsAre(360, 356));
}

TEST_F(BootVerdict, TheEventsHaveATimeAndNoLocation) {
    host.root.writeFile(record, "current_start 5000\nlast_start 1000\nlast_stop 2000\n");
    vokUtils::setSystemCurrentBootTime(4000);
    manager.genOSBootLogic();
    const std::vector<Json::Value> events = deliveredEvents(ipmi);
    ASSERT_EQ(events.size(), 2u);
    for (const Json::Value& event : events) {
        EXPECT_EQ(event["Source"], "VOK");
        EXPECT_EQ(event["EventTime"].asString().size(), 19u);
        EXPECT_FALSE(event.isMember("PhysicalLocation"));
        EXPECT_FALSE(event.isMember("VariableData"));
    }
}

// --- the record afterwards ---

TEST_F(BootVerdict, TheRunningStartBecomesTheLastStart) {
    host.root.writeFile(record, "current_start 5000\nlast_start 1000\nlast_stop 2000\n\n");
    manager.genOSBootLogic();
    EXPECT_EQ(host.root.readFile(record), "current_start 5000\nlast_start 5000\nlast_stop 2000\n\n");
}

TEST_F(BootVerdict, WithACurrentStartOf0TheLastStartStays) {
    host.root.writeFile(record, "last_start 1000\nlast_stop 2000\ncurrent_start 0\n");
    manager.genOSBootLogic();
    EXPECT_EQ(host.root.readFile(record), "last_start 1000\nlast_stop 2000\ncurrent_start 0\n");
}

TEST_F(BootVerdict, TheRecordIsRewrittenAfterTheEventsSoThatAKillBeforeThemLosesNone) {
    const std::string before = "current_start 5000\nlast_start 1000\nlast_stop 2000\n";
    host.root.writeFile(record, before);
    vokUtils::setSystemCurrentBootTime(4000);
    int checks = 0;
    clock.onPause = [&](unsigned long microseconds) {
        if (microseconds != 500000) return;  // the pause that ends a remote command
        ++checks;
        EXPECT_EQ(host.root.readFile(record), before);
    };
    manager.genOSBootLogic();
    EXPECT_EQ(checks, 2);
    EXPECT_EQ(host.root.readFile(record), "current_start 5000\nlast_start 5000\nlast_stop 2000\n");
}

TEST_F(BootVerdict, LogsEachReadOfTheRecord) {
    host.root.writeFile(record, "current_start 5000\nlast_start 1000\n");
    platformCheck::setDirectoryPath();  // logs that this host has no firmware table
    systemLog.clear();
    EXPECT_EQ(manager.readStartupValue("last_start"), 1000);
    EXPECT_EQ(manager.readStartupValue("last_stop"), 0);
    EXPECT_THAT(loggedLines(host),
                ElementsAre("DEBUG HOST_RM: content to match =last_start",
                            "DEBUG HOST_RM: Successful in opening vok startup file",
                            "DEBUG HOST_RM: Found a match 1000", "DEBUG HOST_RM: content to match =last_stop",
                            "DEBUG HOST_RM: Successful in opening vok startup file"));
}

// --- successive starts ---

class SuccessiveStarts : public BootVerdict {
protected:
    // Starts the agent at `now` on a host that booted at `boot`, and returns the events of that start.
    std::vector<int> start(time_t now, time_t boot) {
        clock.set(now);
        system.uptimeSeconds = static_cast<long>(now - boot);
        jobs.vokStartFileOperations(0);
        ipmi.clearRequests();
        manager.genOSBootLogic();
        return deliveredEventIds(ipmi);
    }
    void stop(time_t now) {
        clock.set(now);
        jobs.vokStartFileOperations(1);
    }
    std::vector<long> times() {
        return {manager.readStartupValue("current_start"), manager.readStartupValue("last_start"),
                manager.readStartupValue("last_stop")};
    }

    vokJobManager& jobs = *vokJobManager::getInstance();
};

TEST_F(SuccessiveStarts, FromTheFirstStartToACrashOfTheAgent) {
    const time_t t1 = 1700001000, t2 = 1700002000, t3 = 1700003000, t4 = 1700004000, t5 = 1700005000;
    EXPECT_THAT(start(t1, t1 - 100), IsEmpty());
    // The first record has no earlier start, so its current start becomes the last one.
    EXPECT_THAT(times(), ElementsAre(1700001000, 1700001000, 0));
    stop(t2);
    EXPECT_THAT(times(), ElementsAre(0, 1700001000, 1700002000));
    EXPECT_THAT(start(t3, t3 - 100), ElementsAre(359, 356));
    EXPECT_THAT(times(), ElementsAre(1700003000, 1700003000, 1700002000));
    // The system crashes and boots.
    EXPECT_THAT(start(t4, t4 - 100), ElementsAre(360, 356));
    EXPECT_THAT(times(), ElementsAre(1700004000, 1700004000, 1700002000));
    // The agent crashes and is restarted.
    EXPECT_THAT(start(t5, t4 - 100), IsEmpty());
    EXPECT_THAT(times(), ElementsAre(1700005000, 1700005000, 1700002000));
}

TEST_F(SuccessiveStarts, ARestartOfTheAgentByHandRaisesNoEvent) {
    start(1700001000, 1700000000);
    stop(1700002000);
    EXPECT_THAT(start(1700002005, 1700000000), IsEmpty());
}

TEST_F(SuccessiveStarts, AClockSetBackBeforeAWarmBootHidesTheBoot) {
    start(1700005000, 1700004000);
    EXPECT_THAT(start(1700001000, 1700000900), IsEmpty());
}

TEST_F(SuccessiveStarts, AKillBeforeTheBootLogicHasRunLosesNoEvent) {
    start(1700001000, 1700000900);
    stop(1700002000);
    clock.set(1700003000);
    jobs.vokStartFileOperations(0);  // and killed
    EXPECT_THAT(start(1700003100, 1700002900), ElementsAre(359, 356));
}

// --- test events ---

TEST_F(BootVerdict, ATestEventNamesTheClientAsItsSource) {
    manager.generateTestEvent(356);
    const std::vector<Json::Value> events = deliveredEvents(ipmi);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0]["ID"], 356);
    EXPECT_EQ(events[0]["Source"], "VOK-CLI");
    EXPECT_FALSE(events[0].isMember("PhysicalLocation"));
    EXPECT_FALSE(events[0].isMember("VariableData"));
}

}  // namespace
}  // namespace HostBootVerdictTest
