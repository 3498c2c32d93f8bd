#include "nic/NICResourceManager.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>

#include "core/base/vokDecisionTable.h"
#include "core/base/vokJsonText.h"
#include "core/base/vokLog.h"
#include "events/vokEventHandler.h"
#include "events/vokEventTable.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokWorkFile.h"
#include "platform/firmware/vokPlatformFamily.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr char listFile[] = "/opt/mev/vok/data/vok_niclist.txt";
constexpr char eventModule[] = "NICEVENT";
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

struct Description {
    int eventId;  // 0: an injected event
    const char* text;

    constexpr int key() const { return eventId; }
};
constexpr Description descriptions[] = {
    {0, "Injected Event"},
    {678, "Errors detected on NIC, use 'ip' command for status. Refer to syslog for further details."},
    {1384, "The connectivity between the Ethernet port and the switch has been lost."},
};
static_assert(vokKeysAscend(descriptions));
static_assert(vokRaisesEventsOf(vokEthernetEvent, descriptions));

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

struct PendingEvent {
    int id = 0;
    bool isService = false;
    const PhyAdapterInventory* adapter = nullptr;  // one of the current records
};

const std::string& nameOf(const PhyAdapterInventory& adapter) {
    return adapter.getIntfName();
}

// The event of a change between two builds. Nothing if there is no change, or none that is an event.
std::optional<PendingEvent> eventOf(const PhyAdapterInventory& adapter,
                                    const std::vector<const PhyAdapterInventory*>& previous) {
    const VOK_RESOURCE_STATE state = adapter.getStateValue(), prevState = previous.front()->getStateValue();
    const VOK_RESOURCE_HEALTH health = adapter.getHealthValue();
    const VOK_RESOURCE_HEALTH prevHealth = previous.front()->getHealthValue();
    if (state == prevState && health == prevHealth) return std::nullopt;
    int condition = 0;
    NICPhysicalAdapter::fetchNICAdapterCondition(state, health, prevState, prevHealth, adapter.getIntfName(),
                                                 condition);
    PendingEvent event;
    event.adapter = &adapter;
    NICPhysicalAdapter::setEventAttributes(condition, event.id, event.isService);
    if (event.id == 0) return std::nullopt;
    return event;
}

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

NICResourceManager::gathered NICResourceManager::gather() {
    getInventory();
    return gathered::complete;
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
    VOK_LOG_DEBUG("NIC_RM", "Entry compare size of current inventory %d, size of prev inventory %d",
                  static_cast<int>(_NICInfo.size()), static_cast<int>(_prevNICInfo.size()));
    for (const PendingEvent& event : pendingEvents(adapters, nameOf, eventOf))
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

std::string NICResourceManager::getDescription(int eventId) {
    const Description* const row = vokFindRow(descriptions, eventId);
    return row ? row->text : "";
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
    vokEventFields event;
    event.id = eventId;
    event.physicalLocation = std::move(physicalLocation);
    event.module = eventModule;
    event.isService = isService;
    event.time = vokUtils::getTime();
    event.partNumber = std::move(partNumber);
    event.variableData = getVariableData(adapter, eventId);
    vokEventHandler().generateEvent(vokEvent(std::move(event)));
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
    vokEventFields event;
    event.id = eventId;
    event.physicalLocation = std::move(location);
    event.module = eventModule;
    event.time = vokUtils::getTime();
    event.partNumber = "Not Available";
    event.variableData = getVariableData(adapter, 0);
    event.source = "VOK-CLI";
    vokEventHandler().generateEvent(vokEvent(std::move(event)));
}
