// Disks during the stop of the agent: the question in progress is the last one, and what was not answered
// changes no status and raises no event.
#include <gmock/gmock.h>

#include "storage/ControllerEventsFixture.h"
#include "storage/DiskStatus.h"
#include "storage/DiskWalk.h"
#include "support/FakeCommands.h"

namespace vokStorageControllerStopTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class DiskStatusInStop : public DiskStatus {
protected:
    void requestStop() { host.part<FakeCommands>().requestStop(vokStopPhase::requested); }
};

TEST_F(DiskStatusInStop, TheQuestionInProgressIsTheLastAndTheStatusStays) {
    addSasDisk(Media::ssd);
    node->onCommand = [this] { requestStop(); };
    EXPECT_EQ(newStatus(), "Down/Unknown");
    EXPECT_EQ(text(), "before");
    EXPECT_THAT(commands(), SizeIs(1));
    EXPECT_EQ(node->openDescriptors(), 0);
}

TEST_F(DiskStatusInStop, AnAtaDiskKeepsAlsoWhatIsKnownOfItsPages) {
    addSataDisk(Media::ssd);
    node->answer(ataWear, illegalRequest);
    node->onCommand = [this] { requestStop(); };
    EXPECT_EQ(newStatus(), "Down/Unknown");
    EXPECT_TRUE(disk.getIfSSDWearPageSupported());
    EXPECT_THAT(commands(), SizeIs(1));
}

class DiskWalkInStop : public DiskWalk {
protected:
    DiskWalkInStop() {
        addPort();
        first = &addSasDisk();
        FakeDisk other;
        other.link = "0:0:1:0";
        other.generic = "sg1";
        other.block = "sdb";
        second = &addSasDisk(other);
        walk();
        firstCommands = first->requests().size();
        secondCommands = second->requests().size();
        controller->onSynchronize = [this] { ++synchronizations; };
    }
    void requestStop() { host.part<FakeCommands>().requestStop(vokStopPhase::requested); }
    std::vector<std::string> serials(const std::vector<vokDiskInfo>& disks) const {
        std::vector<std::string> all;
        for (const vokDiskInfo& disk : disks) all.push_back(disk.getSerialNumber());
        return all;
    }

    FakeScsi* first = nullptr;
    FakeScsi* second = nullptr;
    std::size_t firstCommands = 0;
    std::size_t secondCommands = 0;
    int synchronizations = 0;
};

TEST_F(DiskWalkInStop, APassThatTheStopBreaksOffLeavesTheDisksOfThePassBefore) {
    controller->currentDrives.at(1).setSerialNumber("from the pass before");
    first->onCommand = [this] { requestStop(); };
    std::vector<vokDiskInfo> disks;
    EXPECT_EQ(controller->discoverPhysicalDiskInventory(disks), 0);
    EXPECT_THAT(disks, IsEmpty());
    EXPECT_THAT(serials(controller->currentDrives), ElementsAre("SERIAL-0001", "from the pass before"));
    EXPECT_THAT(serials(controller->previousDrives), ElementsAre("SERIAL-0001", "from the pass before"));
    EXPECT_EQ(synchronizations, 0);
    EXPECT_EQ(first->requests().size(), firstCommands + 1) << "the question in progress";
    EXPECT_EQ(second->requests().size(), secondCommands);
    EXPECT_EQ(first->openDescriptors(), 0);
    EXPECT_EQ(second->opens(), 1) << "in the pass before";
}

TEST_F(DiskWalkInStop, AStopDuringTheSynchronisationLeavesTheDisksOfThePassBeforeToo) {
    controller->currentDrives.at(1).setSerialNumber("from the pass before");
    controller->onSynchronize = [this] {
        requestStop();
        controller->currentDrives.at(0).setState(VOK_STATE_FAILED);
        controller->previousDrives = controller->currentDrives;
    };
    std::vector<vokDiskInfo> disks;
    EXPECT_EQ(controller->discoverPhysicalDiskInventory(disks), 0);
    for (const auto* const kept : {&controller->currentDrives, &controller->previousDrives}) {
        EXPECT_THAT(serials(*kept), ElementsAre("SERIAL-0001", "from the pass before"));
        EXPECT_EQ(kept->at(0).getState(), VOK_STATE_UNKNOWN);
    }
}

class EventsInStop : public ControllerEventsFixture {
protected:
    EventsInStop() {
        controller->eventFlags = vokEventsEnabled;
        addDisk(*controller, diskOf("0:0:0:0", firstLocation, VOK_STATE_RUNNING));
        addDisk(*controller, diskOf("0:0:1:0", otherLocation, VOK_STATE_RUNNING));
        controller->onDiskStatus = [this](vokDiskInfo& disk) {
            asked.push_back(disk.getOSSCSILink());
            disk.setState(VOK_STATE_FAILED);
            if (stops) host.part<FakeCommands>().requestStop(vokStopPhase::requested);
        };
    }

    std::vector<std::string> asked;
    bool stops = true;
};

TEST_F(EventsInStop, APollAsksNoFurtherDiskAndRaisesNoEvent) {
    controller->poll();
    EXPECT_THAT(asked, ElementsAre("0:0:0:0"));
    EXPECT_THAT(eventIds(), IsEmpty());
}

TEST_F(EventsInStop, WithoutAStopTheSamePollRaisesAnEventForEach) {
    stops = false;
    controller->poll();
    EXPECT_THAT(eventIds(), ElementsAre(538, 538));
}

}  // namespace
}  // namespace vokStorageControllerStopTest
