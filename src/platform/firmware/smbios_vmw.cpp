#include "platform/firmware/smbios_vmw.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string_view>

#include "platform/access/vokDevice.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokMallocPtr.h"

namespace {

constexpr const char* deviceFile = "/vmfs/devices/char/mem/smbios";
constexpr std::size_t bufferSize = 65536;

// The 32-bit entry point (SMBIOS 3.x, 5.2.1). The 64-bit one, "_SM3_", has another layout and is not looked
// for.
constexpr char anchor[] = {'_', 'S', 'M', '_'};
constexpr std::size_t anchorStep = 4;
constexpr std::size_t entryPointLengthAt = 5;
constexpr std::size_t tableLengthAt = 22;

constexpr std::size_t headLength = 4;  // type, length, handle

// Bytes that came from the device, by offset. What lies outside reads as zero.
struct Bytes {
    unsigned char* start = nullptr;
    std::size_t length = 0;

    std::uint8_t byte(std::size_t at) const { return at < length ? start[at] : std::uint8_t{0}; }
    std::uint16_t word(std::size_t at) const {
        return static_cast<std::uint16_t>(byte(at) | byte(at + 1) << 8);
    }
    std::uint32_t doubleWord(std::size_t at) const {
        return word(at) | static_cast<std::uint32_t>(word(at + 2)) << 16;
    }
};

// The structure table. A structure is told by the offset of its first byte.
struct Table : Bytes {
    // A structure whose head is cut off by the table's end is none.
    bool hasStructure(std::size_t at) const { return length >= headLength && at <= length - headLength; }

    // Behind the first two zero bytes that follow the formatted part, so always further on; the table's end
    // when there are none.
    std::size_t next(std::size_t at) const {
        for (std::size_t end = at + byte(at + 1); end + 1 < length; ++end)
            if (start[end] == 0 && start[end + 1] == 0) return end + 2;
        return length;
    }

    // A string of a structure, made printable in the table itself. It ends with the table at the latest.
    std::string_view text(std::size_t at, unsigned number) const {
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

private:
    std::string_view printable(std::size_t from, std::size_t end) const {
        std::replace_if(
            start + from, start + end, [](unsigned char c) { return c < 0x20 || c > 0x7E; }, '.');
        return {reinterpret_cast<const char*>(start + from), end - from};
    }
};

using Buffer = vokMallocPtr<unsigned char>;

// Returns what the device's bytes don't need to the heap.
void fit(Buffer& data, std::size_t length) {
    if (length == 0) return;
    if (void* const fitted = std::realloc(data.get(), length)) {
        static_cast<void>(data.release());
        data.reset(static_cast<unsigned char*>(fitted));
    }
}

std::mutex tableMutex;  // guards all below, and the table's bytes
bool initialised = false;
Buffer buffer;
Table table;

template <std::size_t Size>
void copyText(char (&field)[Size], std::string_view text) {
    const std::size_t length = std::min(text.size(), Size - 1);
    std::memcpy(field, text.data(), length);
    field[length] = '\0';
}

template <typename Record>
void decodeHead(std::size_t at, Record& record) {
    record.type = table.byte(at);
    record.length = table.byte(at + 1);
    record.handle = table.word(at + 2);
}

void decode(std::size_t at, DmiSystemSlot& slot) {
    constexpr unsigned lengthWithAddress = 14;
    decodeHead(at, slot);
    copyText(slot.designation, table.text(at, table.byte(at + 4)));
    slot.slotType = table.byte(at + 5);
    slot.busDataWidth = table.byte(at + 6);
    slot.currentUsage = table.byte(at + 7);
    slot.slotLength = table.byte(at + 8);
    slot.id = table.word(at + 9);
    slot.characteristics1 = table.byte(at + 11);
    slot.characteristics2 = table.byte(at + 12);
    // From 14 on although the address ends with byte 16: in between it is read out of the strings.
    if (slot.length < lengthWithAddress) return;
    slot.segmentGroupNum = table.word(at + 13);
    slot.busNum = table.byte(at + 15);
    slot.devFuncNum = table.byte(at + 16);
}

void decode(std::size_t at, DmiOnboardDeviceEx& device) {
    constexpr unsigned enabledBit = 0x80;
    decodeHead(at, device);
    copyText(device.designation, table.text(at, table.byte(at + 4)));
    device.deviceType = table.byte(at + 5) & ~enabledBit & 0xFF;
    device.deviceTypeInstance = table.byte(at + 6);
    device.segmentGroupNum = table.word(at + 7);
    device.busNum = table.byte(at + 9);
    device.funcNum = table.byte(at + 10) & 0x07;
    device.devNum = table.byte(at + 10) >> 3 & 0x1F;
}

// True for the values of the third group by which firmware is known to have written all three groups in
// network order. The masks overlap in one bit; they are what that firmware needs.
bool isSwapped(std::uint16_t third) {
    return third != 0 && (third & 0x11d0) < 0x11d0 && (third & 0xd011) == 0xd011;
}

void formatUuid(std::size_t at, DmiSystemInfo& system) {
    std::uint32_t first = table.doubleWord(at);
    std::uint16_t second = table.word(at + 4);
    std::uint16_t third = table.word(at + 6);
    if (isSwapped(third)) {
        first = __builtin_bswap32(first);
        second = __builtin_bswap16(second);
        third = __builtin_bswap16(third);
    }
    std::uint8_t rest[8];
    for (std::size_t i = 0; i < sizeof(rest); ++i) rest[i] = table.byte(at + 8 + i);
    std::snprintf(system.uuid, sizeof(system.uuid), "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", first,
                  second, third, rest[0], rest[1], rest[2], rest[3], rest[4], rest[5], rest[6], rest[7]);
}

void decode(std::size_t at, DmiSystemInfo& system) {
    constexpr unsigned lengthWithStrings = 8;
    constexpr unsigned lengthWithUuid = 25;
    constexpr unsigned lengthWithFamily = 27;
    decodeHead(at, system);
    if (system.length < lengthWithStrings) return;
    copyText(system.manufacturer, table.text(at, table.byte(at + 4)));
    copyText(system.productName, table.text(at, table.byte(at + 5)));
    copyText(system.version, table.text(at, table.byte(at + 6)));
    copyText(system.serialNumber, table.text(at, table.byte(at + 7)));
    if (system.length < lengthWithUuid) return;
    formatUuid(at + 8, system);
    system.wakeUpType = table.byte(at + 24);
    if (system.length < lengthWithFamily) {
        copyText(system.skuNumber, ".");
        return;
    }
    copyText(system.skuNumber, table.text(at, table.byte(at + 25)));
    copyText(system.family, table.text(at, table.byte(at + 26)));
}

template <typename Record>
void decodeInto(std::size_t at, void* records, std::size_t index) {
    Record& record = static_cast<Record*>(records)[index];
    record = {};
    decode(at, record);
}

struct RecordKind {
    unsigned char type;
    std::size_t size;
    void (*decodeInto)(std::size_t at, void* records, std::size_t index);
    const char* noMemory;
};

constexpr RecordKind recordKinds[] = {
    {smbiosSystemInfoType, sizeof(DmiSystemInfo), decodeInto<DmiSystemInfo>,
     "Malloc failed for SystemInfo table with SystemInfo : 0x0 "},
    {smbiosSystemSlotType, sizeof(DmiSystemSlot), decodeInto<DmiSystemSlot>,
     "Malloc failed for SystemSlots table with pSlotTbl : 0x0 "},
    {smbiosOnboardDeviceExType, sizeof(DmiOnboardDeviceEx), decodeInto<DmiOnboardDeviceEx>,
     "Malloc failed for Onboard Devices Extended Info table with pDevice : 0x0"},
};

std::size_t countStructures(unsigned char type) {
    std::size_t count = 0;
    for (std::size_t at = 0; table.hasStructure(at); at = table.next(at))
        if (table.byte(at) == type) ++count;
    return count;
}

// The table that the first entry point names; of a length beyond the data as much as came.
bool findTable(unsigned char* data, std::size_t length, Table& found) {
    for (std::size_t at = 0; at + sizeof(anchor) <= length; at += anchorStep) {
        if (std::memcmp(data + at, anchor, sizeof(anchor)) != 0) continue;
        const Bytes all{data, length};
        // Right behind the entry point: the address that it holds is one of the machine's memory.
        const std::size_t start = std::min(at + all.byte(at + entryPointLengthAt), length);
        found.start = data + start;
        found.length = std::min<std::size_t>(all.word(at + tableLengthAt), length - start);
        return true;
    }
    return false;
}

}  // namespace

int SmBiosInit() {
    const std::lock_guard<std::mutex> lock(tableMutex);
    if (initialised) return 0;
    vokDevice device(deviceFile, O_RDONLY | O_SYNC);
    if (!device) return -1;
    Buffer data(static_cast<unsigned char*>(std::malloc(bufferSize)));
    const ssize_t count = data ? ::read(device.descriptor(), data.get(), bufferSize) : -1;
    const int reason = count < 0 ? errno : ENODATA;
    device.close();
    const std::size_t length = count < 0 ? 0 : static_cast<std::size_t>(count);
    fit(data, length);
    if (!findTable(data.get(), length, table)) {
        errno = reason;
        return -1;
    }
    buffer = std::move(data);
    initialised = true;
    return 0;
}

void SmBiosDeinit() {
    const std::lock_guard<std::mutex> lock(tableMutex);
    buffer.reset();
    table = {};
    initialised = false;
}

int getSmbiosRecordsByType(unsigned char type, void** records, std::size_t* count) {
    *records = nullptr;
    if (count) *count = 0;
    const std::lock_guard<std::mutex> lock(tableMutex);
    if (!initialised) return -1;
    const std::size_t total = countStructures(type);
    if (total == 0) return -1;
    const auto* const kind = std::find_if(std::begin(recordKinds), std::end(recordKinds),
                                          [type](const RecordKind& each) { return each.type == type; });
    if (kind == std::end(recordKinds)) return -1;
    void* const array = std::malloc(total * kind->size);
    if (!array) {
        vokHostAccess().systemLog(LOG_DAEMON | LOG_WARNING, kind->noMemory);
        return -1;
    }
    // Decoding makes strings printable, and those of a structure with a wrong length may be its own head: the
    // next one is found first, so that this walk meets the same structures as the counting one.
    std::size_t decoded = 0;
    for (std::size_t at = 0, next = 0; decoded < total && table.hasStructure(at); at = next) {
        next = table.next(at);
        if (table.byte(at) == type) kind->decodeInto(at, array, decoded++);
    }
    *records = array;
    if (count) *count = decoded;
    return 0;
}
