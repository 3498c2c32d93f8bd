// The readers of a PCI function's configuration space and vital product data, and of pci.ids, take any bytes:
// they read none beyond these, and what they find lies within them.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/pci/vokPciConfigSpace.h"
#include "platform/pci/vokPciIds.h"
#include "platform/pci/vokPciVpd.h"

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

void readConfigSpace(const std::uint8_t* data, std::size_t size) {
    const pci_config_facts facts = pci_read_config(data, size);
    require(facts.link_width <= 63);
    require(facts.link_width == 0 || (facts.capabilities & 1u << 0x10));
    require(size > 64 || facts.capabilities == 0);
}

void splitVpd(const std::uint8_t* data, std::size_t size) {
    std::string name;
    std::list<pci_vpd_tag> tags;
    require(pci_get_vpdtags(data, size, name, tags) == tags.size());
    std::size_t used = name.size();
    for (const pci_vpd_tag& tag : tags) {
        require(tag.keyword.size() == 2);
        used += 3 + tag.value.size();
    }
    require(used <= size);
}

void readIds(const std::uint8_t* data, std::size_t size) {
    pci_ids ids;
    scan_hw_ids_text({reinterpret_cast<const char*>(data), size}, ids);
    std::size_t used = 0;
    for (const pci_vendor& vendor : ids.vendors) {
        require(vendor_find(ids, vendor.id) && vendor_search(ids, vendor.name));
        used += 4 + vendor.name.size();
        for (const pci_device& device : vendor.devices) {
            used += 5 + device.name.size();
            for (const pci_subsystem& subsystem : device.subsystems) {
                require(subsystem_find(device, subsystem.vendor, subsystem.device));
                used += 10 + subsystem.name.size();
            }
        }
    }
    require(used <= size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    readConfigSpace(data, size);
    splitVpd(data, size);
    readIds(data, size);
    return 0;
}
