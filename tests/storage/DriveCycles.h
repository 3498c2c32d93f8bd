// A storage controller that goes from one discovery cycle to the next with the disks that a test puts into
// it, for the tests of what becomes of them. The health of a disk is what the test set for its serial number.
#pragma once

#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "storage/StorageFixture.h"
#include "storage/vokLewisburgSATARAIDController.h"

template <typename Class>
class DriveCycles : public StorageFixture {
protected:
    using Controller = TestControllerOf<Class>;
    static constexpr bool isSataRaid = std::is_same_v<Class, vokLewisburgSATARAIDController>;
    static constexpr const char* tag = isSataRaid ? "STOR_LB: " : "STOR_CTLR: ";

    struct Health {
        VOK_RESOURCE_STATE state = VOK_STATE_RUNNING;
        std::string text;
    };

    DriveCycles() {
        letEventsPass();
        renew();
    }

    // Another controller, with events enabled unless `flags` says otherwise.
    void renew(std::uint32_t flags = vokEventsEnabled) {
        controller = newControllerOf<Class>({}, "0000:00:17.0");
        controller->eventFlags = flags;
        controller->onDiskStatus = [this](vokDiskInfo& disk) {
            asked.push_back(disk);
            const Health& health = healths[disk.getSerialNumber()];
            disk.setState(health.state);
            disk.setHealth(health.state == VOK_STATE_RUNNING ? VOK_HEALTH_OK : VOK_HEALTH_WARNING);
            disk.setEventInfoString(health.text);
        };
        healths.clear();
        startCounting();
    }

    // The disk in a bay: its location, slot and SCSI link name the bay.
    static vokDiskInfo diskIn(int bay, const std::string& serial) {
        vokDiskInfo disk;
        disk.setPhysicalLocation("00000000000038" + std::to_string(10 + bay));
        disk.setSlot(std::to_string(bay));
        disk.setOSSCSILink(std::to_string(bay) + ":0:0:0");
        disk.setSerialNumber(serial);
        return disk;
    }
    // A disk at this location and slot, with a link of its own.
    vokDiskInfo diskAt(const std::string& location, const std::string& slot, const std::string& serial) {
        vokDiskInfo disk;
        disk.setPhysicalLocation(location);
        disk.setSlot(slot);
        disk.setOSSCSILink(std::to_string(++links) + ":0:0:0");
        disk.setSerialNumber(serial);
        return disk;
    }

    // The end of a discovery that has found these disks.
    void cycle(std::vector<vokDiskInfo> found) {
        controller->previousDrives = controller->currentDrives;
        controller->currentDrives = std::move(found);
        asked.clear();
        controller->synchronizePhysicalDrivesInventory();
    }

    vokDiskInfo& drive(std::size_t position) { return controller->currentDrives.at(position); }
    std::vector<std::string> serials() const {
        std::vector<std::string> all;
        for (const vokDiskInfo& disk : controller->currentDrives) all.push_back(disk.getSerialNumber());
        return all;
    }

    // Since the last call of startCounting().
    std::vector<int> newEventIds() const {
        const std::vector<int> all = eventIds();
        return {all.begin() + static_cast<std::ptrdiff_t>(eventsBefore), all.end()};
    }
    std::vector<Json::Value> newEvents() const {
        const std::vector<Json::Value> all = events();
        return {all.begin() + static_cast<std::ptrdiff_t>(eventsBefore), all.end()};
    }
    long newPushes() const { return pushes() - pushesBefore; }
    void startCounting() {
        eventsBefore = events().size();
        pushesBefore = pushes();
    }

    long timesLoggedAt(const std::string& level, const std::string& line) const {
        return countLogged(host, level + " " + tag + line);
    }

    Held<Controller> controller;
    std::map<std::string, Health> healths;  // by serial number
    std::vector<vokDiskInfo> asked;         // for their health in this cycle, as they were before

private:
    long pushes() const {
        return countLogged(host, "DEBUG SAS_RM: Signalling for inventory push to RMC on cache build.");
    }

    std::size_t eventsBefore = 0;
    long pushesBefore = 0;
    int links = 100;
};
