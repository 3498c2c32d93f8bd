#include "rmc/PayloadForm.h"

#include <algorithm>
#include <memory>

#include "common/Text.h"

namespace simhost {

namespace {

std::string writtenAgain(const Json::Value& value, bool utf8) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = utf8;
    return Json::writeString(builder, value);
}

// What every payload must be; the value is null when it is no JSON object.
FormFindings checkText(const std::string& text) {
    FormFindings found;
    auto& violations = found.violations;
    if (!isUtf8(text)) violations.push_back("the text is not UTF-8");
    if (text.find_first_of("\r\n") != std::string::npos)
        violations.push_back("the text is more than one line");
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &found.value, &errors)) {
            std::replace(errors.begin(), errors.end(), '\n', ' ');
            violations.push_back("the text is not JSON: " + errors);
            found.value = Json::Value();
            return found;
        }
        // A member out of order, a blank or another way of writing shows here.
        if (text != writtenAgain(found.value, false) && text != writtenAgain(found.value, true))
            violations.push_back("the text is not written with sorted members and no blanks");
    } catch (const std::exception& problem) {
        violations.push_back(std::string("the text is not JSON: ") + problem.what());
        found.value = Json::Value();
        return found;
    }
    if (!found.value.isObject()) {
        violations.push_back("the text is not a JSON object");
        found.value = Json::Value();
    }
    return found;
}

struct Member {
    const char* key;
    Json::ValueType type;
    bool always;
};

constexpr Member sections[] = {
    {"Drives", Json::arrayValue, false},
    {"EthernetDevices", Json::arrayValue, false},
    {"FibreChannelDevices", Json::arrayValue, false},
    {"Oem", Json::objectValue, false},
    {"StorageControllers", Json::arrayValue, false},
    {"StorageEnclosures", Json::arrayValue, false},
    {"Volumes", Json::arrayValue, false},
};

constexpr Member eventMembers[] = {
    {"EventTime", Json::stringValue, true},
    {"HostName", Json::stringValue, true},
    {"ID", Json::intValue, true},
    {"IPv4Addresses", Json::arrayValue, false},
    {"OSType", Json::intValue, true},
    {"OSVersion", Json::stringValue, true},
    {"PhysicalLocation", Json::stringValue, false},
    {"Source", Json::stringValue, true},
    {"VariableData", Json::objectValue, false},
};

bool hasType(const Json::Value& value, Json::ValueType type) {
    if (type == Json::intValue) return value.type() == Json::intValue || value.type() == Json::uintValue;
    return value.type() == type;
}

template <std::size_t Count>
void checkMembers(const Json::Value& object, const Member (&members)[Count], const std::string& what,
                  bool whole, std::vector<std::string>& violations) {
    for (const Member& member : members) {
        if (!object.isMember(member.key)) {
            if (member.always && whole) violations.push_back(what + " has no " + member.key);
        } else if (!hasType(object[member.key], member.type)) {
            violations.push_back(what + ": " + member.key + " is of another type");
        }
    }
    for (const auto& key : object.getMemberNames()) {
        const bool known = std::any_of(std::begin(members), std::end(members),
                                       [&key](const Member& member) { return key == member.key; });
        if (!known && whole)
            violations.push_back(
                formatText("%s has a member %s that is not known", what.c_str(), key.c_str()));
    }
}

void checkAddresses(const Json::Value& addresses, std::vector<std::string>& violations) {
    const bool good = addresses.size() == 1 && addresses[0].isObject() && addresses[0].size() == 1 &&
                      addresses[0]["Address"].isString() && !addresses[0]["Address"].asString().empty();
    if (!good) violations.push_back("the event's IPv4Addresses is not one object with an Address");
}

void checkLocation(const std::string& location, std::vector<std::string>& violations) {
    for (const char* none : {"", "Not Applicable", "Not Available", "NotApplicable", "NotAvailable"})
        if (location == none)
            violations.push_back(
                formatText("the event has a PhysicalLocation \"%s\", which is left out", none));
}

}  // namespace

FormFindings checkInventory(const std::string& text) {
    FormFindings found = checkText(text);
    if (found.value.isNull()) return found;
    constexpr Member top[] = {{"HostDataCollection", Json::objectValue, true}};
    const Json::Value& value = found.value;
    checkMembers(value, top, "the inventory", true, found.violations);
    const Json::Value& collection = value["HostDataCollection"];
    if (!collection.isObject()) return found;
    checkMembers(collection, sections, "HostDataCollection", true, found.violations);
    for (const auto& key : collection.getMemberNames())
        if ((collection[key].isArray() || collection[key].isObject()) && collection[key].empty())
            found.violations.push_back("the section " + key + " is empty, and would be left out");
    return found;
}

FormFindings checkEvent(const std::string& text) {
    FormFindings found = checkText(text);
    if (found.value.isNull()) return found;
    // A client of the agent may have written the event itself; then only what it has can be held to a type.
    const Json::Value& value = found.value;
    const bool whole = !value["Source"].isString() || value["Source"].asString() != "VOK-CLI";
    checkMembers(value, eventMembers, "the event", whole, found.violations);
    if (whole && value.isMember("IPv4Addresses") && value["IPv4Addresses"].isArray())
        checkAddresses(value["IPv4Addresses"], found.violations);
    if (whole && value.isMember("PhysicalLocation") && value["PhysicalLocation"].isString())
        checkLocation(value["PhysicalLocation"].asString(), found.violations);
    return found;
}

bool isUtf8(const std::string& text) {
    const auto at = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    for (std::size_t i = 0; i < text.size();) {
        const unsigned lead = at(i);
        const std::size_t length = lead < 0x80                    ? 1
                                   : lead >= 0xC2 && lead <= 0xDF ? 2
                                   : lead >= 0xE0 && lead <= 0xEF ? 3
                                   : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                                  : 0;
        if (length == 0 || i + length > text.size()) return false;
        for (std::size_t k = 1; k < length; ++k)
            if ((at(i + k) & 0xC0) != 0x80) return false;
        if (length > 1) {
            const unsigned second = at(i + 1);
            if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F))
                return false;
        }
        i += length;
    }
    return true;
}

}  // namespace simhost
