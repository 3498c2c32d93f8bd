// The producer thread of the Ethernet manager's events. Link changes are found by the manager's poll, so
// the thread only waits until it is stopped.
#pragma once

#include <pthread.h>
#include <condition_variable>
#include <mutex>

class NICEventMonitor {
public:
    NICEventMonitor() = default;
    ~NICEventMonitor();
    NICEventMonitor(const NICEventMonitor&) = delete;
    NICEventMonitor& operator=(const NICEventMonitor&) = delete;

    // A second start without a stop does nothing.
    void startMonitoring();
    // Returns when the thread has ended.
    void stopMonitoring();

private:
    void waitForStop();

    std::mutex mutex_;
    std::condition_variable stopped_;
    bool stop_ = false;
    pthread_t thread_{};
    bool running_ = false;  // there is a thread to join
};
