// The interface of the location library that a platform's manufacturer provides, and the differences between
// the two platforms.
#pragma once

#include <cstddef>
#include <cstdint>

// The kind of a replaceable unit, and the library's result: 0 is success.
using physloc_type_t = std::int32_t;
using physloc_rtn_t = std::int32_t;

// The location record, little-endian. The fields named library... are for the library's own use.
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

// The two entry points. The first initialises the record, to zeros; its result is ignored.
inline constexpr char vokPhysLocInitSymbol[] = "physloc_init_data";
inline constexpr char vokPhysLocEncodeSymbol[] = "physloc_encode";
using vokPhysLocInit = int (*)(vokPhysLocRecord* record, int version);
using vokPhysLocEncode = physloc_rtn_t (*)(vokPhysLocRecord* record, std::uint64_t* code);

enum class vokPhysLocDriveSub { lastElement, empty };  // sub-location of a drive bay
enum class vokPhysLocBox { oneOrTwo, ignored };        // box number of a backplane, and its sub-location

// The unit types of a platform, as its library numbers them.
struct vokPhysLocTypes {
    physloc_type_t slot = 0;
    physloc_type_t onBoardEthernet = 0;
    physloc_type_t internalDrive = 0;
    physloc_type_t externalDrive = 0;
    physloc_type_t backplane = 0;
};

struct vokPhysLocPlatform {
    const char* library = nullptr;
    const char* logModule = nullptr;
    std::size_t elementCount = 0;                      // number of elements of a GeoID
    std::uint8_t vokPhysLocRecord::*elements[4] = {};  // where each element goes
    vokPhysLocTypes types;
    unsigned firstBay = 0;
    unsigned lastBay = 0;
    vokPhysLocDriveSub driveSub = vokPhysLocDriveSub::empty;
    vokPhysLocBox box = vokPhysLocBox::ignored;
    char secondLevelLetter = 0;  // in the text of a chassis location
    bool logsChassisSplit =
        false;  // true: a chassis location of a GeoID with another number of elements is logged
};

inline constexpr vokPhysLocPlatform vokTQPlatform = [] {
    vokPhysLocPlatform platform;
    platform.library = "libvkloc0202.so";
    platform.logModule = "TQPL_INTF";
    platform.elementCount = 4;
    platform.elements[0] = &vokPhysLocRecord::rack;
    platform.elements[1] = &vokPhysLocRecord::secondLevel;
    platform.elements[2] = &vokPhysLocRecord::thirdLevel;
    platform.elements[3] = &vokPhysLocRecord::lastLevel;
    platform.types.slot = 3;
    platform.types.onBoardEthernet = 59;
    platform.types.internalDrive = 56;
    platform.types.externalDrive = 69;
    platform.types.backplane = 64;
    platform.firstBay = 1;
    platform.lastBay = 10;
    platform.driveSub = vokPhysLocDriveSub::lastElement;
    platform.box = vokPhysLocBox::oneOrTwo;
    platform.secondLevelLetter = 'u';
    platform.logsChassisSplit = true;
    return platform;
}();

inline constexpr vokPhysLocPlatform vokLWNZPlatform = [] {
    vokPhysLocPlatform platform;
    platform.library = "libvkloc0302.so";
    platform.logModule = "LWNZPL_INTF";
    platform.elementCount = 3;
    platform.elements[0] = &vokPhysLocRecord::rack;
    platform.elements[1] = &vokPhysLocRecord::secondLevel;
    platform.elements[2] = &vokPhysLocRecord::lastLevel;
    platform.types.slot = 3;
    platform.types.onBoardEthernet = 48;
    platform.types.internalDrive = 45;
    platform.types.externalDrive = 61;
    platform.types.backplane = 53;
    platform.firstBay = 0;
    platform.lastBay = 3;
    platform.driveSub = vokPhysLocDriveSub::empty;
    platform.box = vokPhysLocBox::ignored;
    platform.secondLevelLetter = 'i';
    platform.logsChassisSplit = false;
    return platform;
}();
