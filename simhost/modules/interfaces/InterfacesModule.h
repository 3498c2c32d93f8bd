// Network interfaces with their addresses.
#pragma once

#include "host/HostModule.h"

namespace simhost {

const HostModule& interfacesModule();

}  // namespace simhost
