// The Fibre Channel adapters that are reached through their vendors' HBA libraries.
#pragma once

#include "host/HostModule.h"

namespace simhost {

const HostModule& fcModule();

}  // namespace simhost
