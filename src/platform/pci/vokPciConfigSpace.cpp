#include "platform/pci/vokPciConfigSpace.h"

namespace {

constexpr std::size_t statusOffset = 6;
constexpr unsigned statusHasCapabilities = 1u << 4;
constexpr std::size_t revisionOffset = 8;
constexpr std::size_t capabilityPointerOffset = 52;

constexpr std::size_t firstCapability = 64;  // after the header
constexpr unsigned pointerMask = 0xFC;       // the low two bits are reserved
constexpr int maxCapabilities = (256 - 64) / 4;
constexpr unsigned maxMaskedId = 31;

constexpr unsigned idPciExpress = 0x10;
constexpr std::size_t linkStatusOffset = 0x12;
constexpr unsigned linkWidthShift = 4;
constexpr unsigned linkWidthMask = 0x3F;

}  // namespace

pci_config_facts pci_read_config(const unsigned char* config, std::size_t length) {
    pci_config_facts facts;
    if (length > revisionOffset) facts.revision = config[revisionOffset];
    if (length <= capabilityPointerOffset || !(config[statusOffset] & statusHasCapabilities)) return facts;

    std::size_t offset = config[capabilityPointerOffset] & pointerMask;
    for (int i = 0; i < maxCapabilities && offset >= firstCapability && offset + 1 < length; ++i) {
        const unsigned id = config[offset];
        if (id <= maxMaskedId) facts.capabilities |= 1u << id;
        const std::size_t status = offset + linkStatusOffset;
        if (id == idPciExpress && status + 1 < length) {
            const unsigned link = config[status] | static_cast<unsigned>(config[status + 1]) << 8;
            facts.link_width = static_cast<std::uint8_t>(link >> linkWidthShift & linkWidthMask);
        }
        offset = config[offset + 1] & pointerMask;
    }
    return facts;
}
