// The vital product data of a PCI function (PCI Local Bus 3.0, appendix I): the product name and the
// read-only tags. Lengths in it are not trusted: an incomplete name or value is left out.
#pragma once

#include <cstddef>
#include <list>
#include <string>

// The texts are unchanged; they may hold any byte and end with blanks.
struct pci_vpd_tag {
    std::string keyword;  // two characters, "PN"
    std::string value;
};

// Reads the product name if `vpd` starts with tag 0x82. Returns the number of bytes used, including three of
// tag and length; otherwise 0, and `name` is unchanged.
std::size_t pci_get_vpdname(const unsigned char* vpd, std::size_t length, std::string& name);

// Splits the whole data: reads the name and appends the tags of the read-only part to `tags` in their order.
// The part that the host may write is left out. Returns the number of tags found.
std::size_t pci_get_vpdtags(const unsigned char* vpd, std::size_t length, std::string& name,
                            std::list<pci_vpd_tag>& tags);
