// The rules of the verdict and of the exit status.
#include "client/vokStatusVerdict.h"

#include <gmock/gmock.h>

#include "client/StatusExamples.h"

namespace vokStatusVerdictTest {
namespace {

class vokStatusVerdictTest : public ::testing::Test {
protected:
    vokStatusVerdictTest() { useUtc(); }

    // The verdict as "1 first reason; second reason".
    std::string verdict() const {
        const vokVerdict judged = vokJudgeStatus(status, exampleNow);
        std::string text = std::to_string(static_cast<int>(judged.health));
        const char* separator = " ";
        for (const vokFinding& finding : judged.findings) {
            text += separator + finding.text;
            separator = "; ";
        }
        return text;
    }

    vokStatusSnapshot status = healthyStatus();
    const std::string healthy = "0 the agent runs, and the controller accepted its last inventory";
};

TEST_F(vokStatusVerdictTest, AnAgentThatLacksNothingIsHealthy) {
    EXPECT_EQ(verdict(), healthy);
}

TEST_F(vokStatusVerdictTest, AnAgentThatWasStoppedIsCritical) {
    status.isRunning = false;
    status.stop = exampleNow - 120;
    EXPECT_EQ(verdict(), "2 the agent does not run; it was stopped 2026-11-22 11:58:00 (2 min ago)");
}

TEST_F(vokStatusVerdictTest, AnAgentThatWasKilledIsCriticalAndNothingElseIsJudged) {
    status = eventfulStatus();
    status.isRunning = false;
    EXPECT_EQ(verdict(),
              "2 the agent does not run, and was not stopped: it crashed, was killed, or lost its power");
}

TEST_F(vokStatusVerdictTest, AHostWithoutARecordIsCritical) {
    const vokVerdict judged = vokJudgeNoStatus("there is no record");
    EXPECT_EQ(judged.health, vokHealth::critical);
    EXPECT_EQ(judged.findings.at(0).text, "no status of an agent: there is no record");
}

// --- the start ---

TEST_F(vokStatusVerdictTest, AnAgentThatStartsIsHealthyForAQuarterOfAnHour) {
    status.push = {};
    for (vokClassStatus& each : status.classes) each = classWithoutBuild(each.id, each.name);
    status.start = exampleNow - 900;
    EXPECT_EQ(verdict(), "0 the agent is starting; it has not sent its first inventory yet");
    status.start = exampleNow - 901;
    EXPECT_EQ(verdict(),
              "2 the controller has accepted no inventory since the agent started 15 min ago; "
              "StorageControllers has had no inventory since the start; "
              "EthernetDevices has had no inventory since the start");
}

TEST_F(vokStatusVerdictTest, AClockThatWasSetBackAfterTheStartHidesNoAcceptedInventory) {
    status.push.lastAccepted = status.start - 1;
    EXPECT_EQ(verdict(), healthy);
    status.push.lastAccepted = 0;
    EXPECT_EQ(verdict(), "2 the controller has accepted no inventory since the agent started 24 h ago");
}

TEST_F(vokStatusVerdictTest, AnAgentWithoutRecordsHasNothingToPush) {
    const char* const reason = "2 there is no inventory to push: no class that is enabled has records";
    status.push = {};
    status.classes[0].records = 0;
    status.classes[1].enabled = false;
    EXPECT_EQ(verdict(), reason);
    status.classes[0].enabled = false;
    EXPECT_EQ(verdict(), reason);
    status.push.isRunning = true;
    status.push.begin = exampleNow;
    EXPECT_NE(verdict(), reason);
    status.push = {};
    status.classes[0].enabled = true;
    status.classes[0].ready = false;
    EXPECT_EQ(verdict(),
              "2 the controller has accepted no inventory since the agent started 24 h ago; "
              "StorageControllers has had no inventory since the start");
}

TEST_F(vokStatusVerdictTest, AClassThatIsDisabledNeedsNoInventory) {
    status.classes[0] = classWithoutBuild(2, "StorageControllers", false);
    EXPECT_EQ(verdict(), healthy);
}

// --- pushes ---

TEST_F(vokStatusVerdictTest, TwoIntervalsWithoutAnAcceptedInventoryAreCritical) {
    status.start = exampleNow - 1000000;
    status.push.lastAccepted = exampleNow - 2 * 86400 - 900;
    EXPECT_EQ(verdict(), healthy);
    --status.push.lastAccepted;
    EXPECT_EQ(verdict(), "2 the controller has accepted no inventory since 2026-11-20 11:44:59 (2 d ago)");
}

TEST_F(vokStatusVerdictTest, APushThatIsAQuarterOfAnHourLateIsCritical) {
    status.push.next = exampleNow - 900;
    EXPECT_EQ(verdict(), healthy);
    --status.push.next;
    EXPECT_EQ(verdict(), "2 the push of the inventory was due 2026-11-22 11:44:59 (15 min ago)");
}

TEST_F(vokStatusVerdictTest, APushThatRunsForAQuarterOfAnHourIsAWarning) {
    status.push.next = exampleNow - 901;
    status.push.isRunning = true;
    status.push.begin = exampleNow - 900;
    EXPECT_EQ(verdict(), healthy);
    --status.push.begin;
    EXPECT_EQ(verdict(), "1 the push of the inventory has not ended since 2026-11-22 11:44:59 (15 min ago)");
}

TEST_F(vokStatusVerdictTest, APushThatWasNotAcceptedIsAWarningAtOnce) {
    status.push.answerText = "";
    struct Row {
        vokPushAnswer answer;
        const char* words;
    };
    for (const Row& row :
         {Row{vokPushAnswer::unconfirmed, "unconfirmed"}, Row{vokPushAnswer::refused, "refused"},
          Row{vokPushAnswer::noAnswer, "no answer"}, Row{vokPushAnswer::notSent, "not sent"}}) {
        status.push.answer = row.answer;
        EXPECT_EQ(verdict(), std::string("1 the last push was not accepted: ") + row.words);
    }
    status.push.answerText = "request 1 was answered with completion code 0xC3";
    EXPECT_EQ(verdict(),
              "1 the last push was not accepted: request 1 was answered with completion code 0xC3");
}

// --- classes ---

TEST_F(vokStatusVerdictTest, ABuildThatRunsForAQuarterOfAnHourIsAWarning) {
    status.classes[0].isBuilding = true;
    status.classes[0].nextBuild = exampleNow - 901;
    status.classes[0].buildBegin = exampleNow - 900;
    EXPECT_EQ(verdict(), healthy);
    --status.classes[0].buildBegin;
    EXPECT_EQ(verdict(), "1 StorageControllers has been building since 2026-11-22 11:44:59 (15 min ago)");
}

TEST_F(vokStatusVerdictTest, ABuildThatIsAQuarterOfAnHourLateIsAWarning) {
    status.classes[1].nextBuild = exampleNow - 900;
    EXPECT_EQ(verdict(), healthy);
    --status.classes[1].nextBuild;
    EXPECT_EQ(verdict(), "1 the build of EthernetDevices was due 2026-11-22 11:44:59 (15 min ago)");
}

TEST_F(vokStatusVerdictTest, FailedCommandsAndTheHealthOfTheHardwareAreNotJudged) {
    status.classes[0].failedCommands = 1000;
    status.classes[0].sections = {{"Drives", 0, 1, 1, 1, 1}};
    EXPECT_EQ(verdict(), healthy);
}

// --- what hangs, the door-bell, events ---

TEST_F(vokStatusVerdictTest, ALibraryThatIsLeftOutIsAWarning) {
    status.leftOut = {{"libstorelib.so", 3, "exit", "PCI location"}};
    EXPECT_EQ(
        verdict(),
        "1 the library libstorelib.so is left out, as the agent has died in it 3 times, last in the call "
        "PCI location (exit)");
}

TEST_F(vokStatusVerdictTest, AnOperationThatHangsIsAWarning) {
    status.hanging = {{"localcli network nic list", exampleNow - 31, 3}};
    EXPECT_EQ(verdict(), "1 hanging since 2026-11-22 11:59:29 (31 s ago): localcli network nic list");
}

TEST_F(vokStatusVerdictTest, ADoorBellWithoutAnAnswerForThreeIntervalsIsAWarning) {
    status.doorBell.lastPoll = exampleNow;
    status.doorBell.lastAnswer = exampleNow - 1800;
    EXPECT_EQ(verdict(), healthy);
    --status.doorBell.lastAnswer;
    EXPECT_EQ(verdict(),
              "1 the controller has answered no door-bell poll since 2026-11-22 11:29:59 (30 min ago)");
    status.doorBell.lastAnswer = 0;
    EXPECT_EQ(verdict(), "1 the controller has answered no door-bell poll since the start");
    status.start = exampleNow - 1800;
    status.push.lastAccepted = status.start;
    EXPECT_EQ(verdict(), healthy);
}

TEST_F(vokStatusVerdictTest, AnEventThatWasNotDeliveredIsAWarningForADay) {
    vokEventCount event;
    event.number = 538;
    event.raised = 9;
    event.dropped = 9;
    event.lastRaised = exampleNow - 86400;
    status.events = {event};
    EXPECT_EQ(verdict(), healthy);
    status.events[0].refused = 1;
    EXPECT_EQ(verdict(), "1 event 538 was not delivered 1 time, last raised 2026-11-21 12:00:00 (24 h ago)");
    status.events[0].failed = 1;
    EXPECT_EQ(verdict(), "1 event 538 was not delivered 2 times, last raised 2026-11-21 12:00:00 (24 h ago)");
    --status.events[0].lastRaised;
    EXPECT_EQ(verdict(), healthy);
}

TEST_F(vokStatusVerdictTest, TheWorstFindingComesFirst) {
    status.hanging = {{"a", exampleNow - 31, -1}};
    status.push.answer = vokPushAnswer::refused;
    status.push.next = exampleNow - 3600;
    EXPECT_EQ(verdict(),
              "2 the push of the inventory was due 2026-11-22 11:00:00 (1 h ago); "
              "the last push was not accepted: the controller accepted it; "
              "hanging since 2026-11-22 11:59:29 (31 s ago): a");
}

TEST_F(vokStatusVerdictTest, TheWordsAreThoseOfAMonitoringPlugin) {
    EXPECT_STREQ(vokHealthName(vokHealth::ok), "OK");
    EXPECT_STREQ(vokHealthName(vokHealth::warning), "WARNING");
    EXPECT_STREQ(vokHealthName(vokHealth::critical), "CRITICAL");
}

}  // namespace
}  // namespace vokStatusVerdictTest
