#include <algorithm>
#include <iterator>
#include <string>
#include <unordered_map>
#include <utility>

#include "core/base/vokDecisionTable.h"
#include "core/base/vokLog.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "megaraid/vokIOLoadingHelper.h"
#include "megaraid/vokMegaRAIDController.h"
#include "platform/firmware/vokPlatformFamily.h"
#include "platform/places/vokPhysLocFactory.h"
#include "platform/utils/vokUtils.h"
#include "storage/storage_utils.h"

namespace {

constexpr char tag[] = "STOR_MR";

// --- where the disks of a controller are ---

enum class DiskPlace {
    bay,       // of the server, by the number of the slot
    external,  // known by the controller alone
};

struct ModelIds {
    unsigned int chipset;
    unsigned int board;

    constexpr bool operator==(const ModelIds& other) const {
        return chipset == other.chipset && board == other.board;
    }
};

struct DiskPlaceRule {
    ModelIds model;
    DiskPlace place;

    constexpr bool fits(const ModelIds& ids) const { return model == ids; }
};

constexpr DiskPlaceRule diskPlaces[] = {
    {{0x005D1000, 0x93631000}, DiskPlace::bay},
    {{0x005D1000, 0x9A631000}, DiskPlace::bay},
    {{0x10E21000, 0x40101000}, DiskPlace::bay},
    {{0x10E21000, 0x40001000}, DiskPlace::bay},
    // Required, although no controller of this chipset is taken from the library.
    {{0x00971000, 0x30A01000}, DiskPlace::external},
};

constexpr int bayOffset = 0;
constexpr int secondBox = 2;
constexpr int baysOfFirstBox = 8;

// What makes a disk the same from one discovery to the next.
std::string keyOf(const vokDiskInfo& disk) {
    return disk.getSerialNumber() + '\0' + disk.getSlot();
}

}  // namespace

bool vokMegaRAIDController::isBarredByLoadingRules(const char* items, const char* chassis) {
    const char* const location = pciLocation.c_str();
    switch (vokIOLoadingHelper::verdictOn(chipsetID, boardID, pciLocation)) {
        case vokLoadingVerdict::monitored:
            return false;
        case vokLoadingVerdict::inspectionDisabled:
            break;
        case vokLoadingVerdict::foreignSystem:
            VOK_LOG_DEBUG(tag, "No %s inventory will be reported for MegaRAID 9560 [%s] on non-MEV system.",
                          items, location);
            break;
        case vokLoadingVerdict::notCompliant:
            VOK_LOG_DEBUG(tag,
                          "Either MegaRAID 9560 [0x%04X, 0x%04X] @ [%s] or its %s chassis not compliant with "
                          "I/O loading rules. %s inventory with not be reported.",
                          chipsetID, boardID, location, chassis, items);
            if (!std::exchange(loadingWarningIssued, true))
                VOK_LOG_WARNING(tag,
                                "MegaRAID 9560 [0x%04X, 0x%04X] @ [%s] or its server chassis not compliant "
                                "with I/O loading rules. Physical drives and RAID volumes attached to this "
                                "controller may not be reported/monitored.",
                                chipsetID, boardID, location);
            break;
    }
    return true;
}

int vokMegaRAIDController::discoverPhysicalDiskInventory(std::vector<vokDiskInfo>& disks) {
    const vokMutexLocker locker(lock);
    previousDrives = std::exchange(currentDrives, {});
    disks.clear();
    VOK_LOG_DEBUG(tag, "discoverPhysicalDiskInventory for ctrl %d", static_cast<int>(controllerId));
    if (isBarredByLoadingRules("PD", "hosting")) return 0;

    // The first disk of each key; a controller may have hundreds.
    std::unordered_map<std::string, const vokDiskInfo*> known;
    for (const vokDiskInfo& disk : previousDrives) known.emplace(keyOf(disk), &disk);

    vokStoreLibInterface& library = *vokStoreLibInterface::getInstance();
    const std::string location = library.getControllerInventory(controllerId).pciLocation;
    for (const PD_INFO& info : library.getPDInventoryForCtrl(controllerId)) {
        VOK_LOG_DEBUG(tag, "discoverPhysicalDiskInventory SN:%s", info.serialNumber.c_str());
        vokDiskInfo disk;
        setDiskAttributes(disk, info, location);
        const auto same = known.find(keyOf(disk));
        carryOverEventStatus(disk, same == known.end() ? nullptr : same->second);
        currentDrives.push_back(std::move(disk));
    }
    synchronizePhysicalDrivesInventory();
    std::copy_if(currentDrives.begin(), currentDrives.end(), std::back_inserter(disks),
                 [](const vokDiskInfo& disk) { return !disk.getDeviceMissing(); });
    return 0;
}

void vokMegaRAIDController::discoverPhysicalDiskStatus(vokDiskInfo&) {}

void vokMegaRAIDController::discoverPhysicalDiskAttributes(vokDiskInfo& disk, const PD_INFO& info) {
    const vokMutexLocker locker(lock);
    setDiskAttributes(disk, info,
                      vokStoreLibInterface::getInstance()->getControllerInventory(controllerId).pciLocation);
}

void vokMegaRAIDController::setDiskAttributes(vokDiskInfo& disk, const PD_INFO& info,
                                              const std::string& controllerLocation) {
    disk.setProtocol(info.interfaceType);
    disk.setMediaType(info.mediaType);
    disk.setHealth(getHealthEnum(static_cast<int>(info.health)));
    disk.setState(getStateEnum(info.firmwareState));
    disk.setSlot(std::to_string(static_cast<int>(info.enclosureDeviceId)) + ":" +
                 std::to_string(static_cast<int>(info.slotNumber)));
    disk.setModel(info.modelName);
    disk.setSerialNumber(info.serialNumber);
    disk.setCapacityBytes(info.capacityBytes);
    disk.setRevision(info.firmwareRevision);
    disk.setManufacturer(info.vendorName);
    disk.setPartNumber(getDiskPartNumber(info.modelName.c_str(), nullptr));

    const std::string location = diskLocation(info, controllerLocation);
    VOK_LOG_DEBUG(tag, "Disk on MegaRAID HBA @ pciloc=[%s] at slot=[%s]: phyloc=[%s]",
                  controllerLocation.c_str(), disk.getSlot().c_str(), location.c_str());
    disk.setPhysicalLocation(location);
}

std::string vokMegaRAIDController::diskLocation(const PD_INFO& info, const std::string& controllerLocation) {
    const DiskPlaceRule* const rule = vokFirstRule(diskPlaces, ModelIds{chipsetID, boardID});
    if (!rule) {
        VOK_LOG_DEBUG(tag, "Unrecognized or unsupported MegaRAID controller model [%08X, %08X] @ [%s].",
                      chipsetID, boardID, controllerLocation.c_str());
        return vokUnknownPhysLoc;
    }
    vokPhysLocInterface& places = *vokPhysLocFactory::getPhysLocInterface();
    if (rule->place == DiskPlace::external) return places.getPhysLocForExternalDrive(controllerLocation);
    return places.getPhysLocForChassisDriveSlot(controllerLocation, driveBay(info, controllerLocation));
}

int vokMegaRAIDController::driveBay(const PD_INFO& info, const std::string& controllerLocation) {
    const int slot = static_cast<int>(info.slotNumber);
    if (!vokIsFirstPlatform(vokUtils::getPlatformFamily())) return slot + bayOffset;

    const char* const location = controllerLocation.c_str();
    int box = -1;
    int offset = 0;
    const bool isFound =
        vokIOLoadingHelper::getTQStorageEnclosureBoxNumberAndDriveBayOffset(controllerLocation, box, offset);
    if (isFound && box >= 1 && offset >= 0) {
        VOK_LOG_DEBUG(tag,
                      "MegaRAID controller [0x%04X, 0x%04X] @ [%s]: TQ enclosure box # [%d] and Drive bay "
                      "offset [%d].",
                      chipsetID, boardID, location, box, offset);
        return slot + offset + (box == secondBox ? baysOfFirstBox : 0);
    }
    VOK_LOG_DEBUG(
        tag,
        "Unable to determine TQ enclosure box # [%d] and drive bay offset [%d] for MegaRAID "
        "controller [0x%04X, 0x%04X] @ [%s] in chassis compliant with I/O loading rules. PD PL will "
        "be reported as FFFFFFFFFFFFFFFF.",
        box, offset, chipsetID, boardID, location);
    if (!std::exchange(locationWarningIssued, true))
        VOK_LOG_WARNING(tag,
                        "Unable to determine enclosure box # [%d] and/or drive bay offset [%d] for MegaRAID "
                        "9560 controller [0x%04X, 0x%04X] @ [%s] in I/O-loading-rules-compliant classis. "
                        "Physical location for attached disk drives may be reported as FFFFFFFFFFFFFFFF.",
                        box, offset, chipsetID, boardID, location);
    return -1;
}
