#include "nic/NICPhysicalAdapter.h"

#include <cerrno>
#include <cstdio>
#include <stdexcept>

#include "core/base/vokLog.h"
#include "nic/vokNICProducts.h"
#include "platform/access/vokCommandStream.h"
#include "platform/access/vokWorkFile.h"
#include "platform/firmware/vokPlatformFamily.h"
#include "platform/pci/PCIeManufacturerResolver.h"
#include "platform/places/vokPhysLocFactory.h"
#include "platform/utils/vokCommandOutcome.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr char detailsFile[] = "/opt/mev/vok/data/vok_nicAddDetails.txt";
constexpr char notAvailable[] = "Not Available";

// The columns of the interface list.
constexpr std::size_t nameColumn = 0;
constexpr std::size_t pciDeviceColumn = 1;
constexpr std::size_t adminStatusColumn = 3;
constexpr std::size_t linkStatusColumn = 4;
constexpr std::size_t speedColumn = 5;
constexpr std::size_t macAddressColumn = 7;
constexpr std::size_t columnCount = 8;  // of a complete line

// The part number that a product has on a platform; empty where the product table has none.
const char* partNumberOf(const vokNICProduct& product, const std::string& family) {
    if (family == vokFirstPlatformFamily) return product.partNumberFirstPlatform;
    if (family == vokSecondPlatformFamilies[0]) return product.partNumberSecondPlatform;
    if (family == vokSecondPlatformFamilies[1]) return product.partNumberSecondPlatformVariant;
    return "";
}

// The text from the second character after the first ":" to the end of the line. False without a ":".
bool valueOfLine(const std::string& line, std::string& value) {
    const std::string text = line.substr(0, line.find_first_of("\r\n"));
    const auto colon = text.find(':');
    if (colon == std::string::npos) return false;
    value = colon + 2 < text.size() ? text.substr(colon + 2) : "";
    return true;
}

}  // namespace

void NICPhysicalAdapter::discoverPhyAdapterInventory(PhyAdapterInventory& adapter,
                                                     std::vector<std::string> tokens) {
    if (tokens.size() < columnCount)
        VOK_LOG_DEBUG("NIC_CTRL", "A line of the interface list has only %zu words", tokens.size());
    const auto token = [&tokens](std::size_t column) -> const std::string* {
        return tokens.size() > column ? &tokens[column] : nullptr;
    };
    if (const auto* text = token(nameColumn)) {
        adapter.setIntfName(*text);
        adapter.setDeviceName(*text);
    }
    if (const auto* text = token(macAddressColumn)) adapter.setMACAddress(*text);
    if (const auto* text = token(linkStatusColumn)) adapter.setLinkStatus(*text);
    if (const auto* text = token(speedColumn)) {
        try {
            adapter.setSpeed(std::stoi(*text));
        } catch (const std::logic_error&) {  // no number, or out of range
            VOK_LOG_DEBUG("NIC_CTRL", "Error occurred in identifying the speed");
        }
    }

    if (const auto* address = token(pciDeviceColumn)) {
        auto [description, location] = getOemValues(*address);
        adapter.setPCIDescription(std::move(description));
        adapter.setPhyLocation(std::move(location));
    }
    std::string version = adapter.getFirmVersion();
    getFWVersion(adapter.getIntfName(), version);
    adapter.setFirmVersion(std::move(version));
    if (const auto* address = token(pciDeviceColumn)) identify(adapter, *address);

    VOK_LOG_DEBUG("NIC_CTRL", "Getting adapter status for %s", adapter.getIntfName().c_str());
    const auto* const admin = token(adminStatusColumn);
    VOK_RESOURCE_STATE state = VOK_STATE_OTHER;
    VOK_RESOURCE_HEALTH health = VOK_HEALTH_UNKNOWN;
    setNICStateHealthValues(
        get_adapter_status(adapter.getLinkStatus().c_str(), admin ? admin->c_str() : notAvailable), state,
        health);
    adapter.setState(state);
    adapter.setHealth(health);
}

void NICPhysicalAdapter::identify(PhyAdapterInventory& adapter, const std::string& address) {
    const auto known = subVendorDevice.find(address);
    std::string manufacturer;
    // Without the id the resolver queries it itself.
    PCIeManufacturerResolver::fetchManufacturer(
        address, known == subVendorDevice.end() ? "" : known->second.first, manufacturer);
    if (!manufacturer.empty()) adapter.setManufacturer(std::move(manufacturer));

    if (known == subVendorDevice.end()) subVendorDevice[address] = vokUtils::get_subvendor_subdevice(address);
    const auto& [subVendor, subDevice] = subVendorDevice[address];
    VOK_LOG_DEBUG("NIC_CTRL", "subvendorDev1 =%s,subvendorDev2 =%s", subVendor.c_str(), subDevice.c_str());
    if (vendorDevice.count(address) == 0) vendorDevice[address] = vokUtils::get_vendor_device(address);
    const auto& [vendor, device] = vendorDevice[address];
    VOK_LOG_DEBUG("NIC_CTRL", "vendorDev1 =%s,vendorDev2 =%s", vendor.c_str(), device.c_str());

    if (vendor.empty() || device.empty() || subVendor.empty() || subDevice.empty()) {
        VOK_LOG_DEBUG(
            "NIC_CTRL",
            "Unable to fetch the Model string for Vendor : %s, Device : %s,SubVendor : %s, SubDevice : %s",
            vendor.c_str(), device.c_str(), subVendor.c_str(), subDevice.c_str());
    } else {
        std::string model;
        if (getNICModel(vendor, device, subVendor, subDevice, model))
            adapter.setNICModel(std::move(model));
        else
            VOK_LOG_DEBUG("NIC_CTRL", "Unable to fetch the Model string for %s",
                          adapter.getIntfName().c_str());
    }
    adapter.setPartNumber(getPartNumValue(vendor, device, subVendor, subDevice));
}

bool NICPhysicalAdapter::getNICModel(const std::string& vendor, const std::string& device,
                                     const std::string& subVendor, const std::string& subDevice,
                                     std::string& model) {
    const vokNICProduct* const product = vokFindNICProduct(vendor, device, subVendor, subDevice);
    if (product) model = product->model;
    return product != nullptr;
}

std::string NICPhysicalAdapter::getPartNumValue(const std::string& vendor, const std::string& device,
                                                const std::string& subVendor, const std::string& subDevice) {
    const vokNICProduct* const product = vokFindNICProduct(vendor, device, subVendor, subDevice);
    if (!product) return notAvailable;
    const std::string number = partNumberOf(*product, vokUtils::getPlatformFamily());
    return number.empty() ? notAvailable : number;
}

void NICPhysicalAdapter::getFWVersion(std::string intf, std::string& version) {
    if (!vokUtils::isInterfaceName(intf)) {
        VOK_LOG_WARNING("NIC_CTRL", "Not an interface name, firmware version not queried : %s", intf.c_str());
        return;
    }
    const vokWorkFile details(detailsFile);
    bool found = false;
    const std::string command = "localcli network nic get -n " + intf + " > " + details.shellQuoted();
    if (vokCommandStream query(command); query) {
        const int status = query.close();
        vokReportCommand("NIC_CTRL", command, vokCommandFailure(status, errno));
        if (const vokCommandStream answer("grep \"Firmware Version\" " + details.shellQuoted()); answer) {
            char line[512] = {};
            if (std::fgets(line, sizeof(line), answer.get())) found = valueOfLine(line, version);
        }
    }
    if (!found) VOK_LOG_DEBUG("NIC_CTRL", "Error occurred in identifying fw version.");
}

std::pair<std::string, std::string> NICPhysicalAdapter::getOemValues(const std::string& pciAddress) {
    std::string geoId = vokUtils::getGeoIDStr(pciAddress);
    if (geoId == "NotAvailable") geoId.clear();
    return {"PCI " + pciAddress + " " + geoId,
            vokPhysLocFactory::getPhysLocInterface()->getPhysLocForNetworkAdapter(pciAddress)};
}
