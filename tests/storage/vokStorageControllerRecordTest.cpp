// The record of a controller and of its ports, in both layouts of /sys.
#include <map>

#include "platform/utils/vokUtils.h"
#include "storage/StorageFixture.h"
#include "support/FakeCommands.h"

namespace vokStorageControllerRecordTest {
namespace {

constexpr char pushRequest[] = "DEBUG SAS_RM: Signalling for inventory push to RMC on cache build.";

class ControllerRecord : public StorageFixture {
protected:
    ControllerRecord() { tree.addController({}); }

    void addPort(int number, int ata = 0) {
        FakePort port;
        port.host = number;
        port.ata = ata;
        std::string path = tree.addPort(port);
        controller->addPort(path);
    }
    vokStorageControllerInfo discovered() {
        vokStorageControllerInfo info;
        EXPECT_EQ(controller->discoverInventory(info), 1);
        return info;
    }

    const Held<TestController> controller = newController();
};

// --- numbers in paths ---

TEST_F(ControllerRecord, TheHostNumberIsThatInThePathOfThePort) {
    controller->portList = {"/sys/class/scsi_host/host12", "/sys/class/scsi_host/hostess", "/sys/class", ""};
    EXPECT_EQ(controller->getHostNumberForControllerPort(0), 12);
    EXPECT_EQ(controller->getHostNumberForControllerPort(1), -1);
    EXPECT_EQ(controller->getHostNumberForControllerPort(2), -1);
    EXPECT_EQ(controller->getHostNumberForControllerPort(3), -1);
    EXPECT_EQ(controller->getHostNumberForControllerPort(4), -1);
}

TEST_F(ControllerRecord, TheAtaNumberIsThatOfTheLinkOfThePort) {
    addPort(0, 14);
    EXPECT_EQ(controller->getATADeviceNumberForControllerPort(0), 14);
}

TEST_F(ControllerRecord, InTheOlderLayoutTheAtaNumberIsThatOfTheDeviceOfThePort) {
    tree.layout = SysfsLayout::older;
    addPort(0, 14);
    EXPECT_EQ(controller->getATADeviceNumberForControllerPort(0), 14);
}

TEST_F(ControllerRecord, APortThatIsNotAtaHasNoAtaNumber) {
    addPort(0);
    EXPECT_EQ(controller->getATADeviceNumberForControllerPort(0), -1);
    EXPECT_TRUE(
        logged("No ATA device number found for /sys/class/scsi_host/host0 "
               "(../../devices/pci0000:00/0000:3b:00.0/host0/scsi_host/host0)."));
}

TEST_F(ControllerRecord, APortThatIsNotThereHasNoAtaNumber) {
    controller->portList = {"/sys/class/scsi_host/host9"};
    EXPECT_EQ(controller->getATADeviceNumberForControllerPort(0), -1);
    EXPECT_TRUE(
        logged("Unable to determine ATA port number for /sys/class/scsi_host/host9. readlink failed! "
               "(2)"));
    EXPECT_EQ(controller->getATADeviceNumberForControllerPort(1), -1);
}

// --- what port 0 says of the controller ---

TEST_F(ControllerRecord, FirmwareAndSerialNumberAreAttributesOfTheFirstPort) {
    addPort(0);
    addPort(1);
    tree.setPortAttribute(0, "firmware_revision", "5.190.01-3614\n");
    tree.setPortAttribute(0, "board_tracer", "SV00112233\n");
    tree.setPortAttribute(1, "firmware_revision", "wrong\n");
    const vokStorageControllerInfo info = discovered();
    EXPECT_EQ(info.getFirmwareVersion(), "5.190.01-3614");
    EXPECT_EQ(info.getSerialNumber(), "SV00112233");
    EXPECT_TRUE(hasLogged(host, "INFO STOR_CTLR: 0000:3b:00.0: SCSI HOST HBA Firmware: 5.190.01-3614"));
    EXPECT_TRUE(hasLogged(host, "INFO STOR_CTLR: 0000:3b:00.0: SCSI HOST HBA Board Tracer: SV00112233"));
}

TEST_F(ControllerRecord, FirmwareAndSerialNumberThatAreNotThereAreEmpty) {
    addPort(0);
    tree.setPortAttribute(0, "firmware_revision", "1.0\n");
    tree.setPortAttribute(0, "board_tracer", "SV00112233\n");
    discovered();
    tree.setPortAttribute(0, "firmware_revision", "");
    tree.setPortAttribute(0, "board_tracer", "");
    const vokStorageControllerInfo info = discovered();
    EXPECT_EQ(info.getFirmwareVersion(), "");
    EXPECT_EQ(info.getSerialNumber(), "");
    EXPECT_EQ(controller->discoverFirmwareVersion(), nullptr);
    EXPECT_EQ(controller->discoverSerialNumber(), nullptr);
}

TEST_F(ControllerRecord, TheManufacturerOfACardIsItsSubsystemVendor) {
    start(firstFamily);
    std::string manufacturer = "before";
    controller->discoverManufacturer(manufacturer);  // the board id 0001:8086
    EXPECT_EQ(manufacturer, "Intel Corporation");
}

TEST_F(ControllerRecord, WithoutASubsystemVendorTheManufacturerIsThatOfTheHardwareList) {
    start(firstFamily);
    auto& commands = host.part<FakeCommands>();
    commands.onCommand = [](const std::string&, int&) { return "0x1077\n"; };
    for (const unsigned int board : {0x00010000u, 0x0001FFFFu}) {
        const Held<TestController> unknown(new TestController(0x28268086, board, "0000:3b:00.0", 1, true));
        std::string manufacturer;
        unknown->discoverManufacturer(manufacturer);
        EXPECT_EQ(manufacturer, "QLogic Corp.") << board;
    }
    EXPECT_EQ(commands.texts().size(), 2u);
}

TEST_F(ControllerRecord, TheManufacturerOnBoardIsThatOfTheSystem) {
    start(firstFamily);
    std::string manufacturer;
    newController({}, "0000:00:17.0")->discoverManufacturer(manufacturer);
    EXPECT_EQ(manufacturer, "Maker of Racks");
}

TEST_F(ControllerRecord, WithoutAPlatformThereIsNoManufacturer) {
    std::string manufacturer = "before";
    controller->discoverManufacturer(manufacturer);
    EXPECT_EQ(manufacturer, "");
}

// --- discoverInventory ---

class RecordingController : public TestController {
public:
    using TestController::TestController;

    std::vector<std::string> steps;
    bool isLocked = true;  // at each step, against other threads

    vokMallocPtr<char> discoverFirmwareVersion() override {
        note("firmware");
        return nullptr;
    }
    vokMallocPtr<char> discoverSerialNumber() override {
        note("serial number");
        return nullptr;
    }
    void discoverManufacturer(std::string&) override { note("manufacturer"); }
    void discoverControllerPortStatus(vokStorageControllerPortInfo&) override { note("port"); }
    int getATADeviceNumberForControllerPort(unsigned int) override {
        note("ATA number");
        return -1;
    }
    void computeControllerStatus() override { note("status"); }

private:
    void note(const std::string& step) {
        steps.push_back(step);
        isLocked = isLocked && isLockedFor(*this);
    }
};

TEST_F(ControllerRecord, ItIsReadInItsOrderUnderTheLock) {
    const Held<RecordingController> recording(
        new RecordingController(0x28268086, 0x00018086, "0000:3b:00.0", 1, true));
    recording->portList = {"/sys/class/scsi_host/host0", "/sys/class/scsi_host/host1"};
    vokStorageControllerInfo info;
    recording->discoverInventory(info);
    EXPECT_EQ(recording->steps, (std::vector<std::string>{"firmware", "serial number", "manufacturer", "port",
                                                          "ATA number", "port", "ATA number", "status"}));
    EXPECT_TRUE(recording->isLocked);
}

TEST_F(ControllerRecord, TheRecordHasTheIdsTheProtocolAndThePlace) {
    start(firstFamily);
    addPort(0);
    const vokStorageControllerInfo info = discovered();
    EXPECT_EQ(info.getChipsetID(), 0x28268086u);
    EXPECT_EQ(info.getBoardID(), 0x00018086u);
    EXPECT_EQ(info.getProtocol(), "SAS/SATA");
    EXPECT_EQ(info.getPhysicalLocation(), slotLocation);
    EXPECT_EQ(info.getState(), VOK_STATE_RUNNING);
    EXPECT_EQ(info.getHealth(), VOK_HEALTH_OK);
    EXPECT_EQ(info.getEventInfoString(), "The storage controller port(s) are now online.");
    EXPECT_TRUE(logged("Gathering inventory for controller @ 0000:3b:00.0 [0x28268086, 0x18086] [0]."));
    EXPECT_TRUE(logged("pciloc=[0000:3b:00.0] phyloc=[0000000000000303] Description=[PCI 0000:3b:00.0]"));
}

// Required: the map of GeoIDs is keyed by addresses, so the look-up under the whole text finds nothing.
TEST_F(ControllerRecord, TheGeoIdIsLookedUpUnderTheWholeTextAsRequired) {
    start(firstFamily);
    addPort(0);
    EXPECT_EQ(vokUtils::getGeoIDStr("0000:3b:00.0"), "r001u05p2i03");
    EXPECT_EQ(discovered().getDescription(), "PCI 0000:3b:00.0");
}

TEST_F(ControllerRecord, AGeoIdUnderTheWholeTextIsPartOfTheDescription) {
    start(firstFamily);
    addPort(0);
    auto& geoIDs = const_cast<std::map<std::string, std::string>&>(vokUtils::getGeoIDMap());
    geoIDs["PCI 0000:3b:00.0"] = "r001u05p2i03";
    EXPECT_EQ(discovered().getDescription(), "PCI 0000:3b:00.0 r001u05p2i03");
    geoIDs["PCI 0000:3b:00.0"] = "";
    EXPECT_EQ(discovered().getDescription(), "PCI 0000:3b:00.0");
}

TEST_F(ControllerRecord, WithoutAPlatformTheLocationIsUnknown) {
    addPort(0);
    EXPECT_EQ(discovered().getPhysicalLocation(), "FFFFFFFFFFFFFFFF");
}

TEST_F(ControllerRecord, EachPortHasARecord) {
    addPort(3, 4);
    addPort(5);
    tree.setPortAttribute(5, "proc_name", "mpt3sas\n");
    tree.setPortState(5, "offline");
    const vokStorageControllerInfo info = discovered();
    ASSERT_EQ(info.getControllerPortListSize(), 2u);
    EXPECT_EQ(info.getControllerPort(0).getOSInstanceName(), "/sys/class/scsi_host/host3");
    EXPECT_EQ(info.getControllerPort(0).getDriverName(), "ahci");
    EXPECT_EQ(info.getControllerPort(0).getATADeviceNumber(), 4);
    EXPECT_EQ(info.getControllerPort(0).getState(), VOK_STATE_RUNNING);
    EXPECT_EQ(info.getControllerPort(1).getOSInstanceName(), "/sys/class/scsi_host/host5");
    EXPECT_EQ(info.getControllerPort(1).getDriverName(), "mpt3sas");
    EXPECT_EQ(info.getControllerPort(1).getATADeviceNumber(), -1);
    EXPECT_EQ(info.getControllerPort(1).getState(), VOK_STATE_OFFLINE);
    EXPECT_EQ(info.getState(), VOK_STATE_DEGRADED);
}

TEST_F(ControllerRecord, APortThatHasGoneHasNoRecordAnyMore) {
    addPort(3);
    addPort(5);
    discovered();
    controller->deletePort(0);
    const vokStorageControllerInfo info = discovered();
    ASSERT_EQ(info.getControllerPortListSize(), 1u);
    EXPECT_EQ(info.getControllerPort(0).getOSInstanceName(), "/sys/class/scsi_host/host5");
}

TEST_F(ControllerRecord, ThePreviousRecordOfAPortKeepsTheTimestamp) {
    addPort(3);
    addPort(5);
    discovered();
    auto port = controller->currentInfo.getControllerPort(1);
    port.setLastRecoveryTimestamp(1699999000);
    controller->currentInfo.setControllerPort(1, port);
    controller->portList = {"/sys/class/scsi_host/host5", "/sys/class/scsi_host/host3"};
    const vokStorageControllerInfo info = discovered();
    EXPECT_EQ(info.getControllerPort(0).getLastRecoveryTimestamp(), 1699999000);
    EXPECT_EQ(info.getControllerPort(1).getLastRecoveryTimestamp(), 0);
}

TEST_F(ControllerRecord, ANewPortInRecoveryHasTheTimestampOfItsDiscovery) {
    addPort(3);
    tree.setPortState(3, "recovery");
    clock.set(1700000123);
    EXPECT_EQ(discovered().getControllerPort(0).getLastRecoveryTimestamp(), 1700000123);
}

TEST_F(ControllerRecord, TheRecordIsTheCurrentAndThePreviousOne) {
    addPort(0);
    tree.setPortAttribute(0, "firmware_revision", "1.0\n");
    discovered();
    EXPECT_EQ(controller->currentInfo.getFirmwareVersion(), "1.0");
    EXPECT_EQ(controller->previousInfo.getFirmwareVersion(), "1.0");
    EXPECT_EQ(controller->previousInfo.getState(), VOK_STATE_RUNNING);
    EXPECT_EQ(controller->previousInfo.getControllerPortListSize(), 1u);
}

TEST_F(ControllerRecord, AChangedFirmwareVersionRequestsAPush) {
    addPort(0);
    discovered();
    EXPECT_EQ(countLogged(host, pushRequest), 0);  // none before, none now
    tree.setPortAttribute(0, "firmware_revision", "1.0\n");
    discovered();
    EXPECT_EQ(countLogged(host, pushRequest), 1);
    discovered();
    EXPECT_EQ(countLogged(host, pushRequest), 1);
    tree.setPortAttribute(0, "firmware_revision", "1.1\n");
    discovered();
    EXPECT_EQ(countLogged(host, pushRequest), 2);
}

TEST_F(ControllerRecord, AChangeOfStatusThatIsDiscoveredRaisesAnEventIfTheBaseRaisesThem) {
    start(firstFamily);
    letEventsPass();
    addPort(0);
    discovered();
    const std::map<std::uint32_t, std::vector<int>> expected = {{0, {}},    {1, {}}, {2, {}},    {3, {}},
                                                                {4, {398}}, {5, {}}, {6, {398}}, {7, {}}};
    for (const auto& [flags, ids] : expected) {
        SCOPED_TRACE(flags);
        controller->eventFlags = 0;
        tree.setPortState(0, "running");
        discovered();
        ipmi.clearRequests();
        controller->eventFlags = flags;
        tree.setPortState(0, "offline");
        discovered();
        EXPECT_EQ(eventIds(), ids);
    }
}

TEST_F(ControllerRecord, ARemovedControllerReturnsItsLastInventory) {
    addPort(0);
    discovered();
    controller->addReference();
    controller->processDeviceRemoval();
    tree.setPortAttribute(0, "firmware_revision", "9.9\n");
    const vokStorageControllerInfo info = discovered();
    EXPECT_EQ(info.getFirmwareVersion(), "");
    EXPECT_EQ(info.getProtocol(), "SAS/SATA");
    EXPECT_EQ(info.getState(), VOK_STATE_OFFLINE);
    EXPECT_TRUE(logged("0000:3b:00.0: Return last known inventory for removed controller."));
    EXPECT_TRUE(logged("Gathering inventory for controller @ 0000:3b:00.0 [0x28268086, 0x18086] [1]."));
}

TEST_F(ControllerRecord, BothLayoutsGiveTheSameRecord) {
    tree.layout = SysfsLayout::older;
    addPort(3, 4);
    const vokStorageControllerInfo info = discovered();
    ASSERT_EQ(info.getControllerPortListSize(), 1u);
    EXPECT_EQ(info.getControllerPort(0).getDriverName(), "ahci");
    EXPECT_EQ(info.getControllerPort(0).getATADeviceNumber(), 4);
    EXPECT_EQ(info.getControllerPort(0).getState(), VOK_STATE_RUNNING);
}

}  // namespace
}  // namespace vokStorageControllerRecordTest
