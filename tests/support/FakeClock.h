// The clocks of a fake host. The wall clock stands still until a wait or a pause advances it, and neither
// takes real time. The steady clock stands still until the test advances it.
#pragma once

#include <pthread.h>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <ctime>
#include <functional>
#include <mutex>
#include <vector>

class FakeClock {
public:
    // --- what a test sets ---
    // The instant since the Epoch; 1700000000 s at first.
    void set(time_t seconds, long nanoseconds = 0);
    void advance(long long seconds);
    // The steady clock; ends the steady waits whose deadline it passes.
    void advanceSteady(long long seconds, long nanoseconds = 0);
    // Steady waits fail with this error at once; 0: they don't.
    std::atomic<int> steadyWaitError{0};
    // The next `count` reads fail with EINVAL.
    void failReads(int count);
    // Called in each timed wait before the clock advances, with the waiter's mutex held; returns true to
    // report a signal. May wait on the condition itself to block a thread.
    std::function<bool(const timespec& deadline)> onTimedWait;
    // Timed waits end only by a signal, however long that takes: for threads that must stay blocked.
    std::atomic<bool> timedWaitsHold{false};
    // Called in each pause before it is recorded.
    std::function<void(unsigned long microseconds)> onPause;

    // --- what a test reads ---
    timespec now() const;
    std::vector<unsigned long> pauses() const;     // in microseconds
    std::vector<long long> waitedSeconds() const;  // deadline minus now, of each timed wait
    // Deadline minus now, of each steady wait; fractions of a second are dropped.
    std::vector<long long> steadilyWaitedSeconds() const;
    // Returns once `count` steady waits have begun.
    void waitForSteadyWaits(std::size_t count) const;

    // --- the operations of the seam ---
    int wallClock(timespec* time);
    int timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline);
    int steadyClock(timespec* time);
    int steadyWait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline);
    void pause(unsigned long microseconds);
    int waitForSignal(const sigset_t* signals, long seconds);  // no signal ever comes

private:
    struct SteadyWaiter {
        pthread_cond_t* condition;
        pthread_mutex_t* mutex;
        timespec deadline;
    };
    bool isSteadyTimeOver(const timespec& deadline) const;

    mutable std::mutex guard_;
    timespec now_{1700000000, 0};
    int failingReads_ = 0;
    std::vector<unsigned long> pauses_;
    std::vector<long long> waitedSeconds_;
    timespec steady_{1000, 0};
    std::vector<SteadyWaiter> steadyWaiters_;
    std::vector<long long> steadilyWaitedSeconds_;
    mutable std::condition_variable steadyWaitBegun_;
};
