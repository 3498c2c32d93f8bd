#include <string>

#include "storage/vokDiskSyncRules.h"
#include "storage/vokLewisburgSATARAIDController.h"

namespace {

bool isEmpty(const std::string& value) {
    return value.empty();
}

// The protocol of a SATA disk that has not answered IDENTIFY DEVICE is only that of its transport.
bool isEmptyOrUnidentified(const std::string& protocol) {
    return protocol.empty() || protocol == "ATA" || protocol == "0xf";
}

struct TextAttribute {
    std::string (vokDiskInfo::*get)() const;
    void (vokDiskInfo::*set)(std::string);
    bool (*yields)(const std::string& value);  // true: the previous value is better
};

// The serial numbers are not here, since they are equal where these are compared.
constexpr TextAttribute textAttributes[] = {
    {&vokDiskInfo::getPartNumber, &vokDiskInfo::setPartNumber, isEmpty},
    {&vokDiskInfo::getModel, &vokDiskInfo::setModel, isEmpty},
    {&vokDiskInfo::getProtocol, &vokDiskInfo::setProtocol, isEmptyOrUnidentified},
    {&vokDiskInfo::getMediaType, &vokDiskInfo::setMediaType, isEmpty},
    {&vokDiskInfo::getRevision, &vokDiskInfo::setRevision, isEmpty},
    {&vokDiskInfo::getOSDeviceName, &vokDiskInfo::setOSDeviceName, isEmpty},
};

bool updateText(const TextAttribute& attribute, const vokDiskInfo& previous, vokDiskInfo& current) {
    const std::string before = (previous.*attribute.get)();
    const std::string now = (current.*attribute.get)();
    if (before.empty() || before == now) return false;
    if (!attribute.yields(now)) return true;
    (current.*attribute.set)(before);
    return false;
}

bool updateCapacity(const vokDiskInfo& previous, vokDiskInfo& current) {
    const unsigned long long before = previous.getCapacityBytes();
    const unsigned long long now = current.getCapacityBytes();
    if (before == 0 || before == now) return false;
    if (now != 0) return true;
    current.setCapacityBytes(before);
    return false;
}

bool updateAttributes(const vokDiskInfo& previous, vokDiskInfo& current) {
    bool isChanged = updateCapacity(previous, current);
    for (const TextAttribute& attribute : textAttributes)
        if (updateText(attribute, previous, current)) isChanged = true;
    return isChanged;
}

std::string textOfMissing(const vokDiskInfo& missing) {
    return "Disk (SCSI link: " + missing.getOSSCSILink() +
           ") detected to be offline in the current discovery cycle.";
}

}  // namespace

void vokLewisburgSATARAIDController::synchronizePhysicalDrivesInventory() {
    vokDiskSyncRules rules;
    rules.logTag = "STOR_LB";
    rules.matchesByLink = true;
    rules.skippedDisk = "disk";
    rules.missingKeys = "location info and SCSI link";
    rules.updateAttributes = updateAttributes;
    rules.textOfMissing = textOfMissing;
    synchronizeDrives(rules);
}
