// Who made a PCI device: the system's maker for what is on board, the vendor behind the subsystem vendor id
// for an add-in card. The vendor names are those of the public pci.ids, compiled in.
#pragma once

#include <map>
#include <string>

// From a vendor id of four lower-case hexadecimal digits, "1077", to the vendor's name.
extern const std::map<std::string, std::string> vokPCIVendorsMap;

class PCIeManufacturerResolver {
public:
    // The whole decision. `subVendorId` is "0x1077", "1077" or empty; `manufacturer` is left empty when not
    // known.
    static void fetchManufacturer(std::string pciAddress, std::string subVendorId, std::string& manufacturer);
    static void fetchManufacturerFromSmbios(std::string& manufacturer);
    // As fetchManufacturer's second half; asks the hardware list when `subVendorId` is empty.
    static void fetchManufacturerFromOS(std::string pciAddress, std::string subVendorId,
                                        std::string& manufacturer);
    // The subsystem vendor id as the host's hardware list writes it ("0x1077"), or empty.
    static void getSubvendorID(std::string pciAddress, std::string& subVendorId);
};
