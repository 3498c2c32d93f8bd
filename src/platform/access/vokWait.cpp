#include "platform/access/vokWait.h"

#include <algorithm>
#include <cerrno>
#include <limits>

#include "platform/access/vokHostAccess.h"

bool vokIsStillToCome(time_t time, time_t now) {
    return static_cast<long long>(time) - now > vokClockStepSeconds;
}

bool vokDeadline::set(long long seconds) {
    if (vokHostAccess().wallClock(&end_) != 0) return false;
    begin_ = end_.tv_sec;
    const long long latest = std::numeric_limits<time_t>::max();
    end_.tv_sec = static_cast<time_t>(
        seconds > latest - begin_ ? latest : static_cast<long long>(begin_) + std::max(0LL, seconds));
    return true;
}

bool vokDeadline::isOvertaken() const {
    timespec now{};
    return vokHostAccess().wallClock(&now) == 0 && vokIsStillToCome(begin_, now.tv_sec);
}

vokWaitResult vokWaitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                           vokDeadline& deadline) {
    deadline.awaited_ = true;
    const int result =
        vokHostAccess().timedWait(condition.native_handle(), lock.mutex()->native_handle(), &deadline.end_);
    deadline.awaited_ = false;
    return result == ETIMEDOUT || deadline.isOvertaken() ? vokWaitResult::timedOut : vokWaitResult::signalled;
}

vokWaitResult vokWaitFor(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                         vokDeadline& deadline, long long seconds) {
    return deadline.set(seconds) ? vokWaitUntil(condition, lock, deadline) : vokWaitResult::clockFailed;
}

bool vokEndOvertakenWait(std::condition_variable& condition, const vokDeadline& deadline) {
    if (!deadline.isAwaited() || !deadline.isOvertaken()) return false;
    condition.notify_one();
    return true;
}
