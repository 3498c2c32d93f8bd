#include "rmc/report/Device.h"

#include <algorithm>
#include <initializer_list>

#include "rmc/JsonMembers.h"

namespace simhost {

namespace {

constexpr Section sections[] = {
    {"StorageControllers", "storage controller", "storage controllers", "Storage controllers", "Ctrl"},
    {"Volumes", "volume", "volumes", "Volumes", "Volume"},
    {"Drives", "drive", "drives", "Drives", "Drive"},
    {"StorageEnclosures", "storage enclosure", "storage enclosures", "Storage enclosures", "Enclosure"},
    {"EthernetDevices", "Ethernet port", "Ethernet ports", "Ethernet ports", "Eth"},
    {"FibreChannelDevices", "Fibre Channel port", "Fibre Channel ports", "Fibre Channel ports", "FC"},
};
constexpr Section otherSection = {"", "unit", "units", "", "Unit"};

// States of a unit that works; "Created" and "Rebuild" are those of a drive or volume on its way.
constexpr const char* statesInService[] = {"Online", "Running", "Optimal", "Created", "Rebuild"};

bool isInService(const std::string& state) {
    return std::any_of(std::begin(statesInService), std::end(statesInService),
                       [&state](const char* each) { return state == each; });
}

// "252:7" of a RAID drive.
void readEnclosure(const std::string& slot, Device& device) {
    const auto colon = slot.find(':');
    if (colon == std::string::npos || colon == 0) return;
    const std::string number = slot.substr(colon + 1);
    const auto isDigits = [](const std::string& text) {
        return !text.empty() && text.size() <= 4 && text.find_first_not_of("0123456789") == std::string::npos;
    };
    if (!isDigits(number) || !isDigits(slot.substr(0, colon))) return;
    device.enclosure = slot.substr(0, colon);
    device.enclosureSlot = static_cast<unsigned>(std::stoul(number));
}

std::string firstOf(const Json::Value& item, std::initializer_list<const char*> keys) {
    for (const char* key : keys) {
        std::string text = meaningful(textOf(item, {key}));
        if (!text.empty()) return text;
    }
    return "";
}

void readPlace(const Json::Value& item, Device& device) {
    device.code = textOf(item, {"Oem", "PhysicalLocation"});
    if (device.code.empty()) device.code = textOf(item, {"Oem", "HostControllerPhysicalLocation"});
    device.geoId = geoIdIn(textOf(item, {"Oem", "Description"}));
    device.place = placeOfGeoId(device.geoId);
    if (!device.place) device.place = placeOfCode(device.code);
    if (device.geoId.empty() && device.place) device.geoId = geoIdOf(*device.place);
}

Device deviceOf(const Json::Value& item, const std::string& key, std::size_t number) {
    Device device;
    device.key = key;
    device.section = &sectionOf(key);
    device.item = &item;
    device.anchor = "u" + std::to_string(number);
    device.name = callNameOf(item);
    device.model = firstOf(item, {"Model", "VolumeType"});
    const std::string state = textOf(item, {"Status", "State"});
    const std::string health = textOf(item, {"Status", "Health"});
    device.state = state.empty() && health.empty() ? "not reported" : state + "/" + health;
    device.condition = conditionOf(item);
    readPlace(item, device);
    if (device.is("Drives")) readEnclosure(textOf(item, {"Oem", "Slot"}), device);
    return device;
}

}  // namespace

const char* nameOf(Condition condition) {
    switch (condition) {
        case Condition::ok:
            return "ok";
        case Condition::down:
            return "down";
        case Condition::unknown:
            return "unknown";
        case Condition::warning:
            return "warning";
        case Condition::critical:
            return "critical";
    }
    return "unknown";
}

Condition conditionOf(const Json::Value& item) {
    const std::string health = textOf(item, {"Status", "Health"});
    if (health == "Critical") return Condition::critical;
    if (health == "Warning") return Condition::warning;
    if (health != "OK") return Condition::unknown;
    return isInService(textOf(item, {"Status", "State"})) ? Condition::ok : Condition::down;
}

const Section& sectionOf(const std::string& key) {
    for (const Section& section : sections)
        if (key == section.key) return section;
    return otherSection;
}

std::string headingOf(const std::string& sectionKey) {
    std::string known = sectionOf(sectionKey).heading;
    if (!known.empty()) return known;
    return sectionKey.empty() ? "Section without a name" : sectionKey;
}

std::string Device::inWords() const {
    std::string words = name + ", " + section->word + ", " + state;
    if (!model.empty() && model != name) words += ", " + model;
    if (place) words += ", " + nameOf(*place);
    if (!enclosure.empty()) words += ", enclosure " + enclosure + " slot " + std::to_string(enclosureSlot);
    if (!geoId.empty()) words += ", GeoID " + geoId;
    if (!code.empty() && code != unknownCode) words += ", location code " + code;
    return words;
}

std::vector<Device> devicesOf(const Json::Value& document) {
    std::vector<Device> devices;
    const Json::Value& collection = member(document, {"HostDataCollection"});
    if (!collection.isObject()) return devices;
    for (const auto& key : collection.getMemberNames()) {
        const Json::Value& items = collection[key];
        for (Json::ArrayIndex i = 0; items.isArray() && i < items.size(); ++i)
            devices.push_back(deviceOf(items[i], key, devices.size() + 1));
    }
    return devices;
}

std::string identityOf(const Json::Value& item) {
    // A port before its card: the ports of a card share its serial number.
    return firstOf(item, {"WWPN", "MACAddress", "DurableName", "SerialNumber"});
}

std::string callNameOf(const Json::Value& item) {
    std::string device = meaningful(textOf(item, {"Oem", "DeviceName"}));
    if (!device.empty()) return device;
    std::string identity =
        item.isObject() && item.isMember("VolumeType") ? firstOf(item, {"VolumeType"}) : identityOf(item);
    if (!identity.empty()) return identity;
    const std::string model = firstOf(item, {"Model", "Type"});
    return model.empty() ? "without a name" : model;
}

std::string meaningful(const std::string& text) {
    for (const char* none : {"Not Available", "Not Applicable", "NotAvailable", "NotApplicable"})
        if (text == none) return "";
    return text;
}

}  // namespace simhost
