// The /sys of a fake host with storage: PCI functions, the SCSI hosts that are their ports, and disks with
// their SCSI generic nodes.
#pragma once

#include <map>
#include <string>

#include "support/FakeHost.h"
#include "support/FakeScsi.h"

// How the kernel lays out /sys/class/scsi_host and /sys/class/scsi_device.
enum class SysfsLayout {
    older,   // an entry is a directory, and its `device` a link with the whole path of the PCI function
    current  // an entry is a link with that path, and its `device` a link to "../../../host0"
};

struct FakeController {
    std::string location = "0000:3b:00.0";
    std::string bridge = "";  // the PCI function above it, if any
    unsigned int chipset = 0x28268086;
    unsigned int board = 0x00018086;
};

struct FakePort {
    int host = 0;
    int ata = 0;  // of the component ataN; 0: none
    std::string state = "running";
    std::string driver = "ahci";
};

struct FakeDisk {
    std::string link = "0:0:0:0";  // the number of its port first
    std::string generic = "sg0";
    std::string vendor = "MAKER   ";
    std::string model = "SAS DISK        ";
    std::string revision = "0001";
    std::string type = "0";
    std::string serial = "SERIAL-0001";  // of page 80h; empty: no such attribute
    std::string inquirySerial = "";      // of the standard inquiry data, likewise
    std::string block = "sda";           // empty: no block device
    unsigned long long blocks = 2097152;
};

class StorageTree {
public:
    explicit StorageTree(const FakeHost& host) : host_(host) {}

    // Set before the first port is added.
    SysfsLayout layout = SysfsLayout::current;

    // The ports and disks that are added from now on belong to this function.
    void addController(const FakeController& controller);
    // The port's path, such as "/sys/class/scsi_host/host0".
    std::string addPort(const FakePort& port);
    // Behind the port with the number that its link begins with, which has been added before. The node
    // answers no command yet, see DiskReplies.h.
    FakeScsi& addDisk(const FakeDisk& disk);

    void setPortState(int host, const std::string& state) const;
    void removePort(int host);
    void removeDisk(const std::string& link);  // its node stays

    // The path below /sys of a port, or of a disk, such as "devices/pci0000:00/0000:3b:00.0/host0".
    std::string devicePath(int host) const { return ports_.at(host); }
    std::string devicePath(const std::string& link) const;
    // Writes an attribute of the class entry of a port, or of a disk.
    void setPortAttribute(int host, const std::string& attribute, const std::string& text) const;
    void setDiskAttribute(const std::string& link, const std::string& attribute,
                          const std::string& bytes) const;

private:
    void addClassEntry(const std::string& className, const std::string& entry, const std::string& device);
    void removeClassEntry(const std::string& className, const std::string& entry, const std::string& device);

    const FakeHost& host_;
    std::string function_;              // the path of the latest controller below /sys
    std::map<int, std::string> ports_;  // their paths below /sys
};
