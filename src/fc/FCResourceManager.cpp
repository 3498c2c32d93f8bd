#include "fc/FCResourceManager.h"

#include <utility>

#include "core/base/vokJsonText.h"
#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr char tag[] = "FC_RM";
constexpr long portCheckSeconds = 10;

constexpr vokManagerTraits fcTraits = [] {
    vokManagerTraits traits;
    traits.tag = tag;
    traits.moduleName = "FibreChannelDevices";
    traits.initText = "Initializing FCRM";
    traits.recentText = "Cache was recently refreshed. skipping the current refresh cycle";
    traits.buildText = "Building FC Cache";
    traits.exitText = nullptr;
    traits.pushText = "FCRM requesting cache push";
    traits.readyText = "FC cache status";
    traits.recordsName = "FCInventory";
    return traits;
}();
static_assert(fcTraits.isComplete());

}  // namespace

std::atomic<bool> FCResourceManager::stopFC{false};

FCResourceManager::FCResourceManager() : vokCachedResourceManager(fcTraits, stopFC) {}

FCResourceManager* FCResourceManager::getInstance() {
    static auto* const instance = new FCResourceManager;
    return instance;
}

// --- the loop ---

bool FCResourceManager::wasStarted() {
    return std::exchange(inited, true);
}

void FCResourceManager::prepare() {
    std::call_once(mapsFilled, [] {
        vokUtils::initFcInfoMap();
        vokUtils::initFcNameMap();
    });
}

void FCResourceManager::onTimeOut(time_t now, long refreshSeconds) {
    const long long elapsed = static_cast<long long>(now) - lastRefreshTime + portCheckSeconds;
    if (elapsed >= refreshSeconds)
        refreshCache = true;
    else if (elapsed == portCheckSeconds)  // only in the second in which the build ended
        checkPortState = true;
}

void FCResourceManager::betweenWaits(bool buildWanted) {
    if (buildWanted || !checkPortState || isStopping()) return;
    {
        const std::lock_guard<std::mutex> lock(mlock);
        if (FCInventory.empty()) return;
    }
    checkPortState = false;
    if (waitOnPortState()) cacheBuild();
}

bool FCResourceManager::waitOnPortState() {
    const std::lock_guard<std::mutex> lock(buildLock);
    VOK_LOG_DEBUG(tag, "Inside waitOnPortState");
    loadLibrary();
    discoverInstances();
    for (int index = 0; index < NumAdapters && !isStopping(); ++index) {
        vokFCDeviceInfo adapter(index);
        if (openAdapter(adapter)) {  // by rule the reverse of what a build does
            VOK_LOG_DEBUG(tag, "openAdapter() for FcaEntry %d Failed!", index);
            continue;
        }
        if (getFcHbaData(adapter) != HBA_STATUS_OK) {
            VOK_LOG_DEBUG(tag, "getFcHbaData() for FcaEntry %d Failed!", index);
            continue;
        }
        const auto known = portStates.find(index);
        if (known != portStates.end() && known->second != adapter.getvokFCStatus().getFCDeviceState())
            return true;
    }
    return false;
}

bool FCResourceManager::isStopping() {
    return stopFC || vokHostAccess().stopPhase() != vokStopPhase::none;
}

bool FCResourceManager::runsWithoutRecords() {
    return NumFcaEntries < 1;
}

// --- the build ---

FCResourceManager::gathered FCResourceManager::gather() {
    prepare();  // for a build without a run
    if (isStopping()) return gathered::cutShort;
    std::call_once(libraryLoaded, loadLibrary);
    if (isStopping()) return gathered::cutShort;
    discoverInstances();
    if (NumAdapters == 0) {
        setInventories({});
        backupInventory();  // a reader that finds mlock taken must not get adapters that are gone
        VOK_LOG_DEBUG(tag, "No FCA Entries Found! Cache build terminating!!!");
        return gathered::abandoned;
    }
    // An adapter that was read raises the number of entries by less than its ports. Those beyond the list
    // can't be opened and raise nothing, so the loop ends.
    for (int index = 0; index < NumFcaEntries; ++index) {
        if (isStopping()) return gathered::cutShort;
        gatherFrom(index);
    }
    return isStopping() ? gathered::cutShort : gathered::complete;
}

void FCResourceManager::gatherFrom(int index) {
    vokFCDeviceInfo adapter(index);
    if (!openAdapter(adapter)) {
        VOK_LOG_DEBUG(tag, "openAdapter() for FcaEntry %d Failed!", index);
        return;
    }
    // An adapter that is open when the stop comes stays open: its library may hang.
    if (isStopping()) return;
    const HBA_STATUS status = getFcHbaData(adapter);
    if (isStopping()) return;
    if (status != HBA_STATUS_OK) {
        VOK_LOG_WARNING(tag, "getFcHbaData() for FcaEntry %d Failed!", index);
        closeAdapter(adapter.getHandle());
        return;
    }
    if (adapter.getNumberOfPorts() > 1) NumFcaEntries += adapter.getNumberOfPorts() - 1;
    const VOK_RESOURCE_STATE state = adapter.getvokFCStatus().getFCDeviceState();
    portStates[index] = state;
    FCInventory.push_back(adapter);
    int eventId = 0;
    bool isService = false;
    compareStatusAndFetchEventAttributes(state, adapter.getvokFCStatus().getFCDeviceHealth(),
                                         adapter.getvokFCWWNN(), eventId, isService);
    // Waits for the delivery with mlock held, so that readers get the previous inventory meanwhile.
    if (eventId > 0) generateEvent(eventId, isService, adapter);
    if (!isStopping()) closeAdapter(adapter.getHandle());
}

void FCResourceManager::createJsonStringUsingJsonCpp() {
    std::vector<Json::Value> inventory;
    inventory.reserve(FCInventory.size());
    for (const vokFCDeviceInfo& adapter : FCInventory) {
        Json::Value element(Json::objectValue);
        jsonInventory(element, adapter);
        element["Status"]["State"] = vokResourceStateMap[adapter.getvokFCStatus().getFCDeviceState()];
        element["Status"]["Health"] = vokResourceHealthMap[adapter.getvokFCStatus().getFCDeviceHealth()];
        VOK_LOG_DEBUG(tag, "Printing FC instance %zu:    %s", inventory.size(), vokJsonText(element).c_str());
        inventory.push_back(std::move(element));
    }
    setInventory(std::move(inventory));
}

void FCResourceManager::jsonInventory(Json::Value& out, const vokFCDeviceInfo& adapter) {
    out["Model"] = adapter.getvokFCModel();
    out["SerialNumber"] = adapter.getvokFCSerialNumber();
    out["PartNumber"] = adapter.getvokFCPartNumber();
    out["FirmwareVersion"] = adapter.getvokFCFirmwareVersion();
    out["RomVersion"] = adapter.getvokFCRomVersion();
    out["WWPN"] = adapter.getvokFCWWPN();
    out["WWNN"] = adapter.getvokFCWWNN();
    out["Manufacturer"] = adapter.getvokFCManufacturer();
    Json::Value& oem = out["Oem"];
    oem["Description"] = adapter.getvokFCDescription();
    oem["PhysicalLocation"] = adapter.getvokFCOemPhyLoc().getFCPhysicalLocation();
}
