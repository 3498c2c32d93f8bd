// The record of the controller itself, and the status of its ports.
#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/pci/PCIeManufacturerResolver.h"
#include "platform/pci/vokSysfsReaders.h"
#include "platform/places/vokPhysLocFactory.h"
#include "platform/utils/vokUtils.h"
#include "storage/SASResourceManager.h"
#include "storage/storage_utils.h"
#include "storage/vokStorageController.h"
#include "storage/vokStorageControllerStatus.h"
#include "storage/vokSysfsLink.h"

namespace {

constexpr char module[] = "STOR_CTLR";

vokMallocPtr<char> attributeOf(const std::string& directory, const char* name) {
    return vokMallocPtr<char>(get_sysfs_str((directory + name).c_str()));
}

std::string textOf(const vokMallocPtr<char>& text) {
    return text ? text.get() : "";
}

// The subsystem vendor id in a board id, as four hexadecimal digits; empty if there is none.
std::string subVendorOf(unsigned int board) {
    const unsigned int id = board & 0xFFFF;
    if (id == 0 || id == 0xFFFF) return "";
    char text[8];
    std::snprintf(text, sizeof(text), "%04x", id);
    return text;
}

}  // namespace

int vokStorageController::getHostNumberForControllerPort(unsigned int index) {
    const vokMutexLocker locker(lock);
    return vokNumberAfter(getPort(index), "/host");
}

int vokStorageController::getATADeviceNumberForControllerPort(unsigned int index) {
    const vokMutexLocker locker(lock);
    const std::string path = getPort(index);
    const std::string target = vokDeviceLink(path, "/ata");
    if (target.empty()) {
        VOK_LOG_DEBUG(module, "Unable to determine ATA port number for %s. readlink failed! (%d)",
                      path.c_str(), errno);
        return -1;
    }
    const int number = vokNumberAfter(target, "/ata");
    if (number < 0)
        VOK_LOG_DEBUG(module, "No ATA device number found for %s (%s).", path.c_str(), target.c_str());
    return number;
}

vokMallocPtr<char> vokStorageController::discoverFirmwareVersion() {
    vokMallocPtr<char> version = attributeOf(getPort(0), "/firmware_revision");
    if (version) VOK_LOG_INFO(module, "%s: SCSI HOST HBA Firmware: %s", pciLocation.c_str(), version.get());
    return version;
}

vokMallocPtr<char> vokStorageController::discoverSerialNumber() {
    vokMallocPtr<char> serial = attributeOf(getPort(0), "/board_tracer");
    if (serial) VOK_LOG_INFO(module, "%s: SCSI HOST HBA Board Tracer: %s", pciLocation.c_str(), serial.get());
    return serial;
}

void vokStorageController::discoverManufacturer(std::string& manufacturer) {
    PCIeManufacturerResolver::fetchManufacturer(pciLocation, subVendorOf(boardID), manufacturer);
}

int vokStorageController::discoverInventory(vokStorageControllerInfo& info) {
    const vokMutexLocker locker(lock);
    VOK_LOG_DEBUG(module, "Gathering inventory for controller @ %s [0x%X, 0x%X] [%d].", pciLocation.c_str(),
                  chipsetID, boardID, static_cast<int>(isRemoved()));
    if (isRemoved()) {
        VOK_LOG_DEBUG(module, "%s: Return last known inventory for removed controller.", pciLocation.c_str());
        info = currentInfo;
        return 1;
    }

    const char* const model = getStorageControllerModel(chipsetID, boardID, 0, nullptr);
    currentInfo.setModel(model ? model : "");
    currentInfo.setChipsetID(chipsetID);
    currentInfo.setBoardID(boardID);
    currentInfo.setFirmwareVersion(textOf(discoverFirmwareVersion()));
    currentInfo.setSerialNumber(textOf(discoverSerialNumber()));
    std::string manufacturer;
    discoverManufacturer(manufacturer);
    currentInfo.setManufacturer(manufacturer);
    currentInfo.setPartNumber(getHBAPartNumber(chipsetID, boardID, nullptr));
    currentInfo.setProtocol("SAS/SATA");

    discoverPorts();
    computeControllerStatus();

    currentInfo.setPhysicalLocation(
        vokPhysLocFactory::getPhysLocInterface()->getPhysLocForIOSlot(pciLocation));
    std::string description = "PCI " + pciLocation;
    // Required: looked up under this whole text, not under the address in it.
    const std::string geoID = vokUtils::getGeoIDStr(description);
    if (!geoID.empty() && geoID != "NotAvailable") description += " " + geoID;
    currentInfo.setDescription(description);
    VOK_LOG_DEBUG(module, "pciloc=[%s] phyloc=[%s] Description=[%s]", pciLocation.c_str(),
                  currentInfo.getPhysicalLocation().c_str(), description.c_str());

    if (raisesControllerEvents()) generateEventOnStatusChange();
    if (currentInfo.getFirmwareVersion() != previousInfo.getFirmwareVersion())
        SASResourceManager::sendInventorytToRMCOnCacheBuild();
    previousInfo = currentInfo;
    info = currentInfo;
    return 1;
}

void vokStorageController::discoverPorts() {
    const std::vector<vokStorageControllerPortInfo> known = currentInfo.getControllerPortVector();
    currentInfo.clearControllerPortList();
    for (unsigned int i = 0; i < getPortListSize(); ++i) {
        const std::string path = getPort(i);
        vokStorageControllerPortInfo port;
        port.setOSInstanceName(path);
        port.setDriverName(textOf(attributeOf(path, "/proc_name")));
        discoverControllerPortStatus(port);
        port.setATADeviceNumber(getATADeviceNumberForControllerPort(i));
        const auto same = std::find_if(known.begin(), known.end(), [&path](const auto& each) {
            return each.getOSInstanceName() == path;
        });
        if (same != known.end()) port.setLastRecoveryTimestamp(same->getLastRecoveryTimestamp());
        currentInfo.addControllerPort(port);
    }
}

void vokStorageController::discoverControllerPortStatus(vokStorageControllerPortInfo& port) {
    const std::string path = port.getOSInstanceName();
    const vokMallocPtr<char> text = attributeOf(path, "/state");
    const vokPortStatus status = vokPortStatusOf(text.get(), port.getLastRecoveryTimestamp(),
                                                 static_cast<long>(vokWallClockSeconds()));
    if (status.news) VOK_LOG_DEBUG(module, "Controller port [%s] %s", path.c_str(), status.news);
    port.setState(status.state);
    port.setHealth(status.health);
    port.setLastRecoveryTimestamp(status.lastRecovery);
}

void vokStorageController::computeControllerStatus() {
    const vokMutexLocker locker(lock);
    vokStorageControllerInfo info = currentInfo;
    const unsigned int limit = vokStorageController::getMaxSupportedControllerPorts();
    // The records are counted: they outlast the paths of a controller that is being removed.
    const unsigned int ports = limit != 0 ? limit : info.getControllerPortListSize();
    vokPortCounts counts;
    for (unsigned int i = 0; i < ports; ++i)
        counts.add(i < info.getControllerPortListSize() ? info.getControllerPort(i).getState()
                                                        : VOK_STATE_OFFLINE);

    const vokControllerStatus* const status = vokControllerStatusOf(counts);
    info.setState(status ? status->state : VOK_STATE_UNKNOWN);
    info.setHealth(status ? status->health : VOK_HEALTH_UNKNOWN);
    info.setEventInfoString(status ? formatControllerEventInfoString(status->eventInfo) : "");
    currentInfo = info;
}

std::string vokStorageController::formatControllerEventInfoString(STORAGE_EVENT_INFO_TYPE type) {
    const vokMutexLocker locker(lock);
    if (type == STORAGE_EVENT_INFO_ALL_PORTS_WELL) return "The storage controller port(s) are now online.";
    const std::size_t ports = currentInfo.getControllerPortListSize();
    if (type != STORAGE_EVENT_INFO_SERIOUS_PROBLEM || ports == 0) return "";
    if (ports == 1)
        return "The storage controller port has gone offline or will be removed from the system, or has been "
               "in recovery state for >= 60 seconds.";
    return "At least " + std::to_string(ports - 1) + " of " + std::to_string(ports) +
           " ports of the storage controller have gone offline or will be removed from the system, or have "
           "been in recovery state for >= 60 seconds.";
}
