#include "megaraid/vokMegaRAIDController.h"

#include <utility>

#include "core/base/vokLog.h"
#include "megaraid/storelib/vokSASLSIEvent.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "platform/pci/PCIeManufacturerResolver.h"
#include "platform/places/vokPhysLocFactory.h"
#include "platform/utils/vokUtils.h"
#include "storage/storage_utils.h"

namespace {

constexpr char tag[] = "STOR_MR";

}  // namespace

std::atomic<int> vokMegaRAIDController::totalLSICtrls{0};
std::atomic<bool> vokMegaRAIDController::isLSILibLoaded{false};
std::atomic<bool> vokMegaRAIDController::isAENRegistered{false};

vokMegaRAIDController::vokMegaRAIDController(std::uint32_t id)
    : vokStorageController(0, 0, "", vokMegaRaid, false), controllerId(id) {}

int vokMegaRAIDController::discoverInventory(vokStorageControllerInfo& info) {
    const vokMutexLocker locker(lock);
    vokStoreLibInterface& library = *vokStoreLibInterface::getInstance();
    if (isLSILibLoaded) {
        VOK_LOG_DEBUG(tag, "Refreshing LSI cache during claim processing.");
    } else if (!library.vokStoreInit()) {
        VOK_LOG_ERROR(tag, "Issue occurred in discovering LSI MR inventory.");
        return -1;
    }
    library.cacheBuild("All");
    isLSILibLoaded = true;

    const CTRL_INFO known = library.getControllerInventory(controllerId);
    totalLSICtrls = static_cast<int>(library.getControllerCollection().size());
    setIdentity(known.chipsetId, known.subsystemId, known.pciLocation);

    // In place, so that the status that the events have left stays.
    currentInfo.setSerialNumber(known.serialNumber);
    currentInfo.setFirmwareVersion(known.firmwareVersion);
    currentInfo.setChipsetID(chipsetID);
    currentInfo.setBoardID(boardID);
    const char* const model = getStorageControllerModel(chipsetID, boardID, 0, nullptr);
    currentInfo.setModel(model ? model : "");
    currentInfo.setProtocol(known.protocols);
    currentInfo.setPartNumber(getHBAPartNumber(chipsetID, boardID, nullptr));

    std::string description = "PCI " + pciLocation;
    // Required: looked up under this whole text, not under the address in it.
    const std::string geoID = vokUtils::getGeoIDStr(description);
    if (!geoID.empty() && geoID != "NotAvailable") description += " " + geoID;
    currentInfo.setDescription(description);
    currentInfo.setPhysicalLocation(
        vokPhysLocFactory::getPhysLocInterface()->getPhysLocForIOSlot(pciLocation));

    std::string vendor;
    getControllerVendorID(chipsetID, vendor);
    std::string manufacturer;
    PCIeManufacturerResolver::fetchManufacturer(pciLocation, vendor, manufacturer);
    currentInfo.setManufacturer(manufacturer);

    if (currentInfo.getState() == VOK_STATE_UNKNOWN) currentInfo.setState(VOK_STATE_RUNNING);
    if (currentInfo.getHealth() == VOK_HEALTH_UNKNOWN) currentInfo.setHealth(VOK_HEALTH_OK);
    carryOverEventStatus(currentInfo, nullptr);
    info = currentInfo;
    return 0;
}

int vokMegaRAIDController::enableEvents() {
    {
        const vokMutexLocker locker(lock);
        eventFlags |= vokControllerEventsBySubclass | vokDriveEventsBySubclass | vokEventsEnabled;
    }
    // Without the lock, which an event may need before the registration returns.
    if (isLSILibLoaded && !isRemoved() && !isAENRegistered.exchange(true))
        isAENRegistered = vokSASLSIEvent::getInstance()->RegisterForAEN(handleEvent);
    return 1;
}

bool vokMegaRAIDController::isEventsEnabled() {
    const vokMutexLocker locker(lock);
    return (eventFlags & vokEventsEnabled) != 0;
}

int vokMegaRAIDController::disableEvents() {
    return 0;
}

void vokMegaRAIDController::poll() {}

void vokMegaRAIDController::processDeviceRemoval() {
    bool isLast = false;
    bool wasRegistered = false;
    {
        const vokMutexLocker locker(lock);
        isLast = totalLSICtrls.fetch_sub(1) == 1;
        wasRegistered = isAENRegistered;
    }
    if (isLast && wasRegistered) {
        VOK_LOG_DEBUG(tag, "Unregistering AEN for all LSI MegaRAID controllers.");
        vokSASLSIEvent::getInstance()->UnregisterForAEN();
        isAENRegistered = false;
    }
    if (isLast) VOK_LOG_DEBUG(tag, "No more LSI MegaRAID controllers remaining.");
    vokStorageController::processDeviceRemoval();  // drops the reference, with which the object may be
                                                   // deleted
}

void vokMegaRAIDController::processDeviceAddition(IvokStorageController*) {}

std::string vokMegaRAIDController::getDeviceName() {
    const vokMutexLocker locker(lock);
    return deviceName;
}

void vokMegaRAIDController::setDeviceName(std::string name) {
    const vokMutexLocker locker(lock);
    deviceName = std::move(name);
}

bool vokMegaRAIDController::getDeviceDetected() {
    const vokMutexLocker locker(lock);
    return deviceDetected;
}

void vokMegaRAIDController::setDeviceDetected(bool detected) {
    const vokMutexLocker locker(lock);
    deviceDetected = detected;
}
