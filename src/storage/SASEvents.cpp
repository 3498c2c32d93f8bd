// The events of the storage manager, those of the controllers and those that a client requests.
#include <string>
#include <utility>

#include "core/base/vokDecisionTable.h"
#include "events/vokDelivery.h"
#include "events/vokEventHandler.h"
#include "events/vokEventTable.h"
#include "platform/firmware/vokPlatformFamily.h"
#include "platform/places/vokPhysLocInterface.h"
#include "platform/utils/vokUtils.h"
#include "storage/SASResourceManager.h"
#include "storage/vokStorageProducts.h"

namespace {

vokEventFields fieldsOf(int id, std::string location, bool isServiceEvent, Json::Value variableData) {
    vokEventFields event;
    event.id = id;
    event.physicalLocation = std::move(location);
    event.module = "SASHBA";
    event.isService = isServiceEvent;
    event.time = vokUtils::getTime();
    event.partNumber = "NotAvailable";
    event.variableData = std::move(variableData);
    return event;
}

// --- samples ---

constexpr char sampleText[] = "Injected Event";

std::string sampleLocation() {
    const std::string family = vokUtils::getPlatformFamily();
    if (vokIsFirstPlatform(family)) return "0001000100000301";
    if (vokIsSecondPlatform(family)) return "0001000100030001";
    return vokUnknownPhysLoc;
}

Json::Value sampleController() {
    vokStorageControllerInfo controller;
    controller.setModel(gStorageHbaList[0].model);
    controller.setFirmwareVersion("5.5.0.2002");
    controller.setProtocol("SAS/SATA");
    controller.setManufacturer("Intel Corporation");
    controller.setDescription("PCI 0000:00:17.0 r001i01s00");
    controller.setPhysicalLocation(sampleLocation());
    controller.setEventInfoString(sampleText);
    return controller.getVariableData();
}

Json::Value sampleRaidController() {
    vokStorageControllerInfo controller;
    controller.setModel("Adaptec SmartRAID 3154-16i Controller");
    controller.setSerialNumber("7A3B5C00001");
    controller.setFirmwareVersion("4.72[0]");
    controller.setProtocol("SAS/SATA");
    controller.setDescription("PCI 0000:24:00.0 r001i01s03");
    controller.setPhysicalLocation(sampleLocation());
    controller.setEventInfoString(sampleText);
    return controller.getVariableData();
}

Json::Value sampleVolume() {
    vokLogicalDiskInfo volume;
    volume.addPhysicalDisk("MV0000000001");
    volume.setDurableName("600605B0000000000000000000000001");
    volume.setDeviceName("/dev/sde");
    volume.setRAIDLevel("RAID1");
    volume.setHostControllerPhysicalLocation(sampleLocation());
    volume.setEventInfoString(sampleText);
    return volume.getVariableData();
}

Json::Value sampleDrive() {
    vokDiskInfo drive;
    drive.setSlot("1");
    drive.setModel(gStorageDriveList[0].model);
    drive.setPartNumber(gStorageDriveList[0].partNumberFirstPlatform);
    drive.setMediaType("HDD");
    drive.setProtocol("SAS/SATA");
    drive.setSerialNumber("MV0000000001");
    drive.setManufacturer("MEV");
    drive.setPhysicalLocation(sampleLocation());
    drive.setEventInfoString(sampleText);
    return drive.getVariableData();
}

struct Sample {
    int eventId;
    Json::Value (*subject)();

    constexpr int key() const { return eventId; }
};
constexpr Sample samples[] = {
    {397, sampleController}, {398, sampleController}, {538, sampleDrive},  {539, sampleDrive},
    {540, sampleDrive},      {681, sampleVolume},     {683, sampleVolume}, {1385, sampleRaidController},
};
static_assert(vokKeysAscend(samples));
static_assert(vokRaisesEventsOf(vokStorageEvent, samples));

}  // namespace

void SASResourceManager::generateEvent(int id, std::string location, bool isServiceEvent,
                                       const vokInventoryBase& subject) {
    vokEventHandler().generateEvent(
        vokEvent(fieldsOf(id, std::move(location), isServiceEvent, subject.getVariableData())));
}

void SASResourceManager::generateEvent(int id, bool isServiceEvent, const vokInventoryBase& subject) {
    generateEvent(id, "", isServiceEvent, subject);
}

int SASResourceManager::generateTestEvent(int id, std::string location, bool isServiceEvent) {
    const Sample* const sample = vokFindRow(samples, id);
    if (!sample) {
        vokDeliveryRecord::note({vokDeliveryKind::invalid, "the storage manager has no sample for it"});
        return 0;
    }
    vokEventFields event = fieldsOf(id, std::move(location), isServiceEvent, sample->subject());
    event.source = "VOK-CLI";
    vokEventHandler().generateEvent(vokEvent(std::move(event)));
    return 1;
}
