#include "megaraid/vokMegaRAIDControllerStatus.h"

#include <algorithm>

#include "core/base/vokDecisionTable.h"
#include "core/base/vokLog.h"
#include "megaraid/storelib/vokStoreLibInventory.h"
#include "megaraid/vokMegaRAIDController.h"
#include "storage/SASResourceManager.h"

namespace {

constexpr char tag[] = "STOR_MR";

// --- the library's scale of health ---

struct HealthRow {
    int library;
    VOK_RESOURCE_HEALTH health;

    constexpr int key() const { return library; }
};

constexpr HealthRow healthRows[] = {
    {vokStoreLibHealthOk, VOK_HEALTH_OK},
    {vokStoreLibHealthWarning, VOK_HEALTH_WARNING},
    {vokStoreLibHealthUnknown, VOK_HEALTH_UNKNOWN},
    {vokStoreLibHealthCritical, VOK_HEALTH_CRITICAL},
};
static_assert(vokKeysAscend(healthRows));

// --- events on a change of a disk's state ---

// Required: Degraded and Predictive failure are in neither set, and "Unconfigured bad" is among the states
// in which a disk has not failed.
enum class DiskStates { failed, notFailed, other };

constexpr DiskStates statesOf(VOK_RESOURCE_STATE state) {
    switch (state) {
        case VOK_STATE_FAILED:
        case VOK_STATE_OFFLINE:
            return DiskStates::failed;
        case VOK_STATE_ONLINE:
        case VOK_STATE_REBUILD:
        case VOK_STATE_UNCONFIGURED_BAD:
            return DiskStates::notFailed;
        default:
            return DiskStates::other;
    }
}

struct DiskChange {
    DiskStates previous;
    DiskStates current;
};

struct DiskRule {
    DiskStates previous;
    DiskStates current;
    vokStatusEvent event;

    constexpr bool fits(const DiskChange& change) const {
        return change.previous == previous && change.current == current;
    }
};

constexpr DiskRule diskRules[] = {
    {DiskStates::failed, DiskStates::notFailed, {540, false}},
    {DiskStates::notFailed, DiskStates::failed, {538, true}},
};

// --- events on a change of a volume's health ---

struct VolumeRow {
    VOK_RESOURCE_HEALTH health;
    vokStatusEvent event;

    constexpr int key() const { return health; }
};

constexpr VolumeRow volumeRows[] = {
    {VOK_HEALTH_CRITICAL, {681, true}},
    {VOK_HEALTH_OK, {683, false}},
};
static_assert(vokKeysAscend(volumeRows));

}  // namespace

const vokStatusEvent* vokMegaRAIDDiskEventOf(VOK_RESOURCE_STATE previous, VOK_RESOURCE_STATE current) {
    const DiskRule* const rule = vokFirstRule(diskRules, DiskChange{statesOf(previous), statesOf(current)});
    return rule ? &rule->event : nullptr;
}

const vokStatusEvent* vokMegaRAIDVolumeEventOf(VOK_RESOURCE_HEALTH current) {
    const VolumeRow* const row = vokFindRow(volumeRows, current);
    return row ? &row->event : nullptr;
}

VOK_RESOURCE_HEALTH vokMegaRAIDController::getHealthEnum(int health) {
    const HealthRow* const row = vokFindRow(healthRows, health);
    return row ? row->health : VOK_HEALTH_UNKNOWN;
}

VOK_RESOURCE_STATE vokMegaRAIDController::getStateEnum(const std::string& name) {
    return static_cast<VOK_RESOURCE_STATE>(std::max(vokStateNamed(name.c_str()), 0));
}

void vokMegaRAIDController::carryOverEventStatus(vokStatusInfo& record, const vokStatusInfo* previous) {
    if (previous) {
        record.setEventState(previous->getEventState());
        record.setEventHealth(previous->getEventHealth());
    }
    if (record.getEventState() == VOK_STATE_UNKNOWN) record.setEventState(record.getState());
    if (record.getEventHealth() == VOK_HEALTH_UNKNOWN) record.setEventHealth(record.getHealth());
}

bool vokMegaRAIDController::generateEventOnStatusChange(vokDiskInfo* current, vokDiskInfo* previous) {
    const vokMutexLocker locker(lock);
    // From the previous record, so that the message always names the place.
    if (current->getEventInfoString().empty()) current->setEventInfoString(previous->getEventInfoString());
    if (current->getSlot().empty()) current->setSlot(previous->getSlot());
    if (current->getPhysicalLocation().empty()) current->setPhysicalLocation(previous->getPhysicalLocation());
    const std::string slot = current->getSlot();
    const std::string known = current->getPhysicalLocation();
    const std::string location = known.empty() ? slot : known;
    if (current->getState() == previous->getState()) return false;

    VOK_LOG_INFO(tag,
                 "Controller [%s] @ [%s]: Physical Drive @ [%s, %s]: Detected disk status change. "
                 "[CurrState=%s, PrevState=%s, CurrHealth=%s, PrevHealth=%s]",
                 deviceName.c_str(), pciLocation.c_str(), slot.c_str(), location.c_str(),
                 current->stateText(), previous->stateText(), current->healthText(), previous->healthText());
    const vokStatusEvent* const event = vokMegaRAIDDiskEventOf(previous->getState(), current->getState());
    if (!event) {
        VOK_LOG_DEBUG(tag,
                      "Controller [%s] @ [%s]: Physical Drive @ [%s, %s]: Event not generated for status "
                      "change.",
                      deviceName.c_str(), pciLocation.c_str(), slot.c_str(), location.c_str());
        return false;
    }
    SASResourceManager::generateEvent(event->id, location, event->isService, *current);
    return true;
}

bool vokMegaRAIDController::generateEventOnStatusChange(vokLogicalDiskInfo* current,
                                                        vokLogicalDiskInfo* previous) {
    const vokMutexLocker locker(lock);
    if (current->getEventInfoString().empty()) current->setEventInfoString(previous->getDescription());
    // Required: the health decides here, while it is the state that does for disks.
    if (current->getHealth() == previous->getHealth()) return false;

    const std::string name = current->getDurableName();
    VOK_LOG_DEBUG(tag,
                  "Controller [%s] @ [%s]: Logical Disk [%s]: Detected status change. [CurrState=%s, "
                  "PrevState=%s, CurrHealth=%s, PrevHealth=%s]",
                  deviceName.c_str(), pciLocation.c_str(), name.c_str(), current->stateText(),
                  previous->stateText(), current->healthText(), previous->healthText());
    const vokStatusEvent* const event = vokMegaRAIDVolumeEventOf(current->getHealth());
    if (!event) {
        VOK_LOG_DEBUG(tag,
                      "Controller [%s] @ [%s]: Logical Disk [%s]: Event not generated for status change.",
                      deviceName.c_str(), pciLocation.c_str(), name.c_str());
        return false;
    }
    SASResourceManager::generateEvent(event->id, event->isService, *current);
    return true;
}
