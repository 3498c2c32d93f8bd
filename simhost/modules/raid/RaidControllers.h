// The RAID controllers of a host that are reached through the vendor's library, with their disks and volumes,
// as a description says them and as control commands change them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/Hexadecimal.h"

namespace simhost {

// Firmware states of a disk; a description and a control command may give any other number too.
enum RaidDiskState : std::uint16_t {
    raidDiskUnconfiguredGood = 0,
    raidDiskUnconfiguredBad = 1,
    raidDiskHotSpare = 2,
    raidDiskOffline = 16,
    raidDiskFailed = 17,
    raidDiskRebuild = 20,
    raidDiskOnline = 24,
    raidDiskCopyback = 32,
    raidDiskJbod = 64,
};

enum RaidVolumeState : std::uint8_t {
    raidVolumeOffline = 0,
    raidVolumePartiallyDegraded = 1,
    raidVolumeDegraded = 2,
    raidVolumeOptimal = 3,
};

struct RaidDisk {
    std::uint16_t deviceId = 0;
    std::uint16_t enclosure = 0;      // device id of its enclosure
    std::uint8_t enclosureIndex = 0;  // as events name the enclosure
    std::uint8_t slot = 0;
    std::uint8_t interfaceType = 2;  // 1 parallel SCSI, 2 SAS, 3 SATA, 4 Fibre Channel, 5 NVMe
    std::uint8_t media = 0;          // 0 rotating, 1 solid-state
    std::uint8_t type = 0;           // SCSI peripheral device type
    std::uint16_t state = raidDiskOnline;
    std::string vendor;
    std::string model;
    std::string revision;
    std::string serial;
    std::string inquirySerial;    // in the inquiry data of the disk's record
    std::string vpdSerial;        // of VPD page 80h; empty: the disk has no such page
    std::string logD0;            // of a SATA disk: characters 24 to 27 of log D0h; empty: no such log
    std::uint64_t blocks = 0;     // coerced size
    std::uint16_t blockSize = 0;  // 0: not reported
    std::uint8_t scsiStatus = 0;  // of all commands that are passed through; 0: good
    bool pulled = false;
};

struct RaidVolume {
    std::uint8_t target = 0;
    std::uint16_t sequence = 0;  // high half of its reference
    std::uint8_t primary = 0;
    std::uint8_t qualifier = 0;
    std::uint8_t secondary = 0;
    std::uint8_t spanDepth = 1;
    std::uint8_t state = raidVolumeOptimal;
    std::uint64_t blocks = 0;
    std::string id;                      // sixteen bytes
    std::vector<std::uint16_t> members;  // device ids
};

struct RaidController {
    std::uint32_t id = 0;      // 24 bits
    std::uint8_t library = 0;  // top byte of its entry in the list
    std::string serial;
    std::string firmware;
    PciAddress address;
    std::uint16_t vendor = 0;
    std::uint16_t device = 0;
    std::uint16_t subsystemVendor = 0;
    std::uint16_t subsystemDevice = 0;
    std::uint32_t newestSequence = 0;  // number of its newest event
    bool gone = false;
    std::vector<RaidDisk> disks;
    std::vector<RaidVolume> volumes;

    std::uint32_t entry() const { return id | std::uint32_t{library} << 24; }
};

struct RaidControllers {
    bool described = false;  // the host has the library
    bool simulation = false;
    std::vector<RaidController> all;
};

// "252:4", as the agent names it.
std::string raidDiskName(const RaidDisk& disk);
// A disk that is there; null for none.
const RaidDisk* presentRaidDisk(const RaidController& controller, std::uint16_t deviceId);
// The first volume that it is a member of; null for none.
const RaidVolume* volumeOfRaidDisk(const RaidController& controller, const RaidDisk& disk);
// "RAID10"; numbers for a combination without a name.
std::string raidLevelName(const RaidVolume& volume);
// The state that the states of its members make.
std::uint8_t stateByMembers(const RaidController& controller, const RaidVolume& volume);
// The blocks that members of this size make; 0 without members.
std::uint64_t blocksByMembers(const RaidController& controller, const RaidVolume& volume);

// A word of a fixed list and its number.
struct RaidWord {
    const char* word;
    std::uint16_t number;
};
inline constexpr RaidWord raidDiskStates[] = {
    {"unconfigured-good", raidDiskUnconfiguredGood},
    {"unconfigured-bad", raidDiskUnconfiguredBad},
    {"hot-spare", raidDiskHotSpare},
    {"offline", raidDiskOffline},
    {"failed", raidDiskFailed},
    {"rebuild", raidDiskRebuild},
    {"online", raidDiskOnline},
    {"copyback", raidDiskCopyback},
    {"jbod", raidDiskJbod},
};
inline constexpr RaidWord raidVolumeStates[] = {
    {"offline", raidVolumeOffline},
    {"partially-degraded", raidVolumePartiallyDegraded},
    {"degraded", raidVolumeDegraded},
    {"optimal", raidVolumeOptimal},
};
inline constexpr RaidWord raidInterfaces[] = {
    {"Parallel SCSI", 1}, {"SAS", 2}, {"SATA", 3}, {"FC", 4}, {"NVMe", 5},
};

// The number of a word, or the number that the text is, up to `most`; nothing for anything else.
template <std::size_t Count>
std::optional<std::uint16_t> raidNumber(const RaidWord (&words)[Count], const std::string& text,
                                        unsigned most);
// The word of a number; the number itself when it has none.
template <std::size_t Count>
std::string raidWord(const RaidWord (&words)[Count], unsigned number);
template <std::size_t Count>
std::vector<std::string> raidWordList(const RaidWord (&words)[Count]);

struct RaidLevel {
    const char* name;
    std::uint8_t primary;
    std::uint8_t secondary;
    std::uint8_t spanDepth;  // when none is given
};
inline constexpr RaidLevel raidLevels[] = {
    {"RAID0", 0, 0, 1},  {"RAID1", 1, 0, 1},         {"RAID3", 3, 0, 1},    {"RAID5", 5, 0, 1},
    {"RAID6", 6, 0, 1},  {"SingleDisk", 0x0F, 0, 1}, {"PRL11", 0x11, 0, 1}, {"RAID00", 0, 0, 2},
    {"RAID10", 1, 0, 2}, {"RAID50", 5, 0, 2},        {"RAID60", 6, 0, 2},   {"PRL11-spanned", 0x11, 0, 2},
    {"SRL3", 1, 3, 2},
};

// --- templates ---

template <std::size_t Count>
std::optional<std::uint16_t> raidNumber(const RaidWord (&words)[Count], const std::string& text,
                                        unsigned most) {
    for (const RaidWord& each : words)
        if (text == each.word) return each.number;
    if (text.empty() || text.size() > 5 || text.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    const unsigned long number = std::stoul(text);
    if (number > most) return std::nullopt;
    return static_cast<std::uint16_t>(number);
}

template <std::size_t Count>
std::string raidWord(const RaidWord (&words)[Count], unsigned number) {
    for (const RaidWord& each : words)
        if (number == each.number) return each.word;
    return std::to_string(number);
}

template <std::size_t Count>
std::vector<std::string> raidWordList(const RaidWord (&words)[Count]) {
    std::vector<std::string> list;
    for (const RaidWord& each : words) list.emplace_back(each.word);
    return list;
}

}  // namespace simhost
