// Events of the firmware on volumes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "megaraid/vokMegaRAIDEventsFixture.h"

namespace vokMegaRAIDEventsVolumeTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char isBad[] = "INFO STOR_MR: Ignoring WARNING event as device is already in BAD state";
constexpr char isCritical[] = "INFO STOR_MR: Ignoring FATAL event as device already in CRITICAL state";
constexpr char event681[] = "event 681";
constexpr char event683[] = "event 683";

class MegaRAIDVolumeEvents : public MegaRAIDEventsFixture {
protected:
    // Judges an event on the volume, which has reported this health.
    Trace analyzedAt(VOK_RESOURCE_HEALTH health, std::uint32_t eventClass, std::uint32_t code) {
        controller->currentLogicalDisks.clear();
        addVolume("7", VOK_STATE_DIAGNOSTIC_MODE, health);
        return analyzed(volumeEvent(eventClass, code));
    }
    void expectUntouched(VOK_RESOURCE_HEALTH health) const {
        expectStatus(volume(0), VOK_STATE_DIAGNOSTIC_MODE, health);
        EXPECT_EQ(volume(0).getEventInfoString(), "");
    }
};

TEST_F(MegaRAIDVolumeEvents, OptimalRaises683UnlessTheVolumeIsOk) {
    for (const auto health : {VOK_HEALTH_UNKNOWN, VOK_HEALTH_CRITICAL, VOK_HEALTH_WARNING}) {
        EXPECT_THAT(analyzedAt(health, 2, 0xF9), ElementsAre(event683));
        expectStatus(volume(0), VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
    }
    EXPECT_THAT(analyzedAt(VOK_HEALTH_OK, 2, 0xF9),
                ElementsAre("INFO STOR_MR: Ignoring event ID 249  INFO event as device is already in OK "
                            "state"));
    expectUntouched(VOK_HEALTH_OK);
}

TEST_F(MegaRAIDVolumeEvents, AnyOtherInformationIsIgnoredWithTheTextOfAVolumeThatIsOk) {
    for (const auto health : {VOK_HEALTH_CRITICAL, VOK_HEALTH_OK, VOK_HEALTH_WARNING}) {
        EXPECT_THAT(analyzedAt(health, 2, 0x10),
                    ElementsAre("INFO STOR_MR: Ignoring event ID 16  INFO event as device is already in OK "
                                "state"));
        expectUntouched(health);
    }
}

TEST_F(MegaRAIDVolumeEvents, PartialDegradationRaises681UnlessTheVolumeIsBad) {
    for (const auto health : {VOK_HEALTH_UNKNOWN, VOK_HEALTH_OK}) {
        EXPECT_THAT(analyzedAt(health, 3, 0xFA), ElementsAre(event681));
        expectStatus(volume(0), VOK_STATE_PARTIALLY_DEGRADED, VOK_HEALTH_WARNING);
    }
    for (const auto health : {VOK_HEALTH_CRITICAL, VOK_HEALTH_WARNING}) {
        EXPECT_THAT(analyzedAt(health, 3, 0xFA), ElementsAre(isBad));
        expectUntouched(health);
    }
}

TEST_F(MegaRAIDVolumeEvents, AnyOtherWarningIsIgnoredWithTheTextOfAVolumeThatIsBad) {
    for (const auto health : {VOK_HEALTH_CRITICAL, VOK_HEALTH_OK, VOK_HEALTH_WARNING}) {
        EXPECT_THAT(analyzedAt(health, 3, 0xF9), ElementsAre(isBad));
        expectUntouched(health);
    }
}

TEST_F(MegaRAIDVolumeEvents, DegradationRaises681UnlessTheVolumeIsBad) {
    for (const std::uint32_t eventClass : {4u, 5u}) {
        for (const auto health : {VOK_HEALTH_UNKNOWN, VOK_HEALTH_OK}) {
            EXPECT_THAT(analyzedAt(health, eventClass, 0xFB), ElementsAre(event681));
            expectStatus(volume(0), VOK_STATE_DEGRADED, VOK_HEALTH_WARNING);
        }
        for (const auto health : {VOK_HEALTH_CRITICAL, VOK_HEALTH_WARNING}) {
            EXPECT_THAT(analyzedAt(health, eventClass, 0xFB), ElementsAre(isCritical));
            expectUntouched(health);
        }
    }
}

TEST_F(MegaRAIDVolumeEvents, OfflineRaises681UnlessTheVolumeIsCritical) {
    for (const std::uint32_t eventClass : {4u, 5u}) {
        for (const auto health : {VOK_HEALTH_UNKNOWN, VOK_HEALTH_OK, VOK_HEALTH_WARNING}) {
            EXPECT_THAT(analyzedAt(health, eventClass, 0xFC), ElementsAre(event681));
            expectStatus(volume(0), VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL);
        }
        EXPECT_THAT(analyzedAt(VOK_HEALTH_CRITICAL, eventClass, 0xFC), ElementsAre(isCritical));
        expectUntouched(VOK_HEALTH_CRITICAL);
    }
}

// Required: the text says CRITICAL of any volume.
TEST_F(MegaRAIDVolumeEvents, AnyOtherCriticalEventIsIgnoredWithTheTextOfACriticalVolume) {
    for (const std::uint32_t eventClass : {4u, 5u}) {
        for (const auto health : {VOK_HEALTH_CRITICAL, VOK_HEALTH_OK, VOK_HEALTH_WARNING}) {
            EXPECT_THAT(analyzedAt(health, eventClass, 0x10), ElementsAre(isCritical));
            expectUntouched(health);
        }
    }
}

TEST_F(MegaRAIDVolumeEvents, NoOtherClassDoesAnything) {
    for (const std::uint32_t eventClass : {0u, 1u, 6u, 7u}) {
        for (const std::uint32_t code : {0x10u, 0x8Bu, 0xF9u, 0xFAu, 0xFBu, 0xFCu}) {
            EXPECT_THAT(analyzedAt(VOK_HEALTH_OK, eventClass, code), IsEmpty());
            expectUntouched(VOK_HEALTH_OK);
            EXPECT_FALSE(volume(0).getDeletedEventReceived());
        }
    }
}

TEST_F(MegaRAIDVolumeEvents, TheHealthLastReportedIsJudgedAndNotTheHealthItself) {
    addVolume("7", VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL);
    volume(0).setEventHealth(VOK_HEALTH_OK);
    EXPECT_THAT(analyzed(volumeEvent(4, 0xFC)), ElementsAre(event681));
    volume(0).setHealth(VOK_HEALTH_OK);
    EXPECT_THAT(analyzed(volumeEvent(4, 0xFC)), ElementsAre(isCritical));
}

TEST_F(MegaRAIDVolumeEvents, ADeletedVolumeIsMarkedAndABuildRequestedOnce) {
    addVolume("7", VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
    addVolume("7", VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
    EXPECT_THAT(analyzed(volumeEvent(2, 0x8B)),
                ElementsAre("DEBUG STOR_MR: Invalidate cache as LD has been deleted", "build"));
    EXPECT_TRUE(volume(0).getDeletedEventReceived());
    expectStatus(volume(0), VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
    // The event ends there.
    EXPECT_FALSE(volume(1).getDeletedEventReceived());
}

TEST_F(MegaRAIDVolumeEvents, ACreatedVolumeOfAnyClassRequestsAPushAndABuild) {
    addVolume("7", VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
    for (const std::uint32_t eventClass : {2u, 3u, 4u, 5u, 6u})
        EXPECT_THAT(analyzed(volumeEvent(eventClass, 0x8A)), ElementsAre("push", "build"));
    expectStatus(volume(0), VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
}

TEST_F(MegaRAIDVolumeEvents, EachVolumeOfTheTargetIsJudgedAndNoOther) {
    for (const char* const id : {"7", "8", "70", "7"}) addVolume(id, VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
    EXPECT_THAT(analyzed(volumeEvent(4, 0xFC)), ElementsAre(event681, event681));
    expectStatus(volume(0), VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL);
    expectStatus(volume(1), VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
    expectStatus(volume(2), VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
    expectStatus(volume(3), VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL);
}

TEST_F(MegaRAIDVolumeEvents, AnAbsentVolumeIsWarnedOfWhenItIsDegradedOrOffline) {
    addVolume("8", VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
    EXPECT_THAT(analyzed(volumeEvent(4, 0xFB)),
                ElementsAre("WARNING STOR_MR: Ignoring CRITICAL/FATAL event (251, 4) received for VD[7] "
                            "absent in VOK inventory."));
    EXPECT_THAT(analyzed(volumeEvent(5, 0xFC)),
                ElementsAre("WARNING STOR_MR: Ignoring CRITICAL/FATAL event (252, 5) received for VD[7] "
                            "absent in VOK inventory."));
    EXPECT_THAT(analyzed(volumeEvent(5, 0xFA)), IsEmpty());
    EXPECT_THAT(analyzed(volumeEvent(2, 0x8B)), IsEmpty());
    EXPECT_THAT(analyzed(volumeEvent(3, 0xFB)), IsEmpty());
    EXPECT_THAT(analyzed(volumeEvent(6, 0xFC)), IsEmpty());
    expectStatus(volume(0), VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
}

TEST_F(MegaRAIDVolumeEvents, AnEventNamesTheVolumeAndDescribesItsDisksInTheOrderOfTheVolume) {
    addDisk("S1", "252:1", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    addDisk("S2", "252:2", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    addDisk("S3", "252:3", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    addVolume("7", VOK_STATE_OPTIMAL, VOK_HEALTH_OK, {"S3", "absent", "S1"});
    analyzed(volumeEvent(4, 0xFC));
    const Json::Value event = lastEvent();
    EXPECT_EQ(event["ID"], 681);
    EXPECT_FALSE(event.isMember("PhysicalLocation"));
    const Json::Value& data = event["VariableData"];
    EXPECT_EQ(data["Type"], "Volume");
    EXPECT_EQ(data["Data"]["DurableName"], "volume 7");
    ASSERT_EQ(data["Data"]["Drives"].size(), 2u);
    EXPECT_EQ(data["Data"]["Drives"][0]["SerialNumber"], "S3");
    EXPECT_EQ(data["Data"]["Drives"][1]["SerialNumber"], "S1");
    EXPECT_EQ(data["EventInfo"],
              "[Msg # 0xfc] What the firmware says. Please refer to MegaRAID Software "
              "User Guide for further details.");
    EXPECT_EQ(volume(0).getEventInfoString(), data["EventInfo"].asString());
}

TEST_F(MegaRAIDVolumeEvents, TheFirstDiskOfASerialIsTheMember) {
    addDisk("S1", "252:1", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    addDisk("S1", "252:2", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    vokLogicalDiskInfo volume;
    volume.addPhysicalDisk("S1");
    std::vector<vokDiskInfo> disks(1);
    controller->getPhyDiskListForLD(volume, disks);
    ASSERT_EQ(disks.size(), 2u);
    EXPECT_EQ(disks[1].getSlot(), "252:1");
}

TEST_F(MegaRAIDVolumeEvents, AnEventOfAConsistencyCheckEndsThere) {
    addVolume("7", VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
    // Ends without effect; a critical event of another code would be answered with a line.
    for (const std::uint32_t eventClass : {2u, 3u, 4u, 5u, 6u})
        EXPECT_THAT(analyzed(volumeEvent(eventClass, 0x42)), IsEmpty());
    expectStatus(volume(0), VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
}

// --- with the setting that forwards all critical events ---

class MegaRAIDVolumeForwarding : public MegaRAIDForwardingFixture {};

TEST_F(MegaRAIDVolumeForwarding, ADegradationThatIsNoNewsIsForwardedWithoutAChangeOfStatus) {
    addVolume("7", VOK_STATE_DIAGNOSTIC_MODE, VOK_HEALTH_CRITICAL);
    for (const std::uint32_t eventClass : {4u, 5u}) {
        for (const std::uint32_t code : {0xFBu, 0xFCu}) {
            EXPECT_THAT(analyzed(volumeEvent(eventClass, code)), ElementsAre(event681));
            expectStatus(volume(0), VOK_STATE_DIAGNOSTIC_MODE, VOK_HEALTH_CRITICAL);
        }
    }
    setStatus(volume(0), VOK_STATE_DIAGNOSTIC_MODE, VOK_HEALTH_WARNING);
    EXPECT_THAT(analyzed(volumeEvent(4, 0xFB)), ElementsAre(event681));
    expectStatus(volume(0), VOK_STATE_DIAGNOSTIC_MODE, VOK_HEALTH_WARNING);
}

TEST_F(MegaRAIDVolumeForwarding, AnyOtherCriticalEventMakesTheVolumeFailed) {
    for (const auto health : {VOK_HEALTH_CRITICAL, VOK_HEALTH_OK, VOK_HEALTH_WARNING}) {
        controller->currentLogicalDisks.clear();
        addVolume("7", VOK_STATE_OPTIMAL, health);
        EXPECT_THAT(analyzed(volumeEvent(5, 0x10)), ElementsAre(event681));
        expectStatus(volume(0), VOK_STATE_FAILED, VOK_HEALTH_CRITICAL);
    }
}

TEST_F(MegaRAIDVolumeForwarding, NewsIsJudgedAsWithoutTheSetting) {
    addVolume("7", VOK_STATE_OPTIMAL, VOK_HEALTH_OK);
    EXPECT_THAT(analyzed(volumeEvent(4, 0xFB)), ElementsAre(event681));
    expectStatus(volume(0), VOK_STATE_DEGRADED, VOK_HEALTH_WARNING);
    EXPECT_THAT(analyzed(volumeEvent(3, 0xFA)), ElementsAre(isBad));
}

}  // namespace
}  // namespace vokMegaRAIDEventsVolumeTest
