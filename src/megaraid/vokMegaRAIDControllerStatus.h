// Which changes of status between two discoveries are events. The rules only decide;
// vokMegaRAIDController::generateEventOnStatusChange() reports.
#pragma once

#include "core/base/vokModules.h"
#include "storage/vokStorageControllerStatus.h"

// The event about a disk whose state has changed, or null.
const vokStatusEvent* vokMegaRAIDDiskEventOf(VOK_RESOURCE_STATE previous, VOK_RESOURCE_STATE current);
// The event about a volume whose health has changed to `current`, or null.
const vokStatusEvent* vokMegaRAIDVolumeEventOf(VOK_RESOURCE_HEALTH current);
