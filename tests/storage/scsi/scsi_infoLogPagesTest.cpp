#include <gtest/gtest.h>

#include "storage/scsi/ScsiDisk.h"
#include "storage/scsi/scsi_info.h"

namespace scsi_infoLogPagesTest {
namespace {

FakeScsiBytes logSense(unsigned char page, unsigned char length) {
    return {0x4D, 0x00, page, 0x00, 0x00, 0x00, 0x00, 0x00, length, 0x00};
}
const FakeScsiBytes temperaturePage = logSense(0x4D, 0x10);
const FakeScsiBytes solidStatePage = logSense(0x51, 0x10);
const FakeScsiBytes backgroundScanPage = logSense(0x55, 0x20);
const FakeScsiBytes exceptionsPage = logSense(0x6F, 0x62);

// Of a SAS disk: 33 degrees, and 65 as reference.
const FakeScsiBytes bothTemperatures = {0x0D, 0x00, 0x00, 0x0C, 0x00, 0x00, 0x03, 0x02,
                                        0x00, 0x21, 0x00, 0x01, 0x03, 0x02, 0x00, 0x41};

class ScsiLogPages : public testing::Test {
protected:
    // The disk answers this page with these bytes.
    int answered(int (*ask)(int), const FakeScsiBytes& cdb, const FakeScsiBytes& bytes) {
        disk.disk.answer(cdb, {bytes});
        return ask(disk.fd());
    }
    vokMallocPtr<unsigned char> temperature(const FakeScsiBytes& bytes) {
        disk.disk.answer(temperaturePage, {bytes});
        return vokMallocPtr<unsigned char>(get_sas_temp(disk.fd()));
    }

    ScsiDisk disk;
};

// --- temperature ---

TEST_F(ScsiLogPages, TheTemperaturePageIsCopiedAsFarAsItReaches) {
    disk.disk.answer(temperaturePage, {bothTemperatures});
    EXPECT_EQ(takenBytes(get_sas_temp(disk.fd()), 16), bothTemperatures);
}

TEST_F(ScsiLogPages, CurrentAndReferenceTemperatureAreTheTwoParameters) {
    const auto page = temperature(bothTemperatures);
    ASSERT_TRUE(page);
    EXPECT_EQ(sas_parse_current(page.get()), 33);
    EXPECT_EQ(sas_parse_mcot(page.get()), 65);
}

TEST_F(ScsiLogPages, ATemperaturePageOfOneParameterHasNoReference) {
    const auto page = temperature({0x0D, 0x00, 0x00, 0x06, 0x00, 0x00, 0x03, 0x02, 0x00, 0x1B});
    ASSERT_TRUE(page);
    EXPECT_EQ(sas_parse_current(page.get()), 27);
    EXPECT_EQ(sas_parse_mcot(page.get()), 0);
}

TEST_F(ScsiLogPages, BytesAfterTheEndOfTheTemperaturePageAreNotPartOfIt) {
    // The page ends after the first parameter, and the rest of the transfer looks like a second one.
    FakeScsiBytes bytes = bothTemperatures;
    bytes[3] = 6;
    const auto page = temperature(bytes);
    ASSERT_TRUE(page);
    EXPECT_EQ(sas_parse_current(page.get()), 33);
    EXPECT_EQ(sas_parse_mcot(page.get()), 0);
}

TEST_F(ScsiLogPages, AnEmptyTemperaturePageHas16BytesForTheReaders) {
    disk.disk.answer(temperaturePage, {{0x0D, 0x00, 0x00, 0x00}});
    EXPECT_EQ(takenBytes(get_sas_temp(disk.fd()), 16), padded({0x0D}, 16));
}

TEST_F(ScsiLogPages, ATemperaturePageThatIsLongerThanItsReplyIsNotThere) {
    FakeScsiBytes bytes = bothTemperatures;
    bytes[3] = 13;  // 17 bytes
    EXPECT_FALSE(temperature(bytes));
    EXPECT_TRUE(disk.logged("IOCTL for LOG SENSE(4Dh) returned 16 bytes. (Min expected: 17)"));
    bytes[3] = 255;
    EXPECT_FALSE(temperature(bytes));
    EXPECT_TRUE(disk.logged("IOCTL for LOG SENSE(4Dh) returned 16 bytes. (Min expected: 259)"));
    bytes = bothTemperatures;
    bytes.pop_back();
    EXPECT_FALSE(temperature(bytes));
    EXPECT_TRUE(disk.logged("IOCTL for LOG SENSE(4Dh) returned 15 bytes. (Min expected: 16)"));
}

TEST_F(ScsiLogPages, AnotherFirstParameterIsNoCurrentTemperature) {
    FakeScsiBytes bytes = bothTemperatures;
    bytes[5] = 1;
    EXPECT_EQ(sas_parse_current(bytes.data()), 0);
    bytes[5] = 0;
    bytes[4] = 1;
    EXPECT_EQ(sas_parse_current(bytes.data()), 0);
}

TEST_F(ScsiLogPages, AnotherSecondParameterIsNoReferenceTemperature) {
    FakeScsiBytes bytes = bothTemperatures;
    bytes[11] = 2;
    EXPECT_EQ(sas_parse_mcot(bytes.data()), 0);
    bytes[11] = 1;
    bytes[10] = 1;
    EXPECT_EQ(sas_parse_mcot(bytes.data()), 0);
}

// --- wear ---

TEST_F(ScsiLogPages, TheWearIsTheUsedPercentageOfTheFirstParameter) {
    EXPECT_EQ(answered(get_sas_ssd_wear, solidStatePage,
                       {0x11, 0x00, 0x00, 0x08, 0x00, 0x01, 0x03, 0x04, 0x00, 0x00, 0x00, 0x63}),
              99);
    EXPECT_TRUE(disk.logged("Wear Response: 11 08 63"));
}

// Required: not a failure.
TEST_F(ScsiLogPages, AWearPageOfAnotherCodeReads255) {
    EXPECT_EQ(answered(get_sas_ssd_wear, solidStatePage,
                       {0x91, 0x00, 0x00, 0x08, 0x00, 0x01, 0x03, 0x04, 0x00, 0x00, 0x00, 0x05}),
              255);
    EXPECT_EQ(answered(get_sas_ssd_wear, solidStatePage,
                       {0x11, 0x00, 0x00, 0x0C, 0x00, 0x01, 0x03, 0x04, 0x00, 0x00, 0x00, 0x05}),
              255);
}

// --- hours ---

TEST_F(ScsiLogPages, HoursWithPowerAreMinutesDividedBy60) {
    // 0x0007D023 = 512035 minutes.
    EXPECT_EQ(answered(get_sas_pwron, backgroundScanPage,
                       {0x15, 0x00, 0x00, 0x10, 0x00, 0x00, 0x03, 0x0C, 0x00, 0x07, 0xD0, 0x23}),
              8533);
    EXPECT_EQ(answered(get_sas_pwron, backgroundScanPage,
                       {0x15, 0x00, 0x00, 0x10, 0x00, 0x00, 0x03, 0x0C, 0xFF, 0xFF, 0xFF, 0xFF}),
              71582788);
}

TEST_F(ScsiLogPages, HoursOfAnotherPageAreMinus1) {
    EXPECT_EQ(answered(get_sas_pwron, backgroundScanPage, padded({0x55}, 16)), -1);
}

// --- health ---

TEST_F(ScsiLogPages, HealthIsAdditionalCodeAndQualifier) {
    EXPECT_EQ(answered(get_sas_health, exceptionsPage,
                       {0x2F, 0x00, 0x00, 0x08, 0x00, 0x00, 0x03, 0x04, 0x5D, 0x10}),
              0x5D10);
    EXPECT_TRUE(disk.logged("SAS Health Response: 2f 5d 10"));
    EXPECT_EQ(answered(get_sas_health, exceptionsPage,
                       {0x2F, 0x00, 0x00, 0x08, 0x00, 0x00, 0x03, 0x04, 0x00, 0x00, 0x21, 0x41}),
              0);
}

// The DS bit, which real disks set, makes it another first byte.
TEST_F(ScsiLogPages, HealthOfAnotherPageIsMinus1) {
    EXPECT_EQ(answered(get_sas_health, exceptionsPage,
                       {0xAF, 0x00, 0x00, 0x08, 0x00, 0x00, 0x03, 0x04, 0x5D, 0x10}),
              -1);
}

TEST_F(ScsiLogPages, TheMostRecentTemperatureFollowsTheHealth) {
    FakeScsiBytes page = {0x2F, 0x00, 0x00, 0x08, 0x00, 0x00, 0x03, 0x04, 0x00, 0x00, 0x1B};
    EXPECT_EQ(answered(get_unit_temp, exceptionsPage, page), 27);
    page[10] = 254;
    EXPECT_EQ(answered(get_unit_temp, exceptionsPage, page), 254);
    page[10] = 0;
    EXPECT_EQ(answered(get_unit_temp, exceptionsPage, page), 0);
}

TEST_F(ScsiLogPages, AnUnknownTemperatureOrAnotherPageIsMinus1) {
    FakeScsiBytes page = {0x2F, 0x00, 0x00, 0x08, 0x00, 0x00, 0x03, 0x04, 0x00, 0x00, 0xFF};
    EXPECT_EQ(answered(get_unit_temp, exceptionsPage, page), -1);
    page[10] = 27;
    page[0] = 0x6F;
    EXPECT_EQ(answered(get_unit_temp, exceptionsPage, page), -1);
}

}  // namespace
}  // namespace scsi_infoLogPagesTest
