#include "modules/raid/RaidRecords.h"

#include <algorithm>
#include <set>

#include "modules/raid/RaidWire.h"

namespace simhost {

namespace {

class Record {
public:
    explicit Record(std::size_t size) : bytes_(size, '\0') {}

    template <class Number>
    Record& put(std::size_t at, Number value) {
        auto rest = static_cast<std::uint64_t>(value);
        for (std::size_t i = 0; i < sizeof(Number); ++i, rest >>= 8)
            bytes_.at(at + i) = static_cast<char>(static_cast<unsigned char>(rest & 0xFF));
        return *this;
    }
    // Filled with `fill` up to `length`.
    Record& text(std::size_t at, std::size_t length, const std::string& text, char fill = '\0') {
        std::string padded = text.substr(0, length);
        padded.resize(length, fill);
        bytes_.replace(at, length, padded);
        return *this;
    }
    std::string bytes() const { return bytes_; }

private:
    std::string bytes_;
};

std::vector<const RaidDisk*> present(const RaidController& controller) {
    std::vector<const RaidDisk*> found;
    for (const RaidDisk& disk : controller.disks)
        if (!disk.pulled) found.push_back(&disk);
    return found;
}

constexpr std::size_t safeIdSize = 41;
constexpr std::size_t manufacturingSize = 32;

}  // namespace

std::string raidControllerList(const RaidControllers& controllers) {
    Record record(raidListControllers.dataSize);
    std::uint16_t count = 0;
    for (const RaidController& each : controllers.all)
        if (!each.gone) record.put(4 + 4 * std::size_t{count++}, each.entry());
    record.put(0, count);
    record.put(2, static_cast<std::uint8_t>(controllers.simulation ? 1 : 0));
    return record.bytes();
}

std::string raidControllerRecordOf(const RaidController& controller) {
    return Record(raidControllerRecord.dataSize)
        .put(0, controller.vendor)
        .put(2, controller.device)
        .put(4, controller.subsystemVendor)
        .put(6, controller.subsystemDevice)
        .text(1600, 96, controller.firmware)
        .bytes();
}

std::string raidDiskList(const RaidController& controller) {
    constexpr std::size_t first = 8, stride = 24;
    Record record(raidListDisks.dataSize);
    std::uint32_t count = 0;
    for (const RaidDisk* disk : present(controller)) {
        const std::size_t at = first + stride * count++;
        record.put(at, disk->deviceId).put(at + 2, disk->enclosure);
        record.put(at + 4, disk->enclosureIndex).put(at + 5, disk->slot).put(at + 6, disk->type);
    }
    return record.put(0, static_cast<std::uint32_t>(first + stride * count)).put(4, count).bytes();
}

std::string raidEnclosureList(const RaidController& controller) {
    constexpr std::size_t first = 8, stride = 144, most = 32;
    Record record(raidListEnclosures.dataSize);
    std::set<std::uint16_t> enclosures;
    for (const RaidDisk* disk : present(controller)) enclosures.insert(disk->enclosure);
    std::uint32_t count = 0;
    for (const std::uint16_t each : enclosures)
        if (count < most) record.put(first + stride * count++, each);
    return record.put(0, static_cast<std::uint32_t>(first + stride * count)).put(4, count).bytes();
}

std::string raidPciRecord(const RaidController& controller) {
    return Record(raidPciLocation.dataSize)
        .put(0, std::uint32_t{controller.address.bus})
        .put(4, controller.address.slot)
        .put(5, controller.address.function)
        .put(80, controller.address.segment)
        .bytes();
}

std::string raidVolumeList(const RaidController& controller) {
    constexpr std::size_t first = 8, stride = 16;
    Record record(raidListVolumes.dataSize);
    std::uint32_t count = 0;
    for (const RaidVolume& volume : controller.volumes) {
        const std::size_t at = first + stride * count++;
        record.put(at, volume.target).put(at + 2, volume.sequence).put(at + 4, volume.state);
        record.put(at + 8, volume.blocks);
    }
    return record.put(0, count).put(4, count).bytes();
}

std::string raidDiskRecordOf(const RaidDisk& disk) {
    constexpr std::uint8_t ofInterface = 4;  // bits of the shift
    return Record(raidDiskRecord.dataSize)
        .put(0, disk.deviceId)
        .put(4, disk.type)
        .text(12, 8, disk.vendor, ' ')
        .text(20, 16, disk.model, ' ')
        .text(36, 4, disk.revision, ' ')
        .text(40, 32, disk.inquirySerial, disk.inquirySerial.empty() ? '\0' : ' ')
        .put(165, disk.type)
        .put(184, disk.state)
        .put(189, static_cast<std::uint8_t>(disk.interfaceType << ofInterface))
        .put(232, disk.blocks)
        .put(256, disk.enclosure)
        .put(258, disk.enclosureIndex)
        .put(259, disk.slot)
        .put(370, disk.media)
        .put(404, disk.blockSize)
        .bytes();
}

std::string raidVolumeRecordOf(const RaidVolume& volume) {
    return Record(raidVolumeRecord.dataSize)
        .put(0, volume.target)
        .put(2, volume.sequence)
        .put(32, volume.primary)
        .put(33, volume.qualifier)
        .put(34, volume.secondary)
        .put(37, volume.spanDepth)
        .put(38, volume.state)
        .put(256, volume.blocks)
        .text(312, 16, volume.id)
        .bytes();
}

std::string raidMemberList(const RaidVolume& volume) {
    Record record(raidVolumeDisks.dataSize);
    std::uint32_t count = 0;
    for (const std::uint16_t member : volume.members) record.put(4 + 2 * std::size_t{count++}, member);
    return record.put(0, count).bytes();
}

std::string raidSequenceRecord(const RaidController& controller) {
    return Record(raidEventSequence.dataSize).put(0, controller.newestSequence).bytes();
}

std::string raidSafeId(const RaidController& controller) {
    return Record(safeIdSize).text(0, safeIdSize - 1, "SAFE" + controller.serial).bytes();
}

std::string raidManufacturingRecord(const RaidController& controller) {
    return Record(manufacturingSize).text(2, manufacturingSize - 3, controller.serial).bytes();
}

RaidScsiAnswer answerRaidScsi(const RaidDisk& disk, const std::string& command, std::size_t room) {
    constexpr std::uint8_t checkCondition = 2;
    constexpr unsigned char inquiry = 0x12, ataPassThrough16 = 0x85, readLogExt = 0x2F;
    const auto byte = [&command](std::size_t at) {
        return at < command.size() ? static_cast<unsigned char>(command[at]) : 0u;
    };
    if (disk.scsiStatus != 0) return {disk.scsiStatus, ""};
    const bool serialPage = byte(0) == inquiry && byte(1) == 1 && byte(2) == 0x80;
    if (serialPage && !disk.vpdSerial.empty()) {
        const std::size_t allocated = std::min<std::size_t>(room, byte(3) << 8 | byte(4));
        const std::string head{static_cast<char>(disk.type), '\x80', '\0',
                               static_cast<char>(disk.vpdSerial.size())};
        return {0, (head + disk.vpdSerial).substr(0, allocated)};
    }
    const bool log = command.size() == 16 && byte(0) == ataPassThrough16 && byte(1) == 0x08 &&
                     byte(2) == 0x0E && byte(6) == 1 && byte(14) == readLogExt;
    if (log && byte(8) == 0xD0 && !disk.logD0.empty()) {
        constexpr std::size_t logSize = 512;
        return {0,
                Record(logSize).put(1, std::uint8_t{0xD0}).text(24, 4, disk.logD0).bytes().substr(0, room)};
    }
    return {checkCondition, ""};
}

}  // namespace simhost
