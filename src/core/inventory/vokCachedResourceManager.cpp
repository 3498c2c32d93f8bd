#include "core/inventory/vokCachedResourceManager.h"

#include <cerrno>

#include "core/base/vokConfig.h"
#include "core/base/vokLog.h"
#include "core/inventory/vokPushRequest.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokWait.h"

namespace {

constexpr double recentSeconds = 3.0;  // a cache younger than this needs no loop
constexpr long defaultWakeSeconds = 30;
constexpr int runningPasses = 3;
constexpr int lastReadinessPass = 8;  // of the aggregator, counted from 0

}  // namespace

vokCachedResourceManager::vokCachedResourceManager(const vokManagerTraits& traits,
                                                   std::atomic<bool>& stopFlag)
    : traits_(traits), stop_(stopFlag) {}

void vokCachedResourceManager::startInventory() {
    VOK_LOG_DEBUG(traits_.tag, "Entry startInventory");
    if (const time_t last = lastRefreshTime; last != 0) {
        VOK_LOG_DEBUG(traits_.tag, "Attempting to refresh Cache.");
        if (recentSeconds > std::difftime(vokWallClockSeconds(), last)) {
            VOK_LOG_DEBUG(traits_.tag, "%s", traits_.recentText);
            return;
        }
    }
    const long refreshSeconds = refreshInterval();
    const long wakeSeconds = wakeInterval(refreshSeconds);

    std::unique_lock<std::mutex> lock(cmutex);
    while (true) {
        if (!stop_ && !refreshCache) {
            const vokWaitResult result = vokWaitFor(cond, lock, wakeSeconds);
            if (result == vokWaitResult::clockFailed) {
                const int reason = errno;  // logging may change it
                VOK_LOG_ERROR(traits_.tag, "Failed to get current time! (errno: %d)", reason);
                break;
            }
            if (result == vokWaitResult::timedOut) onTimeOut(vokWallClockSeconds(), refreshSeconds);
        }
        lock.unlock();
        if (stop_) break;
        const bool buildWanted = refreshCache.exchange(false);
        betweenWaits(buildWanted);
        if (buildWanted) cacheBuild();
        lock.lock();
    }
    if (lock.owns_lock()) lock.unlock();
    onLoopLeft();
}

void vokCachedResourceManager::cacheBuild() {
    VOK_LOG_DEBUG(traits_.tag, "%s", traits_.buildText);
    gathered result;
    {
        const std::lock_guard<std::mutex> lock(mlock);
        _cacheBuildInProgress = true;
        backupInventory();
        destroyRecords();
        result = gather();
        if (result == gathered::complete) createJsonStringUsingJsonCpp();
        _cacheBuildInProgress = false;
        if (result == gathered::complete) lastRefreshTime = vokWallClockSeconds();
    }
    if (result == gathered::abandoned) {
        cacheReady = true;
        return;
    }
    afterBuild();
    cacheReady = true;
    if (takePushRequests()) {
        VOK_LOG_DEBUG(traits_.tag, "%s", traits_.pushText);
        vokRequestPush();
    }
    if (traits_.exitText) VOK_LOG_DEBUG(traits_.tag, "%s", traits_.exitText);
}

void vokCachedResourceManager::backupInventory() {
    const std::lock_guard<std::mutex> lock(prevInventoryLock);
    previousInventory = currentInventory;
}

bool vokCachedResourceManager::getInventoryJsonObject(std::vector<Json::Value>& out) {
    return copyInventory(currentInventory, previousInventory, out);
}

bool vokCachedResourceManager::copyInventory(const std::vector<Json::Value>& current,
                                             const std::vector<Json::Value>& previous,
                                             std::vector<Json::Value>& out) {
    std::unique_lock<std::mutex> lock(mlock, std::defer_lock);
    if (_cacheBuildInProgress || !lock.try_lock()) {
        VOK_LOG_DEBUG(traits_.tag, "%s", traits_.previousCopyText);
        const std::lock_guard<std::mutex> previousLock(prevInventoryLock);
        out = previous;
        return true;
    }
    out = current;
    return false;
}

bool vokCachedResourceManager::isInventoryReady(int iteration) {
    const bool ready = cacheReady;
    VOK_LOG_INFO(traits_.tag, "%s %d", traits_.readyText, ready ? 1 : 0);
    if (iteration == lastReadinessPass && !ready) {
        pushOnCacheBuild = true;
        // A build that ended just before that has not seen the request; the caller then finds its result.
        if (cacheReady) pushOnCacheBuild = false;
    }
    return cacheReady;
}

bool vokCachedResourceManager::isRunning() {
    for (int pass = 1; pass <= runningPasses; ++pass) {
        bool building = false;
        std::size_t records = 0;
        {
            const std::lock_guard<std::mutex> lock(mlock);
            building = _cacheBuildInProgress;
            records = recordCount();
            if ((!building && records > 0) || runsWithoutRecords()) return true;
        }
        VOK_LOG_WARNING(traits_.tag, "_cacheBuildInProgress = %d,%s.size() =%s%zu,retryCount =%s%d",
                        building ? 1 : 0, traits_.recordsName, traits_.equalsBlank, records,
                        traits_.equalsBlank, pass);
        vokHostAccess().pause(traits_.retryPauseSeconds * 1000000UL);
    }
    return false;
}

void vokCachedResourceManager::stopResourceManagerJob() {
    const auto logStop = [this](const char* text) {
        if (traits_.stopIsDebug)
            VOK_LOG_DEBUG(traits_.tag, "%s", text);
        else
            VOK_LOG_INFO(traits_.tag, "%s", text);
    };
    logStop("Resource manager stop called.");
    {
        const std::lock_guard<std::mutex> lock(cmutex);
        stop_ = true;
        cond.notify_one();
    }
    logStop("Signalled for stop.");
}

void vokCachedResourceManager::requestRefresh() {
    const std::lock_guard<std::mutex> lock(cmutex);
    refreshCache = true;
    cond.notify_one();
}

long vokCachedResourceManager::refreshInterval() {
    return vokConfig::getInstance()->getrefreshInterval(traits_.moduleName);
}

long vokCachedResourceManager::wakeInterval(long refreshSeconds) {
    return refreshSeconds > 0 ? refreshSeconds : defaultWakeSeconds;
}

void vokCachedResourceManager::onTimeOut(time_t now, long refreshSeconds) {
    const long long elapsed = static_cast<long long>(now) - lastRefreshTime;
    if (elapsed >= refreshSeconds) refreshCache = true;
}

void vokCachedResourceManager::betweenWaits(bool) {}

void vokCachedResourceManager::afterBuild() {}

bool vokCachedResourceManager::takePushRequests() {
    return pushOnCacheBuild.exchange(false);
}

bool vokCachedResourceManager::runsWithoutRecords() {
    return false;
}

void vokCachedResourceManager::onLoopLeft() {}
