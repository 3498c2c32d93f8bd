// Clocks of a program that the test sets while it runs: those that vok-setclock gives it.
#pragma once

#include <string>
#include <vector>

#include "setclock/ClockOffsets.h"

class SetClock {
public:
    // Makes the file of the offsets in the directory; they are 0.
    explicit SetClock(const std::string& directory);
    ~SetClock();
    SetClock(const SetClock&) = delete;
    SetClock& operator=(const SetClock&) = delete;

    // The command that runs `command` with these clocks.
    std::vector<std::string> commandWithClocks(std::vector<std::string> command) const;

    // The wall clock is set: forward, or back if negative. The machine's uptime stays.
    void setWallClock(int seconds) { add({seconds, 0}); }
    // Time passes: both clocks go on.
    void pass(int seconds) { add({seconds, seconds}); }

private:
    void add(ClockOffsets seconds);

    std::string file_;
    SharedClockOffsets* offsets_;
};
