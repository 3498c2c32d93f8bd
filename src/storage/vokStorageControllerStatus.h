// The rules by which a storage controller judges its ports and itself, and by which a change of status
// becomes an event. They only decide; vokStorageController reads, stores and reports.
#pragma once

#include <cstddef>

#include "core/base/vokModules.h"
#include "storage/vokStorageControllerInfo.h"

// The state of a name in the table of states, without regard to case; -1 if it is not there.
int vokStateNamed(const char* name);

// --- a port ---

struct vokPortStatus {
    VOK_RESOURCE_STATE state;
    VOK_RESOURCE_HEALTH health;
    long lastRecovery;  // in seconds since the epoch, 0 for none
    const char* news;   // what the log says of the port, or null
};

// The status of a port by the text of its attribute "state" (null: unreadable), the time at which it went
// into recovery, and the present one.
vokPortStatus vokPortStatusOf(const char* text, long lastRecovery, long now);

// --- the controller ---

// How many ports there are, and what each of them counts as.
struct vokPortCounts {
    std::size_t ports = 0;
    std::size_t running = 0;
    std::size_t recovering = 0;
    std::size_t offline = 0;
    std::size_t other = 0;

    constexpr std::size_t failing() const { return other + offline; }
    // Counts one port by its state.
    void add(VOK_RESOURCE_STATE state);
};

struct vokControllerStatus {
    VOK_RESOURCE_STATE state;
    VOK_RESOURCE_HEALTH health;
    STORAGE_EVENT_INFO_TYPE eventInfo;
};

// Null if no rule fits: the status is unknown.
const vokControllerStatus* vokControllerStatusOf(const vokPortCounts& counts);

// --- events ---

struct vokStatusEvent {
    int id;
    bool isService;
};

// What was last reported of a controller by an event.
enum vokLastControllerEvent : int {
    vokNoControllerEvent = -1,
    vokControllerRecovered = 0,
    vokControllerFailed = 1,
};

struct vokControllerEvent {
    vokStatusEvent event;
    vokLastControllerEvent outcome;
};

// The event about a change of health, or null.
const vokControllerEvent* vokControllerEventOf(VOK_RESOURCE_HEALTH previous, VOK_RESOURCE_HEALTH current,
                                               int lastEvent);
// The event about a disk whose state has changed, or null.
const vokStatusEvent* vokDiskEventOf(VOK_RESOURCE_STATE previous, VOK_RESOURCE_STATE current);
