// The facts out of a PCI function's configuration space are those of the capabilities that its list reaches,
// however the list is linked.
#include <set>

#include "FuzzInput.h"
#include "platform/pci/vokPciConfigSpace.h"

namespace {

// The capability list ends where it leaves the bytes, comes back into the header, or would begin again.
std::set<std::size_t> reachedCapabilities(const std::uint8_t* data, std::size_t size) {
    std::set<std::size_t> reached;
    if (size <= 0x34 || (data[6] & 0x10) == 0) return reached;
    std::size_t at = data[0x34] & ~std::size_t{3};
    while (at >= 0x40 && at + 2 <= size && reached.insert(at).second) at = data[at + 1] & ~std::size_t{3};
    return reached;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const pci_config_facts facts = pci_read_config(data, size);
    require(facts.revision == (size > 8 ? data[8] : 0));
    std::uint32_t capabilities = 0;
    std::set<unsigned> widths;
    for (const std::size_t at : reachedCapabilities(data, size)) {
        if (data[at] < 32) capabilities |= 1u << data[at];
        if (data[at] == 0x10 && at + 0x14 <= size)
            widths.insert((data[at + 0x12] | static_cast<unsigned>(data[at + 0x13]) << 8) >> 4 & 0x3F);
    }
    require(facts.capabilities == capabilities);
    // Of several PCI Express capabilities the walk takes the last.
    require(widths.empty() ? facts.link_width == 0 : widths.count(facts.link_width) == 1);
    return 0;
}
