// SIGTERM during each activity of the agent, and the other signals.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

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

// --- what hangs does not delay the end for longer than this ---

constexpr auto longestStop = std::chrono::seconds(10);

class StoppingWhatHangs : public Stopping {
protected:
    // Sends SIGTERM and returns the exit status; fails the test if that takes too long.
    int stopInTime() {
        const auto before = std::chrono::steady_clock::now();
        const int status = stopAgent();
        EXPECT_LT(std::chrono::steady_clock::now() - before, longestStop);
        return status;
    }
    // The processes that run for a command of the agent, with their arguments: those with its search path.
    std::vector<std::string> runningCommands() const {
        std::vector<std::string> running;
        for (const auto& process : std::filesystem::directory_iterator("/proc")) {
            const auto read = [&process](const char* name) {
                std::ifstream file(process.path() / name, std::ios::binary);
                std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
                std::replace(text.begin(), text.end(), '\0', ' ');
                return text;
            };
            if (read("environ").find("PATH=" + root() + "/bin:") != std::string::npos)
                running.push_back(read("cmdline"));
        }
        return running;
    }
    bool waitForCommands(const std::vector<std::string>& texts) const {
        return waitUntil([&] {
            const std::vector<std::string> running = runningCommands();
            return std::all_of(texts.begin(), texts.end(), [&](const std::string& text) {
                return std::any_of(running.begin(), running.end(), [&](const std::string& line) {
                    return line.find(text) != std::string::npos;
                });
            });
        });
    }
};

TEST_F(StoppingWhatHangs, DuringTheStartEndsItBeforeAnythingRuns) {
    startAll();
    hostControl({"command", "localcli", "hang", "1000000000"});
    startAgent();
    ASSERT_TRUE(waitForCommands({"localcli hardware pci list"}));
    EXPECT_EQ(stopInTime(), 0);
    EXPECT_EQ(runningCommands(), std::vector<std::string>{});
    EXPECT_FALSE(hostHas("/var/tmp/mevVOKStartup.txt")) << "the last run's record stays the last";
    EXPECT_EQ(timesLogged("JOB_MGR: stopping all the RM"), 0);
}

TEST_F(StoppingWhatHangs, InARunningManagerEndsInOrderAndLeavesNoCommand) {
    Json::Value settings = usualSettings();
    settings["EnableResources"].append("EthernetDevices");
    settings["CacheRefreshInSeconds"]["Global"] = "600";
    startAll(settings);
    startAgentAndWaitForItsPush();
    hostControl({"command", "localcli", "hang", "1000000000"});
    ASSERT_TRUE(waitForCommands({"localcli network nic list"})) << testing::PrintToString(runningCommands());
    const int inventories = controllerCount("inventories");  // two if the adapters missed the first push
    expectGracefulEnd(stopInTime());
    EXPECT_EQ(controllerCount("inventories"), inventories) << "none with the lost list of adapters";
    EXPECT_EQ(runningCommands(), std::vector<std::string>{});
    EXPECT_EQ(controllerCount("violations"), 0);
}

// Seven disks with two to four questions each: without a refusal the poll would take most of a minute.
TEST_F(StoppingWhatHangs, OfDisksOnlyTheQuestionInProgressDelaysIt) {
    Json::Value settings = usualSettings();
    settings["EnableResources"].append("StorageControllers");
    startAll(settings);
    startAgentAndWaitForItsPush();
    ASSERT_TRUE(waitForLog("SAS_RM: Polling devices."));
    hostControl({"clock", "speed", "1"});
    const int polls = timesLogged("SAS_RM: Polling devices.");
    for (int disk = 0; disk < 7; ++disk) hostControl({"disk", "sg" + std::to_string(disk), "hang"});
    hostControl({"clock", "speed", "20"});  // a question hangs for three seconds
    ASSERT_TRUE(waitForLog("SAS_RM: Polling devices.", polls + 1));
    expectGracefulEnd(stopInTime());
    EXPECT_EQ(timesLogged("SAS_RM: Resource manager stopped."), 1);
    EXPECT_EQ(events(), std::vector<int>{}) << "a disk that was not asked has not failed";
    for (int number = 1; number <= controllerCount("inventories"); ++number)
        EXPECT_EQ(inventoryText(number).find("Critical"), std::string::npos) << number;
    EXPECT_EQ(controllerCount("violations"), 0);
}

// The same for a build: the inventory that the stop breaks off is not sent.
TEST_F(StoppingWhatHangs, ABuildThatAsksDisksIsBrokenOff) {
    Json::Value settings = usualSettings();
    settings["EnableResources"].append("StorageControllers");
    startHostAlone(settings);
    startController();
    for (int disk = 0; disk < 7; ++disk) hostControl({"disk", "sg" + std::to_string(disk), "hang"});
    hostControl({"clock", "speed", "20"});
    startAgent();
    ASSERT_TRUE(waitForLog("SAS_RM: Building storage cache."));
    expectGracefulEnd(stopInTime());
    EXPECT_EQ(timesLogged("SAS_RM: The stop has cut the build short; the previous inventory stays."), 1);
    EXPECT_EQ(events(), std::vector<int>{});
}

TEST_F(StoppingWhatHangs, AReportIsInterruptedAndPrintsNothing) {
    startAll();
    hostControl({"command", "localcli", "hang", "1000000000"});
    for (const char* const option : {"--print-inventory", "--show-platform"}) {
        SCOPED_TRACE(option);
        agent = RunningProgram(directory.path(), "vokd", {VOKD_PROGRAM, "--host-root", root(), option}, "");
        ASSERT_TRUE(waitForCommands({"localcli"}));
        EXPECT_EQ(stopInTime(), 9);
        EXPECT_EQ(agent.output(), "");
        EXPECT_EQ(agent.errors(), "vokd: interrupted by SIGTERM\n");
        EXPECT_EQ(runningCommands(), std::vector<std::string>{});
    }
}

TEST_F(StoppingWhatHangs, ADriverThatNeverAnswersDoesNotDelayItForLonger) {
    startHostAlone(usualSettings(), usualSpeed, {"--ipmi-timeout", "100"});
    startController();
    controllerControl({"answer", "never", "--at-chunk", "4", "--of", "inventory"});
    startAgent();
    ASSERT_EQ(waitFor("request", 4), 0);
    expectGracefulEnd(stopInTime());
    EXPECT_EQ(controllerCount("inventories"), 0);
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
