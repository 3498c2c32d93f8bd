#include "nic/NICResourceManager.h"

#include <algorithm>

#include "core/base/vokJsonText.h"
#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"

namespace {

constexpr long wakeSeconds = 10;
constexpr long linkPollSeconds = 10;  // after a build

constexpr vokManagerTraits nicTraits = [] {
    vokManagerTraits traits;
    traits.tag = "NIC_RM";
    traits.moduleName = "EthernetDevices";
    traits.activeText = "VOK thread for Ethernet already active. Cannot spawn another one.";
    traits.buildText = "Building NIC Cache";
    traits.pushText = "NICRM requesting cache push";
    traits.readyText = "NIC cache status";
    traits.recordsName = "NICInventory";
    return traits;
}();
static_assert(nicTraits.isComplete());

}  // namespace

std::atomic<bool> NICResourceManager::stopNIC{false};

NICResourceManager::NICResourceManager() : vokCachedResourceManager(nicTraits, stopNIC) {}

NICResourceManager* NICResourceManager::getInstance() {
    static auto* const instance = new NICResourceManager;
    return instance;
}

void NICResourceManager::prepare() {
    eventMonitor.startMonitoring();
}

void NICResourceManager::tearDown() {
    eventMonitor.stopMonitoring();
}

long NICResourceManager::wakeInterval(long) {
    return wakeSeconds;
}

void NICResourceManager::onTimeOut(time_t now, long refreshSeconds) {
    const long long elapsed = static_cast<long long>(now) - lastRefreshTime;
    if (elapsed >= refreshSeconds)
        refreshCache = true;
    else if (elapsed == linkPollSeconds)  // true once after each build
        checkNICState = true;
}

void NICResourceManager::betweenWaits(bool buildWanted) {
    if (buildWanted) VOK_LOG_DEBUG("NIC_RM", "Refreshing Ethernet cache");
    if (!checkNICState || vokHostAccess().stopPhase() != vokStopPhase::none) return;
    VOK_LOG_DEBUG("NIC_RM", "Polling for interface link state change.");
    checkNICState = false;
    if (checkLinkState()) cacheBuild();
}

NICResourceManager::gathered NICResourceManager::gather() {
    getInventory();
    return gathered::complete;
}

void NICResourceManager::afterBuild() {
    compareStatusAndGenerateEvent();
}

void NICResourceManager::getInventory() {
    _NICInfo.clear();
    std::vector<std::vector<std::string>> interfaces;
    getInterfaceDetails(interfaces);
    if (interfaces.empty()) VOK_LOG_DEBUG("NIC_RM", "No NIC found!");
    for (auto& words : interfaces) {
        PhyAdapterInventory adapter;
        physicalAdapter.discoverPhyAdapterInventory(adapter, std::move(words));
        _NICInfo.push_back(std::move(adapter));
    }
}

PhyAdapterInventory* NICResourceManager::findRecord(const std::string& interfaceName) {
    const auto found = std::find_if(_NICInfo.begin(), _NICInfo.end(), [&](const PhyAdapterInventory& record) {
        return record.getIntfName() == interfaceName;
    });
    return found == _NICInfo.end() ? nullptr : &*found;
}

PhyAdapterInventory NICResourceManager::getHealthOfIntf(const char* interfaceName) {
    const std::lock_guard<std::mutex> lock(mlock);
    const PhyAdapterInventory* const record = findRecord(interfaceName);
    return record ? *record : PhyAdapterInventory();
}

void NICResourceManager::updateStateAndHealth(const char* intf, std::string state, std::string health) {
    const std::lock_guard<std::mutex> lock(mlock);
    PhyAdapterInventory* const record = findRecord(intf);
    if (!record) return;
    record->setState(std::move(state));
    record->setHealth(std::move(health));
    createJsonStringUsingJsonCpp();
}

void NICResourceManager::createJsonStringUsingJsonCpp() {
    std::vector<Json::Value> inventory;
    for (std::size_t i = 0; i < _NICInfo.size(); ++i) {
        Json::Value element(Json::objectValue);
        populateInventory(element, _NICInfo[i]);
        element["Status"]["State"] = _NICInfo[i].getState();
        element["Status"]["Health"] = _NICInfo[i].getHealth();
        VOK_LOG_DEBUG("NIC_RM", "Printing Ethernet Instance %zu:    %s", i, vokJsonText(element).c_str());
        inventory.push_back(std::move(element));
    }
    setInventory(std::move(inventory));
}

void NICResourceManager::populateInventory(Json::Value& out, const PhyAdapterInventory& adapter) {
    out["Model"] = adapter.getNICModel();
    out["SerialNumber"] = adapter.getSerialNumber();
    out["PartNumber"] = adapter.getPartNumber();
    out["FirmwareVersion"] = adapter.getFirmVersion();
    out["MACAddress"] = adapter.getMACAddress();
    out["SpeedMbps"] = adapter.getSpeed();
    out["Manufacturer"] = adapter.getManufacturer();
    Json::Value& oem = out["Oem"];
    oem["DeviceName"] = adapter.getDeviceName();
    oem["Description"] = adapter.getPCIDescription();
    oem["PhysicalLocation"] = adapter.getPhyLocation();
}
