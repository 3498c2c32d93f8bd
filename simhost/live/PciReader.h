// The PCI functions of a Linux machine, from /sys/bus/pci/devices, in the keys of the hardware list.
#pragma once

#include <vector>

#include "live/MachineFiles.h"
#include "live/NetworkReader.h"
#include "live/PciNames.h"
#include "modules/pci/PciFunctions.h"

namespace simhost {

class PciReader {
public:
    PciReader(const MachineFiles& files, PciNames& names, const NetworkReader& network)
        : files_(files), names_(names), network_(network) {}

    // In the order of their addresses. None on a machine without PCI.
    std::vector<PciFunction> functions() const;

private:
    void identify(PciFunction& function, const std::string& directory) const;
    void place(PciFunction& function, const std::string& directory) const;
    void readConfigurationSpace(PciFunction& function, const std::string& directory) const;

    const MachineFiles& files_;
    PciNames& names_;
    const NetworkReader& network_;
};

}  // namespace simhost
