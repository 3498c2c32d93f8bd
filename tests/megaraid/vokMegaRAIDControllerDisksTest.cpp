// The disks of a RAID controller: their records, their places, what they keep from the discovery before, and
// the loading rules of the 9560.
#include <gmock/gmock.h>
#include <algorithm>
#include <string>
#include <vector>

#include "megaraid/MegaRaidFixture.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "megaraid/vokIOLoadingHelper.h"

namespace vokMegaRAIDControllerDisksTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr FakeStoreLibCommand pciLocationCommand = {1, 11};

class RaidDisks : public MegaRaidFixture {
protected:
    using MegaRaidFixture::MegaRaidFixture;

    // One discovery of the controller and its disks.
    std::vector<vokDiskInfo> discover() {
        vokStorageControllerInfo info;
        EXPECT_EQ(controller->discoverInventory(info), 0);
        vokIOLoadingHelper::updateServerIOLoadingTable();
        std::vector<vokDiskInfo> disks(1);  // what is in it goes
        EXPECT_EQ(controller->discoverPhysicalDiskInventory(disks), 0);
        return disks;
    }
    vokDiskInfo discoverOne() {
        const std::vector<vokDiskInfo> disks = discover();
        EXPECT_THAT(disks, SizeIs(1));
        return disks.empty() ? vokDiskInfo() : disks[0];
    }
    // The same disk after an event has changed its status.
    void reportAsCritical() {
        FakeRaidDisk& disk = library.controllers[0].disks[0];
        const std::uint16_t before = disk.state;
        disk.state = 17;
        discover();
        disk.state = before;
    }
    FakeRaidDisk& disk(std::size_t index = 0) { return library.controllers[0].disks[index]; }
    std::vector<std::string> locations() {
        std::vector<std::string> texts;
        for (const vokDiskInfo& each : discover()) texts.push_back(each.getPhysicalLocation());
        return texts;
    }

    const vokHeldReference<vokMegaRAIDController> controller = newRaidController();
};

// --- the record ---

TEST_F(RaidDisks, ARecordHasWhatTheLibraryTells) {
    library.controllers = {raidController()};
    disk().product = "MEV0300EH10K";
    const vokDiskInfo found = discoverOne();
    EXPECT_EQ(found.getProtocol(), "SAS");
    EXPECT_EQ(found.getMediaType(), "HDD");
    EXPECT_EQ(found.getHealth(), VOK_HEALTH_OK);
    EXPECT_EQ(found.getState(), VOK_STATE_ONLINE);
    EXPECT_EQ(found.getSlot(), "252:1");
    EXPECT_EQ(found.getModel(), "MEV0300EH10K");
    EXPECT_EQ(found.getSerialNumber(), "S1");
    EXPECT_EQ(found.getCapacityBytes(), 1073741824u);
    EXPECT_EQ(found.getRevision(), "0001");
    EXPECT_EQ(found.getManufacturer(), "SEAGATE");
    EXPECT_FALSE(found.getDeviceMissing());
    EXPECT_TRUE(logged("DEBUG STOR_MR: discoverPhysicalDiskInventory for ctrl 0"));
    EXPECT_TRUE(logged("DEBUG STOR_MR: discoverPhysicalDiskInventory SN:S1"));
}

TEST_F(RaidDisks, ThePartNumberIsThatOfTheModelOnThisPlatform) {
    start(secondFamily);
    library.controllers = {raidController()};
    disk().product = "MEV0300EH10K";
    EXPECT_EQ(discoverOne().getPartNumber(), "MEV-3000-501A");
}

TEST_F(RaidDisks, TheStateIsThatOfTheNameInWhateverCase) {
    library.controllers = {raidController()};
    discoverOne();
    const struct {
        const char* name;
        VOK_RESOURCE_STATE state;
    } rows[] = {{"Online", VOK_STATE_ONLINE},     {"UNCONFIGURED BAD", VOK_STATE_UNCONFIGURED_BAD},
                {"rebuild", VOK_STATE_REBUILD},   {"Bypassed", VOK_STATE_BYPASSED},
                {"Undefined", VOK_STATE_UNKNOWN}, {"", VOK_STATE_UNKNOWN}};
    for (const auto& row : rows) {
        PD_INFO info;
        info.firmwareState = row.name;
        vokDiskInfo found;
        controller->discoverPhysicalDiskAttributes(found, info);
        EXPECT_EQ(found.getState(), row.state) << row.name;
    }
}

TEST_F(RaidDisks, AControllerThatTheLibraryDoesNotListHasNoDisks) {
    library.controllers = {raidController(1)};
    EXPECT_THAT(discover(), IsEmpty());
}

// --- from one discovery to the next ---

TEST_F(RaidDisks, ANewDiskStartsFromItsOwnStatus) {
    library.controllers = {raidController()};
    disk().state = 17;
    const vokDiskInfo found = discoverOne();
    EXPECT_EQ(found.getState(), VOK_STATE_FAILED);
    EXPECT_EQ(found.getEventState(), VOK_STATE_FAILED);
    EXPECT_EQ(found.getEventHealth(), VOK_HEALTH_CRITICAL);
}

TEST_F(RaidDisks, ADiskKeepsItsEventStatus) {
    library.controllers = {raidController()};
    reportAsCritical();
    const vokDiskInfo found = discoverOne();
    EXPECT_EQ(found.getState(), VOK_STATE_ONLINE);
    EXPECT_EQ(found.getHealth(), VOK_HEALTH_OK);
    EXPECT_EQ(found.getEventState(), VOK_STATE_FAILED);
    EXPECT_EQ(found.getEventHealth(), VOK_HEALTH_CRITICAL);
}

TEST_F(RaidDisks, AnUnknownEventStatusTakesTheNewStatus) {
    library.controllers = {raidController()};
    disk().state = 3;  // not a state of the table
    EXPECT_EQ(discoverOne().getEventState(), VOK_STATE_UNKNOWN);
    disk().state = 24;
    const vokDiskInfo found = discoverOne();
    EXPECT_EQ(found.getEventState(), VOK_STATE_ONLINE);
    EXPECT_EQ(found.getEventHealth(), VOK_HEALTH_OK);
}

TEST_F(RaidDisks, ADiskThatMovesToAnotherSlotIsANewOne) {
    library.controllers = {raidController()};
    disk().slot = 3;
    reportAsCritical();
    disk().slot = 4;
    const vokDiskInfo found = discoverOne();
    EXPECT_EQ(found.getSlot(), "252:4");
    EXPECT_EQ(found.getEventState(), VOK_STATE_ONLINE);
    EXPECT_EQ(found.getEventHealth(), VOK_HEALTH_OK);
}

TEST_F(RaidDisks, ADiskWithAnotherSerialNumberIsANewOne) {
    library.controllers = {raidController()};
    reportAsCritical();
    disk().serial = "S2";
    EXPECT_EQ(discoverOne().getEventHealth(), VOK_HEALTH_OK);
}

TEST_F(RaidDisks, OfTwoDisksWithOneSerialNumberAndSlotTheFirstIsFollowed) {
    library.controllers = {raidController()};
    library.controllers[0].disks = {raidDisk(1, "S1"), raidDisk(2, "S1")};
    disk(1).slot = 1;
    disk(0).state = 17;
    EXPECT_THAT(discover(), SizeIs(2));
    disk(0).state = 24;
    const std::vector<vokDiskInfo> found = discover();
    ASSERT_THAT(found, SizeIs(2));
    EXPECT_EQ(found[0].getEventState(), VOK_STATE_FAILED);
    EXPECT_EQ(found[1].getEventState(), VOK_STATE_FAILED);
}

TEST_F(RaidDisks, SerialNumberAndSlotAreComparedEachForItself) {
    library.controllers = {raidController()};
    disk().serial = "S";
    disk().enclosure = 11;
    reportAsCritical();
    disk().serial = "S1";
    disk().enclosure = 1;  // "S" at "11:1", then "S1" at "1:1"
    EXPECT_EQ(discoverOne().getEventHealth(), VOK_HEALTH_OK);
}

TEST_F(RaidDisks, EachOf256DisksKeepsItsOwnEventStatus) {
    library.controllers = {raidController()};
    std::vector<FakeRaidDisk>& disks = library.controllers[0].disks;
    disks.clear();
    for (int i = 0; i < 256; ++i) {
        disks.push_back(raidDisk(static_cast<std::uint16_t>(i), "S" + std::to_string(i)));
        disks.back().state = i % 3 == 0 ? 17 : 24;
    }
    EXPECT_THAT(discover(), SizeIs(256));
    for (FakeRaidDisk& each : disks) each.state = 20;
    std::reverse(disks.begin(), disks.end());
    const std::vector<vokDiskInfo> found = discover();
    ASSERT_THAT(found, SizeIs(256));
    for (int i = 0; i < 256; ++i) {
        const vokDiskInfo& each = found[static_cast<std::size_t>(255 - i)];
        EXPECT_EQ(each.getSerialNumber(), "S" + std::to_string(i));
        EXPECT_EQ(each.getState(), VOK_STATE_REBUILD);
        EXPECT_EQ(each.getEventState(), i % 3 == 0 ? VOK_STATE_FAILED : VOK_STATE_ONLINE) << i;
    }
}

TEST_F(RaidDisks, ADiskThatHasGoneIsKeptButNotReported) {
    library.controllers = {raidController()};
    library.controllers[0].disks = {raidDisk(1, "S1"), raidDisk(2, "S2")};
    EXPECT_THAT(discover(), SizeIs(2));
    library.controllers[0].disks.pop_back();
    EXPECT_EQ(discoverOne().getSerialNumber(), "S1");
    const std::vector<vokDiskInfo> kept = controller->getPhysicalDrivesInventory();
    ASSERT_THAT(kept, SizeIs(2));
    EXPECT_EQ(kept[1].getSerialNumber(), "S2");
    EXPECT_TRUE(kept[1].getDeviceMissing());
    EXPECT_EQ(kept[1].getState(), VOK_STATE_OFFLINE);
    EXPECT_EQ(discoverOne().getSerialNumber(), "S1") << "nor in the discovery after";
    EXPECT_THAT(controller->getPhysicalDrivesInventory(), SizeIs(2));
}

TEST_F(RaidDisks, ADiskThatIsPutInAgainAtItsPlaceKeepsItsEventStatus) {
    library.controllers = {raidController()};
    library.controllers[0].disks = {raidDisk(1, "S1"), raidDisk(2, "S2")};
    disk(1).state = 17;
    discover();
    library.controllers[0].disks.pop_back();
    discover();
    library.controllers[0].disks.push_back(raidDisk(2, "S2"));
    const std::vector<vokDiskInfo> found = discover();
    ASSERT_THAT(found, SizeIs(2));
    EXPECT_EQ(found[1].getState(), VOK_STATE_ONLINE);
    EXPECT_EQ(found[1].getEventState(), VOK_STATE_FAILED);
    EXPECT_FALSE(found[1].getDeviceMissing());
    EXPECT_THAT(controller->getPhysicalDrivesInventory(), SizeIs(2)) << "the record of the gap is not kept";
}

TEST_F(RaidDisks, ADiskInThePlaceOfAnotherLeavesNoRecordOfThatOne) {
    library.controllers = {raidController()};
    discover();
    disk().serial = "S2";
    discover();
    const std::vector<vokDiskInfo> kept = controller->getPhysicalDrivesInventory();
    ASSERT_THAT(kept, SizeIs(1));
    EXPECT_EQ(kept[0].getSerialNumber(), "S2");
}

TEST_F(RaidDisks, TheSlotThatADiskHasMovedFromIsKeptAsMissing) {
    library.controllers = {raidController()};
    disk().slot = 3;
    discover();
    disk().slot = 4;
    EXPECT_EQ(discoverOne().getSlot(), "252:4");
    const std::vector<vokDiskInfo> kept = controller->getPhysicalDrivesInventory();
    ASSERT_THAT(kept, SizeIs(2));
    EXPECT_EQ(kept[0].getSlot(), "252:4") << "first, so that an event on its serial number is about it";
    EXPECT_EQ(kept[1].getSlot(), "252:3");
    EXPECT_TRUE(kept[1].getDeviceMissing());
}

TEST_F(RaidDisks, ADiscoveryRaisesNoEventAboutThem) {
    letEventsPass();
    library.controllers = {raidController()};
    library.controllers[0].disks = {raidDisk(1, "S1"), raidDisk(2, "S2")};
    controller->enableEvents();
    discover();
    disk(0).state = 17;
    library.controllers[0].disks.pop_back();
    discover();
    EXPECT_THAT(eventIds(), IsEmpty());
}

// --- places ---

TEST_F(RaidDisks, OnTheSecondPlatformTheSlotIsTheBay) {
    start(secondFamily);
    for (const RaidModel& model :
         {model9361, RaidModel{0x005D1000, 0x9A631000}, model9560Small, model9560Large}) {
        library.controllers = {raidController(0, model)};
        EXPECT_EQ(discoverOne().getPhysicalLocation(), "0000000000002D01") << std::hex << model.board;
    }
    EXPECT_TRUE(
        logged("DEBUG STOR_MR: Disk on MegaRAID HBA @ pciloc=[0000:5e:00.0] at slot=[252:1]: "
               "phyloc=[0000000000002D01]"));
}

TEST_F(RaidDisks, ABoardThatIsNotListedHasNoPlaces) {
    start(secondFamily);
    library.controllers = {raidController(0, {0x10E21000, 0x40201000})};
    EXPECT_EQ(discoverOne().getPhysicalLocation(), "FFFFFFFFFFFFFFFF");
    EXPECT_TRUE(
        logged("DEBUG STOR_MR: Unrecognized or unsupported MegaRAID controller model [10E21000, "
               "40201000] @ [0000:5e:00.0]."));
}

TEST_F(RaidDisks, ThePlaceOfACardIsThatOfItsOwnFunction) {
    start(secondFamily);
    library.controllers = {raidController()};
    library.controllers[0].bus = 0x77;  // which the firmware does not list
    EXPECT_EQ(discoverOne().getPhysicalLocation(), "FFFFFFFFFFFFFFFF");
}

TEST_F(RaidDisks, ThePlaceIsThatOfTheFunctionInTheCachesNow) {
    start(secondFamily);
    library.controllers = {raidController()};
    discover();
    library.controllers[0].bus = 0x77;
    vokStoreLibInterface::getInstance()->cacheBuild("CTRL_EVENT");  // as an event does
    std::vector<vokDiskInfo> disks;
    controller->discoverPhysicalDiskInventory(disks);
    ASSERT_THAT(disks, SizeIs(1));
    EXPECT_EQ(disks[0].getPhysicalLocation(), "FFFFFFFFFFFFFFFF");
}

// Of a model that the library's door leaves out.
class ExternalController : public vokMegaRAIDController {
public:
    ExternalController() : vokMegaRAIDController(0) { setIdentity(0x00971000, 0x30A01000, "0000:5e:00.0"); }

protected:
    ~ExternalController() override = default;
};

TEST_F(RaidDisks, BehindAnExternalModelThePlaceIsThatOfTheCard) {
    start(secondFamily);
    library.controllers = {raidController()};
    discover();
    const vokHeldReference<ExternalController> external(new ExternalController);
    vokDiskInfo found;
    external->discoverPhysicalDiskAttributes(found, PD_INFO());
    EXPECT_EQ(found.getPhysicalLocation(), "0000000000003D03");
}

TEST_F(RaidDisks, ACardWhoseFunctionCannotBeReadHasItsDisksWithoutPlaces) {
    start(secondFamily);
    library.controllers = {raidController()};
    library.failures[pciLocationCommand] = 0x8002;
    EXPECT_EQ(discoverOne().getPhysicalLocation(), "FFFFFFFFFFFFFFFF");
    EXPECT_EQ(controller->getInventory().getDescription(), "PCI ");
    EXPECT_EQ(controller->getInventory().getPhysicalLocation(), "FFFFFFFFFFFFFFFF");
    library.failures.clear();
    EXPECT_EQ(discoverOne().getPhysicalLocation(), "0000000000002D01");
}

TEST_F(RaidDisks, ACardThatFollowsTheRulesHasItsDisksInTheFirstBox) {
    start(firstFamily);
    library.controllers = {raidController(0, model9560Small)};
    library.controllers[0].disks = {raidDisk(1, "S1"), raidDisk(8, "S8")};
    EXPECT_THAT(locations(), ElementsAre("0000000000003801", "0000000000003808"));
    EXPECT_TRUE(
        logged("DEBUG STOR_MR: MegaRAID controller [0x10E21000, 0x40101000] @ [0000:5e:00.0]: TQ "
               "enclosure box # [1] and Drive bay offset [0]."));
}

TEST_F(RaidDisks, TheSecondBoxComesAfterEightBays) {
    start(firstFamily);
    library.controllers = {raidController(0, model9560Small), raidController(1, model9560Large)};
    library.controllers[0].bus = 0x3b;
    library.controllers[0].disks = {raidDisk(1, "S1"), raidDisk(2, "S2")};
    EXPECT_THAT(locations(), ElementsAre("0000000000003809", "000000000000380A"));
    EXPECT_TRUE(
        logged("DEBUG STOR_MR: MegaRAID controller [0x10E21000, 0x40101000] @ [0000:3b:00.0]: TQ "
               "enclosure box # [2] and Drive bay offset [0]."));
}

TEST_F(RaidDisks, WithoutABoxTheDisksHaveNoPlaceAndOneWarningSaysSo) {
    start(firstFamily);
    library.controllers = {raidController()};  // of a model that no rule names
    library.controllers[0].disks = {raidDisk(1, "S1"), raidDisk(2, "S2")};
    EXPECT_THAT(locations(), ElementsAre("FFFFFFFFFFFFFFFF", "FFFFFFFFFFFFFFFF"));
    discover();
    EXPECT_EQ(
        timesLogged("DEBUG STOR_MR: Unable to determine TQ enclosure box # [-1] and drive bay offset [0] "
                    "for MegaRAID controller [0x5D1000, 0x93631000] @ [0000:5e:00.0] in chassis "
                    "compliant with I/O loading rules. PD PL will be reported as FFFFFFFFFFFFFFFF."),
        4);
    EXPECT_EQ(timesLogged(
                  "WARNING STOR_MR: Unable to determine enclosure box # [-1] and/or drive bay offset [0] for "
                  "MegaRAID 9560 controller [0x5D1000, 0x93631000] @ [0000:5e:00.0] in "
                  "I/O-loading-rules-compliant classis. Physical location for attached disk drives may be "
                  "reported as FFFFFFFFFFFFFFFF."),
              1);
}

// --- the loading rules of the 9560 ---

constexpr char notMev[] =
    "DEBUG STOR_MR: No PD inventory will be reported for MegaRAID 9560 [0000:5e:00.0] on non-MEV system.";
constexpr char notCompliant[] =
    "DEBUG STOR_MR: Either MegaRAID 9560 [0x10E21000, 0x40101000] @ [0000:3b:00.0] or its hosting chassis "
    "not "
    "compliant with I/O loading rules. PD inventory with not be reported.";
constexpr char warning[] =
    "WARNING STOR_MR: MegaRAID 9560 [0x10E21000, 0x40101000] @ [0000:3b:00.0] or its server chassis not "
    "compliant with I/O loading rules. Physical drives and RAID volumes attached to this controller may not "
    "be "
    "reported/monitored.";

TEST_F(RaidDisks, A9560OnASystemOfAnotherMakerHasNone) {
    start(firstFamily, "Maker of servers");
    library.controllers = {raidController(0, model9560Small)};
    EXPECT_THAT(discover(), IsEmpty());
    EXPECT_THAT(controller->getPhysicalDrivesInventory(), IsEmpty());
    EXPECT_TRUE(logged(notMev));
    library.controllers = {raidController(0, model9560Large)};
    EXPECT_THAT(discover(), IsEmpty());
}

TEST_F(RaidDisks, A9560OnAnotherPlatformHasItsDisksOnASystemOfWhicheverMaker) {
    start(secondFamily, "Maker of servers");
    library.controllers = {raidController(0, model9560Small)};
    EXPECT_THAT(discover(), SizeIs(1));
}

TEST_F(RaidDisks, AnotherModelHasItsDisksOnASystemOfWhicheverMaker) {
    start(firstFamily, "Maker of servers");
    library.controllers = {raidController()};
    EXPECT_THAT(discover(), SizeIs(1));
    library.controllers = {raidController(0, {0x10E21000, 0x40201000})};
    EXPECT_THAT(discover(), SizeIs(1));
}

TEST_F(RaidDisks, A9560ThatFollowsNoRuleHasNoneAndOneWarningSaysSoForDisksAndVolumes) {
    start(firstFamily);
    library.controllers = {raidController(0, model9560Small)};
    library.controllers[0].bus = 0x3b;  // slot 8 alone
    for (int cycle = 0; cycle < 3; ++cycle) {
        EXPECT_THAT(discover(), IsEmpty());
        std::vector<vokLogicalDiskInfo> volumes;
        controller->discoverLogicalDiskInventory(volumes);
        EXPECT_THAT(volumes, IsEmpty());
    }
    EXPECT_EQ(timesLogged(notCompliant), 3);
    EXPECT_EQ(timesLogged(warning), 1);
}

TEST_F(RaidDisks, WhatA9560HadIsForgottenWhileItMayNotBeMonitored) {
    start(firstFamily);
    library.controllers = {raidController(0, model9560Small)};
    reportAsCritical();
    library.controllers[0].bus = 0x3b;
    EXPECT_THAT(discover(), IsEmpty());
    EXPECT_THAT(controller->getPhysicalDrivesInventory(), IsEmpty());
    library.controllers[0].bus = 0x5e;
    EXPECT_EQ(discoverOne().getEventState(), VOK_STATE_ONLINE);
}

class RaidDisksWithoutInspection : public RaidDisks {
protected:
    RaidDisksWithoutInspection() : RaidDisks("\"DisableMegaRAID9560LoadingInspection\": \"true\"") {}
};

TEST_F(RaidDisksWithoutInspection, A9560HasNoneWhateverItsMakerAndNothingIsLogged) {
    start(firstFamily, "Maker of servers");
    library.controllers = {raidController(0, model9560Small)};
    EXPECT_THAT(discover(), IsEmpty());
    EXPECT_FALSE(logged(notMev));
}

TEST_F(RaidDisksWithoutInspection, A9560HasNoneAlsoInTheRightSlot) {
    start(firstFamily);
    library.controllers = {raidController(0, model9560Small)};
    EXPECT_THAT(discover(), IsEmpty());
    EXPECT_EQ(timesLogged(warning), 0);
}

TEST_F(RaidDisksWithoutInspection, OtherModelsHaveTheirDisks) {
    start(firstFamily);
    library.controllers = {raidController()};
    EXPECT_THAT(discover(), SizeIs(1));
}

}  // namespace
}  // namespace vokMegaRAIDControllerDisksTest
