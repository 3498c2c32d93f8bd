// The manager's run, and when the states of the ports are checked between two builds.
#include <gmock/gmock.h>
#include <functional>

#include "fc/FCFixture.h"

namespace FCPortCheckTest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class FCRun : public FCFixture {
protected:
    // Runs the loop on this thread. The wait after the first build is followed by a second one that begins
    // 100 s after the build; then the clock is set to `second` after the build, which ends that wait. The
    // third wait ends the loop.
    void runUntil(long second) {
        clock.onTimedWait = [this, second, wait = 0](const timespec&) mutable {
            ++wait;
            if (wait == 1) clock.advance(100);
            if (wait == 2) clock.advance(second - 100);
            if (wait == 3) clock.failReads(2);
            return wait < 3;
        };
        manager.init();
    }
    long checks() const { return countLogged(host, "DEBUG FC_RM: Inside waitOnPortState"); }
    void setInterval(const char* seconds) {
        logEverything(host,
                      std::string(R"("CacheRefreshInSeconds": {"FibreChannelDevices": ")") + seconds + "\"}");
    }
};

TEST_F(FCRun, BeginsWithTheHostsListsThenTheLibraryThenTheFirstBuild) {
    std::size_t commandsAtLoad = 0;
    library.onCall = [&](const std::string& call) {
        if (call == "load") commandsAtLoad = commands.texts().size();
    };
    runUntil(99);
    EXPECT_THAT(commands.texts(), Contains(topologyCommand));
    EXPECT_EQ(commandsAtLoad, 2u);
    EXPECT_EQ(builds(), 1);
    EXPECT_TRUE(managerLogged("Initializing FCRM"));
    EXPECT_TRUE(managerLogged("Entry startInventory"));
}

TEST_F(FCRun, IsEnteredOnce) {
    library.adapters.clear();
    runUntil(99);
    const std::size_t before = commands.texts().size();
    clock.onTimedWait = nullptr;
    manager.init();
    EXPECT_EQ(countLogged(host, "DEBUG FC_RM: Entry startInventory"), 1);
    EXPECT_EQ(commands.texts().size(), before);
}

TEST_F(FCRun, SkipsACacheAsFreshAsThreeSecondsInItsOwnWords) {
    manager.cacheBuild();
    manager.startInventory();
    EXPECT_TRUE(managerLogged("Cache was recently refreshed. skipping the current refresh cycle"));
}

TEST_F(FCRun, IsNotSkippedAfterABuildWithoutAdapters) {
    library.adapters.clear();
    manager.cacheBuild();
    runUntil(99);
    EXPECT_FALSE(managerLogged("Attempting to refresh Cache."));
    EXPECT_GT(builds(), 1);
}

TEST_F(FCRun, WaitsForTheRefreshInterval) {
    setInterval("120");
    runUntil(99);
    ASSERT_FALSE(clock.waitedSeconds().empty());
    EXPECT_EQ(clock.waitedSeconds()[0], 120);
}

TEST_F(FCRun, BuildsAgainTenSecondsBeforeTheIntervalIsOver) {
    setInterval("60");
    runUntil(50);
    EXPECT_EQ(builds(), 2);
    EXPECT_EQ(checks(), 0);
}

TEST_F(FCRun, DoesNotBuildAgainElevenSecondsBeforeTheIntervalIsOver) {
    setInterval("60");
    runUntil(49);
    EXPECT_EQ(builds(), 1);
    EXPECT_EQ(checks(), 0);
}

// --- the check ---

TEST_F(FCRun, ChecksThePortsOnlyWhenAWaitEndsInTheSecondOfTheBuild) {
    runUntil(0);
    EXPECT_EQ(checks(), 1);
    EXPECT_EQ(builds(), 1);
}

TEST_F(FCRun, DoesNotCheckThePortsASecondAfterTheBuild) {
    runUntil(1);
    EXPECT_EQ(checks(), 0);
}

TEST_F(FCRun, DoesNotCheckThePortsTenSecondsAfterTheBuild) {
    runUntil(10);
    EXPECT_EQ(checks(), 0);
}

TEST_F(FCRun, PrefersTheBuildToTheCheckWithAnIntervalOfTenSeconds) {
    setInterval("10");
    runUntil(0);
    EXPECT_EQ(checks(), 0);
    EXPECT_EQ(builds(), 2);
}

TEST_F(FCRun, DoesNotCheckThePortsWithoutAdapters) {
    library.adapters[0].handle = 0;
    runUntil(0);
    EXPECT_EQ(checks(), 0);
}

TEST_F(FCRun, DoesNotCheckThePortsOnceTheStopIsRequested) {
    clock.onTimedWait = [this, wait = 0](const timespec&) mutable {
        ++wait;
        if (wait == 1) clock.advance(100);
        if (wait == 2) {
            clock.advance(-100);
            commands.requestStop(vokStopPhase::requested);
        }
        if (wait == 3) clock.failReads(2);
        return wait < 3;
    };
    manager.init();
    EXPECT_EQ(checks(), 0);
}

TEST_F(FCRun, BuildsAtOnceWhenACheckFindsAnotherState) {
    library.onCall = [this](const std::string& call) {
        if (call != "close 1") return;
        library.adapters[0].handle = 0x100;  // which the check takes for an adapter to look at
        library.adapters[0].ports[0].state = HBA_PORTSTATE_LINKDOWN;
    };
    runUntil(0);
    EXPECT_EQ(checks(), 1);
    EXPECT_EQ(builds(), 2);
}

class FCPortCheck : public FCFixture {
protected:
    FCPortCheck() {
        manager.cacheBuild();
        library.takeCalls();
    }
};

TEST_F(FCPortCheck, PassesOverEveryAdapterThatItHasOpenedAndClosesNone) {
    library.adapters.push_back({"fake-1", 2, 2});
    library.adapters[0].ports[0].state = HBA_PORTSTATE_LINKDOWN;
    EXPECT_FALSE(manager.waitOnPortState());
    EXPECT_THAT(library.takeCalls(), ElementsAre("load", "open fake-0", "open fake-1"));
    EXPECT_TRUE(managerLogged("2 FC instances found!!"));
    EXPECT_TRUE(managerLogged("openAdapter() for FcaEntry 0 Failed!"));
    EXPECT_TRUE(managerLogged("openAdapter() for FcaEntry 1 Failed!"));
}

TEST_F(FCPortCheck, ReadsAnAdapterWhoseOpeningCountsAsFailed) {
    library.adapters[0].handle = 0x200;
    EXPECT_FALSE(manager.waitOnPortState()) << "in the state of the build";
    EXPECT_THAT(library.takeCalls(), ElementsAre("load", "open fake-0", "attributes 512", "port 512 0"));
    library.adapters[0].ports[0].state = HBA_PORTSTATE_OFFLINE;
    EXPECT_TRUE(manager.waitOnPortState());
}

TEST_F(FCPortCheck, ComparesWithTheLatestBuild) {
    library.adapters[0].ports[0].state = HBA_PORTSTATE_OFFLINE;
    manager.cacheBuild();
    library.adapters[0].handle = 0x200;
    EXPECT_FALSE(manager.waitOnPortState());
}

TEST_F(FCPortCheck, EndsAtTheFirstDifference) {
    library.adapters[0].handle = 0x200;
    library.adapters[0].ports[0].state = HBA_PORTSTATE_OFFLINE;
    library.adapters.push_back({"fake-1", 2, 2});
    EXPECT_TRUE(manager.waitOnPortState());
    EXPECT_THAT(library.takeCalls(), Not(Contains("open fake-1")));
}

TEST_F(FCPortCheck, FindsNothingInAnAdapterThatCannotBeRead) {
    library.adapters[0].handle = 0;
    EXPECT_FALSE(manager.waitOnPortState());
    EXPECT_TRUE(managerLogged("getFcHbaData() for FcaEntry 0 Failed!"));
}

TEST_F(FCPortCheck, FindsNothingInAnAdapterThatNoBuildHasRead) {
    library.adapters.push_back({"fake-1", 2, 0x200, {{1, HBA_PORTSTATE_LINKDOWN}}});
    EXPECT_FALSE(manager.waitOnPortState());
}

TEST_F(FCPortCheck, BeginsNoCallAfterTheStopWasRequested) {
    library.adapters.push_back({"fake-1", 2, 2});
    library.onCall = [this](const std::string& call) {
        if (call == "open fake-0") commands.requestStop(vokStopPhase::requested);
    };
    EXPECT_FALSE(manager.waitOnPortState());
    EXPECT_THAT(library.takeCalls(), ElementsAre("load", "open fake-0"));
}

}  // namespace
}  // namespace FCPortCheckTest
