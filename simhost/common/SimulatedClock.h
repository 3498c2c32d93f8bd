// Arithmetic on the clock of a simulated host. All times are nanoseconds: "machine" is the machine's
// CLOCK_MONOTONIC, "line" the host's own time line, "wall" the host's wall clock since the Epoch.
#pragma once

#include <cstdint>

#include "common/HostState.h"

namespace simhost {

std::int64_t machineNow();

std::int64_t lineAt(const ClockState& clock, std::int64_t machine);
inline std::int64_t wallAt(const ClockState& clock, std::int64_t machine) {
    return lineAt(clock, machine) + clock.wallOffset;
}
inline std::int64_t uptimeAt(const ClockState& clock, std::int64_t machine) {
    return lineAt(clock, machine) - clock.boot;
}
// How long the machine takes for `simulated` of the host's time, rounded up; 0 for none or less.
std::int64_t machineDuration(const ClockState& clock, std::int64_t simulated);

// A clock that starts at `machine` with this wall time, uptime and speed.
ClockState startClock(std::int64_t machine, std::int64_t wall, std::int64_t uptime,
                      std::int64_t speedThousandths);
// The same clock from now on at another speed.
void changeSpeed(ClockState& clock, std::int64_t machine, std::int64_t speedThousandths);

}  // namespace simhost
