// What the stand-in of the RAID library asks vok-simhost for, and the events that it gets. The library checks
// and unpacks the blocks of its caller, so these forms are the same for both ABIs.
#pragma once

#include <cstdint>

namespace simhost {

// A command: type (8 bits), command (8), controller entry (32), device id (16), target id (8), process (32),
// then what belongs to the command, below. The reply: the library's status (32), then the bytes for its data
// block.
//   register for events    token (64), count (32), and for each its controller (32), locale (16), class (8),
//                          sequence number (32); the reply's bytes: unique id (32)
//   unregister             unique id (32)
//   SCSI pass-through      room (32), the command (text); the reply's bytes: SCSI status (8), data
//   controller command     opcode (32), room (32); the reply's bytes: the data
inline constexpr std::uint32_t raidCommand = 0x5A1D0001;
// A text: what was wrong with a command. The reply has no bytes.
inline constexpr std::uint32_t raidViolation = 0x5A1D0002;
// An event for one registration: token (64), status (16), controller id (32), the record of 256 bytes.
inline constexpr std::uint32_t raidEvent = 0x5A1D0003;

// Statuses of the library.
enum RaidStatus : std::uint32_t {
    raidSuccess = 0,
    raidDataOverrun = 0x4044,
    raidDataUnderrun = 0x4045,
    raidNotInitialized = 0x8001,
    raidFailed = 0x8002,
    raidCommandTimeout = 0x8009,
    raidInvalidController = 0x800A,
    // This stand-in's own, as the vendor's are not known.
    raidInvalidParameter = 0x80F1,
    raidNoSuchDevice = 0x80F2,
};

// The commands, by type and number, with the size of their data blocks on 32-bit x86.
struct RaidCommandRow {
    std::uint8_t type;
    std::uint8_t command;
    std::uint32_t dataSize;
    const char* name;  // of control commands and of what is counted
};
inline constexpr RaidCommandRow raidInitialize = {0, 0, 260, "initialize"};
inline constexpr RaidCommandRow raidRegister = {0, 1, 264, "register"};
inline constexpr RaidCommandRow raidUnregister = {0, 2, 0, "unregister"};
inline constexpr RaidCommandRow raidListControllers = {0, 3, 260, "controllers"};
inline constexpr RaidCommandRow raidExit = {0, 9, 0, "exit"};
inline constexpr RaidCommandRow raidControllerRecord = {1, 0, 2464, "controller"};
inline constexpr RaidCommandRow raidListDisks = {1, 4, 6152, "disks"};
inline constexpr RaidCommandRow raidListEnclosures = {1, 5, 4616, "enclosures"};
inline constexpr RaidCommandRow raidPciLocation = {1, 11, 112, "pci-location"};
inline constexpr RaidCommandRow raidListVolumes = {1, 13, 4104, "volumes"};
inline constexpr RaidCommandRow raidDiskRecord = {2, 0, 512, "disk"};
inline constexpr RaidCommandRow raidVolumeRecord = {3, 0, 384, "volume"};
inline constexpr RaidCommandRow raidVolumeDisks = {3, 11, 516, "members"};
inline constexpr RaidCommandRow raidScsiCommand = {6, 0, 64, "scsi"};
inline constexpr RaidCommandRow raidControllerCommand = {6, 3, 32, "dcmd"};
inline constexpr RaidCommandRow raidEventSequence = {7, 0, 20, "sequence"};
inline constexpr const RaidCommandRow* raidCommandRows[] = {
    &raidInitialize,  &raidRegister,         &raidUnregister,        &raidListControllers,
    &raidExit,        &raidControllerRecord, &raidListDisks,         &raidListEnclosures,
    &raidPciLocation, &raidListVolumes,      &raidDiskRecord,        &raidVolumeRecord,
    &raidVolumeDisks, &raidScsiCommand,      &raidControllerCommand, &raidEventSequence,
};

inline const RaidCommandRow* findRaidCommand(unsigned type, unsigned command) {
    for (const RaidCommandRow* each : raidCommandRows)
        if (each->type == type && each->command == command) return each;
    return nullptr;
}

inline constexpr std::uint32_t mostRaidControllers = 64;
inline constexpr std::uint32_t raidSafeIdOpcode = 0x01160300;
inline constexpr std::uint32_t raidManufacturingOpcode = 0x010E0301;

}  // namespace simhost
