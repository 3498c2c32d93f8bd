#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cstdlib>
#include <memory>
#include <string>

#include "platform/access/vokRootedHostAccess.h"
#include "platform/utils/vokUtils.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/LoggedLines.h"
#include "support/TemporaryDirectory.h"

namespace vokUtilsSummaryLogTest {
namespace {

constexpr char bootCommand[] =
    "grep \"Host has booted\" /var/log/vmksummary.log | tail -2 | awk '{print $1}' >> /tmp/vokboot.log";
constexpr char shutdownCommand[] =
    "grep \"Host is rebooting\" /var/log/vmksummary.log | tail -1 | awk '{print $1}' >> /tmp/vokboot.log";
constexpr char bootFailure[] = "WARNING VOK_UTILS: Error occurred in gathering system boot time information.";
constexpr char shutdownFailure[] =
    "WARNING VOK_UTILS: Error occurred in gathering system last shutdown time information.";

// A host whose command appends this text to the working file, as the shell would.
FakeHost hostThatPrints(const std::string& stamps) {
    ::setenv("TZ", "UTC0", 1);
    FakeHost host;
    logEverything(host);
    host.root.writeFile("/tmp/keep", "");
    host.part<FakeCommands>().onCommand = [&root = host.root, stamps](const std::string&, int&) {
        const std::string before = root.readFile("/tmp/vokboot.log");
        root.writeFile("/tmp/vokboot.log", before + stamps);
        return std::string();
    };
    return host;
}

struct Times {
    long boot = 1;
    long previousBoot = 1;
    long shutdown = 1;
};

Times fetch() {
    Times times;
    vokUtils::fetchSystemBootTime(times.boot, times.previousBoot);
    vokUtils::fetchSystemShutdownTime(times.shutdown);
    return times;
}

}  // namespace

TEST(SummaryLog, TheCommandsAreTheDocumentedOnes) {
    const auto host = hostThatPrints("");
    fetch();
    EXPECT_THAT(host.part<FakeCommands>().texts(), testing::ElementsAre(bootCommand, shutdownCommand));
}

TEST(SummaryLog, TheLastLineIsTheCurrentBootAndTheLineBeforeItThePreviousBoot) {
    const auto host = hostThatPrints("2017-09-15T09:49:10Z\n2021-04-01T03:50:53Z\n");
    const Times times = fetch();
    EXPECT_EQ(times.boot, 1617249053);
    EXPECT_EQ(times.previousBoot, 1505468950);
    EXPECT_EQ(times.shutdown, 1617249053);
    EXPECT_FALSE(hasLogged(host, bootFailure));
}

TEST(SummaryLog, MissingTimesAreZero) {
    hostThatPrints("");
    Times times = fetch();
    EXPECT_EQ(times.boot, 0);
    EXPECT_EQ(times.previousBoot, 0);
    EXPECT_EQ(times.shutdown, 0);
    hostThatPrints("2021-04-01T03:50:53Z\n");
    times = fetch();
    EXPECT_EQ(times.boot, 1617249053);
    EXPECT_EQ(times.previousBoot, 0);
}

TEST(SummaryLog, AnInvalidStampIsZero) {
    const auto host = hostThatPrints("garbage\n2021-04-01T03:50:53Z\n");
    const Times times = fetch();
    EXPECT_EQ(times.boot, 1617249053);
    EXPECT_EQ(times.previousBoot, 0);
    EXPECT_TRUE(hasLogged(host, "DEBUG VOK_UTILS: Invalid time stamp format."));
}

TEST(SummaryLog, ALineWithoutANewlineCounts) {
    hostThatPrints("2021-04-01T03:50:53Z");
    EXPECT_EQ(fetch().boot, 1617249053);
}

TEST(SummaryLog, AFailingCommandIsAWarningAndYieldsZeros) {
    const auto host = hostThatPrints("");
    host.part<FakeCommands>().onCommand = [&host](const std::string&, int& status) {
        host.root.writeFile("/tmp/vokboot.log", "2021-04-01T03:50:53Z\n");
        status = 2 << 8;
        return std::string();
    };
    const Times times = fetch();
    EXPECT_EQ(times.boot, 0);
    EXPECT_EQ(times.previousBoot, 0);
    EXPECT_EQ(times.shutdown, 0);
    EXPECT_THAT(loggedLines(host), testing::ElementsAre(bootFailure, shutdownFailure));
    EXPECT_FALSE(host.root.exists("/tmp/vokboot.log"));
}

TEST(SummaryLog, AShellThatCanNotBeStartedIsAWarning) {
    const auto host = hostThatPrints("");
    host.part<FakeCommands>().failToStart = true;
    fetch();
    EXPECT_THAT(loggedLines(host), testing::ElementsAre(bootFailure, shutdownFailure));
}

TEST(SummaryLog, TheFileOfAnEarlierRunIsIgnored) {
    const auto host = hostThatPrints("2021-04-01T03:50:53Z\n");
    host.root.writeFile("/tmp/vokboot.log", "2017-09-15T09:49:10Z\n");
    const Times times = fetch();
    EXPECT_EQ(times.boot, 1617249053);
    EXPECT_EQ(times.previousBoot, 0);
}

TEST(SummaryLog, TheWorkingFileIsRemoved) {
    const auto host = hostThatPrints("2021-04-01T03:50:53Z\n");
    fetch();
    EXPECT_FALSE(host.root.exists("/tmp/vokboot.log"));
}

TEST(SummaryLog, TheWorkingFileIsPrivateWhenTheCommandRuns) {
    const auto host = hostThatPrints("");
    mode_t mode = 0;
    host.part<FakeCommands>().onCommand = [&](const std::string&, int&) {
        struct stat status {};
        EXPECT_EQ(::lstat((host.root.path() + "/tmp/vokboot.log").c_str(), &status), 0);
        mode = status.st_mode;
        return std::string();
    };
    fetch();
    EXPECT_EQ(mode, static_cast<mode_t>(S_IFREG | 0600));
}

TEST(SummaryLog, APlantedLinkIsReplacedAndItsTargetUntouched) {
    const auto host = hostThatPrints("2021-04-01T03:50:53Z\n");
    host.root.writeFile("/etc/passwd", "root\n");
    ASSERT_EQ(::symlink("../etc/passwd", (host.root.path() + "/tmp/vokboot.log").c_str()), 0);
    EXPECT_EQ(fetch().boot, 1617249053);
    EXPECT_EQ(host.root.readFile("/etc/passwd"), "root\n");
}

TEST(SummaryLog, AFileThatCanNotBeRemovedIsNotWrittenToAndIsAWarning) {
    const auto host = hostThatPrints("2021-04-01T03:50:53Z\n");
    host.root.writeFile("/tmp/vokboot.log/file", "");
    EXPECT_EQ(fetch().boot, 0);
    EXPECT_TRUE(host.part<FakeCommands>().texts().empty());
    EXPECT_THAT(loggedLines(host), testing::ElementsAre(bootFailure, shutdownFailure));
}

TEST(SummaryLog, IsReadByTheRealShellUnderARootWithBlanksAndQuotes) {
    ::setenv("TZ", "UTC0", 1);
    const TemporaryDirectory directory;
    const std::string root = "a root's \"name\" $x";
    directory.writeFile(root + "/tmp/keep", "");
    directory.writeFile(root + "/var/log/vmksummary.log",
                        "2024-02-03T04:05:06Z bootstop: Host has booted\n"
                        "2024-05-06T07:08:09Z heartbeat: up 93d3h3m3s, 0 VMs\n"
                        "2024-05-06T08:00:00Z bootstop: Host is rebooting\n"
                        "2024-05-06T08:10:00Z bootstop: Host has booted\n"
                        "2024-06-01T00:00:00Z bootstop: Host is powering off\n"
                        "2024-06-01T00:20:00Z bootstop: Host has booted\n");
    vokSetHostAccess(std::make_unique<vokRootedHostAccess>(directory.path() + "/" + root));
    const Times times = fetch();
    EXPECT_EQ(times.boot, 1717201200);          // 2024-06-01T00:20:00Z
    EXPECT_EQ(times.previousBoot, 1714983000);  // 2024-05-06T08:10:00Z
    EXPECT_EQ(times.shutdown, 1714982400);      // 2024-05-06T08:00:00Z
    EXPECT_FALSE(directory.exists(root + "/tmp/vokboot.log"));
}

TEST(SummaryLog, AMissingLogYieldsZeros) {
    const TemporaryDirectory directory;
    directory.writeFile("/tmp/keep", "");
    vokSetHostAccess(std::make_unique<vokRootedHostAccess>(directory.path()));
    const Times times = fetch();
    EXPECT_EQ(times.boot, 0);
    EXPECT_EQ(times.shutdown, 0);
}

}  // namespace vokUtilsSummaryLogTest
