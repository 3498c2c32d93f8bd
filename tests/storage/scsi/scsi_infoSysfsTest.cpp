#include <gtest/gtest.h>
#include <cstring>

#include "platform/access/vokMallocPtr.h"
#include "storage/scsi/ScsiDisk.h"
#include "storage/scsi/scsi_info.h"

namespace scsi_infoSysfsTest {
namespace {

constexpr char dev[] = "0:0:1:0";

class ScsiSysfs : public testing::Test {
protected:
    ScsiSysfs() { logEverything(host); }

    void write(const std::string& file, const std::string& content) {
        host.root.writeFile("/sys/class/scsi_device/0:0:1:0/device/" + file, content);
    }
    std::vector<std::string> lines() const { return loggedLines(host); }

    FakeHost host;
};

std::string bytes(const std::string& head, const std::string& text) {
    return head + text;
}

// --- attributes ---

TEST_F(ScsiSysfs, TextsAreThoseOfTheAttributesWithTheirBlanks) {
    write("model", "MK001200JWJNQ   \n");
    write("rev", "D003\n");
    write("vendor", "ATA     \n");
    write("state", "running\n");
    EXPECT_EQ(takenText(get_DiskModel(dev)), "MK001200JWJNQ   ");
    EXPECT_EQ(takenText(get_sas_DiskRev(dev)), "D003");
    EXPECT_EQ(takenText(get_DiskVendor(dev)), "ATA     ");
    EXPECT_EQ(takenText(get_DiskState(dev)), "running");
}

TEST_F(ScsiSysfs, MissingAttributesAreNull) {
    EXPECT_EQ(get_DiskModel(dev), nullptr);
    EXPECT_EQ(get_sas_DiskRev(dev), nullptr);
    EXPECT_EQ(get_DiskVendor(dev), nullptr);
    EXPECT_EQ(get_DiskState(dev), nullptr);
    EXPECT_EQ(get_ScsiGeneric(dev), nullptr);
    EXPECT_EQ(get_DiskModel(nullptr), nullptr);
}

TEST_F(ScsiSysfs, TheTypeIsADecimalNumber) {
    write("type", "13\n");
    EXPECT_EQ(get_DiskType(dev), 13u);
    EXPECT_EQ(get_DiskType("9:9:9:9"), 4294967295u);
}

TEST_F(ScsiSysfs, Type0IsADirectAccessBlockDevice) {
    write("type", "0\n");
    EXPECT_TRUE(is_direct_access_block_device(dev));
    write("type", "14\n");
    EXPECT_FALSE(is_direct_access_block_device(dev));
    EXPECT_FALSE(is_direct_access_block_device("9:9:9:9"));
}

// Required: the value is read as hexadecimal and its low 16 bits count.
TEST_F(ScsiSysfs, OfTheTypeTheLow16BitsCount) {
    write("type", "10000\n");
    EXPECT_TRUE(is_direct_access_block_device(dev));
}

TEST_F(ScsiSysfs, APathIsCutAt255Characters) {
    // "/sys/class/scsi_device/" and "/device/" are 31 characters; 219 more leave five.
    const std::string name(219, 'x');
    host.root.writeFile("/sys/class/scsi_device/" + name + "/device/model", "whole\n");
    EXPECT_EQ(takenText(get_DiskModel(name.c_str())), "whole");
    const std::string longer(220, 'x');
    host.root.writeFile("/sys/class/scsi_device/" + longer + "/device/model", "whole\n");
    host.root.writeFile("/sys/class/scsi_device/" + longer + "/device/mode", "cut\n");
    EXPECT_EQ(takenText(get_DiskModel(longer.c_str())), "cut");
}

// --- SCSI generic ---

TEST_F(ScsiSysfs, TheGenericNodeIsTheFirstNameOfThatKindInTheirOrder) {
    write("scsi_generic/power/control", "auto\n");
    write("scsi_generic/sg7/dev", "21:7\n");
    write("scsi_generic/sg12/dev", "21:12\n");
    EXPECT_EQ(takenText(get_ScsiGeneric(dev)), "sg12");
}

TEST_F(ScsiSysfs, TheGenericNodeOfOldKernelsKeepsItsPrefix) {
    write("scsi_generic/scsi_generic:sg3/dev", "21:3\n");
    EXPECT_EQ(takenText(get_ScsiGeneric(dev)), "scsi_generic:sg3");
}

TEST_F(ScsiSysfs, ADirectoryWithoutAGenericNodeIsNull) {
    write("scsi_generic/power/control", "auto\n");
    EXPECT_EQ(get_ScsiGeneric(dev), nullptr);
}

// --- serial numbers ---

TEST_F(ScsiSysfs, TheSerialNumberOfPage80IsItsTextWithItsBlanks) {
    write("vpd_pg80", bytes(std::string("\x00\x80\x00\x08", 4), "  S0K5  "));
    EXPECT_EQ(takenText(get_unit_sn_from_sysfs_vpd_pg80(dev)), "  S0K5  ");
    EXPECT_TRUE(lines().empty());
}

TEST_F(ScsiSysfs, TheSerialNumberOfPage80EndsWithThePageOrTheAttribute) {
    write("vpd_pg80", bytes(std::string("\x00\x80\x00\x03", 4), "S0K5MYY4"));
    EXPECT_EQ(takenText(get_unit_sn_from_sysfs_vpd_pg80(dev)), "S0K");
    write("vpd_pg80", bytes(std::string("\x00\x80\x00\x14", 4), "S0K5MYY4"));
    EXPECT_EQ(takenText(get_unit_sn_from_sysfs_vpd_pg80(dev)), "S0K5MYY4");
    write("vpd_pg80", bytes(std::string("\x00\x80\x01\x00", 4), "S"));
    EXPECT_EQ(takenText(get_unit_sn_from_sysfs_vpd_pg80(dev)), "S");
    write("vpd_pg80", bytes(std::string("\x00\x80\x00\x00", 4), "S"));
    EXPECT_EQ(takenText(get_unit_sn_from_sysfs_vpd_pg80(dev)), "");
}

TEST_F(ScsiSysfs, AShortOrAnotherPage80HasNoSerialNumber) {
    write("vpd_pg80", std::string("\x00\x80\x00\x04", 4));
    EXPECT_EQ(get_unit_sn_from_sysfs_vpd_pg80(dev), nullptr);
    write("vpd_pg80", bytes(std::string("\x00\x83\x00\x04", 4), "S0K5"));
    EXPECT_EQ(get_unit_sn_from_sysfs_vpd_pg80(dev), nullptr);
    write("vpd_pg80", std::string("\x00", 1));
    EXPECT_EQ(get_unit_sn_from_sysfs_vpd_pg80(dev), nullptr);
    EXPECT_EQ(get_unit_sn_from_sysfs_vpd_pg80("9:9:9:9"), nullptr);
    EXPECT_EQ(lines(),
              (std::vector<std::string>{
                  "DEBUG SCSI_INFO: Unable to extract disk serial number from sysfs VPD page 80. (4, 128)",
                  "DEBUG SCSI_INFO: Unable to extract disk serial number from sysfs VPD page 80. (8, 131)",
                  "DEBUG SCSI_INFO: Unable to extract disk serial number from sysfs VPD page 80. (1, 0)",
                  "DEBUG SCSI_INFO: Unable to retrieve sysfs VPD page 80."}));
}

std::string inquiry(int additionalLength, std::size_t size) {
    std::string data = std::string(36, 'x') + "S0K5MYY40000K6287200" + std::string(8, 'y');
    data[4] = static_cast<char>(additionalLength);
    data.resize(size);
    return data;
}

TEST_F(ScsiSysfs, TheSerialNumberOfTheInquiryDataHas20Characters) {
    write("inquiry", inquiry(60, 64));
    EXPECT_EQ(takenText(get_unit_sn_from_sysfs_inquiry(dev)), "S0K5MYY40000K6287200");
    write("inquiry", inquiry(52, 56));
    EXPECT_EQ(takenText(get_unit_sn_from_sysfs_inquiry(dev)), "S0K5MYY40000K6287200");
    EXPECT_TRUE(lines().empty());
}

TEST_F(ScsiSysfs, ShortInquiryDataHaveNoSerialNumber) {
    write("inquiry", inquiry(52, 55));
    EXPECT_EQ(get_unit_sn_from_sysfs_inquiry(dev), nullptr);
    write("inquiry", inquiry(51, 64));
    EXPECT_EQ(get_unit_sn_from_sysfs_inquiry(dev), nullptr);
    EXPECT_EQ(get_unit_sn_from_sysfs_inquiry("9:9:9:9"), nullptr);
    EXPECT_EQ(lines(),
              (std::vector<std::string>{
                  "DEBUG SCSI_INFO: Unable to extract disk serial number from sysfs inquiry. (55, 52)",
                  "DEBUG SCSI_INFO: Unable to extract disk serial number from sysfs inquiry. (64, 51)",
                  "DEBUG SCSI_INFO: Unable to retrieve sysfs inquiry."}));
}

// --- sizes ---

TEST_F(ScsiSysfs, TheSizeIsThatOfTheBlockDevice) {
    write("block/sda/size", "2344225968\n");
    EXPECT_EQ(get_BlockSize(dev), 2344225968ull);
}

TEST_F(ScsiSysfs, TheSizeIsThatOfTheFirstBlockDevice) {
    write("block/power/size", "1\n");
    write("block/sdb/size", "3\n");
    write("block/sdaa/size", "2\n");
    EXPECT_EQ(get_BlockSize(dev), 2u);
}

TEST_F(ScsiSysfs, TheSizeIsFoundInTheFormOfOldKernels) {
    write("block:sda/size", "4096\n");
    EXPECT_EQ(get_BlockSize(dev), 4096u);
}

TEST_F(ScsiSysfs, TheSizeIsFoundInADirectoryBelowTheFirst) {
    write("block/block/sda/size", "512\n");
    EXPECT_EQ(get_BlockSize(dev), 512u);
}

TEST_F(ScsiSysfs, WithoutABlockDeviceTheSizeIs0) {
    EXPECT_EQ(get_BlockSize(dev), 0u);
    write("block/power/control", "auto\n");
    EXPECT_EQ(get_BlockSize(dev), 0u);
}

TEST_F(ScsiSysfs, ABlockDeviceWithoutASizeHasAllBitsSet) {
    write("block/sda/stat", "\n");
    EXPECT_EQ(get_BlockSize(dev), 18446744073709551615ull);
}

TEST_F(ScsiSysfs, TheSizeOfADeviceIsFoundByItsPath) {
    host.root.writeFile("/sys/devices/pci0000:00/block/sda/size", "77\n");
    EXPECT_EQ(get_PciBlockSize("pci0000:00/block/sda"), 77u);
    EXPECT_EQ(get_PciBlockSize("none"), 18446744073709551615ull);
    EXPECT_EQ(get_PciBlockSize(nullptr), 18446744073709551615ull);
}

// Required: the "../" stays in the path, after another one.
TEST_F(ScsiSysfs, APathFromTheParentDirectoryIsTakenFromTheParentOfDevices) {
    host.root.writeFile("/sys/devices/x", "");
    host.root.writeFile("/block/sda/size", "78\n");
    EXPECT_EQ(get_PciBlockSize("../block/sda"), 78u);
}

// --- durable names ---

std::string page83(std::size_t size) {
    std::string page("\x00\x83\x00\x14\x01\x03\x00\x10", 8);
    for (int i = 0; i < 16; ++i) page += static_cast<char>(0xF0 - 9 * i);
    page.resize(size);
    return page;
}

TEST_F(ScsiSysfs, TheDurableNameHas32UpperCaseDigits) {
    host.root.writeFile("/sys/block/sda/device/vpd_pg83", page83(24));
    EXPECT_STREQ(get_durableName_from_block_vpd_pg83("sda").text, "F0E7DED5CCC3BAB1A89F968D847B7269");
    EXPECT_EQ(sizeof(vokDurableName), 33u);
}

// Required: more than the header is enough, and bytes that are not there read as 0.
TEST_F(ScsiSysfs, TheDurableNameOfAShortPageEndsWithZeros) {
    host.root.writeFile("/sys/block/sda/device/vpd_pg83", page83(23));
    EXPECT_STREQ(get_durableName_from_block_vpd_pg83("sda").text, "F0E7DED5CCC3BAB1A89F968D847B7200");
    host.root.writeFile("/sys/block/sda/device/vpd_pg83", page83(16));
    EXPECT_STREQ(get_durableName_from_block_vpd_pg83("sda").text, "F0E7DED5CCC3BAB10000000000000000");
    host.root.writeFile("/sys/block/sda/device/vpd_pg83", page83(5));
    EXPECT_STREQ(get_durableName_from_block_vpd_pg83("sda").text, std::string(32, '0').c_str());
}

TEST_F(ScsiSysfs, APageOfItsHeaderAloneHasNoDurableName) {
    host.root.writeFile("/sys/block/sda/device/vpd_pg83", page83(4));
    EXPECT_STREQ(get_durableName_from_block_vpd_pg83("sda").text, "");
}

TEST_F(ScsiSysfs, AnotherOrAMissingPageHasNoDurableName) {
    std::string other = page83(24);
    other[1] = '\x80';
    host.root.writeFile("/sys/block/sda/device/vpd_pg83", other);
    EXPECT_STREQ(get_durableName_from_block_vpd_pg83("sda").text, "");
    EXPECT_STREQ(get_durableName_from_block_vpd_pg83("sdb").text, "");
    EXPECT_STREQ(get_durableName_from_block_vpd_pg83(nullptr).text, "");
}

// --- filters ---

bool passes(int (*filter)(const dirent*), const char* name) {
    dirent entry{};
    std::strncpy(entry.d_name, name, sizeof(entry.d_name) - 1);
    return filter(&entry) != 0;
}

TEST(ScsiNames, OfBlockDevicesHaveTheFormOfOldOrOfNewKernels) {
    EXPECT_TRUE(passes(sd_select, "block:sda"));
    EXPECT_TRUE(passes(sd_select, "sda"));
    EXPECT_TRUE(passes(sd_select, "sd"));
    for (const char* const name : {"block", "s", "", ".", "hda", "asd", "sr0", "ablock:sda", "sg0"})
        EXPECT_FALSE(passes(sd_select, name)) << name;
}

TEST(ScsiNames, OfGenericNodesHaveTheFormOfOldOrOfNewKernels) {
    EXPECT_TRUE(passes(generic_select, "scsi_generic:sg0"));
    EXPECT_TRUE(passes(generic_select, "sg0"));
    EXPECT_TRUE(passes(generic_select, "sg"));
    for (const char* const name : {"scsi_generic", "s", "", "..", "sda", "asg0", "power"})
        EXPECT_FALSE(passes(generic_select, name)) << name;
}

}  // namespace
}  // namespace scsi_infoSysfsTest
