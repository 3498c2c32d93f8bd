#include <cstring>

#include "megaraid/storelib/StoreLibFixture.h"

namespace vokStoreLibControllersTest {
namespace {

using StoreLibControllers = StoreLibFixture;

constexpr FakeStoreLibCommand listCommand = {0, 3};
constexpr FakeStoreLibCommand recordCommand = {1, 0};
constexpr FakeStoreLibCommand locationCommand = {1, 11};
constexpr FakeStoreLibCommand firmwareCommand = {6, 3};

TEST_F(StoreLibControllers, AControllerIsDescribedByItsRecords) {
    FakeRaidController& controller = addController(7);
    controller.serial = "SV12345678";
    controller.firmware = "24.21.0-0148";
    controller.chipset = 0x005D1000;
    controller.board = 0x93631000;
    controller.domain = 0x10;
    controller.bus = 0x5e;
    controller.device = 0x1f;
    controller.function = 7;
    start();
    const CTRL_INFO info = store->getControllerInventory(7);
    EXPECT_EQ(info.firmwareVersion, "24.21.0-0148");
    EXPECT_EQ(info.controllerId, 7u);
    EXPECT_EQ(info.serialNumber, "SV12345678");
    EXPECT_EQ(info.subsystemId, 0x93631000u);
    EXPECT_EQ(info.chipsetId, 0x005D1000u);
    EXPECT_EQ(info.protocols, "SAS/SATA");
    EXPECT_EQ(info.pciLocation, "0010:5e:1f.7");
    EXPECT_EQ(store->getControllerID("0010:5e:1f.7"), 7u);
    EXPECT_EQ(debug("Total controllers found: 1"), 1);
}

TEST_F(StoreLibControllers, ADomainAndABusMayBeWideAndFillUpWithZeros) {
    FakeRaidController& controller = addController(7);
    controller.domain = 0x10234567;
    controller.bus = 0x89ABCDEF;
    addController(8).bus = 1;
    start();
    EXPECT_EQ(store->getControllerInventory(7).pciLocation, "10234567:89abcdef:00.0");
    EXPECT_EQ(store->getControllerInventory(8).pciLocation, "0000:01:00.0");
}

TEST_F(StoreLibControllers, AnUnknownControllerIsAnEmptyEntryWithTheIdMinus1) {
    addController(7);
    start();
    const CTRL_INFO info = store->getControllerInventory(8);
    EXPECT_EQ(info.controllerId, 0xFFFFFFFFu);
    EXPECT_EQ(info.firmwareVersion + info.serialNumber + info.protocols + info.pciLocation, "");
    EXPECT_EQ(info.subsystemId, 0u);
    EXPECT_EQ(info.chipsetId, 0u);
    EXPECT_EQ(store->getControllerID("0000:5e:00"), 0xFFFFFFFFu);
    EXPECT_EQ(store->getControllerID("0000:5E:00.0"), 0xFFFFFFFFu);
}

TEST_F(StoreLibControllers, ThreeCommandsReadTheSerialNumberAndTheRecordAndOneTheLocation) {
    addController(7);
    start();
    EXPECT_EQ(library.count(listCommand), 1);
    EXPECT_EQ(library.count(firmwareCommand), 2);
    EXPECT_EQ(library.count(recordCommand), 1);
    EXPECT_EQ(library.count(locationCommand), 1);
    const std::vector<std::string> frames = library.passedThrough();
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].substr(0, 16), std::string("\x29\0\0\0\x00\x03\x16\x01\0\0\0\0\x02\0\0\0", 16));
    EXPECT_EQ(frames[1].substr(0, 16), std::string("\x20\0\0\0\x01\x03\x0E\x01\0\0\0\0\x02\0\0\0", 16));
    for (const std::string& frame : frames) EXPECT_EQ(frame.substr(16, 12), std::string(12, '\0'));
    for (const _SL_LIB_CMD_PARAM_T& each : library.commands())
        EXPECT_EQ(each.controllerId, each.commandType == 0 ? 0u : 7u);
}

TEST_F(StoreLibControllers, AControllerWhoseRecordCantBeReadIsListedWithoutIds) {
    addController(7);
    library.failures[recordCommand] = 1;
    start();
    const std::vector<CTRL_INFO> all = store->getControllerCollection();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].controllerId, 7u);
    EXPECT_EQ(all[0].serialNumber, "SV00000001");
    EXPECT_EQ(all[0].protocols, "SAS/SATA");
    EXPECT_EQ(all[0].firmwareVersion, "");
    EXPECT_EQ(all[0].chipsetId, 0u);
    EXPECT_EQ(all[0].subsystemId, 0u);
    EXPECT_EQ(all[0].pciLocation, "");
    EXPECT_EQ(library.count(locationCommand), 0);
}

TEST_F(StoreLibControllers, AnotherChipsetIsSkippedWithItsExactText) {
    addController(7).chipset = 0x005D1001;
    addController(8).chipset = 0x005E1000;
    addController(9).chipset = 0x10E21000;
    start();
    const std::vector<CTRL_INFO> all = store->getControllerCollection();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].controllerId, 9u);
    const std::string text = "Skipping the controller as chipset is not recognized. (vendorID= \t\t\t\t   ";
    EXPECT_EQ(count("INFO", text + "0x1001, chipsetID= 0x005D1001"), 1);
    EXPECT_EQ(count("INFO", text + "0x1000, chipsetID= 0x005E1000"), 1);
    EXPECT_EQ(debug("Total controllers found: 3"), 1);
    EXPECT_EQ(library.count(locationCommand), 1);
}

TEST_F(StoreLibControllers, TheProtocolsIncludeNVMeForOneChipsetAndTwoBoards) {
    struct Row {
        std::uint32_t chipset;
        std::uint32_t board;
        const char* protocols;
    };
    const Row rows[] = {
        {0x10E21000, 0x40001000, "SAS/SATA/NVMe"}, {0x10E21000, 0x40101000, "SAS/SATA/NVMe"},
        {0x10E21000, 0x40201000, "SAS/SATA"},      {0x10E21000, 0x40001001, "SAS/SATA"},
        {0x005D1000, 0x40001000, "SAS/SATA"},
    };
    std::uint32_t id = 0;
    for (const Row& row : rows) {
        FakeRaidController& controller = addController(++id);
        controller.chipset = row.chipset;
        controller.board = row.board;
    }
    start();
    id = 0;
    for (const Row& row : rows) EXPECT_EQ(store->getControllerInventory(++id).protocols, row.protocols) << id;
}

TEST_F(StoreLibControllers, BothReadsOfTheSerialNumberMustSucceed) {
    addController(7);
    for (const std::uint32_t failing : {0x01160300u, 0x010E0301u}) {
        library.answer = [failing](_SL_LIB_CMD_PARAM_T& command, std::uint32_t& status) {
            if (command.commandType != 6) return false;
            const vokRecordReader frame(command.data, 32);
            status = 0x8002;
            return frame.number({4, 4}) == failing;
        };
        ASSERT_TRUE(store->vokStoreInit());
        store->cacheBuild("CTRL_EVENT");
        ASSERT_EQ(store->getControllerCollection().size(), 1u);
        EXPECT_EQ(store->getControllerInventory(7).serialNumber, "") << failing;
    }
    EXPECT_EQ(library.count(firmwareCommand), 1 + 2);
}

TEST_F(StoreLibControllers, ASerialNumberWithoutItsNulEndsWithItsRecord) {
    addController(7).serial = std::string(200, 'S');
    start();
    EXPECT_EQ(store->getControllerInventory(7).serialNumber, std::string(30, 'S'));
}

TEST_F(StoreLibControllers, AFirmwareVersionWithoutItsNulEndsWithItsRecord) {
    addController(7).firmware = std::string(2000, 'F');
    start();
    EXPECT_EQ(store->getControllerInventory(7).firmwareVersion, std::string(864, 'F'));
}

TEST_F(StoreLibControllers, WithoutALocationTheRestIsKept) {
    addController(7);
    library.failures[locationCommand] = 1;
    start();
    EXPECT_EQ(store->getControllerInventory(7).pciLocation, "");
    EXPECT_EQ(store->getControllerInventory(7).firmwareVersion, "24.21.0-0148");
}

TEST_F(StoreLibControllers, AControllerOfAnotherFamilyHasItsIdWithoutTheFamilyAndNoSerialNumber) {
    addController(7);
    addController(0x01000008);
    start();
    const CTRL_INFO info = store->getControllerInventory(8);
    EXPECT_EQ(info.controllerId, 8u);
    EXPECT_EQ(info.serialNumber, "");
    EXPECT_EQ(info.firmwareVersion, "24.21.0-0148");
    EXPECT_EQ(library.count(firmwareCommand), 2);
    EXPECT_EQ(library.commands().back().controllerId, 0x01000008u);
}

TEST_F(StoreLibControllers, IfTheFirstControllerIsOfAnotherFamilyNoEntryPointIsSelected) {
    addController(0x01000008);
    addController(7);
    start();
    EXPECT_EQ(library.calls(), 1);
    EXPECT_TRUE(store->getControllerCollection().empty());
}

TEST_F(StoreLibControllers, AFailedListEmptiesTheCachesAndKeepsTheListOfIds) {
    addController(7);
    addDisk(4, "A");
    addVolume(0, {4});
    start();
    library.failures[listCommand] = 0x8002;
    store->cacheBuild("All");
    EXPECT_EQ(debug("Total controllers found: 0"), 1);
    EXPECT_TRUE(store->getControllerCollection().empty());
    EXPECT_TRUE(store->getPDInventoryForCtrl(7).empty());
    EXPECT_TRUE(store->getLDInventoryForCtrl(7).empty());
    EXPECT_EQ(store->controllerList(), std::vector<std::uint32_t>{7});
}

TEST_F(StoreLibControllers, TheNewestListGivesTheIdsOfTheCommands) {
    addController(7);
    start();
    library.controllers.clear();
    addController(9);
    addController(10);
    store->cacheBuild("CTRL_EVENT");
    EXPECT_EQ(store->controllerList(), (std::vector<std::uint32_t>{9, 10}));
    EXPECT_EQ(library.commands().back().controllerId, 10u);
    const std::vector<CTRL_INFO> all = store->getControllerCollection();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].controllerId, 9u);
    EXPECT_EQ(all[1].controllerId, 10u);
}

TEST_F(StoreLibControllers, TheIdIsTheLow24BitsOfTheEntryAndCommandsTakeTheWholeEntry) {
    addController(0x00ABCDEF);
    start();
    EXPECT_EQ(store->getControllerInventory(0x00ABCDEF).controllerId, 0x00ABCDEFu);
    EXPECT_EQ(library.commands().back().controllerId, 0x00ABCDEFu);
}

TEST_F(StoreLibControllers, NoCountLeavesTheNewList) {
    addController(1);
    start();
    for (const std::uint32_t reported : {65535u, 256u}) {
        library.counts[listCommand] = reported;
        store->cacheBuild("CTRL_EVENT");
        EXPECT_EQ(store->controllerList().size(), 64u) << reported;
        EXPECT_EQ(store->getControllerInventory(1).serialNumber, "SV00000001") << reported;
    }
    EXPECT_EQ(debug("Total controllers found: 64"), 2);
}

TEST_F(StoreLibControllers, ANewListIsClampedToItsRoom) {
    addController(1);
    start();
    for (std::uint32_t id = 2; id <= 65; ++id) addController(id);
    store->cacheBuild("CTRL_EVENT");
    EXPECT_EQ(store->controllerList().size(), 64u);
    EXPECT_EQ(store->getControllerCollection().size(), 64u);
}

}  // namespace
}  // namespace vokStoreLibControllersTest
