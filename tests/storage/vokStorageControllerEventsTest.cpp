// When a controller raises an event about itself or a disk: the rules, polling, arrival, removal and return.
#include <gmock/gmock.h>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "storage/StorageFixture.h"
#include "storage/vokStorageControllerStatus.h"

namespace vokStorageControllerEventsTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char firstLocation[] = "0000000000003801";
constexpr char otherLocation[] = "0000000000003802";
constexpr char unknownLocation[] = "FFFFFFFFFFFFFFFF";
constexpr char rebuildRequest[] = "DEBUG SAS_RM: Invalidating inventory cache.";

VOK_RESOURCE_STATE state(int number) {
    return static_cast<VOK_RESOURCE_STATE>(number);
}
VOK_RESOURCE_HEALTH health(int number) {
    return static_cast<VOK_RESOURCE_HEALTH>(number);
}

vokDiskInfo diskOf(const std::string& link, const std::string& location, VOK_RESOURCE_STATE diskState) {
    vokDiskInfo disk;
    disk.setOSSCSILink(link);
    disk.setPhysicalLocation(location);
    disk.setState(diskState);
    disk.setHealth(diskState == VOK_STATE_RUNNING ? VOK_HEALTH_OK : VOK_HEALTH_CRITICAL);
    return disk;
}

class ControllerEvents : public StorageFixture {
protected:
    ControllerEvents() { letEventsPass(); }

    // A controller with one port that is running, and a place.
    void givePlace(TestController& which) {
        vokStorageControllerPortInfo port;
        port.setOSInstanceName("/sys/class/scsi_host/host0");
        port.setState(VOK_STATE_RUNNING);
        port.setHealth(VOK_HEALTH_OK);
        which.currentInfo.addControllerPort(port);
        which.currentInfo.setPhysicalLocation(slotLocation);
        which.currentInfo.setState(VOK_STATE_RUNNING);
        which.currentInfo.setHealth(VOK_HEALTH_OK);
        which.previousInfo = which.currentInfo;
    }
    void addDisk(TestController& which, const vokDiskInfo& disk) {
        which.currentDrives.push_back(disk);
        which.previousDrives.push_back(disk);
    }
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

    const Held<TestController> controller = newController({"/sys/class/scsi_host/host0"});
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

// --- removal ---

class Removal : public ControllerEvents {
protected:
    Removal() {
        givePlace(*controller);
        addDisk(*controller, diskOf("0:0:0:0", firstLocation, VOK_STATE_RUNNING));
        addDisk(*controller, diskOf("0:0:1:0", otherLocation, VOK_STATE_PREDICTIVE_FAILURE));
        controller->currentInfo.setModel("Array 930");
        controller->eventFlags = 4;
    }
    // The test keeps its own reference.
    void remove() {
        controller->addReference();
        controller->processDeviceRemoval();
    }
};

TEST_F(Removal, ItTakesThePortsTheControllerAndTheDisksOffline) {
    controller->portList.clear();  // as the factory leaves it
    remove();
    EXPECT_TRUE(controller->isRemoved());
    EXPECT_EQ(controller->currentInfo.getControllerPort(0).getState(), VOK_STATE_OFFLINE);
    EXPECT_EQ(controller->currentInfo.getControllerPort(0).getHealth(), VOK_HEALTH_CRITICAL);
    EXPECT_EQ(controller->currentInfo.getState(), VOK_STATE_OFFLINE);
    EXPECT_EQ(controller->currentInfo.getHealth(), VOK_HEALTH_CRITICAL);
    EXPECT_EQ(controller->previousInfo.getState(), VOK_STATE_OFFLINE);
    for (const vokDiskInfo& disk : controller->currentDrives) {
        EXPECT_EQ(disk.getState(), VOK_STATE_OFFLINE);
        EXPECT_EQ(disk.getHealth(), VOK_HEALTH_CRITICAL);
    }
    EXPECT_EQ(controller->previousDrives[1].getState(), VOK_STATE_OFFLINE);
    EXPECT_THAT(eventIds(), ElementsAre(398, 538, 538));
    EXPECT_TRUE(logged("Controller @ [0000:3b:00.0] removal processing started."));
}

TEST_F(Removal, TheTextOfItsDisksIsThatAboutTheProtocolAsRequired) {
    remove();
    const std::string text = "Unable to determine the transport protocol of the disk drive.";
    EXPECT_EQ(controller->currentDrives[0].getEventInfoString(), text);
    ASSERT_EQ(events().size(), 3u);
    EXPECT_EQ(events()[1]["VariableData"]["EventInfo"], text);
}

TEST_F(Removal, AMissingDiskStaysAsItIs) {
    controller->currentDrives[0].setDeviceMissing(true);
    remove();
    EXPECT_EQ(controller->currentDrives[0].getState(), VOK_STATE_RUNNING);
    EXPECT_EQ(controller->currentDrives[0].getEventInfoString(), "");
    EXPECT_THAT(eventIds(), ElementsAre(398, 538));
}

TEST_F(Removal, WhoRaisesTheEventsDecidesWhichAreRaised) {
    const std::vector<std::vector<int>> expected = {{}, {}, {}, {}, {398, 538}, {538}, {398}, {}};
    for (std::uint32_t flags = 0; flags < 8; ++flags) {
        SCOPED_TRACE(flags);
        const auto each = newController();
        givePlace(*each);
        addDisk(*each, diskOf("0:0:0:0", firstLocation, VOK_STATE_RUNNING));
        each->eventFlags = flags;
        ipmi.clearRequests();
        each->addReference();
        each->processDeviceRemoval();
        EXPECT_EQ(eventIds(), expected[flags]);
        EXPECT_EQ(each->previousInfo.getState(), VOK_STATE_OFFLINE);
        EXPECT_EQ(each->previousDrives[0].getState(), VOK_STATE_OFFLINE);
    }
}

TEST_F(Removal, TheGettersReturnTheLastInventoryAfterwards) {
    remove();
    EXPECT_EQ(controller->getInventory().getModel(), "Array 930");
    EXPECT_EQ(controller->getInventory().getControllerPortListSize(), 1u);
    const std::vector<vokDiskInfo> disks = controller->getPhysicalDrivesInventory();
    ASSERT_EQ(disks.size(), 2u);
    EXPECT_EQ(disks[1].getOSSCSILink(), "0:0:1:0");
    EXPECT_EQ(controller->getPciLocation(), "0000:3b:00.0");
}

TEST_F(Removal, ItDropsExactlyOneReference) {
    bool deleted = false;
    auto last = newController();
    last->deleted = &deleted;
    last->addReference();
    last->processDeviceRemoval();
    EXPECT_FALSE(deleted);
    last.reset();
    EXPECT_TRUE(deleted);
}

TEST_F(Removal, WithTheOnlyReferenceTheControllerIsDeleted) {
    bool deleted = false;
    TestController* const only = newController().release();
    only->deleted = &deleted;
    only->processDeviceRemoval();
    EXPECT_TRUE(deleted);
}

TEST_F(Removal, AThreadThatHoldsTheControllerReadsItUntilItDropsIt) {
    for (int round = 0; round < 20; ++round) {
        bool deleted = false;
        TestController* const shared = newController().release();
        shared->deleted = &deleted;
        givePlace(*shared);
        addDisk(*shared, diskOf("0:0:0:0", firstLocation, VOK_STATE_RUNNING));
        std::mutex guard;
        std::condition_variable reads;
        bool hasRead = false;
        bool isGone = false;
        shared->addReference();
        std::thread reader([&] {
            const Held<TestController> held(shared);
            for (bool wasGone = false; !wasGone;) {
                EXPECT_EQ(held->getInventory().getPhysicalLocation(), slotLocation);
                EXPECT_EQ(held->getPhysicalDrivesInventory().size(), 1u);
                const std::lock_guard<std::mutex> lock(guard);
                wasGone = isGone;
                hasRead = true;
                reads.notify_one();
            }
            EXPECT_TRUE(held->isRemoved());
            EXPECT_FALSE(deleted);
        });
        {
            std::unique_lock<std::mutex> lock(guard);
            reads.wait(lock, [&] { return hasRead; });
        }
        shared->processDeviceRemoval();  // drops the creator's reference
        {
            const std::lock_guard<std::mutex> lock(guard);
            isGone = true;
        }
        reader.join();
        EXPECT_TRUE(deleted);
    }
}

// --- return ---

class Return : public Removal {
protected:
    const Held<TestController> successor =
        newController({"/sys/class/scsi_host/host9"}, "0000:3b:00.0", false);
};

TEST_F(Return, TheSuccessorTakesOverRecordsAndEventFlags) {
    controller->currentInfo.setEventState(VOK_STATE_DEGRADED);
    controller->currentInfo.setEventHealth(VOK_HEALTH_WARNING);
    remove();
    controller->previousInfo.setModel("previous");
    controller->previousDrives[0].setModel("previous");
    successor->processDeviceAddition(controller.get());
    EXPECT_EQ(successor->currentInfo.getModel(), "Array 930");
    EXPECT_EQ(successor->currentInfo.getState(), VOK_STATE_OFFLINE);
    EXPECT_EQ(successor->currentInfo.getHealth(), VOK_HEALTH_CRITICAL);
    EXPECT_EQ(successor->currentInfo.getEventState(), VOK_STATE_DEGRADED);
    EXPECT_EQ(successor->currentInfo.getEventHealth(), VOK_HEALTH_WARNING);
    EXPECT_EQ(successor->currentInfo.getPhysicalLocation(), slotLocation);
    EXPECT_EQ(successor->currentInfo.getControllerPortListSize(), 1u);
    EXPECT_EQ(successor->currentInfo.getEventInfoString(),
              "The storage controller port has gone offline or will be removed from the system, or has been "
              "in recovery state for >= 60 seconds.");
    ASSERT_EQ(successor->currentDrives.size(), 2u);
    EXPECT_EQ(successor->currentDrives[0].getOSSCSILink(), "0:0:0:0");
    EXPECT_EQ(successor->previousInfo.getModel(), "previous");
    ASSERT_EQ(successor->previousDrives.size(), 2u);
    EXPECT_EQ(successor->previousDrives[0].getModel(), "previous");
    EXPECT_EQ(successor->eventFlags, 4u);
}

TEST_F(Return, NothingElseIsTakenOver) {
    controller->currentLogicalDisks.resize(1);
    controller->previousLogicalDisks.resize(1);
    controller->currentEnclosures.resize(1);
    controller->previousEnclosures.resize(1);
    controller->deviceNameMap["5000C500A1B2C3D4"] = "sda";
    controller->newDevice = false;
    remove();
    EXPECT_EQ(controller->lastControllerEvent, 1);
    successor->processDeviceAddition(controller.get());
    EXPECT_THAT(successor->portList, ElementsAre("/sys/class/scsi_host/host9"));
    EXPECT_THAT(successor->currentLogicalDisks, IsEmpty());
    EXPECT_THAT(successor->previousLogicalDisks, IsEmpty());
    EXPECT_THAT(successor->currentEnclosures, IsEmpty());
    EXPECT_THAT(successor->previousEnclosures, IsEmpty());
    EXPECT_THAT(successor->deviceNameMap, IsEmpty());
    EXPECT_TRUE(successor->newDevice);
    EXPECT_EQ(successor->lastControllerEvent, -1);
    EXPECT_FALSE(successor->isRemoved());
}

TEST_F(Return, WithoutAPredecessorNothingChanges) {
    successor->currentInfo.setModel("own");
    successor->eventFlags = 2;
    successor->processDeviceAddition(nullptr);
    EXPECT_EQ(successor->currentInfo.getModel(), "own");
    EXPECT_EQ(successor->eventFlags, 2u);
}

TEST_F(Return, ThePredecessorIsReadUnderItsLockAfterThatOfTheSuccessorIsTaken) {
    remove();
    std::atomic<bool> isTaken{false};
    std::thread taker;
    {
        const vokMutexLocker locker(controller->lock);
        taker = std::thread([&] {
            successor->processDeviceAddition(controller.get());
            isTaken = true;
        });
        // The taker holds the lock of the successor while it waits for that of the predecessor.
        while (!isTaken && successor->lock.try_lock()) {
            successor->lock.unlock();
            std::this_thread::yield();
        }
        EXPECT_FALSE(isTaken);
    }
    taker.join();
    EXPECT_EQ(successor->currentInfo.getModel(), "Array 930");
}

// The whole way: the events of a controller that leaves and returns, each once.
TEST_F(Return, AReturningControllerIsReportedOnceByItsDiscovery) {
    start(firstFamily);
    tree.addController({});
    tree.addPort({});
    controller->currentDrives.clear();
    controller->previousDrives.clear();
    remove();
    EXPECT_THAT(eventIds(), ElementsAre(398));
    ipmi.clearRequests();
    successor->portList = {"/sys/class/scsi_host/host0"};
    successor->processDeviceAddition(controller.get());
    vokStorageControllerInfo info;
    successor->discoverInventory(info);
    successor->enableEvents();
    EXPECT_THAT(eventIds(), ElementsAre(397));
    EXPECT_EQ(info.getState(), VOK_STATE_RUNNING);
}

}  // namespace
}  // namespace vokStorageControllerEventsTest
