// The code that all resource managers share: the waiting loop, the build of the cache with its locks, the
// current and the previous inventory, readiness, the running test and the stop. A manager derives from it,
// sets its constants in a vokManagerTraits and overrides the hooks; it contains only what differs.
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
#include "platform/access/vokWait.h"

// The JSON of one build, a list for each type, type 1 first. Readers share it, so it is never changed.
using vokInventorySet = std::vector<std::vector<Json::Value>>;

class vokCachedResourceManager : public vokResourceManager {
public:
    // Rebuilds the cache. Only one build runs at a time: a second caller waits and then builds too, since
    // the running build may have gathered its data before the change that caused the call. Must not be
    // called within a build; requestRefresh() may be. Does nothing once the stop of the agent is requested;
    // a build that the stop has cut short or deprived of its commands leaves the inventory of the build
    // before it, and raises no event and requests no push.
    void cacheBuild() override;
    void stopResourceManagerJob() override;
    // One run: prepare(), the loop, tearDown(). Does nothing if the manager was started or is active.
    void init() override;
    void startInventory() override;
    bool getInventoryJsonObject(std::vector<Json::Value>& out) override;
    // Returns 0 and leaves `out` unchanged if the manager has only one inventory, or none of this type.
    int getInventoryJsonObject2(int type, std::vector<Json::Value>& out) override;
    // Returns after three pauses at the latest, also if a build never ends.
    bool isRunning() override;
    bool isInventoryReady(int iteration) override;
    // All results come from the build that was current, or previous, when the reader was opened.
    std::unique_ptr<vokInventoryReader> openReader() override;
    bool recheckWait() override;

    // Copies the current inventory to the previous one, and likewise the records that are compared; mlock
    // is held.
    virtual void backupInventory();
    // Creates the JSON of the records and passes it to setInventory(); mlock is held.
    virtual void createJsonStringUsingJsonCpp() = 0;

protected:
    enum class gathered {
        complete,   // continue with the JSON and the common end of the build
        abandoned,  // end the build here, ready and empty, but without a refresh time or a push
        cutShort,   // end the build here, with the inventory of the build before: the stop has broken it off
    };

    // `stopFlag` belongs to the derived class; both arguments must live as long as the process.
    vokCachedResourceManager(const vokManagerTraits& traits, std::atomic<bool>& stopFlag);
    ~vokCachedResourceManager() = default;

    // --- hooks, in the order in which they are called ---

    // True if init() shall not start the manager; no lock is held. Default: it has records.
    virtual bool wasStarted();
    // At the start of a run; no lock is held.
    virtual void prepare();
    // Seconds between two builds, read once when the loop starts. Default: the configured interval.
    virtual long refreshInterval();
    // Length of one wait in seconds. Default: the refresh interval, or 30 if that is not positive.
    virtual long wakeInterval(long refreshSeconds);
    // Called with cmutex held when a wait has timed out at `now`: sets refreshCache or flags of the derived
    // class, and must take no other lock. Not called if the last refresh is still to come by the clock, which
    // has then been set back: a build is due. Default: requests a build when the refresh interval has passed
    // since the last one.
    virtual void onTimeOut(time_t now, long refreshSeconds);
    // Between two waits, before the build if one is wanted; no lock is held. For status polls and the work
    // that callbacks have deferred. May call cacheBuild() itself. A build that it requests is the wanted one,
    // if there is one.
    virtual void betweenWaits(bool buildWanted);
    // Within a build, with buildLock and mlock held. By default destroyRecords() empties all stores.
    virtual void destroyRecords();
    virtual gathered gather() = 0;
    // After a complete build, with buildLock held, before the manager counts as ready: raises events for
    // changes.
    virtual void afterBuild();
    // Returns and clears the requests for a push, so that each is served once and no later one is lost.
    virtual bool takePushRequests();
    // The number of records; mlock is held. Default: the size of the first store.
    virtual std::size_t recordCount();
    // True if the manager counts as running although it has no records; mlock is held.
    virtual bool runsWithoutRecords();
    // At the end of each run, once; no lock is held. Also called if the loop was not entered because the
    // cache was fresh, the manager had records or had been stopped.
    virtual void tearDown();

    // --- for derived classes ---

    // Replaces the current inventory, or all of them, one list for each type; mlock is held.
    void setInventory(std::vector<Json::Value> documents);
    void setInventories(vokInventorySet inventories);
    // Compares the records with those of the previous build, see vokRecordHistory::compare(), and returns
    // the events to raise; mlock is held. The caller keeps it while raising them, so that readers get the
    // previous inventory meanwhile without waiting; prevInventoryLock has been released.
    template <typename Record, typename KeyOf, typename Judge>
    auto pendingEvents(const vokRecordHistory<Record>& records, KeyOf keyOf, Judge judge) {
        const std::lock_guard<std::mutex> lock(prevInventoryLock);
        return records.compare(keyOf, judge);
    }
    // Requests a build and wakes the loop. May be called from any thread, also within a build.
    void requestRefresh();
    // Makes the loop call betweenWaits() soon, without a build, and then continue its wait unchanged. For
    // callbacks on a library's thread, which leave their work in a member of the derived class. May be
    // called from any thread, also within a build. Several requests before betweenWaits() are served by one
    // call of it.
    void requestWork();
    // True during a run, until its tearDown() has returned; cmutex is held.
    bool isActive() const { return active_; }

    const vokManagerTraits& traits_;
    const int classId_;                         // of vokModules.h; -1: it has none
    std::vector<vokRecordStore*> recordStores;  // in the order in which the record members are constructed

    std::shared_ptr<const vokInventorySet> currentInventory;   // under mlock
    std::shared_ptr<const vokInventorySet> previousInventory;  // under prevInventoryLock

    std::atomic<bool> refreshCache{true};  // set under cmutex; true at first: the first build does not wait
    bool workWanted = false;               // under cmutex
    std::atomic<bool>& stop_;              // set under cmutex
    std::atomic<time_t> lastRefreshTime{0};
    std::atomic<bool> _cacheBuildInProgress{false};

    // The order of all locks; a thread that holds one takes only those that follow it.
    //
    // - buildLock: one builder at a time, for a whole cacheBuild().
    // - mlock: the records and the current inventory, for a whole gathering and while events are raised.
    // - prevInventoryLock: the previous inventory, only while it is copied or compared.
    // - Of storage: the lock of the factory, then that of a controller. Events are raised with both held.
    //   Then, of RAID controllers, ioLoadingHelperMutex and cache_lock. A build may end their registration
    //   for events, which waits for callbacks; so these take neither buildLock nor mlock.
    // - cmutex: the wait and its flags.
    // - vokJsonAggregator::cmutex: for the push request at the end of a build. The aggregator holds it while
    //   it calls isInventoryReady(), which takes no lock of the manager.
    // - ipmi::IPMIUtils::mlock: for a whole remote command. Events are delivered on a thread that the
    //   raising thread joins, so the former's locks count as the latter's.
    // - The lock of the watch in vokLongOperation.cpp, that of the history, then the logger's.
    //
    // A reader only tries mlock, and so never waits for a build.
    std::mutex buildLock;
    std::mutex mlock;
    std::mutex prevInventoryLock;
    std::mutex cmutex;
    std::condition_variable cond;
    std::condition_variable runEnded;  // notified at the end of each run; with cmutex

private:
    struct Snapshot {
        std::shared_ptr<const vokInventorySet> inventories;
        bool isPrevious;
    };
    class SnapshotReader;

    // False if the manager is already active; the caller must then not call endRun().
    bool beginRun();
    void endRun();
    bool isFresh();
    void runLoop();
    // For the status record: when the loop builds next, by the clock. cmutex is held.
    time_t plannedBuild(long refreshSeconds) const;
    // After a wait that has timed out; cmutex is held.
    void decideRefresh(long refreshSeconds);
    Snapshot takeSnapshot();
    // Locks within a number of microseconds, which it reduces by the time that has passed. False if the lock
    // was held by others throughout.
    static bool lockWithin(std::unique_lock<std::mutex>& lock, unsigned long& microseconds);
    // The results of the two getters, from a snapshot.
    bool answer(const Snapshot& snapshot, std::vector<Json::Value>& out) const;
    int answer(const Snapshot& snapshot, int type, std::vector<Json::Value>& out) const;
    bool copyOut(const Snapshot& snapshot, std::size_t index, std::vector<Json::Value>& out) const;

    std::atomic<bool> active_{false};
    vokDeadline deadline_;             // of the loop's wait; under cmutex
    std::atomic<unsigned> builds_{0};  // ended so far
};
