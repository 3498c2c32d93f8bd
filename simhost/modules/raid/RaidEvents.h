// The event records of the controllers' firmware: 256 bytes, whose arguments lie as their type says.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "modules/raid/RaidControllers.h"

namespace simhost {

enum RaidLocale : std::uint16_t {
    raidLocaleVolume = 0x0001,
    raidLocaleDisk = 0x0002,
    raidLocaleEnclosure = 0x0004,
    raidLocaleBattery = 0x0008,
    raidLocaleSas = 0x0010,
    raidLocaleController = 0x0020,
    raidLocaleConfiguration = 0x0040,
    raidLocaleCluster = 0x0080,
    raidLocaleAll = 0xFFFF,
};

// As the firmware counts; -2 debug, -1 progress.
enum RaidEventClass : std::int8_t {
    raidClassInformation = 0,
    raidClassWarning = 1,
    raidClassCritical = 2,
    raidClassFatal = 3,
    raidClassDead = 4,
};

inline constexpr std::size_t raidEventRecordSize = 256;
inline constexpr std::size_t raidArgumentsSize = 96;
inline constexpr std::size_t raidTextSize = 128;  // with the NUL that ends it

struct RaidEvent {
    std::uint32_t code = 0;
    std::uint16_t locale = 0;
    std::int8_t eventClass = raidClassInformation;
    std::uint8_t argumentType = 0;
    std::string arguments;  // at most raidArgumentsSize bytes
    std::string text;       // cut to what the record holds
    std::uint16_t status = 0;
};

// The record with the number of the event and its time, seconds since 2000.
std::string raidEventRecord(const RaidEvent& event, std::uint32_t sequence, std::uint32_t seconds);

// What an event's arguments tell.
struct RaidArguments {
    const RaidDisk* disk = nullptr;
    std::optional<std::uint16_t> target;
    std::uint32_t previous = 0;
    std::uint32_t value = 0;
};
// As they lie for this type: the reference of a disk, of a volume, and the value, each where that type has
// it.
std::string raidArguments(std::uint8_t type, const RaidArguments& told);

// "PD 0b(e0xfc/s5)", "VD 00/0": how the firmware's texts name them.
std::string raidDiskText(const RaidDisk& disk);
std::string raidVolumeText(const RaidVolume& volume);

// Events of the firmware.
RaidEvent raidDiskEvent(std::uint32_t code, std::int8_t eventClass, const RaidDisk& disk,
                        const std::string& text);
RaidEvent raidDiskStateEvent(const RaidDisk& disk, std::uint16_t previous);
RaidEvent raidVolumeEvent(std::uint32_t code, std::int8_t eventClass, const RaidVolume& volume,
                          const std::string& text);
RaidEvent raidVolumeStateEvent(const RaidVolume& volume, std::uint8_t previous);
// That the volume is now in its state; none for a state that the firmware does not report.
std::optional<RaidEvent> raidVolumeConditionEvent(const RaidVolume& volume);

}  // namespace simhost
