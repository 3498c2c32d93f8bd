#include "megaraid/storelib/StoreLibFixture.h"

namespace vokStoreLibDisksTest {
namespace {

using StoreLibDisks = StoreLibFixture;

constexpr FakeStoreLibCommand listCommand = {1, 4};
constexpr FakeStoreLibCommand recordCommand = {2, 0};

TEST_F(StoreLibDisks, ADiskIsDescribedByItsRecord) {
    addController(7);
    FakeRaidDisk& disk = addDisk(4, "S4 0\tA1");
    disk.enclosure = 252;
    disk.slot = 3;
    disk.vendor = "SEAGATE";
    disk.product = "ST 1000 NM 0001";
    disk.revision = "N0 1";
    disk.state = 17;
    disk.interfaceType = 2;
    disk.blocks = 0x100000001;
    disk.blockSize = 4096;
    start();
    const std::vector<PD_INFO> disks = store->getPDInventoryForCtrl(7);
    ASSERT_EQ(disks.size(), 1u);
    EXPECT_EQ(disks[0].serialNumber, "S40A1");
    EXPECT_EQ(disks[0].modelName, "ST1000NM0001");
    EXPECT_EQ(disks[0].capacityBytes, 0x100000001000u);
    EXPECT_EQ(disks[0].interfaceType, "SAS");
    EXPECT_EQ(disks[0].mediaType, "HDD");
    EXPECT_EQ(disks[0].firmwareRevision, "N0 1");
    EXPECT_EQ(disks[0].slotNumber, 3u);
    EXPECT_EQ(disks[0].enclosureDeviceId, 252u);
    EXPECT_EQ(disks[0].firmwareState, "Failed");
    EXPECT_EQ(disks[0].health, 4u);
    EXPECT_EQ(disks[0].deviceId, 4u);
    EXPECT_EQ(disks[0].vendorName, "SEAGATE");
    EXPECT_EQ(disks[0].vendorRetryCount, 0);
    EXPECT_EQ(disks[0].serialRetryCount, 0);
    EXPECT_EQ(debug("Number of PD found 1"), 1);
    EXPECT_TRUE(store->getPDInventoryForCtrl(8).empty());
}

TEST_F(StoreLibDisks, ATextMayFillItsField) {
    addController(7);
    FakeRaidDisk& disk = addDisk(4, std::string(31, 'S') + "E");
    disk.product = std::string(15, 'P') + "E";
    disk.vendor = std::string(7, 'V') + "E";
    disk.revision = "RRRE";
    start();
    const PD_INFO info = store->getPDInventoryForCtrl(7).at(0);
    EXPECT_EQ(info.serialNumber, std::string(31, 'S') + "E");
    EXPECT_EQ(info.modelName, std::string(15, 'P') + "E");
    EXPECT_EQ(info.vendorName, std::string(7, 'V') + "E");
    EXPECT_EQ(info.firmwareRevision, "RRRE");
}

TEST_F(StoreLibDisks, ANumberIsReadInItsFullWidth) {
    addController(7);
    FakeRaidDisk& disk = addDisk(0x1234, "S");
    disk.enclosure = 0x5678;
    disk.slot = 0xFE;
    disk.state = 0x0118;  // 24 in its low byte
    disk.blocks = 0x8102030405060708;
    disk.blockSize = 1;
    start();
    const PD_INFO info = store->getPDInventoryForCtrl(7).at(0);
    EXPECT_EQ(info.deviceId, 0x1234u);
    EXPECT_EQ(info.enclosureDeviceId, 0x5678u);
    EXPECT_EQ(info.slotNumber, 0xFEu);
    EXPECT_EQ(info.firmwareState, "Unknown");
    EXPECT_EQ(info.capacityBytes, 0x8102030405060708u);
}

TEST_F(StoreLibDisks, OnlyTheMediaType0IsRotating) {
    addController(7);
    for (const std::uint8_t media : std::initializer_list<std::uint8_t>{0, 1, 255})
        addDisk(media, "S").media = media;
    start();
    const std::vector<PD_INFO> disks = store->getPDInventoryForCtrl(7);
    ASSERT_EQ(disks.size(), 3u);
    EXPECT_EQ(disks[0].mediaType, "HDD");
    EXPECT_EQ(disks[1].mediaType, "SSD");
    EXPECT_EQ(disks[2].mediaType, "SSD");
}

TEST_F(StoreLibDisks, TheInterfaceIsNamedByTheHighNibble) {
    addController(7);
    for (std::uint8_t type = 0; type < 16; ++type) addDisk(type, "S").interfaceType = type;
    library.answer = nullptr;
    start();
    const std::vector<PD_INFO> disks = store->getPDInventoryForCtrl(7);
    ASSERT_EQ(disks.size(), 16u);
    const std::vector<std::string> names = {"Unknown", "Parallel SCSI", "SAS", "SATA", "FC", "NVMe"};
    for (std::size_t type = 0; type < 16; ++type)
        EXPECT_EQ(disks[type].interfaceType, type < 6 ? names[type] : "Unknown") << type;
}

TEST_F(StoreLibDisks, ABlockSizeOf0IsACapacityOf0) {
    addController(7);
    addDisk(4, "S").blockSize = 0;
    start();
    EXPECT_EQ(store->getPDInventoryForCtrl(7).at(0).capacityBytes, 0u);
}

TEST_F(StoreLibDisks, OnlyDirectAccessDevicesAreDisks) {
    addController(7);
    addDisk(1, "A").scsiType = 13;
    addDisk(2, "B");
    addDisk(3, "C").scsiType = 1;
    start();
    const std::vector<PD_INFO> disks = store->getPDInventoryForCtrl(7);
    ASSERT_EQ(disks.size(), 1u);
    EXPECT_EQ(disks[0].serialNumber, "B");
    EXPECT_EQ(debug("Number of PD found 3"), 1);
}

TEST_F(StoreLibDisks, ADiskWhoseRecordCantBeReadIsSkipped) {
    addController(7);
    addDisk(1, "A");
    addDisk(2, "B");
    library.answer = [](_SL_LIB_CMD_PARAM_T& command, std::uint32_t& status) {
        status = 1;
        return command.commandType == 2 && command.deviceId == 1;
    };
    start();
    const std::vector<PD_INFO> disks = store->getPDInventoryForCtrl(7);
    ASSERT_EQ(disks.size(), 1u);
    EXPECT_EQ(disks[0].deviceId, 2u);
}

TEST_F(StoreLibDisks, AListThatCantBeReadYieldsNoDisksAndTheNextControllerGoesOn) {
    for (const std::uint32_t status : {0x800Au, 0x8002u}) {
        library.controllers.clear();
        addController(7);
        addDisk(1, "A");
        addController(8);
        addDisk(2, "B");
        library.answer = nullptr;
        ASSERT_TRUE(store->vokStoreInit());
        store->cacheBuild("All");
        library.answer = [status](_SL_LIB_CMD_PARAM_T& command, std::uint32_t& told) {
            told = status;
            return command.commandType == 1 && command.command == 4 && command.controllerId == 7;
        };
        store->cacheBuild("PD_EVENT");
        EXPECT_TRUE(store->getPDInventoryForCtrl(7).empty());
        EXPECT_EQ(store->getPDInventoryForCtrl(8).size(), 1u);
    }
    EXPECT_EQ(debug("Unable to fetch PD list: Invalid Controller ID"), 1);
    EXPECT_EQ(debug("Unable to fetch PD list"), 1);
    EXPECT_EQ(debug("Number of PD found 0"), 2);
}

TEST_F(StoreLibDisks, AListIsClampedToItsRoom) {
    addController(7);
    for (std::uint16_t id = 1; id <= 257; ++id) addDisk(id, "S" + std::to_string(id));
    start();
    const std::vector<PD_INFO> disks = store->getPDInventoryForCtrl(7);
    ASSERT_EQ(disks.size(), 256u);
    EXPECT_EQ(disks.back().deviceId, 256u);
    EXPECT_EQ(library.count(listCommand), 1);
    EXPECT_EQ(library.count(recordCommand), 256);
    EXPECT_EQ(
        count("WARNING",
              "The list of physical disks reports 257 entries; only the 256 that it has room for are read."),
        1);
}

TEST_F(StoreLibDisks, NoCountLeavesTheBlock) {
    addController(7);
    addDisk(4, "S");
    ASSERT_TRUE(store->vokStoreInit());
    store->cacheBuild("CTRL_EVENT");
    for (const std::uint32_t reported : {65535u, 65536u, 0xFFFFFFFFu}) {
        library.counts[listCommand] = reported;
        const int records = library.count(recordCommand);
        store->cacheBuild("PD_EVENT");
        EXPECT_EQ(library.count(recordCommand), records + 256) << reported;
        EXPECT_EQ(store->getPDInventoryForCtrl(7).size(), 1u);
    }
}

TEST_F(StoreLibDisks, ATextEndsWithItsFirstNulAndLosesAllWhiteSpace) {
    addController(7);
    FakeRaidDisk& disk = addDisk(4, std::string(" A\t\n\v\f\rB\0C", 10));
    disk.product = std::string(" M 1\0X", 6);
    disk.vendor = std::string("\0V", 2);
    disk.revision = std::string("1 \0X", 4);
    start();
    const PD_INFO info = store->getPDInventoryForCtrl(7).at(0);
    EXPECT_EQ(info.serialNumber, "AB");
    EXPECT_EQ(info.modelName, "M1");
    EXPECT_EQ(info.firmwareRevision, "1 ");
    EXPECT_EQ(info.vendorName, "");
    EXPECT_EQ(debug("Could not retrieve Vendor information for Physical Drive[SerialNumber : AB]in slot : 4"),
              1);
}

}  // namespace
}  // namespace vokStoreLibDisksTest
