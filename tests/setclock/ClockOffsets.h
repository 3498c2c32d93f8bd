// By how much the clocks of a program that has loaded vok-setclock differ from the machine's. The file that
// the variable VOK_SETCLOCK_FILE names holds one; both the test and the program map it.
#pragma once

#include <atomic>
#include <cstdint>

struct ClockOffsets {
    std::int32_t wallSeconds;    // CLOCK_REALTIME
    std::int32_t uptimeSeconds;  // CLOCK_MONOTONIC, CLOCK_BOOTTIME and sysinfo()
};

// Set together, so that the program never sees one clock before the other has gone on.
using SharedClockOffsets = std::atomic<ClockOffsets>;
static_assert(SharedClockOffsets::is_always_lock_free, "two processes share it");
