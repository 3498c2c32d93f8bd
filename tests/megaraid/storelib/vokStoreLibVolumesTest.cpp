#include <cstring>

#include "megaraid/storelib/StoreLibFixture.h"

namespace vokStoreLibVolumesTest {
namespace {

constexpr FakeStoreLibCommand listCommand = {1, 13};
constexpr FakeStoreLibCommand diskCommand = {2, 0};
constexpr FakeStoreLibCommand recordCommand = {3, 0};
constexpr FakeStoreLibCommand membersCommand = {3, 11};

class StoreLibVolumes : public StoreLibFixture {
protected:
    StoreLibVolumes() {
        addController(7);
        addDisk(4, "A");
        addDisk(5, "B");
        addDisk(6, "C");
    }
    LD_INFO cached() { return store->getLDInventoryForCtrl(7).at(0); }
};

TEST_F(StoreLibVolumes, AVolumeIsDescribedByItsRecordAndItsDisks) {
    FakeRaidVolume& volume = addVolume(2, {6, 4});
    volume.raidLevel = 1;
    volume.spanDepth = 2;
    volume.state = 1;
    volume.blocks = 4194304 + 2047;
    volume.id = std::string("\x00\x01\x0A\xFF\x60\x05\x07\x08", 8) + std::string(8, '\xB0');
    start();
    ASSERT_EQ(store->getLDInventoryForCtrl(7).size(), 1u);
    const LD_INFO info = cached();
    EXPECT_EQ(info.targetId, 2u);
    EXPECT_EQ(info.durableName, "00010aff60050708b0b0b0b0b0b0b0b0");
    EXPECT_EQ(info.raidLevel, "RAID10");
    EXPECT_EQ(info.capacityBytes, 2147483648u);
    EXPECT_EQ(info.name, "");
    EXPECT_EQ(info.state, "Partially degraded");
    EXPECT_EQ(info.health, 2u);
    EXPECT_EQ(info.physicalDiskSerials, (std::vector<std::string>{"C", "A"}));
    EXPECT_EQ(debug("Entering buildLDInfo"), 1);
    EXPECT_EQ(debug("# of Logical Drives : 1"), 1);
    EXPECT_TRUE(store->getLDInventoryForCtrl(8).empty());
}

TEST_F(StoreLibVolumes, SpannedRaid5HasNoLevel) {
    addVolume(0, {4}).spanDepth = 2;
    start();
    EXPECT_EQ(cached().raidLevel, "");
}

TEST_F(StoreLibVolumes, TheSecondaryLevel3IsNamed) {
    addVolume(0, {4}).secondaryLevel = 3;
    start();
    EXPECT_EQ(cached().raidLevel, "SRL 3");
}

TEST_F(StoreLibVolumes, EachVolumeTakesItsRecordItsMembersTwiceAndItsFirstDisk) {
    addVolume(2, {5, 4});
    addVolume(3, {6});
    ASSERT_TRUE(store->vokStoreInit());
    store->cacheBuild("CTRL_EVENT");
    store->cacheBuild("PD_EVENT");
    const int disks = library.count(diskCommand);
    store->cacheBuild("LD_EVENT");
    EXPECT_EQ(library.count(listCommand), 1);
    EXPECT_EQ(library.count(recordCommand), 2);
    EXPECT_EQ(library.count(membersCommand), 4);
    EXPECT_EQ(library.count(diskCommand), disks + 2);
    std::vector<int> targets;
    for (const _SL_LIB_CMD_PARAM_T& each : library.commands())
        if (each.commandType == 3) targets.push_back(each.targetId);
    EXPECT_EQ(targets, (std::vector<int>{2, 2, 2, 3, 3, 3}));
}

TEST_F(StoreLibVolumes, TheReferenceIsTheTargetIdAndItsLowByteGoesIntoTheCommands) {
    addVolume(2, {5});
    library.answer = [this](_SL_LIB_CMD_PARAM_T& command, std::uint32_t& status) {
        if (command.commandType != 3 || command.command != 0) return false;
        const std::lock_guard<std::mutex> lock(library.mutex());
        status = 0;
        const std::uint32_t reference = 0x00120302;
        std::memcpy(command.data, &reference, sizeof(reference));
        return true;
    };
    start();
    EXPECT_EQ(cached().targetId, 0x00120302u);
    EXPECT_EQ(cached().physicalDiskSerials, std::vector<std::string>{"B"});
}

TEST_F(StoreLibVolumes, ANumberIsReadInItsFullWidth) {
    addDisk(0x1205, "FAR").blockSize = 1;
    addVolume(0, {0x1205}).blocks = 0x8102030405060708;
    start();
    EXPECT_EQ(cached().capacityBytes, 0x8102030405000000u);
    EXPECT_EQ(cached().physicalDiskSerials, std::vector<std::string>{"FAR"});
}

TEST_F(StoreLibVolumes, TheBlockSizeIsThatOfTheFirstDisk) {
    addVolume(0, {5, 4}).blocks = 1048576;
    library.controllers[0].disks[1].blockSize = 4096;
    start();
    EXPECT_EQ(cached().capacityBytes, 4294967296u);
    EXPECT_EQ(store->GetUserDataBlockSizeOfPdInLD(0), 4096u);
}

TEST_F(StoreLibVolumes, TheBlockSizeIs512IfTheDiskReportsNoneOrCantBeReadOrThereIsNone) {
    addVolume(0, {5});
    addVolume(1, {99});
    addVolume(2, {});
    library.controllers[0].disks[1].blockSize = 0;
    start();
    for (const std::uint8_t target : std::initializer_list<std::uint8_t>{0, 1, 2})
        EXPECT_EQ(store->GetUserDataBlockSizeOfPdInLD(target), 512u) << int{target};
    EXPECT_EQ(store->getLDInventoryForCtrl(7).at(2).capacityBytes, 2147483648u);
}

TEST_F(StoreLibVolumes, TheBlockSizeIsDeliberatelyTheStatusIfTheDisksCantBeListed) {
    addVolume(0, {4}).blocks = 1048576;
    library.failures[membersCommand] = 0x8002;
    start();
    EXPECT_EQ(store->GetUserDataBlockSizeOfPdInLD(0), 0x8002u);
    EXPECT_EQ(cached().capacityBytes, 1048576u * std::uint64_t{0x8002});
    EXPECT_TRUE(cached().physicalDiskSerials.empty());
}

TEST_F(StoreLibVolumes, ACapacityIsAWholeNumberOfMebibytes) {
    addVolume(0, {4}).blocks = 1000;
    addVolume(1, {4}).blocks = 2047;
    addVolume(2, {4}).blocks = 2048;
    addVolume(3, {4}).blocks = 0x100000000000 + 1;
    start();
    const std::vector<LD_INFO> volumes = store->getLDInventoryForCtrl(7);
    ASSERT_EQ(volumes.size(), 4u);
    EXPECT_EQ(volumes[0].capacityBytes, 0u);
    EXPECT_EQ(volumes[1].capacityBytes, 0u);
    EXPECT_EQ(volumes[2].capacityBytes, 1048576u);
    EXPECT_EQ(volumes[3].capacityBytes, 0x20000000000000u);
}

TEST_F(StoreLibVolumes, AMemberThatIsNoDiskIsPassedOverAndTheFirstOfADeviceIdCounts) {
    addDisk(6, "LATER");
    addVolume(0, {99, 6, 5});
    start();
    EXPECT_EQ(cached().physicalDiskSerials, (std::vector<std::string>{"C", "B"}));
}

TEST_F(StoreLibVolumes, AnEventOfVolumesUsesTheDisksOfTheLastBuild) {
    addVolume(0, {4});
    start();
    library.controllers[0].disks[0].serial = "NEW";
    store->cacheBuild("LD_EVENT");
    EXPECT_EQ(cached().physicalDiskSerials, std::vector<std::string>{"A"});
    store->cacheBuild("All");
    EXPECT_EQ(cached().physicalDiskSerials, std::vector<std::string>{"NEW"});
}

TEST_F(StoreLibVolumes, AListThatCantBeReadAbandonsTheControllersThatFollow) {
    addVolume(0, {4});
    addController(8);
    addController(9);
    start();
    library.answer = [](_SL_LIB_CMD_PARAM_T& command, std::uint32_t& status) {
        status = 1;
        return command.commandType == 1 && command.command == 13 && command.controllerId == 8;
    };
    const int lists = library.count(listCommand);
    store->cacheBuild("LD_EVENT");
    EXPECT_EQ(library.count(listCommand), lists + 2);
    EXPECT_EQ(store->getLDInventoryForCtrl(7).size(), 1u);
    EXPECT_EQ(count("ERROR", "An Error occurred in gathering list of logical drives from storelib library"),
              1);
}

TEST_F(StoreLibVolumes, AVolumeThatCantBeReadLeavesItsControllerWithoutAList) {
    addVolume(0, {4});
    addVolume(0xAB, {5});
    addController(8);
    addVolume(1, {});
    start();
    library.answer = [](_SL_LIB_CMD_PARAM_T& command, std::uint32_t& status) {
        status = 0x8010;
        return command.commandType == 3 && command.command == 0 && command.targetId == 0xAB;
    };
    store->cacheBuild("LD_EVENT");
    EXPECT_TRUE(store->getLDInventoryForCtrl(7).empty());
    EXPECT_TRUE(store->getLDInventoryForCtrl(8).empty());
    EXPECT_EQ(count("WARNING",
                    "CtrlId [7]: FireLDInfo failed: (rval=[0x8010], targetId=[0xab], i=[1], LD count=[2])"),
              1);
}

TEST_F(StoreLibVolumes, NoCountLeavesItsBlock) {
    std::vector<std::uint16_t> members(256, 4);
    for (int i = 0; i < 256; ++i) addVolume(static_cast<std::uint8_t>(i), {});
    library.controllers[0].volumes[0].disks = members;
    ASSERT_TRUE(store->vokStoreInit());
    store->cacheBuild("CTRL_EVENT");
    store->cacheBuild("PD_EVENT");
    for (const std::uint32_t reported : {65535u, 65536u, 0xFFFFFFFFu}) {
        library.counts[listCommand] = reported;
        library.counts[membersCommand] = reported;
        store->cacheBuild("LD_EVENT");
        const std::vector<LD_INFO> volumes = store->getLDInventoryForCtrl(7);
        ASSERT_EQ(volumes.size(), 256u) << reported;
        EXPECT_EQ(volumes[0].physicalDiskSerials, std::vector<std::string>(256, "A")) << reported;
        EXPECT_TRUE(volumes[1].physicalDiskSerials.empty());
    }
}

TEST_F(StoreLibVolumes, ListsAreClampedToTheirRoom) {
    std::vector<std::uint16_t> members(257, 4);
    members.back() = 5;
    for (int i = 0; i <= 256; ++i) addVolume(static_cast<std::uint8_t>(i), {});
    for (FakeRaidVolume& each : library.controllers[0].volumes)
        if (each.target == 0) each.disks = members;
    start();
    const std::vector<LD_INFO> volumes = store->getLDInventoryForCtrl(7);
    ASSERT_EQ(volumes.size(), 256u);
    EXPECT_EQ(volumes[0].physicalDiskSerials, std::vector<std::string>(256, "A"));
    EXPECT_EQ(
        count("WARNING",
              "The list of logical drives reports 257 entries; only the 256 that it has room for are read."),
        1);
    EXPECT_EQ(count("WARNING",
                    "The list of a logical drive's disks reports 257 entries; only the 256 that it has room "
                    "for are read."),
              2);
}

}  // namespace
}  // namespace vokStoreLibVolumesTest
