// The events of the Fibre Channel manager and their content.
#include "core/base/vokDecisionTable.h"
#include "events/vokEventHandler.h"
#include "events/vokEventTable.h"
#include "fc/FCResourceManager.h"
#include "platform/utils/vokUtils.h"

namespace {

struct Description {
    int eventId;  // 0: an injected event
    const char* text;

    constexpr int key() const { return eventId; }
};
constexpr Description descriptions[] = {
    {0, "Injected Event"},
    {385, "The Fibre Channel device port has gone offline. Refer to /var/log/messages for further details."},
    {386,
     "Fibre channel device port has changed to a state of link down. Check the FC cabling to this port."},
    {388, "The Fibre Channel device port has failed. Refer to /var/log/messages for further details."},
};
static_assert(vokKeysAscend(descriptions));
static_assert(vokRaisesEventsOf(vokFibreChannelEvent, descriptions));

vokEventFields fieldsOf(int eventId, bool isService, const vokFCDeviceInfo& adapter) {
    vokEventFields event;
    event.id = eventId;
    event.physicalLocation = adapter.getvokFCOemPhyLoc().getFCPhysicalLocation();
    event.module = "FCHBA";
    event.isService = isService;
    event.time = vokUtils::getTime();
    event.partNumber = adapter.getvokFCPartNumber();
    return event;
}

}  // namespace

std::string FCResourceManager::getDescription(int eventId) {
    const Description* const row = vokFindRow(descriptions, eventId);
    return row ? row->text : "";
}

Json::Value FCResourceManager::getVariableData(const vokFCDeviceInfo& adapter, int eventId) {
    Json::Value data(Json::objectValue);
    jsonInventory(data["Data"], adapter);
    data["Type"] = "FibreChannelDevice";
    data["EventInfo"] = getDescription(eventId);
    return data;
}

void FCResourceManager::generateEvent(int eventId, bool isService, const vokFCDeviceInfo& adapter) {
    vokEventFields event = fieldsOf(eventId, isService, adapter);
    event.variableData = getVariableData(adapter, eventId);
    vokEventHandler().generateEvent(vokEvent(std::move(event)));
}

void FCResourceManager::generateTestEvent(int eventId, std::string location) {
    vokFCDeviceInfo adapter;
    adapter.setvokFCModel("Sample Fibre Channel adapter");
    adapter.setvokFCSerialNumber("MV0000000001");
    adapter.setvokFCPartNumber("MEV-2000-100A");
    adapter.setvokFCFirmwareVersion("8.05.61 (d0d5)");
    adapter.setvokFCRomVersion("3.54");
    adapter.setvokFCWWPN("51:11:22:c0:00:a1:77:b0");
    adapter.setvokFCWWNN("51:11:22:c0:00:a1:77:b1");
    vokFCDevicePhyLoc place;
    place.setFCPhysicalLocation(std::move(location));
    adapter.setvokOemPhyLoc(std::move(place));
    vokEventFields event = fieldsOf(eventId, eventId == 388 || eventId == 386, adapter);
    event.variableData = getVariableData(adapter, 0);
    event.source = "VOK-CLI";
    vokEventHandler().generateEvent(vokEvent(std::move(event)));
}
