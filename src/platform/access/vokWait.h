// The one way in which a thread of the agent waits for a time or a signal.
#pragma once

#include <condition_variable>
#include <ctime>
#include <mutex>

enum class vokWaitResult {
    signalled,    // woken before the time was over, for whatever reason
    timedOut,     // the time is over
    clockFailed,  // the wall clock can't be read; errno says why, and nothing was waited for
};

// Waits on `condition` for at most `seconds` from now by the host's wall clock; a number that reaches
// beyond what time_t holds waits until the end of that. `lock` is held at the call and on return.
vokWaitResult vokWaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                         long long seconds);

// The two halves of it, for a wait that may be resumed until the time it was to end at.
// The time `seconds` from now; false if the wall clock can't be read.
bool vokDeadlineAfter(long long seconds, timespec& deadline);
// Never clockFailed.
vokWaitResult vokWaitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                           const timespec& deadline);
