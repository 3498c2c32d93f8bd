// The numbers of all service events, with the part of the agent that owns each and what it tells. Whoever
// shows an event to a person, or asks who raises it, looks here; a new event is a new row.
#pragma once

#include <cstddef>

#include "core/base/vokDecisionTable.h"

// The owners, as getEventType (events/vokEventHandler.h) gives them.
enum vokEventType {
    vokNoEvent = -1,
    vokAgentEvent = 1,
    vokHostEvent = 2,
    vokEthernetEvent = 3,
    vokFibreChannelEvent = 4,
    vokStorageEvent = 5,
};

struct vokEventNumber {
    int id;
    int type;
    const char* meaning;

    constexpr int key() const { return id; }
};

inline constexpr vokEventNumber vokEventTable[] = {
    {356, vokHostEvent, "The operating system has booted"},
    {359, vokHostEvent, "The last shutdown was graceful"},
    {360, vokHostEvent, "The last shutdown was not graceful"},
    {383, vokFibreChannelEvent, "Kept for the Fibre Channel manager, raised by test only"},
    {384, vokFibreChannelEvent, "A Fibre Channel port is online"},
    {385, vokFibreChannelEvent, "A Fibre Channel port has gone offline"},
    {386, vokFibreChannelEvent, "A Fibre Channel port has lost its link"},
    {388, vokFibreChannelEvent, "A Fibre Channel port has failed"},
    {390, vokFibreChannelEvent, "Kept for the Fibre Channel manager, raised by test only"},
    {397, vokStorageEvent, "A storage controller is well again"},
    {398, vokStorageEvent, "A storage controller has failed"},
    {434, vokHostEvent, "Kept for the host manager, raised by test only"},
    {435, vokHostEvent, "Kept for the host manager, raised by test only"},
    {538, vokStorageEvent, "A drive has failed or gone"},
    {539, vokStorageEvent, "A drive is predicted to fail"},
    {540, vokStorageEvent, "A drive is well again"},
    {678, vokEthernetEvent, "An Ethernet adapter has failed"},
    {680, vokEthernetEvent, "An Ethernet adapter is back in service"},
    {681, vokStorageEvent, "A RAID volume is degraded or has failed"},
    {683, vokStorageEvent, "A RAID volume is well again"},
    {708, vokAgentEvent, "Test event of the agent"},
    {1179, vokStorageEvent, "A RAID controller's battery unit reports a condition, first group"},
    {1180, vokStorageEvent, "Kept for the storage manager"},
    {1181, vokStorageEvent, "A RAID controller's battery unit reports a condition, second group"},
    {1182, vokStorageEvent, "A RAID controller's battery unit reports a condition, third group"},
    {1183, vokStorageEvent, "A RAID controller's battery unit reports a condition, fourth group"},
    {1384, vokEthernetEvent, "An Ethernet port has lost its link"},
    {1385, vokStorageEvent, "A consistency check has failed, or was aborted after errors"},
    {1387, vokStorageEvent, "A consistency check found inconsistencies, or was aborted"},
    {1388, vokStorageEvent, "A consistency check has ended clean"},
    {1390, vokEthernetEvent, "An Ethernet port has its link again"},
    {1391, vokFibreChannelEvent, "A Fibre Channel port has its link again"},
};
static_assert(vokKeysAscend(vokEventTable), "sorted by number, and each number once");

struct vokEventOwner {
    int type;
    const char* name;

    constexpr int key() const { return type; }
};

inline constexpr vokEventOwner vokEventOwners[] = {
    {vokAgentEvent, "Agent"},       {vokHostEvent, "Host"},
    {vokEthernetEvent, "Ethernet"}, {vokFibreChannelEvent, "Fibre Channel"},
    {vokStorageEvent, "Storage"},
};
static_assert(vokKeysAscend(vokEventOwners), "sorted by type, and each owner once");

// The row of an event number, or null.
constexpr const vokEventNumber* vokFindEventNumber(int id) {
    return vokFindRow(vokEventTable, id);
}

// The row of an owner, or null.
constexpr const vokEventOwner* vokFindEventOwner(int type) {
    return vokFindRow(vokEventOwners, type);
}

// True if each row of a decision table that raises events names, as its `eventId`, one that `owner` raises. 0
// stands for no event. No pointer into the table is compared with null, which is no constant expression under
// UndefinedBehaviorSanitizer.
template <typename Row, std::size_t count>
constexpr bool vokRaisesEventsOf(vokEventType owner, const Row (&rows)[count]) {
    for (const Row& row : rows) {
        bool isRaised = row.eventId == 0;
        for (const vokEventNumber& number : vokEventTable)
            isRaised = isRaised || (number.id == row.eventId && number.type == owner);
        if (!isRaised) return false;
    }
    return true;
}
