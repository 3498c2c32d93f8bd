// What a Linux machine reports of its system: the release, the memory and its name.
#pragma once

#include "host/HostDescription.h"
#include "live/MachineFiles.h"
#include "modules/memory/Memory.h"

namespace simhost {

// The product of `localcli system version get`: name and version from os-release, the kernel's release as the
// build. Where os-release has no version, as on a rolling distribution, the kernel's release is it.
void readProduct(const MachineFiles& files, HostDescription& into);
// MemTotal and MemFree of /proc/meminfo, in whole megabytes.
void readMemory(const MachineFiles& files, Memory& into);
// The names that uname tells, as far as /proc/sys/kernel has them.
void readNames(const MachineFiles& files, HostDescription& into);

}  // namespace simhost
