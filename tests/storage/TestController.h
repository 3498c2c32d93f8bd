// A storage controller of any class whose fields a test sets and reads, and whose disks have the slots and
// the status that the test sets.
#pragma once

#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "storage/vokStorageController.h"

// Drops the reference that it owns.
struct DropReference {
    void operator()(vokRemoveLock* object) const { object->dropReference(); }
};
template <typename Type>
using Held = std::unique_ptr<Type, DropReference>;

template <typename Base>
class TestControllerOf : public Base {
public:
    using Base::Base;

    // Slots by SCSI link. A disk without one has no location.
    std::map<std::string, std::string> slots;
    // If set, called instead of the rule of health.
    std::function<void(vokDiskInfo& disk)> onDiskStatus;
    // Set when the controller is deleted.
    bool* deleted = nullptr;

    int discoverPhysicalDiskSlotNumber(vokDiskInfo& disk) override {
        const auto found = slots.find(disk.getOSSCSILink());
        if (found == slots.end()) return Base::discoverPhysicalDiskSlotNumber(disk);
        disk.setSlot(found->second);
        return 0;
    }
    void discoverPhysicalDiskStatus(vokDiskInfo& disk) override {
        if (onDiskStatus) return onDiskStatus(disk);
        Base::discoverPhysicalDiskStatus(disk);
    }

    using Base::currentDrives;
    using Base::currentEnclosures;
    using Base::currentInfo;
    using Base::currentLogicalDisks;
    using Base::deviceNameMap;
    using Base::eventFlags;
    using Base::lastControllerEvent;
    using Base::lock;
    using Base::newDevice;
    using Base::portList;
    using Base::previousDrives;
    using Base::previousEnclosures;
    using Base::previousInfo;
    using Base::previousLogicalDisks;

protected:
    ~TestControllerOf() override {
        if (deleted) *deleted = true;
    }
};
using TestController = TestControllerOf<vokStorageController>;

// True if this thread holds the lock of a controller, so that another one can't take it.
inline bool isLockedFor(TestController& controller) {
    return !std::async(std::launch::async, [&controller] {
                const std::unique_lock<std::recursive_mutex> attempt(controller.lock, std::try_to_lock);
                return attempt.owns_lock();
            }).get();
}

// A new controller with these ports and one reference.
template <typename Base>
Held<TestControllerOf<Base>> newControllerOf(std::vector<std::string> ports, const std::string& location,
                                             bool foundOnFirstPass = true) {
    Held<TestControllerOf<Base>> controller(
        new TestControllerOf<Base>(0x28268086, 0x00018086, location, 1, foundOnFirstPass));
    controller->portList = std::move(ports);
    return controller;
}
inline Held<TestController> newController(std::vector<std::string> ports = {},
                                          const std::string& location = "0000:3b:00.0",
                                          bool foundOnFirstPass = true) {
    return newControllerOf<vokStorageController>(std::move(ports), location, foundOnFirstPass);
}
