#include "support/FakeClock.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

void FakeClock::set(time_t seconds, long nanoseconds) {
    const std::lock_guard<std::mutex> lock(guard_);
    now_ = {seconds, nanoseconds};
}

void FakeClock::advance(long long seconds) {
    const std::lock_guard<std::mutex> lock(guard_);
    now_.tv_sec += static_cast<time_t>(seconds);
}

void FakeClock::failReads(int count) {
    const std::lock_guard<std::mutex> lock(guard_);
    failingReads_ = count;
}

timespec FakeClock::now() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return now_;
}

std::vector<unsigned long> FakeClock::pauses() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return pauses_;
}

std::vector<long long> FakeClock::waitedSeconds() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return waitedSeconds_;
}

int FakeClock::wallClock(timespec* time) {
    const std::lock_guard<std::mutex> lock(guard_);
    if (failingReads_ > 0) {
        --failingReads_;
        errno = EINVAL;
        return -1;
    }
    *time = now_;
    return 0;
}

int FakeClock::timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    {
        const std::lock_guard<std::mutex> lock(guard_);
        waitedSeconds_.push_back(deadline->tv_sec - now_.tv_sec);
    }
    if (timedWaitsHold) return ::pthread_cond_wait(condition, mutex);
    if (onTimedWait && onTimedWait(*deadline)) return 0;
    const std::lock_guard<std::mutex> lock(guard_);
    now_ = *deadline;
    return ETIMEDOUT;
}

void FakeClock::pause(unsigned long microseconds) {
    if (onPause) onPause(microseconds);
    const std::lock_guard<std::mutex> lock(guard_);
    pauses_.push_back(microseconds);
    now_.tv_sec += static_cast<time_t>(microseconds / 1000000);
}

int FakeClock::waitForSignal(const sigset_t*, long seconds) {
    advance(seconds);
    errno = EAGAIN;
    return -1;
}

void FakeClock::advanceSteady(long long seconds, long nanoseconds) {
    std::vector<SteadyWaiter> waiters;
    {
        const std::lock_guard<std::mutex> lock(guard_);
        constexpr long nanosecondsInSecond = 1000000000;
        steady_.tv_nsec += nanoseconds;
        steady_.tv_sec += static_cast<time_t>(seconds + steady_.tv_nsec / nanosecondsInSecond);
        steady_.tv_nsec %= nanosecondsInSecond;
        std::copy_if(steadyWaiters_.begin(), steadyWaiters_.end(), std::back_inserter(waiters),
                     [this](const SteadyWaiter& waiter) { return isSteadyTimeOver(waiter.deadline); });
    }
    for (const SteadyWaiter& waiter : waiters) {
        // With its mutex: a waiter between its look at the clock and its wait would miss the call.
        ::pthread_mutex_lock(waiter.mutex);
        ::pthread_cond_broadcast(waiter.condition);
        ::pthread_mutex_unlock(waiter.mutex);
    }
}

std::vector<long long> FakeClock::steadilyWaitedSeconds() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return steadilyWaitedSeconds_;
}

void FakeClock::waitForSteadyWaits(std::size_t count) const {
    std::unique_lock<std::mutex> lock(guard_);
    steadyWaitBegun_.wait(lock, [&] { return steadilyWaitedSeconds_.size() >= count; });
}

bool FakeClock::isSteadyTimeOver(const timespec& deadline) const {
    return steady_.tv_sec != deadline.tv_sec ? steady_.tv_sec > deadline.tv_sec
                                             : steady_.tv_nsec >= deadline.tv_nsec;
}

int FakeClock::steadyClock(timespec* time) {
    const std::lock_guard<std::mutex> lock(guard_);
    *time = steady_;
    return 0;
}

int FakeClock::steadyWait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    {
        const std::lock_guard<std::mutex> lock(guard_);
        steadilyWaitedSeconds_.push_back(deadline->tv_sec - steady_.tv_sec);
        steadyWaitBegun_.notify_all();
        if (steadyWaitError != 0) return steadyWaitError;
        if (isSteadyTimeOver(*deadline)) return ETIMEDOUT;
        steadyWaiters_.push_back({condition, mutex, *deadline});
    }
    ::pthread_cond_wait(condition, mutex);
    const std::lock_guard<std::mutex> lock(guard_);
    steadyWaiters_.erase(
        std::find_if(steadyWaiters_.begin(), steadyWaiters_.end(),
                     [condition](const SteadyWaiter& waiter) { return waiter.condition == condition; }));
    return isSteadyTimeOver(*deadline) ? ETIMEDOUT : 0;
}
