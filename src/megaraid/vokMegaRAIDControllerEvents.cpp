#include <algorithm>

#include "megaraid/vokMegaRAIDController.h"
#include "storage/SASResourceManager.h"

void handleEvent(VOK_SAS_EVENT_DETAIL*) {}

void vokMegaRAIDController::analyzeAndGenerateEvent(VOK_SAS_EVENT_DETAIL*) {}

void vokMegaRAIDController::getPhyDiskListForLD(const vokLogicalDiskInfo& volume,
                                                std::vector<vokDiskInfo>& disks) const {
    const vokMutexLocker locker(lock);
    for (const std::string& serial : volume.getPhysicalDiskVector()) {
        const auto member = std::find_if(currentDrives.begin(), currentDrives.end(),
                                         [&](const auto& disk) { return disk.getSerialNumber() == serial; });
        if (member != currentDrives.end()) disks.push_back(*member);
    }
}

void vokMegaRAIDController::raiseVolumeEvent(int id, vokLogicalDiskInfo& volume,
                                             const std::string& text) const {
    volume.setEventInfoString(text);
    std::vector<vokDiskInfo> disks;
    getPhyDiskListForLD(volume, disks);
    vokLogicalDiskExtInfo subject(volume);
    for (vokDiskInfo& disk : disks) subject.addPhysicalDisk(std::move(disk));
    SASResourceManager::generateEvent(id, false, subject);
}
