// Replaces the C library's functions that read a clock and wait until a time, for a program that runs without
// a host root. A wait behaves as on a machine whose clock is set: it ends when the clock passes its deadline,
// also by being set, and notices nothing else.
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>

#include "setclock/ClockOffsets.h"

namespace {

constexpr long nanosecondsInSecond = 1000000000;
constexpr long long longestSlice = 20000000;  // a clock that is set is noticed after so many nanoseconds

// The next function of the name in the order of loading: the C library's or a sanitizer's.
template <typename Function>
Function* next(const char* name) {
    void* const found = ::dlsym(RTLD_NEXT, name);
    if (!found) std::abort();
    return reinterpret_cast<Function*>(found);
}

const SharedClockOffsets machineClocks{};
const SharedClockOffsets* offsets = &machineClocks;

// The program's commands have the machine's clocks, and may be of another ABI.
[[gnu::constructor]] void mapOffsets() {
    const char* const path = std::getenv("VOK_SETCLOCK_FILE");
    const int file = path ? ::open(path, O_RDONLY | O_CLOEXEC) : -1;
    if (file < 0) std::abort();
    void* const mapped = ::mmap(nullptr, sizeof(SharedClockOffsets), PROT_READ, MAP_SHARED, file, 0);
    if (mapped == MAP_FAILED) std::abort();
    ::close(file);
    offsets = static_cast<const SharedClockOffsets*>(mapped);
    ::unsetenv("VOK_SETCLOCK_FILE");
    ::unsetenv("LD_PRELOAD");
}

std::int32_t offsetOf(clockid_t clock) {
    switch (clock) {
        case CLOCK_REALTIME:
        case CLOCK_REALTIME_COARSE:
            return offsets->load().wallSeconds;
        case CLOCK_MONOTONIC:
        case CLOCK_MONOTONIC_COARSE:
        case CLOCK_MONOTONIC_RAW:
        case CLOCK_BOOTTIME:
            return offsets->load().uptimeSeconds;
        default:  // of the processor's time
            return 0;
    }
}

int machineClock(clockid_t clock, timespec* now) {
    static auto* const function = next<int(clockid_t, timespec*)>("clock_gettime");
    return function(clock, now);
}

long long nanosecondsUntil(clockid_t clock, const timespec& deadline) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return (static_cast<long long>(deadline.tv_sec) - now.tv_sec) * nanosecondsInSecond + deadline.tv_nsec -
           now.tv_nsec;
}

// Notifications by condition; two conditions may share a number. A slice of a wait that is notified between
// the end of the slice and the next one finds a different number.
std::atomic<unsigned>& notificationsOf(const pthread_cond_t* condition) {
    static std::array<std::atomic<unsigned>, 1024> numbers{};
    return numbers[reinterpret_cast<std::uintptr_t>(condition) / sizeof(pthread_cond_t) % numbers.size()];
}

int waitOnMachine(pthread_cond_t* condition, pthread_mutex_t* mutex, long long nanoseconds) {
    static auto* const function =
        next<int(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*)>("pthread_cond_clockwait");
    timespec end{};
    machineClock(CLOCK_MONOTONIC, &end);
    const long long sum = end.tv_nsec + nanoseconds;
    end.tv_sec += static_cast<time_t>(sum / nanosecondsInSecond);
    end.tv_nsec = static_cast<long>(sum % nanosecondsInSecond);
    return function(condition, mutex, CLOCK_MONOTONIC, &end);
}

int waitUntil(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock, const timespec& deadline) {
    const unsigned before = notificationsOf(condition);
    for (;;) {
        const long long left = nanosecondsUntil(clock, deadline);
        if (left <= 0) return ETIMEDOUT;
        const int result = waitOnMachine(condition, mutex, std::min(left, longestSlice));
        if (result != ETIMEDOUT) return result;
        if (notificationsOf(condition) != before) return 0;
    }
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const int result = machineClock(clock, now);
    if (result == 0) now->tv_sec += offsetOf(clock);
    return result;
}

time_t time(time_t* result) noexcept {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
    if (result) *result = now.tv_sec;
    return now.tv_sec;
}

int gettimeofday(timeval* result, void*) noexcept {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    *result = {now.tv_sec, static_cast<suseconds_t>(now.tv_nsec / 1000)};
    return 0;
}

int sysinfo(struct sysinfo* information) noexcept {
    static auto* const function = next<int(struct sysinfo*)>("sysinfo");
    const int result = function(information);
    if (result == 0) information->uptime += offsetOf(CLOCK_BOOTTIME);
    return result;
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    return waitUntil(condition, mutex, CLOCK_REALTIME, *deadline);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* deadline) {
    return waitUntil(condition, mutex, clock, *deadline);
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept {
    static auto* const function = next<int(pthread_cond_t*)>("pthread_cond_signal");
    ++notificationsOf(condition);
    return function(condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    static auto* const function = next<int(pthread_cond_t*)>("pthread_cond_broadcast");
    ++notificationsOf(condition);
    return function(condition);
}

}  // extern "C"
