// Interface lists as real hosts print them, from the list to the inventory and through the link poll.
#include <gmock/gmock.h>

#include "nic/NICFixture.h"

namespace NICRealListsTest {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

class RealLists : public NICFixture {
protected:
    RealLists() {
        const auto others = commands.onCommand;
        commands.onCommand = [this, others](const std::string& command, int& status) -> std::string {
            if (command != pollCommand) return others(command, status);
            host.root.writeFile(listFile, firstAndFifth);
            return "";
        };
    }
    void expectAdapter(const char* name, const char* link, int speed, const char* mac, const char* state,
                       const char* health) {
        const PhyAdapterInventory record = manager.getHealthOfIntf(name);
        EXPECT_EQ(record.getIntfName(), name);
        EXPECT_EQ(record.getLinkStatus(), link) << name;
        EXPECT_EQ(record.getSpeed(), speed) << name;
        EXPECT_EQ(record.getMACAddress(), mac) << name;
        EXPECT_EQ(record.getState(), state) << name;
        EXPECT_EQ(record.getHealth(), health) << name;
    }
    std::string firstAndFifth;  // the list as the poll's awk prints it
};

TEST_F(RealLists, TwoPortsOfWhichOneHasNoLink) {
    listText =
        "Name    PCI Device    Driver  Admin Status  Link Status  Speed  Duplex  MAC Address         MTU  "
        "Description\n"
        "------  ------------  ------  ------------  -----------  -----  ------  -----------------  ----  "
        "-----------\n"
        "vmnic0  0000:81:00.0  ixgben  Up            Up           10000  Full    7c:d3:0a:00:00:00  1500  "
        "Intel Corporation 82599EB 10-Gigabit SFI/SFP+ Network Connection\n"
        "vmnic1  0000:81:00.1  ixgben  Up            Down             0  Half    7c:d3:0a:00:00:01  1500  "
        "Intel Corporation 82599EB 10-Gigabit SFI/SFP+ Network Connection\n";
    firstAndFifth = "Name Admin\n------ -----------\nvmnic0 Up\nvmnic1 Down\n";
    manager.cacheBuild();
    EXPECT_THAT(inventory(), SizeIs(2));
    expectAdapter("vmnic0", "Up", 10000, "7c:d3:0a:00:00:00", "Online", "OK");
    expectAdapter("vmnic1", "Down", 0, "7c:d3:0a:00:00:01", "Linkdown", "OK");
    EXPECT_FALSE(manager.checkLinkState());
    firstAndFifth = "Name Admin\n------ -----------\nvmnic0 Down\nvmnic1 Down\n";
    EXPECT_TRUE(manager.checkLinkState());
}

TEST_F(RealLists, UsbPortsHaveTheWordPseudoAsTheirAddress) {
    listText =
        "Name    PCI Device    Driver        Admin Status  Link Status  Speed  Duplex  MAC Address         "
        "MTU  Description\n"
        "------  ------------  ------------  ------------  -----------  -----  ------  -----------------  "
        "----  -----------\n"
        "vmnic0  0000:00:1f.6  ne1000        Up            Up            1000  Full    b8:ae:ed:00:0c:11  "
        "1500  Intel Corporation Ethernet Connection I219-V\n"
        "vusb0   Pseudo        ax88179_178a  Up            Up            1000  Full    00:0a:cd:00:23:6a  "
        "1500  Unknown Unknown\n"
        "vusb1   Pseudo        ax88179_178a  Up            Down             0  Half    00:0a:cd:00:23:6b  "
        "1500  Unknown Unknown\n";
    firstAndFifth = "Name Admin\n------ -----------\nvmnic0 Up\nvusb0 Up\nvusb1 Down\n";
    manager.cacheBuild();
    EXPECT_THAT(inventory(), SizeIs(3));
    expectAdapter("vusb0", "Up", 1000, "00:0a:cd:00:23:6a", "Online", "OK");
    expectAdapter("vusb1", "Down", 0, "00:0a:cd:00:23:6b", "Linkdown", "OK");
    EXPECT_EQ(inventory()[1]["Oem"]["Description"], "PCI Pseudo ");
    EXPECT_FALSE(manager.checkLinkState());
}

TEST_F(RealLists, APortWithoutADriverIsReadOneColumnOff) {
    listText =
        "Name    PCI Device    Driver  Admin Status  Link Status  Speed  Duplex  MAC Address         MTU  "
        "Description\n"
        "------  ------------  ------  ------------  -----------  -----  ------  -----------------  ----  "
        "-----------\n"
        "vmnic0  0000:00:02.0  e1000   Up            Up            1000  Full    52:54:00:12:34:56  1500  "
        "Intel Corporation 82540EM Gigabit Ethernet Controller\n"
        "vmnic1  0000:03:00.0          Up            Down             0  Half    5a:5b:03:1b:3a:5b  1500  "
        "Pensando Systems, Inc Pensando Ethernet PF\n"
        "vmnic2  0000:03:00.1          Up            Down             0  Half    5a:5b:03:1b:3a:5c\n";
    firstAndFifth = "Name Admin\n------ -----------\nvmnic0 Up\nvmnic1 0\nvmnic2 0\n";
    manager.cacheBuild();
    EXPECT_THAT(inventory(), SizeIs(3));
    expectAdapter("vmnic0", "Up", 1000, "52:54:00:12:34:56", "Online", "OK");
    expectAdapter("vmnic1", "0", 0, "1500", "Other", "Unknown");
    expectAdapter("vmnic2", "0", 0, "Not Available", "Other", "Unknown");
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_CTRL: A line of the interface list has only 7 words"));
    EXPECT_FALSE(manager.checkLinkState()) << "list and poll are off by the same column";
}

TEST_F(RealLists, TheOldLayoutHasNoAdministrativeStatus) {
    listText =
        "Name    PCI Device     Driver  Link  Speed  Duplex  MAC Address         MTU  Description\n"
        "------  -------------  ------  ----  -----  ------  -----------------  ----  -----------\n"
        "vmnic3  0000:0c4:00.1  igb     Up     1000  Full    00:25:90:00:5b:15  1500  Intel Corporation I350 "
        "Gigabit Network Connection\n"
        "vmnic4  0000:0c4:00.2  igb     Down      0  Half    00:25:90:00:5b:16  1500  Intel Corporation I350 "
        "Gigabit Network Connection\n";
    firstAndFifth = "Name Link\n------ -----\nvmnic3 1000\nvmnic4 0\n";
    manager.cacheBuild();
    EXPECT_THAT(inventory(), SizeIs(2));
    expectAdapter("vmnic3", "1000", 0, "1500", "Online", "OK");
    expectAdapter("vmnic4", "0", 0, "1500", "Other", "Unknown");
    EXPECT_FALSE(manager.checkLinkState());
}

TEST_F(RealLists, AHostWithoutAdaptersPrintsAHeadingAndAShortRuler) {
    listText =
        "Name  PCI Device  Driver  Admin Status  Link Status  Speed  Duplex  MAC Address  MTU  Description\n"
        "----  ----------  ------  ------------  -----------  -----  ------  -----------  ---  -----------\n";
    firstAndFifth = "Name Admin\n---- -----------\n";
    manager.cacheBuild();
    EXPECT_THAT(inventory(), IsEmpty());
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_RM: No NIC found!"));
    EXPECT_FALSE(hasLogged(host, "DEBUG NIC_RM: Unable to find NIC information."));
    EXPECT_FALSE(manager.checkLinkState());
    EXPECT_TRUE(hasLogged(host, "DEBUG NIC_RM: No status change"));
}

}  // namespace
}  // namespace NICRealListsTest
