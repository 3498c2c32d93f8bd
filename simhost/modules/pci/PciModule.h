// PCI functions: the hardware list, and their part of /sys.
#pragma once

#include "host/HostModule.h"

namespace simhost {

const HostModule& pciModule();

}  // namespace simhost
