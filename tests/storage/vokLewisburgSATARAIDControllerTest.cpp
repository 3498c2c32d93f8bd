#include "storage/vokLewisburgSATARAIDController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <filesystem>

#include "storage/FailingNew.h"
#include "storage/StorageFixture.h"
#include "storage/vokStorageControllerClass.h"
#include "support/FakeCommands.h"

namespace vokLewisburgSATARAIDControllerTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::NotNull;
using testing::StrEq;

constexpr auto allWell = STORAGE_EVENT_INFO_ALL_PORTS_WELL;
constexpr auto partial = STORAGE_EVENT_INFO_PARTIAL_PROBLEM;
constexpr auto serious = STORAGE_EVENT_INFO_SERIOUS_PROBLEM;

std::string port(int host) {
    return "/sys/class/scsi_host/host" + std::to_string(host);
}
std::vector<std::string> ports(const std::vector<int>& hosts) {
    std::vector<std::string> paths;
    for (const int host : hosts) paths.push_back(port(host));
    return paths;
}

Held<TestControllerOf<vokLewisburgSATARAIDController>> newSataRaid(
    std::vector<std::string> paths = {}, const std::string& location = "0000:00:17.0") {
    return newControllerOf<vokLewisburgSATARAIDController>(std::move(paths), location);
}

class SataRaid : public StorageFixture {
protected:
    // Records of ports that all run, with these ATA devices or none.
    void setRecords(const std::vector<std::string>& paths, const std::vector<int>& ataDevices = {}) const {
        controller->currentInfo.clearControllerPortList();
        for (std::size_t i = 0; i < paths.size(); ++i) {
            vokStorageControllerPortInfo record;
            record.setOSInstanceName(paths[i]);
            record.setState(VOK_STATE_RUNNING);
            if (i < ataDevices.size()) record.setATADeviceNumber(ataDevices[i]);
            controller->currentInfo.addControllerPort(record);
        }
    }
    void setPorts(const std::vector<std::string>& paths) const {
        controller->portList = paths;
        setRecords(paths);
    }
    // Ports of the kernel that all run.
    void addKernelPorts(const std::vector<int>& hosts) {
        tree.addController({"0000:00:17.0"});
        for (const int number : hosts) {
            FakePort made;
            made.host = number;
            made.ata = number + 1;
            controller->portList.push_back(tree.addPort(made));
        }
    }
    std::vector<std::string> records() const {
        std::vector<std::string> paths;
        for (const vokStorageControllerPortInfo& each : controller->currentInfo.getControllerPortVector())
            paths.push_back(each.getOSInstanceName());
        return paths;
    }
    static vokDiskInfo diskOfDevice(int ataDevice) {
        vokDiskInfo disk;
        disk.setATADeviceNumber(ataDevice);
        disk.setOSSCSILink("6:0:0:0");
        disk.setOSDeviceName("/dev/sg2");
        disk.setSerialNumber("SN7");
        return disk;
    }
    bool loggedHere(const std::string& line) const { return hasLogged(host, "DEBUG STOR_LB: " + line); }

    Held<TestControllerOf<vokLewisburgSATARAIDController>> controller = newSataRaid();
};

// --- claiming ---

using Claim = _VOK_STORAGE_CONTROLLER_CLASS_METADATA;

const Claim* registeredClaim() {
    for (const Claim& each : vokRegistryManager<Claim>::_registryList())
        if (each.className == "vokLewisburgSATARAIDController") return &each;
    return nullptr;
}

TEST_F(SataRaid, ItsClaimIsRegisteredWhenTheLibraryIsLoaded) {
    ASSERT_THAT(registeredClaim(), NotNull());
    EXPECT_EQ(registeredClaim()->claimDevice, &vokLewisburgSATARAIDController::claimDevice);
    registeredClaim()->refreshVendorInterfaceCache();
}

TEST_F(SataRaid, TheChipsetsFunctionIsClaimedWithAnyBoard) {
    for (const bool firstPass : {true, false}) {
        std::string location = "0000:00:17.0";
        vokStorageController* device = nullptr;
        EXPECT_TRUE(registeredClaim()->claimDevice(0x28268086, 0x12348086, location, firstPass, &device));
        ASSERT_THAT(device, NotNull());
        const Held<vokStorageController> owned(device);
        EXPECT_THAT(dynamic_cast<vokLewisburgSATARAIDController*>(device), NotNull());
        EXPECT_EQ(device->getChipsetID(), 0x28268086u);
        EXPECT_EQ(device->getBoardID(), 0x12348086u);
        EXPECT_EQ(device->getPciLocation(), "0000:00:17.0");
        EXPECT_EQ(device->getFamilyFlags(), 1);
        EXPECT_EQ(device->getFoundOnFirstDiscoveryPass(), firstPass);
        EXPECT_TRUE(device->getNewDevice());
    }
    EXPECT_TRUE(loggedHere("Claimed device [0000:00:17.0 0x28268086 0x12348086]."));
}

TEST_F(SataRaid, AControllerOfAnotherFamilyAndAnUnknownOneAreNotClaimed) {
    for (const unsigned int chipset : {0x005D1000U, 0x028F9005U, 0x12348086U}) {
        std::string location = "0000:3b:00.0";
        vokStorageController* device = controller.get();
        EXPECT_FALSE(vokLewisburgSATARAIDController::claimDevice(chipset, 0, location, true, &device));
        EXPECT_THAT(device, IsNull());
    }
}

#if HAS_FAILING_NEW
TEST_F(SataRaid, WithoutMemoryTheDecisionIsMadeAndThereIsNoController) {
    std::string location = "0000:00:17.0";
    vokStorageController* device = controller.get();
    {
        const FailingNew failing(sizeof(vokLewisburgSATARAIDController));
        EXPECT_TRUE(vokLewisburgSATARAIDController::claimDevice(0x28268086, 0, location, true, &device));
    }
    EXPECT_THAT(device, IsNull());
    EXPECT_TRUE(hasLogged(host, "ERROR STOR_LB: Out of memory!"));
    EXPECT_FALSE(loggedHere("Claimed device [0000:00:17.0 0x28268086 0x0]."));
}
#endif

// --- the number of ports of a server ---

struct Server {
    const char* family;
    unsigned int ports;
    int slotOfFourthDevice;
};

class SataRaidServer : public SataRaid, public testing::WithParamInterface<Server> {};

TEST_P(SataRaidServer, DecidesHowManyPortsAreSupportedAndWhetherDisksHaveSlots) {
    start(GetParam().family);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(controller->getMaxSupportedControllerPorts(), GetParam().ports);
    setRecords(ports({3, 4, 6}), {3, 4, 6});
    vokDiskInfo disk = diskOfDevice(6);
    EXPECT_EQ(controller->getDiskSlotNumberFromATADeviceNumber(disk), GetParam().slotOfFourthDevice);
    EXPECT_EQ(countLogged(host,
                          "WARNING STOR_LB: Unable to determine max # supported controller ports due to "
                          "unrecognized server model."),
              GetParam().ports == 0 ? 1 : 0)
        << "the first time only";
}

INSTANTIATE_TEST_SUITE_P(Families, SataRaidServer,
                         testing::Values(Server{"7711PID02020001", 8, 4}, Server{"7711PID03020102", 4, 4},
                                         Server{"7711PID03020101", 4, 4}, Server{"7711PID04040404", 0, -1},
                                         Server{"", 0, -1}));

TEST_F(SataRaid, TheNumberOfSupportedPortsIsHiddenAndNotOverriddenAsIsRequired) {
    start(firstFamily);
    vokStorageController& base = *controller;
    EXPECT_EQ(base.getMaxSupportedControllerPorts(), 0u);
    EXPECT_EQ(controller->getMaxSupportedControllerPorts(), 8u);
}

// --- ports ---

TEST_F(SataRaid, PortsAreSortedByTheirHostNumbersAndNotAsText) {
    start(firstFamily);
    controller->portList = ports({2, 10, 3});
    setRecords(ports({10, 3, 2}));
    controller->computeControllerStatus();
    EXPECT_EQ(controller->portList, ports({2, 3, 10}));
    EXPECT_EQ(records(), ports({2, 3, 10}));
}

TEST_F(SataRaid, PortsAreSortedOncePerDiscovery) {
    start(firstFamily);
    setPorts(ports({2, 1}));
    controller->computeControllerStatus();
    setPorts(ports({4, 3}));
    controller->computeControllerStatus();
    EXPECT_EQ(controller->portList, ports({4, 3}));
    vokStorageControllerInfo info;
    controller->discoverInventory(info);
    EXPECT_EQ(controller->portList, ports({3, 4}));
    EXPECT_EQ(records(), ports({3, 4}));
}

TEST_F(SataRaid, PathsWithoutAHostNumberAreSortedWithoutHarm) {
    std::vector<std::string> paths;
    for (int i = 50; i > 0; --i) paths.push_back(i % 3 == 0 ? "/sys/class/scsi_host/hostX" : port(i));
    setPorts(paths);
    controller->computeControllerStatus();
    EXPECT_THAT(controller->portList, testing::UnorderedElementsAreArray(paths));
    EXPECT_THAT(records(), testing::UnorderedElementsAreArray(paths));
}

TEST_F(SataRaid, OnAnEightPortServerSixRunningPortsAreAllPortsAndAbsentOnesAreNotCounted) {
    start(firstFamily);
    setPorts(ports({1, 2, 3, 4, 5, 6}));
    controller->computeControllerStatus();
    EXPECT_EQ(records(), ports({1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(controller->currentInfo.getState(), VOK_STATE_RUNNING);
    EXPECT_EQ(controller->currentInfo.getHealth(), VOK_HEALTH_OK);
    EXPECT_EQ(controller->currentInfo.getEventInfoString(),
              "All ports of the Intel SATA RAID controller are now online.");
}

TEST_F(SataRaid, OnAFourPortServerTheTwoHighestOfSixPortsAreDroppedFromBothLists) {
    start(secondFamily);
    setPorts(ports({12, 9, 4, 7, 10, 8}));
    controller->computeControllerStatus();
    EXPECT_EQ(controller->portList, ports({4, 7, 8, 9}));
    EXPECT_EQ(records(), ports({4, 7, 8, 9}));
}

TEST_F(SataRaid, OnAnUnknownServerNoPortIsDropped) {
    start("7711PID04040404");
    setPorts(ports({12, 9, 4, 7, 10, 8, 3, 2, 1}));
    controller->computeControllerStatus();
    EXPECT_EQ(records(), ports({1, 2, 3, 4, 7, 8, 9, 10, 12}));
}

TEST_F(SataRaid, TheShorterOfTheTwoListsLimitsTheOther) {
    start(firstFamily);
    controller->portList = ports({3, 2});
    setRecords(ports({5, 4, 3, 2}));
    controller->computeControllerStatus();
    EXPECT_EQ(records(), ports({2, 3}));
    const auto other = newSataRaid(ports({5, 4, 3}));
    vokStorageControllerPortInfo record;
    record.setOSInstanceName(port(4));
    other->currentInfo.addControllerPort(record);
    other->computeControllerStatus();
    EXPECT_EQ(other->portList, ports({3}));
}

TEST_F(SataRaid, ADroppedPortDoesNotCountInTheStatusOfTheController) {
    start(secondFamily);
    setPorts(ports({1, 2, 3, 4, 5}));
    vokStorageControllerPortInfo fifth = controller->currentInfo.getControllerPort(4);
    fifth.setState(VOK_STATE_OFFLINE);
    controller->currentInfo.setControllerPort(4, fifth);
    controller->computeControllerStatus();
    EXPECT_EQ(controller->currentInfo.getState(), VOK_STATE_RUNNING);
}

// --- the text of its events ---

TEST_F(SataRaid, TheTextOfASeriousProblemCountsTheServersPortsEvenIfFewerArePresent) {
    start(firstFamily);
    setPorts(ports({1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(controller->formatControllerEventInfoString(serious),
              "At least 7 of 8 ports of the Intel SATA RAID controller have gone offline or will be removed "
              "from the system, or have been in recovery state for >= 60 seconds.");
}

TEST_F(SataRaid, OnAnUnknownServerTheTextOfASeriousProblemCountsThePortRecords) {
    start("7711PID04040404");
    setRecords(ports({1, 2, 3}));
    const std::string rest =
        " ports of the Intel SATA RAID controller have gone offline or will be removed from the system, or "
        "have "
        "been in recovery state for >= 60 seconds.";
    EXPECT_EQ(controller->formatControllerEventInfoString(serious), "At least 2 of 3" + rest);
    setRecords({});
    EXPECT_EQ(controller->formatControllerEventInfoString(serious), "At least 0 of 0" + rest);
}

TEST_F(SataRaid, TheTextOfRecoveredPortsIsFixedAndNoOtherTypeHasAText) {
    EXPECT_EQ(controller->formatControllerEventInfoString(allWell),
              "All ports of the Intel SATA RAID controller are now online.");
    EXPECT_EQ(controller->formatControllerEventInfoString(partial), "");
    EXPECT_EQ(controller->formatControllerEventInfoString(static_cast<STORAGE_EVENT_INFO_TYPE>(0)), "");
}

TEST_F(SataRaid, AControllerWithAllPortsOfflineHasTheTextOfASeriousProblem) {
    start(secondFamily);
    controller->portList = ports({1, 2});
    setRecords(ports({1, 2}));
    for (const unsigned int i : {0U, 1U}) {
        vokStorageControllerPortInfo offline = controller->currentInfo.getControllerPort(i);
        offline.setState(VOK_STATE_OFFLINE);
        controller->currentInfo.setControllerPort(i, offline);
    }
    controller->computeControllerStatus();
    EXPECT_EQ(controller->currentInfo.getState(), VOK_STATE_OFFLINE);
    EXPECT_EQ(controller->currentInfo.getHealth(), VOK_HEALTH_CRITICAL);
    EXPECT_EQ(
        controller->currentInfo.getEventInfoString(),
        "At least 3 of 4 ports of the Intel SATA RAID controller have gone offline or will be removed from "
        "the system, or have been in recovery state for >= 60 seconds.");
}

// --- its record ---

TEST_F(SataRaid, TheRecordThatADiscoveryReturnsHasTheProtocolSata) {
    start(firstFamily);
    addKernelPorts({10, 2});
    vokStorageControllerInfo info;
    EXPECT_EQ(controller->discoverInventory(info), 1);
    EXPECT_EQ(info.getProtocol(), "SATA");
    EXPECT_EQ(info.getModel(), "Intel C600/X79 series chipset SATA RAID Controller");
    EXPECT_EQ(info.getControllerPort(0).getOSInstanceName(), port(2));
    EXPECT_EQ(info.getControllerPort(1).getOSInstanceName(), port(10));
    EXPECT_EQ(info.getState(), VOK_STATE_RUNNING);
    EXPECT_EQ(controller->getInventory().getProtocol(), "SAS/SATA")
        << "as is required: its own is the base's";
}

TEST_F(SataRaid, TheFirmwareVersionIsThatOfTheChipsetsRaidFirmware) {
    host.root.writeFile("/usr/sbin/mdadm", "");
    std::filesystem::permissions(host.path("/usr/sbin/mdadm"), std::filesystem::perms::owner_all);
    host.part<FakeCommands>().onCommand = [](const std::string&, int&) {
        return "Version : 1.0\nController : 0000:00:11.5\nVersion : 2.0\nController : /sys/0000:00:17.0 "
               "(SATA)\n";
    };
    EXPECT_THAT(controller->discoverFirmwareVersion(), IsNull()) << "no port";
    controller->portList = ports({1});
    EXPECT_THAT(controller->discoverFirmwareVersion().get(), StrEq("2.0"));
    const auto other = newSataRaid(ports({1}), "0000:5e:00.0");
    EXPECT_THAT(other->discoverFirmwareVersion(), IsNull());
}

// --- slots ---

TEST_F(SataRaid, ADiskOnAtaDeviceSixOfThreeFourAndSixIsInSlotFour) {
    start(firstFamily);
    setRecords(ports({1, 2, 3, 5}), {4, 3, -1, 6});
    vokDiskInfo disk = diskOfDevice(6);
    EXPECT_EQ(controller->vokLewisburgSATARAIDController::discoverPhysicalDiskSlotNumber(disk), 0);
    EXPECT_EQ(disk.getSlot(), "4");
    EXPECT_TRUE(
        loggedHere("Disk 6:0:0:0 found @ Offset [3]; (ATA device number: [6]; ATA device base: [3])"));
    vokDiskInfo first = diskOfDevice(3);
    EXPECT_EQ(controller->discoverPhysicalDiskSlotNumber(first), 0);
    EXPECT_EQ(first.getSlot(), "1");
}

TEST_F(SataRaid, ADiskOnNoneOfThePortsHasNoSlot) {
    start(firstFamily);
    setRecords(ports({1, 2}), {3, 4});
    vokDiskInfo disk = diskOfDevice(5);
    EXPECT_EQ(controller->discoverPhysicalDiskSlotNumber(disk), -1);
    EXPECT_EQ(disk.getSlot(), "-1");
    EXPECT_TRUE(loggedHere(
        "Unable to determine disk slot # from ATA device numbers. (6:0:0:0, /dev/sg2, SN7, 5, 3)"));
}

TEST_F(SataRaid, AnUnknownDeviceNumberIsThatOfNoPort) {
    start(firstFamily);
    setRecords(ports({1, 2}), {-1, 4});
    vokDiskInfo disk = diskOfDevice(-1);
    EXPECT_EQ(controller->discoverPhysicalDiskSlotNumber(disk), -1);
    EXPECT_EQ(disk.getSlot(), "-1");
    setRecords(ports({1}), {-1});
    EXPECT_EQ(controller->discoverPhysicalDiskSlotNumber(disk), -1);
    setRecords({});
    EXPECT_EQ(controller->discoverPhysicalDiskSlotNumber(disk), -1);
    EXPECT_TRUE(loggedHere(
        "Unable to determine disk slot # from ATA device numbers. (6:0:0:0, /dev/sg2, SN7, -1, -1)"));
}

TEST_F(SataRaid, OnAnUnknownServerADiskOnAPortHasNoSlotEither) {
    start("7711PID04040404");
    setRecords(ports({1}), {3});
    vokDiskInfo disk = diskOfDevice(3);
    EXPECT_EQ(controller->discoverPhysicalDiskSlotNumber(disk), -1);
    EXPECT_EQ(disk.getSlot(), "-1");
    EXPECT_TRUE(
        loggedHere("Disk 6:0:0:0 found @ Offset [0]; (ATA device number: [3]; ATA device base: [3])"));
}

}  // namespace
}  // namespace vokLewisburgSATARAIDControllerTest
