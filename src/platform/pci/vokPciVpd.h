// The vital product data of a PCI function (PCI Local Bus 3.0, appendix I): the product name and the
// read-only tags. Lengths in it are not trusted: a name or value that is not wholly there is left out.
#pragma once

#include <cstddef>
#include <list>
#include <string>

// Texts as they stand; they may hold any byte and end with blanks.
struct pci_vpd_tag {
    std::string keyword;  // two characters, "PN"
    std::string value;
};

// The product name when `vpd` starts with tag 0x82. Gives the bytes that it takes, its three bytes of tag and
// length among them; otherwise 0, and `name` is as it was.
std::size_t pci_get_vpdname(const unsigned char* vpd, std::size_t length, std::string& name);

// Splits a whole resource: the name, and the tags of the read-only part in their order, behind what `tags`
// has. The part that the host may write is left out. Gives the count of tags found.
std::size_t pci_get_vpdtags(const unsigned char* vpd, std::size_t length, std::string& name,
                            std::list<pci_vpd_tag>& tags);
