// When the links are polled between two builds, and what a change causes.
#include <gmock/gmock.h>
#include <cerrno>
#include <functional>

#include "nic/NICFixture.h"
#include "support/FakeSystemLog.h"

namespace NICLinkPollTest {
namespace {

// Runs the manager's loop on this thread for a number of waits of ten seconds. After each build `delay`
// seconds pass before the first of them.
class LinkPoll : public NICFixture {
protected:
    void run(int waits) {
        host.part<FakeSystemLog>().onLine = [this](const std::string& line) {
            if (line.find("Exiting CacheBuild") != std::string::npos) clock.advance(delay);
        };
        clock.onTimedWait = [this, waits, wait = 0](const timespec&) mutable {
            if (inWait) inWait(++wait);
            // A clock that can't be read ends the loop: once after this wait, once before the next.
            if (waits-- == 0) clock.failReads(2);
            return inWait && wait == signalledWait;
        };
        manager.startInventory();
    }
    long polls() { return commandCount(pollCommand); }
    long builds() { return countLogged(host, "DEBUG NIC_RM: Building NIC Cache"); }
    long delay = 0;
    int signalledWait = 0;            // the wait that ends by a signal; needs inWait
    std::function<void(int)> inWait;  // called in each wait, counted from 1, before its ten seconds pass
};

TEST_F(LinkPoll, HappensOnceTenSecondsAfterABuild) {
    run(4);
    EXPECT_EQ(polls(), 1);
    EXPECT_EQ(builds(), 1);
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_RM: Refreshing Ethernet cache"));
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_RM: Polling for interface link state change."));
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_RM: Getting list of interfaces"));
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_RM: No status change"));
}

TEST_F(LinkPoll, DoesNotHappenWhenTheWaitEndsASecondLate) {
    delay = 1;
    run(4);
    EXPECT_EQ(polls(), 0);
}

TEST_F(LinkPoll, DoesNotHappenOnceTheStopIsRequested) {
    inWait = [this](int) { commands.requestStop(vokStopPhase::requested); };
    run(4);
    EXPECT_EQ(polls(), 0);
    EXPECT_FALSE(hasLogged(host, "DEBUG NIC_RM: Polling for interface link state change."));
}

TEST_F(LinkPoll, EachWaitIsTenSeconds) {
    run(2);
    ASSERT_GE(clock.waitedSeconds().size(), 2u);
    EXPECT_EQ(clock.waitedSeconds()[0], 10);
    EXPECT_EQ(clock.waitedSeconds()[1], 10);
}

TEST_F(LinkPoll, AChangeCausesABuildAndThenAnotherPoll) {
    bool once = true;
    const auto others = commands.onCommand;
    commands.onCommand = [&](const std::string& command, int& status) {
        if (command == pollCommand && once) {
            once = false;
            interfaces[1].linkStatus = "Down";
        }
        return others(command, status);
    };
    run(3);
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_RM: Found a status change"));
    EXPECT_EQ(builds(), 2);
    EXPECT_EQ(polls(), 2);
    EXPECT_EQ(manager.getHealthOfIntf("vmnic1").getState(), "Linkdown");
}

TEST_F(LinkPoll, TheRefreshIntervalTakesPrecedenceOverThePoll) {
    host.root.writeFile("/etc/config/mev/vok/vok.conf",
                        R"({"LoggingLevel": "Info", "EnableDebugLog": "true",
                            "CacheRefreshInSeconds": {"EthernetDevices": "10"}})");
    run(2);
    EXPECT_EQ(builds(), 3);
    EXPECT_EQ(polls(), 0);
}

// The poll follows the first wait, the next build the sixth.
TEST_F(LinkPoll, ALinkThatIsDownAndUpAgainBetweenPollAndBuildIsNotNoticed) {
    logEverything(host, R"("CacheRefreshInSeconds": {"EthernetDevices": "60"})");
    becomeReadyForEvents();
    inWait = [this](int wait) {
        if (wait == 2) interfaces[0].linkStatus = "Down";
        if (wait == 6) interfaces[0].linkStatus = "Up";
    };
    run(6);
    EXPECT_EQ(builds(), 2);
    EXPECT_EQ(polls(), 1);
    EXPECT_TRUE(ipmi.requests().empty()) << "an event";
}

TEST_F(LinkPoll, ALinkLostAfterThePollIsReportedByTheNextBuild) {
    logEverything(host, R"("CacheRefreshInSeconds": {"EthernetDevices": "60"})");
    becomeReadyForEvents();
    std::size_t requestsBefore = 0;
    inWait = [&](int wait) {
        if (wait == 2) interfaces[0].linkStatus = "Down";
        if (wait == 6) requestsBefore = ipmi.requests().size();
    };
    run(6);
    EXPECT_EQ(requestsBefore, 0u) << "an event before the build";
    EXPECT_EQ(builds(), 2);
    EXPECT_EQ(ipmi.remoteCommandPayloads().size(), 1u);
}

// The wait in which the clock is set back has begun at a time that is then still to come, so it ends at once.
TEST_F(LinkPoll, AClockThatIsSetBackCausesABuildAndTheNextPollTenSecondsAfterIt) {
    inWait = [this](int wait) {
        if (wait == 3) clock.advance(-86400);
    };
    signalledWait = 3;
    run(5);
    EXPECT_EQ(builds(), 2);
    EXPECT_EQ(polls(), 2);
}

// The last build is then 300 s old, which is within the refresh interval.
TEST_F(LinkPoll, AClockThatIsSetBackAfterTheLastBuildCausesNeitherABuildNorAPoll) {
    delay = 300;
    inWait = [this](int wait) {
        if (wait == 3) clock.advance(-20);
    };
    signalledWait = 3;
    run(5);
    EXPECT_EQ(builds(), 1);
    EXPECT_EQ(polls(), 0);
}

class LinkCheck : public NICFixture {};

TEST_F(LinkCheck, ComparesByInterfaceName) {
    manager.cacheBuild();
    EXPECT_FALSE(manager.checkLinkState());
    interfaces[1].linkStatus = "Down";
    EXPECT_TRUE(manager.checkLinkState());
    EXPECT_TRUE(workFilesAreGone());
}

TEST_F(LinkCheck, AChangeCountsWhateverTheLaterInterfacesShow) {
    manager.cacheBuild();
    interfaces[0].linkStatus = "Unknown";
    EXPECT_TRUE(manager.checkLinkState());
    EXPECT_EQ(countLogged(host, "DEBUG NIC_RM: Found a status change"), 1);
    EXPECT_FALSE(hasLogged(host, "DEBUG NIC_RM: No status change"));
}

TEST_F(LinkCheck, AnInterfaceWithoutARecordIsNoChange) {
    manager.cacheBuild();
    interfaces.push_back({"vmnic9", "0000:82:00.0"});
    EXPECT_FALSE(manager.checkLinkState());
}

TEST_F(LinkCheck, ALineOfOneWordOrThreeDoesNotCount) {
    manager.cacheBuild();
    interfaces = {{"vmnic0", ""}, {"vmnic1", ""}};
    interfaces[0].linkStatus = "";
    interfaces[1].linkStatus = "Down now";
    EXPECT_FALSE(manager.checkLinkState());
}

TEST_F(LinkCheck, ACommandThatFailsIsNoChange) {
    manager.cacheBuild();
    interfaces[1].linkStatus = "Down";
    pollStatus = 256;
    const auto others = commands.onCommand;
    commands.onCommand = [&](const std::string& command, int& status) {
        const std::string text = others(command, status);
        errno = ENOSPC;
        return text;
    };
    EXPECT_FALSE(manager.checkLinkState());
    EXPECT_EQ(countLogged(host,
                          "ERROR NIC_RM: Error occurred in checking link state information : No space left "
                          "on device"),
              1);
    manager.checkLinkState();
    EXPECT_EQ(
        countLogged(host, std::string("WARNING NIC_RM: Command failed (exit status 1) : ") + pollCommand), 1);
    EXPECT_TRUE(workFilesAreGone());
}

}  // namespace
}  // namespace NICLinkPollTest
