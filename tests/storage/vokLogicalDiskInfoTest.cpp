#include "storage/vokLogicalDiskInfo.h"

#include <gtest/gtest.h>
#include <type_traits>

#include "core/base/vokJsonText.h"
#include "storage/VirtualSlots.h"

namespace vokLogicalDiskInfoTest {
namespace {

using Volume = vokLogicalDiskInfo;

// A state of a consistency check that counts how many of its kind exist.
class CountedState : public vokLogicalDiskConsistencyCheckStateBase {
public:
    explicit CountedState(std::string found = "nothing") : found_(std::move(found)) { ++alive; }
    CountedState(const CountedState& other) : found_(other.found_) { ++alive; }
    CountedState& operator=(const CountedState&) = delete;
    ~CountedState() override { --alive; }

    std::unique_ptr<vokLogicalDiskConsistencyCheckStateBase> clone() const override {
        return std::make_unique<CountedState>(*this);
    }
    std::string getStateInfoString() const override { return found_; }

    static int alive;

private:
    std::string found_;
};
int CountedState::alive = 0;

Volume volumeWithStates() {
    Volume volume;
    volume.setCurrentCCState(std::make_unique<CountedState>("current"));
    volume.setPreviousCCState(std::make_unique<CountedState>("previous"));
    return volume;
}

Volume filledVolume() {
    Volume volume = volumeWithStates();
    volume.setState(VOK_STATE_OPTIMAL);
    volume.setHealth(VOK_HEALTH_OK);
    volume.setEventState(VOK_STATE_DEGRADED);
    volume.setEventHealth(VOK_HEALTH_WARNING);
    volume.setDeviceName("/dev/sda");
    volume.setHostControllerPhysicalLocation("0102030405060708");
    volume.setDurableName("600605B00A1B2C3D");
    volume.setRAIDLevel("Mirrored");
    volume.setCapacityBytes(18446744073709551615ull);
    volume.addPhysicalDisk("SN-B");
    volume.addPhysicalDisk("SN-A");
    volume.setDescription("Boot volume");
    volume.setLogicalDiskID("12");
    volume.setEventInfoString("Volume is degraded");
    volume.setDeviceMissing(true);
    volume.setDeletedEventReceived(true);
    return volume;
}

void expectFilled(const Volume& volume) {
    EXPECT_EQ(volume.getState(), VOK_STATE_OPTIMAL);
    EXPECT_EQ(volume.getHealth(), VOK_HEALTH_OK);
    EXPECT_EQ(volume.getEventState(), VOK_STATE_DEGRADED);
    EXPECT_EQ(volume.getEventHealth(), VOK_HEALTH_WARNING);
    EXPECT_EQ(volume.getDeviceName(), "/dev/sda");
    EXPECT_EQ(volume.getHostControllerPhysicalLocation(), "0102030405060708");
    EXPECT_EQ(volume.getDurableName(), "600605B00A1B2C3D");
    EXPECT_EQ(volume.getRAIDLevel(), "Mirrored");
    EXPECT_EQ(volume.getCapacityBytes(), 18446744073709551615ull);
    EXPECT_EQ(volume.getPhysicalDiskVector(), (std::vector<std::string>{"SN-B", "SN-A"}));
    EXPECT_EQ(volume.getDescription(), "Boot volume");
    EXPECT_EQ(volume.getLogicalDiskID(), "12");
    EXPECT_EQ(volume.getEventInfoString(), "Volume is degraded");
    EXPECT_TRUE(volume.getDeviceMissing());
    EXPECT_TRUE(volume.getDeletedEventReceived());
    ASSERT_NE(volume.getCurrentCCState(), nullptr);
    EXPECT_EQ(volume.getCurrentCCState()->getStateInfoString(), "current");
    ASSERT_NE(volume.getPreviousCCState(), nullptr);
    EXPECT_EQ(volume.getPreviousCCState()->getStateInfoString(), "previous");
}

TEST(LogicalDiskOEMInfo, SlotsFollowThoseOfTheBaseWithTheDestructor) {
    EXPECT_EQ(slotsOf(&vokLogicalDiskOEMInfo::getDeviceName, &vokLogicalDiskOEMInfo::setDeviceName,
                      &vokLogicalDiskOEMInfo::getHostControllerPhysicalLocation,
                      &vokLogicalDiskOEMInfo::setHostControllerPhysicalLocation),
              slotsFrom(4, 7));
}

TEST(LogicalDiskOEMInfo, ForAnEventHasDeviceAndControllerAndAddsNothingToTheInventory) {
    vokLogicalDiskOEMInfo oem;
    EXPECT_EQ(vokJsonText(oem.getVariableData()), R"({"DeviceName":"","HostControllerPhysicalLocation":""})");
    oem.setDeviceName("/dev/sdb");
    oem.setHostControllerPhysicalLocation("FFFFFFFFFFFFFFFF");
    EXPECT_EQ(vokJsonText(oem.getVariableData()),
              R"({"DeviceName":"/dev/sdb","HostControllerPhysicalLocation":"FFFFFFFFFFFFFFFF"})");
    EXPECT_TRUE(oem.getInventoryData().isNull());
}

TEST(ConsistencyCheckState, CloneComesFirstAndThenTheText) {
    EXPECT_TRUE(std::is_abstract_v<vokLogicalDiskConsistencyCheckStateBase>);
    EXPECT_EQ(slotsOf(&vokLogicalDiskConsistencyCheckStateBase::clone,
                      &vokLogicalDiskConsistencyCheckStateBase::getStateInfoString),
              slotsFrom(0, 1));
}

TEST(LogicalDiskInfo, SlotsContinueThoseOfTheStatusInTheOrderOfTheFields) {
    EXPECT_EQ(slotsOf(&Volume::getDurableName, &Volume::setDurableName, &Volume::getRAIDLevel,
                      &Volume::setRAIDLevel, &Volume::getCapacityBytes, &Volume::setCapacityBytes,
                      &Volume::getPhysicalDiskVector, &Volume::getPhysicalDisk, &Volume::setPhysicalDisk,
                      &Volume::addPhysicalDisk, &Volume::clearPhysicalDiskList,
                      &Volume::getPhysicalDiskListSize, &Volume::deletePhysicalDisk, &Volume::getDescription,
                      &Volume::setDescription, &Volume::getLogicalDiskID, &Volume::setLogicalDiskID,
                      &Volume::getEventInfoString, &Volume::setEventInfoString, &Volume::getDeviceMissing,
                      &Volume::setDeviceMissing, &Volume::getDeletedEventReceived,
                      &Volume::setDeletedEventReceived, &Volume::getCurrentCCState,
                      &Volume::setCurrentCCState, &Volume::getPreviousCCState, &Volume::setPreviousCCState),
              slotsFrom(12, 38));
}

TEST(LogicalDiskInfo, StartsWithoutFactsMembersAndStates) {
    const Volume volume;
    EXPECT_EQ(volume.getDurableName(), "");
    EXPECT_EQ(volume.getRAIDLevel(), "");
    EXPECT_EQ(volume.getCapacityBytes(), 0u);
    EXPECT_EQ(volume.getPhysicalDiskListSize(), 0u);
    EXPECT_EQ(volume.getDescription(), "");
    EXPECT_EQ(volume.getLogicalDiskID(), "");
    EXPECT_EQ(volume.getEventInfoString(), "");
    EXPECT_FALSE(volume.getDeviceMissing());
    EXPECT_FALSE(volume.getDeletedEventReceived());
    EXPECT_EQ(volume.getCurrentCCState(), nullptr);
    EXPECT_EQ(volume.getPreviousCCState(), nullptr);
}

TEST(LogicalDiskInfo, EachWayOfCopyingHasEveryField) {
    const Volume volume = filledVolume();
    const Volume constructed(volume);
    Volume assigned;
    assigned = volume;
    Volume copied;
    copied.copy(volume);
    expectFilled(constructed);
    expectFilled(assigned);
    expectFilled(copied);
    expectFilled(volume);
}

TEST(LogicalDiskInfo, ACopyHasStatesOfItsOwnThatOutliveTheOriginal) {
    auto volume = std::make_unique<Volume>(volumeWithStates());
    const Volume copy = *volume;
    EXPECT_NE(copy.getCurrentCCState(), volume->getCurrentCCState());
    EXPECT_NE(copy.getPreviousCCState(), volume->getPreviousCCState());
    EXPECT_EQ(CountedState::alive, 4);
    volume.reset();
    EXPECT_EQ(CountedState::alive, 2);
    EXPECT_EQ(copy.getCurrentCCState()->getStateInfoString(), "current");
    EXPECT_EQ(copy.getPreviousCCState()->getStateInfoString(), "previous");
}

TEST(LogicalDiskInfo, TheStatesGoWithTheRecord) {
    { const std::vector<Volume> volumes(3, volumeWithStates()); }
    EXPECT_EQ(CountedState::alive, 0);
}

TEST(LogicalDiskInfo, CopyingFromAVolumeWithoutStatesLeavesNone) {
    Volume volume = volumeWithStates();
    volume.copy(Volume());
    EXPECT_EQ(volume.getCurrentCCState(), nullptr);
    EXPECT_EQ(volume.getPreviousCCState(), nullptr);
    EXPECT_EQ(CountedState::alive, 0);
}

TEST(LogicalDiskInfo, OnlyTheStateThatIsThereIsCopied) {
    Volume volume;
    volume.setPreviousCCState(std::make_unique<CountedState>("previous"));
    const Volume copy = volume;
    EXPECT_EQ(copy.getCurrentCCState(), nullptr);
    ASSERT_NE(copy.getPreviousCCState(), nullptr);
    EXPECT_EQ(copy.getPreviousCCState()->getStateInfoString(), "previous");
}

TEST(LogicalDiskInfo, CopiedToItselfKeepsItsStates) {
    Volume volume = filledVolume();
    const Volume& same = volume;
    volume = same;
    volume.copy(same);
    volume.cloneConsistencyCheckState(same);
    expectFilled(volume);
    EXPECT_EQ(CountedState::alive, 2);
}

TEST(LogicalDiskInfo, ANewStateReplacesTheOldOne) {
    Volume volume = volumeWithStates();
    volume.setCurrentCCState(std::make_unique<CountedState>("new"));
    EXPECT_EQ(volume.getCurrentCCState()->getStateInfoString(), "new");
    EXPECT_EQ(CountedState::alive, 2);
    volume.setPreviousCCState(nullptr);
    EXPECT_EQ(volume.getPreviousCCState(), nullptr);
    EXPECT_EQ(CountedState::alive, 1);
}

TEST(LogicalDiskInfo, TheStatesAloneCanBeTakenFromAnotherVolume) {
    const Volume source = filledVolume();
    Volume volume;
    volume.setDurableName("other");
    volume.setCurrentCCState(std::make_unique<CountedState>("replaced"));
    volume.cloneConsistencyCheckState(source);
    EXPECT_EQ(volume.getDurableName(), "other");
    EXPECT_EQ(volume.getCurrentCCState()->getStateInfoString(), "current");
    EXPECT_EQ(volume.getPreviousCCState()->getStateInfoString(), "previous");
    EXPECT_NE(volume.getCurrentCCState(), source.getCurrentCCState());
    EXPECT_EQ(CountedState::alive, 4);
}

TEST(LogicalDiskInfo, CleaningDeletesBothStates) {
    Volume volume = volumeWithStates();
    volume.cleanExistingObjReferences();
    EXPECT_EQ(volume.getCurrentCCState(), nullptr);
    EXPECT_EQ(volume.getPreviousCCState(), nullptr);
    EXPECT_EQ(CountedState::alive, 0);
}

TEST(LogicalDiskInfo, BothStatesAreInitializedWithObjectsOfTheGivenClass) {
    Volume volume = volumeWithStates();
    volume.initializeConsistencyCheckState<CountedState>();
    ASSERT_NE(volume.getCurrentCCState(), nullptr);
    ASSERT_NE(volume.getPreviousCCState(), nullptr);
    EXPECT_NE(volume.getCurrentCCState(), volume.getPreviousCCState());
    EXPECT_EQ(volume.getCurrentCCState()->getStateInfoString(), "nothing");
    EXPECT_EQ(volume.getPreviousCCState()->getStateInfoString(), "nothing");
    EXPECT_EQ(CountedState::alive, 2);
}

TEST(LogicalDiskInfo, TheListOfMembersChangesByPosition) {
    Volume volume = filledVolume();
    EXPECT_EQ(volume.getPhysicalDiskListSize(), 2u);
    EXPECT_EQ(volume.getPhysicalDisk(1), "SN-A");
    volume.setPhysicalDisk(1, "SN-C");
    EXPECT_EQ(volume.getPhysicalDiskVector(), (std::vector<std::string>{"SN-B", "SN-C"}));
    volume.deletePhysicalDisk(0);
    EXPECT_EQ(volume.getPhysicalDiskVector(), (std::vector<std::string>{"SN-C"}));
    volume.clearPhysicalDiskList();
    EXPECT_EQ(volume.getPhysicalDiskListSize(), 0u);
}

TEST(LogicalDiskInfo, AMemberBeyondTheEndReadsAsAnEmptyTextAndStaysAbsent) {
    Volume volume = filledVolume();
    EXPECT_EQ(volume.getPhysicalDisk(2), "");
    volume.setPhysicalDisk(2, "SN-C");
    volume.deletePhysicalDisk(2);
    EXPECT_EQ(volume.getPhysicalDiskVector(), (std::vector<std::string>{"SN-B", "SN-A"}));
}

TEST(LogicalDiskInfo, ForAnEventIsAVolumeWithTheSerialNumbersInTheOrderOfTheList) {
    EXPECT_EQ(vokJsonText(filledVolume().getVariableData()),
              R"({"Data":{"CapacityBytes":18446744073709551615,"Drives":["SN-B","SN-A"],)"
              R"("DurableName":"600605B00A1B2C3D",)"
              R"("Oem":{"DeviceName":"/dev/sda","HostControllerPhysicalLocation":"0102030405060708"},)"
              R"("VolumeType":"Mirrored"},"EventInfo":"Volume is degraded","Type":"Volume"})");
}

TEST(LogicalDiskInfo, WithoutMembersHasAnEmptyArray) {
    EXPECT_EQ(vokJsonText(Volume().getVariableData()),
              R"({"Data":{"CapacityBytes":0,"Drives":[],"DurableName":"",)"
              R"("Oem":{"DeviceName":"","HostControllerPhysicalLocation":""},"VolumeType":""},)"
              R"("EventInfo":"","Type":"Volume"})");
}

TEST(LogicalDiskInfo, AddsNothingToTheInventoryByItself) {
    EXPECT_TRUE(filledVolume().getInventoryData().isNull());
}

TEST(LogicalDiskExtInfo, MadeFromAVolumeDescribesItWithWholeDrives) {
    vokLogicalDiskExtInfo volume(filledVolume());
    vokDiskInfo disk;
    disk.setSerialNumber("SN-B");
    disk.setPartNumber("868774-001");
    disk.setModel("MK1200SAS");
    disk.setCapacityBytes(1200243695616);
    disk.setProtocol("SAS");
    disk.setMediaType("HDD");
    disk.setRevision("D003");
    disk.setManufacturer("MEV");
    disk.setSlot("4");
    disk.setPhysicalLocation("FFFFFFFFFFFFFFFF");
    disk.setEventInfoString("not part of it");
    volume.addPhysicalDisk(disk);
    volume.addPhysicalDisk(vokDiskInfo());
    EXPECT_EQ(vokJsonText(volume.getVariableData()),
              R"({"Data":{"CapacityBytes":18446744073709551615,"Drives":[)"
              R"({"CapacityBytes":1200243695616,"Manufacturer":"MEV","MediaType":"HDD","Model":"MK1200SAS",)"
              R"("Oem":{"PhysicalLocation":"FFFFFFFFFFFFFFFF","Slot":"4"},"PartNumber":"868774-001",)"
              R"("Protocol":"SAS","Revision":"D003","SerialNumber":"SN-B"},)"
              R"({"CapacityBytes":0,"Manufacturer":"","MediaType":"","Model":"",)"
              R"("Oem":{"PhysicalLocation":"","Slot":"-1"},"PartNumber":"","Protocol":"","Revision":"",)"
              R"("SerialNumber":""}],"DurableName":"600605B00A1B2C3D",)"
              R"("Oem":{"DeviceName":"/dev/sda","HostControllerPhysicalLocation":"0102030405060708"},)"
              R"("VolumeType":"Mirrored"},"EventInfo":"Volume is degraded","Type":"Volume"})");
    EXPECT_EQ(volume.getPhysicalDiskVector().size(), 2u);
}

TEST(LogicalDiskExtInfo, TakesTheFactsOfTheVolumeAndNotItsMembers) {
    const vokLogicalDiskExtInfo volume(filledVolume());
    EXPECT_EQ(volume.getDurableName(), "600605B00A1B2C3D");
    EXPECT_EQ(volume.getRAIDLevel(), "Mirrored");
    EXPECT_EQ(volume.getCapacityBytes(), 18446744073709551615ull);
    EXPECT_EQ(volume.getDescription(), "Boot volume");
    EXPECT_EQ(volume.getLogicalDiskID(), "12");
    EXPECT_EQ(volume.getEventInfoString(), "Volume is degraded");
    EXPECT_EQ(volume.getDeviceName(), "/dev/sda");
    EXPECT_EQ(volume.getHostControllerPhysicalLocation(), "0102030405060708");
    EXPECT_TRUE(volume.getPhysicalDiskVector().empty());
}

TEST(LogicalDiskExtInfo, EmptyHasTheFormOfAVolumeAndAddsNothingToTheInventory) {
    const vokLogicalDiskExtInfo volume;
    EXPECT_EQ(vokJsonText(volume.getVariableData()),
              R"({"Data":{"CapacityBytes":0,"Drives":[],"DurableName":"",)"
              R"("Oem":{"DeviceName":"","HostControllerPhysicalLocation":""},"VolumeType":""},)"
              R"("EventInfo":"","Type":"Volume"})");
    EXPECT_TRUE(volume.getInventoryData().isNull());
}

}  // namespace
}  // namespace vokLogicalDiskInfoTest
