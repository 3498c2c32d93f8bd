// Notices that the host's wall clock was set, and ends the waits that would otherwise last until the old time
// comes again.
#pragma once

#include <optional>

class vokdClockCheck {
public:
    // Takes the first reading of the clocks.
    vokdClockCheck();
    // Compares the progress of the wall clock since the last call with that of the host's uptime. If they
    // differ by more than vokClockStepSeconds, logs that the clock was set. Then, in any case, ends the waits
    // that are overtaken, since the clock may also have been set forward and back between two calls.
    void run();

private:
    // The wall clock minus the uptime, in nanoseconds, lies between these two.
    struct Offset {
        long long least;
        long long most;
    };
    // Empty if one of the clocks can't be read.
    static std::optional<Offset> readOffset();

    std::optional<Offset> last_;
};
