// What the numbers of events tell: a fault or a recovery, of what, and how urgent it is.
#pragma once

#include <json/json.h>

#include "rmc/report/Device.h"

namespace simhost {

enum class EntryKind { fault, recovery, notice, push, trouble };
// "fault", ...: also the class of the style sheet and the end of the symbol's name.
const char* nameOf(EntryKind kind);

// What a fault or a recovery is about. A recovery closes the faults of its own matter only.
enum class Matter { none, fibreChannel, controller, battery, drive, ethernet, volume, consistency };
// Of the units of a section of HostDataCollection, which "EthernetDevices" is.
Matter matterOf(const std::string& sectionKey);

struct EventKind {
    int id;
    EntryKind kind;
    Matter matter;
    Condition condition;  // of the unit, as far as the number tells it
};
// A number that is not known, or is none, is a notice about nothing.
EventKind eventKindOf(const Json::Value& id);

}  // namespace simhost
