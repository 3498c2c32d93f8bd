// Lets the client take its pipe away before a signal ends it: the signals that ask a program to end are
// held back, and come through only while the client waits.
#pragma once

#include <poll.h>
#include <signal.h>
#include <chrono>

class vokClientSignals {
public:
    using Clock = std::chrono::steady_clock;

    // From here on the signals wait. For the main thread of a program with no other.
    vokClientSignals();
    vokClientSignals(const vokClientSignals&) = delete;
    vokClientSignals& operator=(const vokClientSignals&) = delete;

    // poll(2) until the deadline: more than 0 when a descriptor is ready, 0 when the time is over or a
    // signal came, -1 with errno.
    int wait(pollfd* descriptors, nfds_t count, Clock::time_point deadline);
    // The signal that came, or 0.
    int arrived() const;
    // Ends the program by that signal, as if it had never been held back.
    [[noreturn]] void endByArrived();

private:
    sigset_t before_;
};
