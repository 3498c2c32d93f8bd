// The contract of a resource manager: it owns one class of hardware, keeps a cached inventory of it as
// JSON, refreshes it on a timer, watches status and raises events.
#pragma once

#include <json/value.h>
#include <atomic>
#include <memory>
#include <vector>

#include "core/inventory/vokInventoryReader.h"

// The order of the virtual operations is part of the interface; there is no virtual destructor, since the
// managers live as long as the process.
class vokResourceManager {
public:
    virtual void cacheBuild() = 0;
    virtual void stopResourceManagerJob() = 0;
    // Runs the manager; returns when it has been stopped.
    virtual void init() = 0;
    virtual void startInventory() = 0;
    // A copy of the inventory. False: the current one. True: the previous one, because a build runs.
    virtual bool getInventoryJsonObject(std::vector<Json::Value>& out) = 0;
    virtual int getInventoryJsonObject2(int type, std::vector<Json::Value>& out);
    virtual int getTelemetryJsonObject(Json::Value& out);
    virtual int getUtilizationJsonObject(Json::Value& out);
    virtual int getFileServiceJsonObject(std::vector<Json::Value>& out);
    // True if the manager runs and its cache is built. May take several seconds.
    virtual bool isRunning() = 0;
    // True if a first build has ended. `iteration` is the 0-based pass of the aggregator's readiness loop.
    virtual bool isInventoryReady(int iteration) = 0;
    // For a reader that makes several requests. By default each of them is forwarded to the manager.
    virtual std::unique_ptr<vokInventoryReader> openReader();
    // Ends the wait of the manager's thread if the wall clock has been set back beyond its begin. The thread
    // then does what is due by the clock, and waits anew. Returns true if it was woken.
    virtual bool recheckWait();

protected:
    ~vokResourceManager() = default;

    std::atomic<bool> cacheReady{false};        // set after the first whole build, never cleared
    std::atomic<bool> pushOnCacheBuild{false};  // the aggregator gave up waiting: push when built
};
