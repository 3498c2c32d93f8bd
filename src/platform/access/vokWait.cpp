#include "platform/access/vokWait.h"

#include <algorithm>
#include <cerrno>
#include <limits>

#include "platform/access/vokHostAccess.h"

bool vokDeadlineAfter(long long seconds, timespec& deadline) {
    if (vokHostAccess().wallClock(&deadline) != 0) return false;
    const long long latest = std::numeric_limits<time_t>::max();
    deadline.tv_sec = static_cast<time_t>(
        seconds > latest - deadline.tv_sec ? latest : deadline.tv_sec + std::max(0LL, seconds));
    return true;
}

vokWaitResult vokWaitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                           const timespec& deadline) {
    const int result =
        vokHostAccess().timedWait(condition.native_handle(), lock.mutex()->native_handle(), &deadline);
    return result == ETIMEDOUT ? vokWaitResult::timedOut : vokWaitResult::signalled;
}

vokWaitResult vokWaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                         long long seconds) {
    timespec deadline{};
    if (!vokDeadlineAfter(seconds, deadline)) return vokWaitResult::clockFailed;
    return vokWaitUntil(condition, lock, deadline);
}
