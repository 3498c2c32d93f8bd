#include "platform/pci/PCIeManufacturerResolver.h"

#include <cerrno>
#include <cstdlib>

#include "core/base/vokLog.h"
#include "platform/access/vokCommandStream.h"
#include "platform/places/vokPhysLocFactory.h"
#include "platform/utils/platformCheck.h"
#include "platform/utils/vokUtils.h"
#include "platform/utils/vokVmwareOSInterface.h"

namespace {

constexpr char module[] = "MFR";
constexpr int onBoard = 2;
constexpr int addIn = 3;

std::string vendorOf(const std::string& id) {
    const auto found = vokPCIVendorsMap.find(id);
    return found == vokPCIVendorsMap.end() ? "" : found->second;
}

// "1077" for "0x1077"; any other text is returned unchanged.
std::string withoutPrefix(const std::string& id) {
    const bool prefixed = id.size() == 6 && id[0] == '0' && (id[1] == 'x' || id[1] == 'X');
    return prefixed ? id.substr(2) : id;
}

// Fills in the id if it is empty.
std::string vendorByHardwareList(const std::string& pciAddress, std::string& subVendorId) {
    if (subVendorId.empty()) PCIeManufacturerResolver::getSubvendorID(pciAddress, subVendorId);
    return vendorOf(withoutPrefix(subVendorId));
}

}  // namespace

void PCIeManufacturerResolver::fetchManufacturer(std::string pciAddress, std::string subVendorId,
                                                 std::string& manufacturer) {
    manufacturer.clear();
    switch (vokPhysLocFactory::getPhysLocInterface()->checkIfPCICardIsOnBoard(pciAddress)) {
        case onBoard:
            fetchManufacturerFromSmbios(manufacturer);
            if (manufacturer.empty())
                VOK_LOG_DEBUG(module, "Unable to fetch manufacturer name for OnBoard cards");
            break;
        case addIn:
            manufacturer = vendorOf(subVendorId);
            if (manufacturer.empty()) manufacturer = vendorByHardwareList(pciAddress, subVendorId);
            if (manufacturer.empty())
                VOK_LOG_DEBUG(module,
                              "Unable to fetch manufacturer name for PCI Subsystem Vendor ID : 0x%04x as "
                              "there is no mapping vendor information.",
                              static_cast<unsigned>(std::strtoul(subVendorId.c_str(), nullptr, 16)));
            break;
        default:
            VOK_LOG_DEBUG(module,
                          "Unable to fetch manufacturer name for PCI device : %s as it is neither OnBoard "
                          "nor Add-in device",
                          pciAddress.c_str());
    }
}

void PCIeManufacturerResolver::fetchManufacturerFromSmbios(std::string& manufacturer) {
    manufacturer = platformCheck::getCardManufacturer();
}

void PCIeManufacturerResolver::fetchManufacturerFromOS(std::string pciAddress, std::string subVendorId,
                                                       std::string& manufacturer) {
    manufacturer = vendorByHardwareList(pciAddress, subVendorId);
}

void PCIeManufacturerResolver::getSubvendorID(std::string pciAddress, std::string& subVendorId) {
    subVendorId.clear();
    if (!vokUtils::isPCIAddress(pciAddress)) {
        VOK_LOG_WARNING(module, "Not a PCI address, not looked up : %s", pciAddress.c_str());
        return;
    }
    // The colon after the address selects the head line of a block, not a line that mentions the address.
    const vokCommandStream stream("cat " + vokHostAccess().commandPath(vokVmwareOSInterface::hardwareList) +
                                  " | awk '/" + pciAddress +
                                  ":/,/^$/' | grep -w 'SubVendor ID' | awk '{print $3}'");
    char line[512] = {};
    if (!stream || (!std::fgets(line, sizeof(line), stream.get()) && std::ferror(stream.get()))) {
        const std::string reason = vokUtils::getErrorDescription(errno);
        VOK_LOG_ERROR(module, "Error(%s) occurred in identifying SubVendor id for %s", reason.c_str(),
                      pciAddress.c_str());
        return;
    }
    std::string text = line;
    vokUtils::trimLeadingTrailingSpaces(text, subVendorId);
}
