#include "storage/vokStorageControllerInfo.h"

#include <gtest/gtest.h>
#include <type_traits>

#include "core/base/vokJsonText.h"
#include "storage/VirtualSlots.h"

namespace vokStorageControllerInfoTest {
namespace {

using Controller = vokStorageControllerInfo;
using Port = vokStorageControllerPortInfo;

Port portOf(const std::string& host) {
    Port port;
    port.setOSInstanceName(host);
    return port;
}

Controller filledController() {
    Controller controller;
    controller.setState(VOK_STATE_DEGRADED);
    controller.setHealth(VOK_HEALTH_WARNING);
    controller.setEventState(VOK_STATE_RUNNING);
    controller.setEventHealth(VOK_HEALTH_OK);
    controller.setPhysicalLocation("0102030405060708");
    controller.setDescription("Slot 3");
    controller.setModel("Array 930");
    controller.setSerialNumber("PFJHD0");
    controller.setPartNumber("836260-001");
    controller.setFirmwareVersion("3.53");
    controller.setManufacturer("MEV");
    controller.setProtocol("SAS");
    controller.setChipsetID(0x10000411);
    controller.setBoardID(0x10009361);
    Port port = portOf("/sys/class/scsi_host/host0");
    controller.addControllerPort(port);
    controller.setEventInfoString("All ports are online");
    return controller;
}

TEST(IOControllerPhyLoc, SlotsFollowThoseOfTheBase) {
    EXPECT_EQ(
        slotsOf(&vokIOControllerPhyLoc::getPhysicalLocation, &vokIOControllerPhyLoc::setPhysicalLocation,
                &vokIOControllerPhyLoc::getDescription, &vokIOControllerPhyLoc::setDescription),
        slotsFrom(4, 7));
}

TEST(IOControllerPhyLoc, ForAnEventHasLocationAndDescriptionAndAddsNothingToTheInventory) {
    vokIOControllerPhyLoc place;
    EXPECT_EQ(vokJsonText(place.getVariableData()), R"({"Description":"","PhysicalLocation":""})");
    place.setPhysicalLocation("FFFFFFFFFFFFFFFF");
    place.setDescription("Embedded");
    EXPECT_EQ(vokJsonText(place.getVariableData()),
              R"({"Description":"Embedded","PhysicalLocation":"FFFFFFFFFFFFFFFF"})");
    EXPECT_TRUE(place.getInventoryData().isNull());
}

TEST(ControllerPortInfo, SlotsFollowThoseOfTheStatus) {
    EXPECT_EQ(slotsOf(&Port::getOSInstanceName, &Port::setOSInstanceName, &Port::getDriverName,
                      &Port::setDriverName, &Port::getLastRecoveryTimestamp, &Port::setLastRecoveryTimestamp,
                      &Port::getATADeviceNumber, &Port::setATADeviceNumber),
              slotsFrom(12, 19));
}

TEST(ControllerPortInfo, StartsOutsideRecoveryAndKeepsItsFieldsInACopy) {
    Port port;
    EXPECT_EQ(port.getOSInstanceName(), "");
    EXPECT_EQ(port.getDriverName(), "");
    EXPECT_EQ(port.getLastRecoveryTimestamp(), 0);
    EXPECT_EQ(port.getATADeviceNumber(), -1);
    port.setOSInstanceName("/sys/class/scsi_host/host2");
    port.setDriverName("ahci");
    port.setLastRecoveryTimestamp(1700000000);
    port.setATADeviceNumber(5);
    port.setState(VOK_STATE_RECOVERY);
    const Port copy = port;
    EXPECT_EQ(copy.getOSInstanceName(), "/sys/class/scsi_host/host2");
    EXPECT_EQ(copy.getDriverName(), "ahci");
    EXPECT_EQ(copy.getLastRecoveryTimestamp(), 1700000000);
    EXPECT_EQ(copy.getATADeviceNumber(), 5);
    EXPECT_EQ(copy.getState(), VOK_STATE_RECOVERY);
}

TEST(ControllerPortInfo, HasNoDocuments) {
    EXPECT_TRUE(portOf("/sys/class/scsi_host/host2").getVariableData().isNull());
    EXPECT_TRUE(portOf("/sys/class/scsi_host/host2").getInventoryData().isNull());
}

TEST(ControllerInfo, SlotsFollowThoseOfTheStatusInTheOrderOfTheFields) {
    EXPECT_EQ(slotsOf(&Controller::getModel, &Controller::setModel, &Controller::getSerialNumber,
                      &Controller::setSerialNumber, &Controller::getPartNumber, &Controller::setPartNumber,
                      &Controller::getFirmwareVersion, &Controller::setFirmwareVersion,
                      &Controller::getManufacturer, &Controller::setManufacturer, &Controller::getProtocol,
                      &Controller::setProtocol, &Controller::getChipsetID, &Controller::setChipsetID,
                      &Controller::getBoardID, &Controller::setBoardID),
              slotsFrom(12, 27));
}

TEST(ControllerInfo, TheOperationsOfThePortsLieBetweenTheBoardAndTheEventText) {
    EXPECT_EQ(slotsOf(&Controller::getControllerPortVector, &Controller::getControllerPort,
                      &Controller::setControllerPort, &Controller::addControllerPort,
                      &Controller::clearControllerPortList, &Controller::getControllerPortListSize,
                      &Controller::deleteControllerPort, &Controller::getEventInfoString,
                      &Controller::setEventInfoString),
              slotsFrom(28, 36));
}

TEST(ControllerInfo, StartsEmpty) {
    const Controller controller;
    EXPECT_EQ(controller.getModel(), "");
    EXPECT_EQ(controller.getSerialNumber(), "");
    EXPECT_EQ(controller.getPartNumber(), "");
    EXPECT_EQ(controller.getFirmwareVersion(), "");
    EXPECT_EQ(controller.getManufacturer(), "");
    EXPECT_EQ(controller.getProtocol(), "");
    EXPECT_EQ(controller.getChipsetID(), 0u);
    EXPECT_EQ(controller.getBoardID(), 0u);
    EXPECT_EQ(controller.getControllerPortListSize(), 0u);
    EXPECT_EQ(controller.getEventInfoString(), "");
}

TEST(ControllerInfo, ACopyHasEveryFieldWithTheStatusAndThePorts) {
    Controller copy;
    copy = filledController();
    EXPECT_EQ(copy.getState(), VOK_STATE_DEGRADED);
    EXPECT_EQ(copy.getHealth(), VOK_HEALTH_WARNING);
    EXPECT_EQ(copy.getEventState(), VOK_STATE_RUNNING);
    EXPECT_EQ(copy.getEventHealth(), VOK_HEALTH_OK);
    EXPECT_EQ(copy.getPhysicalLocation(), "0102030405060708");
    EXPECT_EQ(copy.getDescription(), "Slot 3");
    EXPECT_EQ(copy.getModel(), "Array 930");
    EXPECT_EQ(copy.getSerialNumber(), "PFJHD0");
    EXPECT_EQ(copy.getPartNumber(), "836260-001");
    EXPECT_EQ(copy.getFirmwareVersion(), "3.53");
    EXPECT_EQ(copy.getManufacturer(), "MEV");
    EXPECT_EQ(copy.getProtocol(), "SAS");
    EXPECT_EQ(copy.getChipsetID(), 0x10000411u);
    EXPECT_EQ(copy.getBoardID(), 0x10009361u);
    ASSERT_EQ(copy.getControllerPortListSize(), 1u);
    EXPECT_EQ(copy.getControllerPort(0).getOSInstanceName(), "/sys/class/scsi_host/host0");
    EXPECT_EQ(copy.getEventInfoString(), "All ports are online");
}

TEST(ControllerInfo, ForAnEventIsAControllerWithItsDataAndTheText) {
    EXPECT_EQ(vokJsonText(filledController().getVariableData()),
              R"({"Data":{"FirmwareVersion":"3.53","Manufacturer":"MEV","Model":"Array 930",)"
              R"("Oem":{"Description":"Slot 3","PhysicalLocation":"0102030405060708"},)"
              R"("PartNumber":"836260-001","Protocol":"SAS","SerialNumber":"PFJHD0"},)"
              R"("EventInfo":"All ports are online","Type":"Controller"})");
}

TEST(ControllerInfo, WithoutFactsHasEmptyTexts) {
    EXPECT_EQ(vokJsonText(Controller().getVariableData()),
              R"({"Data":{"FirmwareVersion":"","Manufacturer":"","Model":"",)"
              R"("Oem":{"Description":"","PhysicalLocation":""},"PartNumber":"","Protocol":"",)"
              R"("SerialNumber":""},"EventInfo":"","Type":"Controller"})");
}

TEST(ControllerInfo, AddsNothingToTheInventoryByItself) {
    EXPECT_TRUE(filledController().getInventoryData().isNull());
}

class ControllerPorts : public testing::Test {
protected:
    ControllerPorts() {
        for (const char* const name : {"host0", "host1", "host2"}) {
            Port port = portOf(name);
            controller.addControllerPort(port);
        }
    }

    std::string names() const {
        std::string all;
        for (const Port& port : controller.getControllerPortVector()) all += port.getOSInstanceName() + ' ';
        return all;
    }

    Controller controller;
};

TEST_F(ControllerPorts, StayInTheOrderInWhichTheyWereAdded) {
    EXPECT_EQ(controller.getControllerPortListSize(), 3u);
    EXPECT_EQ(names(), "host0 host1 host2 ");
    EXPECT_EQ(controller.getControllerPort(1).getOSInstanceName(), "host1");
}

TEST(ControllerInfo, PortsArePassedByReference) {
    EXPECT_TRUE((
        std::is_same_v<decltype(&Controller::setControllerPort), void (Controller::*)(unsigned int, Port&)>));
    EXPECT_TRUE((std::is_same_v<decltype(&Controller::addControllerPort), void (Controller::*)(Port&)>));
}

TEST_F(ControllerPorts, AreTakenAsCopies) {
    Port port = portOf("host3");
    controller.addControllerPort(port);
    port.setOSInstanceName("host4");
    controller.setControllerPort(0, port);
    port.setOSInstanceName("other");
    EXPECT_EQ(names(), "host4 host1 host2 host3 ");
}

TEST_F(ControllerPorts, AreHandedOutAsCopies) {
    controller.getControllerPortVector().clear();
    controller.getControllerPort(0).setOSInstanceName("other");
    EXPECT_EQ(names(), "host0 host1 host2 ");
}

TEST_F(ControllerPorts, CanBeReplacedRemovedAndCleared) {
    Port port = portOf("host7");
    controller.setControllerPort(1, port);
    EXPECT_EQ(names(), "host0 host7 host2 ");
    controller.deleteControllerPort(0);
    EXPECT_EQ(names(), "host7 host2 ");
    controller.clearControllerPortList();
    EXPECT_EQ(controller.getControllerPortListSize(), 0u);
}

TEST_F(ControllerPorts, BeyondTheEndReadAsADefaultPortAndStayAbsent) {
    EXPECT_EQ(controller.getControllerPort(3).getOSInstanceName(), "");
    EXPECT_EQ(controller.getControllerPort(4294967295u).getATADeviceNumber(), -1);
    Port port = portOf("host7");
    controller.setControllerPort(3, port);
    controller.deleteControllerPort(3);
    controller.deleteControllerPort(4294967295u);
    EXPECT_EQ(names(), "host0 host1 host2 ");
}

TEST(StorageEventInfoType, HasTheNumbersOfTheThreeTexts) {
    EXPECT_EQ(STORAGE_EVENT_INFO_ALL_PORTS_WELL, 1);
    EXPECT_EQ(STORAGE_EVENT_INFO_PARTIAL_PROBLEM, 2);
    EXPECT_EQ(STORAGE_EVENT_INFO_SERIOUS_PROBLEM, 3);
}

}  // namespace
}  // namespace vokStorageControllerInfoTest
