// A manager whose records are plain numbers, for tests of the code that all managers share.
#pragma once

#include <gtest/gtest.h>
#include <functional>
#include <vector>

#include "core/inventory/vokCachedResourceManager.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/LoggedLines.h"

inline constexpr vokManagerTraits sampleTraits = [] {
    vokManagerTraits traits;
    traits.tag = "TEST_RM";
    traits.moduleName = "EthernetDevices";
    traits.buildText = "Building test cache";
    traits.pushText = "testRM requesting cache push";
    traits.readyText = "Test cache ready";
    traits.recordsName = "TestInventory";
    return traits;
}();

inline constexpr vokManagerTraits otherTraits = [] {
    vokManagerTraits traits;
    traits.tag = "OTHER_RM";
    traits.moduleName = "NoSuchModule";
    traits.initText = "Entered init";
    traits.startText = "reached startInventory";
    traits.activeText = "Other manager is active";
    traits.recentText = "Cache was recently refreshed. skipping the current refresh cycle";
    traits.buildText = "Building other cache";
    traits.exitText = nullptr;
    traits.pushText = "otherRM requesting cache push";
    traits.previousCopyText = "Cache build is in progress. Returning previously saved inventory.";
    traits.currentCopyText = "returning Inventory size: ";
    traits.readyText = "Other cache status";
    traits.recordsName = "OtherInventory";
    traits.equalsBlank = " ";
    traits.retryPauseSeconds = 5;
    traits.stopIsDebug = true;
    return traits;
}();

// Its hooks call the functions that a test sets.
class SampleManager : public vokCachedResourceManager {
public:
    explicit SampleManager(const vokManagerTraits& traits = sampleTraits)
        : vokCachedResourceManager(traits, stopSample) {
        stopSample = false;
    }

    void createJsonStringUsingJsonCpp() override {
        setInventory(std::vector<Json::Value>(records.begin(), records.end()));
    }
    // The documents regardless of a build in progress.
    std::vector<Json::Value> currentDocuments() const { return documentsOf(*currentInventory); }
    std::vector<Json::Value> previousDocuments() const { return documentsOf(*previousInventory); }

    using vokCachedResourceManager::_cacheBuildInProgress;
    using vokCachedResourceManager::buildLock;
    using vokCachedResourceManager::cacheReady;
    using vokCachedResourceManager::cmutex;
    using vokCachedResourceManager::gathered;
    using vokCachedResourceManager::isActive;
    using vokCachedResourceManager::lastRefreshTime;
    using vokCachedResourceManager::mlock;
    using vokCachedResourceManager::prevInventoryLock;
    using vokCachedResourceManager::pushOnCacheBuild;
    using vokCachedResourceManager::refreshCache;
    using vokCachedResourceManager::requestRefresh;
    using vokCachedResourceManager::requestWork;
    using vokCachedResourceManager::runEnded;
    using vokCachedResourceManager::workWanted;

    std::function<gathered()> onGather;
    std::function<void(bool)> onBetweenWaits;
    std::function<void()> onAfterBuild;
    std::function<bool()> onWasStarted;  // instead of the question for records
    std::function<void()> onTearDown;
    bool runsEmpty = false;
    vokRecordHistory<int> store{recordStores};
    std::vector<int>& records = store.current;
    int builds = 0;
    int preparations = 0;
    int tearDowns = 0;
    long secondsBetweenBuilds = 60;
    bool usesConfiguredInterval = false;

    static std::atomic<bool> stopSample;

protected:
    bool wasStarted() override {
        return onWasStarted ? onWasStarted() : vokCachedResourceManager::wasStarted();
    }
    void prepare() override { ++preparations; }
    long refreshInterval() override {
        return usesConfiguredInterval ? vokCachedResourceManager::refreshInterval() : secondsBetweenBuilds;
    }
    void betweenWaits(bool buildWanted) override {
        if (onBetweenWaits) onBetweenWaits(buildWanted);
    }
    gathered gather() override {
        ++builds;
        records.push_back(builds);
        return onGather ? onGather() : gathered::complete;
    }
    void afterBuild() override {
        if (onAfterBuild) onAfterBuild();
    }
    bool runsWithoutRecords() override { return runsEmpty; }
    void tearDown() override {
        ++tearDowns;
        if (onTearDown) onTearDown();
    }

private:
    static std::vector<Json::Value> documentsOf(const vokInventorySet& inventories) {
        return inventories.empty() ? std::vector<Json::Value>() : inventories.front();
    }
};

inline std::atomic<bool> SampleManager::stopSample{false};

class CachedResourceManager : public testing::Test {
protected:
    CachedResourceManager() { logEverything(host); }

    // Stops the loop of `manager` during its wait number `count`, counted from 1.
    void stopInWait(SampleManager& manager, int count) {
        clock.onTimedWait = [this, &manager, count](const timespec&) {
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

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    int waits = 0;
};
