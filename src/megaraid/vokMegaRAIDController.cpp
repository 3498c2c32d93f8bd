#include "megaraid/vokMegaRAIDController.h"

#include <utility>

#include "storage/storage_utils.h"

std::atomic<int> vokMegaRAIDController::totalLSICtrls{0};
std::atomic<bool> vokMegaRAIDController::isLSILibLoaded{false};
std::atomic<bool> vokMegaRAIDController::isAENRegistered{false};

vokMegaRAIDController::vokMegaRAIDController(std::uint32_t id)
    : vokStorageController(0, 0, "", vokMegaRaid, false), controllerId(id) {}

int vokMegaRAIDController::discoverInventory(vokStorageControllerInfo&) {
    return -1;
}

int vokMegaRAIDController::enableEvents() {
    return 1;
}

bool vokMegaRAIDController::isEventsEnabled() {
    const vokMutexLocker locker(lock);
    return (eventFlags & vokEventsEnabled) != 0;
}

int vokMegaRAIDController::disableEvents() {
    return 0;
}

void vokMegaRAIDController::poll() {}

void vokMegaRAIDController::processDeviceRemoval() {}

void vokMegaRAIDController::processDeviceAddition(IvokStorageController*) {}

std::string vokMegaRAIDController::getDeviceName() {
    const vokMutexLocker locker(lock);
    return deviceName;
}

void vokMegaRAIDController::setDeviceName(std::string name) {
    const vokMutexLocker locker(lock);
    deviceName = std::move(name);
}

bool vokMegaRAIDController::getDeviceDetected() {
    const vokMutexLocker locker(lock);
    return deviceDetected;
}

void vokMegaRAIDController::setDeviceDetected(bool detected) {
    const vokMutexLocker locker(lock);
    deviceDetected = detected;
}
