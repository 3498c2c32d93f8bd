#include "platform/access/vokStopwatch.h"

#include <algorithm>

#include "platform/access/vokHostAccess.h"

vokStopwatch::vokStopwatch() : isRunning_(vokHostAccess().steadyClock(&begin_) == 0) {}

std::uint64_t vokStopwatch::milliseconds() const {
    timespec now{};
    if (!isRunning_ || vokHostAccess().steadyClock(&now) != 0) return 0;
    const long long seconds = static_cast<long long>(now.tv_sec) - begin_.tv_sec;
    const long long passed = seconds * 1000 + (now.tv_nsec - begin_.tv_nsec) / 1000000;
    return static_cast<std::uint64_t>(std::max(0LL, passed));
}
