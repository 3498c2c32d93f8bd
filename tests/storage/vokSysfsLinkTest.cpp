#include <gtest/gtest.h>
#include <cerrno>
#include <filesystem>

#include "storage/StorageFixture.h"
#include "storage/vokSysfsLink.h"

namespace vokSysfsLinkTest {
namespace {

class SysfsLink : public StorageFixture {
protected:
    void addTree(SysfsLayout layout) {
        tree.layout = layout;
        tree.addController({});
        FakePort port;
        port.ata = 4;
        tree.addPort(port);
    }
};

TEST_F(SysfsLink, TheTextOfALinkIsReadAsItIs) {
    addTree(SysfsLayout::current);
    EXPECT_EQ(vokLinkText("/sys/class/scsi_host/host0/device"), "../../../host0");
}

TEST_F(SysfsLink, WhatIsNoLinkHasNoTextAndAReason) {
    addTree(SysfsLayout::older);
    EXPECT_EQ(vokLinkText("/sys/class/scsi_host/host0"), "");
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(vokLinkText("/sys/class/scsi_host/host1"), "");
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(SysfsLink, AResolvedPathIsOneOfTheHost) {
    addTree(SysfsLayout::older);
    EXPECT_EQ(vokResolvedPath("/sys/class/scsi_host/host0/device"),
              "/sys/devices/pci0000:00/0000:3b:00.0/ata4/host0");
    EXPECT_EQ(vokResolvedPath("/sys/class/scsi_host/host1"), "");
}

TEST_F(SysfsLink, APathOutOfTheHostRootIsNotResolved) {
    addTree(SysfsLayout::current);
    std::filesystem::create_symlink("/", host.path("/sys/out"));
    EXPECT_EQ(vokResolvedPath("/sys/out"), "");
    EXPECT_EQ(errno, EXDEV);
}

TEST_F(SysfsLink, ASysThatIsALinkIsThatOfTheHost) {
    addTree(SysfsLayout::current);
    const TemporaryDirectory machine;
    std::filesystem::rename(host.path("/sys"), machine.path() + "/sys");
    std::filesystem::create_directory_symlink(machine.path() + "/sys", host.path("/sys"));
    EXPECT_EQ(vokResolvedPath("/sys/class/scsi_host/host0/device"),
              "/sys/devices/pci0000:00/0000:3b:00.0/ata4/host0");
}

TEST_F(SysfsLink, TheLinkOfAnEntryIsPreferred) {
    addTree(SysfsLayout::current);
    EXPECT_EQ(vokDeviceLink("/sys/class/scsi_host/host0", "/0000:3b:00.0/"),
              "../../devices/pci0000:00/0000:3b:00.0/ata4/host0/scsi_host/host0");
}

TEST_F(SysfsLink, OfAPlainDirectoryTheDeviceIsResolved) {
    addTree(SysfsLayout::older);
    EXPECT_EQ(vokDeviceLink("/sys/class/scsi_host/host0", "/0000:3b:00.0/"),
              "/sys/devices/pci0000:00/0000:3b:00.0/ata4/host0");
}

TEST_F(SysfsLink, ALinkWithoutWhatIsSoughtIsResolved) {
    addTree(SysfsLayout::current);
    EXPECT_EQ(vokDeviceLink("/sys/class/scsi_host/host0/device", "/0000:3b:00.0/"),
              "/sys/devices/pci0000:00/0000:3b:00.0/ata4/host0");
}

TEST_F(SysfsLink, IfNothingHoldsWhatIsSoughtTheTextOfTheLinkStands) {
    addTree(SysfsLayout::current);
    EXPECT_EQ(vokDeviceLink("/sys/class/scsi_host/host0", "/0000:5e:00.0/"),
              "../../devices/pci0000:00/0000:3b:00.0/ata4/host0/scsi_host/host0");
    EXPECT_EQ(vokDeviceLink("/sys/class/scsi_host/host1", "/0000:5e:00.0/"), "");
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(SysfsLink, ANumberIsThatRightAfterTheFirstName) {
    EXPECT_EQ(vokNumberAfter("/devices/pci0000:00/0000:00:17.0/ata4/host0", "/ata"), 4);
    EXPECT_EQ(vokNumberAfter("/ata12", "/ata"), 12);
    EXPECT_EQ(vokNumberAfter("/ata0/ata5", "/ata"), 0);
    EXPECT_EQ(vokNumberAfter("/ata99999999999999999999", "/ata"), 2147483647);
    for (const char* const path : {"", "/ata", "/ata/ata5", "/ata 5", "/ata-5", "/ata+5", "/atapi5", "ata5"})
        EXPECT_EQ(vokNumberAfter(path, "/ata"), -1) << path;
}

// The host of the tests is a directory whose own path must not be taken for one of a device.
TEST_F(SysfsLink, ThePathOfTheHostRootIsNotLookedAt) {
    addTree(SysfsLayout::older);
    const std::string root = host.root.path().substr(host.root.path().rfind('/'));
    EXPECT_EQ(vokDeviceLink("/sys/class/scsi_host/host0", root), "");
}

TEST(NumberInAPath, IsThatRightAfterTheFirstPrefix) {
    EXPECT_EQ(vokNumberAfter("/sys/class/scsi_host/host10", "/host"), 10);
    EXPECT_EQ(vokNumberAfter("../ata3/host2/ata4", "/ata"), 3);
    EXPECT_EQ(vokNumberAfter("/host007x", "/host"), 7);
    EXPECT_EQ(vokNumberAfter("/host99999999999999999999", "/host"), 2147483647);
    for (const char* path : {"", "/host", "/hostX", "/host-1", "/host 1", "/hosts/host1", "host1"})
        EXPECT_EQ(vokNumberAfter(path, "/host"), -1) << path;
}

}  // namespace
}  // namespace vokSysfsLinkTest
