// The storage controllers of a host with their ports and disks, as a description says them and as control
// commands change them.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "common/Hexadecimal.h"

namespace simhost {

enum class DiskTransport { sas, sata };
enum class DiskMedia { hdd, ssd };
enum class SenseForm { fixed, fixedValid, descriptor };

struct Disk {
    // Where it is: channel, target and unit of its port's host; its generic node is sgN, its block device the
    // N'th of sda, sdb, ...
    unsigned channel = 0;
    unsigned target = 0;
    unsigned unit = 0;
    unsigned number = 0;

    DiskTransport transport = DiskTransport::sas;
    DiskMedia media = DiskMedia::hdd;
    unsigned type = 0;  // peripheral device type: 0 for a direct-access block device
    std::string vendor;
    std::string model;
    std::string serial;
    std::string inquirySerial;  // in the standard inquiry data of a SAS disk
    std::string revision;
    std::string logD0;  // of a SATA disk: characters 24 to 27 of log D0h; empty: it has no such log
    std::uint64_t worldWideName = 0;
    std::uint64_t blocks = 0;  // of 512 bytes
    unsigned rotation = 0;     // per minute; 1: none; 0: not reported
    unsigned ataVersions = 0;  // word 80 of IDENTIFY DEVICE

    unsigned temperature = 0;      // degrees Celsius
    unsigned maxTemperature = 0;   // 0: not reported
    unsigned wear = 0;             // percent
    unsigned errors = 0;           // in the SMART error log
    unsigned additionalSense = 0;  // of the informational exceptions page: code and qualifier in two bytes
    unsigned defects = 0;
    unsigned powerOnHours = 0;
    SenseForm sense = SenseForm::fixed;
    std::set<std::string> unsupported;  // pages, as PageName.h names them

    std::string state = "running";
    bool pulled = false;
    bool hanging = false;
    int openError = 0;
};

struct StoragePort {
    unsigned host = 0;
    std::optional<unsigned> ata;
    std::string state = "running";
    bool gone = false;
    std::vector<Disk> disks;
};

struct StorageController {
    PciAddress address;
    std::string driver;
    std::string firmwareRevision;
    std::string boardTracer;
    std::string raidVersion;  // of the firmware's software RAID, which mdadm reports; empty: none
    bool classic = false;     // the layout of /sys that old kernels had
    bool gone = false;
    std::vector<StoragePort> ports;
};

struct StorageControllers {
    std::vector<StorageController> all;
};

// "2:0:0:0"
std::string diskLink(const StoragePort& port, const Disk& disk);
// "sg4"
std::string genericName(const Disk& disk);
// "sda" to "sdz", "sdaa", ...
std::string blockName(const Disk& disk);

bool isSata(const Disk& disk);
bool isSolidState(const Disk& disk);
// Whether the disk can be seen: neither it nor its port nor its controller is gone.
bool isPresent(const StorageController& controller, const StoragePort& port, const Disk& disk);

}  // namespace simhost
