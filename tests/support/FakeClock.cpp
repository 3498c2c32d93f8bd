#include "support/FakeClock.h"

#include <cerrno>

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
