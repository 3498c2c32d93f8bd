// The facts that the scanner reads from the configuration space of a PCI function (PCI Local Bus 3.0, 6.1 and
// 6.7; PCI Express Base, 7.5.3). A space may be cut anywhere and its capability list may point anywhere: what
// lies beyond the bytes is treated as missing, and the walk takes no more steps than a space has room for.
#pragma once

#include <cstddef>
#include <cstdint>

struct pci_config_facts {
    std::uint8_t revision = 0;
    std::uint32_t capabilities = 0;  // bit N: a capability with the id N is in the list
    std::uint8_t link_width = 0;     // lanes in use, of the Link Status register; 0 without PCI Express
};

// `config` may be null when `length` is 0.
pci_config_facts pci_read_config(const unsigned char* config, std::size_t length);
