#include "storage/vokLewisburgSATARAIDController.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <string_view>
#include <vector>

#include "core/base/vokDecisionTable.h"
#include "core/base/vokLog.h"
#include "platform/firmware/vokPlatformFamily.h"
#include "platform/utils/vokUtils.h"
#include "storage/storage_utils.h"
#include "storage/vokIMSMFirmware.h"
#include "storage/vokStorageControllerClass.h"
#include "storage/vokSysfsLink.h"

namespace {

constexpr char tag[] = "STOR_LB";

struct ServerModel {
    const char* family;
    unsigned int ports;

    constexpr std::string_view key() const { return family; }
};

constexpr ServerModel serverModels[] = {
    {vokFirstPlatformFamily, 8},
    {vokSecondPlatformFamilies[0], 4},
    {vokSecondPlatformFamilies[1], 4},
};

const ServerModel* serverModel() {
    return vokFindRow(serverModels, vokUtils::getPlatformFamily());
}

// A path without a number is neither before nor after another one.
bool isBefore(const std::string& path, const std::string& other) {
    const int number = vokNumberAfter(path, "/host");
    const int otherNumber = vokNumberAfter(other, "/host");
    return number >= 0 && otherNumber >= 0 && number < otherNumber;
}

const vokRegistryManager<_VOK_STORAGE_CONTROLLER_CLASS_METADATA> registration(
    {"vokLewisburgSATARAIDController", vokLewisburgSATARAIDController::claimDevice,
     vokLewisburgSATARAIDController::refreshVendorInterfaceCache});

}  // namespace

bool vokLewisburgSATARAIDController::claimDevice(unsigned int chipset, unsigned int board,
                                                 std::string& location, bool firstPass,
                                                 vokStorageController** device) {
    *device = nullptr;
    if (!getStorageControllerModel(chipset, board, vokIntelSataRaid, nullptr)) return false;
    try {
        *device = new vokLewisburgSATARAIDController(chipset, board, location, vokIntelSataRaid, firstPass);
        VOK_LOG_DEBUG(tag, "Claimed device [%s 0x%x 0x%x].", location.c_str(), chipset, board);
    } catch (const std::bad_alloc&) {
        VOK_LOG_ERROR(tag, "Out of memory!");
    }
    return true;
}

void vokLewisburgSATARAIDController::refreshVendorInterfaceCache() {}

int vokLewisburgSATARAIDController::discoverInventory(vokStorageControllerInfo& info) {
    const vokMutexLocker locker(lock);
    portsSorted = false;
    const int result = vokStorageController::discoverInventory(info);
    info.setProtocol("SATA");
    return result;
}

vokMallocPtr<char> vokLewisburgSATARAIDController::discoverFirmwareVersion() {
    // The first port leads to this function; without a port there is nothing to look for.
    if (getPort(0).empty()) return nullptr;
    const char* const version = getIMSMFirmwareVersion(pciLocation);
    return vokMallocPtr<char>(version ? ::strdup(version) : nullptr);
}

unsigned int vokLewisburgSATARAIDController::getMaxSupportedControllerPorts() {
    static std::atomic<bool> warned{false};
    const ServerModel* const model = serverModel();
    if (model) return model->ports;
    if (!warned.exchange(true))
        VOK_LOG_WARNING(
            tag, "Unable to determine max # supported controller ports due to unrecognized server model.");
    return 0;
}

std::string vokLewisburgSATARAIDController::formatControllerEventInfoString(STORAGE_EVENT_INFO_TYPE type) {
    const vokMutexLocker locker(lock);
    if (type == STORAGE_EVENT_INFO_ALL_PORTS_WELL)
        return "All ports of the Intel SATA RAID controller are now online.";
    if (type != STORAGE_EVENT_INFO_SERIOUS_PROBLEM) return "";
    unsigned int ports = getMaxSupportedControllerPorts();
    if (ports == 0) ports = currentInfo.getControllerPortListSize();
    return "At least " + std::to_string(ports == 0 ? 0 : ports - 1) + " of " + std::to_string(ports) +
           " ports of the Intel SATA RAID controller have gone offline or will be removed from the system, "
           "or have been in recovery state for >= 60 seconds.";
}

void vokLewisburgSATARAIDController::computeControllerStatus() {
    const vokMutexLocker locker(lock);
    if (!portsSorted) sortPorts();
    portsSorted = true;
    vokStorageController::computeControllerStatus();
}

void vokLewisburgSATARAIDController::sortPorts() {
    std::vector<vokStorageControllerPortInfo> records = currentInfo.getControllerPortVector();
    // Stable, as the order of paths without a number is only partial.
    std::stable_sort(portList.begin(), portList.end(), isBefore);
    std::stable_sort(records.begin(), records.end(), [](const auto& record, const auto& other) {
        return isBefore(record.getOSInstanceName(), other.getOSInstanceName());
    });
    std::size_t kept = std::min(portList.size(), records.size());
    const unsigned int most = getMaxSupportedControllerPorts();
    if (most != 0) kept = std::min<std::size_t>(kept, most);
    portList.resize(kept);
    records.resize(kept);
    currentInfo.clearControllerPortList();
    for (vokStorageControllerPortInfo& record : records) currentInfo.addControllerPort(record);
}

int vokLewisburgSATARAIDController::discoverPhysicalDiskSlotNumber(vokDiskInfo& disk) {
    const int slot = getDiskSlotNumberFromATADeviceNumber(disk);
    if (slot == -1) return -1;
    disk.setSlot(std::to_string(slot));
    return 0;
}

int vokLewisburgSATARAIDController::getDiskSlotNumberFromATADeviceNumber(vokDiskInfo& disk) {
    const vokMutexLocker locker(lock);
    const int number = disk.getATADeviceNumber();
    int base = -1;
    bool isOnPort = false;
    for (const vokStorageControllerPortInfo& port : currentInfo.getControllerPortVector()) {
        const int each = port.getATADeviceNumber();
        if (each == -1) continue;  // unknown, and so not that of the disk
        if (base == -1 || each < base) base = each;
        if (each == number) isOnPort = true;
    }
    if (!isOnPort) {
        VOK_LOG_DEBUG(tag, "Unable to determine disk slot # from ATA device numbers. (%s, %s, %s, %d, %d)",
                      disk.getOSSCSILink().c_str(), disk.getOSDeviceName().c_str(),
                      disk.getSerialNumber().c_str(), number, base);
        return -1;
    }
    const int offset = number - base;
    VOK_LOG_DEBUG(tag, "Disk %s found @ Offset [%d]; (ATA device number: [%d]; ATA device base: [%d])",
                  disk.getOSSCSILink().c_str(), offset, number, base);
    return serverModel() ? offset + 1 : -1;
}
