// Turns one line of the host's network interface list into the record of an Ethernet adapter, and holds the
// rules by which a change of its state becomes an event (NICEventRules.cpp). Used under the manager's lock.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "core/base/vokModules.h"
#include "nic/PhyAdapterInventory.h"

class NICPhysicalAdapter {
public:
    // Fills the record from the words of one line: name, PCI address, driver, administrative status, link
    // status, speed, duplex, MAC address, MTU, description. Values of missing words keep their defaults.
    void discoverPhyAdapterInventory(PhyAdapterInventory& adapter, std::vector<std::string> tokens);

    // False when the product table does not hold the ids; `model` is then unchanged.
    bool getNICModel(const std::string& vendor, const std::string& device, const std::string& subVendor,
                     const std::string& subDevice, std::string& model);
    // The part number on this platform, or "Not Available".
    std::string getPartNumValue(const std::string& vendor, const std::string& device,
                                const std::string& subVendor, const std::string& subDevice);
    // Reads the firmware version of an interface from the host; leaves `version` unchanged if there is
    // none.
    void getFWVersion(std::string intf, std::string& version);
    // "PCI 0000:3b:00.0 r001u05p2i03" and the physical location of a PCI address.
    std::pair<std::string, std::string> getOemValues(const std::string& pciAddress);

    // 1 up, 3 unknown, 4 link down, 5 and 6 administratively down.
    static int get_adapter_status(const char* link, const char* admin);
    static void setNICStateHealthValues(int status, VOK_RESOURCE_STATE& state, VOK_RESOURCE_HEALTH& health);
    // What a change of state or health means: 4 link lost, 3 adapter failed, 2 link restored, 1 back in
    // service, -1 no event, and the change is logged for the interface `intf`.
    static void fetchNICAdapterCondition(VOK_RESOURCE_STATE curState, VOK_RESOURCE_HEALTH curHealth,
                                         VOK_RESOURCE_STATE prevState, VOK_RESOURCE_HEALTH prevHealth,
                                         const std::string& intf, int& condition);
    // The event of a condition; number 0 for none.
    static void setEventAttributes(int condition, int& eventId, bool& isService);

private:
    // Sets manufacturer, model and part number from the ids of the adapter's PCI function.
    void identify(PhyAdapterInventory& adapter, const std::string& address);

    using Ids = std::pair<std::string, std::string>;

    // By PCI address. The ids of a function don't change while the host runs, and each query runs a
    // command.
    std::map<std::string, Ids> vendorDevice;
    std::map<std::string, Ids> subVendorDevice;
};
