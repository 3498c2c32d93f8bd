#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "platform/utils/vokUtils.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/FakeSystem.h"
#include "support/LoggedLines.h"

namespace vokUtilsHostTest {
namespace {

constexpr char nameCommand[] = "localcli system version get | grep -i Product";
constexpr char versionCommand[] = "localcli system version get | grep -i Version:";

}  // namespace

TEST(HostName, IsTheNodeName) {
    const FakeHost host;
    host.part<FakeSystem>().nodeName = "esx01.lab";
    EXPECT_EQ(vokUtils::readHostName(), "esx01.lab");
}

TEST(HostName, IsABlankIfTheSystemCallFails) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeSystem>().nameFails = true;
    EXPECT_EQ(vokUtils::readHostName(), " ");
    // EFAULT is 14.
    EXPECT_THAT(loggedLines(host), testing::ElementsAre("ERROR VOK_UTILS: uname failed with error = 14"));
}

TEST(HostDescription, IsTheFiveNamesWithOneBlankBetween) {
    const FakeHost host;
    host.part<FakeSystem>().nodeName = "esx01";
    EXPECT_EQ(vokUtils::readHostOSDescription(), "VMkernel esx01 7.0.3 #1 SMP Release build-20036589 x86_64");
}

TEST(HostDescription, IsEmptyIfTheSystemCallFails) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeSystem>().nameFails = true;
    EXPECT_EQ(vokUtils::readHostOSDescription(), "");
    EXPECT_THAT(loggedLines(host), testing::ElementsAre("ERROR VOK_UTILS: uname failed with error = 14"));
}

TEST(HostOSName, IsOneWordWithoutBlanks) {
    const FakeHost host;
    auto& commands = host.part<FakeCommands>();
    commands.output[nameCommand] = "   Product: VMware ESXi\n";
    EXPECT_EQ(vokUtils::readHostOSName(), "VMwareESXi");
    EXPECT_EQ(commands.texts(), std::vector<std::string>{nameCommand});
}

TEST(HostOSName, LosesAllWhiteSpaceInTheText) {
    const FakeHost host;
    host.part<FakeCommands>().output[nameCommand] = "\tProduct :\tVM ware\v\r\n ES Xi\f\n";
    EXPECT_EQ(vokUtils::readHostOSName(), "VMwareESXi");
}

TEST(HostOSName, ALineLongerThanAPieceOf39CharactersIsReassembled) {
    const FakeHost host;
    host.part<FakeCommands>().output[nameCommand] = "   Product: " + std::string(100, 'x') + " end\n";
    EXPECT_EQ(vokUtils::readHostOSName(), std::string(100, 'x') + "end");
}

TEST(HostOSName, IsTheTextAfterTheFirstColon) {
    const FakeHost host;
    host.part<FakeCommands>().output[nameCommand] = "Product: a:b\n";
    EXPECT_EQ(vokUtils::readHostOSName(), "a:b");
}

TEST(HostOSName, IsTheWholeTextWithoutAColon) {
    const FakeHost host;
    host.part<FakeCommands>().output[nameCommand] = "Product VMware ESXi\n";
    EXPECT_EQ(vokUtils::readHostOSName(), "ProductVMwareESXi");
}

TEST(HostOSName, IsReadOnceAndNeverRefreshed) {
    const FakeHost host;
    auto& commands = host.part<FakeCommands>();
    commands.output[nameCommand] = "   Product: VMware ESXi\n";
    vokUtils::readHostOSName();
    commands.output[nameCommand] = "   Product: another\n";
    EXPECT_EQ(vokUtils::readHostOSName(), "VMwareESXi");
    EXPECT_EQ(commands.texts().size(), 1u);
}

TEST(HostOSName, IsReadAgainAfterACommandThatDidNotStart) {
    const FakeHost host;
    auto& commands = host.part<FakeCommands>();
    logEverything(host);
    commands.output[nameCommand] = "   Product: VMware ESXi\n";
    commands.failToStart = true;
    EXPECT_EQ(vokUtils::readHostOSName(), "");
    EXPECT_THAT(
        loggedLines(host),
        testing::ElementsAre(std::string("WARNING VOK_UTILS: Command failed (could not be run: Resource "
                                         "temporarily unavailable) : ") +
                                 nameCommand,
                             "ERROR VOK_UTILS: Error occurred in identifying OS Name."));
    commands.failToStart = false;
    EXPECT_EQ(vokUtils::readHostOSName(), "VMwareESXi");
    EXPECT_EQ(loggedLines(host).back(),
              std::string("INFO VOK_UTILS: Command succeeds again : ") + nameCommand);
}

TEST(HostOSName, IsReadAgainAfterACommandThatPrintedNothing) {
    const FakeHost host;
    logEverything(host);
    auto& commands = host.part<FakeCommands>();
    commands.output[nameCommand] = "";
    EXPECT_EQ(vokUtils::readHostOSName(), "");
    EXPECT_THAT(
        loggedLines(host),
        testing::ElementsAre(
            std::string("WARNING VOK_UTILS: Command failed (exit status 0, but no value) : ") + nameCommand));
    commands.output[nameCommand] = "   Product: VMware ESXi\n";
    EXPECT_EQ(vokUtils::readHostOSName(), "VMwareESXi");
}

// Each build asks as long as there is no answer.
TEST(HostOSVersion, ACommandThatKeepsFailingIsLoggedOnceAndSoIsItsRecovery) {
    const FakeHost host;
    logEverything(host);
    auto& commands = host.part<FakeCommands>();
    for (int build = 0; build < 5; ++build) EXPECT_EQ(vokUtils::readHostOSVersion(), "");
    EXPECT_EQ(commands.texts().size(), 5u);
    commands.output[versionCommand] = "Version: 7.0.3\n";
    for (int build = 0; build < 5; ++build) EXPECT_EQ(vokUtils::readHostOSVersion(), "7.0.3");
    EXPECT_THAT(loggedLines(host),
                testing::ElementsAre(
                    std::string("WARNING VOK_UTILS: Command failed (exit status 127) : ") + versionCommand,
                    std::string("INFO VOK_UTILS: Command succeeds again : ") + versionCommand));
}

TEST(HostOSVersion, IsTheTextAfterTheFirstColon) {
    const FakeHost host;
    auto& commands = host.part<FakeCommands>();
    commands.output[versionCommand] = "Version: 7.0.3\n";
    EXPECT_EQ(vokUtils::readHostOSVersion(), "7.0.3");
    EXPECT_EQ(commands.texts(), std::vector<std::string>{versionCommand});
}

TEST(HostOSVersion, SeveralMatchingLinesAreJoined) {
    const FakeHost host;
    host.part<FakeCommands>().output[versionCommand] = "   Version: 8.0.1\n   Profile Version: 3\n";
    EXPECT_EQ(vokUtils::readHostOSVersion(), "8.0.1ProfileVersion:3");
}

TEST(HostOSVersion, IsCachedSeparatelyFromTheName) {
    const FakeHost host;
    auto& commands = host.part<FakeCommands>();
    commands.output[nameCommand] = "   Product: VMware ESXi\n";
    commands.output[versionCommand] = "   Version: 8.0.1\n";
    EXPECT_EQ(vokUtils::readHostOSName(), "VMwareESXi");
    EXPECT_EQ(vokUtils::readHostOSVersion(), "8.0.1");
    EXPECT_EQ(vokUtils::readHostOSVersion(), "8.0.1");
    EXPECT_EQ(commands.texts().size(), 2u);
}

TEST(HostOSVersion, ACommandThatDoesNotStartIsAnError) {
    const FakeHost host;
    logEverything(host);
    host.part<FakeCommands>().failToStart = true;
    EXPECT_EQ(vokUtils::readHostOSVersion(), "");
    EXPECT_EQ(countLogged(host, "ERROR VOK_UTILS: Error occurred in identifying OS version."), 1);
}

TEST(HostOSVersion, TheOutputOfARunawayCommandIsLimited) {
    const FakeHost host;
    host.part<FakeCommands>().output[versionCommand] = "Version: " + std::string(10 * 1024 * 1024, '7');
    EXPECT_LE(vokUtils::readHostOSVersion().size(), 65536u + 40u);
}

TEST(HostOSVersion, NoLockIsHeldWhileACommandRuns) {
    const FakeHost host;
    auto& commands = host.part<FakeCommands>();
    commands.onCommand = [](const std::string& command, int&) -> std::string {
        if (command == versionCommand) return "Version: 7.0.3\n";
        vokUtils::readHostOSVersion();
        return "Product: ESXi\n";
    };
    EXPECT_EQ(vokUtils::readHostOSName(), "ESXi");
    EXPECT_EQ(commands.texts(), (std::vector<std::string>{nameCommand, versionCommand}));
}

TEST(HostOSVersion, CanBeReadByManyThreadsAtOnce) {
    const FakeHost host;
    auto& commands = host.part<FakeCommands>();
    commands.output[versionCommand] = "   Version: 8.0.1\n";
    commands.output[nameCommand] = "   Product: VMware ESXi\n";
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

TEST(ErrorDescription, IsTheSystemsText) {
    EXPECT_EQ(vokUtils::getErrorDescription(ENOENT), "No such file or directory");
    EXPECT_EQ(vokUtils::getErrorDescription(0), "Success");
    EXPECT_EQ(vokUtils::getErrorDescription(99999), "Unknown error 99999");
    EXPECT_EQ(vokUtils::getErrorDescription(-1), "Unknown error -1");
}

TEST(BootTime, IsZeroUntilItIsSet) {
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
