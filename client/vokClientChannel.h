// One request to the agent over its named pipes, and the answer.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "vokClientSignals.h"

enum class vokAnswerKind {
    done,          // the agent did it: status 0
    refused,       // the agent could not deliver it: any other status
    noAgent,       // nobody reads the agent's pipe
    noPermission,  // a pipe may not be opened or made
    notInTime,     // the request is with the agent, but there was no answer within the time
    notTaken,      // the agent did not even take the request within the time
    agentLeft,     // the agent ended between taking the request and answering
    interrupted,   // a signal asks this program to end
    failed,        // anything else; `reason` says what
};

struct vokAnswer {
    vokAnswerKind kind;
    std::string reason;
};

// Sends `payload`, which must fit a packet with its NUL, and waits for the answer. Whatever comes of it, the
// pipe that was made for the answer is gone at the return.
vokAnswer vokAskAgent(std::uint16_t messageCode, const std::string& payload, std::chrono::seconds timeout,
                      vokClientSignals& signals);
