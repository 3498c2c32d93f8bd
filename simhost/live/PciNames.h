// The names of PCI vendors, devices and classes in the public list pci.ids, as the machine has it installed.
// A machine without the list gets the numbers.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <unordered_map>

#include "live/MachineFiles.h"

namespace simhost {

class PciNames {
public:
    explicit PciNames(const MachineFiles& files) : files_(files) {}

    // "Intel Corporation", or "Vendor 8086".
    std::string vendor(std::uint32_t vendor);
    // "Ethernet Connection I219-V", or "Device 15bc".
    std::string device(std::uint32_t vendor, std::uint32_t device);
    // The name of a class and subclass: "Ethernet controller" for 0x0200, or "Class 0200".
    std::string deviceClass(std::uint32_t classAndSubclass);

private:
    // Reads the list when it has changed, so that one that is installed while the host runs counts.
    void load();
    void parse(const std::string& text);

    const MachineFiles& files_;
    std::string loaded_;  // which file, of which size and time
    std::unordered_map<std::uint32_t, std::string> vendors_;
    std::unordered_map<std::uint32_t, std::string> devices_;  // by vendor, then device
    std::unordered_map<std::uint32_t, std::string> classes_;
};

}  // namespace simhost
