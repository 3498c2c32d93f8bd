#include "nic/NICResourceManager.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <unordered_map>

#include "core/base/vokJsonText.h"
#include "core/base/vokLog.h"
#include "events/vokEventHandler.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokWorkFile.h"
#include "platform/firmware/vokPlatformFamily.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr char listFile[] = "/opt/mev/vok/data/vok_niclist.txt";
constexpr long wakeSeconds = 10;
constexpr long linkPollSeconds = 10;  // after a build

constexpr vokManagerTraits nicTraits = {
    "NIC_RM",
    "EthernetDevices",
    "Building NIC Cache",
    "Exiting CacheBuild",
    "NICRM requesting cache push",
    "Cache build is in progress. Returning previous copy of inventory.",
    "cache was recently refreshed. skipping the current refresh cycle",
    "NIC cache status",
    "NICInventory",
    "",
    3,
    false,
};

constexpr struct {
    int eventId;
    const char* text;
} descriptions[] = {
    {0, "Injected Event"},
    {678, "Errors detected on NIC, use 'ip' command for status. Refer to syslog for further details."},
    {1384, "The connectivity between the Ethernet port and the switch has been lost."},
};

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(std::move(word));
    return words;
}

template <typename Records>
auto findInterface(Records& records, const std::string& name) {
    return std::find_if(records.begin(), records.end(),
                        [&name](const PhyAdapterInventory& record) { return record.getIntfName() == name; });
}

// An event that waits for the locks to be given back.
struct PendingEvent {
    int id;
    bool isService;
    const PhyAdapterInventory* adapter;
};

}  // namespace

std::atomic<bool> NICResourceManager::stopNIC{false};

NICResourceManager::NICResourceManager() : vokCachedResourceManager(nicTraits, stopNIC) {}

NICResourceManager* NICResourceManager::getInstance() {
    static auto* const instance = new NICResourceManager;
    return instance;
}

void NICResourceManager::init() {
    VOK_LOG_DEBUG("NIC_RM", "Entry init()");
    {
        const std::lock_guard<std::mutex> lock(mlock);
        if (!_NICInfo.empty()) {
            VOK_LOG_DEBUG("NIC_RM", "VOK thread for Ethernet already active. Cannot spawn another one.");
            return;
        }
    }
    eventMonitor.startMonitoring();
    startInventory();
    eventMonitor.stopMonitoring();  // here, since the loop may not be entered at all
}

long NICResourceManager::wakeInterval(long) {
    return wakeSeconds;
}

void NICResourceManager::onTimeOut(time_t now, long refreshSeconds) {
    const long long elapsed = static_cast<long long>(now) - lastRefreshTime;
    if (elapsed >= refreshSeconds)
        refreshCache = true;
    else if (elapsed == linkPollSeconds)  // so once after each build
        checkNICState = true;
}

void NICResourceManager::betweenWaits(bool buildWanted) {
    if (buildWanted) VOK_LOG_DEBUG("NIC_RM", "Refreshing Ethernet cache");
    if (!checkNICState) return;
    VOK_LOG_DEBUG("NIC_RM", "Polling for interface link state change.");
    checkNICState = false;
    if (checkLinkState()) cacheBuild();
}

void NICResourceManager::backupInventory() {
    const std::lock_guard<std::mutex> lock(prevInventoryLock);
    previousInventory = currentInventory;
    _prevNICInfo = _NICInfo;
}

void NICResourceManager::destroyRecords() {
    _NICInfo.clear();
}

NICResourceManager::gathered NICResourceManager::gather() {
    getInventory();
    return gathered::complete;
}

std::size_t NICResourceManager::recordCount() {
    return _NICInfo.size();
}

void NICResourceManager::afterBuild() {
    compareStatusAndGenerateEvent();
}

void NICResourceManager::getInterfaceDetails(std::vector<std::vector<std::string>>& out) {
    const vokWorkFile list(listFile);
    if (list.appendOutputOf("localcli network nic list") != 0) {
        VOK_LOG_ERROR("NIC_RM", "Error occurred in gathering network interface information.");
        return;
    }
    std::ifstream file(list.hostPath());
    if (!file) {
        VOK_LOG_ERROR("NIC_RM", "An error occurred while trying to fetch NIC information");
        return;
    }
    std::string line;
    if (!std::getline(file, line) || line.find("Name") == std::string::npos) {
        VOK_LOG_DEBUG("NIC_RM", "Unable to find NIC information.");
        return;
    }
    std::getline(file, line);  // the ruler
    while (std::getline(file, line))
        if (auto words = wordsOf(line); !words.empty()) out.push_back(std::move(words));
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

bool NICResourceManager::checkLinkState() {
    VOK_LOG_DEBUG("NIC_RM", "Getting list of interfaces");
    const vokWorkFile list(listFile);
    if (vokHostAccess().runCommand("localcli network nic list | /usr/bin/awk '{print$1, $5}' >>" +
                                   list.shellQuoted()) != 0) {
        const int reason = errno;
        VOK_LOG_ERROR("NIC_RM", "Error occurred in checking link state information : %s",
                      std::strerror(reason));
        return false;
    }
    std::ifstream file(list.hostPath());
    bool changed = false;
    const std::lock_guard<std::mutex> lock(mlock);
    for (std::string line; !changed && std::getline(file, line);) {
        const std::vector<std::string> words = wordsOf(line);
        if (words.size() != 2) continue;
        const auto record = findInterface(_NICInfo, words[0]);
        changed = record != _NICInfo.end() && record->getLinkStatus() != words[1];
    }
    VOK_LOG_DEBUG("NIC_RM", "%s", changed ? "Found a status change" : "No status change");
    return changed;
}

void NICResourceManager::compareStatusAndGenerateEvent() {
    const std::lock_guard<std::mutex> lock(mlock);
    std::vector<PendingEvent> pending;
    {
        const std::lock_guard<std::mutex> previousLock(prevInventoryLock);
        VOK_LOG_DEBUG("NIC_RM", "Entry compare size of current inventory %d, size of prev inventory %d",
                      static_cast<int>(_NICInfo.size()), static_cast<int>(_prevNICInfo.size()));
        std::unordered_map<std::string, const PhyAdapterInventory*> previous;
        for (const auto& record : _prevNICInfo) previous.emplace(record.getIntfName(), &record);
        for (const auto& record : _NICInfo) {
            const auto found = previous.find(record.getIntfName());
            if (found == previous.end()) continue;
            const PhyAdapterInventory& before = *found->second;
            if (record.getState() == before.getState() && record.getHealth() == before.getHealth()) continue;
            int condition = 0;
            NICPhysicalAdapter::fetchNICAdapterCondition(record.getState(), record.getHealth(),
                                                         before.getState(), before.getHealth(),
                                                         record.getIntfName(), condition);
            PendingEvent event{0, false, &record};
            NICPhysicalAdapter::setEventAttributes(condition, event.id, event.isService);
            if (event.id != 0) pending.push_back(event);
        }
    }
    // A reader who does not get mlock takes the previous copy, so its lock is free while the controller
    // answers.
    for (const PendingEvent& event : pending)
        generateEvent(event.id, event.adapter->getPartNumber(), event.isService,
                      event.adapter->getPhyLocation(), *event.adapter);
}

PhyAdapterInventory NICResourceManager::getHealthOfIntf(const char* interfaceName) {
    const std::lock_guard<std::mutex> lock(mlock);
    const auto record = findInterface(_NICInfo, interfaceName);
    return record == _NICInfo.end() ? PhyAdapterInventory() : *record;
}

void NICResourceManager::updateStateAndHealth(const char* intf, std::string state, std::string health) {
    const std::lock_guard<std::mutex> lock(mlock);
    const auto record = findInterface(_NICInfo, intf);
    if (record == _NICInfo.end()) return;
    record->setState(std::move(state));
    record->setHealth(std::move(health));
    createJsonStringUsingJsonCpp();
}

void NICResourceManager::createJsonStringUsingJsonCpp() {
    currentInventory.clear();
    for (std::size_t i = 0; i < _NICInfo.size(); ++i) {
        Json::Value element(Json::objectValue);
        populateInventory(element, _NICInfo[i]);
        element["Status"]["State"] = _NICInfo[i].getState();
        element["Status"]["Health"] = _NICInfo[i].getHealth();
        VOK_LOG_DEBUG("NIC_RM", "Printing Ethernet Instance %zu:    %s", i, vokJsonText(element).c_str());
        currentInventory.push_back(std::move(element));
    }
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

std::string NICResourceManager::getDescription(int eventId) {
    for (const auto& row : descriptions)
        if (row.eventId == eventId) return row.text;
    return "";
}

Json::Value NICResourceManager::getVariableData(const PhyAdapterInventory& adapter, int eventId) {
    Json::Value data(Json::objectValue);
    populateInventory(data["Data"], adapter);
    data["Type"] = "EthernetDevice";
    data["EventInfo"] = getDescription(eventId);
    return data;
}

void NICResourceManager::generateEvent(int eventId, std::string partNumber, bool isService,
                                       std::string physicalLocation, PhyAdapterInventory adapter) {
    vokEventHandler().generateEvent(vokEvent(eventId, std::move(physicalLocation), "NICEVENT", isService,
                                             vokUtils::getTime(), std::move(partNumber),
                                             getVariableData(adapter, eventId), "VOK"));
}

void NICResourceManager::generateTestEvent(int eventId, std::string location) {
    PhyAdapterInventory adapter;
    adapter.setNICModel("Sample Ethernet adapter");
    adapter.setFirmVersion("3.2d 0x80000b5c 0.0.0");
    adapter.setMACAddress("02:00:5E:17:A1:64");
    adapter.setDeviceName("/sys/class/net/eth0");
    adapter.setManufacturer("Intel Corporation");
    adapter.setPhyLocation(location);
    const std::string family = vokUtils::getPlatformFamily();
    if (vokIsFirstPlatform(family)) adapter.setPCIDescription("PCI 0000:c3:00.0 r001u01p0i00");
    if (vokIsSecondPlatform(family)) adapter.setPCIDescription("PCI 0000:c3:00.0 r001i01s00");
    vokEventHandler().generateEvent(vokEvent(eventId, std::move(location), "NICEVENT", false,
                                             vokUtils::getTime(), "Not Available",
                                             getVariableData(adapter, 0), "VOK-CLI"));
}
