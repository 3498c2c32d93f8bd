#include "storage/vokDiskInfo.h"

#include <gtest/gtest.h>
#include <type_traits>

#include "core/base/vokJsonText.h"
#include "storage/VirtualSlots.h"

namespace vokDiskInfoTest {
namespace {

// A disk with a value of its own in every field.
vokDiskInfo filledDisk() {
    vokDiskInfo disk;
    disk.setState(VOK_STATE_RUNNING);
    disk.setHealth(VOK_HEALTH_OK);
    disk.setEventState(VOK_STATE_FAILED);
    disk.setEventHealth(VOK_HEALTH_CRITICAL);
    disk.setSlot("7");
    disk.setPhysicalLocation("0102030405060708");
    disk.setATADeviceNumber(3);
    disk.setSerialNumber("S0K5MYY4");
    disk.setPartNumber("868774-001");
    disk.setModel("MK1200SAS");
    disk.setCapacityBytes(18446744073709551615ull);
    disk.setProtocol("SAS");
    disk.setManufacturer("MEV");
    disk.setMediaType("SSD");
    disk.setRevision("D003");
    disk.setOSDeviceName("/dev/sg4");
    disk.setOSSCSILink("0:0:1:0");
    disk.setOSSGHandle(9);
    disk.setATAMajorRevision(0x0FF8);
    disk.setEventInfoString("Disk wears out");
    disk.setIfTempPageSupported(false);
    disk.setIfSSDWearPageSupported(false);
    disk.setDeviceMissing(true);
    disk.setPreferSCModelNumber(TRISTATE_TRUE);
    return disk;
}

TEST(DiskPhyLoc, SlotsFollowThoseOfTheBaseInTheOrderOfTheFields) {
    EXPECT_EQ(slotsOf(&vokDiskPhyLoc::getSlot, &vokDiskPhyLoc::setSlot, &vokDiskPhyLoc::getPhysicalLocation,
                      &vokDiskPhyLoc::setPhysicalLocation, &vokDiskPhyLoc::getATADeviceNumber,
                      &vokDiskPhyLoc::setATADeviceNumber),
              slotsFrom(4, 9));
}

TEST(DiskPhyLoc, ItsPlaceIsUnknownAtFirst) {
    const vokDiskPhyLoc place;
    EXPECT_EQ(place.getSlot(), "-1");
    EXPECT_EQ(place.getPhysicalLocation(), "");
    EXPECT_EQ(place.getATADeviceNumber(), -1);
}

TEST(DiskPhyLoc, ForAnEventHasSlotAndLocationAndAddsNothingToTheInventory) {
    vokDiskPhyLoc place;
    place.setSlot("12");
    place.setPhysicalLocation("FFFFFFFFFFFFFFFF");
    EXPECT_EQ(vokJsonText(place.getVariableData()), R"({"PhysicalLocation":"FFFFFFFFFFFFFFFF","Slot":"12"})");
    EXPECT_TRUE(place.getInventoryData().isNull());
}

TEST(DiskInfo, HasStatusAndPlaceAsNonVirtualBases) {
    EXPECT_TRUE((std::is_base_of_v<vokDiskStatusInfo, vokDiskInfo>));
    EXPECT_TRUE((std::is_base_of_v<vokDiskPhyLoc, vokDiskInfo>));
    vokDiskInfo disk;
    // One of each, and one common base.
    const vokInventoryBase* const ofStatus = static_cast<vokStatusInfo*>(&disk);
    const vokInventoryBase* const ofPlace = static_cast<vokDiskPhyLoc*>(&disk);
    EXPECT_EQ(ofStatus, ofPlace);
}

TEST(DiskInfo, SlotsFollowThoseOfTheStatusInTheOrderOfTheFields) {
    EXPECT_EQ(slotsOf(&vokDiskInfo::getSerialNumber, &vokDiskInfo::setSerialNumber,
                      &vokDiskInfo::getPartNumber, &vokDiskInfo::setPartNumber, &vokDiskInfo::getModel,
                      &vokDiskInfo::setModel, &vokDiskInfo::getCapacityBytes, &vokDiskInfo::setCapacityBytes,
                      &vokDiskInfo::getProtocol, &vokDiskInfo::setProtocol, &vokDiskInfo::getManufacturer,
                      &vokDiskInfo::setManufacturer, &vokDiskInfo::getMediaType, &vokDiskInfo::setMediaType,
                      &vokDiskInfo::getRevision, &vokDiskInfo::setRevision, &vokDiskInfo::getOSDeviceName,
                      &vokDiskInfo::setOSDeviceName, &vokDiskInfo::getOSSCSILink, &vokDiskInfo::setOSSCSILink,
                      &vokDiskInfo::getOSSGHandle, &vokDiskInfo::setOSSGHandle,
                      &vokDiskInfo::getATAMajorRevision, &vokDiskInfo::setATAMajorRevision,
                      &vokDiskInfo::getEventInfoString, &vokDiskInfo::setEventInfoString),
              slotsFrom(12, 37));
}

TEST(DiskInfo, TheThreeFlagsAndThePreferenceHaveTheLastSlots) {
    EXPECT_EQ(slotsOf(&vokDiskInfo::getIfTempPageSupported, &vokDiskInfo::setIfTempPageSupported,
                      &vokDiskInfo::getIfSSDWearPageSupported, &vokDiskInfo::setIfSSDWearPageSupported,
                      &vokDiskInfo::getDeviceMissing, &vokDiskInfo::setDeviceMissing,
                      &vokDiskInfo::getPreferSCModelNumber, &vokDiskInfo::setPreferSCModelNumber),
              slotsFrom(38, 45));
}

TEST(DiskInfo, StartsWithoutFactsAndWithoutADescriptorAndWithBothPagesAssumed) {
    const vokDiskInfo disk;
    EXPECT_EQ(disk.getSerialNumber(), "");
    EXPECT_EQ(disk.getPartNumber(), "");
    EXPECT_EQ(disk.getModel(), "");
    EXPECT_EQ(disk.getCapacityBytes(), 0u);
    EXPECT_EQ(disk.getProtocol(), "");
    EXPECT_EQ(disk.getManufacturer(), "");
    EXPECT_EQ(disk.getMediaType(), "");
    EXPECT_EQ(disk.getRevision(), "");
    EXPECT_EQ(disk.getOSDeviceName(), "");
    EXPECT_EQ(disk.getOSSCSILink(), "");
    EXPECT_EQ(disk.getOSSGHandle(), -1);
    EXPECT_EQ(disk.getATAMajorRevision(), 0);
    EXPECT_EQ(disk.getEventInfoString(), "");
    EXPECT_TRUE(disk.getIfTempPageSupported());
    EXPECT_TRUE(disk.getIfSSDWearPageSupported());
    EXPECT_FALSE(disk.getDeviceMissing());
    EXPECT_EQ(disk.getPreferSCModelNumber(), -1);
    EXPECT_EQ(disk.getSlot(), "-1");
    EXPECT_EQ(disk.getState(), VOK_STATE_UNKNOWN);
}

void expectFilled(const vokDiskInfo& disk) {
    EXPECT_EQ(disk.getState(), VOK_STATE_RUNNING);
    EXPECT_EQ(disk.getHealth(), VOK_HEALTH_OK);
    EXPECT_EQ(disk.getEventState(), VOK_STATE_FAILED);
    EXPECT_EQ(disk.getEventHealth(), VOK_HEALTH_CRITICAL);
    EXPECT_EQ(disk.getSlot(), "7");
    EXPECT_EQ(disk.getPhysicalLocation(), "0102030405060708");
    EXPECT_EQ(disk.getATADeviceNumber(), 3);
    EXPECT_EQ(disk.getSerialNumber(), "S0K5MYY4");
    EXPECT_EQ(disk.getPartNumber(), "868774-001");
    EXPECT_EQ(disk.getModel(), "MK1200SAS");
    EXPECT_EQ(disk.getCapacityBytes(), 18446744073709551615ull);
    EXPECT_EQ(disk.getProtocol(), "SAS");
    EXPECT_EQ(disk.getManufacturer(), "MEV");
    EXPECT_EQ(disk.getMediaType(), "SSD");
    EXPECT_EQ(disk.getRevision(), "D003");
    EXPECT_EQ(disk.getOSDeviceName(), "/dev/sg4");
    EXPECT_EQ(disk.getOSSCSILink(), "0:0:1:0");
    EXPECT_EQ(disk.getOSSGHandle(), 9);
    EXPECT_EQ(disk.getATAMajorRevision(), 0x0FF8);
    EXPECT_EQ(disk.getEventInfoString(), "Disk wears out");
    EXPECT_FALSE(disk.getIfTempPageSupported());
    EXPECT_FALSE(disk.getIfSSDWearPageSupported());
    EXPECT_TRUE(disk.getDeviceMissing());
    EXPECT_EQ(disk.getPreferSCModelNumber(), TRISTATE_TRUE);
}

TEST(DiskInfo, ACopyHasEveryFieldWithTheStatusAndTheFlags) {
    const vokDiskInfo disk = filledDisk();
    const vokDiskInfo copy = disk;
    expectFilled(copy);
    vokDiskInfo assigned;
    assigned = disk;
    expectFilled(assigned);
    expectFilled(disk);
}

TEST(DiskInfo, AMovedOneHasEveryField) {
    vokDiskInfo moved;
    moved = filledDisk();
    expectFilled(moved);
}

TEST(DiskInfo, ForAnEventIsADriveWithItsDataAndTheText) {
    EXPECT_EQ(vokJsonText(filledDisk().getVariableData()),
              R"({"Data":{"CapacityBytes":18446744073709551615,"Manufacturer":"MEV","MediaType":"SSD",)"
              R"("Model":"MK1200SAS","Oem":{"PhysicalLocation":"0102030405060708","Slot":"7"},)"
              R"("PartNumber":"868774-001","Protocol":"SAS","Revision":"D003","SerialNumber":"S0K5MYY4"},)"
              R"("EventInfo":"Disk wears out","Type":"Drive"})");
}

TEST(DiskInfo, WithoutFactsHasCapacity0AndEmptyTextsAndTheSlotOfAnUnknownPlace) {
    EXPECT_EQ(vokJsonText(vokDiskInfo().getVariableData()),
              R"({"Data":{"CapacityBytes":0,"Manufacturer":"","MediaType":"","Model":"",)"
              R"("Oem":{"PhysicalLocation":"","Slot":"-1"},"PartNumber":"","Protocol":"","Revision":"",)"
              R"("SerialNumber":""},"EventInfo":"","Type":"Drive"})");
}

TEST(DiskInfo, AddsNothingToTheInventoryByItself) {
    EXPECT_TRUE(filledDisk().getInventoryData().isNull());
}

TEST(DiskInfo, AnEventTakesItsDataThroughTheBase) {
    const vokDiskInfo disk = filledDisk();
    const vokInventoryBase& subject = disk;
    EXPECT_EQ(subject.getVariableData()["Type"], "Drive");
    EXPECT_TRUE(subject.getInventoryData().isNull());
}

TEST(TristateBool, MinusOneIsNotYetDecided) {
    EXPECT_EQ(TRISTATE_UNDECIDED, -1);
    EXPECT_EQ(TRISTATE_FALSE, 0);
    EXPECT_EQ(TRISTATE_TRUE, 1);
    EXPECT_EQ(sizeof(TRISTATE_BOOL), sizeof(int));
}

}  // namespace
}  // namespace vokDiskInfoTest
