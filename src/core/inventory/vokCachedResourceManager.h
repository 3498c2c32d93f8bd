// What all resource managers share: the waiting loop, the build of the cache with its locks, the current and
// the previous inventory, readiness, the running test and the stop. A manager derives from it, states its
// constants in a vokManagerTraits and fills in the hooks; it holds only what is its own.
//
// Locks: `mlock` is held for a whole build, `prevInventoryLock` is taken inside it, `cmutex` guards the wait
// and is never held together with either. A reader never waits for a build.
#pragma once

#include <json/value.h>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <ctime>
#include <mutex>
#include <string>
#include <vector>

#include "core/inventory/vokResourceManager.h"

// The constants in which the managers differ.
struct vokManagerTraits {
    const char* tag;               // module tag of its log lines
    const char* moduleName;        // its name in the configuration
    const char* buildText;         // debug line at the start of a build
    const char* exitText;          // debug line at the end of a build, or null
    const char* pushText;          // debug line when a build asks for a push
    const char* previousCopyText;  // debug line when a reader gets the previous inventory
    const char* recentText;        // debug line when the loop is not entered because the cache is fresh
    const char* readyText;         // info line of isInventoryReady(), up to the number
    const char* recordsName;       // the records that isRunning() counts, as its warning names them
    const char* equalsBlank;       // what stands behind "=" before the last two numbers of that warning
    unsigned retryPauseSeconds;    // between the passes of isRunning()
    bool stopIsDebug;              // the lines of the stop call are debug, otherwise info
};

class vokCachedResourceManager : public vokResourceManager {
public:
    void cacheBuild() override;
    void stopResourceManagerJob() override;
    void startInventory() override;
    bool getInventoryJsonObject(std::vector<Json::Value>& out) override;
    bool isRunning() override;
    bool isInventoryReady(int iteration) override;

    // Makes the previous inventory a copy of the current one. A manager with further inventories overrides
    // it and holds prevInventoryLock while it copies.
    virtual void backupInventory();
    // Rebuilds the current inventory from the records; mlock is held.
    virtual void createJsonStringUsingJsonCpp() = 0;

protected:
    enum class gathered {
        complete,   // go on with the JSON and the common end of the build
        abandoned,  // end the build here: ready, but neither a refresh time nor a push
    };

    // `stopFlag` is the manager's own; both arguments live as long as the process.
    vokCachedResourceManager(const vokManagerTraits& traits, std::atomic<bool>& stopFlag);
    ~vokCachedResourceManager() = default;

    // --- hooks, in the order of a manager's life ---

    // Seconds between two builds, asked once when the loop starts. Default: the configuration.
    virtual long refreshInterval();
    // Seconds of one wait. Default: the refresh interval, or 30 if that is not positive.
    virtual long wakeInterval(long refreshSeconds);
    // A wait has timed out at `now`, and cmutex is held: sets refreshCache or flags of the manager's own.
    // Default: a build is wanted when the refresh interval has passed since the last one.
    virtual void onTimeOut(time_t now, long refreshSeconds);
    // Between two waits, no lock held, before the build if one is wanted: status polls. May call
    // cacheBuild() itself.
    virtual void betweenWaits(bool buildWanted);
    // Within a build, mlock held.
    virtual void destroyRecords() = 0;
    virtual gathered gather() = 0;
    // After a complete build, no lock held, before the manager counts as ready: events for what changed.
    virtual void afterBuild();
    // Takes the requests for a push, so that each is served once and none that comes later is lost.
    virtual bool takePushRequests();
    // The number of records, mlock held.
    virtual std::size_t recordCount() = 0;
    // Does the manager count as running although it has no records? mlock is held.
    virtual bool runsWithoutRecords();
    // The loop has been left, for whatever reason, no lock held: teardown.
    virtual void onLoopLeft();

    // For managers with several inventories: the current copy into `out` and false, or the previous and
    // true while a build runs.
    bool copyInventory(const std::vector<Json::Value>& current, const std::vector<Json::Value>& previous,
                       std::vector<Json::Value>& out);
    // Asks for a build and wakes the loop.
    void requestRefresh();

    const vokManagerTraits& traits_;

    std::vector<Json::Value> currentInventory;   // under mlock
    std::vector<Json::Value> previousInventory;  // under prevInventoryLock

    std::atomic<bool> refreshCache{true};  // set under cmutex; true at first, so the first build has no wait
    std::atomic<bool>& stop_;              // set under cmutex
    std::atomic<time_t> lastRefreshTime{0};
    std::atomic<bool> _cacheBuildInProgress{false};
    std::mutex mlock;
    std::mutex prevInventoryLock;
    std::mutex cmutex;
    std::condition_variable cond;
};
