#include "modules/pci/PciFunctions.h"

#include <algorithm>

#include "common/Text.h"
#include "host/DescriptionSection.h"

namespace simhost {

const char noPciParent[] = "PCI 0:0:0:0";

const std::vector<std::string>& pciKeys() {
    static const std::vector<std::string> keys = {"Address",
                                                  "Segment",
                                                  "Bus",
                                                  "Slot",
                                                  "Function",
                                                  "VMkernel Name",
                                                  "Vendor Name",
                                                  "Device Name",
                                                  "Configured Owner",
                                                  "Current Owner",
                                                  "Vendor ID",
                                                  "Device ID",
                                                  "SubVendor ID",
                                                  "SubDevice ID",
                                                  "Device Class",
                                                  "Device Class Name",
                                                  "Programming Interface",
                                                  "Revision ID",
                                                  "Interrupt Line",
                                                  "IRQ",
                                                  "Interrupt Vector",
                                                  "PCI Pin",
                                                  "Spawned Bus",
                                                  "Flags",
                                                  "Module ID",
                                                  "Module Name",
                                                  "Chassis",
                                                  "Physical Slot",
                                                  "Slot Description",
                                                  "Passthru Capable",
                                                  "Parent Device",
                                                  "Dependent Device",
                                                  "Reset Method",
                                                  "FPT Sharable"};
    return keys;
}

std::string pciListAddress(const PciAddress& address) {
    return formatText("PCI %u:%u:%u:%u", address.segment, static_cast<unsigned>(address.bus),
                      static_cast<unsigned>(address.slot), static_cast<unsigned>(address.function));
}

PciFunction usualPciFunction(const PciAddress& address) {
    PciFunction made;
    for (const auto& key : pciKeys()) made.listed[key];
    for (const auto& [key, value] : {std::pair<const char*, const char*>{"Configured Owner", "VMkernel"},
                                     {"Current Owner", "VMkernel"},
                                     {"Programming Interface", "0x00"},
                                     {"Revision ID", "0x01"},
                                     {"Interrupt Line", "0xff"},
                                     {"IRQ", "255"},
                                     {"Interrupt Vector", "0x00"},
                                     {"PCI Pin", "0x00"},
                                     {"Spawned Bus", "0x00"},
                                     {"Flags", "0x3001"},
                                     {"Module ID", "-1"},
                                     {"Module Name", "None"},
                                     {"Chassis", "0"},
                                     {"Physical Slot", "4294967295"},
                                     {"Passthru Capable", "true"},
                                     {"Parent Device", noPciParent},
                                     {"Reset Method", "Function reset"},
                                     {"FPT Sharable", "true"}})
        made.listed[key] = value;
    made.address = address;
    made.listed["Address"] = formatPciAddress(address);
    made.listed["Segment"] = formatText("0x%04x", address.segment);
    made.listed["Bus"] = formatText("0x%02x", static_cast<unsigned>(address.bus));
    made.listed["Slot"] = formatText("0x%02x", static_cast<unsigned>(address.slot));
    made.listed["Function"] = formatText("0x%x", static_cast<unsigned>(address.function));
    made.listed["Dependent Device"] = pciListAddress(address);
    return made;
}

const PciFunction& describedPciFunction(Section& section, const PciAddress& address,
                                        std::vector<PciFunction>& functions, const char* deviceClass,
                                        const char* className) {
    struct Id {
        const char* key;
        const char* listed;
    };
    constexpr Id ids[] = {{"vendor", "Vendor ID"},
                          {"device", "Device ID"},
                          {"subsystemVendor", "SubVendor ID"},
                          {"subsystemDevice", "SubDevice ID"}};
    const auto found = std::find_if(functions.begin(), functions.end(),
                                    [&address](const PciFunction& each) { return each.address == address; });
    if (found != functions.end()) {
        for (const Id& id : ids)
            if (section.has(id.key))
                section.fail(std::string("has a ") + id.key + ", which \"pci\" says of this function");
        return *found;
    }
    PciFunction made = usualPciFunction(address);
    for (const Id& id : ids) {
        std::string& value = made.listed[id.listed];
        section.text(id.key, value);
        if (!parsePrefixedHexadecimal(value))
            section.fail(std::string("needs a ") + id.key +
                         " such as \"0x8086\", as \"pci\" lacks its function");
    }
    made.listed["Device Class"] = deviceClass;
    made.listed["Device Class Name"] = className;
    functions.push_back(made);
    return functions.back();
}

}  // namespace simhost
