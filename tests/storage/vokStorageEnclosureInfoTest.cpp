#include "storage/vokStorageEnclosureInfo.h"

#include <gtest/gtest.h>

#include "core/base/vokJsonText.h"
#include "storage/VirtualSlots.h"
#include "support/FakeHost.h"
#include "support/LoggedLines.h"

namespace vokStorageEnclosureInfoTest {
namespace {

using Oem = vokStorageEnclosureOEMInfo;
using Enclosure = vokStorageEnclosureInfo;

Enclosure filledEnclosure() {
    Enclosure enclosure;
    enclosure.setState(VOK_STATE_RUNNING);
    enclosure.setHealth(VOK_HEALTH_OK);
    enclosure.setEventState(VOK_STATE_FAILED);
    enclosure.setEventHealth(VOK_HEALTH_CRITICAL);
    enclosure.setBayCount(8);
    enclosure.setBox(2);
    enclosure.setPhysicalLocation("0102030405060708");
    enclosure.setControllerPCILocation("0000:3b:00.0");
    enclosure.setEnclosureType(VOK_STORAGE_ENCLOSURE_CHASSIS_BACKPLANE);
    enclosure.setSegmentCount(1);
    enclosure.setFirmwareVersion("1.20");
    enclosure.setModel("8 SFF Backplane");
    enclosure.setType("Backplane");
    enclosure.setPartNumber("784622-001");
    enclosure.setSerialNumber("7C8");
    return enclosure;
}

class EnclosureInfo : public testing::Test {
protected:
    FakeHost host;
};

TEST_F(EnclosureInfo, SlotsOfThePlaceFollowThoseOfTheBase) {
    EXPECT_EQ(
        slotsOf(&Oem::getBayCount, &Oem::setBayCount, &Oem::getBox, &Oem::setBox, &Oem::getPhysicalLocation,
                &Oem::setPhysicalLocation, &Oem::getControllerPCILocation, &Oem::setControllerPCILocation,
                &Oem::getEnclosureType, &Oem::setEnclosureType, &Oem::getSegmentCount, &Oem::setSegmentCount),
        slotsFrom(4, 15));
}

TEST_F(EnclosureInfo, SlotsFollowThoseOfTheStatus) {
    EXPECT_EQ(
        slotsOf(&Enclosure::getFirmwareVersion, &Enclosure::setFirmwareVersion, &Enclosure::getModel,
                &Enclosure::setModel, &Enclosure::getType, &Enclosure::setType, &Enclosure::getPartNumber,
                &Enclosure::setPartNumber, &Enclosure::getSerialNumber, &Enclosure::setSerialNumber),
        slotsFrom(12, 21));
}

TEST_F(EnclosureInfo, StartsWithoutABox) {
    const Enclosure enclosure;
    EXPECT_EQ(enclosure.getBayCount(), 0);
    EXPECT_EQ(enclosure.getBox(), -1);
    EXPECT_EQ(enclosure.getPhysicalLocation(), "");
    EXPECT_EQ(enclosure.getControllerPCILocation(), "");
    EXPECT_EQ(enclosure.getEnclosureType(), 0);
    EXPECT_EQ(enclosure.getSegmentCount(), 0);
    EXPECT_EQ(enclosure.getFirmwareVersion(), "");
    EXPECT_EQ(enclosure.getModel(), "");
    EXPECT_EQ(enclosure.getType(), "");
    EXPECT_EQ(enclosure.getPartNumber(), "");
    EXPECT_EQ(enclosure.getSerialNumber(), "");
}

TEST_F(EnclosureInfo, ACopyHasEveryField) {
    Enclosure copy;
    copy = filledEnclosure();
    EXPECT_EQ(copy.getState(), VOK_STATE_RUNNING);
    EXPECT_EQ(copy.getHealth(), VOK_HEALTH_OK);
    EXPECT_EQ(copy.getEventState(), VOK_STATE_FAILED);
    EXPECT_EQ(copy.getEventHealth(), VOK_HEALTH_CRITICAL);
    EXPECT_EQ(copy.getBayCount(), 8);
    EXPECT_EQ(copy.getBox(), 2);
    EXPECT_EQ(copy.getPhysicalLocation(), "0102030405060708");
    EXPECT_EQ(copy.getControllerPCILocation(), "0000:3b:00.0");
    EXPECT_EQ(copy.getEnclosureType(), 1);
    EXPECT_EQ(copy.getSegmentCount(), 1);
    EXPECT_EQ(copy.getFirmwareVersion(), "1.20");
    EXPECT_EQ(copy.getModel(), "8 SFF Backplane");
    EXPECT_EQ(copy.getType(), "Backplane");
    EXPECT_EQ(copy.getPartNumber(), "784622-001");
    EXPECT_EQ(copy.getSerialNumber(), "7C8");
}

TEST_F(EnclosureInfo, TheTypeIsOneByteWith1ForABackplaneInTheChassis) {
    EXPECT_EQ(sizeof(VOK_STORAGE_ENCLOSURE_TYPE), 1u);
    EXPECT_EQ(VOK_STORAGE_ENCLOSURE_CHASSIS_BACKPLANE, 1);
}

TEST_F(EnclosureInfo, WithTheNormalDebugLevelThePlaceHasTwoMembers) {
    const Oem& place = filledEnclosure();
    EXPECT_EQ(vokJsonText(place.Oem::getVariableData()),
              R"({"Box":2,"PhysicalLocation":"0102030405060708"})");
    EXPECT_EQ(vokJsonText(place.Oem::getInventoryData()),
              R"({"Box":2,"PhysicalLocation":"0102030405060708"})");
}

// Required: the form of the document depends on the log settings.
TEST_F(EnclosureInfo, WithDebugLevel1ThePlaceHasFourMembers) {
    logEverything(host);
    const Oem& place = filledEnclosure();
    EXPECT_EQ(vokJsonText(place.Oem::getVariableData()),
              R"({"BayCount":8,"Box":2,"PhysicalLocation":"0102030405060708","SegmentCount":1})");
    EXPECT_EQ(vokJsonText(place.Oem::getInventoryData()),
              R"({"BayCount":8,"Box":2,"PhysicalLocation":"0102030405060708","SegmentCount":1})");
}

TEST_F(EnclosureInfo, ForAnEventIsAnEnclosureWithItsDataAndNoText) {
    EXPECT_EQ(vokJsonText(filledEnclosure().getVariableData()),
              R"({"Data":{"FirmwareVersion":"1.20","Model":"8 SFF Backplane",)"
              R"("Oem":{"Box":2,"PhysicalLocation":"0102030405060708"},)"
              R"("PartNumber":"784622-001","SerialNumber":"7C8","Type":"Backplane"},)"
              R"("EventInfo":"","Type":"StorageEnclosure"})");
}

TEST_F(EnclosureInfo, InTheInventoryHasItsDataAndTheStatus) {
    EXPECT_EQ(vokJsonText(filledEnclosure().getInventoryData()),
              R"({"FirmwareVersion":"1.20","Model":"8 SFF Backplane",)"
              R"("Oem":{"Box":2,"PhysicalLocation":"0102030405060708"},)"
              R"("PartNumber":"784622-001","SerialNumber":"7C8",)"
              R"("Status":{"Health":"OK","State":"Running"},"Type":"Backplane"})");
}

TEST_F(EnclosureInfo, WithDebugLevel1BothDocumentsHaveTheCountsInOem) {
    logEverything(host);
    EXPECT_EQ(vokJsonText(filledEnclosure().getVariableData()),
              R"({"Data":{"FirmwareVersion":"1.20","Model":"8 SFF Backplane",)"
              R"("Oem":{"BayCount":8,"Box":2,"PhysicalLocation":"0102030405060708","SegmentCount":1},)"
              R"("PartNumber":"784622-001","SerialNumber":"7C8","Type":"Backplane"},)"
              R"("EventInfo":"","Type":"StorageEnclosure"})");
    EXPECT_EQ(filledEnclosure().getInventoryData()["Oem"].size(), 4u);
}

}  // namespace
}  // namespace vokStorageEnclosureInfoTest
