// The attributes of disks in sysfs.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokMallocPtr.h"
#include "platform/access/vokSortedDirectory.h"
#include "platform/pci/vokSysfsReaders.h"
#include "storage/scsi/scsi_info.h"
#include "storage/scsi/vokScsiQuestion.h"

namespace {

constexpr std::size_t longestPath = 255;

std::string cut(std::string path) {
    if (path.size() > longestPath) path.resize(longestPath);
    return path;
}

// "/sys/class/scsi_device/0:0:1:0/device/model"
std::string deviceFile(const char* dev, const char* attribute) {
    return cut(std::string("/sys/class/scsi_device/") + (dev ? dev : "") + "/device/" + attribute);
}

// The first entry that the filter passes; empty without one.
std::string firstEntry(const std::string& directory, int (*filter)(const dirent*)) {
    const vokSortedDirectory entries(vokHostAccess().path(directory), filter);
    return entries.count() > 0 ? entries.name(0) : "";
}

bool startsWith(const char* name, const char* start) {
    return std::strncmp(name, start, std::strlen(start)) == 0;
}

// An attribute that holds a reply of the disk as raw bytes.
class RawAttribute {
public:
    explicit RawAttribute(const std::string& path) : bytes_(get_sysfs_buf(path.c_str(), &size_)) {}

    explicit operator bool() const { return bytes_ != nullptr; }
    ssize_t size() const { return size_; }
    unsigned operator[](std::size_t at) const {
        return at < static_cast<std::size_t>(size_) ? static_cast<unsigned char>(bytes_.get()[at]) : 0;
    }
    // In memory for `room` characters with the NUL. The text ends before the attribute does.
    char* text(std::size_t at, std::size_t length, std::size_t room) const {
        return static_cast<char*>(vokScsiCopy(bytes_.get() + at, length, room));
    }

private:
    ssize_t size_ = 0;
    vokMallocPtr<char> bytes_;
};

}  // namespace

unsigned int get_DiskType(const char* dev) {
    return get_sysfs_uint(deviceFile(dev, "type").c_str());
}

bool is_direct_access_block_device(const char* dev) {
    return get_sysfs_shex(deviceFile(dev, "type").c_str()) == 0;
}

char* get_DiskModel(const char* dev) {
    return get_sysfs_str(deviceFile(dev, "model").c_str());
}

char* get_sas_DiskRev(const char* dev) {
    return get_sysfs_str(deviceFile(dev, "rev").c_str());
}

char* get_DiskVendor(const char* dev) {
    return get_sysfs_str(deviceFile(dev, "vendor").c_str());
}

char* get_DiskState(const char* dev) {
    return get_sysfs_str(deviceFile(dev, "state").c_str());
}

char* get_ScsiGeneric(const char* dev) {
    const std::string name = firstEntry(deviceFile(dev, "scsi_generic"), generic_select);
    return name.empty() ? nullptr : ::strdup(name.c_str());
}

char* get_unit_sn_from_sysfs_vpd_pg80(const char* dev) {
    const RawAttribute page(deviceFile(dev, "vpd_pg80"));
    if (!page) {
        VOK_LOG_DEBUG("SCSI_INFO", "Unable to retrieve sysfs VPD page 80.");
        return nullptr;
    }
    if (page.size() < 5 || page[1] != 0x80) {
        VOK_LOG_DEBUG("SCSI_INFO", "Unable to extract disk serial number from sysfs VPD page 80. (%zd, %u)",
                      page.size(), page[1]);
        return nullptr;
    }
    const std::size_t length = page[2] << 8 | page[3];
    const std::size_t left = static_cast<std::size_t>(page.size()) - 4;
    return page.text(4, std::min(length, left), left + 1);
}

char* get_unit_sn_from_sysfs_inquiry(const char* dev) {
    const RawAttribute inquiry(deviceFile(dev, "inquiry"));
    if (!inquiry) {
        VOK_LOG_DEBUG("SCSI_INFO", "Unable to retrieve sysfs inquiry.");
        return nullptr;
    }
    if (inquiry.size() < 56 || inquiry[4] <= 51) {
        VOK_LOG_DEBUG("SCSI_INFO", "Unable to extract disk serial number from sysfs inquiry. (%zd, %u)",
                      inquiry.size(), inquiry[4]);
        return nullptr;
    }
    return inquiry.text(36, 20, 21);
}

unsigned long long get_BlockSize(const char* dev) {
    // The entries of today's kernels, and those of old ones, which lie in the directory of the device.
    const std::string today = deviceFile(dev, "block/");
    for (const std::string& directory : {today, cut(today + "/block/"), deviceFile(dev, "")}) {
        const std::string entry = firstEntry(directory, sd_select);
        if (!entry.empty()) return get_sysfs_ullong(cut(directory + entry + "/size").c_str());
    }
    return 0;
}

unsigned long long get_PciBlockSize(const char* path) {
    // Required: a path that starts with "../" keeps it after the added one.
    const bool isAbove = path && startsWith(path, "../");
    const std::string directory = isAbove ? "/sys/devices/../" : "/sys/devices/";
    return get_sysfs_ullong(cut(directory + (path ? path : "") + "/size").c_str());
}

vokDurableName get_durableName_from_block_vpd_pg83(const char* block) {
    static_assert(sizeof(vokDurableName) == 33);
    constexpr std::size_t first = 8;
    constexpr std::size_t bytes = 16;
    vokDurableName name = {};
    const RawAttribute page(cut(std::string("/sys/block/") + (block ? block : "") + "/device/vpd_pg83"));
    if (!page || page.size() <= 4 || page[1] != 0x83) return name;
    for (std::size_t i = 0; i < bytes; ++i) std::snprintf(name.text + 2 * i, 3, "%02X", page[first + i]);
    return name;
}

int sd_select(const struct dirent* entry) {
    return startsWith(entry->d_name, "block:") || startsWith(entry->d_name, "sd");
}

int generic_select(const struct dirent* entry) {
    return startsWith(entry->d_name, "scsi_generic:") || startsWith(entry->d_name, "sg");
}
