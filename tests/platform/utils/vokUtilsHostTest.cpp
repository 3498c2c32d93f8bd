#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "platform/utils/vokUtils.h"
#include "support/FakeHostAccess.h"
#include "support/LoggedLines.h"

namespace vokUtilsHostTest {
namespace {

constexpr char nameCommand[] = "localcli system version get | grep -i Product";
constexpr char versionCommand[] = "localcli system version get | grep -i Version:";

}  // namespace

TEST(HostName, IsTheNodeName) {
    useFakeHost().nodeName = "esx01.lab";
    EXPECT_EQ(vokUtils::readHostName(), "esx01.lab");
}

TEST(HostName, IsABlankWhenTheSystemDoesNotTell) {
    auto& host = useFakeHost();
    logEverything(host);
    host.systemNameFails = true;
    EXPECT_EQ(vokUtils::readHostName(), " ");
    // EFAULT is 14.
    EXPECT_THAT(loggedLines(host), testing::ElementsAre("ERROR VOK_UTILS: uname failed with error = 14"));
}

TEST(HostDescription, IsTheFiveNamesWithOneBlankBetween) {
    useFakeHost().nodeName = "esx01";
    EXPECT_EQ(vokUtils::readHostOSDescription(), "VMkernel esx01 7.0.3 #1 SMP Release build-20036589 x86_64");
}

TEST(HostDescription, IsEmptyWhenTheSystemDoesNotTell) {
    auto& host = useFakeHost();
    logEverything(host);
    host.systemNameFails = true;
    EXPECT_EQ(vokUtils::readHostOSDescription(), "");
    EXPECT_THAT(loggedLines(host), testing::ElementsAre("ERROR VOK_UTILS: uname failed with error = 14"));
}

TEST(HostOSName, IsOneWordWithoutBlanks) {
    auto& host = useFakeHost();
    host.commandOutput[nameCommand] = "   Product: VMware ESXi\n";
    EXPECT_EQ(vokUtils::readHostOSName(), "VMwareESXi");
    EXPECT_EQ(host.commands, std::vector<std::string>{nameCommand});
}

TEST(HostOSName, AnyWhiteSpaceGoesFromTheWholeText) {
    auto& host = useFakeHost();
    host.commandOutput[nameCommand] = "\tProduct :\tVM ware\v\r\n ES Xi\f\n";
    EXPECT_EQ(vokUtils::readHostOSName(), "VMwareESXi");
}

TEST(HostOSName, ALineLongerThanThePieceOf39CharactersIsPutTogether) {
    auto& host = useFakeHost();
    host.commandOutput[nameCommand] = "   Product: " + std::string(100, 'x') + " end\n";
    EXPECT_EQ(vokUtils::readHostOSName(), std::string(100, 'x') + "end");
}

TEST(HostOSName, IsWhatStandsBehindTheFirstColon) {
    auto& host = useFakeHost();
    host.commandOutput[nameCommand] = "Product: a:b\n";
    EXPECT_EQ(vokUtils::readHostOSName(), "a:b");
}

TEST(HostOSName, IsTheWholeTextWithoutAColon) {
    auto& host = useFakeHost();
    host.commandOutput[nameCommand] = "Product VMware ESXi\n";
    EXPECT_EQ(vokUtils::readHostOSName(), "ProductVMwareESXi");
}

TEST(HostOSName, IsAskedForOnceAndNeverRefreshed) {
    auto& host = useFakeHost();
    host.commandOutput[nameCommand] = "   Product: VMware ESXi\n";
    vokUtils::readHostOSName();
    host.commandOutput[nameCommand] = "   Product: another\n";
    EXPECT_EQ(vokUtils::readHostOSName(), "VMwareESXi");
    EXPECT_EQ(host.commands.size(), 1u);
}

TEST(HostOSName, IsAskedForAgainAfterACommandThatDidNotStart) {
    auto& host = useFakeHost();
    logEverything(host);
    host.commandOutput[nameCommand] = "   Product: VMware ESXi\n";
    host.commandsFailToStart = true;
    EXPECT_EQ(vokUtils::readHostOSName(), "");
    EXPECT_THAT(loggedLines(host),
                testing::ElementsAre("ERROR VOK_UTILS: Error occurred in identifying OS Name."));
    host.commandsFailToStart = false;
    EXPECT_EQ(vokUtils::readHostOSName(), "VMwareESXi");
}

TEST(HostOSName, IsAskedForAgainAfterACommandThatPrintedNothing) {
    auto& host = useFakeHost();
    logEverything(host);
    EXPECT_EQ(vokUtils::readHostOSName(), "");
    EXPECT_THAT(loggedLines(host), testing::IsEmpty());
    host.commandOutput[nameCommand] = "   Product: VMware ESXi\n";
    EXPECT_EQ(vokUtils::readHostOSName(), "VMwareESXi");
}

TEST(HostOSVersion, IsWhatStandsBehindTheFirstColon) {
    auto& host = useFakeHost();
    host.commandOutput[versionCommand] = "Version: 7.0.3\n";
    EXPECT_EQ(vokUtils::readHostOSVersion(), "7.0.3");
    EXPECT_EQ(host.commands, std::vector<std::string>{versionCommand});
}

TEST(HostOSVersion, SeveralMatchingLinesRunTogether) {
    auto& host = useFakeHost();
    host.commandOutput[versionCommand] = "   Version: 8.0.1\n   Profile Version: 3\n";
    EXPECT_EQ(vokUtils::readHostOSVersion(), "8.0.1ProfileVersion:3");
}

TEST(HostOSVersion, IsKeptApartFromTheName) {
    auto& host = useFakeHost();
    host.commandOutput[nameCommand] = "   Product: VMware ESXi\n";
    host.commandOutput[versionCommand] = "   Version: 8.0.1\n";
    EXPECT_EQ(vokUtils::readHostOSName(), "VMwareESXi");
    EXPECT_EQ(vokUtils::readHostOSVersion(), "8.0.1");
    EXPECT_EQ(vokUtils::readHostOSVersion(), "8.0.1");
    EXPECT_EQ(host.commands.size(), 2u);
}

TEST(HostOSVersion, ACommandThatDoesNotStartIsAnError) {
    auto& host = useFakeHost();
    logEverything(host);
    host.commandsFailToStart = true;
    EXPECT_EQ(vokUtils::readHostOSVersion(), "");
    EXPECT_THAT(loggedLines(host),
                testing::ElementsAre("ERROR VOK_UTILS: Error occurred in identifying OS version."));
}

TEST(HostOSVersion, ACommandThatRunsWildEnds) {
    auto& host = useFakeHost();
    host.commandOutput[versionCommand] = "Version: " + std::string(10 * 1024 * 1024, '7');
    EXPECT_LE(vokUtils::readHostOSVersion().size(), 65536u + 40u);
}

TEST(HostOSVersion, NoLockIsHeldWhileACommandRuns) {
    auto& host = useFakeHost();
    host.onCommand = [](const std::string& command, int&) -> std::string {
        if (command == versionCommand) return "Version: 7.0.3\n";
        vokUtils::readHostOSVersion();
        return "Product: ESXi\n";
    };
    EXPECT_EQ(vokUtils::readHostOSName(), "ESXi");
    EXPECT_EQ(host.commands, (std::vector<std::string>{nameCommand, versionCommand}));
}

TEST(HostOSVersion, ManyThreadsMayAskAtOnce) {
    auto& host = useFakeHost();
    host.commandOutput[versionCommand] = "   Version: 8.0.1\n";
    host.commandOutput[nameCommand] = "   Product: VMware ESXi\n";
    std::vector<std::string> answers(8);
    std::vector<std::thread> threads;
    for (auto& answer : answers)
        threads.emplace_back(
            [&answer] { answer = vokUtils::readHostOSName() + vokUtils::readHostOSVersion(); });
    for (auto& thread : threads) thread.join();
    EXPECT_THAT(answers, testing::Each("VMwareESXi8.0.1"));
}

TEST(OSType, Is104) {
    EXPECT_EQ(vokUtils::getOSType(), 104);
    int type = 0;
    EXPECT_EQ(vokUtils::getOSType(&type), 1);
    EXPECT_EQ(type, 104);
    EXPECT_EQ(vokUtils::getOSType(nullptr), 1);
}

TEST(ErrorDescription, IsTheSystemsSentence) {
    EXPECT_EQ(vokUtils::getErrorDescription(ENOENT), "No such file or directory");
    EXPECT_EQ(vokUtils::getErrorDescription(0), "Success");
    EXPECT_EQ(vokUtils::getErrorDescription(99999), "Unknown error 99999");
    EXPECT_EQ(vokUtils::getErrorDescription(-1), "Unknown error -1");
}

TEST(BootTime, IsZeroUntilItIsSetAndThenWhatWasSet) {
    EXPECT_EQ(vokUtils::getSystemCurrentBootTime(), 0);
    vokUtils::setSystemCurrentBootTime(1700000000);
    EXPECT_EQ(vokUtils::getSystemCurrentBootTime(), 1700000000);
    vokUtils::setSystemCurrentBootTime(-5);
    EXPECT_EQ(vokUtils::getSystemCurrentBootTime(), -5);
}

TEST(CacheRefreshTimeInterval, IsKeptPerObject) {
    vokUtils one;
    vokUtils other;
    EXPECT_EQ(one.getCacheRefreshTimeInterval(), 0);
    one.setCacheRefreshTimeInterval(3600);
    EXPECT_EQ(one.getCacheRefreshTimeInterval(), 3600);
    EXPECT_EQ(other.getCacheRefreshTimeInterval(), 0);
}

TEST(PlatformFamily, IsUnknownWhileNoFirmwareTableIsRead) {
    EXPECT_EQ(vokUtils::getPlatformFamily(), "");
}

}  // namespace vokUtilsHostTest
