#include "rmc/vokIPMIDBService.h"

#include <cerrno>

#include "core/base/vokConfig.h"
#include "core/base/vokLog.h"
#include "core/status/vokStatusRecord.h"
#include "platform/access/vokHostAccess.h"
#include "rmc/ipmi/vokipmi.h"
#include "rmc/vokJsonAggregator.h"

namespace {

void* startIPMIDBMonitor(void*) {
    vokIPMIDBService::getInstance()->startMonitoring();
    return nullptr;
}

}  // namespace

pthread_t vokIPMIDBService::thread;
bool vokIPMIDBService::threadCreated = false;
std::mutex vokIPMIDBService::cmutex;
std::condition_variable vokIPMIDBService::cond;
vokDeadline vokIPMIDBService::deadline;
bool vokIPMIDBService::stopMoni = false;
bool vokIPMIDBService::checkIPMIDevice = false;

vokIPMIDBService* vokIPMIDBService::getInstance() {
    static auto* const instance = new vokIPMIDBService;
    return instance;
}

void vokIPMIDBService::startvokIPMIDBService() {
    const int result = vokHostAccess().startThread(&thread, startIPMIDBMonitor, nullptr);
    threadCreated = result == 0;
    if (result != 0) VOK_LOG_ERROR("IPMI_DB", "Error: Unable to create thread: %d", result);
}

void vokIPMIDBService::stopvokIPMIDBService() {
    VOK_LOG_DEBUG("IPMI_DB", "Stopping IPMI door bell service");
    {
        const std::lock_guard<std::mutex> lock(cmutex);
        stopMoni = true;
        cond.notify_one();
    }
    VOK_LOG_DEBUG("IPMI_DB", "Signaled for stop.");
    if (!threadCreated) return;
    threadCreated = false;
    const int result = vokHostAccess().joinThread(thread);
    if (result != 0) VOK_LOG_ERROR("IPMI_DB", "Error: Unable to join thread: %d", result);
}

bool vokIPMIDBService::recheckWait() {
    const std::lock_guard<std::mutex> lock(cmutex);
    return vokEndOvertakenWait(cond, deadline);
}

void vokIPMIDBService::startMonitoring() {
    const long long interval = vokConfig::getInstance()->getDoorBellSleepInterval() * 60LL;
    std::unique_lock<std::mutex> lock(cmutex);
    for (;;) {
        if (!stopMoni && !checkIPMIDevice) {
            if (!deadline.set(interval)) {
                const int reason = errno;  // logging may change it
                VOK_LOG_ERROR("IPMI_DB", "Failed to get current time! (error no: %d)", reason);
                return;
            }
            vokNoteNextPoll(deadline.end().tv_sec);
            vokWaitUntil(cond, lock, deadline);
            VOK_LOG_DEBUG("IPMI_DB", "Door bell thread woke up");
            if (!stopMoni) checkIPMIDevice = true;
        }
        if (stopMoni) return;
        // A poll is due: the flag was set after the wait or before it.
        checkIPMIDevice = false;
        lock.unlock();
        ipmi::IPMIUtils controller;
        if (controller.checkIPMIDBRequest()) vokJsonAggregator::getInstance()->sendInventory(true);
        lock.lock();
    }
}
