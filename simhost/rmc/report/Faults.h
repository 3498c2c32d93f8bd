// What is still wrong according to the events of a time line, and what its last events tell that the last
// inventory does not.
#pragma once

#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "rmc/report/Device.h"
#include "rmc/report/Timeline.h"

namespace simhost {

// A unit of a host: name of the host, matter, and what tells it from other units. A drive in a bay is known
// by the bay: the event of its replacement is the recovery.
using UnitKey = std::tuple<std::string, Matter, std::string>;
UnitKey keyOf(const std::string& host, const Device& device);

struct OpenFault {
    UnitKey key;
    const Entry* event = nullptr;
    Condition condition = Condition::critical;
    std::string inventory;  // file of the last one, if it came later and has the unit in order
};

struct Faults {
    std::vector<OpenFault> open;  // in the order of arrival
    std::map<UnitKey, const Entry*>
        recovered;  // units whose last event is a recovery after the last inventory
};

// Only the last event of a unit counts. A fault is closed by
//  - a recovery of the same matter,
//  - a later inventory with another drive in its bay, or with an Ethernet or Fibre Channel port in order: the
//    events of ports are raised from what the inventory has. Firmware judges the units of RAID controllers by
//    other means, so such a fault stays open, as a warning.
// Nothing closes a fault of a battery. Events that a client of the agent sent (source "VOK-CLI") are left
// out: nothing reports that what they tell is over.
Faults faultsOf(const std::vector<Entry>& timeline);

}  // namespace simhost
