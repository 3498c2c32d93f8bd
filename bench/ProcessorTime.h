// The processor time of a thread: what a benchmark measures where the load of the machine must not count.
#pragma once

#include <ctime>

// That of the calling thread, in seconds.
inline double processorSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}
