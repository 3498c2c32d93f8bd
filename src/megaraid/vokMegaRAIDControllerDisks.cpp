#include "megaraid/vokMegaRAIDController.h"

int vokMegaRAIDController::discoverPhysicalDiskInventory(std::vector<vokDiskInfo>&) {
    return 0;
}

void vokMegaRAIDController::discoverPhysicalDiskStatus(vokDiskInfo&) {}

void vokMegaRAIDController::discoverPhysicalDiskAttributes(vokDiskInfo&, const PD_INFO&) {}
