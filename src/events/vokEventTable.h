// The numbers of all service events, each with the part of the agent that owns it and its meaning for a
// person. A new event is a new row.
#pragma once

#include <cstddef>

#include "core/base/vokDecisionTable.h"

// The owners, as returned by getEventType (events/vokEventHandler.h).
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
    {383, vokFibreChannelEvent, "Reserved for the Fibre Channel manager, raised only as a test event"},
    {384, vokFibreChannelEvent, "A Fibre Channel port is online"},
    {385, vokFibreChannelEvent, "A Fibre Channel port has gone offline"},
    {386, vokFibreChannelEvent, "A Fibre Channel port has lost its link"},
    {388, vokFibreChannelEvent, "A Fibre Channel port has failed"},
    {390, vokFibreChannelEvent, "Reserved for the Fibre Channel manager, raised only as a test event"},
    {397, vokStorageEvent, "A storage controller is healthy again"},
    {398, vokStorageEvent, "A storage controller has failed"},
    {434, vokHostEvent, "Reserved for the host manager, raised only as a test event"},
    {435, vokHostEvent, "Reserved for the host manager, raised only as a test event"},
    {538, vokStorageEvent, "A drive has failed or is missing"},
    {539, vokStorageEvent, "A drive is predicted to fail"},
    {540, vokStorageEvent, "A drive is healthy again"},
    {678, vokEthernetEvent, "An Ethernet adapter has failed"},
    {680, vokEthernetEvent, "An Ethernet adapter is back in service"},
    {681, vokStorageEvent, "A RAID volume is degraded or has failed"},
    {683, vokStorageEvent, "A RAID volume is healthy again"},
    {708, vokAgentEvent, "Test event of the agent"},
    {1179, vokStorageEvent, "A RAID controller's battery unit reports a condition, first group"},
    {1180, vokStorageEvent, "Reserved for the storage manager"},
    {1181, vokStorageEvent, "A RAID controller's battery unit reports a condition, second group"},
    {1182, vokStorageEvent, "A RAID controller's battery unit reports a condition, third group"},
    {1183, vokStorageEvent, "A RAID controller's battery unit reports a condition, fourth group"},
    {1384, vokEthernetEvent, "An Ethernet port has lost its link"},
    {1385, vokStorageEvent, "A consistency check has failed, or was aborted after errors"},
    {1387, vokStorageEvent, "A consistency check found inconsistencies, or was aborted"},
    {1388, vokStorageEvent, "A consistency check has ended without errors"},
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

// True if the `eventId` of each row of a decision table is an event of `owner`, or 0 for no event.
// No pointer into the table is compared with null, which is not a constant expression under
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
