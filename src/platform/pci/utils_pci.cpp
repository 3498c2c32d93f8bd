#include "platform/pci/utils_pci.h"

#include <strings.h>
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/access/vokHostAccess.h"
#include "platform/access/vokMallocPtr.h"
#include "platform/access/vokSortedDirectory.h"
#include "platform/pci/vokDirectoryFilters.h"
#include "platform/pci/vokPciConfigSpace.h"
#include "platform/pci/vokSysfsReaders.h"

namespace {

constexpr std::uint16_t subsystemVendorsOfMEV[] = {0x7711, 0x7712, 0x7713};
constexpr char slotsDirectory[] = "/sys/bus/pci/slots";
constexpr char notAvailable[] = "NotAvailable";

constexpr std::size_t addressLength = sizeof("xxxx:xx:xx.x") - 1;
constexpr std::size_t dotPosition = 10;
constexpr std::size_t busLength = sizeof("xxxx:xx") - 1;

template <typename Number>
void readAttribute(const pci_node& node, const char* name, Number (*reader)(const char*), Number& value) {
    value = reader((node.path + "/" + name).c_str());
}

void readConfigSpace(pci_node& node) {
    ssize_t length = 0;
    const vokMallocPtr<char> config(get_sysfs_buf((node.path + "/config").c_str(), &length));
    const pci_config_facts facts = pci_read_config(reinterpret_cast<const unsigned char*>(config.get()),
                                                   static_cast<std::size_t>(length));
    node.revision = facts.revision;
    node.link_width = facts.link_width;
    node.capabilities = facts.capabilities;
}

void readVpd(pci_node& node) {
    if (node.vpd_is_read) return;
    node.vpd_is_read = true;
    ssize_t length = 0;
    const vokMallocPtr<char> vpd(get_sysfs_buf((node.path + "/vpd").c_str(), &length));
    pci_get_vpdtags(reinterpret_cast<const unsigned char*>(vpd.get()), static_cast<std::size_t>(length),
                    node.vpd_name, node.vpd_tags);
}

void lookUpNames(pci_node& node, const pci_ids& ids) {
    node.class_entry = class_find(ids, node.class_code);
    node.vendor_entry = vendor_find(ids, node.vendor);
    if (node.vendor_entry) node.device_entry = device_find(*node.vendor_entry, node.device);
    if (node.device_entry)
        node.subsystem_entry =
            subsystem_find(*node.device_entry, node.subsystem_vendor, node.subsystem_device);
}

bool isFunctionName(const char* name) {
    return std::strlen(name) > dotPosition && name[4] == ':' && name[7] == ':' && name[dotPosition] == '.' &&
           !std::strstr(name, ":pcie");
}

bool parseAddress(const char* text, pci_node& node) {
    return isFunctionName(text) && std::sscanf(text, "%4hx:%2hhx:%2hhx.%1hhx", &node.domain, &node.bus,
                                               &node.slot, &node.function) == 4;
}

// A slot's address has no function, and no device either if the slot stands for its whole bus.
bool isAtSlot(const std::string& address, const char* slot) {
    const std::size_t length = std::strlen(slot);
    return length >= busLength && length <= address.size() &&
           ::strncasecmp(address.c_str(), slot, length) == 0 &&
           (length == address.size() || std::strchr(":.", address[length]));
}

}  // namespace

int pci_dev_filter(const struct dirent* entry) {
    return isFunctionName(entry->d_name);
}

std::optional<pci_node> pci_node_create(const std::string& directory, const std::string& name) {
    pci_node node;
    if (!parseAddress(name.c_str(), node)) return std::nullopt;
    node.address[name.copy(node.address, sizeof(node.address) - 1)] = '\0';
    node.path = directory + "/" + name;
    return node;
}

void fill_pci_node(pci_node& node) {
    readAttribute(node, "vendor", get_sysfs_shex, node.vendor);
    readAttribute(node, "device", get_sysfs_shex, node.device);
    readAttribute(node, "subsystem_vendor", get_sysfs_shex, node.subsystem_vendor);
    readAttribute(node, "subsystem_device", get_sysfs_shex, node.subsystem_device);
    readAttribute(node, "irq", get_sysfs_uint, node.irq);
    readAttribute(node, "class", get_sysfs_ihex, node.class_code);
    readConfigSpace(node);
}

int pci_node_scan(std::list<pci_node>& list, const std::string& directory, const pci_ids* ids) {
    const vokSortedDirectory entries(vokHostAccess().path(directory), pci_dev_filter);
    if (entries.count() < 0) return -1;
    int count = 0;
    for (int i = 0; i < entries.count(); ++i) {
        auto node = pci_node_create(directory, entries.name(i));
        if (!node) continue;
        fill_pci_node(*node);
        if (ids) lookUpNames(*node, *ids);
        list.push_back(std::move(*node));
        ++count;
    }
    return count;
}

bool is_MEV(std::uint16_t subsystemVendor) {
    return std::find(std::begin(subsystemVendorsOfMEV), std::end(subsystemVendorsOfMEV), subsystemVendor) !=
           std::end(subsystemVendorsOfMEV);
}

pci_node* PciGetnode(std::list<pci_node>& list, std::uint16_t domain, std::uint8_t bus, std::uint8_t slot,
                     std::uint8_t function) {
    const auto found = std::find_if(list.begin(), list.end(), [=](const pci_node& node) {
        return node.domain == domain && node.bus == bus && node.slot == slot && node.function == function;
    });
    return found == list.end() ? nullptr : &*found;
}

pci_node* PciGetnode_str(std::list<pci_node>& list, const std::string& address) {
    pci_node parsed;
    if (address.size() != addressLength || !parseAddress(address.c_str(), parsed)) return nullptr;
    return PciGetnode(list, parsed.domain, parsed.bus, parsed.slot, parsed.function);
}

std::string PciGetVPDtag(pci_node& node, const std::string& keyword) {
    readVpd(node);
    const auto found = std::find_if(node.vpd_tags.begin(), node.vpd_tags.end(),
                                    [&](const pci_vpd_tag& tag) { return tag.keyword == keyword; });
    return found == node.vpd_tags.end() ? std::string() : found->value;
}

std::string PciGetVPDProductName(pci_node& node) {
    readVpd(node);
    return node.vpd_name;
}

std::string getPCISlotString(const pci_node& node) {
    return get_pcislot(node.address);
}

std::string get_pcislot(const std::string& address) {
    const vokSortedDirectory slots(vokHostAccess().path(slotsDirectory), file_select);
    for (int i = 0; i < slots.count(); ++i) {
        const std::string path = std::string(slotsDirectory) + "/" + slots.name(i) + "/address";
        const vokMallocPtr<char> slot(get_sysfs_str(path.c_str()));
        if (slot && isAtSlot(address, slot.get())) return slots.name(i);
    }
    return notAvailable;
}
