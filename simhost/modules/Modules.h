// The list of what a simulated host is made of.
#pragma once

#include "host/HostModule.h"

namespace simhost {

const HostModules& hostModules();

// One more, at the end, for a program of the tests; before anything else is called.
void addHostModule(const HostModule& module);

}  // namespace simhost
