// The health scale of the library, and the events on a change of status between two records.
#include <gmock/gmock.h>
#include <string>

#include "megaraid/MegaRaidFixture.h"
#include "megaraid/vokMegaRAIDControllerStatus.h"

namespace vokMegaRAIDControllerStatusTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(HealthOfTheLibrary, IsTurnedIntoTheSharedEnumeration) {
    EXPECT_EQ(vokMegaRAIDController::getHealthEnum(1), VOK_HEALTH_OK);
    EXPECT_EQ(vokMegaRAIDController::getHealthEnum(2), VOK_HEALTH_WARNING);
    EXPECT_EQ(vokMegaRAIDController::getHealthEnum(3), VOK_HEALTH_UNKNOWN);
    EXPECT_EQ(vokMegaRAIDController::getHealthEnum(4), VOK_HEALTH_CRITICAL);
    for (const int other : {-1, 0, 5, 255})
        EXPECT_EQ(vokMegaRAIDController::getHealthEnum(other), VOK_HEALTH_UNKNOWN) << other;
}

class StatusChange : public MegaRaidFixture {
protected:
    StatusChange() {
        letEventsPass();
        controller->setDeviceName("SV00000001");
    }

    static vokDiskInfo diskIn(VOK_RESOURCE_STATE state, VOK_RESOURCE_HEALTH health = VOK_HEALTH_OK) {
        vokDiskInfo disk;
        disk.setState(state);
        disk.setHealth(health);
        disk.setSlot("252:3");
        disk.setPhysicalLocation("0000000000003803");
        return disk;
    }
    static vokLogicalDiskInfo volumeIn(VOK_RESOURCE_HEALTH health) {
        vokLogicalDiskInfo volume;
        volume.setDurableName("5600");
        volume.setState(VOK_STATE_OPTIMAL);
        volume.setHealth(health);
        return volume;
    }
    // The ids of the events that a change raises; their flag is checked.
    std::vector<int> raised(VOK_RESOURCE_STATE before, VOK_RESOURCE_STATE now) {
        ipmi.clearRequests();
        vokDiskInfo previous = diskIn(before);
        vokDiskInfo current = diskIn(now);
        const bool result = controller->generateEventOnStatusChange(&current, &previous);
        EXPECT_EQ(result, !events().empty());
        return eventIds();
    }
    std::vector<int> raised(VOK_RESOURCE_HEALTH before, VOK_RESOURCE_HEALTH now) {
        ipmi.clearRequests();
        vokLogicalDiskInfo previous = volumeIn(before);
        vokLogicalDiskInfo current = volumeIn(now);
        const bool result = controller->generateEventOnStatusChange(&current, &previous);
        EXPECT_EQ(result, !events().empty());
        return eventIds();
    }

    const vokHeldReference<vokMegaRAIDController> controller = newRaidController();
};

// --- disks ---

TEST_F(StatusChange, ADiskRaisesAnEventOnlyFromAFailedStateToOneOfThreeOthersAndBack) {
    for (int before = VOK_STATE_UNKNOWN; before <= VOK_STATE_UNCONFIGURED_BAD; ++before) {
        for (int now = VOK_STATE_UNKNOWN; now <= VOK_STATE_UNCONFIGURED_BAD; ++now) {
            const auto isFailed = [](int state) { return state == 11 || state == 14; };
            const auto isGood = [](int state) { return state == 15 || state == 20 || state == 24; };
            std::vector<int> expected;
            if (isFailed(before) && isGood(now)) expected = {540};
            if (isGood(before) && isFailed(now)) expected = {538};
            EXPECT_EQ(raised(static_cast<VOK_RESOURCE_STATE>(before), static_cast<VOK_RESOURCE_STATE>(now)),
                      expected)
                << before << " to " << now;
        }
    }
}

TEST_F(StatusChange, ADiskFromDegradedToFailedRaisesNoEvent) {
    EXPECT_THAT(raised(VOK_STATE_DEGRADED, VOK_STATE_FAILED), IsEmpty());
    EXPECT_TRUE(
        logged("DEBUG STOR_MR: Controller [SV00000001] @ []: Physical Drive @ [252:3, 0000000000003803]: "
               "Event not generated for status change."));
}

TEST_F(StatusChange, ADiskFromUnconfiguredBadToFailedRaisesAFailure) {
    EXPECT_THAT(raised(VOK_STATE_UNCONFIGURED_BAD, VOK_STATE_FAILED), ElementsAre(538));
}

TEST_F(StatusChange, ADiskOfTheSameStateRaisesNoEventWhateverItsHealth) {
    vokDiskInfo previous = diskIn(VOK_STATE_ONLINE, VOK_HEALTH_OK);
    vokDiskInfo current = diskIn(VOK_STATE_ONLINE, VOK_HEALTH_CRITICAL);
    EXPECT_FALSE(controller->generateEventOnStatusChange(&current, &previous));
    EXPECT_THAT(eventIds(), IsEmpty());
    for (const std::string& line : loggedLines(host))
        EXPECT_EQ(line.find("Physical Drive @"), std::string::npos) << line;
}

TEST_F(StatusChange, TheLogNamesTheControllerThePlaceAndBothStatuses) {
    vokDiskInfo previous = diskIn(VOK_STATE_ONLINE, VOK_HEALTH_OK);
    vokDiskInfo current = diskIn(VOK_STATE_FAILED, VOK_HEALTH_CRITICAL);
    EXPECT_TRUE(controller->generateEventOnStatusChange(&current, &previous));
    EXPECT_TRUE(
        logged("INFO STOR_MR: Controller [SV00000001] @ []: Physical Drive @ [252:3, 0000000000003803]: "
               "Detected disk status change. [CurrState=Failed, PrevState=Online, CurrHealth=Critical, "
               "PrevHealth=OK]"));
}

TEST(RulesOfStatusChanges, OnlyTheFailuresAreServiceEvents) {
    EXPECT_TRUE(vokMegaRAIDDiskEventOf(VOK_STATE_REBUILD, VOK_STATE_OFFLINE)->isService);
    EXPECT_FALSE(vokMegaRAIDDiskEventOf(VOK_STATE_OFFLINE, VOK_STATE_REBUILD)->isService);
    EXPECT_TRUE(vokMegaRAIDVolumeEventOf(VOK_HEALTH_CRITICAL)->isService);
    EXPECT_FALSE(vokMegaRAIDVolumeEventOf(VOK_HEALTH_OK)->isService);
}

TEST_F(StatusChange, TheEventOfADiskNamesItsPlaceAndTheDisk) {
    EXPECT_THAT(raised(VOK_STATE_REBUILD, VOK_STATE_OFFLINE), ElementsAre(538));
    ASSERT_EQ(events().size(), 1u);
    EXPECT_EQ(events()[0]["PhysicalLocation"], "0000000000003803");
    EXPECT_EQ(events()[0]["VariableData"]["Type"], "Drive");
    EXPECT_EQ(events()[0]["VariableData"]["Data"]["Oem"]["Slot"], "252:3");
}

TEST_F(StatusChange, EmptyTextsOfADiskComeFromThePreviousRecord) {
    vokDiskInfo previous = diskIn(VOK_STATE_ONLINE);
    previous.setEventInfoString("the text before");
    vokDiskInfo current;
    current.setState(VOK_STATE_ONLINE);
    current.setSlot("");
    EXPECT_FALSE(controller->generateEventOnStatusChange(&current, &previous));
    EXPECT_EQ(current.getEventInfoString(), "the text before") << "also without a change";
    EXPECT_EQ(current.getPhysicalLocation(), "0000000000003803");
    EXPECT_EQ(current.getSlot(), "252:3");
}

TEST_F(StatusChange, OwnTextsOfADiskStay) {
    vokDiskInfo previous = diskIn(VOK_STATE_ONLINE);
    previous.setEventInfoString("the text before");
    vokDiskInfo current = diskIn(VOK_STATE_FAILED);
    current.setEventInfoString("the text now");
    current.setSlot("252:4");
    current.setPhysicalLocation("0000000000003804");
    EXPECT_TRUE(controller->generateEventOnStatusChange(&current, &previous));
    EXPECT_EQ(current.getEventInfoString(), "the text now");
    EXPECT_EQ(current.getSlot(), "252:4");
    ASSERT_THAT(eventIds(), ElementsAre(538));
    EXPECT_EQ(events()[0]["PhysicalLocation"], "0000000000003804");
}

TEST_F(StatusChange, ADiskWithoutAnyLocationIsNamedByItsSlot) {
    vokDiskInfo previous = diskIn(VOK_STATE_ONLINE);
    previous.setPhysicalLocation("");
    vokDiskInfo current = diskIn(VOK_STATE_FAILED);
    current.setPhysicalLocation("");
    EXPECT_TRUE(controller->generateEventOnStatusChange(&current, &previous));
    ASSERT_THAT(eventIds(), ElementsAre(538));
    EXPECT_EQ(events()[0]["PhysicalLocation"], "252:3");
}

// --- volumes ---

TEST_F(StatusChange, AVolumeRaisesAnEventOnlyIfItsHealthBecomesOkOrCritical) {
    for (int before = VOK_HEALTH_UNKNOWN; before <= VOK_HEALTH_WARNING; ++before) {
        for (int now = VOK_HEALTH_UNKNOWN; now <= VOK_HEALTH_WARNING; ++now) {
            std::vector<int> expected;
            if (before != now && now == 2) expected = {683};
            if (before != now && now == 1) expected = {681};
            EXPECT_EQ(raised(static_cast<VOK_RESOURCE_HEALTH>(before), static_cast<VOK_RESOURCE_HEALTH>(now)),
                      expected)
                << before << " to " << now;
        }
    }
}

TEST_F(StatusChange, AVolumeFromCriticalToWarningRaisesNoEvent) {
    EXPECT_THAT(raised(VOK_HEALTH_CRITICAL, VOK_HEALTH_WARNING), IsEmpty());
    EXPECT_TRUE(
        logged("DEBUG STOR_MR: Controller [SV00000001] @ []: Logical Disk [5600]: Event not generated "
               "for status change."));
    EXPECT_THAT(raised(VOK_HEALTH_CRITICAL, VOK_HEALTH_OK), ElementsAre(683));
}

TEST_F(StatusChange, AVolumeOfTheSameHealthRaisesNoEventWhateverItsState) {
    vokLogicalDiskInfo previous = volumeIn(VOK_HEALTH_OK);
    vokLogicalDiskInfo current = volumeIn(VOK_HEALTH_OK);
    current.setState(VOK_STATE_FAILED);
    EXPECT_FALSE(controller->generateEventOnStatusChange(&current, &previous));
    EXPECT_THAT(eventIds(), IsEmpty());
}

TEST_F(StatusChange, TheLogNamesTheControllerTheVolumeAndBothStatuses) {
    raised(VOK_HEALTH_OK, VOK_HEALTH_CRITICAL);
    EXPECT_TRUE(
        logged("DEBUG STOR_MR: Controller [SV00000001] @ []: Logical Disk [5600]: Detected status "
               "change. [CurrState=Optimal, PrevState=Optimal, CurrHealth=Critical, PrevHealth=OK]"));
}

TEST_F(StatusChange, TheEventOfAVolumeNamesTheVolumeAndNoPlace) {
    EXPECT_THAT(raised(VOK_HEALTH_OK, VOK_HEALTH_CRITICAL), ElementsAre(681));
    ASSERT_EQ(events().size(), 1u);
    EXPECT_FALSE(events()[0].isMember("PhysicalLocation"));
    EXPECT_EQ(events()[0]["VariableData"]["Type"], "Volume");
    EXPECT_EQ(events()[0]["VariableData"]["Data"]["DurableName"], "5600");
}

TEST_F(StatusChange, AnEmptyTextOfAVolumeIsThePreviousDescription) {
    vokLogicalDiskInfo previous = volumeIn(VOK_HEALTH_OK);
    previous.setDescription("the description");
    previous.setEventInfoString("the text before");
    vokLogicalDiskInfo current = volumeIn(VOK_HEALTH_OK);
    controller->generateEventOnStatusChange(&current, &previous);
    EXPECT_EQ(current.getEventInfoString(), "the description") << "also without a change";
    current.setEventInfoString("the text now");
    controller->generateEventOnStatusChange(&current, &previous);
    EXPECT_EQ(current.getEventInfoString(), "the text now");
}

}  // namespace
}  // namespace vokMegaRAIDControllerStatusTest
