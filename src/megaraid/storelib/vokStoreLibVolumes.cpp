#include <utility>

#include "core/base/vokLog.h"
#include "megaraid/storelib/vokStoreLibInterface.h"

namespace {

constexpr char tag[] = "LSI_INTERF";
constexpr std::uint64_t mebibyteMask = ~std::uint64_t{0xFFFFF};

std::string hexadecimal(std::string_view bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const char each : bytes) {
        const auto byte = static_cast<unsigned char>(each);
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

// The serial numbers of disks by device id; of the first disk, if several have the same.
std::map<std::uint32_t, std::string> serialNumbersOf(const std::vector<PD_INFO>& disks) {
    std::map<std::uint32_t, std::string> serialNumbers;
    for (const PD_INFO& disk : disks) serialNumbers.emplace(disk.deviceId, disk.serialNumber);
    return serialNumbers;
}

}  // namespace

void vokStoreLibInterface::buildLDInfo() {
    VOK_LOG_DEBUG(tag, "Entering buildLDInfo");
    volumes_.begin();
    for (const auto& [index, controllerId] : controllerIds_) {
        currentController = index;
        std::vector<LD_INFO> volumes;
        // Deliberately abandons the controllers that follow, unlike a failure of the disk list.
        if (!readVolumes(controllerId, volumes)) return;
        volumes_.store(controllerId, std::move(volumes));
    }
}

bool vokStoreLibInterface::readVolumes(std::uint32_t controllerId, std::vector<LD_INFO>& volumes) {
    vokStoreLibBlock<vokVolumeListCommand> list;
    if (sendToController(vokCommandBlock(vokVolumeListCommand, list.data())) != vokStoreLibSuccess) {
        VOK_LOG_ERROR(tag, "An Error occurred in gathering list of logical drives from storelib library");
        return false;
    }
    const std::vector<std::uint64_t> targets = vokRecordReader(list).entries(
        vokVolumeListFields::volumes, vokVolumeListFields::targetId, "list of logical drives");
    VOK_LOG_DEBUG(tag, "# of Logical Drives : %d", static_cast<int>(targets.size()));

    const SerialNumbers serialNumbers = serialNumbersOf(*disks_.list(vokBuild::current, controllerId));
    for (std::size_t i = 0; i < targets.size(); ++i) {
        const auto target = static_cast<std::uint8_t>(targets[i]);
        VolumeRecord record;
        const std::uint32_t status = FireLDInfo(target, record);
        if (status != vokStoreLibSuccess) {
            VOK_LOG_WARNING(tag,
                            "CtrlId [%d]: FireLDInfo failed: (rval=[0x%x], targetId=[0x%x], i=[%u], "
                            "LD count=[%u])",
                            static_cast<int>(controllerId), status, unsigned{target},
                            static_cast<unsigned>(i), static_cast<unsigned>(targets.size()));
            return false;
        }
        volumes.push_back(volumeOf(record, serialNumbers));
    }
    return true;
}

LD_INFO vokStoreLibInterface::volumeOf(const VolumeRecord& block, const SerialNumbers& serialNumbers) {
    const vokRecordReader record(block);
    const auto number = [&](vokRecordNumber field) {
        return static_cast<std::uint32_t>(record.number(field));
    };
    LD_INFO volume;
    volume.targetId = number(vokVolumeFields::reference);
    const auto target = static_cast<std::uint8_t>(volume.targetId);
    volume.raidLevel =
        getRAIDLevelString(number(vokVolumeFields::primaryLevel), number(vokVolumeFields::levelQualifier),
                           number(vokVolumeFields::secondaryLevel), number(vokVolumeFields::spanDepth));
    volume.state = getLDStateString(number(vokVolumeFields::state));
    volume.health = getLDHealth(number(vokVolumeFields::state));
    volume.capacityBytes =
        record.number(vokVolumeFields::blocks) * GetUserDataBlockSizeOfPdInLD(target) & mebibyteMask;
    volume.durableName = hexadecimal(record.bytes(vokVolumeFields::identity));
    volume.physicalDiskSerials = getPDInLD(target, serialNumbers);
    return volume;
}

std::vector<std::string> vokStoreLibInterface::getPDInLD(std::uint8_t target,
                                                         const SerialNumbers& serialNumbers) {
    std::vector<std::uint16_t> deviceIds;
    std::vector<std::string> members;
    if (listDisks(target, deviceIds) != vokStoreLibSuccess) return members;
    for (const std::uint16_t deviceId : deviceIds) {
        const auto disk = serialNumbers.find(deviceId);
        if (disk != serialNumbers.end()) members.push_back(disk->second);
    }
    return members;
}
