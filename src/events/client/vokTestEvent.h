// Test events by number, by which service staff prove the path from the host to the management controller.
// The owner of a number builds the event as it would build a real one.
#pragma once

#include <string>

// What a client asks for.
struct vokTestEventRequest {
    int id;                // 0 when there is no number; beyond what int holds, the nearest that it does hold
    std::string location;  // "FFFFFFFFFFFFFFFF" when none is given
};

// An event number and optionally a blank and a physical location, which is all that follows the first blank.
vokTestEventRequest vokReadTestEventRequest(const std::string& text);

// `payload`: the text of such a request. A number without an owner is told on standard output.
void sendTestEventWithEventId(char* payload);

// The agent's own test event: which resources are enabled, and which of them are running. May take several
// seconds for each resource.
void generateTestEvent(int id);

// Can test events of this type (see getEventType) be raised?
bool vokTestEventHasRaiser(int type);
