#include <fcntl.h>
#include <gtest/gtest.h>
#include <cerrno>
#include <filesystem>

#include "storage/DiskWalk.h"
#include "support/FakeFiles.h"

namespace vokStorageControllerDisksTest {
namespace {

namespace fs = std::filesystem;

// --- the pass ---

TEST_F(DiskWalk, TheLogTellsTheController) {
    walk();
    EXPECT_TRUE(logged("Gathering disk inventory for controller @ 0000:3b:00.0 [0x28268086, 0x18086] [0]."));
}

TEST_F(DiskWalk, WithoutTheClassDirectoryThereAreNoDisksAndTheSynchronisationRuns) {
    int calls = 0;
    controller->onSynchronize = [&calls] { ++calls; };
    EXPECT_TRUE(walk().empty());
    host.root.writeFile("/sys/class/scsi_device/x", "");
    fs::remove(host.path("/sys/class/scsi_device/x"));
    EXPECT_TRUE(walk().empty());
    EXPECT_EQ(calls, 2);
}

TEST_F(DiskWalk, AClassDirectoryThatCannotBeListedIsAWarning) {
    const std::string start = "WARNING STOR_CTLR: Unable to list /sys/class/scsi_device/: ";
    walk();  // none is there, as on a host without SCSI
    EXPECT_EQ(countLogged(host, start + "(2)."), 0);
    host.root.writeFile("/sys/class/scsi_device", "no directory");
    EXPECT_TRUE(walk().empty());
    EXPECT_EQ(countLogged(host, start + "(20)."), 1);
}

TEST_F(DiskWalk, DisksComeInTheOrderOfTheirEntries) {
    addPort();
    for (const char* const each : {"0:0:2:0", "0:0:0:0", "0:0:10:0", "0:0:1:0"}) {
        FakeDisk disk;
        disk.link = each;
        disk.generic = std::string("sg") + each[4];
        addSasDisk(disk);
    }
    EXPECT_EQ(linksWalked(), (std::vector<std::string>{"0:0:0:0", "0:0:10:0", "0:0:1:0", "0:0:2:0"}));
}

TEST_F(DiskWalk, ThePreviousDrivesAreThoseOfThePassBefore) {
    addPort();
    addSasDisk();
    walk();
    tree.removeDisk(link);
    std::size_t previous = 0;
    std::size_t current = 1;
    controller->onSynchronize = [&] {
        previous = controller->previousDrives.size();
        current = controller->currentDrives.size();
    };
    EXPECT_TRUE(walk().empty());
    EXPECT_EQ(previous, 1u);
    EXPECT_EQ(current, 0u);
}

TEST_F(DiskWalk, ARemovedControllerReturnsItsLastDrivesAndAsksNothing) {
    addPort();
    FakeScsi& node = addSasDisk();
    walk();
    controller->currentDrives[0].setDeviceMissing(true);
    const int opens = node.opens();
    controller->setRemoved();
    controller->onSynchronize = [] { FAIL(); };
    EXPECT_EQ(linksWalked(), std::vector<std::string>{link});
    EXPECT_EQ(node.opens(), opens);
    EXPECT_TRUE(logged("Gathering disk inventory for controller @ 0000:3b:00.0 [0x28268086, 0x18086] [1]."));
    EXPECT_TRUE(logged("0000:3b:00.0: Return last known PD inventory for removed controller."));
}

TEST_F(DiskWalk, ThePassHoldsTheLockUntilItsEnd) {
    addPort();
    addSasDisk();
    std::vector<bool> locked;
    controller->onValidate = [&](vokDiskInfo&) {
        locked.push_back(isLockedFor(*controller));
        return true;
    };
    controller->onSynchronize = [&] { locked.push_back(isLockedFor(*controller)); };
    walk();
    EXPECT_EQ(locked, (std::vector<bool>{true, true}));
    EXPECT_FALSE(isLockedFor(*controller));
}

TEST_F(DiskWalk, MissingDisksAreKeptButNotReturned) {
    addPort();
    addSasDisk();
    controller->onSynchronize = [this] {
        vokDiskInfo missing;
        missing.setOSSCSILink("0:0:9:0");
        missing.setDeviceMissing(true);
        controller->currentDrives.insert(controller->currentDrives.begin(), missing);
        controller->currentDrives.push_back(missing);
    };
    EXPECT_EQ(linksWalked(), std::vector<std::string>{link});
    EXPECT_EQ(controller->currentDrives.size(), 3u);
}

// --- to which controller a device belongs ---

TEST_F(DiskWalk, ADiskIsFoundInBothLayoutsOfSysfs) {
    for (const SysfsLayout layout : {SysfsLayout::older, SysfsLayout::current}) {
        addPort(layout, 4);
        addSasDisk();
        const vokDiskInfo disk = walkOne();
        EXPECT_EQ(disk.getOSSCSILink(), link);
        EXPECT_EQ(disk.getATADeviceNumber(), 4);
        tree.removeDisk(link);
        tree.removePort(0);
    }
    EXPECT_TRUE(
        logged("0000:3b:00.0: Scsi Link 0:0:0:0  -- buffer "
               "/sys/devices/pci0000:00/0000:3b:00.0/ata4/host0/target0:0:0/0:0:0:0"));
    EXPECT_TRUE(
        logged("0000:3b:00.0: Scsi Link 0:0:0:0  -- buffer "
               "../../devices/pci0000:00/0000:3b:00.0/ata4/host0/target0:0:0/0:0:0:0/scsi_device/0:0:0:0"));
    EXPECT_TRUE(logged("0:0:0:0: Device is presented by controller 0x28268086 0x18086 @ [0000:3b:00.0]"));
}

TEST_F(DiskWalk, WithoutAnAtaPortTheNumberStaysUnknown) {
    addPort();
    addSasDisk();
    EXPECT_EQ(walkOne().getATADeviceNumber(), -1);
}

TEST_F(DiskWalk, ADiskOfAnotherControllerIsNotOpened) {
    for (const SysfsLayout layout : {SysfsLayout::older, SysfsLayout::current}) {
        addPort(layout);
        FakeScsi& node = addSasDisk();
        controller = walkController("0000:5e:00.0");
        EXPECT_TRUE(walk().empty());
        EXPECT_EQ(node.opens(), 0);
        tree.removeDisk(link);
        tree.removePort(0);
    }
    EXPECT_EQ(timesLogged("0:0:0:0: Skipping device since it is not hosted by controller at 0000:5e:00.0."),
              2);
}

TEST_F(DiskWalk, ALocationThatOnlyBeginsOrEndsLikeThatOfTheControllerIsAnother) {
    addPort();
    FakeScsi& node = addSasDisk();
    for (const char* const other : {"0000:3b:00", "00:3b:00.0", "0000:3b:00.01"}) {
        controller = walkController(other);
        EXPECT_TRUE(walk().empty()) << other;
    }
    EXPECT_EQ(node.opens(), 0);
}

TEST_F(DiskWalk, ADiskWithoutAPciFunctionIsSkipped) {
    host.root.writeFile("/sys/devices/pseudo_0/adapter0/host0/target0:0:0/0:0:0:0/scsi_device/0:0:0:0/x", "");
    host.root.writeFile("/sys/class/scsi_device/x", "");
    fs::create_symlink("../../devices/pseudo_0/adapter0/host0/target0:0:0/0:0:0:0/scsi_device/0:0:0:0",
                       host.path("/sys/class/scsi_device/0:0:0:0"));
    EXPECT_TRUE(walk().empty());
    EXPECT_TRUE(logged("0:0:0:0: Skipping device since it is not hosted by controller at 0000:3b:00.0."));
}

TEST_F(DiskWalk, WhereTheTextOfTheLinkHoldsNoPciLocationTheResolvedPathIsLookedAt) {
    addPort();
    addSasDisk();
    const fs::path sys = host.path("/sys");
    fs::create_directory_symlink("devices/pci0000:00/0000:3b:00.0", sys / "alias");
    fs::remove(sys / "class/scsi_device/0:0:0:0");
    fs::create_symlink("../../alias/host0/target0:0:0/0:0:0:0/scsi_device/0:0:0:0",
                       sys / "class/scsi_device/0:0:0:0");
    EXPECT_EQ(linksWalked(), std::vector<std::string>{link});
}

TEST_F(DiskWalk, AnEntryThatLeadsOutOfTheHostRootIsSkipped) {
    const TemporaryDirectory outside;
    outside.writeFile("0000:3b:00.0/0:0:0:0/type", "0\n");
    host.root.writeFile("/sys/class/scsi_device/0:0:0:0/x", "");
    fs::create_symlink(outside.path() + "/0000:3b:00.0/0:0:0:0",
                       host.path("/sys/class/scsi_device/0:0:0:0/device"));
    EXPECT_TRUE(walk().empty());
    EXPECT_TRUE(logged("0000:3b:00.0: readlink failed! (22) Skipping device 0:0:0:0."));
}

TEST_F(DiskWalk, AnEntryThatIsNoLinkAndHasNoneIsSkipped) {
    host.root.writeFile("/sys/class/scsi_device/0:0:0:0/x", "");
    EXPECT_TRUE(walk().empty());
    EXPECT_TRUE(logged("0000:3b:00.0: readlink failed! (22) Skipping device 0:0:0:0."));
}

// --- the node ---

TEST_F(DiskWalk, ADiskWithoutAGenericNodeIsSkipped) {
    addPort();
    FakeScsi& node = addSasDisk();
    remove("scsi_generic");
    EXPECT_TRUE(walk().empty());
    EXPECT_EQ(node.opens(), 0);
    EXPECT_TRUE(logged("0:0:0:0: Failed to get generic device."));
}

TEST_F(DiskWalk, TheNodeIsOpenedForReadingAndWritingWithoutWaiting) {
    addPort();
    addSasDisk();
    write("scsi_generic/sg/dev", "21:9\n");
    host.root.writeFile("/dev/sg", "");
    EXPECT_EQ(walkOne().getOSDeviceName(), "/dev/sg");
    const auto opened = host.part<FakeFiles>().openedNodes();
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_EQ(opened[0].path, "/dev/sg");
    EXPECT_EQ(opened[0].flags, O_RDWR | O_NONBLOCK);
}

TEST_F(DiskWalk, AnInterruptedOpenIsRepeated) {
    addPort();
    FakeScsi& node = addSasDisk();
    node.failOpens(2, EINTR);
    EXPECT_EQ(linksWalked(), std::vector<std::string>{link});
    EXPECT_EQ(node.opens(), 3);
}

TEST_F(DiskWalk, ADiskThatHasLeftIsSkipped) {
    addPort();
    FakeScsi& node = addSasDisk();
    for (const int error : {ENXIO, ENODEV}) {
        node.failOpens(1, error);
        EXPECT_TRUE(walk().empty());
    }
    EXPECT_TRUE(logged("0:0:0:0: Unable to open /dev/sg0: (-1 6). Skipping device."));
    EXPECT_TRUE(logged("0:0:0:0: Unable to open /dev/sg0: (-1 19). Skipping device."));
}

TEST_F(DiskWalk, TheCauseOfAFailedOpenIsAWarningOnce) {
    addPort();
    FakeScsi& node = addSasDisk();
    const std::string denied = "0:0:0:0: Unable to open /dev/sg0: (-1 13). Skipping device.";
    const std::string busy = "0:0:0:0: Unable to open /dev/sg0: (-1 16). Skipping device.";
    node.failOpens(3, EACCES);
    for (int pass = 0; pass < 3; ++pass) EXPECT_TRUE(walk().empty());
    EXPECT_EQ(countLogged(host, "WARNING STOR_CTLR: " + denied), 1);
    EXPECT_EQ(timesLogged(denied), 2);
    node.failOpens(1, EBUSY);
    walk();
    EXPECT_EQ(countLogged(host, "WARNING STOR_CTLR: " + busy), 1);
    walk();  // succeeds
    node.failOpens(1, EBUSY);
    walk();
    EXPECT_EQ(countLogged(host, "WARNING STOR_CTLR: " + busy), 2);
}

TEST_F(DiskWalk, AFailedOpenOfADiskThatLeavesIsForgotten) {
    addPort();
    addSasDisk().failOpens(1, EACCES);
    walk();
    tree.removeDisk(link);
    walk();
    addSasDisk().failOpens(1, EACCES);
    walk();
    EXPECT_EQ(
        countLogged(host, "WARNING STOR_CTLR: 0:0:0:0: Unable to open /dev/sg0: (-1 13). Skipping device."),
        2);
}

// --- what is no physical disk ---

TEST_F(DiskWalk, AVolumeOfAControllerIsSkipped) {
    addPort();
    FakeScsi& node = addSasDisk();
    for (const char* const model : {"LOGICAL VOLUME  ", "My Logical Volume"}) {
        write("model", std::string(model) + "\n");
        EXPECT_TRUE(walk().empty()) << model;
    }
    EXPECT_EQ(countLogged(host, "INFO STOR_CTLR: 0:0:0:0: Skipping logical drive /dev/sg0"), 2);
    EXPECT_EQ(node.openDescriptors(), 0);
    EXPECT_TRUE(node.requests().empty());
}

TEST_F(DiskWalk, WhatIsNoBlockDeviceIsSkipped) {
    addPort();
    FakeScsi& node = addSasDisk();
    write("type", "13\n");
    EXPECT_TRUE(walk().empty());
    EXPECT_TRUE(
        hasLogged(host, "INFO STOR_CTLR: 0:0:0:0: Skipping since it is not a direct-access block device"));
    EXPECT_EQ(node.openDescriptors(), 0);
}

// --- the validation ---

TEST_F(DiskWalk, ADiskThatIsNotValidIsSkippedWithItsWholeRecordRead) {
    addPort();
    FakeScsi& node = addSasDisk();
    controller->onValidate = [](vokDiskInfo& disk) {
        EXPECT_EQ(disk.getProtocol(), "SAS");
        EXPECT_EQ(disk.getManufacturer(), "MAKER");
        EXPECT_EQ(disk.getPhysicalLocation(), "FFFFFFFFFFFFFFFF");
        EXPECT_GE(disk.getOSSGHandle(), 0);
        return false;
    };
    EXPECT_TRUE(walk().empty());
    EXPECT_TRUE(logged("0:0:0:0: Not allowed as physical drive during validation."));
    EXPECT_EQ(node.openDescriptors(), 0);
}

TEST_F(DiskWalk, TheBaseClassAllowsEveryDisk) {
    vokDiskInfo disk;
    EXPECT_TRUE(controller->vokStorageController::validatePhysicalDisk(disk));
}

}  // namespace
}  // namespace vokStorageControllerDisksTest
