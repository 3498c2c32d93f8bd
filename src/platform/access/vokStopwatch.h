// The time since its construction by the host's steady clock, which no change of the wall clock falsifies.
#pragma once

#include <cstdint>
#include <ctime>

class vokStopwatch {
public:
    vokStopwatch();
    // To within some ten milliseconds; 0 if the clock can't be read.
    std::uint64_t milliseconds() const;

private:
    timespec begin_{};
    bool isRunning_;
};
