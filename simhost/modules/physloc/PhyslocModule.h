// The platforms' location libraries.
#pragma once

#include "host/HostModule.h"

namespace simhost {

const HostModule& physlocModule();

}  // namespace simhost
