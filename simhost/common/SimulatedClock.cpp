#include "common/SimulatedClock.h"

#include <ctime>

namespace simhost {

namespace {

// value * factor / divisor without an overflow on the way; both factors positive.
std::int64_t scaled(std::int64_t value, std::int64_t factor, std::int64_t divisor) {
    return value / divisor * factor + value % divisor * factor / divisor;
}

}  // namespace

std::int64_t machineNow() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * nanosecondsInSecond + now.tv_nsec;
}

std::int64_t lineAt(const ClockState& clock, std::int64_t machine) {
    return clock.lineBase + scaled(machine - clock.machineBase, clock.speedThousandths, 1000);
}

std::int64_t machineDuration(const ClockState& clock, std::int64_t simulated) {
    if (simulated <= 0) return 0;
    if (clock.speedThousandths <= 0) return simulated;
    return scaled(simulated, 1000, clock.speedThousandths) + 1;
}

ClockState startClock(std::int64_t machine, std::int64_t wall, std::int64_t uptime,
                      std::int64_t speedThousandths) {
    ClockState clock{};
    clock.machineBase = machine;
    clock.lineBase = uptime;
    clock.speedThousandths = speedThousandths;
    clock.wallOffset = wall - uptime;
    clock.boot = 0;
    return clock;
}

void changeSpeed(ClockState& clock, std::int64_t machine, std::int64_t speedThousandths) {
    clock.lineBase = lineAt(clock, machine);
    clock.machineBase = machine;
    clock.speedThousandths = speedThousandths;
}

}  // namespace simhost
