// The state and the history as JSON.
#include "client/vokStatusJson.h"

#include <gmock/gmock.h>

#include "client/StatusExamples.h"
#include "events/vokDelivery.h"

namespace vokStatusJsonTest {
namespace {

std::string jsonOf(const vokStatusSnapshot& status) {
    return vokStyledJson(vokStatusJson(&status, vokJudgeStatus(status, exampleNow), exampleNow));
}

TEST(vokStatusJsonTest, WithoutARecordOnlyTheVerdictIsThere) {
    EXPECT_EQ(vokStyledJson(vokStatusJson(nullptr, vokJudgeNoStatus("there is no record"), exampleNow)),
              R"json({
  "exitStatus": 2,
  "reasons": 
  [
    "no status of an agent: there is no record"
  ],
  "running": false,
  "time": "2026-11-22T12:00:00Z",
  "timeSeconds": 1795348800,
  "verdict": "CRITICAL"
})json");
}

TEST(vokStatusJsonTest, AllThatTheRecordHolds) {
    useUtc();  // the reasons have local times
    vokStatusSnapshot status = eventfulStatus();
    status.classes.erase(status.classes.begin(), status.classes.begin() + 2);
    status.classes[0].failedCommands = 7;
    status.events.pop_back();
    EXPECT_EQ(jsonOf(status), R"json({
  "classes": 
  [
    {
      "buildBegin": "2026-11-22T11:58:30Z",
      "buildBeginSeconds": 1795348710,
      "building": true,
      "builds": 2,
      "enabled": true,
      "failedCommands": 7,
      "lastBuildDurationSeconds": 0.842,
      "lastBuildEnd": "2026-11-22T11:57:00Z",
      "lastBuildEndSeconds": 1795348620,
      "name": "EthernetDevices",
      "nextBuild": "2026-11-22T12:57:00Z",
      "nextBuildSeconds": 1795352220,
      "ready": true,
      "records": 4,
      "sections": 
      [
        {
          "critical": 0,
          "linkDown": 2,
          "name": "EthernetDevices",
          "ok": 3,
          "unknown": 1,
          "warning": 0
        }
      ]
    }
  ],
  "doorBell": 
  {
    "answered": 144,
    "lastAnswer": "2026-11-22T11:59:30Z",
    "lastAnswerSeconds": 1795348770,
    "lastPoll": "2026-11-22T11:59:30Z",
    "lastPollSeconds": 1795348770,
    "next": "2026-11-22T12:09:30Z",
    "nextSeconds": 1795349370,
    "polls": 144,
    "requests": 1
  },
  "doorBellIntervalSeconds": 600,
  "events": 
  [
    {
      "delivered": 1,
      "dropped": 1,
      "failed": 2,
      "lastRaised": "2026-11-22T10:00:00Z",
      "lastRaisedSeconds": 1795341600,
      "meaning": "A drive has failed or is missing",
      "number": 538,
      "raised": 5,
      "refused": 1
    }
  ],
  "exitStatus": 1,
  "hanging": 
  [
    {
      "begin": "2026-11-22T11:58:30Z",
      "beginSeconds": 1795348710,
      "class": "EthernetDevices",
      "description": "localcli network nic list"
    }
  ],
  "librariesLeftOut": 
  [
    {
      "crashes": 2,
      "lastCall": "PCI location",
      "lastEnd": "SIGSEGV",
      "name": "libstorelib.so"
    }
  ],
  "process": 17446,
  "push": 
  {
    "answer": "accepted",
    "answerText": "the controller accepted it",
    "begin": "2026-11-22T10:00:00Z",
    "beginSeconds": 1795341600,
    "bytes": 10756,
    "chunks": 190,
    "durationSeconds": 0.04,
    "failed": 0,
    "lastAccepted": "2026-11-22T10:00:00Z",
    "lastAcceptedSeconds": 1795341600,
    "next": "2026-11-23T10:00:00Z",
    "nextSeconds": 1795428000,
    "pushes": 2,
    "running": false
  },
  "pushIntervalSeconds": 86400,
  "reasons": 
  [
    "hanging since 2026-11-22 11:58:30 (1 min ago): localcli network nic list",
    "the library libstorelib.so is left out, as the agent has died in it 2 times, last in the call PCI location (SIGSEGV)",
    "event 538 was not delivered 3 times, last raised 2026-11-22 10:00:00 (2 h ago)"
  ],
  "refreshIntervalSeconds": 3600,
  "running": true,
  "start": "2026-11-21T12:00:00Z",
  "startSeconds": 1795262400,
  "stop": null,
  "stopSeconds": null,
  "time": "2026-11-22T12:00:00Z",
  "timeSeconds": 1795348800,
  "verdict": "WARNING",
  "version": "3.3.2.1"
})json");
}

TEST(vokStatusJsonTest, AnAgentThatDoesNotRunHasNoProcess) {
    vokStatusSnapshot status = healthyStatus();
    status.isRunning = false;
    const Json::Value object = vokStatusJson(&status, vokJudgeStatus(status, exampleNow), exampleNow);
    EXPECT_TRUE(object["process"].isNull());
    EXPECT_FALSE(object["running"].asBool());
    EXPECT_EQ(object["exitStatus"].asInt(), 2);
}

TEST(vokStatusJsonTest, AnHistory) {
    vokHistoryEntry start;
    start.number = 1;
    start.kind = vokHistoryKind::start;
    start.time = exampleNow;
    vokHistoryEntry push = start;
    push.number = 2;
    push.kind = vokHistoryKind::push;
    push.bytes = 10756;
    push.chunks = 190;
    push.duration = 40;
    push.outcome = static_cast<std::uint32_t>(vokPushAnswer::accepted);
    push.answer = "the controller accepted it";
    vokHistoryEntry event = start;
    event.number = 3;
    event.kind = vokHistoryKind::event;
    event.event = 538;
    event.subject = "Drive";
    event.outcome = static_cast<std::uint32_t>(vokDeliveryKind::dropped);
    EXPECT_EQ(vokStyledJson(vokHistoryJson({start, push, event})), R"json([
  {
    "kind": "start",
    "number": 1,
    "time": "2026-11-22T12:00:00Z",
    "timeSeconds": 1795348800
  },
  {
    "answer": "the controller accepted it",
    "bytes": 10756,
    "chunks": 190,
    "durationSeconds": 0.04,
    "kind": "push",
    "number": 2,
    "outcome": "accepted",
    "time": "2026-11-22T12:00:00Z",
    "timeSeconds": 1795348800
  },
  {
    "answer": "",
    "durationSeconds": 0.0,
    "event": 538,
    "kind": "event",
    "meaning": "A drive has failed or is missing",
    "number": 3,
    "outcome": "dropped",
    "subject": "Drive",
    "time": "2026-11-22T12:00:00Z",
    "timeSeconds": 1795348800
  }
])json");
}

}  // namespace
}  // namespace vokStatusJsonTest
