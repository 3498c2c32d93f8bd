// The RAID controllers that are reached through their vendor's library.
#pragma once

#include "host/HostModule.h"

namespace simhost {

const HostModule& raidModule();

}  // namespace simhost
