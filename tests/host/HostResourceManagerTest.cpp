#include "host/HostResourceManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

#include "rmc/vokJsonAggregator.h"
#include "support/FakeClock.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/FakeNetwork.h"
#include "support/FakeSystem.h"
#include "support/FakeSystemLog.h"
#include "support/LoggedLines.h"

namespace HostResourceManagerTest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char sampleFile[] = "/opt/mev/vok/data/vok-mem.txt";
constexpr char sampleCommand[] =
    "esxtop -c /opt/mev/vok/data/esxtopconf -b -n 1 >> /opt/mev/vok/data/vok-mem.txt";
constexpr char failureLine[] = "ERROR HOST_RM: Error occurred in fetching physical memory information : ";

std::string sampleOf(const std::string& total, const std::string& free) {
    return "\"(PDH-CSV 4.0) (UTC)(0)\",\"\\\\h\\Memory\\Machine MBytes\",\"\\\\h\\Memory\\Free MBytes\",\n"
           "\"05/15/2018 02:13:06\",\"" +
           total + "\",\"" + free + "\",\n";
}

class HostManager : public testing::Test {
protected:
    HostManager() {
        logEverything(host);
        host.root.writeFile("/opt/mev/vok/data/other", "");
        host.root.writeFile("/var/tmp/other", "");
        commands.onCommand = [this](const std::string& command, int& status) -> std::string {
            if (command == "localcli system version get | grep -i Product")
                return "   Product: VMware ESXi\n";
            if (command == "localcli system version get | grep -i Version:") return "   Version: 7.0.3\n";
            if (command != sampleCommand) return "";
            status = sampleStatus;
            if (sampleWritten) host.root.writeFile(sampleFile, host.root.readFile(sampleFile) + sample);
            return "";
        };
    }

    Json::Value section() {
        std::vector<Json::Value> inventory;
        EXPECT_FALSE(manager.getInventoryJsonObject(inventory));
        EXPECT_EQ(inventory.size(), 1u);
        return inventory.empty() ? Json::Value() : inventory.front();
    }

    long failureLines() {
        long count = 0;
        for (const std::string& line : loggedLines(host)) count += line.rfind(failureLine, 0) == 0;
        return count;
    }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeCommands& commands = host.part<FakeCommands>();
    FakeNetwork& network = host.part<FakeNetwork>();
    FakeSystem& system = host.part<FakeSystem>();
    HostResourceManager& manager = *HostResourceManager::getInstance();
    std::string sample = sampleOf("524288", "262144");
    int sampleStatus = 0;
    bool sampleWritten = true;
};

// --- the memory sample ---

TEST_F(HostManager, TakesOneSampleOfTheMemoryInWholeGiB) {
    EXPECT_THAT(manager.getTotalPhysicalMemory(), ElementsAre(512.0, 256.0));
    EXPECT_THAT(commands.texts(), ElementsAre(sampleCommand));
}

TEST_F(HostManager, APartOfAGiBDoesNotCount) {
    sample = sampleOf("1500", "1023");
    EXPECT_THAT(manager.getTotalPhysicalMemory(), ElementsAre(1.0, 0.0));
}

TEST_F(HostManager, TheSampleIsRemovedAfterEachUse) {
    manager.getTotalPhysicalMemory();
    EXPECT_FALSE(host.root.exists(sampleFile));
    sample = "";
    EXPECT_THAT(manager.getTotalPhysicalMemory(), ElementsAre(0.0, 0.0));
    EXPECT_FALSE(host.root.exists(sampleFile));
    sampleStatus = 256;
    manager.getTotalPhysicalMemory();
    EXPECT_FALSE(host.root.exists(sampleFile));
}

TEST_F(HostManager, ASampleLeftByACrashIsAppendedToAndTheLastValuesWin) {
    host.root.writeFile(sampleFile, sampleOf("1048576", "1048576"));
    EXPECT_THAT(manager.getTotalPhysicalMemory(), ElementsAre(512.0, 256.0));
}

TEST_F(HostManager, ASampleLeftByACrashIsNotRemovedFirstSoItsColumnsStay) {
    host.root.writeFile(sampleFile,
                        "\"t\",\"\\\\h\\Memory\\Free MBytes\",\"\\\\h\\Memory\\Machine MBytes\",\n"
                        "\"time\",\"1024\",\"2048\",\n");
    EXPECT_THAT(manager.getTotalPhysicalMemory(), ElementsAre(256.0, 512.0));
}

TEST_F(HostManager, AFailingCommandIsLoggedOncePerRun) {
    sampleStatus = 1 << 8;
    for (int refresh = 0; refresh < 5; ++refresh) EXPECT_THAT(manager.getTotalPhysicalMemory(), IsEmpty());
    EXPECT_EQ(failureLines(), 1);
    sampleStatus = 0;
    EXPECT_THAT(manager.getTotalPhysicalMemory(), ElementsAre(512.0, 256.0));
    sampleStatus = 1 << 8;
    manager.getTotalPhysicalMemory();
    EXPECT_EQ(failureLines(), 1);
}

TEST_F(HostManager, ACommandThatCannotBeStartedIsLoggedWithTheReason) {
    commands.failToStart = true;
    EXPECT_THAT(manager.getTotalPhysicalMemory(), IsEmpty());
    EXPECT_TRUE(hasLogged(host, std::string(failureLine) + "Resource temporarily unavailable"));
}

TEST_F(HostManager, ASampleThatCannotBeOpenedIsLoggedEachTime) {
    sampleWritten = false;
    for (int refresh = 0; refresh < 3; ++refresh) EXPECT_THAT(manager.getTotalPhysicalMemory(), IsEmpty());
    EXPECT_EQ(countLogged(host, "ERROR HOST_RM: Unable to fetch physical memory information."), 3);
    EXPECT_EQ(failureLines(), 0);
}

TEST_F(HostManager, ACommandWithoutUsableOutputIsLoggedOnceWithItsStatusAndSoIsItsRecovery) {
    const std::string command = " : esxtop -c /opt/mev/vok/data/esxtopconf -b -n 1";
    const auto sampleTwice = [this] {
        manager.getTotalPhysicalMemory();
        manager.getTotalPhysicalMemory();
    };
    sampleStatus = 3 << 8;
    sampleTwice();
    EXPECT_EQ(countLogged(host, "WARNING HOST_RM: Command failed (exit status 3)" + command), 1);
    sampleStatus = 9;
    sampleTwice();
    EXPECT_EQ(countLogged(host, "WARNING HOST_RM: Command failed (signal 9)" + command), 1);
    sampleStatus = 0;
    sample = "nonsense";
    sampleTwice();
    EXPECT_EQ(
        countLogged(
            host, "WARNING HOST_RM: Command failed (exit status 0, but a memory value is missing)" + command),
        1);
    sampleWritten = false;
    sampleTwice();
    EXPECT_EQ(countLogged(host, "WARNING HOST_RM: Command failed (exit status 0, but no output)" + command),
              1);
    sampleWritten = true;
    sample = sampleOf("524288", "262144");
    sampleTwice();
    EXPECT_EQ(countLogged(host, "INFO HOST_RM: Command succeeds again" + command), 1);
}

// --- the section ---

TEST_F(HostManager, BuildsTheWholeSection) {
    host.root.writeFile("/etc/config/mev/vok/vok.conf",
                        R"({"LoggingLevel": "Info", "PushInventoryFrequencyInMinutes": "33"})");
    manager.cacheBuild();
    const Json::Value element = section();
    EXPECT_THAT(element.getMemberNames(), ElementsAre("CollectionInfo", "HostOSInfo"));
    const Json::Value& info = element["HostOSInfo"];
    EXPECT_THAT(info.getMemberNames(),
                ElementsAre("HostName", "IPv4Addresses", "OSDescription", "OSMemorySummary", "OSName",
                            "OSSoftwareSummary", "OSType", "OSVersion"));
    EXPECT_EQ(info["HostName"], "testhost");
    EXPECT_EQ(info["OSName"], "VMwareESXi");
    EXPECT_EQ(info["OSVersion"], "7.0.3");
    EXPECT_EQ(info["OSDescription"], "VMkernel testhost 7.0.3 #1 SMP Release build-20036589 x86_64");
    EXPECT_TRUE(info["OSType"].isInt());
    EXPECT_EQ(info["OSType"], 104);
    EXPECT_THAT(info["OSSoftwareSummary"].getMemberNames(), ElementsAre("VokSwVersion"));
    EXPECT_EQ(info["OSSoftwareSummary"]["VokSwVersion"], "3.3.2.1");
    EXPECT_THAT(info["OSMemorySummary"].getMemberNames(),
                ElementsAre("TotalFreeSystemMemoryGiB", "TotalSystemMemoryGiB"));
    EXPECT_TRUE(info["OSMemorySummary"]["TotalSystemMemoryGiB"].isDouble());
    EXPECT_EQ(info["OSMemorySummary"]["TotalSystemMemoryGiB"].asDouble(), 512.0);
    EXPECT_EQ(info["OSMemorySummary"]["TotalFreeSystemMemoryGiB"].asDouble(), 256.0);
    ASSERT_EQ(info["IPv4Addresses"].size(), 1u);
    EXPECT_THAT(info["IPv4Addresses"][0].getMemberNames(), ElementsAre("Address"));
    EXPECT_EQ(info["IPv4Addresses"][0]["Address"], "10.1.2.3");
    const Json::Value& collection = element["CollectionInfo"];
    EXPECT_THAT(collection.getMemberNames(),
                ElementsAre("CollectionFrequencyMin", "CollectionType", "LastCollection"));
    EXPECT_EQ(collection["CollectionType"], "RemoteSupport");
    EXPECT_TRUE(collection["CollectionFrequencyMin"].isInt());
    EXPECT_EQ(collection["CollectionFrequencyMin"], 33);
    EXPECT_THAT(collection["LastCollection"].asString(), HasSubstr("Nov 1"));
}

TEST_F(HostManager, ListsTheAddressesInTheirOrder) {
    network.interfaces = {{"lo", "127.0.0.1"}, {"vmk1", "10.9.9.9"}, {"vmk0", "10.1.2.3"}};
    manager.cacheBuild();
    const Json::Value addresses = section()["HostOSInfo"]["IPv4Addresses"];
    ASSERT_EQ(addresses.size(), 2u);
    EXPECT_EQ(addresses[0]["Address"], "10.9.9.9");
    EXPECT_EQ(addresses[1]["Address"], "10.1.2.3");
}

TEST_F(HostManager, AHostWithoutAnAddressHasTheLoopbackAddress) {
    network.interfaces = {{"lo", "127.0.0.1"}};
    manager.cacheBuild();
    const Json::Value addresses = section()["HostOSInfo"]["IPv4Addresses"];
    ASSERT_EQ(addresses.size(), 1u);
    EXPECT_EQ(addresses[0]["Address"], "127.0.0.1");
}

TEST_F(HostManager, FailingQueriesLeaveAValidSection) {
    system.nameFails = true;
    commands.failToStart = true;
    network.interfaces.clear();
    manager.cacheBuild();
    const Json::Value info = section()["HostOSInfo"];
    EXPECT_EQ(info["HostName"], " ");
    EXPECT_EQ(info["OSName"], "");
    EXPECT_EQ(info["OSVersion"], "");
    EXPECT_EQ(info["OSDescription"], "");
    EXPECT_TRUE(info["OSMemorySummary"]["TotalSystemMemoryGiB"].isDouble());
    EXPECT_EQ(info["OSMemorySummary"]["TotalSystemMemoryGiB"].asDouble(), 0.0);
    EXPECT_EQ(info["OSMemorySummary"]["TotalFreeSystemMemoryGiB"].asDouble(), 0.0);
    EXPECT_TRUE(manager.isInventoryReady(0));
}

TEST_F(HostManager, EachBuildHasExactlyOneRecord) {
    for (int build = 0; build < 3; ++build) {
        manager.cacheBuild();
        EXPECT_EQ(manager.getHostInventory().size(), 1u);
        section();
    }
    EXPECT_EQ(manager.getHostInventory().front().getHostName(), "testhost");
    EXPECT_EQ(manager.getHostInventory().front().getOSMemorySummary().getTotalSystemMemGiB(), 512.0);
}

TEST_F(HostManager, WithoutARecordTheInventoryStaysAsItIs) {
    manager.createJsonStringUsingJsonCpp();
    std::vector<Json::Value> inventory;
    EXPECT_FALSE(manager.getInventoryJsonObject(inventory));
    EXPECT_THAT(inventory, IsEmpty());
}

TEST_F(HostManager, LogsItsBuildAndItsPush) {
    EXPECT_FALSE(manager.isInventoryReady(8));
    manager.cacheBuild();
    EXPECT_TRUE(manager.isInventoryReady(0));
    std::vector<std::string> lines;
    for (const std::string& line : loggedLines(host))
        if (line.find(" HOST_RM: ") != std::string::npos) lines.push_back(line);
    EXPECT_THAT(lines, ElementsAre("INFO HOST_RM: Host cache ready 0",
                                   "DEBUG HOST_RM: Starting Host resource manager cache build.",
                                   "DEBUG HOST_RM:  Populating host information.",
                                   "DEBUG HOST_RM: hostRM Requesting cache push",
                                   "DEBUG HOST_RM: Exiting CacheBuild", "INFO HOST_RM: Host cache ready 1"));
}

TEST_F(HostManager, AReaderDuringABuildGetsThePreviousCopy) {
    manager.cacheBuild();
    const auto answer = commands.onCommand;
    commands.onCommand = [&](const std::string& command, int& status) {
        std::thread([this] {
            std::vector<Json::Value> inventory;
            EXPECT_TRUE(manager.getInventoryJsonObject(inventory));
            EXPECT_EQ(inventory.size(), 1u);
        }).join();
        return answer(command, status);
    };
    manager.cacheBuild();
    EXPECT_TRUE(
        hasLogged(host, "DEBUG HOST_RM: Cache build is in progress. Returning previous copy of inventory."));
}

TEST_F(HostManager, AFreshCacheIsLoggedInLowerCase) {
    manager.cacheBuild();
    manager.startInventory();
    EXPECT_TRUE(hasLogged(host, "DEBUG HOST_RM: Attempting to refresh Cache."));
    EXPECT_TRUE(
        hasLogged(host, "DEBUG HOST_RM: cache was recently refreshed. skipping the current refresh cycle"));
    EXPECT_THAT(clock.waitedSeconds(), IsEmpty());
}

TEST_F(HostManager, IsNotRunningWithoutARecord) {
    EXPECT_FALSE(manager.isRunning());
    EXPECT_THAT(clock.pauses(), ElementsAre(3000000u, 3000000u, 3000000u));
    EXPECT_TRUE(
        hasLogged(host, "WARNING HOST_RM: _cacheBuildInProgress = 0,HostInventory.size() =0,retryCount =3"));
    manager.cacheBuild();
    EXPECT_TRUE(manager.isRunning());
}

// --- the thread ---

TEST_F(HostManager, RefreshesEverySixtySecondsWhateverTheConfigurationSays) {
    host.root.writeFile("/etc/config/mev/vok/vok.conf",
                        R"({"LoggingLevel": "Info", "CacheRefreshInSeconds": {"Global": "7200"}})");
    std::vector<long> samplesAtWait;
    clock.onTimedWait = [&](const timespec&) {
        long samples = 0;
        for (const std::string& command : commands.texts()) samples += command == sampleCommand;
        samplesAtWait.push_back(samples);
        if (samplesAtWait.size() == 4) clock.failReads(2);  // ends the thread in its next wait
        return false;
    };
    manager.startInventory();
    EXPECT_THAT(clock.waitedSeconds(), ElementsAre(60, 60, 60, 60));
    EXPECT_THAT(samplesAtWait, ElementsAre(1, 2, 3, 4));
}

class ClockSetBack : public HostManager {
protected:
    // The number of builds if the clock is set back by this many seconds between the first build and the wait
    // after it, which times out.
    long buildsAfter(time_t setBack) {
        host.part<FakeSystemLog>().onLine = [this, setBack, done = false](const std::string& line) mutable {
            if (done || line.find("Exiting CacheBuild") == std::string::npos) return;
            done = true;
            clock.advance(-setBack);
        };
        long builds = 0;
        clock.onTimedWait = [&, waits = 0](const timespec&) mutable {
            if (++waits == 1) return false;
            builds = countLogged(host, "DEBUG HOST_RM: Exiting CacheBuild");
            clock.failReads(3);  // ends the thread in its next wait
            return false;
        };
        manager.startInventory();
        return builds;
    }
};

TEST_F(ClockSetBack, ATimeOutInTheSecondOfTheLastBuildRefreshes) {
    EXPECT_EQ(buildsAfter(60), 2);
}

TEST_F(ClockSetBack, ATimeOutASecondBeforeTheLastBuildDoesNotRefresh) {
    EXPECT_EQ(buildsAfter(61), 1);
}

TEST_F(ClockSetBack, ATimeOutFiveSecondsBeforeTheLastBuildDoesNotRefresh) {
    EXPECT_EQ(buildsAfter(65), 1);
}

TEST_F(ClockSetBack, ATimeOutMoreThanFiveSecondsBeforeTheLastBuildRefreshes) {
    EXPECT_EQ(buildsAfter(66), 2);
}

TEST_F(HostManager, ReachesTheBootVerdictOnceThenRunsUntilItIsStopped) {
    clock.timedWaitsHold = true;
    std::thread thread([this] { manager.init(); });
    while (!manager.isInventoryReady(0)) std::this_thread::yield();
    EXPECT_EQ(clock.pauses().front(), 20000000u);
    manager.init();  // the thread is active: returns at once
    EXPECT_TRUE(
        hasLogged(host, "DEBUG HOST_RM: VOK thread for host already active. Cannot spawn another one."));
    EXPECT_EQ(countLogged(host, "DEBUG HOST_RM: Entry init()"), 2);
    manager.stopResourceManagerJob();
    thread.join();
    EXPECT_EQ(countLogged(host, "DEBUG HOST_RM: Entry startInventory"), 1);
    EXPECT_EQ(countLogged(host, "INFO HOST_RM: Resource manager stop called."), 1);
}

TEST_F(HostManager, AStopWithinTheTwentySecondsStillReachesTheBootVerdictAndBuildsNothing) {
    host.root.writeFile("/var/tmp/mevVOKStartup.txt",
                        "current_start 5000\nlast_start 1000\nlast_stop 2000\n");
    clock.onPause = [this](unsigned long microseconds) {
        if (microseconds == 20000000) manager.stopResourceManagerJob();
    };
    manager.init();
    EXPECT_EQ(host.root.readFile("/var/tmp/mevVOKStartup.txt"),
              "current_start 5000\nlast_start 5000\nlast_stop 2000\n");
    EXPECT_FALSE(manager.isInventoryReady(0));
    EXPECT_THAT(manager.getHostInventory(), IsEmpty());
}

// --- helpers ---

TEST_F(HostManager, ListsTheAddressesOfAllInterfacesButLoopback) {
    network.interfaces = {
        {"lo", "127.0.0.1"}, {"vmk0", "10.1.2.3"}, {"vmk0", "fe80::1"}, {"vmk1", ""}, {"lo1", "127.0.0.2"}};
    EXPECT_THAT(manager.getIPAddress(), ElementsAre("10.1.2.3", "fe80::1", "127.0.0.2"));
    EXPECT_THAT(loggedLines(host), ElementsAre("DEBUG HOST_RM: vmk0 IP Address 10.1.2.3\n",
                                               "DEBUG HOST_RM: vmk0 IP Address fe80::1\n",
                                               "DEBUG HOST_RM: lo1 IP Address 127.0.0.2\n"));
}

}  // namespace
}  // namespace HostResourceManagerTest
