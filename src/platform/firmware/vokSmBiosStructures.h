// The records that the agent reads from the firmware's SMBIOS table, as plain structures.
#pragma once

#include <cstdint>

// Type 9, one per slot (SMBIOS 3.x, 7.10). Texts end with a NUL and are cut to their field.
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
    std::uint16_t segmentGroupNum;  // this and the next two: 0 in a structure shorter than 14 bytes
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
