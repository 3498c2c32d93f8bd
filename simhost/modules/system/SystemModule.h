// What every host has: names, product, clock and power, and the faults of its commands.
#pragma once

#include "host/HostModule.h"

namespace simhost {

const HostModule& systemModule();

}  // namespace simhost
