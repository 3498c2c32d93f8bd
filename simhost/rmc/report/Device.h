// The units of an inventory as a report shows them: each has a condition, a name and perhaps a place.
#pragma once

#include <json/json.h>
#include <optional>
#include <string>
#include <vector>

#include "rmc/report/Place.h"

namespace simhost {

// In the order of urgency.
enum class Condition { ok, down, unknown, warning, critical };
inline constexpr Condition conditions[] = {Condition::critical, Condition::warning, Condition::unknown,
                                           Condition::down, Condition::ok};
// "ok", "down", ...: also the class of the style sheet and the end of the symbol's name.
const char* nameOf(Condition condition);
// From a unit's Status: its health, and of one in good health whether it is in service.
Condition conditionOf(const Json::Value& item);

struct Section {
    const char* key;   // of HostDataCollection
    const char* word;  // for one unit
    const char* plural;
    const char* heading;
    const char* shortName;  // in the picture
};
// The section of a key; one for units of an unknown kind if the key is not known.
const Section& sectionOf(const std::string& key);
// Of its table; never empty.
std::string headingOf(const std::string& sectionKey);

struct Device {
    const Section* section = nullptr;
    std::string key;     // of HostDataCollection
    std::string anchor;  // id of its row
    std::string name;    // what tells it from others: a device name, a serial number
    std::string model;
    std::string state;  // "Online/OK"
    Condition condition = Condition::unknown;
    std::string geoId;
    std::string code;  // its PhysicalLocation
    std::optional<Place> place;
    std::string enclosure;  // of a drive with the slot "252:7"
    unsigned enclosureSlot = 0;
    const Json::Value* item = nullptr;

    bool is(const char* wantedKey) const { return key == wantedKey; }
    // Everything a person needs to know it: "vmnic3, Ethernet port, Linkdown/OK, MEV 2-port ...".
    std::string inWords() const;
};

// All units of a document, which must outlive them, in the order of its sections.
std::vector<Device> devicesOf(const Json::Value& document);
// What is the same for a unit in two inventories and in an event: serial number, hardware address, port name.
// Empty if it has nothing of its own.
std::string identityOf(const Json::Value& item);
// What a person calls it; never empty.
std::string callNameOf(const Json::Value& item);
// A text that says nothing is empty: "Not Available", "Not Applicable".
std::string meaningful(const std::string& text);

}  // namespace simhost
