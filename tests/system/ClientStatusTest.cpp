// "vokcli status" and "vokcli history": what a person sees of a running agent, of one that hangs, and of one
// that has died.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>
#include <csignal>
#include <sstream>
#include <utility>

#include "system/SimulatedSystem.h"

namespace ClientStatusTest {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

class ClientStatus : public SimulatedSystem {
protected:
    // The members of "status --json".
    Json::Value status() const {
        Json::Value object;
        std::istringstream(runClient({"status", "--json"}).output) >> object;
        return object;
    }
};

TEST_F(ClientStatus, OfAHostWithoutAnAgentIsCritical) {
    startAll();
    const Ran ran = runClient({"status"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.output, StartsWith("CRITICAL: no status of an agent: "));
    EXPECT_THAT(runClient({"status", "--prometheus"}).output, HasSubstr("\nvok_up 0\n"));
    const Ran history = runClient({"history"});
    EXPECT_EQ(history.status, 6);
    EXPECT_THAT(history.output, StartsWith("vokcli: No history: "));
}

TEST_F(ClientStatus, OfAHealthyAgentShowsItsBuildsItsPushAndItsEvents) {
    startAll();
    startAgentAndWaitForItsPush();
    ASSERT_EQ(runClient({"test", "708"}).status, 0);
    const Ran ran = runClient({"status"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.output, StartsWith("OK: the agent runs, and the controller accepted its last inventory\n"
                                       "\nVersion              3.3.2.1\n"
                                       "Process              " +
                                       std::to_string(agent.process()) + "\n"));
    EXPECT_THAT(ran.output, HasSubstr("\nFibreChannelDevices        -  disabled  "));
    EXPECT_THAT(ran.output, HasSubstr("\nHostOSInfo                 1  "));
    EXPECT_THAT(ran.output, HasSubstr("\nPushes               1\n"));
    EXPECT_THAT(ran.output, HasSubstr("\n                     the controller accepted it\n"));
    EXPECT_THAT(ran.output, HasSubstr("\n  708  Test event of the agent\n       raised 1, last "));
    EXPECT_THAT(ran.output, HasSubstr("\nHanging              nothing\n"));
    std::istringstream lines(ran.output);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;

    const Json::Value object = status();
    EXPECT_EQ(object["verdict"].asString(), "OK");
    EXPECT_EQ(object["push"]["bytes"].asUInt64(), inventoryText(1).size());
    EXPECT_EQ(object["events"][0]["number"].asInt(), 708);
    EXPECT_EQ(object["pushIntervalSeconds"].asInt(), 14400 * 60);

    const Ran history = runClient({"history"});
    EXPECT_EQ(history.status, 0);
    EXPECT_THAT(history.output, MatchesRegex("20.*  the agent started\n(.*\n)*"
                                             "20.*  push of [0-9]+ bytes in [0-9]+ chunks, .* s\n"
                                             " +accepted: the controller accepted it\n"
                                             "20.*  event 708: Test event of the agent\n(.*\n)*"));
    EXPECT_EQ(occurrences(runClient({"history", "1"}).output, "\n20"), 0);
    EXPECT_THAT(runClient({"history", "1"}).output, HasSubstr("  event 708: "));
}

TEST_F(ClientStatus, OfAnAgentThatDoesNotAnswerIsShownAllTheSame) {
    startAll();
    startAgentAndWaitForItsPush();
    ASSERT_EQ(::kill(agent.process(), SIGSTOP), 0);
    EXPECT_EQ(runClient({"status"}).status, 0);
    EXPECT_EQ(runClient({"history"}).status, 0);
    ASSERT_EQ(::kill(agent.process(), SIGCONT), 0);
}

TEST_F(ClientStatus, OfAnAgentThatWasKilledIsCriticalWithItsLastState) {
    startAll();
    startAgentAndWaitForItsPush();
    agent.end(SIGKILL);
    const Ran ran = runClient({"status"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.output,
                StartsWith("CRITICAL: the agent does not run, and was not stopped: it crashed, was killed,\n"
                           "          or lost its power\n"));
    EXPECT_THAT(ran.output,
                HasSubstr("\nProcess              none; what follows is the last that is known\n"));
    EXPECT_THAT(ran.output, HasSubstr("\nPushes               1\n"));
    EXPECT_THAT(runClient({"status", "--prometheus"}).output, HasSubstr("\nvok_up 0\n"));
}

TEST_F(ClientStatus, OfAnAgentThatWasStoppedSaysWhen) {
    startAll();
    startAgentAndWaitForItsPush();
    ASSERT_EQ(stopAgent(), 0);
    const Ran ran = runClient({"status"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.output, StartsWith("CRITICAL: the agent does not run; it was stopped 20"));
    EXPECT_THAT(runClient({"history", "1"}).output, HasSubstr("  the agent was stopped\n"));
}

TEST_F(ClientStatus, OfARefusedInventoryIsAWarningWithTheAnswer) {
    startAll();
    controllerControl({"answer", "status", "5", "--of", "inventory", "--count", "0"});
    startAgent();
    ASSERT_EQ(waitFor("refused", 1), 0);
    ASSERT_TRUE(waitUntil([this] { return status()["push"]["answer"].asString() == "refused"; }));
    const Ran ran = runClient({"status"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.output,
                StartsWith("WARNING: the last push was not accepted: the controller refused request 1:\n"));
}

TEST_F(ClientStatus, OfAnAgentThatPushesNothingIsCriticalAQuarterOfAnHourAfterItsStart) {
    startAll();
    controllerControl({"answer", "status", "5", "--of", "inventory", "--count", "0"});
    startAgent();
    ASSERT_EQ(waitFor("refused", 1), 0);
    ASSERT_TRUE(waitUntil([this] { return status()["push"]["answer"].asString() == "refused"; }));
    hostControl({"clock", "jump", "+1000"});
    const Ran ran = runClient({"status"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.output,
                StartsWith("CRITICAL: the controller has accepted no inventory since the agent started "));
}

TEST_F(ClientStatus, AndHistoryAreForRootAlone) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can switch to another user";
    startAll();
    startAgentAndWaitForItsPush();
    ASSERT_EQ(::chmod(directory.path().c_str(), 0755), 0);
    for (const auto& [command, file] :
         {std::pair{"status", "/var/run/vokStatus.bin"}, {"history", "/opt/mev/vok/data/vokHistory.bin"}}) {
        const Ran ran = runProgram({"/usr/bin/setpriv", "--reuid=65534", "--clear-groups", VOKCLI_PROGRAM,
                                    "--host-root", root(), command});
        if (ran.status == 127) GTEST_SKIP() << "another user cannot run the program";
        EXPECT_EQ(ran.status, 4);
        EXPECT_EQ(ran.output, "vokcli: No permission to read " + root() + file + "; run as root.\n");
    }
}

TEST_F(ClientStatus, IsWrittenToAFileThatAnyoneMayRead) {
    startAll();
    startAgentAndWaitForItsPush();
    const std::string file = directory.path() + "/vok.prom";
    const Ran ran = runClient({"status", "--prometheus", "--output", file});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output, "");
    EXPECT_THAT(directory.readFile("vok.prom"), HasSubstr("\nvok_up 1\n"));
    struct stat written {};
    ASSERT_EQ(::stat(file.c_str(), &written), 0);
    EXPECT_EQ(written.st_mode & 07777U, 0644U);
    const Ran failed = runClient({"status", "--output", directory.path() + "/missing/vok.prom"});
    EXPECT_EQ(failed.status, 6);
    EXPECT_EQ(failed.output,
              "vokcli: " + directory.path() + "/missing/vok.prom: No such file or directory\n");
    EXPECT_EQ(runProgram({"/bin/sh", "-c", "exec \"$0\" --host-root \"$1\" status >/dev/full", VOKCLI_PROGRAM,
                          root()})
                  .status,
              6);
}

TEST_F(ClientStatus, RefusesWrongUsage) {
    startAll();
    EXPECT_EQ(runClient({"status", "--json", "--prometheus"}).status, 1);
    EXPECT_EQ(runClient({"status", "now"}).status, 1);
    EXPECT_EQ(runClient({"history", "0"}).status, 1);
    EXPECT_EQ(runClient({"history", "-5"}).status, 1);
    EXPECT_EQ(runClient({"history", "many"}).status, 1);
}

}  // namespace
}  // namespace ClientStatusTest
