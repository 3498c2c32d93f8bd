// The waits for devices: select(2) without a time-out while the agent runs, and with a limit while it stops.
#pragma once

#include <atomic>

#include "platform/access/vokStopRequest.h"

// In milliseconds.
struct vokDeviceWaitLimits {
    // From the request to stop. The driver's own limit for an exchange is five seconds.
    int afterStop = 7000;
    // From the start of a wait, if that ends later: what is being sent goes on as long as the device answers.
    int ofOneWait = 1000;
};

class vokDeviceWaits {
public:
    explicit vokDeviceWaits(const vokStopRequest& stop, vokDeviceWaitLimits limits = {})
        : stop_(stop), limits_(limits) {}

    // Like IvokHostAccess::waitForDevice().
    int wait(int descriptor);

private:
    // 0 if the stop is requested first.
    int waitUntilStop(int descriptor) const;
    int waitDuringStop(int descriptor);

    const vokStopRequest& stop_;
    const vokDeviceWaitLimits limits_;
    std::atomic<bool> aDeviceHangs_{false};  // a wait ended at its limit
};
