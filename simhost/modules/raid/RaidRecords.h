// The records of the vendor's library, as they lie in its data blocks: little-endian, at the offsets that the
// library has, of its full size. What an agent has no use for is zero.
#pragma once

#include <cstdint>
#include <string>

#include "modules/raid/RaidControllers.h"

namespace simhost {

std::string raidControllerList(const RaidControllers& controllers);
std::string raidControllerRecordOf(const RaidController& controller);
std::string raidDiskList(const RaidController& controller);
std::string raidEnclosureList(const RaidController& controller);
std::string raidPciRecord(const RaidController& controller);
std::string raidVolumeList(const RaidController& controller);
std::string raidDiskRecordOf(const RaidDisk& disk);
std::string raidVolumeRecordOf(const RaidVolume& volume);
std::string raidMemberList(const RaidVolume& volume);
std::string raidSequenceRecord(const RaidController& controller);
std::string raidSafeId(const RaidController& controller);
std::string raidManufacturingRecord(const RaidController& controller);

// What a disk answers to a SCSI command that is passed through: its SCSI status and its data, at most `room`
// bytes.
struct RaidScsiAnswer {
    std::uint8_t status = 0;
    std::string data;
};
RaidScsiAnswer answerRaidScsi(const RaidDisk& disk, const std::string& command, std::size_t room);

}  // namespace simhost
