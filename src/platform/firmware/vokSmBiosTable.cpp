#include "platform/firmware/vokSmBiosTable.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// The 32-bit entry point (SMBIOS 3.x, 5.2.1). The 64-bit one, "_SM3_", has a different layout and is not
// searched for.
constexpr char anchor[] = {'_', 'S', 'M', '_'};
constexpr std::size_t anchorStep = 4;
constexpr std::size_t entryPointLengthAt = 5;
constexpr std::size_t tableLengthAt = 22;

constexpr std::size_t headLength = 4;  // type, length, handle

template <std::size_t Size>
void copyText(char (&field)[Size], std::string_view text) {
    const std::size_t length = std::min(text.size(), Size - 1);
    std::memcpy(field, text.data(), length);
    field[length] = '\0';
}

// True if the value of the third group shows that the firmware wrote all three groups in network order. The
// masks overlap in one bit; that firmware requires them.
bool isSwapped(std::uint16_t third) {
    return third != 0 && (third & 0x11d0) < 0x11d0 && (third & 0xd011) == 0xd011;
}

}  // namespace

bool vokSmBiosTable::find(unsigned char* data, std::size_t length, vokSmBiosTable& found) {
    for (std::size_t at = 0; at + sizeof(anchor) <= length; at += anchorStep) {
        if (std::memcmp(data + at, anchor, sizeof(anchor)) != 0) continue;
        vokSmBiosTable all;
        all.start_ = data;
        all.length_ = length;
        // Right after the entry point: the address in it refers to the machine's memory.
        const std::size_t start = std::min(at + all.byte(at + entryPointLengthAt), length);
        found.start_ = data + start;
        found.length_ = std::min<std::size_t>(all.word(at + tableLengthAt), length - start);
        return true;
    }
    return false;
}

bool vokSmBiosTable::hasStructure(std::size_t at) const {
    return length_ >= headLength && at <= length_ - headLength;
}

std::size_t vokSmBiosTable::next(std::size_t at) const {
    for (std::size_t end = at + byte(at + 1); end + 1 < length_; ++end)
        if (start_[end] == 0 && start_[end + 1] == 0) return end + 2;
    return length_;
}

std::size_t vokSmBiosTable::countOf(unsigned char type) const {
    std::size_t count = 0;
    for (std::size_t at = 0; hasStructure(at); at = next(at))
        if (typeOf(at) == type) ++count;
    return count;
}

std::uint16_t vokSmBiosTable::word(std::size_t at) const {
    return static_cast<std::uint16_t>(byte(at) | byte(at + 1) << 8);
}

std::uint32_t vokSmBiosTable::doubleWord(std::size_t at) const {
    return word(at) | static_cast<std::uint32_t>(word(at + 2)) << 16;
}

// A string of a structure, made printable in the table itself. It ends at the table's end at the latest.
std::string_view vokSmBiosTable::text(std::size_t at, unsigned number) const {
    constexpr std::string_view undefined = "Undefined";
    if (number == 0) return undefined;
    for (std::size_t from = at + byte(at + 1);; --number) {
        std::size_t end = from;
        while (byte(end) != 0) ++end;
        if (end == from) return undefined;
        if (number == 1) return printable(from, end);
        from = end + 1;
    }
}

std::string_view vokSmBiosTable::printable(std::size_t from, std::size_t end) const {
    std::replace_if(
        start_ + from, start_ + end, [](unsigned char c) { return c < 0x20 || c > 0x7E; }, '.');
    return {reinterpret_cast<const char*>(start_ + from), end - from};
}

template <typename Record>
void vokSmBiosTable::decodeHead(std::size_t at, Record& record) const {
    record.type = byte(at);
    record.length = byte(at + 1);
    record.handle = word(at + 2);
}

void vokSmBiosTable::decode(std::size_t at, DmiSystemSlot& slot) const {
    constexpr unsigned lengthWithAddress = 14;
    decodeHead(at, slot);
    copyText(slot.designation, text(at, byte(at + 4)));
    slot.slotType = byte(at + 5);
    slot.busDataWidth = byte(at + 6);
    slot.currentUsage = byte(at + 7);
    slot.slotLength = byte(at + 8);
    slot.id = word(at + 9);
    slot.characteristics1 = byte(at + 11);
    slot.characteristics2 = byte(at + 12);
    // From 14 on although the address ends with byte 16: in between, part of it is read from the strings.
    if (slot.length < lengthWithAddress) return;
    slot.segmentGroupNum = word(at + 13);
    slot.busNum = byte(at + 15);
    slot.devFuncNum = byte(at + 16);
}

void vokSmBiosTable::decode(std::size_t at, DmiOnboardDeviceEx& device) const {
    constexpr unsigned enabledBit = 0x80;
    decodeHead(at, device);
    copyText(device.designation, text(at, byte(at + 4)));
    device.deviceType = byte(at + 5) & ~enabledBit & 0xFF;
    device.deviceTypeInstance = byte(at + 6);
    device.segmentGroupNum = word(at + 7);
    device.busNum = byte(at + 9);
    device.funcNum = byte(at + 10) & 0x07;
    device.devNum = byte(at + 10) >> 3 & 0x1F;
}

void vokSmBiosTable::formatUuid(std::size_t at, DmiSystemInfo& system) const {
    std::uint32_t first = doubleWord(at);
    std::uint16_t second = word(at + 4);
    std::uint16_t third = word(at + 6);
    if (isSwapped(third)) {
        first = __builtin_bswap32(first);
        second = __builtin_bswap16(second);
        third = __builtin_bswap16(third);
    }
    std::uint8_t rest[8];
    for (std::size_t i = 0; i < sizeof(rest); ++i) rest[i] = byte(at + 8 + i);
    std::snprintf(system.uuid, sizeof(system.uuid), "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", first,
                  second, third, rest[0], rest[1], rest[2], rest[3], rest[4], rest[5], rest[6], rest[7]);
}

void vokSmBiosTable::decode(std::size_t at, DmiSystemInfo& system) const {
    constexpr unsigned lengthWithStrings = 8;
    constexpr unsigned lengthWithUuid = 25;
    constexpr unsigned lengthWithFamily = 27;
    decodeHead(at, system);
    if (system.length < lengthWithStrings) return;
    copyText(system.manufacturer, text(at, byte(at + 4)));
    copyText(system.productName, text(at, byte(at + 5)));
    copyText(system.version, text(at, byte(at + 6)));
    copyText(system.serialNumber, text(at, byte(at + 7)));
    if (system.length < lengthWithUuid) return;
    formatUuid(at + 8, system);
    system.wakeUpType = byte(at + 24);
    if (system.length < lengthWithFamily) {
        copyText(system.skuNumber, ".");
        return;
    }
    copyText(system.skuNumber, text(at, byte(at + 25)));
    copyText(system.family, text(at, byte(at + 26)));
}
