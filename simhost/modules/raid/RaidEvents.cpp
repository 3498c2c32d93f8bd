#include "modules/raid/RaidEvents.h"

#include <algorithm>
#include <iterator>

#include "common/ByteCodec.h"
#include "common/Text.h"

namespace simhost {

namespace {

constexpr int none = -1;

// Where an argument type has what; `none` for nothing. A disk is its device id in 16 bits with enclosure and
// slot in a byte each, unless `wideEnclosure`: then the enclosure has 16 bits and the slot is at offset 5.
struct ArgumentLayout {
    std::uint8_t type;
    int disk;
    int target;
    int previous;
    int value;
    bool wideEnclosure;
};
constexpr ArgumentLayout layouts[] = {
    // disk, volume, previous state, value
    {1, 0, none, none, none, false},   {2, none, 0, none, none, false},  {3, none, 0, none, 4, false},
    {4, none, 8, none, none, false},   {5, none, 0, none, none, false},  {6, 8, 16, none, none, false},
    {7, none, 0, none, 4, false},      {8, none, 0, 4, 8, false},        {9, none, 8, none, none, false},
    {10, 0, none, none, none, false},  {11, 0, none, none, 4, false},    {12, 8, none, none, none, false},
    {13, 8, 12, none, none, false},    {14, 0, none, none, 4, false},    {15, 0, none, 4, 8, false},
    {21, none, 0, none, none, false},  {22, 0, none, none, none, false}, {23, 0, none, none, none, false},
    {26, 16, none, none, none, false}, {28, 0, none, none, none, false}, {29, 0, none, none, none, true},
    {33, 0, none, none, none, false},  {34, 0, none, none, none, false}, {35, 0, none, 4, 8, false},
    {39, none, 0, none, none, false},  {40, none, 0, none, none, false}, {41, none, 0, none, none, false},
    {43, none, 0, none, none, false},  {44, 0, none, none, none, false}, {45, 0, none, none, none, false},
    {47, none, 0, none, none, false},  {48, 0, none, none, none, false}, {49, 0, 0, none, none, false},
    {51, 0, none, none, none, false},  {53, 0, none, none, none, false}, {55, none, 0, none, none, false},
    {57, 0, none, none, none, false},
};

template <class Number>
void put(std::string& bytes, std::size_t at, Number value) {
    bytes.replace(at, sizeof(Number), ByteWriter().number(value).bytes());
}

void putDisk(std::string& bytes, std::size_t at, const RaidDisk& disk, bool wideEnclosure) {
    put(bytes, at, disk.deviceId);
    if (wideEnclosure) {
        put(bytes, at + 2, disk.enclosure);
        put(bytes, at + 4, disk.enclosureIndex);
        put(bytes, at + 5, disk.slot);
        return;
    }
    put(bytes, at + 2, disk.enclosureIndex);
    put(bytes, at + 3, disk.slot);
}

struct StateText {
    unsigned state;
    const char* text;
};

template <std::size_t Count>
std::string stateText(const StateText (&texts)[Count], unsigned state) {
    for (const StateText& each : texts)
        if (each.state == state) return formatText("%s(%x)", each.text, state);
    return formatText("(%x)", state);
}

std::string diskStateText(unsigned state) {
    constexpr StateText texts[] = {
        {raidDiskUnconfiguredGood, "UNCONFIGURED_GOOD"},
        {raidDiskUnconfiguredBad, "UNCONFIGURED_BAD"},
        {raidDiskHotSpare, "HOT_SPARE"},
        {raidDiskOffline, "OFFLINE"},
        {raidDiskFailed, "FAILED"},
        {raidDiskRebuild, "REBUILD"},
        {raidDiskOnline, "ONLINE"},
        {raidDiskCopyback, "COPYBACK"},
        {raidDiskJbod, "JBOD"},
    };
    return stateText(texts, state);
}

std::string volumeStateText(unsigned state) {
    constexpr StateText texts[] = {
        {raidVolumeOffline, "OFFLINE"},
        {raidVolumePartiallyDegraded, "PARTIALLY DEGRADED"},
        {raidVolumeDegraded, "DEGRADED"},
        {raidVolumeOptimal, "OPTIMAL"},
    };
    return stateText(texts, state);
}

}  // namespace

std::string raidEventRecord(const RaidEvent& event, std::uint32_t sequence, std::uint32_t seconds) {
    constexpr std::size_t argumentsAt = 32, textAt = 128;
    std::string record(raidEventRecordSize, '\0');
    put(record, 0, sequence);
    put(record, 4, seconds);
    put(record, 8, event.code);
    put(record, 12, event.locale);
    put(record, 15, event.eventClass);
    put(record, 16, event.argumentType);
    const std::string arguments = event.arguments.substr(0, raidArgumentsSize);
    record.replace(argumentsAt, arguments.size(), arguments);
    const std::string text = event.text.substr(0, raidTextSize - 1);
    record.replace(textAt, text.size(), text);
    return record;
}

std::string raidArguments(std::uint8_t type, const RaidArguments& told) {
    std::string bytes(raidArgumentsSize, '\0');
    const auto layout = std::find_if(std::begin(layouts), std::end(layouts),
                                     [type](const ArgumentLayout& each) { return each.type == type; });
    if (layout == std::end(layouts)) return bytes;
    const auto at = [](int offset) { return static_cast<std::size_t>(offset); };
    if (layout->disk != none && told.disk)
        putDisk(bytes, at(layout->disk), *told.disk, layout->wideEnclosure);
    if (layout->target != none && told.target) put(bytes, at(layout->target), *told.target);
    if (layout->previous != none) put(bytes, at(layout->previous), told.previous);
    if (layout->value != none) put(bytes, at(layout->value), told.value);
    return bytes;
}

std::string raidDiskText(const RaidDisk& disk) {
    return formatText("PD %02x(e0x%02x/s%u)", static_cast<unsigned>(disk.deviceId),
                      static_cast<unsigned>(disk.enclosureIndex), static_cast<unsigned>(disk.slot));
}

std::string raidVolumeText(const RaidVolume& volume) {
    const auto target = static_cast<unsigned>(volume.target);
    return formatText("VD %02x/%u", target, target);
}

RaidEvent raidDiskEvent(std::uint32_t code, std::int8_t eventClass, const RaidDisk& disk,
                        const std::string& text) {
    constexpr std::uint8_t type = 10;
    RaidArguments told;
    told.disk = &disk;
    return {code, raidLocaleDisk, eventClass, type, raidArguments(type, told), text, 0};
}

RaidEvent raidDiskStateEvent(const RaidDisk& disk, std::uint16_t previous) {
    constexpr std::uint8_t type = 15;
    const std::string text = "State change on " + raidDiskText(disk) + " from " + diskStateText(previous) +
                             " to " + diskStateText(disk.state);
    return {0x72,
            raidLocaleDisk,
            raidClassInformation,
            type,
            raidArguments(type, {&disk, std::nullopt, previous, disk.state}),
            text,
            0};
}

RaidEvent raidVolumeEvent(std::uint32_t code, std::int8_t eventClass, const RaidVolume& volume,
                          const std::string& text) {
    constexpr std::uint8_t type = 2;
    RaidArguments told;
    told.target = volume.target;
    return {code, raidLocaleVolume, eventClass, type, raidArguments(type, told), text, 0};
}

RaidEvent raidVolumeStateEvent(const RaidVolume& volume, std::uint8_t previous) {
    constexpr std::uint8_t type = 8;
    const std::string text = "State change on " + raidVolumeText(volume) + " from " +
                             volumeStateText(previous) + " to " + volumeStateText(volume.state);
    return {0x51,
            raidLocaleVolume,
            raidClassInformation,
            type,
            raidArguments(type, {nullptr, volume.target, previous, volume.state}),
            text,
            0};
}

std::optional<RaidEvent> raidVolumeConditionEvent(const RaidVolume& volume) {
    struct Condition {
        std::uint8_t state;
        std::uint32_t code;
        std::int8_t eventClass;
        const char* text;
    };
    constexpr Condition conditions[] = {
        {raidVolumeOptimal, 0xF9, raidClassInformation, " is now OPTIMAL"},
        {raidVolumePartiallyDegraded, 0xFA, raidClassWarning, " is now PARTIALLY DEGRADED"},
        {raidVolumeDegraded, 0xFB, raidClassCritical, " is now DEGRADED"},
        {raidVolumeOffline, 0xFC, raidClassFatal, " is now OFFLINE"},
    };
    for (const Condition& each : conditions)
        if (each.state == volume.state)
            return raidVolumeEvent(each.code, each.eventClass, volume, raidVolumeText(volume) + each.text);
    return std::nullopt;
}

}  // namespace simhost
