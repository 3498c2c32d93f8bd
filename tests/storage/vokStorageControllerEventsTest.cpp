// When a controller raises an event about itself or a disk: the rules, polling and arrival.
#include <gmock/gmock.h>

#include "storage/ControllerEventsFixture.h"
#include "storage/vokStorageControllerStatus.h"

namespace vokStorageControllerEventsTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char unknownLocation[] = "FFFFFFFFFFFFFFFF";
constexpr char rebuildRequest[] = "DEBUG SAS_RM: Invalidating inventory cache.";

VOK_RESOURCE_STATE state(int number) {
    return static_cast<VOK_RESOURCE_STATE>(number);
}
VOK_RESOURCE_HEALTH health(int number) {
    return static_cast<VOK_RESOURCE_HEALTH>(number);
}

class ControllerEvents : public ControllerEventsFixture {
protected:
    // The event that the change of a disk raises; null without one.
    Json::Value changed(vokDiskInfo previous, vokDiskInfo current) {
        ipmi.clearRequests();
        const bool raised = controller->generateEventOnStatusChange(&current, &previous);
        const std::vector<Json::Value> delivered = events();
        EXPECT_EQ(delivered.size(), raised ? 1u : 0u);
        after = current;
        return delivered.empty() ? Json::Value() : delivered[0];
    }
    long rebuildRequests() const { return countLogged(host, rebuildRequest); }

    vokDiskInfo after;  // the current record after changed()
};

// --- the controller: health before × health now × last event ---

TEST_F(ControllerEvents, EachChangeOfHealthAfterEachLastEventFollowsTheRules) {
    givePlace(*controller);
    for (int before = 0; before < 4; ++before)
        for (int now = 0; now < 4; ++now)
            for (int last = -1; last <= 1; ++last) {
                SCOPED_TRACE(std::to_string(before) + " to " + std::to_string(now) + " after " +
                             std::to_string(last));
                const bool recovers = now == 2 && (before == 1 || (before == 3 && last != 0));
                const bool fails = now == 1 && (before == 2 || (before == 3 && last != 1));
                controller->previousInfo.setHealth(health(before));
                controller->currentInfo.setHealth(health(now));
                controller->lastControllerEvent = last;
                ipmi.clearRequests();
                EXPECT_EQ(controller->generateEventOnStatusChange(), recovers || fails);
                EXPECT_EQ(eventIds(), recovers ? std::vector<int>{397}
                                      : fails  ? std::vector<int>{398}
                                               : std::vector<int>{});
                EXPECT_EQ(controller->lastControllerEvent, recovers ? 0 : fails ? 1 : last);
            }
}

TEST_F(ControllerEvents, OnlyAFailureOfAControllerIsAServiceEvent) {
    EXPECT_FALSE(vokControllerEventOf(VOK_HEALTH_CRITICAL, VOK_HEALTH_OK, -1)->event.isService);
    EXPECT_FALSE(vokControllerEventOf(VOK_HEALTH_WARNING, VOK_HEALTH_OK, -1)->event.isService);
    EXPECT_TRUE(vokControllerEventOf(VOK_HEALTH_OK, VOK_HEALTH_CRITICAL, -1)->event.isService);
    EXPECT_TRUE(vokControllerEventOf(VOK_HEALTH_WARNING, VOK_HEALTH_CRITICAL, -1)->event.isService);
}

TEST_F(ControllerEvents, TheEventCarriesTheRecordAndNoLocationOfItsOwn) {
    givePlace(*controller);
    controller->currentInfo.setModel("Array 930");
    controller->currentInfo.setEventInfoString("all ports are gone");
    controller->currentInfo.setHealth(VOK_HEALTH_CRITICAL);
    EXPECT_TRUE(controller->generateEventOnStatusChange());
    const std::vector<Json::Value> delivered = events();
    ASSERT_EQ(delivered.size(), 1u);
    EXPECT_EQ(delivered[0]["Source"], "VOK");
    EXPECT_FALSE(delivered[0].isMember("PhysicalLocation"));
    EXPECT_EQ(delivered[0]["VariableData"]["Type"], "Controller");
    EXPECT_EQ(delivered[0]["VariableData"]["Data"]["Model"], "Array 930");
    EXPECT_EQ(delivered[0]["VariableData"]["Data"]["Oem"]["PhysicalLocation"], slotLocation);
    EXPECT_EQ(delivered[0]["VariableData"]["EventInfo"], "all ports are gone");
}

TEST_F(ControllerEvents, AChangeOfStateAloneIsNotLookedAt) {
    givePlace(*controller);
    controller->currentInfo.setState(VOK_STATE_CREATED);
    EXPECT_FALSE(controller->generateEventOnStatusChange());
    EXPECT_FALSE(
        logged("0000:3b:00.0: Detected controller status change. [CurrState=Created, "
               "PrevState=Running, CurrHealth=OK, PrevHealth=OK]"));
}

TEST_F(ControllerEvents, AControllerWithoutALocationOrInAnotherPlaceRaisesNone) {
    givePlace(*controller);
    controller->currentInfo.setHealth(VOK_HEALTH_CRITICAL);
    for (const std::string location : {"", unknownLocation}) {
        controller->currentInfo.setPhysicalLocation(location);
        controller->previousInfo.setPhysicalLocation(location);
        EXPECT_FALSE(controller->generateEventOnStatusChange()) << location;
    }
    controller->currentInfo.setPhysicalLocation(slotLocation);
    EXPECT_FALSE(controller->generateEventOnStatusChange());
    EXPECT_THAT(eventIds(), IsEmpty());
    EXPECT_EQ(controller->lastControllerEvent, -1);
}

TEST_F(ControllerEvents, TheLogTellsWhatBecameOfAChange) {
    givePlace(*controller);
    controller->currentInfo.setState(VOK_STATE_DEGRADED);
    controller->currentInfo.setHealth(VOK_HEALTH_WARNING);
    EXPECT_FALSE(controller->generateEventOnStatusChange());
    const std::string texts = "[CurrState=Degraded, PrevState=Running, CurrHealth=Warning, PrevHealth=OK]";
    EXPECT_TRUE(logged("0000:3b:00.0: Detected controller status change. " + texts));
    EXPECT_TRUE(logged("0000:3b:00.0: Event not generated for controller status change. " + texts));
}

// --- a disk: state before × state now ---

TEST_F(ControllerEvents, EachChangeOfADiskFollowsTheRules) {
    for (int before = 0; before < 25; ++before)
        for (int now = 0; now < 25; ++now) {
            SCOPED_TRACE(std::to_string(before) + " to " + std::to_string(now));
            int expected = 0;
            if (before != now) {
                if (now == 23) expected = 540;
                if (now == 19) expected = 539;
                if (now == 11) expected = 538;
                if (now == 14 && (before == 19 || before == 23)) expected = 538;
            }
            const Json::Value event = changed(diskOf("0:0:0:0", firstLocation, state(before)),
                                              diskOf("0:0:0:0", firstLocation, state(now)));
            EXPECT_EQ(event.isNull() ? 0 : event["ID"].asInt(), expected);
        }
}

TEST_F(ControllerEvents, OnlyTheRecoveryOfADiskIsNoServiceEvent) {
    EXPECT_FALSE(vokDiskEventOf(VOK_STATE_FAILED, VOK_STATE_RUNNING)->isService);
    EXPECT_TRUE(vokDiskEventOf(VOK_STATE_RUNNING, VOK_STATE_PREDICTIVE_FAILURE)->isService);
    EXPECT_TRUE(vokDiskEventOf(VOK_STATE_RUNNING, VOK_STATE_FAILED)->isService);
    EXPECT_TRUE(vokDiskEventOf(VOK_STATE_RUNNING, VOK_STATE_OFFLINE)->isService);
    EXPECT_TRUE(vokDiskEventOf(VOK_STATE_PREDICTIVE_FAILURE, VOK_STATE_OFFLINE)->isService);
}

TEST_F(ControllerEvents, TheEventOfADiskHasItsPreviousLocationIfThatIsKnown) {
    const auto running = VOK_STATE_RUNNING;
    const auto failed = VOK_STATE_FAILED;
    EXPECT_EQ(
        changed(diskOf("", firstLocation, running), diskOf("", otherLocation, failed))["PhysicalLocation"],
        firstLocation);
    for (const std::string unknown : {"", unknownLocation})
        EXPECT_EQ(
            changed(diskOf("", unknown, running), diskOf("", otherLocation, failed))["PhysicalLocation"],
            otherLocation);
}

TEST_F(ControllerEvents, ADiskWithoutAKnownLocationRaisesNone) {
    EXPECT_TRUE(changed(diskOf("0:0:0:0", "", VOK_STATE_RUNNING),
                        diskOf("0:0:0:0", unknownLocation, VOK_STATE_FAILED))
                    .isNull());
    EXPECT_TRUE(
        logged("0:0:0:0: Invalid physical location detected. [OldLoc=, NewLoc=FFFFFFFFFFFFFFFF, "
               "CurrState=Failed, PrevState=Running, CurrHealth=Critical, PrevHealth=OK]"));
    EXPECT_FALSE(logged("0:0:0:0: Event not generated for disk status change."));
}

TEST_F(ControllerEvents, TheLogNamesADiskByItsPreviousLinkIfItHasOne) {
    changed(diskOf("0:0:0:0", firstLocation, VOK_STATE_RUNNING),
            diskOf("0:0:7:0", firstLocation, VOK_STATE_DEGRADED));
    EXPECT_TRUE(
        logged("0000:3b:00.0: 0:0:0:0 - Detected disk status change. [CurrState=Degraded, "
               "PrevState=Running, CurrHealth=Critical, PrevHealth=OK]"));
    EXPECT_TRUE(logged("0:0:0:0: Event not generated for disk status change."));
    changed(diskOf("", firstLocation, VOK_STATE_RUNNING),
            diskOf("0:0:7:0", firstLocation, VOK_STATE_DEGRADED));
    EXPECT_TRUE(logged("0:0:7:0: Event not generated for disk status change."));
}

TEST_F(ControllerEvents, TheEventOfADiskCarriesItsCurrentRecord) {
    vokDiskInfo current = diskOf("0:0:0:0", firstLocation, VOK_STATE_FAILED);
    current.setSerialNumber("SERIAL-0001");
    current.setEventInfoString("the page can't be read");
    const Json::Value event = changed(diskOf("0:0:0:0", firstLocation, VOK_STATE_RUNNING), current);
    EXPECT_EQ(event["VariableData"]["Type"], "Drive");
    EXPECT_EQ(event["VariableData"]["Data"]["SerialNumber"], "SERIAL-0001");
    EXPECT_EQ(event["VariableData"]["EventInfo"], "the page can't be read");
    EXPECT_EQ(event["Source"], "VOK");
    EXPECT_EQ(event["EventTime"], "2023-11-14 22:13:20");
}

TEST_F(ControllerEvents, ARecoveredDiskHasNoTextAnyMore) {
    vokDiskInfo current = diskOf("0:0:0:0", firstLocation, VOK_STATE_RUNNING);
    current.setEventInfoString("from before");
    const Json::Value event = changed(diskOf("0:0:0:0", firstLocation, VOK_STATE_FAILED), current);
    EXPECT_EQ(event["VariableData"]["EventInfo"], "");
    EXPECT_EQ(after.getEventInfoString(), "");
}

// --- enabling ---

TEST_F(ControllerEvents, EventsAreEnabledAndDisabledByOneFlag) {
    controller->eventFlags = 3;
    EXPECT_EQ(controller->enableEvents(), 1);
    EXPECT_EQ(controller->eventFlags, 7u);
    EXPECT_EQ(controller->disableEvents(), 1);
    EXPECT_EQ(controller->eventFlags, 3u);
}

TEST_F(ControllerEvents, TheBaseSetsNoOtherFlag) {
    controller->enableEvents();
    EXPECT_EQ(controller->eventFlags, 4u);
}

TEST_F(ControllerEvents, AfterTheRemovalNothingIsEnabledOrDisabled) {
    controller->eventFlags = 4;
    controller->setRemoved();
    EXPECT_EQ(controller->disableEvents(), 0);
    EXPECT_EQ(controller->eventFlags, 4u);
    controller->eventFlags = 0;
    EXPECT_EQ(controller->enableEvents(), 0);
    EXPECT_EQ(controller->eventFlags, 0u);
}

class Arrival : public ControllerEvents {
protected:
    Held<TestController> arrived(bool isNew, bool wasThereAtStart) {
        Held<TestController> added = newController({}, "0000:3b:00.0", wasThereAtStart);
        added->newDevice = isNew;
        givePlace(*added);
        addDisk(*added, diskOf("0:0:0:0", firstLocation, VOK_STATE_RUNNING));
        addDisk(*added, diskOf("0:0:1:0", otherLocation, VOK_STATE_FAILED));
        return added;
    }
};

TEST_F(Arrival, AControllerThatAppearsWhileRunningRaisesTheEventsOfItsArrival) {
    const auto added = arrived(true, false);
    EXPECT_EQ(added->enableEvents(), 1);
    EXPECT_THAT(eventIds(), ElementsAre(397, 540, 538));
    EXPECT_EQ(added->previousInfo.getHealth(), VOK_HEALTH_OK);
    EXPECT_EQ(added->previousInfo.getState(), VOK_STATE_RUNNING);
    EXPECT_EQ(added->previousDrives[0].getState(), VOK_STATE_RUNNING);
    EXPECT_EQ(added->previousDrives[0].getHealth(), VOK_HEALTH_OK);
    EXPECT_EQ(added->previousDrives[1].getState(), VOK_STATE_FAILED);
}

TEST_F(Arrival, ItIsReportedOnce) {
    const auto added = arrived(true, false);
    added->enableEvents();
    ipmi.clearRequests();
    EXPECT_EQ(added->enableEvents(), 1);
    EXPECT_THAT(eventIds(), IsEmpty());
}

TEST_F(Arrival, FlagsTakenOverFromTheRemovedControllerCountAsEnabled) {
    const auto added = arrived(true, false);
    added->eventFlags = 4;
    EXPECT_EQ(added->enableEvents(), 1);
    EXPECT_THAT(eventIds(), IsEmpty());
}

TEST_F(Arrival, AControllerThatWasThereAtTheStartOrIsNotNewDoesNotArrive) {
    EXPECT_EQ(arrived(true, true)->enableEvents(), 1);
    EXPECT_EQ(arrived(false, false)->enableEvents(), 1);
    EXPECT_THAT(eventIds(), IsEmpty());
}

// --- poll ---

class Poll : public ControllerEvents {
protected:
    Poll() {
        tree.addController({});
        tree.addPort({});
        givePlace(*controller);
        addDisk(*controller, diskOf("0:0:0:0", firstLocation, VOK_STATE_RUNNING));
        addDisk(*controller, diskOf("0:0:1:0", otherLocation, VOK_STATE_RUNNING));
        controller->eventFlags = 4;
        controller->onDiskStatus = [this](vokDiskInfo& disk) {
            polled.push_back(disk.getOSSCSILink());
            disk.setState(diskState);
        };
    }

    std::vector<std::string> polled;
    VOK_RESOURCE_STATE diskState = VOK_STATE_RUNNING;
};

TEST_F(Poll, WithoutAChangeNothingHappens) {
    controller->poll();
    EXPECT_THAT(polled, ElementsAre("0:0:0:0", "0:0:1:0"));
    EXPECT_THAT(eventIds(), IsEmpty());
    EXPECT_EQ(rebuildRequests(), 0);
}

TEST_F(Poll, ChangedPortsAndDisksRaiseEventsTheControllersFirst) {
    tree.setPortState(0, "offline");
    diskState = VOK_STATE_FAILED;
    controller->poll();
    EXPECT_THAT(eventIds(), ElementsAre(398, 538, 538));
    EXPECT_EQ(rebuildRequests(), 3);
    EXPECT_EQ(controller->currentInfo.getState(), VOK_STATE_OFFLINE);
    EXPECT_EQ(controller->currentInfo.getControllerPort(0).getState(), VOK_STATE_OFFLINE);
    EXPECT_EQ(controller->previousInfo.getState(), VOK_STATE_OFFLINE);
    EXPECT_EQ(controller->previousDrives[1].getState(), VOK_STATE_FAILED);
    EXPECT_TRUE(
        logged("/sys/class/scsi_host/host0: Detected port status change. [Offline, Running, Critical, "
               "OK]"));
    ipmi.clearRequests();
    controller->poll();
    EXPECT_THAT(eventIds(), IsEmpty());
}

TEST_F(Poll, APortThatReturnsRaisesTheRecovery) {
    tree.setPortState(0, "offline");
    controller->poll();
    ipmi.clearRequests();
    tree.setPortState(0, "running");
    controller->poll();
    EXPECT_THAT(eventIds(), ElementsAre(397));
}

TEST_F(Poll, AChangeThatRaisesNoEventRequestsNoBuild) {
    tree.setPortState(0, "created");
    controller->poll();
    EXPECT_EQ(controller->currentInfo.getControllerPort(0).getState(), VOK_STATE_CREATED);
    EXPECT_EQ(rebuildRequests(), 0);
}

TEST_F(Poll, AChangeThatRaisesNoEventIsTheLastReportedStatusAllTheSame) {
    tree.addPort({1});
    vokStorageControllerPortInfo port = controller->currentInfo.getControllerPort(0);
    port.setOSInstanceName("/sys/class/scsi_host/host1");
    controller->currentInfo.addControllerPort(port);
    port.setOSInstanceName("/sys/class/scsi_host/host0");
    controller->currentInfo.addControllerPort(port);
    tree.setPortState(1, "offline");  // one of three
    diskState = VOK_STATE_DEGRADED;
    controller->poll();
    EXPECT_THAT(eventIds(), IsEmpty());
    EXPECT_EQ(controller->previousInfo.getHealth(), VOK_HEALTH_WARNING);
    EXPECT_EQ(controller->previousDrives[0].getState(), VOK_STATE_DEGRADED);
    EXPECT_EQ(controller->previousDrives[1].getState(), VOK_STATE_DEGRADED);
    tree.setPortState(1, "running");
    controller->poll();
    EXPECT_THAT(eventIds(), ElementsAre(397));
}

// Required: only a change of state or health is stored, and a port that goes into recovery changes neither.
TEST_F(Poll, TheTimestampOfAPortAloneIsNotStoredAsRequired) {
    tree.setPortState(0, "recovery");
    controller->poll();
    EXPECT_EQ(controller->currentInfo.getControllerPort(0).getState(), VOK_STATE_RUNNING);
    EXPECT_EQ(controller->currentInfo.getControllerPort(0).getLastRecoveryTimestamp(), 0);
}

TEST_F(Poll, ThePortsArePolledUnderTheLock) {
    const Held<LockedController> observed(
        new LockedController(0x28268086, 0x00018086, "0000:3b:00.0", 1, true));
    givePlace(*observed);
    observed->eventFlags = 4;
    tree.setPortState(0, "offline");
    observed->poll();
    EXPECT_THAT(observed->locked, ElementsAre(true));
    EXPECT_FALSE(isLockedFor(*observed));
}

TEST_F(Poll, TheDisksArePolledUnderTheLock) {
    bool isLocked = false;
    controller->onDiskStatus = [&](vokDiskInfo&) { isLocked = isLockedFor(*controller); };
    controller->poll();
    EXPECT_TRUE(isLocked);
    EXPECT_FALSE(isLockedFor(*controller));
}

TEST_F(Poll, ThePortsAreThoseOfTheRecords) {
    controller->portList.clear();
    tree.setPortState(0, "offline");
    controller->poll();
    EXPECT_THAT(eventIds(), ElementsAre(398));
}

TEST_F(Poll, WhoRaisesTheEventsDecidesWhatIsPolled) {
    for (std::uint32_t flags = 0; flags < 8; ++flags) {
        SCOPED_TRACE(flags);
        const bool enabled = (flags & 4) != 0;
        const bool ports = enabled && (flags & 1) == 0;
        const bool disks = enabled && (flags & 2) == 0;
        controller->eventFlags = 4;
        tree.setPortState(0, "running");
        controller->poll();
        polled.clear();
        controller->eventFlags = flags;
        tree.setPortState(0, "offline");
        controller->poll();
        EXPECT_EQ(controller->currentInfo.getState(), ports ? VOK_STATE_OFFLINE : VOK_STATE_RUNNING);
        EXPECT_EQ(polled.size(), disks ? 2u : 0u);
    }
}

TEST_F(Poll, ARemovedControllerIsNotPolled) {
    controller->setRemoved();
    tree.setPortState(0, "offline");
    controller->poll();
    EXPECT_THAT(polled, IsEmpty());
    EXPECT_EQ(controller->currentInfo.getState(), VOK_STATE_RUNNING);
}

TEST_F(Poll, AMissingDiskIsPolledToo) {
    controller->currentDrives[0].setDeviceMissing(true);
    controller->poll();
    EXPECT_THAT(polled, ElementsAre("0:0:0:0", "0:0:1:0"));
}

TEST_F(Poll, ADiskIsComparedWithThePreviousRecordOfTheSameIndex) {
    controller->previousDrives[1].setState(VOK_STATE_FAILED);
    controller->poll();
    ASSERT_THAT(eventIds(), ElementsAre(540));
    EXPECT_EQ(events()[0]["PhysicalLocation"], otherLocation);
}

TEST_F(Poll, ADiskWithoutAPreviousRecordIsLeftToTheNextBuild) {
    controller->previousDrives.pop_back();
    diskState = VOK_STATE_FAILED;
    controller->poll();
    EXPECT_THAT(polled, ElementsAre("0:0:0:0"));
    EXPECT_THAT(eventIds(), ElementsAre(538));
}

}  // namespace
}  // namespace vokStorageControllerEventsTest
