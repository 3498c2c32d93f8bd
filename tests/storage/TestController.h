// A storage controller whose fields a test sets and reads, and whose disks have the slots and the status that
// the test sets.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "storage/vokStorageController.h"

// Drops the reference that it owns.
struct DropReference {
    void operator()(vokRemoveLock* object) const { object->dropReference(); }
};
template <typename Type>
using Held = std::unique_ptr<Type, DropReference>;

class TestController : public vokStorageController {
public:
    using vokStorageController::vokStorageController;

    // Slots by SCSI link. A disk without one has no location.
    std::map<std::string, std::string> slots;
    // If set, called instead of the rule of health.
    std::function<void(vokDiskInfo& disk)> onDiskStatus;
    // Set when the controller is deleted.
    bool* deleted = nullptr;

    int discoverPhysicalDiskSlotNumber(vokDiskInfo& disk) override {
        const auto found = slots.find(disk.getOSSCSILink());
        if (found == slots.end()) return vokStorageController::discoverPhysicalDiskSlotNumber(disk);
        disk.setSlot(found->second);
        return 0;
    }
    void discoverPhysicalDiskStatus(vokDiskInfo& disk) override {
        if (onDiskStatus) return onDiskStatus(disk);
        vokStorageController::discoverPhysicalDiskStatus(disk);
    }

    using vokStorageController::currentDrives;
    using vokStorageController::currentEnclosures;
    using vokStorageController::currentInfo;
    using vokStorageController::currentLogicalDisks;
    using vokStorageController::deviceNameMap;
    using vokStorageController::eventFlags;
    using vokStorageController::lastControllerEvent;
    using vokStorageController::lock;
    using vokStorageController::newDevice;
    using vokStorageController::portList;
    using vokStorageController::previousDrives;
    using vokStorageController::previousEnclosures;
    using vokStorageController::previousInfo;
    using vokStorageController::previousLogicalDisks;

protected:
    ~TestController() override {
        if (deleted) *deleted = true;
    }
};

// A new controller with these ports and one reference.
inline Held<TestController> newController(std::vector<std::string> ports = {},
                                          const std::string& location = "0000:3b:00.0",
                                          bool foundOnFirstPass = true) {
    Held<TestController> controller(
        new TestController(0x28268086, 0x00018086, location, 1, foundOnFirstPass));
    controller->portList = std::move(ports);
    return controller;
}
