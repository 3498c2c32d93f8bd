#include "platform/firmware/smbios_vmw.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/firmware/vokSmBiosRecords.h"
#include "support/FakeFiles.h"
#include "support/FakeHost.h"
#include "support/SmBiosTable.h"

namespace smbios_vmwTest {
namespace {

FakeHost hostWith(const std::string& deviceContents) {
    FakeHost host;
    host.root.writeFile(SmBiosTable::deviceFile, deviceContents);
    return host;
}

template <typename Record>
std::vector<Record> fetched() {
    vokSmBiosRecords<Record> records;
    records.fetch();
    return std::vector<Record>(records.begin(), records.end());
}

template <typename Record>
std::vector<Record> recordsIn(const std::string& deviceContents) {
    hostWith(deviceContents);
    EXPECT_EQ(SmBiosInit(), 0);
    return fetched<Record>();
}

std::vector<std::string> slotDesignations() {
    std::vector<std::string> texts;
    for (const DmiSystemSlot& slot : fetched<DmiSystemSlot>()) texts.emplace_back(slot.designation);
    return texts;
}

using Texts = std::vector<std::string>;

SmBiosTable oneSlot() {
    SmBiosTable table;
    table.addSlot("Slot 1", "0000:3b:00.0");
    return table;
}

std::size_t openDescriptors() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
    return count;
}

}  // namespace

// --- opening ---

TEST(SmBiosInit, OpensTheDeviceFileForReadingWithSynchronousTransfersAndClosesIt) {
    const FakeHost host;
    host.root.writeFile("/vmfs/devices/char/mem/smbios", oneSlot().contents());
    const std::size_t before = openDescriptors();
    EXPECT_EQ(SmBiosInit(), 0);
    const auto opened = host.part<FakeFiles>().openedNodes();
    ASSERT_EQ(opened.size(), 1U);
    EXPECT_EQ(opened[0].path, "/vmfs/devices/char/mem/smbios");
    EXPECT_EQ(opened[0].flags, O_RDONLY | O_SYNC);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(SmBiosInit, FailsWithTheErrorOfTheOpen) {
    const FakeHost host;
    errno = 0;
    EXPECT_EQ(SmBiosInit(), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST(SmBiosInit, FailsWithTheErrorOfTheRead) {
    const FakeHost host;
    std::filesystem::create_directories(host.path(SmBiosTable::deviceFile));
    const std::size_t before = openDescriptors();
    EXPECT_EQ(SmBiosInit(), -1);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(SmBiosInit, FailsWithoutAnEntryPointAndReportsThatThereIsNoData) {
    for (const std::string& contents : {std::string(), std::string("_SM"), std::string(65536, '\0')}) {
        hostWith(contents);
        EXPECT_EQ(SmBiosInit(), -1);
        EXPECT_EQ(errno, ENODATA);
        void* records = nullptr;
        EXPECT_EQ(getSmbiosRecordsByType(9, &records), -1);
    }
}

TEST(SmBiosInit, FailsWithOnlyTheSixtyFourBitEntryPoint) {
    std::string contents(24, '\0');
    contents.replace(0, 5, "_SM3_");
    contents[6] = 24;
    contents[16] = 24;
    hostWith(contents + oneSlot().contents().substr(31));
    EXPECT_EQ(SmBiosInit(), -1);
}

TEST(SmBiosInit, FindsTheEntryPointAfterOtherBytes) {
    hostWith(std::string(0x1A4, 'x') + oneSlot().contents());
    EXPECT_EQ(SmBiosInit(), 0);
    EXPECT_EQ(slotDesignations(), Texts{"Slot 1"});
}

TEST(SmBiosInit, LooksForTheEntryPointInStepsOfFourBytesOnly) {
    for (const std::size_t before : {1, 2, 3, 5}) {
        hostWith(std::string(before, '\0') + oneSlot().contents());
        EXPECT_EQ(SmBiosInit(), -1) << before;
    }
}

TEST(SmBiosInit, UsesTheFirstOfTwoEntryPoints) {
    SmBiosTable second;
    second.addSlot("Slot of the second", "0000:01:00.0");
    std::string first = oneSlot().contents();
    first.resize((first.size() + 3) / 4 * 4);
    hostWith(first + second.contents());
    EXPECT_EQ(SmBiosInit(), 0);
    EXPECT_EQ(slotDesignations(), Texts{"Slot 1"});
}

TEST(SmBiosInit, TheTableFollowsTheEntryPointAndTheAddressInItIsIgnored) {
    std::string contents = oneSlot().contents();
    contents.replace(0x18, 4, "\x00\x60\x2F\x7A", 4);
    hostWith(contents);
    EXPECT_EQ(SmBiosInit(), 0);
    EXPECT_EQ(slotDesignations(), Texts{"Slot 1"});
}

TEST(SmBiosInit, TheEntryPointHoldsItsOwnLength) {
    std::string contents = oneSlot().contents();
    contents[5] = 40;
    contents.insert(31, std::string(9, '\x7F'));
    hostWith(contents);
    EXPECT_EQ(SmBiosInit(), 0);
    EXPECT_EQ(slotDesignations(), Texts{"Slot 1"});
}

TEST(SmBiosInit, ReadsOnlyTheFirst65536Bytes) {
    SmBiosTable table;
    table.addRaw(std::string("\x55\x04\x00\x00", 4) + std::string(65536 - 31 - 4 - 2 - 17, 'x') +
                 std::string(2, '\0'));
    table.addSlot("Slot after the end", "0000:3b:00.0");
    ASSERT_EQ(table.contents(65535).size(), 65536 + std::string("Slot after the end").size() + 2);
    hostWith(table.contents(65535));
    EXPECT_EQ(SmBiosInit(), 0);
    EXPECT_EQ(slotDesignations(), Texts{"Undefined"});
}

TEST(SmBiosInit, ASecondCallKeepsTheTable) {
    const auto host = hostWith(oneSlot().contents());
    EXPECT_EQ(SmBiosInit(), 0);
    std::filesystem::remove(host.path(SmBiosTable::deviceFile));
    EXPECT_EQ(SmBiosInit(), 0);
    EXPECT_EQ(slotDesignations(), Texts{"Slot 1"});
}

TEST(SmBiosDeinit, MayBeFollowedByAnotherInit) {
    const auto host = hostWith(oneSlot().contents());
    EXPECT_EQ(SmBiosInit(), 0);
    SmBiosDeinit();
    EXPECT_TRUE(slotDesignations().empty());
    SmBiosTable other;
    other.addSlot("Slot 2", "0000:3c:00.0");
    host.root.writeFile(SmBiosTable::deviceFile, other.contents());
    EXPECT_EQ(SmBiosInit(), 0);
    EXPECT_EQ(slotDesignations(), Texts{"Slot 2"});
    SmBiosDeinit();
    SmBiosDeinit();
    EXPECT_TRUE(slotDesignations().empty());
}

// --- fetching ---

TEST(SmBiosRecords, OfATableThatIsNotHeldAreMissingAndTheOutputsAreCleared) {
    const FakeHost host;
    int something = 0;
    void* records = &something;
    std::size_t count = 7;
    EXPECT_EQ(getSmbiosRecordsByType(9, &records, &count), -1);
    EXPECT_EQ(records, nullptr);
    EXPECT_EQ(count, 0u);
}

TEST(SmBiosRecords, WithoutAStructureOfTheTypeAreAFailure) {
    hostWith(oneSlot().contents());
    ASSERT_EQ(SmBiosInit(), 0);
    int something = 0;
    void* records = &something;
    std::size_t count = 7;
    EXPECT_EQ(getSmbiosRecordsByType(41, &records, &count), -1);
    EXPECT_EQ(records, nullptr);
    EXPECT_EQ(count, 0u);
}

TEST(SmBiosRecords, OfATypeOtherThanTheThreeAreAFailureEvenIfThereAreSome) {
    SmBiosTable table = oneSlot();
    table.add(SmBiosStructure(17, 40)).addEnd();
    hostWith(table.contents());
    ASSERT_EQ(SmBiosInit(), 0);
    for (const int type : {0, 17, 127, 255}) {
        void* records = nullptr;
        EXPECT_EQ(getSmbiosRecordsByType(static_cast<unsigned char>(type), &records), -1) << type;
        EXPECT_EQ(records, nullptr);
    }
}

TEST(SmBiosRecords, AreInTableOrderAndTheCountMayBeNull) {
    SmBiosTable table;
    table.addSlot("b", "0000:01:00.0").addOnboardDevice("x", "0000:02:00.0").addSlot("a", "0000:03:00.0");
    hostWith(table.contents());
    ASSERT_EQ(SmBiosInit(), 0);
    void* records = nullptr;
    ASSERT_EQ(getSmbiosRecordsByType(9, &records), 0);
    const auto* const slots = static_cast<DmiSystemSlot*>(records);
    EXPECT_STREQ(slots[0].designation, "b");
    EXPECT_STREQ(slots[1].designation, "a");
    std::free(records);
}

TEST(SmBiosRecords, AfterTheEndOfTableMarkerCountToo) {
    SmBiosTable table = oneSlot();
    table.addEnd().addSlot("Slot after the marker", "0000:3c:00.0");
    hostWith(table.contents());
    ASSERT_EQ(SmBiosInit(), 0);
    EXPECT_EQ(slotDesignations(), (Texts{"Slot 1", "Slot after the marker"}));
}

TEST(SmBiosRecords, EndAtTheTableLengthInTheEntryPoint) {
    SmBiosTable table = oneSlot();
    const std::size_t first = table.size();
    table.addSlot("Slot 2", "0000:3c:00.0");
    hostWith(table.contents(first));
    ASSERT_EQ(SmBiosInit(), 0);
    EXPECT_EQ(slotDesignations(), Texts{"Slot 1"});
}

TEST(SmBiosRecords, AreFoundAfterKilobytesOfZeros) {
    SmBiosTable table = oneSlot();
    table.addEnd()
        .addRaw(std::string(20000, '\0'))
        .addSlot("Slot 2", "0000:3c:00.0")
        .addRaw(std::string(9000, '\0'));
    hostWith(table.contents());
    ASSERT_EQ(SmBiosInit(), 0);
    EXPECT_EQ(slotDesignations(), (Texts{"Slot 1", "Slot 2"}));
}

TEST(SmBiosRecords, MayFollowAFirstStructureOfAnyType) {
    SmBiosTable table;
    table.add(SmBiosStructure(219, 106).text(4, "vendor")).addSlot("Slot 1", "0000:3b:00.0");
    hostWith(table.contents());
    ASSERT_EQ(SmBiosInit(), 0);
    EXPECT_EQ(slotDesignations(), Texts{"Slot 1"});
}

TEST(SmBiosRecords, AreReadByManyThreadsAtOnceEvenWhileTheTableIsReleased) {
    SmBiosTable table;
    for (int i = 0; i < 50; ++i) table.addSlot("Sl\x01t", "0000:3b:00.0");
    hostWith(table.contents());
    ASSERT_EQ(SmBiosInit(), 0);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int round = 0; round < 20; ++round) {
                const std::vector<DmiSystemSlot> slots = fetched<DmiSystemSlot>();
                EXPECT_TRUE(slots.empty() ||
                            (slots.size() == 50 && std::string(slots[49].designation) == "Sl.t"));
            }
        });
    SmBiosDeinit();
    EXPECT_EQ(SmBiosInit(), 0);
    for (std::thread& thread : threads) thread.join();
}

// --- type 9 ---

TEST(SystemSlot, HasEachFieldFromItsBytes) {
    const std::string bytes(
        "\x09\x11\x34\x12\x02\xB6\x0D\x04\x05\x78\x56\x0C\x01\xBC\x9A\x3B\xE9one\0PCIe 2\0\0", 17 + 12);
    SmBiosTable table;
    const auto slots = recordsIn<DmiSystemSlot>(table.addRaw(bytes).contents());
    ASSERT_EQ(slots.size(), 1u);
    const DmiSystemSlot& slot = slots[0];
    EXPECT_EQ(slot.type, 9);
    EXPECT_EQ(slot.length, 17);
    EXPECT_EQ(slot.handle, 0x1234);
    EXPECT_STREQ(slot.designation, "PCIe 2");
    EXPECT_EQ(slot.slotType, 0xB6);
    EXPECT_EQ(slot.busDataWidth, 0x0D);
    EXPECT_EQ(slot.currentUsage, 4);
    EXPECT_EQ(slot.slotLength, 5);
    EXPECT_EQ(slot.id, 0x5678);
    EXPECT_EQ(slot.characteristics1, 0x0C);
    EXPECT_EQ(slot.characteristics2, 1);
    EXPECT_EQ(slot.segmentGroupNum, 0x9ABC);
    EXPECT_EQ(slot.busNum, 0x3B);
    EXPECT_EQ(slot.devFuncNum, 0xE9);
}

TEST(SystemSlot, OfLength13HasNoAddress) {
    SmBiosTable table;
    table.add(SmBiosTable::slot("\xC3\x3B\xE9", "0000:00:00.0", 13));
    const auto slots = recordsIn<DmiSystemSlot>(table.contents());
    ASSERT_EQ(slots.size(), 1u);
    EXPECT_EQ(slots[0].segmentGroupNum, 0);
    EXPECT_EQ(slots[0].busNum, 0);
    EXPECT_EQ(slots[0].devFuncNum, 0);
    EXPECT_STREQ(slots[0].designation, ".;.");
}

TEST(SystemSlot, OfLength14HasItsAddressReadFromItsStrings) {
    SmBiosTable table;
    table.add(SmBiosTable::slot("ABCDEF", "0012:00:00.0", 14));
    const auto slots = recordsIn<DmiSystemSlot>(table.contents());
    ASSERT_EQ(slots.size(), 1u);
    EXPECT_EQ(slots[0].segmentGroupNum, 0x4112);
    EXPECT_EQ(slots[0].busNum, 0x42);
    EXPECT_EQ(slots[0].devFuncNum, 0x43);
}

// Strings are made printable in the table itself: after the designation is read, its bytes are dots for every
// reader.
TEST(SystemSlot, OfLength14HasDotsInItsAddressForUnprintableBytesOfItsStrings) {
    SmBiosTable table;
    table.add(SmBiosTable::slot("\xC3\x01\x02Slot", "0012:00:00.0", 14));
    recordsIn<DmiSystemSlot>(table.contents());
    const auto slots = fetched<DmiSystemSlot>();
    ASSERT_EQ(slots.size(), 1u);
    EXPECT_STREQ(slots[0].designation, "...Slot");
    EXPECT_EQ(slots[0].segmentGroupNum, 0x2E12);
    EXPECT_EQ(slots[0].busNum, 0x2E);
    EXPECT_EQ(slots[0].devFuncNum, 0x2E);
}

TEST(SystemSlot, OfLength16HasTheLastByteOfItsAddressReadFromItsStrings) {
    SmBiosTable table;
    table.add(SmBiosTable::slot("ABCDEF", "0001:3b:00.0", 16));
    const auto slots = recordsIn<DmiSystemSlot>(table.contents());
    ASSERT_EQ(slots.size(), 1u);
    EXPECT_EQ(slots[0].segmentGroupNum, 1);
    EXPECT_EQ(slots[0].busNum, 0x3B);
    EXPECT_EQ(slots[0].devFuncNum, 0x41);
}

TEST(SystemSlot, OfALengthBeyondTheKnownFieldsIsReadLikeTheOthers) {
    SmBiosTable table;
    table.add(SmBiosTable::slot("Slot 1", "0002:3b:1f.7", 24)).addSlot("Slot 2", "0000:3c:00.0");
    const auto slots = recordsIn<DmiSystemSlot>(table.contents());
    ASSERT_EQ(slots.size(), 2u);
    EXPECT_EQ(slots[0].segmentGroupNum, 2);
    EXPECT_EQ(slots[0].devFuncNum, 0xFF);
    EXPECT_STREQ(slots[0].designation, "Slot 1");
}

// --- type 41 ---

TEST(OnboardDevice, HasEachFieldFromItsBytes) {
    const std::string bytes("\x29\x0B\x34\x12\x01\x85\x02\xBC\x9A\x3B\xEBLOM 1\0\0", 11 + 7);
    SmBiosTable table;
    const auto devices = recordsIn<DmiOnboardDeviceEx>(table.addRaw(bytes).contents());
    ASSERT_EQ(devices.size(), 1u);
    const DmiOnboardDeviceEx& device = devices[0];
    EXPECT_EQ(device.type, 41);
    EXPECT_EQ(device.length, 11);
    EXPECT_EQ(device.handle, 0x1234);
    EXPECT_STREQ(device.designation, "LOM 1");
    EXPECT_EQ(device.deviceType, 5);  // 0x85 without the enabled bit
    EXPECT_EQ(device.deviceTypeInstance, 2);
    EXPECT_EQ(device.segmentGroupNum, 0x9ABC);
    EXPECT_EQ(device.busNum, 0x3B);
    EXPECT_EQ(device.funcNum, 3);
    EXPECT_EQ(device.devNum, 0x1D);
}

// --- type 1 ---

namespace {

// A system record with all its strings, of any length.
SmBiosStructure systemOf(std::size_t length) {
    SmBiosStructure system(1, length);
    system.handle(0x0102).text(4, "Maker").text(5, "Machine").text(6, "Rev A").text(7, "SN42");
    for (unsigned i = 0; i < 16; ++i) system.put8(8 + i, 0xA0 + i);
    return system.put8(24, 6).text(25, "SKU 7").text(26, "7711PID02020001");
}

DmiSystemInfo systemRecord(const SmBiosStructure& structure) {
    SmBiosTable table;
    const auto systems = recordsIn<DmiSystemInfo>(table.add(structure).contents());
    EXPECT_EQ(systems.size(), 1u);
    const DmiSystemInfo system = systems.empty() ? DmiSystemInfo{} : systems[0];
    SmBiosDeinit();
    return system;
}

std::string uuidOf(const std::string& sixteenBytes) {
    SmBiosStructure system = systemOf(27);
    for (std::size_t i = 0; i < 16; ++i) system.put8(8 + i, static_cast<unsigned char>(sixteenBytes[i]));
    return systemRecord(system).uuid;
}

}  // namespace

TEST(SystemInfo, HasEachFieldFromItsBytes) {
    const DmiSystemInfo system = systemRecord(systemOf(27));
    EXPECT_EQ(system.type, 1);
    EXPECT_EQ(system.length, 27);
    EXPECT_EQ(system.handle, 0x0102);
    EXPECT_STREQ(system.manufacturer, "Maker");
    EXPECT_STREQ(system.productName, "Machine");
    EXPECT_STREQ(system.version, "Rev A");
    EXPECT_STREQ(system.serialNumber, "SN42");
    EXPECT_STREQ(system.uuid, "a3a2a1a0-a5a4-a7a6-a8a9-aaabacadaeaf");
    EXPECT_EQ(system.wakeUpType, 6);
    EXPECT_STREQ(system.skuNumber, "SKU 7");
    EXPECT_STREQ(system.family, "7711PID02020001");
}

TEST(SystemInfo, BelowLength8HasOnlyItsHead) {
    const DmiSystemInfo system = systemRecord(systemOf(7));
    EXPECT_EQ(system.type, 1);
    EXPECT_EQ(system.length, 7);
    EXPECT_EQ(system.handle, 0x0102);
    EXPECT_STREQ(system.manufacturer, "");
    EXPECT_STREQ(system.serialNumber, "");
    EXPECT_STREQ(system.skuNumber, "");
}

TEST(SystemInfo, FromLength8To24HasItsFourStringsAndNothingElse) {
    for (const std::size_t length : {8, 24}) {
        const DmiSystemInfo system = systemRecord(systemOf(length));
        EXPECT_STREQ(system.manufacturer, "Maker");
        EXPECT_STREQ(system.productName, "Machine");
        EXPECT_STREQ(system.version, "Rev A");
        EXPECT_STREQ(system.serialNumber, "SN42");
        EXPECT_STREQ(system.uuid, "");
        EXPECT_EQ(system.wakeUpType, 0);
        EXPECT_STREQ(system.skuNumber, "") << "the dot replaces the number only if there is a UUID";
        EXPECT_STREQ(system.family, "");
    }
}

TEST(SystemInfo, OfLength25And26HasADotForItsSkuNumberAndNoFamily) {
    for (const std::size_t length : {25, 26}) {
        const DmiSystemInfo system = systemRecord(systemOf(length));
        EXPECT_STREQ(system.uuid, "a3a2a1a0-a5a4-a7a6-a8a9-aaabacadaeaf");
        EXPECT_EQ(system.wakeUpType, 6);
        EXPECT_STREQ(system.skuNumber, ".");
        EXPECT_STREQ(system.family, "");
    }
}

TEST(SystemInfo, WithoutAFamilyStringHasTheUndefinedFamily) {
    EXPECT_STREQ(systemRecord(systemOf(27).put8(26, 0)).family, "Undefined");
}

TEST(SystemUuid, ThirdGroupOfD011SwapsThreeGroups) {
    EXPECT_EQ(uuidOf("\x01\x02\x03\x04\x05\x06\x11\xD0\x09\x0A\x0B\x0C\x0D\x0E\x0F\x10"),
              "01020304-0506-11d0-090a-0b0c0d0e0f10");
    // Further bits besides those of d011, as long as they don't include all of 11d0.
    EXPECT_EQ(uuidOf("\x01\x02\x03\x04\x05\x06\x3F\xFE\x09\x0A\x0B\x0C\x0D\x0E\x0F\x10"),
              "01020304-0506-3ffe-090a-0b0c0d0e0f10");
}

TEST(SystemUuid, ThirdGroupThatHoldsAllBitsOf11D0IsNotSwapped) {
    EXPECT_EQ(uuidOf("\x01\x02\x03\x04\x05\x06\xD1\xD1\x09\x0A\x0B\x0C\x0D\x0E\x0F\x10"),
              "04030201-0605-d1d1-090a-0b0c0d0e0f10");
}

TEST(SystemUuid, ThirdGroupWithoutAllBitsOfD011IsNotSwapped) {
    EXPECT_EQ(uuidOf("\x01\x02\x03\x04\x05\x06\xD0\x11\x09\x0A\x0B\x0C\x0D\x0E\x0F\x10"),
              "04030201-0605-11d0-090a-0b0c0d0e0f10");
    EXPECT_EQ(uuidOf("\x01\x02\x03\x04\x05\x06\x10\xD0\x09\x0A\x0B\x0C\x0D\x0E\x0F\x10"),
              "04030201-0605-d010-090a-0b0c0d0e0f10");
}

TEST(SystemUuid, ThirdGroupOfZeroIsNotSwapped) {
    EXPECT_EQ(uuidOf(std::string("\x01\x02\x03\x04\x05\x06\0\0\x09\x0A\x0B\x0C\x0D\x0E\x0F\x10", 16)),
              "04030201-0605-0000-090a-0b0c0d0e0f10");
}

TEST(SystemUuid, OfZerosAndOfOnesIsWrittenOut) {
    EXPECT_EQ(uuidOf(std::string(16, '\0')), "00000000-0000-0000-0000-000000000000");
    EXPECT_EQ(uuidOf(std::string(16, '\xFF')), "ffffffff-ffff-ffff-ffff-ffffffffffff");
}

}  // namespace smbios_vmwTest
