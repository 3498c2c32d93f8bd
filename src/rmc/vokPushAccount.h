// What the status record and the history say of a push.
#pragma once

#include <cstddef>
#include <ctime>

#include "platform/access/vokStopwatch.h"

namespace ipmi {
class RemoteCommandOutcome;
}

class vokPushAccount {
public:
    // The push begins.
    vokPushAccount();
    // It has ended, with this outcome.
    void end(std::size_t bytes, const ipmi::RemoteCommandOutcome& outcome) const;

private:
    time_t begin_;
    vokStopwatch stopwatch_;
};
