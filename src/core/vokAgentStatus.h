// The start and the graceful stop of the agent in its status record and its history.
#pragma once

#include "platform/access/vokStopwatch.h"

// Lives as long as the agent runs; its destruction is the graceful stop. Constructed after the configuration
// has been read and before the first thread starts.
class vokAgentStatus {
public:
    vokAgentStatus();
    ~vokAgentStatus();
    vokAgentStatus(const vokAgentStatus&) = delete;
    vokAgentStatus& operator=(const vokAgentStatus&) = delete;

private:
    const vokStopwatch stopwatch_;
};
