// SG_IO on a socket of vok-simhost, with the checks of the Linux driver (drivers/scsi/sg.c).
#pragma once

#include <cstdint>

#include "hostaccess/OpenDevice.h"

namespace simhost {

// `argument` is a sg_io_hdr_t of this build's ABI: 0, or -1 with errno. Data and sense bytes are cut to the
// caller's room; the residual is what the device says.
int runScsiCommand(OpenDevice& device, std::uint32_t request, void* argument);

}  // namespace simhost
