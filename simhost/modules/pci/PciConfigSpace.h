// The configuration space and the vital product data of a described PCI function, as its attributes "config"
// and "vpd" show them (PCI Local Bus 3.0, 6.1, 6.7 and appendix I; PCI Express Base, 7.5.3).
#pragma once

#include <string>

#include "modules/pci/PciFunctions.h"

namespace simhost {

// 256 bytes for a function of conventional PCI, 4096 for one of PCI Express. It agrees with what the hardware
// list tells of the function; what is not told there reads as zero, and an unknown vendor or device as
// 0xffff.
std::string pciConfigSpace(const PciFunction& function);

// Product name, read-only tags with their checksum, end. Empty for a function without such data.
std::string pciProductData(const PciFunction& function);

}  // namespace simhost
