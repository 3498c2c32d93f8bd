#include "nic/NICEventMonitor.h"

#include <system_error>

#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"

NICEventMonitor::~NICEventMonitor() {
    if (running_) stopMonitoring();
}

void NICEventMonitor::startMonitoring() {
    if (running_) return;
    VOK_LOG_DEBUG("NIC_EVENT", "Creating a producer thread");
    stop_ = false;
    const auto body = [](void* monitor) -> void* {
        static_cast<NICEventMonitor*>(monitor)->waitForStop();
        return nullptr;
    };
    const int result = vokHostAccess().startThread(&thread_, body, this);
    running_ = result == 0;
    if (!running_)
        VOK_LOG_ERROR("NIC_EVENT", "Unable to create the producer thread: %s",
                      std::generic_category().message(result).c_str());
}

void NICEventMonitor::stopMonitoring() {
    VOK_LOG_DEBUG("NIC_EVENT", "Stopping the producer thread");
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    stopped_.notify_one();
    VOK_LOG_DEBUG("NIC_EVENT", "Signalled for stop.");
    if (running_) vokHostAccess().joinThread(thread_);
    running_ = false;
}

void NICEventMonitor::waitForStop() {
    std::unique_lock<std::mutex> lock(mutex_);
    stopped_.wait(lock, [this] { return stop_; });
}
