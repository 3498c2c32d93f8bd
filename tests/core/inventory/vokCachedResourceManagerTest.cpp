#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <climits>
#include <thread>

#include "core/inventory/SampleManager.h"
#include "support/FakeCommands.h"

namespace vokCachedResourceManagerTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// --- the loop ---

TEST_F(CachedResourceManager, TheFirstBuildNeedsNoWaiting) {
    SampleManager manager;
    clock.onTimedWait = [&](const timespec&) {
        EXPECT_EQ(manager.builds, 1);
        manager.stopSample = true;
        return true;
    };
    manager.startInventory();
    EXPECT_EQ(manager.builds, 1);
    EXPECT_TRUE(hasLogged(host, "DEBUG TEST_RM: Entry startInventory"));
    EXPECT_FALSE(hasLogged(host, "DEBUG TEST_RM: Attempting to refresh Cache."));
}

TEST_F(CachedResourceManager, RebuildsWhenTheRefreshIntervalHasPassed) {
    SampleManager manager;
    stopInWait(manager, 4);
    manager.startInventory();
    EXPECT_EQ(manager.builds, 4);
    EXPECT_THAT(clock.waitedSeconds(), ElementsAre(60, 60, 60, 60));
}

TEST_F(CachedResourceManager, AWaitThatEndsBeforeTheRefreshIntervalStartsNoBuild) {
    struct Manager : SampleManager {
        long wakeInterval(long) override { return 10; }
    } manager;
    manager.secondsBetweenBuilds = 30;
    std::vector<int> buildsAtWait;
    clock.onTimedWait = [&](const timespec&) {
        buildsAtWait.push_back(manager.builds);
        manager.stopSample = buildsAtWait.size() == 7;
        return false;
    };
    manager.startInventory();
    EXPECT_THAT(buildsAtWait, ElementsAre(1, 1, 1, 2, 2, 2, 3));
}

TEST_F(CachedResourceManager, ASignalAloneStartsNoBuild) {
    SampleManager manager;
    clock.onTimedWait = [&](const timespec& deadline) {
        clock.set(deadline.tv_sec);  // the interval has passed, but the wait has not timed out
        manager.stopSample = ++waits == 5;
        return true;
    };
    manager.startInventory();
    EXPECT_EQ(manager.builds, 1);
}

TEST_F(CachedResourceManager, WaitsThirtySecondsWithoutAnInterval) {
    SampleManager manager;
    manager.secondsBetweenBuilds = 0;
    stopInWait(manager, 1);
    manager.startInventory();
    EXPECT_THAT(clock.waitedSeconds(), ElementsAre(30));
}

TEST_F(CachedResourceManager, TakesItsIntervalFromTheConfiguration) {
    host.root.writeFile("/etc/config/mev/vok/vok.conf",
                        R"({"LoggingLevel": "Info", "CacheRefreshInSeconds": {"EthernetDevices": "77"}})");
    SampleManager manager;
    manager.usesConfiguredInterval = true;
    stopInWait(manager, 1);
    manager.startInventory();
    EXPECT_THAT(clock.waitedSeconds(), ElementsAre(77));
}

TEST_F(CachedResourceManager, AModuleUnknownToTheConfigurationWaitsThirtySeconds) {
    SampleManager manager(otherTraits);
    manager.usesConfiguredInterval = true;
    stopInWait(manager, 1);
    manager.startInventory();
    EXPECT_THAT(clock.waitedSeconds(), ElementsAre(30));
}

TEST_F(CachedResourceManager, TheLargestIntervalNeitherOverflowsNorSpins) {
    SampleManager manager;
    manager.secondsBetweenBuilds = INT_MAX;
    clock.onTimedWait = [&](const timespec& deadline) {
        EXPECT_GT(deadline.tv_sec, 1700000000);
        manager.stopSample = true;
        return true;
    };
    manager.startInventory();
    EXPECT_EQ(manager.builds, 1);
}

TEST_F(CachedResourceManager, ARequestDuringABuildIsServedWithoutWaiting) {
    SampleManager manager;
    manager.onGather = [&] {
        if (manager.builds < 3) manager.requestRefresh();
        return SampleManager::gathered::complete;
    };
    stopInWait(manager, 1);
    manager.startInventory();
    EXPECT_EQ(manager.builds, 3);
}

TEST_F(CachedResourceManager, ARequestWakesTheLoop) {
    clock.timedWaitsHold = true;
    SampleManager manager;
    std::thread thread([&] { manager.startInventory(); });
    while (!manager.cacheReady) std::this_thread::yield();
    manager.onGather = nullptr;
    const auto buildsSoFar = [&] {
        const std::lock_guard<std::mutex> lock(manager.mlock);
        return manager.builds;
    };
    for (int wanted = 2; wanted < 50; ++wanted) {
        manager.requestRefresh();
        while (buildsSoFar() < wanted) std::this_thread::yield();
    }
    manager.stopResourceManagerJob();
    thread.join();
    EXPECT_EQ(manager.builds, 49);
}

TEST_F(CachedResourceManager, TheHookBetweenWaitsRunsWithoutLocksAndReceivesWhetherABuildIsDue) {
    SampleManager manager;
    manager.secondsBetweenBuilds = 20;
    std::vector<std::pair<int, bool>> steps;
    manager.onBetweenWaits = [&](bool buildWanted) {
        steps.emplace_back(manager.builds, buildWanted);
        EXPECT_TRUE(manager.mlock.try_lock());
        manager.mlock.unlock();
        manager.requestRefresh();  // takes the mutex of the wait
        manager.refreshCache = false;
    };
    stopInWait(manager, 3);
    manager.startInventory();
    EXPECT_THAT(steps, ElementsAre(std::pair(0, true), std::pair(1, true), std::pair(2, true)));
}

TEST_F(CachedResourceManager, MayBuildBetweenTwoWaits) {
    SampleManager manager;
    manager.onBetweenWaits = [&](bool) {
        if (manager.builds == 0) manager.cacheBuild();
    };
    stopInWait(manager, 1);
    manager.startInventory();
    EXPECT_EQ(manager.builds, 2);
}

TEST_F(CachedResourceManager, ReturnsAtOnceWhenEnteredWithinThreeSecondsOfABuild) {
    SampleManager manager;
    manager.cacheBuild();
    for (const int elapsed : {0, 2, -5}) {
        clock.set(1700000000 + elapsed);
        manager.startInventory();
    }
    EXPECT_EQ(manager.builds, 1);
    EXPECT_THAT(clock.waitedSeconds(), IsEmpty());
    EXPECT_EQ(countLogged(host, "DEBUG TEST_RM: Attempting to refresh Cache."), 3);
    EXPECT_EQ(
        countLogged(host, "DEBUG TEST_RM: cache was recently refreshed. skipping the current refresh cycle"),
        3);
}

TEST_F(CachedResourceManager, RunsWhenEnteredThreeSecondsAfterABuild) {
    SampleManager manager;
    manager.cacheBuild();
    clock.advance(3);
    stopInWait(manager, 1);
    manager.startInventory();
    EXPECT_EQ(manager.builds, 2);
    EXPECT_TRUE(hasLogged(host, "DEBUG TEST_RM: Attempting to refresh Cache."));
}

TEST_F(CachedResourceManager, AFailingClockEndsTheThreadAndLeavesTheCache) {
    SampleManager manager;
    manager.onAfterBuild = [&] { clock.failReads(1); };
    manager.startInventory();
    EXPECT_TRUE(hasLogged(host, "ERROR TEST_RM: Failed to get current time! (errno: 22)"));
    EXPECT_EQ(manager.tearDowns, 1);
    std::vector<Json::Value> inventory;
    EXPECT_FALSE(manager.getInventoryJsonObject(inventory));
    EXPECT_THAT(numbersOf(inventory), ElementsAre(1));
    manager.stopResourceManagerJob();  // the mutex of the wait is free
}

// --- a clock that is set ---

TEST_F(CachedResourceManager, AWaitBegunAtATimeStillToComeEndsAndARefreshStillToComeIsDue) {
    SampleManager manager;
    std::vector<std::pair<long long, int>> waitedAndBuilt;
    clock.onTimedWait = [&](const timespec&) {
        waitedAndBuilt.emplace_back(clock.waitedSeconds().back(), manager.builds);
        if (waits++ == 0) {
            clock.advance(-31536000);
            return true;  // woken, as by recheckWait()
        }
        manager.stopSample = true;
        return true;
    };
    manager.startInventory();
    EXPECT_THAT(waitedAndBuilt, ElementsAre(std::pair(60, 1), std::pair(60, 2)));
    EXPECT_EQ(manager.lastRefreshTime, 1700000000 - 31536000);
}

// The last refresh was 30 s before the wait began.
TEST_F(CachedResourceManager, AWaitThatEndsSinceTheClockWasSetBackDoesNoWorkThatIsNotDue) {
    struct Manager : SampleManager {
        long wakeInterval(long) override { return 10; }
    } manager;
    manager.secondsBetweenBuilds = 3600;
    std::vector<int> buildsAtWait;
    clock.onTimedWait = [&](const timespec&) {
        buildsAtWait.push_back(manager.builds);
        if (++waits == 4) clock.advance(-20);
        manager.stopSample = waits == 6;
        return waits == 4 || waits == 6;
    };
    manager.startInventory();
    EXPECT_THAT(buildsAtWait, ElementsAre(1, 1, 1, 1, 1, 1));
    EXPECT_THAT(clock.waitedSeconds(), ElementsAre(10, 10, 10, 10, 10, 10));
}

// Forward by a year: the wait times out, and the refresh has its time from the wrong clock. Then back.
TEST_F(CachedResourceManager, AClockSetForwardAndBackDelaysNoRefresh) {
    clock.timedWaitsHold = true;
    SampleManager manager;
    std::thread loop([&] { manager.startInventory(); });
    const auto buildsSoFar = [&] {
        const std::lock_guard<std::mutex> lock(manager.mlock);
        return manager.builds;
    };
    const auto awaitWait = [&](std::size_t number) {
        while (clock.waitedSeconds().size() < number) std::this_thread::yield();
    };
    awaitWait(1);
    EXPECT_FALSE(manager.recheckWait());
    clock.advance(31536000);
    EXPECT_FALSE(manager.recheckWait()) << "its deadline has come, which ends the wait by itself";
    manager.requestRefresh();  // in place of that
    awaitWait(2);
    EXPECT_EQ(manager.lastRefreshTime, 1700000000 + 31536000);
    clock.advance(-31536000);
    EXPECT_TRUE(manager.recheckWait());
    awaitWait(3);
    EXPECT_EQ(buildsSoFar(), 3);
    EXPECT_EQ(manager.lastRefreshTime, 1700000000);
    EXPECT_FALSE(manager.recheckWait());
    manager.stopResourceManagerJob();
    loop.join();
}

TEST_F(CachedResourceManager, ARecheckDuringABuildWakesNobody) {
    SampleManager manager;
    manager.onGather = [&] {
        EXPECT_FALSE(manager.recheckWait());
        clock.advance(-3600);
        EXPECT_FALSE(manager.recheckWait());
        return SampleManager::gathered::complete;
    };
    stopInWait(manager, 2);
    manager.startInventory();
    EXPECT_EQ(manager.builds, 2);
}

// --- the stop ---

TEST_F(CachedResourceManager, StoppedBeforeItsStartBuildsNothing) {
    SampleManager manager;
    manager.stopResourceManagerJob();
    manager.startInventory();
    EXPECT_EQ(manager.builds, 0);
    EXPECT_EQ(manager.tearDowns, 1);
    EXPECT_FALSE(manager.isInventoryReady(0));
}

TEST_F(CachedResourceManager, AStopDuringABuildLetsItFinishAndSkipsTheWait) {
    SampleManager manager;
    manager.onGather = [&] {
        manager.stopResourceManagerJob();
        manager.requestRefresh();
        return SampleManager::gathered::complete;
    };
    manager.startInventory();
    EXPECT_EQ(manager.builds, 1);
    EXPECT_THAT(clock.waitedSeconds(), IsEmpty());
    EXPECT_TRUE(manager.cacheReady);
}

TEST_F(CachedResourceManager, AStopBeforeAWaitIsNotMissed) {
    SampleManager manager;
    manager.onGather = [&] {
        manager.stopResourceManagerJob();
        return SampleManager::gathered::complete;
    };
    manager.startInventory();
    EXPECT_EQ(manager.builds, 1);
    EXPECT_THAT(clock.waitedSeconds(), IsEmpty());
}

TEST_F(CachedResourceManager, AStopAtAnyMomentEndsTheThread) {
    clock.timedWaitsHold = true;
    for (int round = 0; round < 200; ++round) {
        SampleManager manager;
        std::thread thread([&] { manager.startInventory(); });
        if (round % 2) {
            while (!manager.cacheReady) std::this_thread::yield();
        }
        manager.stopResourceManagerJob();
        thread.join();
        EXPECT_EQ(manager.tearDowns, 1);
    }
}

TEST_F(CachedResourceManager, LogsTheStopAtInfoLevel) {
    SampleManager manager;
    manager.stopResourceManagerJob();
    EXPECT_THAT(loggedLines(host), ElementsAre("INFO TEST_RM: Resource manager stop called.",
                                               "INFO TEST_RM: Signalled for stop."));
}

TEST_F(CachedResourceManager, LogsTheStopAtDebugLevelIfItsTraitsSaySo) {
    SampleManager manager(otherTraits);
    manager.stopResourceManagerJob();
    EXPECT_THAT(loggedLines(host), ElementsAre("DEBUG OTHER_RM: Resource manager stop called.",
                                               "DEBUG OTHER_RM: Signalled for stop."));
}

// --- the build ---

TEST_F(CachedResourceManager, ABuildHoldsItsLockAndIsMarkedAsInProgress) {
    SampleManager manager;
    manager.onGather = [&] {
        EXPECT_TRUE(manager._cacheBuildInProgress);
        EXPECT_FALSE(manager.cacheReady);
        EXPECT_EQ(manager.lastRefreshTime, 0);
        std::thread([&] {
            EXPECT_FALSE(manager.mlock.try_lock());
            EXPECT_TRUE(manager.prevInventoryLock.try_lock());
            manager.prevInventoryLock.unlock();
        }).join();
        return SampleManager::gathered::complete;
    };
    manager.cacheBuild();
    EXPECT_FALSE(manager._cacheBuildInProgress);
    EXPECT_TRUE(manager.cacheReady);
    EXPECT_EQ(manager.lastRefreshTime, 1700000000);
    EXPECT_TRUE(manager.mlock.try_lock());
    manager.mlock.unlock();
    EXPECT_THAT(loggedLines(host),
                ElementsAre("DEBUG TEST_RM: Building test cache", "DEBUG TEST_RM: Exiting CacheBuild"));
}

TEST_F(CachedResourceManager, TheRefreshTimeIsTheEndOfTheBuild) {
    SampleManager manager;
    manager.onGather = [&] {
        clock.pause(100000000);
        return SampleManager::gathered::complete;
    };
    manager.cacheBuild();
    EXPECT_EQ(manager.lastRefreshTime, 1700000100);
}

TEST_F(CachedResourceManager, ABuildStartsWithNoRecordsAndKeepsThePreviousInventory) {
    SampleManager manager;
    manager.cacheBuild();
    manager.onGather = [&] {
        EXPECT_THAT(manager.records, ElementsAre(2));
        EXPECT_THAT(numbersOf(manager.previousDocuments()), ElementsAre(1));
        return SampleManager::gathered::complete;
    };
    manager.cacheBuild();
    EXPECT_THAT(numbersOf(manager.currentDocuments()), ElementsAre(2));
    EXPECT_THAT(numbersOf(manager.previousDocuments()), ElementsAre(1));
}

TEST_F(CachedResourceManager, ABuildThatFindsNothingIsReadyAndEmpty) {
    SampleManager manager;
    manager.onGather = [&] {
        manager.records.clear();
        return SampleManager::gathered::complete;
    };
    manager.cacheBuild();
    std::vector<Json::Value> inventory(3);
    EXPECT_FALSE(manager.getInventoryJsonObject(inventory));
    EXPECT_THAT(inventory, IsEmpty());
    EXPECT_TRUE(manager.isInventoryReady(0));
}

TEST_F(CachedResourceManager, AnAbandonedBuildIsReadyWithoutARefreshTimeOrAPush) {
    SampleManager manager;
    manager.pushOnCacheBuild = true;
    bool afterBuild = false;
    manager.onAfterBuild = [&] { afterBuild = true; };
    manager.onGather = [] { return SampleManager::gathered::abandoned; };
    manager.cacheBuild();
    EXPECT_TRUE(manager.cacheReady);
    EXPECT_FALSE(manager._cacheBuildInProgress);
    EXPECT_EQ(manager.lastRefreshTime, 0);
    EXPECT_THAT(manager.currentDocuments(), IsEmpty());
    EXPECT_TRUE(manager.pushOnCacheBuild);
    EXPECT_FALSE(afterBuild);
    EXPECT_TRUE(manager.mlock.try_lock());
    manager.mlock.unlock();
    EXPECT_THAT(loggedLines(host), ElementsAre("DEBUG TEST_RM: Building test cache"));
}

// Its hook has gathered a record and sets no inventory of its own.
TEST_F(CachedResourceManager, AnAbandonedBuildLeavesNeitherRecordsNorTheInventoryOfTheBuildBefore) {
    SampleManager manager;
    manager.cacheBuild();
    ASSERT_THAT(numbersOf(manager.currentDocuments()), ElementsAre(1));
    manager.onGather = [] { return SampleManager::gathered::abandoned; };
    manager.cacheBuild();
    std::vector<Json::Value> inventory(3);
    EXPECT_FALSE(manager.getInventoryJsonObject(inventory)) << "it is the current one";
    EXPECT_THAT(inventory, IsEmpty());
    EXPECT_THAT(manager.records, IsEmpty());
    EXPECT_THAT(numbersOf(manager.previousDocuments()), ElementsAre(1));
}

TEST_F(CachedResourceManager, TheHookAfterABuildRunsWithoutTheLockOfTheRecords) {
    SampleManager manager;
    bool called = false;
    manager.onAfterBuild = [&] {
        called = true;
        EXPECT_FALSE(manager.cacheReady);
        EXPECT_EQ(manager.lastRefreshTime, 1700000000);
        std::thread([&] {
            EXPECT_TRUE(manager.mlock.try_lock());
            manager.mlock.unlock();
        }).join();
    };
    manager.cacheBuild();
    EXPECT_TRUE(called);
}

TEST_F(CachedResourceManager, APushRequestIsServedByOneBuild) {
    SampleManager manager;
    EXPECT_FALSE(manager.isInventoryReady(8));
    manager.cacheBuild();
    EXPECT_FALSE(manager.pushOnCacheBuild);
    manager.cacheBuild();
    EXPECT_EQ(countLogged(host, "DEBUG TEST_RM: testRM requesting cache push"), 1);
    EXPECT_EQ(countLogged(host, "DEBUG JSON_AGGR: Dropping inventory send request"), 1);
}

// --- the stop of the agent, which takes the commands away before it reaches the managers ---

TEST_F(CachedResourceManager, OnceTheStopIsRequestedNoBuildStarts) {
    SampleManager manager;
    manager.cacheBuild();
    host.part<FakeCommands>().requestStop(vokStopPhase::requested);
    manager.cacheBuild();
    manager.refreshCache = true;
    stopInWait(manager, 3);
    manager.startInventory();
    EXPECT_EQ(manager.builds, 1);
    EXPECT_EQ(countLogged(host, "DEBUG TEST_RM: Building test cache"), 1);
    EXPECT_THAT(numbersOf(manager.currentDocuments()), ElementsAre(1));
}

TEST_F(CachedResourceManager, ABuildThatTheStopDeprivesOfItsCommandsLeavesTheInventoryAndRequestsNoPush) {
    SampleManager manager;
    manager.cacheBuild();
    ASSERT_FALSE(manager.pushOnCacheBuild);
    manager.pushOnCacheBuild = true;
    bool hasRaisedEvents = false;
    manager.onAfterBuild = [&] { hasRaisedEvents = true; };
    manager.onGather = [&] {
        host.part<FakeCommands>().requestStop();
        return SampleManager::gathered::complete;
    };
    manager.cacheBuild();
    EXPECT_EQ(manager.builds, 2);
    std::vector<Json::Value> inventory;
    EXPECT_FALSE(manager.getInventoryJsonObject(inventory)) << "it is the current one";
    EXPECT_THAT(numbersOf(inventory), ElementsAre(1));
    EXPECT_FALSE(hasRaisedEvents);
    EXPECT_EQ(countLogged(host, "DEBUG TEST_RM: testRM requesting cache push"), 0);
    EXPECT_TRUE(
        hasLogged(host, "INFO TEST_RM: The stop has cut the build short; the previous inventory stays."));
}

TEST_F(CachedResourceManager, ABuildThatItsGatheringCutsShortLeavesTheInventory) {
    SampleManager manager;
    manager.cacheBuild();
    const time_t before = manager.lastRefreshTime;
    clock.advance(5);
    manager.pushOnCacheBuild = true;
    manager.onGather = [] { return SampleManager::gathered::cutShort; };
    manager.cacheBuild();
    EXPECT_EQ(manager.builds, 2);
    std::vector<Json::Value> inventory;
    EXPECT_FALSE(manager.getInventoryJsonObject(inventory)) << "it is the current one";
    EXPECT_THAT(numbersOf(inventory), ElementsAre(1));
    EXPECT_EQ(manager.lastRefreshTime, before);
    EXPECT_EQ(countLogged(host, "DEBUG TEST_RM: testRM requesting cache push"), 0);
}

TEST_F(CachedResourceManager, ABuildThatTheStopCutsShortBeforeAnyOtherDoesNotCountAsReady) {
    SampleManager manager;
    manager.onGather = [&] {
        host.part<FakeCommands>().requestStop();
        return SampleManager::gathered::complete;
    };
    manager.cacheBuild();
    EXPECT_FALSE(manager.cacheReady);
    EXPECT_THAT(manager.currentDocuments(), IsEmpty());
}

TEST_F(CachedResourceManager, ABuildThatEndsWhileCommandsStillHaveTimeIsComplete) {
    SampleManager manager;
    manager.pushOnCacheBuild = true;
    manager.onGather = [&] {
        host.part<FakeCommands>().requestStop(vokStopPhase::requested);
        return SampleManager::gathered::complete;
    };
    manager.cacheBuild();
    EXPECT_THAT(numbersOf(manager.currentDocuments()), ElementsAre(1));
    EXPECT_TRUE(manager.cacheReady);
    EXPECT_EQ(countLogged(host, "DEBUG TEST_RM: testRM requesting cache push"), 1);
}

TEST_F(CachedResourceManager, ABuildWithoutAPushRequestTriggersNoPush) {
    SampleManager manager(otherTraits);
    manager.cacheBuild();
    EXPECT_THAT(loggedLines(host), ElementsAre("DEBUG OTHER_RM: Building other cache"));
}

}  // namespace
}  // namespace vokCachedResourceManagerTest
