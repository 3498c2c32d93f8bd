#include "core/vokJobManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "core/inventory/vokFactory.h"
#include "core/inventory/vokResourceManager.h"
#include "core/inventory/vokResources.h"
#include "platform/utils/vokUtils.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/FakeSystem.h"
#include "support/FakeSystemLog.h"
#include "support/FakeThreads.h"
#include "support/LoggedLines.h"

namespace vokJobManagerTest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr char record[] = "/var/tmp/mevVOKStartup.txt";
constexpr char hostOnly[] = R"("EnableResources": ["HostOSInfo"])";
constexpr char noResource[] = R"("EnableResources": ["Nothing"])";

class JobManager : public testing::Test {
protected:
    JobManager() {
        host.root.writeFile("/var/tmp/other", "");
        clock.timedWaitsHold = true;
    }

    std::string recordText() const { return host.root.readFile(record); }

    std::vector<int> creationResults() const {
        return std::vector<int>(std::begin(vokJobManager::retval), std::end(vokJobManager::retval));
    }

    void waitForTheHostInventory() {
        while (!vokFactory().createInstance(1)->isInventoryReady(0)) std::this_thread::yield();
    }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeSystem& system = host.part<FakeSystem>();
    FakeSystemLog& systemLog = host.part<FakeSystemLog>();
    FakeThreads& threads = host.part<FakeThreads>();
    vokJobManager& manager = *vokJobManager::getInstance();
};

// --- the startup record ---

TEST_F(JobManager, AFirstStartCreatesTheRecord) {
    logEverything(host);
    manager.vokStartFileOperations(0);
    EXPECT_EQ(recordText(), "current_start 1700000000\nlast_start 0\nlast_stop 0\n");
    EXPECT_TRUE(hasLogged(host, "INFO JOB_MGR: Successful in creating a file"));
}

TEST_F(JobManager, AStartAfterAGracefulStopKeepsTheOtherTwoTimes) {
    logEverything(host);
    host.root.writeFile(record, "last_start 1600000000\nlast_stop 1600000500\ncurrent_start 0\n");
    manager.vokStartFileOperations(0);
    EXPECT_EQ(recordText(), "last_start 1600000000\nlast_stop 1600000500\ncurrent_start 1700000000\n\n");
    EXPECT_FALSE(hasLogged(host, "INFO JOB_MGR: Successful in creating a file"));
    EXPECT_FALSE(host.root.exists("/var/tmp/mevVOKStartuptmp.txt"));
}

TEST_F(JobManager, EachUngracefulRestartAddsOneEmptyLine) {
    manager.vokStartFileOperations(0);
    for (int restart = 0; restart < 3; ++restart) {
        clock.advance(100);
        manager.vokStartFileOperations(0);
    }
    EXPECT_EQ(recordText(), "current_start 1700000300\nlast_start 0\nlast_stop 0\n\n\n\n");
}

TEST_F(JobManager, AnyOtherModeRecordsAGracefulStop) {
    for (const int mode : {1, 2, -1}) {
        clock.set(1700000000);
        manager.vokStartFileOperations(0);
        clock.advance(mode + 10);
        manager.vokStartFileOperations(mode);
        EXPECT_EQ(recordText(), "last_start 1700000000\nlast_stop " + std::to_string(1700000010 + mode) +
                                    "\ncurrent_start 0\n");
    }
}

TEST_F(JobManager, ARecordThatCannotBeCreatedDoesNotStopTheAgent) {
    logEverything(host);
    std::filesystem::remove_all(host.root.path() + "/var/tmp");
    host.root.writeFile("/var/tmp", "a file in the place of the directory");
    manager.vokStartFileOperations(0);
    EXPECT_TRUE(hasLogged(host, "ERROR JOB_MGR: Error opening the vok startup file"));
    EXPECT_EQ(vokUtils::getSystemCurrentBootTime(), 1699999000);
}

TEST_F(JobManager, TheBootTimeIsTheCurrentTimeMinusTheUptime) {
    system.uptimeSeconds = 86400;
    manager.vokStartFileOperations(0);
    EXPECT_EQ(vokUtils::getSystemCurrentBootTime(), 1699913600);
}

TEST_F(JobManager, WithoutAnUptimeTheBootTimeIsASecondAgo) {
    logEverything(host);
    system.informationFails = true;
    manager.vokStartFileOperations(0);
    EXPECT_EQ(vokUtils::getSystemCurrentBootTime(), 1699999999);
    EXPECT_TRUE(hasLogged(host, "WARNING JOB_MGR: Unable to fetch system Up Time - -1, 14 : Bad address"));
    EXPECT_EQ(recordText(), "current_start 1700000000\nlast_start 0\nlast_stop 0\n");
}

// --- the threads ---

TEST_F(JobManager, OnlyTheIdsThatCanHaveAManagerGetAThread) {
    logEverything(host, noResource);
    ASSERT_TRUE(manager.startResourceManagers());
    EXPECT_THAT(creationResults(), ElementsAre(0, 0, 0, 0, -1, -1, -1, -1));
    manager.stopResourceManagers();
    EXPECT_TRUE(hasLogged(host, "DEBUG JOB_MGR: Resource manager FibreChannelDevices [0] is disabled."));
    EXPECT_TRUE(hasLogged(host, "DEBUG JOB_MGR: Resource manager HostOSInfo [1] is disabled."));
    EXPECT_TRUE(hasLogged(host, "DEBUG JOB_MGR: Resource manager StorageControllers [2] is disabled."));
    EXPECT_TRUE(hasLogged(host, "DEBUG JOB_MGR: Resource manager EthernetDevices [3] is disabled."));
    EXPECT_FALSE(hasLogged(host, "DEBUG JOB_MGR: Resource manager NVMeControllers [4] is disabled."));
}

TEST_F(JobManager, TheResultsOfAnEarlierStartAreCleared) {
    logEverything(host, noResource);
    std::fill(std::begin(vokJobManager::retval), std::end(vokJobManager::retval), 7);
    ASSERT_TRUE(manager.startResourceManagers());
    EXPECT_THAT(creationResults(), ElementsAre(0, 0, 0, 0, -1, -1, -1, -1));
    manager.stopResourceManagers();
}

TEST_F(JobManager, TheThreadsAreJoinedInTheOrderHostStorageEthernetFibreChannel) {
    logEverything(host, noResource);
    ASSERT_TRUE(manager.startResourceManagers());
    const std::vector<pthread_t> started(vokJobManager::threads, vokJobManager::threads + 4);
    manager.stopResourceManagers();
    EXPECT_THAT(threads.joined(), ElementsAre(started[1], started[2], started[3], started[0]));
}

TEST_F(JobManager, TheHostManagerIsStoppedBeforeTheEthernetManager) {
    logEverything(host, R"("EnableResources": ["EthernetDevices", "HostOSInfo"])");
    ASSERT_TRUE(manager.startResourceManagers());
    manager.stopResourceManagers();
    std::vector<std::string> lines;
    for (const std::string& line : loggedLines(host))
        if (line.find(": Resource manager stop called.") != std::string::npos) lines.push_back(line);
    EXPECT_THAT(lines, ElementsAre("INFO HOST_RM: Resource manager stop called.",
                                   "INFO NIC_RM: Resource manager stop called."));
}

TEST_F(JobManager, TheGracefulStopIsRecordedAfterTheLastLine) {
    logEverything(host, noResource);
    std::string recordAtTheLine;
    systemLog.onLine = [&](const std::string& text) {
        if (text.find("VOK Exiting Gracefully!") != std::string::npos) recordAtTheLine = recordText();
    };
    ASSERT_TRUE(manager.startResourceManagers());
    manager.stopResourceManagers();
    EXPECT_EQ(recordAtTheLine, "current_start 1700000000\nlast_start 0\nlast_stop 0\n");
    EXPECT_EQ(recordText(), "last_start 1700000000\nlast_stop 1700000000\ncurrent_start 0\n");
}

TEST_F(JobManager, ADisabledManagerIsNotStoppedButItsThreadIsJoined) {
    logEverything(host, noResource);
    ASSERT_TRUE(manager.startResourceManagers());
    manager.stopResourceManagers();
    EXPECT_FALSE(hasLogged(host, "INFO HOST_RM: Resource manager stop called."));
    EXPECT_TRUE(hasLogged(host, "INFO JOB_MGR: stopping all the RM"));
    EXPECT_TRUE(hasLogged(host, "INFO JOB_MGR: VOK Exiting Gracefully!"));
    EXPECT_THAT(creationResults(), ElementsAre(-1, -1, -1, -1, -1, -1, -1, -1));
}

TEST_F(JobManager, AManagerRunsOnItsThreadUntilItIsStopped) {
    logEverything(host, hostOnly);
    ASSERT_TRUE(manager.startResourceManagers());
    waitForTheHostInventory();
    manager.stopResourceManagers();
    EXPECT_TRUE(hasLogged(host, "DEBUG JOB_MGR: Creating thread for HostOSInfo"));
    std::vector<std::string> lines = loggedLines(host);
    lines.erase(lines.begin(), std::find(lines.begin(), lines.end(), "INFO JOB_MGR: stopping all the RM"));
    // The debug lines of the other threads may come in between.
    lines.erase(std::remove_if(lines.begin(), lines.end(),
                               [](const std::string& line) { return line.rfind("DEBUG", 0) == 0; }),
                lines.end());
    EXPECT_THAT(
        lines, ElementsAre("INFO JOB_MGR: stopping all the RM", "INFO HOST_RM: Resource manager stop called.",
                           "INFO HOST_RM: Signalled for stop.", "INFO JOB_MGR: VOK Exiting Gracefully!"));
    // Twenty seconds have passed in the boot logic.
    EXPECT_EQ(recordText(), "last_start 1700000000\nlast_stop 1700000020\ncurrent_start 0\n");
}

TEST_F(JobManager, EveryResourceThatCanBeEnabledHasAManager) {
    logEverything(host);
    ASSERT_TRUE(manager.startResourceManagers());
    manager.stopResourceManagers();
    for (const char* const name :
         {"FibreChannelDevices [0]", "HostOSInfo [1]", "StorageControllers [2]", "EthernetDevices [3]"})
        EXPECT_FALSE(hasLogged(
            host, std::string("WARNING JOB_MGR: No resource manager for ") + name + " in this build."))
            << name;
}

TEST_F(JobManager, AThreadForAResourceWithoutAManagerLogsAndEnds) {
    logEverything(host);
    constexpr vokResource withoutManager[] = {vokResource{FIBRE_CHANNEL_DEVICES}};
    vokBindResources(vokResourceTable(withoutManager));
    EXPECT_EQ(initializeResourceManager(nullptr), nullptr) << "of id 0";
    EXPECT_TRUE(
        hasLogged(host, "WARNING JOB_MGR: No resource manager for FibreChannelDevices [0] in this build."));
}

TEST_F(JobManager, AThreadForAnUnknownIdLogsAndEnds) {
    logEverything(host);
    EXPECT_EQ(initializeResourceManager(reinterpret_cast<void*>(static_cast<std::intptr_t>(42))), nullptr);
    EXPECT_TRUE(hasLogged(host, "WARNING JOB_MGR: Unable to find module name for Resource Manager [42]."));
}

TEST_F(JobManager, AThreadForAReservedIdLogsThatItIsDisabled) {
    logEverything(host);
    EXPECT_EQ(initializeResourceManager(reinterpret_cast<void*>(static_cast<std::intptr_t>(105))), nullptr);
    EXPECT_TRUE(hasLogged(host, "DEBUG JOB_MGR: Resource manager NumastatTelemetry [105] is disabled."));
}

TEST_F(JobManager, AThreadThatCannotBeCreatedEndsTheStartAndNothingIsRolledBack) {
    logEverything(host, noResource);
    threads.failStarts(2);
    EXPECT_FALSE(manager.startResourceManagers());
    EXPECT_THAT(creationResults(), ElementsAre(0, 0, EAGAIN, -1, -1, -1, -1, -1));
    EXPECT_EQ(countLogged(host, "ERROR JOB_MGR: Error:unable to create thread"), 1);
    EXPECT_EQ(recordText(), "current_start 1700000000\nlast_start 0\nlast_stop 0\n");
    for (int position = 0; position < 2; ++position) pthread_join(vokJobManager::threads[position], nullptr);
}

TEST_F(JobManager, AStopAfterAFailedStartJoinsOnlyTheThreadsThatExist) {
    logEverything(host, noResource);
    threads.failStarts(1);
    EXPECT_FALSE(manager.startResourceManagers());
    manager.stopResourceManagers();
    manager.stopResourceManagers();
    EXPECT_EQ(vokJobManager::retval[0], -1);
}

TEST_F(JobManager, TheClientChannelStartsAndStops) {
    host.root.writeFile("/var/run/other", "");
    EXPECT_TRUE(manager.startVOKServer());
    manager.stopVOKServer();
}

// --- simulated crashes ---

bool endedBySegmentationFault(int status) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return WIFEXITED(status) && WEXITSTATUS(status) != 0;  // the sanitizer reports it and exits
#else
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV;
#endif
}

TEST_F(JobManager, TheValue11CausesASegmentationFaultAndLeavesTheStartInTheRecord) {
    logEverything(host, std::string(noResource) + R"(, "SimulateUnhandledException": "11")");
    EXPECT_EXIT(manager.startResourceManagers(), endedBySegmentationFault, "");
    EXPECT_EQ(recordText(), "current_start 1700000000\nlast_start 0\nlast_stop 0\n");
}

TEST_F(JobManager, TheValue11CrashesAfterTheFirstThread) {
    logEverything(host, std::string(noResource) + R"(, "SimulateUnhandledException": "11")");
    threads.failStarts();
    EXPECT_FALSE(manager.startResourceManagers());  // no thread, no crash
    threads.failStarts(1);
    EXPECT_EXIT(manager.startResourceManagers(), endedBySegmentationFault, "");
}

TEST_F(JobManager, TheValue6ThrowsAnExceptionThatNothingCatches) {
    logEverything(host, R"("SimulateUnhandledException": "6")");
    try {
        simulateUnhandledExceptions();
        FAIL() << "nothing was thrown";
    } catch (const std::invalid_argument& exception) {
        EXPECT_STREQ(exception.what(), "Simulated Agent Exception");
    }
    EXPECT_TRUE(hasLogged(host, "WARNING JOB_MGR: Simulating unhandled exception SIGABRT. (6)"));
    EXPECT_EXIT([]() noexcept { simulateUnhandledExceptions(); }(), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(JobManager, TheValue11IsLoggedBeforeTheCrash) {
    host.root.writeFile("/etc/config/mev/vok/vok.conf",
                        R"({"SimulateUnhandledException": "11", "VOKLogLocation": "/log/vok.log"})");
    EXPECT_EXIT(simulateUnhandledExceptions(), endedBySegmentationFault, "");
    EXPECT_THAT(host.root.readFile("/log/vok.log"),
                HasSubstr("JOB_MGR: Simulating unhandled exception SIGSEGV. (11)\n"));
}

class SimulatedValue : public JobManager, public testing::WithParamInterface<const char*> {};

TEST_P(SimulatedValue, SimulatesNothing) {
    logEverything(host, std::string(R"("SimulateUnhandledException": ")") + GetParam() + "\"");
    simulateUnhandledExceptions();
    EXPECT_TRUE(systemLog.lines().empty());
}

INSTANTIATE_TEST_SUITE_P(OtherThan6And11, SimulatedValue,
                         testing::Values("0", "1", "-11", "9", "abc", "111"));

}  // namespace
}  // namespace vokJobManagerTest
