// What the timed library notes of the callbacks of a registration for events, in a file that it shares with
// the benchmark.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>

// Below the root of the simulated host.
inline constexpr char raidCallbackTimesPath[] = "/run/simhost/raid-callback-times";

struct RaidCallbackTimes {
    std::atomic<std::uint64_t> count;            // of callbacks so far
    std::atomic<std::int64_t> entered;           // the latest; nanoseconds of steadyNanoseconds()
    std::atomic<std::int64_t> libraryTime;       // nanoseconds that it has spent in commands of the library
    std::atomic<std::uint64_t> libraryCommands;  // that it has sent
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free &&
              std::atomic<std::int64_t>::is_always_lock_free);

inline std::int64_t steadyNanoseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}
