// The events of the Ethernet manager: which are raised after a build, and their content.
#include <optional>

#include "core/base/vokDecisionTable.h"
#include "core/base/vokLog.h"
#include "events/vokEventHandler.h"
#include "events/vokEventTable.h"
#include "nic/NICResourceManager.h"
#include "platform/firmware/vokPlatformFamily.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr char eventModule[] = "NICEVENT";

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

struct PendingEvent {
    int id = 0;
    bool isService = false;
    const PhyAdapterInventory* adapter = nullptr;  // one of the current records
};

const std::string& nameOf(const PhyAdapterInventory& adapter) {
    return adapter.getIntfName();
}

// The event of a change between two builds. Empty if nothing has changed, or the change is no event.
std::optional<PendingEvent> eventOf(const PhyAdapterInventory& adapter,
                                    const std::vector<const PhyAdapterInventory*>& previous) {
    const PhyAdapterInventory& before = *previous.front();
    // By their texts: two different texts that are in no table have the same value.
    if (adapter.getState() == before.getState() && adapter.getHealth() == before.getHealth())
        return std::nullopt;
    int condition = 0;
    NICPhysicalAdapter::fetchNICAdapterCondition(adapter.getStateValue(), adapter.getHealthValue(),
                                                 before.getStateValue(), before.getHealthValue(),
                                                 adapter.getIntfName(), condition);
    PendingEvent event;
    event.adapter = &adapter;
    NICPhysicalAdapter::setEventAttributes(condition, event.id, event.isService);
    if (event.id == 0) return std::nullopt;
    return event;
}

}  // namespace

void NICResourceManager::compareStatusAndGenerateEvent() {
    const std::lock_guard<std::mutex> lock(mlock);
    VOK_LOG_DEBUG("NIC_RM", "Entry compare size of current inventory %d, size of prev inventory %d",
                  static_cast<int>(_NICInfo.size()), static_cast<int>(_prevNICInfo.size()));
    for (const PendingEvent& event : pendingEvents(adapters, nameOf, eventOf))
        generateEvent(event.id, event.adapter->getPartNumber(), event.isService,
                      event.adapter->getPhyLocation(), *event.adapter);
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
