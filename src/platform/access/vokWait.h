// The only way in which a thread of the agent waits for a time or a signal.
#pragma once

#include <condition_variable>
#include <ctime>
#include <mutex>

enum class vokWaitResult {
    signalled,    // woken before the deadline, for any reason
    timedOut,     // the deadline has passed
    clockFailed,  // the wall clock can't be read; errno says why, and there was no wait
};

// Waits on `condition` for at most `seconds` from now by the host's wall clock; a deadline beyond the range
// of time_t is clamped to its end. `lock` is held at the call and on return.
vokWaitResult vokWaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                         long long seconds);

// The two halves of vokWaitFor, for a wait that may be resumed until its original deadline.
// The time `seconds` from now; false if the wall clock can't be read.
bool vokDeadlineAfter(long long seconds, timespec& deadline);
// Never clockFailed.
vokWaitResult vokWaitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                           const timespec& deadline);
