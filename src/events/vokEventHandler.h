// Delivers service events to the management controller, each at once and at most once.
#pragma once

#include <string>

#include "events/vokEvent.h"

class vokEventHandler {
public:
    // Raises an event: returns when it has been delivered or has failed. Before the first inventory push
    // only OS boot and shutdown events pass; all others are dropped in silence.
    void generateEvent(vokEvent event);
    // Sends a finished event text. 1 on failure, 0 on success.
    static int sendEventToRMC(std::string json);
};

// Which part of the agent owns an event number: 1 agent, 2 host, 3 Ethernet, 4 Fibre Channel, 5 storage,
// -1 none.
int getEventType(int id);
