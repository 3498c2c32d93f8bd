// The event record of a RAID controller's firmware, as the vendor's library reports it: the fields that are
// read, and the tables of their meanings. Uses only the record.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "megaraid/storelib/vokStoreLibRecords.h"

// The categories of events that are handled.
inline constexpr std::string_view vokVolumeEvent = "LD_EVENT";
inline constexpr std::string_view vokDiskEvent = "PD_EVENT";
inline constexpr std::string_view vokControllerEvent = "CTRL_EVENT";
inline constexpr std::string_view vokBatteryEvent = "BBU_EVENT";

// The disk that an event names.
struct vokEventDisk {
    std::int32_t deviceId = -1;
    std::int32_t enclosure = -1;
    std::int32_t slot = -1;
    std::uint32_t extraValue = 0;  // the new firmware state
};

// The logical drive that an event names.
struct vokEventVolume {
    std::int32_t targetId = -1;
    std::uint32_t extraValue = 0;  // the progress or a count
};

class vokSASLSIEventRecord {
public:
    using Bytes = std::array<std::uint8_t, 256>;

    // The bytes must outlive this object.
    explicit vokSASLSIEventRecord(const Bytes& bytes) : record_(bytes) {}

    std::uint32_t code() const;
    // "LD_EVENT", "PD_EVENT", ...; empty for an event of several categories whose code isn't known.
    std::string_view category() const;
    // A value of vokSASEventClass.
    std::uint32_t eventClass() const;
    std::uint8_t argumentType() const;
    // None if arguments of this type name no disk, or no logical drive.
    std::optional<vokEventDisk> disk() const;
    std::optional<vokEventVolume> volume() const;
    std::string description() const;

private:
    vokRecordReader record_;
};
