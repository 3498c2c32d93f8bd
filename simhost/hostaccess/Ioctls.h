// The ioctls of simulated device nodes: a row for each kind of request, and a rule for those whose number
// states the length of their argument.
#pragma once

#include "hostaccess/OpenDevice.h"

namespace simhost {

// ioctl(2) of a device node of vok-simhost: its result, with errno on failure. ENOTTY when the request has
// no row and no length, or the device does not know it.
int deviceIoctl(OpenDevice& device, unsigned long request, void* argument);

}  // namespace simhost
