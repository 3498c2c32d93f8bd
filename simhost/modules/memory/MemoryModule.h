// Memory, and esxtop, which samples it.
#pragma once

#include "host/HostModule.h"

namespace simhost {

const HostModule& memoryModule();

}  // namespace simhost
