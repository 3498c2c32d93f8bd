// The wire form of a service event: one JSON object, written by vokJsonText (platform/vokJsonText.h).
#pragma once

#include <json/value.h>
#include <string>

#include "events/vokEvent.h"

// Who the host is, as each event tells it.
struct vokEventHost {
    std::string name;
    std::string osVersion;
    int osType;
    std::string address;  // IPv4; empty when the host has none
};

// The event as the management controller is told it.
Json::Value vokEventDocument(const vokEvent& event, const vokEventHost& host);
