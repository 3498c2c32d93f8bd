// The wire form of a service event: one JSON object, written by vokJsonText (core/base/vokJsonText.h).
#pragma once

#include <json/value.h>
#include <string>

#include "events/vokEvent.h"

// The identity of the host, as part of each event.
struct vokEventHost {
    std::string name;
    std::string osVersion;
    int osType;
    std::string address;  // IPv4; empty when the host has none
};

// The event in the form that is sent to the management controller.
Json::Value vokEventDocument(const vokEvent& event, const vokEventHost& host);

// What an event is about, for a person: the type of the device, or without one the module that raises the
// event, the name of the device, the location; what is not known is left out. `variableData` may be of any
// form.
std::string vokEventSubject(const std::string& module, const Json::Value& variableData,
                            const std::string& location);
