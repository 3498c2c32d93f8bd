#include "nic/NICEventMonitor.h"

#include <system_error>

#include "core/base/vokLog.h"

NICEventMonitor::~NICEventMonitor() {
    if (thread_.joinable()) stopMonitoring();
}

void NICEventMonitor::startMonitoring() {
    if (thread_.joinable()) return;
    VOK_LOG_DEBUG("NIC_EVENT", "Creating a producer thread");
    stop_ = false;
    try {
        thread_ = std::thread([this] {
            std::unique_lock<std::mutex> lock(mutex_);
            stopped_.wait(lock, [this] { return stop_; });
        });
    } catch (const std::system_error& failure) {
        VOK_LOG_ERROR("NIC_EVENT", "Unable to create the producer thread: %s", failure.what());
    }
}

void NICEventMonitor::stopMonitoring() {
    VOK_LOG_DEBUG("NIC_EVENT", "Stopping the producer thread");
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    stopped_.notify_one();
    VOK_LOG_DEBUG("NIC_EVENT", "Signalled for stop.");
    if (thread_.joinable()) thread_.join();
}
