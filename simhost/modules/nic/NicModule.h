// Ethernet adapters.
#pragma once

#include "host/HostModule.h"

namespace simhost {

const HostModule& nicModule();

}  // namespace simhost
