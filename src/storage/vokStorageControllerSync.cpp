#include <algorithm>
#include <cstddef>
#include <optional>
#include <unordered_map>
#include <unordered_set>

#include "core/base/vokLog.h"
#include "platform/places/vokPhysLocInterface.h"
#include "storage/SASResourceManager.h"
#include "storage/vokDiskSyncRules.h"
#include "storage/vokSerialChangeText.h"
#include "storage/vokStorageController.h"

namespace {

constexpr char tag[] = "STOR_CTLR";

// The valid keys of a disk, each with its kind in front, so that keys of two kinds never agree.
std::vector<std::string> keysOf(const vokDiskInfo& disk, const vokDiskSyncRules& rules) {
    std::vector<std::string> keys;
    const std::string location = disk.getPhysicalLocation();
    if (vokIsKnownPhysLoc(location)) keys.push_back("location " + location);
    const std::string slot = disk.getSlot();
    if (slot != "-1") keys.push_back("slot " + slot);  // only that: an empty text is a slot
    const std::string link = disk.getOSSCSILink();
    if (rules.matchesByLink && !link.empty()) keys.push_back("link " + link);
    return keys;
}

// Finds the first disk with an agreeing key in constant time: a controller may have thousands of disks.
class DrivesByKey {
public:
    DrivesByKey(const std::vector<vokDiskInfo>& drives, const vokDiskSyncRules& rules) {
        for (const vokDiskInfo& drive : drives) add(keysOf(drive, rules));
    }

    // Appends a disk.
    void add(const std::vector<std::string>& keys) {
        for (const std::string& key : keys) positions_.emplace(key, count_);  // keeps the first one
        ++count_;
    }

    // The position of the first disk that has one of the keys.
    std::optional<std::size_t> find(const std::vector<std::string>& keys) const {
        std::optional<std::size_t> first;
        for (const std::string& key : keys) {
            const auto found = positions_.find(key);
            if (found != positions_.end()) first = std::min(first.value_or(count_), found->second);
        }
        return first;
    }

private:
    std::unordered_map<std::string, std::size_t> positions_;
    std::size_t count_ = 0;
};

}  // namespace

void vokStorageController::synchronizePhysicalDrivesInventory() {
    synchronizeDrives({});
}

void vokStorageController::synchronizeDrives(const vokDiskSyncRules& rules) {
    const vokMutexLocker locker(lock);
    VOK_LOG_DEBUG(rules.logTag, "%s: Synchronizing %zu disks with %zu of the previous cycle.",
                  pciLocation.c_str(), currentDrives.size(), previousDrives.size());

    DrivesByKey current(currentDrives, rules);
    for (std::size_t i = 0; i < previousDrives.size(); ++i) {
        vokDiskInfo& previous = previousDrives[i];
        const std::vector<std::string> keys = keysOf(previous, rules);
        if (keys.empty()) {
            VOK_LOG_DEBUG(rules.logTag, "Skipping %s @ index %zu due to invalid %s. [%s, %s]",
                          rules.skippedDisk, i, rules.missingKeys, previous.getPhysicalLocation().c_str(),
                          previous.getSlot().c_str());
            continue;
        }
        VOK_LOG_DEBUG(rules.logTag,
                      "Walking the latest inventory and finding this pd discovered in previous cycle");
        if (const auto found = current.find(keys)) {
            synchronizePresentDrive(rules, previous, currentDrives[*found]);
        } else {
            keepMissingDrive(rules, previous);
            current.add(keys);
        }
    }

    const DrivesByKey known(previousDrives, rules);
    for (std::size_t i = 0; i < currentDrives.size(); ++i) {
        vokDiskInfo& drive = currentDrives[i];
        const std::vector<std::string> keys = keysOf(drive, rules);
        if (keys.empty()) {
            VOK_LOG_DEBUG(rules.logTag, "Skipping disk @ index %zu due to invalid location info. [%s, %s]", i,
                          drive.getPhysicalLocation().c_str(), drive.getSlot().c_str());
        } else if (!known.find(keys)) {
            synchronizeNewDrive(rules, drive);
        }
    }

    previousDrives = currentDrives;
    VOK_LOG_DEBUG(rules.logTag, "%s: Synchronized %zu disks.", pciLocation.c_str(), currentDrives.size());
}

void vokStorageController::synchronizePresentDrive(const vokDiskSyncRules& rules, vokDiskInfo& previous,
                                                   vokDiskInfo& drive) {
    const bool isSame = drive.getSerialNumber() == previous.getSerialNumber();
    if (isSame) {
        if (rules.updateAttributes && rules.updateAttributes(previous, drive)) {
            VOK_LOG_INFO(rules.logTag,
                         "%s - %s: Detected change in inventory attributes. Updated inventory will be pushed "
                         "to RMC.",
                         drive.getOSSCSILink().c_str(), drive.getPhysicalLocation().c_str());
            SASResourceManager::sendInventorytToRMCOnCacheBuild();
        }
        drive.setIfSSDWearPageSupported(previous.getIfSSDWearPageSupported());
        drive.setIfTempPageSupported(previous.getIfTempPageSupported());
    } else {
        SASResourceManager::sendInventorytToRMCOnCacheBuild();
    }
    discoverPhysicalDiskStatus(drive);
    if (!raisesDriveEvents()) return;
    if (!isSame) {
        vokDiskInfo replaced = previous;
        replaced.setEventInfoString(vokSerialChangeText(drive.getSerialNumber(), previous.getSerialNumber()));
        replaced.setLost();
        generateEventOnStatusChange(&replaced, &previous);
    }
    drive.setEventInfoString("");  // the event of a disk that has come back or changed has no text
    generateEventOnStatusChange(&drive, &previous);
}

void vokStorageController::keepMissingDrive(const vokDiskSyncRules& rules, vokDiskInfo& previous) {
    VOK_LOG_INFO(rules.logTag, "%s - %s: Disk detected as offline in the current discovery cycle.",
                 previous.getOSSCSILink().c_str(), previous.getPhysicalLocation().c_str());
    vokDiskInfo missing = previous;
    missing.setDeviceMissing(true);
    missing.setLost();
    if (rules.textOfMissing) missing.setEventInfoString(rules.textOfMissing(missing));
    currentDrives.push_back(missing);
    if (!previous.getDeviceMissing()) SASResourceManager::sendInventorytToRMCOnCacheBuild();
    if (raisesDriveEvents()) generateEventOnStatusChange(&missing, &previous);
}

void vokStorageController::synchronizeNewDrive(const vokDiskSyncRules& rules, vokDiskInfo& drive) {
    discoverPhysicalDiskStatus(drive);
    SASResourceManager::sendInventorytToRMCOnCacheBuild();
    if (!raisesDriveEvents()) return;
    vokDiskInfo before = drive;
    VOK_LOG_INFO(rules.logTag,
                 "%s - %s: Detected new disk at previously-empty location in current discovery cycle.",
                 drive.getOSSCSILink().c_str(), drive.getPhysicalLocation().c_str());
    before.setLost();
    if (drive.getState() != VOK_STATE_RUNNING) generateEventOnStatusChange(&drive, &before);
}

void vokStorageController::synchronizeLogicalDiskInventory() {
    const vokMutexLocker locker(lock);
    const std::string serial = currentInfo.getSerialNumber();
    const char* const sn = serial.c_str();
    VOK_LOG_DEBUG(tag, "Controller [SN %s]: Inside synchronizeLogicalDiskInventory", sn);

    std::unordered_set<std::string> known;
    for (const vokLogicalDiskInfo& volume : currentLogicalDisks) known.insert(volume.getDurableName());
    for (const vokLogicalDiskInfo& previous : previousLogicalDisks) {
        const std::string name = previous.getDurableName();
        const char* const ld = name.c_str();
        if (name.empty()) {
            VOK_LOG_DEBUG(
                tag, "Controller [SN %s]: Found a logical disk with empty durable name. [LogicalDiskID = %s]",
                sn, previous.getLogicalDiskID().c_str());
            continue;
        }
        VOK_LOG_DEBUG(tag, "Controller [SN %s]: Looking for LD [%s] in latest inventory.", sn, ld);
        if (known.count(name) != 0) {
            VOK_LOG_DEBUG(tag, "Controller [SN %s]: Found LD [%s] in latest inventory.", sn, ld);
        } else if (previous.getDeletedEventReceived()) {
            VOK_LOG_DEBUG(tag,
                          "Controller [SN %s]: Omitting LD [%s] that has received deleted-event. (Device %s)",
                          sn, ld, previous.getDeviceName().c_str());
        } else {
            if (previous.getDeviceMissing())
                VOK_LOG_DEBUG(tag, "Controller [SN %s]: Re-added missing LD [%s] to latest inventory.", sn,
                              ld);
            else
                VOK_LOG_DEBUG(tag, "Controller [SN %s]: Added placeholder for LD [%s] in latest inventory.",
                              sn, ld);
            currentLogicalDisks.push_back(previous);
            currentLogicalDisks.back().setDeviceMissing(true);
            known.insert(name);
        }
    }
}
