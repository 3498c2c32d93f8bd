#include "core/inventory/vokCachedResourceManager.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

#include "core/base/vokConfig.h"
#include "core/base/vokLog.h"
#include "core/base/vokModules.h"
#include "core/inventory/vokBuildAccount.h"
#include "core/inventory/vokPushRequest.h"
#include "core/status/vokStatusRecord.h"
#include "platform/access/vokHostAccess.h"

namespace {

constexpr double recentSeconds = 3.0;  // a cache younger than this needs no loop
constexpr long defaultWakeSeconds = 30;
constexpr int runningPasses = 3;
constexpr unsigned triesPerSecond = 10;  // of the running test, for the lock of a build
constexpr unsigned long microsecondsInSecond = 1000000;
constexpr int lastReadinessPass = 8;  // of the aggregator, counted from 0

}  // namespace

// Reads from the snapshot that was taken when the reader was opened.
class vokCachedResourceManager::SnapshotReader : public vokInventoryReader {
public:
    SnapshotReader(const vokCachedResourceManager& manager, Snapshot snapshot)
        : manager_(manager), snapshot_(std::move(snapshot)) {}

    bool getInventoryJsonObject(std::vector<Json::Value>& out) override {
        return manager_.answer(snapshot_, out);
    }
    int getInventoryJsonObject2(int type, std::vector<Json::Value>& out) override {
        return manager_.answer(snapshot_, type, out);
    }

private:
    const vokCachedResourceManager& manager_;
    const Snapshot snapshot_;
};

vokCachedResourceManager::vokCachedResourceManager(const vokManagerTraits& traits,
                                                   std::atomic<bool>& stopFlag)
    : traits_(traits),
      classId_(traits.moduleName ? vokFindModuleId(traits.moduleName) : -1),
      currentInventory(std::make_shared<vokInventorySet>()),
      previousInventory(currentInventory),
      stop_(stopFlag) {}

// --- a run ---

void vokCachedResourceManager::init() {
    VOK_LOG_DEBUG(traits_.tag, "%s", traits_.initText);
    const bool begun = beginRun();
    if (begun && !wasStarted()) {
        prepare();
        startInventory();
    } else if (traits_.activeText) {
        VOK_LOG_DEBUG(traits_.tag, "%s", traits_.activeText);
    }
    if (begun) endRun();
}

void vokCachedResourceManager::startInventory() {
    const bool begun = beginRun();  // false within init(), which ends the run itself
    VOK_LOG_DEBUG(traits_.tag, "%s", traits_.startText);
    if (!isFresh()) runLoop();
    if (begun) endRun();
}

bool vokCachedResourceManager::beginRun() {
    return !active_.exchange(true);
}

void vokCachedResourceManager::endRun() {
    tearDown();
    vokNoteNextBuild(classId_, 0);
    const std::lock_guard<std::mutex> lock(cmutex);
    active_ = false;
    runEnded.notify_all();
}

bool vokCachedResourceManager::isFresh() {
    const time_t last = lastRefreshTime;
    if (last == 0) return false;
    VOK_LOG_DEBUG(traits_.tag, "Attempting to refresh Cache.");
    if (std::difftime(vokWallClockSeconds(), last) >= recentSeconds) return false;
    VOK_LOG_DEBUG(traits_.tag, "%s", traits_.recentText);
    return true;
}

void vokCachedResourceManager::runLoop() {
    const long refreshSeconds = refreshInterval();
    const long wakeSeconds = wakeInterval(refreshSeconds);

    bool resumes = false;  // the next wait continues one that was interrupted for work
    unsigned buildsAtDeadline = 0;
    std::unique_lock<std::mutex> lock(cmutex);
    while (true) {
        if (!stop_ && !refreshCache && !workWanted) {
            // After a build the refresh is due a whole interval later, so the old deadline would be too early
            // for it and the one after that too late.
            if (!resumes || builds_ != buildsAtDeadline) {
                buildsAtDeadline = builds_;
                if (!deadline_.set(wakeSeconds)) {
                    const int reason = errno;  // logging may change it
                    VOK_LOG_ERROR(traits_.tag, "Failed to get current time! (errno: %d)", reason);
                    return;
                }
            }
            vokNoteNextBuild(classId_, plannedBuild(refreshSeconds));
            const vokWaitResult result = vokWaitUntil(cond, lock, deadline_);
            resumes = result == vokWaitResult::signalled && workWanted;
            if (result == vokWaitResult::timedOut) decideRefresh(refreshSeconds);
        }
        workWanted = false;
        lock.unlock();
        if (stop_) return;
        const bool buildWanted = refreshCache.exchange(false);
        betweenWaits(buildWanted);
        if (buildWanted) {
            refreshCache = false;  // what was requested meanwhile, this build serves too
            cacheBuild();
        }
        lock.lock();
    }
}

time_t vokCachedResourceManager::plannedBuild(long refreshSeconds) const {
    const long long latest = std::numeric_limits<time_t>::max();
    const long long due = static_cast<long long>(lastRefreshTime) + refreshSeconds;
    return static_cast<time_t>(std::min(latest, std::max<long long>(deadline_.end().tv_sec, due)));
}

void vokCachedResourceManager::decideRefresh(long refreshSeconds) {
    const time_t now = vokWallClockSeconds();
    const bool isClockRead = now != 0;
    if (isClockRead && vokIsStillToCome(lastRefreshTime, now))
        refreshCache = true;
    else
        onTimeOut(now, refreshSeconds);
}

bool vokCachedResourceManager::recheckWait() {
    const std::lock_guard<std::mutex> lock(cmutex);
    return vokEndOvertakenWait(cond, deadline_);
}

// --- the build ---

void vokCachedResourceManager::cacheBuild() {
    const std::lock_guard<std::mutex> builder(buildLock);
    if (vokHostAccess().stopPhase() != vokStopPhase::none) return;
    VOK_LOG_DEBUG(traits_.tag, "%s", traits_.buildText);
    const vokBuildAccount account(classId_);
    gathered result;
    {
        const std::lock_guard<std::mutex> lock(mlock);
        _cacheBuildInProgress = true;
        backupInventory();
        destroyRecords();
        result = gather();
        if (result == gathered::cutShort || vokHostAccess().stopPhase() == vokStopPhase::withoutCommands) {
            _cacheBuildInProgress = false;
            account.cutShort();
            VOK_LOG_INFO(traits_.tag, "The stop has cut the build short; the previous inventory stays.");
            return;
        }
        if (result == gathered::complete) {
            createJsonStringUsingJsonCpp();
        } else {
            destroyRecords();
            setInventories({});
        }
        _cacheBuildInProgress = false;
        if (result == gathered::complete) lastRefreshTime = vokWallClockSeconds();
        ++builds_;
    }
    if (result == gathered::abandoned) {
        cacheReady = true;
        account.end(vokWallClockSeconds());
        return;
    }
    afterBuild();
    cacheReady = true;
    account.end(lastRefreshTime);
    if (takePushRequests()) {
        VOK_LOG_DEBUG(traits_.tag, "%s", traits_.pushText);
        vokRequestPush();
    }
    if (traits_.exitText) VOK_LOG_DEBUG(traits_.tag, "%s", traits_.exitText);
}

void vokCachedResourceManager::backupInventory() {
    const std::lock_guard<std::mutex> lock(prevInventoryLock);
    previousInventory = currentInventory;
    for (vokRecordStore* const store : recordStores) store->keep();
}

void vokCachedResourceManager::destroyRecords() {
    for (vokRecordStore* const store : recordStores) store->clear();
}

void vokCachedResourceManager::setInventory(std::vector<Json::Value> documents) {
    vokInventorySet inventories;
    inventories.push_back(std::move(documents));
    setInventories(std::move(inventories));
}

void vokCachedResourceManager::setInventories(vokInventorySet inventories) {
    vokAccountForInventory(classId_, inventories);
    currentInventory = std::make_shared<const vokInventorySet>(std::move(inventories));
}

// --- readers ---

bool vokCachedResourceManager::getInventoryJsonObject(std::vector<Json::Value>& out) {
    return answer(takeSnapshot(), out);
}

int vokCachedResourceManager::getInventoryJsonObject2(int type, std::vector<Json::Value>& out) {
    return answer(takeSnapshot(), type, out);
}

std::unique_ptr<vokInventoryReader> vokCachedResourceManager::openReader() {
    return std::make_unique<SnapshotReader>(*this, takeSnapshot());
}

vokCachedResourceManager::Snapshot vokCachedResourceManager::takeSnapshot() {
    std::unique_lock<std::mutex> lock(mlock, std::defer_lock);
    if (!_cacheBuildInProgress && lock.try_lock()) return {currentInventory, false};
    const std::lock_guard<std::mutex> previousLock(prevInventoryLock);
    return {previousInventory, true};
}

bool vokCachedResourceManager::answer(const Snapshot& snapshot, std::vector<Json::Value>& out) const {
    return copyOut(snapshot, 0, out);
}

int vokCachedResourceManager::answer(const Snapshot& snapshot, int type,
                                     std::vector<Json::Value>& out) const {
    if (traits_.inventories == 1) return 0;
    if (type < 0 || type > traits_.inventories) {
        VOK_LOG_WARNING(traits_.tag, "No inventory of type %d.", type);
        return 0;
    }
    return copyOut(snapshot, type == 0 ? 0 : static_cast<std::size_t>(type) - 1, out) ? 1 : 0;
}

bool vokCachedResourceManager::copyOut(const Snapshot& snapshot, std::size_t index,
                                       std::vector<Json::Value>& out) const {
    if (snapshot.isPrevious) VOK_LOG_DEBUG(traits_.tag, "%s", traits_.previousCopyText);
    if (index < snapshot.inventories->size())
        out = (*snapshot.inventories)[index];
    else
        out.clear();  // before the first build
    if (!snapshot.isPrevious && traits_.currentCopyText)
        VOK_LOG_DEBUG(traits_.tag, "%s%zu", traits_.currentCopyText, out.size());
    return snapshot.isPrevious;
}

// --- status and stop ---

bool vokCachedResourceManager::isInventoryReady(int iteration) {
    const bool ready = cacheReady;
    VOK_LOG_INFO(traits_.tag, "%s %d", traits_.readyText, ready ? 1 : 0);
    if (iteration == lastReadinessPass && !ready) {
        pushOnCacheBuild = true;
        // A build that ended just before this has missed the request; the caller then finds its result.
        if (cacheReady) pushOnCacheBuild = false;
    }
    return cacheReady;
}

bool vokCachedResourceManager::isRunning() {
    for (int pass = 1; pass <= runningPasses; ++pass) {
        // A pass without the lock: a build holds it, has emptied the records, and may never end.
        bool building = true;
        std::size_t records = 0;
        unsigned long left = traits_.retryPauseSeconds * microsecondsInSecond;
        if (std::unique_lock<std::mutex> lock(mlock, std::defer_lock); lockWithin(lock, left)) {
            building = _cacheBuildInProgress;
            records = recordCount();
            if ((!building && records > 0) || runsWithoutRecords()) return true;
        }
        VOK_LOG_WARNING(traits_.tag, "_cacheBuildInProgress = %d,%s.size() =%s%zu,retryCount =%s%d",
                        building ? 1 : 0, traits_.recordsName, traits_.equalsBlank, records,
                        traits_.equalsBlank, pass);
        if (left > 0) vokHostAccess().pause(left);
    }
    return false;
}

bool vokCachedResourceManager::lockWithin(std::unique_lock<std::mutex>& lock, unsigned long& microseconds) {
    constexpr unsigned long step = microsecondsInSecond / triesPerSecond;
    // By pauses, since the host's pause is independent of the wall clock, which may be set meanwhile.
    while (!lock.try_lock()) {
        if (microseconds < step) return false;
        vokHostAccess().pause(step);
        microseconds -= step;
    }
    return true;
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

void vokCachedResourceManager::requestWork() {
    const std::lock_guard<std::mutex> lock(cmutex);
    workWanted = true;
    cond.notify_one();
}

// --- default hooks ---

bool vokCachedResourceManager::wasStarted() {
    const std::lock_guard<std::mutex> lock(mlock);
    return recordCount() > 0;
}

void vokCachedResourceManager::prepare() {}

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

std::size_t vokCachedResourceManager::recordCount() {
    return recordStores.empty() ? 0 : recordStores.front()->size();
}

bool vokCachedResourceManager::runsWithoutRecords() {
    return false;
}

void vokCachedResourceManager::tearDown() {}
