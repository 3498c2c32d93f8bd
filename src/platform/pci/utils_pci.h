// A scanner of the PCI functions of the host, which reads /sys/bus/pci/devices, and look-ups in the list that
// it returns: by address, for names, vital product data and slots.
//
// The list owns its nodes; a pointer to one is valid until it is removed from the list. A field that can't be
// read has the value given with it.
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

    // From attributes, with all bits set if the attribute can't be read.
    std::uint16_t vendor = 0xFFFF;
    std::uint16_t device = 0xFFFF;
    std::uint16_t subsystem_vendor = 0xFFFF;
    std::uint16_t subsystem_device = 0xFFFF;
    std::uint32_t class_code = 0xFFFFFFFF;  // base class, subclass and programming interface, 24 bits
    std::uint32_t irq = 0xFFFFFFFF;

    // From the configuration space, 0 if it can't be read; see vokPciConfigSpace.h.
    std::uint8_t revision = 0;
    std::uint8_t link_width = 0;
    std::uint32_t capabilities = 0;

    // Vital product data, read on first use: some devices take seconds.
    bool vpd_is_read = false;
    std::string vpd_name;
    std::list<pci_vpd_tag> vpd_tags;

    // Pointers into the lists passed to the scan; null without lists and for what they don't hold.
    const pci_vendor* vendor_entry = nullptr;
    const pci_device* device_entry = nullptr;
    const pci_subsystem* subsystem_entry = nullptr;
    const pci_class* class_entry = nullptr;

    std::string path;  // of the function's directory, "/sys/bus/pci/devices/0000:3b:00.0"
};

inline constexpr const char* pciDevicesDirectory = "/sys/bus/pci/devices";

// scandir(3) filter: 1 for a name with ":" at 4 and 7, "." at 10, and without ":pcie".
int pci_dev_filter(const struct dirent* entry);
// A node with only its address and path; nothing if `name` is not a PCI address.
std::optional<pci_node> pci_node_create(const std::string& directory, const std::string& name);
// Reads the attributes and the configuration space.
void fill_pci_node(pci_node& node);
// Appends the functions of the directory in the order of their names, with entries of `ids` unless it is
// null; `ids` must outlive the list. Returns their number, or -1 if the directory can't be read.
int pci_node_scan(std::list<pci_node>& list, const std::string& directory = pciDevicesDirectory,
                  const pci_ids* ids = nullptr);

// True if a subsystem vendor id is one of this product's manufacturer.
bool is_MEV(std::uint16_t subsystemVendor);

// The node of a function, or null. The text has the form "0000:3b:00.0"; letters of either case.
pci_node* PciGetnode(std::list<pci_node>& list, std::uint16_t domain, std::uint8_t bus, std::uint8_t slot,
                     std::uint8_t function);
pci_node* PciGetnode_str(std::list<pci_node>& list, const std::string& address);
// The value of the first read-only tag with a keyword such as "PN", and the product name, unchanged; empty if
// there is none. The "vpd" attribute is read once, its first 4096 bytes.
std::string PciGetVPDtag(pci_node& node, const std::string& keyword);
std::string PciGetVPDProductName(pci_node& node);

// The name of a function's slot in /sys/bus/pci/slots; "NotAvailable" without one.
std::string getPCISlotString(const pci_node& node);
std::string get_pcislot(const std::string& address);
