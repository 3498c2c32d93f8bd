// Any text is read as a list of PCI names. The list written in the form of pci.ids reads as the same list,
// and every entry, or one of the same number before it, is found.
#include <cstdio>

#include "FuzzInput.h"
#include "platform/pci/vokPciIds.h"

namespace {

std::string hexadecimal(unsigned value, int digits) {
    char text[16];
    std::snprintf(text, sizeof(text), "%0*x", digits, value);
    return text;
}

// A name that was cut may end in a blank, which the next reading leaves out.
std::string nameOf(const std::string& name) {
    const std::size_t last = name.find_last_not_of(" \t\r");
    return last == std::string::npos ? "" : name.substr(0, last + 1);
}

void writeClasses(const std::list<pci_class>& classes, const std::string& lead, std::string& out) {
    for (const pci_class& each : classes) {
        out += lead + hexadecimal(each.id, 2) + "  " + nameOf(each.name) + "\n";
        writeClasses(each.subclasses, lead[0] == '\t' ? lead + "\t" : "\t", out);
    }
}

std::string written(const pci_ids& ids) {
    std::string out;
    for (const pci_vendor& vendor : ids.vendors) {
        out += hexadecimal(vendor.id, 4) + "  " + nameOf(vendor.name) + "\n";
        for (const pci_device& device : vendor.devices) {
            out += "\t" + hexadecimal(device.id, 4) + "  " + nameOf(device.name) + "\n";
            for (const pci_subsystem& subsystem : device.subsystems)
                out += "\t\t" + hexadecimal(subsystem.vendor, 4) + " " + hexadecimal(subsystem.device, 4) +
                       "  " + nameOf(subsystem.name) + "\n";
        }
    }
    writeClasses(ids.classes, "C ", out);
    return out;
}

void requireClass(const pci_ids& ids, std::uint32_t code) {
    const pci_class* const found = class_find(ids, code);
    require(found &&
            (found->id == (code >> 16) || found->id == (code >> 8 & 0xFF) || found->id == (code & 0xFF)));
}

void requireFound(const pci_ids& ids) {
    for (const pci_vendor& vendor : ids.vendors) {
        require(vendor.name.size() <= 255 && vendor_find(ids, vendor.id)->id == vendor.id);
        require(vendor_search(ids, vendor.name) != nullptr);
        for (const pci_device& device : vendor.devices) {
            require(device_find(vendor, device.id)->id == device.id && device_search(vendor, device.name));
            for (const pci_subsystem& subsystem : device.subsystems)
                require(subsystem_find(device, subsystem.vendor, subsystem.device) &&
                        subsystem_search(device, subsystem.name));
        }
    }
    for (const pci_class& each : ids.classes) {
        requireClass(ids, static_cast<std::uint32_t>(each.id) << 16);
        require(class_search(ids, each.name) != nullptr);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    pci_ids ids;
    scan_hw_ids_text({reinterpret_cast<const char*>(data), size}, ids);
    requireFound(ids);
    const std::string text = written(ids);
    pci_ids again;
    scan_hw_ids_text(text, again);
    require(written(again) == text);
    require(again.vendors.size() == ids.vendors.size() && again.classes.size() == ids.classes.size());
    return 0;
}
