// One request to the agent over its named pipes, and the answer.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "events/vokDelivery.h"
#include "vokClientSignals.h"

enum class vokAnswerKind {
    done,          // the agent did it: status 0
    refused,       // the agent could not deliver it: any other status
    noAgent,       // no process reads the agent's pipe
    noPermission,  // a pipe must not be opened or created
    notInTime,     // the agent has the request, but did not answer in time
    notTaken,      // the agent did not accept the request in time
    agentLeft,     // the agent ended between accepting the request and answering
    interrupted,   // a signal requests the end of this program
    failed,        // anything else; `reason` says what
};

struct vokAnswer {
    vokAnswerKind kind;
    std::string reason;
    vokDelivery delivery{};  // of `done` and `refused`; unknown if the agent does not say
};

// Sends `payload`, which must fit a packet with its NUL, and waits for the answer. The pipe that is created
// for the answer is removed in any case.
vokAnswer vokAskAgent(std::uint16_t messageCode, const std::string& payload, std::chrono::seconds timeout,
                      vokClientSignals& signals);
