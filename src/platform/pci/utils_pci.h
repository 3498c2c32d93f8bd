// A scanner of the PCI functions of the host, out of /sys/bus/pci/devices, and look-ups in the list that it
// makes: by address, for names, vital product data and slots.
//
// The list owns its nodes; a pointer to one holds until it is taken from the list. What can't be read leaves
// the value told with each field.
#pragma once

#include <dirent.h>
#include <cstdint>
#include <list>
#include <optional>
#include <string>

#include "platform/pci/vokPciIds.h"
#include "platform/pci/vokPciVpd.h"

struct pci_node {
    char address[16] = "";  // the directory's name, cut to 15 characters
    std::uint16_t domain = 0;
    std::uint8_t bus = 0;
    std::uint8_t slot = 0;
    std::uint8_t function = 0;

    // From attributes, with all bits set when the attribute can't be read.
    std::uint16_t vendor = 0xFFFF;
    std::uint16_t device = 0xFFFF;
    std::uint16_t subsystem_vendor = 0xFFFF;
    std::uint16_t subsystem_device = 0xFFFF;
    std::uint32_t class_code = 0xFFFFFFFF;  // base class, subclass and programming interface, 24 bits
    std::uint32_t irq = 0xFFFFFFFF;

    // From the configuration space, 0 when it can't be read; see vokPciConfigSpace.h.
    std::uint8_t revision = 0;
    std::uint8_t link_width = 0;
    std::uint32_t capabilities = 0;

    // Vital product data, read when somebody first asks for it: some devices take seconds.
    bool vpd_is_read = false;
    std::string vpd_name;
    std::list<pci_vpd_tag> vpd_tags;

    // Into the lists that the scan was given; null without lists and for what is not in them.
    const pci_vendor* vendor_entry = nullptr;
    const pci_device* device_entry = nullptr;
    const pci_subsystem* subsystem_entry = nullptr;
    const pci_class* class_entry = nullptr;

    std::string path;  // of the function's directory, "/sys/bus/pci/devices/0000:3b:00.0"
};

inline constexpr const char* pciDevicesDirectory = "/sys/bus/pci/devices";

// scandir(3) filter: 1 for a name with ":" at 4 and 7, "." at 10, and without ":pcie".
int pci_dev_filter(const struct dirent* entry);
// A node with its address and path alone; nothing when `name` is no PCI address.
std::optional<pci_node> pci_node_create(const std::string& directory, const std::string& name);
// Reads the attributes and the configuration space.
void fill_pci_node(pci_node& node);
// Appends the functions of the directory in the order of their names, with entries of `ids` when it is given;
// that must outlive the list. Gives how many, or -1 when the directory can't be read.
int pci_node_scan(std::list<pci_node>& list, const std::string& directory = pciDevicesDirectory,
                  const pci_ids* ids = nullptr);

// Whether a subsystem vendor id is one of this product's maker.
bool is_MEV(std::uint16_t subsystemVendor);

// The node of a function, or null. The text has the form "0000:3b:00.0"; letters of either case.
pci_node* PciGetnode(std::list<pci_node>& list, std::uint16_t domain, std::uint8_t bus, std::uint8_t slot,
                     std::uint8_t function);
pci_node* PciGetnode_str(std::list<pci_node>& list, const std::string& address);
// The value of the first read-only tag with a keyword such as "PN", and the product name, as they stand;
// empty when there is none. The "vpd" attribute is read once, its first 4096 bytes.
std::string PciGetVPDtag(pci_node& node, const std::string& keyword);
std::string PciGetVPDProductName(pci_node& node);

// The name of the slot that a function sits in, of those in /sys/bus/pci/slots; "NotAvailable" without one.
std::string getPCISlotString(const pci_node& node);
std::string get_pcislot(const std::string& address);
