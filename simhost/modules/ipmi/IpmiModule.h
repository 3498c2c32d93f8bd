// The management controller's device node, and the commands that bring its driver up.
#pragma once

#include "host/HostModule.h"

namespace simhost {

const HostModule& ipmiModule();

}  // namespace simhost
