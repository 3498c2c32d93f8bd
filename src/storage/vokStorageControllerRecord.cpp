#include "storage/vokStorageController.h"

int vokStorageController::discoverInventory(vokStorageControllerInfo&) {
    return 0;
}
int vokStorageController::getHostNumberForControllerPort(unsigned int) {
    return -1;
}
int vokStorageController::getATADeviceNumberForControllerPort(unsigned int) {
    return -1;
}
vokMallocPtr<char> vokStorageController::discoverFirmwareVersion() {
    return nullptr;
}
vokMallocPtr<char> vokStorageController::discoverSerialNumber() {
    return nullptr;
}
void vokStorageController::discoverManufacturer(std::string&) {}
void vokStorageController::discoverControllerPortStatus(vokStorageControllerPortInfo&) {}
void vokStorageController::computeControllerStatus() {}
std::string vokStorageController::formatControllerEventInfoString(STORAGE_EVENT_INFO_TYPE) {
    return "";
}
