// What a described SATA disk answers to ATA commands. The expected bytes are those of ACS-4 and SAT-4.
#include "modules/storage/AtaAnswers.h"

#include <gtest/gtest.h>
#include <numeric>

#include "common/Hexadecimal.h"
#include "simhost/DescribedDisk.h"

namespace AtaAnswersTest {
namespace {

using namespace simhost;

const char hdd[] = R"("transport":"SATA","model":"MEV HDD","serial":"W1234567","revision":"AB01CD02",
    "capacityBytes":4000787030016,"temperature":38,"maxTemperature":65,"powerOnHours":70000,"errors":5)";
const char ssd[] = R"("transport":"SATA","media":"SSD","wear":42,"logD0":"MVD0")";

std::string hex(const std::string& digits) {
    return *parseHexadecimalBytes(digits);
}

// ATA PASS-THROUGH (16), PIO data-in: count of blocks in byte 6.
std::string command(unsigned ata, unsigned log = 0, unsigned page = 0, unsigned count = 1,
                    bool extended = true) {
    std::string bytes(16, '\0');
    bytes[0] = '\x85';
    bytes[1] = extended ? '\x09' : '\x08';
    bytes[2] = '\x0E';
    bytes[6] = static_cast<char>(count);
    bytes[8] = static_cast<char>(log);
    bytes[10] = static_cast<char>(page);
    bytes[14] = static_cast<char>(ata);
    return bytes;
}

std::string smartLog(unsigned log) {
    std::string bytes = command(0xB0, log, 0x4F, 1, false);
    bytes[4] = '\xD5';
    bytes[12] = '\xC2';
    return bytes;
}

std::string page(const Disk& disk, const std::string& bytes, std::uint32_t room = 512) {
    const ScsiReply reply = ask(disk, bytes, room);
    EXPECT_EQ(reply.status, 0);
    EXPECT_EQ(reply.residual, static_cast<std::int32_t>(room - reply.data.size()));
    return reply.data;
}

unsigned word(const std::string& data, std::size_t at) {
    return static_cast<unsigned char>(data.at(2 * at)) | static_cast<unsigned char>(data.at(2 * at + 1)) << 8;
}

unsigned sumOf(const std::string& data) {
    return std::accumulate(data.begin(), data.end(), 0u,
                           [](unsigned sum, char each) { return sum + static_cast<unsigned char>(each); });
}

TEST(AtaIdentify, HoldsTheTextsWithTheirCharactersExchanged) {
    const std::string data = page(describedDisk(hdd), command(0xEC, 0, 0, 1, false));
    ASSERT_EQ(data.size(), 512u);
    EXPECT_EQ(data.substr(20, 20), "1W325476            ");
    EXPECT_EQ(data.substr(46, 8), "BA10DC20");
    EXPECT_EQ(data.substr(54, 8), "EM VDH D");
}

TEST(AtaIdentify, HoldsTheCapabilitiesOfTheDisk) {
    const std::string data = page(describedDisk(hdd), command(0xEC, 0, 0, 1, false));
    EXPECT_EQ(word(data, 217), 7200u);
    EXPECT_EQ(word(data, 76), 0x850Eu);
    EXPECT_EQ(word(data, 80), 0x0FF0u);
    EXPECT_EQ(word(data, 60) | word(data, 61) << 16, 0x0FFFFFFFu);
    EXPECT_EQ(word(data, 100) | word(data, 101) << 16, 0xD1C0BEB0u);
    EXPECT_EQ(word(data, 102), 1u);
    EXPECT_EQ(word(data, 108), 0x5000u);
    EXPECT_EQ(data[510], '\xA5');
    EXPECT_EQ(sumOf(data) & 0xFF, 0u);
    EXPECT_EQ(word(page(describedDisk(ssd), command(0xEC)), 217), 1u);
    EXPECT_EQ(
        word(page(describedDisk(R"("transport":"SATA","rotation":0,"ataVersions":496)"), command(0xEC)), 217),
        0u);
}

TEST(AtaIdentify, IsCutByTheCountAndByTheRoom) {
    std::string bytes = command(0xEC);
    EXPECT_EQ(page(describedDisk(hdd), bytes, 100).size(), 100u);
    EXPECT_EQ(page(describedDisk(hdd), bytes, 1024).size(), 512u);
    bytes[2] = '\x0A';  // bytes instead of blocks
    bytes[6] = '\x40';
    EXPECT_EQ(page(describedDisk(hdd), bytes).size(), 64u);
}

TEST(AtaIdentify, IsAnsweredInTheShortFormToo) {
    const std::string data = page(describedDisk(hdd), hex("a1 08 0e 00 01 00 00 00 00 ec 00 00"));
    EXPECT_EQ(data, identifyData(describedDisk(hdd)));
}

TEST(AtaLog, TheDirectoryCountsThePagesOfEachLog) {
    const std::string data = page(describedDisk(ssd), command(0x2F, 0x00));
    EXPECT_EQ(word(data, 0), 1u);
    EXPECT_EQ(word(data, 3), 64u);
    EXPECT_EQ(word(data, 4), 8u);
    EXPECT_EQ(word(data, 0xD0), 1u);
    EXPECT_EQ(word(page(describedDisk(hdd), command(0x2F, 0x00)), 0xD0), 0u);
}

TEST(AtaLog, TheErrorLogCountsTheErrors) {
    const std::string data = page(describedDisk(hdd), command(0x2F, 0x03, 0, 1, false));
    EXPECT_EQ(data.substr(0, 4), hex("01 00 05 00"));
    EXPECT_EQ(data.substr(500, 2), hex("05 00"));
    EXPECT_EQ(sumOf(data) & 0xFF, 0u);
    EXPECT_EQ(page(describedDisk(ssd), command(0x2F, 0x03)).substr(0, 4), hex("01 00 00 00"));
}

TEST(AtaLog, TheIndexOfTheLastErrorStartsAgainAfterTheLastEntry) {
    Disk disk = describedDisk(hdd);
    disk.errors = 257;
    EXPECT_EQ(page(disk, command(0x2F, 0x03)).substr(0, 4), hex("01 00 01 00"));
    EXPECT_EQ(page(disk, command(0x2F, 0x03)).substr(500, 2), hex("01 01"));
}

TEST(AtaStatistics, HoldTheHoursTheTemperaturesAndTheWear) {
    const std::string general = page(describedDisk(hdd), command(0x2F, 0x04, 1));
    EXPECT_EQ(general.substr(0, 8), hex("01 00 01 00 00 00 00 00"));
    EXPECT_EQ(general.substr(16, 8), hex("70 11 01 00 00 00 00 c0"));
    const std::string temperatures = page(describedDisk(hdd), command(0x2F, 0x04, 5));
    EXPECT_EQ(temperatures.substr(0, 3), hex("01 00 05"));
    EXPECT_EQ(temperatures.substr(8, 8), hex("26 00 00 00 00 00 00 c0"));
    EXPECT_EQ(temperatures.substr(88, 8), hex("41 00 00 00 00 00 00 c0"));
    const std::string wear = page(describedDisk(ssd), command(0x2F, 0x04, 7));
    EXPECT_EQ(wear.substr(0, 3), hex("01 00 07"));
    EXPECT_EQ(wear.substr(8, 8), hex("2a 00 00 00 00 00 00 c0"));
}

TEST(AtaStatistics, ThePagesAreListed) {
    EXPECT_EQ(page(describedDisk(ssd), command(0x2F, 0x04, 0)).substr(8, 5), hex("04 00 01 05 07"));
    EXPECT_EQ(page(describedDisk(hdd), command(0x2F, 0x04, 0)).substr(8, 5), hex("03 00 01 05 00"));
}

TEST(AtaStatistics, APageThatTheDiskDoesNotHaveHoldsZerosAlone) {
    EXPECT_EQ(page(describedDisk(hdd), command(0x2F, 0x04, 7)), std::string(512, '\0'));
    EXPECT_EQ(page(describedDisk(hdd), command(0x2F, 0x04, 200)), std::string(512, '\0'));
}

TEST(AtaStatistics, SeveralPagesComeAtOnce) {
    const std::string data = page(describedDisk(hdd), command(0x2F, 0x04, 0, 6), 3072);
    ASSERT_EQ(data.size(), 3072u);
    EXPECT_EQ(data[512 + 2], '\x01');
    EXPECT_EQ(data[5 * 512 + 2], '\x05');
}

TEST(AtaLog, TheVendorsLogNamesTheMaker) {
    const std::string data = page(describedDisk(ssd), command(0x2F, 0xD0, 0, 1, false));
    EXPECT_EQ(data[0], '\xD0');
    EXPECT_EQ(data.substr(24, 4), "MVD0");
}

TEST(AtaSmartLog, TheDirectoryAndTheSctStatusAreThere) {
    EXPECT_EQ(word(page(describedDisk(hdd), smartLog(0x00)), 0xE0), 1u);
    const std::string status = page(describedDisk(hdd), smartLog(0xE0));
    EXPECT_EQ(word(status, 0), 3u);
    EXPECT_EQ(status[200], '\x26');
}

struct Aborted {
    const char* rule;
    const char* disk;
    std::string command;
};

class AbortedCommand : public testing::TestWithParam<Aborted> {};

TEST_P(AbortedCommand, HasSenseKeyElevenAndNoData) {
    const ScsiReply reply = ask(describedDisk(GetParam().disk), GetParam().command, 512);
    EXPECT_EQ(reply.status, 2);
    EXPECT_EQ(reply.data, "");
    EXPECT_EQ(reply.residual, 512);
    EXPECT_EQ(reply.sense, hex("70 00 0b 04 51 40 00 0a 00 00 00 00 00 00 00 00 00 00"));
}

INSTANTIATE_TEST_SUITE_P(
    Table, AbortedCommand,
    testing::Values(
        Aborted{"AnUnknownCommand", hdd, command(0xC9)}, Aborted{"AnUnknownLog", hdd, command(0x2F, 0x10)},
        Aborted{"AVendorsLogThatIsNotDescribed", hdd, command(0x2F, 0xD0)},
        Aborted{"PagesBeyondTheLog", hdd, command(0x2F, 0x03, 64)},
        Aborted{"NoBlocks", hdd, command(0x2F, 0x03, 0, 0)},
        Aborted{"AnUnknownSmartLog", hdd, smartLog(0x0E)},
        Aborted{"ASmartCommandWithoutItsSignature", hdd, command(0xB0, 0xE0)},
        Aborted{"ALogTakenAway", R"("transport":"SATA","unsupported":["ata:04"])", command(0x2F, 0x04, 5)},
        Aborted{"APageOfALogTakenAway", R"("transport":"SATA","unsupported":["ata:04/05"])",
                command(0x2F, 0x04, 5)},
        Aborted{"ASmartLogTakenAway", R"("transport":"SATA","unsupported":["smart:e0"])", smartLog(0xE0)},
        Aborted{"IdentifyTakenAway", R"("transport":"SATA","unsupported":["identify"])", command(0xEC)}),
    [](const auto& row) { return row.param.rule; });

TEST(AtaSense, InDescriptorFormatHasTheRegisters) {
    const Disk disk = describedDisk(R"("transport":"SATA","sense":"descriptor")");
    EXPECT_EQ(ask(disk, command(0x2F, 0x10), 512).sense,
              hex("72 0b 00 00 00 00 00 0e 09 0c 00 04 00 00 00 00 00 00 00 00 40 51"));
}

TEST(AtaPassThrough, WithAnotherProtocolOrDirectionIsAnInvalidField) {
    for (const auto& [at, value] :
         {std::pair{1, '\x06'}, {1, '\x0C'}, {2, '\x06'}, {2, '\x0C'}, {2, '\x0F'}}) {
        std::string bytes = command(0xEC);
        bytes[static_cast<std::size_t>(at)] = value;
        EXPECT_EQ(ask(describedDisk(hdd), bytes, 512).sense.substr(2, 1), hex("05")) << at;
    }
}

}  // namespace
}  // namespace AtaAnswersTest
