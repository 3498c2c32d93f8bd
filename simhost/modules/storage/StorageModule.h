// Storage adapters with their Fibre Channel ports.
#pragma once

#include "host/HostModule.h"

namespace simhost {

const HostModule& storageModule();

}  // namespace simhost
