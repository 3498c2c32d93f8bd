// The key "storageControllers" of a description.
#include "modules/storage/DiskDescription.h"

#include <gtest/gtest.h>

#include "modules/pci/PciFunctions.h"
#include "simhost/DescribedDisk.h"

namespace DiskDescriptionTest {
namespace {

using namespace simhost;

// One controller with these ports.
std::string withPorts(const std::string& ports) {
    return R"({"pci":[{"Address":"0000:3b:00.0","Module Name":"smartpqi"}],"storageControllers":[
        {"address":"0000:3b:00.0","ports":[)" +
           ports + "]}]}";
}

TEST(StorageDescription, ADiskHasUsualValues) {
    const StorageControllers all =
        describedControllers(withPorts(R"({"disks":[{}]},{"ata":4,"disks":[{"media":"SSD"}]})"));
    EXPECT_EQ(all.all.at(0).driver, "smartpqi") << "of the function";
    const StoragePort& first = all.all[0].ports.at(0);
    const Disk& sas = first.disks.at(0);
    EXPECT_EQ(diskLink(first, sas), "0:0:0:0");
    EXPECT_EQ(first.state, "running");
    EXPECT_FALSE(isSata(sas));
    EXPECT_FALSE(isSolidState(sas));
    EXPECT_EQ(sas.rotation, 10000u);
    EXPECT_EQ(sas.serial, "Z1MEV000001");
    EXPECT_EQ(sas.inquirySerial, sas.serial);
    const StoragePort& second = all.all[0].ports.at(1);
    const Disk& sata = second.disks.at(0);
    EXPECT_EQ(diskLink(second, sata), "1:0:0:0");
    EXPECT_TRUE(isSata(sata)) << "an ATA number makes a SATA port";
    EXPECT_TRUE(isSolidState(sata));
    EXPECT_EQ(sata.rotation, 1u);
    EXPECT_EQ(genericName(sata), "sg1");
    EXPECT_EQ(blockName(sata), "sdb");
}

TEST(StorageDescription, BlockDevicesHaveTheNamesOfTheKernel) {
    Disk disk;
    const auto name = [&disk](unsigned number) {
        disk.number = number;
        return blockName(disk);
    };
    EXPECT_EQ(name(0), "sda");
    EXPECT_EQ(name(25), "sdz");
    EXPECT_EQ(name(26), "sdaa");
    EXPECT_EQ(name(26 * 27 - 1), "sdzz");
    EXPECT_EQ(name(26 * 27), "sdaaa");
}

TEST(StorageDescription, ManyDisksAreOneEntry) {
    const StorageControllers all = describedControllers(
        withPorts(R"({"host":7,"disks":[{"count":120,"serial":"S6EN"},{"count":2,"media":"SSD"}]})"));
    const StoragePort& port = all.all.at(0).ports.at(0);
    ASSERT_EQ(port.disks.size(), 122u);
    EXPECT_EQ(port.disks[0].serial, "S6EN0001");
    EXPECT_EQ(port.disks[119].serial, "S6EN0120");
    EXPECT_EQ(diskLink(port, port.disks[119]), "7:0:119:0");
    EXPECT_EQ(diskLink(port, port.disks[121]), "7:0:121:0");
    EXPECT_EQ(port.disks[121].serial, "Z1MEV000002");
    EXPECT_NE(port.disks[0].worldWideName, port.disks[1].worldWideName);
}

TEST(StorageDescription, AFunctionThatTheHardwareListLacksIsAddedToIt) {
    const HostDescription host = describedHost(R"({"storageControllers":[{"address":"0000:3b:00.0",
        "vendor":"0x9005","device":"0x028f","subsystemVendor":"0x9005","subsystemDevice":"0x0608"}]})");
    const auto& functions = host.part<PciFunctions>().all;
    ASSERT_EQ(functions.size(), 1u);
    EXPECT_EQ(functions[0].at("Address"), "0000:3b:00.0");
    EXPECT_EQ(functions[0].at("Vendor ID"), "0x9005");
    EXPECT_EQ(functions[0].at("SubDevice ID"), "0x0608");
}

TEST(StorageDescription, WhatIsWrongIsRefusedWithItsPlace) {
    struct Row {
        std::string text;
        const char* complaint;
    };
    const Row rows[] = {
        {R"({"storageControllers":[{"address":"3b:00.0"}]})",
         "storageControllers[0] has the address \"3b:00.0\", which is not of the form 0000:3b:00.0"},
        {R"({"storageControllers":[{"address":"0000:3b:00.0"}]})",
         "storageControllers[0] needs a vendor such as \"0x8086\", as \"pci\" lacks its function"},
        {R"({"pci":[{"Address":"0000:3b:00.0"}],"storageControllers":[{"address":"0000:3b:00.0","device":"0x1"}]})",
         "storageControllers[0] has a device, which \"pci\" says of this function"},
        {R"({"pci":[{"Address":"0000:3b:00.0"}],"storageControllers":[{"address":"0000:3b:00.0"},
             {"address":"0000:3b:00.0"}]})",
         " has the controller at the description.storageControllers[1] twice"},
        {withPorts(R"({"host":3},{"host":3})"), "ports[1] has the host 3, which another port has"},
        {withPorts(R"({"disks":[{"target":1},{"target":1}]})"), "disks[1] is the second disk at 0:0:1:0"},
        {withPorts(R"({"ata":1,"disks":[{"transport":"SAS"}]})"), "disks[0] is no SATA disk on a SATA port"},
        {withPorts(R"({"disks":[{"media":"NVMe"}]})"),
         "disks[0] has the media \"NVMe\", which is none of HDD, SSD"},
        {withPorts(R"({"disks":[{"model":"of seventeen chars"}]})"),
         "disks[0] has a model of more than 16 characters"},
        {withPorts(R"({"disks":[{"capacityBytes":511}]})"),
         "disks[0] has a capacityBytes of less than a block"},
        {withPorts(R"({"disks":[{"unsupported":["log:0d","page"]}]})"),
         "disks[0].unsupported[1] is no page: it is vpd:XX, mode:XX, log:XX, ata:XX, ata:XX/XX, smart:XX or "
         "identify"},
        {withPorts(R"({"disks":[{"speed":1}]})"), "has a key \"speed\" that is not known"},
    };
    for (const Row& row : rows) {
        try {
            describedHost(row.text);
            ADD_FAILURE() << row.complaint;
        } catch (const std::runtime_error& error) {
            EXPECT_NE(std::string(error.what()).find(row.complaint), std::string::npos) << error.what();
        }
    }
}

}  // namespace
}  // namespace DiskDescriptionTest
