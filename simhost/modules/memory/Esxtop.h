// esxtop, the command that samples the host's counters.
#pragma once

#include "host/StandIns.h"

namespace simhost {

class Counters;

CommandResult runEsxtop(const std::vector<std::string>& arguments, const CommandContext& context);
// The counters of the processors and of the memory.
void addMemoryCounters(const HostDescription& host, Counters& counters);

}  // namespace simhost
