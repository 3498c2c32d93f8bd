#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <future>
#include <numeric>
#include <thread>

#include "core/inventory/SampleManager.h"
#include "support/FakeSystemLog.h"

namespace vokCachedResourceManagerReadersTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// --- readers ---

TEST_F(CachedResourceManager, AReaderGetsTheCurrentInventory) {
    SampleManager manager;
    manager.cacheBuild();
    std::vector<Json::Value> inventory(5);
    EXPECT_FALSE(manager.getInventoryJsonObject(inventory));
    EXPECT_THAT(numbersOf(inventory), ElementsAre(1));
}

TEST_F(CachedResourceManager, AReaderBeforeTheFirstBuildGetsAnEmptyCurrentInventory) {
    SampleManager manager;
    std::vector<Json::Value> inventory(5);
    EXPECT_FALSE(manager.getInventoryJsonObject(inventory));
    EXPECT_THAT(inventory, IsEmpty());
}

TEST_F(CachedResourceManager, AReaderDuringAFirstBuildGetsAnEmptyPreviousInventory) {
    SampleManager manager;
    std::vector<Json::Value> inventory(5);
    manager.onGather = [&] {
        std::thread([&] { EXPECT_TRUE(manager.getInventoryJsonObject(inventory)); }).join();
        return SampleManager::gathered::complete;
    };
    manager.cacheBuild();
    EXPECT_THAT(inventory, IsEmpty());
    EXPECT_TRUE(
        hasLogged(host, "DEBUG TEST_RM: Cache build is in progress. Returning previous copy of inventory."));
}

TEST_F(CachedResourceManager, AReaderDuringALaterBuildGetsThePreviousInventoryAlthoughTheCacheIsReady) {
    SampleManager manager;
    manager.cacheBuild();
    std::vector<Json::Value> inventory;
    manager.onGather = [&] {
        EXPECT_TRUE(manager.cacheReady);
        std::thread([&] { EXPECT_TRUE(manager.getInventoryJsonObject(inventory)); }).join();
        return SampleManager::gathered::complete;
    };
    manager.cacheBuild();
    EXPECT_THAT(numbersOf(inventory), ElementsAre(1));
    EXPECT_FALSE(manager.getInventoryJsonObject(inventory));
    EXPECT_THAT(numbersOf(inventory), ElementsAre(2));
}

TEST_F(CachedResourceManager, AReaderNeverWaitsForTheLock) {
    SampleManager manager(otherTraits);
    manager.cacheBuild();
    manager.cacheBuild();
    const std::lock_guard<std::mutex> lock(manager.mlock);
    std::vector<Json::Value> inventory;
    std::thread([&] { EXPECT_TRUE(manager.getInventoryJsonObject(inventory)); }).join();
    EXPECT_THAT(numbersOf(inventory), ElementsAre(1));
    EXPECT_TRUE(
        hasLogged(host, "DEBUG OTHER_RM: Cache build is in progress. Returning previously saved inventory."));
}

TEST_F(CachedResourceManager, ReadersAndBuildsMayRunAtTheSameTime) {
    SampleManager manager;
    std::atomic<bool> done{false};
    std::thread builder([&] {
        for (int build = 0; build < 200; ++build) manager.cacheBuild();
        done = true;
    });
    int last = 0;
    do {
        std::vector<Json::Value> inventory;
        manager.getInventoryJsonObject(inventory);
        if (inventory.empty()) continue;
        ASSERT_EQ(inventory.size(), 1u);
        EXPECT_GE(inventory[0].asInt(), last - 1);  // at most one build older
        last = inventory[0].asInt();
        manager.isInventoryReady(0);
    } while (!done);
    builder.join();
}

TEST_F(CachedResourceManager, TheReservedReadersReturnNothing) {
    SampleManager manager;
    manager.cacheBuild();
    std::vector<Json::Value> list(2);
    Json::Value value(7);
    EXPECT_EQ(manager.getInventoryJsonObject2(1, list), 0);
    EXPECT_EQ(manager.getFileServiceJsonObject(list), 0);
    EXPECT_EQ(manager.getTelemetryJsonObject(value), 0);
    EXPECT_EQ(manager.getUtilizationJsonObject(value), 0);
    EXPECT_EQ(list.size(), 2u);
    EXPECT_EQ(value, Json::Value(7));
}

// --- readiness ---

TEST_F(CachedResourceManager, OnlyTheLastPassRequestsAPushFromAColdManager) {
    for (const int pass : {0, 1, 7, 9}) {
        SampleManager manager;
        EXPECT_FALSE(manager.isInventoryReady(pass));
        EXPECT_FALSE(manager.pushOnCacheBuild) << pass;
    }
    SampleManager manager;
    EXPECT_FALSE(manager.isInventoryReady(8));
    EXPECT_TRUE(manager.pushOnCacheBuild);
    EXPECT_EQ(countLogged(host, "INFO TEST_RM: Test cache ready 0"), 5);
}

TEST_F(CachedResourceManager, TheLastPassRequestsNoPushFromAReadyManager) {
    SampleManager manager;
    manager.cacheBuild();
    EXPECT_TRUE(manager.isInventoryReady(8));
    EXPECT_FALSE(manager.pushOnCacheBuild);
    EXPECT_TRUE(hasLogged(host, "INFO TEST_RM: Test cache ready 1"));
}

TEST_F(CachedResourceManager, StaysReadyDuringARebuild) {
    SampleManager manager;
    manager.cacheBuild();
    manager.onGather = [&] {
        EXPECT_TRUE(manager.isInventoryReady(3));
        return SampleManager::gathered::complete;
    };
    manager.cacheBuild();
}

// A caller whose last pass coincides with the end of the first build finds the inventory ready or gets its
// push.
TEST_F(CachedResourceManager, NoPushRequestIsLostAtTheEndOfTheFirstBuild) {
    for (int round = 0; round < 300; ++round) {
        SampleManager manager;
        const long pushesBefore = countLogged(host, "DEBUG TEST_RM: testRM requesting cache push");
        std::thread builder([&] { manager.cacheBuild(); });
        const bool ready = manager.isInventoryReady(8);
        builder.join();
        EXPECT_FALSE(manager.pushOnCacheBuild);
        const long pushes = countLogged(host, "DEBUG TEST_RM: testRM requesting cache push") - pushesBefore;
        EXPECT_TRUE(ready || pushes == 1);
        host.part<FakeSystemLog>().clear();
    }
}

TEST_F(CachedResourceManager, ABuildThatEndsDuringTheLastPassIsReadyAndLeavesNoPushRequest) {
    SampleManager manager;
    host.part<FakeSystemLog>().onLine = [&](const std::string&) { manager.cacheReady = true; };
    EXPECT_TRUE(manager.isInventoryReady(8));
    EXPECT_FALSE(manager.pushOnCacheBuild);
}

// --- the running test ---

TEST_F(CachedResourceManager, IsRunningWithABuiltCache) {
    SampleManager manager;
    manager.cacheBuild();
    EXPECT_TRUE(manager.isRunning());
    EXPECT_THAT(clock.pauses(), IsEmpty());
}

TEST_F(CachedResourceManager, IsNotRunningAfterThreeTriesWithoutRecords) {
    SampleManager manager;
    EXPECT_FALSE(manager.isRunning());
    EXPECT_THAT(clock.pauses(), ElementsAre(3000000u, 3000000u, 3000000u));
    EXPECT_THAT(
        loggedLines(host),
        ElementsAre("WARNING TEST_RM: _cacheBuildInProgress = 0,TestInventory.size() =0,retryCount =1",
                    "WARNING TEST_RM: _cacheBuildInProgress = 0,TestInventory.size() =0,retryCount =2",
                    "WARNING TEST_RM: _cacheBuildInProgress = 0,TestInventory.size() =0,retryCount =3"));
}

TEST_F(CachedResourceManager, TheTraitsSetThePauseAndTheBlanksOfTheRunningTest) {
    SampleManager manager(otherTraits);
    clock.onPause = [&](unsigned long microseconds) {
        EXPECT_EQ(microseconds, 5000000u);
        EXPECT_TRUE(manager.mlock.try_lock());  // a build can run meanwhile
        manager.mlock.unlock();
        manager.cacheBuild();
    };
    EXPECT_TRUE(manager.isRunning());
    EXPECT_EQ(clock.pauses().size(), 1u);
    EXPECT_TRUE(hasLogged(
        host, "WARNING OTHER_RM: _cacheBuildInProgress = 0,OtherInventory.size() = 0,retryCount = 1"));
}

TEST_F(CachedResourceManager, IsRunningWithoutRecordsIfItsClassAllowsIt) {
    SampleManager manager;
    manager.runsEmpty = true;
    EXPECT_TRUE(manager.isRunning());
    EXPECT_THAT(clock.pauses(), IsEmpty());
}

class RunningTest : public CachedResourceManager {
protected:
    // Holds the lock of the records on another thread, as a build does, until the pause with this number,
    // counted from 1, begins, or until release().
    void lockUntilPause(SampleManager& manager, std::size_t pauses) {
        std::promise<void> locked;
        holder = std::thread([&] {
            const std::lock_guard<std::mutex> lock(manager.mlock);
            locked.set_value();
            released.get_future().wait();
        });
        locked.get_future().wait();
        clock.onPause = [this, pauses](unsigned long) {
            if (clock.pauses().size() + 1 == pauses) release();
        };
    }
    void release() {
        if (!holder.joinable()) return;
        released.set_value();
        holder.join();
    }
    // In microseconds.
    unsigned long pausedInAll() const {
        const std::vector<unsigned long> pauses = clock.pauses();
        return std::accumulate(pauses.begin(), pauses.end(), 0ul);
    }
    std::promise<void> released;
    std::thread holder;
};

TEST_F(RunningTest, ABuildThatNeverEndsIsNotRunningAfterNineSeconds) {
    SampleManager manager;
    manager.cacheBuild();
    lockUntilPause(manager, 1000);
    host.part<FakeSystemLog>().clear();
    EXPECT_FALSE(manager.isRunning());
    EXPECT_EQ(pausedInAll(), 9000000u);
    EXPECT_THAT(
        loggedLines(host),
        ElementsAre("WARNING TEST_RM: _cacheBuildInProgress = 1,TestInventory.size() =0,retryCount =1",
                    "WARNING TEST_RM: _cacheBuildInProgress = 1,TestInventory.size() =0,retryCount =2",
                    "WARNING TEST_RM: _cacheBuildInProgress = 1,TestInventory.size() =0,retryCount =3"));
    release();
}

// The pauses of a tenth of a second: 30 a pass.
TEST_F(RunningTest, ABuildThatEndsDuringAPassIsNoticedInThatPass) {
    SampleManager manager;
    manager.cacheBuild();
    lockUntilPause(manager, 45);
    EXPECT_TRUE(manager.isRunning());
    EXPECT_EQ(pausedInAll(), 4500000u);
    EXPECT_TRUE(
        hasLogged(host, "WARNING TEST_RM: _cacheBuildInProgress = 1,TestInventory.size() =0,retryCount =1"));
    EXPECT_FALSE(
        hasLogged(host, "WARNING TEST_RM: _cacheBuildInProgress = 1,TestInventory.size() =0,retryCount =2"));
}

TEST_F(RunningTest, TheWaitForTheLockIsPartOfThePauseOfAPass) {
    SampleManager manager;  // has no records
    lockUntilPause(manager, 10);
    EXPECT_FALSE(manager.isRunning());
    EXPECT_EQ(pausedInAll(), 9000000u);
    EXPECT_EQ(clock.pauses().at(10), 2000000u) << "what is left of the first pass";
    EXPECT_TRUE(
        hasLogged(host, "WARNING TEST_RM: _cacheBuildInProgress = 0,TestInventory.size() =0,retryCount =1"));
}

TEST_F(RunningTest, AClockThatIsSetBackDoesNotLengthenIt) {
    SampleManager manager;
    lockUntilPause(manager, 1000);
    clock.onPause = [&](unsigned long) { clock.set(1000000000); };
    EXPECT_FALSE(manager.isRunning());
    EXPECT_EQ(pausedInAll(), 9000000u);
    release();
}

}  // namespace
}  // namespace vokCachedResourceManagerReadersTest
