#include "modules/pci/PciFunctions.h"

#include "common/Text.h"

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

}  // namespace simhost
