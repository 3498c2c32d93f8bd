#include "hostaccess/ClockWaiters.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>

#include "common/SimulatedClock.h"

namespace simhost {

namespace {

constexpr std::int64_t longestLook = 200000000;  // how late a jump of the clock may be noticed
constexpr std::int64_t nextKnock = 1000000;      // after a wake-up that came before its waiter slept

std::int64_t nanoseconds(const timespec& time) {
    constexpr std::int64_t latest = INT64_MAX / nanosecondsInSecond - 1;
    return std::min<std::int64_t>(time.tv_sec, latest) * nanosecondsInSecond + time.tv_nsec;
}

}  // namespace

bool simulatedWall(const HostState& state, std::int64_t& wall) {
    ClockState clock{};
    if (!state.readClock(clock)) return false;
    wall = wallAt(clock, machineNow());
    return true;
}

ClockWaiters::~ClockWaiters() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ending_ = true;
        changed_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
}

int ClockWaiters::wait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec& deadline) {
    if (deadline.tv_nsec < 0 || deadline.tv_nsec >= nanosecondsInSecond) return EINVAL;
    const std::int64_t instant = nanoseconds(deadline);
    std::int64_t wall = 0;
    if (!simulatedWall(state_, wall)) return EINVAL;
    if (instant <= wall) {  // lets others have the mutex, as any wait does
        const timespec past{0, 0};
        return ::pthread_cond_timedwait(condition, mutex, &past);
    }
    std::list<Waiter>::iterator own;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        startThread();
        own = waiters_.insert(waiters_.end(), {condition, instant, false});
        changed_.notify_all();
    }
    const int result = ::pthread_cond_wait(condition, mutex);
    const std::lock_guard<std::mutex> lock(mutex_);
    const bool expired = own->expired;
    waiters_.erase(own);
    return result == 0 && expired ? ETIMEDOUT : result;
}

void ClockWaiters::startThread() {
    if (thread_.joinable()) return;
    sigset_t all;
    sigset_t before;
    sigfillset(&all);  // signals are for the agent's own threads
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    thread_ = std::thread([this] { watchClock(); });
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void ClockWaiters::watchClock() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!ending_) {
        ClockState clock{};
        if (waiters_.empty()) {
            changed_.wait(lock);
            continue;
        }
        const std::int64_t pause =
            state_.readClock(clock) ? wakeExpired(wallAt(clock, machineNow()), clock) : longestLook;
        changed_.wait_until(lock, std::chrono::steady_clock::now() + std::chrono::nanoseconds(pause));
    }
}

std::int64_t ClockWaiters::wakeExpired(std::int64_t wall, const ClockState& clock) {
    std::int64_t pause = longestLook;
    for (Waiter& waiter : waiters_) {
        if (waiter.deadline > wall && !waiter.expired) {
            pause = std::min(pause, machineDuration(clock, waiter.deadline - wall));
            continue;
        }
        waiter.expired = true;
        ::pthread_cond_broadcast(waiter.condition);
        pause = std::min(pause, nextKnock);
    }
    return std::max(pause, nextKnock / 10);
}

}  // namespace simhost
