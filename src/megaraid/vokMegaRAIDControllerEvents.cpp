// What an event of the firmware means to the controller, its volumes and its disks. The rules are in
// vokMegaRAIDEventRules.cpp.
//
// Everything here runs on the vendor library's thread. The controller's lock is held until the event has been
// delivered.
#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/base/vokConfig.h"
#include "core/base/vokLog.h"
#include "megaraid/storelib/vokSASLSIEventRecord.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "megaraid/vokIOLoadingHelper.h"
#include "megaraid/vokMegaRAIDConsistencyCheckEventHandler.h"
#include "megaraid/vokMegaRAIDController.h"
#include "megaraid/vokMegaRAIDControllerFactory.h"
#include "megaraid/vokMegaRAIDEventRules.h"
#include "megaraid/vokMegaRAIDEventText.h"
#include "storage/SASResourceManager.h"
#include "storage/storage_utils.h"
#include "storage/vokHeldReference.h"

namespace {

constexpr char tag[] = "STOR_MR";

constexpr std::string_view allEvents = "ALL_EVENT";

constexpr std::uint32_t volumeCreated = 0x8A;
constexpr std::uint32_t diskInserted = 0x5B;

constexpr int diskFailed = 538;
constexpr int diskIsHealthy = 540;

// The numbers of an event as the log shows them.
int codeOf(const VOK_SAS_EVENT_DETAIL& detail) {
    return static_cast<int>(detail.eventCode);
}
int classOf(const VOK_SAS_EVENT_DETAIL& detail) {
    return static_cast<int>(detail.eventClass);
}

bool isAnalyzed(std::string_view category) {
    return category == vokDiskEvent || category == vokControllerEvent || category == vokVolumeEvent ||
           category == vokBatteryEvent;
}

// --- status ---

void setStates(vokStatusInfo& item, VOK_RESOURCE_STATE state) {
    item.setState(state);
    item.setEventState(state);
}

void setHealths(vokStatusInfo& item, VOK_RESOURCE_HEALTH health) {
    item.setHealth(health);
    item.setEventHealth(health);
}

void apply(const vokNewStatus& status, vokStatusInfo& item) {
    if (!status.isSet) return;
    setStates(item, status.state);
    setHealths(item, status.health);
}

vokFirmwareEventCase caseOf(const VOK_SAS_EVENT_DETAIL& detail, const vokStatusInfo& item) {
    return {detail.eventClass, detail.eventCode, item.getEventHealth(),
            vokConfig::getInstance()->isForwardAllMegaRAIDCriticalOrHigherEventsEnabled()};
}

// --- the log ---

void logRemark(vokFirmwareEventRemark remark, const VOK_SAS_EVENT_DETAIL& detail) {
    switch (remark) {
        case vokFirmwareEventRemark::none:
            return;
        case vokFirmwareEventRemark::itemIsOk:
            VOK_LOG_INFO(tag, "Ignoring event ID %d  INFO event as device is already in OK state",
                         codeOf(detail));
            return;
        case vokFirmwareEventRemark::itemIsBad:
            VOK_LOG_INFO(tag, "Ignoring WARNING event as device is already in BAD state");
            return;
        case vokFirmwareEventRemark::itemIsCritical:
            VOK_LOG_INFO(tag, "Ignoring FATAL event as device already in CRITICAL state");
            return;
        case vokFirmwareEventRemark::controllerIsOk:
            VOK_LOG_INFO(tag, "Dropping the event as Device already in OK state.");
            return;
        case vokFirmwareEventRemark::controllerIsCritical:
            // Required: this number, although the event is 398.
            VOK_LOG_INFO(tag, "Dropping the event 389 as device already in CRITICAL state.");
            return;
        case vokFirmwareEventRemark::diskIsOk:
            VOK_LOG_INFO(tag, "Skipping the event as fru is already OK");
            return;
        case vokFirmwareEventRemark::diskIsBad:
            VOK_LOG_INFO(tag, "Skipping the event as fru is already BAD state");
            return;
        case vokFirmwareEventRemark::unknownDiskState:
            VOK_LOG_INFO(tag, "State variable not recognized by VOK SAS RM. Skipping the event");
            return;
        case vokFirmwareEventRemark::unknownBatteryEvent:
            VOK_LOG_DEBUG(tag, "Ignoring BBU event (%d: %s) class [%d] received for controller [%s].",
                          codeOf(detail), detail.description.c_str(), classOf(detail),
                          detail.controllerSerial.c_str());
            return;
    }
}

void logPrediction(vokFirmwareEventStep step, const VOK_SAS_EVENT_DETAIL& detail) {
    const bool isStopped = step == vokFirmwareEventStep::predictionLogged;
    if (!isStopped && step != vokFirmwareEventStep::predictionLoggedUnstopped) return;
    VOK_LOG_DEBUG(tag, "Error reported on PD [%s] @ slot [%d] for controller [%s].",
                  detail.driveSerial.c_str(), detail.slot, detail.controllerSerial.c_str());
    VOK_LOG_DEBUG(tag, "Reporting predictive failure event on PD [%s] @ slot [%d] for controller [%s]%s",
                  detail.driveSerial.c_str(), detail.slot, detail.controllerSerial.c_str(),
                  isStopped ? "." : "");
}

// --- what goes out ---

void requestInventory() {
    SASResourceManager::sendInventorytToRMCOnCacheBuild();
    SASResourceManager::invalidateInventoryCache();
}

void raiseDiskEvent(const vokFirmwareEventAction& action, vokDiskInfo& disk,
                    const VOK_SAS_EVENT_DETAIL& detail) {
    if (action.eventId == 0) return;
    disk.setEventInfoString(action.eventId == diskIsHealthy ? "" : getAddEventInfo(detail));
    SASResourceManager::generateEvent(action.eventId, disk.getPhysicalLocation(), action.isService, disk);
}

// --- the disk of an event ---

// The text of vokDiskInfo::getSlot().
std::string slotText(const VOK_SAS_EVENT_DETAIL& detail) {
    return std::to_string(detail.enclosure) + ":" + std::to_string(detail.slot);
}

// The first disk that has the serial number or the slot of the event, or null. `slot` is empty if unknown.
vokDiskInfo* diskOf(const VOK_SAS_EVENT_DETAIL& detail, const std::string& slot,
                    std::vector<vokDiskInfo>& disks) {
    const auto found = std::find_if(disks.begin(), disks.end(), [&](const vokDiskInfo& disk) {
        return (!detail.driveSerial.empty() && disk.getSerialNumber() == detail.driveSerial) ||
               (!slot.empty() && disk.getSlot() == slot);
    });
    return found == disks.end() ? nullptr : &*found;
}

void processRemoval(vokDiskInfo& disk, const VOK_SAS_EVENT_DETAIL& detail) {
    setStates(disk, VOK_STATE_OFFLINE);
    VOK_LOG_INFO(tag, "VOK has realized that PD has been removed");
    const bool isNews = disk.getEventHealth() != VOK_HEALTH_CRITICAL;
    if (isNews) setHealths(disk, VOK_HEALTH_CRITICAL);
    requestInventory();
    if (isNews) raiseDiskEvent({diskFailed, false}, disk, detail);
}

void processStateChange(vokDiskInfo& disk, const VOK_SAS_EVENT_DETAIL& detail) {
    const std::uint32_t firmwareState = detail.extraValue & 0xFFFF;
    VOK_LOG_INFO(tag, "VOK has realized that PD status has been changed New status: %d",
                 static_cast<int>(firmwareState));
    const vokDiskStateVerdict change = vokDiskStateVerdictOf(firmwareState, disk.getEventHealth());
    setStates(disk, change.stateFirst);
    logRemark(change.verdict.remark, detail);
    apply(change.verdict.status, disk);
    raiseDiskEvent(change.verdict.action, disk, detail);
}

void processDiskEvent(vokDiskInfo& disk, const VOK_SAS_EVENT_DETAIL& detail) {
    const vokFirmwareEventVerdict verdict = vokDiskVerdictOf(caseOf(detail, disk));
    if (verdict.step == vokFirmwareEventStep::diskRemoved) return processRemoval(disk, detail);
    if (verdict.step == vokFirmwareEventStep::diskStateChanged) return processStateChange(disk, detail);
    logRemark(verdict.remark, detail);
    logPrediction(verdict.step, detail);
    apply(verdict.status, disk);
    raiseDiskEvent(verdict.action, disk, detail);
}

}  // namespace

// --- an event of any controller ---

void handleEvent(VOK_SAS_EVENT_DETAIL* detail) {
    if (!detail) return;
    const std::string& category = detail->eventLocale;
    if (!isAnalyzed(category) && category != allEvents) return;
    VOK_LOG_INFO(tag, "Locale received: %s, eventClass= %d", category.c_str(), classOf(*detail));
    if (detail->eventClass < vokEventClassInformation || detail->eventClass > vokEventClassDead) {
        VOK_LOG_INFO(tag, "Event received for lesser severity ignoring the FW event.");
        return;
    }
    if (!isAnalyzed(category)) {
        VOK_LOG_DEBUG(tag, "Received event of other locale ignoring the FW event.");
        return;
    }

    std::vector<IvokStorageController*> list;
    vokMegaRAIDControllerFactory::getInstance()->getControllers(vokMegaRaid, list);
    VOK_LOG_DEBUG(tag, "Checking list of controllers size=%zu", list.size());
    bool isFound = false;
    for (const auto& held : vokTakeReferences(list)) {
        auto* const controller = dynamic_cast<vokMegaRAIDController*>(held.get());
        if (!controller || controller->getInventory().getSerialNumber() != detail->controllerSerial) continue;
        isFound = true;
        controller->analyzeAndGenerateEvent(detail);
    }
    if (!isFound && detail->eventClass >= vokEventClassCritical)
        VOK_LOG_WARNING(tag,
                        "Ignoring CRITICAL/FATAL/DEAD event (%d, %d) received for controller[%s] absent in "
                        "VOK inventory.",
                        codeOf(*detail), classOf(*detail), detail->controllerSerial.c_str());
}

void vokMegaRAIDController::analyzeAndGenerateEvent(VOK_SAS_EVENT_DETAIL* detail) {
    static constexpr struct {
        std::string_view category;
        void (vokMegaRAIDController::*analyze)(const VOK_SAS_EVENT_DETAIL& detail);
    } analyses[] = {
        {vokVolumeEvent, &vokMegaRAIDController::analyzeVolumeEvent},
        {vokDiskEvent, &vokMegaRAIDController::analyzeDiskEvent},
        {vokControllerEvent, &vokMegaRAIDController::analyzeControllerEvent},
        {vokBatteryEvent, &vokMegaRAIDController::analyzeBatteryEvent},
    };

    if (!detail) return;
    const vokMutexLocker locker(lock);
    for (const auto& each : analyses)
        if (detail->eventLocale == each.category) (this->*each.analyze)(*detail);
}

bool vokMegaRAIDController::isUnmonitored(const VOK_SAS_EVENT_DETAIL& detail) const {
    const std::string item =
        detail.eventLocale == vokVolumeEvent
            ? "LD [" + std::to_string(detail.targetId) + "]"
            : "PD [" + std::to_string(detail.enclosure) + "] @ slot [" + std::to_string(detail.slot) + "]";
    switch (vokIOLoadingHelper::verdictOn(chipsetID, boardID, pciLocation)) {
        case vokLoadingVerdict::monitored:
            return false;
        case vokLoadingVerdict::inspectionDisabled:
            break;
        case vokLoadingVerdict::foreignSystem:
            VOK_LOG_DEBUG(
                tag, "Ignoring event [%d] on %s due to MegaRAID 9560 [%s] being installed on non-MEV system.",
                codeOf(detail), item.c_str(), pciLocation.c_str());
            break;
        case vokLoadingVerdict::notCompliant:
            VOK_LOG_DEBUG(tag,
                          "Ignoring event [%d] on %s due to MegaRAID 9560 [%s] or its hosting chassis not "
                          "following I/O loading rules.",
                          codeOf(detail), item.c_str(), pciLocation.c_str());
            break;
    }
    return true;
}

// --- volumes ---

void vokMegaRAIDController::analyzeVolumeEvent(const VOK_SAS_EVENT_DETAIL& detail) {
    if (isUnmonitored(detail)) return;
    if (detail.eventCode == volumeCreated) return requestInventory();

    const std::string id = std::to_string(detail.targetId);
    bool isFound = false;
    for (vokLogicalDiskInfo& volume : currentLogicalDisks) {
        if (volume.getLogicalDiskID() != id) continue;
        isFound = true;
        if (endsWithVolume(volume, detail)) return;
    }
    if (!isFound && vokIsAbsentVolumeLogged(detail.eventClass, detail.eventCode))
        VOK_LOG_WARNING(tag,
                        "Ignoring CRITICAL/FATAL event (%d, %d) received for VD[%d] absent in VOK "
                        "inventory.",
                        codeOf(detail), classOf(detail), detail.targetId);
}

bool vokMegaRAIDController::endsWithVolume(vokLogicalDiskInfo& volume, const VOK_SAS_EVENT_DETAIL& detail) {
    if (vokMegaRAIDConsistencyCheckEventHandler::processConsistencyCheckEvents(*this, volume, detail))
        return true;
    const vokFirmwareEventVerdict verdict = vokVolumeVerdictOf(caseOf(detail, volume));
    if (verdict.step == vokFirmwareEventStep::volumeDeleted) {
        volume.setDeletedEventReceived(true);
        VOK_LOG_DEBUG(tag, "Invalidate cache as LD has been deleted");
        SASResourceManager::invalidateInventoryCache();
        return true;
    }
    logRemark(verdict.remark, detail);
    apply(verdict.status, volume);
    if (verdict.action.eventId != 0)
        raiseVolumeEvent(verdict.action.eventId, volume, getAddEventInfo(detail));
    return false;
}

void vokMegaRAIDController::getPhyDiskListForLD(const vokLogicalDiskInfo& volume,
                                                std::vector<vokDiskInfo>& disks) const {
    const vokMutexLocker locker(lock);
    const std::vector<std::string> serials = volume.getPhysicalDiskVector();
    if (serials.empty()) return;
    std::unordered_map<std::string, const vokDiskInfo*> diskOfSerial;
    for (const vokDiskInfo& disk : currentDrives) diskOfSerial.emplace(disk.getSerialNumber(), &disk);
    for (const std::string& serial : serials) {
        const auto member = diskOfSerial.find(serial);
        if (member != diskOfSerial.end()) disks.push_back(*member->second);
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

// --- disks ---

void vokMegaRAIDController::analyzeDiskEvent(const VOK_SAS_EVENT_DETAIL& detail) {
    VOK_LOG_DEBUG(tag, "Inside SASEventDetail->eventLocale.compare('PD_EVENT') == 0");
    if (isUnmonitored(detail)) return;

    std::string slot;
    if (detail.enclosure >= 0 && detail.slot >= 0)
        slot = slotText(detail);
    else
        VOK_LOG_DEBUG(tag, "MegaRAID [%s]: Disk slot information from AEN callback (%d:%d) not valid.",
                      pciLocation.c_str(), detail.enclosure, detail.slot);
    if (detail.eventCode == diskInserted) return processInsertion(detail);

    if (vokDiskInfo* const disk = diskOf(detail, slot, currentDrives)) {
        processDiskEvent(*disk, detail);
    } else if (vokIsAbsentDiskLogged(detail.eventClass)) {
        VOK_LOG_INFO(tag,
                     "Ignoring CRITICAL/FATAL/WARNING event (%d, %d) received for PD [%s] @ slot [%d] absent "
                     "in VOK inventory.",
                     codeOf(detail), classOf(detail), detail.driveSerial.c_str(), detail.slot);
    }
}

void vokMegaRAIDController::processInsertion(const VOK_SAS_EVENT_DETAIL& detail) {
    const std::vector<PD_INFO> known =
        vokStoreLibInterface::getInstance()->getPDInventoryForCtrl(detail.controllerId);
    const auto inserted = std::find_if(known.begin(), known.end(), [&](const PD_INFO& each) {
        return std::int64_t{each.enclosureDeviceId} == detail.enclosure &&
               std::int64_t{each.slotNumber} == detail.slot;
    });
    if (inserted == known.end())
        VOK_LOG_WARNING(tag,
                        "Unable to fetch inventory of newly inserted drive [Slot %d]; No drive event will be "
                        "generated.",
                        detail.slot);
    else
        addInsertedDisk(*inserted, detail);
    requestInventory();
}

void vokMegaRAIDController::addInsertedDisk(const PD_INFO& info, const VOK_SAS_EVENT_DETAIL& detail) {
    vokDiskInfo disk;
    discoverPhysicalDiskAttributes(disk, info);
    // As of any disk that has reported nothing yet.
    disk.setEventState(disk.getState());
    disk.setEventHealth(disk.getHealth());
    VOK_LOG_INFO(tag, "VOK has realized that PD has been inserted to existing  location");
    const bool isBad = disk.getHealth() == VOK_HEALTH_CRITICAL;
    if (isBad)
        disk.setEventInfoString(
            getAddEventInfo(detail, std::string("Drive is in ") + disk.stateText() + " state"));

    const std::string slot = disk.getSlot();
    const auto stored = std::find_if(currentDrives.begin(), currentDrives.end(),
                                     [&](const vokDiskInfo& each) { return each.getSlot() == slot; });
    if (stored != currentDrives.end())
        *stored = disk;
    else
        currentDrives.push_back(disk);
    SASResourceManager::generateEvent(isBad ? diskFailed : diskIsHealthy, disk.getPhysicalLocation(), false,
                                      disk);
}

// --- the controller and its battery ---

void vokMegaRAIDController::analyzeControllerEvent(const VOK_SAS_EVENT_DETAIL& detail) {
    carryOut(vokControllerVerdictOf(caseOf(detail, currentInfo)), detail);
}

void vokMegaRAIDController::analyzeBatteryEvent(const VOK_SAS_EVENT_DETAIL& detail) {
    carryOut(vokBatteryVerdictOf(caseOf(detail, currentInfo)), detail);
}

void vokMegaRAIDController::carryOut(const vokFirmwareEventVerdict& verdict,
                                     const VOK_SAS_EVENT_DETAIL& detail) {
    logRemark(verdict.remark, detail);
    apply(verdict.status, currentInfo);
    if (verdict.action.eventId == 0) return;
    currentInfo.setEventInfoString(getAddEventInfo(detail));
    SASResourceManager::generateEvent(verdict.action.eventId, currentInfo.getPhysicalLocation(),
                                      verdict.action.isService, currentInfo);
}
