// A described disk at its generic node /dev/sgN while the host runs.
#pragma once

#include <string>

#include "devices/ScsiDevice.h"
#include "modules/storage/Disks.h"

namespace simhost {

class SimulatedHost;

class SimulatedDisk : public ScsiDevice {
public:
    // `disk` is part of the description of `host`; both outlive this.
    SimulatedDisk(SimulatedHost& host, const Disk& disk);
    ~SimulatedDisk() override;

    const Disk& disk() const { return disk_; }
    // The node follows the disk: absent when it can't be seen, and failing to open when that is described.
    // What is open of a disk that vanishes gets ENODEV.
    void follow(bool present);
    unsigned long long commands() const { return commands_; }

private:
    void execute(const ScsiRequest& request, const Finish& finish) override;

    const Disk& disk_;
    std::string path_;
    unsigned long long commands_ = 0;
};

}  // namespace simhost
