// The disks of a host while it runs, and what control commands do to them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/HostModule.h"
#include "modules/storage/Disks.h"
#include "modules/storage/SimulatedDisk.h"
#include "modules/storage/StorageTree.h"

namespace simhost {

// A disk with what it belongs to.
struct DiskPlace {
    StorageController& controller;
    StoragePort& port;
    Disk& disk;
};

class DiskState : public ModuleState {
public:
    explicit DiskState(SimulatedHost& host);

    // By its SCSI link ("2:0:0:0"), its node ("sg4") or its serial number. Throws UsageError.
    static DiskPlace find(StorageControllers& controllers, const std::string& name);

    // Changes the disk, the port or the controller by `change`: in /sys what was there before goes and what
    // is there after it comes, as a reader of the directories' times sees. What comes can be opened from the
    // moment at which it can be seen.
    template <class Change>
    void exchange(const DiskPlace& place, Change change) {
        if (isPresent(place.controller, place.port, place.disk))
            tree_.removeDisk(place.controller, place.port, place.disk);
        change();
        follow();
        if (isPresent(place.controller, place.port, place.disk))
            tree_.addDisk(place.controller, place.port, place.disk);
        changed(false);
    }
    template <class Change>
    void exchange(StorageController& controller, StoragePort& port, Change change) {
        if (!controller.gone && !port.gone) tree_.removePort(controller, port);
        change();
        follow();
        if (!controller.gone && !port.gone) tree_.addPort(controller, port);
        changed(true);
    }
    template <class Change>
    void exchange(StorageController& controller, Change change) {
        tree_.removeController(controller);
        change();
        follow();
        tree_.addController(controller);
        changed(true);
    }
    const StorageTree& tree() const { return tree_; }
    // Every node follows its disk.
    void follow();
    SimulatedDisk& deviceOf(const Disk& disk) const;

private:
    // `hosts`: entries of scsi_host as well.
    void changed(bool hosts);

    SimulatedHost& host_;
    StorageTree tree_;
    std::vector<std::unique_ptr<SimulatedDisk>> devices_;
};

// The rows of the control commands.
Rows<ControlCommand> diskCommands();

}  // namespace simhost
