#include "megaraid/vokMegaRAIDController.h"

VOK_RESOURCE_HEALTH vokMegaRAIDController::getHealthEnum(int) {
    return VOK_HEALTH_UNKNOWN;
}

bool vokMegaRAIDController::generateEventOnStatusChange(vokDiskInfo*, vokDiskInfo*) {
    return false;
}

bool vokMegaRAIDController::generateEventOnStatusChange(vokLogicalDiskInfo*, vokLogicalDiskInfo*) {
    return false;
}
