// The ioctls of simulated device nodes: a row each kind of request.
#pragma once

#include "hostaccess/OpenDevice.h"

namespace simhost {

// ioctl(2) of a device node of vok-simhost: its result, with errno on failure. ENOTTY when no row has the
// request.
int deviceIoctl(OpenDevice& device, unsigned long request, void* argument);

}  // namespace simhost
