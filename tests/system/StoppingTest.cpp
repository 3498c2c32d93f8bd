// SIGTERM during each activity of the agent, and the other signals.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "system/SimulatedSystem.h"

namespace StoppingTest {
namespace {

class Stopping : public SimulatedSystem {
protected:
    void expectGracefulEnd(int status) {
        EXPECT_EQ(status, 0);
        const auto record = startupRecord();
        EXPECT_EQ(record.at("current_start"), 0);
        EXPECT_GE(record.at("last_stop"), record.at("last_start"));
        EXPECT_GT(record.at("last_start"), 0);
        EXPECT_EQ(timesLogged("JOB_MGR: stopping all the RM"), 1);
        EXPECT_EQ(timesLogged("JOB_MGR: VOK Exiting Gracefully!"), 1);
    }
    bool agentEnded() const { return ::kill(agent.process(), 0) != 0; }
};

TEST_F(Stopping, WritesTheThreeLinesOfTheRecordInTheirOrder) {
    startAll();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    expectGracefulEnd(stopAgent());
    const auto record = startupRecord();
    EXPECT_EQ(hostFile("/var/tmp/mevVOKStartup.txt"),
              "last_start " + std::to_string(record.at("last_start")) + "\nlast_stop " +
                  std::to_string(record.at("last_stop")) + "\ncurrent_start 0\n");
}

TEST_F(Stopping, InAReadinessPauseEndsWithoutAPush) {
    Json::Value settings = usualSettings();
    settings["InventoryQueryIntervalInSeconds"] = "100000";
    startAll(settings);
    startAgent();
    ASSERT_TRUE(waitForLog("Aggregator thread sleeping for 100000 sec iteration no. 1"));
    ASSERT_TRUE(waitForLog(" Populating host information."));
    expectGracefulEnd(stopAgent());
    EXPECT_EQ(controllerCount("inventories"), 0);
}

TEST_F(Stopping, InTheIdleWaitEndsAtOnce) {
    startAll();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    ASSERT_TRUE(waitForLog("JSON_AGGR: Success in delivering inventory string to RMC!"));
    const auto before = std::chrono::steady_clock::now();
    expectGracefulEnd(stopAgent());
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
    EXPECT_EQ(controllerCount("inventories"), 1);
}

TEST_F(Stopping, DuringAPushLetsThePushFinish) {
    startAll(settingsWithoutPolls());
    controllerControl({"answer", "late", "700", "--at-chunk", "4", "--of", "inventory"});
    startAgent();
    ASSERT_EQ(waitFor("request", 4), 0);
    expectGracefulEnd(stopAgent());
    EXPECT_EQ(controllerCount("inventories"), 1);
    EXPECT_EQ(controllerCount("violations"), 0);
}

TEST_F(Stopping, DuringADoorBellPollLetsThePollFinish) {
    startAll();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    controllerControl({"answer", "late", "700", "--of", "poll"});
    ASSERT_EQ(waitFor("poll", controllerCount("polls") + 1), 0);
    expectGracefulEnd(stopAgent());
    EXPECT_EQ(controllerCount("violations"), 0);
}

TEST_F(Stopping, BeforeTheBootVerdictWaitsForIt) {
    startAll(usualSettings(), 40);  // the pause before the verdict then lasts half a second
    startAgent();
    ASSERT_TRUE(waitForLog("Creating thread for HostOSInfo"));
    expectGracefulEnd(stopAgent());
}

TEST_F(Stopping, SIGINTStopsGracefullyToo) {
    startAll();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    expectGracefulEnd(agent.end(SIGINT));
}

TEST_F(Stopping, SIGHUPAndSIGPIPEChangeNothing) {
    startAll();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    ASSERT_EQ(::kill(agent.process(), SIGHUP), 0);
    ASSERT_EQ(::kill(agent.process(), SIGPIPE), 0);
    controllerControl({"ring"});
    ASSERT_EQ(waitFor("inventory", 2), 0);
    expectGracefulEnd(stopAgent());
}

// A signal that interrupted a wait for the controller would lose the push that waits.
TEST_F(Stopping, NoThreadOfTheAgentIsEverInterruptedByASignal) {
    startAll();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    constexpr int mustBeBlocked[] = {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGUSR2, SIGALRM, SIGCHLD};
    const std::string tasks = "/proc/" + std::to_string(agent.process()) + "/task";
    // A thread that is about to run a command lets SIGCHLD through for a moment.
    EXPECT_TRUE(waitUntil([&] {
        int threads = 0;
        for (const auto& task : std::filesystem::directory_iterator(tasks)) {
            if (task.path().filename() == std::to_string(agent.process())) continue;  // waits for a signal
            std::ifstream status(task.path() / "status");
            std::string word;
            while (status >> word && word != "SigBlk:") {
            }
            status >> word;
            const unsigned long long blocked = std::stoull(word, nullptr, 16);
            for (const int signal : mustBeBlocked)
                if ((blocked >> (signal - 1) & 1) == 0) return false;
            ++threads;
        }
        return threads >= 4;
    }));
    expectGracefulEnd(stopAgent());
}

TEST_F(Stopping, TwoSignalsWithinThreeSecondsCountAsOne) {
    startAll(settingsWithoutPolls());
    controllerControl({"answer", "late", "700", "--at-chunk", "4", "--of", "inventory"});
    startAgent();
    ASSERT_EQ(waitFor("request", 4), 0);
    ASSERT_EQ(::kill(agent.process(), SIGTERM), 0);
    ASSERT_TRUE(waitForLog("Stopping vokJsonAggr"));
    ASSERT_EQ(::kill(agent.process(), SIGINT), 0);
    expectGracefulEnd(stopAgent());
}

TEST_F(Stopping, ALaterSignalEndsAHangingStopAtOnceAndWithoutTheRecord) {
    startHostAlone(settingsWithoutPolls(), usualSpeed, {"--ipmi-timeout", "100"});
    startController();
    controllerControl({"answer", "never", "--at-chunk", "4", "--of", "inventory"});
    startAgent();
    ASSERT_EQ(waitFor("request", 4), 0);
    ASSERT_EQ(::kill(agent.process(), SIGTERM), 0);
    ASSERT_TRUE(waitForLog("Stopping vokJsonAggr"));
    std::this_thread::sleep_for(std::chrono::milliseconds(4100));
    ASSERT_FALSE(agentEnded()) << "the stop waits for the controller";
    EXPECT_EQ(agent.end(SIGTERM), 5);
    EXPECT_NE(
        agent.errors().find("vokd: ended at once by another signal, without the record of a graceful stop\n"),
        std::string::npos)
        << agent.errors();
    EXPECT_GT(startupRecord().at("current_start"), 0);
    EXPECT_EQ(timesLogged("VOK Exiting Gracefully!"), 0);
}

}  // namespace
}  // namespace StoppingTest
