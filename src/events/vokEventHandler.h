// Delivers service events to the management controller, each at once and at most once: there is no queue
// and no retry, since the state that caused an event stays visible in the next inventory.
#pragma once

#include <string>

#include "events/vokEvent.h"

class vokEventHandler {
public:
    // Raises an event: returns when it has been delivered or the delivery has failed. Before the first
    // inventory push only OS boot and shutdown events pass; all others are silently dropped. The outcome of
    // it is noted in the vokDeliveryRecord of this thread.
    void generateEvent(vokEvent event);
    // Sends the text of an event. Returns 1 on failure, 0 on success, and notes the outcome as above.
    static int sendEventToRMC(std::string json);
};

// The body of a delivery thread. `event` points to a vokEvent that outlives the thread. Returns null.
void* startEventGeneration(void* event);

// True if an event of this number is delivered even before the first inventory push.
bool vokPassesBeforeFirstPush(int id);

// The part of the agent that owns an event number: 1 agent, 2 host, 3 Ethernet, 4 Fibre Channel, 5 storage,
// -1 none.
int getEventType(int id);
