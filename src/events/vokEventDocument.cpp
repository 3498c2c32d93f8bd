#include "events/vokEventDocument.h"

#include <algorithm>
#include <iterator>

namespace {

// The texts that mean no location. Compared exactly: any other text is a location.
constexpr const char* noLocation[] = {"Not Applicable", "Not Available", "NotApplicable", "NotAvailable"};

bool isLocation(const std::string& text) {
    return !text.empty() &&
           std::find(std::begin(noLocation), std::end(noLocation), text) == std::end(noLocation);
}

// What names a device, in the order of preference.
constexpr const char* deviceNames[] = {"DeviceName", "Name", "SerialNumber"};

std::string memberText(const Json::Value& object, const char* key) {
    return object.isObject() && object[key].isString() ? object[key].asString() : std::string();
}

std::string deviceName(const Json::Value& variableData) {
    if (!variableData.isObject()) return "";
    for (const char* const key : deviceNames) {
        std::string name = memberText(variableData["Data"], key);
        if (!name.empty()) return name;
    }
    return "";
}

}  // namespace

Json::Value vokEventDocument(const vokEvent& event, const vokEventHost& host) {
    Json::Value document(Json::objectValue);
    document["HostName"] = host.name;
    document["OSVersion"] = host.osVersion;
    document["OSType"] = host.osType;
    if (!host.address.empty()) document["IPv4Addresses"][0]["Address"] = host.address;
    document["ID"] = event.getEventID();
    document["Source"] = event.getSource();
    document["EventTime"] = event.getEventTime();
    if (isLocation(event.getPhyLoc())) document["PhysicalLocation"] = event.getPhyLoc();
    if (!event.getVariableData().isNull()) document["VariableData"] = event.getVariableData();
    return document;
}

std::string vokEventSubject(const std::string& module, const Json::Value& variableData,
                            const std::string& location) {
    const std::string type = memberText(variableData, "Type");
    std::string subject = type.empty() ? module : type;
    const std::string device = deviceName(variableData);
    if (!device.empty()) subject += (subject.empty() ? "" : " ") + device;
    if (isLocation(location)) subject += (subject.empty() ? "at " : " at ") + location;
    return subject;
}
