#include <algorithm>
#include <array>
#include <cstdlib>

#include <utility>

#include "core/base/vokDecisionTable.h"
#include "core/base/vokLog.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "platform/access/vokMallocPtr.h"

namespace {

constexpr char tag[] = "LSI_INTERF";
constexpr char interfaceSas[] = "SAS";
constexpr char interfaceSata[] = "SATA";
constexpr std::int32_t mostRetries = 2;  // a third failure is the last

constexpr std::uint8_t serialNumberPage = 0x80;
constexpr std::size_t serialNumberPageSize = 64;
constexpr std::size_t longestSerialNumber = 99;

constexpr std::uint8_t vendorLogPage = 0xD0;
constexpr std::size_t vendorLogPageSize = 512;
constexpr vokRecordBytes vendorSignature = {24, 4};

struct InterfaceType {
    unsigned number;
    const char* text;

    constexpr unsigned key() const { return number; }
};

constexpr InterfaceType interfaceTypes[] = {
    {1, "Parallel SCSI"}, {2, interfaceSas}, {3, interfaceSata}, {4, "FC"}, {5, "NVMe"},
};
static_assert(vokKeysAscend(interfaceTypes));

std::string textOfInterface(unsigned number) {
    const InterfaceType* const row = vokFindRow(interfaceTypes, number);
    return row ? row->text : "Unknown";
}

// The retry counters of a controller's disks in the previous build.
class CarriedRetries {
public:
    explicit CarriedRetries(const std::vector<PD_INFO>& disks) {
        for (const PD_INFO& disk : disks) {
            bySlot_.emplace(slotOf(disk), disk.serialRetryCount);
            byDisk_.emplace(std::pair(slotOf(disk), disk.serialNumber), disk.vendorRetryCount);
        }
    }
    // Of the disk in the same slot.
    std::int32_t ofSerialNumber(const PD_INFO& disk) const { return valueOf(bySlot_, slotOf(disk)); }
    // Of the disk in the same slot with the same serial number.
    std::int32_t ofVendor(const PD_INFO& disk) const {
        return valueOf(byDisk_, std::pair(slotOf(disk), disk.serialNumber));
    }

private:
    using Slot = std::pair<std::uint32_t, std::uint32_t>;  // enclosure, slot

    static Slot slotOf(const PD_INFO& disk) { return {disk.enclosureDeviceId, disk.slotNumber}; }
    template <typename Counters, typename Key>
    static std::int32_t valueOf(const Counters& counters, const Key& key) {
        const auto found = counters.find(key);
        return found == counters.end() ? 0 : found->second;
    }

    std::map<Slot, std::int32_t> bySlot_;
    std::map<std::pair<Slot, std::string>, std::int32_t> byDisk_;
};

}  // namespace

void vokStoreLibInterface::buildPDInfo() {
    disks_.begin();
    for (const auto& [index, controllerId] : controllerIds_) {
        currentController = index;
        disks_.store(controllerId, readDisks(controllerId));
    }
}

std::vector<PD_INFO> vokStoreLibInterface::readDisks(std::uint32_t controllerId) {
    vokStoreLibBlock<vokDiskListCommand> list;
    const std::uint32_t status = sendToController(vokCommandBlock(vokDiskListCommand, list.data()));
    if (status == vokStoreLibInvalidController)
        VOK_LOG_DEBUG(tag, "Unable to fetch PD list: Invalid Controller ID");
    else if (status != vokStoreLibSuccess)
        VOK_LOG_DEBUG(tag, "Unable to fetch PD list");
    std::vector<std::uint64_t> deviceIds;
    if (status == vokStoreLibSuccess)
        deviceIds = vokRecordReader(list).entries(vokDiskListFields::disks, vokDiskListFields::deviceId,
                                                  "list of physical disks");
    VOK_LOG_DEBUG(tag, "Number of PD found %d", static_cast<int>(deviceIds.size()));

    const vokBuiltList<PD_INFO> previous = disks_.list(vokBuild::previous, controllerId);
    const CarriedRetries retries(*previous);
    std::vector<PD_INFO> disks;
    for (const std::uint64_t id : deviceIds) {
        const auto deviceId = static_cast<std::uint16_t>(id);
        DiskRecord record;
        if (PDInfo(deviceId, record) != vokStoreLibSuccess) continue;
        if (vokRecordReader(record).number(vokDiskFields::scsiDeviceType) != 0) continue;
        PD_INFO disk = diskOf(record);
        disk.deviceId = deviceId;
        populateDiskSerialNumber(record, retries.ofSerialNumber(disk), disk);
        setDriveVendorName(record, retries.ofVendor(disk), disk);
        disks.push_back(std::move(disk));
    }
    return disks;
}

PD_INFO vokStoreLibInterface::diskOf(const DiskRecord& block) {
    const vokRecordReader record(block);
    const auto number = [&](vokRecordNumber field) {
        return static_cast<std::uint32_t>(record.number(field));
    };
    PD_INFO disk;
    disk.mediaType = number(vokDiskFields::mediaType) == 0 ? "HDD" : "SSD";
    disk.enclosureDeviceId = number(vokDiskFields::enclosureDeviceId);
    disk.slotNumber = number(vokDiskFields::slot);
    // Deliberately 0 for a block size of 0, unlike GetUserDataBlockSizeOfPdInLD().
    disk.capacityBytes =
        record.number(vokDiskFields::coercedBlocks) * record.number(vokDiskFields::userDataBlockSize);
    disk.firmwareState = getFWStateString(number(vokDiskFields::firmwareState));
    disk.health = getHealth(number(vokDiskFields::firmwareState));
    disk.interfaceType = textOfInterface(number(vokDiskFields::interfaceType) >> 4);
    disk.modelName = vokWithoutSpace(record.text(vokDiskFields::product));
    disk.firmwareRevision = record.text(vokDiskFields::revision);
    return disk;
}

// --- the serial number ---

void vokStoreLibInterface::populateDiskSerialNumber(const DiskRecord& record, std::int32_t retries,
                                                    PD_INFO& disk) {
    disk.serialNumber = vokWithoutSpace(vokRecordReader(record).text(vokDiskFields::serialNumber));
    if (disk.interfaceType != interfaceSas || !disk.serialNumber.empty()) return;
    VOK_LOG_DEBUG(tag, "No disk S/N available from SCSI Standard Inquiry page. Trying VPD Page 0x80...");
    disk.serialRetryCount = retries;
    if (retries > mostRetries) return;
    const vokMallocPtr<std::uint8_t> page(static_cast<std::uint8_t*>(std::calloc(serialNumberPageSize, 1)));
    if (!page) {
        VOK_LOG_DEBUG(tag, "Out of memory for VPD page 80 buffer.");
        return;
    }
    std::size_t returned = serialNumberPageSize;
    const int status =
        fireSCSIVPDInquiry(static_cast<std::uint16_t>(disk.deviceId), serialNumberPage, page.get(), returned);
    const auto enclosure = static_cast<int>(disk.enclosureDeviceId);
    const auto slot = static_cast<int>(disk.slotNumber);
    if (status != 0 || returned < 5 || page.get()[1] != serialNumberPage) {
        ++disk.serialRetryCount;
        VOK_LOG_DEBUG(tag, "Unable to retrieve disk S/N from VPD Inquiry Page 0x80 for disk @ [%d:%d]. [%d]",
                      enclosure, slot, disk.serialRetryCount);
        return;
    }
    const auto pageLength = static_cast<std::size_t>(page.get()[2] << 8 | page.get()[3]);
    const std::size_t length = std::min({returned - 4, pageLength, longestSerialNumber});
    disk.serialNumber = vokWithoutSpace(vokRecordReader(page.get(), returned).text({4, length}));
    disk.serialRetryCount = 0;
    VOK_LOG_DEBUG(tag, "Disk S/N from VPD Page 0x80 for disk @ [%d:%d]: [%s]", enclosure, slot,
                  disk.serialNumber.c_str());
}

// --- the vendor ---

void vokStoreLibInterface::setDriveVendorName(const DiskRecord& record, std::int32_t retries, PD_INFO& disk) {
    if (disk.interfaceType == interfaceSata) {
        disk.vendorRetryCount = retries;
        if (retries <= mostRetries) readVendorSignature(disk);
    }
    if (!disk.vendorName.empty()) return;
    disk.vendorName = vokWithoutSpace(vokRecordReader(record).text(vokDiskFields::vendor));
    if (disk.vendorName.empty())
        VOK_LOG_DEBUG(
            tag, "Could not retrieve Vendor information for Physical Drive[SerialNumber : %s]in slot : %d",
            disk.serialNumber.c_str(), static_cast<int>(disk.slotNumber));
}

void vokStoreLibInterface::readVendorSignature(PD_INFO& disk) {
    std::array<std::uint8_t, vendorLogPageSize> page{};
    std::size_t length = page.size();
    const bool isRead =
        FireATAReadLogExt(static_cast<std::uint16_t>(disk.deviceId), vendorLogPage, page.data(), &length);
    if (!isRead || length < vendorSignature.offset + vendorSignature.length) {
        ++disk.vendorRetryCount;
        VOK_LOG_DEBUG(tag, "Could not retrieve VPD Page D0 [%d]", disk.vendorRetryCount);
        return;
    }
    if (vokRecordReader(page.data(), length).bytes(vendorSignature) == "MVD0") disk.vendorName = "MEV";
    disk.vendorRetryCount = 0;
}
