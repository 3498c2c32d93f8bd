#include "storage/vokStorageController.h"

void vokStorageController::discoverPhysicalDiskStatus(vokDiskInfo&) {}
