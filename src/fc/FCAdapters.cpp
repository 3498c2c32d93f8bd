// How the Fibre Channel manager finds, opens and reads the adapters.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "core/base/vokLog.h"
#include "fc/FCResourceManager.h"
#include "fc/vokFCProducts.h"
#include "platform/firmware/vokPlatformFamily.h"
#include "platform/pci/PCIeManufacturerResolver.h"
#include "platform/places/vokPhysLocFactory.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr char tag[] = "FC_RM";
constexpr HBA_UINT32 maxPorts = 64;  // of one adapter that are read; a greater number is no number of ports
constexpr HBA_HANDLE lowestByte = 0xFF;

// A text that fills its field has no NUL.
template <std::size_t size>
std::string textOf(const char (&field)[size]) {
    return std::string(field, ::strnlen(field, size));
}

int idOf(const std::string& hexadecimal) {
    return static_cast<int>(std::strtol(hexadecimal.c_str(), nullptr, 16));
}

const DEV_LIST* productOf(const std::string& vendor, const std::string& device, const std::string& subVendor,
                          const std::string& subDevice) {
    const auto found =
        fcPciIdsModelNameMap.find({idOf(vendor), idOf(device), idOf(subVendor), idOf(subDevice)});
    return found == fcPciIdsModelNameMap.end() ? nullptr : &found->second;
}

// The part number that a product has on a platform; empty where the product table has none.
const char* partNumberOf(const DEV_LIST& product, const std::string& family) {
    if (family == vokFirstPlatformFamily) return product.partNumberFirstPlatform;
    if (family == vokSecondPlatformFamilies[0]) return product.partNumberSecondPlatform;
    if (family == vokSecondPlatformFamilies[1]) return product.partNumberSecondPlatformVariant;
    return "";
}

}  // namespace

void FCResourceManager::loadLibrary() {
    if (HBA_LoadLibrary() == HBA_STATUS_OK)
        VOK_LOG_INFO(tag, "FC HBA vendor library loaded successfully");
    else
        VOK_LOG_INFO(tag, "Could not load FC HBA vendor library");
}

void FCResourceManager::discoverInstances() {
    constexpr HBA_UINT32 most = std::numeric_limits<int>::max();
    NumAdapters = static_cast<int>(std::min(HBA_GetNumberOfAdapters(), most));
    NumFcaEntries = NumAdapters;
    VOK_LOG_DEBUG(tag, "%d FC instances found!!", NumAdapters);
}

bool FCResourceManager::openAdapter(vokFCDeviceInfo& adapter) {
    char name[hbaNameLength] = {};
    if (HBA_GetAdapterName(static_cast<HBA_UINT32>(adapter.getIndex()), name) != HBA_STATUS_OK) {
        VOK_LOG_DEBUG(tag, "HBA_GetAdapterName() Failed\n");
        return false;
    }
    adapter.setName(textOf(name));
    VOK_LOG_DEBUG(tag, "Adapter name is %s", adapter.getName().c_str());
    adapter.setHandle(HBA_OpenAdapter(name));
    if (adapter.getHandle() == 0)
        VOK_LOG_WARNING(tag, "HBA_OpenAdapter() %s Failed()\n", adapter.getName().c_str());
    return (adapter.getHandle() & lowestByte) != 0;
}

void FCResourceManager::closeAdapter(HBA_HANDLE handle) {
    HBA_CloseAdapter(handle);
}

HBA_STATUS FCResourceManager::getFcHbaData(vokFCDeviceInfo& adapter) {
    HBA_ADAPTERATTRIBUTES attributes{};
    const HBA_STATUS status = HBA_GetAdapterAttributes(adapter.getHandle(), &attributes);
    if (status != HBA_STATUS_OK) {
        VOK_LOG_WARNING(tag, "HBA_GetAdapterAttributes() Failed.");
        return status;
    }
    adapter.setvokFCModel(textOf(attributes.Model));
    adapter.setvokFCSerialNumber(textOf(attributes.SerialNumber));
    adapter.setvokFCFirmwareVersion(textOf(attributes.FirmwareVersion));
    adapter.setvokFCRomVersion(textOf(attributes.OptionROMVersion));
    adapter.setvokFCWWNN(WWNtoString(attributes.NodeWWN.wwn));

    const HBA_UINT32 ports = std::min(attributes.NumberOfPorts, maxPorts);
    if (ports < attributes.NumberOfPorts)
        VOK_LOG_WARNING(tag, "%s reports %u ports; the first %u are read", adapter.getName().c_str(),
                        attributes.NumberOfPorts, ports);
    adapter.setNumberOfPorts(static_cast<int>(ports));
    HBA_PORTSTATE portState = HBA_PORTSTATE_UNKNOWN;
    for (HBA_UINT32 port = 0; port < ports && !isStopping(); ++port) {
        HBA_PORTATTRIBUTES portAttributes{};
        if (HBA_GetAdapterPortAttributes(adapter.getHandle(), port, &portAttributes) != HBA_STATUS_OK)
            continue;
        adapter.setvokFCWWPN(WWNtoString(portAttributes.PortWWN.wwn));
        portState = portAttributes.PortState;
    }

    const std::string name = vokUtils::getFcOsDevicename(adapter.getvokFCWWNN());
    VOK_LOG_DEBUG(tag, "Os Device Name is %s", name.c_str());
    const std::string address = vokUtils::getFcPciStr(name);
    identify(adapter, address);
    auto [description, location] = getOemValues(address);
    VOK_LOG_DEBUG(tag, "Description is %s", description.c_str());
    VOK_LOG_DEBUG(tag, "Phy Loc is %s", location.c_str());
    adapter.setvokFCDescription(std::move(description));
    vokFCDevicePhyLoc place;
    place.setFCPhysicalLocation(std::move(location));
    adapter.setvokOemPhyLoc(std::move(place));

    vokFCDeviceStatusInfo condition;
    condition.setFCDeviceState(getState(static_cast<int>(portState)));
    condition.setFCDeviceHealth(getHealth(condition.getFCDeviceState()));
    adapter.setvokFCStatus(condition);
    VOK_LOG_DEBUG(tag, "Status of getdata is %d", static_cast<int>(status));
    return status;
}

void FCResourceManager::identify(vokFCDeviceInfo& adapter, const std::string& address) {
    if (subVendorDevice.count(address) == 0)
        subVendorDevice[address] = vokUtils::get_subvendor_subdevice(address);
    const auto& [subVendor, subDevice] = subVendorDevice[address];
    VOK_LOG_DEBUG(tag, "subvendorDev1 =%s,subvendorDev2 =%s", subVendor.c_str(), subDevice.c_str());
    if (vendorDevice.count(address) == 0) vendorDevice[address] = vokUtils::get_vendor_device(address);
    const auto& [vendor, device] = vendorDevice[address];
    VOK_LOG_DEBUG(tag, "vendorDev1 =%s,vendorDev2 =%s", vendor.c_str(), device.c_str());

    if (vendor.empty() || device.empty() || subVendor.empty() || subDevice.empty()) {
        VOK_LOG_DEBUG(
            tag,
            "Unable to fetch the Model string for Vendor : %s, Device : %s,SubVendor : %s, SubDevice : %s",
            vendor.c_str(), device.c_str(), subVendor.c_str(), subDevice.c_str());
    } else {
        std::string partNumber = getFcaHostCntlrPartNumber(vendor, device, subVendor, subDevice);
        if (!partNumber.empty()) adapter.setvokFCPartNumber(std::move(partNumber));
        if (const DEV_LIST* const product = productOf(vendor, device, subVendor, subDevice))
            adapter.setvokFCModel(product->model);
    }

    std::string manufacturer;
    PCIeManufacturerResolver::fetchManufacturer(address, subVendor, manufacturer);
    VOK_LOG_DEBUG(tag, "_manufacturer is %s", manufacturer.c_str());
    if (!manufacturer.empty()) adapter.setvokFCManufacturer(std::move(manufacturer));
}

std::string FCResourceManager::getFcaHostCntlrPartNumber(const std::string& vendor, const std::string& device,
                                                         const std::string& subVendor,
                                                         const std::string& subDevice) {
    const DEV_LIST* const product = productOf(vendor, device, subVendor, subDevice);
    std::string partNumber = product ? partNumberOf(*product, vokUtils::getPlatformFamily()) : "";
    if (partNumber.empty())
        VOK_LOG_DEBUG(tag, "Unable to obtain the PartNumber of Ethernet/Infiniband instance");
    return partNumber;
}

std::pair<std::string, std::string> FCResourceManager::getOemValues(const std::string& pciAddress) {
    std::string geoId = vokUtils::getGeoIDStr(pciAddress);
    if (geoId == "NotAvailable") geoId.clear();
    return {"PCI " + pciAddress + " " + geoId,
            vokPhysLocFactory::getPhysLocInterface()->getPhysLocForIOSlot(pciAddress)};
}

std::string FCResourceManager::WWNtoString(const HBA_UINT8 (&bytes)[8]) {
    char text[sizeof("00:11:22:33:44:55:66:77")];
    std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2],
                  bytes[3], bytes[4], bytes[5], bytes[6], bytes[7]);
    return text;
}
