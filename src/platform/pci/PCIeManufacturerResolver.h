// The manufacturer of a PCI device: the system's manufacturer for an on-board device, the vendor with the
// subsystem vendor id for an add-in card. The vendor names are those of the public pci.ids, compiled in.
#pragma once

#include <map>
#include <string>

// From a vendor id of four lower-case hexadecimal digits, "1077", to the vendor's name.
extern const std::map<std::string, std::string> vokPCIVendorsMap;

class PCIeManufacturerResolver {
public:
    // The whole decision. `subVendorId` is "0x1077", "1077" or empty; `manufacturer` is empty if unknown.
    static void fetchManufacturer(std::string pciAddress, std::string subVendorId, std::string& manufacturer);
    static void fetchManufacturerFromSmbios(std::string& manufacturer);
    // The second half of fetchManufacturer; searches the hardware list if `subVendorId` is empty.
    static void fetchManufacturerFromOS(std::string pciAddress, std::string subVendorId,
                                        std::string& manufacturer);
    // The subsystem vendor id as the host's hardware list writes it ("0x1077"), or empty.
    static void getSubvendorID(std::string pciAddress, std::string& subVendorId);
};
