// The Ethernet adapters of a Linux machine, from /sys/class/net and from their drivers.
//
// An adapter is an Ethernet interface with a device behind it. A machine that has none, as a container, shows
// all its Ethernet interfaces instead.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "live/MachineFiles.h"
#include "live/PciNames.h"
#include "modules/nic/NetworkAdapters.h"

namespace simhost {

// What a driver tells of itself.
struct DriverFacts {
    std::string name;
    std::string firmware;
};
using AskDriver = std::function<std::optional<DriverFacts>(const std::string& interface)>;
// ETHTOOL_GDRVINFO of the running kernel; nothing when the interface or its driver does not answer.
std::optional<DriverFacts> askKernelForDriver(const std::string& interface);

class NetworkReader {
public:
    NetworkReader(const MachineFiles& files, PciNames& names, AskDriver askDriver)
        : files_(files), names_(names), askDriver_(std::move(askDriver)) {}

    // In the order in which the kernel numbered them.
    std::vector<NetworkAdapter> adapters() const;
    // The adapter of that name, alone; empty when there is none.
    std::vector<NetworkAdapter> adapter(const std::string& name) const;
    // The address of the PCI function behind an interface; empty when there is none, or when more than the
    // function stands between, as for an adapter at a USB port.
    std::string pciAddress(const std::string& interface) const;
    // All interfaces that are Ethernet adapters, with a device or without.
    std::vector<std::string> ethernetInterfaces() const;

private:
    NetworkAdapter read(const std::string& interface) const;
    std::string linkStatus(const std::string& directory, bool adminUp) const;
    std::string description(const std::string& interface, const std::string& address) const;

    const MachineFiles& files_;
    PciNames& names_;
    AskDriver askDriver_;
};

}  // namespace simhost
