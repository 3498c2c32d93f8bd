// Malformed tables: only bytes of the table are read, and missing fields have their documented values. To be
// run under the address sanitizer too.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <syslog.h>
#include <fstream>
#include <string>
#include <vector>

#include "platform/firmware/vokSmBiosRecords.h"
#include "support/FakeHost.h"
#include "support/FakeSystemLog.h"
#include "support/SmBiosTable.h"

namespace smbios_vmwHostileTest {
namespace {

FakeHost openTable(const std::string& deviceContents) {
    FakeHost host;
    host.root.writeFile(SmBiosTable::deviceFile, deviceContents);
    SmBiosDeinit();
    EXPECT_EQ(SmBiosInit(), 0);
    return host;
}

template <typename Record>
std::vector<Record> recordsIn(const SmBiosTable& table, std::size_t claimedLength) {
    openTable(table.contents(claimedLength));
    vokSmBiosRecords<Record> records;
    records.fetch();
    return std::vector<Record>(records.begin(), records.end());
}

template <typename Record>
std::vector<Record> recordsIn(const SmBiosTable& table) {
    return recordsIn<Record>(table, table.size());
}

std::string bytes(std::initializer_list<unsigned> values) {
    std::string text;
    for (const unsigned value : values) text += static_cast<char>(value);
    return text;
}

}  // namespace

// --- strings ---

TEST(SmBiosString, WithNumberZeroIsUndefined) {
    SmBiosTable table;
    table.add(SmBiosTable::slot("Slot 1", "0000:3b:00.0").put8(4, 0));
    EXPECT_STREQ(recordsIn<DmiSystemSlot>(table)[0].designation, "Undefined");
}

TEST(SmBiosString, AfterTheLastIsUndefined) {
    for (const unsigned number : {2u, 3u, 255u}) {
        SmBiosTable table;
        table.add(SmBiosTable::slot("Slot 1", "0000:3b:00.0").put8(4, number))
            .addSlot("Slot 2", "0000:3c:00.0");
        EXPECT_STREQ(recordsIn<DmiSystemSlot>(table)[0].designation, "Undefined") << number;
    }
}

TEST(SmBiosString, OfAStructureWithoutStringsIsUndefined) {
    SmBiosTable table;
    table.add(SmBiosStructure(9, 17).put8(4, 1)).addSlot("Slot 2", "0000:3c:00.0");
    EXPECT_STREQ(recordsIn<DmiSystemSlot>(table)[0].designation, "Undefined");
}

TEST(SmBiosString, HasADotForEachUnprintableByte) {
    SmBiosTable table;
    table.addSlot(" ~\x1F\x7F\x80\xFF\x01\t\nA", "0000:3b:00.0");
    EXPECT_STREQ(recordsIn<DmiSystemSlot>(table)[0].designation, " ~.......A");
    vokSmBiosRecords<DmiSystemSlot> again;
    EXPECT_EQ(again.fetch(), 0);
    EXPECT_STREQ(again.begin()->designation, " ~.......A");
}

TEST(SmBiosString, LongerThanItsFieldIsCutAndNulTerminated) {
    const std::string longText(1000, 'x');
    SmBiosTable table;
    table.addSlot(longText, "0000:3b:00.0").addOnboardDevice(longText, "0000:3c:00.0");
    SmBiosStructure system(1, 27);
    system.text(4, longText).text(5, longText).text(6, longText).text(7, longText).text(25, longText);
    table.add(system.text(26, longText));
    EXPECT_EQ(recordsIn<DmiSystemSlot>(table)[0].designation, std::string(127, 'x'));
    EXPECT_EQ(recordsIn<DmiSystemSlot>(table)[0].busNum, 0x3B);
    EXPECT_EQ(recordsIn<DmiOnboardDeviceEx>(table)[0].designation, std::string(127, 'x'));
    const DmiSystemInfo record = recordsIn<DmiSystemInfo>(table)[0];
    EXPECT_EQ(record.manufacturer, std::string(63, 'x'));
    EXPECT_EQ(record.productName, std::string(127, 'x'));
    EXPECT_EQ(record.version, std::string(127, 'x'));
    EXPECT_EQ(record.serialNumber, std::string(127, 'x'));
    EXPECT_EQ(record.skuNumber, std::string(127, 'x'));
    EXPECT_EQ(record.family, std::string(63, 'x'));
}

TEST(SmBiosString, WithoutAnEndIsCutAtTheTablesEnd) {
    SmBiosTable table;
    table.addSlot("Slot 1", "0000:3b:00.0");
    // One zero byte, both, and then characters are missing, first in the length, then in the data.
    for (const std::size_t missing : {1, 2, 4}) {
        const std::string expected = missing == 4 ? "Slot" : "Slot 1";
        EXPECT_EQ(recordsIn<DmiSystemSlot>(table, table.size() - missing)[0].designation, expected)
            << missing;
        SmBiosTable cut;
        cut.addRaw(SmBiosTable::slot("Slot 1", "0000:3b:00.0").bytes().substr(0, table.size() - missing));
        EXPECT_EQ(recordsIn<DmiSystemSlot>(cut, 65535)[0].designation, expected) << missing;
    }
}

TEST(SmBiosString, BeyondTheTableIsUndefined) {
    SmBiosTable table;
    table.add(SmBiosTable::slot("Slot 1", "0000:3b:00.0").claimLength(255));
    const auto slots = recordsIn<DmiSystemSlot>(table);
    ASSERT_EQ(slots.size(), 1u);
    EXPECT_STREQ(slots[0].designation, "Undefined");
    EXPECT_EQ(slots[0].busNum, 0x3B);
}

// --- lengths and ends ---

TEST(SmBiosTable, WithALengthBeyondTheDataEndsWithTheData) {
    SmBiosTable table;
    table.addSlot("Slot 1", "0000:3b:00.0").addSlot("Slot 2", "0000:3c:00.0");
    const auto slots = recordsIn<DmiSystemSlot>(table, 65535);
    ASSERT_EQ(slots.size(), 2u);
    EXPECT_STREQ(slots[1].designation, "Slot 2");
}

TEST(SmBiosTable, WithLengthZeroHasNoRecords) {
    SmBiosTable table;
    table.addSlot("Slot 1", "0000:3b:00.0");
    EXPECT_TRUE(recordsIn<DmiSystemSlot>(table, 0).empty());
}

TEST(SmBiosTable, WithATruncatedEntryPointHasNoRecords) {
    SmBiosTable table;
    const std::string entryPoint = table.addSlot("Slot 1", "0000:3b:00.0").contents().substr(0, 31);
    for (const std::size_t length : {4, 5, 6, 22, 23, 24, 30, 31}) {
        openTable(std::string(64, '\0') + entryPoint.substr(0, length));
        vokSmBiosRecords<DmiSystemSlot> slots;
        EXPECT_EQ(slots.fetch(), -1) << length;
    }
}

TEST(SmBiosTable, WithTheEntryPointInTheLastFourBytesHasNoRecords) {
    openTable(std::string(65532, 'x') + "_SM_");
    vokSmBiosRecords<DmiSystemSlot> slots;
    EXPECT_EQ(slots.fetch(), -1);
}

TEST(SmBiosTable, WithoutASingleZeroByteIsOneStructure) {
    SmBiosTable table;
    table.addRaw(std::string(65536 - 31, '\x09'));
    const auto slots = recordsIn<DmiSystemSlot>(table, 65535);
    ASSERT_EQ(slots.size(), 1u);
    EXPECT_EQ(slots[0].length, 9);
    EXPECT_STREQ(slots[0].designation, "Undefined") << "the ninth of strings that never end";
}

TEST(SmBiosTable, WithoutATerminatorKeepsItsStrings) {
    SmBiosTable table;
    table.addRaw(bytes({9, 13, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}) + std::string(65536 - 31 - 13, 'y'));
    EXPECT_EQ(recordsIn<DmiSystemSlot>(table, 65535)[0].designation, std::string(127, 'y'));
}

TEST(SmBiosTable, FullOfTheSmallestStructuresReturnsThemAll) {
    SmBiosTable table;
    for (int i = 0; i < 10917; ++i) table.addRaw(bytes({41, 4, 0, 0, 0, 0}));
    const auto devices = recordsIn<DmiOnboardDeviceEx>(table);
    EXPECT_EQ(devices.size(), 10917u);
    EXPECT_STREQ(devices.back().designation, "Undefined");
}

TEST(SmBiosStructureLength, BelowFourIsHandledLikeAnyOther) {
    for (const unsigned length : {0u, 1u, 2u, 3u}) {
        SmBiosTable table;
        table.addRaw(bytes({9, length, 'a', 'b', 0, 0})).addSlot("Slot 2", "0000:3c:00.0");
        const auto slots = recordsIn<DmiSystemSlot>(table);
        ASSERT_EQ(slots.size(), 2u) << length;
        EXPECT_EQ(slots[0].length, length);
        EXPECT_STREQ(slots[0].designation, "Undefined") << length;
        EXPECT_STREQ(slots[1].designation, "Slot 2") << length;
        EXPECT_EQ(slots[1].busNum, 0x3C) << length;
    }
}

// The strings overlap the structure's own head, so that making them printable changes its type and length.
TEST(SmBiosStructureLength, OfZeroOrOneLeavesTheOtherRecordsAlone) {
    for (const unsigned length : {0u, 1u}) {
        SmBiosTable table;
        table.addRaw(bytes({9, length, 1, 1, 1, 1, 1, 1, 0, 0}));
        for (int i = 0; i < 30; ++i) table.addSlot("Slot", "0000:3c:00.0");
        const auto slots = recordsIn<DmiSystemSlot>(table);
        ASSERT_EQ(slots.size(), 31u);
        EXPECT_STREQ(slots[30].designation, "Slot");
        // The changed table can still be read safely.
        vokSmBiosRecords<DmiSystemSlot> again;
        EXPECT_EQ(again.fetch(), 0);
        EXPECT_GE(again.end() - again.begin(), 29);
    }
}

TEST(SmBiosStructureLength, BeyondTheTableEndsTheWalk) {
    SmBiosTable table;
    table.add(SmBiosStructure(2, 200).claimLength(255)).addSlot("Slot within", "0000:3c:00.0");
    EXPECT_TRUE(recordsIn<DmiSystemSlot>(table).empty());
}

TEST(SmBiosStructure, WithATruncatedHeadIsIgnored) {
    for (const std::size_t left : {1, 2, 3}) {
        SmBiosTable table;
        table.addSlot("Slot 1", "0000:3b:00.0");
        const std::size_t first = table.size();
        table.addSlot("Slot 2", "0000:3c:00.0");
        EXPECT_EQ(recordsIn<DmiSystemSlot>(table, first + left).size(), 1u) << left;
    }
}

TEST(SmBiosStructure, WithATruncatedFormattedPartHasZeroForMissingFields) {
    SmBiosTable table;
    table.addSlot("Slot 1", "1234:3b:00.1");
    for (std::size_t length = 4; length < 17; ++length) {
        const auto slots = recordsIn<DmiSystemSlot>(table, length);
        ASSERT_EQ(slots.size(), 1u) << length;
        EXPECT_EQ(slots[0].length, 17) << length;
        EXPECT_STREQ(slots[0].designation, "Undefined") << length;
        EXPECT_EQ(slots[0].slotType, length > 5 ? 0xB6 : 0) << length;
        EXPECT_EQ(slots[0].busNum, length > 15 ? 0x3B : 0) << length;
        EXPECT_EQ(slots[0].devFuncNum, 0) << length;
    }
}

TEST(SmBiosStructure, OfTheSystemTruncatedAnywhereIsReadAsFarAsItGoes) {
    SmBiosTable table;
    table.addSystem("Maker", "7711PID02020001");
    const std::size_t family = table.size() - 1 - std::string("7711PID02020001").size() - 1;
    for (std::size_t length = 4; length < table.size(); ++length) {
        const auto systems = recordsIn<DmiSystemInfo>(table, length);
        ASSERT_EQ(systems.size(), 1u) << length;
        EXPECT_EQ(std::string(systems[0].manufacturer), length <= 27 ? "Undefined"
                                                        : length >= 32
                                                            ? "Maker"
                                                            : std::string("Maker").substr(0, length - 27))
            << length;
        EXPECT_EQ(std::string(systems[0].family),
                  length <= family ? "Undefined" : std::string("7711PID02020001").substr(0, length - family))
            << length;
    }
}

TEST(SmBiosStructure, AtTheVeryEndOfAFullBufferIsReadWithinIt) {
    for (const std::size_t left : {4, 5, 13, 16}) {
        SmBiosTable table;
        table.addRaw(bytes({85, 4, 0, 0}) + std::string(65536 - 31 - 4 - 2 - left, 'x') + bytes({0, 0}));
        table.addRaw(SmBiosTable::slot("Slot", "0000:3b:00.0").bytes().substr(0, left));
        EXPECT_EQ(table.contents().size(), 65536u);
        EXPECT_EQ(recordsIn<DmiSystemSlot>(table, 65535).size(), 1u) << left;
    }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // which abort instead of returning null
namespace {

// Allows `bytesMore` in addition to the process's present memory.
void limitMemory(rlim_t bytesMore) {
    std::ifstream status("/proc/self/statm");
    rlim_t pages = 0;
    status >> pages;
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_AS, &limit), 0);
    limit.rlim_cur = pages * 4096 + bytesMore;
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &limit), 0);
}

void expectOutOfMemoryLogged(unsigned char type, const std::string& text) {
    SmBiosTable table;
    for (int i = 0; i < 10917; ++i) table.addRaw(bytes({type, 4, 0, 0, 0, 0}));
    const auto host = openTable(table.contents());
    limitMemory(512 * 1024);
    int something = 0;
    void* records = &something;
    std::size_t count = 7;
    EXPECT_EQ(getSmbiosRecordsByType(type, &records, &count), -1);
    EXPECT_EQ(records, nullptr);
    EXPECT_EQ(count, 0u);
    const std::vector<std::pair<int, std::string>> expected{{LOG_DAEMON | LOG_WARNING, text}};
    EXPECT_EQ(host.part<FakeSystemLog>().lines(), expected);
}

}  // namespace

TEST(SmBiosMemory, MissingForSystemRecordsIsLogged) {
    expectOutOfMemoryLogged(1, "Malloc failed for SystemInfo table with SystemInfo : 0x0 ");
}

TEST(SmBiosMemory, MissingForSlotsIsLogged) {
    expectOutOfMemoryLogged(9, "Malloc failed for SystemSlots table with pSlotTbl : 0x0 ");
}

TEST(SmBiosMemory, MissingForOnboardDevicesIsLogged) {
    expectOutOfMemoryLogged(41, "Malloc failed for Onboard Devices Extended Info table with pDevice : 0x0");
}
#endif

}  // namespace smbios_vmwHostileTest
