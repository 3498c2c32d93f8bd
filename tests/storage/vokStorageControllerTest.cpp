// Fields, ports, copies and the order of the virtual operations.
#include "storage/vokStorageController.h"

#include <gmock/gmock.h>

#include "storage/StorageFixture.h"
#include "storage/VirtualSlots.h"

namespace vokStorageControllerTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class Controller : public testing::Test {
protected:
    static vokDiskInfo diskOf(const std::string& link) {
        vokDiskInfo disk;
        disk.setOSSCSILink(link);
        return disk;
    }

    const Held<TestController> controller = newController({"/sys/class/scsi_host/host0"});
};

TEST(StorageControllerSlots, TheVirtualOperationsAreInTheirOrder) {
    using Base = IvokStorageController;
    using Class = vokStorageController;
    using Disks = std::vector<vokDiskInfo>;
    using Volumes = std::vector<vokLogicalDiskInfo>;
    using Enclosures = std::vector<vokStorageEnclosureInfo>;
    const std::vector<int> slots = slotsOf(
        &Base::discoverInventory, &Base::discoverPhysicalDiskInventory, &Base::discoverLogicalDiskInventory,
        &Base::discoverStorageEnclosureInventory, &Base::isMatchingController, &Base::enableEvents,
        &Base::isEventsEnabled, &Base::disableEvents, &Base::poll, &Base::processDeviceRemoval,
        &Base::processDeviceAddition, &Base::getChipsetID, &Base::getBoardID, &Base::getPciLocation,
        &Base::getPortVector, &Base::getPort, &Base::setPort, &Base::addPort, &Base::clearPortList,
        &Base::getPortListSize, &Base::deletePort, &Base::getFamilyFlags, &Base::getNewDevice,
        &Base::setNewDevice, &Base::getFoundOnFirstDiscoveryPass,
        static_cast<void (Base::*)(vokStorageControllerInfo&)>(&Base::getInventory),
        static_cast<vokStorageControllerInfo (Base::*)()>(&Base::getInventory),
        static_cast<void (Base::*)(Disks&)>(&Base::getPhysicalDrivesInventory),
        static_cast<Disks (Base::*)()>(&Base::getPhysicalDrivesInventory),
        static_cast<void (Base::*)(Volumes&)>(&Base::getLogicalDiskInventory),
        static_cast<Volumes (Base::*)()>(&Base::getLogicalDiskInventory),
        static_cast<void (Base::*)(Enclosures&)>(&Base::getStorageEnclosureInventory),
        static_cast<Enclosures (Base::*)()>(&Base::getStorageEnclosureInventory),
        &Class::getHostNumberForControllerPort, &Class::getATADeviceNumberForControllerPort,
        &Class::discoverFirmwareVersion, &Class::discoverSerialNumber, &Class::discoverManufacturer,
        &Class::discoverControllerPortStatus, &Class::discoverPhysicalDiskSlotNumber,
        &Class::discoverPhysicalDiskManufacturer, &Class::discoverPhysicalDiskStatus,
        &Class::validatePhysicalDisk, &Class::computeControllerStatus,
        &Class::formatControllerEventInfoString, &Class::populateDeviceNameMap, &Class::getLogicalDeviceName,
        &Class::synchronizePhysicalDrivesInventory, &Class::synchronizeLogicalDiskInventory);
    EXPECT_EQ(slots, slotsFrom(2, 50));  // after the two of the destructor
}

TEST_F(Controller, ItIsCreatedWithItsIdentity) {
    const Held<TestController> created(new TestController(0x28268086, 0x00018086, "0000:5e:00.0", 5, true));
    EXPECT_EQ(created->getChipsetID(), 0x28268086u);
    EXPECT_EQ(created->getBoardID(), 0x00018086u);
    EXPECT_EQ(created->getPciLocation(), "0000:5e:00.0");
    EXPECT_EQ(created->getFamilyFlags(), 5);
    EXPECT_TRUE(created->getNewDevice());
    EXPECT_TRUE(created->getFoundOnFirstDiscoveryPass());
    EXPECT_FALSE(newController({}, "0000:5e:00.0", false)->getFoundOnFirstDiscoveryPass());
    EXPECT_THAT(created->getPortVector(), IsEmpty());
    EXPECT_EQ(created->eventFlags, 0u);
    EXPECT_EQ(created->lastControllerEvent, -1);
    EXPECT_FALSE(created->isRemoved());
}

TEST_F(Controller, ANewDeviceIsOneUntilItIsSetOtherwise) {
    controller->setNewDevice(false);
    EXPECT_FALSE(controller->getNewDevice());
}

TEST_F(Controller, ItMatchesByBothIdsAndTheLocation) {
    EXPECT_TRUE(controller->isMatchingController(0x28268086, 0x00018086, "0000:3b:00.0", "any"));
    EXPECT_TRUE(controller->isMatchingController(0x28268086, 0x00018086, "0000:3b:00.0", nullptr));
    EXPECT_FALSE(controller->isMatchingController(0x28268087, 0x00018086, "0000:3b:00.0", nullptr));
    EXPECT_FALSE(controller->isMatchingController(0x28268086, 0x00018087, "0000:3b:00.0", nullptr));
    EXPECT_FALSE(controller->isMatchingController(0x28268086, 0x00018086, "0000:3b:00.1", nullptr));
    EXPECT_FALSE(controller->isMatchingController(0x28268086, 0x00018086, "0000:3b:00", nullptr));
    EXPECT_FALSE(controller->isMatchingController(0x28268086, 0x00018086, nullptr, nullptr));
}

TEST_F(Controller, PortsAreAddedSetDeletedAndCleared) {
    std::string second = "/sys/class/scsi_host/host1";
    controller->addPort(second);
    EXPECT_EQ(controller->getPortListSize(), 2u);
    EXPECT_EQ(controller->getPort(1), "/sys/class/scsi_host/host1");
    controller->setPort(1, "/sys/class/scsi_host/host7");
    controller->deletePort(0);
    EXPECT_THAT(controller->getPortVector(), ElementsAre("/sys/class/scsi_host/host7"));
    controller->clearPortList();
    EXPECT_THAT(controller->getPortVector(), IsEmpty());
}

TEST_F(Controller, APortThatIsNotThereIsEmptyAndCannotBeChanged) {
    EXPECT_EQ(controller->getPort(1), "");
    controller->setPort(1, "/sys/class/scsi_host/host7");
    controller->deletePort(1);
    EXPECT_THAT(controller->getPortVector(), ElementsAre("/sys/class/scsi_host/host0"));
}

TEST_F(Controller, TheInventoryIsHandedOutAsCopies) {
    controller->currentInfo.setModel("Array 930");
    controller->currentDrives = {diskOf("0:0:0:0"), diskOf("0:0:1:0")};
    controller->currentDrives[1].setDeviceMissing(true);
    controller->currentLogicalDisks.resize(3);
    controller->currentEnclosures.resize(4);

    vokStorageControllerInfo info;
    std::vector<vokDiskInfo> disks(7);
    std::vector<vokLogicalDiskInfo> volumes(7);
    std::vector<vokStorageEnclosureInfo> enclosures(7);
    controller->getInventory(info);
    controller->getPhysicalDrivesInventory(disks);
    controller->getLogicalDiskInventory(volumes);
    controller->getStorageEnclosureInventory(enclosures);
    EXPECT_EQ(info.getModel(), "Array 930");
    ASSERT_THAT(disks, SizeIs(2));  // the missing one included
    EXPECT_EQ(disks[1].getOSSCSILink(), "0:0:1:0");
    EXPECT_THAT(volumes, SizeIs(3));
    EXPECT_THAT(enclosures, SizeIs(4));

    info.setModel("changed");
    disks[0].setOSSCSILink("changed");
    EXPECT_EQ(controller->getInventory().getModel(), "Array 930");
    EXPECT_EQ(controller->getPhysicalDrivesInventory()[0].getOSSCSILink(), "0:0:0:0");
    EXPECT_THAT(controller->getLogicalDiskInventory(), SizeIs(3));
    EXPECT_THAT(controller->getStorageEnclosureInventory(), SizeIs(4));
}

TEST_F(Controller, TheBaseFindsNoVolumesAndNoEnclosuresAndLeavesTheListsAlone) {
    std::vector<vokLogicalDiskInfo> volumes(2);
    std::vector<vokStorageEnclosureInfo> enclosures(3);
    EXPECT_EQ(controller->discoverLogicalDiskInventory(volumes), 1);
    EXPECT_EQ(controller->discoverStorageEnclosureInventory(enclosures), 1);
    EXPECT_THAT(volumes, SizeIs(2));
    EXPECT_THAT(enclosures, SizeIs(3));
}

TEST_F(Controller, TheBaseAllowsEveryDiskAndKnowsNoSlot) {
    vokDiskInfo disk = diskOf("0:0:0:0");
    EXPECT_EQ(controller->discoverPhysicalDiskSlotNumber(disk), -1);
    EXPECT_EQ(disk.getSlot(), "-1");
    EXPECT_TRUE(controller->validatePhysicalDisk(disk));
    EXPECT_TRUE(controller->isEventsEnabled());
    EXPECT_EQ(controller->getMaxSupportedControllerPorts(), 0u);
}

TEST_F(Controller, ADurableNameIsLookedUpInTheMapThatTheBaseLeavesEmpty) {
    controller->populateDeviceNameMap();
    EXPECT_THAT(controller->deviceNameMap, IsEmpty());
    controller->deviceNameMap["5000C500A1B2C3D4"] = "sda";
    EXPECT_EQ(controller->getLogicalDeviceName("5000C500A1B2C3D4"), "sda");
    EXPECT_EQ(controller->getLogicalDeviceName("5000C500A1B2C3D5"), "");
}

}  // namespace
}  // namespace vokStorageControllerTest
