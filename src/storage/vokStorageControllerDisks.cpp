#include "storage/vokStorageController.h"

int vokStorageController::discoverPhysicalDiskInventory(std::vector<vokDiskInfo>&) {
    return 0;
}
int vokStorageController::discoverPhysicalDiskSlotNumber(vokDiskInfo&) {
    return -1;
}
void vokStorageController::discoverPhysicalDiskManufacturer(vokDiskInfo, std::string&) {}
bool vokStorageController::validatePhysicalDisk(vokDiskInfo&) {
    return true;
}
