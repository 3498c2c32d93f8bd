// The resource manager of storage: controllers, drives, volumes and enclosures of all registered factories.
// It rebuilds their inventory on a timer and on demand, and polls the status of devices more often. Its
// members are implemented in three sources: the enclosures in SASEnclosures.cpp, its events in SASEvents.cpp,
// all else in SASResourceManager.cpp.
#pragma once

#include <json/value.h>
#include <atomic>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "core/inventory/vokCachedResourceManager.h"
#include "storage/IvokStorageControllerFactory.h"
#include "storage/vokDiskInfo.h"
#include "storage/vokInventoryBase.h"
#include "storage/vokLogicalDiskInfo.h"
#include "storage/vokRegistryManager.h"
#include "storage/vokStorageControllerInfo.h"
#include "storage/vokStorageEnclosureInfo.h"

class IvokStorageController;

class SASResourceManager : public vokCachedResourceManager {
public:
    using Factories = vokRegistryManager<IvokStorageControllerFactory*>;

    // Lives as long as the process.
    static SASResourceManager* getInstance();

    // Raise an event about `subject`, at its location, or without one.
    static void generateEvent(int id, std::string location, bool isServiceEvent,
                              const vokInventoryBase& subject);
    static void generateEvent(int id, bool isServiceEvent, const vokInventoryBase& subject);
    // Raises the event on a client's request, with a sample subject, at `location`. Returns 1, or 0 for an
    // event that has no sample.
    static int generateTestEvent(int id, std::string location, bool isServiceEvent);
    // Requests a new build. Within a build, on its thread, the request is void: that build has seen what
    // caused it, and would otherwise be followed by the next for ever.
    static void invalidateInventoryCache();
    // Requests a push at the end of the build that runs, or of the next one. A request of another thread
    // while a build runs is served by both: that build may have gathered before what caused the request.
    static void sendInventorytToRMCOnCacheBuild();
    // True if a registered factory takes care of this model.
    static bool isControllerModelSupported(unsigned int chipset, unsigned int board);

    void cacheBuild() override;
    // Also waits until the factories have been shut down, and so for the request to a disk that is in
    // progress: sixty seconds at most if it hangs, unless the driver takes longer to give it up. Does not
    // wait if the manager's thread does not run.
    void stopResourceManagerJob() override;
    // Also false if a controller has its events disabled.
    bool isRunning() override;
    void createJsonStringUsingJsonCpp() override;

    // Asks the factories for changes of their devices, and the controllers for theirs.
    void pollDevices();
    // Replaces the records; mlock is held.
    void getInventory();
    // Makes one enclosure of those that several connections have reported, and sets their box and location;
    // mlock is held.
    void collateAndFinalizeStorageEnclosures();
    // The enclosure of `collated` to which `enclosure` belongs, or null.
    static vokStorageEnclosureInfo* findMatchingStorageEnclosure(
        std::vector<vokStorageEnclosureInfo>& collated, const vokStorageEnclosureInfo& enclosure);
    // Shuts the factories down and ends the wait of stopResourceManagerJob(). On the manager's thread.
    void processResourceManagerStop();

    // The registration of the factory of plain SCSI hosts. A program that wants it constructs it before the
    // managers start, see vokUseGenericStorageFactory().
    static std::optional<Factories> FactoryRegister;

protected:
    bool wasStarted() override;
    long wakeInterval(long refreshSeconds) override;
    void betweenWaits(bool buildWanted) override;
    gathered gather() override;
    bool takePushRequests() override;
    bool runsWithoutRecords() override;
    void tearDown() override;

private:
    SASResourceManager();
    ~SASResourceManager() = default;

    // True once disks are no longer asked.
    static bool isStopping();
    // The inventory of one controller, to the records; mlock is held.
    void gatherFrom(IvokStorageController& controller);

    static std::atomic<bool> stopSAS;
    static std::atomic<bool> sendInventoryToRMC;     // set under cmutex
    static std::atomic<bool> pushAfterFurtherBuild;  // requested by another thread since the gathering began
    static std::atomic<time_t> lastPollTime;
    static bool condSignal;  // the factories have been shut down; under cmutex

    std::atomic<bool> inited{false};  // the manager's thread has come

    vokRecords<vokStorageControllerInfo> controllers{recordStores};
    vokRecords<vokDiskInfo> physicalDrives{recordStores};
    vokRecords<vokLogicalDiskInfo> logicalDisks{recordStores};
    vokRecords<vokStorageEnclosureInfo> enclosures{recordStores};
    std::vector<vokStorageControllerInfo>& ControllerInventory = controllers.current;
};
