// mdadm, as far as it reports the software RAID of the firmware.
#pragma once

#include <string>
#include <vector>

#include "host/StandIns.h"

namespace simhost {

// mdadm --detail-platform. A host without such a controller does not have the command.
CommandResult runMdadm(const std::vector<std::string>& arguments, const CommandContext& context);

}  // namespace simhost
