#include <gtest/gtest.h>
#include <optional>

#include "storage/scsi/ScsiDisk.h"
#include "storage/scsi/scsi_info.h"

namespace scsi_infoAtaTest {
namespace {

const FakeScsiBytes identify = {0x85, 0x08, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00,
                                0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xEC, 0x00};
const FakeScsiBytes errorLog = {0x85, 0x08, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00,
                                0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x2F, 0x00};
const FakeScsiBytes logD0 = {0x85, 0x08, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00,
                             0xD0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x2F, 0x00};
const FakeScsiBytes sctStatus = {0x85, 0x08, 0x0E, 0x00, 0xD5, 0x00, 0x01, 0x00,
                                 0x0E, 0x00, 0x4F, 0x00, 0xC2, 0x00, 0xB0, 0x00};

FakeScsiBytes statistics(unsigned char page) {
    return {0x85, 0x09, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00, 0x04, 0x00, page, 0x00, 0x00, 0x00, 0x2F, 0x00};
}

// A statistics page of 512 bytes: its number, revision 1, and these bytes.
FakeScsiBytes statisticsPage(int number, const std::vector<std::pair<std::size_t, int>>& values) {
    FakeScsiBytes page = zerosWith(512, values);
    page[0] = 1;
    page[2] = static_cast<unsigned char>(number);
    return page;
}

class ScsiAta : public testing::Test {
protected:
    void answer(const FakeScsiBytes& cdb, const FakeScsiBytes& bytes) { disk.disk.answer(cdb, {bytes}); }

    ScsiDisk disk;
};

// --- IDENTIFY DEVICE ---

TEST_F(ScsiAta, IdentifyDataGoToTheBufferOfTheCaller) {
    const FakeScsiBytes data = zerosWith(512, {{0, 0x40}, {160, 0xF8}, {511, 0xA5}});
    answer(identify, data);
    FakeScsiBytes buffer(513, 0xEE);
    std::size_t size = 512;
    EXPECT_EQ(get_ata_identify_device_info(disk.fd(), buffer.data(), size), 0);
    EXPECT_EQ(size, 512u);
    EXPECT_EQ(FakeScsiBytes(buffer.begin(), buffer.end() - 1), data);
    EXPECT_EQ(buffer.back(), 0xEE);
}

TEST_F(ScsiAta, ShortIdentifyDataAreFollowedByZerosAndTheirSizeIsReported) {
    answer(identify, {1, 2, 3});
    FakeScsiBytes buffer(16, 0xEE);
    std::size_t size = 12;
    EXPECT_EQ(get_ata_identify_device_info(disk.fd(), buffer.data(), size), 0);
    EXPECT_EQ(disk.disk.requests()[0].length, 12u);
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(buffer, (FakeScsiBytes{1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xEE, 0xEE, 0xEE, 0xEE}));
}

TEST_F(ScsiAta, IdentifyDataHaveNoMinimum) {
    answer(identify, {});
    unsigned char buffer[512];
    std::size_t size = sizeof(buffer);
    EXPECT_EQ(get_ata_identify_device_info(disk.fd(), buffer, size), 0);
    EXPECT_EQ(size, 0u);
}

TEST_F(ScsiAta, AfterAFailureThereAreNoIdentifyData) {
    unsigned char buffer[512];
    std::size_t size = sizeof(buffer);
    EXPECT_EQ(get_ata_identify_device_info(disk.fd(), buffer, size), -7);
    EXPECT_EQ(size, 0u);
}

TEST_F(ScsiAta, AFailureWithATransferHasNoIdentifyData) {
    FakeScsiReply reply = FakeScsiReply::checkCondition(0x03, 0x11, 0x00);
    reply.data = FakeScsiBytes(100, 0x01);
    disk.disk.answer(identify, reply);
    unsigned char buffer[512];
    std::size_t size = sizeof(buffer);
    EXPECT_EQ(get_ata_identify_device_info(disk.fd(), buffer, size), -3);
    EXPECT_EQ(size, 0u);
}

TEST_F(ScsiAta, TheRevisionHasTheTwoBytesOfEachWordExchanged) {
    answer(identify, zerosWithText(512, 46, "PHG0003 "));
    EXPECT_EQ(takenText(get_sata_DiskRev(disk.fd())), "HP0G00 3");
}

TEST_F(ScsiAta, ARevisionOfWhichTheLastByteIsMissingHasANulForIt) {
    FakeScsiBytes data = zerosWithText(53, 46, "PHG0003");
    answer(identify, data);
    EXPECT_EQ(takenBytes(get_sata_DiskRev(disk.fd()), 9),
              (FakeScsiBytes{'H', 'P', '0', 'G', '0', '0', 0, '3', 0}));
}

// --- device statistics ---

TEST_F(ScsiAta, AStatisticsPageIsReturnedAsReceived) {
    const FakeScsiBytes page = statisticsPage(5, {{8, 33}, {511, 7}});
    answer(statistics(5), page);
    char* out = nullptr;
    std::size_t size = 0;
    EXPECT_EQ(get_sata_log(disk.fd(), 5, out, size), 0);
    ASSERT_EQ(size, 512u);
    EXPECT_EQ(takenBytes(out, size), page);
}

TEST_F(ScsiAta, EachStatisticsPageHasItsNumberInTheLba) {
    char* out = nullptr;
    std::size_t size = 0;
    get_sata_log(disk.fd(), 0xFF, out, size);
    EXPECT_EQ(disk.disk.requests()[0].cdb, statistics(0xFF));
    EXPECT_TRUE(disk.logged("ATA DEV STAT LOG(255) command failed."));
}

TEST_F(ScsiAta, AStatisticsPageOfZerosIsNotSupportedAndReturnedAllTheSame) {
    answer(statistics(7), FakeScsiBytes(512));
    char* out = nullptr;
    std::size_t size = 0;
    EXPECT_EQ(get_sata_ssdlog(disk.fd(), out, size), 0);
    EXPECT_EQ(size, 512u);
    EXPECT_EQ(takenBytes(out, size), FakeScsiBytes(512));
    EXPECT_TRUE(hasLogged(disk.host,
                          "WARNING SCSI_INFO: The requested page 07 is not supported by Device Statistics "
                          "Log(04h)"));
}

TEST_F(ScsiAta, OneByteOfAStatisticsPageIsEnough) {
    answer(statistics(1), {0x00});
    char* out = nullptr;
    std::size_t size = 0;
    EXPECT_EQ(get_sata_statlog(disk.fd(), out, size), 0);
    EXPECT_EQ(size, 1u);
    EXPECT_EQ(takenBytes(out, size), FakeScsiBytes{0});
    EXPECT_TRUE(hasLogged(disk.host,
                          "WARNING SCSI_INFO: The requested page 01 is not supported by Device Statistics "
                          "Log(04h)"));
}

TEST_F(ScsiAta, ASupportedStatisticsPageIsNotWarnedOf) {
    answer(statistics(1), {0x00, 0x01});
    char* out = nullptr;
    std::size_t size = 0;
    EXPECT_EQ(get_sata_statlog(disk.fd(), out, size), 0);
    EXPECT_EQ(takenBytes(out, size), (FakeScsiBytes{0, 1}));
    EXPECT_TRUE(loggedLines(disk.host).empty());
}

// --- temperatures ---

// In a heap block of exactly this size, so that a sanitizer sees a read beyond it. Not set if not there.
std::optional<int> temperatureOf(bool (*parse)(const char*, std::size_t, int&), const FakeScsiBytes& page) {
    int value = 1000;
    const std::vector<char> exact(page.begin(), page.end());
    const bool isThere = parse(exact.data(), exact.size(), value);
    EXPECT_TRUE(isThere || value == 1000);
    return isThere ? std::optional<int>(value) : std::nullopt;
}

const FakeScsiBytes temperatures = statisticsPage(5, {{8, 33}, {15, 0xC0}, {88, 70}, {95, 0xC0}});

TEST(ScsiAtaTemperature, CurrentAndMaximumAreAtBytes8And88) {
    EXPECT_EQ(temperatureOf(sata_parse_current, temperatures), 33);
    EXPECT_EQ(temperatureOf(sata_parse_mcot, temperatures), 70);
}

TEST(ScsiAtaTemperature, AreSignedBytes) {
    FakeScsiBytes page = temperatures;
    page[8] = 0xFE;
    page[88] = 0x80;
    EXPECT_EQ(temperatureOf(sata_parse_current, page), -2);
    EXPECT_EQ(temperatureOf(sata_parse_mcot, page), -128);
}

TEST(ScsiAtaTemperature, OneOfTheTwoFlagsIsEnough) {
    for (const unsigned char flag : FakeScsiBytes{0x80, 0x40}) {
        FakeScsiBytes page = temperatures;
        page[15] = page[95] = flag;
        EXPECT_EQ(temperatureOf(sata_parse_current, page), 33);
        EXPECT_EQ(temperatureOf(sata_parse_mcot, page), 70);
    }
}

TEST(ScsiAtaTemperature, WithoutBothFlagsIsNotThere) {
    FakeScsiBytes page = temperatures;
    page[15] = 0x3F;
    EXPECT_EQ(temperatureOf(sata_parse_current, page), std::nullopt);
    EXPECT_EQ(temperatureOf(sata_parse_mcot, page), 70);
    page[95] = 0x3F;
    EXPECT_EQ(temperatureOf(sata_parse_mcot, page), std::nullopt);
}

TEST(ScsiAtaTemperature, ARevisionOf0IsNotThereWhateverByte8Holds) {
    FakeScsiBytes page = temperatures;
    page[0] = 0;
    EXPECT_EQ(temperatureOf(sata_parse_current, page), std::nullopt);
    EXPECT_EQ(temperatureOf(sata_parse_mcot, page), std::nullopt);
    page[1] = 1;
    EXPECT_EQ(temperatureOf(sata_parse_current, page), 33);
    EXPECT_EQ(temperatureOf(sata_parse_mcot, page), 70);
}

TEST(ScsiAtaTemperature, AnotherPageIsNotThere) {
    FakeScsiBytes page = temperatures;
    page[2] = 1;
    EXPECT_EQ(temperatureOf(sata_parse_current, page), std::nullopt);
    EXPECT_EQ(temperatureOf(sata_parse_mcot, page), std::nullopt);
}

TEST(ScsiAtaTemperature, APageThatEndsBeforeTheFlagsIsNotThere) {
    FakeScsiBytes page = temperatures;
    page.resize(96);
    EXPECT_EQ(temperatureOf(sata_parse_mcot, page), 70);
    page.resize(95);
    EXPECT_EQ(temperatureOf(sata_parse_mcot, page), std::nullopt);
    page.resize(16);
    EXPECT_EQ(temperatureOf(sata_parse_current, page), 33);
    for (const std::size_t size : {15u, 9u, 8u, 1u, 0u}) {
        page.resize(size);
        EXPECT_EQ(temperatureOf(sata_parse_current, page), std::nullopt);
    }
}

TEST(ScsiAtaTemperature, WithoutAPageIsNotThere) {
    int value = 0;
    EXPECT_FALSE(sata_parse_current(nullptr, 512, value));
    EXPECT_FALSE(sata_parse_mcot(nullptr, 512, value));
}

// --- wear and hours ---

TEST_F(ScsiAta, TheWearIsByte8OfPage7AsASignedByte) {
    answer(statistics(7), statisticsPage(7, {{8, 99}}));
    EXPECT_EQ(get_sata_ssd_wear(disk.fd()), 99);
    answer(statistics(7), statisticsPage(7, {{8, 0xFF}}));
    EXPECT_EQ(get_sata_ssd_wear(disk.fd()), -1);
}

TEST_F(ScsiAta, TheWearOfAPageBelow9BytesIs0) {
    answer(statistics(7), {1, 0, 7, 0, 0, 0, 0, 0});
    EXPECT_EQ(get_sata_ssd_wear(disk.fd()), 0);
    answer(statistics(7), {1, 0, 7, 0, 0, 0, 0, 0, 5});
    EXPECT_EQ(get_sata_ssd_wear(disk.fd()), 5);
}

TEST_F(ScsiAta, HoursWithPowerAreTheValueAtByte16OfPage1) {
    answer(statistics(1), statisticsPage(1, {{16, 0x78}, {17, 0x56}, {18, 0x34}, {19, 0x12}, {20, 0xFF}}));
    int hours = 0;
    EXPECT_EQ(get_sata_pwron(disk.fd(), hours), 0);
    EXPECT_EQ(hours, 0x12345678);
}

TEST_F(ScsiAta, HoursOfAPageBelow20BytesAreMinus1WithoutAFailure) {
    FakeScsiBytes page = statisticsPage(1, {{16, 9}});
    page.resize(19);
    answer(statistics(1), page);
    int hours = 0;
    EXPECT_EQ(get_sata_pwron(disk.fd(), hours), 0);
    EXPECT_EQ(hours, -1);
    page.resize(20);
    answer(statistics(1), page);
    EXPECT_EQ(get_sata_pwron(disk.fd(), hours), 0);
    EXPECT_EQ(hours, 9);
}

// --- error logs and SCT status ---

TEST_F(ScsiAta, HealthIsTheErrorLogIndexWithTheLessSignificantByteFirst) {
    answer(errorLog, padded({0x01, 0x00, 0x34, 0x12}, 512));
    EXPECT_EQ(get_sata_health(disk.fd()), 0x1234);
    EXPECT_TRUE(disk.logged("SATA Health Response(log address 03h): 01 00 34 12"));
    answer(errorLog, {0x01, 0x00, 0x00, 0x00});
    EXPECT_EQ(get_sata_health(disk.fd()), 0);
}

TEST_F(ScsiAta, HealthWithAnotherFirstByteThan1IsMinus1) {
    answer(errorLog, padded({0x00, 0x00, 0x02, 0x00}, 512));
    EXPECT_EQ(get_sata_health(disk.fd()), -1);
    answer(errorLog, padded({0x02, 0x00, 0x02, 0x00}, 512));
    EXPECT_EQ(get_sata_health(disk.fd()), -1);
}

TEST_F(ScsiAta, LogD0GoesToTheBufferOfTheCaller) {
    const FakeScsiBytes data = zerosWith(512, {{0, 0xD0}, {24, 'M'}, {511, 0xA5}});
    answer(logD0, data);
    FakeScsiBytes buffer(512, 0xEE);
    std::size_t size = 0;
    EXPECT_EQ(get_sata_log_vpd_pgD0(disk.fd(), buffer.data(), size), 0);
    EXPECT_EQ(size, 512u);
    EXPECT_EQ(buffer, data);
    EXPECT_TRUE(disk.logged("SATA Health Response(log address D0h): d0 00 00 00"));
}

TEST_F(ScsiAta, OfAShortLogD0OnlyWhatWasReceivedIsCopied) {
    answer(logD0, {0xD0, 0x07});
    FakeScsiBytes buffer(4, 0xEE);
    std::size_t size = 512;
    EXPECT_EQ(get_sata_log_vpd_pgD0(disk.fd(), buffer.data(), size), 0);
    EXPECT_EQ(size, 2u);
    EXPECT_EQ(buffer, (FakeScsiBytes{0xD0, 0x07, 0xEE, 0xEE}));
}

TEST_F(ScsiAta, AnotherLogThanD0IsMinus1AndNotCopied) {
    answer(logD0, padded({0xD1, 0x07}, 512));
    FakeScsiBytes buffer(4, 0xEE);
    std::size_t size = 512;
    EXPECT_EQ(get_sata_log_vpd_pgD0(disk.fd(), buffer.data(), size), -1);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(buffer, FakeScsiBytes(4, 0xEE));
}

TEST_F(ScsiAta, TheSctStatusIsCopied) {
    const FakeScsiBytes data = zerosWith(512, {{0, 0x03}, {511, 0xA5}});
    answer(sctStatus, data);
    EXPECT_EQ(takenBytes(get_sata_sct_stat(disk.fd()), 512), data);
}

}  // namespace
}  // namespace scsi_infoAtaTest
