// Test events by number, with which service staff check the path from the host to the management
// controller. The owner of a number builds the event like a real one.
#pragma once

#include <string>

// A client's request.
struct vokTestEventRequest {
    int id;                // 0 if there is no number; clamped to the range of int
    std::string location;  // "FFFFFFFFFFFFFFFF" when none is given
};

// Reads an event number, and optionally a physical location, which is all text after the first blank.
vokTestEventRequest vokReadTestEventRequest(const std::string& text);

// Raises the event that the request in `payload` names. A number without an owner is reported on standard
// output.
void sendTestEventWithEventId(char* payload);

// The agent's own test event: which resources are enabled, and which of them are running. May take several
// seconds for each resource.
void generateTestEvent(int id);
