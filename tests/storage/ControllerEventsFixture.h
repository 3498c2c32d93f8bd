// A controller that has a place and disks, for the tests of its events.
#pragma once

#include <string>
#include <vector>

#include "storage/StorageFixture.h"

// Notes whether it is locked when it computes its status.
class LockedController : public TestController {
public:
    using TestController::TestController;

    std::vector<bool> locked;

    void computeControllerStatus() override {
        locked.push_back(isLockedFor(*this));
        TestController::computeControllerStatus();
    }
};

class ControllerEventsFixture : public StorageFixture {
protected:
    static constexpr char firstLocation[] = "0000000000003801";
    static constexpr char otherLocation[] = "0000000000003802";

    ControllerEventsFixture() { letEventsPass(); }

    static vokDiskInfo diskOf(const std::string& link, const std::string& location,
                              VOK_RESOURCE_STATE diskState) {
        vokDiskInfo disk;
        disk.setOSSCSILink(link);
        disk.setPhysicalLocation(location);
        disk.setState(diskState);
        disk.setHealth(diskState == VOK_STATE_RUNNING ? VOK_HEALTH_OK : VOK_HEALTH_CRITICAL);
        return disk;
    }
    // Gives a controller one port that is running, and a place.
    void givePlace(TestController& which) {
        vokStorageControllerPortInfo port;
        port.setOSInstanceName("/sys/class/scsi_host/host0");
        port.setState(VOK_STATE_RUNNING);
        port.setHealth(VOK_HEALTH_OK);
        which.currentInfo.addControllerPort(port);
        which.currentInfo.setPhysicalLocation(slotLocation);
        which.currentInfo.setState(VOK_STATE_RUNNING);
        which.currentInfo.setHealth(VOK_HEALTH_OK);
        which.previousInfo = which.currentInfo;
    }
    void addDisk(TestController& which, const vokDiskInfo& disk) {
        which.currentDrives.push_back(disk);
        which.previousDrives.push_back(disk);
    }
    const Held<TestController> controller = newController({"/sys/class/scsi_host/host0"});
};
