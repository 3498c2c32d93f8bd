// A host with RAID controllers behind a fake of the vendor's library, for the tests of the RAID classes: the
// library, the platform with its locations, the delivered events and the log.
//
//     start(firstFamily);                                      // a platform with locations
//     library.controllers = {raidController()};                // 0000:5e:00.0 with one disk and one volume
//     letEventsPass();
//     const auto controller = newRaidController();
//     controller->discoverInventory(info);
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "megaraid/vokMegaRAIDController.h"
#include "megaraid/vokMegaRAIDControllerFactory.h"
#include "platform/utils/platformCheck.h"
#include "platform/utils/vokUtils.h"
#include "storage/SASResourceManager.h"
#include "storage/vokHeldReference.h"
#include "support/DeliveredEvents.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"
#include "support/FakeStoreLib.h"
#include "support/LocationLibrary.h"
#include "support/LoggedLines.h"
#include "support/SmBiosTable.h"

// The controllers of the two makes that the agent knows.
struct RaidModel {
    std::uint32_t chipset;
    std::uint32_t board;
};
constexpr RaidModel model9361 = {0x005D1000, 0x93631000};
constexpr RaidModel model9560Small = {0x10E21000, 0x40101000};
constexpr RaidModel model9560Large = {0x10E21000, 0x40001000};

class MegaRaidFixture : public testing::Test {
protected:
    static constexpr char firstFamily[] = "7711PID02020001";
    static constexpr char secondFamily[] = "7711PID03020102";
    // On both platforms: the location of the function 0000:5e:00.0, in slot 3.
    static constexpr char slotLocation[] = "0000000000000303";

    // `settings`: further members of the agent's configuration.
    explicit MegaRaidFixture(const std::string& settings = "") { logEverything(host, settings); }

    // Reads a firmware table in which 0000:5e:00.0 is in slot 3, 0000:3b:00.0 in slot 8 and 0000:86:00.0 in
    // slot 3 of another chassis, and offers the platform's library of locations. Called once, by the tests
    // that need a platform.
    void start(const std::string& family, const std::string& manufacturer = "MEV") {
        const bool isFirst = family == firstFamily;
        const std::string chassis = isFirst ? "Slot r001u05p2i" : "Slot r001i02s";
        const std::string otherChassis = isFirst ? "Slot r001u07p2i" : "Slot r001i04s";
        host.root.writeFile(SmBiosTable::deviceFile, SmBiosTable()
                                                         .addSystem(manufacturer, family)
                                                         .addSlot(chassis + "03", "0000:5e:00.0")
                                                         .addSlot(chassis + "08", "0000:3b:00.0")
                                                         .addSlot(otherChassis + "03", "0000:86:00.0")
                                                         .addEnd()
                                                         .contents());
        platformCheck::setDirectoryPath();
        vokUtils::initializeSMBIOS();
        vokUtils::initGeoIDMap();
        addLocationLibrary(host, isFirst ? "libvkloc0202.so" : "libvkloc0302.so");
    }
    // Lets events pass from now on, as after a first push.
    void letEventsPass() { ::letEventsPass(ipmi); }

    // At 0000:5e:00.0, with the disk `raidDisk()` and a volume of it.
    static FakeRaidController raidController(std::uint32_t id = 0, const RaidModel& model = model9361) {
        FakeRaidController controller;
        controller.id = id;
        controller.serial = "SV0000000" + std::to_string(id + 1);
        controller.chipset = model.chipset;
        controller.board = model.board;
        controller.disks = {raidDisk(1, "S1")};
        controller.volumes = {raidVolume(0, {1})};
        return controller;
    }
    // In enclosure 252, in the slot with the number of its device id.
    static FakeRaidDisk raidDisk(std::uint16_t deviceId, const std::string& serial) {
        FakeRaidDisk disk;
        disk.deviceId = deviceId;
        disk.slot = static_cast<std::uint8_t>(deviceId);
        disk.serial = serial;
        return disk;
    }
    static FakeRaidVolume raidVolume(std::uint8_t target, const std::vector<std::uint16_t>& disks) {
        FakeRaidVolume volume;
        volume.target = target;
        volume.id = std::string(15, 'V') + static_cast<char>('A' + target);
        volume.disks = disks;
        return volume;
    }
    // A controller object of this id, outside the factory.
    static vokHeldReference<vokMegaRAIDController> newRaidController(std::uint32_t id = 0) {
        return vokHeldReference<vokMegaRAIDController>(new vokMegaRAIDController(id));
    }

    bool logged(const std::string& line) const { return hasLogged(host, line); }
    long timesLogged(const std::string& line) const { return countLogged(host, line); }
    std::vector<Json::Value> events() const { return deliveredEvents(ipmi); }
    std::vector<int> eventIds() const { return deliveredEventIds(ipmi); }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeIpmi& ipmi = host.add<FakeIpmi>();
    FakeStoreLib library{host};
};
