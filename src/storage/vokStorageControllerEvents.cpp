#include "storage/vokStorageController.h"

bool vokStorageController::generateEventOnStatusChange() {
    return false;
}
bool vokStorageController::generateEventOnStatusChange(vokDiskInfo*, vokDiskInfo*) {
    return false;
}
int vokStorageController::enableEvents() {
    return 0;
}
bool vokStorageController::isEventsEnabled() {
    return true;
}
int vokStorageController::disableEvents() {
    return 0;
}
void vokStorageController::poll() {}
void vokStorageController::processDeviceRemoval() {}
void vokStorageController::processDeviceAddition(IvokStorageController*) {}
