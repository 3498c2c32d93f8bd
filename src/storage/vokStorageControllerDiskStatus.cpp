#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>

#include "core/base/vokLog.h"
#include "platform/access/vokMallocPtr.h"
#include "platform/access/vokScsi.h"
#include "storage/SASResourceManager.h"
#include "storage/scsi/scsi_info.h"
#include "storage/storage_utils.h"
#include "storage/vokDiskNode.h"
#include "storage/vokSerialChangeText.h"
#include "storage/vokStorageController.h"

namespace {

constexpr char module[] = "STOR_CTLR";

constexpr int wearThreshold = 95;                // percent
constexpr int acs2OrLater = 0xFE00;              // bits of the major revision (ACS-4)
constexpr std::size_t ataTemperatureBytes = 96;  // with the specified maximum

using Text = vokMallocPtr<char>;

void setStatus(vokDiskInfo& disk, VOK_RESOURCE_STATE state, VOK_RESOURCE_HEALTH health,
               const std::string& text) {
    disk.setState(state);
    disk.setHealth(health);
    disk.setEventInfoString(text);
}

// What a disk answered; the first three are -1 while unknown.
struct Readings {
    int wear = -1;     // percent
    int current = -1;  // degrees Celsius
    int max = -1;      // degrees Celsius
    int errors = 0;
};

std::string wearText(const Readings& readings) {
    return "[SSD Wear percentage (" + std::to_string(readings.wear) + "); Threshold (" +
           std::to_string(wearThreshold) + ")], ";
}

std::string temperatureText(const Readings& readings) {
    return "[Current Temp (" + std::to_string(readings.current) + " C); Max Operating Temperature (" +
           std::to_string(readings.max) + " C)], ";
}

std::string errorsText(const Readings& readings) {
    return "[" + std::to_string(readings.errors) +
           " errors reported in Summary SMART error log / Informational Exceptions log page.]";
}

void logStatus(const vokDiskInfo& disk, const char* kind, const Readings& readings) {
    VOK_LOG_DEBUG(module, "%s: %s Disk Status: %s %s [S=%s; H=%s] (H=%d, T=%d, M=%d, W=%d)",
                  disk.getOSSCSILink().c_str(), kind, disk.getOSDeviceName().c_str(),
                  disk.getSerialNumber().c_str(), disk.stateText(), disk.healthText(), readings.errors,
                  readings.current, readings.max, readings.wear);
}

bool isSsd(const vokDiskInfo& disk) {
    return disk.getMediaType() == "SSD";
}

// These results of a Device Statistics page mean that the disk does not have it.
bool isPageUnsupported(int result) {
    return result == VOK_SCSI_ABORTED_COMMAND || result == VOK_SCSI_ILLEGAL_REQUEST;
}

// --- SAS ---

int readSasWear(const vokDiskInfo& disk, int descriptor) {
    const int wear = get_sas_ssd_wear(descriptor);
    if (wear < 0)
        VOK_LOG_DEBUG(module, "%s: Failed to determine SAS SSD wear [%d].", disk.getOSSCSILink().c_str(),
                      wear);
    return wear;
}

void readSasTemperature(const vokDiskInfo& disk, int descriptor, Readings& readings) {
    const vokMallocPtr<unsigned char> page(get_sas_temp(descriptor));
    if (page) {
        readings.current = sas_parse_current(page.get());
        readings.max = sas_parse_mcot(page.get());
        return;
    }
    VOK_LOG_DEBUG(module, "%s: Failed to determine SAS temp. Looking up unit temp.",
                  disk.getOSSCSILink().c_str());
    // Required: the limit stays unknown, so that any temperature is above it.
    readings.current = get_unit_temp(descriptor);
}

void judgeSasDisk(vokDiskInfo& disk, int descriptor) {
    Readings readings;
    if (isSsd(disk)) readings.wear = readSasWear(disk, descriptor);
    readSasTemperature(disk, descriptor, readings);
    readings.errors = get_sas_health(descriptor);
    if (readings.errors < 0)
        setStatus(disk, VOK_STATE_FAILED, VOK_HEALTH_CRITICAL,
                  "Failed to read Informational Exceptions log page from disk drive.");
    else if (readings.errors == 0 && readings.wear < wearThreshold && readings.current <= readings.max)
        setStatus(disk, VOK_STATE_RUNNING, VOK_HEALTH_OK, "");
    else
        setStatus(disk, VOK_STATE_PREDICTIVE_FAILURE, VOK_HEALTH_WARNING,
                  wearText(readings) + temperatureText(readings) + errorsText(readings));
    logStatus(disk, "SAS", readings);
}

// --- ATA ---

int readAtaWear(vokDiskInfo& disk, int descriptor) {
    const std::string link = disk.getOSSCSILink();
    const int wear = get_sata_ssd_wear(descriptor);
    if (isPageUnsupported(wear)) {
        VOK_LOG_WARNING(module,
                        "%s: The SSD Statistics Page(07h) is not supported by Device Statistics Log(04h)",
                        link.c_str());
        disk.setIfSSDWearPageSupported(false);
    } else if (wear < 0) {
        VOK_LOG_DEBUG(module, "%s: Failed to determine ATA SSD wear [%d].", link.c_str(), wear);
    }
    return wear;
}

void logTemperaturePage(const std::string& link, const char* page) {
    const auto byte = [page](std::size_t at) {
        return static_cast<unsigned>(static_cast<unsigned char>(page[at]));
    };
    VOK_LOG_DEBUG(
        module,
        "%s: ATA Temperature Info: [Rev=0x%02x%02x, Page=0x%02x, CT=0x%02x, Flags=0x%02x, MT=0x%02x, "
        "Flags=0x%02x]",
        link.c_str(), byte(1), byte(0), byte(2), byte(8), byte(15), byte(88), byte(95));
}

// True if both the temperature and its limit are known.
bool readAtaTemperature(vokDiskInfo& disk, int descriptor, Readings& readings) {
    const std::string link = disk.getOSSCSILink();
    char* bytes = nullptr;
    std::size_t size = 0;
    const int result = get_sata_temp(descriptor, bytes, size);
    const Text page(bytes);
    if (isPageUnsupported(result)) {
        VOK_LOG_WARNING(module,
                        "%s: The Temperature Statistics Page(05h) is not supported by Device Statistics "
                        "Log(04h)",
                        link.c_str());
        disk.setIfTempPageSupported(false);
        return false;
    }
    if (result != 0) {
        VOK_LOG_DEBUG(module, "%s: Failed to retrieve ATA temp. (%d)", link.c_str(), result);
        return false;
    }
    if (size >= ataTemperatureBytes) logTemperaturePage(link, page.get());
    const bool hasCurrent = sata_parse_current(page.get(), size, readings.current);
    const bool hasMax = sata_parse_mcot(page.get(), size, readings.max);
    if (hasCurrent && hasMax) return true;
    VOK_LOG_DEBUG(module, "%s: Failed to read ATA temp values from log page. ", link.c_str());
    return false;
}

void judgeAtaDisk(vokDiskInfo& disk, int descriptor) {
    Readings readings;
    if (isSsd(disk) && disk.getIfSSDWearPageSupported()) readings.wear = readAtaWear(disk, descriptor);
    const bool hasPage = (disk.getATAMajorRevision() & acs2OrLater) && disk.getIfTempPageSupported();
    const bool isTemperatureValid = hasPage && readAtaTemperature(disk, descriptor, readings);
    const bool isTooHot = isTemperatureValid && readings.current > readings.max;
    readings.errors = get_sata_health(descriptor);
    if (readings.errors < 0)
        setStatus(disk, VOK_STATE_FAILED, VOK_HEALTH_CRITICAL,
                  "Failed to read Summary SMART Error Log from disk drive.");
    else if (readings.errors == 0 && readings.wear < wearThreshold && !isTooHot)
        setStatus(disk, VOK_STATE_RUNNING, VOK_HEALTH_OK, "");
    else
        setStatus(disk, VOK_STATE_PREDICTIVE_FAILURE, VOK_HEALTH_WARNING,
                  wearText(readings) + (isTemperatureValid ? temperatureText(readings) : "") +
                      errorsText(readings));
    logStatus(disk, "ATA", readings);
}

// --- the steps before ---

// True if another disk answers at this place. A page that is blank counts as an empty serial number.
bool isReplaced(vokDiskInfo& disk) {
    const std::string link = disk.getOSSCSILink();
    const Text page(get_unit_sn_from_sysfs_vpd_pg80(link.c_str()));
    if (!page) return false;
    VOK_LOG_DEBUG(module, "%s: Disk serialnum from sysfs VPD page 80: %s", link.c_str(), page.get());
    const std::string current = trim_surrounding_whitespace(page.get());
    const std::string known = disk.getSerialNumber();
    if (current == known) return false;
    VOK_LOG_DEBUG(module, "%s: Detected change in disk serial number: [%s, %s].", link.c_str(),
                  current.c_str(), known.c_str());
    setStatus(disk, VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL, vokSerialChangeText(current, known));
    SASResourceManager::invalidateInventoryCache();
    return true;
}

// The open node of a disk outside a discovery pass. If it can't be opened that is the status of the disk.
vokDevice openNode(vokDiskInfo& disk, vokDiskOpenFailures& failures) {
    const std::string link = disk.getOSSCSILink();
    const Text name(get_ScsiGeneric(link.c_str()));
    if (!name) {
        failures.forget(link);
        VOK_LOG_DEBUG(module, "%s: Unable to find scsi generic device. Marking disk as offline.",
                      link.c_str());
        setStatus(disk, VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL,
                  "SCSI generic device for SCSI link " + link + " not available.");
        return {};
    }
    const std::string path = std::string("/dev/") + name.get();
    vokDevice node = vokOpenDiskNode(path);
    if (node) {
        failures.forget(link);
        return node;
    }
    const int error = errno;
    if (vokIsDiskGone(error)) {
        failures.report(link, path, error, "Marking disk as offline.");
        disk.setLost();
    } else {
        failures.report(link, path, error, "Marking disk as failed.");
        disk.setState(VOK_STATE_FAILED);  // required: the health stays
    }
    disk.setEventInfoString("Unable to open SCSI generic device " + path + " (SCSI link: " + link +
                            "). Error number: " + std::to_string(error) + ".");
    SASResourceManager::invalidateInventoryCache();
    return {};
}

void judge(vokDiskInfo& disk, vokDiskOpenFailures& failures) {
    vokDevice node;  // unless a discovery pass holds it open
    int descriptor = disk.getOSSGHandle();
    if (descriptor < 0) {
        node = openNode(disk, failures);
        if (!node) return;
        descriptor = node.descriptor();
    }
    if (isReplaced(disk)) return;

    const std::string protocol = disk.getProtocol();
    const std::string link = disk.getOSSCSILink();
    if (protocol == "SAS") {
        judgeSasDisk(disk, descriptor);
    } else if (protocol == "SATA" || protocol == "ATA") {
        judgeAtaDisk(disk, descriptor);
    } else if (!protocol.empty()) {
        VOK_LOG_DEBUG(module, "%s: Unknown disk protocol [%s]", link.c_str(), protocol.c_str());
        setStatus(disk, VOK_STATE_UNKNOWN, VOK_HEALTH_UNKNOWN,
                  "Unknown transport protocol (" + protocol + ") for disk drive. (SCSI link: " + link + ")");
    } else {
        setStatus(disk, VOK_STATE_FAILED, VOK_HEALTH_CRITICAL,
                  "Unable to determine the transport protocol of the disk drive.");
    }
}

}  // namespace

void vokStorageController::discoverPhysicalDiskStatus(vokDiskInfo& disk) {
    const vokMutexLocker locker(lock);
    vokDiskInfo judged = disk;
    judge(judged, openFailures);
    // A question that was refused is no answer of the disk.
    if (!vokIsScsiRefused()) disk = std::move(judged);
}
