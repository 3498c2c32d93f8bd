// The firmware's table.
#pragma once

#include "host/HostModule.h"

namespace simhost {

const HostModule& smBiosModule();

}  // namespace simhost
