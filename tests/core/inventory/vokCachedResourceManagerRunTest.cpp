// Of the code that all managers share: which build serves a request, and when a run begins and ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <atomic>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "core/inventory/SampleManager.h"

namespace vokCachedResourceManagerRunTest {
namespace {

using testing::ElementsAre;

// --- requests ---

TEST_F(CachedResourceManager, ARequestBeforeAWantedBuildBeginsIsServedByThatBuild) {
    SampleManager manager;
    manager.onBetweenWaits = [&](bool buildWanted) {
        if (buildWanted) manager.requestRefresh();
    };
    stopInWait(manager, 1);
    manager.startInventory();
    EXPECT_EQ(manager.builds, 1);
}

TEST_F(CachedResourceManager, ARequestBetweenTwoWaitsIsServedWithoutAnotherWait) {
    SampleManager manager;
    bool once = true;
    manager.onBetweenWaits = [&](bool buildWanted) {
        if (!buildWanted && std::exchange(once, false)) manager.requestRefresh();
    };
    manager.requestWork();
    manager.refreshCache = false;
    stopInWait(manager, 1);
    manager.startInventory();
    EXPECT_EQ(manager.builds, 1);
}

// From its start to its end: what caused the request may have come after the build looked.
TEST_F(CachedResourceManager, ARequestAtAnyMomentOfABuildIsServedByAnotherBuild) {
    using Moment = std::function<void(SampleManager&, const std::function<void()>&)>;
    const Moment moments[] = {
        [](SampleManager& manager, const std::function<void()>& request) {
            manager.onGather = [request] {
                request();
                return SampleManager::gathered::complete;
            };
        },
        [](SampleManager& manager, const std::function<void()>& request) { manager.onAfterBuild = request; },
    };
    for (const Moment& moment : moments) {
        SampleManager manager;
        moment(manager, [&] {
            if (manager.builds == 1) std::thread([&] { manager.requestRefresh(); }).join();
        });
        waits = 0;
        stopInWait(manager, 1);
        manager.startInventory();
        EXPECT_EQ(manager.builds, 2);
    }
}

// Whoever requests a build finds one that began later, however the request meets the loop.
TEST_F(CachedResourceManager, NoRequestFromAnotherThreadIsLost) {
    clock.timedWaitsHold = true;
    SampleManager manager;
    std::atomic<int> change{0};
    std::atomic<int> seen{-1};
    manager.onBetweenWaits = [](bool) { std::this_thread::yield(); };
    manager.onGather = [&] {
        seen = change.load();
        return SampleManager::gathered::complete;
    };
    std::thread thread([&] { manager.startInventory(); });
    for (int number = 1; number <= 2000; ++number) {
        change = number;
        manager.requestRefresh();
        if (number % 10 != 0) continue;
        while (seen < number) std::this_thread::yield();
    }
    manager.stopResourceManagerJob();
    thread.join();
    EXPECT_EQ(seen, 2000);
}

// --- runs ---

TEST_F(CachedResourceManager, LogsTheStartOfItsLoopInItsOwnWords) {
    SampleManager plain;
    stopInWait(plain, 1);
    plain.startInventory();
    EXPECT_TRUE(hasLogged(host, "DEBUG TEST_RM: Entry startInventory"));
    SampleManager other(otherTraits);
    waits = 0;
    stopInWait(other, 1);
    other.startInventory();
    EXPECT_TRUE(hasLogged(host, "DEBUG OTHER_RM: reached startInventory"));
    EXPECT_FALSE(hasLogged(host, "DEBUG OTHER_RM: Entry startInventory"));
}

TEST_F(CachedResourceManager, DoesNotStartIfItsOwnRuleSaysThatItWasStarted) {
    SampleManager manager;
    manager.onWasStarted = [] { return true; };
    manager.init();
    EXPECT_EQ(manager.preparations, 0);
    EXPECT_EQ(manager.builds, 0);
    manager.onWasStarted = [] { return false; };
    manager.records.push_back(7);  // which would keep a manager without a rule from starting
    stopInWait(manager, 1);
    manager.init();
    EXPECT_EQ(manager.preparations, 1);
    EXPECT_EQ(manager.builds, 1);
}

TEST_F(CachedResourceManager, IsActiveFromTheBeginOfARunUntilItsTearDownHasReturned) {
    SampleManager manager;
    const auto isActive = [&manager] {
        const std::lock_guard<std::mutex> lock(manager.cmutex);
        return manager.isActive();
    };
    std::vector<bool> seen;
    manager.onWasStarted = [&] {
        seen.push_back(isActive());
        return false;
    };
    manager.onTearDown = [&] { seen.push_back(isActive()); };
    stopInWait(manager, 1);
    EXPECT_FALSE(isActive());
    manager.init();
    EXPECT_THAT(seen, ElementsAre(true, true));
    EXPECT_FALSE(isActive());
}

TEST_F(CachedResourceManager, WhoeverWaitsForTheEndOfARunIsWokenAfterTheTearDown) {
    clock.timedWaitsHold = true;
    SampleManager manager;
    std::atomic<bool> isTornDown{false};
    manager.onTearDown = [&] { isTornDown = true; };
    std::thread thread([&] { manager.init(); });
    while (!manager.cacheReady) std::this_thread::yield();
    manager.stopResourceManagerJob();
    {
        std::unique_lock<std::mutex> lock(manager.cmutex);
        manager.runEnded.wait(lock, [&] { return !manager.isActive(); });
        EXPECT_TRUE(isTornDown);
    }
    thread.join();
}

}  // namespace
}  // namespace vokCachedResourceManagerRunTest
