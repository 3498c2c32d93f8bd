// A controller that leaves and returns, and the references that keep it alive meanwhile.
#include <gmock/gmock.h>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "storage/ControllerEventsFixture.h"

namespace vokStorageControllerRemovalTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// --- removal ---

class Removal : public ControllerEventsFixture {
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

TEST_F(Removal, TheStatusIsChangedUnderTheLockWhichIsReleasedAtTheEnd) {
    const Held<LockedController> held(new LockedController(0x28268086, 0x00018086, "0000:3b:00.0", 1, true));
    held->addReference();
    held->processDeviceRemoval();
    EXPECT_EQ(held->locked, std::vector<bool>{true});
    EXPECT_FALSE(isLockedFor(*held));
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
}  // namespace vokStorageControllerRemovalTest
