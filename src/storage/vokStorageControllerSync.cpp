#include "storage/vokStorageController.h"

void vokStorageController::synchronizePhysicalDrivesInventory() {}
void vokStorageController::synchronizeLogicalDiskInventory() {}
