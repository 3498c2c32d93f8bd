// The firmware's table of a Linux machine in the form of a device file: a 32-bit entry point of 31 bytes with
// the structures right behind it.
#pragma once

#include <string>

#include "live/MachineFiles.h"

namespace simhost {

// Made of the kernel's files /sys/firmware/dmi/tables/smbios_entry_point and DMI, which root alone may read.
// The structures are the machine's, byte for byte, as far as whole ones fit into the 64 KiB of which readers
// take notice. The entry point is made anew, also where the machine has only the 64-bit form, whose
// facts (the version; the count and the greatest length follow from the structures) it then holds. Empty when
// the machine has no table, or none that may be read.
std::string firmwareDeviceFile(const MachineFiles& files);

}  // namespace simhost
