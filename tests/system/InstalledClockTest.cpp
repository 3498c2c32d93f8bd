// The clocks of the installed agent, without a host root: the wall clock is set, days pass, and a command
// takes longer than thirty seconds.
#include <fcntl.h>
#include <sys/stat.h>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <memory>
#include <sstream>

#include "system/InstalledSystem.h"
#include "system/SetClock.h"

namespace InstalledClockTest {

namespace fs = std::filesystem;

namespace {

constexpr int day = 86400;

class InstalledClock : public InstalledSystem {
protected:
    // In the debug log and in the agent log.
    static constexpr char build[] = "NIC_RM: Exiting CacheBuild";
    static constexpr char poll[] = "IPMI_DB: Checking IPMI door bell request";
    static constexpr char push[] = "JSON_AGGR: An Error occurred in delivering inventory string to RMC!";
    static constexpr const char* all[] = {build, poll, push};

    void SetUp() override {
        InstalledSystem::SetUp();
        if (IsSkipped()) return;
        clock = std::make_unique<SetClock>(directory.path());
        // An adapter build an hour, a door-bell poll a minute, a push a day.
        Json::Value settings = quickSettings();
        settings["EnableDebugLog"] = "true";
        settings["IPMIDoorBellMonitorInterval"] = "1";
        writeSettings(settings);
    }
    void start() {
        agent =
            RunningProgram(directory.path(), "vokd", clock->commandWithClocks({"/opt/mev/vok/bin/vokd"}), "");
    }
    void startAndWaitForTheFirstRound() {
        start();
        ASSERT_TRUE(waitForCount(build, 1));
        ASSERT_TRUE(waitForCount(push, 1)) << logText();
        passAMinute();
    }
    // Until the next poll. Whoever has built or pushed before it waits again then.
    void passAMinute() {
        const int before = count(poll);
        clock->pass(61);
        ASSERT_TRUE(waitForCount(poll, before + 1)) << logText();
    }
    static int count(const std::string& text) {
        return occurrences(logText() + fileText("/scratch/log/mev/vok/vok-debug.log"), text);
    }
    static bool waitForCount(const std::string& text, int least) {
        return waitUntil([&] { return count(text) >= least; });
    }
    // A signal without effect makes the daemon's own thread look at the clocks now rather than within a
    // minute.
    void lookAtTheClocks() {
        const int before = count("SIGUSR1 has no effect");
        ASSERT_EQ(::kill(agent.process(), SIGUSR1), 0);
        ASSERT_TRUE(waitForCount("SIGUSR1 has no effect", before + 1));
    }
    // What is done on a timer is done again. The door-bell service may have begun its wait after the clock
    // was set: it polls again within a minute.
    void expectAnotherRound(const std::vector<int>& before) {
        clock->pass(61);
        for (std::size_t i = 0; i < before.size(); ++i)
            EXPECT_TRUE(waitForCount(all[i], before[i] + 1)) << all[i] << "\n" << logText();
    }
    static std::vector<int> counts() { return {count(build), count(poll), count(push)}; }
    // The lines about the clock, each from its tag on and without the number of seconds.
    static std::string clockLines() {
        std::string found;
        std::istringstream log(logText());
        for (std::string line; std::getline(log, line);)
            if (const auto at = line.find("CLOCK: "); at != std::string::npos)
                found += line.substr(at, line.find_first_of("0123456789", at) - at) + "\n";
        return found;
    }

    std::unique_ptr<SetClock> clock;
};

TEST_F(InstalledClock, SetBackByThreeDaysIsLoggedAndWhatIsDoneOnTimersGoesOn) {
    startAndWaitForTheFirstRound();
    const std::vector<int> before = counts();
    clock->setWallClock(-3 * day);
    lookAtTheClocks();
    EXPECT_TRUE(waitForLine("CLOCK: The clock was set back by 259")) << logText();
    expectAnotherRound(before);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(clockLines(), "CLOCK: The clock was set back by \n");
}

TEST_F(InstalledClock, SetForwardByTwoDaysEverythingIsDueWithoutALookAtTheClock) {
    startAndWaitForTheFirstRound();
    const std::vector<int> before = counts();
    clock->setWallClock(2 * day);
    expectAnotherRound(before);
    EXPECT_EQ(clockLines(), "");
    lookAtTheClocks();
    EXPECT_TRUE(waitForLine("CLOCK: The clock was set forward by 172")) << logText();
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(InstalledClock, SetForwardAndBackBetweenTwoLooksIsLoggedAsThatAndWhatIsDoneOnTimersGoesOn) {
    startAndWaitForTheFirstRound();
    std::vector<int> before = counts();
    clock->setWallClock(2 * day);
    expectAnotherRound(before);
    passAMinute();
    // The waits that have begun in the wrong time would end in two days.
    clock->setWallClock(-2 * day);
    before = counts();
    lookAtTheClocks();
    expectAnotherRound(before);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(clockLines(), "CLOCK: The clock was set forward and back again\n");
}

TEST_F(InstalledClock, WithTheTimeThatPassesNothingIsLoggedAboutIt) {
    startAndWaitForTheFirstRound();
    for (int hours = 0; hours < 3; ++hours) {
        const int builds = count(build);
        clock->pass(3601);
        EXPECT_TRUE(waitForCount(build, builds + 1));
        lookAtTheClocks();
    }
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(clockLines(), "");
}

TEST_F(InstalledClock, TheStartupRecordIsTouchedOnceADayAndNotWhenTheClockIsSet) {
    startAndWaitForTheFirstRound();
    const std::string record = "/var/tmp/mevVOKStartup.txt";
    const std::string content = fileText(record);
    const timespec old[] = {{1000000000, 0}, {1000000000, 0}};
    const auto modified = [&] {
        struct stat status {};
        return ::stat(record.c_str(), &status) == 0 ? status.st_mtime : 0;
    };
    ASSERT_EQ(::utimensat(AT_FDCWD, record.c_str(), old, 0), 0);
    clock->setWallClock(5 * day);
    lookAtTheClocks();
    clock->pass(day - 120);
    lookAtTheClocks();
    EXPECT_TRUE(waitForLine("CLOCK: The clock was set forward by 43"))
        << "the look before the last has ended";
    EXPECT_EQ(modified(), 1000000000);
    clock->pass(120);
    lookAtTheClocks();
    const time_t now = ::time(nullptr);
    EXPECT_TRUE(waitUntil([&] { return modified() >= now - 60; }));
    EXPECT_EQ(fileText(record), content);
    EXPECT_EQ(modeOf(record), "0600");
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(InstalledClock, ACommandOfThirtySecondsIsReportedOnceAndAgainAtItsEnd) {
    hostControl({"command", "localcli", "hang", "1000000000"});
    start();
    ASSERT_TRUE(waitUntil([this] { return !runningCommands("localcli").empty(); })) << logText();
    EXPECT_EQ(count("WATCH:"), 0) << logText();
    clock->pass(40);
    ASSERT_TRUE(waitForLine("WATCH: Still not ended after 4")) << logText();
    clock->pass(60);
    hostControl({"command", "localcli", "normal"});
    for (const auto& each : runningCommands("localcli")) ::kill(each.first, SIGTERM);
    ASSERT_TRUE(waitForLine("WATCH: Ended after 10")) << logText();
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(count("WATCH: Still not ended"), 1);
    EXPECT_EQ(count("WATCH: Ended"), 1);
    EXPECT_EQ(occurrences(logText(), " s: command \"localcli "), 2) << logText();
}

TEST_F(InstalledClock, ACommandOfThirtySecondsIsNamedByAReportOnStandardError) {
    for (const char* report : {"--print-inventory", "--show-platform"}) {
        SCOPED_TRACE(report);
        hostControl({"command", "localcli", "hang", "1000000000"});
        agent = RunningProgram(directory.path(), "vokd",
                               clock->commandWithClocks({"/opt/mev/vok/bin/vokd", report}), "");
        ASSERT_TRUE(waitUntil([this] { return !runningCommands("localcli").empty(); }));
        clock->pass(40);
        EXPECT_TRUE(waitUntil([this] {
            return agent.errors().find("vokd: Still not ended after 4") != std::string::npos;
        })) << agent.errors();
        hostControl({"command", "localcli", "normal"});
        for (const auto& each : runningCommands("localcli")) ::kill(each.first, SIGTERM);
        EXPECT_EQ(agent.end(0), 0);
        EXPECT_NE(agent.errors().find(" s: command \"localcli hardware pci list "), std::string::npos);
        EXPECT_NE(agent.errors().find("vokd: Ended after 4"), std::string::npos) << agent.errors();
    }
}

}  // namespace
}  // namespace InstalledClockTest
