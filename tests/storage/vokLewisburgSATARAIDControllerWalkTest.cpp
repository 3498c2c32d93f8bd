// Whole discoveries of a SATA RAID controller, from the kernel's ports and disks to the records and the
// events.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cerrno>

#include "storage/StorageFixture.h"
#include "storage/vokLewisburgSATARAIDController.h"

namespace vokLewisburgSATARAIDControllerWalkTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SataRaidWalk : public StorageFixture {
protected:
    // The ATA devices 3, 4 and 7 on the hosts 2, 3 and 10, each with a disk.
    void boot(const std::string& family) {
        start(family);
        letEventsPass();
        tree.addController({"0000:00:17.0"});
        addPort(10, 7);
        addPort(2, 3);
        addPort(3, 4);
        plug("2:0:0:0", "sg0", "SERIAL-A");
        plug("3:0:0:0", "sg1", "SERIAL-B");
        plug("10:0:0:0", "sg2", "SERIAL-C");
        controller->eventFlags = vokEventsEnabled;
        walk();
    }
    void addPort(int number, int ata) {
        FakePort port;
        port.host = number;
        port.ata = ata;
        controller->portList.push_back(tree.addPort(port));
    }
    FakeScsi& plug(const std::string& link, const std::string& generic, const std::string& serial) {
        FakeDisk disk;
        disk.link = link;
        disk.generic = generic;
        disk.vendor = "ATA     ";
        disk.model = "SATA DISK       ";
        disk.revision = "FW01";
        disk.serial = serial;
        SataReplies replies;
        replies.serial = serial;
        FakeScsi& node = tree.addDisk(disk);
        answerAsSata(node, replies);
        return node;
    }

    // A discovery of the ports and of the disks. Returns the disks that are there.
    const std::vector<vokDiskInfo>& walk() {
        eventsBefore = events().size();
        pushesBefore = pushes();
        EXPECT_EQ(controller->discoverInventory(info), 1);
        EXPECT_EQ(controller->discoverPhysicalDiskInventory(disks), 1);
        return disks;
    }
    // Of the latest discovery.
    std::vector<Json::Value> newEvents() const {
        const std::vector<Json::Value> all = events();
        return {all.begin() + static_cast<std::ptrdiff_t>(eventsBefore), all.end()};
    }
    std::vector<int> newEventIds() const {
        const std::vector<int> all = eventIds();
        return {all.begin() + static_cast<std::ptrdiff_t>(eventsBefore), all.end()};
    }
    long newPushes() const { return pushes() - pushesBefore; }

    // Link, serial number, slot, place and status of each disk that is there.
    std::vector<std::string> found() const {
        std::vector<std::string> lines;
        for (const vokDiskInfo& disk : disks)
            lines.push_back(disk.getOSSCSILink() + " " + disk.getSerialNumber() + " " + disk.getSlot() + " " +
                            disk.getPhysicalLocation() + " " + disk.stateText());
        return lines;
    }

    // The only event of the latest discovery is the 538 of the disk B.
    void expectLossOfB(const std::string& text) const {
        ASSERT_THAT(newEventIds(), ElementsAre(538));
        const Json::Value event = newEvents()[0];
        EXPECT_EQ(event["PhysicalLocation"], "0000000000003802");
        EXPECT_EQ(event["VariableData"]["Data"]["SerialNumber"], "SERIAL-B");
        EXPECT_EQ(event["VariableData"]["EventInfo"], text);
    }

    Held<TestControllerOf<vokLewisburgSATARAIDController>> controller =
        newControllerOf<vokLewisburgSATARAIDController>({}, "0000:00:17.0");
    vokStorageControllerInfo info;
    std::vector<vokDiskInfo> disks;

private:
    long pushes() const {
        return countLogged(host, "DEBUG SAS_RM: Signalling for inventory push to RMC on cache build.");
    }

    std::size_t eventsBefore = 0;
    long pushesBefore = 0;
};

constexpr char diskA[] = "2:0:0:0 SERIAL-A 1 0000000000003801 Running";
constexpr char diskB[] = "3:0:0:0 SERIAL-B 2 0000000000003802 Running";
constexpr char diskC[] = "10:0:0:0 SERIAL-C 5 0000000000003805 Running";

TEST_F(SataRaidWalk, PortsAreInTheOrderOfTheirHostsAndDisksInTheBaysOfTheirAtaDevices) {
    boot(firstFamily);
    ASSERT_EQ(info.getControllerPortListSize(), 3u);
    EXPECT_EQ(info.getControllerPort(0).getOSInstanceName(), "/sys/class/scsi_host/host2");
    EXPECT_EQ(info.getControllerPort(0).getATADeviceNumber(), 3);
    EXPECT_EQ(info.getControllerPort(1).getOSInstanceName(), "/sys/class/scsi_host/host3");
    EXPECT_EQ(info.getControllerPort(1).getATADeviceNumber(), 4);
    EXPECT_EQ(info.getControllerPort(2).getOSInstanceName(), "/sys/class/scsi_host/host10");
    EXPECT_EQ(info.getControllerPort(2).getATADeviceNumber(), 7);
    EXPECT_EQ(info.getProtocol(), "SATA");
    EXPECT_THAT(found(), ElementsAre(diskC, diskA, diskB));
    EXPECT_EQ(disks.at(1).getProtocol(), "SATA");
    EXPECT_EQ(disks.at(1).getATADeviceNumber(), 3);
    EXPECT_EQ(newPushes(), 3) << "one for each new disk";
    EXPECT_THAT(newEventIds(), IsEmpty());

    walk();
    EXPECT_THAT(found(), ElementsAre(diskC, diskA, diskB));
    EXPECT_EQ(newPushes(), 0);
    EXPECT_THAT(newEventIds(), IsEmpty());
}

TEST_F(SataRaidWalk, AServerWithFourPortsHasNoBayForADiskOnTheFifth) {
    start(secondFamily);
    tree.addController({"0000:00:17.0"});
    for (int number = 1; number <= 5; ++number) {
        addPort(number, number);
        plug(std::to_string(number) + ":0:0:0", "sg" + std::to_string(number), "S" + std::to_string(number));
    }
    walk();
    EXPECT_EQ(info.getControllerPortListSize(), 4u);
    ASSERT_EQ(disks.size(), 5u);
    EXPECT_EQ(disks[3].getSlot(), "4");
    EXPECT_EQ(disks[4].getSlot(), "-1");
    EXPECT_EQ(disks[4].getPhysicalLocation(), "FFFFFFFFFFFFFFFF");
    EXPECT_EQ(disks[4].getState(), VOK_STATE_RUNNING) << "known by its SCSI link";
}

TEST_F(SataRaidWalk, ADiskThatIsPulledLeavesTheInventoryWithA538OfItsPlace) {
    boot(firstFamily);
    tree.removeDisk("3:0:0:0");
    walk();
    EXPECT_THAT(found(), ElementsAre(diskC, diskA));
    EXPECT_EQ(newPushes(), 1);
    expectLossOfB("Disk (SCSI link: 3:0:0:0) detected to be offline in the current discovery cycle.");
    ASSERT_EQ(controller->currentDrives.size(), 3u);
    EXPECT_TRUE(controller->currentDrives[2].getDeviceMissing()) << "its record stays";

    walk();
    EXPECT_EQ(newPushes(), 0);
    EXPECT_THAT(newEventIds(), IsEmpty());
}

TEST_F(SataRaidWalk, ADiskThatIsBackInItsBayRaises540) {
    boot(firstFamily);
    tree.removeDisk("3:0:0:0");
    walk();
    plug("3:0:0:0", "sg1", "SERIAL-B");
    walk();
    EXPECT_THAT(found(), ElementsAre(diskC, diskA, diskB));
    ASSERT_THAT(newEventIds(), ElementsAre(540));
    EXPECT_EQ(newEvents()[0]["PhysicalLocation"], "0000000000003802");
    EXPECT_EQ(newEvents()[0]["VariableData"]["EventInfo"], "");
    EXPECT_EQ(newPushes(), 0);
    EXPECT_EQ(controller->currentDrives.size(), 3u) << "no record of a missing disk is left";
}

TEST_F(SataRaidWalk, ADiskThatIsBackBehindAnotherNodePushesTheInventory) {
    boot(firstFamily);
    tree.removeDisk("3:0:0:0");
    walk();
    plug("3:0:0:0", "sg9", "SERIAL-B");
    walk();
    EXPECT_THAT(newEventIds(), ElementsAre(540));
    EXPECT_EQ(newPushes(), 1);
    EXPECT_EQ(disks.at(2).getOSDeviceName(), "/dev/sg9");
}

TEST_F(SataRaidWalk, AReplacedDiskRaises538ForTheOldOneOnly) {
    boot(firstFamily);
    tree.removeDisk("3:0:0:0");
    plug("3:0:0:0", "sg1", "SERIAL-D");
    walk();
    EXPECT_THAT(found(), ElementsAre(diskC, diskA, "3:0:0:0 SERIAL-D 2 0000000000003802 Running"));
    EXPECT_EQ(newPushes(), 1);
    expectLossOfB(
        "Detected change in disk serial number (Current serial number: SERIAL-D; Last known serial "
        "number: SERIAL-B).");
}

TEST_F(SataRaidWalk, ADiskThatFailsItsIdentificationKeepsWhatOnlyThatTells) {
    boot(firstFamily);
    tree.removeDisk("3:0:0:0");
    plug("3:0:0:0", "sg1", "SERIAL-B").answer(ataIdentify, FakeScsiReply::ioctlFails(EIO));
    walk();
    ASSERT_THAT(found(), ElementsAre(diskC, diskA, diskB));
    EXPECT_EQ(disks[2].getProtocol(), "SATA");
    EXPECT_EQ(disks[2].getMediaType(), "HDD");
    EXPECT_EQ(newPushes(), 0);
}

TEST_F(SataRaidWalk, NoRecordNamesADescriptorAfterADiscovery) {
    boot(firstFamily);
    tree.removeDisk("3:0:0:0");
    walk();
    ASSERT_EQ(controller->currentDrives.size(), 3u);
    ASSERT_EQ(controller->previousDrives.size(), 3u);
    for (const auto* const list : {&controller->currentDrives, &controller->previousDrives, &disks})
        for (const vokDiskInfo& disk : *list) EXPECT_EQ(disk.getOSSGHandle(), -1);
}

}  // namespace
}  // namespace vokLewisburgSATARAIDControllerWalkTest
