// Events of the firmware on disks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "megaraid/vokMegaRAIDEventsFixture.h"

namespace vokMegaRAIDEventsDiskTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char isBad[] = "INFO STOR_MR: Ignoring WARNING event as device is already in BAD state";
constexpr char isCritical[] = "INFO STOR_MR: Ignoring FATAL event as device already in CRITICAL state";
constexpr char errorReported[] =
    "DEBUG STOR_MR: Error reported on PD [S2] @ slot [3] for controller [SV00000001].";
constexpr char removed[] = "INFO STOR_MR: VOK has realized that PD has been removed";
constexpr char skippedAsOk[] = "INFO STOR_MR: Skipping the event as fru is already OK";
constexpr char skippedAsBad[] = "INFO STOR_MR: Skipping the event as fru is already BAD state";
constexpr char skippedAsUnknown[] =
    "INFO STOR_MR: State variable not recognized by VOK SAS RM. Skipping the event";
constexpr char event538[] = "event 538";
constexpr char event539[] = "event 539";
constexpr char event540[] = "event 540";

// What each event on a disk logs first is not in the traces.
template <typename Fixture>
class DiskEventsOf : public Fixture {
protected:
    using typename Fixture::Trace;

    Trace judged(const VOK_SAS_EVENT_DETAIL& detail) {
        Trace found = this->analyzed(detail);
        EXPECT_FALSE(found.empty());
        EXPECT_EQ(found.front(),
                  "DEBUG STOR_MR: Inside SASEventDetail->eventLocale.compare('PD_EVENT') == 0");
        found.erase(found.begin());
        return found;
    }
    // Judges an event on the disk, which has reported this health.
    Trace judgedAt(VOK_RESOURCE_HEALTH health, const VOK_SAS_EVENT_DETAIL& detail) {
        this->controller->currentDrives.clear();
        this->addDisk("S2", "252:3", VOK_STATE_DIAGNOSTIC_MODE, health);
        return judged(detail);
    }
    void expectUntouched(VOK_RESOURCE_HEALTH health) const {
        this->expectStatus(this->disk(0), VOK_STATE_DIAGNOSTIC_MODE, health);
        EXPECT_EQ(this->disk(0).getEventInfoString(), "before");
    }
};

class MegaRAIDDiskEvents : public DiskEventsOf<MegaRAIDEventsFixture> {
protected:
    // The line on a new firmware state.
    static std::string changedTo(int firmwareState) {
        return "INFO STOR_MR: VOK has realized that PD status has been changed New status: " +
               std::to_string(firmwareState);
    }
};

constexpr VOK_RESOURCE_HEALTH healths[] = {VOK_HEALTH_UNKNOWN, VOK_HEALTH_CRITICAL, VOK_HEALTH_OK,
                                           VOK_HEALTH_WARNING};

// --- predictions ---

TEST_F(MegaRAIDDiskEvents, APredictionRaises539UnlessTheDiskIsAtWarning) {
    for (const auto health : {VOK_HEALTH_UNKNOWN, VOK_HEALTH_OK}) {
        EXPECT_THAT(judgedAt(health, diskEvent(2, 0x57)),
                    ElementsAre(errorReported,
                                "DEBUG STOR_MR: Reporting predictive failure event on PD [S2] @ slot [3] for "
                                "controller [SV00000001].",
                                event539));
        expectStatus(disk(0), VOK_STATE_PREDICTIVE_FAILURE, VOK_HEALTH_WARNING);
        EXPECT_THAT(judgedAt(health, diskEvent(3, 0x57)),
                    ElementsAre(errorReported,
                                "DEBUG STOR_MR: Reporting predictive failure event on PD [S2] @ slot [3] for "
                                "controller [SV00000001]",
                                event539));
        expectStatus(disk(0), VOK_STATE_PREDICTIVE_FAILURE, VOK_HEALTH_WARNING);
        EXPECT_THAT(judgedAt(health, diskEvent(3, 0x60)), ElementsAre(event539));
        expectStatus(disk(0), VOK_STATE_PREDICTIVE_FAILURE, VOK_HEALTH_WARNING);
    }
    for (const auto& event : {diskEvent(2, 0x57), diskEvent(3, 0x57), diskEvent(3, 0x60)}) {
        EXPECT_THAT(judgedAt(VOK_HEALTH_WARNING, event), ElementsAre(isBad));
        expectUntouched(VOK_HEALTH_WARNING);
    }
}

TEST_F(MegaRAIDDiskEvents, APredictionLowersACriticalDiskToWarningAsRequired) {
    for (const auto& event : {diskEvent(2, 0x57), diskEvent(3, 0x57), diskEvent(3, 0x60)}) {
        EXPECT_EQ(judgedAt(VOK_HEALTH_CRITICAL, event).back(), event539);
        expectStatus(disk(0), VOK_STATE_PREDICTIVE_FAILURE, VOK_HEALTH_WARNING);
    }
}

TEST_F(MegaRAIDDiskEvents, OfTwoPredictionsInARowTheSecondIsIgnored) {
    addDisk("S2", "252:3", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    EXPECT_EQ(judged(diskEvent(2, 0x57)).back(), event539);
    EXPECT_THAT(judged(diskEvent(2, 0x57)), ElementsAre(isBad));
}

// --- failures, and what is no event ---

TEST_F(MegaRAIDDiskEvents, AnyCriticalEventRaises538UnlessTheDiskIsCritical) {
    for (const std::uint32_t eventClass : {4u, 5u}) {
        for (const std::uint32_t code : {0x10u, 0x57u, 0x60u, 0x70u, 0x72u}) {
            for (const auto health : {VOK_HEALTH_UNKNOWN, VOK_HEALTH_OK, VOK_HEALTH_WARNING}) {
                EXPECT_THAT(judgedAt(health, diskEvent(eventClass, code)), ElementsAre(event538));
                expectStatus(disk(0), VOK_STATE_FAILED, VOK_HEALTH_CRITICAL);
            }
            EXPECT_THAT(judgedAt(VOK_HEALTH_CRITICAL, diskEvent(eventClass, code)), ElementsAre(isCritical));
            expectUntouched(VOK_HEALTH_CRITICAL);
        }
    }
}

TEST_F(MegaRAIDDiskEvents, AnyOtherEventDoesNothing) {
    for (const auto health : healths) {
        for (const auto& event :
             {diskEvent(2, 0x60), diskEvent(2, 0x10), diskEvent(3, 0x72), diskEvent(3, 0x10),
              diskEvent(6, 0x57), diskEvent(6, 0x70), diskEvent(6, 0x72), diskEvent(6, 0x10)}) {
            EXPECT_THAT(judgedAt(health, event), IsEmpty());
            expectUntouched(health);
        }
    }
}

TEST_F(MegaRAIDDiskEvents, TheHealthLastReportedIsJudgedAndNotTheHealthItself) {
    addDisk("S2", "252:3", VOK_STATE_FAILED, VOK_HEALTH_CRITICAL);
    disk(0).setEventHealth(VOK_HEALTH_OK);
    EXPECT_THAT(judged(diskEvent(4, 0x10)), ElementsAre(event538));
    disk(0).setHealth(VOK_HEALTH_OK);
    EXPECT_THAT(judged(diskEvent(4, 0x10)), ElementsAre(isCritical));
}

// --- removal ---

TEST_F(MegaRAIDDiskEvents, ARemovalRequestsAnInventoryBeforeItRaises538) {
    for (const std::uint32_t eventClass : {2u, 3u}) {
        for (const auto health : {VOK_HEALTH_UNKNOWN, VOK_HEALTH_OK, VOK_HEALTH_WARNING}) {
            EXPECT_THAT(judgedAt(health, diskEvent(eventClass, 0x70)),
                        ElementsAre(removed, "push", "build", event538));
            expectStatus(disk(0), VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL);
        }
    }
}

TEST_F(MegaRAIDDiskEvents, TheRemovalOfACriticalDiskRaisesNoEventAndStillRequestsAnInventory) {
    for (const std::uint32_t eventClass : {2u, 3u}) {
        EXPECT_THAT(judgedAt(VOK_HEALTH_CRITICAL, diskEvent(eventClass, 0x70)),
                    ElementsAre(removed, "push", "build"));
        expectStatus(disk(0), VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL);
        EXPECT_EQ(disk(0).getEventInfoString(), "before");
    }
}

// --- a new firmware state ---

TEST_F(MegaRAIDDiskEvents, AGoodStateRaises540UnlessTheDiskIsOk) {
    const std::vector<std::pair<int, VOK_RESOURCE_STATE>> states = {
        {0, VOK_STATE_ONLINE},  {2, VOK_STATE_ONLINE},  {24, VOK_STATE_ONLINE},
        {32, VOK_STATE_ONLINE}, {64, VOK_STATE_ONLINE}, {20, VOK_STATE_REBUILD}};
    for (const auto& [firmwareState, state] : states) {
        const auto event = diskEvent(2, 0x72, static_cast<std::uint32_t>(firmwareState));
        for (const auto health : {VOK_HEALTH_UNKNOWN, VOK_HEALTH_CRITICAL, VOK_HEALTH_WARNING}) {
            EXPECT_THAT(judgedAt(health, event), ElementsAre(changedTo(firmwareState), event540));
            expectStatus(disk(0), state, VOK_HEALTH_OK);
        }
        EXPECT_THAT(judgedAt(VOK_HEALTH_OK, event), ElementsAre(changedTo(firmwareState), skippedAsOk));
        // The state was set first.
        expectStatus(disk(0), state, VOK_HEALTH_OK);
    }
}

TEST_F(MegaRAIDDiskEvents, ABadStateRaises538AsFailedUnlessTheDiskIsCritical) {
    const std::vector<std::pair<int, VOK_RESOURCE_STATE>> states = {
        {1, VOK_STATE_UNCONFIGURED_BAD}, {16, VOK_STATE_OFFLINE}, {17, VOK_STATE_FAILED}};
    for (const auto& [firmwareState, state] : states) {
        const auto event = diskEvent(2, 0x72, static_cast<std::uint32_t>(firmwareState));
        for (const auto health : {VOK_HEALTH_UNKNOWN, VOK_HEALTH_OK, VOK_HEALTH_WARNING}) {
            EXPECT_THAT(judgedAt(health, event), ElementsAre(changedTo(firmwareState), event538));
            expectStatus(disk(0), VOK_STATE_FAILED, VOK_HEALTH_CRITICAL);
        }
        EXPECT_THAT(judgedAt(VOK_HEALTH_CRITICAL, event),
                    ElementsAre(changedTo(firmwareState), skippedAsBad));
        expectStatus(disk(0), state, VOK_HEALTH_CRITICAL);
    }
}

TEST_F(MegaRAIDDiskEvents, ADiskThatGoesOfflineIsFailedAndAfterASecondSuchEventOffline) {
    addDisk("S2", "252:3", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    EXPECT_THAT(judged(diskEvent(2, 0x72, 16)), ElementsAre(changedTo(16), event538));
    expectStatus(disk(0), VOK_STATE_FAILED, VOK_HEALTH_CRITICAL);
    EXPECT_THAT(judged(diskEvent(2, 0x72, 16)), ElementsAre(changedTo(16), skippedAsBad));
    expectStatus(disk(0), VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL);
}

TEST_F(MegaRAIDDiskEvents, AnUnknownStateSetsTheStateUnknownAndKeepsTheHealth) {
    for (const int firmwareState : {3, 18, 25, 65, 0xFFFF}) {
        for (const auto health : healths) {
            EXPECT_THAT(judgedAt(health, diskEvent(2, 0x72, static_cast<std::uint32_t>(firmwareState))),
                        ElementsAre(changedTo(firmwareState), skippedAsUnknown));
            expectStatus(disk(0), VOK_STATE_UNKNOWN, health);
        }
    }
}

TEST_F(MegaRAIDDiskEvents, OnlyTheLow16BitsAreTheFirmwareState) {
    EXPECT_THAT(judgedAt(VOK_HEALTH_CRITICAL, diskEvent(2, 0x72, 0xABCD0018)),
                ElementsAre(changedTo(24), event540));
    EXPECT_THAT(judgedAt(VOK_HEALTH_CRITICAL, diskEvent(2, 0x72, 0x00010000)),
                ElementsAre(changedTo(0), event540));
}

// --- what an event says ---

TEST_F(MegaRAIDDiskEvents, AnEventIsAtTheLocationOfTheDiskAndHasItsText) {
    addDisk("S2", "252:3", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    judged(diskEvent(4, 0x10));
    const Json::Value event = lastEvent();
    EXPECT_EQ(event["ID"], 538);
    EXPECT_EQ(event["PhysicalLocation"], diskLocation);
    EXPECT_EQ(event["VariableData"]["Type"], "Drive");
    EXPECT_EQ(event["VariableData"]["Data"]["SerialNumber"], "S2");
    EXPECT_EQ(event["VariableData"]["EventInfo"],
              "[Msg # 0x10] What the firmware says. Please refer to MegaRAID Software User Guide for further "
              "details.");
    EXPECT_EQ(disk(0).getEventInfoString(), event["VariableData"]["EventInfo"].asString());
}

TEST_F(MegaRAIDDiskEvents, A540HasNoText) {
    addDisk("S2", "252:3", VOK_STATE_FAILED, VOK_HEALTH_CRITICAL);
    judged(diskEvent(2, 0x72, 24));
    const Json::Value event = lastEvent();
    EXPECT_EQ(event["ID"], 540);
    EXPECT_EQ(event["PhysicalLocation"], diskLocation);
    EXPECT_EQ(event["VariableData"]["EventInfo"], "");
    EXPECT_EQ(disk(0).getEventInfoString(), "");
}

// --- which disk ---

class MegaRAIDDiskOfAnEvent : public MegaRAIDDiskEvents {
protected:
    // The index of the disk that a failure concerns; -1 without one.
    int failedBy(const VOK_SAS_EVENT_DETAIL& detail) {
        for (vokDiskInfo& each : controller->currentDrives) setStatus(each, VOK_STATE_ONLINE, VOK_HEALTH_OK);
        judged(detail);
        int found = -1;
        for (std::size_t i = 0; i < controller->currentDrives.size(); ++i) {
            if (disk(i).getState() != VOK_STATE_FAILED) continue;
            EXPECT_EQ(found, -1) << "two disks";
            found = static_cast<int>(i);
        }
        return found;
    }
    void addDisks(const std::vector<std::pair<std::string, std::string>>& serialsAndSlots) const {
        for (const auto& [diskSerial, slot] : serialsAndSlots)
            addDisk(diskSerial, slot, VOK_STATE_ONLINE, VOK_HEALTH_OK);
    }
    static VOK_SAS_EVENT_DETAIL failureOf(const std::string& diskSerial, int enclosure, int slot) {
        VOK_SAS_EVENT_DETAIL detail = diskEvent(4, 0x10);
        detail.driveSerial = diskSerial;
        detail.enclosure = enclosure;
        detail.slot = slot;
        return detail;
    }
};

TEST_F(MegaRAIDDiskOfAnEvent, ItHasTheSerialOrTheSlotOfTheEvent) {
    addDisks({{"S1", "252:1"}, {"S2", "252:2"}, {"S3", "252:3"}});
    EXPECT_EQ(failedBy(failureOf("S2", 252, 9)), 1);
    EXPECT_EQ(failedBy(failureOf("NotAvailable", 252, 3)), 2);
    EXPECT_EQ(failedBy(failureOf("s2", 252, 9)), -1);
    EXPECT_EQ(failedBy(failureOf("S", 25, 21)), -1);
}

TEST_F(MegaRAIDDiskOfAnEvent, ItIsTheFirstOfEither) {
    addDisks({{"S1", "252:1"}, {"S2", "252:2"}, {"S2", "252:3"}});
    EXPECT_EQ(failedBy(failureOf("S2", 252, 3)), 1);
    // In one walk: the disk of the slot stands before that of the serial.
    EXPECT_EQ(failedBy(failureOf("S2", 252, 1)), 0);
}

TEST_F(MegaRAIDDiskOfAnEvent, AnEmptySerialMatchesNothing) {
    addDisks({{"", "252:1"}, {"", "252:2"}});
    EXPECT_EQ(failedBy(failureOf("", 252, 2)), 1);
    EXPECT_EQ(failedBy(failureOf("", 252, 9)), -1);
}

TEST_F(MegaRAIDDiskOfAnEvent, ASlotNeedsAnEnclosureAndASlotOfAtLeastZero) {
    addDisks({{"S1", "-1:3"}, {"S2", "252:-1"}, {"S3", "0:0"}});
    EXPECT_EQ(failedBy(failureOf("X", -1, 3)), -1);
    EXPECT_EQ(failedBy(failureOf("X", 252, -1)), -1);
    EXPECT_EQ(failedBy(failureOf("X", 0, 0)), 2);
}

TEST_F(MegaRAIDDiskOfAnEvent, AnEventWithoutASlotIsLoggedAndGoesOnByTheSerial) {
    addDisks({{"S2", "252:3"}});
    EXPECT_THAT(judged(failureOf("S2", -1, -1)),
                ElementsAre("DEBUG STOR_MR: MegaRAID [0000:5e:00.0]: Disk slot information from AEN callback "
                            "(-1:-1) not valid.",
                            event538));
    EXPECT_THAT(judged(failureOf("X", 252, -1)).front(),
                "DEBUG STOR_MR: MegaRAID [0000:5e:00.0]: Disk slot information from AEN callback (252:-1) "
                "not valid.");
    EXPECT_THAT(judged(failureOf("X", -1, 3)).front(),
                "DEBUG STOR_MR: MegaRAID [0000:5e:00.0]: Disk slot information from AEN callback (-1:3) not "
                "valid.");
}

TEST_F(MegaRAIDDiskEvents, AnAbsentDiskIsLoggedFromWarningToFatal) {
    addDisk("S1", "252:1", VOK_STATE_ONLINE, VOK_HEALTH_OK);
    for (const std::uint32_t eventClass : {3u, 4u, 5u})
        EXPECT_THAT(judged(diskEvent(eventClass, 0x57)),
                    ElementsAre("INFO STOR_MR: Ignoring CRITICAL/FATAL/WARNING event (87, " +
                                std::to_string(eventClass) +
                                ") received for PD [S2] @ slot [3] absent in VOK inventory."));
    for (const std::uint32_t eventClass : {2u, 6u})
        EXPECT_THAT(judged(diskEvent(eventClass, 0x57)), IsEmpty());
    EXPECT_THAT(judged(diskEvent(2, 0x70)), IsEmpty());
    expectStatus(disk(0), VOK_STATE_ONLINE, VOK_HEALTH_OK);
}

TEST_F(MegaRAIDDiskEvents, AnInsertionOfAnyClassRequestsAnInventoryEvenIfTheLibraryDoesNotListTheDisk) {
    addDisk("S2", "252:3", VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL);
    for (const std::uint32_t eventClass : {2u, 3u, 4u, 5u, 6u})
        EXPECT_THAT(
            judged(diskEvent(eventClass, 0x5B)),
            ElementsAre("WARNING STOR_MR: Unable to fetch inventory of newly inserted drive [Slot 3]; No "
                        "drive event will be generated.",
                        "push", "build"));
    expectStatus(disk(0), VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL);
}

// --- with the setting that forwards all critical events ---

class MegaRAIDDiskForwarding : public DiskEventsOf<MegaRAIDForwardingFixture> {};

TEST_F(MegaRAIDDiskForwarding, ACriticalEventOnACriticalDiskRaises538Again) {
    for (const std::uint32_t eventClass : {4u, 5u}) {
        EXPECT_THAT(judgedAt(VOK_HEALTH_CRITICAL, diskEvent(eventClass, 0x10)), ElementsAre(event538));
        expectStatus(disk(0), VOK_STATE_FAILED, VOK_HEALTH_CRITICAL);
    }
}

TEST_F(MegaRAIDDiskForwarding, AllElseIsJudgedAsWithoutTheSetting) {
    EXPECT_THAT(judgedAt(VOK_HEALTH_WARNING, diskEvent(2, 0x57)), ElementsAre(isBad));
    EXPECT_THAT(judgedAt(VOK_HEALTH_CRITICAL, diskEvent(2, 0x70)), ElementsAre(removed, "push", "build"));
    EXPECT_EQ(judgedAt(VOK_HEALTH_CRITICAL, diskEvent(2, 0x72, 17)).back(), skippedAsBad);
    EXPECT_THAT(judgedAt(VOK_HEALTH_CRITICAL, diskEvent(6, 0x10)), IsEmpty());
}

}  // namespace
}  // namespace vokMegaRAIDEventsDiskTest
