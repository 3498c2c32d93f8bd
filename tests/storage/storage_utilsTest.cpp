// Models and part numbers by the product tables (data/storage-*.csv), and the text helpers.
#include "storage/storage_utils.h"

#include <gtest/gtest.h>
#include <climits>
#include <cstring>

#include "storage/vokStorageProducts.h"
#include "support/PlatformTables.h"

namespace storage_utilsTest {
namespace {

// --- controllers ---

struct Hba {
    unsigned long chipset;
    unsigned long board;
    unsigned char family;
    const char* model;
};
constexpr Hba hbas[] = {
    {0x28268086, 0, 1, "Intel C600/X79 series chipset SATA RAID Controller"},
    {0x005D1000, 0x93631000, 2, "Broadcom / LSI MegaRAID SAS 9361-4i Controller"},
    {0x005D1000, 0x9A631000, 2, "Broadcom / LSI MegaRAID SAS 9361-4i Controller (JBOD mode)"},
    {0x005D1000, 0, 2, "Broadcom / LSI MegaRAID SAS-3 3108 [Invader]"},
    {0x10E21000, 0x40101000, 2, "Broadcom / LSI MegaRAID 9560-8i Tri-Mode Internal RAID"},
    {0x10E21000, 0x40001000, 2, "Broadcom / LSI MegaRAID 9560-16i Tri-Mode Internal RAID"},
    {0x10E21000, 0, 2, "Broadcom / LSI MegaRAID 12GSAS/PCIe Secure SAS39xx"},
    {0x028F9005, 0x08049005, 4, "Adaptec SmartRAID 3154-8e Controller"},
    {0x028F9005, 0x06089005, 4, "Adaptec SmartRAID 3162-8i /e Controller"},
    {0x028F9005, 0x13809005, 4, "Adaptec SmartRAID 3154-16i Controller"},
    {0x028F9005, 0x12009005, 4, "Adaptec SmartRAID 3154-24i Controller"},
    {0x028F9005, 0x14509005, 4, "Adaptec SmartRAID Ultra 3258p-32i (/e) Tri-Mode Internal RAID"},
    {0x028F9005, 0, 4, "Adaptec Smart Storage PQI 12G SAS/PCIe 3 Controller"},
};

TEST(StorageControllerTable, HasTheseRowsInThisOrder) {
    ASSERT_EQ(MAX_STORAGE_HBA_LIST, 13u);
    ASSERT_EQ(std::size(hbas), 13u);
    for (std::size_t i = 0; i < std::size(hbas); ++i) {
        EXPECT_EQ(gStorageHbaList[i].chipset, hbas[i].chipset) << i;
        EXPECT_EQ(gStorageHbaList[i].board, hbas[i].board) << i;
        EXPECT_EQ(gStorageHbaList[i].family, hbas[i].family) << i;
        EXPECT_STREQ(gStorageHbaList[i].model, hbas[i].model) << i;
        EXPECT_EQ(std::strlen(gStorageHbaList[i].partNumber) == 0, hbas[i].board == 0)
            << "part numbers are those of boards: row " << i;
    }
}

TEST(StorageControllerModel, IsThatOfTheBoardElseThatOfItsChipset) {
    for (const Hba& hba : hbas) {
        unsigned char family = 255;
        EXPECT_STREQ(getStorageControllerModel(hba.chipset, hba.board ? hba.board : 0x12345678, 255, &family),
                     hba.model);
        EXPECT_EQ(family, hba.family) << hba.model;
    }
    EXPECT_STREQ(getStorageControllerModel(0x005D1000, 0x93631000, 2, nullptr),
                 "Broadcom / LSI MegaRAID SAS 9361-4i Controller");
    EXPECT_STREQ(getStorageControllerModel(0x005D1000, 0x93631001, 2, nullptr),
                 "Broadcom / LSI MegaRAID SAS-3 3108 [Invader]");
}

TEST(StorageControllerModel, IsOnlySoughtInTheFamiliesOfTheMaskAndAMaskOf0MeansAny) {
    unsigned char family = 255;
    EXPECT_EQ(getStorageControllerModel(0x005D1000, 0x93631000, 4, &family), nullptr);
    EXPECT_EQ(family, 0) << "cleared without a model";
    EXPECT_NE(getStorageControllerModel(0x005D1000, 0x93631000, 2 | 4, &family), nullptr);
    EXPECT_NE(getStorageControllerModel(0x005D1000, 0x93631000, 0, &family), nullptr);
    EXPECT_EQ(family, 2);
    EXPECT_EQ(getStorageControllerModel(0x005D1001, 0x93631000, 255, &family), nullptr);
    EXPECT_EQ(family, 0);
}

TEST(StorageControllerPartNumber, IsThatOfTheRowWithBothIds) {
    char copy[64] = "as it was";
    EXPECT_EQ(getHBAPartNumber(0x005D1000, 0x93631000, copy), "MEV-2000-100A");
    EXPECT_STREQ(copy, "MEV-2000-100A");
    EXPECT_EQ(getHBAPartNumber(0x028F9005, 0x14509005, nullptr), "MEV-2000-124A");
    EXPECT_EQ(getHBAPartNumber(0x005D1000, 0x93631001, copy), "") << "a row of any board does not match";
    EXPECT_STREQ(copy, "");
    EXPECT_EQ(getHBAPartNumber(0x005D1001, 0x93631000, nullptr), "");
}

// --- disks ---

std::string diskPartNumberOn(const char* family, const char* model) {
    const FakeHost host =
        hostWithPlatform(tableOf(family).addSlot("Slot 1 r001u05p2i01", "0000:01:00.0").addEnd());
    char copy[64] = "as it was";
    std::string partNumber = getDiskPartNumber(model, copy);
    EXPECT_EQ(partNumber, copy) << model;
    EXPECT_EQ(getDiskPartNumber(model, nullptr), partNumber);
    return partNumber;
}

TEST(StorageDriveTable, Has83RowsWithAModelEach) {
    ASSERT_EQ(MAX_STORAGE_DRIVE_LIST, 83u);
    for (const vokStorageDrive& row : gStorageDriveList) EXPECT_STRNE(row.model, "");
    EXPECT_EQ(offsetof(vokStorageDrive, otherModel), 41u);
    EXPECT_EQ(offsetof(vokStorageDrive, partNumberFirstPlatform), 82u);
    EXPECT_EQ(offsetof(vokStorageDrive, partNumberSecondPlatform), 115u);
}

TEST(StorageDrivePartNumber, OnTheFirstPlatformIsThatOfTheFirstColumn) {
    EXPECT_EQ(diskPartNumberOn("7711PID02020001", "MEV0300EH10K"), "MEV-3000-101A");
}

TEST(StorageDrivePartNumber, OnTheSecondPlatformIsThatOfTheSecondColumn) {
    EXPECT_EQ(diskPartNumberOn("7711PID03020102", "MEV0300EH10K"), "MEV-3000-501A");
}

TEST(StorageDrivePartNumber, OnTheOtherSecondPlatformIsThatOfTheSecondColumn) {
    EXPECT_EQ(diskPartNumberOn("7711PID03020101", "MEV0300EH10K"), "MEV-3000-501A");
}

TEST(StorageDrivePartNumber, OnAnotherPlatformIsEmpty) {
    EXPECT_EQ(diskPartNumberOn("7711PID03020103", "MEV0300EH10K"), "");
}

TEST(StorageDrivePartNumber, IsFoundByTheOtherModelNameToo) {
    EXPECT_EQ(diskPartNumberOn("7711PID02020001", "MEV 0900 EH10K"), "MEV-3000-103A");
}

TEST(StorageDrivePartNumber, IsEmptyWithoutAModelOrWithOneThatIsNotListed) {
    EXPECT_EQ(diskPartNumberOn("7711PID02020001", ""), "") << "an empty name does not match an empty one";
    EXPECT_EQ(diskPartNumberOn("7711PID02020001", "MEV0300EH10"), "");
    EXPECT_EQ(diskPartNumberOn("7711PID02020001", "MEV0300EH10K "), "");
}

// --- texts ---

TEST(PciLocationInAPath, IsFoundFromTheSlashBeforeIt) {
    char path[] = "/sys/devices/pci0000:00/0000:00:17.0/0000:3b:0a.f/ata1/host0";
    char* const first = strstr_pcilocation(path);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(std::string(first, 13), "/0000:00:17.0");
    char* const second = strstr_pcilocation(first + 1);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(std::string(second, 13), "/0000:3b:0a.f");
    EXPECT_EQ(strstr_pcilocation(second + 1), nullptr);
}

TEST(PciLocationInAPath, NeedsTheWholeAddressAfterASlash) {
    for (const char* text : {"", "/", "0000:00:17.0", "/pci0000:00", "/0000:00:17", "/0000:00:17.",
                             "/000:00:17.0", "/0000:0g:17.0", "/0000-00:17.0", "../../../host0"}) {
        std::string writable = text;
        EXPECT_EQ(strstr_pcilocation(&writable[0]), nullptr) << text;
    }
    EXPECT_EQ(strstr_pcilocation(nullptr), nullptr);
}

TEST(TrimmedText, HasNoWhiteSpaceAtEitherEnd) {
    char text[] = " \t a  b \r\n";
    EXPECT_STREQ(trim_surrounding_whitespace(text), "a  b");
    EXPECT_STREQ(text, " \t a  b") << "cut in place";
    char blank[] = " \t\n";
    EXPECT_STREQ(trim_surrounding_whitespace(blank), "");
    char empty[] = "";
    EXPECT_STREQ(trim_surrounding_whitespace(empty), "");
    char other[] = "\xff";  // a negative char
    EXPECT_STREQ(trim_surrounding_whitespace(other), "\xff");
}

TEST(AtaText, HasTheBytesOfEachWordExchanged) {
    const unsigned char identify[] = "xxxxBADCEF";
    char text[7] = "??????";
    EXPECT_EQ(get_ata_string(text, identify, 2, 2), 0);
    EXPECT_STREQ(text, "ABCD");
    EXPECT_EQ(get_ata_string(text, identify, 2, 3), 0);
    EXPECT_STREQ(text, "ABCDFE");
}

TEST(GreatestCommonDivisor, IsThatOfBothNumbers) {
    EXPECT_EQ(compute_gcd(300, 10), 10);
    EXPECT_EQ(compute_gcd(25, 10), 5);
    EXPECT_EQ(compute_gcd(10, 25), 5);
    EXPECT_EQ(compute_gcd(7, 10), 1);
    EXPECT_EQ(compute_gcd(0, 10), 10);
    EXPECT_EQ(compute_gcd(10, 0), 10);
}

int converted(const char* text, int& out) {
    out = 4711;
    return string_to_int(text, out);
}

TEST(TextToNumber, AcceptsAWholeNumberInTheRangeOfInt) {
    int number = 0;
    EXPECT_EQ(converted("0", number), 0);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(converted(" -12", number), 0);
    EXPECT_EQ(number, -12);
    EXPECT_EQ(converted("2147483647", number), 0);
    EXPECT_EQ(number, INT_MAX);
    EXPECT_EQ(converted("-2147483648", number), 0);
    EXPECT_EQ(number, INT_MIN);
    EXPECT_EQ(converted("010", number), 0);
    EXPECT_EQ(number, 10) << "base 10";
}

TEST(TextToNumber, ReportsWhyATextIsNotANumber) {
    const struct {
        const char* text;
        int result;
    } rows[] = {{"-2147483649", -1},
                {"-99999999999999999999999", -1},
                {"2147483648", -2},
                {"99999999999999999999999", -2},
                {"", -6},
                {"1x", -7},
                {"1 ", -7},
                {"0x10", -7},
                {"x", -7},
                {" ", -7}};
    for (const auto& row : rows) {
        int number = 0;
        EXPECT_EQ(converted(row.text, number), row.result) << row.text;
        EXPECT_EQ(number, 4711) << "left alone: " << row.text;
    }
}

TEST(VendorIdOfAChipset, IsItsLastFourDigitsInLowerCase) {
    std::string id = "as it was";
    getControllerVendorID(0x005D1000, id);
    EXPECT_EQ(id, "1000");
    getControllerVendorID(0x28268086, id);
    EXPECT_EQ(id, "8086");
    getControllerVendorID(0xFFFF00AB, id);
    EXPECT_EQ(id, "00ab");
}

}  // namespace
}  // namespace storage_utilsTest
