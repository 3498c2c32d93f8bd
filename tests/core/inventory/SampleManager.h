// A manager of plain numbers, by which the shared half of all managers is tested.
#pragma once

#include <gtest/gtest.h>
#include <functional>
#include <vector>

#include "core/inventory/vokCachedResourceManager.h"
#include "support/FakeHostAccess.h"
#include "support/LoggedLines.h"

inline constexpr vokManagerTraits sampleTraits = {
    "TEST_RM",
    "EthernetDevices",
    "Building test cache",
    "Exiting CacheBuild",
    "testRM requesting cache push",
    "Cache build is in progress. Returning previous copy of inventory.",
    "cache was recently refreshed. skipping the current refresh cycle",
    "Test cache ready",
    "TestInventory",
    "",
    3,
    false,
};

inline constexpr vokManagerTraits otherTraits = {
    "OTHER_RM",
    "NoSuchModule",
    "Building other cache",
    nullptr,
    "otherRM requesting cache push",
    "Cache build is in progress. Returning previously saved inventory.",
    "Cache was recently refreshed. skipping the current refresh cycle",
    "Other cache status",
    "OtherInventory",
    " ",
    5,
    true,
};

// Its records are plain numbers; what it is asked for goes through the functions that a test sets.
class SampleManager : public vokCachedResourceManager {
public:
    explicit SampleManager(const vokManagerTraits& traits = sampleTraits)
        : vokCachedResourceManager(traits, stopSample) {
        stopSample = false;
    }

    void init() override { startInventory(); }
    void createJsonStringUsingJsonCpp() override {
        currentInventory.clear();
        for (const int record : records) currentInventory.emplace_back(record);
    }

    using vokCachedResourceManager::_cacheBuildInProgress;
    using vokCachedResourceManager::cacheReady;
    using vokCachedResourceManager::currentInventory;
    using vokCachedResourceManager::gathered;
    using vokCachedResourceManager::lastRefreshTime;
    using vokCachedResourceManager::mlock;
    using vokCachedResourceManager::prevInventoryLock;
    using vokCachedResourceManager::previousInventory;
    using vokCachedResourceManager::pushOnCacheBuild;
    using vokCachedResourceManager::refreshCache;
    using vokCachedResourceManager::requestRefresh;

    std::function<gathered()> onGather;
    std::function<void(bool)> onBetweenWaits;
    std::function<void()> onAfterBuild;
    bool runsEmpty = false;
    std::vector<int> records;
    int builds = 0;
    int loopsLeft = 0;
    long secondsBetweenBuilds = 60;
    bool asksTheConfiguration = false;

    static std::atomic<bool> stopSample;

protected:
    long refreshInterval() override {
        return asksTheConfiguration ? vokCachedResourceManager::refreshInterval() : secondsBetweenBuilds;
    }
    void betweenWaits(bool buildWanted) override {
        if (onBetweenWaits) onBetweenWaits(buildWanted);
    }
    void destroyRecords() override { records.clear(); }
    gathered gather() override {
        ++builds;
        records.push_back(builds);
        return onGather ? onGather() : gathered::complete;
    }
    void afterBuild() override {
        if (onAfterBuild) onAfterBuild();
    }
    std::size_t recordCount() override { return records.size(); }
    bool runsWithoutRecords() override { return runsEmpty; }
    void onLoopLeft() override { ++loopsLeft; }
};

inline std::atomic<bool> SampleManager::stopSample{false};

class CachedResourceManager : public testing::Test {
protected:
    CachedResourceManager() { logEverything(host); }

    // Ends the loop of `manager` in the wait number `count`, counted from 1.
    void stopInWait(SampleManager& manager, int count) {
        host.onTimedWait = [this, &manager, count](const timespec&) {
            if (++waits < count) return false;
            manager.stopSample = true;  // the waiter's mutex is held
            return true;
        };
    }

    std::vector<int> numbersOf(const std::vector<Json::Value>& inventory) const {
        std::vector<int> numbers;
        for (const auto& element : inventory) numbers.push_back(element.asInt());
        return numbers;
    }

    FakeHostAccess& host = useFakeHost();
    int waits = 0;
};
