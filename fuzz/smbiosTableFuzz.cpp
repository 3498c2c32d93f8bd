// The walk over a firmware table and the decoding of its records read only the table's bytes, agree with a
// plain restatement of the walk, and change nothing but unprintable characters. The input is what the device
// file holds.
#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "FuzzInput.h"
#include "platform/firmware/vokSmBiosTable.h"

namespace {

// The offsets of all structures.
std::vector<std::size_t> walk(const vokSmBiosTable& table) {
    std::vector<std::size_t> offsets;
    for (std::size_t at = 0; table.hasStructure(at); at = table.next(at)) {
        require(offsets.empty() || at > offsets.back() + 1);
        offsets.push_back(at);
    }
    return offsets;
}

std::vector<std::size_t> restatedWalk(const std::string& table) {
    const std::string end(2, '\0');
    std::vector<std::size_t> offsets;
    for (std::size_t at = 0; at + 4 <= table.size();) {
        offsets.push_back(at);
        const std::size_t found = table.find(end, at + static_cast<unsigned char>(table[at + 1]));
        if (found == std::string::npos) break;
        at = found + end.size();
    }
    return offsets;
}

// The first "_SM_" on a multiple of four; npos without one.
std::size_t restatedAnchor(const std::string& data) {
    std::size_t at = data.find("_SM_");
    while (at != std::string::npos && at % 4 != 0) at = data.find("_SM_", at + 1);
    return at;
}

template <std::size_t Size>
void requireText(const char (&text)[Size]) {
    const std::size_t length = ::strnlen(text, Size);
    require(length < Size);
    for (std::size_t i = 0; i < length; ++i) require(text[i] >= 0x20 && text[i] <= 0x7E);
}

void requireTexts(const DmiSystemSlot& slot) {
    requireText(slot.designation);
    require(slot.designation[0] != '\0');
    require(slot.length >= 14 || (slot.segmentGroupNum == 0 && slot.busNum == 0 && slot.devFuncNum == 0));
}
void requireTexts(const DmiOnboardDeviceEx& device) {
    requireText(device.designation);
    require(device.designation[0] != '\0' && device.deviceType < 0x80);
}
void requireTexts(const DmiSystemInfo& system) {
    requireText(system.manufacturer);
    requireText(system.productName);
    requireText(system.version);
    requireText(system.serialNumber);
    requireText(system.uuid);
    requireText(system.skuNumber);
    requireText(system.family);
    require(std::strlen(system.uuid) == (system.length < 25 ? 0u : 36u));
}

template <typename Record>
void requireRecord(const vokSmBiosTable& table, std::size_t at, unsigned char type) {
    Record record{};
    table.decode(at, record);
    require(record.type == type);
    requireTexts(record);
}

// Gives the number of structures of each type.
std::array<std::size_t, 256> requireRecords(const vokSmBiosTable& table) {
    std::array<std::size_t, 256> counts{};
    for (std::size_t at = 0, next = 0; table.hasStructure(at); at = next) {
        next = table.next(at);
        const unsigned char type = table.typeOf(at);
        ++counts[type];
        if (type == smbiosSystemInfoType) requireRecord<DmiSystemInfo>(table, at, type);
        if (type == smbiosSystemSlotType) requireRecord<DmiSystemSlot>(table, at, type);
        if (type == smbiosOnboardDeviceExType) requireRecord<DmiOnboardDeviceEx>(table, at, type);
    }
    return counts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string before = textOf(data, size);
    std::vector<unsigned char> bytes(data, data + size);
    vokSmBiosTable table;
    const std::size_t anchor = restatedAnchor(before);
    const bool found = vokSmBiosTable::find(bytes.data(), size, table);
    require(found == (anchor != std::string::npos));
    if (!found) return 0;
    const auto byteAt = [&](std::size_t at) -> std::size_t {
        return at < size ? static_cast<unsigned char>(before[at]) : 0u;
    };
    const std::size_t start = std::min(anchor + byteAt(anchor + 5), size);
    const std::string held = before.substr(start, byteAt(anchor + 22) | byteAt(anchor + 23) << 8);
    require(table.size() == held.size());
    require(walk(table) == restatedWalk(held));
    const std::size_t slots = table.countOf(smbiosSystemSlotType);

    require(requireRecords(table)[smbiosSystemSlotType] == slots);
    requireRecords(table);  // again, since making strings printable changed the table
    for (std::size_t i = 0; i < size; ++i) {
        const auto was = static_cast<unsigned char>(before[i]);
        if (bytes[i] == was) continue;
        const bool isHeld = i >= start && i < start + held.size();
        require(isHeld && was != 0 && (was < 0x20 || was > 0x7E) && bytes[i] == '.');
    }
    return 0;
}
