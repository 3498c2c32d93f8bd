// Lets the client remove its pipe before a signal ends it: the signals that request the end of a program
// are blocked, and delivered only while the client waits.
#pragma once

#include <poll.h>
#include <signal.h>
#include <chrono>

class vokClientSignals {
public:
    using Clock = std::chrono::steady_clock;

    // Blocks the signals. For the only thread of a program.
    vokClientSignals();
    vokClientSignals(const vokClientSignals&) = delete;
    vokClientSignals& operator=(const vokClientSignals&) = delete;

    // poll(2) until the deadline: more than 0 if a descriptor is ready, 0 on time-out or if a signal
    // arrived, -1 with errno.
    int wait(pollfd* descriptors, nfds_t count, Clock::time_point deadline);
    // The signal that arrived, or 0.
    int arrived() const;
    // Ends the program by that signal, as if it had never been blocked.
    [[noreturn]] void endByArrived();

private:
    sigset_t before_;
};
