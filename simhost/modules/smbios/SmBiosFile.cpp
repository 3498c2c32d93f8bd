#include "modules/smbios/SmBiosFile.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace simhost {

namespace {

constexpr std::uint8_t biosType = 0;
constexpr std::uint8_t systemType = 1;
constexpr std::uint8_t slotType = 9;
constexpr std::uint8_t onboardDeviceType = 41;
constexpr std::uint8_t endOfTableType = 127;

constexpr std::size_t headLength = 4;
constexpr std::size_t entryPointLength = 0x1f;
constexpr std::size_t intermediateAt = 0x10;  // where the part with the second checksum begins

// The strings of a structure, in the order in which its formatted part refers to them.
class StringSet {
public:
    std::uint8_t number(const std::string& text) {
        if (text.empty()) return 0;
        texts_.push_back(text);
        return static_cast<std::uint8_t>(texts_.size());
    }
    const std::vector<std::string>& texts() const { return texts_; }

private:
    std::vector<std::string> texts_;
};

// Each ends in a NUL, and the set in one more; an empty set is two of them.
std::string stringArea(const std::vector<std::string>& strings) {
    std::string area;
    for (const auto& text : strings) {
        if (text.find('\0') != std::string::npos)
            throw std::runtime_error("a string of a firmware structure can't have a NUL in it");
        area += text;
        area += '\0';
    }
    if (strings.empty()) area += '\0';
    return area + '\0';
}

// The first three groups of a UUID stand with their lowest byte first (DSP0134, 7.2.1).
std::array<std::uint8_t, 16> wireUuid(std::array<std::uint8_t, 16> uuid) {
    std::reverse(uuid.begin(), uuid.begin() + 4);
    std::reverse(uuid.begin() + 4, uuid.begin() + 6);
    std::reverse(uuid.begin() + 6, uuid.begin() + 8);
    return uuid;
}

void putAddress(ByteWriter& data, const std::optional<PciAddress>& address) {
    data.number(static_cast<std::uint16_t>(address ? address->segment : 0xffff))
        .number(static_cast<std::uint8_t>(address ? address->bus : 0xff))
        .number(static_cast<std::uint8_t>(address ? address->slotAndFunction() : 0xff));
}

// The byte that makes the sum of `bytes` 0, where its own place holds 0 so far.
char checksum(const std::string& bytes) {
    const auto sum = std::accumulate(bytes.begin(), bytes.end(), 0u, [](unsigned soFar, char byte) {
        return soFar + static_cast<unsigned char>(byte);
    });
    return static_cast<char>(static_cast<unsigned char>(0x100 - (sum & 0xff)));
}

}  // namespace

void SmBiosFile::setVersion(std::uint8_t major, std::uint8_t minor) {
    major_ = major;
    minor_ = minor;
}

void SmBiosFile::add(const SmBiosBios& bios, const SmBiosShape& shape) {
    StringSet strings;
    ByteWriter data;
    data.number(strings.number(bios.vendor)).number(strings.number(bios.version));
    data.number(std::uint16_t{0xe000});  // start segment
    data.number(strings.number(bios.date));
    data.number(std::uint8_t{0xff});         // 16 MiB
    data.number(std::uint64_t{0x99880});     // PCI, flash, shadowing, boot from CD, selectable boot, EDD
    data.number(std::uint16_t{0x0c03});      // ACPI, USB; targeted content, UEFI
    data.number(std::uint32_t{0xffff1505});  // release 5.21; no embedded controller
    add(biosType, data.bytes(), strings.texts(), shape);
}

void SmBiosFile::add(const SmBiosSystem& system, const SmBiosShape& shape) {
    StringSet strings;
    ByteWriter data;
    for (const auto* text : {&system.manufacturer, &system.product, &system.version, &system.serial})
        data.number(strings.number(*text));
    const auto uuid = wireUuid(system.uuid);
    data.raw(uuid.data(), uuid.size()).number(system.wakeUp);
    data.number(strings.number(system.sku)).number(strings.number(system.family));
    add(systemType, data.bytes(), strings.texts(), shape);
}

void SmBiosFile::add(const SmBiosSlot& slot, const SmBiosShape& shape) {
    StringSet strings;
    ByteWriter data;
    data.number(strings.number(slot.designation))
        .number(slot.slotType)
        .number(slot.dataBusWidth)
        .number(slot.usage)
        .number(slot.slotLength)
        .number(slot.id)
        .number(std::uint8_t{0x04})   // 3.3 V
        .number(std::uint8_t{0x01});  // power management event signal
    putAddress(data, slot.address);
    add(slotType, data.bytes(), strings.texts(), shape);
}

void SmBiosFile::add(const SmBiosOnboardDevice& device, const SmBiosShape& shape) {
    StringSet strings;
    ByteWriter data;
    data.number(strings.number(device.designation))
        .number(static_cast<std::uint8_t>((device.deviceType & 0x7f) | (device.enabled ? 0x80 : 0)))
        .number(device.instance);
    putAddress(data, device.address);
    add(onboardDeviceType, data.bytes(), strings.texts(), shape);
}

void SmBiosFile::add(std::uint8_t type, const std::string& data, const std::vector<std::string>& strings,
                     const SmBiosShape& shape) {
    const std::size_t length = shape.length.value_or(headLength + data.size());
    if (length < headLength || length > 0xff)
        throw std::runtime_error("a firmware structure has 4 to 255 bytes in front of its strings, not " +
                                 std::to_string(length));
    std::string behindHead = data;
    behindHead.resize(length - headLength, '\0');
    ByteWriter structure;
    structure.number(type)
        .number(shape.statedLength.value_or(static_cast<std::uint8_t>(length)))
        .number(shape.handle.value_or(static_cast<std::uint16_t>(count_ + 1)));
    addRaw(structure.bytes() + behindHead + stringArea(strings));
}

void SmBiosFile::addRaw(const std::string& bytes) {
    table_ += bytes;
    longest_ = std::max(longest_, bytes.size());
    ++count_;
}

void SmBiosFile::addEndOfTable() {
    add(endOfTableType, "", {});
}

std::string SmBiosFile::entryPoint() const {
    const std::size_t length =
        statedTableLength_.value_or(static_cast<std::uint16_t>(std::min<std::size_t>(table_.size(), 0xffff)));
    if (!statedTableLength_ && table_.size() > length)
        throw std::runtime_error("the firmware's table has " + std::to_string(table_.size()) +
                                 " bytes, more than the 65535 that its entry point can tell");
    const auto cut = [](std::size_t value) {
        return static_cast<std::uint16_t>(std::min<std::size_t>(value, 0xffff));
    };
    ByteWriter writer;
    writer.raw("_SM_", 4)
        .number(std::uint8_t{0})  // checksum
        .number(static_cast<std::uint8_t>(entryPointLength))
        .number(major_)
        .number(minor_)
        .number(cut(longest_))
        .number(std::uint8_t{0})  // revision of the entry point, and its reserved bytes
        .raw("\0\0\0\0\0", 5)
        .raw("_DMI_", 5)
        .number(std::uint8_t{0})  // checksum of this part
        .number(static_cast<std::uint16_t>(length))
        // The table's place in memory means nothing in a file; its place in the file serves those who look.
        .number(static_cast<std::uint32_t>(entryPointLength))
        .number(cut(count_))
        .number(static_cast<std::uint8_t>((major_ & 0x0f) << 4 | (minor_ & 0x0f)));
    std::string bytes = writer.bytes();
    bytes[intermediateAt + 5] = checksum(bytes.substr(intermediateAt));
    bytes[4] = checksum(bytes);
    return bytes;
}

std::string SmBiosFile::content() const {
    return entryPoint() + table_;
}

}  // namespace simhost
