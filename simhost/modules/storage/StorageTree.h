// The parts of /sys that show SCSI hosts and disks, below the directories of their PCI functions. In the
// layout of today's kernels the entries of /sys/class are links to directories there; in the classic one they
// are directories with a link "device".
#pragma once

#include <cstdint>
#include <string>

#include "modules/storage/Disks.h"

namespace simhost {

class HostDescription;

class StorageTree {
public:
    // `root` is the host's; its PCI tree is laid out.
    StorageTree(std::string root, const HostDescription& host);

    // All that is present, instead of what was there. Nothing at all for a host without storage controllers.
    void layOut() const;

    // Each makes or removes what can be seen of it. What is below a port comes and goes with it.
    void addController(const StorageController& controller) const;
    void removeController(const StorageController& controller) const;
    void addPort(const StorageController& controller, const StoragePort& port) const;
    void removePort(const StorageController& controller, const StoragePort& port) const;
    void addDisk(const StorageController& controller, const StoragePort& port, const Disk& disk) const;
    void removeDisk(const StorageController& controller, const StoragePort& port, const Disk& disk) const;
    void writeState(const StorageController& controller, const StoragePort& port) const;
    void writeState(const StorageController& controller, const StoragePort& port, const Disk& disk) const;

    // /sys/class/scsi_device, and with `hosts` also scsi_host, were changed at this time of the host: on a
    // fast host several changes are in one second of the machine.
    void stamp(std::int64_t seconds, bool hosts) const;

private:
    struct Places;
    Places placesOf(const StorageController& controller, const StoragePort& port) const;
    void file(const std::string& place, const std::string& content) const;
    void link(const std::string& place, const std::string& target) const;
    // The link "device" of a class's directory.
    void linkDevice(const std::string& place, const std::string& device) const;
    void remove(const std::string& place) const;

    std::string sys_;
    const HostDescription& host_;
};

}  // namespace simhost
