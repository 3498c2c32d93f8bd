#include "modules/raid/RaidDescription.h"

#include <json/json.h>
#include <algorithm>

#include "common/Text.h"
#include "host/DescriptionSection.h"
#include "host/HostDescription.h"
#include "modules/pci/PciFunctions.h"
#include "modules/raid/RaidWire.h"

namespace simhost {

namespace {

constexpr unsigned ataInterface = 3;
constexpr unsigned nvmeInterface = 5;
constexpr std::size_t idSize = 16;

// A word of the list, or its number.
template <std::size_t Count, class Number>
void wordOrNumber(Section& section, const char* key, const RaidWord (&words)[Count], unsigned most,
                  Number& into) {
    const Json::Value* found = section.take(key);
    if (!found) return;
    const bool form = found->isString() || found->isUInt();
    const auto number = form ? raidNumber(words, found->asString(), most) : std::nullopt;
    if (!number)
        section.fail("has a " + std::string(key) + " that is neither a number of at most " +
                     std::to_string(most) + " nor one of " + listed(raidWordList(words)));
    into = static_cast<Number>(*number);
}

void limitedText(Section& section, const char* key, std::size_t most, std::string& into) {
    section.text(key, into);
    if (into.size() > most)
        section.fail(std::string("has a ") + key + " of more than " + std::to_string(most) + " characters");
}

void takeUsualValues(RaidDisk& disk) {
    const bool ata = disk.interfaceType == ataInterface;
    const bool nvme = disk.interfaceType == nvmeInterface;
    const bool solid = disk.media == 1;
    disk.vendor = ata ? "ATA" : nvme ? "NVMe" : "MEV";
    disk.model = nvme  ? "MEV0900NVRI"
                 : ata ? (solid ? "MEV0900NS6M" : "MEV4000NH7K2")
                       : (solid ? "MEV0900ES3M" : "MEV1800EH10K");
    disk.revision = "MV01";
    disk.blocks = solid || nvme ? 1758174768 : ata ? 7814037168 : 3516328368;
    disk.blockSize = 512;
    if (ata) disk.logD0 = "MVD0";
}

void parseIdentity(Section& section, RaidDisk& disk, unsigned number) {
    takeUsualValues(disk);
    limitedText(section, "vendor", 8, disk.vendor);
    limitedText(section, "model", 16, disk.model);
    limitedText(section, "revision", 4, disk.revision);
    limitedText(section, "serial", 32, disk.serial);
    if (disk.serial.empty()) disk.serial = formatText("R1MEV%06u", number);
    disk.inquirySerial = disk.vpdSerial = disk.serial;
    limitedText(section, "inquirySerial", 32, disk.inquirySerial);
    limitedText(section, "vpdSerial", 200, disk.vpdSerial);
    limitedText(section, "logD0", 4, disk.logD0);
    section.number("blocks", disk.blocks);
    section.number("blockSize", disk.blockSize, 65535);
}

// `count` disks alike, in slots that follow one another.
void parseDisks(const Json::Value& value, const std::string& name, RaidController& controller,
                unsigned& numbered) {
    Section section(value, name);
    RaidDisk disk;
    disk.enclosure = 252;
    wordOrNumber(section, "interface", raidInterfaces, 15, disk.interfaceType);
    constexpr RaidWord media[] = {{"HDD", 0}, {"SSD", 1}};
    wordOrNumber(section, "media", media, 255, disk.media);
    wordOrNumber(section, "state", raidDiskStates, 65535, disk.state);
    section.number("type", disk.type, 31);
    section.number("scsiStatus", disk.scsiStatus, 255);
    section.number("enclosure", disk.enclosure, 65535);
    disk.enclosureIndex = static_cast<std::uint8_t>(disk.enclosure & 0xFF);
    section.number("enclosureIndex", disk.enclosureIndex, 255);
    unsigned slot = static_cast<unsigned>(controller.disks.size()) & 0xFF;
    unsigned deviceId = static_cast<unsigned>(controller.disks.size());
    unsigned count = 1;
    section.number("slot", slot, 255);
    section.number("deviceId", deviceId, 65535);
    section.number("count", count, mostRaidDisks);
    parseIdentity(section, disk, numbered);
    section.end();
    const bool given = section.has("serial");
    if (given && count > 1) section.fail("has one serial for several disks");
    if (slot + count > 256) section.fail("has a slot beyond 255");
    for (unsigned i = 0; i < count; ++i) {
        disk.slot = static_cast<std::uint8_t>(slot + i);
        disk.deviceId = static_cast<std::uint16_t>(deviceId + i);
        if (!given) {
            const std::string serial = formatText("R1MEV%06u", numbered++);
            if (disk.inquirySerial == disk.serial) disk.inquirySerial = serial;
            if (disk.vpdSerial == disk.serial) disk.vpdSerial = serial;
            disk.serial = serial;
        }
        for (const RaidDisk& other : controller.disks) {
            if (raidDiskName(other) == raidDiskName(disk))
                section.fail("is the second disk at " + raidDiskName(disk));
            if (other.deviceId == disk.deviceId)
                section.fail("is the second disk with the deviceId " + std::to_string(disk.deviceId));
        }
        controller.disks.push_back(disk);
    }
    if (controller.disks.size() > mostRaidDisks)
        section.fail("makes more than " + std::to_string(mostRaidDisks) + " disks");
}

void parseLevel(Section& section, RaidVolume& volume) {
    std::string level = "RAID5";
    section.text("level", level);
    std::vector<std::string> names;
    for (const RaidLevel& each : raidLevels) {
        names.emplace_back(each.name);
        if (level != each.name) continue;
        volume.primary = each.primary;
        volume.secondary = each.secondary;
        volume.spanDepth = each.spanDepth;
    }
    if (std::find(names.begin(), names.end(), level) == names.end())
        section.fail("has the level \"" + level + "\", which is none of " + listed(names));
    section.number("primary", volume.primary, 255);
    section.number("qualifier", volume.qualifier, 255);
    section.number("secondary", volume.secondary, 255);
    section.number("spans", volume.spanDepth, 255);
}

void parseMembers(Section& section, const RaidController& controller, RaidVolume& volume) {
    section.list("members", [&](const Json::Value& each, const std::string& name) {
        const std::string text = textElement(each, name);
        const RaidDisk* disk = findRaidDisk(controller, text);
        if (!disk) throw std::runtime_error(name + ": the controller has no disk \"" + text + "\"");
        if (std::count(volume.members.begin(), volume.members.end(), disk->deviceId) > 0)
            throw std::runtime_error(name + ": the disk \"" + text + "\" is a member twice");
        volume.members.push_back(disk->deviceId);
    });
}

void parseId(Section& section, const RaidController& controller, RaidVolume& volume) {
    std::string digits;
    section.text("id", digits);
    if (digits.empty()) {
        volume.id = formatText("%08x%08x", controller.id, static_cast<unsigned>(volume.target));
        return;
    }
    const auto bytes = parseHexadecimalBytes(digits);
    if (!bytes || bytes->size() != idSize) section.fail("has an id that is not sixteen bytes in hexadecimal");
    volume.id = *bytes;
}

std::uint16_t idOf(const PciFunction& function, const char* key) {
    return static_cast<std::uint16_t>(parsePrefixedHexadecimal(function.at(key)).value_or(0));
}

void takeIds(RaidController& controller, const PciFunction& function) {
    controller.vendor = idOf(function, "Vendor ID");
    controller.device = idOf(function, "Device ID");
    controller.subsystemVendor = idOf(function, "SubVendor ID");
    controller.subsystemDevice = idOf(function, "SubDevice ID");
}

RaidController parseController(const Json::Value& value, const std::string& name, std::size_t number,
                               unsigned& numbered, std::vector<PciFunction>& functions) {
    Section section(value, name);
    RaidController made;
    made.id = static_cast<std::uint32_t>(number);
    section.number("id", made.id, 0xFFFFFF);
    section.number("library", made.library, 255);
    made.serial = formatText("SK%08u", static_cast<unsigned>(number + 1));
    limitedText(section, "serial", 29, made.serial);
    made.firmware = "24.21.0-0148";
    limitedText(section, "firmware", 95, made.firmware);
    std::string address;
    section.text("address", address);
    const auto parsed = parsePciAddress(address);
    if (!parsed) section.fail("has the address \"" + address + "\", which is not of the form 0000:3b:00.0");
    made.address = *parsed;
    takeIds(made, describedPciFunction(section, made.address, functions, "0x0104", "RAID bus controller"));
    made.newestSequence = 1000;
    section.number("newestSequence", made.newestSequence, 0x7FFFFFFF);
    section.list("disks", [&](const Json::Value& each, const std::string& disk) {
        parseDisks(each, disk, made, numbered);
    });
    section.list("volumes", [&](const Json::Value& each, const std::string& volume) {
        Section inner(each, volume);
        made.volumes.push_back(parseRaidVolume(inner, made));
        inner.end();
    });
    section.end();
    if (made.volumes.size() > mostRaidVolumes)
        section.fail("has more than " + std::to_string(mostRaidVolumes) + " volumes");
    return made;
}

}  // namespace

RaidVolume parseRaidVolume(Section& section, const RaidController& controller) {
    RaidVolume made;
    unsigned target = static_cast<unsigned>(controller.volumes.size());
    section.number("target", target, 255);
    made.target = static_cast<std::uint8_t>(target);
    for (const RaidVolume& other : controller.volumes)
        if (other.target == made.target)
            section.fail("is the second volume with the target " + std::to_string(target));
    section.number("sequence", made.sequence, 65535);
    parseLevel(section, made);
    parseMembers(section, controller, made);
    parseId(section, controller, made);
    made.blocks = blocksByMembers(controller, made);
    section.number("blocks", made.blocks);
    made.state = stateByMembers(controller, made);
    wordOrNumber(section, "state", raidVolumeStates, 255, made.state);
    return made;
}

const RaidDisk* findRaidDisk(const RaidController& controller, const std::string& name) {
    for (const RaidDisk& disk : controller.disks)
        if (name == raidDiskName(disk) || name == disk.serial) return &disk;
    return nullptr;
}

void parseRaidControllers(Section& root, HostDescription& into) {
    auto& part = into.part<RaidControllers>();
    auto& functions = into.part<PciFunctions>().all;
    part.described = root.has("raidControllers");
    unsigned numbered = 1;
    root.list("raidControllers", [&](const Json::Value& each, const std::string& name) {
        RaidController made = parseController(each, name, part.all.size(), numbered, functions);
        for (const RaidController& other : part.all) {
            if (other.id == made.id) root.fail("has the id of " + name + " twice");
            if (other.address == made.address) root.fail("has the controller at " + name + " twice");
        }
        part.all.push_back(std::move(made));
    });
    if (part.all.size() > mostRaidControllers)
        root.fail("has more than " + std::to_string(mostRaidControllers) + " raidControllers");
    root.truth("raidSimulation", part.simulation);
}

}  // namespace simhost
