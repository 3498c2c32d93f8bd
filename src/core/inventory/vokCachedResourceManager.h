// What all resource managers share: the waiting loop, the build of the cache with its locks, the current and
// the previous inventory, readiness, the running test and the stop. A manager derives from it, states its
// constants in a vokManagerTraits and fills in the hooks; it holds only what is its own.
#pragma once

#include <json/value.h>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <ctime>
#include <memory>
#include <mutex>
#include <vector>

#include "core/inventory/vokManagerTraits.h"
#include "core/inventory/vokRecords.h"
#include "core/inventory/vokResourceManager.h"

// The JSON of one build, a list for each type, type 1 first. Readers share it, so it is never changed.
using vokInventorySet = std::vector<std::vector<Json::Value>>;

class vokCachedResourceManager : public vokResourceManager {
public:
    // Builds the cache anew. One build runs at a time, whoever calls: a second caller waits and then builds
    // too, since the build that it found running may have gathered already what it was called for. Not to be
    // called from within a build; requestRefresh() may be.
    void cacheBuild() override;
    void stopResourceManagerJob() override;
    // One life: prepare(), the loop, tearDown(). Does nothing when the manager has records or is active.
    void init() override;
    void startInventory() override;
    bool getInventoryJsonObject(std::vector<Json::Value>& out) override;
    // With one inventory: 0, and `out` is left alone. The same for a type that there is not.
    int getInventoryJsonObject2(int type, std::vector<Json::Value>& out) override;
    bool isRunning() override;
    bool isInventoryReady(int iteration) override;
    // All answers are of the build that was current, or previous, when the reader was opened.
    std::unique_ptr<vokInventoryReader> openReader() override;

    // Makes the previous inventory the current one, and likewise the records that are compared; mlock is
    // held.
    virtual void backupInventory();
    // Makes the JSON from the records and hands it to setInventory(); mlock is held.
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

    // The life begins, no lock held.
    virtual void prepare();
    // Seconds between two builds, asked once when the loop starts. Default: the configuration.
    virtual long refreshInterval();
    // Seconds of one wait. Default: the refresh interval, or 30 if that is not positive.
    virtual long wakeInterval(long refreshSeconds);
    // A wait has timed out at `now`, and cmutex is held: sets refreshCache or flags of the manager's own, and
    // takes no other lock. Default: a build is wanted when the refresh interval has passed since the last
    // one.
    virtual void onTimeOut(time_t now, long refreshSeconds);
    // Between two waits, no lock held, before the build if one is wanted: status polls, and the work that
    // callbacks have handed over. May call cacheBuild() itself.
    virtual void betweenWaits(bool buildWanted);
    // Within a build, buildLock and mlock held. destroyRecords() empties all stores, unless it is overridden.
    virtual void destroyRecords();
    virtual gathered gather() = 0;
    // After a complete build, buildLock held, before the manager counts as ready: events for what changed.
    virtual void afterBuild();
    // Takes the requests for a push, so that each is served once and none that comes later is lost.
    virtual bool takePushRequests();
    // The number of records, mlock held. Default: those of the first store.
    virtual std::size_t recordCount();
    // True if the manager counts as running although it has no records; mlock is held.
    virtual bool runsWithoutRecords();
    // The life ends, no lock held: once for each life, also when the loop was not entered because the cache
    // was fresh, the manager had records or had been stopped.
    virtual void tearDown();

    // --- for the managers ---

    // Replaces the current inventory, or all of them, one list for each type; mlock is held.
    void setInventory(std::vector<Json::Value> documents);
    void setInventories(vokInventorySet inventories);
    // Compares the records with those of the previous build, see vokRecordHistory::compare(), and returns the
    // events to raise; mlock is held. It stays held while they are raised, so that readers get the previous
    // inventory meanwhile and none of them waits; prevInventoryLock is free again.
    template <typename Record, typename KeyOf, typename Judge>
    auto pendingEvents(const vokRecordHistory<Record>& records, KeyOf keyOf, Judge judge) {
        const std::lock_guard<std::mutex> lock(prevInventoryLock);
        return records.compare(keyOf, judge);
    }
    // Asks for a build and wakes the loop. From any thread, also within a build.
    void requestRefresh();
    // Has the loop call betweenWaits() soon, without a build, and then wait on as if it had not been woken:
    // for callbacks on a library's thread, which hand over their work by a member of the manager's own. From
    // any thread, also within a build. Requests that come before the call are served by one.
    void requestWork();

    const vokManagerTraits& traits_;
    std::vector<vokRecordStore*> recordStores;  // as the members that hold records were made

    std::shared_ptr<const vokInventorySet> currentInventory;   // under mlock
    std::shared_ptr<const vokInventorySet> previousInventory;  // under prevInventoryLock

    std::atomic<bool> refreshCache{true};  // set under cmutex; true at first, so the first build has no wait
    bool workWanted = false;               // under cmutex
    std::atomic<bool>& stop_;              // set under cmutex
    std::atomic<time_t> lastRefreshTime{0};
    std::atomic<bool> _cacheBuildInProgress{false};

    // The order of all locks; a thread that holds one takes only those that follow it.
    //
    // - buildLock: one builder at a time, for a whole cacheBuild().
    // - mlock: the records and the current inventory, for a whole gathering and while events are raised.
    // - prevInventoryLock: the previous inventory, only while it is copied or compared.
    // - cmutex: the wait and its flags.
    // - vokJsonAggregator::cmutex: for the push request at the end of a build. It is held while
    //   isInventoryReady() is asked, which takes no lock of the manager.
    // - ipmi::IPMIUtils::mlock: for a whole remote command. The raiser of an event joins the thread that
    //   delivers it, so that thread's locks count as the raiser's.
    // - The logger's lock.
    //
    // A reader only tries mlock, and so never waits for a build.
    std::mutex buildLock;
    std::mutex mlock;
    std::mutex prevInventoryLock;
    std::mutex cmutex;
    std::condition_variable cond;

private:
    struct Snapshot {
        std::shared_ptr<const vokInventorySet> inventories;
        bool isPrevious;
    };
    class SnapshotReader;

    // False if the manager is active already; then the end is not the caller's either.
    bool beginLife();
    void endLife();
    bool hasRecords();
    bool isFresh();
    void runLoop();
    Snapshot takeSnapshot();
    // The answers to the two questions, from a snapshot.
    bool answer(const Snapshot& snapshot, std::vector<Json::Value>& out) const;
    int answer(const Snapshot& snapshot, int type, std::vector<Json::Value>& out) const;
    bool copyOut(const Snapshot& snapshot, std::size_t index, std::vector<Json::Value>& out) const;

    std::atomic<bool> active_{false};
};
