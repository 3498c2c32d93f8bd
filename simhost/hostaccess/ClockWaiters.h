// Waiting on a condition until an instant of the simulated wall clock, which may jump or change its speed
// while the wait goes on. No time-out of the condition itself would do: a wait that ends early to look at
// the clock and then begins anew would miss a signal that came in between. So a waiter waits without limit,
// and one thread watches the clock for all waiters and wakes those whose instant has come.
#pragma once

#include <pthread.h>
#include <condition_variable>
#include <cstdint>
#include <ctime>
#include <list>
#include <mutex>
#include <thread>

#include "common/HostState.h"

namespace simhost {

class ClockWaiters {
public:
    explicit ClockWaiters(const HostState& state) : state_(state) {}
    ~ClockWaiters();
    ClockWaiters(const ClockWaiters&) = delete;
    ClockWaiters& operator=(const ClockWaiters&) = delete;

    // pthread_cond_timedwait(3) with `deadline` an instant of the simulated wall clock. Other waiters of the
    // same condition may be woken with it, as a condition may wake anybody at any time.
    int wait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec& deadline);

private:
    struct Waiter {
        pthread_cond_t* condition;
        std::int64_t deadline;
        bool expired;
    };
    void startThread();
    void watchClock();
    // Wakes those whose instant has come; gives how long the machine may wait until the next look.
    std::int64_t wakeExpired(std::int64_t wall, const ClockState& clock);

    const HostState& state_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::list<Waiter> waiters_;
    bool ending_ = false;
    std::thread thread_;
};

// The simulated wall clock in nanoseconds. False when the page has none.
bool simulatedWall(const HostState& state, std::int64_t& wall);

}  // namespace simhost
