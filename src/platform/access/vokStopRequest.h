// The request to stop the agent, for the operations that could otherwise last for ever: they wait for it
// together with what they wait for, and then end within a limit.
#pragma once

#include <atomic>

#include "platform/access/vokOwnedDescriptor.h"

class vokStopRequest {
public:
    vokStopRequest();

    // Async-signal-safe; only the first call counts.
    void make();
    bool isMade() const { return madeAt_.load() != notMade; }
    // Readable once the request is made. -1 if no descriptor could be made: a wait that has begun before the
    // request then does not notice it.
    int descriptor() const { return readEnd_.get(); }
    // Milliseconds from now until `milliseconds` after the request, at least 0; -1 without a request.
    int timeLeft(int milliseconds) const;

private:
    static constexpr long long notMade = -1;

    std::atomic<long long> madeAt_{notMade};  // in milliseconds of the machine's monotonic clock
    vokOwnedDescriptor readEnd_;
    vokOwnedDescriptor writeEnd_;
};
