// The SCSI hosts and disks in /sys, in the layout of today's kernels and in the classic one.
#include "modules/storage/StorageTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <filesystem>

#include "modules/pci/PciFunctions.h"
#include "modules/pci/PciTree.h"
#include "simhost/DescribedDisk.h"
#include "support/TemporaryDirectory.h"

namespace StorageTreeTest {
namespace {

namespace fs = std::filesystem;
using namespace simhost;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr char described[] = R"({"pci":[
    {"Address":"0000:00:17.0","Vendor ID":"0x8086","Device ID":"0x2826","SubVendor ID":"0x8086",
     "SubDevice ID":"0x7270"},
    {"Address":"0000:00:1c.0","Device Class":"0x0604","Spawned Bus":"0x3b"},
    {"Address":"0000:3b:00.0","Vendor ID":"0x9005","Device ID":"0x028f"}],
  "storageControllers":[
    {"address":"0000:00:17.0","driver":"ahci","layout":"LAYOUT","ports":[
      {"host":2,"ata":3,"disks":[{"model":"MEV HDD","serial":"W1","revision":"AB01CD02","capacityBytes":1048576}]},
      {"host":3,"ata":4}]},
    {"address":"0000:3b:00.0","driver":"smartpqi","firmwareRevision":"3.21","boardTracer":"BT0815","layout":"LAYOUT",
     "ports":[{"host":10,"state":"recovery","disks":[{"target":5,"type":13}]}]}]})";

class StorageTreeFiles : public testing::TestWithParam<const char*> {
protected:
    StorageTreeFiles() : host(describedHost(text())), tree(directory.path(), host) {
        layOutPciTree(directory.path() + "/sys", host.part<PciFunctions>().all);
        tree.layOut();
    }
    static std::string text() {
        std::string made = described;
        for (std::size_t at = 0; (at = made.find("LAYOUT")) != std::string::npos;)
            made.replace(at, 6, GetParam());
        return made;
    }
    bool isClassic() const { return std::string(GetParam()) == "classic"; }
    std::string sys(const std::string& place) const { return directory.path() + "/sys/" + place; }
    std::string read(const std::string& place) const { return directory.readFile("sys/" + place); }
    std::string target(const std::string& place) const { return fs::read_symlink(sys(place)).string(); }
    std::vector<std::string> names(const std::string& place) const {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(sys(place)))
            found.push_back(entry.path().filename().string());
        return found;
    }
    StorageController& controller(std::size_t at) { return host.part<StorageControllers>().all.at(at); }

    TemporaryDirectory directory;
    HostDescription host;
    StorageTree tree;
};

INSTANTIATE_TEST_SUITE_P(Layout, StorageTreeFiles, testing::Values("today", "classic"),
                         [](const auto& layout) { return layout.param; });

TEST_P(StorageTreeFiles, APortHasTheAttributesOfItsDriver) {
    EXPECT_THAT(names("class/scsi_host"), UnorderedElementsAre("host2", "host3", "host10"));
    EXPECT_EQ(read("class/scsi_host/host2/proc_name"), "ahci\n");
    EXPECT_EQ(read("class/scsi_host/host2/state"), "running\n");
    EXPECT_EQ(read("class/scsi_host/host10/state"), "recovery\n");
    EXPECT_EQ(read("class/scsi_host/host10/firmware_revision"), "3.21\n");
    EXPECT_EQ(read("class/scsi_host/host10/board_tracer"), "BT0815\n");
    EXPECT_FALSE(fs::exists(sys("class/scsi_host/host2/firmware_revision")));
}

TEST_P(StorageTreeFiles, ThePciFunctionIsOneOrTwoDirectoriesAboveThePortsDevice) {
    EXPECT_EQ(read("class/scsi_host/host10/device/../vendor"), "0x9005\n");
    EXPECT_FALSE(fs::exists(sys("class/scsi_host/host2/device/../vendor"))) << "there is the ATA port";
    EXPECT_EQ(read("class/scsi_host/host2/device/../../device"), "0x2826\n");
    EXPECT_EQ(read("class/scsi_host/host2/device/../../subsystem_device"), "0x7270\n");
}

TEST_P(StorageTreeFiles, TheLinksHaveTheTextsOfTheLayout) {
    const std::string hba = "../../../devices/pci0000:00/0000:00:1c.0/0000:3b:00.0/host10";
    const std::string sata = "devices/pci0000:00/0000:00:17.0/ata3/host2";
    if (isClassic()) {
        EXPECT_TRUE(fs::is_directory(fs::symlink_status(sys("class/scsi_host/host10"))));
        EXPECT_EQ(target("class/scsi_host/host10/device"), hba);
        EXPECT_EQ(target("class/scsi_host/host2/device"), "../../../" + sata);
        EXPECT_TRUE(fs::is_directory(fs::symlink_status(sys("class/scsi_device/2:0:0:0"))));
        EXPECT_EQ(target("class/scsi_device/2:0:0:0/device"), "../../../" + sata + "/target2:0:0/2:0:0:0");
        EXPECT_EQ(target(sata + "/target2:0:0/2:0:0:0/block:sda"), "../../../../../../../block/sda");
        return;
    }
    EXPECT_EQ(target("class/scsi_host/host2"), "../../" + sata + "/scsi_host/host2");
    EXPECT_EQ(target("class/scsi_host/host2/device"), "../../../host2");
    EXPECT_EQ(target("class/scsi_device/2:0:0:0"),
              "../../" + sata + "/target2:0:0/2:0:0:0/scsi_device/2:0:0:0");
    EXPECT_EQ(target("class/scsi_device/2:0:0:0/device"), "../../../2:0:0:0");
    EXPECT_EQ(target("block/sda"), "../" + sata + "/target2:0:0/2:0:0:0/block/sda");
    EXPECT_EQ(target("class/scsi_device/10:0:5:0"),
              hba.substr(3) + "/port-10:5/end_device-10:5/target10:0:5/10:0:5:0/scsi_device/10:0:5:0");
}

TEST_P(StorageTreeFiles, ADiskHasItsAttributes) {
    const std::string device = "class/scsi_device/2:0:0:0/device/";
    EXPECT_EQ(read(device + "vendor"), "ATA     \n");
    EXPECT_EQ(read(device + "model"), "MEV HDD         \n");
    EXPECT_EQ(read(device + "rev"), "CD02\n");
    EXPECT_EQ(read(device + "type"), "0\n");
    EXPECT_EQ(read(device + "state"), "running\n");
    const Disk& disk = controller(0).ports[0].disks[0];
    EXPECT_EQ(read(device + "inquiry"), standardInquiry(disk));
    EXPECT_EQ(read(device + "vpd_pg80"), serialNumberPage(disk));
    EXPECT_EQ(read("block/sda/device/vpd_pg83"), identificationPage(disk));
    EXPECT_EQ(read("block/sda/size"), "2048\n");
    EXPECT_THAT(names(device + "scsi_generic"), UnorderedElementsAre("sg0"));
    EXPECT_EQ(read("class/scsi_generic/sg0/dev"), "21:0\n");
    EXPECT_EQ(fs::exists(sys(device + "block/sda/size")), !isClassic());
}

TEST_P(StorageTreeFiles, AnEnclosureHasNoBlockDevice) {
    EXPECT_EQ(read("class/scsi_device/10:0:5:0/device/type"), "13\n");
    EXPECT_THAT(names("block"), UnorderedElementsAre("sda"));
}

TEST_P(StorageTreeFiles, WhatIsRemovedLeavesNothingAndComesBackAsItWas) {
    const auto all = [this] {
        std::vector<std::string> found;
        for (const auto& entry : fs::recursive_directory_iterator(sys("")))
            found.push_back(entry.path().string());
        std::sort(found.begin(), found.end());
        return found;
    };
    const auto before = all();
    tree.removeController(controller(0));
    tree.removeController(controller(1));
    EXPECT_THAT(names("class/scsi_host"), IsEmpty());
    EXPECT_THAT(names("class/scsi_device"), IsEmpty());
    EXPECT_THAT(names("class/scsi_generic"), IsEmpty());
    EXPECT_THAT(names("block"), IsEmpty());
    EXPECT_FALSE(fs::exists(sys("devices/pci0000:00/0000:00:17.0/ata3")));
    EXPECT_TRUE(fs::exists(sys("devices/pci0000:00/0000:00:17.0/vendor")));
    tree.addController(controller(0));
    tree.addController(controller(1));
    EXPECT_EQ(all(), before);
    Disk& disk = controller(1).ports[0].disks[0];
    tree.removeDisk(controller(1), controller(1).ports[0], disk);
    EXPECT_EQ(fs::exists(sys("devices/pci0000:00/0000:00:1c.0/0000:3b:00.0/host10/port-10:5")), false);
    EXPECT_TRUE(fs::exists(sys("class/scsi_host/host10/device")));
    tree.addDisk(controller(1), controller(1).ports[0], disk);
    EXPECT_EQ(all(), before);
}

TEST_P(StorageTreeFiles, TheTimesAreTheHostsOwn) {
    const auto modified = [this](const char* place) {
        struct stat status {};
        EXPECT_EQ(::stat(sys(place).c_str(), &status), 0);
        return status.st_mtime;
    };
    tree.stamp(1000, true);
    EXPECT_EQ(modified("class/scsi_host"), 1000);
    EXPECT_EQ(modified("class/scsi_device"), 1000);
    tree.stamp(2000, false);
    EXPECT_EQ(modified("class/scsi_host"), 1000);
    EXPECT_EQ(modified("class/scsi_device"), 2000);
}

TEST(StorageTreeOfABareHost, IsNotThere) {
    const TemporaryDirectory directory;
    const HostDescription host;
    directory.writeFile("sys/class/scsi_host/host0/state", "of an earlier host");
    StorageTree(directory.path(), host).layOut();
    EXPECT_FALSE(fs::exists(directory.path() + "/sys/class/scsi_host"));
}

}  // namespace
}  // namespace StorageTreeTest
