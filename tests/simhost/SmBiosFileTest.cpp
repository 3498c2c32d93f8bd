#include "modules/smbios/SmBiosFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>

namespace SmBiosFileTest {

using namespace simhost;
using testing::HasSubstr;

namespace {

// The file's bytes from `at` on, in hexadecimal; to the end without a count.
std::string hexadecimal(const std::string& bytes, std::size_t at, std::size_t count = std::string::npos) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const char each : bytes.substr(at, count)) {
        const auto byte = static_cast<unsigned char>(each);
        if (!text.empty()) text += ' ';
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

unsigned sumOf(const std::string& bytes) {
    return std::accumulate(bytes.begin(), bytes.end(), 0u,
                           [](unsigned sum, char each) { return sum + static_cast<unsigned char>(each); }) &
           0xff;
}

constexpr std::size_t tableAt = 31;

TEST(SmBiosFile, BeginsWithAnEntryPointOf31BytesWhoseTwoChecksumsAreRight) {
    SmBiosFile file;
    file.add(2, std::string("\x00", 1), {"Board"});  // 4 + 1 + 7 bytes
    file.addEndOfTable();                            // 4 + 2 bytes
    const std::string content = file.content();
    // Of length 0x1f, version 2.8, longest structure 12 bytes; a table of 18 bytes at 31 in 2 structures.
    EXPECT_EQ(hexadecimal(content, 0, 4), "5f 53 4d 5f");
    EXPECT_EQ(hexadecimal(content, 5, 11), "1f 02 08 0c 00 00 00 00 00 00 00");
    EXPECT_EQ(hexadecimal(content, 16, 5), "5f 44 4d 49 5f");
    EXPECT_EQ(hexadecimal(content, 22, 9), "12 00 1f 00 00 00 02 00 28");
    EXPECT_EQ(sumOf(content.substr(0, 31)), 0u);
    EXPECT_EQ(sumOf(content.substr(16, 15)), 0u);
    // The sum of "_DMI_" and of the nine bytes behind its checksum is 0x198 + 0x5b.
    EXPECT_EQ(hexadecimal(content, 21, 1), "0d");
    EXPECT_EQ(content.size(), tableAt + 18);
}

TEST(SmBiosFile, HasTheTableRightBehindTheEntryPoint) {
    SmBiosFile file;
    file.add(2, std::string("\x01", 1), {"Board"});
    file.addEndOfTable();
    EXPECT_EQ(hexadecimal(file.content(), tableAt), "02 05 01 00 01 42 6f 61 72 64 00 00 7f 04 02 00 00 00");
}

TEST(SmBiosFile, WritesASystemRecordWithTheFirstThreeGroupsOfItsUuidLowByteFirst) {
    SmBiosSystem system;
    system.manufacturer = "M";
    system.product = "P";
    system.serial = "S";
    system.uuid = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                   0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};
    system.family = "7711PID02020001";
    SmBiosFile file;
    file.add(system);
    // No version and no SKU: string number 0, and the numbers behind go on.
    EXPECT_EQ(hexadecimal(file.content(), tableAt),
              "01 1b 01 00 01 02 00 03 33 22 11 00 55 44 77 66 88 99 aa bb cc dd ee ff 06 00 04 "
              "4d 00 50 00 53 00 37 37 31 31 50 49 44 30 32 30 32 30 30 30 31 00 00");
}

TEST(SmBiosFile, WritesASlotWithItsAddressInTheLastFourOf17Bytes) {
    SmBiosSlot slot;
    slot.designation = "Slot 3";
    slot.id = 0x0103;
    slot.address = PciAddress{0x0001, 0x3b, 0x1f, 0x06};
    SmBiosFile file;
    file.add(slot);
    EXPECT_EQ(hexadecimal(file.content(), tableAt),
              "09 11 01 00 01 a5 0d 04 04 03 01 04 01 01 00 3b fe 53 6c 6f 74 20 33 00 00");
}

TEST(SmBiosFile, WritesASlotWithoutACardWithAllBitsOfItsAddressSet) {
    SmBiosFile file;
    file.add(SmBiosSlot{});
    EXPECT_EQ(hexadecimal(file.content(), tableAt + 13), "ff ff ff ff 00 00");
}

TEST(SmBiosFile, WritesAnOnBoardDeviceWithTheEnabledBitAboveItsType) {
    SmBiosOnboardDevice device;
    device.designation = "LAN1";
    device.instance = 2;
    device.address = PciAddress{0, 0x18, 0, 1};
    SmBiosFile file;
    file.add(device);
    device.enabled = false;
    file.add(device);
    EXPECT_EQ(hexadecimal(file.content(), tableAt),
              "29 0b 01 00 01 85 02 00 00 18 01 4c 41 4e 31 00 00 "
              "29 0b 02 00 01 05 02 00 00 18 01 4c 41 4e 31 00 00");
}

TEST(SmBiosFile, WritesABiosRecordOf24Bytes) {
    SmBiosFile file;
    file.add(SmBiosBios{"V", "1", "09/18/2023"});
    const std::string content = file.content();
    EXPECT_EQ(hexadecimal(content, tableAt, 10), "00 18 01 00 01 02 00 e0 03 ff");
    EXPECT_EQ(content.substr(tableAt + 24), std::string("V\0001\00009/18/2023\0\0", 16));
}

TEST(SmBiosFile, CutsOrFillsAStructureToTheLengthThatItIsToHave) {
    SmBiosSlot slot;
    slot.designation = "A";
    slot.address = PciAddress{0, 0x3b, 0, 0};
    SmBiosShape shape;
    shape.length = 13;
    SmBiosFile shorter;
    shorter.add(slot, shape);
    EXPECT_EQ(hexadecimal(shorter.content(), tableAt), "09 0d 01 00 01 a5 0d 04 04 00 00 04 01 41 00 00");
    shape.length = 19;
    SmBiosFile longer;
    longer.add(slot, shape);
    EXPECT_EQ(hexadecimal(longer.content(), tableAt),
              "09 13 01 00 01 a5 0d 04 04 00 00 04 01 00 00 3b 00 00 00 41 00 00");
}

TEST(SmBiosFile, TellsALengthThatIsNotTheTrueOneWhenAskedTo) {
    SmBiosShape shape;
    shape.statedLength = 2;
    shape.handle = 0xfeff;
    SmBiosFile file;
    file.add(200, "", {"x"}, shape);
    EXPECT_EQ(hexadecimal(file.content(), tableAt), "c8 02 ff fe 78 00 00");
}

TEST(SmBiosFile, KeepsRawBytesAndZerosAsTheyAre) {
    SmBiosFile file;
    file.addRaw(std::string("\x01\x04", 2));
    file.addEndOfTable();
    file.addZeros(3);
    const std::string content = file.content();
    EXPECT_EQ(hexadecimal(content, tableAt), "01 04 7f 04 02 00 00 00 00 00 00");
    EXPECT_EQ(hexadecimal(content, 22, 2), "0b 00");  // all of it is the table
}

TEST(SmBiosFile, RefusesATableThatItsEntryPointCanNotTellUnlessALengthIsStated) {
    SmBiosFile file;
    file.addZeros(65535);
    EXPECT_EQ(hexadecimal(file.content(), 22, 2), "ff ff");
    file.addZeros(1);
    EXPECT_THROW(file.content(), std::runtime_error);
    file.setStatedTableLength(0x1234);
    EXPECT_EQ(hexadecimal(file.content(), 22, 2), "34 12");
    EXPECT_EQ(file.content().size(), tableAt + 65536);
    EXPECT_EQ(sumOf(file.content().substr(0, 31)), 0u);
    EXPECT_EQ(sumOf(file.content().substr(16, 15)), 0u);
}

TEST(SmBiosFile, RefusesWhatAStructureCanNotHold) {
    SmBiosFile file;
    SmBiosShape shape;
    shape.length = 3;
    EXPECT_THROW(file.add(2, "", {}, shape), std::runtime_error);
    EXPECT_NO_THROW(file.add(2, std::string(251, 'x'), {}));
    EXPECT_THROW(file.add(2, std::string(252, 'x'), {}), std::runtime_error);
    EXPECT_THROW(file.add(2, "", {std::string("a\0b", 3)}), std::runtime_error);
}

TEST(Hexadecimal, TakesPciAddressesOfTheWholeFormOnly) {
    const auto address = parsePciAddress("0001:af:1f.7");
    ASSERT_TRUE(address.has_value());
    EXPECT_EQ(address->segment, 1u);
    EXPECT_EQ(address->bus, 0xaf);
    EXPECT_EQ(address->slot, 0x1f);
    EXPECT_EQ(address->function, 7);
    EXPECT_EQ(address->slotAndFunction(), 0xff);
    EXPECT_EQ(formatPciAddress(*address), "0001:af:1f.7");
    // A volume management device has a segment of five digits.
    ASSERT_TRUE(parsePciAddress("10000:00:02.0").has_value());
    EXPECT_EQ(formatPciAddress(*parsePciAddress("10000:00:02.0")), "10000:00:02.0");
    for (const char* none :
         {"", "02:00.1", "000:00:00.0", "0000:00:00.8", "0000:00:20.0", "0000:00:00.00", "0000:00:00",
          "0000:0g:00.0", "0000-00:00.0", " 000:00:00.0", "123456789:00:00.0"})
        EXPECT_FALSE(parsePciAddress(none).has_value()) << none;
}

TEST(Hexadecimal, TakesBytesInPairs) {
    EXPECT_EQ(parseHexadecimalBytes("7f 04FEff"), std::string("\x7f\x04\xfe\xff"));
    EXPECT_EQ(parseHexadecimalBytes(""), "");
    for (const char* none : {"7", "7f 4", "7 f", "0x7f", "7g", "-1"})
        EXPECT_FALSE(parseHexadecimalBytes(none).has_value()) << none;
}

}  // namespace
}  // namespace SmBiosFileTest
