// Ioctls whose argument is a block of bytes of a known length, on a socket of vok-simhost.
#pragma once

#include <cstdint>

#include "hostaccess/OpenDevice.h"

namespace simhost {

// A CSMI request: the argument begins with a header of 20 bytes whose second 32-bit field is the length of
// all of it.
int runCsmiRequest(OpenDevice& device, std::uint32_t request, void* argument);

// A request of the form that _IOR, _IOW and _IOWR of <linux/ioctl.h> make: its number states the length of
// the block, and whether the device reads it, changes it, or both. A device that only changes it gets zeros.
int runSizedRequest(OpenDevice& device, std::uint32_t request, void* argument);

}  // namespace simhost
