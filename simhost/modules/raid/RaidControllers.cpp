#include "modules/raid/RaidControllers.h"

#include <algorithm>

#include "common/Text.h"

namespace simhost {

namespace {

// Disks that each span can lose; for the levels that mirror, all but one.
std::size_t redundancy(const RaidVolume& volume, std::size_t disksOfSpan) {
    switch (volume.primary) {
        case 1:
        case 0x11:
            return disksOfSpan > 0 ? disksOfSpan - 1 : 0;
        case 3:
        case 5:
            return 1;
        case 6:
            return 2;
        default:
            return 0;
    }
}

std::size_t disksOfSpan(const RaidVolume& volume) {
    const std::size_t spans = std::max<std::size_t>(volume.spanDepth, 1);
    return std::max<std::size_t>((volume.members.size() + spans - 1) / spans, 1);
}

bool works(const RaidController& controller, std::uint16_t member) {
    const RaidDisk* disk = presentRaidDisk(controller, member);
    return disk && (disk->state == raidDiskOnline || disk->state == raidDiskCopyback);
}

// Double parity is partially degraded while it can still lose a disk.
std::uint8_t stateOfSpan(const RaidVolume& volume, std::size_t disks, std::size_t missing) {
    const std::size_t spare = redundancy(volume, disks);
    if (missing == 0) return raidVolumeOptimal;
    if (missing > spare) return raidVolumeOffline;
    return volume.primary == 6 && missing < spare ? raidVolumePartiallyDegraded : raidVolumeDegraded;
}

int severity(std::uint8_t state) {
    constexpr int severities[] = {3, 1, 2, 0};  // by state
    return severities[state];
}

}  // namespace

std::string raidDiskName(const RaidDisk& disk) {
    return std::to_string(disk.enclosure) + ":" + std::to_string(disk.slot);
}

const RaidVolume* volumeOfRaidDisk(const RaidController& controller, const RaidDisk& disk) {
    for (const RaidVolume& volume : controller.volumes)
        if (std::count(volume.members.begin(), volume.members.end(), disk.deviceId) > 0) return &volume;
    return nullptr;
}

const RaidDisk* presentRaidDisk(const RaidController& controller, std::uint16_t deviceId) {
    for (const RaidDisk& disk : controller.disks)
        if (disk.deviceId == deviceId && !disk.pulled) return &disk;
    return nullptr;
}

std::string raidLevelName(const RaidVolume& volume) {
    for (const RaidLevel& each : raidLevels)
        if (each.primary == volume.primary && each.secondary == volume.secondary &&
            (each.spanDepth < 2) == (volume.spanDepth < 2))
            return each.name;
    return formatText("%u/%u/%u", volume.primary, volume.secondary, volume.spanDepth);
}

std::uint8_t stateByMembers(const RaidController& controller, const RaidVolume& volume) {
    const std::size_t width = disksOfSpan(volume);
    std::uint8_t worst = raidVolumeOptimal;
    for (std::size_t first = 0; first < volume.members.size(); first += width) {
        const std::size_t end = std::min(first + width, volume.members.size());
        std::size_t missing = 0;
        for (std::size_t at = first; at < end; ++at)
            if (!works(controller, volume.members[at])) ++missing;
        const std::uint8_t state = stateOfSpan(volume, end - first, missing);
        if (severity(state) > severity(worst)) worst = state;
    }
    return worst;
}

std::uint64_t blocksByMembers(const RaidController& controller, const RaidVolume& volume) {
    std::uint64_t smallest = 0;
    for (const std::uint16_t member : volume.members)
        if (const RaidDisk* disk = presentRaidDisk(controller, member))
            smallest = smallest == 0 ? disk->blocks : std::min(smallest, disk->blocks);
    const std::size_t width = disksOfSpan(volume);
    const std::size_t spans = (volume.members.size() + width - 1) / width;
    const std::size_t spare = std::min(redundancy(volume, width), width);
    return smallest * (width - spare) * spans;
}

}  // namespace simhost
