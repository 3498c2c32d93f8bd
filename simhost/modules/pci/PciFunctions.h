// The PCI functions of a host, as a description says them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "common/Hexadecimal.h"

namespace simhost {

class Section;

// The lines of `localcli hardware pci list` by key, and what only its configuration space and its vital
// product data hold.
struct PciFunction {
    std::map<std::string, std::string> listed;
    PciAddress address;
    std::uint8_t linkWidth = 0;  // lanes of PCI Express; 0 for a function of conventional PCI
    std::string productName;     // vital product data; empty, with no tags: none
    std::map<std::string, std::string> productTags;  // "PN", ...

    const std::string& at(const std::string& key) const { return listed.at(key); }
};

struct PciFunctions {
    std::vector<PciFunction> all;
};

// The keys of a PCI function in the order in which they are listed.
const std::vector<std::string>& pciKeys();
// An address as it stands among their values: "PCI 0:59:0:1".
std::string pciListAddress(const PciAddress& address);
// The value of "Parent Device" of a function without one.
extern const char noPciParent[];
// A function with all keys: what its address says of it, and what most functions have in common.
PciFunction usualPciFunction(const PciAddress& address);
// The function of the controller that `section` describes: that of the hardware list, or one of this class
// with the ids that the section gives, which is added to the list. Throws std::runtime_error.
const PciFunction& describedPciFunction(Section& section, const PciAddress& address,
                                        std::vector<PciFunction>& functions, const char* deviceClass,
                                        const char* className);

}  // namespace simhost
