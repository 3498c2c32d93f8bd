// The firmware's SMBIOS table, read from the host's device file, and its records of three types as plain
// structures. The table is held from SmBiosInit to SmBiosDeinit; nothing in it is trusted: a length, a string
// number or an end that does not fit is treated as "not there".
#pragma once

#include <cstddef>
#include <cstdint>

// Type 9, one per slot (SMBIOS 3.x, 7.10). Texts end with a NUL; what is longer than its field is cut.
struct DmiSystemSlot {
    std::uint8_t type;
    std::uint8_t length;
    std::uint16_t handle;
    char designation[128];
    std::uint8_t slotType;
    std::uint8_t busDataWidth;
    std::uint8_t currentUsage;
    std::uint8_t slotLength;
    std::uint16_t id;
    std::uint8_t characteristics1;
    std::uint8_t characteristics2;
    std::uint16_t segmentGroupNum;  // 0 in a structure shorter than 14 bytes, and so the next two
    std::uint8_t busNum;
    std::uint8_t devFuncNum;  // device in the high five bits, function in the low three
};

// Type 41, one per on-board device (SMBIOS 3.x, 7.42).
struct DmiOnboardDeviceEx {
    std::uint8_t type;
    std::uint8_t length;
    std::uint16_t handle;
    char designation[128];
    std::uint8_t deviceType;  // without the enabled bit
    std::uint8_t deviceTypeInstance;
    std::uint16_t segmentGroupNum;
    std::uint8_t busNum;
    std::uint8_t funcNum : 3;
    std::uint8_t devNum : 5;
};

// Type 1 (SMBIOS 3.x, 7.2).
struct DmiSystemInfo {
    std::uint8_t type;
    std::uint8_t length;
    std::uint16_t handle;
    char manufacturer[64];
    char productName[128];
    char version[128];
    char serialNumber[128];
    char uuid[255];
    std::uint8_t wakeUpType;
    char skuNumber[128];
    char family[64];
};

inline constexpr unsigned char smbiosSystemInfoType = 1;
inline constexpr unsigned char smbiosSystemSlotType = 9;
inline constexpr unsigned char smbiosOnboardDeviceExType = 41;

// Reads the device file. 0, also when it is open already; -1 otherwise, with errno as the open or the read
// left it, and ENODATA when there is no entry point in the file.
int SmBiosInit();
// Gives the table back. SmBiosInit may follow.
void SmBiosDeinit();
// All records of a type in table order, as one malloc()ed array of the type's structure that the caller
// frees. 0, or -1 when the table is not open, the type is not one of the three, there is no record or no
// memory; then `*records` is null and `*count` 0. `count` may be null. vokSmBiosRecords owns such an array.
int getSmbiosRecordsByType(unsigned char type, void** records, std::size_t* count = nullptr);
