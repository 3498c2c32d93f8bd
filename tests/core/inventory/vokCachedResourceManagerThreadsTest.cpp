// What the shared code guarantees with several threads: one builder at a time, events relative to the
// previous build, documents of a single build, work without a build, and teardown.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <future>
#include <optional>
#include <thread>

#include "core/inventory/SampleManager.h"

namespace vokCachedResourceManagerThreadsTest {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

// --- one builder at a time ---

TEST_F(CachedResourceManager, ASecondBuilderWaitsForTheFirstAndThenBuildsToo) {
    SampleManager manager;
    std::promise<void> second;
    std::thread other;
    std::atomic<int> insideAfterBuild{0};
    manager.onGather = [&] {
        if (manager.builds > 1) return SampleManager::gathered::complete;
        other = std::thread([&] {
            second.set_value();
            manager.cacheBuild();
        });
        second.get_future().wait();
        return SampleManager::gathered::complete;
    };
    manager.onAfterBuild = [&] {
        EXPECT_EQ(++insideAfterBuild, 1);
        std::thread([&] {
            EXPECT_FALSE(manager.buildLock.try_lock()) << "the events are part of the build";
        }).join();
        --insideAfterBuild;
    };
    std::thread([&] { manager.cacheBuild(); }).join();
    other.join();
    EXPECT_EQ(manager.builds, 2) << "the reason for the second may have arisen after the first had gathered";
    EXPECT_THAT(loggedLines(host),
                ElementsAre("DEBUG TEST_RM: Building test cache", "DEBUG TEST_RM: Exiting CacheBuild",
                            "DEBUG TEST_RM: Building test cache", "DEBUG TEST_RM: Exiting CacheBuild"));
}

// Each build yields one record, the build's number. Whichever thread builds, each comparison sees the record
// of the previous build.
TEST_F(CachedResourceManager, EventsCompareABuildWithThePreviousOneWhicheverThreadBuilds) {
    struct Manager : SampleManager {
        void afterBuild() override {
            const std::lock_guard<std::mutex> lock(mlock);
            const auto steps = pendingEvents(
                store, [](int) { return 0; },
                [](int now, const std::vector<const int*>& previous) {
                    return std::optional(std::pair(*previous.front(), now));
                });
            EXPECT_TRUE(prevInventoryLock.try_lock()) << "events are raised after it is free";
            prevInventoryLock.unlock();
            all.insert(all.end(), steps.begin(), steps.end());
        }
        std::vector<std::pair<int, int>> all;
    } manager;
    constexpr int each = 50;
    std::vector<std::thread> builders;
    for (int i = 0; i < 4; ++i)
        builders.emplace_back([&] {
            for (int build = 0; build < each; ++build) manager.cacheBuild();
        });
    for (std::thread& builder : builders) builder.join();
    ASSERT_EQ(manager.all.size(), 4u * each - 1) << "every build but the first had a previous one";
    for (std::size_t i = 0; i < manager.all.size(); ++i)
        EXPECT_EQ(manager.all[i], std::pair(static_cast<int>(i) + 1, static_cast<int>(i) + 2));
}

TEST_F(CachedResourceManager, AReaderWaitsForNeitherTheBuildNorItsEvents) {
    SampleManager manager;
    manager.cacheBuild();
    int reads = 0;
    const auto read = [&] {
        std::thread([&] {
            std::vector<Json::Value> inventory;
            EXPECT_TRUE(manager.getInventoryJsonObject(inventory));
            EXPECT_THAT(numbersOf(inventory), ElementsAre(1));
            ++reads;
        }).join();
    };
    manager.onGather = [&] {
        read();  // an event raised within the build
        return SampleManager::gathered::complete;
    };
    manager.onAfterBuild = [&] {
        const std::lock_guard<std::mutex> lock(manager.mlock);
        read();  // an event raised after it
    };
    manager.cacheBuild();
    EXPECT_EQ(reads, 2);
}

TEST_F(CachedResourceManager, ABuildMayRequestTheNextBuildAndWork) {
    SampleManager manager;
    manager.onGather = [&] {
        manager.requestRefresh();
        manager.requestWork();
        return SampleManager::gathered::complete;
    };
    manager.refreshCache = false;
    manager.cacheBuild();
    EXPECT_TRUE(manager.refreshCache);
    EXPECT_TRUE(manager.workWanted);
}

// --- inventories of one build ---

// Each of its four inventories holds one number, made of build and type: 11, 12, 13, 14, then 21, 22, ...
struct ManagerOfFour : SampleManager {
    static constexpr vokManagerTraits traits = [] {
        vokManagerTraits four = otherTraits;
        four.inventories = 4;
        return four;
    }();
    ManagerOfFour() : SampleManager(traits) {}

    void createJsonStringUsingJsonCpp() override {
        vokInventorySet inventories;
        for (int type = 1; type <= 4; ++type) inventories.push_back({Json::Value(builds * 10 + type)});
        setInventories(std::move(inventories));
    }
};

TEST_F(CachedResourceManager, ReturnsSeveralInventoriesByType) {
    ManagerOfFour manager;
    manager.cacheBuild();
    std::vector<Json::Value> out;
    for (const auto& [type, number] : {std::pair(0, 11), {1, 11}, {2, 12}, {3, 13}, {4, 14}}) {
        EXPECT_EQ(manager.getInventoryJsonObject2(type, out), 0);
        EXPECT_THAT(numbersOf(out), ElementsAre(number)) << type;
    }
    EXPECT_FALSE(manager.getInventoryJsonObject(out));
    EXPECT_THAT(numbersOf(out), ElementsAre(11)) << "type 0";
    EXPECT_EQ(countLogged(host, "DEBUG OTHER_RM: returning Inventory size: 1"), 6);
}

TEST_F(CachedResourceManager, AnUnknownInventoryTypeIsLoggedAndLeavesTheOutputUnchanged) {
    ManagerOfFour manager;
    manager.cacheBuild();
    for (const int type : {-1, 5, 99}) {
        std::vector<Json::Value> out(3);
        EXPECT_EQ(manager.getInventoryJsonObject2(type, out), 0);
        EXPECT_EQ(out.size(), 3u);
        EXPECT_TRUE(hasLogged(host, "WARNING OTHER_RM: No inventory of type " + std::to_string(type) + "."));
    }
}

TEST_F(CachedResourceManager, DuringABuildEachTypeReturnsThePreviousInventory) {
    ManagerOfFour manager;
    manager.cacheBuild();
    manager.onGather = [&] {
        std::thread([&] {
            std::vector<Json::Value> out;
            for (int type = 1; type <= 4; ++type) {
                EXPECT_EQ(manager.getInventoryJsonObject2(type, out), 1);
                EXPECT_THAT(numbersOf(out), ElementsAre(10 + type));
            }
        }).join();
        return SampleManager::gathered::complete;
    };
    manager.cacheBuild();
    EXPECT_EQ(countLogged(host,
                          "DEBUG OTHER_RM: Cache build is in progress. Returning previously saved "
                          "inventory."),
              4);
}

TEST_F(CachedResourceManager, AReaderKeepsToItsBuildAlthoughOthersEndBetweenItsReads) {
    ManagerOfFour manager;
    manager.cacheBuild();
    const auto reader = manager.openReader();
    std::vector<Json::Value> out;
    for (int type = 1; type <= 4; ++type) {
        EXPECT_EQ(reader->getInventoryJsonObject2(type, out), 0);
        EXPECT_THAT(numbersOf(out), ElementsAre(10 + type));
        manager.cacheBuild();
    }
    EXPECT_FALSE(reader->getInventoryJsonObject(out));
    EXPECT_THAT(numbersOf(out), ElementsAre(11));
    manager.getInventoryJsonObject2(4, out);
    EXPECT_THAT(numbersOf(out), ElementsAre(54)) << "the manager itself returns the latest build";
}

TEST_F(CachedResourceManager, AReaderOpenedDuringABuildKeepsToThePreviousOne) {
    ManagerOfFour manager;
    manager.cacheBuild();
    std::unique_ptr<vokInventoryReader> reader;
    std::vector<Json::Value> out;
    manager.onGather = [&] {
        if (!reader) std::thread([&] { reader = manager.openReader(); }).join();
        return SampleManager::gathered::complete;
    };
    manager.cacheBuild();
    manager.cacheBuild();
    for (int type = 1; type <= 4; ++type) {
        EXPECT_EQ(reader->getInventoryJsonObject2(type, out), 1);
        EXPECT_THAT(numbersOf(out), ElementsAre(10 + type));
    }
}

TEST_F(CachedResourceManager, ReadersOfSeveralInventoriesNeverMixTwoBuilds) {
    ManagerOfFour manager;
    manager.cacheBuild();
    std::atomic<bool> done{false};
    std::thread builder([&] {
        for (int build = 0; build < 200; ++build) manager.cacheBuild();
        done = true;
    });
    do {
        const auto reader = manager.openReader();
        std::vector<int> builds;
        for (int type = 1; type <= 4; ++type) {
            std::vector<Json::Value> out;
            reader->getInventoryJsonObject2(type, out);
            ASSERT_EQ(out.size(), 1u);
            builds.push_back(out[0].asInt() / 10);
        }
        EXPECT_THAT(builds, Each(builds[0]));
    } while (!done);
    builder.join();
}

// --- work without a build ---

TEST_F(CachedResourceManager, WorkRunsOnTheLoopsThreadAndStartsNoBuild) {
    clock.timedWaitsHold = true;
    SampleManager manager;
    std::thread::id worker;
    std::atomic<int> handedOver{0}, done{0};
    manager.onBetweenWaits = [&](bool buildWanted) {
        if (const int work = handedOver.exchange(0); work > 0) {
            EXPECT_FALSE(buildWanted);
            worker = std::this_thread::get_id();
            done += work;
        }
    };
    std::thread loop([&] { manager.startInventory(); });
    const std::thread::id loopId = loop.get_id();
    while (!manager.cacheReady) std::this_thread::yield();
    for (int call = 1; call <= 100; ++call) {
        ++handedOver;
        manager.requestWork();
        while (done < call) std::this_thread::yield();
    }
    manager.stopResourceManagerJob();
    loop.join();
    EXPECT_EQ(worker, loopId);
    EXPECT_EQ(manager.builds, 1);
}

TEST_F(CachedResourceManager, WorkRequestedDuringABuildOrDuringOtherWorkRunsBeforeTheNextWait) {
    SampleManager manager;
    std::vector<int> waitsAtCall;
    manager.onGather = [&] {
        manager.requestWork();
        return SampleManager::gathered::complete;
    };
    manager.onBetweenWaits = [&](bool) {
        waitsAtCall.push_back(waits);
        if (waitsAtCall.size() == 2) manager.requestWork();
    };
    stopInWait(manager, 1);
    manager.startInventory();
    EXPECT_THAT(waitsAtCall, ElementsAre(0, 0, 0));
    EXPECT_EQ(manager.builds, 1);
}

// However often callbacks request work, the wait keeps its deadline and the refresh is on time.
TEST_F(CachedResourceManager, AWaitInterruptedForWorkKeepsItsDeadline) {
    SampleManager manager;
    const time_t start = clock.now().tv_sec;
    std::vector<time_t> deadlines;
    clock.onTimedWait = [&](const timespec& deadline) {
        deadlines.push_back(deadline.tv_sec - start);
        if (deadlines.size() == 6) manager.stopSample = true;
        if (deadlines.size() % 3 == 0) return false;  // timed out
        clock.advance(20);
        manager.workWanted = true;  // the waiter's mutex is held
        return true;
    };
    manager.startInventory();
    EXPECT_THAT(deadlines, ElementsAre(60, 60, 60, 120, 120, 120));
    EXPECT_EQ(manager.builds, 2);
}

TEST_F(CachedResourceManager, AWaitInterruptedForARefreshHasANewDeadlineAfterTheBuild) {
    SampleManager manager;
    const time_t start = clock.now().tv_sec;
    std::vector<time_t> deadlines;
    clock.onTimedWait = [&](const timespec& deadline) {
        deadlines.push_back(deadline.tv_sec - start);
        if (deadlines.size() == 2) manager.stopSample = true;
        clock.advance(20);
        manager.workWanted = true;
        manager.refreshCache = true;
        return true;
    };
    manager.startInventory();
    EXPECT_THAT(deadlines, ElementsAre(60, 80));
    EXPECT_EQ(manager.builds, 2);
}

// The first wait is interrupted after 20 s for work that builds, or during which another thread has built.
TEST_F(CachedResourceManager, AWaitInterruptedForWorkHasANewDeadlineIfABuildHasEndedMeanwhile) {
    for (const bool byTheWork : {true, false}) {
        SampleManager manager;
        const time_t start = clock.now().tv_sec;
        std::vector<std::pair<time_t, int>> waitsAndBuilds;
        manager.onBetweenWaits = [&](bool buildWanted) {
            if (byTheWork && !buildWanted && manager.builds == 1) manager.cacheBuild();
        };
        clock.onTimedWait = [&](const timespec& deadline) {
            waitsAndBuilds.emplace_back(deadline.tv_sec - start, manager.builds);
            if (waitsAndBuilds.size() == 3) manager.stopSample = true;
            if (waitsAndBuilds.size() > 1) return false;  // timed out
            clock.advance(20);
            if (!byTheWork) std::thread([&] { manager.cacheBuild(); }).join();
            manager.workWanted = true;  // the waiter's mutex is held
            return true;
        };
        manager.startInventory();
        EXPECT_THAT(waitsAndBuilds, ElementsAre(std::pair(60, 1), std::pair(80, 2), std::pair(140, 3)))
            << "by the work: " << byTheWork;
    }
}

TEST_F(CachedResourceManager, AStoppedManagerLeavesPendingWorkToItsTearDown) {
    SampleManager manager;
    bool called = false;
    manager.onBetweenWaits = [&](bool) { called = true; };
    manager.requestWork();
    manager.stopResourceManagerJob();
    manager.startInventory();
    EXPECT_FALSE(called);
    EXPECT_EQ(manager.tearDowns, 1);
}

// --- preparation and teardown ---

TEST_F(CachedResourceManager, ARunIsPreparedAndTornDownOnce) {
    SampleManager manager;
    stopInWait(manager, 1);
    manager.init();
    EXPECT_EQ(manager.preparations, 1);
    EXPECT_EQ(manager.tearDowns, 1);
    EXPECT_EQ(manager.builds, 1);
    EXPECT_TRUE(hasLogged(host, "DEBUG TEST_RM: Entry init()"));
}

TEST_F(CachedResourceManager, ALoopSkippedForAFreshCacheIsTornDownToo) {
    SampleManager manager;
    manager.cacheBuild();
    manager.records.clear();  // otherwise init() returns earlier
    manager.init();
    EXPECT_TRUE(
        hasLogged(host, "DEBUG TEST_RM: cache was recently refreshed. skipping the current refresh cycle"));
    EXPECT_THAT(clock.waitedSeconds(), IsEmpty());
    EXPECT_EQ(manager.preparations, 1);
    EXPECT_EQ(manager.tearDowns, 1);
    manager.startInventory();
    EXPECT_EQ(manager.tearDowns, 2) << "a loop entered without init() is torn down as well";
}

TEST_F(CachedResourceManager, AManagerThatHasRecordsIsTornDownWithoutALoop) {
    SampleManager manager(otherTraits);
    manager.cacheBuild();
    manager.init();
    EXPECT_TRUE(hasLogged(host, "DEBUG OTHER_RM: Entered init"));
    EXPECT_TRUE(hasLogged(host, "DEBUG OTHER_RM: Other manager is active"));
    EXPECT_FALSE(hasLogged(host, "DEBUG OTHER_RM: Entry startInventory"));
    EXPECT_EQ(manager.preparations, 0);
    EXPECT_EQ(manager.tearDowns, 1);
}

TEST_F(CachedResourceManager, ASecondInitDuringTheFirstIsRefusedAndTearsNothingDown) {
    clock.timedWaitsHold = true;
    SampleManager manager(otherTraits);
    std::promise<void> gathering, refused;
    manager.onGather = [&] {
        gathering.set_value();
        refused.get_future().wait();
        return SampleManager::gathered::complete;
    };
    std::thread loop([&] { manager.init(); });
    gathering.get_future().wait();
    manager.init();  // during the first build: returns at once
    EXPECT_TRUE(hasLogged(host, "DEBUG OTHER_RM: Other manager is active"));
    EXPECT_EQ(manager.tearDowns, 0);
    refused.set_value();
    while (!manager.cacheReady) std::this_thread::yield();
    manager.init();
    EXPECT_EQ(manager.tearDowns, 0);
    manager.stopResourceManagerJob();
    loop.join();
    EXPECT_EQ(manager.preparations, 1);
    EXPECT_EQ(manager.tearDowns, 1);
}

TEST_F(CachedResourceManager, WithoutAnActiveTextASecondInitIsRefusedSilently) {
    SampleManager manager;
    manager.cacheBuild();
    manager.init();
    EXPECT_EQ(loggedLines(host).back(), "DEBUG TEST_RM: Entry init()");
}

TEST(ManagerTraits, AreCompleteOnceEachTextWithoutADefaultIsSet) {
    EXPECT_TRUE(sampleTraits.isComplete());
    EXPECT_FALSE(vokManagerTraits().isComplete());
    for (const auto each :
         {&vokManagerTraits::tag, &vokManagerTraits::moduleName, &vokManagerTraits::buildText,
          &vokManagerTraits::pushText, &vokManagerTraits::readyText, &vokManagerTraits::recordsName}) {
        vokManagerTraits traits = sampleTraits;
        traits.*each = nullptr;
        EXPECT_FALSE(traits.isComplete());
    }
}

}  // namespace
}  // namespace vokCachedResourceManagerThreadsTest
