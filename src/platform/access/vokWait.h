// The only way in which a thread of the agent waits for a time or a signal.
#pragma once

#include <condition_variable>
#include <ctime>
#include <mutex>

// The least difference, in seconds, by which the wall clock counts as set. A smaller one may be drift that
// the host corrects, or the time between two readings.
constexpr long vokClockStepSeconds = 5;

// True if a time that has been read from the wall clock is still to come at `now`: the clock has been set
// back since.
bool vokIsStillToCome(time_t time, time_t now);

enum class vokWaitResult {
    signalled,    // woken before the deadline, for any reason
    timedOut,     // the deadline has passed
    clockFailed,  // the wall clock can't be read; errno says why, and there was no wait
};

// Until when a thread waits by the host's wall clock, and since when. Guarded by the mutex of the wait.
class vokDeadline {
public:
    // `seconds` from now; a time beyond the range of time_t is clamped to its end. False if the wall clock
    // can't be read, with errno.
    bool set(long long seconds);
    const timespec& end() const { return end_; }
    // True if the wall clock has been set back beyond the time at which the deadline was set. It counts as
    // passed then: otherwise the thread would wait until the old time comes again.
    bool isOvertaken() const;
    // True while a thread waits for it.
    bool isAwaited() const { return awaited_; }

private:
    friend vokWaitResult vokWaitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                                      vokDeadline& deadline);

    time_t begin_ = 0;
    timespec end_{};
    bool awaited_ = false;
};

// Sets the deadline to `seconds` from now, and waits on `condition` until then. `lock` is held at the call
// and on return.
vokWaitResult vokWaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                         vokDeadline& deadline, long long seconds);
// The same for a deadline that has been set, which may have been awaited before. Never clockFailed.
vokWaitResult vokWaitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                           vokDeadline& deadline);

// Wakes the thread that waits for the deadline if that is overtaken; its wait then ends as timed out. The
// mutex of the wait is held. Returns true if a thread was woken.
bool vokEndOvertakenWait(std::condition_variable& condition, const vokDeadline& deadline);
