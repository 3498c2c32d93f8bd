#include "megaraid/vokMegaRAIDController.h"

int vokMegaRAIDController::discoverLogicalDiskInventory(std::vector<vokLogicalDiskInfo>&) {
    return 0;
}
