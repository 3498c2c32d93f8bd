#include "storage/SASResourceManager.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <tuple>
#include <utility>

#include "core/base/vokConfig.h"
#include "core/base/vokJsonText.h"
#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokScsi.h"
#include "platform/access/vokWait.h"
#include "platform/utils/vokUtils.h"
#include "storage/IvokStorageController.h"
#include "storage/storage_utils.h"
#include "storage/vokHeldReference.h"

namespace {

constexpr char tag[] = "SAS_RM";
constexpr long pollSeconds = 10;
constexpr long secondsThatPollsAreApart = 9;  // at least one more
constexpr long stopWaitSeconds = 60;          // one wait for the factories' shutdown, which is repeated

constexpr vokManagerTraits storageTraits = [] {
    vokManagerTraits traits;
    traits.tag = tag;
    traits.moduleName = "StorageControllers";
    traits.initText = "Entered init";
    traits.startText = "reached startInventory";
    traits.buildText = "Building storage cache.";
    traits.exitText = nullptr;
    traits.pushText = "SASRM requesting cache push";
    traits.readyText = "SAS RM cache status";
    traits.recordsName = "ControllerInventory";
    traits.previousCopyText = "Cache build is in progress. Returning previously saved inventory.";
    traits.currentCopyText = "returning Inventory size: ";
    traits.equalsBlank = " ";
    traits.retryPauseSeconds = 5;
    traits.stopIsDebug = true;
    traits.inventories = 4;
    return traits;
}();
static_assert(storageTraits.isComplete());

// True on a thread within a build of its own.
thread_local bool isBuilding = false;

class BuildOnThisThread {
public:
    BuildOnThisThread() { isBuilding = true; }
    ~BuildOnThisThread() { isBuilding = false; }
    BuildOnThisThread(const BuildOnThisThread&) = delete;
    BuildOnThisThread& operator=(const BuildOnThisThread&) = delete;
};

std::vector<vokHeldReference<IvokStorageController>> controllersOf(IvokStorageControllerFactory& factory) {
    std::vector<IvokStorageController*> list;
    factory.getControllers(vokAnyFamily, list);
    return vokTakeReferences(list);
}

// Measures how long one controller takes, if the settings ask for it.
class Stopwatch {
public:
    Stopwatch() : runs_(vokConfig::getInstance()->isRMStatisticsLoggingEnabled()) {
        if (runs_) vokHostAccess().steadyClock(&begin_);
    }
    void log(const vokStorageControllerInfo& info, const std::string& pciLocation) const {
        if (!runs_) return;
        timespec now{};
        timespec taken{};
        vokHostAccess().steadyClock(&now);
        vokUtils::diffTimespec(now, begin_, taken);
        constexpr long nanosecondsInHundredth = 10000000;
        VOK_LOG_INFO(
            tag, "Time taken to gather complete inventory from [%s, SN %s] @ [%s]: [%ld.%.2ld] seconds",
            info.getModel().c_str(), info.getSerialNumber().c_str(), pciLocation.c_str(),
            static_cast<long>(taken.tv_sec), static_cast<long>(taken.tv_nsec) / nanosecondsInHundredth);
    }

private:
    bool runs_;
    timespec begin_{};
};

template <typename Record>
void moveTo(std::vector<Record>& all, std::vector<Record>&& some) {
    all.insert(all.end(), std::make_move_iterator(some.begin()), std::make_move_iterator(some.end()));
}

// --- documents ---

Json::Value statusOf(const vokStatusInfo& record) {
    Json::Value status(Json::objectValue);
    status["State"] = vokResourceStateMap[record.getState()];
    status["Health"] = vokResourceHealthMap[record.getHealth()];
    return status;
}

Json::Value documentOf(const vokStorageControllerInfo& controller) {
    Json::Value document(Json::objectValue);
    document["Model"] = controller.getModel();
    document["SerialNumber"] = controller.getSerialNumber();
    document["PartNumber"] = controller.getPartNumber();
    document["FirmwareVersion"] = controller.getFirmwareVersion();
    document["Protocol"] = controller.getProtocol();
    document["Manufacturer"] = controller.getManufacturer();
    document["Status"] = statusOf(controller);
    document["Oem"]["Description"] = controller.getDescription();
    document["Oem"]["PhysicalLocation"] = controller.getPhysicalLocation();
    return document;
}

Json::Value documentOf(const vokDiskInfo& disk) {
    Json::Value document(Json::objectValue);
    document["SerialNumber"] = disk.getSerialNumber();
    document["PartNumber"] = disk.getPartNumber();
    document["Model"] = disk.getModel();
    document["CapacityBytes"] = static_cast<Json::UInt64>(disk.getCapacityBytes());
    document["Protocol"] = disk.getProtocol();
    document["MediaType"] = disk.getMediaType();
    document["Revision"] = disk.getRevision();
    document["Manufacturer"] = disk.getManufacturer();
    document["Status"] = statusOf(disk);
    document["Oem"]["Slot"] = disk.getSlot();
    document["Oem"]["PhysicalLocation"] = disk.getPhysicalLocation();
    return document;
}

Json::Value documentOf(const vokLogicalDiskInfo& volume) {
    Json::Value document(Json::objectValue);
    document["DurableName"] = volume.getDurableName();
    document["VolumeType"] = volume.getRAIDLevel();
    document["CapacityBytes"] = static_cast<Json::UInt64>(volume.getCapacityBytes());
    document["Drives"] = Json::Value(Json::arrayValue);
    for (const std::string& drive : volume.getPhysicalDiskVector()) document["Drives"].append(drive);
    document["Status"] = statusOf(volume);
    document["Oem"]["DeviceName"] = volume.getDeviceName();
    document["Oem"]["HostControllerPhysicalLocation"] = volume.getHostControllerPhysicalLocation();
    return document;
}

Json::Value documentOf(const vokStorageEnclosureInfo& enclosure) {
    return enclosure.getInventoryData();
}

template <typename Record>
std::vector<Json::Value> documentsOf(const std::vector<Record>& records, const char* name) {
    std::vector<Json::Value> documents;
    documents.reserve(records.size());
    for (const Record& record : records) {
        documents.push_back(documentOf(record));
        VOK_LOG_DEBUG(tag, "Printing %s instance %zu:    %s", name, documents.size() - 1,
                      vokJsonText(documents.back()).c_str());
    }
    return documents;
}

}  // namespace

std::atomic<bool> SASResourceManager::stopSAS{false};
std::atomic<bool> SASResourceManager::sendInventoryToRMC{false};
std::atomic<bool> SASResourceManager::pushAfterFurtherBuild{false};
std::atomic<time_t> SASResourceManager::lastPollTime{0};
bool SASResourceManager::condSignal = false;
std::optional<SASResourceManager::Factories> SASResourceManager::FactoryRegister;

SASResourceManager::SASResourceManager() : vokCachedResourceManager(storageTraits, stopSAS) {}

SASResourceManager* SASResourceManager::getInstance() {
    static auto* const instance = new SASResourceManager;
    return instance;
}

// --- requests of the controllers and factories ---

void SASResourceManager::invalidateInventoryCache() {
    VOK_LOG_DEBUG(tag, "Invalidating inventory cache.");
    if (!isBuilding) getInstance()->requestRefresh();
    VOK_LOG_DEBUG(tag, "Inventory cache invalidated.");
}

void SASResourceManager::sendInventorytToRMCOnCacheBuild() {
    VOK_LOG_DEBUG(tag, "Signalling for inventory push to RMC on cache build.");
    {
        const std::lock_guard<std::mutex> lock(getInstance()->cmutex);
        sendInventoryToRMC = true;
        if (!isBuilding) pushAfterFurtherBuild = true;
    }
    VOK_LOG_DEBUG(tag, "Signalled inventory push");
}

bool SASResourceManager::isControllerModelSupported(unsigned int chipset, unsigned int board) {
    const auto isModel = [=](const std::tuple<unsigned int, unsigned int>& each) {
        return std::get<0>(each) == chipset && (std::get<1>(each) == 0 || std::get<1>(each) == board);
    };
    const auto& factories = Factories::_registryList();
    return std::any_of(factories.begin(), factories.end(), [&](IvokStorageControllerFactory* factory) {
        const auto& models = factory->getSupportedControllerModels();
        return std::any_of(models.begin(), models.end(), isModel);
    });
}

// --- the loop ---

bool SASResourceManager::wasStarted() {
    return inited.exchange(true);
}

long SASResourceManager::wakeInterval(long refreshSeconds) {
    VOK_LOG_DEBUG(tag, "SAS refresh interval: %ld", refreshSeconds);
    VOK_LOG_DEBUG(tag, "SAS poll interval: %ld", pollSeconds);
    return refreshSeconds > 0 ? compute_gcd(refreshSeconds, pollSeconds) : pollSeconds;
}

void SASResourceManager::betweenWaits(bool) {
    if (!cacheReady) return;  // the first build finds what there is
    const time_t now = vokWallClockSeconds();
    if (now == 0) return;  // the clock can't be read
    if (now - lastPollTime > secondsThatPollsAreApart || vokIsStillToCome(lastPollTime, now)) pollDevices();
}

void SASResourceManager::pollDevices() {
    VOK_LOG_DEBUG(tag, "Polling devices.");
    for (IvokStorageControllerFactory* const factory : Factories::_registryList()) {
        factory->poll();
        for (const auto& controller : controllersOf(*factory))
            if (!isStopping()) controller->poll();
    }
    lastPollTime = vokWallClockSeconds();
}

// --- the build ---

void SASResourceManager::cacheBuild() {
    const BuildOnThisThread building;
    vokCachedResourceManager::cacheBuild();
}

SASResourceManager::gathered SASResourceManager::gather() {
    pushAfterFurtherBuild = false;
    getInventory();
    return isStopping() ? gathered::cutShort : gathered::complete;
}

bool SASResourceManager::isStopping() {
    return stopSAS || vokIsScsiRefused();
}

void SASResourceManager::getInventory() {
    for (IvokStorageControllerFactory* const factory : Factories::_registryList()) {
        std::vector<IvokStorageController*> list;
        factory->discoverControllers(list);
        VOK_LOG_DEBUG(tag, "discoverControllers() completed with %d.", static_cast<int>(list.size()));
        for (auto& controller : vokTakeReferences(list)) {
            if (!isStopping()) gatherFrom(*controller);
            controller.reset();
        }
    }
    collateAndFinalizeStorageEnclosures();
}

void SASResourceManager::gatherFrom(IvokStorageController& controller) {
    const Stopwatch stopwatch;
    vokStorageControllerInfo info;
    std::vector<vokDiskInfo> drives;
    std::vector<vokLogicalDiskInfo> volumes;
    std::vector<vokStorageEnclosureInfo> reported;
    controller.discoverInventory(info);
    controller.discoverPhysicalDiskInventory(drives);
    controller.discoverLogicalDiskInventory(volumes);
    controller.discoverStorageEnclosureInventory(reported);
    if (isStopping()) return;
    controller.enableEvents();
    stopwatch.log(info, controller.getPciLocation());
    ControllerInventory.push_back(std::move(info));
    moveTo(physicalDrives.current, std::move(drives));
    moveTo(logicalDisks.current, std::move(volumes));
    moveTo(enclosures.current, std::move(reported));
}

void SASResourceManager::createJsonStringUsingJsonCpp() {
    setInventories({documentsOf(ControllerInventory, "controller"),
                    documentsOf(physicalDrives.current, "disk"),
                    documentsOf(logicalDisks.current, "logical disk"),
                    documentsOf(enclosures.current, "storage enclosure")});
}

bool SASResourceManager::takePushRequests() {
    const bool isRequested = [] {
        const std::lock_guard<std::mutex> lock(getInstance()->cmutex);
        return sendInventoryToRMC.exchange(pushAfterFurtherBuild);
    }();
    return vokCachedResourceManager::takePushRequests() || isRequested;
}

// --- status and stop ---

bool SASResourceManager::runsWithoutRecords() {
    return cacheReady;
}

bool SASResourceManager::isRunning() {
    if (!vokCachedResourceManager::isRunning()) return false;
    for (IvokStorageControllerFactory* const factory : Factories::_registryList()) {
        for (const auto& controller : controllersOf(*factory)) {
            if (controller->isEventsEnabled()) continue;
            VOK_LOG_INFO(tag,
                         "LSI Events are disabled.Hence Storage Controllers is                               "
                         "        partially functional.");
            return false;
        }
    }
    return true;
}

void SASResourceManager::stopResourceManagerJob() {
    vokCachedResourceManager::stopResourceManagerJob();
    std::unique_lock<std::mutex> lock(cmutex);
    while (isActive() && !condSignal) {
        timespec deadline{};
        vokHostAccess().steadyClock(&deadline);
        deadline.tv_sec += stopWaitSeconds;
        const int result =
            vokHostAccess().steadyWait(runEnded.native_handle(), cmutex.native_handle(), &deadline);
        if (result == 0 || result == ETIMEDOUT) continue;
        lock.unlock();
        VOK_LOG_WARNING(tag, "Wait for resource manager stop completed with %d.", result);
        return;
    }
    const bool isLeft =
        inited && !condSignal;  // the loop has ended by itself, when the clock could not be read
    lock.unlock();
    if (isLeft) processResourceManagerStop();
    VOK_LOG_DEBUG(tag, "Resource manager stopped.");
}

void SASResourceManager::tearDown() {
    if (stopSAS) processResourceManagerStop();
}

void SASResourceManager::processResourceManagerStop() {
    VOK_LOG_DEBUG(tag, "Resource manager stop in progress.");
    for (IvokStorageControllerFactory* const factory : Factories::_registryList()) factory->shutdownFactory();
    const std::lock_guard<std::mutex> lock(cmutex);
    condSignal = true;
    runEnded.notify_all();
}
