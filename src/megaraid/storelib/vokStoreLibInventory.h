// What the vendor's RAID library reports of controllers, physical disks and logical drives, as it is cached.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

inline constexpr std::uint32_t vokNoControllerId = 0xFFFFFFFF;  // -1

// The library's own scale of health.
enum vokStoreLibHealth : std::uint32_t {
    vokStoreLibHealthOk = 1,
    vokStoreLibHealthWarning = 2,
    vokStoreLibHealthUnknown = 3,
    vokStoreLibHealthCritical = 4,
};

struct CTRL_INFO {
    std::string firmwareVersion;  // of the firmware package; empty if the controller record can't be read
    std::uint32_t controllerId = 0;
    std::string serialNumber;
    std::uint32_t subsystemId = 0;  // PCI subsystem device id << 16 | subsystem vendor id; 0 if unread
    std::uint32_t chipsetId = 0;    // PCI device id << 16 | vendor id; 0 if unread
    std::string protocols;          // "SAS/SATA" or "SAS/SATA/NVMe"
    std::string pciLocation;        // "0000:5e:00.0"; empty if unread
};

struct PD_INFO {
    std::string serialNumber;  // may be empty
    std::string modelName;
    std::uint64_t capacityBytes = 0;
    std::string interfaceType;  // "Parallel SCSI", "SAS", "SATA", "FC", "NVMe" or "Unknown"
    std::string mediaType;      // "HDD" or "SSD"
    std::string firmwareRevision;
    std::uint32_t slotNumber = 0;
    std::uint32_t enclosureDeviceId = 0;
    std::string firmwareState;  // text of vokStoreLibInterface::getFWStateString()
    std::uint32_t health = vokStoreLibHealthUnknown;
    std::uint32_t deviceId = 0;  // the library's, for further commands
    std::string vendorName;
    // Attempts that have failed: to read the vendor's signature, and the serial number from VPD page 80h.
    std::int32_t vendorRetryCount = 0;
    std::int32_t serialRetryCount = 0;
};

struct LD_INFO {
    std::uint32_t targetId = 0;
    std::string durableName;  // 32 lower-case hexadecimal digits
    std::string raidLevel;    // "RAID5"; may be empty
    std::uint64_t capacityBytes = 0;
    std::string name;   // empty
    std::string state;  // text of vokStoreLibInterface::getLDStateString()
    std::uint32_t health = vokStoreLibHealthUnknown;
    std::vector<std::string> physicalDiskSerials;
};
