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
