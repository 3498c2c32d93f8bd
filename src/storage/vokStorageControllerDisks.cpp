#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "core/base/vokLog.h"
#include "platform/access/vokMallocPtr.h"
#include "platform/access/vokScsi.h"
#include "platform/access/vokSortedDirectory.h"
#include "platform/pci/vokDirectoryFilters.h"
#include "platform/places/vokPhysLocFactory.h"
#include "platform/utils/vokUtils.h"
#include "storage/scsi/scsi_info.h"
#include "storage/storage_utils.h"
#include "storage/vokDiskNode.h"
#include "storage/vokStorageController.h"
#include "storage/vokSysfsLink.h"

namespace {

constexpr char module[] = "STOR_CTLR";
constexpr char classDirectory[] = "/sys/class/scsi_device/";

using Text = vokMallocPtr<char>;

std::string trimmed(const Text& text) {
    return text ? trim_surrounding_whitespace(text.get()) : "";
}

// "SSD" or "HDD"; empty if the rotation rate (SBC-4, ACS-4) says neither.
std::string mediaTypeOf(int rotationRate) {
    if (rotationRate == 1) return "SSD";
    return rotationRate >= 0x401 && rotationRate <= 0xFFFE ? "HDD" : "";
}

// --- IDENTIFY DEVICE (ACS-4) ---

struct IdentifyText {
    unsigned firstWord;
    unsigned words;
};
constexpr IdentifyText identifySerialNumber = {10, 10};
constexpr IdentifyText identifyRevision = {23, 4};
constexpr IdentifyText identifyModel = {27, 20};
constexpr unsigned identifySataCapabilities = 76;
constexpr unsigned identifyMajorRevision = 80;
constexpr unsigned identifyRotationRate = 217;

constexpr unsigned acs2OrLater = 0xFE00;  // bits of the major revision

class IdentifyData {
public:
    explicit IdentifyData(int descriptor)
        : result_(get_ata_identify_device_info(descriptor, bytes_.data(), size_)) {}

    bool failed() const { return result_ != 0; }
    // 0 unless both bytes were received.
    unsigned word(unsigned number) const {
        if (2 * (number + 1) > size_) return 0;
        return bytes_[2 * number] | static_cast<unsigned>(bytes_[2 * number + 1]) << 8;
    }
    // Sets `out` unless the text was not received as a whole.
    void read(const IdentifyText& field, std::string& out) const {
        if (2 * (field.firstWord + field.words) > size_) return;
        char text[2 * identifyModel.words + 1] = {};
        get_ata_string(text, bytes_.data(), field.firstWord, field.words);
        // Some disks fill a text from the left, and some with NULs.
        char* const end = text + 2 * field.words;
        char* const begin = std::find_if(text, end, [](char c) { return c != '\0' && c != ' '; });
        out = trim_surrounding_whitespace(begin);
    }

private:
    std::array<unsigned char, 512> bytes_{};
    std::size_t size_ = bytes_.size();
    int result_;
};

// --- one disk ---

// An entry of the class directory on its way into the inventory: the steps fill in the record.
class WalkedDisk {
public:
    WalkedDisk(vokStorageController& controller, vokDiskOpenFailures& failures, const char* entry)
        : controller_(controller),
          failures_(failures),
          pciLocation_(controller.getPciLocation()),
          link_(entry) {
        disk_.setOSSCSILink(link_);
    }

    // True if the entry is a disk of this controller. Otherwise the log says why it is left out.
    bool discover() {
        if (!isHostedHere()) return false;
        readAtaDeviceNumber();
        if (!openNode() || isLogicalDrive() || !isBlockDevice()) return false;
        readSerialNumber();
        readModel();
        readCapacity();
        readRevision();
        readProtocol();
        if (disk_.getProtocol() == "ATA")
            readAtaIdentity();
        else
            readMediaType();
        readManufacturer();
        readPlace();
        return isValid();
    }

    vokDiskInfo& disk() { return disk_; }
    vokDevice takeNode() { return std::move(node_); }

private:
    bool isHostedHere();
    void readAtaDeviceNumber();
    bool openNode();
    bool isLogicalDrive();
    bool isBlockDevice();
    void readSerialNumber();
    void readModel();
    void readCapacity();
    void readRevision();
    void readProtocol();
    void readAtaIdentity();
    void readMediaType();
    void readManufacturer();
    void readPlace();
    bool isValid();

    bool readTarget();
    bool isBelowController(const std::string& path) const {
        return path.find("/" + pciLocation_ + "/") != std::string::npos;
    }
    const char* link() const { return link_.c_str(); }
    int descriptor() const { return node_.descriptor(); }
    void setModel(const std::string& model) {
        disk_.setModel(model);
        disk_.setPartNumber(getDiskPartNumber(model.c_str(), nullptr));
    }

    vokStorageController& controller_;
    vokDiskOpenFailures& failures_;
    const std::string pciLocation_;
    const std::string link_;  // the name of the entry
    std::string target_;      // where the entry leads, with the PCI location of its controller
    vokDiskInfo disk_;
    vokDevice node_;
};

// What an entry of the class directory is, and whether its text holds the whole path, depends on the kernel.
bool WalkedDisk::readTarget() {
    const std::string entry = classDirectory + link_;
    target_ = vokLinkText(entry);
    const int error = errno;
    const bool isLink = !target_.empty();
    if (strstr_pcilocation(target_.data())) return true;
    // Not resolved if the text of the link names another controller: that takes a system call for each
    // directory above, and every controller looks at the disks of all.
    std::string device = vokLinkText(entry + "/device");
    if (!strstr_pcilocation(device.data()) || isBelowController(device))
        device = vokResolvedPath(entry + "/device");
    if (!device.empty()) target_ = device;
    if (isLink || !device.empty()) return true;
    VOK_LOG_DEBUG(module, "%s: readlink failed! (%d) Skipping device %s.", pciLocation_.c_str(), error,
                  link());
    return false;
}

bool WalkedDisk::isHostedHere() {
    if (!readTarget()) return false;
    VOK_LOG_DEBUG(module, "%s: Scsi Link %s  -- buffer %s", pciLocation_.c_str(), link(), target_.c_str());
    if (!isBelowController(target_)) {
        VOK_LOG_DEBUG(module, "%s: Skipping device since it is not hosted by controller at %s.", link(),
                      pciLocation_.c_str());
        return false;
    }
    VOK_LOG_DEBUG(module, "%s: Device is presented by controller 0x%X 0x%X @ [%s]", link(),
                  controller_.getChipsetID(), controller_.getBoardID(), pciLocation_.c_str());
    return true;
}

void WalkedDisk::readAtaDeviceNumber() {
    disk_.setATADeviceNumber(vokNumberAfter(target_, "/ata"));
}

bool WalkedDisk::openNode() {
    const Text name(get_ScsiGeneric(link()));
    if (!name) {
        VOK_LOG_DEBUG(module, "%s: Failed to get generic device.", link());
        return false;
    }
    const std::string path = std::string("/dev/") + name.get();
    disk_.setOSDeviceName(path);
    node_ = vokOpenDiskNode(path);
    if (!node_) {
        failures_.report(link_, path, errno, "Skipping device.");
        return false;
    }
    failures_.forget(link_);
    disk_.setOSSGHandle(descriptor());
    return true;
}

// A controller presents its own volumes as devices, too.
bool WalkedDisk::isLogicalDrive() {
    const Text model(get_DiskModel(link()));
    if (!model || !::strcasestr(model.get(), "LOGICAL VOLUME")) return false;
    VOK_LOG_INFO(module, "%s: Skipping logical drive %s", link(), disk_.getOSDeviceName().c_str());
    return true;
}

bool WalkedDisk::isBlockDevice() {
    if (is_direct_access_block_device(link())) return true;
    VOK_LOG_INFO(module, "%s: Skipping since it is not a direct-access block device", link());
    return false;
}

void WalkedDisk::readSerialNumber() {
    if (const Text text{get_unit_sn_from_sysfs_vpd_pg80(link())}) {
        disk_.setSerialNumber(trimmed(text));
        VOK_LOG_DEBUG(module, "%s: Disk serialnum from page 80: %s", link(), disk_.getSerialNumber().c_str());
    }
    if (!disk_.getSerialNumber().empty()) return;
    if (const Text text{get_unit_sn_from_sysfs_inquiry(link())}) {
        disk_.setSerialNumber(trimmed(text));
        VOK_LOG_DEBUG(module, "%s: Disk serialnum from inquiry: %s", link(), disk_.getSerialNumber().c_str());
    }
}

void WalkedDisk::readModel() {
    setModel(trimmed(Text(get_DiskModel(link()))));
    VOK_LOG_DEBUG(module, "%s: Disk Model %s", link(), disk_.getModel().c_str());
}

void WalkedDisk::readCapacity() {
    if (disk_.getCapacityBytes() != 0) return;
    const unsigned long long blocks = get_BlockSize(link());
    if (blocks == ~0ULL) {
        VOK_LOG_DEBUG(module, "%s: Unable to determine the capacity.", link());
        return;
    }
    disk_.setCapacityBytes(blocks * 512);
    VOK_LOG_DEBUG(module, "%s: Drv size %llu Blocks, %llu bytes", link(), blocks, disk_.getCapacityBytes());
}

void WalkedDisk::readRevision() {
    disk_.setRevision(trimmed(Text(get_sas_DiskRev(link()))));
    VOK_LOG_DEBUG(module, "%s: SCSI PhyDrvFWRev %s", link(), disk_.getRevision().c_str());
}

void WalkedDisk::readProtocol() {
    constexpr int noProtocol = 15;
    const std::string node = disk_.getOSDeviceName();
    const Text vendor(get_DiskVendor(link()));
    if (vendor && std::strcmp(vendor.get(), "ATA     ") == 0) {
        disk_.setProtocol("ATA");
        VOK_LOG_DEBUG(module, "%s: Device %s: Found an ATA disk", link(), node.c_str());
        return;
    }
    const int protocol = get_scsi_transport_protocol(descriptor());
    if (protocol >= 0 && protocol <= noProtocol) {
        const char* const name = SCSI_Protocol_Identifiers[protocol];
        disk_.setProtocol(name);
        VOK_LOG_DEBUG(module, "%s: Device %s: Protocol %d (%s)", link(), node.c_str(), protocol, name);
    }
    if (disk_.getProtocol().empty() || protocol == noProtocol)
        VOK_LOG_DEBUG(module, "%s: Unable to identify disk protocol.", link());
}

void WalkedDisk::readAtaIdentity() {
    const IdentifyData identify(descriptor());
    if (identify.failed()) return;
    VOK_LOG_DEBUG(module, "Gathering inventory from ATA device.");
    disk_.setProtocol("ATA");

    std::string serialNumber = disk_.getSerialNumber();
    std::string revision = disk_.getRevision();
    std::string model = disk_.getModel();
    identify.read(identifySerialNumber, serialNumber);
    identify.read(identifyRevision, revision);
    identify.read(identifyModel, model);
    disk_.setSerialNumber(serialNumber);
    disk_.setRevision(revision);
    setModel(model);

    const unsigned rotationRate = identify.word(identifyRotationRate);
    const std::string mediaType = mediaTypeOf(static_cast<int>(rotationRate));
    if (!mediaType.empty()) disk_.setMediaType(mediaType);
    const unsigned capabilities = identify.word(identifySataCapabilities);
    if (capabilities != 0 && capabilities != 0xFFFF) disk_.setProtocol("SATA");
    const unsigned majorRevision = identify.word(identifyMajorRevision);
    disk_.setATAMajorRevision(static_cast<int>(majorRevision));
    VOK_LOG_DEBUG(module,
                  "%s: ATA Info: Serial#=%s FW=%s Model=%s Part#=%s NMRR=0x%X Capability=0x%X ATA_Rev=0x%X "
                  "[%s]",
                  link(), serialNumber.c_str(), revision.c_str(), model.c_str(),
                  disk_.getPartNumber().c_str(), rotationRate, capabilities, majorRevision,
                  majorRevision & acs2OrLater ? "ACS-2 or later" : "Non ACS-2");
}

void WalkedDisk::readMediaType() {
    const int rotationRate = get_scsi_disk_medium_rotation_rate(descriptor());
    disk_.setMediaType(mediaTypeOf(rotationRate));
    if (disk_.getMediaType().empty())
        VOK_LOG_DEBUG(module, "%s: Unable to determine media type (0x%x).", link(),
                      static_cast<unsigned>(rotationRate));
}

void WalkedDisk::readManufacturer() {
    std::string manufacturer;
    controller_.discoverPhysicalDiskManufacturer(disk_, manufacturer);
    disk_.setManufacturer(manufacturer);
}

void WalkedDisk::readPlace() {
    controller_.discoverPhysicalDiskSlotNumber(disk_);
    const std::string text = disk_.getSlot();
    std::string location = vokUnknownPhysLoc;
    int slot = -1;
    const int result = string_to_int(text.c_str(), slot);
    if (result == 0)
        location =
            vokPhysLocFactory::getPhysLocInterface()->getPhysLocForChassisDriveSlot(pciLocation_, slot);
    disk_.setPhysicalLocation(location);
    VOK_LOG_DEBUG(module,
                  "%s: Disk Device [%s] @ slot [%s] on HBA pciloc=[%s]: phyloc=[%s] (slot=[%d], ret=[%d])",
                  link(), disk_.getOSDeviceName().c_str(), text.c_str(), pciLocation_.c_str(),
                  location.c_str(), slot, result);
}

bool WalkedDisk::isValid() {
    if (controller_.validatePhysicalDisk(disk_)) return true;
    VOK_LOG_DEBUG(module, "%s: Not allowed as physical drive during validation.", link());
    return false;
}

// --- one pass ---

// The open nodes of the disks of a pass. However the pass ends, they are closed, and no record names a
// descriptor that is not open any more.
class OpenNodes {
public:
    explicit OpenNodes(std::vector<vokDiskInfo>& current, std::vector<vokDiskInfo>& previous)
        : current_(current), previous_(previous) {}
    ~OpenNodes() {
        // The synchronisation copies the records of one list to the other.
        for (auto* const disks : {&current_, &previous_})
            for (vokDiskInfo& disk : *disks) disk.setOSSGHandle(-1);
    }
    OpenNodes(const OpenNodes&) = delete;
    OpenNodes& operator=(const OpenNodes&) = delete;

    void add(vokDevice node) { nodes_.push_back(std::move(node)); }

private:
    std::vector<vokDiskInfo>& current_;
    std::vector<vokDiskInfo>& previous_;
    std::vector<vokDevice> nodes_;
};

std::vector<std::string> scsiLinks() {
    const vokSortedDirectory entries(vokHostAccess().path(classDirectory), file_select);
    // All disks will be taken for missing.
    if (entries.count() < 0 && errno != ENOENT)
        VOK_LOG_WARNING(module, "Unable to list %s: (%d).", classDirectory, errno);
    std::vector<std::string> names;
    names.reserve(static_cast<std::size_t>(std::max(entries.count(), 0)));
    for (int i = 0; i < entries.count(); ++i) names.emplace_back(entries.name(i));
    return names;
}

}  // namespace

int vokStorageController::discoverPhysicalDiskInventory(std::vector<vokDiskInfo>& disks) {
    const vokMutexLocker locker(lock);
    VOK_LOG_DEBUG(module, "Gathering disk inventory for controller @ %s [0x%X, 0x%X] [%d].",
                  pciLocation.c_str(), chipsetID, boardID, static_cast<int>(isRemoved()));
    if (isRemoved()) {
        VOK_LOG_DEBUG(module, "%s: Return last known PD inventory for removed controller.",
                      pciLocation.c_str());
        disks = currentDrives;
        return 1;
    }
    const std::vector<vokDiskInfo> known = currentDrives;
    previousDrives = currentDrives;
    currentDrives.clear();
    {
        OpenNodes nodes(currentDrives, previousDrives);
        const std::vector<std::string> links = scsiLinks();
        openFailures.forgetAllBut(links);
        for (const std::string& link : links) {
            if (vokIsScsiRefused()) break;
            WalkedDisk walked(*this, openFailures, link.c_str());
            if (!walked.discover()) continue;
            nodes.add(walked.takeNode());
            currentDrives.push_back(walked.disk());
        }
        if (!vokIsScsiRefused()) synchronizePhysicalDrivesInventory();
    }
    if (vokIsScsiRefused()) {
        VOK_LOG_DEBUG(module, "%s: The stop has broken off the disk inventory.", pciLocation.c_str());
        currentDrives = previousDrives = known;
        return 0;
    }
    disks = currentDrives;
    const auto isMissing = [](const vokDiskInfo& disk) { return disk.getDeviceMissing(); };
    disks.erase(std::remove_if(disks.begin(), disks.end(), isMissing), disks.end());
    return 1;
}

int vokStorageController::discoverPhysicalDiskSlotNumber(vokDiskInfo&) {
    return -1;
}

void vokStorageController::discoverPhysicalDiskManufacturer(vokDiskInfo disk, std::string& manufacturer) {
    const std::string link = disk.getOSSCSILink();
    const Text text(get_DiskVendor(link.c_str()));
    std::string vendor = text ? text.get() : "";
    if (vendor.find("ATA") != std::string::npos) {
        constexpr char mark[] = {'M', 'V', 'D', '0'};
        constexpr std::size_t markAt = 24;
        unsigned char log[512] = {};
        std::size_t size = 0;
        if (get_sata_log_vpd_pgD0(disk.getOSSGHandle(), log, size) == 0 && size >= markAt + sizeof(mark) &&
            std::memcmp(log + markAt, mark, sizeof(mark)) == 0)
            manufacturer = "MEV";
    }
    if (manufacturer.empty()) vokUtils::trimLeadingTrailingSpaces(vendor, manufacturer);
    if (manufacturer.empty())
        VOK_LOG_DEBUG(module, "Unable to fetch manufacturer name for scsi device : %s", link.c_str());
}

bool vokStorageController::validatePhysicalDisk(vokDiskInfo&) {
    return true;
}
