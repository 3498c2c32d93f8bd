// The public database of PCI names, pci.ids, as linked lists: vendors with their devices, devices with their
// subsystems, and classes with their subclasses and programming interfaces.
//
// The lists own all their entries; a pointer to one is valid as long as they exist. Lines of another form are
// skipped, names are cut at 255 characters, and of the file no more is used than ReadFile() returns.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <string_view>

struct pci_subsystem {
    std::uint16_t vendor;
    std::uint16_t device;
    std::string name;
};

struct pci_device {
    std::uint16_t id;
    std::string name;
    std::list<pci_subsystem> subsystems;
};

struct pci_vendor {
    std::uint16_t id;
    std::string name;
    std::list<pci_device> devices;
};

struct pci_class {
    std::uint8_t id;
    std::string name;
    std::list<pci_class> subclasses;
};

struct pci_ids {
    std::list<pci_vendor> vendors;
    std::list<pci_class> classes;
};

// Reads pci.ids from the first of its usual paths that can be opened and appends to the lists. False if none
// can.
bool scan_hw_ids(pci_ids& ids);
// The same from a text.
void scan_hw_ids_text(std::string_view text, pci_ids& ids);

// By number. Null if it is not in the list.
const pci_vendor* vendor_find(const pci_ids& ids, std::uint16_t vendor);
const pci_device* device_find(const pci_vendor& vendor, std::uint16_t device);
const pci_subsystem* subsystem_find(const pci_device& device, std::uint16_t subsystemVendor,
                                    std::uint16_t subsystemDevice);
// The most specific name for a class code of 24 bits: programming interface, otherwise subclass, otherwise
// class.
const pci_class* class_find(const pci_ids& ids, std::uint32_t classCode);

// By a part of the name, in ASCII letters of either case: the first in the order of the file, or null.
const pci_vendor* vendor_search(const pci_ids& ids, std::string_view text);
const pci_device* device_search(const pci_vendor& vendor, std::string_view text);
const pci_subsystem* subsystem_search(const pci_device& device, std::string_view text);
const pci_class* class_search(const pci_ids& ids, std::string_view text);  // of the classes alone
