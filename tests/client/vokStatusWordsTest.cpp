// The state and the history as a person reads them.
#include "client/vokStatusWords.h"

#include <gmock/gmock.h>
#include <sstream>

#include "client/StatusExamples.h"
#include "client/vokHistoryWords.h"
#include "events/vokDelivery.h"

namespace vokStatusWordsTest {
namespace {

class vokStatusWordsTest : public ::testing::Test {
protected:
    vokStatusWordsTest() { useUtc(); }
};

TEST_F(vokStatusWordsTest, AHealthyAgent) {
    EXPECT_EQ(vokStatusWords(healthyStatus(), exampleNow),
              R"(Version              3.3.2.1
Process              17446
Started              2026-11-21 12:00:00 (24 h ago)

CLASS                RECORDS  LAST BUILD              AGO     TOOK       NEXT
StorageControllers         4  2026-11-22 11:57:00   3 min   0.84 s  in 57 min
EthernetDevices            4  2026-11-22 11:57:00   3 min   0.84 s  in 57 min

Pushes               2
Last push            2026-11-22 10:00:00 (2 h ago)
                     10756 bytes in 190 chunks, 0.04 s
                     the controller accepted it
Last accepted        2026-11-22 10:00:00 (2 h ago)
Next push            2026-11-23 10:00:00 (in 22 h)

Door-bell            144 polls, 144 answered, 1 request for an inventory
Last answer          2026-11-22 11:59:30 (30 s ago)
Next poll            2026-11-22 12:09:30 (in 9 min)

Events               none raised

Hanging              nothing
)");
}

TEST_F(vokStatusWordsTest, AnAgentWithEventsFailuresAndAnOperationThatHangs) {
    const std::string words = vokStatusWords(eventfulStatus(), exampleNow);
    EXPECT_THAT(words, ::testing::HasSubstr(
                           R"(CLASS                RECORDS  LAST BUILD              AGO     TOOK       NEXT
FibreChannelDevices        -  disabled                  -        -          -
StorageControllers         4  2026-11-22 11:57:00   3 min   0.84 s  in 57 min
  1 command failed since the start of the agent
EthernetDevices            4  2026-11-22 11:57:00   3 min   0.84 s  in 57 min
  builds since 2026-11-22 11:58:30 (1 min ago)

HEALTH                     OK   WARNING  CRITICAL   UNKNOWN  LINK DOWN
Drives                     17         1         1         0          0
Volumes                     4         0         0         0          0
EthernetDevices             3         0         0         1          2
)"));
    EXPECT_THAT(words, ::testing::EndsWith(R"(
EVENTS
  538  A drive has failed or is missing
       raised 5, last 2026-11-22 10:00:00 (2 h ago)
       delivered 1, refused 1, failed 2, dropped before the first push 1
 4711  an event of a client
       raised 1
       delivered 1

HANGING
  localcli network nic list (EthernetDevices)
    since 2026-11-22 11:58:30 (1 min ago)

LIBRARIES LEFT OUT
  libstorelib.so
    2 crashes, the last in the call PCI location (SIGSEGV)
)"));
}

TEST_F(vokStatusWordsTest, AnAgentThatDoesNotRun) {
    vokStatusSnapshot status = healthyStatus();
    status.isRunning = false;
    status.stop = exampleNow - 60;
    const std::string words = vokStatusWords(status, exampleNow);
    EXPECT_THAT(words,
                ::testing::StartsWith("Version              3.3.2.1\n"
                                      "Process              none; what follows is the last that is known\n"
                                      "Started              2026-11-21 12:00:00 (24 h ago)\n"
                                      "Stopped              2026-11-22 11:59:00 (1 min ago)\n"));
    EXPECT_THAT(words, ::testing::HasSubstr("0.84 s          -\n"));
    EXPECT_THAT(words, ::testing::HasSubstr("Next push            not planned\n"));
    EXPECT_THAT(words, ::testing::HasSubstr("Next poll            not planned\n"));
}

TEST_F(vokStatusWordsTest, AnAgentBeforeItsFirstBuildAndPush) {
    vokStatusSnapshot status = healthyStatus();
    status.classes = {classWithoutBuild(3, "EthernetDevices")};
    status.push = {};
    status.doorBell = {};
    const std::string words = vokStatusWords(status, exampleNow);
    EXPECT_THAT(words,
                ::testing::HasSubstr(
                    "EthernetDevices            -  not ready                 -        -          -\n"));
    EXPECT_THAT(words,
                ::testing::HasSubstr("Pushes               0\n"
                                     "Last push            never\n"
                                     "Last accepted        never\n"
                                     "Next push            not planned\n"
                                     "\n"
                                     "Door-bell            0 polls, 0 answered, 0 requests for an inventory\n"
                                     "Last answer          never\n"
                                     "Next poll            not planned\n"));
}

TEST_F(vokStatusWordsTest, ABuildWhoseTimeHasComeIsDue) {
    vokStatusSnapshot status = healthyStatus();
    status.classes[0].nextBuild = exampleNow - 1;
    status.classes[1].nextBuild = 0;
    const std::string words = vokStatusWords(status, exampleNow);
    EXPECT_THAT(words, ::testing::HasSubstr("   0.84 s        due\n"));
    EXPECT_THAT(words, ::testing::HasSubstr("   0.84 s          -\n"));
}

TEST_F(vokStatusWordsTest, PushesThatWereNotAcceptedAreCountedAndOneInProgressIsNamed) {
    vokStatusSnapshot status = healthyStatus();
    status.push.failed = 1;
    status.push.isRunning = true;
    status.push.begin = exampleNow - 5;
    EXPECT_THAT(vokStatusWords(status, exampleNow),
                ::testing::HasSubstr("Pushes               2, not accepted 1\n"
                                     "Last push            runs since 2026-11-22 11:59:55 (5 s ago)\n"
                                     "Last accepted        2026-11-22 10:00:00 (2 h ago)\n"));
}

TEST_F(vokStatusWordsTest, NothingIsWiderThanEightyColumns) {
    vokStatusSnapshot status = eventfulStatus();
    constexpr std::uint64_t most = ~std::uint64_t{0};
    status.version = std::string(200, '9');
    status.hanging[0].description = std::string(500, 'x');
    status.leftOut = {{std::string(64, 'z'), 2147483647, std::string(16, 'S'), std::string(128, 'c')}};
    status.push = {exampleNow, false,      most, most, vokPushAnswer::refused, std::string(300, 'y'), most,
                   exampleNow, exampleNow, most, most};
    status.doorBell.polls = status.doorBell.answered = status.doorBell.requests = most;
    for (vokClassStatus& each : status.classes) {
        each.failedCommands = each.records = each.lastBuildDuration = most;
        each.sections = {{std::string(32, 'z'), most, most, most, most, most}};
    }
    for (vokEventCount& event : status.events)
        event.raised = event.delivered = event.refused = event.failed = event.dropped = most;
    std::istringstream lines(vokStatusWords(status, exampleNow) +
                             vokVerdictWords(vokJudgeStatus(status, exampleNow)));
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
}

TEST_F(vokStatusWordsTest, TheVerdictIsOneLineForEachReason) {
    EXPECT_EQ(vokVerdictWords({vokHealth::critical,
                               {{vokHealth::critical,
                                 "the push of the inventory was due 2026-11-22 11:44:59 "
                                 "(15 min ago), and this is long"},
                                {vokHealth::warning, "something hangs"}}}),
              "CRITICAL: the push of the inventory was due 2026-11-22 11:44:59 (15 min ago),\n"
              "          and this is long\n"
              "WARNING: something hangs\n");
}

// --- history ---

vokHistoryEntry entryOf(vokHistoryKind kind, std::int64_t time) {
    vokHistoryEntry entry;
    entry.kind = kind;
    entry.time = time;
    return entry;
}

TEST_F(vokStatusWordsTest, AHistory) {
    vokHistoryEntry push = entryOf(vokHistoryKind::push, exampleNow + 20);
    push.bytes = 10756;
    push.chunks = 190;
    push.duration = 40;
    push.outcome = static_cast<std::uint32_t>(vokPushAnswer::accepted);
    push.answer = "the controller accepted it";
    vokHistoryEntry event = entryOf(vokHistoryKind::event, exampleNow + 60);
    event.event = 538;
    event.subject = "Drive sda, 203A001B05C20300";
    event.outcome = static_cast<std::uint32_t>(vokDeliveryKind::refused);
    event.answer = "the controller refused it";
    vokHistoryEntry dropped = entryOf(vokHistoryKind::event, exampleNow + 61);
    dropped.event = 9999;
    dropped.outcome = static_cast<std::uint32_t>(vokDeliveryKind::dropped);
    EXPECT_EQ(vokHistoryWords({entryOf(vokHistoryKind::start, exampleNow), push, event, dropped,
                               entryOf(vokHistoryKind::stop, exampleNow + 3600)}),
              R"(2026-11-22 12:00:00  the agent started
2026-11-22 12:00:20  push of 10756 bytes in 190 chunks, 0.04 s
                     accepted: the controller accepted it
2026-11-22 12:01:00  event 538: A drive has failed or is missing
                     Drive sda, 203A001B05C20300
                     refused: the controller refused it
2026-11-22 12:01:01  event 9999: an event of a client
                     dropped
2026-11-22 13:00:00  the agent was stopped
)");
}

TEST_F(vokStatusWordsTest, AnEntryOfALaterVersionIsNamedAsOne) {
    EXPECT_EQ(vokHistoryWords({entryOf(static_cast<vokHistoryKind>(9), exampleNow)}),
              "2026-11-22 12:00:00  an entry of a later version\n");
    vokHistoryEntry event = entryOf(vokHistoryKind::event, exampleNow);
    event.outcome = 99;
    EXPECT_STREQ(vokOutcomeName(event), "unknown");
    event.outcome = 0;
    EXPECT_STREQ(vokOutcomeName(event), "unknown");
}

}  // namespace
}  // namespace vokStatusWordsTest
