// The wire form of a service event: one JSON object in one line.
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

// `document` in one line: no indentation, no final newline, no comments, members sorted by key. All ASCII:
// what lies beyond is written as \u escapes, and bytes that are no UTF-8 as U+FFFD, so that the text is
// valid JSON whatever the strings hold.
std::string vokEventText(const Json::Value& document);
