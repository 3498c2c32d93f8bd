// The volumes of a RAID controller: their records, what they keep from the discovery before, and the loading
// rules of the 9560.
#include <gmock/gmock.h>
#include <string>
#include <vector>

#include "megaraid/MegaRaidFixture.h"
#include "megaraid/vokIOLoadingHelper.h"
#include "megaraid/vokMegaRAIDLogicalDiskConsistencyCheckState.h"

namespace vokMegaRAIDControllerVolumesTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::NotNull;
using testing::SizeIs;

constexpr char firstName[] = "56565656565656565656565656565641";
constexpr char secondName[] = "56565656565656565656565656565642";

using CheckState = vokMegaRAIDLogicalDiskConsistencyCheckState;

const CheckState& checkState(const vokLogicalDiskConsistencyCheckStateBase* state) {
    return dynamic_cast<const CheckState&>(*state);
}

// Shows the live volumes, which the events change.
class OpenController : public vokMegaRAIDController {
public:
    using vokMegaRAIDController::currentLogicalDisks;
    using vokMegaRAIDController::vokMegaRAIDController;

protected:
    ~OpenController() override = default;
};

class RaidVolumes : public MegaRaidFixture {
protected:
    using MegaRaidFixture::MegaRaidFixture;

    // One discovery of the controller and its volumes.
    std::vector<vokLogicalDiskInfo> discover() {
        vokStorageControllerInfo info;
        EXPECT_EQ(controller->discoverInventory(info), 0);
        vokIOLoadingHelper::updateServerIOLoadingTable();
        std::vector<vokLogicalDiskInfo> volumes(1);  // what is in it goes
        EXPECT_EQ(controller->discoverLogicalDiskInventory(volumes), 0);
        return volumes;
    }
    vokLogicalDiskInfo discoverOne() {
        const std::vector<vokLogicalDiskInfo> volumes = discover();
        EXPECT_THAT(volumes, SizeIs(1));
        return volumes.empty() ? vokLogicalDiskInfo() : volumes[0];
    }
    FakeRaidVolume& volume(std::size_t index = 0) { return library.controllers[0].volumes[index]; }

    const vokHeldReference<OpenController> controller{new OpenController(0)};
};

// --- the record ---

TEST_F(RaidVolumes, ARecordHasWhatTheLibraryTells) {
    start(secondFamily);
    library.controllers = {raidController()};
    library.controllers[0].disks = {raidDisk(1, "S1"), raidDisk(2, "S2"), raidDisk(3, "S3")};
    volume().target = 2;
    volume().disks = {3, 1, 2};
    const vokLogicalDiskInfo found = discoverOne();
    EXPECT_EQ(found.getLogicalDiskID(), "2");
    EXPECT_EQ(found.getDurableName(), firstName);
    EXPECT_EQ(found.getCapacityBytes(), 2147483648u);
    EXPECT_EQ(found.getState(), VOK_STATE_OPTIMAL);
    EXPECT_EQ(found.getHealth(), VOK_HEALTH_OK);
    EXPECT_EQ(found.getRAIDLevel(), "RAID5");
    EXPECT_THAT(found.getPhysicalDiskVector(), ElementsAre("S3", "S1", "S2"));
    EXPECT_EQ(found.getHostControllerPhysicalLocation(), slotLocation);
    EXPECT_EQ(found.getDeviceName(), "") << "of this class of controllers no names are known";
    EXPECT_EQ(found.getEventInfoString(), "");
    EXPECT_FALSE(found.getDeviceMissing());
    EXPECT_TRUE(
        logged("DEBUG STOR_MR: Gathering volume inventory for MegaRAID controller @ 0000:5e:00.0 "
               "[0x5D1000, 0x93631000]."));
    EXPECT_TRUE(logged("DEBUG STOR_MR: discoverLogicalDiskInventory 2"));
}

TEST_F(RaidVolumes, TheStateIsThatOfTheNameAndUndefinedIsUnknown) {
    library.controllers = {raidController()};
    volume().state = 1;
    vokLogicalDiskInfo found = discoverOne();
    EXPECT_EQ(found.getState(), VOK_STATE_PARTIALLY_DEGRADED);
    EXPECT_EQ(found.getHealth(), VOK_HEALTH_WARNING);
    volume().state = 9;
    found = discoverOne();
    EXPECT_EQ(found.getState(), VOK_STATE_UNKNOWN);
    EXPECT_EQ(found.getHealth(), VOK_HEALTH_UNKNOWN);
}

TEST_F(RaidVolumes, AControllerThatTheLibraryDoesNotListHasNoVolumes) {
    library.controllers = {raidController(1)};
    EXPECT_THAT(discover(), IsEmpty());
}

// --- from one discovery to the next ---

TEST_F(RaidVolumes, ANewVolumeStartsFromItsOwnStatusAndWithoutAnyCheck) {
    library.controllers = {raidController()};
    volume().state = 0;
    const vokLogicalDiskInfo found = discoverOne();
    EXPECT_EQ(found.getEventState(), VOK_STATE_OFFLINE);
    EXPECT_EQ(found.getEventHealth(), VOK_HEALTH_CRITICAL);
    ASSERT_THAT(found.getCurrentCCState(), NotNull());
    ASSERT_THAT(found.getPreviousCCState(), NotNull());
    EXPECT_EQ(checkState(found.getCurrentCCState()).getCCResult(), vokCheckNone);
    EXPECT_EQ(checkState(found.getPreviousCCState()).getCCResult(), vokCheckNone);
}

TEST_F(RaidVolumes, AVolumeKeepsItsEventStatus) {
    library.controllers = {raidController()};
    volume().state = 0;
    discover();
    volume().state = 3;
    const vokLogicalDiskInfo found = discoverOne();
    EXPECT_EQ(found.getState(), VOK_STATE_OPTIMAL);
    EXPECT_EQ(found.getEventState(), VOK_STATE_OFFLINE);
    EXPECT_EQ(found.getEventHealth(), VOK_HEALTH_CRITICAL);
}

TEST_F(RaidVolumes, AnUnknownEventStatusTakesTheNewStatus) {
    library.controllers = {raidController()};
    volume().state = 9;
    EXPECT_EQ(discoverOne().getEventHealth(), VOK_HEALTH_UNKNOWN);
    volume().state = 2;
    const vokLogicalDiskInfo found = discoverOne();
    EXPECT_EQ(found.getEventState(), VOK_STATE_DEGRADED);
    EXPECT_EQ(found.getEventHealth(), VOK_HEALTH_WARNING);
}

TEST_F(RaidVolumes, AVolumeWithAnotherDurableNameIsANewOne) {
    library.controllers = {raidController()};
    volume().state = 0;
    discover();
    volume().state = 3;
    volume().id.back() = 'Z';
    EXPECT_EQ(discoverOne().getEventHealth(), VOK_HEALTH_OK);
}

TEST_F(RaidVolumes, AVolumeWithAnotherTargetIsTheSame) {
    library.controllers = {raidController()};
    volume().state = 0;
    discover();
    volume().state = 3;
    volume().target = 7;
    EXPECT_EQ(discoverOne().getEventHealth(), VOK_HEALTH_CRITICAL);
}

TEST_F(RaidVolumes, OfTwoVolumesWithOneDurableNameTheFirstIsFollowed) {
    library.controllers = {raidController()};
    library.controllers[0].volumes = {raidVolume(0, {1}), raidVolume(1, {1})};
    volume(1).id = volume(0).id;
    volume(0).state = 0;
    discover();
    volume(0).state = 3;
    const std::vector<vokLogicalDiskInfo> found = discover();
    ASSERT_THAT(found, SizeIs(2));
    EXPECT_EQ(found[0].getEventState(), VOK_STATE_OFFLINE);
    EXPECT_EQ(found[1].getEventState(), VOK_STATE_OFFLINE);
}

TEST_F(RaidVolumes, AVolumeKeepsCopiesOfItsConsistencyChecks) {
    library.controllers = {raidController()};
    discover();
    ASSERT_THAT(controller->currentLogicalDisks, SizeIs(1));
    auto running = std::make_unique<CheckState>();
    running->setInconsistentParityCount(4);
    controller->currentLogicalDisks[0].setCurrentCCState(std::move(running));
    auto ended = std::make_unique<CheckState>();
    ended->setCCResult(vokCheckClean);
    controller->currentLogicalDisks[0].setPreviousCCState(std::move(ended));
    const vokLogicalDiskInfo found = discoverOne();
    EXPECT_EQ(checkState(found.getCurrentCCState()).getInconsistentParityCount(), 4u);
    EXPECT_EQ(checkState(found.getPreviousCCState()).getCCResult(), vokCheckClean);
    EXPECT_NE(found.getCurrentCCState(), controller->currentLogicalDisks[0].getCurrentCCState());
}

TEST_F(RaidVolumes, AVolumeThatHasGoneIsKeptButNotReported) {
    library.controllers = {raidController()};
    library.controllers[0].volumes = {raidVolume(0, {1}), raidVolume(1, {1})};
    EXPECT_THAT(discover(), SizeIs(2));
    library.controllers[0].volumes.pop_back();
    for (int cycle = 0; cycle < 2; ++cycle) {
        EXPECT_EQ(discoverOne().getDurableName(), firstName);
        const std::vector<vokLogicalDiskInfo> kept = controller->getLogicalDiskInventory();
        ASSERT_THAT(kept, SizeIs(2));
        EXPECT_EQ(kept[1].getDurableName(), secondName);
        EXPECT_TRUE(kept[1].getDeviceMissing());
    }
}

TEST_F(RaidVolumes, AVolumeThatComesBackKeepsItsEventStatusAndItsChecks) {
    library.controllers = {raidController()};
    volume().state = 0;
    discover();
    auto running = std::make_unique<CheckState>();
    running->setInconsistentParityCount(4);
    controller->currentLogicalDisks.at(0).setCurrentCCState(std::move(running));
    library.controllers[0].volumes.clear();
    EXPECT_THAT(discover(), IsEmpty());
    library.controllers[0].volumes = {raidVolume(0, {1})};
    const vokLogicalDiskInfo found = discoverOne();
    EXPECT_EQ(found.getState(), VOK_STATE_OPTIMAL);
    EXPECT_EQ(found.getEventState(), VOK_STATE_OFFLINE);
    EXPECT_FALSE(found.getDeviceMissing());
    EXPECT_EQ(checkState(found.getCurrentCCState()).getInconsistentParityCount(), 4u);
    EXPECT_THAT(controller->currentLogicalDisks, SizeIs(1));
}

TEST_F(RaidVolumes, AVolumeWhoseDeletionWasReportedIsNotKept) {
    library.controllers = {raidController()};
    discover();
    controller->currentLogicalDisks.at(0).setDeletedEventReceived(true);
    library.controllers[0].volumes.clear();
    EXPECT_THAT(discover(), IsEmpty());
    EXPECT_THAT(controller->currentLogicalDisks, IsEmpty());
}

// --- the loading rules of the 9560 ---

TEST_F(RaidVolumes, A9560OnASystemOfAnotherMakerHasNone) {
    start(firstFamily, "Maker of servers");
    library.controllers = {raidController(0, model9560Small)};
    EXPECT_THAT(discover(), IsEmpty());
    EXPECT_THAT(controller->currentLogicalDisks, IsEmpty());
    EXPECT_TRUE(
        logged("DEBUG STOR_MR: No LD inventory will be reported for MegaRAID 9560 [0000:5e:00.0] on "
               "non-MEV system."));
}

TEST_F(RaidVolumes, A9560OnAnotherPlatformHasItsVolumesOnASystemOfWhicheverMaker) {
    start(secondFamily, "Maker of servers");
    library.controllers = {raidController(0, model9560Small)};
    EXPECT_THAT(discover(), SizeIs(1));
}

TEST_F(RaidVolumes, A9560ThatFollowsARuleHasItsVolumes) {
    start(firstFamily);
    library.controllers = {raidController(0, model9560Small)};
    EXPECT_THAT(discover(), SizeIs(1));
}

TEST_F(RaidVolumes, A9560ThatFollowsNoRuleHasNoneAndOneWarningSaysSo) {
    start(firstFamily);
    library.controllers = {raidController(0, model9560Small)};
    library.controllers[0].bus = 0x86;
    library.controllers[0].board = 0x40201000;
    EXPECT_THAT(discover(), SizeIs(1)) << "no 9560";
    library.controllers[0].board = model9560Large.board;
    library.controllers[0].bus = 0x3b;
    for (int cycle = 0; cycle < 3; ++cycle) EXPECT_THAT(discover(), IsEmpty());
    EXPECT_EQ(
        timesLogged("DEBUG STOR_MR: Either MegaRAID 9560 [0x10E21000, 0x40001000] @ [0000:3b:00.0] or "
                    "its housing chassis not compliant with I/O loading rules. LD inventory with not be "
                    "reported."),
        3);
    EXPECT_EQ(timesLogged("WARNING STOR_MR: MegaRAID 9560 [0x10E21000, 0x40001000] @ [0000:3b:00.0] or its "
                          "server chassis not compliant with I/O loading rules. Physical drives and RAID "
                          "volumes attached to this controller may not be reported/monitored."),
              1);
}

class RaidVolumesWithoutInspection : public RaidVolumes {
protected:
    RaidVolumesWithoutInspection() : RaidVolumes("\"DisableMegaRAID9560LoadingInspection\": \"true\"") {}
};

TEST_F(RaidVolumesWithoutInspection, A9560HasNone) {
    start(firstFamily);
    library.controllers = {raidController(0, model9560Small)};
    EXPECT_THAT(discover(), IsEmpty());
}

}  // namespace
}  // namespace vokMegaRAIDControllerVolumesTest
