// Ioctls whose argument is a block of bytes that says its own length, on a socket of vok-simhost.
#pragma once

#include <cstddef>
#include <cstdint>

#include "hostaccess/OpenDevice.h"

namespace simhost {

// `block` holds `size` bytes, which the device reads and changes: the ioctl's result, or -1 with errno.
int exchangeBlock(OpenDevice& device, std::uint32_t request, void* block, std::size_t size);

// A CSMI request: the argument begins with a header of 20 bytes whose second 32-bit field is the length of
// all of it.
int runCsmiRequest(OpenDevice& device, std::uint32_t request, void* argument);

}  // namespace simhost
