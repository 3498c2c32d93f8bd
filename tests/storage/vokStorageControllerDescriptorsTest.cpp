#include <gtest/gtest.h>
#include <cerrno>
#include <filesystem>
#include <stdexcept>

#include "storage/DiskWalk.h"

namespace vokStorageControllerDescriptorsTest {
namespace {

namespace fs = std::filesystem;

// --- descriptors ---

TEST_F(DiskWalk, EachDiskIsOpenDuringTheSynchronisationAndClosedAfterIt) {
    addPort();
    FakeScsi& node = addSasDisk();
    int open = 0;
    int handle = -1;
    controller->onSynchronize = [&] {
        open = node.openDescriptors();
        handle = controller->currentDrives.at(0).getOSSGHandle();
    };
    EXPECT_EQ(walkOne().getOSSGHandle(), -1);
    EXPECT_EQ(open, 1);
    EXPECT_GE(handle, 0);
    EXPECT_EQ(node.openDescriptors(), 0);
    EXPECT_EQ(controller->currentDrives.at(0).getOSSGHandle(), -1);
    EXPECT_EQ(node.opens(), 1);
}

TEST_F(DiskWalk, NoCopyThatTheSynchronisationMakesKeepsADescriptor) {
    addPort();
    FakeScsi& node = addSasDisk();
    controller->onSynchronize = [this] {
        controller->currentDrives.push_back(controller->currentDrives.at(0));
        controller->previousDrives = controller->currentDrives;
    };
    walk();
    EXPECT_EQ(node.openDescriptors(), 0);
    ASSERT_EQ(controller->previousDrives.size(), 2u);
    for (const auto* const disks : {&controller->currentDrives, &controller->previousDrives})
        for (const vokDiskInfo& disk : *disks) EXPECT_EQ(disk.getOSSGHandle(), -1);
}

TEST_F(DiskWalk, ADiskThatTheSynchronisationDropsIsClosed) {
    addPort();
    FakeScsi& node = addSasDisk();
    controller->onSynchronize = [this] { controller->currentDrives.clear(); };
    EXPECT_TRUE(walk().empty());
    EXPECT_EQ(node.openDescriptors(), 0);
}

TEST_F(DiskWalk, APassThatFailsClosesItsDisks) {
    addPort();
    FakeScsi& node = addSasDisk();
    controller->onSynchronize = [this] {
        controller->previousDrives = controller->currentDrives;
        throw std::runtime_error("");
    };
    std::vector<vokDiskInfo> disks;
    EXPECT_THROW(controller->discoverPhysicalDiskInventory(disks), std::runtime_error);
    EXPECT_EQ(node.openDescriptors(), 0);
    EXPECT_EQ(controller->currentDrives.at(0).getOSSGHandle(), -1);
    EXPECT_EQ(controller->previousDrives.at(0).getOSSGHandle(), -1);
    controller->onValidate = [](vokDiskInfo&) -> bool { throw std::runtime_error(""); };
    EXPECT_THROW(controller->discoverPhysicalDiskInventory(disks), std::runtime_error);
    EXPECT_EQ(node.openDescriptors(), 0);
}

// Disks that are left out or fail at each step, one that is fine, and one of another controller.
TEST_F(DiskWalk, AThousandPassesLeaveNoDescriptorOpen) {
    addPort();
    std::vector<FakeScsi*> nodes;
    const auto add = [&](int target, const std::function<void(FakeDisk&)>& change) -> FakeScsi& {
        FakeDisk disk;
        disk.link = "0:0:" + std::to_string(target) + ":0";
        disk.generic = "sg" + std::to_string(target);
        change(disk);
        nodes.push_back(&addSasDisk(disk));
        return *nodes.back();
    };
    const auto nothing = [](FakeDisk&) {};
    add(0, nothing);
    add(1, nothing).failOpens(500, ENXIO);
    add(2, [](FakeDisk& disk) { disk.model = "LOGICAL VOLUME"; });
    add(3, [](FakeDisk& disk) { disk.type = "5"; });
    add(4, [](FakeDisk& disk) { disk.serial = ""; });
    add(5, nothing).answer(sasPortPage, FakeScsiReply::ioctlFails(EIO));
    add(6, nothing).answer(sasRotationRate, FakeScsiReply::checkCondition(5, 0, 0));
    add(7, [](FakeDisk& disk) { disk.vendor = "ATA     "; });
    answerAsSata(add(8, [](FakeDisk& disk) { disk.vendor = "ATA     "; }));
    add(9, nothing);  // not valid
    fs::remove_all(host.path("/sys/" + tree.devicePath("0:0:4:0") + "/block"));
    tree.addController({"0000:5e:00.0"});
    FakePort other;
    other.host = 1;
    tree.addPort(other);
    FakeScsi& foreign = add(0, [](FakeDisk& disk) {
        disk.link = "1:0:0:0";
        disk.generic = "sg20";
    });
    host.root.writeFile("/etc/config/mev/vok/vok.conf", "{}");

    int pass = 0;
    controller->onValidate = [](vokDiskInfo& disk) { return disk.getOSSCSILink() != "0:0:9:0"; };
    controller->onSynchronize = [&] {
        for (vokDiskInfo& disk : controller->currentDrives) controller->discoverPhysicalDiskStatus(disk);
        controller->previousDrives = controller->currentDrives;
        if (pass % 3 == 0) throw std::runtime_error("");
    };
    for (; pass < 1000; ++pass) {
        std::vector<vokDiskInfo> disks;
        try {
            controller->discoverPhysicalDiskInventory(disks);
            ASSERT_EQ(disks.size(), pass < 500 ? 6u : 7u);
        } catch (const std::runtime_error&) {
        }
        // As a poll asks.
        for (vokDiskInfo& disk : controller->currentDrives) controller->discoverPhysicalDiskStatus(disk);
    }
    for (const FakeScsi* const node : nodes) EXPECT_EQ(node->openDescriptors(), 0) << node->path();
    EXPECT_EQ(foreign.opens(), 0);
}

}  // namespace
}  // namespace vokStorageControllerDescriptorsTest
