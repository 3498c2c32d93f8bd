// What crosses to the location library of a platform's maker, and in what the two platforms differ.
#pragma once

#include <cstddef>
#include <cstdint>

// The kind of a replaceable unit, and the library's result: 0 is success.
using physloc_type_t = std::int32_t;
using physloc_rtn_t = std::int32_t;

// The location record, little-endian. Bytes without a name are the library's.
struct vokPhysLocRecord {
    physloc_type_t type;
    std::uint8_t rack;
    std::uint8_t secondLevel;
    std::uint8_t library6[2];
    std::uint8_t thirdLevel;
    std::uint8_t library9[2];
    std::uint8_t lastLevel;
    std::uint8_t library12;
    std::uint8_t subLocation;
    std::uint8_t library14[2];
};
static_assert(sizeof(vokPhysLocRecord) == 16, "the library reads and fills 16 bytes");
static_assert(offsetof(vokPhysLocRecord, type) == 0 && sizeof(physloc_type_t) == 4, "byte 0, 4 bytes");
static_assert(offsetof(vokPhysLocRecord, rack) == 4, "byte 4");
static_assert(offsetof(vokPhysLocRecord, secondLevel) == 5, "byte 5");
static_assert(offsetof(vokPhysLocRecord, thirdLevel) == 8, "byte 8");
static_assert(offsetof(vokPhysLocRecord, lastLevel) == 11, "byte 11");
static_assert(offsetof(vokPhysLocRecord, subLocation) == 13, "byte 13");

inline constexpr int vokPhysLocRecordVersion = 2;

// The two entry points. The first gives the record its initial content, zeros; its result is not looked at.
inline constexpr char vokPhysLocInitSymbol[] = "physloc_init_data";
inline constexpr char vokPhysLocEncodeSymbol[] = "physloc_encode";
using vokPhysLocInit = int (*)(vokPhysLocRecord* record, int version);
using vokPhysLocEncode = physloc_rtn_t (*)(vokPhysLocRecord* record, std::uint64_t* code);

enum class vokPhysLocDriveSub { lastElement, empty };  // sub-location of a drive bay
enum class vokPhysLocBox { oneOrTwo, notLookedAt };    // box number of a backplane, and its sub-location

struct vokPhysLocPlatform {
    const char* library;
    const char* logModule;
    std::size_t elementCount;                     // of a GeoID's split
    std::uint8_t vokPhysLocRecord::*elements[4];  // where each element goes
    struct {
        physloc_type_t slot, onBoardEthernet, internalDrive, externalDrive, backplane;
    } types;
    unsigned firstBay, lastBay;
    vokPhysLocDriveSub driveSub;
    vokPhysLocBox box;
    char secondLevelLetter;  // in the text of a chassis
    bool logsChassisSplit;   // whether a chassis asked for with a wrong split is a line of the log
};

inline constexpr vokPhysLocPlatform vokTQPlatform = {
    "libvkloc0202.so",
    "TQPL_INTF",
    4,
    {&vokPhysLocRecord::rack, &vokPhysLocRecord::secondLevel, &vokPhysLocRecord::thirdLevel,
     &vokPhysLocRecord::lastLevel},
    {3, 59, 56, 69, 64},
    1,
    10,
    vokPhysLocDriveSub::lastElement,
    vokPhysLocBox::oneOrTwo,
    'u',
    true,
};

inline constexpr vokPhysLocPlatform vokLWNZPlatform = {
    "libvkloc0302.so",
    "LWNZPL_INTF",
    3,
    {&vokPhysLocRecord::rack, &vokPhysLocRecord::secondLevel, &vokPhysLocRecord::lastLevel, nullptr},
    {3, 48, 45, 61, 53},
    0,
    3,
    vokPhysLocDriveSub::empty,
    vokPhysLocBox::notLookedAt,
    'i',
    false,
};
