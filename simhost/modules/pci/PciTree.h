// The part of /sys that shows the PCI functions of a host: a directory each below its bridge, the links of
// /sys/bus/pci/devices and .../drivers, and the slots. All of it is made from the lines of the hardware list,
// so that the two agree.
#pragma once

#include <string>
#include <vector>

#include "modules/pci/PciFunctions.h"

namespace simhost {

// Where the directory of a function lies below /sys: "devices/pci0000:3a/0000:3a:00.0/0000:3b:00.0". A parent
// that is not among the functions stands for the root of the function's own bus.
std::string pciDevicePlace(const PciFunction& function, const std::vector<PciFunction>& functions);

// Makes the tree anew below `sys`, the place of the host's /sys. Throws std::filesystem::filesystem_error or
// std::runtime_error.
void layOutPciTree(const std::string& sys, const std::vector<PciFunction>& functions);

}  // namespace simhost
