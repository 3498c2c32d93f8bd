// What becomes of the volumes of a controller from one discovery cycle to the next.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "storage/StorageFixture.h"

namespace vokLogicalDiskSyncTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class VolumeSync : public StorageFixture {
protected:
    VolumeSync() { controller->currentInfo.setSerialNumber("SN1"); }

    static vokLogicalDiskInfo volume(const std::string& name, bool missing = false, bool deleted = false) {
        vokLogicalDiskInfo made;
        made.setDurableName(name);
        made.setLogicalDiskID("7");
        made.setDeviceName("/dev/sd" + name);
        made.setRAIDLevel("RAID1");
        made.setDeviceMissing(missing);
        made.setDeletedEventReceived(deleted);
        return made;
    }

    // The current volumes after the synchronisation, each with its mark.
    std::vector<std::string> synchronized(std::vector<vokLogicalDiskInfo> previous,
                                          std::vector<vokLogicalDiskInfo> current) {
        controller->previousLogicalDisks = std::move(previous);
        controller->currentLogicalDisks = std::move(current);
        controller->synchronizeLogicalDiskInventory();
        std::vector<std::string> names;
        for (const vokLogicalDiskInfo& each : controller->currentLogicalDisks)
            names.push_back(each.getDurableName() + (each.getDeviceMissing() ? " missing" : ""));
        return names;
    }

    Held<TestController> controller = newController();
};

TEST_F(VolumeSync, TheWalkIsLoggedWithTheSerialNumberOfTheController) {
    EXPECT_THAT(synchronized({}, {}), IsEmpty());
    EXPECT_TRUE(logged("Controller [SN SN1]: Inside synchronizeLogicalDiskInventory"));
}

TEST_F(VolumeSync, AVolumeThatIsStillThereIsLeftAlone) {
    EXPECT_THAT(synchronized({volume("a")}, {volume("b"), volume("a")}), ElementsAre("b", "a"));
    EXPECT_TRUE(logged("Controller [SN SN1]: Looking for LD [a] in latest inventory."));
    EXPECT_TRUE(logged("Controller [SN SN1]: Found LD [a] in latest inventory."));
    EXPECT_FALSE(logged("Controller [SN SN1]: Looking for LD [b] in latest inventory."));
}

TEST_F(VolumeSync, AVolumeThatIsBackIsNoLongerMarkedMissing) {
    EXPECT_THAT(synchronized({volume("a", true)}, {volume("a")}), ElementsAre("a"));
}

TEST_F(VolumeSync, AVolumeThatHasGoneIsKeptWholeAsMissing) {
    EXPECT_THAT(synchronized({volume("a")}, {volume("b")}), ElementsAre("b", "a missing"));
    EXPECT_EQ(controller->currentLogicalDisks[1].getRAIDLevel(), "RAID1");
    EXPECT_FALSE(controller->previousLogicalDisks[0].getDeviceMissing()) << "only the copy is marked";
    EXPECT_TRUE(logged("Controller [SN SN1]: Added placeholder for LD [a] in latest inventory."));
    EXPECT_FALSE(logged("Controller [SN SN1]: Re-added missing LD [a] to latest inventory."));
}

TEST_F(VolumeSync, AVolumeThatStaysAwayIsKept) {
    EXPECT_THAT(synchronized({volume("a", true)}, {}), ElementsAre("a missing"));
    EXPECT_TRUE(logged("Controller [SN SN1]: Re-added missing LD [a] to latest inventory."));
    EXPECT_FALSE(logged("Controller [SN SN1]: Added placeholder for LD [a] in latest inventory."));
}

TEST_F(VolumeSync, AVolumeWhoseDeletionWasReportedIsDropped) {
    EXPECT_THAT(synchronized({volume("a", false, true), volume("b", true, true)}, {}), IsEmpty());
    EXPECT_TRUE(
        logged("Controller [SN SN1]: Omitting LD [a] that has received deleted-event. (Device /dev/sda)"));
    EXPECT_TRUE(
        logged("Controller [SN SN1]: Omitting LD [b] that has received deleted-event. (Device /dev/sdb)"));
}

TEST_F(VolumeSync, AVolumeWhoseDeletionWasReportedAndThatIsThereStays) {
    EXPECT_THAT(synchronized({volume("a", false, true)}, {volume("a")}), ElementsAre("a"));
}

TEST_F(VolumeSync, AVolumeWithoutADurableNameIsLeftOut) {
    EXPECT_THAT(synchronized({volume("")}, {}), IsEmpty());
    EXPECT_TRUE(
        logged("Controller [SN SN1]: Found a logical disk with empty durable name. [LogicalDiskID = 7]"));
    EXPECT_FALSE(logged("Controller [SN SN1]: Looking for LD [] in latest inventory."));
}

TEST_F(VolumeSync, TheRecordKeptForAVolumeIsFoundForALaterOneOfThatName) {
    EXPECT_THAT(synchronized({volume("a"), volume("a")}, {}), ElementsAre("a missing"));
    EXPECT_TRUE(logged("Controller [SN SN1]: Found LD [a] in latest inventory."));
}

TEST_F(VolumeSync, NoVolumeRaisesAnEventOrAPush) {
    letEventsPass();
    controller->eventFlags = vokEventsEnabled;
    synchronized({volume("a")}, {volume("b")});
    EXPECT_THAT(eventIds(), IsEmpty());
    EXPECT_FALSE(hasLogged(host, "DEBUG SAS_RM: Signalling for inventory push to RMC on cache build."));
}

}  // namespace
}  // namespace vokLogicalDiskSyncTest
