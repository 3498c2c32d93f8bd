// Vital product data of any bytes: name and tags lie within them, and what is written from them is read as
// the same.
#include <list>

#include "FuzzInput.h"
#include "platform/pci/vokPciVpd.h"

namespace {

std::string head(unsigned tag, std::size_t length) {
    return {static_cast<char>(tag), static_cast<char>(length & 0xFF), static_cast<char>(length >> 8)};
}

// One resource that holds these tags: a name, if there is one, the read-only part, and the end.
std::string written(const std::string& name, const std::list<pci_vpd_tag>& tags) {
    std::string fields;
    for (const pci_vpd_tag& tag : tags)
        fields += tag.keyword + static_cast<char>(tag.value.size()) + tag.value;
    return (name.empty() ? "" : head(0x82, name.size()) + name) + head(0x90, fields.size()) + fields + '\x78';
}

std::size_t read(const std::string& bytes, std::string& name, std::list<pci_vpd_tag>& tags) {
    return pci_get_vpdtags(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), name, tags);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes = textOf(data, size);
    std::string name;
    std::list<pci_vpd_tag> tags;
    require(read(bytes, name, tags) == tags.size());
    require(name.empty() || bytes.compare(3, name.size(), name) == 0);
    std::size_t used = name.size();
    std::size_t from = 0;
    for (const pci_vpd_tag& tag : tags) {
        require(tag.keyword.size() == 2);
        used += 3 + tag.value.size();
        // In the order of the bytes.
        const std::string field = tag.keyword + static_cast<char>(tag.value.size()) + tag.value;
        from = bytes.find(field, from);
        require(from != std::string::npos);
        from += field.size();
    }
    require(used <= size);
    if (used > 0xFFFF) return 0;

    std::string againName;
    std::list<pci_vpd_tag> again;
    require(read(written(name, tags), againName, again) == tags.size() && againName == name);
    auto expected = tags.begin();
    for (const pci_vpd_tag& tag : again) {
        require(tag.keyword == expected->keyword && tag.value == expected->value);
        ++expected;
    }
    return 0;
}
