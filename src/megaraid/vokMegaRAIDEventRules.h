// What an event of a RAID controller's firmware means for a volume, a disk, the controller or its battery, as
// tables. An item is judged by the health that its last event reported.
#pragma once

#include <cstdint>

#include "core/base/vokModules.h"

// The state and the health that an item takes, or neither.
struct vokNewStatus {
    constexpr vokNewStatus() = default;  // the item keeps its status
    constexpr vokNewStatus(VOK_RESOURCE_STATE newState, VOK_RESOURCE_HEALTH newHealth)
        : isSet(true), state(newState), health(newHealth) {}

    bool isSet = false;
    VOK_RESOURCE_STATE state = VOK_STATE_UNKNOWN;
    VOK_RESOURCE_HEALTH health = VOK_HEALTH_UNKNOWN;
};

struct vokFirmwareEventAction {
    int eventId = 0;  // 0: no event
    bool isService = false;
};

// What the log says if nothing is done.
enum class vokFirmwareEventRemark {
    none,
    itemIsOk,
    itemIsBad,
    itemIsCritical,
    controllerIsOk,
    controllerIsCritical,
    diskIsOk,
    diskIsBad,
    unknownDiskState,
    unknownBatteryEvent,
};

// What is done besides, or in place of, the change of status and the event.
enum class vokFirmwareEventStep {
    none,
    volumeDeleted,
    diskRemoved,
    diskStateChanged,           // the verdict is vokDiskStateVerdictOf()
    predictionLogged,           // before the event
    predictionLoggedUnstopped,  // the same, the last text without its full stop
};

struct vokFirmwareEventVerdict {
    vokNewStatus status;
    vokFirmwareEventAction action;
    vokFirmwareEventRemark remark = vokFirmwareEventRemark::none;
    vokFirmwareEventStep step = vokFirmwareEventStep::none;
};

struct vokFirmwareEventCase {
    std::uint32_t eventClass;  // of vokSASEventClass
    std::uint32_t eventCode;
    VOK_RESOURCE_HEALTH eventHealth;  // of the item
    bool forwardsAll;                 // the setting ForwardAllMegaRAIDCriticalOrHigherEvents
};

vokFirmwareEventVerdict vokVolumeVerdictOf(const vokFirmwareEventCase& each);
vokFirmwareEventVerdict vokDiskVerdictOf(const vokFirmwareEventCase& each);
vokFirmwareEventVerdict vokControllerVerdictOf(const vokFirmwareEventCase& each);
// The class of an event of the battery does not matter.
vokFirmwareEventVerdict vokBatteryVerdictOf(const vokFirmwareEventCase& each);

struct vokDiskStateVerdict {
    VOK_RESOURCE_STATE stateFirst;  // set before the verdict is carried out, and kept if that changes nothing
    vokFirmwareEventVerdict verdict;
};

// `firmwareState`: the state that the firmware reports of a disk.
vokDiskStateVerdict vokDiskStateVerdictOf(std::uint32_t firmwareState, VOK_RESOURCE_HEALTH eventHealth);

// True if an event on a volume or a disk that is not in the inventory is worth a line in the log.
bool vokIsAbsentVolumeLogged(std::uint32_t eventClass, std::uint32_t eventCode);
bool vokIsAbsentDiskLogged(std::uint32_t eventClass);
