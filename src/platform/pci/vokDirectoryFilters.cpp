#include "platform/pci/vokDirectoryFilters.h"

#include <cstring>
#include <string>

#include "platform/pci/vokSysfsReaders.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr unsigned int ethernetAddressLength = 6;

}  // namespace

int enet_select(const struct dirent* entry) {
    if (!file_select(entry)) return 0;
    const std::string path = std::string("/sys/class/net/") + entry->d_name + "/addr_len";
    return get_sysfs_uint(path.c_str()) == ethernetAddressLength;
}

int pci_select(const struct dirent* entry) {
    return vokUtils::isPCIAddress(entry->d_name);
}

int proc_select(const struct dirent* entry) {
    return entry->d_name[0] != '\0' && std::strspn(entry->d_name, "0123456789") == std::strlen(entry->d_name);
}

int file_select(const struct dirent* entry) {
    return std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0;
}
