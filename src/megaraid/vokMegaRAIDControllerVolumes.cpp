#include <algorithm>
#include <iterator>
#include <string>
#include <unordered_map>
#include <utility>

#include "core/base/vokLog.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "megaraid/vokMegaRAIDController.h"
#include "megaraid/vokMegaRAIDLogicalDiskConsistencyCheckState.h"
#include "platform/places/vokPhysLocFactory.h"

namespace {

constexpr char tag[] = "STOR_MR";

}  // namespace

int vokMegaRAIDController::discoverLogicalDiskInventory(std::vector<vokLogicalDiskInfo>& volumes) {
    const vokMutexLocker locker(lock);
    previousLogicalDisks = std::exchange(currentLogicalDisks, {});
    volumes.clear();
    VOK_LOG_DEBUG(tag, "Gathering volume inventory for MegaRAID controller @ %s [0x%X, 0x%X].",
                  pciLocation.c_str(), chipsetID, boardID);
    if (isBarredByLoadingRules("LD", "housing")) return 0;

    populateDeviceNameMap();
    std::unordered_map<std::string, const vokLogicalDiskInfo*> known;  // the first of each name
    for (const vokLogicalDiskInfo& volume : previousLogicalDisks)
        known.emplace(volume.getDurableName(), &volume);

    const std::string location = vokPhysLocFactory::getPhysLocInterface()->getPhysLocForIOSlot(pciLocation);
    for (const LD_INFO& info : vokStoreLibInterface::getInstance()->getLDInventoryForCtrl(controllerId)) {
        VOK_LOG_DEBUG(tag, "discoverLogicalDiskInventory %d", static_cast<int>(info.targetId));
        vokLogicalDiskInfo volume;
        volume.setLogicalDiskID(std::to_string(info.targetId));
        volume.setDurableName(info.durableName);
        volume.setCapacityBytes(info.capacityBytes);
        volume.setState(getStateEnum(info.state));
        volume.setHealth(getHealthEnum(static_cast<int>(info.health)));

        const auto same = known.find(info.durableName);
        const vokLogicalDiskInfo* const previous = same == known.end() ? nullptr : same->second;
        if (previous)
            volume.cloneConsistencyCheckState(*previous);
        else
            volume.initializeConsistencyCheckState<vokMegaRAIDLogicalDiskConsistencyCheckState>();
        carryOverEventStatus(volume, previous);

        for (const std::string& serial : info.physicalDiskSerials) volume.addPhysicalDisk(serial);
        volume.setRAIDLevel(info.raidLevel);
        volume.setDeviceName(getLogicalDeviceName(info.durableName));
        volume.setHostControllerPhysicalLocation(location);
        currentLogicalDisks.push_back(std::move(volume));
    }
    synchronizeLogicalDiskInventory();
    std::copy_if(currentLogicalDisks.begin(), currentLogicalDisks.end(), std::back_inserter(volumes),
                 [](const vokLogicalDiskInfo& volume) { return !volume.getDeviceMissing(); });
    return 0;
}
